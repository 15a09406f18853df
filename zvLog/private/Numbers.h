// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Strict reading of numbers: digits and nothing else, in no locale.
#pragma once

#include <zvLog/zvLogTypes.h>

namespace zvlog {

enum class NumberError { None, Invalid, TooLarge };

constexpr uint32 kNoDigit = 0xff;

constexpr uint32 DigitValue(char aChar) {
  if (aChar >= '0' && aChar <= '9') return static_cast<uint32>(aChar - '0');
  if (aChar >= 'a' && aChar <= 'f') return static_cast<uint32>(aChar - 'a') + 10;
  if (aChar >= 'A' && aChar <= 'F') return static_cast<uint32>(aChar - 'A') + 10;
  return kNoDigit;
}

// The number is left alone on failure. One copy of it is enough: nothing about reading settings is urgent.
// The numbers are those of the machine, since others would cost a small processor a division or a function
// for each digit.
__attribute__((noinline)) inline NumberError ReadDigits(const char *aText, uint32 aBase, uintptr_t aMaximum,
                                                        uintptr_t *aNumber) {
  if (*aText == '\0') return NumberError::Invalid;
  uintptr_t theNumber = 0;
  bool afTooLarge = false;
  for (; *aText != '\0'; ++aText) {
    const uint32 theDigit = DigitValue(*aText);
    if (theDigit >= aBase) return NumberError::Invalid;
    afTooLarge = afTooLarge || __builtin_mul_overflow(theNumber, aBase, &theNumber) ||
                 __builtin_add_overflow(theNumber, theDigit, &theNumber) || theNumber > aMaximum;
  }
  if (afTooLarge) return NumberError::TooLarge;
  *aNumber = theNumber;
  return NumberError::None;
}

inline bool StartsWithHexPrefix(const char *aText) {
  return aText[0] == '0' && (aText[1] == 'x' || aText[1] == 'X');
}

// Decimal, or hexadecimal with "0x".
inline NumberError ReadNumber(const char *aText, uintptr_t aMaximum, uintptr_t *aNumber) {
  const bool afHexadecimal = StartsWithHexPrefix(aText);
  return ReadDigits(aText + (afHexadecimal ? 2 : 0), afHexadecimal ? 16 : 10, aMaximum, aNumber);
}

}  // namespace zvlog
