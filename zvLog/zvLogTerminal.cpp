// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Lines for a terminal. Text from elsewhere must not move its cursor, change its title or make it answer.
//
// The shown line may be four times as long; it leaves in pieces, for a crashing thread may have little
// stack left.

#include "private/Terminal.h"

#include <cstring>

namespace {

using Byte = unsigned char;

constexpr size_t kPieceSize = 256;
constexpr size_t kShownSize = 4;  // "\x1b"

bool IsContinuation(Byte aByte) {
  return (aByte & 0xc0) == 0x80;
}

// The length that a character of UTF-8 has by its first byte, 1 for what begins none.
size_t LengthByFirstByte(Byte aByte) {
  if (aByte >= 0xc2 && aByte <= 0xdf) return 2;
  if (aByte >= 0xe0 && aByte <= 0xef) return 3;
  if (aByte >= 0xf0 && aByte <= 0xf4) return 4;
  return 1;
}

// The length of the character at aText; a byte that is part of none counts for itself.
size_t CharacterLength(const Byte *aText, size_t aLength) {
  const size_t theLength = LengthByFirstByte(aText[0]);
  if (theLength > aLength) return 1;
  for (size_t theIndex = 1; theIndex < theLength; ++theIndex) {
    if (!IsContinuation(aText[theIndex])) return 1;
  }
  return theLength;
}

bool IsCommand(const Byte *aCharacter, size_t aLength) {
  const Byte theFirst = aCharacter[0];
  if (aLength == 1) return (theFirst < 0x20 && theFirst != '\t') || (theFirst >= 0x7f && theFirst <= 0x9f);
  return aLength == 2 && theFirst == 0xc2 && aCharacter[1] <= 0x9f;
}

char *Show(Byte aByte, char *aBuffer) {
  const char *theDigits = "0123456789abcdef";
  const char theShown[kShownSize] = {'\\', 'x', theDigits[aByte >> 4], theDigits[aByte & 0xf]};
  memcpy(aBuffer, theShown, kShownSize);
  return aBuffer + kShownSize;
}

// Collects pieces and writes them. The length that counts is that of the bytes shown.
class PieceWriter {
 public:
  PieceWriter(const zvlog::Target &aTarget, zvlog::Patience *aPatience)
      : mTarget(aTarget), mPatience(aPatience) {}

  void Character(const Byte *aCharacter, size_t aLength) {
    if (mLength + 2 * kShownSize > kPieceSize) Flush();
    if (!IsCommand(aCharacter, aLength)) {
      memcpy(mPiece + mLength, aCharacter, aLength);
      mLength += aLength;
      return;
    }
    char *theEnd = mPiece + mLength;
    for (size_t theIndex = 0; theIndex < aLength; ++theIndex)
      theEnd = Show(aCharacter[theIndex], theEnd);
    mLength = static_cast<size_t>(theEnd - mPiece);
  }

  zvlog::Written Finish(char aLast) {
    mPiece[mLength++] = aLast;
    Flush();
    return mWritten;
  }

 private:
  void Flush() {
    if (mWritten.mError == 0) {
      const zvlog::Written thePart = zvlog::WriteHarmlessly(mTarget, mPiece, mLength, mPatience);
      mWritten = {mWritten.mLength + thePart.mLength, thePart.mError};
    }
    mLength = 0;
  }

  const zvlog::Target &mTarget;
  zvlog::Patience *const mPatience;
  zvlog::Written mWritten = {0, 0};
  size_t mLength = 0;
  char mPiece[kPieceSize + 1];
};

bool HasCommand(const Byte *aText, size_t aLength) {
  for (size_t theAt = 0; theAt < aLength;) {
    const size_t theLength = CharacterLength(aText + theAt, aLength - theAt);
    if (IsCommand(aText + theAt, theLength)) return true;
    theAt += theLength;
  }
  return false;
}

}  // namespace

namespace zvlog {

Written WriteToTerminal(const Target &aTarget, const char *aLine, size_t aLength, Patience *aPatience) {
  const Byte *theText = reinterpret_cast<const Byte *>(aLine);
  const size_t theLength = aLength - 1;  // without the line feed
  if (!HasCommand(theText, theLength)) return WriteHarmlessly(aTarget, aLine, aLength, aPatience);

  PieceWriter theWriter(aTarget, aPatience);
  for (size_t theAt = 0; theAt < theLength;) {
    const size_t theCharacterLength = CharacterLength(theText + theAt, theLength - theAt);
    theWriter.Character(theText + theAt, theCharacterLength);
    theAt += theCharacterLength;
  }
  return theWriter.Finish(aLine[theLength]);
}

}  // namespace zvlog
