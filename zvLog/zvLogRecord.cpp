// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The text of a record.
//
// Of a text that is too long the head and the last bytes are kept: what a message is about stands in its
// beginning, and why something failed in its end.

#include "private/Record.h"

#include "private/Format.h"
#include "private/LineWriter.h"

#include <sys/mman.h>
#include <algorithm>
#include <cstdio>
#include <cstring>

namespace zvlog {

namespace {

constexpr size_t kTailRoom = 200;
constexpr size_t kMarkRoom = 32;  // for " [... 4294967295 bytes ...] "
constexpr size_t kHeadRoom = kTextRoom - kTailRoom - kMarkRoom;
constexpr size_t kLongestFormattedTwice = size_t{1} << 20;
constexpr char kUnformattable[] = " [cut]";

// The end of a formatted text, whose length is known to be aLength, into aTail. Gives the length of that
// end: none when there is no memory.
//
// The C library formats from the beginning only. The memory for what nobody will see comes from the
// system and goes back there at once: a handler of a fatal signal must not touch the heap.
size_t FormatTail(char (&aTail)[kTailRoom + 1], size_t aLength, const char *aFormat, va_list anArguments)
    ZVLOG_PRINTF(3, 0);
size_t FormatTail(char (&aTail)[kTailRoom + 1], size_t aLength, const char *aFormat, va_list anArguments) {
  if (aLength <= kTailRoom) {
    const int theLength = vsnprintf(aTail, sizeof(aTail), aFormat, anArguments);
    return theLength < 0 ? 0 : std::min(static_cast<size_t>(theLength), kTailRoom);
  }
  if (aLength > kLongestFormattedTwice) return 0;
  void *theMemory = mmap(nullptr, aLength + 1, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (theMemory == MAP_FAILED) return 0;
  vsnprintf(static_cast<char *>(theMemory), aLength + 1, aFormat, anArguments);
  memcpy(aTail, static_cast<char *>(theMemory) + aLength - kTailRoom, kTailRoom);
  munmap(theMemory, aLength + 1);
  return kTailRoom;
}

void ReplaceByBlanks(char *aText, size_t aLength, char aChar) {
  char *const theEnd = aText + aLength;
  while ((aText = static_cast<char *>(memchr(aText, aChar, static_cast<size_t>(theEnd - aText)))) != nullptr)
    *aText++ = ' ';
}

}  // namespace

void Record::Append(const char *aFormat, va_list anArguments) {
  if (IsPlainFormat(aFormat)) {
    FormatPlainly(this, aFormat, anArguments);
  } else {
    AppendByTheCLibrary(aFormat, anArguments);
  }
}

void Record::AppendByTheCLibrary(const char *aFormat, va_list anArguments) {
  va_list theArguments;
  va_copy(theArguments, anArguments);
  const size_t theRoom = kTextRoom - mLength;
  // One byte more than may be used, for the terminator.
  const int theLength = vsnprintf(Text() + mLength, theRoom + 1, aFormat, anArguments);
  if (theLength < 0) {
    // What was written before it failed is not known.
    Put(kUnformattable, sizeof(kUnformattable) - 1);
  } else if (static_cast<size_t>(theLength) <= theRoom) {
    mLength += static_cast<size_t>(theLength);
  } else {
    char theTail[kTailRoom + 1];
    const size_t theTailLength = FormatTail(theTail, static_cast<size_t>(theLength), aFormat, theArguments);
    PutBeyondRoom(static_cast<size_t>(theLength), theTail, theTailLength);
  }
  va_end(theArguments);
}

void Record::Append(const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
  Append(aFormat, theArguments);
  va_end(theArguments);
}

void Record::Put(const char *aBytes, size_t aCount) {
  const size_t theRoom = kTextRoom - mLength;
  if (aCount <= theRoom) {
    memcpy(Text() + mLength, aBytes, aCount);
    mLength += aCount;
    return;
  }
  memcpy(Text() + mLength, aBytes, theRoom);
  const size_t theTailLength = std::min(aCount, kTailRoom);
  PutBeyondRoom(aCount, aBytes + aCount - theTailLength, theTailLength);
}

// A text of aCount bytes does not fit behind the present one. As much of it as fits stands there already;
// its tail is given, or none of it.
void Record::PutBeyondRoom(size_t aCount, const char *aTail, size_t aTailLength) {
  const size_t theWhole = mMissing + mLength + aCount;
  // Of a short text some of what stands before it is in the tail, too.
  const size_t theKept = aCount < kTailRoom ? kTailRoom - aCount : 0;
  memmove(Text() + kHeadRoom, Text() + mLength - theKept, theKept);
  memcpy(Text() + kHeadRoom + theKept, aTail, aTailLength);
  mLength = kHeadRoom + theKept + aTailLength;
  mMissing = theWhole - mLength;
}

// Gives the length of the text, which is then whole in place.
size_t Record::MarkWhatIsMissing() {
  const size_t theTailLength = std::min(mLength - kHeadRoom, kTailRoom);
  const size_t theMissing = mMissing + (mLength - kHeadRoom - theTailLength);
  char theMark[kMarkRoom];
  LineWriter theWriter(theMark, sizeof(theMark));
  theWriter.Text(" [... ");
  theWriter.Number(static_cast<uint32>(theMissing));
  theWriter.Text(" bytes ...] ");
  char *theBehindHead = Text() + kHeadRoom;
  memmove(theBehindHead + theWriter.Length(), Text() + mLength - theTailLength, theTailLength);
  memcpy(theBehindHead, theMark, theWriter.Length());
  return kHeadRoom + theWriter.Length() + theTailLength;
}

size_t Record::MakeLine() {
  char *theText = Text();
  size_t theLength = mMissing > 0 ? MarkWhatIsMissing() : mLength;
  if (theLength == 0 || theText[theLength - 1] != '\n') theText[theLength++] = '\n';
  for (const char theBreak : {'\n', '\r', '\0'})
    ReplaceByBlanks(theText, theLength - 1, theBreak);
  return theLength;
}

}  // namespace zvlog
