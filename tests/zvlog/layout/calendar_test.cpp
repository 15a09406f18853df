// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The calendar behind the time of records.

#include <gtest/gtest.h>

#include "private/CivilTime.h"

#include <time.h>

namespace {

void ExpectDate(int32 aDay, int32 aYear, uint32 aMonth, uint32 aDayOfMonth) {
  const zvlog::CivilDate theDate = zvlog::CivilDateOfDay(aDay);
  EXPECT_EQ(aYear, theDate.mYear) << aDay;
  EXPECT_EQ(aMonth, theDate.mMonth) << aDay;
  EXPECT_EQ(aDayOfMonth, theDate.mDay) << aDay;
}

TEST(Calendar, KnownDaysHaveTheirDates) {
  ExpectDate(0, 1970, 1, 1);
  ExpectDate(-1, 1969, 12, 31);
  ExpectDate(11016, 2000, 2, 29);
  ExpectDate(11017, 2000, 3, 1);
  ExpectDate(24855, 2038, 1, 19);
  ExpectDate(47540, 2100, 2, 28);
  ExpectDate(47541, 2100, 3, 1);
}

TEST(Calendar, EveryDayFrom1901To2038HasTheDateOfTheCLibrary) {
  constexpr int32 kLastDayOf32Bits = 24855;
  for (int32 theDay = -kLastDayOf32Bits; theDay < kLastDayOf32Bits; ++theDay) {
    const time_t theTime = static_cast<time_t>(theDay) * 86400;
    tm theExpected = {};
    ASSERT_NE(nullptr, gmtime_r(&theTime, &theExpected));
    const zvlog::CivilDate theDate = zvlog::CivilDateOfDay(theDay);
    ASSERT_EQ(theExpected.tm_year + 1900, theDate.mYear) << theDay;
    ASSERT_EQ(static_cast<uint32>(theExpected.tm_mon + 1), theDate.mMonth) << theDay;
    ASSERT_EQ(static_cast<uint32>(theExpected.tm_mday), theDate.mDay) << theDay;
  }
}

}  // namespace
