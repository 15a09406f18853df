// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include <zvOS/zvCondition.h>

#include "support/HandleChecks.h"

#include <sys/time.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <thread>

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;

// Long enough that a test which waits for it has failed.
constexpr uint32 kVeryLong = 60 * 1000;

auto Failed(const char *aCall, int anError) {
  return zvtest::Failed("zvOSCondition", aCall, anError);
}

struct Deadline {
  long mSeconds;
  long mNanoseconds;
  bool operator==(const Deadline &another) const {
    return mSeconds == another.mSeconds && mNanoseconds == another.mNanoseconds;
  }
};

void PrintTo(const Deadline &aDeadline, std::ostream *aStream) {
  *aStream << aDeadline.mSeconds << " s " << aDeadline.mNanoseconds << " ns";
}

Deadline DeadlineOf(const long long *anArguments) {
  const auto *theTime = ArgumentAs<const timespec>(anArguments[2]);
  return {static_cast<long>(theTime->tv_sec), theTime->tv_nsec};
}

// Lets the library read a time of day chosen by the test.
class TimeOfDay {
 public:
  TimeOfDay(long aSeconds, long someMicroseconds) : mFault("gettimeofday", 0, 0, -1) {
    mFault.Returning(0).Doing([=](const long long *anArguments) {
      auto *theTime = ArgumentAs<timeval>(anArguments[0]);
      theTime->tv_sec = aSeconds;
      theTime->tv_usec = someMicroseconds;
    });
  }
  int Readings() const { return mFault.Hits(); }

 private:
  Fault mFault;
};

class ConditionTest : public ::testing::Test {
 protected:
  ConditionTest() : mCondition(zvCondition_New()), mMutex(zvMutex_New()) {}
  ~ConditionTest() override {
    zvCondition_Delete(mCondition);
    zvMutex_Delete(mMutex);
  }

  // The deadline that a wait of aDelay gets at the given time of day.
  Deadline DeadlineAt(long aSeconds, long someMicroseconds, uint32 aDelay) {
    const TimeOfDay theTime(aSeconds, someMicroseconds);
    Deadline theDeadline = {-1, -1};
    Fault theWait("pthread_cond_timedwait", ETIMEDOUT);
    theWait.Doing([&](const long long *anArguments) { theDeadline = DeadlineOf(anArguments); });
    zvMutex_Lock(mMutex);
    EXPECT_EQ(zvCondition_Status_TimeOut, zvCondition_WaitTimeout(mCondition, mMutex, aDelay));
    zvMutex_Unlock(mMutex);
    EXPECT_EQ(1, theTime.Readings());
    return theDeadline;
  }

  // Until the mutex has been given up by the thread that set the flag under it.
  void AwaitWaiter(const std::atomic<int> &aCount, int aWanted) {
    while (aCount < aWanted)
      std::this_thread::yield();
    zvMutex_Lock(mMutex);
    zvMutex_Unlock(mMutex);
  }

  zvtest::RecordingLog mLog;
  zvOSCondition *mCondition;
  zvOSMutex *mMutex;
};

TEST_F(ConditionTest, NewUsesTheDefaultAttributes) {
  long long theAttributes = -1;
  Fault theFault("pthread_cond_init", 0);
  theFault.PassingThrough().Doing([&](const long long *anArguments) { theAttributes = anArguments[1]; });
  zvCondition_Delete(zvCondition_New());
  EXPECT_EQ(0, theAttributes);
}

TEST_F(ConditionTest, NewFailingHalfWayDoesNotHangInTheRealDestroy) {
  zvtest::JunkMemory theMemory;
  Fault theFault("pthread_cond_init", ENOMEM);
  EXPECT_EQ(nullptr, zvCondition_New());
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_cond_init", ENOMEM)));
  theMemory.ExpectUsedAndReleased();
}

TEST_F(ConditionTest, SignalAndBroadcastWithoutWaiterSucceed) {
  EXPECT_EQ(zvCondition_Status_NoError, zvCondition_Signal(mCondition));
  EXPECT_EQ(zvCondition_Status_NoError, zvCondition_Broadcast(mCondition));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(ConditionTest, AFailingSignalIsLogged) {
  Fault theFault("pthread_cond_signal", EINVAL);
  EXPECT_EQ(zvCondition_Status_Error, zvCondition_Signal(mCondition));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_cond_signal", EINVAL)));
}

TEST_F(ConditionTest, AFailingBroadcastIsLogged) {
  Fault theFault("pthread_cond_broadcast", EINVAL);
  EXPECT_EQ(zvCondition_Status_Error, zvCondition_Broadcast(mCondition));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_cond_broadcast", EINVAL)));
}

TEST_F(ConditionTest, AWaiterGivesTheMutexUpAndIsItsOwnerAgainAfterwards) {
  bool afSignaled = false;
  std::atomic<int> theWaiters{0};
  std::thread theWaiter([&] {
    zvMutex_Lock(mMutex);
    ++theWaiters;
    while (!afSignaled)
      EXPECT_EQ(zvCondition_Status_NoError, zvCondition_Wait(mCondition, mMutex));
    EXPECT_NE(0, zvMutex_IsHeld(mMutex));
    EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(mMutex));
    EXPECT_EQ(0, zvMutex_IsHeld(mMutex));
    EXPECT_EQ(zvMutex_Status_Error, zvMutex_Unlock(mMutex));
  });
  AwaitWaiter(theWaiters, 1);

  zvMutex_Lock(mMutex);
  EXPECT_NE(0, zvMutex_IsHeld(mMutex));
  afSignaled = true;
  EXPECT_EQ(zvCondition_Status_NoError, zvCondition_Signal(mCondition));
  // The woken thread waits for the mutex; until it gets it we are the owner.
  EXPECT_NE(0, zvMutex_IsHeld(mMutex));
  zvMutex_Unlock(mMutex);
  theWaiter.join();
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(zvtest::kModuleOfHandles,
                                                 "zvOSMutex: unlock failed because not held by caller\n")));
}

TEST_F(ConditionTest, SignalWithoutTheMutexWakesAWaiter) {
  std::atomic<bool> afSignaled{false};
  std::atomic<int> theWaiters{0};
  std::thread theWaiter([&] {
    zvMutex_Lock(mMutex);
    ++theWaiters;
    while (!afSignaled) {
      EXPECT_EQ(zvCondition_Status_NoError, zvCondition_WaitTimeout(mCondition, mMutex, kVeryLong));
    }
    zvMutex_Unlock(mMutex);
  });
  AwaitWaiter(theWaiters, 1);
  afSignaled = true;
  EXPECT_EQ(zvCondition_Status_NoError, zvCondition_Signal(mCondition));
  theWaiter.join();
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(ConditionTest, BroadcastWakesAllWaiters) {
  constexpr int kThreads = 3;
  bool afSignaled = false;
  std::atomic<int> theWaiters{0};
  std::vector<std::thread> theThreads;
  for (int i = 0; i < kThreads; ++i) {
    theThreads.emplace_back([&] {
      zvMutex_Lock(mMutex);
      ++theWaiters;
      while (!afSignaled)
        EXPECT_EQ(zvCondition_Status_NoError, zvCondition_Wait(mCondition, mMutex));
      zvMutex_Unlock(mMutex);
    });
  }
  AwaitWaiter(theWaiters, kThreads);
  zvMutex_Lock(mMutex);
  afSignaled = true;
  EXPECT_EQ(zvCondition_Status_NoError, zvCondition_Broadcast(mCondition));
  zvMutex_Unlock(mMutex);
  for (std::thread &theThread : theThreads)
    theThread.join();
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(ConditionTest, ThreadsHandWorkToEachOther) {
  constexpr int kItems = 1000;
  int theItems = 0;
  std::thread theProducer([&] {
    for (int i = 0; i < kItems; ++i) {
      zvMutex_Lock(mMutex);
      while (theItems != 0)
        zvCondition_Wait(mCondition, mMutex);
      theItems = 1;
      zvCondition_Broadcast(mCondition);
      zvMutex_Unlock(mMutex);
    }
  });
  for (int i = 0; i < kItems; ++i) {
    zvMutex_Lock(mMutex);
    while (theItems != 1)
      zvCondition_WaitTimeout(mCondition, mMutex, kVeryLong);
    theItems = 0;
    zvCondition_Broadcast(mCondition);
    zvMutex_Unlock(mMutex);
  }
  theProducer.join();
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

// The bookkeeping around a wait, seen at the moment when the system is asked to wait.
TEST_F(ConditionTest, AWaitClearsTheHoldsAndPutsThemAllBack) {
  const TimeOfDay theTime(1000, 0);
  for (const char *theCall : {"pthread_cond_wait", "pthread_cond_timedwait"}) {
    zvMutex_Lock(mMutex);
    zvMutex_Lock(mMutex);
    int theHeldInside = -1;
    uint32 theCountInside = ~0u;
    Fault theFault(theCall, 0);
    theFault.Returning(0).Doing([&](const long long *anArguments) {
      EXPECT_EQ(zvMutex_Posix_Get(mMutex), ArgumentAs<pthread_mutex_t>(anArguments[1]));
      theHeldInside = zvMutex_IsHeld(mMutex);
      theCountInside = zvMutex_Posix_Tag_Unheld(mMutex);
    });
    const bool afTimed = std::string(theCall) == "pthread_cond_timedwait";
    EXPECT_EQ(zvCondition_Status_NoError, afTimed ? zvCondition_WaitTimeout(mCondition, mMutex, kVeryLong)
                                                  : zvCondition_Wait(mCondition, mMutex));
    EXPECT_EQ(1, theFault.Hits());
    EXPECT_EQ(0, theHeldInside);
    EXPECT_EQ(0u, theCountInside);

    EXPECT_NE(0, zvMutex_IsHeld(mMutex));
    EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(mMutex));
    EXPECT_NE(0, zvMutex_IsHeld(mMutex));
    EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(mMutex));
    EXPECT_EQ(0, zvMutex_IsHeld(mMutex));
  }
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(ConditionTest, AFailingWaitIsLoggedAndPutsTheHoldBack) {
  zvMutex_Lock(mMutex);
  Fault theFault("pthread_cond_wait", EPERM);
  EXPECT_EQ(zvCondition_Status_Error, zvCondition_Wait(mCondition, mMutex));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_cond_wait", EPERM)));
  EXPECT_NE(0, zvMutex_IsHeld(mMutex));
  EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(mMutex));
}

TEST_F(ConditionTest, AnInterruptedUntimedWaitIsNotRepeated) {
  zvMutex_Lock(mMutex);
  Fault theFault("pthread_cond_wait", EINTR);
  EXPECT_EQ(zvCondition_Status_Error, zvCondition_Wait(mCondition, mMutex));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_cond_wait", EINTR)));
  zvMutex_Unlock(mMutex);
}

TEST_F(ConditionTest, AFailingTimedWaitIsLoggedAndPutsTheHoldBack) {
  const TimeOfDay theTime(1000, 0);
  zvMutex_Lock(mMutex);
  Fault theFault("pthread_cond_timedwait", EPERM);
  EXPECT_EQ(zvCondition_Status_Error, zvCondition_WaitTimeout(mCondition, mMutex, kVeryLong));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_cond_timedwait", EPERM)));
  EXPECT_NE(0, zvMutex_IsHeld(mMutex));
  EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(mMutex));
}

TEST_F(ConditionTest, AFailingWaitMessageComesWhenTheHoldIsBack) {
  zvMutex_Lock(mMutex);
  int theHeld = -1;
  struct Context {
    zvOSMutex *mMutex;
    int *mHeld;
  } theContext = {mMutex, &theHeld};
  mLog.OnMessage(
      [](const zvtest::Message &, void *aContext) {
        auto *theOurs = static_cast<Context *>(aContext);
        *theOurs->mHeld = zvMutex_IsHeld(theOurs->mMutex);
      },
      &theContext);
  Fault theFault("pthread_cond_wait", EINVAL);
  zvCondition_Wait(mCondition, mMutex);
  EXPECT_EQ(1, theHeld);
  zvMutex_Unlock(mMutex);
}

TEST_F(ConditionTest, TheDeadlineCarriesIntoTheSeconds) {
  EXPECT_EQ((Deadline{1002, 100000000}), DeadlineAt(1000, 600000, 1500));
}

TEST_F(ConditionTest, TheDeadlineAddsSecondsAndMilliseconds) {
  EXPECT_EQ((Deadline{1003, 250123000}), DeadlineAt(1000, 123, 3250));
  EXPECT_EQ((Deadline{1000, 1999000}), DeadlineAt(1000, 999, 1));
}

TEST_F(ConditionTest, TheDeadlineBelowAWholeSecondStays) {
  EXPECT_EQ((Deadline{1000, 999999000}), DeadlineAt(1000, 499999, 500));
}

TEST_F(ConditionTest, TheDeadlineAboveAWholeSecondCarries) {
  EXPECT_EQ((Deadline{1001, 1000}), DeadlineAt(1000, 500001, 500));
  EXPECT_EQ((Deadline{1001, 998999000}), DeadlineAt(1000, 999999, 999));
}

TEST_F(ConditionTest, ADeadlineOfExactlyAWholeSecondIsNotCarried) {
  EXPECT_EQ((Deadline{1000, 1000000000}), DeadlineAt(1000, 500000, 500));
  EXPECT_EQ((Deadline{1002, 1000000000}), DeadlineAt(1000, 1000, 2999));
}

TEST_F(ConditionTest, ADeadlineOfExactlyAWholeSecondIsRefusedByTheSystem) {
  const TimeOfDay theTime(2000000000, 500000);
  zvMutex_Lock(mMutex);
  EXPECT_EQ(zvCondition_Status_Error, zvCondition_WaitTimeout(mCondition, mMutex, 500));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_cond_timedwait", EINVAL)));
  EXPECT_NE(0, zvMutex_IsHeld(mMutex));
  zvMutex_Unlock(mMutex);
}

TEST_F(ConditionTest, NoDelayIsTheEpoch) {
  EXPECT_EQ((Deadline{0, 0}), DeadlineAt(1000, 600000, 0));
}

TEST_F(ConditionTest, TheLongestDelayIsNotSpecial) {
  EXPECT_EQ((Deadline{1000 + 4294967, 295000000}), DeadlineAt(1000, 0, kzvOS_DelayInfinite));
}

TEST_F(ConditionTest, AnInterruptedTimedWaitRepeatsWithTheSameDeadline) {
  const TimeOfDay theTime(1000, 600000);
  std::vector<Deadline> theDeadlines;
  std::vector<int> theHelds;
  const auto theLook = [&](const long long *anArguments) {
    theDeadlines.push_back(DeadlineOf(anArguments));
    theHelds.push_back(zvMutex_IsHeld(mMutex));
  };
  Fault theTimeOut("pthread_cond_timedwait", ETIMEDOUT);
  theTimeOut.Doing(theLook);
  Fault theInterruptions("pthread_cond_timedwait", EINTR, 0, 3);
  theInterruptions.Doing(theLook);

  zvMutex_Lock(mMutex);
  EXPECT_EQ(zvCondition_Status_TimeOut, zvCondition_WaitTimeout(mCondition, mMutex, 1500));

  EXPECT_THAT(theDeadlines, ElementsAre(Deadline{1002, 100000000}, Deadline{1002, 100000000},
                                        Deadline{1002, 100000000}, Deadline{1002, 100000000}));
  EXPECT_THAT(theHelds, Each(0));
  EXPECT_EQ(1, theTime.Readings());
  EXPECT_THAT(mLog.Calls(), IsEmpty());
  EXPECT_NE(0, zvMutex_IsHeld(mMutex));
  EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(mMutex));
  EXPECT_EQ(0, zvMutex_IsHeld(mMutex));
}

TEST_F(ConditionTest, AWaitWithoutDelayTimesOutAtOnce) {
  zvMutex_Lock(mMutex);
  const auto theStart = std::chrono::steady_clock::now();
  EXPECT_EQ(zvCondition_Status_TimeOut, zvCondition_WaitTimeout(mCondition, mMutex, 0));
  EXPECT_LT(std::chrono::steady_clock::now() - theStart, std::chrono::seconds(5));
  EXPECT_NE(0, zvMutex_IsHeld(mMutex));
  EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(mMutex));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(ConditionTest, AWaitTimesOutAfterItsDelay) {
  zvMutex_Lock(mMutex);
  for (;;) {
    timeval theStart;
    gettimeofday(&theStart, nullptr);
    const int theStatus = zvCondition_WaitTimeout(mCondition, mMutex, 30);
    timeval theEnd;
    gettimeofday(&theEnd, nullptr);
    // A wake-up without a cause, or now and the delay happened to make a whole second.
    if (theStatus != zvCondition_Status_TimeOut) continue;
    const long theMicroseconds =
        (theEnd.tv_sec - theStart.tv_sec) * 1000000L + theEnd.tv_usec - theStart.tv_usec;
    EXPECT_GE(theMicroseconds, 30000);
    break;
  }
  EXPECT_NE(0, zvMutex_IsHeld(mMutex));
  zvMutex_Unlock(mMutex);
}

}  // namespace
