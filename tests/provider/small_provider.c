/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

// A provider of the log interface to start one's own from: every function that the library may import, with
// records as lines on standard error. It reads no configuration files: every key has its default.
#define _GNU_SOURCE
#include <zvLog/zvLog.h>
#include <errno.h>
#include <fnmatch.h>
#include <stdio.h>
#include <string.h>

// A function that fits on a line stands on one.
// clang-format off
#define VARIADIC(aCall) va_list theList; va_start(theList, aFormat); aCall; va_end(theList)
typedef const char *Text;

zvLogLevel _zvLog_Level = 3;
static _Thread_local struct { zvLogData mData; char mText[1000]; } sOpen[4];  // records nest
static _Thread_local int sDepth;

int zvLog_WillLog(zvLogLevel aLevel, zvLogModule aModule) { return aLevel < _zvLog_Level && aModule < 1000; }
zvLogData *zvLog_Begin(zvLogLevel aLevel, zvLogModule aModule) {
  if (!zvLog_WillLog(aLevel, aModule) || sDepth == 4) return NULL;
  sOpen[sDepth].mText[0] = '\0';
  sOpen[sDepth].mData = (zvLogData){aLevel, aModule, "", 0};
  return &sOpen[sDepth++].mData;
}
void zvLog_Append_VF(Text aFormat, va_list anArguments) {
  const int theError = errno;
  char *const theText = sOpen[sDepth - 1].mText;
  vsnprintf(theText + strlen(theText), 1000 - strlen(theText), aFormat, anArguments);
  errno = theError;
}
void zvLog_Append_F(Text aFormat, ...) { VARIADIC(zvLog_Append_VF(aFormat, theList)); }
void zvLog_End(zvLogData *aData) {
  const int theError = errno;
  Text const theText = sOpen[--sDepth].mText;
  dprintf(2, "level %d, module %d, %s: %s", aData->mLevel, aData->mModule, aData->mFile, theText);
  errno = theError;
}
void _zvAssert(Text aText, Text aFile, uint32 aLine) { dprintf(2, "%s:%d: %s\n", aFile, (int)aLine, aText); }

void *zvMalloc(size_t aSize) { return malloc(aSize); }
void *zvMallocZeroed(size_t aSize) { return calloc(1, aSize); }
void zvFree(void *aPointer) { free(aPointer); }
char *zvStrdup(Text aText) { return strdup(aText); }
char *zvStrndup(Text aText, size_t aLength) { return strndup(aText, aLength); }
int zv_snprintf(char *aText, size_t aSize, Text aFormat, ...) {
  VARIADIC(const int theLength = vsnprintf(aText, aSize, aFormat, theList));
  return theLength;
}
char *zv_mnprintf(Text aFormat, ...) {
  char *theText;
  VARIADIC(const int theLength = vasprintf(&theText, aFormat, theList));
  return theLength >= 0 ? theText : NULL;
}
int zvConvert_strtoptr(Text aText, void **aPointer) {
  return aText != NULL && sscanf(aText, "%p", aPointer) == 1 ? kzvConvertError_None : kzvConvertError_Invalid;
}

struct zvPtrList { void **mElements; size_t mCount; zvPtrListFreeFunc mFree; };
zvPtrList *zvPtrList_New(void) { return calloc(1, sizeof(zvPtrList)); }
void zvPtrList_SetFreeFunc(zvPtrList *aList, zvPtrListFreeFunc aFree) { aList->mFree = aFree; }
int zvPtrList_Append(zvPtrList *aList, void *anElement) {
  void **const theElements = realloc(aList->mElements, (aList->mCount + 1) * sizeof(void *));
  if (theElements == NULL) return 0;
  aList->mElements = theElements;
  theElements[aList->mCount++] = anElement;
  return 1;
}

Text zvConfigFile_GetString(const zvConfigFile_t *aFile, Text aSection, Text aKey, Text aDefault) {
  return (void)aFile, (void)aSection, (void)aKey, aDefault;
}
uint32 zvConfigFile_GetUInt32(const zvConfigFile_t *aFile, Text aSection, Text aKey, uint32 aDefault) {
  return (void)aFile, (void)aSection, (void)aKey, aDefault;
}

int zvCStringParser_Match(Text aPattern, Text aText) { return fnmatch(aPattern, aText, 0) == 0; }
void zvCStringParser_Delete(zvCStringParser_TokenList *aList) {
  if (aList == NULL) return;
  for (zvCStringParser_Token *theToken = aList->mFirstToken, *theNext; theToken != NULL; theToken = theNext)
    theNext = theToken->mNextToken, free(theToken);
  free(aList);
}
zvCStringParser_TokenList *zvCStringParser_TokenizeQuotedList(char *aText, size_t aStart, size_t aLength) {
  zvCStringParser_TokenList *const theList = calloc(1, sizeof(*theList));
  Text const theEnd = aText + aStart + strnlen(aText + aStart, aLength);
  char *theAt = aText + aStart;
  while (theList != NULL && (theAt += strspn(theAt, " ,\t\r\n")) < theEnd) {
    zvCStringParser_Token *const theToken = calloc(1, sizeof(*theToken));
    if (theToken == NULL) return zvCStringParser_Delete(theList), NULL;
    const int afQuoted = *theAt == '"';
    theToken->mData = theAt + afQuoted;
    theToken->mDataLength = strcspn(theToken->mData, afQuoted ? "\"" : " ,\t\r\n");
    *(theList->mLastToken ? &theList->mLastToken->mNextToken : &theList->mFirstToken) = theToken;
    theList->mLastToken = theToken;
    ++theList->mTokenCount;
    theAt = theToken->mData + theToken->mDataLength;
    if (theAt < theEnd) *theAt++ = '\0';
  }
  return theList;
}

uint16 zvRand_MinMaxUInt16(uint16 aMin, uint16 aMax) { return (uint16)(aMin + random() % (aMax - aMin + 1)); }
