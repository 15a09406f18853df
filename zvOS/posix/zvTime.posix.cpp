// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Clocks. The results of the system calls are not tested: a clock that cannot be read shows 0.

#include <zvOS/zvTime.h>

#include <sys/time.h>
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace {

constexpr char kMonthNames[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
constexpr int kMonthNameLength = 3;
constexpr int kFirstYearOfTm = 1900;
constexpr long kSecondsPerMinute = 60;
constexpr long kDaylightSavingMinutes = 60;

}  // namespace

extern "C" void zvTime_GetTimeOfDay(zvtimeval *aTime) {
  timeval theTime = {};
  gettimeofday(&theTime, nullptr);
  aTime->tv_sec = theTime.tv_sec;
  aTime->tv_usec = theTime.tv_usec;
}

extern "C" int zvTime_GetTimeZone(zvtimezone *aTimeZone) {
  const time_t theNow = time(nullptr);
  tm theTime = {};
  localtime_r(&theNow, &theTime);
  aTimeZone->tz_dsttime = theTime.tm_isdst >= 1 ? kDaylightSavingMinutes : 0;

  gmtime_r(&theNow, &theTime);
  const time_t theUtcAsLocal = mktime(&theTime);
  // East of UTC is positive, whatever the field's name says: callers depend on this sign.
  aTimeZone->tz_minuteswest = static_cast<long>(theNow - theUtcAsLocal) / kSecondsPerMinute;
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
  return static_cast<zvtime_t>(mktime(&theTime));
}

extern "C" uint32 zvTime_GetTickCount(void) {
  timespec theTime = {};
  clock_gettime(CLOCK_MONOTONIC, &theTime);
  return static_cast<uint32>(theTime.tv_nsec) / 1000000 + static_cast<uint32>(theTime.tv_sec) * 1000;
}
