// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_time Time
/// Clocks: time of day, time zone, ticks.
///
/// Where `long` has 32 bits, seconds since the epoch are the low 32 bits of the time and are to be read as
/// unsigned, `(uint32) theTime.tv_sec`: they are negative from 2038-01-19T03:14:08Z on, and right until
/// 2106-02-07T06:28:15Z. Differences of such unsigned numbers stay right.
///
/// @threads any thread may call any function; none keeps state
/// @signals zvTime_GetTimeOfDay and zvTime_GetTickCount; the other two read the C library's time zone, which
///   takes a lock
/// @fork yes; the two that read the time zone when no other thread was reading it at the fork
/// @errno says nothing
/// @logs nothing
/// @since 1.0.0
/// @{
#ifndef zvOS_zvTime_h
#define zvOS_zvTime_h

#include <zvOS/zvDefines.h>

/// A time, or a duration.
typedef struct zvtimeval {
  long tv_sec;   ///< seconds
  long tv_usec;  ///< microseconds
} zvtimeval;

/// A time zone as it is now.
typedef struct zvtimezone {
  long tz_minuteswest;  ///< minutes *east* of UTC, see zvTime_GetTimeZone
  long tz_dsttime;      ///< daylight-saving correction in minutes
} zvtimezone;

/// Calendar time: seconds since the epoch; see above where it has 32 bits.
typedef long zvtime_t;

/// Fills in the time of day (wall clock, since the epoch in UTC). It may be set back and forth; measure
/// durations with zvMonoliticTime_GetTime.
/// @param aTime seconds and microseconds are stored here; both 0 when the clock cannot be read
ZVOS_API void zvTime_GetTimeOfDay(zvtimeval *aTime);

/// Fills in the local time zone of now. With 32-bit times after January 2038 the C library is asked for its
/// 64-bit calendar; where it has none the zone is that of the last days before.
/// @param aTimeZone the zone is stored here: minutes *east* of UTC (+60 at UTC+1), and 60 minutes of daylight
///   saving while that is in force, else 0
/// @return 0
/// @odd despite its name `tz_minuteswest` counts minutes east; callers depend on the sign
ZVOS_API int zvTime_GetTimeZone(zvtimezone *aTimeZone);

/// Local midnight of a date in the form of the compiler's `__DATE__` ("Nov 16 2015").
/// @param aDate the text
/// @return seconds since the epoch; 0 when the month is not recognised and for NULL; -1 when the time cannot
///   be expressed. With 32 bits, a negative number is a time before 1970 when the date is one
/// @odd the month is searched in the joined names of all months, so a word such as "anF" counts as the month
///   in whose name it begins
ZVOS_API zvtime_t zvTime_ConvertMacroDate(const char *aDate);

/// The monotonic clock, for differences.
/// @return milliseconds since an unspecified start; wraps about every 49.7 days, so compare differences only:
///   `zvTime_GetTickCount() - theStart >= 500`
ZVOS_API uint32 zvTime_GetTickCount(void);

/// @}

#endif
