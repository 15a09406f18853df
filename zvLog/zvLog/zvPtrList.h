/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/** @file
 * @defgroup zvlog_ptrlist Lists of pointers
 * Reading and deleting lists of pointers, which zvPtrList_New (zvLog.h) makes.
 *
 * ```c
 * zvPtrList *theSongs = zvPtrList_New();
 * zvPtrList_SetFreeFunc(theSongs, kzvPtrList_DefaultFreeFunc);
 * char *theSong = zvStrdup("a song");
 * if (!zvPtrList_Append(theSongs, theSong)) free(theSong);
 * for (size_t i = 0; i < zvPtrList_GetCount(theSongs); ++i) puts(zvPtrList_Get(theSongs, i));
 * zvPtrList_Delete(theSongs);  // and the songs
 * ```
 *
 * @threads several threads may read a list; one that changes it excludes the others
 * @signals no, but for those that say so
 * @fork yes; the child has a copy
 * @errno left alone
 * @logs nothing
 * @since 1.0.0
 * @{ */
#ifndef zvLog_zvPtrList_h
#define zvLog_zvPtrList_h

#include <zvLog/zvLog.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The count of elements.
 * @param aList the list
 * @return the count, 0 for a NULL list
 * @signals yes, of a list that is not being changed */
ZVLOG_API size_t zvPtrList_GetCount(const zvPtrList *aList);

/** An element.
 * @param aList the list
 * @param anIndex from 0 to the count less one
 * @return the element, which belongs to the list when that has a free function; NULL beyond the end, and for
 *   a NULL list
 * @signals yes, of a list that is not being changed */
ZVLOG_API void *zvPtrList_Get(const zvPtrList *aList, size_t anIndex);

/** Releases the elements with the free function, if one is set, and the list.
 * @param aList the list; NULL is ignored */
ZVLOG_API void zvPtrList_Delete(zvPtrList *aList);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
