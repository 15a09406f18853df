// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Memory and text, over the C library's heap.

#include <zvLog/zvLog.h>

#include <cstdio>
#include <cstring>

extern "C" void *zvMalloc(size_t aSize) {
  return malloc(aSize > 0 ? aSize : 1);
}

extern "C" void *zvMallocZeroed(size_t aSize) {
  return calloc(1, aSize > 0 ? aSize : 1);
}

extern "C" void zvFree(void *aPointer) {
  free(aPointer);
}

extern "C" char *zvStrdup(const char *aText) {
  return aText != nullptr ? strdup(aText) : nullptr;
}

extern "C" char *zvStrndup(const char *aText, size_t aLength) {
  return aText != nullptr ? strndup(aText, aLength) : nullptr;
}

extern "C" int zv_snprintf(char *aBuffer, size_t aSize, const char *aFormat, ...) {
  const bool afHasRoom = aBuffer != nullptr && aSize > 0;
  if (afHasRoom) *aBuffer = '\0';
  if (aFormat == nullptr) return -1;

  va_list theArguments;
  va_start(theArguments, aFormat);
  const int theLength = vsnprintf(aBuffer, afHasRoom ? aSize : 0, aFormat, theArguments);
  va_end(theArguments);
  if (theLength < 0 && afHasRoom) *aBuffer = '\0';
  return theLength;
}

extern "C" char *zv_mnprintf(const char *aFormat, ...) {
  if (aFormat == nullptr) return nullptr;
  char *theText = nullptr;
  va_list theArguments;
  va_start(theArguments, aFormat);
  const int theLength = vasprintf(&theText, aFormat, theArguments);
  va_end(theArguments);
  return theLength >= 0 ? theText : nullptr;
}
