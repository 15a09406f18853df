// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The C library's random numbers.

#include <zvOS/zvRandStd.h>

#include "support/Faults.h"
#include "support/RecordingLog.h"

#include <climits>
#include <cstdlib>

namespace {

using ::testing::IsEmpty;
using zvtest::Fault;

class RandStdTest : public ::testing::Test {
 protected:
  ~RandStdTest() override { EXPECT_THAT(mLog.Calls(), IsEmpty()); }

  zvtest::RecordingLog mLog;
};

struct Number {
  int mDrawn;
  int16 mResult;
};

constexpr Number kNumbers[] = {
    {0, 0},        {1, 1},     {kzvRandMax, 32767},  {32768, -32768},
    {65535, -1},   {65536, 0}, {0x12345678, 0x5678}, {0x1234FEDC, -0x124},
    {INT_MAX, -1},
};

TEST_F(RandStdTest, ANumberIsTheLowHalfOfWhatTheSystemDraws) {
  for (const Number &theNumber : kNumbers) {
    Fault theFault("rand", 0);
    theFault.Returning(theNumber.mDrawn);
    EXPECT_EQ(theNumber.mResult, zvOSRand_Rand()) << theNumber.mDrawn;
    EXPECT_EQ(1, theFault.Hits());
  }
}

TEST_F(RandStdTest, TheSeedGoesToTheSystemAsItStands) {
  for (const uint32 theSeed : {0u, 1u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
    long long theArgument = -1;
    Fault theFault("srand", 0);
    theFault.Doing([&](const long long *anArguments) { theArgument = anArguments[0]; });
    zvOSRand_SetSeed(theSeed);
    EXPECT_EQ(static_cast<long long>(theSeed), theArgument);
  }
}

TEST_F(RandStdTest, ASeedGivesTheSequenceOfTheSystem) {
  for (const uint32 theSeed : {1u, 42u, 0xFFFFFFFFu}) {
    srand(theSeed);
    int16 theExpected[100];
    for (int16 &theNumber : theExpected)
      theNumber = static_cast<int16>(rand());
    zvOSRand_SetSeed(theSeed);
    for (const int16 theNumber : theExpected)
      ASSERT_EQ(theNumber, zvOSRand_Rand()) << "seed " << theSeed;
  }
}

TEST_F(RandStdTest, TheSystemsGeneratorIsShared) {
  srand(7);
  const int theFirst = rand();
  const int theSecond = rand();
  const int theThird = rand();
  zvOSRand_SetSeed(7);
  EXPECT_EQ(theFirst, rand());
  EXPECT_EQ(static_cast<int16>(theSecond), zvOSRand_Rand());
  EXPECT_EQ(theThird, rand());
}

}  // namespace
