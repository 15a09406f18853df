// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Threads: the start gate, the states, failures to run and to wait, handles that are none.

#include "thread_support.h"

using namespace zvtest;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest::threads;

namespace {

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

TEST_F(Thread, WaitTwiceIsHarmlessAndJoinsOnce) {
  zvOSThread *const theThread = NewThread(Joinable(mWork));
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
  zvOSThread *const theThread = NewThread(Joinable(mWork));

  const int theJoins = CallsOf("pthread_join");
  zvThread_Delete(theThread);
  EXPECT_EQ(theJoins + 1, CallsOf("pthread_join"));
  EXPECT_EQ(0, mWork.mRuns);
  ExpectNothingLogged();
}

TEST_F(Thread, WaitForOneNeverRunEndsItWithoutCallingItsFunction) {
  zvOSThread *const theThread = NewThread(Joinable(mWork));

  const int theJoins = CallsOf("pthread_join");
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
  EXPECT_EQ(theJoins + 1, CallsOf("pthread_join")) << "the first wait has ended it";
  EXPECT_EQ(0, mWork.mRuns);
  zvThread_Delete(theThread);
  ExpectNothingLogged();
}

TEST_F(Thread, DeleteOfNullDoesNothing) {
  zvThread_Delete(nullptr);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
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

// --- the gate ---------------------------------------------------------------------------------

TEST_F(Thread, ASignalThatIsHandledAtTheGateDoesNotOpenIt) {
  struct sigaction theAction = {};
  struct sigaction theFormerAction;
  theAction.sa_handler = [](int) {};
  ASSERT_EQ(0, sigaction(SIGUSR1, &theAction, &theFormerAction));
  pthread_t theSystemThread = 0;
  Fault theCreation("pthread_create", 0);
  theCreation.PassingThrough().Doing(
      [&](const long long *anArguments) { theSystemThread = *ArgumentAs<pthread_t>(anArguments[0]); });
  zvOSThread *const theThread = NewThread(Joinable(mWork));

  // Twice interrupted, it has come back to the gate in between. A signal that comes before the thread is
  // there interrupts nothing.
  EXPECT_TRUE(WaitUntil([&] {
    if (mWork.mRuns == 0) pthread_kill(theSystemThread, SIGUSR1);
    return mLog.Messages().size() >= 2 || mWork.mRuns != 0;
  }));
  EXPECT_EQ(0, mWork.mRuns);
  EXPECT_THAT(mLog.Messages(), Each(Error(7, "zvOSSemaphore: sem_wait failed (error = -1)\n")));
  zvThread_Delete(theThread);
  EXPECT_EQ(0, mWork.mRuns) << "it was never run";
  sigaction(SIGUSR1, &theFormerAction, nullptr);
}

TEST_F(Thread, AWaitAtTheGateThatFailsOtherwiseIsTheLastOne) {
  Event theThreadIsMade;
  Fault theFault("sem_wait", EINVAL);
  theFault.Doing([&](const long long *) { theThreadIsMade.Wait(); }).AnyThread();
  zvOSThread *const theThread = NewThread(Joinable(mWork));
  theThreadIsMade.Report();
  EXPECT_TRUE(WaitUntil([&] { return mWork.mRuns == 1; }));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(7, Format("zvOSSemaphore: sem_wait failed (error = %d)\n", EINVAL))));
  zvThread_Delete(theThread);
}

// --- failures of Run and Wait ---------------------------------------------------------------

TEST_F(Thread, RunThatCannotOpenTheGateLeavesTheThreadInitedAndMayBeRepeated) {
  zvOSThread *const theThread = NewThread(Joinable(mWork));
  {
    Fault theFault("sem_post", EOVERFLOW);
    EXPECT_EQ(zvThread_Status_Error, zvThread_Run(theThread));
    EXPECT_EQ(1, theFault.Hits());
  }
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
  zvOSThread *const theThread = NewThread(Joinable(mWork, WorkUntilAllowedToEnd));
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
  zvOSThread *const theThread = NewThread(Joinable(mWork));
  sem_t *theGate = nullptr;
  pthread_t theSystemThread = 0;
  {
    Fault thePost("sem_post", EOVERFLOW);
    thePost.Doing([&](const long long *anArguments) { theGate = ArgumentAs<sem_t>(anArguments[0]); });
    // The join would never come back, the thread being still at the gate.
    Fault theJoin("pthread_join", 0, 0, -1);
    theJoin.Returning(0).Doing(
        [&](const long long *anArguments) { theSystemThread = static_cast<pthread_t>(anArguments[0]); });
    EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
    EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
    EXPECT_EQ(1, theJoin.Hits()) << "the first wait has ended it";
  }
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(7, Format("zvOSSemaphore: sem_post failed (error = %d)\n", EOVERFLOW)),
                  Error(7, Format("zvOSThread: Failed to start a thread for termination (errno = %d)\n",
                                  EOVERFLOW))));

  EXPECT_EQ(0, sem_post(theGate));
  EXPECT_EQ(0, pthread_join(theSystemThread, nullptr));
  EXPECT_EQ(0, mWork.mRuns);
  zvThread_Delete(theThread);
}

TEST_F(Thread, WaitLogsAFailedJoinAndStillFinishes) {
  zvOSThread *const theThread = NewThread(Joinable(mWork, WorkUntilAllowedToEnd));
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  ASSERT_TRUE(mWork.mRunning.Wait());
  pthread_t theSystemThread = 0;
  {
    Fault theFault("pthread_join", kOddErrno, 0, -1);
    theFault.Returning(ESRCH).Doing(
        [&](const long long *anArguments) { theSystemThread = static_cast<pthread_t>(anArguments[0]); });
    EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
    EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
    EXPECT_EQ(1, theFault.Hits()) << "the first wait has ended it";
  }
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(7, Format("zvOSThread: Failed to join a thread (errno = %d)\n", ESRCH))));
  mWork.mMayEnd.Report();
  ASSERT_EQ(0, pthread_join(theSystemThread, nullptr));
  zvThread_Delete(theThread);
  EXPECT_EQ(1, mWork.mRuns);
}

TEST_F(Thread, WaitForADetachedThreadIsAssertedAndRefused) {
  zvOSThread *const theThread = NewThread(Detached(mWork, WorkUntilAllowedToEnd));
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

TEST_F(Thread, NullIsAsserted) {
  EXPECT_TRUE(LeftAtAssertion([] { zvThread_Run(nullptr); }));
  EXPECT_TRUE(LeftAtAssertion([] { zvThread_Wait(nullptr); }));
  EXPECT_TRUE(LeftAtAssertion([] { zvThread_GetID(nullptr); }));
  EXPECT_THAT(mLog.Assertions(),
              ElementsAre(Asserted(kMagicText), Asserted(kMagicText), Asserted(kMagicText)));
}

}  // namespace
