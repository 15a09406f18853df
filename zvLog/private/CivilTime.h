// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Calendar date of a day number, without the C library's functions for it: those take a lock,
// which a crashing thread may own.
#pragma once

#include <zvLog/zvLogTypes.h>

namespace zvlog {

struct CivilDate {
  int32 mYear;
  uint32 mMonth;  // 1 to 12
  uint32 mDay;    // 1 to 31
};

// aDay counts from 1970-01-01, in the Gregorian calendar.
//
// The year is taken to begin on 1 March, so that the leap day is its last day, and days are counted
// within eras of 400 years, which are all equally long. 32 bits hold the days of five million years.
constexpr CivilDate CivilDateOfDay(int32 aDay) {
  constexpr int32 kDaysPerEra = 146097;
  constexpr int32 kDaysFromEraTo1970 = 719468;  // from 0000-03-01

  const int32 theDay = aDay + kDaysFromEraTo1970;
  const int32 theEra = (theDay >= 0 ? theDay : theDay - (kDaysPerEra - 1)) / kDaysPerEra;
  const int32 theDayOfEra = theDay - theEra * kDaysPerEra;
  const int32 theYearOfEra =
      (theDayOfEra - theDayOfEra / 1460 + theDayOfEra / 36524 - theDayOfEra / 146096) / 365;
  const int32 theDayOfYear = theDayOfEra - (365 * theYearOfEra + theYearOfEra / 4 - theYearOfEra / 100);
  const int32 theMonthFromMarch = (5 * theDayOfYear + 2) / 153;
  const int32 theDayOfMonth = theDayOfYear - (153 * theMonthFromMarch + 2) / 5 + 1;
  const int32 theMonth = theMonthFromMarch < 10 ? theMonthFromMarch + 3 : theMonthFromMarch - 9;
  const int32 theYear = theYearOfEra + theEra * 400 + (theMonth <= 2 ? 1 : 0);
  return CivilDate{theYear, static_cast<uint32>(theMonth), static_cast<uint32>(theDayOfMonth)};
}

}  // namespace zvlog
