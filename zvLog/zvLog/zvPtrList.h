/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* Reading and deleting lists of pointers. */
#ifndef zvLog_zvPtrList_h
#define zvLog_zvPtrList_h

#include <zvLog/zvLog.h>

#ifdef __cplusplus
extern "C" {
#endif

/* 0 for a NULL list. */
ZVLOG_API size_t zvPtrList_GetCount(const zvPtrList *aList);

/* The element at an index from 0 to the count less one; NULL beyond, and for a NULL list. */
ZVLOG_API void *zvPtrList_Get(const zvPtrList *aList, size_t anIndex);

/* Releases the elements with the free function, if one is set, and the list. NULL is ignored. */
ZVLOG_API void zvPtrList_Delete(zvPtrList *aList);

#ifdef __cplusplus
}
#endif

#endif
