// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Reading pointers from text.

#include <zvLog/zvLog.h>

#include "private/Numbers.h"

#include <cstring>

extern "C" int zvConvert_strtoptr(const char *aText, void **aPointer) {
  if (aText == nullptr || aPointer == nullptr) return kzvConvertError_Invalid;
  if (strcmp(aText, "(nil)") == 0) {
    *aPointer = nullptr;
    return kzvConvertError_None;
  }

  uintptr_t theNumber = 0;
  if (*aText == '-') {
    const bool afNumber =
        zvlog::ReadNumber(aText + 1, UINTPTR_MAX, &theNumber) != zvlog::NumberError::Invalid;
    return afNumber ? kzvConvertError_RangeLow : kzvConvertError_Invalid;
  }
  if (!zvlog::StartsWithHexPrefix(aText)) return kzvConvertError_Invalid;
  switch (zvlog::ReadNumber(aText, UINTPTR_MAX, &theNumber)) {
    case zvlog::NumberError::Invalid:
      return kzvConvertError_Invalid;
    case zvlog::NumberError::TooLarge:
      return kzvConvertError_RangeHigh;
    case zvlog::NumberError::None:
      break;
  }
  *aPointer = reinterpret_cast<void *>(theNumber);
  return kzvConvertError_None;
}
