// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_socketselect Waiting for sockets
/// Waiting for sockets, with a wake-up that any thread can send. One thread waits; any number of threads
/// trigger. A trigger puts a byte into a private pipe whose read end is part of the wait; it ends the current
/// wait or, when nobody waits, the next one.
///
/// ```c
/// fd_set theReadSet;
/// FD_ZERO(&theReadSet);
/// FD_SET(theListener, &theReadSet);
/// int afTriggered;
/// if (zvSocketSelect_Select(theSelect, &theReadSet, NULL, NULL, theListener, NULL,
///                           &afTriggered) < 0) return;
/// if (afTriggered) return;  // another thread called zvSocketSelect_Trigger
/// if (FD_ISSET(theListener, &theReadSet)) Accept(theListener);
/// ```
///
/// Sets are the system's fd_set, which holds descriptors below FD_SETSIZE (1024). Callers with higher ones
/// bring larger memory as sets; every set given has room for descriptors up to aMaxFD, in whole longs.
///
/// @threads one thread waits, any thread may trigger; New and Delete are called when neither is going on
/// @signals no, but for those that say so
/// @fork the pipe is shared with the parent: a trigger of the one may wake the other. Make a new object in
///   the child
/// @errno says nothing, but after a wait that returns -1
/// @logs nothing, but for zvSocketSelect_New
/// @since 1.0.0
/// @{
#ifndef zvOS_zvSocketSelect_h
#define zvOS_zvSocketSelect_h

#include <sys/select.h>
#include <sys/time.h>

#include <zvOS/zvSocketTypes.h>

/// A select object.
typedef struct zvSocketSelect_t zvSocketSelect;

// A time is two longs to the library. Of the longer one that a 32-bit caller compiled with 64-bit time hands
// over, it would see the seconds and a zero: waits for less than a second would return at once.
zvCompileTimeAssertSaying(sizeof(struct timeval) == 2 * sizeof(long),
                          "zvSocketSelect waits with times of two longs: compile without -D_TIME_BITS=64");

/// Ends of the pipe.
enum { kzvSocketSelect_PipeRead = 0, kzvSocketSelect_PipeWrite = 1 };

/// Makes an object. Programs that the process starts do not inherit its pipe.
/// @return the object, which the caller releases with zvSocketSelect_Delete; NULL when there is no memory,
///   when the system refuses, or when the pipe's read end does not fit into an fd_set
/// @logs the latter two, as errors of module SELECT (25)
ZVOS_API zvSocketSelect *zvSocketSelect_New(void);

/// Releases an object. No thread may be waiting or triggering.
/// @param aSocketSelect the object; NULL is ignored
ZVOS_API void zvSocketSelect_Delete(zvSocketSelect *aSocketSelect);

/// Ends the current or the next wait. Triggers that come before the wait reports them count as one. It waits
/// itself only when tens of thousands of triggers are pending.
/// @param aSocketSelect the object
/// @signals no: it takes a lock. A handler posts a semaphore for a thread that triggers, or writes to a pipe
///   of its own that is in the set
ZVOS_API void zvSocketSelect_Trigger(zvSocketSelect *aSocketSelect);

/// Waits until a socket of the sets is ready, a trigger comes or the time is over. The sets come back with
/// what is ready.
/// @param aSocketSelect the object
/// @param aReadSet sockets to read or accept from; may be NULL
/// @param aWriteSet sockets to write to, or that connect; may be NULL
/// @param anErrorSet sockets with urgent data; may be NULL
/// @param aMaxFD the highest descriptor in the sets; below 1 the wait is for the trigger alone and all sets
///   are cleared
/// @param aTimeOut how long at most; NULL waits without limit. The system stores there what is left of it
/// @param afTriggered becomes 1 when a trigger ended the wait, else 0; may be NULL
/// @return the count of ready descriptors, in which a trigger counts as one; 0 when the time is over; -1 with
///   the cause in `errno`, all sets cleared (as by zvSocketSelect_SelectFD), and a pending trigger kept for
///   the next wait
/// @errno after -1: EINTR when a signal came, EBADF when a set holds a closed descriptor, ENOMEM without
///   memory for a read set beyond FD_SETSIZE that the caller left to us
ZVOS_API int zvSocketSelect_Select(zvSocketSelect *aSocketSelect, fd_set *aReadSet, fd_set *aWriteSet,
                                   fd_set *anErrorSet, int aMaxFD, struct timeval *aTimeOut,
                                   int *afTriggered);

/// Adds the trigger to a set, for callers with a wait of their own. They call Prepare before it and
/// zvSocketSelect_Reset after it, on the same set.
///
/// ```c
/// int theTrigger = zvSocketSelect_Prepare(theSelect, &theReadSet);
/// int theMaxFD = theTrigger > theListener ? theTrigger : theListener;
/// if (pselect(theMaxFD + 1, &theReadSet, NULL, NULL, NULL, &theMask) < 0) return;
/// if (zvSocketSelect_Reset(theSelect, &theReadSet)) return;  // another thread called zvSocketSelect_Trigger
/// ```
/// @param aSocketSelect the object
/// @param aReadSet the set
/// @return the descriptor of the trigger, which belongs to the object
/// @signals yes
ZVOS_API int zvSocketSelect_Prepare(zvSocketSelect *aSocketSelect, fd_set *aReadSet);

/// Takes the trigger out of a set after a wait, with all pending triggers.
/// @param aSocketSelect the object
/// @param aReadSet the set
/// @return 1 when the set held the trigger, else 0
ZVOS_API int zvSocketSelect_Reset(zvSocketSelect *aSocketSelect, fd_set *aReadSet);

/// The bare wait: `select(aMaxFD + 1, ...)` with what it is given, and its result. When that is -1, the sets
/// are cleared: an fd_set whole, a larger set up to aMaxFD, no further than the process's limit of
/// descriptors.
/// @param aReadSet sockets to read or accept from; may be NULL
/// @param aWriteSet sockets to write to, or that connect; may be NULL
/// @param anErrorSet sockets with urgent data; may be NULL
/// @param aMaxFD the highest descriptor in the sets
/// @param aTimeOut how long at most; NULL waits without limit. The system stores there what is left of it
/// @return the count of ready descriptors, 0 when the time is over, -1 with the cause in `errno`
/// @threads any
/// @errno after -1 the cause
/// @fork yes
ZVOS_API int zvSocketSelect_SelectFD(fd_set *aReadSet, fd_set *aWriteSet, fd_set *anErrorSet, int aMaxFD,
                                     struct timeval *aTimeOut);

/// @}

#endif
