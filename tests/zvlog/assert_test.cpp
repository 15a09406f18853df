// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Failed assertions.

#include "Child.h"
#include "LogTest.h"

#include <csignal>

namespace {

using namespace zvlogtest;

class Assert : public LogTest {};

TEST_F(Assert, ReportsAnErrorOfTheDefaultModuleWithItsPlaceAndReturns) {
  CaughtStandardError theError;
  _zvAssert("theCount > 0", "player.c", 31);
  const std::vector<std::string> theWrites = theError.Writes();
  ASSERT_EQ(1u, theWrites.size());
  const Line theLine = Parse(theWrites[0]);
  EXPECT_TRUE(theLine.mfWellFormed);
  EXPECT_EQ("error", theLine.mLevel);
  EXPECT_EQ("DEFAULT", theLine.mModule);
  EXPECT_EQ("player.c:31", theLine.mPlace);
  EXPECT_EQ("Assertion failed: theCount > 0 (player.c:31)", theLine.mText);
}

TEST_F(Assert, IsReportedWhateverTheLevels) {
  CaughtStandardError theError;
  zvLog_SetLevel(kzvLogLevel_None);
  zvLog_SetModuleLevel(0, kzvLogLevel_None);
  _zvAssert("a", "x.c", 1);
  _zvLog_Level = 0;
  _zvAssert("b", "x.c", 2);
  EXPECT_EQ((std::vector<std::string>{"Assertion failed: a (x.c:1)", "Assertion failed: b (x.c:2)"}),
            TextsOf(theError.Writes()));
}

TEST_F(Assert, IsReportedHoweverManyRecordsAreOpenAndLeavesThemAlone) {
  CaughtStandardError theError;
  std::vector<zvLogData *> theOpen;
  while (zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0))
    theOpen.push_back(theData);
  zvLog_Append_F("innermost");
  _zvAssert("a", "x.c", 1);
  zvLog_End(theOpen.back());
  EXPECT_EQ((std::vector<std::string>{"Assertion failed: a (x.c:1)", "innermost"}),
            TextsOf(theError.Writes()));
  zvLog_End(theOpen.front());
}

TEST_F(Assert, NullTextsAreShownAsQuestionMarks) {
  CaughtStandardError theError;
  _zvAssert(nullptr, nullptr, 5);
  EXPECT_EQ((std::vector<std::string>{"Assertion failed: ? (?:5)"}), TextsOf(theError.Writes()));
}

TEST_F(Assert, EndsTheProcessWhenSoSet) {
  const Ending theEnding = RunInChild([] {
    zvLog_SetAssertAborts(1);
    _zvAssert("false", "player.c", 31);
    return 0;
  });
  EXPECT_EQ(SIGABRT, theEnding.mSignal);
  EXPECT_NE(std::string::npos, theEnding.mError.find("Assertion failed: false (player.c:31)\n"));
}

}  // namespace
