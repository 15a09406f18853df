// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The record behind the handle of a thread, and the states that it goes through.

#include "zvos/threads/thread_support.h"

#include <utility>

using namespace zvtest;
using ::testing::ElementsAre;
using namespace zvtest::threads;

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

// What a thread finds in its own record.
zvOSThread *sThread;
int sStateInItsFunction;
int sDetachedStateAtItsEnd;

void LookAndWork(void *anArgument) {
  sStateInItsFunction = sThread->mThreadState;
  DoWork(anArgument);
}

void LookAndDeleteWork(void *anArgument) {
  sDetachedStateAtItsEnd = sThread->mDetachedState;
  DeleteWork(anArgument);
}

// A record that passes for a thread except for its magic.
class ForeignRecord {
 public:
  explicit ForeignRecord(int aState = kzvThreadState_Inited) {
    mRecord->_mMagicNumber = 0xFEEDBABE;
    mRecord->mThread = pthread_self();
    mRecord->mThreadState = aState;
    mRecord->mSemaphore = zvSemaphore_New(0);
  }
  ~ForeignRecord() {
    if (mRecord == nullptr) return;
    zvSemaphore_Delete(mRecord->mSemaphore);
    free(mRecord);
  }
  ForeignRecord(const ForeignRecord &) = delete;
  ForeignRecord &operator=(const ForeignRecord &) = delete;

  operator zvOSThread *() const { return mRecord; }
  zvOSThread *operator->() const { return mRecord; }
  zvOSThread *Release() { return std::exchange(mRecord, nullptr); }

 private:
  zvOSThread *mRecord = static_cast<zvOSThread *>(calloc(1, sizeof(zvOSThread)));
};

TEST_F(Thread, NewLeavesTheThreadAtTheGateWithEveryFieldSet) {
  zvOSThread *const theThread = NewThread(Joinable(mWork));

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
  zvOSThread *const theThread = NewThread(Joinable(mWork, LookAndWork));
  sThread = theThread;

  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  EXPECT_EQ(kzvThreadState_Running, theThread->mThreadState);
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
  EXPECT_EQ(kzvThreadState_Finished, theThread->mThreadState);
  EXPECT_EQ(1, mWork.mRuns);
  EXPECT_EQ(kzvThreadState_Running, sStateInItsFunction);

  zvThread_Delete(theThread);
  EXPECT_EQ(0, mWork.mDeletes) << "the delete function belongs to detached threads";
  ExpectNothingLogged();
}

TEST_F(Thread, StaysRunningAfterItsFunctionReturnedUntilItIsWaitedFor) {
  zvOSThread *const theThread = NewThread(Joinable(mWork, WorkUntilAllowedToEnd));
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

TEST_F(Thread, DeleteClearsTheMagicBeforeTheRecordIsReleased) {
  zvOSThread *const theThread = NewThread(Joinable(mWork));
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));

  uint32 theMagic = 1;
  ReleaseWatch theWatch;
  theWatch.Watch(theThread, [&] { theMagic = theThread->_mMagicNumber; });
  zvThread_Delete(theThread);
  EXPECT_EQ(1, theWatch.ReleasesOf(theThread));
  EXPECT_EQ(0u, theMagic);
}

TEST_F(Thread, RunOfAForeignRecordIsAssertedAndCarriesOn) {
  const ForeignRecord theRecord;
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theRecord));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted(kMagicText)));
  EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_TryWait(theRecord->mSemaphore));
}

TEST_F(Thread, WaitForAForeignRecordIsAssertedAndCarriesOn) {
  const ForeignRecord theRecord(kzvThreadState_Finished);
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theRecord));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted(kMagicText)));
}

TEST_F(Thread, GetIDOfAForeignRecordIsAssertedAndCarriesOn) {
  const ForeignRecord theRecord;
  EXPECT_EQ(static_cast<uint32>(pthread_self()), zvThread_GetID(theRecord));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted(kMagicText)));
}

TEST_F(Thread, DeleteOfAForeignRecordIsAssertedTwiceAndReleasesIt) {
  zvThread_Delete(ForeignRecord(kzvThreadState_Finished).Release());
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted(kMagicText), Asserted(kMagicText)));
}

TEST_F(Thread, AssertionsNameTheModulesFileAndALine) {
  const ForeignRecord theRecord;
  zvThread_GetID(theRecord);
  ExpectOneAssertion(mLog, kMagicText, "zvThread.posix.cpp");
}

TEST_F(Thread, DetachedThreadCallsItsDeleteFunctionAfterItsFunctionAndReleasesItself) {
  zvOSThread_Data theData = Detached(mWork, WorkUntilAllowedToEnd);
  theData.mDeleteFunc = LookAndDeleteWork;
  zvOSThread *const theThread = NewThread(theData);
  sThread = theThread;
  EXPECT_EQ(&LookAndDeleteWork, theThread->mDeleteFunc);
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
  EXPECT_EQ(kzvThreadDetachedState_DetachedDelete, sDetachedStateAtItsEnd);
  EXPECT_TRUE(theRelease.Wait());
  EXPECT_EQ(0u, theMagic);
  ExpectNothingLogged();
}

}  // namespace
