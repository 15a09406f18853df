// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include <zvOS/zvMonoliticTime.h>
#include <zvOS/zvTime.h>

#include "support/HandleChecks.h"

#include <sys/time.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;

constexpr zvLogModule kModule = 7;

// Central Europe: an hour east, another in summer.
constexpr char kCentralEurope[] = "CET-1CEST,M3.5.0,M10.5.0/3";

constexpr time_t kSummer = 1467374400;  // 1 July 2016, 12:00 UTC
constexpr time_t kWinter = 1451649600;  // 1 January 2016, 12:00 UTC

// The process lives in another time zone until the end of the test.
class Zone {
 public:
  explicit Zone(const char *aZone) {
    const char *theFormer = getenv("TZ");
    mfHadZone = theFormer != nullptr;
    if (mfHadZone) mFormer = theFormer;
    setenv("TZ", aZone, 1);
    tzset();
  }
  ~Zone() {
    if (mfHadZone) {
      setenv("TZ", mFormer.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }
  Zone(const Zone &) = delete;
  Zone &operator=(const Zone &) = delete;

 private:
  bool mfHadZone;
  std::string mFormer;
};

struct ZoneAt {
  long mMinutes;
  long mDaylight;
  bool operator==(const ZoneAt &another) const {
    return mMinutes == another.mMinutes && mDaylight == another.mDaylight;
  }
};

void PrintTo(const ZoneAt &aZone, std::ostream *aStream) {
  *aStream << aZone.mMinutes << " minutes, daylight " << aZone.mDaylight;
}

ZoneAt TimeZoneAt(const char *aZone, time_t aTime) {
  const Zone theZone(aZone);
  Fault theNow("time", 0);
  theNow.Returning(aTime);
  zvtimezone theResult = {-1, -1};
  EXPECT_EQ(0, zvTime_GetTimeZone(&theResult));
  EXPECT_EQ(1, theNow.Hits());
  return {theResult.tz_minuteswest, theResult.tz_dsttime};
}

// Midnight UTC of a date.
long Midnight(int aYear, int aMonth, int aDay) {
  tm theTime = {};
  theTime.tm_year = aYear - 1900;
  theTime.tm_mon = aMonth - 1;
  theTime.tm_mday = aDay;
  return static_cast<long>(timegm(&theTime));
}

long long Nanoseconds(const timespec &aTime) {
  return aTime.tv_sec * 1000000000LL + aTime.tv_nsec;
}

long long MonotonicNow() {
  timespec theTime;
  clock_gettime(CLOCK_MONOTONIC, &theTime);
  return Nanoseconds(theTime);
}

class MonotonicClock {
 public:
  MonotonicClock(long aSeconds, long someNanoseconds) : mFault("clock_gettime", 0) {
    mFault.Returning(0).Doing([=](const long long *anArguments) {
      EXPECT_EQ(CLOCK_MONOTONIC, anArguments[0]);
      *ArgumentAs<timespec>(anArguments[1]) = {aSeconds, someNanoseconds};
    });
  }
  ~MonotonicClock() { EXPECT_EQ(1, mFault.Hits()); }

 private:
  Fault mFault;
};

uint32 TickCountAt(long aSeconds, long someNanoseconds) {
  const MonotonicClock theClock(aSeconds, someNanoseconds);
  return zvTime_GetTickCount();
}

TEST(TimeOfDay, IsTheSystemsWithoutZone) {
  long long theZone = -1;
  Fault theFault("gettimeofday", 0);
  theFault.Returning(0).Doing([&](const long long *anArguments) {
    auto *theTime = ArgumentAs<timeval>(anArguments[0]);
    theTime->tv_sec = 1447632000;
    theTime->tv_usec = 999999;
    theZone = anArguments[1];
  });
  zvtimeval theTime = {-1, -1};
  zvTime_GetTimeOfDay(&theTime);
  EXPECT_EQ(1447632000, theTime.tv_sec);
  EXPECT_EQ(999999, theTime.tv_usec);
  EXPECT_EQ(0, theZone);
}

TEST(TimeOfDay, IsNow) {
  timeval theBefore;
  gettimeofday(&theBefore, nullptr);
  zvtimeval theTime = {-1, -1};
  zvTime_GetTimeOfDay(&theTime);
  timeval theAfter;
  gettimeofday(&theAfter, nullptr);
  const auto theMicroseconds = [](long aSeconds, long aRest) { return aSeconds * 1000000LL + aRest; };
  EXPECT_LE(theMicroseconds(theBefore.tv_sec, theBefore.tv_usec),
            theMicroseconds(theTime.tv_sec, theTime.tv_usec));
  EXPECT_GE(theMicroseconds(theAfter.tv_sec, theAfter.tv_usec),
            theMicroseconds(theTime.tv_sec, theTime.tv_usec));
}

TEST(TimeZone, CountsMinutesEastOfUtc) {
  EXPECT_EQ((ZoneAt{0, 0}), TimeZoneAt("UTC0", kSummer));
  EXPECT_EQ((ZoneAt{60, 0}), TimeZoneAt("XXX-1", kSummer));
  EXPECT_EQ((ZoneAt{120, 0}), TimeZoneAt("XXX-2", kSummer));
  EXPECT_EQ((ZoneAt{330, 0}), TimeZoneAt("XXX-5:30", kSummer));
  EXPECT_EQ((ZoneAt{840, 0}), TimeZoneAt("XXX-14", kSummer));
}

TEST(TimeZone, IsNegativeWestOfUtc) {
  EXPECT_EQ((ZoneAt{-300, 0}), TimeZoneAt("XXX5", kSummer));
  EXPECT_EQ((ZoneAt{-210, 0}), TimeZoneAt("XXX3:30", kSummer));
}

TEST(TimeZone, TellsDaylightSavingApart) {
  EXPECT_EQ((ZoneAt{60, 0}), TimeZoneAt(kCentralEurope, kWinter));
  EXPECT_EQ((ZoneAt{60, 60}), TimeZoneAt(kCentralEurope, kSummer));
}

TEST(TimeZone, OffsetsOfPartsOfAMinuteAreCutTowardsZero) {
  EXPECT_EQ((ZoneAt{20, 0}), TimeZoneAt("XXX-0:20:59", kSummer));
  EXPECT_EQ((ZoneAt{-20, 0}), TimeZoneAt("XXX0:20:59", kSummer));
}

TEST(TimeZone, UnknownDaylightSavingCountsAsNone) {
  const Zone theZone("XXX-2");
  zvtest::Fault theFault("localtime_r", 0);
  theFault.PassingThrough().Doing([](const long long *anArguments) {
    reinterpret_cast<tm *>(static_cast<uintptr_t>(anArguments[1]))->tm_isdst = -1;
  });
  zvtimezone theResult = {-1, -1};
  EXPECT_EQ(0, zvTime_GetTimeZone(&theResult));
  EXPECT_EQ(0, theResult.tz_dsttime);
}

TEST(TimeZone, NeedsNoScriptedTime) {
  const Zone theZone("XXX-2");
  zvtimezone theResult = {-1, -1};
  EXPECT_EQ(0, zvTime_GetTimeZone(&theResult));
  EXPECT_EQ(120, theResult.tz_minuteswest);
  EXPECT_EQ(0, theResult.tz_dsttime);
}

TEST(ConvertMacroDate, IsLocalMidnight) {
  const Zone theZone("XXX-2");
  EXPECT_EQ(Midnight(2015, 11, 16) - 7200, zvTime_ConvertMacroDate("Nov 16 2015"));
  EXPECT_EQ(Midnight(2016, 2, 29) - 7200, zvTime_ConvertMacroDate("Feb 29 2016"));
}

TEST(ConvertMacroDate, KnowsEveryMonth) {
  const Zone theZone("UTC0");
  const char *const kNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  for (int theMonth = 1; theMonth <= 12; ++theMonth) {
    const std::string theDate = Format("%s 31 1999", kNames[theMonth - 1]);
    EXPECT_EQ(Midnight(1999, theMonth, 31), zvTime_ConvertMacroDate(theDate.c_str())) << theDate;
  }
}

TEST(ConvertMacroDate, ReadsTheBlankBeforeADayOfOneDigit) {
  const Zone theZone("UTC0");
  EXPECT_EQ(Midnight(2017, 1, 5), zvTime_ConvertMacroDate("Jan  5 2017"));
}

TEST(ConvertMacroDate, ReadsTheCompilersDate) {
  const Zone theZone("UTC0");
  const zvtime_t theResult = zvTime_ConvertMacroDate(__DATE__);
  EXPECT_GT(theResult, 1400000000);
  EXPECT_EQ(0, theResult % 86400);
}

TEST(ConvertMacroDate, LeavesDaylightSavingToTheSystem) {
  const Zone theZone(kCentralEurope);
  EXPECT_EQ(Midnight(2016, 7, 1) - 2 * 3600, zvTime_ConvertMacroDate("Jul 1 2016"));
  EXPECT_EQ(Midnight(2016, 1, 1) - 3600, zvTime_ConvertMacroDate("Jan 1 2016"));
}

TEST(ConvertMacroDate, RefusesUnknownMonths) {
  EXPECT_EQ(0, zvTime_ConvertMacroDate("Foo 1 2000"));
  EXPECT_EQ(0, zvTime_ConvertMacroDate("jan 1 2000"));
  EXPECT_EQ(0, zvTime_ConvertMacroDate("11 16 2015"));
}

TEST(ConvertMacroDate, TakesAWordInsideTheNamesForTheMonthInWhichItBegins) {
  const Zone theZone("UTC0");
  EXPECT_EQ(Midnight(2001, 1, 3), zvTime_ConvertMacroDate("anF 3 2001"));
  EXPECT_EQ(Midnight(2001, 1, 3), zvTime_ConvertMacroDate("nFe 3 2001"));
  EXPECT_EQ(Midnight(2001, 2, 3), zvTime_ConvertMacroDate("ebM 3 2001"));
  EXPECT_EQ(Midnight(2001, 3, 3), zvTime_ConvertMacroDate("M 3 2001"));
  EXPECT_EQ(Midnight(2001, 10, 3), zvTime_ConvertMacroDate("c 3 2001"));
}

TEST(ConvertMacroDate, SurvivesWhatIsNoDate) {
  EXPECT_EQ(0, zvTime_ConvertMacroDate(nullptr));
  EXPECT_EQ(0, zvTime_ConvertMacroDate(""));
  EXPECT_EQ(0, zvTime_ConvertMacroDate("   "));
  EXPECT_EQ(0, zvTime_ConvertMacroDate("%s%n 1 2000"));
  EXPECT_EQ(0, zvTime_ConvertMacroDate("November 16 2015"));
  EXPECT_EQ(0, zvTime_ConvertMacroDate((std::string(100000, 'J') + " 1 2000").c_str()));
}

TEST(ConvertMacroDate, TakesNumbersOfAnySize) {
  const Zone theZone("UTC0");
  const char *const kNumbers[] = {"-2147483648",          "-2147483647", "-2147481749",
                                  "-2147481748",          "2147483647",  "99999999999999999999",
                                  "-99999999999999999999"};
  for (const char *theNumber : kNumbers) {
    // What comes of them is the system's affair; the ends of what it counts are no time that it can express.
    const zvtime_t theYear = zvTime_ConvertMacroDate(Format("Nov 16 %s", theNumber).c_str());
    zvTime_ConvertMacroDate(Format("Nov %s 2015", theNumber).c_str());
    zvTime_ConvertMacroDate(Format("Nov %s %s", theNumber, theNumber).c_str());
    if (sizeof(time_t) == 4) {
      EXPECT_EQ(-1, theYear) << theNumber;
    }
  }
  EXPECT_EQ(Midnight(1999, 11, 16), zvTime_ConvertMacroDate("Nov 16 0000000001999"));
}

TEST(TickCount, IsMillisecondsOfTheMonotonicClock) {
  EXPECT_EQ(0u, TickCountAt(0, 999999));
  EXPECT_EQ(1u, TickCountAt(0, 1000000));
  EXPECT_EQ(12345u, TickCountAt(12, 345999999));
}

TEST(TickCount, WrapsAround) {
  EXPECT_EQ(0xFFFFFFFFu, TickCountAt(4294967, 295999999));
  EXPECT_EQ(0u, TickCountAt(4294967, 296000000));
  EXPECT_EQ(1704u, TickCountAt(4294969, 0));
}

TEST(TickCount, RunsWithTheClock) {
  const long long theBefore = MonotonicNow();
  const uint32 theFirst = zvTime_GetTickCount();
  std::this_thread::sleep_for(std::chrono::milliseconds(1000));
  const uint32 theSecond = zvTime_GetTickCount();
  const long long theAfter = MonotonicNow();
  EXPECT_GE(theSecond - theFirst, 999u);
  EXPECT_LE(theSecond - theFirst, static_cast<uint32>((theAfter - theBefore) / 1000000 + 1));
}

TEST(MonotonicTime, IsSecondsAndMicroseconds) {
  zvtest::RecordingLog theLog;
  const MonotonicClock theClock(4711, 123456999);
  zvtimeval theTime = {-1, -1};
  zvMonoliticTime_GetTime(&theTime);
  EXPECT_EQ(4711, theTime.tv_sec);
  EXPECT_EQ(123456, theTime.tv_usec);
  EXPECT_THAT(theLog.Calls(), IsEmpty());
}

TEST(MonotonicTime, RunsWithTheClock) {
  const long long theBefore = MonotonicNow() / 1000;
  zvtimeval theTime = {-1, -1};
  zvMonoliticTime_GetTime(&theTime);
  const long long theAfter = MonotonicNow() / 1000;
  const long long theMicroseconds = theTime.tv_sec * 1000000LL + theTime.tv_usec;
  EXPECT_LE(theBefore, theMicroseconds);
  EXPECT_GE(theAfter, theMicroseconds);
}

TEST(MonotonicTime, IsZeroAndLoggedWhenTheClockFails) {
  zvtest::RecordingLog theLog;
  theLog.SpoilErrno(EDOM);
  Fault theFault("clock_gettime", EINVAL);
  zvtimeval theTime = {-1, -1};
  zvMonoliticTime_GetTime(&theTime);
  EXPECT_THAT(theLog.Messages(),
              ElementsAre(Error(kModule, Format("zvMonoliticTime_GetTime failed (error=%d)\n", EINVAL))));
  EXPECT_THAT(theLog.Messages()[0].mFile, ::testing::EndsWith("/zvMonoliticTime.cpp"));
  EXPECT_EQ(0, theTime.tv_sec);
  EXPECT_EQ(0, theTime.tv_usec);
}

TEST(Time, LogsNothing) {
  zvtest::RecordingLog theLog;
  Fault theTimeOfDay("gettimeofday", EINVAL);
  Fault theClock("clock_gettime", EINVAL);
  zvtimeval theTime;
  zvTime_GetTimeOfDay(&theTime);
  zvTime_GetTickCount();
  zvTime_ConvertMacroDate("Foo 1 2000");
  EXPECT_THAT(theLog.Calls(), IsEmpty());
}

}  // namespace
