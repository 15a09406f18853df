// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_condition Condition variable
/// Condition variable over the recursive mutex of zvMutex.h.
///
/// ```c
/// zvMutex_Lock(theMutex);
/// while (!theQueueHasWork) zvCondition_Wait(theCondition, theMutex);
/// // take the work
/// zvMutex_Unlock(theMutex);
/// ```
///
/// A wait may end without a signal: test the predicate in a loop. Hold the mutex exactly once when waiting:
/// the system releases one level only. A handle that is NULL or stale asserts, and the operation goes on with
/// it as it is.
///
/// @threads any thread may call any function; Delete is the last call on a condition
/// @signals no
/// @fork not to be used in the child: make a new one there
/// @errno says nothing: the number of the error is in the message
/// @logs failures, as errors of module ZVOS (7); no time-out
/// @since 1.0.0
/// @{
#ifndef zvOS_zvCondition_h
#define zvOS_zvCondition_h

#include <zvOS/zvDefines.h>
#include <zvOS/zvMutex.h>

/// A condition variable.
typedef struct zvCondition_t zvOSCondition;

/// What the functions answer.
enum { zvCondition_Status_NoError = 0, zvCondition_Status_TimeOut = 1, zvCondition_Status_Error = 2 };

/// Makes a condition variable.
/// @return the condition, which the caller releases with zvCondition_Delete; NULL when there is no memory
///   (nothing is logged) or when the system refuses (logged)
ZVOS_API zvOSCondition *zvCondition_New(void);

/// Releases the condition variable. No thread may be waiting.
/// @param aCondition the condition, gone afterwards also when the system reports a failure (logged); NULL is
///   ignored
ZVOS_API void zvCondition_Delete(zvOSCondition *aCondition);

/// Wakes one waiter, if there is any; the mutex need not be held.
/// @param aCondition the condition
/// @return zvCondition_Status_NoError, or zvCondition_Status_Error when the system refuses (logged)
ZVOS_API int zvCondition_Signal(zvOSCondition *aCondition);

/// Wakes all waiters; the mutex need not be held.
/// @param aCondition the condition
/// @return zvCondition_Status_NoError, or zvCondition_Status_Error when the system refuses (logged)
ZVOS_API int zvCondition_Broadcast(zvOSCondition *aCondition);

/// Releases the mutex, waits for a signal and takes the mutex again. While it waits the mutex counts as not
/// held by the caller; afterwards the caller is the owner again with its former count.
/// @param aCondition the condition
/// @param aMutex the mutex, which the calling thread holds once
/// @return zvCondition_Status_NoError, or zvCondition_Status_Error when the system refuses (logged); the
///   mutex is the caller's in both cases
ZVOS_API int zvCondition_Wait(zvOSCondition *aCondition, zvOSMutex *aMutex);

/// As zvCondition_Wait, for a limited time. It goes by the time-of-day clock: who sets that clock changes the
/// wait. With 32-bit times a wait that ends after January 2038 goes by the monotonic clock.
/// @param aCondition the condition
/// @param aMutex the mutex, which the calling thread holds once
/// @param aDelay milliseconds; 0 does not block, #kzvOS_DelayInfinite is 49.7 days and not for ever
/// @return zvCondition_Status_NoError; zvCondition_Status_TimeOut (not logged) when the time is over;
///   zvCondition_Status_Error when the system refuses (logged); the mutex is the caller's in all cases
/// @odd when now and the delay add up to a whole second exactly, the system is given 1000000000 nanoseconds,
///   refuses, and the result is zvCondition_Status_Error
ZVOS_API int zvCondition_WaitTimeout(zvOSCondition *aCondition, zvOSMutex *aMutex, uint32 aDelay);

/// @}

#endif
