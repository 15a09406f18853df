// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Which messages are emitted: the global level, levels of modules, and _zvLog_Level written by others.

#include "LogTest.h"

#include <atomic>
#include <thread>

namespace {

using namespace zvlogtest;
using Texts = std::vector<std::string>;

constexpr zvLogModule kTcp = 21;
constexpr zvLogModule kFile = 42;

class Level : public LogTest {
 protected:
  CaughtStandardError mError;

  // The levels of a module that come out, as digits.
  std::string Admitted(zvLogModule aModule) {
    for (zvLogLevel theLevel = 0; theLevel <= 6; ++theLevel) {
      Log(theLevel, aModule, std::to_string(theLevel));
      const bool mfPassesGate = theLevel < _zvLog_Level;
      const bool mfWanted = zvLog_WillLog(theLevel, aModule) != 0;
      EXPECT_TRUE(mfPassesGate || !mfWanted) << "wanted, but no caller would begin it";
    }
    std::string theDigits;
    for (const std::string &theText : TextsOf(mError.Writes()))
      theDigits += theText;
    for (zvLogLevel theLevel = 0; theLevel <= 6; ++theLevel) {
      const bool mfEmitted = theDigits.find(std::to_string(theLevel)) != std::string::npos;
      EXPECT_EQ(mfEmitted, zvLog_WillLog(theLevel, aModule) != 0) << theLevel;
    }
    return theDigits;
  }
};

TEST_F(Level, DefaultAdmitsErrorsAndWarnings) {
  EXPECT_EQ(3, _zvLog_Level);
  EXPECT_EQ("012", Admitted(0));
  EXPECT_EQ("012", Admitted(kTcp));
}

TEST_F(Level, GlobalLevelHoldsForAllModules) {
  for (const auto &[theLevel, theDigits] :
       std::vector<std::pair<zvLogLevel, std::string>>{{kzvLogLevel_None, "0"},
                                                       {kzvLogLevel_Error, "01"},
                                                       {kzvLogLevel_Warning, "012"},
                                                       {kzvLogLevel_Info, "0123"},
                                                       {kzvLogLevel_Debug, "01234"}}) {
    zvLog_SetLevel(theLevel);
    EXPECT_EQ(theLevel, zvLog_GetLevel());
    EXPECT_EQ(theLevel + 1, _zvLog_Level);
    EXPECT_EQ(theDigits, Admitted(0));
    EXPECT_EQ(theDigits, Admitted(65535));
  }
}

TEST_F(Level, GreatestNumberAdmitsAllBelowIt) {
  zvLog_SetLevel(65535);
  EXPECT_EQ(65534, zvLog_GetLevel());
  EXPECT_NE(0, zvLog_WillLog(65534, 0));
  EXPECT_EQ(0, zvLog_WillLog(65535, 0));
}

TEST_F(Level, ModuleAboveTheGlobalLevelIsHeardAndOthersAreNot) {
  zvLog_SetModuleLevel(kTcp, kzvLogLevel_Debug);
  EXPECT_EQ(5, _zvLog_Level);
  EXPECT_EQ("01234", Admitted(kTcp));
  EXPECT_EQ("012", Admitted(0));
  EXPECT_EQ(kzvLogLevel_Debug, zvLog_GetModuleLevel(kTcp));
  EXPECT_EQ(kzvLogLevel_Warning, zvLog_GetModuleLevel(0));
  EXPECT_EQ(kzvLogLevel_Warning, zvLog_GetLevel());
}

TEST_F(Level, ModuleBelowTheGlobalLevelIsQuietAndOthersAreNot) {
  zvLog_SetLevel(kzvLogLevel_Debug);
  zvLog_SetModuleLevel(kFile, kzvLogLevel_Error);
  zvLog_SetModuleLevel(300, kzvLogLevel_None);
  EXPECT_EQ("01", Admitted(kFile));
  EXPECT_EQ("0", Admitted(300));
  EXPECT_EQ("01234", Admitted(kTcp));
}

TEST_F(Level, ModuleKeepsItsLevelWhenTheGlobalOneChanges) {
  zvLog_SetModuleLevel(kTcp, kzvLogLevel_Info);
  zvLog_SetLevel(kzvLogLevel_None);
  EXPECT_EQ("0123", Admitted(kTcp));
  EXPECT_EQ("0", Admitted(kFile));
  zvLog_SetLevel(kzvLogLevel_Debug);
  EXPECT_EQ("0123", Admitted(kTcp));
  EXPECT_EQ("01234", Admitted(kFile));
}

TEST_F(Level, ResetModuleFollowsTheGlobalLevelAndLowersTheGate) {
  zvLog_SetModuleLevel(kTcp, kzvLogLevel_Debug);
  zvLog_ResetModuleLevel(kTcp);
  EXPECT_EQ(3, _zvLog_Level);
  EXPECT_EQ("012", Admitted(kTcp));
}

TEST_F(Level, WrittenDirectlyIsTheNewGlobalLevel) {
  _zvLog_Level = 5;
  EXPECT_EQ("01234", Admitted(0));
  EXPECT_EQ(kzvLogLevel_Debug, zvLog_GetLevel());
  _zvLog_Level = 2;
  EXPECT_EQ("01", Admitted(0));
  EXPECT_EQ(kzvLogLevel_Error, zvLog_GetLevel());
  _zvLog_Level = 0;
  EXPECT_EQ("", Admitted(0));
  EXPECT_EQ(nullptr, zvLog_Begin(0, 0));
}

TEST_F(Level, WrittenDirectlyHoldsForModulesWithALevelOfTheirOwnToo) {
  zvLog_SetModuleLevel(kTcp, kzvLogLevel_Debug);
  zvLog_SetModuleLevel(kFile, kzvLogLevel_Error);
  for (const auto &[theGate, theDigits] :
       std::vector<std::pair<zvLogLevel, std::string>>{{4, "0123"}, {6, "012345"}, {1, "0"}, {0, ""}}) {
    _zvLog_Level = theGate;
    EXPECT_EQ(theDigits, Admitted(kTcp));
    EXPECT_EQ(theDigits, Admitted(kFile));
    EXPECT_EQ(theDigits, Admitted(0));
    EXPECT_EQ(std::max(theGate, zvLogLevel{1}) - 1, zvLog_GetModuleLevel(kFile));
  }
}

TEST_F(Level, WrittenDirectlyIsTakenOverByTheNextSetting) {
  zvLog_SetModuleLevel(kTcp, kzvLogLevel_Debug);
  _zvLog_Level = 2;
  zvLog_SetModuleLevel(kFile, kzvLogLevel_Info);
  EXPECT_EQ("01", Admitted(0));
  EXPECT_EQ("0123", Admitted(kFile));
  EXPECT_EQ("01234", Admitted(kTcp));
  zvLog_SetLevel(kzvLogLevel_Warning);
  EXPECT_EQ("012", Admitted(0));
}

TEST_F(Level, WrittenDirectlyStaysWhenAModuleGetsANameAndNoLevel) {
  zvLog_SetModuleLevel(kTcp, kzvLogLevel_None);
  _zvLog_Level = 5;
  EXPECT_EQ(1, zvLog_SetModuleName(300, "PLAYER"));
  EXPECT_EQ(0, zvLog_SetModuleName(300, "TCP"));
  EXPECT_EQ(1, zvLog_SetModuleName(300, nullptr));
  EXPECT_EQ("01234", Admitted(kTcp));
}

TEST_F(Level, MayBeChangedWhileOthersLog) {
  std::atomic<bool> mfStop{false};
  std::atomic<bool> mfWrong{false};
  std::vector<std::thread> theThreads;
  for (int theIndex = 0; theIndex < 4; ++theIndex) {
    theThreads.emplace_back([&mfStop, &mfWrong] {
      while (!mfStop) {
        // Admitted by every setting below, and refused by every one.
        if (zvLog_WillLog(kzvLogLevel_Error, kTcp) == 0) mfWrong = true;
        if (zvLog_WillLog(6, kTcp) != 0) mfWrong = true;
      }
    });
  }
  for (int theRound = 0; theRound < 300; ++theRound) {
    zvLog_SetLevel(kzvLogLevel_Error);
    zvLog_SetModuleLevel(kTcp, kzvLogLevel_Debug);
    zvLog_SetLevel(kzvLogLevel_Info);
    zvLog_ResetModuleLevel(kTcp);
  }
  mfStop = true;
  for (std::thread &theThread : theThreads)
    theThread.join();
  EXPECT_FALSE(mfWrong);
}

}  // namespace
