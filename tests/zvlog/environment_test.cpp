// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// ZVLOG, seen by a C program that is started with it.

#include "Child.h"
#include "LogTest.h"

#include <csignal>

namespace {

using namespace zvlogtest;
using Texts = std::vector<std::string>;

Texts Levels(int aModule, const std::string &aDigits) {
  Texts theTexts;
  for (const char theDigit : aDigits) {
    theTexts.push_back(std::string("level ") + theDigit + " of module " + std::to_string(aModule));
  }
  return theTexts;
}

Texts operator+(Texts aFirst, const Texts &aSecond) {
  aFirst.insert(aFirst.end(), aSecond.begin(), aSecond.end());
  return aFirst;
}

TEST(Environment, WithoutItErrorsAndWarningsGoToStandardError) {
  const Ending theEnding = RunProbe({}, {"ZVLOG="});
  EXPECT_EQ(0, theEnding.mStatus);
  EXPECT_EQ("gate 3, global level 2\n", theEnding.mOutput);
  EXPECT_EQ(Levels(0, "12") + Levels(21, "12") + Levels(42, "12"), TextsOf(ParseAll(theEnding.mError)));
}

TEST(Environment, SetsLevelsAndSinkBeforeTheProgramBegins) {
  const TempFolder theFolder;
  const Ending theEnding = RunProbe({}, {"ZVLOG=info,TCP=debug,FILE=error,to=file:" + theFolder.File("log")});
  EXPECT_EQ("gate 5, global level 3\n", theEnding.mOutput);
  EXPECT_EQ("", theEnding.mError);
  EXPECT_EQ(Levels(0, "123") + Levels(21, "1234") + Levels(42, "1"),
            TextsOf(ParseAll(ReadFile(theFolder.File("log")))));
}

TEST(Environment, BadSettingIsReportedAndTheRestHolds) {
  const Ending theEnding = RunProbe({}, {"ZVLOG=nonsense,none,TCP=error"});
  const std::string theComplaint =
      "zvLog: bad setting 'nonsense': it is no level (none, error, warning, info, debug or a number)\n";
  ASSERT_EQ(theComplaint, theEnding.mError.substr(0, theComplaint.size()));
  EXPECT_EQ(Levels(21, "1"), TextsOf(ParseAll(theEnding.mError.substr(theComplaint.size()))));
}

TEST(Environment, LevelForANameHoldsWhenTheProgramGivesThatName) {
  const Ending theEnding = RunProbe({"name=PLAYER"}, {"ZVLOG=none,player=debug,OTHER=debug"});
  EXPECT_EQ("gate 5, global level 0\n", theEnding.mOutput);
  EXPECT_EQ(Levels(42, "1234"), TextsOf(ParseAll(theEnding.mError)));
  EXPECT_EQ("PLAYER", ParseAll(theEnding.mError)[0].mModule);
}

TEST(Environment, LevelForWhatCanBeNoNameIsReported) {
  const Ending theEnding = RunProbe({}, {"ZVLOG=none,\"a b=debug\",70000=info"});
  EXPECT_EQ(
      "zvLog: bad setting 'a b=debug': 'a b' is no module, neither a known name nor a number up to 65535\n"
      "zvLog: bad setting '70000=info': '70000' is no module, neither a known name nor a number up to "
      "65535\n",
      theEnding.mError);
}

TEST(Environment, ProgramMayWriteTheLevelVariable) {
  const Ending theEnding = RunProbe({"level=5"}, {"ZVLOG=none"});
  EXPECT_EQ("gate 5, global level 4\n", theEnding.mOutput);
  EXPECT_EQ(Levels(0, "1234") + Levels(21, "1234") + Levels(42, "1234"), TextsOf(ParseAll(theEnding.mError)));
}

TEST(Environment, DecidesWhetherAssertionsEndTheProgram) {
  const Ending theReturning = RunProbe({"assert"}, {"ZVLOG=none,assert=return"});
  EXPECT_EQ(0, theReturning.mSignal);
  EXPECT_EQ(0, theReturning.mStatus);
  EXPECT_EQ(Texts{"Assertion failed: theCount > 0 (player.c:31)"}, TextsOf(ParseAll(theReturning.mError)));

  const Ending theAborting = RunProbe({"assert"}, {"ZVLOG=none,assert=abort"});
  EXPECT_EQ(SIGABRT, theAborting.mSignal);
  EXPECT_NE(std::string::npos, theAborting.mError.find("Assertion failed: theCount > 0 (player.c:31)\n"));
}

}  // namespace
