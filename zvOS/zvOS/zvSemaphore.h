// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Counting semaphore of one process.
#ifndef zvOS_zvSemaphore_h
#define zvOS_zvSemaphore_h

#include <zvOS/zvDefines.h>

typedef struct zvSemaphore_t zvOSSemaphore;

enum { zvSemaphore_Status_NoError = 0, zvSemaphore_Status_TimeOut = 1, zvSemaphore_Status_Error = 2 };

// Makes a semaphore with the given count. Returns NULL when there is no memory (nothing is
// logged) or when the system refuses, for example a negative count (logged).
// The caller releases it with zvSemaphore_Delete.
ZVOS_API zvOSSemaphore *zvSemaphore_New(int anInitialValue);

// Releases the semaphore; NULL is ignored. No thread may be waiting.
ZVOS_API void zvSemaphore_Delete(zvOSSemaphore *aSemaphore);

// Adds 1 to the count and wakes a waiter. Safe in any thread and in a signal handler.
// Returns zvSemaphore_Status_NoError or zvSemaphore_Status_Error (logged).
ZVOS_API int zvSemaphore_Post(zvOSSemaphore *aSemaphore);

// Waits until the count is above 0 and takes 1. Not repeated when a signal interrupts it: any
// result but zvSemaphore_Status_NoError means that nothing was taken.
ZVOS_API int zvSemaphore_Wait(zvOSSemaphore *aSemaphore);

// Takes 1 without waiting. Returns zvSemaphore_Status_TimeOut (not logged) when the count is 0.
ZVOS_API int zvSemaphore_TryWait(zvOSSemaphore *aSemaphore);

// As zvSemaphore_Wait, for at most aDelay milliseconds by the time-of-day clock; a delay of 0
// only looks. Returns zvSemaphore_Status_TimeOut (not logged) when the time is over. With 32-bit times a wait
// that ends after January 2038 goes by the monotonic clock.
ZVOS_API int zvSemaphore_WaitTimeout(zvOSSemaphore *aSemaphore, uint32 aDelay);

#endif
