// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Clocks: time of day, time zone, ticks.
//
// All functions may be called from any thread and keep no state.
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

typedef long zvtime_t;  // calendar time: seconds since the epoch

// Fills in the time of day (wall clock, since the epoch in UTC). It may be set back and forth;
// measure durations with zvMonoliticTime_GetTime.
ZVOS_API void zvTime_GetTimeOfDay(zvtimeval *aTime);

// Fills in the local time zone of now and returns 0.
// Deliberately odd: despite its name `tz_minuteswest` counts minutes east of UTC (+60 at UTC+1);
// callers depend on the sign. `tz_dsttime` is 60 while daylight saving is in force, else 0.
ZVOS_API int zvTime_GetTimeZone(zvtimezone *aTimeZone);

// Local midnight of a date in the form of the compiler's __DATE__ ("Nov 16 2015"), 0 when the
// month is not recognised, or -1 when the time cannot be expressed.
// Deliberately odd: the month is searched in the joined names of all months, so a word such as
// "anF" counts as the month in whose name it begins.
ZVOS_API zvtime_t zvTime_ConvertMacroDate(const char *aDate);

// Milliseconds of the monotonic clock; wraps about every 49.7 days, so compare differences only.
ZVOS_API uint32 zvTime_GetTickCount(void);

#endif
