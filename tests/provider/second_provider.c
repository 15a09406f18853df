/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

// A second provider of the log interface, as small as one can be: it writes the text of each
// message to standard error and offers nothing more than the library imports today.

#define _GNU_SOURCE

#include <zvLog/zvLog.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

zvLogLevel _zvLog_Level = 5;

static _Thread_local zvLogData sRecord;

zvLogData *zvLog_Begin(zvLogLevel aLevel, zvLogModule aModule) {
  sRecord.mLevel = aLevel;
  sRecord.mModule = aModule;
  return &sRecord;
}

void zvLog_Append_VF(const char *aFormat, va_list anArguments) {
  fprintf(stderr, "second provider, level %d, module %d, %s: ", sRecord.mLevel, sRecord.mModule,
          sRecord.mFile);
  vfprintf(stderr, aFormat, anArguments);
}

void zvLog_Append_F(const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
  zvLog_Append_VF(aFormat, theArguments);
  va_end(theArguments);
}

void zvLog_End(zvLogData *aLogData) {
  (void)aLogData;
}

int zvLog_WillLog(zvLogLevel aLevel, zvLogModule aModule) {
  return aLevel < _zvLog_Level && aModule != 0;
}

void _zvAssert(const char *anExpression, const char *aFile, uint32 aLine) {
  fprintf(stderr, "second provider: %s (%s:%u)\n", anExpression, aFile, (unsigned)aLine);
}

void *zvMalloc(size_t aSize) {
  return malloc(aSize);
}
void *zvMallocZeroed(size_t aSize) {
  return calloc(1, aSize);
}
void zvFree(void *aPointer) {
  free(aPointer);
}
char *zvStrdup(const char *aText) {
  return zvStrndup(aText, strlen(aText));
}

char *zvStrndup(const char *aText, size_t aLength) {
  const char *const theEnd = memchr(aText, '\0', aLength);
  const size_t theLength = theEnd != NULL ? (size_t)(theEnd - aText) : aLength;
  char *const theCopy = malloc(theLength + 1);
  if (theCopy == NULL) return NULL;
  memcpy(theCopy, aText, theLength);
  theCopy[theLength] = '\0';
  return theCopy;
}

int zv_snprintf(char *aBuffer, size_t aSize, const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
  const int theLength = vsnprintf(aBuffer, aSize, aFormat, theArguments);
  va_end(theArguments);
  return theLength;
}

char *zv_mnprintf(const char *aFormat, ...) {
  char *theText = NULL;
  va_list theArguments;
  va_start(theArguments, aFormat);
  const int theLength = vasprintf(&theText, aFormat, theArguments);
  va_end(theArguments);
  return theLength < 0 ? NULL : theText;
}

int zvConvert_strtoptr(const char *aText, void **aPointer) {
  return aText != NULL && sscanf(aText, "%p", aPointer) == 1 ? kzvConvertError_None : kzvConvertError_Invalid;
}

struct zvPtrList {
  void *mLast;
};

zvPtrList *zvPtrList_New(void) {
  return calloc(1, sizeof(zvPtrList));
}

int zvPtrList_Append(zvPtrList *aList, void *anElement) {
  aList->mLast = anElement;
  return 1;
}

void zvPtrList_SetFreeFunc(zvPtrList *aList, zvPtrListFreeFunc aFreeFunc) {
  (void)aList, (void)aFreeFunc;
}

// No configuration, no parser worth the name: every key has its default, every list no token.

const char *zvConfigFile_GetString(const zvConfigFile_t *aConfigFile, const char *aSection, const char *aKey,
                                   const char *aDefault) {
  (void)aConfigFile, (void)aSection, (void)aKey;
  return aDefault;
}

uint32 zvConfigFile_GetUInt32(const zvConfigFile_t *aConfigFile, const char *aSection, const char *aKey,
                              uint32 aDefault) {
  (void)aConfigFile, (void)aSection, (void)aKey;
  return aDefault;
}

int zvCStringParser_Match(const char *aPattern, const char *aText) {
  return strcmp(aPattern, aText) == 0;
}

zvCStringParser_TokenList *zvCStringParser_TokenizeQuotedList(char *aText, size_t aStart, size_t aLength) {
  (void)aText, (void)aStart, (void)aLength;
  return calloc(1, sizeof(zvCStringParser_TokenList));
}

void zvCStringParser_Delete(zvCStringParser_TokenList *aList) {
  free(aList);
}

uint16 zvRand_MinMaxUInt16(uint16 aMin, uint16 aMax) {
  return (uint16)(aMin + rand() % (aMax - aMin + 1));
}
