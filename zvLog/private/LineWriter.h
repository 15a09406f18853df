// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Writes text and numbers into a buffer, and stops at its end. Neither formats nor locales, so that
// it works wherever a thread may crash.
#pragma once

#include <zvLog/zvLogTypes.h>

#include <cstring>

namespace zvlog {

class LineWriter {
 public:
  LineWriter(char *aBuffer, size_t aSize) : mBegin(aBuffer), mAt(aBuffer), mEnd(aBuffer + aSize) {}

  size_t Length() const { return static_cast<size_t>(mAt - mBegin); }

  void Char(char aChar) {
    if (mAt < mEnd) *mAt++ = aChar;
  }

  void Text(const char *aText) { Bytes(aText, strlen(aText)); }

  // The last aMaximum bytes of a longer text, led by "...".
  void TailOfText(const char *aText, size_t aMaximum) {
    const size_t theLength = strlen(aText);
    if (theLength > aMaximum) {
      Text("...");
      Bytes(aText + theLength - aMaximum, aMaximum);
    } else {
      Bytes(aText, theLength);
    }
  }

  // Decimal. 32 bits are enough for all that is written, and on small processors much faster to divide
  // than 64.
  void Number(uint32 aNumber) {
    size_t theCount = 1;
    for (uint32 theRest = aNumber; theRest >= 10; theRest = Tenth(theRest))
      ++theCount;
    Digits(aNumber, theCount);
  }

  // Decimal, the last aCount digits, or none where they have no room. They are written in place: there may be
  // no stack for another one.
  void Digits(uint32 aNumber, size_t aCount) {
    if (aCount > static_cast<size_t>(mEnd - mAt)) return;
    char *const theBegin = mAt;
    mAt += aCount;
    for (char *theDigit = mAt; theDigit > theBegin;) {
      const uint32 theRest = Tenth(aNumber);
      *--theDigit = static_cast<char>('0' + (aNumber - theRest * 10));
      aNumber = theRest;
    }
  }

  // The same with a character behind them.
  void Digits(uint32 aNumber, size_t aCount, char aBehind) {
    Digits(aNumber, aCount);
    Char(aBehind);
  }

 private:
  // The compiler, told to save space, would divide, which takes ten times as long. It is right for all
  // numbers.
  static uint32 Tenth(uint32 aNumber) { return static_cast<uint32>(uint64{aNumber} * 0xcccccccd >> 35); }

  // One copy of it is enough: it is called from many places.
  __attribute__((noinline)) void Bytes(const char *aBytes, size_t aCount) {
    const size_t theRoom = static_cast<size_t>(mEnd - mAt);
    if (aCount > theRoom) aCount = theRoom;
    memcpy(mAt, aBytes, aCount);
    mAt += aCount;
  }

  char *const mBegin;
  char *mAt;
  char *const mEnd;
};

}  // namespace zvlog
