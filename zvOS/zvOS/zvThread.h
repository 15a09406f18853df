// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_thread Threads
/// Threads that start when told to, and that report a crash before the process dies.
///
/// ```c
/// zvOSThread_Data theData = {Work, NULL, theArguments, 0, zvThread_Kind_Joinable,
///                            zvThread_Scheduling_Default};
/// zvOSThread *theThread = zvThread_New(&theData);
/// if (theThread == NULL) return;
/// zvThread_Run(theThread);
/// zvThread_Wait(theThread);
/// zvThread_Delete(theThread);
/// ```
///
/// A joinable thread goes through New, Run, Wait, Delete; one that is never run may be deleted at once. A
/// detached thread goes through New and Run and then belongs to itself: its handle is deleted when its
/// function returns. A handle that is stale asserts, and the operation goes on with it as it is.
///
/// @threads any thread may make threads; New, Run, Wait and Delete of one handle are called from one
///   controlling thread
/// @signals no, but for those that say so
/// @fork only the thread that forked is in the child: the handles of the others are of no use there, and are
///   not waited for
/// @errno says nothing: the number of the error is in the message
/// @logs failures, as errors of module ZVOS (7)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvThread_h
#define zvOS_zvThread_h

#include <zvOS/zvDefines.h>

/// A thread.
typedef struct zvThread_t zvOSThread;

/// The body of a thread, called with mThreadArgs.
typedef void (*zvThread_Func)(void *anArgument);

/// What the functions answer.
enum { zvThread_Status_NoError = 0, zvThread_Status_Error = 1 };

/// Who waits for a thread: somebody, or nobody.
enum { zvThread_Kind_Joinable = 0, zvThread_Kind_Detached = 1 };

/// Accepted, not used.
enum { zvThread_Scheduling_Default = 0, zvThread_Scheduling_Realtime = 1 };

/// Where a thread is between New and Delete.
enum {
  kzvThreadState_NotInited = 0,
  kzvThreadState_Inited = 1,  ///< exists and waits to be run
  kzvThreadState_Running = 2,
  kzvThreadState_Finished = 3
};

/// Whether a thread deletes itself.
enum {
  kzvThreadDetachedState_NotDetached = 0,
  kzvThreadDetachedState_Detached = 1,
  kzvThreadDetachedState_DetachedDelete = 2  ///< its function has returned; it is deleting itself
};

/// Default size of a thread's stack in bytes; all of it is the thread's (see sThread_S_SignalHandler).
#define kzvThread_StackSize (128 * 1024)

/// What a thread is to be. zvThread_New copies it.
typedef struct zvOSThread_Data {
  zvThread_Func mThreadFunc;  ///< the body, called with mThreadArgs
  zvThread_Func mDeleteFunc;  ///< detached threads only: called with mThreadArgs at the end; may be NULL
  void *mThreadArgs;
  size_t mStackSize;      ///< bytes; 0: kzvThread_StackSize; 1: the system's own default
  int mThreadKind;        ///< zvThread_Kind_...
  int mThreadScheduling;  ///< accepted, not used
} zvOSThread_Data;

/// Makes a thread that waits to be run. A stack size that the system refuses is logged as a warning and the
/// default is used.
/// @param aThreadData what it is to be; copied, but mThreadArgs must live as long as the thread needs them
/// @return the thread, which the caller releases with zvThread_Delete when it is joinable; NULL when there is
///   no memory (nothing is logged), when the system refuses (logged), and for a NULL descriptor (asserted
///   against)
/// @odd a detached thread that cannot be made asserts, too. Of a refused stack size and of a thread that the
///   system does not make the messages show `errno`, which the system need not have set
ZVOS_API zvOSThread *zvThread_New(const zvOSThread_Data *aThreadData);

/// Lets the thread run its function. Do not touch the handle of a detached thread after a success.
/// @param aThread the thread, which was not run before
/// @return zvThread_Status_NoError, or zvThread_Status_Error (logged) when that fails; it may be tried again
ZVOS_API int zvThread_Run(zvOSThread *aThread);

/// Waits until the thread has ended; one that was never run ends without calling its function.
/// @param aThread a joinable thread
/// @return zvThread_Status_NoError, also when called again and when the system's join fails (logged);
///   zvThread_Status_Error for a detached thread, which asserts
ZVOS_API int zvThread_Wait(zvOSThread *aThread);

/// Releases the handle. A thread that was never run is ended first. A running one is not waited for: call
/// zvThread_Wait before.
/// @param aThread a joinable thread; NULL is ignored
ZVOS_API void zvThread_Delete(zvOSThread *aThread);

/// Suspends the calling thread. A signal that is handled meanwhile ends it early.
/// @param aMilliseconds how long; above 4294967 the delay wraps around
/// @signals yes
/// @fork yes
/// @errno EINTR when a signal ended it, otherwise left alone
/// @logs nothing
ZVOS_API void zvThread_Sleep(uint32 aMilliseconds);

/// Checks a priority against the range of the default scheduling policy. Deliberately without effect on any
/// thread: callers rely on priorities staying as they are.
/// @param aPriority 0 to 100; more is logged and counts as 100
/// @return zvThread_Status_NoError, or zvThread_Status_Error (logged) when the system does not give its range
/// @fork yes
ZVOS_API int zvThread_SetPriority(uint16 aPriority);

/// Whether threads created from now on report fatal signals. Handlers already installed stay. Call it at
/// start-up.
/// @param afCatchSignal non-zero, the default: they do; 0: they do not
/// @signals yes
/// @fork yes
/// @logs nothing
ZVOS_API void zvThread_SetAllThreadsCatchSignal(int afCatchSignal);

/// The number of the process.
/// @return as getpid() gives it
/// @signals yes
/// @fork yes: the child's own
/// @logs nothing
ZVOS_API uint32 zvThread_GetPID(void);

/// The calling thread, as a number that no other running thread of the process has on 32-bit systems.
/// @return its pthread_t, cut to 32 bits; it is not the number that the kernel and the log show
/// @signals yes
/// @fork yes: the number that the forking thread had
/// @logs nothing
ZVOS_API uint32 zvThread_GetCurrentThreadID(void);

/// The thread of a handle, as zvThread_GetCurrentThreadID gives it in that thread.
/// @param aThread the thread, also before it was run
/// @return its pthread_t, cut to 32 bits
/// @logs nothing, but for a bad handle
ZVOS_API uint32 zvThread_GetID(zvOSThread *aThread);

/// The handler of fatal signals that threads install: for SIGSEGV, SIGILL, SIGBUS, SIGABRT and SIGFPE. It
/// logs the signal and a back-trace, puts the default action in its place, waits 2 s for the log to drain and
/// returns. A fault then repeats and ends the process; a signal that was sent does so the next time. It may
/// be called by hand.
///
/// Whatever breaks or hangs while the report is made, the process ends by the signal that came first, within
/// 10 s, not counting what a slow log takes for records that it delivers. Signals of the application are held
/// back only while something is written. A process that exits meanwhile waits for the report and ends by the
/// signal.
///
/// Threads of the library that catch signals have a stack of 160 KiB for this handler (address space, not
/// memory), unless they bring one of their own (sigaltstack), which then should have 32 KiB at least.
/// Handlers of the application that ask for it (SA_ONSTACK) run on it, too. Who installs a handler of his own
/// for one of these signals does so after the last thread has been started, or switches the catching off; it
/// may pass the signal on to this one.
/// @param aSignal the signal; any other than the five returns at once
/// @threads any; of several threads that crash, one reports
/// @signals yes, that is what it is for
/// @fork yes: the handlers stay installed in a child, which reports under its own number
/// @errno left as it was
/// @logs the signal as an error of module DEFAULT (0), the trace as zvDebug_BackTraceCurrent does, the end as
///   an error of module ZVOS (7)
ZVOS_API void sThread_S_SignalHandler(int aSignal);

/// @}

#endif
