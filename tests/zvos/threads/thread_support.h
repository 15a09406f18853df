// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of threads share: events, the work that threads do, threads from New to Delete.
#pragma once

#include "support/HandleChecks.h"
#include "support/Support.h"

#include <zvOS/zvSemaphore.h>
#include <zvOS/zvThread.h>

#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

namespace zvtest {
namespace threads {

constexpr char kMagicText[] = "((aThread) != NULL) && ((aThread)->_mMagicNumber == (0xFEEDCABE))";
constexpr char kNotInitedText[] = "aThread->mThreadState == kzvThreadState_Inited";
constexpr char kDetachedText[] = "aThread->mDetachedState != kzvThreadDetachedState_Detached";

// A value of errno that no call of the system would leave there by itself. Creating a thread
// and setting its stack report errno, whatever number the call returns; the other calls report the
// number returned.
constexpr int kOddErrno = 777;

// Puts the handlers of the fatal signals back as they were.
class KeepSignalActions {
 public:
  KeepSignalActions() {
    for (size_t i = 0; i < kCount; ++i)
      sigaction(kSignals[i], nullptr, &mActions[i]);
  }
  ~KeepSignalActions() {
    for (size_t i = 0; i < kCount; ++i)
      sigaction(kSignals[i], &mActions[i], nullptr);
  }
  KeepSignalActions(const KeepSignalActions &) = delete;
  KeepSignalActions &operator=(const KeepSignalActions &) = delete;

  static void SetAllToDefault() {
    for (const int theSignal : kSignals)
      signal(theSignal, SIG_DFL);
  }

 private:
  static constexpr size_t kCount = 5;
  static constexpr int kSignals[kCount] = {SIGSEGV, SIGILL, SIGBUS, SIGABRT, SIGFPE};
  struct sigaction mActions[kCount];
};

// An event that one thread reports and another waits for.
class Event {
 public:
  Event() { sem_init(&mSemaphore, 0, 0); }
  ~Event() { sem_destroy(&mSemaphore); }
  Event(const Event &) = delete;
  Event &operator=(const Event &) = delete;

  void Report() { sem_post(&mSemaphore); }
  bool Wait(int aSeconds = 20) {
// ThreadSanitizer does not know waits by the monotonic clock; it is not used where the other one may be late.
#if defined(__SANITIZE_THREAD__)
    constexpr clockid_t kClock = CLOCK_REALTIME;
    const auto theWait = [](sem_t *aSemaphore, clockid_t, const timespec *aDeadline) {
      return sem_timedwait(aSemaphore, aDeadline);
    };
#else
    constexpr clockid_t kClock = CLOCK_MONOTONIC;
    const auto theWait = sem_clockwait;
#endif
    timespec theDeadline;
    clock_gettime(kClock, &theDeadline);
    theDeadline.tv_sec += aSeconds;
    while (theWait(&mSemaphore, kClock, &theDeadline) != 0) {
      if (errno != EINTR) return false;
    }
    return true;
  }

 private:
  sem_t mSemaphore;
};

// What the body of a test's thread saw; also its argument.
struct Work {
  std::atomic<int> mRuns{0};
  std::atomic<int> mDeletes{0};
  uint32 mThreadID = 0;
  size_t mStackSize = 0;
  Event mRunning;
  Event mMayEnd;
  Event mDeleted;
};

inline size_t StackSizeOfThisThread() {
  pthread_attr_t theAttributes;
  size_t theSize = 0;
  if (pthread_getattr_np(pthread_self(), &theAttributes) != 0) return 0;
  pthread_attr_getstacksize(&theAttributes, &theSize);
  pthread_attr_destroy(&theAttributes);
  return theSize;
}

inline void DoWork(void *anArgument) {
  Work *theWork = static_cast<Work *>(anArgument);
  theWork->mThreadID = zvThread_GetCurrentThreadID();
  theWork->mStackSize = StackSizeOfThisThread();
  ++theWork->mRuns;
}

inline void WorkUntilAllowedToEnd(void *anArgument) {
  Work *theWork = static_cast<Work *>(anArgument);
  ++theWork->mRuns;
  theWork->mRunning.Report();
  theWork->mMayEnd.Wait();
}

inline void DeleteWork(void *anArgument) {
  Work *theWork = static_cast<Work *>(anArgument);
  ++theWork->mDeletes;
  theWork->mDeleted.Report();
}

inline zvOSThread_Data Joinable(Work &aWork, zvThread_Func aFunction = DoWork, size_t aStackSize = 0) {
  return {aFunction, DeleteWork, &aWork, aStackSize, zvThread_Kind_Joinable, zvThread_Scheduling_Default};
}

inline zvOSThread_Data Detached(Work &aWork, zvThread_Func aFunction = DoWork) {
  return {aFunction, DeleteWork, &aWork, 0, zvThread_Kind_Detached, zvThread_Scheduling_Default};
}

// A thread that there must be.
inline zvOSThread *NewThread(const zvOSThread_Data &aData) {
  zvOSThread *const theThread = zvThread_New(&aData);
  EXPECT_NE(nullptr, theThread);
  return theThread;
}

// Runs a thread from New to Delete.
inline void RunToTheEnd(const zvOSThread_Data &aData) {
  zvOSThread *const theThread = NewThread(aData);
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
  zvThread_Delete(theThread);
}

class Thread : public ::testing::Test {
 protected:
  void ExpectNothingLogged() const {
    EXPECT_THAT(mLog.Messages(), ::testing::IsEmpty());
    EXPECT_THAT(mLog.Assertions(), ::testing::IsEmpty());
  }

  KeepSignalActions mActions;
  RecordingLog mLog;
  Work mWork;
};

}  // namespace threads
}  // namespace zvtest
