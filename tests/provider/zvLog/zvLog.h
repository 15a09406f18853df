/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

// The log interface as another provider would declare it: the bare prototypes and nothing else.
#ifndef tests_provider_zvLog_h
#define tests_provider_zvLog_h

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint16_t uint16;
typedef uint32_t uint32;

typedef uint16 zvLogLevel;
typedef uint16 zvLogModule;
typedef struct zvLogData {
  zvLogLevel mLevel;
  zvLogModule mModule;
  const char *mFile;
  uint32 mLine;
} zvLogData;

extern zvLogLevel _zvLog_Level;
zvLogData *zvLog_Begin(zvLogLevel aLevel, zvLogModule aModule);
void zvLog_Append_F(const char *aFormat, ...);
void zvLog_Append_VF(const char *aFormat, va_list anArguments);
void zvLog_End(zvLogData *aLogData);
int zvLog_WillLog(zvLogLevel aLevel, zvLogModule aModule);
void _zvAssert(const char *anExpression, const char *aFile, uint32 aLine);

void *zvMalloc(size_t aSize);
void *zvMallocZeroed(size_t aSize);
void zvFree(void *aPointer);
char *zvStrdup(const char *aText);
char *zvStrndup(const char *aText, size_t aLength);
int zv_snprintf(char *aBuffer, size_t aSize, const char *aFormat, ...);
char *zv_mnprintf(const char *aFormat, ...);

enum {
  kzvConvertError_None = 0,
  kzvConvertError_RangeHigh = -1,
  kzvConvertError_RangeLow = -2,
  kzvConvertError_Invalid = -3
};
int zvConvert_strtoptr(const char *aText, void **aPointer);

typedef struct zvPtrList zvPtrList;
typedef void (*zvPtrListFreeFunc)(void *anElement);
#define kzvPtrList_DefaultFreeFunc ((zvPtrListFreeFunc)free)
zvPtrList *zvPtrList_New(void);
int zvPtrList_Append(zvPtrList *aList, void *anElement);
void zvPtrList_SetFreeFunc(zvPtrList *aList, zvPtrListFreeFunc aFreeFunc);

typedef struct zvConfigFile_t zvConfigFile_t;
const char *zvConfigFile_GetString(const zvConfigFile_t *aConfigFile, const char *aSection, const char *aKey,
                                   const char *aDefault);
uint32 zvConfigFile_GetUInt32(const zvConfigFile_t *aConfigFile, const char *aSection, const char *aKey,
                              uint32 aDefault);

typedef struct zvCStringParser_Token {
  char *mData;
  size_t mDataLength;
  struct zvCStringParser_Token *mNextToken;
} zvCStringParser_Token;
typedef struct zvCStringParser_TokenList {
  zvCStringParser_Token *mFirstToken;
  zvCStringParser_Token *mLastToken;
  size_t mTokenCount;
} zvCStringParser_TokenList;
int zvCStringParser_Match(const char *aPattern, const char *aText);
zvCStringParser_TokenList *zvCStringParser_TokenizeQuotedList(char *aText, size_t aStart, size_t aLength);
void zvCStringParser_Delete(zvCStringParser_TokenList *aList);

uint16 zvRand_MinMaxUInt16(uint16 aMin, uint16 aMax);

#ifdef __cplusplus
}
#endif

#endif
