// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include <zvOS/cpp/Sync.hpp>

#include "support/Faults.h"
#include "support/RecordingLog.h"
#include "support/Threads.h"

#include <ctime>
#include <limits>
#include <mutex>
#include <thread>
#include <utility>

namespace {

using ::testing::Each;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace std::chrono_literals;
using namespace zvtest;

constexpr int kThreads = 4;
constexpr int kRounds = 1000;

template <typename Lock>
void ExpectThatOneAtATimeCounts() {
  Lock theLock;
  ASSERT_TRUE(theLock);
  int theCount = 0;
  InThreads(kThreads, [&](int) {
    for (int i = 0; i < kRounds; ++i) {
      const std::lock_guard theGuard(theLock);
      const std::scoped_lock theSecondHold(theLock);
      ++theCount;
    }
  });
  EXPECT_EQ(kThreads * kRounds, theCount);
}

TEST(CppMutex, LetsOneThreadInAtATimeAsOftenAsItWants) {
  ExpectThatOneAtATimeCounts<zv::Mutex>();
}

TEST(CppCriticalSection, LetsOneThreadInAtATimeAsOftenAsItWants) {
  ExpectThatOneAtATimeCounts<zv::CriticalSection>();
}

TEST(CppMutex, KnowsWhoHoldsIt) {
  zv::Mutex theMutex;
  std::unique_lock theLock(theMutex);
  EXPECT_TRUE(theMutex.IsHeld());
  std::thread([&] { EXPECT_FALSE(theMutex.IsHeld()); }).join();
  theLock.unlock();
  EXPECT_FALSE(theMutex.IsHeld());
}

TEST(CppMutex, SaysThatAnUnlockWasRefused) {
  const RecordingLog theLog;
  zv::Mutex theMutex;
  EXPECT_TRUE(theMutex.Lock());
  EXPECT_TRUE(theMutex.Unlock());
  errno = EPERM;
  EXPECT_EQ(zvMutex_Status_Error, theMutex.Unlock().error().Status());
  errno = EPERM;
  EXPECT_EQ(0, theMutex.Unlock().error().Errno());
  theMutex.unlock();
  EXPECT_THAT(theLog.Messages(), SizeIs(3));

  zv::CriticalSection theSection;
  EXPECT_TRUE(theSection.Enter());
  {
    const Fault theFault("pthread_mutex_unlock", EPERM);
    EXPECT_EQ(zvCriticalSection_Status_Error, theSection.Leave().error().Status());
  }
  EXPECT_TRUE(theSection.Leave());
}

TEST(CppMutex, ThatCouldNotBeMadeIsFalse) {
  const RecordingLog theLog;
  const Fault theFault("pthread_mutex_init", EAGAIN, 0, 2);
  EXPECT_FALSE(zv::Mutex());
  EXPECT_FALSE(zv::CriticalSection());
  const Fault theOther("pthread_cond_init", EAGAIN);
  EXPECT_FALSE(zv::Condition());
  EXPECT_FALSE(zv::Semaphore(-1));
}

TEST(CppCondition, WakesWhoWaitsForAPredicate) {
  zv::Mutex theMutex;
  zv::Condition theCondition;
  int theTurn = 0;
  std::thread theOther([&] {
    std::unique_lock theLock(theMutex);
    theCondition.wait(theLock, [&] { return theTurn == 1; });
    theTurn = 2;
    theCondition.notify_all();
  });
  {
    const std::lock_guard theGuard(theMutex);
    theTurn = 1;
    theCondition.notify_one();
    EXPECT_TRUE(theCondition.wait_for(theMutex, 1min, [&] { return theTurn == 2; }));
    EXPECT_TRUE(theMutex.IsHeld());
  }
  theOther.join();
}

TEST(CppCondition, StopsWaitingWhenTheTimeIsOver) {
  zv::Mutex theMutex;
  zv::Condition theCondition;
  std::unique_lock theLock(theMutex);
  const auto theBegin = std::chrono::steady_clock::now();
  EXPECT_FALSE(theCondition.wait_for(theLock, 20ms, [] { return false; }));
  EXPECT_GE(std::chrono::steady_clock::now() - theBegin, 19ms);
  EXPECT_EQ(zv::WaitStatus::kTimeOut, theCondition.wait_for(theLock, 1ms));
  EXPECT_TRUE(theCondition.wait_for(theLock, 0ms, [] { return true; }));
  EXPECT_TRUE(theMutex.IsHeld());
}

// A millisecond that begins while the predicate is asked is not the end of the one before.
TEST(CppCondition, DoesNotStopWaitingBeforeTheTimeIsOver) {
  zv::Mutex theMutex;
  zv::Condition theCondition;
  const std::lock_guard theGuard(theMutex);
  for (int i = 0; i < 20; ++i) {
    const auto theBegin = std::chrono::steady_clock::now();
    bool afFirst = true;
    EXPECT_FALSE(theCondition.wait_for(theMutex, 2ms, [&] {
      if (std::exchange(afFirst, false)) std::this_thread::sleep_for(500us);
      return false;
    }));
    // The two clocks may be adjusted differently.
    EXPECT_GE(std::chrono::steady_clock::now() - theBegin, 1990us);
  }
}

// The flat wait is refused when now and the delay add up to a whole second.
TEST(CppCondition, AWaitThatEndsAtAFullSecondIsAWait) {
  const RecordingLog theLog;
  zv::Mutex theMutex;
  zv::Condition theCondition;
  const std::lock_guard theGuard(theMutex);
  {
    const Fault theRefusal("pthread_cond_timedwait", EINVAL);
    EXPECT_EQ(zv::WaitStatus::kTimeOut, theCondition.wait_for(theMutex, 5ms));
  }
  Fault theRefusals("pthread_cond_timedwait", EINVAL, 0, -1);
  EXPECT_EQ(zv::WaitStatus::kError, theCondition.wait_for(theMutex, 5ms));
  // It does not try for ever.
  EXPECT_FALSE(theCondition.wait_for(theMutex, 1h, [] { return false; }));
  EXPECT_EQ(4, theRefusals.Hits());
}

// One that is asked for with a mutex that is not held, say.
TEST(CppCondition, AWaitThatIsRefusedEndsWithWhatThePredicateSays) {
  const RecordingLog theLog;
  zv::Mutex theMutex;
  zv::Condition theCondition;
  const std::lock_guard theGuard(theMutex);
  const Fault theRefusals("pthread_cond_wait", EPERM, 0, 3);
  int theQuestions = 0;
  EXPECT_FALSE(theCondition.wait(theMutex, [&] { return ++theQuestions > 3; }));
  EXPECT_EQ(1, theRefusals.Hits());
  EXPECT_EQ(2, theQuestions);
  EXPECT_TRUE(theCondition.wait(theMutex, [&] { return ++theQuestions > 3; }));
  EXPECT_EQ(2, theRefusals.Hits());
}

TEST(CppSemaphore, CountsUpAndDown) {
  zv::Semaphore theSemaphore(1);
  EXPECT_TRUE(theSemaphore.acquire());
  EXPECT_FALSE(theSemaphore.try_acquire());
  EXPECT_FALSE(theSemaphore.try_acquire_for(5ms));
  std::thread theOther([&] { theSemaphore.release(); });
  EXPECT_TRUE(theSemaphore.acquire());
  theOther.join();
  EXPECT_TRUE(theSemaphore.Post());
  EXPECT_TRUE(theSemaphore.try_acquire());
  theSemaphore.release();
  EXPECT_TRUE(theSemaphore.try_acquire_for(1min));
}

// The flat function begins to count at the last full millisecond.
TEST(CppSemaphore, DoesNotStopWaitingBeforeTheTimeIsOver) {
  zv::Semaphore theSemaphore;
  for (int i = 0; i < 20; ++i) {
    const auto theBegin = std::chrono::steady_clock::now();
    EXPECT_FALSE(theSemaphore.try_acquire_for(1ms));
    // The two clocks may be adjusted differently.
    EXPECT_GE(std::chrono::steady_clock::now() - theBegin, 990us);
  }
  EXPECT_FALSE(theSemaphore.try_acquire_for(0ms));
}

TEST(CppSemaphore, AnInterruptedWaitTookNothingAndSaysSo) {
  const RecordingLog theLog;
  zv::Semaphore theSemaphore;
  InterruptBy(SIGUSR1, [&] { EXPECT_EQ(EINTR, theSemaphore.acquire().error().Errno()); });
  EXPECT_FALSE(theSemaphore.try_acquire());
}

TEST(CppDelay, IsNeverShorterThanAskedForAndNeverTooLong) {
  EXPECT_EQ(0u, zv::detail::Delay(-5s));
  EXPECT_EQ(1u, zv::detail::Delay(1ns));
  EXPECT_EQ(2000u, zv::detail::Delay(2s));
  EXPECT_EQ(UINT32_MAX, zv::detail::Delay(24h * 365));
}

template <typename Unit, typename Period = std::ratio<1>>
using Time = std::chrono::duration<Unit, Period>;

TEST(CppDelay, IsCutAtTheMillisecondWhateverTheUnit) {
  EXPECT_EQ(UINT32_MAX, zv::detail::Delay(std::chrono::milliseconds(UINT32_MAX)));
  EXPECT_EQ(UINT32_MAX, zv::detail::Delay(std::chrono::milliseconds(UINT32_MAX) + 1ns));
  EXPECT_EQ(UINT32_MAX, zv::detail::Delay(std::chrono::milliseconds(UINT32_MAX) - 1ns));
  EXPECT_EQ(UINT32_MAX - 1, zv::detail::Delay(std::chrono::milliseconds(UINT32_MAX) - 1ms));
  EXPECT_EQ(1193u * 3600000, zv::detail::Delay(1193h));
  EXPECT_EQ(UINT32_MAX, zv::detail::Delay(1194h));
  EXPECT_EQ(334u, zv::detail::Delay(Time<int, std::ratio<1, 3>>(1)));
  EXPECT_EQ(1000u, zv::detail::Delay(Time<int, std::ratio<1, 3>>(3)));
}

TEST(CppDelay, DoesNotOverflow) {
  EXPECT_EQ(UINT32_MAX, zv::detail::Delay(std::chrono::hours::max()));
  EXPECT_EQ(UINT32_MAX, zv::detail::Delay(std::chrono::seconds::max()));
  EXPECT_EQ(UINT32_MAX, zv::detail::Delay(std::chrono::milliseconds::max()));
  EXPECT_EQ(UINT32_MAX, zv::detail::Delay(std::chrono::nanoseconds::max()));
  EXPECT_EQ(0u, zv::detail::Delay(std::chrono::hours::min()));
  EXPECT_EQ(0u, zv::detail::Delay(std::chrono::nanoseconds::min()));
  EXPECT_EQ(0u, zv::detail::Delay(0h));
  EXPECT_EQ(255000u, zv::detail::Delay(Time<unsigned char>::max()));
  EXPECT_EQ(UINT32_MAX, zv::detail::Delay(Time<uint64>::max()));
  EXPECT_EQ(UINT32_MAX, zv::detail::Delay(Time<uint64, std::nano>::max()));
  EXPECT_EQ(2147484u, zv::detail::Delay(Time<int, std::micro>::max()));
  EXPECT_EQ(1u, zv::detail::Delay(Time<int64, std::atto>(1)));
  EXPECT_EQ(9224u, zv::detail::Delay(Time<int64, std::atto>::max()));
  EXPECT_EQ(UINT32_MAX, zv::detail::Delay(Time<int, std::exa>(1)));
  EXPECT_EQ(0u, zv::detail::Delay(Time<int, std::exa>(-1)));
}

TEST(CppDelay, MayBeAFraction) {
  EXPECT_EQ(500u, zv::detail::Delay(Time<float>(0.5F)));
  EXPECT_EQ(5u, zv::detail::Delay(Time<double, std::milli>(5)));
  EXPECT_EQ(100u, zv::detail::Delay(Time<double>(0.1)));
  EXPECT_EQ(1u, zv::detail::Delay(Time<double>(1e-30)));
  EXPECT_EQ(909494702u, zv::detail::Delay(Time<double, std::exa>(0x1p-40)));
  EXPECT_EQ(UINT32_MAX, zv::detail::Delay(Time<double, std::milli>(UINT32_MAX)));
  EXPECT_EQ(UINT32_MAX, zv::detail::Delay(Time<double, std::milli>(UINT32_MAX - 0.5)));
  EXPECT_EQ(UINT32_MAX, zv::detail::Delay(Time<float, std::milli>(4294967296.0F)));
  EXPECT_EQ(UINT32_MAX, zv::detail::Delay(Time<double>(1e300)));
  EXPECT_EQ(UINT32_MAX, zv::detail::Delay(Time<float>(std::numeric_limits<float>::infinity())));
  EXPECT_EQ(0u, zv::detail::Delay(Time<double>(-0.001)));
  EXPECT_EQ(0u, zv::detail::Delay(Time<double>(-1e300)));
  EXPECT_EQ(0u, zv::detail::Delay(Time<double>(std::numeric_limits<double>::quiet_NaN())));
}

// As long as the flat interface can say.
TEST(CppDelay, OfAnyLengthIsAWait) {
  constexpr auto kMost = std::chrono::hours::max();
  zv::Semaphore theSemaphore;
  {
    int64 theEnd = 0;
    Fault theFault("sem_timedwait", 0);
    theFault.Returning(0).Doing(
        [&](const long long *anArguments) { theEnd = ArgumentAs<const timespec>(anArguments[1])->tv_sec; });
    EXPECT_TRUE(theSemaphore.try_acquire_for(kMost));
    EXPECT_GT(theEnd - time(nullptr), 49 * 86400);
  }
  zv::Mutex theMutex;
  zv::Condition theCondition;
  const std::lock_guard theGuard(theMutex);
  bool afDone = false;
  Fault theFault("pthread_cond_timedwait", 0);
  theFault.Returning(0).Doing([&](const long long *) { afDone = true; });
  EXPECT_TRUE(theCondition.wait_for(theMutex, kMost, [&] { return afDone; }));
}

}  // namespace
