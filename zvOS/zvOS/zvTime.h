// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Clocks: time of day, time zone, ticks.
//
// All functions may be called from any thread and keep no state.
//
// Where `long` has 32 bits, seconds since the epoch are the low 32 bits of the time and are to be read as
// unsigned, `(uint32) theTime.tv_sec`: they are negative from 2038-01-19T03:14:08Z on, and right until
// 2106-02-07T06:28:15Z. Differences of such unsigned numbers stay right.
#ifndef zvOS_zvTime_h
#define zvOS_zvTime_h

#include <zvOS/zvDefines.h>

typedef struct zvtimeval {
  long tv_sec;   // seconds
  long tv_usec;  // microseconds
} zvtimeval;

typedef struct zvtimezone {
  long tz_minuteswest;  // minutes *east* of UTC, see zvTime_GetTimeZone
  long tz_dsttime;      // daylight-saving correction in minutes
} zvtimezone;

typedef long zvtime_t;  // calendar time: seconds since the epoch; see above where it has 32 bits

// Fills in the time of day (wall clock, since the epoch in UTC). It may be set back and forth;
// measure durations with zvMonoliticTime_GetTime.
ZVOS_API void zvTime_GetTimeOfDay(zvtimeval *aTime);

// Fills in the local time zone of now and returns 0. (With 32-bit times after January 2038 the C library is
// asked for its 64-bit calendar; where it has none the zone is that of the last days before.)
// Deliberately odd: despite its name `tz_minuteswest` counts minutes east of UTC (+60 at UTC+1);
// callers depend on the sign. `tz_dsttime` is 60 while daylight saving is in force, else 0.
ZVOS_API int zvTime_GetTimeZone(zvtimezone *aTimeZone);

// Local midnight of a date in the form of the compiler's __DATE__ ("Nov 16 2015"), 0 when the
// month is not recognised, or -1 when the time cannot be expressed. With 32 bits, a negative number is a time
// before 1970 when the date is one.
// Deliberately odd: the month is searched in the joined names of all months, so a word such as
// "anF" counts as the month in whose name it begins.
ZVOS_API zvtime_t zvTime_ConvertMacroDate(const char *aDate);

// Milliseconds of the monotonic clock; wraps about every 49.7 days, so compare differences only.
ZVOS_API uint32 zvTime_GetTickCount(void);

#endif
