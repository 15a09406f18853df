// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_semaphore Semaphore
/// Counting semaphore of one process.
///
/// ```c
/// zvSemaphore_Post(sEnd);  // in the handler of a signal
///
/// while (zvSemaphore_Wait(sEnd) != zvSemaphore_Status_NoError) {}  // in the main thread, which ends then
/// ```
///
/// A handle that is NULL or stale asserts, and the operation goes on with it as it is.
///
/// @threads any thread may call any function; Delete is the last call on a semaphore
/// @signals only zvSemaphore_Post
/// @fork the child has a semaphore of its own with the count that this one had; neither sees the other's
///   posts
/// @errno after a failure what the system said, which is the number in the message; for an interruption that
///   of zvSemaphore_Wait shows -1
/// @logs failures, as errors of module ZVOS (7); no time-out
/// @since 1.0.0
/// @{
#ifndef zvOS_zvSemaphore_h
#define zvOS_zvSemaphore_h

#include <zvOS/zvDefines.h>

/// A semaphore.
typedef struct zvSemaphore_t zvOSSemaphore;

/// What the functions answer.
enum { zvSemaphore_Status_NoError = 0, zvSemaphore_Status_TimeOut = 1, zvSemaphore_Status_Error = 2 };

/// Makes a semaphore.
/// @param anInitialValue the count to begin with, not negative
/// @return the semaphore, which the caller releases with zvSemaphore_Delete; NULL when there is no memory
///   (nothing is logged) or when the system refuses, for example a negative count (logged)
ZVOS_API zvOSSemaphore *zvSemaphore_New(int anInitialValue);

/// Releases the semaphore. No thread may be waiting.
/// @param aSemaphore the semaphore, gone afterwards also when the system reports a failure (logged); NULL is
///   ignored
ZVOS_API void zvSemaphore_Delete(zvOSSemaphore *aSemaphore);

/// Adds 1 to the count and wakes a waiter.
/// @param aSemaphore the semaphore
/// @return zvSemaphore_Status_NoError, or zvSemaphore_Status_Error (logged), EOVERFLOW when the count is
///   2147483647
/// @signals yes
ZVOS_API int zvSemaphore_Post(zvOSSemaphore *aSemaphore);

/// Waits until the count is above 0 and takes 1. A signal that is handled meanwhile ends the wait, and it is
/// not repeated.
/// @param aSemaphore the semaphore
/// @return zvSemaphore_Status_NoError, or zvSemaphore_Status_Error (logged) and nothing was taken: EINTR when
///   a signal came, which the message shows as -1
ZVOS_API int zvSemaphore_Wait(zvOSSemaphore *aSemaphore);

/// Takes 1 without waiting.
/// @param aSemaphore the semaphore
/// @return zvSemaphore_Status_NoError; zvSemaphore_Status_TimeOut (not logged) when the count is 0, with
///   EAGAIN; zvSemaphore_Status_Error (logged, as a failure of sem_wait)
ZVOS_API int zvSemaphore_TryWait(zvOSSemaphore *aSemaphore);

/// As zvSemaphore_Wait, for a limited time. It counts from the last full millisecond, so that the wait may be
/// over up to one millisecond early. It goes by the time-of-day clock: who sets that clock changes the wait.
/// With 32-bit times a wait that ends after January 2038 goes by the monotonic clock.
/// @param aSemaphore the semaphore
/// @param aDelay milliseconds; 0 only looks, #kzvOS_DelayInfinite is 49.7 days and not for ever
/// @return zvSemaphore_Status_NoError; zvSemaphore_Status_TimeOut (not logged) when the time is over, with
///   ETIMEDOUT; zvSemaphore_Status_Error (logged) and nothing was taken, EINTR when a signal came
ZVOS_API int zvSemaphore_WaitTimeout(zvOSSemaphore *aSemaphore, uint32 aDelay);

/// @}

#endif
