// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Threads that start when told to, and that report a crash before the process dies.
//
//   zvOSThread_Data theData = {Work, NULL, theArguments, 0, zvThread_Kind_Joinable,
//                              zvThread_Scheduling_Default};
//   zvOSThread *theThread = zvThread_New(&theData);
//   zvThread_Run(theThread);
//   zvThread_Wait(theThread);
//   zvThread_Delete(theThread);
//
// A joinable thread goes through New, Run, Wait, Delete; one that is never run may be deleted
// at once. A detached thread goes through New and Run and then belongs to itself: its handle is
// deleted when its function returns. New, Run, Wait and Delete of one handle are called from one
// controlling thread.
#ifndef zvOS_zvThread_h
#define zvOS_zvThread_h

#include <zvOS/zvDefines.h>

typedef struct zvThread_t zvOSThread;

typedef void (*zvThread_Func)(void *anArgument);

enum { zvThread_Status_NoError = 0, zvThread_Status_Error = 1 };
enum { zvThread_Kind_Joinable = 0, zvThread_Kind_Detached = 1 };
enum { zvThread_Scheduling_Default = 0, zvThread_Scheduling_Realtime = 1 };
enum {
  kzvThreadState_NotInited = 0,
  kzvThreadState_Inited = 1,  // exists and waits to be run
  kzvThreadState_Running = 2,
  kzvThreadState_Finished = 3
};
enum {
  kzvThreadDetachedState_NotDetached = 0,
  kzvThreadDetachedState_Detached = 1,
  kzvThreadDetachedState_DetachedDelete = 2  // its function has returned; it is deleting itself
};

// Default size of a thread's stack in bytes; all of it is the thread's (see sThread_S_SignalHandler).
#define kzvThread_StackSize (128 * 1024)

typedef struct zvOSThread_Data {
  zvThread_Func mThreadFunc;  // the body, called with mThreadArgs
  zvThread_Func mDeleteFunc;  // detached threads only: called with mThreadArgs at the end; may be NULL
  void *mThreadArgs;
  size_t mStackSize;      // bytes; 0: kzvThread_StackSize; 1: the system's own default
  int mThreadKind;        // zvThread_Kind_...
  int mThreadScheduling;  // accepted, not used
} zvOSThread_Data;

// Makes a thread that waits to be run. The descriptor is copied; its arguments must outlive the
// thread. Returns NULL when there is no memory (nothing is logged) or the system refuses (logged).
// A NULL descriptor is asserted against and answered with NULL.
// A stack size that the system refuses is logged as a warning and the default is used.
ZVOS_API zvOSThread *zvThread_New(const zvOSThread_Data *aThreadData);

// Lets the thread run its function. Returns zvThread_Status_Error (logged) when that fails; it may
// be tried again. Do not touch the handle of a detached thread after a success.
ZVOS_API int zvThread_Run(zvOSThread *aThread);

// Waits until the thread has ended; one that was never run ends without calling its function.
// Returns zvThread_Status_NoError, also when called again and when the system's join fails
// (logged), and zvThread_Status_Error for a detached thread.
ZVOS_API int zvThread_Wait(zvOSThread *aThread);

// Releases the handle; NULL is ignored. A thread that was never run is ended first. A running
// one is not waited for: call zvThread_Wait before.
ZVOS_API void zvThread_Delete(zvOSThread *aThread);

// Suspends the calling thread. Delays above 4294967 ms wrap around; a signal may end it early.
ZVOS_API void zvThread_Sleep(uint32 aMilliseconds);

// Checks a priority from 0 to 100 (more counts as 100, logged) against the range of the default
// scheduling policy. Returns zvThread_Status_NoError or zvThread_Status_Error (logged).
// Deliberately without effect on any thread: callers rely on priorities staying as they are.
ZVOS_API int zvThread_SetPriority(uint16 aPriority);

// Whether threads created from now on report fatal signals (non-zero, the default) or not (0).
// Handlers already installed stay. Call it at start-up.
ZVOS_API void zvThread_SetAllThreadsCatchSignal(int afCatchSignal);

// The process, the calling thread (its pthread_t, cut to 32 bits), and the thread of a handle.
ZVOS_API uint32 zvThread_GetPID(void);
ZVOS_API uint32 zvThread_GetCurrentThreadID(void);
ZVOS_API uint32 zvThread_GetID(zvOSThread *aThread);

// The handler that threads install for SIGSEGV, SIGILL, SIGBUS, SIGABRT and SIGFPE: logs the
// signal and a back-trace, puts the default action in its place, waits 2 s for the log to drain and
// returns. A fault then repeats and ends the process; a signal that was sent does so the next time.
// Returns at once for any other signal, and may be called by hand.
//
// Whatever breaks or hangs while the report is made, the process ends by the signal that came first,
// within 10 s, not counting what a slow log takes for records that it delivers. Signals of the
// application are held back only while something is written. A process that exits meanwhile waits for the
// report and ends by the signal.
//
// Threads of the library that catch signals have a stack of 160 KiB for this handler (address space, not
// memory), unless they bring one of their own (sigaltstack), which then should have 32 KiB at least. Handlers
// of the application that ask for it (SA_ONSTACK) run on it, too. Who installs a handler of his own for one
// of these signals does so after the last thread has been started, or switches the catching off; it may pass
// the signal on to this one.
ZVOS_API void sThread_S_SignalHandler(int aSignal);

#endif
