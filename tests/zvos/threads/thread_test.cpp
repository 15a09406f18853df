// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Threads: the start gate, the states, failures to run and to wait, handles that are none.

#include "thread_support.h"

using namespace zvtest;
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

}  // namespace
