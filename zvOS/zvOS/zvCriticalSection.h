// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_criticalsection Critical section
/// Light recursive lock without owner bookkeeping.
///
/// ```c
/// zvCriticalSection_Enter(theSection);
/// ++theCount;
/// zvCriticalSection_Leave(theSection);
/// ```
///
/// It locks like zvMutex.h but cannot be asked who holds it and no condition variable waits on it. A handle
/// that is NULL or stale asserts, and the operation goes on with it as it is.
///
/// @threads any thread may call any function; Delete is the last call on a section
/// @signals no
/// @fork only a section that nobody was in at the fork is of use in the child: one that was entered, by the
///   forking thread too, cannot be left there, and whoever enters it waits for ever
/// @errno says nothing: the number of the error is in the message
/// @logs failures, as errors of module ZVOS (7)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvCriticalSection_h
#define zvOS_zvCriticalSection_h

#include <zvOS/zvDefines.h>

/// A critical section.
typedef struct zvCriticalSection_t zvOSCriticalSection;

/// What the functions answer.
enum { zvCriticalSection_Status_NoError = 0, zvCriticalSection_Status_Error = 1 };

/// Makes a critical section that nobody is in.
/// @return the section, which the caller releases with zvCriticalSection_Delete; NULL when there is no memory
///   or when the system refuses (both logged)
ZVOS_API zvOSCriticalSection *zvCriticalSection_New(void);

/// Releases the section. No thread may be inside or waiting.
/// @param aCriticalSection the section, gone afterwards also when the system reports a failure (logged); NULL
///   is ignored
ZVOS_API void zvCriticalSection_Delete(zvOSCriticalSection *aCriticalSection);

/// Waits until no other thread is inside, and enters; a thread may enter again while inside.
/// @param aCriticalSection the section
/// @return zvCriticalSection_Status_NoError, or zvCriticalSection_Status_Error when the system refuses
///   (logged)
ZVOS_API int zvCriticalSection_Enter(zvOSCriticalSection *aCriticalSection);

/// Leaves once; call it as often as the section was entered.
/// @param aCriticalSection the section
/// @return zvCriticalSection_Status_NoError, or zvCriticalSection_Status_Error (logged) when the calling
///   thread is not inside
ZVOS_API int zvCriticalSection_Leave(zvOSCriticalSection *aCriticalSection);

/// @}

#endif
