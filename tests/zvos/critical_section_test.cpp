#include <zvOS/zvCriticalSection.h>

#include "handle_checks.h"

#include <pthread.h>

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
constexpr char kFile[] = "zvCriticalSection.posix.cpp";

std::string SectionCheck() {
  return zvtest::MagicCheck("aCriticalSection", "0xFEEDFEED");
}

auto Failed(const char *aCall, int anError) {
  return Error(kModule, Format("zvOSCriticalSection: %s failed (error = %d)\n", aCall, anError));
}

class CriticalSectionTest : public ::testing::Test {
 protected:
  CriticalSectionTest() : mSection(zvCriticalSection_New()) {}
  ~CriticalSectionTest() override { zvCriticalSection_Delete(mSection); }

  zvtest::RecordingLog mLog;
  zvOSCriticalSection *mSection;
};

TEST_F(CriticalSectionTest, NewCarriesTheMagic) {
  ASSERT_NE(nullptr, mSection);
  EXPECT_EQ(0xFEEDFEEDu, zvtest::MagicOf(mSection));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(CriticalSectionTest, NewWithoutMemoryLogsAndReturnsNull) {
  Fault theFault("malloc", ENOMEM);
  EXPECT_EQ(nullptr, zvCriticalSection_New());
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(kModule, "zvOSCriticalSection: Cannot allocate memory for a critical section\n")));
}

TEST_F(CriticalSectionTest, NewMakesARecursiveMutex) {
  int theType = -1;
  Fault theFault("pthread_mutexattr_settype", 0);
  theFault.PassingThrough().Doing(
      [&](const long long *anArguments) { theType = static_cast<int>(anArguments[1]); });
  zvCriticalSection_Delete(zvCriticalSection_New());
  EXPECT_EQ(PTHREAD_MUTEX_RECURSIVE, theType);
}

class CriticalSectionNewTest : public ::testing::TestWithParam<const char *> {};

TEST_P(CriticalSectionNewTest, FailingHalfWayLogsReleasesAndReturnsNull) {
  zvtest::RecordingLog theLog;
  const int theAttributesDestroyed = CallsOf("pthread_mutexattr_destroy");
  bool theDestroyIsAllowed = true;
  Fault theDestroy("pthread_mutex_destroy", 0, 0, -1);
  theDestroy.Returning(0).Doing([&](const long long *anArguments) {
    const pthread_mutex_t theInitial = PTHREAD_MUTEX_INITIALIZER;
    theDestroyIsAllowed = zvtest::IsInitial(anArguments[0], theInitial);
  });
  zvtest::JunkMemory theMemory;
  Fault theFault(GetParam(), ENOMEM);

  EXPECT_EQ(nullptr, zvCriticalSection_New());

  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(theLog.Messages(), ElementsAre(Failed("pthread_mutex_init", ENOMEM)));
  EXPECT_THAT(theLog.Assertions(), IsEmpty());
  theMemory.ExpectUsedAndReleased();
  EXPECT_TRUE(theDestroyIsAllowed);
  const bool afAttributesMade = std::string(GetParam()) != "pthread_mutexattr_init";
  EXPECT_EQ(theAttributesDestroyed + (afAttributesMade ? 1 : 0), CallsOf("pthread_mutexattr_destroy"));
}

INSTANTIATE_TEST_SUITE_P(EachCall, CriticalSectionNewTest,
                         ::testing::Values("pthread_mutexattr_init", "pthread_mutexattr_settype",
                                           "pthread_mutex_init"),
                         [](const auto &aCall) { return std::string(aCall.param); });

TEST_F(CriticalSectionTest, DeleteOfNullDoesNothing) {
  const int theFrees = CallsOf("free");
  zvCriticalSection_Delete(nullptr);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
  EXPECT_EQ(theFrees, CallsOf("free"));
}

TEST_F(CriticalSectionTest, DeleteClearsTheMagicFirstThenDestroysThenReleases) {
  zvOSCriticalSection *const theSection = zvCriticalSection_New();
  zvtest::ReleaseWatch theWatch;
  theWatch.Watch(theSection);
  uint32 theMagicAtDestroy = ~0u;
  int theReleasesAtDestroy = -1;
  Fault theDestroy("pthread_mutex_destroy", 0);
  theDestroy.PassingThrough().Doing([&](const long long *) {
    theMagicAtDestroy = zvtest::MagicOf(theSection);
    theReleasesAtDestroy = theWatch.ReleasesOf(theSection);
  });

  zvCriticalSection_Delete(theSection);

  EXPECT_EQ(1, theDestroy.Hits());
  EXPECT_EQ(0u, theMagicAtDestroy);
  EXPECT_EQ(0, theReleasesAtDestroy);
  EXPECT_EQ(1, theWatch.ReleasesOf(theSection));
  EXPECT_EQ(0u, theWatch.MagicAtReleaseOf(theSection));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(CriticalSectionTest, DeleteLogsAFailingDestroyAndStillReleases) {
  zvOSCriticalSection *const theSection = zvCriticalSection_New();
  zvtest::ReleaseWatch theWatch;
  theWatch.Watch(theSection);
  Fault theFault("pthread_mutex_destroy", EBUSY);
  zvCriticalSection_Delete(theSection);
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_mutex_destroy", EBUSY)));
  EXPECT_EQ(1, theWatch.ReleasesOf(theSection));
}

TEST_F(CriticalSectionTest, EnteredTwiceIsLeftByTheSecondLeave) {
  EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Enter(mSection));
  EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Enter(mSection));
  int theLeaves = 0;
  std::atomic<bool> theOtherTries{false};
  std::thread theOther([&] {
    theOtherTries = true;
    EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Enter(mSection));
    EXPECT_EQ(2, theLeaves);
    EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Leave(mSection));
  });
  while (!theOtherTries)
    std::this_thread::yield();
  theLeaves = 1;
  EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Leave(mSection));
  theLeaves = 2;
  EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Leave(mSection));
  theOther.join();
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(CriticalSectionTest, AFailingEnterIsLogged) {
  Fault theFault("pthread_mutex_lock", EAGAIN);
  EXPECT_EQ(zvCriticalSection_Status_Error, zvCriticalSection_Enter(mSection));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_mutex_lock", EAGAIN)));
}

TEST_F(CriticalSectionTest, AFailingLeaveIsLogged) {
  zvCriticalSection_Enter(mSection);
  {
    Fault theFault("pthread_mutex_unlock", EINVAL);
    EXPECT_EQ(zvCriticalSection_Status_Error, zvCriticalSection_Leave(mSection));
  }
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_mutex_unlock", EINVAL)));
  EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Leave(mSection));
}

TEST_F(CriticalSectionTest, LeaveOutsideIsAnsweredByTheSystem) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "ThreadSanitizer reports the misuse that this test commits";
#endif
  const int theUnlocks = CallsOf("pthread_mutex_unlock");
  EXPECT_EQ(zvCriticalSection_Status_Error, zvCriticalSection_Leave(mSection));
  EXPECT_EQ(theUnlocks + 1, CallsOf("pthread_mutex_unlock"));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_mutex_unlock", EPERM)));
}

TEST_F(CriticalSectionTest, LeaveByAnotherThreadIsRefusedBySystem) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "ThreadSanitizer reports the misuse that this test commits";
#endif
  zvCriticalSection_Enter(mSection);
  std::thread([&] { EXPECT_EQ(zvCriticalSection_Status_Error, zvCriticalSection_Leave(mSection)); }).join();
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_mutex_unlock", EPERM)));
  EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Leave(mSection));
}

TEST_F(CriticalSectionTest, EveryOperationAssertsOnceOnAForeignRecordAndGoesOn) {
  {
    const Disguise theDisguise(mSection);
    EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Enter(mSection));
    zvtest::ExpectOneAssertion(mLog, SectionCheck(), kFile);

    mLog.Clear();
    EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Leave(mSection));
    zvtest::ExpectOneAssertion(mLog, SectionCheck(), kFile);
  }
  mLog.Clear();
  zvtest::SetMagic(mSection, 0);
  zvCriticalSection_Delete(mSection);
  mSection = nullptr;
  zvtest::ExpectOneAssertion(mLog, SectionCheck(), kFile);
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(CriticalSectionTest, EveryOperationAssertsOnNull) {
  EXPECT_TRUE(zvtest::LeftAtAssertion([] { zvCriticalSection_Enter(nullptr); }));
  zvtest::ExpectOneAssertion(mLog, SectionCheck(), kFile);

  mLog.Clear();
  EXPECT_TRUE(zvtest::LeftAtAssertion([] { zvCriticalSection_Leave(nullptr); }));
  zvtest::ExpectOneAssertion(mLog, SectionCheck(), kFile);
}

TEST_F(CriticalSectionTest, ThreadsExcludeEachOther) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 2000;
  int theCount = 0;
  std::vector<std::thread> theThreads;
  for (int i = 0; i < kThreads; ++i) {
    theThreads.emplace_back([&] {
      for (int j = 0; j < kRounds; ++j) {
        zvCriticalSection_Enter(mSection);
        ++theCount;
        zvCriticalSection_Leave(mSection);
      }
    });
  }
  for (std::thread &theThread : theThreads)
    theThread.join();
  EXPECT_EQ(kThreads * kRounds, theCount);
}

}  // namespace
