// Threads: the start gate, the states, what creation asks of the system and what becomes of each
// refusal, detached threads, signal handlers, priorities and identities.

#include "support/Faults.h"
#include "support/RecordingLog.h"
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

using namespace zvtest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The record behind a handle; its fields and their order are part of the library's promise.
struct zvThread_t {
  uint32 _mMagicNumber;
  pthread_t mThread;
  zvThread_Func mThreadFunc;
  zvThread_Func mDeleteFunc;
  void *mThreadArgs;
  int mThreadState;
  int mDetachedState;
  zvOSSemaphore *mSemaphore;
};

namespace {

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
    timespec theDeadline;
    clock_gettime(CLOCK_REALTIME, &theDeadline);
    theDeadline.tv_sec += aSeconds;
    while (sem_timedwait(&mSemaphore, &theDeadline) != 0) {
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
  int mStateSeen = -1;
  int mDetachedStateAtDelete = -1;
  zvOSThread *mThread = nullptr;
  Event mRunning;
  Event mMayEnd;
  Event mDeleted;
};

size_t StackSizeOfThisThread() {
  pthread_attr_t theAttributes;
  size_t theSize = 0;
  if (pthread_getattr_np(pthread_self(), &theAttributes) != 0) return 0;
  pthread_attr_getstacksize(&theAttributes, &theSize);
  pthread_attr_destroy(&theAttributes);
  return theSize;
}

void DoWork(void *anArgument) {
  Work *theWork = static_cast<Work *>(anArgument);
  theWork->mThreadID = zvThread_GetCurrentThreadID();
  theWork->mStackSize = StackSizeOfThisThread();
  if (theWork->mThread != nullptr) theWork->mStateSeen = theWork->mThread->mThreadState;
  ++theWork->mRuns;
}

void WorkUntilAllowedToEnd(void *anArgument) {
  Work *theWork = static_cast<Work *>(anArgument);
  ++theWork->mRuns;
  theWork->mRunning.Report();
  theWork->mMayEnd.Wait();
}

void DeleteWork(void *anArgument) {
  Work *theWork = static_cast<Work *>(anArgument);
  ++theWork->mDeletes;
  if (theWork->mThread != nullptr) theWork->mDetachedStateAtDelete = theWork->mThread->mDetachedState;
  theWork->mDeleted.Report();
}

zvOSThread_Data Joinable(Work &aWork, zvThread_Func aFunction = DoWork, size_t aStackSize = 0) {
  return {aFunction, DeleteWork, &aWork, aStackSize, zvThread_Kind_Joinable, zvThread_Scheduling_Default};
}

zvOSThread_Data Detached(Work &aWork, zvThread_Func aFunction = DoWork) {
  return {aFunction, DeleteWork, &aWork, 0, zvThread_Kind_Detached, zvThread_Scheduling_Default};
}

// Runs a thread from New to Delete.
void RunToTheEnd(const zvOSThread_Data &aData) {
  zvOSThread *theThread = zvThread_New(&aData);
  ASSERT_NE(nullptr, theThread);
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
  zvThread_Delete(theThread);
}

class Thread : public ::testing::Test {
 protected:
  void ExpectNothingLogged() const {
    EXPECT_THAT(mLog.Messages(), IsEmpty());
    EXPECT_THAT(mLog.Assertions(), IsEmpty());
  }

  KeepSignalActions mActions;
  RecordingLog mLog;
  Work mWork;
};

// The calls of signal() that threads make, kept from changing the test program's handlers.
class SignalCalls {
 public:
  SignalCalls() : mFault("signal", 0, 0, -1) {
    mFault.Returning(0)
        .Doing([this](const long long *anArguments) {
          const std::lock_guard<std::mutex> theGuard(mMutex);
          mSignals.push_back(static_cast<int>(anArguments[0]));
          if (anArguments[1] != reinterpret_cast<intptr_t>(&sThread_S_SignalHandler)) mfOtherHandler = true;
        })
        .AnyThread();
  }
  std::vector<int> Signals() const {
    const std::lock_guard<std::mutex> theGuard(mMutex);
    return mSignals;
  }
  bool OtherHandler() const {
    const std::lock_guard<std::mutex> theGuard(mMutex);
    return mfOtherHandler;
  }

 private:
  mutable std::mutex mMutex;
  std::vector<int> mSignals;
  bool mfOtherHandler = false;
  Fault mFault;
};

// --- constants ------------------------------------------------------------------------------

TEST(ThreadConstants, HaveTheirValues) {
  EXPECT_EQ(0, zvThread_Status_NoError);
  EXPECT_EQ(1, zvThread_Status_Error);
  EXPECT_EQ(0, zvThread_Kind_Joinable);
  EXPECT_EQ(1, zvThread_Kind_Detached);
  EXPECT_EQ(0, zvThread_Scheduling_Default);
  EXPECT_EQ(1, zvThread_Scheduling_Realtime);
  EXPECT_EQ(0, kzvThreadState_NotInited);
  EXPECT_EQ(1, kzvThreadState_Inited);
  EXPECT_EQ(2, kzvThreadState_Running);
  EXPECT_EQ(3, kzvThreadState_Finished);
  EXPECT_EQ(0, kzvThreadDetachedState_NotDetached);
  EXPECT_EQ(1, kzvThreadDetachedState_Detached);
  EXPECT_EQ(2, kzvThreadDetachedState_DetachedDelete);
  EXPECT_EQ(131072, kzvThread_StackSize);
}

TEST(ThreadConstants, DescriptorKeepsItsOrder) {
  EXPECT_EQ(0u, offsetof(zvOSThread_Data, mThreadFunc));
  EXPECT_EQ(sizeof(void *), offsetof(zvOSThread_Data, mDeleteFunc));
  EXPECT_EQ(2 * sizeof(void *), offsetof(zvOSThread_Data, mThreadArgs));
  EXPECT_EQ(3 * sizeof(void *), offsetof(zvOSThread_Data, mStackSize));
  EXPECT_EQ(4 * sizeof(void *), offsetof(zvOSThread_Data, mThreadKind));
  EXPECT_EQ(4 * sizeof(void *) + sizeof(int), offsetof(zvOSThread_Data, mThreadScheduling));
}

// --- life of a joinable thread ----------------------------------------------------------------

TEST_F(Thread, NewLeavesTheThreadAtTheGateWithEveryFieldSet) {
  const zvOSThread_Data theData = Joinable(mWork);
  zvOSThread *theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);

  EXPECT_EQ(0xFEEDCABE, theThread->_mMagicNumber);
  EXPECT_EQ(&DoWork, theThread->mThreadFunc);
  EXPECT_EQ(nullptr, theThread->mDeleteFunc) << "only detached threads have one";
  EXPECT_EQ(&mWork, theThread->mThreadArgs);
  EXPECT_EQ(kzvThreadState_Inited, theThread->mThreadState);
  EXPECT_EQ(kzvThreadDetachedState_NotDetached, theThread->mDetachedState);
  ASSERT_NE(nullptr, theThread->mSemaphore);
  EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_TryWait(theThread->mSemaphore));
  EXPECT_EQ(0, mWork.mRuns);

  zvThread_Delete(theThread);
  EXPECT_EQ(0, mWork.mRuns);
  ExpectNothingLogged();
}

TEST_F(Thread, RunOpensTheGateAndWaitFinishesTheThread) {
  const zvOSThread_Data theData = Joinable(mWork);
  zvOSThread *theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);
  mWork.mThread = theThread;

  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  EXPECT_EQ(kzvThreadState_Running, theThread->mThreadState);
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
  EXPECT_EQ(kzvThreadState_Finished, theThread->mThreadState);
  EXPECT_EQ(1, mWork.mRuns);
  EXPECT_EQ(kzvThreadState_Running, mWork.mStateSeen);

  zvThread_Delete(theThread);
  EXPECT_EQ(0, mWork.mDeletes) << "the delete function belongs to detached threads";
  ExpectNothingLogged();
}

TEST_F(Thread, StaysRunningAfterItsFunctionReturnedUntilItIsWaitedFor) {
  const zvOSThread_Data theData = Joinable(mWork, WorkUntilAllowedToEnd);
  zvOSThread *theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);
  const pthread_t theSystemThread = theThread->mThread;
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  ASSERT_TRUE(mWork.mRunning.Wait());
  mWork.mMayEnd.Report();

  // Joined here instead of by Wait, so that the thread is surely over.
  ASSERT_EQ(0, pthread_join(theSystemThread, nullptr));
  EXPECT_EQ(kzvThreadState_Running, theThread->mThreadState);

  Fault theFault("pthread_join", 0);
  theFault.Returning(0);
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_EQ(kzvThreadState_Finished, theThread->mThreadState);
  zvThread_Delete(theThread);
  ExpectNothingLogged();
}

TEST_F(Thread, WaitTwiceIsHarmlessAndJoinsOnce) {
  const zvOSThread_Data theData = Joinable(mWork);
  zvOSThread *theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));

  const int theJoins = CallsOf("pthread_join");
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
  EXPECT_EQ(theJoins + 1, CallsOf("pthread_join"));
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
  EXPECT_EQ(theJoins + 1, CallsOf("pthread_join"));

  zvThread_Delete(theThread);
  EXPECT_EQ(theJoins + 1, CallsOf("pthread_join"));
  ExpectNothingLogged();
}

TEST_F(Thread, DeleteOfOneNeverRunWakesAndJoinsItWithoutCallingItsFunction) {
  const zvOSThread_Data theData = Joinable(mWork);
  zvOSThread *theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);

  const int theJoins = CallsOf("pthread_join");
  zvThread_Delete(theThread);
  EXPECT_EQ(theJoins + 1, CallsOf("pthread_join"));
  EXPECT_EQ(0, mWork.mRuns);
  ExpectNothingLogged();
}

TEST_F(Thread, WaitForOneNeverRunEndsItWithoutCallingItsFunction) {
  const zvOSThread_Data theData = Joinable(mWork);
  zvOSThread *theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);

  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
  EXPECT_EQ(kzvThreadState_Finished, theThread->mThreadState);
  EXPECT_EQ(0, mWork.mRuns);
  zvThread_Delete(theThread);
  ExpectNothingLogged();
}

TEST_F(Thread, DeleteOfNullDoesNothing) {
  zvThread_Delete(nullptr);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(Thread, DeleteClearsTheMagicBeforeTheRecordIsReleased) {
  const zvOSThread_Data theData = Joinable(mWork);
  zvOSThread *theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));

  int theReleases = 0;
  uint32 theMagic = 1;
  Fault theFault("free", 0, 0, -1);
  theFault.PassingThrough().Doing([&](const long long *anArguments) {
    if (anArguments[0] != reinterpret_cast<intptr_t>(theThread)) return;
    theMagic = theThread->_mMagicNumber;
    ++theReleases;
  });
  zvThread_Delete(theThread);
  EXPECT_EQ(1, theReleases);
  EXPECT_EQ(0u, theMagic);
}

TEST_F(Thread, DeleteDoesNotWaitForARunningThread) {
  // In a process of its own, which ends while the thread still runs.
  const ChildResult theResult = RunInChild([this] {
    const zvOSThread_Data theData = Joinable(mWork, WorkUntilAllowedToEnd);
    zvOSThread *theThread = zvThread_New(&theData);
    if (theThread == nullptr || zvThread_Run(theThread) != zvThread_Status_NoError) return 2;
    if (!mWork.mRunning.Wait()) return 3;
    const int theJoins = CallsOf("pthread_join");
    zvThread_Delete(theThread);
    return CallsOf("pthread_join") == theJoins ? 0 : 4;
  });
  EXPECT_FALSE(theResult.mfTimedOut);
  EXPECT_FALSE(theResult.mfSignaled) << theResult.mError;
  EXPECT_EQ(0, theResult.mStatus) << theResult.mError;
}

TEST_F(Thread, ManyThreadsEachRunOnce) {
  constexpr int kCount = 16;
  const zvOSThread_Data theData =
      Joinable(mWork, [](void *anArgument) { ++static_cast<Work *>(anArgument)->mRuns; });
  std::vector<zvOSThread *> theThreads;
  for (int i = 0; i < kCount; ++i)
    theThreads.push_back(zvThread_New(&theData));
  for (zvOSThread *theThread : theThreads) {
    ASSERT_NE(nullptr, theThread);
    EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  }
  for (zvOSThread *theThread : theThreads) {
    EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
    zvThread_Delete(theThread);
  }
  EXPECT_EQ(kCount, mWork.mRuns);
  ExpectNothingLogged();
}

TEST_F(Thread, SchedulingIsAcceptedAndNotUsed) {
  zvOSThread_Data theData = Joinable(mWork);
  theData.mThreadScheduling = zvThread_Scheduling_Realtime;
  const int theCalls = CallsOf("pthread_attr_setschedparam");
  RunToTheEnd(theData);
  EXPECT_EQ(1, mWork.mRuns);
  EXPECT_EQ(theCalls, CallsOf("pthread_attr_setschedparam"));
  ExpectNothingLogged();
}

// --- failures of Run and Wait ---------------------------------------------------------------

TEST_F(Thread, RunThatCannotOpenTheGateLeavesTheThreadInitedAndMayBeRepeated) {
  const zvOSThread_Data theData = Joinable(mWork);
  zvOSThread *theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);
  {
    Fault theFault("sem_post", EOVERFLOW);
    EXPECT_EQ(zvThread_Status_Error, zvThread_Run(theThread));
    EXPECT_EQ(1, theFault.Hits());
  }
  EXPECT_EQ(kzvThreadState_Inited, theThread->mThreadState);
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(7, Format("zvOSSemaphore: sem_post failed (error = %d)\n", EOVERFLOW)),
                  Error(7, Format("zvOSThread: Failed to start a thread (errno = %d)\n", EOVERFLOW))));
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
  mLog.Clear();

  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
  EXPECT_EQ(1, mWork.mRuns);
  zvThread_Delete(theThread);
  ExpectNothingLogged();
}

TEST_F(Thread, NewWithoutADescriptorIsAsserted) {
  EXPECT_EQ(nullptr, zvThread_New(nullptr));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("aThreadData != NULL")));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Thread, RunTwiceIsAsserted) {
  const zvOSThread_Data theData = Joinable(mWork, WorkUntilAllowedToEnd);
  zvOSThread *theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  // The thread has read its state by then, which the second call writes.
  ASSERT_TRUE(mWork.mRunning.Wait());
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted(kNotInitedText)));
  mWork.mMayEnd.Report();
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
  EXPECT_EQ(1, mWork.mRuns);
  zvThread_Delete(theThread);
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Thread, WaitForOneNeverRunLogsTheGateThatCannotBeOpenedAndGoesOnToJoin) {
  const zvOSThread_Data theData = Joinable(mWork);
  zvOSThread *theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);
  {
    Fault thePost("sem_post", EOVERFLOW);
    // The join would never come back, the thread being still at the gate.
    Fault theJoin("pthread_join", 0);
    theJoin.Returning(0);
    EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
    EXPECT_EQ(1, theJoin.Hits());
  }
  EXPECT_EQ(kzvThreadState_Finished, theThread->mThreadState);
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(7, Format("zvOSSemaphore: sem_post failed (error = %d)\n", EOVERFLOW)),
                  Error(7, Format("zvOSThread: Failed to start a thread for termination (errno = %d)\n",
                                  EOVERFLOW))));

  EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_Post(theThread->mSemaphore));
  EXPECT_EQ(0, pthread_join(theThread->mThread, nullptr));
  EXPECT_EQ(0, mWork.mRuns);
  zvThread_Delete(theThread);
}

TEST_F(Thread, WaitLogsAFailedJoinAndStillFinishes) {
  const zvOSThread_Data theData = Joinable(mWork, WorkUntilAllowedToEnd);
  zvOSThread *theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  ASSERT_TRUE(mWork.mRunning.Wait());
  {
    Fault theFault("pthread_join", kOddErrno);
    theFault.Returning(ESRCH);
    EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
    EXPECT_EQ(1, theFault.Hits());
  }
  EXPECT_EQ(kzvThreadState_Finished, theThread->mThreadState);
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(7, Format("zvOSThread: Failed to join a thread (errno = %d)\n", ESRCH))));
  mWork.mMayEnd.Report();
  ASSERT_EQ(0, pthread_join(theThread->mThread, nullptr));
  zvThread_Delete(theThread);
  EXPECT_EQ(1, mWork.mRuns);
}

TEST_F(Thread, WaitForADetachedThreadIsAssertedAndRefused) {
  const zvOSThread_Data theData = Detached(mWork, WorkUntilAllowedToEnd);
  zvOSThread *theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  ASSERT_TRUE(mWork.mRunning.Wait());

  const int theJoins = CallsOf("pthread_join");
  EXPECT_EQ(zvThread_Status_Error, zvThread_Wait(theThread));
  EXPECT_EQ(theJoins, CallsOf("pthread_join"));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted(kDetachedText)));
  EXPECT_THAT(mLog.Messages(), IsEmpty());

  mWork.mMayEnd.Report();
  EXPECT_TRUE(mWork.mDeleted.Wait());
}

// --- handles that are none --------------------------------------------------------------------

// A record that passes for a thread except for its magic.
zvOSThread *NewForeignRecord() {
  zvOSThread *theRecord = static_cast<zvOSThread *>(calloc(1, sizeof(zvOSThread)));
  theRecord->_mMagicNumber = 0xFEEDBABE;
  theRecord->mThread = pthread_self();
  theRecord->mThreadState = kzvThreadState_Inited;
  theRecord->mSemaphore = zvSemaphore_New(0);
  return theRecord;
}

TEST_F(Thread, RunOfAForeignRecordIsAssertedAndCarriesOn) {
  zvOSThread *theRecord = NewForeignRecord();
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theRecord));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted(kMagicText)));
  EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_TryWait(theRecord->mSemaphore));
  zvSemaphore_Delete(theRecord->mSemaphore);
  free(theRecord);
}

TEST_F(Thread, WaitForAForeignRecordIsAssertedAndCarriesOn) {
  zvOSThread *theRecord = NewForeignRecord();
  theRecord->mThreadState = kzvThreadState_Finished;
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theRecord));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted(kMagicText)));
  zvSemaphore_Delete(theRecord->mSemaphore);
  free(theRecord);
}

TEST_F(Thread, GetIDOfAForeignRecordIsAssertedAndCarriesOn) {
  zvOSThread *theRecord = NewForeignRecord();
  EXPECT_EQ(static_cast<uint32>(pthread_self()), zvThread_GetID(theRecord));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted(kMagicText)));
  zvSemaphore_Delete(theRecord->mSemaphore);
  free(theRecord);
}

TEST_F(Thread, DeleteOfAForeignRecordIsAssertedTwiceAndReleasesIt) {
  zvOSThread *theRecord = NewForeignRecord();
  theRecord->mThreadState = kzvThreadState_Finished;
  zvThread_Delete(theRecord);
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted(kMagicText), Asserted(kMagicText)));
}

TEST_F(Thread, NullIsAsserted) {
  EXPECT_TRUE(LeftAtAssertion([] { zvThread_Run(nullptr); }));
  EXPECT_TRUE(LeftAtAssertion([] { zvThread_Wait(nullptr); }));
  EXPECT_TRUE(LeftAtAssertion([] { zvThread_GetID(nullptr); }));
  EXPECT_THAT(mLog.Assertions(),
              ElementsAre(Asserted(kMagicText), Asserted(kMagicText), Asserted(kMagicText)));
}

TEST_F(Thread, AssertionsNameTheModulesFileAndALine) {
  zvOSThread *theRecord = NewForeignRecord();
  zvThread_GetID(theRecord);
  const std::vector<Assertion> theAssertions = mLog.Assertions();
  ASSERT_EQ(1u, theAssertions.size());
  EXPECT_THAT(theAssertions[0].mFile, ::testing::EndsWith("zvThread.posix.cpp"));
  EXPECT_GT(theAssertions[0].mLine, 0u);
  zvSemaphore_Delete(theRecord->mSemaphore);
  free(theRecord);
}

// --- creation -----------------------------------------------------------------------------

TEST_F(Thread, NewWithoutMemoryReturnsNullSilently) {
  const zvOSThread_Data theData = Joinable(mWork);
  Fault theFault("malloc", ENOMEM);
  zvOSThread *theThread = zvThread_New(&theData);
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_EQ(nullptr, theThread);
  ExpectNothingLogged();
}

TEST_F(Thread, NewWithoutAGateReturnsNull) {
  const zvOSThread_Data theData = Joinable(mWork);
  const int theAttributes = CallsOf("pthread_attr_init");
  Fault theFault("sem_init", ENOSPC);
  EXPECT_EQ(nullptr, zvThread_New(&theData));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_EQ(theAttributes, CallsOf("pthread_attr_init"));
  // The semaphore deletes itself through its own Delete, which destroys what was never made.
  const std::vector<Message> theMessages = mLog.Messages();
  ASSERT_FALSE(theMessages.empty());
  EXPECT_THAT(theMessages[0], Error(7, Format("zvOSSemaphore: sem_init failed (error = %d)\n", ENOSPC)));
  for (const Message &theMessage : theMessages)
    EXPECT_THAT(theMessage.mText, ::testing::StartsWith("zvOSSemaphore: "));
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
}

TEST_F(Thread, NewWithoutAttributesReturnsNullSilently) {
  const zvOSThread_Data theData = Joinable(mWork);
  const int theDestructions = CallsOf("pthread_attr_destroy");
  const int theCreations = CallsOf("pthread_create");
  const int theGates = CallsOf("sem_destroy");
  Fault theFault("pthread_attr_init", ENOMEM);
  EXPECT_EQ(nullptr, zvThread_New(&theData));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_EQ(theDestructions, CallsOf("pthread_attr_destroy"));
  EXPECT_EQ(theCreations, CallsOf("pthread_create"));
  EXPECT_EQ(theGates + 1, CallsOf("sem_destroy"));
  ExpectNothingLogged();
}

TEST_F(Thread, NewWithoutADetachStateReturnsNullSilently) {
  const zvOSThread_Data theData = Joinable(mWork);
  const int theDestructions = CallsOf("pthread_attr_destroy");
  const int theCreations = CallsOf("pthread_create");
  const int theGates = CallsOf("sem_destroy");
  Fault theFault("pthread_attr_setdetachstate", EINVAL);
  EXPECT_EQ(nullptr, zvThread_New(&theData));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_EQ(theDestructions + 1, CallsOf("pthread_attr_destroy"));
  EXPECT_EQ(theCreations, CallsOf("pthread_create"));
  EXPECT_EQ(theGates + 1, CallsOf("sem_destroy"));
  ExpectNothingLogged();
}

TEST_F(Thread, NewThatCannotCreateLogsItAndReturnsNull) {
  const zvOSThread_Data theData = Joinable(mWork);
  const int theDestructions = CallsOf("pthread_attr_destroy");
  const int theGates = CallsOf("sem_destroy");
  Fault theFault("pthread_create", kOddErrno);
  theFault.Returning(EAGAIN);
  EXPECT_EQ(nullptr, zvThread_New(&theData));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_EQ(theDestructions + 1, CallsOf("pthread_attr_destroy"));
  EXPECT_EQ(theGates + 1, CallsOf("sem_destroy"));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(7, Format("zvOSThread: Cannot create thread (errno = %d)\n", kOddErrno))));
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
  EXPECT_EQ(0, mWork.mRuns);
}

TEST_F(Thread, NewGoesOnWhenTheAttributesCannotBeDestroyed) {
  const zvOSThread_Data theData = Joinable(mWork);
  zvOSThread *theThread;
  {
    Fault theFault("pthread_attr_destroy", kOddErrno);
    theFault.Returning(EINVAL);
    theThread = zvThread_New(&theData);
    EXPECT_EQ(1, theFault.Hits());
  }
  ASSERT_NE(nullptr, theThread);
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(7, Format("zvOSThread: Error destroying thread attributes (errno = %d)\n", EINVAL))));
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
  EXPECT_EQ(1, mWork.mRuns);
  zvThread_Delete(theThread);
}

TEST_F(Thread, NewLogsBothTheFailedCreationAndTheFailedDestruction) {
  const zvOSThread_Data theData = Joinable(mWork);
  Fault theCreation("pthread_create", 701);
  theCreation.Returning(EAGAIN);
  Fault theDestruction("pthread_attr_destroy", 702);
  theDestruction.Returning(EINVAL);
  EXPECT_EQ(nullptr, zvThread_New(&theData));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(7, "zvOSThread: Cannot create thread (errno = 701)\n"),
                  Error(7, Format("zvOSThread: Error destroying thread attributes (errno = %d)\n", EINVAL))));
}

TEST_F(Thread, FailedNewOfADetachedThreadShowsTheAssertionsOfDelete) {
  const zvOSThread_Data theData = Detached(mWork);
  Fault theFault("pthread_create", kOddErrno);
  theFault.Returning(EAGAIN);
  EXPECT_EQ(nullptr, zvThread_New(&theData));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(7, Format("zvOSThread: Cannot create thread (errno = %d)\n", kOddErrno))));
  // Once by Delete and once by the Wait that it makes.
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted(kDetachedText), Asserted(kDetachedText)));
  EXPECT_EQ(0, mWork.mRuns);
  EXPECT_EQ(0, mWork.mDeletes);
}

TEST_F(Thread, NewAsksForTheDetachStateOfItsKind) {
  std::vector<int> theStates;
  Fault theFault("pthread_attr_setdetachstate", 0, 0, -1);
  theFault.PassingThrough().Doing(
      [&](const long long *anArguments) { theStates.push_back(static_cast<int>(anArguments[1])); });
  RunToTheEnd(Joinable(mWork));
  const zvOSThread_Data theData = Detached(mWork);
  zvOSThread *theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  ASSERT_TRUE(mWork.mDeleted.Wait());
  EXPECT_THAT(theStates, ElementsAre(PTHREAD_CREATE_JOINABLE, PTHREAD_CREATE_DETACHED));
  ExpectNothingLogged();
}

// --- stack sizes --------------------------------------------------------------------------------

struct StackSizes {
  std::vector<size_t> mAsked;
  size_t mSeenByTheThread;
};

StackSizes RunWithStackSize(Work &aWork, size_t aStackSize) {
  StackSizes theSizes = {};
  Fault theFault("pthread_attr_setstacksize", 0, 0, -1);
  theFault.PassingThrough().Doing(
      [&](const long long *anArguments) { theSizes.mAsked.push_back(static_cast<size_t>(anArguments[1])); });
  RunToTheEnd(Joinable(aWork, DoWork, aStackSize));
  theSizes.mSeenByTheThread = aWork.mStackSize;
  return theSizes;
}

// Stack size of a thread with untouched attributes.
size_t DefaultStackSize() {
  size_t theSize = 0;
  pthread_t theThread;
  const auto theBody = [](void *anArgument) -> void * {
    *static_cast<size_t *>(anArgument) = StackSizeOfThisThread();
    return nullptr;
  };
  if (pthread_create(&theThread, nullptr, theBody, &theSize) == 0) pthread_join(theThread, nullptr);
  return theSize;
}

// Sanitizers enlarge stacks for themselves.
void ExpectStack(size_t anExpected, size_t aSeen) {
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
  EXPECT_GE(aSeen, anExpected);
#else
  EXPECT_EQ(anExpected, aSeen);
#endif
}

TEST_F(Thread, StackSizeZeroMeansTheLibrarysDefault) {
  const StackSizes theSizes = RunWithStackSize(mWork, 0);
  EXPECT_THAT(theSizes.mAsked, ElementsAre(131072u));
  ExpectStack(131072, theSizes.mSeenByTheThread);
  ExpectNothingLogged();
}

TEST_F(Thread, StackSizeOneLeavesTheSystemsDefault) {
  const StackSizes theSizes = RunWithStackSize(mWork, 1);
  EXPECT_THAT(theSizes.mAsked, IsEmpty());
  EXPECT_EQ(DefaultStackSize(), theSizes.mSeenByTheThread);
  ExpectNothingLogged();
}

TEST_F(Thread, AnyOtherStackSizeIsUsed) {
  const StackSizes theSizes = RunWithStackSize(mWork, 512 * 1024);
  EXPECT_THAT(theSizes.mAsked, ElementsAre(524288u));
  ExpectStack(524288, theSizes.mSeenByTheThread);
  ExpectNothingLogged();
}

TEST_F(Thread, RefusedStackSizeIsAWarningAndTheDefaultIsUsed) {
  // 2 bytes are below the smallest stack of every system.
  const StackSizes theSizes = RunWithStackSize(mWork, 2);
  EXPECT_THAT(theSizes.mAsked, ElementsAre(2u));
  EXPECT_EQ(DefaultStackSize(), theSizes.mSeenByTheThread);
  EXPECT_EQ(1, mWork.mRuns);
  const std::vector<Message> theMessages = mLog.Messages();
  ASSERT_EQ(1u, theMessages.size());
  EXPECT_EQ(2, theMessages[0].mLevel);
  EXPECT_EQ(7, theMessages[0].mModule);
  EXPECT_THAT(theMessages[0].mText,
              ::testing::StartsWith("zvOSThread: Could not set stack size to 2 bytes (errno = "));
}

TEST_F(Thread, RefusedStackSizeIsLoggedWithTheSizeAskedForAndErrno) {
  const auto theMessage = [](unsigned theSize) {
    return Warning(
        7, Format("zvOSThread: Could not set stack size to %u bytes (errno = %d)\n", theSize, kOddErrno));
  };
  {
    Fault theFault("pthread_attr_setstacksize", kOddErrno);
    theFault.Returning(EINVAL);
    RunToTheEnd(Joinable(mWork, DoWork, 65536));
  }
  {
    Fault theFault("pthread_attr_setstacksize", kOddErrno);
    theFault.Returning(EINVAL);
    RunToTheEnd(Joinable(mWork, DoWork, 0));
  }
  EXPECT_THAT(mLog.Messages(), ElementsAre(theMessage(65536), theMessage(131072)));
  EXPECT_EQ(2, mWork.mRuns);
}

// --- detached threads ---------------------------------------------------------------------------

TEST_F(Thread, DetachedThreadCallsItsDeleteFunctionAfterItsFunctionAndReleasesItself) {
  const zvOSThread_Data theData = Detached(mWork, WorkUntilAllowedToEnd);
  zvOSThread *theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);
  mWork.mThread = theThread;
  EXPECT_EQ(&DeleteWork, theThread->mDeleteFunc);
  EXPECT_EQ(kzvThreadDetachedState_Detached, theThread->mDetachedState);

  std::atomic<uint32> theMagic{1};
  Event theRelease;
  Fault theFault("free", 0, 0, -1);
  theFault.PassingThrough()
      .Doing([&](const long long *anArguments) {
        if (anArguments[0] != reinterpret_cast<intptr_t>(theThread)) return;
        theMagic = theThread->_mMagicNumber;
        theRelease.Report();
      })
      .AnyThread();
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  ASSERT_TRUE(mWork.mRunning.Wait());
  EXPECT_EQ(0, mWork.mDeletes);
  mWork.mMayEnd.Report();
  ASSERT_TRUE(mWork.mDeleted.Wait());
  EXPECT_EQ(1, mWork.mRuns);
  EXPECT_EQ(1, mWork.mDeletes);
  EXPECT_EQ(kzvThreadDetachedState_DetachedDelete, mWork.mDetachedStateAtDelete);
  EXPECT_TRUE(theRelease.Wait());
  EXPECT_EQ(0u, theMagic);
  ExpectNothingLogged();
}

TEST_F(Thread, DetachedThreadNeedsNoDeleteFunction) {
  zvOSThread_Data theData = Detached(mWork, WorkUntilAllowedToEnd);
  theData.mDeleteFunc = nullptr;
  zvOSThread *theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);
  Event theEnd;
  Fault theFault("sem_destroy", 0, 0, -1);
  theFault.PassingThrough().Doing([&](const long long *) { theEnd.Report(); }).AnyThread();
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  ASSERT_TRUE(mWork.mRunning.Wait());
  mWork.mMayEnd.Report();
  EXPECT_TRUE(theEnd.Wait()) << "the gate of the thread was not deleted";
  EXPECT_EQ(0, mWork.mDeletes);
  ExpectNothingLogged();
}

// --- signals ------------------------------------------------------------------------------------

TEST_F(Thread, EveryThreadInstallsTheHandlersInOrder) {
  SignalCalls theCalls;
  RunToTheEnd(Joinable(mWork));
  EXPECT_THAT(theCalls.Signals(), ElementsAre(SIGSEGV, SIGILL, SIGBUS, SIGABRT, SIGFPE));
  RunToTheEnd(Joinable(mWork));
  EXPECT_EQ(10u, theCalls.Signals().size());
  EXPECT_FALSE(theCalls.OtherHandler());
  ExpectNothingLogged();
}

TEST_F(Thread, InstallsTheHandlersBeforeItIsRun) {
  SignalCalls theCalls;
  const zvOSThread_Data theData = Joinable(mWork);
  zvOSThread *theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);
  EXPECT_TRUE(WaitUntil([&] { return theCalls.Signals().size() == 5; }));
  zvThread_Delete(theThread);
  EXPECT_THAT(theCalls.Signals(), ElementsAre(SIGSEGV, SIGILL, SIGBUS, SIGABRT, SIGFPE));
}

TEST_F(Thread, HandlersCanBeSwitchedOffAndOn) {
  SignalCalls theCalls;
  zvThread_SetAllThreadsCatchSignal(0);
  RunToTheEnd(Joinable(mWork));
  EXPECT_THAT(theCalls.Signals(), IsEmpty());
  zvThread_SetAllThreadsCatchSignal(-7);
  RunToTheEnd(Joinable(mWork));
  EXPECT_EQ(5u, theCalls.Signals().size());
  zvThread_SetAllThreadsCatchSignal(1);
  RunToTheEnd(Joinable(mWork));
  EXPECT_EQ(10u, theCalls.Signals().size());
}

TEST_F(Thread, SwitchingOffLeavesInstalledHandlers) {
  KeepSignalActions::SetAllToDefault();
  RunToTheEnd(Joinable(mWork));
  zvThread_SetAllThreadsCatchSignal(0);
  RunToTheEnd(Joinable(mWork));
  zvThread_SetAllThreadsCatchSignal(1);
  for (const int theSignal : {SIGSEGV, SIGILL, SIGBUS, SIGABRT, SIGFPE}) {
    struct sigaction theAction = {};
    ASSERT_EQ(0, sigaction(theSignal, nullptr, &theAction));
    EXPECT_EQ(&sThread_S_SignalHandler, theAction.sa_handler) << "signal " << theSignal;
  }
}

TEST_F(Thread, HandlerIgnoresOtherSignals) {
  const int theSignals = CallsOf("signal");
  const int theSleeps = CallsOf("usleep");
  const int theTraces = CallsOf("backtrace");
  for (int theSignal = -1; theSignal <= 64; ++theSignal) {
    if (theSignal == SIGILL || theSignal == SIGABRT || theSignal == SIGBUS || theSignal == SIGFPE ||
        theSignal == SIGSEGV) {
      continue;
    }
    sThread_S_SignalHandler(theSignal);
  }
  EXPECT_THAT(mLog.Calls(), IsEmpty());
  EXPECT_EQ(theSignals, CallsOf("signal"));
  EXPECT_EQ(theSleeps, CallsOf("usleep"));
  EXPECT_EQ(theTraces, CallsOf("backtrace"));
}

class FatalSignal : public ::testing::TestWithParam<int> {};

// Calls the handler as the kernel would, and writes down what happens, in order.
int CallHandlerAndRecord(int aSignal, const std::string &aPath) {
  std::string theEvents;
  RecordingLog theLog;
  theLog.OnMessage(
      [](const Message &aMessage, void *aContext) {
        *static_cast<std::string *>(aContext) +=
            Format("message %d %d ", aMessage.mLevel, aMessage.mModule) + aMessage.mText;
      },
      &theEvents);
  signal(aSignal, &sThread_S_SignalHandler);

  Fault theReset("signal", 0, 0, -1);
  theReset.PassingThrough().Doing([&](const long long *anArguments) {
    theEvents +=
        Format("signal %d %s\n", static_cast<int>(anArguments[0]), anArguments[1] == 0 ? "default" : "other");
  });
  Fault theSleep("usleep", 0, 0, -1);
  theSleep.Returning(0).Doing([&](const long long *anArguments) {
    theEvents += Format("usleep %u\n", static_cast<uint32>(anArguments[0]));
  });
  sThread_S_SignalHandler(aSignal);

  struct sigaction theAction = {};
  sigaction(aSignal, nullptr, &theAction);
  theEvents += theAction.sa_handler == SIG_DFL ? "now default\n" : "now other\n";
  WriteWholeFile(aPath, theEvents);
  return 0;
}

TEST_P(FatalSignal, IsReportedInOrder) {
  const int theSignal = GetParam();
  const TempFolder theFolder;
  const ChildResult theResult =
      RunInChild([&] { return CallHandlerAndRecord(theSignal, theFolder.File("events")); });
  const std::string theTraceFile = Format("/tmp/backtrace_%d.txt", theResult.mPid);
  const std::string theTrace = ReadWholeFile(theTraceFile);
  unlink(theTraceFile.c_str());
  ASSERT_FALSE(theResult.mfSignaled) << "signal " << theResult.mSignal << theResult.mError;
  ASSERT_EQ(0, theResult.mStatus) << theResult.mError;

  const std::string theEvents = ReadWholeFile(theFolder.File("events"));
  const std::string theStart = Format("message 1 0 zvOSThread: Received fatal signal: %d\n", theSignal) +
                               "message 3 0 Backtracing in " + theTraceFile + " afMemoryIsCorrupted 0\n" +
                               Format("message 1 0 Backtracing this thread (pid=%d, depth=", theResult.mPid);
  // The default action takes force when the trace is written: a fault of another thread must not cut it
  // short.
  const std::string theEnd = "message 3 0 The file " + theTraceFile + " is closed\n" +
                             Format("signal %d default\nusleep 2000000\n", theSignal) +
                             "message 1 7 zvOSThread: Defaulting to default signal handler\n" +
                             Format("signal %d default\n", theSignal) + "now default\n";
  EXPECT_THAT(theEvents, ::testing::StartsWith(theStart));
  EXPECT_THAT(theEvents, ::testing::EndsWith(theEnd));
  EXPECT_THAT(theTrace, ::testing::StartsWith("log\n00: "));
  EXPECT_THAT(theTrace, ::testing::EndsWith("\n\nlog end\n"));
}

INSTANTIATE_TEST_SUITE_P(All, FatalSignal, ::testing::Values(SIGILL, SIGABRT, SIGBUS, SIGFPE, SIGSEGV));

// --- sleeping -----------------------------------------------------------------------------------

uint32 MicrosecondsAskedFor(uint32 aMilliseconds) {
  uint32 theMicroseconds = 12345;
  Fault theFault("usleep", 0);
  theFault.Returning(0).Doing(
      [&](const long long *anArguments) { theMicroseconds = static_cast<uint32>(anArguments[0]); });
  zvThread_Sleep(aMilliseconds);
  EXPECT_EQ(1, theFault.Hits());
  return theMicroseconds;
}

TEST_F(Thread, SleepAsksForThousandMicrosecondsPerMillisecondIn32Bits) {
  EXPECT_EQ(0u, MicrosecondsAskedFor(0));
  EXPECT_EQ(1000u, MicrosecondsAskedFor(1));
  EXPECT_EQ(1500000u, MicrosecondsAskedFor(1500));
  EXPECT_EQ(4294967000u, MicrosecondsAskedFor(4294967));
  EXPECT_EQ(704u, MicrosecondsAskedFor(4294968));
  EXPECT_EQ(4294966296u, MicrosecondsAskedFor(0xFFFFFFFF));
  ExpectNothingLogged();
}

TEST_F(Thread, SleepReallySleeps) {
  timespec theStart;
  timespec theEnd;
  clock_gettime(CLOCK_MONOTONIC, &theStart);
  zvThread_Sleep(20);
  clock_gettime(CLOCK_MONOTONIC, &theEnd);
  const long long theNanoseconds =
      (theEnd.tv_sec - theStart.tv_sec) * 1000000000LL + (theEnd.tv_nsec - theStart.tv_nsec);
  EXPECT_GE(theNanoseconds, 20000000);
}

TEST_F(Thread, FailingSleepIsNotReported) {
  Fault theFault("usleep", EINTR);
  zvThread_Sleep(10);
  EXPECT_EQ(1, theFault.Hits());
  ExpectNothingLogged();
}

// --- priorities ---------------------------------------------------------------------------------

// The priority that is stored into the attributes when the system's range is as given.
int ComputedPriority(uint16 aPriority, int aMin, int aMax) {
  int theResult = INT_MIN;
  Fault theMin("sched_get_priority_min", 0);
  theMin.Returning(aMin);
  Fault theMax("sched_get_priority_max", 0);
  theMax.Returning(aMax);
  Fault theStore("pthread_attr_setschedparam", 0);
  theStore.Returning(0).Doing([&](const long long *anArguments) {
    theResult = reinterpret_cast<const sched_param *>(static_cast<intptr_t>(anArguments[1]))->sched_priority;
  });
  EXPECT_EQ(zvThread_Status_NoError, zvThread_SetPriority(aPriority));
  EXPECT_EQ(1, theMin.Hits());
  EXPECT_EQ(1, theMax.Hits());
  EXPECT_EQ(1, theStore.Hits());
  return theResult;
}

TEST_F(Thread, PriorityIsMappedIntoTheRangeOfTheSystem) {
  EXPECT_EQ(1, ComputedPriority(0, 1, 99));
  EXPECT_EQ(1, ComputedPriority(1, 1, 99));
  EXPECT_EQ(2, ComputedPriority(2, 1, 99));
  EXPECT_EQ(50, ComputedPriority(50, 1, 99));
  EXPECT_EQ(98, ComputedPriority(99, 1, 99));
  EXPECT_EQ(99, ComputedPriority(100, 1, 99));
  EXPECT_EQ(0, ComputedPriority(100, 0, 0));
  ExpectNothingLogged();
}

TEST_F(Thread, PriorityOfARangeBelowZeroTruncatesTowardZero) {
  EXPECT_EQ(-20, ComputedPriority(0, -20, 19));
  EXPECT_EQ(-1, ComputedPriority(50, -20, 19));
  EXPECT_EQ(-1, ComputedPriority(51, -20, 19));
  EXPECT_EQ(0, ComputedPriority(52, -20, 19));
  EXPECT_EQ(-15, ComputedPriority(33, -20, -2));
  ExpectNothingLogged();
}

TEST_F(Thread, PriorityAboveHundredIsLoggedAndCountsAsHundred) {
  EXPECT_EQ(99, ComputedPriority(150, 1, 99));
  const auto theMessage = [](unsigned aPriority) {
    return Format("zvOSThread:SetPriority: invalid value for the thread priority %u: using max priority\n",
                  aPriority);
  };
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(7, theMessage(150))));
  mLog.Clear();
  EXPECT_EQ(99, ComputedPriority(65535, 1, 99));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(7, theMessage(65535))));
  mLog.Clear();
  EXPECT_EQ(99, ComputedPriority(101, 1, 99));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(7, theMessage(101))));
}

TEST_F(Thread, PriorityHasNoEffectOnTheCallingThread) {
  int thePolicy;
  sched_param theBefore = {};
  ASSERT_EQ(0, pthread_getschedparam(pthread_self(), &thePolicy, &theBefore));
  const int theDestructions = CallsOf("pthread_attr_destroy");
  EXPECT_EQ(zvThread_Status_NoError, zvThread_SetPriority(75));
  EXPECT_EQ(theDestructions, CallsOf("pthread_attr_destroy"));
  int thePolicyAfter;
  sched_param theAfter = {};
  ASSERT_EQ(0, pthread_getschedparam(pthread_self(), &thePolicyAfter, &theAfter));
  EXPECT_EQ(thePolicy, thePolicyAfter);
  EXPECT_EQ(theBefore.sched_priority, theAfter.sched_priority);
  ExpectNothingLogged();
}

struct PriorityFailure {
  const char *mFunction;
  const char *mMessage;
};

class FailingPriority : public ::testing::TestWithParam<PriorityFailure> {};

TEST_P(FailingPriority, IsLoggedAndReturned) {
  RecordingLog theLog;
  Fault theFault(GetParam().mFunction, kOddErrno);
  theFault.Returning(EINVAL);
  EXPECT_EQ(zvThread_Status_Error, zvThread_SetPriority(50));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(theLog.Messages(),
              ElementsAre(Error(7, std::string(GetParam().mMessage) + Format(" (errno = %d)\n", EINVAL))));
}

INSTANTIATE_TEST_SUITE_P(
    Calls, FailingPriority,
    ::testing::Values(PriorityFailure{"pthread_attr_init",
                                      "zvOSThread:SetPriority: pthread_attr_init failed"},
                      PriorityFailure{"pthread_attr_getschedpolicy",
                                      "zvOSThread:SetPriority: Cannot get thread scheduling policy"},
                      PriorityFailure{"pthread_attr_getschedparam",
                                      "zvOSThread:SetPriority: pthread_attr_getschedparam failed"},
                      PriorityFailure{"pthread_attr_setschedparam",
                                      "zvOSThread:SetPriority: pthread_attr_setschedparam failed"}),
    [](const ::testing::TestParamInfo<PriorityFailure> &anInfo) {
      return std::string(anInfo.param.mFunction);
    });

struct PriorityRange {
  int mMin;
  int mMax;
};

class InvalidPriorityRange : public ::testing::TestWithParam<PriorityRange> {};

TEST_P(InvalidPriorityRange, IsLoggedAndReturned) {
  RecordingLog theLog;
  Fault theMin("sched_get_priority_min", 0);
  theMin.Returning(GetParam().mMin);
  Fault theMax("sched_get_priority_max", 0);
  theMax.Returning(GetParam().mMax);
  const int theStores = CallsOf("pthread_attr_setschedparam");
  EXPECT_EQ(zvThread_Status_Error, zvThread_SetPriority(50));
  EXPECT_EQ(theStores, CallsOf("pthread_attr_setschedparam"));
  EXPECT_THAT(theLog.Messages(),
              ElementsAre(Error(7, "zvOSThread:SetPriority: Cannot get valid priority range\n")));
}

INSTANTIATE_TEST_SUITE_P(Ranges, InvalidPriorityRange,
                         ::testing::Values(PriorityRange{-1, 99}, PriorityRange{1, -1}, PriorityRange{-1, -1},
                                           PriorityRange{-20, -1}, PriorityRange{5, 4}));

// --- identities ---------------------------------------------------------------------------------

TEST_F(Thread, IdentitiesAreThoseOfTheSystem) {
  EXPECT_EQ(static_cast<uint32>(getpid()), zvThread_GetPID());
  EXPECT_EQ(static_cast<uint32>(pthread_self()), zvThread_GetCurrentThreadID());

  const zvOSThread_Data theData = Joinable(mWork);
  zvOSThread *theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);
  const uint32 theID = zvThread_GetID(theThread);
  EXPECT_EQ(static_cast<uint32>(theThread->mThread), theID);
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
  EXPECT_EQ(theID, mWork.mThreadID);
  EXPECT_NE(zvThread_GetCurrentThreadID(), mWork.mThreadID);
  zvThread_Delete(theThread);
  ExpectNothingLogged();
}

}  // namespace
