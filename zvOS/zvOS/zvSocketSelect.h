// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Waiting for sockets, with a wake-up that any thread can send.
//
// One thread waits; any number of threads trigger. A trigger puts a byte into a private pipe whose
// read end is part of the wait; it ends the current wait or, when nobody waits, the next one.
//
//   fd_set theReadSet;
//   FD_ZERO(&theReadSet);
//   FD_SET(theListener, &theReadSet);
//   int afTriggered;
//   if (zvSocketSelect_Select(theSelect, &theReadSet, NULL, NULL, theListener, NULL, &afTriggered) < 0) ...
//   if (afTriggered) return;                       // another thread called zvSocketSelect_Trigger
//   if (FD_ISSET(theListener, &theReadSet)) ...
//
// Sets are the system's fd_set, which holds descriptors below FD_SETSIZE (1024). Callers with higher ones
// bring larger memory as sets; every set given has room for descriptors up to aMaxFD, in whole longs.
// Messages go to module SELECT (25).
#ifndef zvOS_zvSocketSelect_h
#define zvOS_zvSocketSelect_h

#include <sys/select.h>
#include <sys/time.h>

#include <zvOS/zvSocketTypes.h>

typedef struct zvSocketSelect_t zvSocketSelect;

// A time is two longs to the library. Of the longer one that a 32-bit caller compiled with 64-bit time hands
// over, it would see the seconds and a zero: waits for less than a second would return at once.
zvCompileTimeAssertSaying(sizeof(struct timeval) == 2 * sizeof(long),
                          "zvSocketSelect waits with times of two longs: compile without -D_TIME_BITS=64");

// Ends of the pipe.
enum { kzvSocketSelect_PipeRead = 0, kzvSocketSelect_PipeWrite = 1 };

// Makes an object, which the caller releases with zvSocketSelect_Delete. NULL when there is no memory,
// when the system refuses, or when the pipe's read end does not fit into an fd_set (both logged).
// Programs that the process starts do not inherit the pipe.
ZVOS_API zvSocketSelect *zvSocketSelect_New(void);

// Releases it; NULL is ignored. No thread may be waiting or triggering.
ZVOS_API void zvSocketSelect_Delete(zvSocketSelect *aSocketSelect);

// Ends the current or the next wait. Triggers that come before the wait reports them count as one. It
// waits itself only when tens of thousands of triggers are pending.
ZVOS_API void zvSocketSelect_Trigger(zvSocketSelect *aSocketSelect);

// Waits until a socket of the sets is ready, a trigger comes or the time is over. aMaxFD is the
// highest descriptor in the sets; below 1 the wait is for the trigger alone and all sets are cleared.
// Each set may be NULL; aTimeOut NULL waits without limit. The sets come back with what is ready.
// Returns the count of ready descriptors, in which a trigger counts as one, 0 when the time is over,
// or -1 with the cause in `errno`, all sets cleared (as by zvSocketSelect_SelectFD), and a pending trigger
// kept for the next wait; ENOMEM is also a read set beyond FD_SETSIZE that the caller left to us.
// *afTriggered, if wanted, becomes 1 when a trigger ended the wait, else 0.
ZVOS_API int zvSocketSelect_Select(zvSocketSelect *aSocketSelect, fd_set *aReadSet, fd_set *aWriteSet,
                                   fd_set *anErrorSet, int aMaxFD, struct timeval *aTimeOut,
                                   int *afTriggered);

// For callers with a wait of their own: Prepare before it, Reset after it, on the same set.

// Adds the trigger to the set. Returns its descriptor.
ZVOS_API int zvSocketSelect_Prepare(zvSocketSelect *aSocketSelect, fd_set *aReadSet);

// Returns 1, with all pending triggers consumed and the mark removed, when the set holds the trigger,
// else 0.
ZVOS_API int zvSocketSelect_Reset(zvSocketSelect *aSocketSelect, fd_set *aReadSet);

// The bare wait: select(aMaxFD + 1, ...) with what it is given, and its result. When that is -1, the sets
// are cleared: an fd_set whole, a larger set up to aMaxFD, no further than the process's limit of
// descriptors.
ZVOS_API int zvSocketSelect_SelectFD(fd_set *aReadSet, fd_set *aWriteSet, fd_set *anErrorSet, int aMaxFD,
                                     struct timeval *aTimeOut);

#endif
