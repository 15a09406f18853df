// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Clocks after 2038-01-19T03:14:07Z where time_t has 32 bits.

#include <zvOS/zvTime.h>

#include "support/LateClock.h"
#include "support/RecordingLog.h"

#include <dlfcn.h>

#include <cstdlib>
#include <string>

namespace {

using zvtest::CallsOf;
using zvtest::Fault;
using zvtest::k2040;
using zvtest::k2105;
using zvtest::LateClock;
using zvtest::Low;

constexpr long kSecondsPerDay = 86400;

// Central European time, with summer time from the last Sunday of March to the last one of October.
constexpr char kCentralEurope[] = "CET-1CEST,M3.5.0,M10.5.0/3";

class LateTime : public zvtest::LateTest {
 protected:
  void TearDown() override {
    unsetenv("TZ");
    tzset();
  }

  static void SetZone(const char *aZone) {
    setenv("TZ", aZone, 1);
    tzset();
  }

  zvtest::RecordingLog mLog;
};

zvtimezone ZoneAt(long long aTime) {
  const LateClock theClock(aTime);
  zvtimezone theZone = {-1, -1};
  EXPECT_EQ(0, zvTime_GetTimeZone(&theZone));
  return theZone;
}

TEST_F(LateTime, TheTimeOfDayIsTheLow32BitsOfThe64BitClock) {
  for (const long long theSeconds : {2147483648LL, k2040, k2105, 4294967295LL}) {
    const LateClock theClock(theSeconds, 123456789);
    zvtimeval theTime = {-1, -1};
    zvTime_GetTimeOfDay(&theTime);
    EXPECT_EQ(theSeconds, static_cast<uint32>(theTime.tv_sec));
    EXPECT_EQ(123456, theTime.tv_usec);
    EXPECT_EQ(1, theClock.Readings());
  }
  EXPECT_THAT(mLog.Calls(), ::testing::IsEmpty());
}

TEST_F(LateTime, DifferencesStayRightAcrossTheSecond) {
  zvtimeval theBefore = {};
  zvtimeval theAfter = {};
  {
    Fault theClock("gettimeofday", 0);
    theClock.Returning(0).Doing([](const long long *anArguments) {
      *reinterpret_cast<zvtimeval *>(static_cast<uintptr_t>(anArguments[0])) = {INT32_MAX, 0};
    });
    zvTime_GetTimeOfDay(&theBefore);
  }
  {
    const LateClock theClock(INT32_MAX + 5LL);
    zvTime_GetTimeOfDay(&theAfter);
  }
  EXPECT_EQ(5u, static_cast<uint32>(theAfter.tv_sec) - static_cast<uint32>(theBefore.tv_sec));
}

TEST_F(LateTime, AClockThatIsNotLateIsAskedOnce) {
  const int theCalls = CallsOf("syscall");
  Fault theFault("gettimeofday", EINVAL);
  zvtimeval theTime = {-1, -1};
  zvTime_GetTimeOfDay(&theTime);
  EXPECT_EQ(0, theTime.tv_sec);
  EXPECT_EQ(theCalls, CallsOf("syscall"));
}

TEST_F(LateTime, WithoutA64BitClockTheTimeOfDayIsZero) {
  Fault theFault("gettimeofday", EOVERFLOW);
  Fault theClock("syscall", ENOSYS);
  zvtimeval theTime = {-1, -1};
  zvTime_GetTimeOfDay(&theTime);
  EXPECT_EQ(0, theTime.tv_sec);
  EXPECT_EQ(0, theTime.tv_usec);
}

TEST_F(LateTime, TheZoneIsThatOfNow) {
  SetZone(kCentralEurope);
  EXPECT_EQ(60, ZoneAt(k2040).tz_minuteswest);
  EXPECT_EQ(0, ZoneAt(k2040).tz_dsttime);
  EXPECT_EQ(60, ZoneAt(k2040 + 120 * kSecondsPerDay).tz_minuteswest);
  EXPECT_EQ(60, ZoneAt(k2040 + 120 * kSecondsPerDay).tz_dsttime);
  EXPECT_EQ(60, ZoneAt(k2105 + 180 * kSecondsPerDay).tz_dsttime);
  SetZone("XXX5");
  EXPECT_EQ(-300, ZoneAt(2147483648LL).tz_minuteswest);
  EXPECT_EQ(-300, ZoneAt(k2105).tz_minuteswest);
}

// Now is counted from UTC and taken for a local time, which west of it is late some hours before.
TEST_F(LateTime, TheZoneIsRightInTheLastHoursToo) {
  for (const long theRest : {0L, 3600L, 4 * 3600L, 6 * 3600L, 11 * 3600L, 13 * 3600L}) {
    for (const int theHoursWest : {-14, -5, 0, 5, 12}) {
      SetZone(zvtest::Format("XXX%d", theHoursWest).c_str());
      Fault theNow("time", 0);
      theNow.Returning(INT32_MAX - theRest);
      zvtimezone theZone = {-1, -1};
      EXPECT_EQ(0, zvTime_GetTimeZone(&theZone));
      EXPECT_EQ(-60 * theHoursWest, theZone.tz_minuteswest) << theRest;
      EXPECT_EQ(0, theZone.tz_dsttime);
    }
  }
}

TEST_F(LateTime, WithoutACalendarForItTheZoneIsThatOfTheLastDays) {
  SetZone(kCentralEurope);
  for (int theMissing = 0; theMissing < 3; ++theMissing) {
    Fault theFault("dlsym", 0, theMissing);
    const zvtimezone theZone = ZoneAt(k2040 + 120 * kSecondsPerDay);
    EXPECT_EQ(1, theFault.Hits());
    EXPECT_EQ(60, theZone.tz_minuteswest);
    EXPECT_EQ(0, theZone.tz_dsttime);
  }
  for (const char *theZone : {"XXX-14", "XXX12"}) {
    SetZone(theZone);
    Fault theFault("dlsym", 0);
    EXPECT_EQ(theZone[3] == '-' ? 840 : -720, ZoneAt(k2040).tz_minuteswest);
  }
}

TEST_F(LateTime, ATimeZoneThatIsNotLateIsFoundAsEver) {
  SetZone("XXX-2");
  const int theCalls = CallsOf("dlsym");
  Fault theNow("time", 0);
  theNow.Returning(INT32_MAX - 3600);
  zvtimezone theZone = {-1, -1};
  EXPECT_EQ(0, zvTime_GetTimeZone(&theZone));
  EXPECT_EQ(120, theZone.tz_minuteswest);
  EXPECT_EQ(theCalls, CallsOf("dlsym"));
}

TEST_F(LateTime, ADateIsTheLow32BitsOfItsMidnight) {
  SetZone("UTC0");
  EXPECT_EQ(2147472000, zvTime_ConvertMacroDate("Jan 19 2038"));
  EXPECT_EQ(Low(2147558400), zvTime_ConvertMacroDate("Jan 20 2038"));
  EXPECT_EQ(Low(k2040), zvTime_ConvertMacroDate("Feb 29 2040"));
  EXPECT_EQ(Low(k2105), zvTime_ConvertMacroDate("Jan  1 2105"));
  EXPECT_EQ(Low(4294944000), zvTime_ConvertMacroDate("Feb  7 2106"));
  EXPECT_EQ(-1, zvTime_ConvertMacroDate("Feb  8 2106"));
  EXPECT_EQ(-1, zvTime_ConvertMacroDate("Jan  1 1900"));
  SetZone(kCentralEurope);
  EXPECT_EQ(Low(k2040 - 3600), zvTime_ConvertMacroDate("Feb 29 2040"));
}

TEST_F(LateTime, WithoutACalendarForItADateCannotBeExpressed) {
  Fault theFault("dlsym", 0);
  EXPECT_EQ(-1, zvTime_ConvertMacroDate("Feb 29 2040"));
  EXPECT_EQ(1, theFault.Hits());
}

}  // namespace
