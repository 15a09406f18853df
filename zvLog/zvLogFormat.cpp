// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "private/Format.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace {

using zvlog::Record;

enum class Size { Int, Long, LongLong, Size };

constexpr int kNone = -1;
constexpr int kArgument = -2;  // "*": it is the next argument
constexpr int kWidest = 9999;  // of those that stand in the format

struct Conversion {
  bool mfLeft = false;
  bool mfZeros = false;
  int mWidth = kNone;
  int mPrecision = kNone;
  Size mSize = Size::Int;
  char mKind = '\0';
};

struct Bytes {
  const char *mBegin;
  size_t mLength;
};

// Digits or "*"; false when the number is too large.
bool ReadCount(const char **aFormat, int *aCount) {
  if (**aFormat == '*') {
    ++*aFormat;
    *aCount = kArgument;
    return true;
  }
  for (; **aFormat >= '0' && **aFormat <= '9'; ++*aFormat) {
    *aCount = (*aCount == kNone ? 0 : *aCount) * 10 + (**aFormat - '0');
    if (*aCount > kWidest) return false;
  }
  return true;
}

Size ReadSize(const char **aFormat) {
  if (**aFormat == 'z') {
    ++*aFormat;
    return Size::Size;
  }
  if (**aFormat != 'l') return Size::Int;
  ++*aFormat;
  if (**aFormat != 'l') return Size::Long;
  ++*aFormat;
  return Size::LongLong;
}

bool IsPlain(const Conversion &aConversion) {
  const bool afSized = aConversion.mSize != Size::Int;
  switch (aConversion.mKind) {
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X':
      return aConversion.mPrecision == kNone;
    case 's':
      return !afSized && !aConversion.mfZeros;
    case 'c':
    case 'p':
      return !afSized && !aConversion.mfZeros && aConversion.mPrecision == kNone;
    default:
      return false;
  }
}

// From behind the percent sign on. Gives the place behind the conversion, NULL when it is not plain.
const char *ReadConversion(const char *aFormat, Conversion *aConversion) {
  for (; *aFormat == '-' || *aFormat == '0'; ++aFormat)
    (*aFormat == '-' ? aConversion->mfLeft : aConversion->mfZeros) = true;
  if (!ReadCount(&aFormat, &aConversion->mWidth)) return nullptr;
  if (*aFormat == '.') {
    ++aFormat;
    aConversion->mPrecision = 0;
    if (!ReadCount(&aFormat, &aConversion->mPrecision)) return nullptr;
  }
  aConversion->mSize = ReadSize(&aFormat);
  aConversion->mKind = *aFormat;
  return IsPlain(*aConversion) ? aFormat + 1 : nullptr;
}

void PutMany(Record *aRecord, char aChar, size_t aCount) {
  char theChars[16];
  memset(theChars, aChar, sizeof(theChars));
  for (; aCount > sizeof(theChars); aCount -= sizeof(theChars))
    aRecord->Put(theChars, sizeof(theChars));
  aRecord->Put(theChars, aCount);
}

// A prefix, zeros or blanks up to the width, and the rest.
void PutFilled(Record *aRecord, const Conversion &aConversion, Bytes aPrefix, Bytes aRest) {
  const size_t theLength = aPrefix.mLength + aRest.mLength;
  const size_t theWidth = aConversion.mWidth > 0 ? static_cast<size_t>(aConversion.mWidth) : 0;
  const size_t theFill = theWidth > theLength ? theWidth - theLength : 0;
  const bool afZeros = aConversion.mfZeros && !aConversion.mfLeft;
  if (!afZeros && !aConversion.mfLeft) PutMany(aRecord, ' ', theFill);
  aRecord->Put(aPrefix.mBegin, aPrefix.mLength);
  if (afZeros) PutMany(aRecord, '0', theFill);
  aRecord->Put(aRest.mBegin, aRest.mLength);
  if (aConversion.mfLeft) PutMany(aRecord, ' ', theFill);
}

uint64 TakeUnsigned(Size aSize, va_list *anArguments) {
  switch (aSize) {
    case Size::Long:
      return va_arg(*anArguments, unsigned long);
    case Size::LongLong:
      return va_arg(*anArguments, unsigned long long);
    case Size::Size:
      return va_arg(*anArguments, size_t);
    default:
      return va_arg(*anArguments, unsigned int);
  }
}

int64 TakeSigned(Size aSize, va_list *anArguments) {
  switch (aSize) {
    case Size::Long:
      return va_arg(*anArguments, long);
    case Size::LongLong:
      return va_arg(*anArguments, long long);
    case Size::Size:
      return va_arg(*anArguments, ssize_t);
    default:
      return va_arg(*anArguments, int);
  }
}

template <typename Number>
char *WriteDigits(char *anEnd, Number aNumber, uint32 aBase, const char *aDigits) {
  do {
    *--anEnd = aDigits[aNumber % aBase];
    aNumber /= aBase;
  } while (aNumber != 0);
  return anEnd;
}

// One digit off the end, by divisions of 32 bits: small processors have no wider ones. The base is at most
// 2^16.
uint32 TakeDigit(uint64 *aNumber, uint32 aBase) {
  const uint32 theHigh = static_cast<uint32>(*aNumber >> 32);
  const uint32 theLow = static_cast<uint32>(*aNumber);
  const uint32 theMiddle = theHigh % aBase << 16 | theLow >> 16;
  const uint32 theLast = theMiddle % aBase << 16 | (theLow & 0xffff);
  *aNumber = uint64{theHigh / aBase} << 32 | (theMiddle / aBase << 16 | theLast / aBase);
  return theLast % aBase;
}

void PutNumber(Record *aRecord, const Conversion &aConversion, Bytes aPrefix, uint64 aNumber, uint32 aBase) {
  char theDigits[20];
  char *const theEnd = theDigits + sizeof(theDigits);
  const char *theNames = aConversion.mKind == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";
  char *theBegin = theEnd;
  do {
    *--theBegin = theNames[TakeDigit(&aNumber, aBase)];
  } while (aNumber != 0);
  PutFilled(aRecord, aConversion, aPrefix, {theBegin, static_cast<size_t>(theEnd - theBegin)});
}

void PutText(Record *aRecord, const Conversion &aConversion, const char *aText) {
  const bool afAll = aConversion.mPrecision < 0;
  const size_t theMaximum = static_cast<size_t>(aConversion.mPrecision);
  if (aText == nullptr) aText = afAll || theMaximum >= strlen("(null)") ? "(null)" : "";
  PutFilled(aRecord, aConversion, {"", 0}, {aText, afAll ? strlen(aText) : strnlen(aText, theMaximum)});
}

void PutPointer(Record *aRecord, const Conversion &aConversion, const void *aPointer) {
  if (aPointer == nullptr) {
    PutText(aRecord, aConversion, "(nil)");
  } else {
    PutNumber(aRecord, aConversion, {"0x", 2}, reinterpret_cast<uintptr_t>(aPointer), 16);
  }
}

void PutConversion(Record *aRecord, Conversion *aConversion, va_list *anArguments) {
  if (aConversion->mWidth == kArgument) {
    const int theWidth = va_arg(*anArguments, int);
    aConversion->mfLeft = aConversion->mfLeft || theWidth < 0;
    aConversion->mWidth = theWidth < 0 ? -std::max(theWidth, -INT_MAX) : theWidth;
  }
  if (aConversion->mPrecision == kArgument) aConversion->mPrecision = va_arg(*anArguments, int);

  switch (aConversion->mKind) {
    case 's':
      return PutText(aRecord, *aConversion, va_arg(*anArguments, const char *));
    case 'c': {
      const char theChar = static_cast<char>(va_arg(*anArguments, int));
      return PutFilled(aRecord, *aConversion, {"", 0}, {&theChar, 1});
    }
    case 'p':
      return PutPointer(aRecord, *aConversion, va_arg(*anArguments, void *));
    case 'd':
    case 'i': {
      const int64 theNumber = TakeSigned(aConversion->mSize, anArguments);
      const uint64 theBits = static_cast<uint64>(theNumber);
      return theNumber < 0 ? PutNumber(aRecord, *aConversion, {"-", 1}, uint64{0} - theBits, 10)
                           : PutNumber(aRecord, *aConversion, {"", 0}, theBits, 10);
    }
    default:
      return PutNumber(aRecord, *aConversion, {"", 0}, TakeUnsigned(aConversion->mSize, anArguments),
                       aConversion->mKind == 'u' ? 10 : 16);
  }
}

}  // namespace

namespace zvlog {

bool IsPlainFormat(const char *aFormat) {
  while ((aFormat = strchr(aFormat, '%')) != nullptr) {
    if (aFormat[1] == '%') {
      aFormat += 2;
      continue;
    }
    Conversion theConversion;
    aFormat = ReadConversion(aFormat + 1, &theConversion);
    if (aFormat == nullptr) return false;
  }
  return true;
}

void FormatPlainly(Record *aRecord, const char *aFormat, va_list anArguments) {
  va_list theArguments;
  va_copy(theArguments, anArguments);
  for (;;) {
    const char *thePercent = strchrnul(aFormat, '%');
    aRecord->Put(aFormat, static_cast<size_t>(thePercent - aFormat));
    if (*thePercent == '\0') break;
    if (thePercent[1] == '%') {
      aRecord->Put("%", 1);
      aFormat = thePercent + 2;
      continue;
    }
    Conversion theConversion;
    aFormat = ReadConversion(thePercent + 1, &theConversion);
    PutConversion(aRecord, &theConversion, &theArguments);
  }
  va_end(theArguments);
}

}  // namespace zvlog
