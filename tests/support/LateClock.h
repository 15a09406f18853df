// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the library meets after 2038-01-19T03:14:07Z where time_t has 32 bits: calls of the system that answer
// EOVERFLOW, and those of 64 bits beside them.
#pragma once

#include "support/Faults.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <ctime>

namespace zvtest {

constexpr bool kfNarrowTime = sizeof(time_t) == 4;

// Numbers of calls of the system, the same on all 32-bit processors.
constexpr long kClockGetTime64 = 403;
constexpr long kUTimeNSAt64 = 412;

// A time as calls of 64 bits have it.
struct WideTime {
  int64_t mSeconds;
  int64_t mNanoseconds;
};

inline WideTime *WideTimeAt(long long anArgument) {
  return reinterpret_cast<WideTime *>(static_cast<uintptr_t>(anArgument));
}

// What a caller finds in 32 bits.
constexpr long Low(long long aSeconds) {
  return static_cast<int32_t>(static_cast<uint32_t>(aSeconds));
}

constexpr long long k2040 = 2214086400;  // 2040-02-29T00:00:00Z
constexpr long long k2105 = 4260211200;  // 2105-01-01T00:00:00Z

// In force while it lives: the 64-bit clock tells this time.
class WideClock {
 public:
  explicit WideClock(long long aSeconds, long someNanoseconds = 0) : mFault("syscall", 0, 0, -1) {
    mFault.Returning(0).Doing([=](const long long *anArguments) {
      EXPECT_EQ(kClockGetTime64, anArguments[0]);
      EXPECT_EQ(CLOCK_REALTIME, anArguments[1]);
      *WideTimeAt(anArguments[2]) = {aSeconds, someNanoseconds};
    });
  }
  int Readings() const { return mFault.Hits(); }

 private:
  Fault mFault;
};

// The same, and the calls of 32 bits that tell the time of day refuse it. (clock_gettime() is left to those
// that know which of its clocks is meant.)
class LateClock : public WideClock {
 public:
  explicit LateClock(long long aSeconds, long someNanoseconds = 0)
      : WideClock(aSeconds, someNanoseconds),
        mTimeOfDay("gettimeofday", EOVERFLOW, 0, -1),
        mTime("time", EOVERFLOW, 0, -1) {}

 private:
  Fault mTimeOfDay;
  Fault mTime;
};

// In force while it lives: a time of day that 32 bits still hold, as semaphores ask for it.
class EarlyClock {
 public:
  explicit EarlyClock(long aSeconds) : mFault("clock_gettime", 0) {
    mFault.Returning(0).Doing([=](const long long *anArguments) {
      EXPECT_EQ(CLOCK_REALTIME, anArguments[0]);
      *ArgumentAs<timespec>(anArguments[1]) = {aSeconds, 0};
    });
  }

 private:
  Fault mFault;
};

// Whether the test itself runs late.
inline bool IsLateNow() {
  WideTime theTime = {};
  return kfNarrowTime && syscall(kClockGetTime64, CLOCK_REALTIME, &theTime) == 0 &&
         theTime.mSeconds > INT32_MAX;
}

// Tests of what can only happen to a narrow time_t.
class LateTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!kfNarrowTime) GTEST_SKIP() << "time_t has 64 bits here: no time is late";
  }
};

}  // namespace zvtest
