/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

// short_provider.c
#define _GNU_SOURCE
#include <errno.h>
#include <fnmatch.h>
#include <stdio.h>
#include <string.h>
#include <zvLog/zvLog.h>
// clang-format off
#define KEEP(aCall) const int theError = errno; aCall; errno = theError
#define VARIADIC(aCall) va_list theList; va_start(theList, aFormat); aCall; va_end(theList)
#define RESULT(aCall, aResult) VARIADIC(const int theSize = aCall); return aResult
typedef const char *Text;
// Records nest, four deep; the fifth place is never handed out.
static __thread struct Open { zvLogData mData; char mText[1000]; } sOpen[5]; static __thread int sDepth;

zvLogLevel _zvLog_Level = 3;
int zvLog_WillLog(zvLogLevel aLevel, zvLogModule aModule) { return aLevel < _zvLog_Level && sDepth < 4; }
zvLogData *zvLog_Begin(zvLogLevel aLevel, zvLogModule aModule) {
  sOpen[sDepth] = (struct Open){{aLevel, aModule, "", 0}, ""};
  return zvLog_WillLog(aLevel, aModule) ? &sOpen[sDepth++].mData : NULL;
}
void zvLog_Append_VF(Text aFormat, va_list anArguments) {
  char *const theText = sOpen[sDepth - 1].mText;
  KEEP(vsnprintf(theText + strlen(theText), 1000 - strlen(theText), aFormat, anArguments));
}
void zvLog_Append_F(Text aFormat, ...) { VARIADIC(zvLog_Append_VF(aFormat, theList)); }
void zvLog_End(zvLogData *aData) {
  KEEP(dprintf(2, "level %d, module %d, %s: %s", aData->mLevel, aData->mModule, aData->mFile, sOpen[--sDepth].mText));
}
void _zvAssert(Text aText, Text aFile, uint32 aLine) { KEEP(dprintf(2, "%s:%u: %s\n", aFile, aLine, aText)); }

void *zvMalloc(size_t aSize) { return malloc(aSize); }
void *zvMallocZeroed(size_t aSize) { return calloc(1, aSize); }
void zvFree(void *aPointer) { free(aPointer); }
char *zvStrdup(Text aText) { return strdup(aText); }
char *zvStrndup(Text aText, size_t aLength) { return strndup(aText, aLength); }
int zv_snprintf(char *aTo, size_t aMax, Text aFormat, ...) { RESULT(vsnprintf(aTo, aMax, aFormat, theList), theSize); }
char *zv_mnprintf(Text aFormat, ...) {
  char *theText; RESULT(vasprintf(&theText, aFormat, theList), theSize < 0 ? NULL : theText); }
int zvConvert_strtoptr(Text aText, void **aPointer) { return aText && sscanf(aText, "%p", aPointer) == 1 ? 0 : -3; }
int zvCStringParser_Match(Text aPattern, Text aText) { return fnmatch(aPattern, aText, 0) == 0; }
uint16 zvRand_MinMaxUInt16(uint16 aMin, uint16 aMax) { return (uint16)(aMin + random() % (aMax - aMin + 1)); }

// Neither lists nor configuration: a list cannot be had, and every key has its default.
zvPtrList *zvPtrList_New(void) { return NULL; }
void zvPtrList_SetFreeFunc(zvPtrList *aList, zvPtrListFreeFunc aFree) {}
int zvPtrList_Append(zvPtrList *aList, void *anElement) { return 0; }
Text zvConfigFile_GetString(const zvConfigFile_t *aFile, Text aPart, Text aKey, Text aDefault) { return aDefault; }
uint32 zvConfigFile_GetUInt32(const zvConfigFile_t *aFile, Text aPart, Text aKey, uint32 aDefault) { return aDefault; }
zvCStringParser_TokenList *zvCStringParser_TokenizeQuotedList(char *aText, size_t aStart, size_t aSize) { return NULL; }
void zvCStringParser_Delete(zvCStringParser_TokenList *aList) {}
