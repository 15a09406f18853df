// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_mutex Mutex
/// Recursive lock that knows its owner.
///
/// ```c
/// zvOSMutex *theMutex = zvMutex_New();
/// zvMutex_Lock(theMutex);
/// // what the mutex guards
/// zvMutex_Unlock(theMutex);
/// zvMutex_Delete(theMutex);
/// ```
///
/// Compared with zvCriticalSection.h: a caller can ask whether it holds the lock, an unlock by a thread that
/// does not hold it is refused, and a condition variable can wait on it.
///
/// A handle that is NULL or stale asserts, and the operation goes on with it as it is.
///
/// @threads any thread may call any function; Delete is the last call on a mutex
/// @signals only zvMutex_IsHeld
/// @fork only a mutex that nobody held at the fork is of use in the child: one that was held, by the forking
///   thread too, cannot be given back there, and whoever locks it waits for ever
/// @errno says nothing: the number of the error is in the message
/// @logs failures, as errors of module ZVOS (7)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvMutex_h
#define zvOS_zvMutex_h

#include <pthread.h>

#include <zvOS/zvDefines.h>

/// A mutex.
typedef struct zvMutex_t zvOSMutex;

/// Owner of a mutex that nobody holds.
#define kzvMutex_NoOwner ((pthread_t)0)

/// What the functions answer.
enum { zvMutex_Status_NoError = 0, zvMutex_Status_Error = 1 };

/// Makes a free mutex.
/// @return the mutex, which the caller releases with zvMutex_Delete; NULL when there is no memory (nothing is
///   logged) or when the system refuses (logged)
ZVOS_API zvOSMutex *zvMutex_New(void);

/// Releases the mutex. It must not be held or waited for: that is not tested.
/// @param aMutex the mutex, gone afterwards also when the system reports a failure (logged); NULL is ignored
ZVOS_API void zvMutex_Delete(zvOSMutex *aMutex);

/// Waits until the mutex is free or already held by the calling thread, and holds it once more. There is no
/// limit to the wait, and a signal does not end it.
/// @param aMutex the mutex
/// @return zvMutex_Status_NoError, or zvMutex_Status_Error when the system refuses (logged)
ZVOS_API int zvMutex_Lock(zvOSMutex *aMutex);

/// Gives up one hold; the last one frees the mutex.
/// @param aMutex the mutex, which the calling thread holds
/// @return zvMutex_Status_NoError; zvMutex_Status_Error (logged), with nothing changed, when the calling
///   thread does not hold the mutex, and when the system refuses
ZVOS_API int zvMutex_Unlock(zvOSMutex *aMutex);

/// Whether the calling thread holds the mutex. The answer is exact for that question only; it says nothing
/// about other threads.
/// @param aMutex the mutex
/// @return non-zero when the calling thread holds it, else 0
/// @signals yes
/// @logs nothing
ZVOS_API int zvMutex_IsHeld(zvOSMutex *aMutex);

// For waits of the condition variable; call them only while holding the mutex.

/// The system's lock inside, for waits of the condition variable. Call it only while holding the mutex.
/// @param aMutex the mutex
/// @return the lock, which belongs to the mutex and lives as long as it; lock and unlock it only between
///   zvMutex_Posix_Tag_Unheld and zvMutex_Posix_Tag_Held
/// @logs nothing
ZVOS_API pthread_mutex_t *zvMutex_Posix_Get(zvOSMutex *aMutex);

/// Records the mutex as free, just before a wait of a condition variable releases it. Call it only while
/// holding the mutex.
/// @param aMutex the mutex; the handle is not checked
/// @return the count of holds, for zvMutex_Posix_Tag_Held
/// @logs nothing
ZVOS_API uint32 zvMutex_Posix_Tag_Unheld(zvOSMutex *aMutex);

/// Records the calling thread as owner, just after a wait of a condition variable took the mutex back. Call
/// it only while holding the mutex.
/// @param aMutex the mutex; the handle is not checked
/// @param aLockCount the count of holds that zvMutex_Posix_Tag_Unheld returned
/// @logs nothing
ZVOS_API void zvMutex_Posix_Tag_Held(zvOSMutex *aMutex, uint32 aLockCount);

/// @}

#endif
