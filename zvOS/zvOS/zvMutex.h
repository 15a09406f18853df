// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Recursive lock that knows its owner.
//
//   zvOSMutex *theMutex = zvMutex_New();
//   zvMutex_Lock(theMutex);
//   ...
//   zvMutex_Unlock(theMutex);
//   zvMutex_Delete(theMutex);
//
// Compared with zvCriticalSection.h: a caller can ask whether it holds the lock, an unlock by a
// thread that does not hold it is refused, and a condition variable can wait on it.
#ifndef zvOS_zvMutex_h
#define zvOS_zvMutex_h

#include <pthread.h>

#include <zvOS/zvDefines.h>

typedef struct zvMutex_t zvOSMutex;

// Owner of a mutex that nobody holds.
#define kzvMutex_NoOwner ((pthread_t)0)

enum { zvMutex_Status_NoError = 0, zvMutex_Status_Error = 1 };

// Makes a free mutex. Returns NULL when there is no memory (nothing is logged) or when the
// system refuses (logged). The caller releases it with zvMutex_Delete.
ZVOS_API zvOSMutex *zvMutex_New(void);

// Releases the mutex; NULL is ignored. It must not be held or waited for: that is not tested.
ZVOS_API void zvMutex_Delete(zvOSMutex *aMutex);

// Waits until the mutex is free or already held by the calling thread, and holds it once more.
// Returns zvMutex_Status_NoError, or zvMutex_Status_Error when the system refuses (logged).
// Any thread may call it.
ZVOS_API int zvMutex_Lock(zvOSMutex *aMutex);

// Gives up one hold; the last one frees the mutex. Returns zvMutex_Status_Error (logged), and
// changes nothing, when the calling thread does not hold the mutex.
ZVOS_API int zvMutex_Unlock(zvOSMutex *aMutex);

// Non-zero when the calling thread holds the mutex. The answer is exact for that question only;
// it says nothing about other threads.
ZVOS_API int zvMutex_IsHeld(zvOSMutex *aMutex);

// For waits of the condition variable; call them only while holding the mutex.

// The system's lock inside; it belongs to the mutex.
ZVOS_API pthread_mutex_t *zvMutex_Posix_Get(zvOSMutex *aMutex);

// Records the mutex as free, just before a wait releases it. Returns the count of holds.
ZVOS_API uint32 zvMutex_Posix_Tag_Unheld(zvOSMutex *aMutex);

// Records the calling thread as owner with aLockCount holds, just after a wait took it back.
ZVOS_API void zvMutex_Posix_Tag_Held(zvOSMutex *aMutex, uint32 aLockCount);

#endif
