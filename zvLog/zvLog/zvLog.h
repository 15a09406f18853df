/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* The interface that libraries of the stack import from their log library: log records, and the
 * few memory, text, list, configuration and random helpers that come with it.
 *
 * A message is emitted in four steps:
 *
 *   if (kLevel < _zvLog_Level) {                        one load for a message that nobody wants
 *     zvLogData *theData = zvLog_Begin(kLevel, kModule);
 *     if (theData != NULL) {
 *       theData->mFile = __FILE__;
 *       theData->mLine = __LINE__;
 *       zvLog_Append_F("Cannot open '%s'\n", thePath);
 *       zvLog_End(theData);
 *     }
 *   }
 *
 * zvLog_Begin, zvLog_Append_F, zvLog_Append_VF, zvLog_End, zvLog_WillLog and _zvAssert leave errno
 * as they found it, take no lock and allocate no memory; they may be called from a handler of a
 * fatal signal, wherever the thread was interrupted, also inside this library.
 */
#ifndef zvLog_zvLog_h
#define zvLog_zvLog_h

#include <stdarg.h>
#include <stddef.h>
#include <stdlib.h>

#include <zvLog/zvLogTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Logging ---- */

typedef uint16 zvLogLevel;  /* 0 none, 1 error, 2 warning, 3 information, 4 debug */
typedef uint16 zvLogModule; /* part of the software that logs; 0 is the default module */

/* A record under construction. */
typedef struct zvLogData {
  zvLogLevel mLevel;
  zvLogModule mModule;
  const char *mFile; /* written by the caller between zvLog_Begin and the first append */
  uint32 mLine;      /* likewise */
} zvLogData;

/* A message may be begun only when its level is below this value: 2 admits errors, 3 (the default)
 * warnings as well, 5 everything.
 *
 * It is the highest of all levels set, global and of modules; zvLog_Begin decides for each module.
 * Anybody may write it at any time: the value written is from then on the level of everything, also of
 * modules that have one of their own, until the next call of a function of <zvLog/zvLogSettings.h> that
 * sets a level; then it is the global level, and those modules have theirs again. Writing the value that
 * it already has changes nothing.
 * As others may do so at the same time, it is read and written as an atomic where there are threads:
 * __atomic_load_n(&_zvLog_Level, __ATOMIC_RELAXED), which is an ordinary load. */
extern ZVLOG_API zvLogLevel _zvLog_Level;

/* Begins a record of the calling thread. A record may be begun while another is open: records nest.
 *
 * NULL when the message is not wanted, when the thread has five records open already, or when eight of all
 * threads together are open inside others. */
ZVLOG_API zvLogData *zvLog_Begin(zvLogLevel aLevel, zvLogModule aModule);

/* Append to the innermost open record of the calling thread; without one they do nothing.
 *
 * A record that grows beyond 1240 bytes keeps its first 1008 and its last 200; between them stands how many
 * are missing: " [... 1234 bytes ...] ". Texts, characters, pointers and integers are formatted here, other
 * conversions by the C library; an append that has such ones and more than a megabyte of text, or that is
 * too long at a moment when the system has no memory, loses its end as well. What cannot be formatted is
 * replaced by " [cut]". */
ZVLOG_API void zvLog_Append_F(const char *aFormat, ...) ZVLOG_PRINTF(1, 2);
ZVLOG_API void zvLog_Append_VF(const char *aFormat, va_list anArguments) ZVLOG_PRINTF(1, 0);

/* Emits the record as one line and releases it. Records begun in it and never ended, as by a handler that
 * left them with siglongjmp, are dropped. Those of a thread that ended are given to others when needed.
 * What is not an open record of the calling thread is ignored. */
ZVLOG_API void zvLog_End(zvLogData *aLogData);

/* Non-zero when a message of that level and module would be emitted: when zvLog_Begin would not answer
 * NULL. */
ZVLOG_API int zvLog_WillLog(zvLogLevel aLevel, zvLogModule aModule);

/* Reports a failed assertion as an error of the default module, whatever the levels. It returns,
 * unless zvLog_SetAssertAborts says otherwise. */
ZVLOG_API void _zvAssert(const char *anExpression, const char *aFile, uint32 aLine);

/* ---- Memory and text: every result may be released with free() ---- */

/* NULL when out of memory; a size of 0 gives a pointer of its own. */
ZVLOG_API void *zvMalloc(size_t aSize);
ZVLOG_API void *zvMallocZeroed(size_t aSize);

/* NULL is ignored. */
ZVLOG_API void zvFree(void *aPointer);

/* Copies; NULL when out of memory or when the text is NULL. */
ZVLOG_API char *zvStrdup(const char *aText);
ZVLOG_API char *zvStrndup(const char *aText, size_t aLength);

/* As snprintf: the length that the whole text has, negative on failure. The buffer is terminated
 * whenever its size is not 0, also on failure. */
ZVLOG_API int zv_snprintf(char *aBuffer, size_t aSize, const char *aFormat, ...) ZVLOG_PRINTF(3, 4);

/* Formats into new memory; NULL on failure. */
ZVLOG_API char *zv_mnprintf(const char *aFormat, ...) ZVLOG_PRINTF(1, 2);

/* ---- Conversion ---- */

enum {
  kzvConvertError_None = 0,
  kzvConvertError_RangeHigh = -1,
  kzvConvertError_RangeLow = -2,
  kzvConvertError_Invalid = -3
};

/* Reads what "%p" writes: "0x" and hexadecimal digits, or "(nil)". Anything else, also a NULL text,
 * is Invalid; a number beyond the address range is RangeHigh, a negative one RangeLow. On failure
 * the pointer is left alone. */
ZVLOG_API int zvConvert_strtoptr(const char *aText, void **aPointer);

/* ---- Growable list of pointers; reading and deleting: <zvLog/zvPtrList.h> ---- */

typedef struct zvPtrList zvPtrList;
typedef void (*zvPtrListFreeFunc)(void *anElement);

/* The list's default free function. */
#define kzvPtrList_DefaultFreeFunc ((zvPtrListFreeFunc)free)

/* An empty list without a free function; NULL when out of memory. */
ZVLOG_API zvPtrList *zvPtrList_New(void);

/* 1 on success, 0 when out of memory or when the list is NULL. */
ZVLOG_API int zvPtrList_Append(zvPtrList *aList, void *anElement);

/* Says how elements are released when the list is deleted; NULL: they are not. */
ZVLOG_API void zvPtrList_SetFreeFunc(zvPtrList *aList, zvPtrListFreeFunc aFreeFunc);

/* ---- Configuration files; opening and closing: <zvLog/zvConfigFile.h> ---- */

typedef struct zvConfigFile_t zvConfigFile_t;

/* The value of a key, or the default when there is no such key or no file. The text belongs to the
 * file object. A NULL section stands for the keys before the first section. */
ZVLOG_API const char *zvConfigFile_GetString(const zvConfigFile_t *aConfigFile, const char *aSection,
                                             const char *aKey, const char *aDefault);

/* The same for a number, decimal or hexadecimal with "0x". A value that is no such number is
 * logged as an error and gives the default. */
ZVLOG_API uint32 zvConfigFile_GetUInt32(const zvConfigFile_t *aConfigFile, const char *aSection,
                                        const char *aKey, uint32 aDefault);

/* ---- Text parsing ---- */

typedef struct zvCStringParser_Token {
  char *mData; /* NUL-terminated, points into the tokenised text */
  size_t mDataLength;
  struct zvCStringParser_Token *mNextToken;
} zvCStringParser_Token;

typedef struct zvCStringParser_TokenList {
  zvCStringParser_Token *mFirstToken;
  zvCStringParser_Token *mLastToken;
  size_t mTokenCount;
} zvCStringParser_TokenList;

/* Non-zero when the whole text matches the shell pattern ('*', '?', '[...]', '\'). */
ZVLOG_API int zvCStringParser_Match(const char *aPattern, const char *aText);

/* Splits aLength bytes of the text, from offset aStart on, into names separated by white space or
 * commas. A name in double quotes contains anything but a double quote, and may be empty; without
 * its closing quote it runs to the end. The text ends early at a NUL.
 *
 * Terminators are written into the text: over the separator or quote behind a name, and at
 * aText[aStart + aLength] only when a name without a closing quote runs up to there. A list without
 * tokens when there are no names; NULL when out of memory. */
ZVLOG_API zvCStringParser_TokenList *zvCStringParser_TokenizeQuotedList(char *aText, size_t aStart,
                                                                        size_t aLength);

/* NULL is ignored; the text is not released. */
ZVLOG_API void zvCStringParser_Delete(zvCStringParser_TokenList *aList);

/* ---- Random numbers ---- */

/* Uniformly distributed from aMin to aMax, both included; the two may come in either order. */
ZVLOG_API uint16 zvRand_MinMaxUInt16(uint16 aMin, uint16 aMax);

#ifdef __cplusplus
}
#endif

#endif
