// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Timed waits that end after 2038-01-19T03:14:07Z where time_t has 32 bits.

#include <zvOS/zvCondition.h>
#include <zvOS/zvSemaphore.h>

#include "support/HandleChecks.h"
#include "support/LateClock.h"

#include <sys/time.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <string>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using zvtest::ArgumentAs;
using zvtest::CallsOf;
using zvtest::EarlyClock;
using zvtest::Failed;
using zvtest::Fault;
using zvtest::k2040;
using zvtest::k2105;
using zvtest::LateClock;

constexpr uint32 kVeryLong = 60 * 1000;
constexpr uint32 kDelay = 50;

class Stopwatch {
 public:
  long long Milliseconds() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - mStart)
        .count();
  }

 private:
  std::chrono::steady_clock::time_point mStart = std::chrono::steady_clock::now();
};

// A time of day that 32 bits still hold, as conditions ask for it.
class EarlyTimeOfDay {
 public:
  explicit EarlyTimeOfDay(long aSeconds) : mFault("gettimeofday", 0) {
    mFault.Returning(0).Doing([=](const long long *anArguments) {
      *ArgumentAs<timeval>(anArguments[0]) = {aSeconds, 0};
    });
  }

 private:
  Fault mFault;
};

// What a wait was given for its end, which stands in for the real wait.
class SeenWait {
 public:
  // Clock and time are the arguments of these numbers; a call without a clock waits by the time of day.
  SeenWait(const char *aCall, int anError, int aClock, int aTime) : mFault(aCall, anError) {
    mFault.Doing([=](const long long *anArguments) {
      mClock = aClock < 0 ? CLOCK_REALTIME : static_cast<int>(anArguments[aClock]);
      mTime = *ArgumentAs<const timespec>(anArguments[aTime]);
    });
  }
  int Clock() const { return mClock; }
  timespec Time() const { return mTime; }
  int Hits() const { return mFault.Hits(); }

 private:
  Fault mFault;
  int mClock = -1;
  timespec mTime = {-1, -1};
};

long SecondsSinceStart() {
  timespec theTime;
  clock_gettime(CLOCK_MONOTONIC, &theTime);
  return static_cast<long>(theTime.tv_sec);
}

class LateWait : public zvtest::LateTest {
 protected:
  LateWait() : mCondition(zvCondition_New()), mMutex(zvMutex_New()), mSemaphore(zvSemaphore_New(0)) {
    zvMutex_Lock(mMutex);
  }
  ~LateWait() override {
    zvMutex_Unlock(mMutex);
    zvSemaphore_Delete(mSemaphore);
    zvCondition_Delete(mCondition);
    zvMutex_Delete(mMutex);
  }

  zvtest::RecordingLog mLog;
  zvOSCondition *mCondition;
  zvOSMutex *mMutex;
  zvOSSemaphore *mSemaphore;
};

TEST_F(LateWait, AConditionWaitsForItsDelay) {
  for (const long long theNow : {2147483648LL, k2040, k2105}) {
    const LateClock theClock(theNow, 1000000);
    int theStatus;
    Stopwatch theWatch;
    // A wake-up without a cause, or now and the delay happened to make a whole second.
    while ((theStatus = zvCondition_WaitTimeout(mCondition, mMutex, kDelay)) != zvCondition_Status_TimeOut) {
      mLog.Clear();
      theWatch = Stopwatch();
    }
    EXPECT_GE(theWatch.Milliseconds(), kDelay - 1);
    EXPECT_LT(theWatch.Milliseconds(), kVeryLong);
    EXPECT_NE(0, zvMutex_IsHeld(mMutex));
  }
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(LateWait, AConditionWaitsByTheMonotonicClock) {
  const LateClock theClock(k2040, 0);
  const int theCalls = CallsOf("pthread_cond_timedwait");
  const SeenWait theWait("pthread_cond_clockwait", ETIMEDOUT, 2, 3);
  const long theStart = SecondsSinceStart();
  EXPECT_EQ(zvCondition_Status_TimeOut, zvCondition_WaitTimeout(mCondition, mMutex, kVeryLong));
  EXPECT_EQ(1, theWait.Hits());
  EXPECT_EQ(CLOCK_MONOTONIC, theWait.Clock());
  EXPECT_GE(theWait.Time().tv_sec, theStart + 60);
  EXPECT_LE(theWait.Time().tv_sec, SecondsSinceStart() + 61);
  EXPECT_EQ(theCalls, CallsOf("pthread_cond_timedwait"));
}

TEST_F(LateWait, AConditionWhoseDeadlineComesLateWaitsByTheMonotonicClockToo) {
  const EarlyTimeOfDay theClock(INT32_MAX - 1);
  const SeenWait theWait("pthread_cond_clockwait", ETIMEDOUT, 2, 3);
  EXPECT_EQ(zvCondition_Status_TimeOut, zvCondition_WaitTimeout(mCondition, mMutex, 2000));
  EXPECT_EQ(1, theWait.Hits());
  EXPECT_LE(theWait.Time().tv_sec, SecondsSinceStart() + 3);
}

TEST_F(LateWait, AConditionWhoseDeadlineStillFitsWaitsAsEver) {
  const EarlyTimeOfDay theClock(INT32_MAX - 2);
  const SeenWait theWait("pthread_cond_timedwait", ETIMEDOUT, -1, 2);
  EXPECT_EQ(zvCondition_Status_TimeOut, zvCondition_WaitTimeout(mCondition, mMutex, 2999));
  EXPECT_EQ(1, theWait.Hits());
  EXPECT_EQ(INT32_MAX, theWait.Time().tv_sec);
  EXPECT_EQ(999000000, theWait.Time().tv_nsec);
}

TEST_F(LateWait, WithoutDelayAConditionTimesOutAtOnce) {
  const LateClock theClock(k2040, 0);
  const Stopwatch theWatch;
  EXPECT_EQ(zvCondition_Status_TimeOut, zvCondition_WaitTimeout(mCondition, mMutex, 0));
  EXPECT_LT(theWatch.Milliseconds(), 5000);
}

TEST_F(LateWait, AnInterruptedConditionRepeatsWithTheSameDeadline) {
  const LateClock theClock(k2040, 0);
  SeenWait theLast("pthread_cond_clockwait", ETIMEDOUT, 2, 3);
  SeenWait theFirst("pthread_cond_clockwait", EINTR, 2, 3);
  EXPECT_EQ(zvCondition_Status_TimeOut, zvCondition_WaitTimeout(mCondition, mMutex, kVeryLong));
  EXPECT_EQ(1, theFirst.Hits());
  EXPECT_EQ(1, theLast.Hits());
  EXPECT_EQ(theFirst.Time().tv_sec, theLast.Time().tv_sec);
  EXPECT_EQ(theFirst.Time().tv_nsec, theLast.Time().tv_nsec);
  EXPECT_NE(0, zvMutex_IsHeld(mMutex));
}

TEST_F(LateWait, AConditionThatFailsSaysSoInTheWordsOfEver) {
  const LateClock theClock(k2040, 0);
  Fault theFault("pthread_cond_clockwait", EPERM);
  EXPECT_EQ(zvCondition_Status_Error, zvCondition_WaitTimeout(mCondition, mMutex, kVeryLong));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("zvOSCondition", "pthread_cond_timedwait", EPERM)));
}

TEST_F(LateWait, ASemaphoreWaitsForItsDelay) {
  Fault theClock("clock_gettime", EOVERFLOW);
  const Stopwatch theWatch;
  EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_WaitTimeout(mSemaphore, kDelay));
  EXPECT_EQ(1, theClock.Hits());
  EXPECT_GE(theWatch.Milliseconds(), kDelay - 1);
  EXPECT_LT(theWatch.Milliseconds(), kVeryLong);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(LateWait, ASemaphoreWaitsByTheMonotonicClock) {
  Fault theClock("clock_gettime", EOVERFLOW);
  const int theCalls = CallsOf("sem_timedwait");
  const SeenWait theWait("sem_clockwait", ETIMEDOUT, 1, 2);
  const long theStart = SecondsSinceStart();
  EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_WaitTimeout(mSemaphore, kVeryLong));
  EXPECT_EQ(CLOCK_MONOTONIC, theWait.Clock());
  EXPECT_GE(theWait.Time().tv_sec, theStart + 60);
  EXPECT_LE(theWait.Time().tv_sec, SecondsSinceStart() + 61);
  EXPECT_EQ(theCalls, CallsOf("sem_timedwait"));
}

TEST_F(LateWait, ASemaphoreWhoseDeadlineComesLateWaitsByTheMonotonicClockToo) {
  const EarlyClock theClock(INT32_MAX - 1);
  const SeenWait theWait("sem_clockwait", ETIMEDOUT, 1, 2);
  EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_WaitTimeout(mSemaphore, 2000));
  EXPECT_EQ(1, theWait.Hits());
  EXPECT_LE(theWait.Time().tv_sec, SecondsSinceStart() + 3);
}

TEST_F(LateWait, ASemaphoreWhoseDeadlineStillFitsWaitsAsEver) {
  const EarlyClock theClock(INT32_MAX - 2);
  const SeenWait theWait("sem_timedwait", ETIMEDOUT, -1, 1);
  EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_WaitTimeout(mSemaphore, 2999));
  EXPECT_EQ(1, theWait.Hits());
  EXPECT_EQ(INT32_MAX, theWait.Time().tv_sec);
  EXPECT_EQ(999000000, theWait.Time().tv_nsec);
}

TEST_F(LateWait, ASemaphoreThatIsPostedIsTaken) {
  Fault theClock("clock_gettime", EOVERFLOW);
  zvSemaphore_Post(mSemaphore);
  EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_WaitTimeout(mSemaphore, kVeryLong));
  EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_TryWait(mSemaphore));
}

TEST_F(LateWait, ASemaphoreThatFailsSaysSoInTheWordsOfEver) {
  {
    Fault theClock("clock_gettime", EOVERFLOW);
    Fault theWait("sem_clockwait", EINTR);
    EXPECT_EQ(zvSemaphore_Status_Error, zvSemaphore_WaitTimeout(mSemaphore, kVeryLong));
    EXPECT_EQ(1, theWait.Hits());
  }
  // Neither clock can be told.
  Fault theMonotonic("clock_gettime", EINVAL);
  Fault theClock("clock_gettime", EOVERFLOW);
  EXPECT_EQ(zvSemaphore_Status_Error, zvSemaphore_WaitTimeout(mSemaphore, kVeryLong));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("zvOSSemaphore", "sem_timedwait", EINTR),
                                           Failed("zvOSSemaphore", "clock_gettime", EINVAL)));
}

}  // namespace
