// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Threads that start when told to, and that report a crash before the process dies.
//
// A new thread waits at a gate, a semaphore, which also orders the plain fields of its record:
// it reads them only after the gate has opened.

#include <zvOS/zvDebug.h>
#include <zvOS/zvLogFunctions.h>
#include <zvOS/zvSemaphore.h>
#include <zvOS/zvThread.h>
#include <zvOS/zvTime.h>

#include "posix/BackTrace.h"
#include "posix/CrashFile.h"
#include "posix/CrashReport.h"
#include "posix/SignalStack.h"
#include "private/Failure.h"
#include "private/Owner.h"
#include "private/Record.h"
#include "private/SignalFrame.h"

#include <pthread.h>
#include <sched.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <csignal>

ZVLOG_WITH_MODULE_IF(ZVOS, 1)

struct zvThread_t {
  uint32 _mMagicNumber = kzvThread_Magic;
  pthread_t mThread = 0;
  zvThread_Func mThreadFunc = nullptr;
  zvThread_Func mDeleteFunc = nullptr;
  void *mThreadArgs = nullptr;
  int mThreadState = kzvThreadState_NotInited;
  int mDetachedState = kzvThreadDetachedState_NotDetached;
  zvOSSemaphore *mSemaphore = nullptr;
};

namespace {

constexpr size_t kStackSize_Default = 0;
constexpr size_t kStackSize_LeaveToSystem = 1;
constexpr uint16 kHighestPriority = 100;
constexpr uint32 kTimeForLogToDrain = 2000;

std::atomic<unsigned> sDoNotCatchSignal;

bool IsHandled(int aSignal) {
  struct sigaction theAction;
  return sigaction(aSignal, nullptr, &theAction) == 0 && theAction.sa_handler == sThread_S_SignalHandler;
}

// The action as signal() has made it, but the handler runs on the signal stack of a thread that has one, and
// learns what was interrupted.
void RefineAction(int aSignal) {
  struct sigaction theAction = {};
  theAction.sa_handler = sThread_S_SignalHandler;
  theAction.sa_flags = SA_RESTART | SA_ONSTACK | SA_SIGINFO;
  sigaddset(&theAction.sa_mask, aSignal);
  sigaction(aSignal, &theAction, nullptr);
}

// Where the handler was the action before, signal() is trusted to have installed it anew. Only elsewhere is
// the system asked whether it did: the question would cost every thread five calls more.
void CatchFatalSignals() {
  for (const int theSignal : zvos::kFatalSignals) {
    const bool afAgain = signal(theSignal, sThread_S_SignalHandler) == sThread_S_SignalHandler;
    if (afAgain || IsHandled(theSignal)) RefineAction(theSignal);
  }
}

bool IsFatalSignal(int aSignal) {
  for (const int theSignal : zvos::kFatalSignals) {
    if (theSignal == aSignal) return true;
  }
  return false;
}

// A handler of the application that runs meanwhile ends a sleep. The rest is never too short for what the
// clock has cut off.
void LetLogDrain() {
  const uint32 theStart = zvTime_GetTickCount();
  uint32 theTime = 0;
  for (uint32 theRest = kTimeForLogToDrain; theTime <= kTimeForLogToDrain;
       theRest = kTimeForLogToDrain + 1 - theTime) {
    errno = 0;
    zvThread_Sleep(theRest);
    if (errno != EINTR) return;
    theTime = zvTime_GetTickCount() - theStart;
  }
}

// A handler of the application that runs meanwhile does not open the gate; any other failure of the wait is
// in the log, and lets the thread go on.
void WaitAtGate(zvOSSemaphore *aGate) {
  while (zvSemaphore_Wait(aGate) != zvSemaphore_Status_NoError && errno == EINTR) {
  }
}

void *RunThread(void *aThreadRecord) {
  zvOSThread *const theThread = static_cast<zvOSThread *>(aThreadRecord);
  if (sDoNotCatchSignal == 0) {
    zvos::LoadUnwinder();  // when the flag has changed since the thread was made
    zvos::ProvideSignalStack();
    CatchFatalSignals();
  }

  WaitAtGate(theThread->mSemaphore);
  if (theThread->mThreadState != kzvThreadState_Finished) theThread->mThreadFunc(theThread->mThreadArgs);

  if (theThread->mDetachedState == kzvThreadDetachedState_Detached) {
    theThread->mDetachedState = kzvThreadDetachedState_DetachedDelete;
    zvThread_Delete(theThread);
  }
  return nullptr;
}

// Makes the system's thread with initialised attributes.
bool CreateThread(zvOSThread *aThread, pthread_attr_t *anAttributes, size_t aStackSize) {
  if (aStackSize != kStackSize_LeaveToSystem) {
    const size_t theStackSize = aStackSize == kStackSize_Default ? kzvThread_StackSize : aStackSize;
    // Its error is what it returns; the message shows errno all the same, as field logs are read.
    if (pthread_attr_setstacksize(anAttributes, theStackSize) != 0) {
      const int theError = errno;
      ZV_WARN(F("zvOSThread: Could not set stack size to %zu bytes (errno = %d)\n", theStackSize, theError));
    }
  }

  const int theDetachState = aThread->mDetachedState == kzvThreadDetachedState_Detached
                                 ? PTHREAD_CREATE_DETACHED
                                 : PTHREAD_CREATE_JOINABLE;
  if (pthread_attr_setdetachstate(anAttributes, theDetachState) != 0) return false;

  // Here and not in the thread: its stack may be small, and whoever forks meanwhile would leave the loader
  // locked.
  if (sDoNotCatchSignal == 0) zvos::LoadUnwinder();

  // As above: the message shows errno, not the error returned.
  if (pthread_create(&aThread->mThread, anAttributes, RunThread, aThread) != 0) {
    const int theError = errno;
    return ZVOS_FAIL(false, F("zvOSThread: Cannot create thread (errno = %d)\n", theError));
  }
  aThread->mThreadState = kzvThreadState_Inited;
  return true;
}

// Makes all that the thread needs and the thread itself.
bool StartAtGate(zvOSThread *aThread, size_t aStackSize) {
  aThread->mSemaphore = zvSemaphore_New(0);
  if (aThread->mSemaphore == nullptr) return false;

  pthread_attr_t theAttributes;
  if (pthread_attr_init(&theAttributes) != 0) return false;

  const bool afCreated = CreateThread(aThread, &theAttributes, aStackSize);
  if (const int theError = pthread_attr_destroy(&theAttributes))
    ZV_ERR(F("zvOSThread: Error destroying thread attributes (errno = %d)\n", theError));
  return afCreated;
}

}  // namespace

extern "C" zvOSThread *zvThread_New(const zvOSThread_Data *aThreadData) {
  zvAssert(aThreadData != NULL);
  if (aThreadData == nullptr) return nullptr;

  zvos::Owner<zvOSThread, zvThread_Delete> theThread(zvos::NewRecord<zvOSThread>());
  if (theThread == nullptr) return nullptr;
  theThread->mThreadFunc = aThreadData->mThreadFunc;
  theThread->mThreadArgs = aThreadData->mThreadArgs;
  if (aThreadData->mThreadKind == zvThread_Kind_Detached) {
    theThread->mDeleteFunc = aThreadData->mDeleteFunc;
    theThread->mDetachedState = kzvThreadDetachedState_Detached;
  }
  return StartAtGate(theThread.get(), aThreadData->mStackSize) ? theThread.release() : nullptr;
}

extern "C" int zvThread_Run(zvOSThread *aThread) {
  ZVMAGICNUMBER_CHECK(aThread, kzvThread_Magic);
  zvAssert(aThread->mThreadState == kzvThreadState_Inited);

  aThread->mThreadState = kzvThreadState_Running;
  // A detached thread may be gone, and its record with it, once the gate is open.
  if (zvSemaphore_Post(aThread->mSemaphore) != zvSemaphore_Status_NoError) {
    const int theError = errno;
    aThread->mThreadState = kzvThreadState_Inited;
    return ZVOS_FAIL(zvThread_Status_Error,
                     F("zvOSThread: Failed to start a thread (errno = %d)\n", theError));
  }
  return zvThread_Status_NoError;
}

extern "C" int zvThread_Wait(zvOSThread *aThread) {
  ZVMAGICNUMBER_CHECK(aThread, kzvThread_Magic);
  zvAssert(aThread->mDetachedState != kzvThreadDetachedState_Detached);
  if (aThread->mDetachedState == kzvThreadDetachedState_Detached) return zvThread_Status_Error;
  if (aThread->mThreadState == kzvThreadState_Finished) return zvThread_Status_NoError;

  if (aThread->mThreadState == kzvThreadState_Inited) {
    aThread->mThreadState = kzvThreadState_Finished;
    if (zvSemaphore_Post(aThread->mSemaphore) != zvSemaphore_Status_NoError) {
      const int theError = errno;
      ZV_ERR(F("zvOSThread: Failed to start a thread for termination (errno = %d)\n", theError));
    }
  }

  const int theError = pthread_join(aThread->mThread, nullptr);
  if (theError != 0) ZV_ERR(F("zvOSThread: Failed to join a thread (errno = %d)\n", theError));
  aThread->mThreadState = kzvThreadState_Finished;
  return zvThread_Status_NoError;
}

extern "C" void zvThread_Delete(zvOSThread *aThread) {
  if (aThread == nullptr) return;
  ZVMAGICNUMBER_CHECK(aThread, kzvThread_Magic);
  zvAssert(aThread->mDetachedState != kzvThreadDetachedState_Detached);

  // A running joinable thread is not waited for: callers do that, and some never want to.
  if (aThread->mDetachedState == kzvThreadDetachedState_Detached) zvThread_Wait(aThread);
  if (aThread->mThreadState == kzvThreadState_Inited) zvThread_Wait(aThread);
  if (aThread->mDetachedState == kzvThreadDetachedState_DetachedDelete && aThread->mDeleteFunc != nullptr) {
    aThread->mDeleteFunc(aThread->mThreadArgs);
  }

  zvSemaphore_Delete(aThread->mSemaphore);
  ZVMAGICNUMBER_CHECK(aThread, kzvThread_Magic);
  zvos::ClearMagic(aThread);
  free(aThread);
}

extern "C" void zvThread_Sleep(uint32 aMilliseconds) {
  usleep(aMilliseconds * 1000);
}

extern "C" int zvThread_SetPriority(uint16 aPriority) {
  if (aPriority > kHighestPriority) {
    ZV_ERR(F("zvOSThread:SetPriority: invalid value for the thread priority %u: using max priority\n",
             static_cast<unsigned>(aPriority)));
    aPriority = kHighestPriority;
  }

  // The attributes are applied to no thread and not destroyed: callers rely on priorities staying
  // as they are.
  pthread_attr_t theAttributes;
  if (const int theError = pthread_attr_init(&theAttributes))
    return ZVOS_FAIL(zvThread_Status_Error,
                     F("zvOSThread:SetPriority: pthread_attr_init failed (errno = %d)\n", theError));
  int thePolicy;
  if (const int theError = pthread_attr_getschedpolicy(&theAttributes, &thePolicy))
    return ZVOS_FAIL(
        zvThread_Status_Error,
        F("zvOSThread:SetPriority: Cannot get thread scheduling policy (errno = %d)\n", theError));

  const int theHighest = sched_get_priority_max(thePolicy);
  const int theLowest = sched_get_priority_min(thePolicy);
  if (theHighest == -1 || theLowest == -1 || theLowest > theHighest)
    return ZVOS_FAIL(zvThread_Status_Error, F("zvOSThread:SetPriority: Cannot get valid priority range\n"));

  sched_param theParameter;
  if (const int theError = pthread_attr_getschedparam(&theAttributes, &theParameter))
    return ZVOS_FAIL(zvThread_Status_Error,
                     F("zvOSThread:SetPriority: pthread_attr_getschedparam failed (errno = %d)\n", theError));
  theParameter.sched_priority = theLowest + ((theHighest - theLowest) * aPriority) / kHighestPriority;
  if (const int theError = pthread_attr_setschedparam(&theAttributes, &theParameter))
    return ZVOS_FAIL(zvThread_Status_Error,
                     F("zvOSThread:SetPriority: pthread_attr_setschedparam failed (errno = %d)\n", theError));
  return zvThread_Status_NoError;
}

extern "C" void zvThread_SetAllThreadsCatchSignal(int afCatchSignal) {
  sDoNotCatchSignal = afCatchSignal != 0 ? 0 : 1;
}

extern "C" uint32 zvThread_GetPID(void) {
  return static_cast<uint32>(getpid());
}

extern "C" uint32 zvThread_GetCurrentThreadID(void) {
  return static_cast<uint32>(pthread_self());
}

extern "C" uint32 zvThread_GetID(zvOSThread *aThread) {
  ZVMAGICNUMBER_CHECK(aThread, kzvThread_Magic);
  return static_cast<uint32>(aThread->mThread);
}

// sThread_S_SignalHandler, with the arguments that the system adds to a signal. Who calls it by hand passes
// the first one only.
ZVOS_API void HandleSignal(int aSignal, siginfo_t *anInfo, void *aContext) __asm__("sThread_S_SignalHandler");

extern "C" void HandleSignal(int aSignal, siginfo_t *anInfo, void *aContext) {
  if (!IsFatalSignal(aSignal)) return;
  const bool afFromSystem = zvos::IsFrameOfSystem(__builtin_dwarf_cfa(), aSignal, anInfo, aContext);
  const zvos::SignalArrival theArrival = {aSignal, afFromSystem ? anInfo : nullptr,
                                          afFromSystem ? static_cast<ucontext_t *>(aContext) : nullptr};
  if (zvos::CrashReport *const theReport = zvos::CrashReport::Writing()) {
    theReport->Interrupt(theArrival);
    return;
  }

  // The thread may go on, with its errno: a signal that was sent does not come again. Cancelled, it would
  // take the report with it.
  const zvos::ErrnoAtEnd theError;
  int theCancelState;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &theCancelState);
  {
    zvos::CrashReport theReport(theArrival, HandleSignal);
    {
      const zvos::CrashReport::Stretch theStretch(theReport);
      zvos::RunGuarded(zvos::kCrashOutlet_Log,
                       [=] { Log_Error("zvOSThread: Received fatal signal: %d\n", aSignal); });
      theReport.RestoreDefaultAction();
      zvDebug_BackTraceCurrent(0);
      zvos::WriteCrashFile(theReport);
    }
    LetLogDrain();
    const zvos::CrashReport::Stretch theStretch(theReport);
    theReport.RestoreDefaultAction();
    zvos::RunGuarded(zvos::kCrashOutlet_Log,
                     [] { ZV_ERR(F("zvOSThread: Defaulting to default signal handler\n")); });
  }
  pthread_setcancelstate(theCancelState, nullptr);
}
