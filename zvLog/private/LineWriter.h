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

  void Text(const char *aText) {
    while (*aText != '\0' && mAt < mEnd)
      *mAt++ = *aText++;
  }

  // The last aMaximum bytes of a longer text, led by "...".
  void TailOfText(const char *aText, size_t aMaximum) {
    const size_t theLength = strlen(aText);
    if (theLength > aMaximum) {
      Text("...");
      aText += theLength - aMaximum;
    }
    Text(aText);
  }

  // Decimal, filled up with zeros to aWidth digits.
  void Number(uint64 aNumber, size_t aWidth = 1) {
    char theDigits[20];
    size_t theCount = 0;
    do {
      theDigits[theCount++] = static_cast<char>('0' + aNumber % 10);
      aNumber /= 10;
    } while (aNumber != 0 || theCount < aWidth);
    while (theCount > 0)
      Char(theDigits[--theCount]);
  }

 private:
  char *const mBegin;
  char *mAt;
  char *const mEnd;
};

}  // namespace zvlog
