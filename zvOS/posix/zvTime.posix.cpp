// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Clocks. The results of the system calls are not tested: a clock that cannot be read shows 0.

#include <zvOS/zvTime.h>

#include "private/LateTime.h"

#include <dlfcn.h>
#include <sys/time.h>
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <type_traits>

namespace {

constexpr char kMonthNames[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
constexpr int kMonthNameLength = 3;
constexpr int kFirstYearOfTm = 1900;
constexpr long kSecondsPerMinute = 60;
constexpr long kDaylightSavingMinutes = 60;

ZV_COLD timeval LateTimeOfDay() {
  zvos::WideTime theTime;
  if (!zvos::GetWideTimeOfDay(&theTime)) return {};
  return {static_cast<time_t>(theTime.mSeconds), static_cast<suseconds_t>(theTime.mNanoseconds) / 1000};
}

// Two days before the end of what a narrow time_t holds: no time zone is so far from UTC that its local time
// would lie behind that end.
constexpr time_t kLastNarrowDay = INT32_MAX - 2 * 24 * 60 * 60;

// The calendar of the C library, for times of either width.
template <typename Time>
struct Calendar {
  tm *(*mToLocal)(const Time *, tm *);
  tm *(*mToUtc)(const Time *, tm *);
  Time (*mFromLocal)(tm *);
};

constexpr Calendar<time_t> kCalendar = {localtime_r, gmtime_r, mktime};

// For late times. The functions are looked up when they are needed, so that the library can be loaded where
// the C library does not have them. All are NULL when one is missing.
Calendar<int64> LateCalendar() {
  Calendar<int64> theCalendar = {};
  const auto Find = [](auto *aFunction, const char *aName) {
    *aFunction = reinterpret_cast<std::remove_pointer_t<decltype(aFunction)>>(dlsym(RTLD_DEFAULT, aName));
    return *aFunction != nullptr;
  };
  const bool afComplete = Find(&theCalendar.mToLocal, "__localtime64_r") &&
                          Find(&theCalendar.mToUtc, "__gmtime64_r") &&
                          Find(&theCalendar.mFromLocal, "__mktime64");
  return afComplete ? theCalendar : Calendar<int64>{};
}

// False when a time on the way is late.
template <typename Time>
bool GetZoneAt(Time aTime, const Calendar<Time> &aCalendar, zvtimezone *aTimeZone) {
  tm theTime = {};
  aCalendar.mToLocal(&aTime, &theTime);
  const long theDaylightSaving = theTime.tm_isdst >= 1 ? kDaylightSavingMinutes : 0;

  aCalendar.mToUtc(&aTime, &theTime);
  const Time theUtcAsLocal = aCalendar.mFromLocal(&theTime);
  if (sizeof(Time) < sizeof(int64) && theUtcAsLocal == -1) return false;
  // East of UTC is positive, whatever the field's name says: callers depend on this sign.
  *aTimeZone = {static_cast<long>(aTime - theUtcAsLocal) / kSecondsPerMinute, theDaylightSaving};
  return true;
}

// Without a calendar for it, the zone is that of the last days that a narrow time_t holds: rules that change
// later are not known, and it is winter in the north.
ZV_COLD void GetLateZone(time_t aNow, zvtimezone *aTimeZone) {
  zvos::WideTime theNow = {aNow, 0};
  const Calendar<int64> theCalendar = LateCalendar();
  if (theCalendar.mToLocal != nullptr && (aNow >= 0 || zvos::GetWideTimeOfDay(&theNow))) {
    GetZoneAt(theNow.mSeconds, theCalendar, aTimeZone);
  } else {
    GetZoneAt(kLastNarrowDay, kCalendar, aTimeZone);
  }
}

// What mktime() makes of a time in the low 32 bits of a time_t, -1 when they do not hold it.
ZV_COLD zvtime_t LateTime(tm aTime) {
  const Calendar<int64> theCalendar = LateCalendar();
  if (theCalendar.mFromLocal == nullptr) return -1;
  const int64 theSeconds = theCalendar.mFromLocal(&aTime);
  return theSeconds >= 0 && theSeconds <= UINT32_MAX ? static_cast<zvtime_t>(theSeconds) : -1;
}

}  // namespace

extern "C" void zvTime_GetTimeOfDay(zvtimeval *aTime) {
  timeval theTime = {};
  if (zvos::IsRefusedAsLate(gettimeofday(&theTime, nullptr))) theTime = LateTimeOfDay();
  aTime->tv_sec = theTime.tv_sec;
  aTime->tv_usec = theTime.tv_usec;
}

extern "C" int zvTime_GetTimeZone(zvtimezone *aTimeZone) {
  const time_t theNow = time(nullptr);
  const bool afLate = zvos::kfNarrowTime && theNow < 0;
  if (afLate || !GetZoneAt(theNow, kCalendar, aTimeZone)) GetLateZone(theNow, aTimeZone);
  return 0;
}

extern "C" zvtime_t zvTime_ConvertMacroDate(const char *aDate) {
  char theMonth[5] = "";
  tm theTime = {};
  int theDay = 0;
  int theYear = 0;
  if (aDate == nullptr || sscanf(aDate, "%4s %d %d", theMonth, &theDay, &theYear) < 1) return 0;

  // A word that begins inside a name counts as the month of that name; callers get what they got.
  const char *const theMatch = strstr(kMonthNames, theMonth);
  if (theMatch == nullptr) return 0;

  theTime.tm_mon = static_cast<int>(theMatch - kMonthNames) / kMonthNameLength;
  theTime.tm_mday = theDay;
  // Years that no number of years after 1900 reaches are as far away as one does; the system refuses them.
  theTime.tm_year = std::max(theYear, INT_MIN + kFirstYearOfTm) - kFirstYearOfTm;
  theTime.tm_isdst = -1;
  const time_t theResult = mktime(&theTime);
  if (zvos::kfNarrowTime && ZV_UNLIKELY(theResult == -1)) return LateTime(theTime);
  return static_cast<zvtime_t>(theResult);
}

extern "C" uint32 zvTime_GetTickCount(void) {
  timespec theTime = {};
  clock_gettime(CLOCK_MONOTONIC, &theTime);
  return static_cast<uint32>(theTime.tv_nsec) / 1000000 + static_cast<uint32>(theTime.tv_sec) * 1000;
}
