// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Condition variable over the recursive mutex of zvMutex.h.
//
//   zvMutex_Lock(theMutex);
//   while (!theQueueHasWork) zvCondition_Wait(theCondition, theMutex);
//   ...
//   zvMutex_Unlock(theMutex);
//
// A wait may end without a signal: test the predicate in a loop. Hold the mutex exactly once
// when waiting: the system releases one level only.
#ifndef zvOS_zvCondition_h
#define zvOS_zvCondition_h

#include <zvOS/zvDefines.h>
#include <zvOS/zvMutex.h>

typedef struct zvCondition_t zvOSCondition;

enum { zvCondition_Status_NoError = 0, zvCondition_Status_TimeOut = 1, zvCondition_Status_Error = 2 };

// Makes a condition variable. Returns NULL when there is no memory (nothing is logged) or when
// the system refuses (logged). The caller releases it with zvCondition_Delete.
ZVOS_API zvOSCondition *zvCondition_New(void);

// Releases the condition variable; NULL is ignored. No thread may be waiting.
ZVOS_API void zvCondition_Delete(zvOSCondition *aCondition);

// Wakes one waiter, if there is any; the mutex need not be held.
// Returns zvCondition_Status_NoError or zvCondition_Status_Error (logged).
ZVOS_API int zvCondition_Signal(zvOSCondition *aCondition);

// Wakes all waiters; otherwise as zvCondition_Signal.
ZVOS_API int zvCondition_Broadcast(zvOSCondition *aCondition);

// Releases aMutex, waits for a signal and takes aMutex again. The calling thread holds aMutex.
// While it waits the mutex counts as not held by it; afterwards it is the owner again with its
// former count. Returns zvCondition_Status_NoError or zvCondition_Status_Error (logged).
ZVOS_API int zvCondition_Wait(zvOSCondition *aCondition, zvOSMutex *aMutex);

// As zvCondition_Wait, for at most aDelay milliseconds by the time-of-day clock; a delay of 0
// does not block. Returns zvCondition_Status_TimeOut (not logged) when the time is over. With 32-bit times a
// wait that ends after January 2038 goes by the monotonic clock.
// Deliberately odd: when now and the delay add up to a whole second exactly, the system is
// given 1000000000 nanoseconds, refuses, and the result is zvCondition_Status_Error.
ZVOS_API int zvCondition_WaitTimeout(zvOSCondition *aCondition, zvOSMutex *aMutex, uint32 aDelay);

#endif
