#include <zvOS/zvMutex.h>

#include "handle_checks.h"

#include <atomic>
#include <cerrno>
#include <thread>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using zvtest::CallsOf;
using zvtest::Disguise;
using zvtest::Error;
using zvtest::Fault;
using zvtest::Format;

constexpr zvLogModule kModule = 7;
constexpr char kFile[] = "zvMutex.posix.cpp";
constexpr char kNotHeld[] = "zvOSMutex: unlock failed because not held by caller\n";

std::string MutexCheck() {
  return zvtest::MagicCheck("aMutex", "0xFEEDBABE");
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

TEST_F(MutexTest, NewIsFreeAndCarriesTheMagic) {
  ASSERT_NE(nullptr, mMutex);
  EXPECT_EQ(0xFEEDBABEu, zvtest::MagicOf(mMutex));
  EXPECT_EQ(0, zvMutex_IsHeld(mMutex));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(MutexTest, NewWithoutMemoryIsSilentlyNull) {
  Fault theFault("malloc", ENOMEM);
  EXPECT_EQ(nullptr, zvMutex_New());
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

class MutexNewTest : public ::testing::TestWithParam<const char *> {};

TEST_P(MutexNewTest, FailingHalfWayLogsReleasesAndReturnsNull) {
  zvtest::RecordingLog theLog;
  const int theAttributes = CallsOf("pthread_mutexattr_init");
  const int theAttributesDestroyed = CallsOf("pthread_mutexattr_destroy");
  bool theDestroyIsAllowed = true;
  Fault theDestroy("pthread_mutex_destroy", 0, 0, -1);
  theDestroy.Returning(0).Doing([&](const long long *anArguments) {
    const pthread_mutex_t theInitial = PTHREAD_MUTEX_INITIALIZER;
    theDestroyIsAllowed = zvtest::IsInitial(anArguments[0], theInitial);
  });
  zvtest::JunkMemory theMemory;
  Fault theFault(GetParam(), ENOSPC);

  EXPECT_EQ(nullptr, zvMutex_New());

  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(
      theLog.Messages(),
      ElementsAre(Error(kModule, Format("zvOSMutex: pthread_mutex_init failed (error = %d)\n", ENOSPC))));
  EXPECT_THAT(theLog.Assertions(), IsEmpty());
  theMemory.ExpectUsedAndReleased();
  EXPECT_TRUE(theDestroyIsAllowed);
  const bool afAttributesMade = std::string(GetParam()) != "pthread_mutexattr_init";
  EXPECT_EQ(theAttributes + 1, CallsOf("pthread_mutexattr_init"));
  EXPECT_EQ(theAttributesDestroyed + (afAttributesMade ? 1 : 0), CallsOf("pthread_mutexattr_destroy"));
}

INSTANTIATE_TEST_SUITE_P(EachCall, MutexNewTest,
                         ::testing::Values("pthread_mutexattr_init", "pthread_mutexattr_settype",
                                           "pthread_mutex_init"),
                         [](const auto &aCall) { return std::string(aCall.param); });

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

TEST_F(MutexTest, DeleteOfNullDoesNothing) {
  const int theFrees = CallsOf("free");
  zvMutex_Delete(nullptr);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
  EXPECT_EQ(theFrees, CallsOf("free"));
}

TEST_F(MutexTest, DeleteClearsTheMagicFirstThenDestroysThenReleases) {
  zvOSMutex *const theMutex = zvMutex_New();
  zvtest::ReleaseWatch theWatch;
  theWatch.Watch(theMutex);
  uint32 theMagicAtDestroy = ~0u;
  int theReleasesAtDestroy = -1;
  Fault theDestroy("pthread_mutex_destroy", 0);
  theDestroy.PassingThrough().Doing([&](const long long *) {
    theMagicAtDestroy = zvtest::MagicOf(theMutex);
    theReleasesAtDestroy = theWatch.ReleasesOf(theMutex);
  });

  zvMutex_Delete(theMutex);

  EXPECT_EQ(1, theDestroy.Hits());
  EXPECT_EQ(0u, theMagicAtDestroy);
  EXPECT_EQ(0, theReleasesAtDestroy);
  EXPECT_EQ(1, theWatch.ReleasesOf(theMutex));
  EXPECT_EQ(0u, theWatch.MagicAtReleaseOf(theMutex));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(MutexTest, DeleteLogsAFailingDestroyAndStillReleases) {
  zvOSMutex *const theMutex = zvMutex_New();
  zvtest::ReleaseWatch theWatch;
  theWatch.Watch(theMutex);
  Fault theFault("pthread_mutex_destroy", EBUSY);
  zvMutex_Delete(theMutex);
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(kModule, Format("zvOSMutex: pthread_mutex_destroy failed (error = %d)\n", EBUSY))));
  EXPECT_EQ(1, theWatch.ReleasesOf(theMutex));
}

TEST_F(MutexTest, DeleteOfAHeldMutexIsLeftToTheSystem) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "ThreadSanitizer reports the misuse that this test commits";
#endif
  zvOSMutex *const theMutex = zvMutex_New();
  zvMutex_Lock(theMutex);
  zvMutex_Delete(theMutex);
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(kModule, Format("zvOSMutex: pthread_mutex_destroy failed (error = %d)\n", EBUSY))));
}

TEST_F(MutexTest, DeleteOfAForeignRecordAssertsOnceAndGoesOn) {
  zvOSMutex *const theMutex = zvMutex_New();
  zvtest::SetMagic(theMutex, 0xFEEDFACE);
  zvMutex_Delete(theMutex);
  zvtest::ExpectOneAssertion(mLog, MutexCheck(), kFile);
  EXPECT_THAT(mLog.Messages(), IsEmpty());
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
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(kModule, kNotHeld)));
  InOtherThread([&] {
    EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Lock(mMutex));
    EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(mMutex));
  });
}

TEST_F(MutexTest, AFailingLockIsLoggedAndHoldsNothing) {
  Fault theFault("pthread_mutex_lock", EAGAIN);
  EXPECT_EQ(zvMutex_Status_Error, zvMutex_Lock(mMutex));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(kModule, Format("zvOSMutex: pthread_mutex_lock failed (error = %d)\n", EAGAIN))));
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
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(kModule, kNotHeld)));
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
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(kModule, kNotHeld)));
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
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(kModule, Format("zvOSMutex: pthread_mutex_unlock failed (error = %d)\n", EPERM))));
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

TEST_F(MutexTest, TagOperationsDoNotCheckTheMagic) {
  const Disguise theDisguise(mMutex);
  zvMutex_Posix_Tag_Held(mMutex, 1);
  EXPECT_EQ(1u, zvMutex_Posix_Tag_Unheld(mMutex));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(MutexTest, PosixGetIsTheLockInside) {
  long long theLocked = 0;
  Fault theFault("pthread_mutex_lock", 0);
  theFault.PassingThrough().Doing([&](const long long *anArguments) { theLocked = anArguments[0]; });
  zvMutex_Lock(mMutex);
  EXPECT_EQ(zvtest::ArgumentAs<pthread_mutex_t>(theLocked), zvMutex_Posix_Get(mMutex));
  zvMutex_Unlock(mMutex);
}

TEST_F(MutexTest, EveryOperationAssertsOnceOnAForeignRecordAndGoesOn) {
  const Disguise theDisguise(mMutex);

  EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Lock(mMutex));
  zvtest::ExpectOneAssertion(mLog, MutexCheck(), kFile);

  mLog.Clear();
  EXPECT_NE(0, zvMutex_IsHeld(mMutex));
  zvtest::ExpectOneAssertion(mLog, MutexCheck(), kFile);

  mLog.Clear();
  EXPECT_NE(nullptr, zvMutex_Posix_Get(mMutex));
  zvtest::ExpectOneAssertion(mLog, MutexCheck(), kFile);

  mLog.Clear();
  EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(mMutex));
  zvtest::ExpectOneAssertion(mLog, MutexCheck(), kFile);
}

TEST_F(MutexTest, EveryOperationAssertsOnNull) {
  const std::function<void()> theCalls[] = {
      [] { zvMutex_Lock(nullptr); },
      [] { zvMutex_Unlock(nullptr); },
      [] { zvMutex_IsHeld(nullptr); },
      [] { zvMutex_Posix_Get(nullptr); },
  };
  for (const auto &theCall : theCalls) {
    mLog.Clear();
    EXPECT_TRUE(zvtest::LeftAtAssertion(theCall));
    zvtest::ExpectOneAssertion(mLog, MutexCheck(), kFile);
  }
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
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(kModule, Format("zvOSMutex: pthread_mutex_lock failed (error = %d)\n", EINVAL))));
}

}  // namespace
