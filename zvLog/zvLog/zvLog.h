/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/** @file
 * @defgroup zvlog_log The log library's interface
 * The interface that libraries of the stack import from their log library: log records, and the few memory,
 * text, list, configuration and random helpers that come with it.
 *
 * A message is emitted in four steps:
 *
 * ```c
 * if (kLevel < _zvLog_Level) {                      // one load for a message that nobody wants
 *   zvLogData *theData = zvLog_Begin(kLevel, kModule);
 *   if (theData != NULL) {
 *     theData->mFile = __FILE__;
 *     theData->mLine = __LINE__;
 *     zvLog_Append_F("Cannot open '%s'\n", thePath);
 *     zvLog_End(theData);
 *   }
 * }
 * ```
 *
 * zvLog_Begin, zvLog_Append_F, zvLog_Append_VF, zvLog_End, zvLog_WillLog and _zvAssert leave errno as they
 * found it, take no lock and nothing from the heap; they may be called from a handler of a fatal signal,
 * wherever the thread was interrupted, also inside this library. An append that does not fit into the record
 * and has a conversion that is the C library's to make maps memory while it lasts, 1 MiB at most; where there
 * is none, the end of the text is missing.
 *
 * @threads any thread may call any function; a record belongs to the thread that began it, a list or a file
 *   to those who agree about it
 * @signals no, but for those that say so
 * @fork yes
 * @errno says nothing, but for ENOMEM without memory
 * @logs nothing of its own
 * @since 1.0.0
 * @{ */
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

/** 0 none, 1 error, 2 warning, 3 information, 4 debug. */
typedef uint16 zvLogLevel;

/** The part of the software that logs; 0 is the default module. */
typedef uint16 zvLogModule;

/** A record under construction. */
typedef struct zvLogData {
  zvLogLevel mLevel;
  zvLogModule mModule;
  const char *mFile; /**< written by the caller between zvLog_Begin and the first append */
  uint32 mLine;      /**< likewise */
} zvLogData;

/** A message may be begun only when its level is below this value: 2 admits errors, 3 (the default) warnings
 * as well, 5 everything.
 *
 * It is the highest of all levels set, global and of modules; zvLog_Begin decides for each module. Anybody
 * may write it at any time: the value written is from then on the level of everything, also of modules that
 * have one of their own, until the next call of a function of zvLogSettings.h that sets a level; then it is
 * the global level, and those modules have theirs again. Writing the value that it already has changes
 * nothing.
 *
 * As others may do so at the same time, it is read and written as an atomic where there are threads:
 * `__atomic_load_n(&_zvLog_Level, __ATOMIC_RELAXED)`, which is an ordinary load. */
extern ZVLOG_API zvLogLevel _zvLog_Level;

/** Begins a record of the calling thread. A record may be begun while another is open: records nest.
 * @param aLevel the level of the message
 * @param aModule the module that logs
 * @return the record, which belongs to the log library until zvLog_End; NULL when the message is not wanted,
 *   when the thread has five records open already, or when eight of all threads together are open inside
 *   others
 * @signals yes
 * @errno left as it was */
ZVLOG_API zvLogData *zvLog_Begin(zvLogLevel aLevel, zvLogModule aModule);

/** Appends to the innermost open record of the calling thread; without one it does nothing.
 *
 * A record that grows beyond 1240 bytes keeps its first 1008 and its last 200; between them stands how many
 * are missing: " [... 1234 bytes ...] ". Texts, characters, pointers and integers are formatted here, other
 * conversions by the C library; an append that has such ones and more than a megabyte of text, or that is
 * too long at a moment when the system has no memory, loses its end as well. What cannot be formatted is
 * replaced by " [cut]".
 * @param aFormat as of printf(); the arguments follow
 * @signals yes
 * @errno left as it was */
ZVLOG_API void zvLog_Append_F(const char *aFormat, ...) ZVLOG_PRINTF(1, 2);

/** Appends to the innermost open record of the calling thread. It does so as zvLog_Append_F; without a record
 * it does nothing.
 * @param aFormat as of vprintf()
 * @param anArguments its arguments
 * @signals yes
 * @errno left as it was */
ZVLOG_API void zvLog_Append_VF(const char *aFormat, va_list anArguments) ZVLOG_PRINTF(1, 0);

/** Emits the record as one line and releases it. Records begun in it and never ended, as by a handler that
 * left them with siglongjmp, are dropped. Those of a thread that ended are given to others when needed.
 * @param aLogData the record; what is not an open record of the calling thread is ignored
 * @signals yes
 * @errno left as it was
 * @logs the record */
ZVLOG_API void zvLog_End(zvLogData *aLogData);

/** Whether a message would be emitted: whether zvLog_Begin would not answer NULL.
 * @param aLevel the level of the message
 * @param aModule the module that logs
 * @return non-zero when it would, else 0
 * @signals yes
 * @errno left as it was */
ZVLOG_API int zvLog_WillLog(zvLogLevel aLevel, zvLogModule aModule);

/** Reports a failed assertion. It returns, unless zvLog_SetAssertAborts says otherwise.
 * @param anExpression the text of the test
 * @param aFile the file of the source; kept nowhere
 * @param aLine the line there
 * @signals yes
 * @errno left as it was
 * @logs the assertion, as an error of module DEFAULT (0), whatever the levels */
ZVLOG_API void _zvAssert(const char *anExpression, const char *aFile, uint32 aLine);

/* ---- Memory and text: every result may be released with free() ---- */

/** New memory.
 * @param aSize bytes; 0 gives a pointer of its own
 * @return the memory, which the caller releases with free() or zvFree; NULL when out of memory */
ZVLOG_API void *zvMalloc(size_t aSize);

/** New memory that is all zero.
 * @param aSize bytes; 0 gives a pointer of its own
 * @return the memory, which the caller releases with free() or zvFree; NULL when out of memory */
ZVLOG_API void *zvMallocZeroed(size_t aSize);

/** Releases memory of this library or of malloc().
 * @param aPointer the memory; NULL is ignored */
ZVLOG_API void zvFree(void *aPointer);

/** Copies a text.
 * @param aText the text
 * @return a new text, which the caller releases with free(); NULL when out of memory or when the text is
 *   NULL */
ZVLOG_API char *zvStrdup(const char *aText);

/** Copies the beginning of a text, and terminates it.
 * @param aText the text, which need not be terminated within aLength
 * @param aLength bytes at most
 * @return a new text, which the caller releases with free(); NULL when out of memory or when the text is
 *   NULL */
ZVLOG_API char *zvStrndup(const char *aText, size_t aLength);

/** As snprintf().
 * @param aBuffer the buffer; terminated whenever its size is not 0, also on failure
 * @param aSize bytes of room
 * @param aFormat as of printf(); NULL is a failure. The arguments follow
 * @return the length that the whole text has, negative on failure */
ZVLOG_API int zv_snprintf(char *aBuffer, size_t aSize, const char *aFormat, ...) ZVLOG_PRINTF(3, 4);

/** Formats into new memory.
 * @param aFormat as of printf(); NULL is a failure. The arguments follow
 * @return a new text, which the caller releases with free(); NULL on failure */
ZVLOG_API char *zv_mnprintf(const char *aFormat, ...) ZVLOG_PRINTF(1, 2);

/* ---- Conversion ---- */

/** What conversions answer. */
enum {
  kzvConvertError_None = 0,
  kzvConvertError_RangeHigh = -1,
  kzvConvertError_RangeLow = -2,
  kzvConvertError_Invalid = -3
};

/** Reads what `"%p"` writes: "0x" and hexadecimal digits, or "(nil)".
 * @param aText the text
 * @param aPointer stored here; left alone on failure
 * @return kzvConvertError_None; kzvConvertError_Invalid for anything else, also a NULL;
 *   kzvConvertError_RangeHigh for a number beyond the address range, kzvConvertError_RangeLow for a negative
 *   one
 * @signals yes */
ZVLOG_API int zvConvert_strtoptr(const char *aText, void **aPointer);

/* ---- Growable list of pointers; reading and deleting: <zvLog/zvPtrList.h> ---- */

/** A growable list of pointers; reading and deleting: zvPtrList.h. */
typedef struct zvPtrList zvPtrList;

/** How an element of a list is released. */
typedef void (*zvPtrListFreeFunc)(void *anElement);

/** The list's default free function. */
#define kzvPtrList_DefaultFreeFunc ((zvPtrListFreeFunc)free)

/** An empty list without a free function.
 * @return the list, which the caller releases with zvPtrList_Delete; NULL when out of memory */
ZVLOG_API zvPtrList *zvPtrList_New(void);

/** Appends an element.
 * @param aList the list
 * @param anElement the element, which the list releases when it has a free function
 * @return 1 on success; 0 when out of memory or when the list is NULL, and the element stays the caller's */
ZVLOG_API int zvPtrList_Append(zvPtrList *aList, void *anElement);

/** Says how elements are released when the list is deleted.
 * @param aList the list; NULL is ignored
 * @param aFreeFunc releases an element; NULL: they are not released */
ZVLOG_API void zvPtrList_SetFreeFunc(zvPtrList *aList, zvPtrListFreeFunc aFreeFunc);

/* ---- Configuration files; opening and closing: <zvLog/zvConfigFile.h> ---- */

/** A configuration file; opening and closing: zvConfigFile.h. */
typedef struct zvConfigFile_t zvConfigFile_t;

/** The value of a key.
 * @param aConfigFile the file; NULL has no keys
 * @param aSection the section; NULL stands for the keys before the first one
 * @param aKey the key
 * @param aDefault the answer when there is no such key
 * @return the value, which belongs to the file and is valid until it is closed, or aDefault as it was given
 */
ZVLOG_API const char *zvConfigFile_GetString(const zvConfigFile_t *aConfigFile, const char *aSection,
                                             const char *aKey, const char *aDefault);

/** The value of a key as a number, decimal or hexadecimal with "0x".
 * @param aConfigFile the file; NULL has no keys
 * @param aSection the section; NULL stands for the keys before the first one
 * @param aKey the key
 * @param aDefault the answer when there is no such key, or no such number
 * @return the number, or aDefault
 * @logs an error of module FILE (42) for a value that is no such number */
ZVLOG_API uint32 zvConfigFile_GetUInt32(const zvConfigFile_t *aConfigFile, const char *aSection,
                                        const char *aKey, uint32 aDefault);

/* ---- Text parsing ---- */

/** A name of a list. It points into the text that the list was made of. */
typedef struct zvCStringParser_Token {
  char *mData; /**< NUL-terminated, points into the tokenised text */
  size_t mDataLength;
  struct zvCStringParser_Token *mNextToken;
} zvCStringParser_Token;

/** Names in their order. */
typedef struct zvCStringParser_TokenList {
  zvCStringParser_Token *mFirstToken;
  zvCStringParser_Token *mLastToken;
  size_t mTokenCount;
} zvCStringParser_TokenList;

/** Whether the whole of a text matches a shell pattern ('*', '?', '[...]', '\\').
 * @param aPattern the pattern; NULL matches nothing
 * @param aText the text; NULL is matched by nothing
 * @return non-zero when it does, else 0 */
ZVLOG_API int zvCStringParser_Match(const char *aPattern, const char *aText);

/** Splits a part of a text into names separated by white space or commas. A name in double quotes contains
 * anything but a double quote, and may be empty; without its closing quote it runs to the end. The text ends
 * early at a NUL.
 *
 * Terminators are written into the text: over the separator or quote behind a name, and at `aText[aStart +
 * aLength]` only when a name without a closing quote runs up to there.
 *
 * ```c
 * char theText[] = "eth1, \"wlan 0\" ppp*";
 * zvCStringParser_TokenList *theList = zvCStringParser_TokenizeQuotedList(theText, 0, strlen(theText));
 * if (theList == NULL) return;
 * for (zvCStringParser_Token *theName = theList->mFirstToken; theName != NULL; theName = theName->mNextToken)
 *   puts(theName->mData);
 * zvCStringParser_Delete(theList);
 * ```
 * @param aText the text, which stays the caller's, is changed, and lives as long as the list
 * @param aStart where the part begins
 * @param aLength bytes of the part
 * @return a new list, without tokens when there are no names, which the caller releases with
 *   zvCStringParser_Delete; NULL when out of memory */
ZVLOG_API zvCStringParser_TokenList *zvCStringParser_TokenizeQuotedList(char *aText, size_t aStart,
                                                                        size_t aLength);

/** Releases a list; the text is not released.
 * @param aList the list; NULL is ignored */
ZVLOG_API void zvCStringParser_Delete(zvCStringParser_TokenList *aList);

/* ---- Random numbers ---- */

/** A random number, uniformly distributed, from the kernel. Before the kernel has randomness, early after the
 * start of a device, it is made of time and process.
 * @param aMin the smallest number
 * @param aMax the largest number; the two may come in either order
 * @return a number from the one to the other, both included
 * @errno may change
 * @signals yes */
ZVLOG_API uint16 zvRand_MinMaxUInt16(uint16 aMin, uint16 aMax);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
