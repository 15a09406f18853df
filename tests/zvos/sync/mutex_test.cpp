// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include <zvOS/zvMutex.h>

#include "support/HandleChecks.h"

#include <atomic>
#include <cerrno>
#include <thread>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;

constexpr char kFile[] = "zvMutex.posix.cpp";
constexpr char kNotHeld[] = "zvOSMutex: unlock failed because not held by caller\n";

auto Failed(const char *aCall, int anError) {
  return zvtest::Failed("zvOSMutex", aCall, anError);
}

// Runs in another thread, to its end.
template <typename Body>
void InOtherThread(Body aBody) {
  std::thread(aBody).join();
}

class MutexTest : public ::testing::Test {
 protected:
  MutexTest() : mMutex(zvMutex_New()) {}
  ~MutexTest() override { zvMutex_Delete(mMutex); }

  zvtest::RecordingLog mLog;
  zvOSMutex *mMutex;
};

TEST_F(MutexTest, NewIsFree) {
  ASSERT_NE(nullptr, mMutex);
  EXPECT_EQ(0, zvMutex_IsHeld(mMutex));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(MutexTest, NewMakesARecursiveMutex) {
  int theType = -1;
  Fault theFault("pthread_mutexattr_settype", 0);
  theFault.PassingThrough().Doing(
      [&](const long long *anArguments) { theType = static_cast<int>(anArguments[1]); });
  zvMutex_Delete(zvMutex_New());
  EXPECT_EQ(PTHREAD_MUTEX_RECURSIVE, theType);
}

TEST_F(MutexTest, NewCopesWithAttributesThatCannotBeDestroyed) {
  Fault theFault("pthread_mutexattr_destroy", EINVAL);
  zvOSMutex *const theMutex = zvMutex_New();
  EXPECT_NE(nullptr, theMutex);
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(mLog.Messages(), IsEmpty());
  zvMutex_Delete(theMutex);
}

TEST_F(MutexTest, DeleteOfAHeldMutexIsLeftToTheSystem) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "ThreadSanitizer reports the misuse that this test commits";
#endif
  zvOSMutex *const theMutex = zvMutex_New();
  zvMutex_Lock(theMutex);
  zvMutex_Delete(theMutex);
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_mutex_destroy", EBUSY)));
}

TEST_F(MutexTest, LockedThreeTimesIsFreeAfterThreeUnlocksAndRefusesAFourth) {
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Lock(mMutex));
  for (int i = 0; i < 3; ++i) {
    EXPECT_NE(0, zvMutex_IsHeld(mMutex));
    InOtherThread([&] { EXPECT_EQ(EBUSY, pthread_mutex_trylock(zvMutex_Posix_Get(mMutex))); });
    EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(mMutex));
  }
  EXPECT_EQ(0, zvMutex_IsHeld(mMutex));
  EXPECT_THAT(mLog.Messages(), IsEmpty());

  EXPECT_EQ(zvMutex_Status_Error, zvMutex_Unlock(mMutex));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(zvtest::kModuleOfHandles, kNotHeld)));
  InOtherThread([&] {
    EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Lock(mMutex));
    EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(mMutex));
  });
}

TEST_F(MutexTest, AFailingLockIsLoggedAndHoldsNothing) {
  Fault theFault("pthread_mutex_lock", EAGAIN);
  EXPECT_EQ(zvMutex_Status_Error, zvMutex_Lock(mMutex));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_mutex_lock", EAGAIN)));
  EXPECT_EQ(0, zvMutex_IsHeld(mMutex));
  EXPECT_EQ(0u, zvMutex_Posix_Tag_Unheld(mMutex));
}

TEST_F(MutexTest, AFailingLockOfTheOwnerKeepsItsHolds) {
  zvMutex_Lock(mMutex);
  {
    Fault theFault("pthread_mutex_lock", EAGAIN);
    EXPECT_EQ(zvMutex_Status_Error, zvMutex_Lock(mMutex));
  }
  EXPECT_NE(0, zvMutex_IsHeld(mMutex));
  EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(mMutex));
  EXPECT_EQ(0, zvMutex_IsHeld(mMutex));
}

TEST_F(MutexTest, UnlockOfAFreeMutexDoesNotTouchTheLock) {
  const int theUnlocks = CallsOf("pthread_mutex_unlock");
  EXPECT_EQ(zvMutex_Status_Error, zvMutex_Unlock(mMutex));
  EXPECT_EQ(theUnlocks, CallsOf("pthread_mutex_unlock"));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(zvtest::kModuleOfHandles, kNotHeld)));
}

TEST_F(MutexTest, UnlockByAnotherThreadIsRefusedAndKeepsTheOwner) {
  zvMutex_Lock(mMutex);
  InOtherThread([&] {
    const int theUnlocks = CallsOf("pthread_mutex_unlock");
    EXPECT_EQ(0, zvMutex_IsHeld(mMutex));
    EXPECT_EQ(zvMutex_Status_Error, zvMutex_Unlock(mMutex));
    EXPECT_EQ(theUnlocks, CallsOf("pthread_mutex_unlock"));
    EXPECT_EQ(EBUSY, pthread_mutex_trylock(zvMutex_Posix_Get(mMutex)));
  });
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(zvtest::kModuleOfHandles, kNotHeld)));
  EXPECT_NE(0, zvMutex_IsHeld(mMutex));
  EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(mMutex));
}

TEST_F(MutexTest, UnlockBooksBeforeItReleases) {
  zvMutex_Lock(mMutex);
  int theHeldAtRelease = -1;
  uint32 theCountAtRelease = ~0u;
  {
    Fault theFault("pthread_mutex_unlock", 0);
    theFault.Returning(0).Doing([&](const long long *) {
      theHeldAtRelease = zvMutex_IsHeld(mMutex);
      theCountAtRelease = zvMutex_Posix_Tag_Unheld(mMutex);
    });
    EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(mMutex));
  }
  EXPECT_EQ(0, theHeldAtRelease);
  EXPECT_EQ(0u, theCountAtRelease);
  pthread_mutex_unlock(zvMutex_Posix_Get(mMutex));
}

TEST_F(MutexTest, AFailingReleaseIsLoggedAfterTheBooking) {
  zvMutex_Lock(mMutex);
  {
    Fault theFault("pthread_mutex_unlock", EPERM);
    EXPECT_EQ(zvMutex_Status_Error, zvMutex_Unlock(mMutex));
  }
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_mutex_unlock", EPERM)));
  EXPECT_EQ(0, zvMutex_IsHeld(mMutex));
  pthread_mutex_unlock(zvMutex_Posix_Get(mMutex));
}

TEST_F(MutexTest, UnlockOfAnOwnerWithoutHoldsAsserts) {
  zvMutex_Lock(mMutex);
  zvMutex_Posix_Tag_Held(mMutex, 0);
  zvMutex_Unlock(mMutex);
  zvtest::ExpectOneAssertion(mLog, "aMutex->mLockCount > 0", kFile);
  // The count has wrapped around; the system's lock is free.
  EXPECT_EQ(~0u, zvMutex_Posix_Tag_Unheld(mMutex));
}

TEST_F(MutexTest, TagUnheldTellsTheHoldsAndTagHeldPutsThemBack) {
  zvMutex_Lock(mMutex);
  zvMutex_Lock(mMutex);

  EXPECT_EQ(2u, zvMutex_Posix_Tag_Unheld(mMutex));
  EXPECT_EQ(0, zvMutex_IsHeld(mMutex));
  EXPECT_EQ(0u, zvMutex_Posix_Tag_Unheld(mMutex));

  zvMutex_Posix_Tag_Held(mMutex, 2);
  EXPECT_NE(0, zvMutex_IsHeld(mMutex));
  EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(mMutex));
  EXPECT_NE(0, zvMutex_IsHeld(mMutex));
  EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(mMutex));
  EXPECT_EQ(0, zvMutex_IsHeld(mMutex));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(MutexTest, TagHeldMakesTheCallingThreadTheOwner) {
  zvMutex_Lock(mMutex);
  InOtherThread([&] {
    zvMutex_Posix_Tag_Held(mMutex, 1);
    EXPECT_NE(0, zvMutex_IsHeld(mMutex));
  });
  EXPECT_EQ(0, zvMutex_IsHeld(mMutex));
  zvMutex_Posix_Tag_Held(mMutex, 1);
  zvMutex_Unlock(mMutex);
}

TEST_F(MutexTest, PosixGetIsTheLockInside) {
  long long theLocked = 0;
  Fault theFault("pthread_mutex_lock", 0);
  theFault.PassingThrough().Doing([&](const long long *anArguments) { theLocked = anArguments[0]; });
  zvMutex_Lock(mMutex);
  EXPECT_EQ(ArgumentAs<pthread_mutex_t>(theLocked), zvMutex_Posix_Get(mMutex));
  zvMutex_Unlock(mMutex);
}

TEST_F(MutexTest, LockWaitsForTheOwner) {
  zvMutex_Lock(mMutex);
  bool afReleased = false;
  std::atomic<bool> theOtherTries{false};
  std::thread theOther([&] {
    EXPECT_EQ(EBUSY, pthread_mutex_trylock(zvMutex_Posix_Get(mMutex)));
    theOtherTries = true;
    EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Lock(mMutex));
    EXPECT_TRUE(afReleased);
    EXPECT_NE(0, zvMutex_IsHeld(mMutex));
    EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(mMutex));
  });
  while (!theOtherTries)
    std::this_thread::yield();
  EXPECT_NE(0, zvMutex_IsHeld(mMutex));
  afReleased = true;
  zvMutex_Unlock(mMutex);
  theOther.join();
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(MutexTest, ThreadsExcludeEachOther) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 2000;
  int theCount = 0;
  std::vector<std::thread> theThreads;
  for (int i = 0; i < kThreads; ++i) {
    theThreads.emplace_back([&] {
      for (int j = 0; j < kRounds; ++j) {
        zvMutex_Lock(mMutex);
        zvMutex_Lock(mMutex);
        ++theCount;
        zvMutex_Unlock(mMutex);
        EXPECT_NE(0, zvMutex_IsHeld(mMutex));
        zvMutex_Unlock(mMutex);
        EXPECT_EQ(0, zvMutex_IsHeld(mMutex));
      }
    });
  }
  for (std::thread &theThread : theThreads)
    theThread.join();
  EXPECT_EQ(kThreads * kRounds, theCount);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(MutexTest, AMessageShowsTheReturnedErrorWhateverErrnoIs) {
  mLog.SpoilErrno(EDOM);
  errno = ERANGE;
  Fault theFault("pthread_mutex_lock", EINVAL);
  zvMutex_Lock(mMutex);
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_mutex_lock", EINVAL)));
}

}  // namespace
