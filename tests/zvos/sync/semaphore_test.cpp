// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include <zvOS/zvSemaphore.h>

#include "support/HandleChecks.h"
#include "support/LateClock.h"
#include "support/Threads.h"

#include <pthread.h>
#include <semaphore.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <ctime>
#include <thread>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;

constexpr uint32 kVeryLong = 60 * 1000;

auto Failed(const char *aCall, int anError) {
  return zvtest::Failed("zvOSSemaphore", aCall, anError);
}

class SemaphoreTest : public ::testing::Test {
 protected:
  SemaphoreTest() : mSemaphore(zvSemaphore_New(0)) {}
  ~SemaphoreTest() override { zvSemaphore_Delete(mSemaphore); }

  // The deadline that a wait of aDelay gets at the given time.
  timespec DeadlineAt(long aSeconds, long someNanoseconds, uint32 aDelay) {
    long long theClock = -1;
    timespec theDeadline = {-1, -1};
    Fault theNow("clock_gettime", 0);
    theNow.Returning(0).Doing([&](const long long *anArguments) {
      theClock = anArguments[0];
      *ArgumentAs<timespec>(anArguments[1]) = {aSeconds, someNanoseconds};
    });
    Fault theWait("sem_timedwait", ETIMEDOUT);
    theWait.Doing(
        [&](const long long *anArguments) { theDeadline = *ArgumentAs<const timespec>(anArguments[1]); });
    EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_WaitTimeout(mSemaphore, aDelay));
    EXPECT_EQ(CLOCK_REALTIME, theClock);
    return theDeadline;
  }

  zvtest::RecordingLog mLog;
  zvOSSemaphore *mSemaphore;
};

// A time at which a wait uses the call that the tests make fail; a late one uses another.
constexpr long kEarly = 1000;

#define EXPECT_DEADLINE(seconds, nanoseconds, deadline) \
  do {                                                  \
    const timespec theActual_ = (deadline);             \
    EXPECT_EQ((seconds), theActual_.tv_sec);            \
    EXPECT_EQ((nanoseconds), theActual_.tv_nsec);       \
  } while (0)

TEST_F(SemaphoreTest, NewIsPrivateToTheProcessAndHasTheGivenCount) {
  long long theShared = -1;
  long long theValue = -1;
  Fault theFault("sem_init", 0);
  theFault.PassingThrough().Doing([&](const long long *anArguments) {
    theShared = anArguments[1];
    theValue = anArguments[2];
  });
  zvSemaphore_Delete(zvSemaphore_New(3));
  EXPECT_EQ(0, theShared);
  EXPECT_EQ(3, theValue);
}

TEST_F(SemaphoreTest, NewRefusesANegativeCount) {
  zvtest::JunkMemory theMemory;
  EXPECT_EQ(nullptr, zvSemaphore_New(-1));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("sem_init", EINVAL)));
  theMemory.ExpectUsedAndReleased();
}

TEST_F(SemaphoreTest, EachPostAllowsOneTryWait) {
  EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_TryWait(mSemaphore));
  EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_Post(mSemaphore));
  EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_TryWait(mSemaphore));
  EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_TryWait(mSemaphore));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SemaphoreTest, TheInitialCountCanBeTaken) {
  zvOSSemaphore *const theSemaphore = zvSemaphore_New(3);
  EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_Wait(theSemaphore));
  EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_TryWait(theSemaphore));
  EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_WaitTimeout(theSemaphore, kVeryLong));
  EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_TryWait(theSemaphore));
  zvSemaphore_Delete(theSemaphore);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SemaphoreTest, PostBeyondTheLargestCountIsRefused) {
  zvOSSemaphore *const theSemaphore = zvSemaphore_New(INT_MAX);
  ASSERT_NE(nullptr, theSemaphore);
  EXPECT_EQ(zvSemaphore_Status_Error, zvSemaphore_Post(theSemaphore));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("sem_post", EOVERFLOW)));
  zvSemaphore_Delete(theSemaphore);
}

TEST_F(SemaphoreTest, AFailingPostIsLogged) {
  mLog.SpoilErrno(EDOM);
  Fault theFault("sem_post", EINVAL);
  EXPECT_EQ(zvSemaphore_Status_Error, zvSemaphore_Post(mSemaphore));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("sem_post", EINVAL)));
}

TEST_F(SemaphoreTest, WaitIsEndedByAPostOfAnotherThread) {
  bool afPosted = false;
  std::atomic<bool> theWaiterRuns{false};
  std::thread theWaiter([&] {
    theWaiterRuns = true;
    EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_Wait(mSemaphore));
    EXPECT_TRUE(afPosted);
  });
  while (!theWaiterRuns)
    std::this_thread::yield();
  afPosted = true;
  EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_Post(mSemaphore));
  theWaiter.join();
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SemaphoreTest, WaitTimeoutIsEndedByAPostOfAnotherThread) {
  std::thread thePoster([&] { EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_Post(mSemaphore)); });
  EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_WaitTimeout(mSemaphore, kVeryLong));
  thePoster.join();
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SemaphoreTest, AFailingWaitIsLoggedAndTakesNothing) {
  zvSemaphore_Post(mSemaphore);
  {
    mLog.SpoilErrno(EDOM);
    Fault theFault("sem_wait", EINVAL);
    EXPECT_EQ(zvSemaphore_Status_Error, zvSemaphore_Wait(mSemaphore));
  }
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("sem_wait", EINVAL)));
  EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_TryWait(mSemaphore));
}

TEST_F(SemaphoreTest, AnInterruptedWaitShowsItsResultAndIsNotRepeated) {
  const int theWaits = CallsOf("sem_wait");
  Fault theFault("sem_wait", EINTR);
  EXPECT_EQ(zvSemaphore_Status_Error, zvSemaphore_Wait(mSemaphore));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("sem_wait", -1)));
  EXPECT_EQ(theWaits + 1, CallsOf("sem_wait"));
}

TEST_F(SemaphoreTest, ASignalEndsABlockedWait) {
  int theStatus = -1;
  InterruptBy(SIGUSR1, [&] { theStatus = zvSemaphore_Wait(mSemaphore); });
  EXPECT_EQ(zvSemaphore_Status_Error, theStatus);
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("sem_wait", -1)));
}

TEST_F(SemaphoreTest, ASignalEndsABlockedTimedWait) {
  int theStatus = -1;
  InterruptBy(SIGUSR1, [&] { theStatus = zvSemaphore_WaitTimeout(mSemaphore, kVeryLong); });
  EXPECT_EQ(zvSemaphore_Status_Error, theStatus);
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("sem_timedwait", EINTR)));
}

TEST_F(SemaphoreTest, AFailingTryWaitIsLoggedLikeAWait) {
  mLog.SpoilErrno(EDOM);
  Fault theFault("sem_trywait", EINVAL);
  EXPECT_EQ(zvSemaphore_Status_Error, zvSemaphore_TryWait(mSemaphore));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("sem_wait", EINVAL)));
}

TEST_F(SemaphoreTest, AnInterruptedTryWaitShowsItsResult) {
  Fault theFault("sem_trywait", EINTR);
  EXPECT_EQ(zvSemaphore_Status_Error, zvSemaphore_TryWait(mSemaphore));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("sem_wait", -1)));
}

TEST_F(SemaphoreTest, TheDeadlineIsInWholeMilliseconds) {
  EXPECT_DEADLINE(1000, 1000000, DeadlineAt(1000, 999999, 1));
  EXPECT_DEADLINE(1000, 124000000, DeadlineAt(1000, 123999999, 1));
  EXPECT_DEADLINE(1003, 250000000, DeadlineAt(1000, 0, 3250));
}

TEST_F(SemaphoreTest, TheDeadlineCarriesIntoTheSeconds) {
  EXPECT_DEADLINE(1001, 0, DeadlineAt(1000, 999999999, 1));
  EXPECT_DEADLINE(1001, 0, DeadlineAt(1000, 500000000, 500));
  EXPECT_DEADLINE(1002, 100000000, DeadlineAt(1000, 600000000, 1500));
}

TEST_F(SemaphoreTest, NoDelayIsNow) {
  EXPECT_DEADLINE(1000, 7000000, DeadlineAt(1000, 7654321, 0));
}

TEST_F(SemaphoreTest, TheLongestDelayIsNotSpecial) {
  EXPECT_DEADLINE(1500000000 + 4294967, 795000000, DeadlineAt(1500000000, 500000000, kzvOS_DelayInfinite));
}

TEST_F(SemaphoreTest, AFailingClockIsLoggedAndNothingIsWaitedFor) {
  zvSemaphore_Post(mSemaphore);
  {
    mLog.SpoilErrno(EDOM);
    const int theWaits = CallsOf("sem_timedwait");
    Fault theFault("clock_gettime", EINVAL);
    EXPECT_EQ(zvSemaphore_Status_Error, zvSemaphore_WaitTimeout(mSemaphore, 1));
    EXPECT_EQ(theWaits, CallsOf("sem_timedwait"));
  }
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("clock_gettime", EINVAL)));
  EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_TryWait(mSemaphore));
}

TEST_F(SemaphoreTest, AFailingTimedWaitIsLogged) {
  const EarlyClock theClock(kEarly);
  mLog.SpoilErrno(EDOM);
  Fault theFault("sem_timedwait", EINVAL);
  EXPECT_EQ(zvSemaphore_Status_Error, zvSemaphore_WaitTimeout(mSemaphore, 1));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("sem_timedwait", EINVAL)));
}

TEST_F(SemaphoreTest, AnInterruptedTimedWaitShowsErrnoAndIsNotRepeated) {
  const EarlyClock theClock(kEarly);
  const int theWaits = CallsOf("sem_timedwait");
  Fault theFault("sem_timedwait", EINTR);
  EXPECT_EQ(zvSemaphore_Status_Error, zvSemaphore_WaitTimeout(mSemaphore, kVeryLong));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("sem_timedwait", EINTR)));
  EXPECT_EQ(theWaits + 1, CallsOf("sem_timedwait"));
}

TEST_F(SemaphoreTest, WaitTimeoutWithoutDelayOnlyLooks) {
  const auto theStart = std::chrono::steady_clock::now();
  EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_WaitTimeout(mSemaphore, 0));
  EXPECT_LT(std::chrono::steady_clock::now() - theStart, std::chrono::seconds(5));
  zvSemaphore_Post(mSemaphore);
  EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_WaitTimeout(mSemaphore, 0));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SemaphoreTest, WaitTimeoutEndsAfterItsDelay) {
  timespec theStart;
  clock_gettime(CLOCK_REALTIME, &theStart);
  EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_WaitTimeout(mSemaphore, 30));
  timespec theEnd;
  clock_gettime(CLOCK_REALTIME, &theEnd);
  const long long theNanoseconds =
      (theEnd.tv_sec - theStart.tv_sec) * 1000000000LL + theEnd.tv_nsec - theStart.tv_nsec;
  // The deadline drops what now has below a millisecond.
  EXPECT_GT(theNanoseconds, 29 * 1000000LL);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SemaphoreTest, PostsOfManyThreadsAreAllCounted) {
  constexpr int kThreads = 4;
  constexpr int kPosts = 1000;
  std::vector<std::thread> theThreads;
  for (int i = 0; i < kThreads; ++i) {
    theThreads.emplace_back([&] {
      for (int j = 0; j < kPosts; ++j)
        zvSemaphore_Post(mSemaphore);
    });
  }
  for (int i = 0; i < kThreads * kPosts; ++i)
    ASSERT_EQ(zvSemaphore_Status_NoError, zvSemaphore_Wait(mSemaphore));
  for (std::thread &theThread : theThreads)
    theThread.join();
  EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_TryWait(mSemaphore));
}

}  // namespace
