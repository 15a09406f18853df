// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Changes of several levels, which programs make by settings: they take force in one moment.

#include "Child.h"
#include "TrapFlag.h"

#include <gtest/gtest.h>

#include "private/Levels.h"

#include <zvLog/zvLogSettings.h>

#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <csignal>
#include <thread>
#include <vector>

namespace {

using namespace zvlogtest;
using zvlog::LevelChange;

constexpr zvLogModule kFirst = 3;
constexpr zvLogModule kSecond = 40000;
constexpr zvLogModule kThird = 65535;

class LevelChanges : public ::testing::Test {
 protected:
  LevelChanges() { Reset(); }
  ~LevelChanges() override { Reset(); }

  static void Reset() {
    LevelChange theChange;
    theChange.SetGlobal(kzvLogLevel_Warning);
    theChange.ResetAllModules();
  }
};

TEST_F(LevelChanges, TakeForceAtTheirEnd) {
  {
    LevelChange theChange;
    theChange.SetGlobal(kzvLogLevel_Error);
    theChange.SetModule(kFirst, kzvLogLevel_Debug);
    theChange.SetModule(kSecond, kzvLogLevel_None);
    theChange.SetModule(kThird, kzvLogLevel_Info);
    theChange.ResetModule(kThird);
    for (const zvLogModule theModule : {kFirst, kSecond, kThird})
      EXPECT_EQ(kzvLogLevel_Warning, zvLog_GetModuleLevel(theModule));
    EXPECT_EQ(kzvLogLevel_Warning, zvLog_GetLevel());
    EXPECT_EQ(3, _zvLog_Level);
  }
  EXPECT_EQ(kzvLogLevel_Error, zvLog_GetLevel());
  EXPECT_EQ(kzvLogLevel_Debug, zvLog_GetModuleLevel(kFirst));
  EXPECT_EQ(kzvLogLevel_None, zvLog_GetModuleLevel(kSecond));
  EXPECT_EQ(kzvLogLevel_Error, zvLog_GetModuleLevel(kThird));
  EXPECT_EQ(5, _zvLog_Level);
}

TEST_F(LevelChanges, ResetAllModules) {
  for (int theModule = 0; theModule < 65536; theModule += 97)
    zvLog_SetModuleLevel(static_cast<zvLogModule>(theModule), kzvLogLevel_Debug);
  EXPECT_EQ(5, _zvLog_Level);
  {
    LevelChange theChange;
    theChange.SetModule(kThird, kzvLogLevel_Debug);
    theChange.ResetAllModules();
    theChange.SetModule(kFirst, kzvLogLevel_Info);
  }
  EXPECT_EQ(4, _zvLog_Level);
  for (int theModule = 0; theModule < 65536; ++theModule) {
    const int theExpected = theModule == kFirst ? kzvLogLevel_Info : kzvLogLevel_Warning;
    ASSERT_EQ(theExpected, zvLog_GetModuleLevel(static_cast<zvLogModule>(theModule))) << theModule;
  }
}

TEST_F(LevelChanges, KeepTheHighestLevelRight) {
  zvLog_SetModuleLevel(kFirst, 9);
  zvLog_SetModuleLevel(kSecond, 7);
  zvLog_SetModuleLevel(kSecond + 1, 8);
  EXPECT_EQ(10, _zvLog_Level);
  zvLog_ResetModuleLevel(kFirst);
  EXPECT_EQ(9, _zvLog_Level);
  zvLog_SetModuleLevel(kSecond + 1, 1);
  EXPECT_EQ(8, _zvLog_Level);
  zvLog_ResetModuleLevel(kSecond);
  EXPECT_EQ(3, _zvLog_Level);
}

TEST_F(LevelChanges, WhatOthersWriteMeanwhileStays) {
  zvLog_SetModuleLevel(kFirst, kzvLogLevel_Debug);
  {
    LevelChange theChange;
    theChange.SetModule(kSecond, 9);
    _zvLog_Level = 2;
  }
  EXPECT_EQ(2, _zvLog_Level);
  EXPECT_EQ(kzvLogLevel_Error, zvLog_GetModuleLevel(kFirst));
  EXPECT_EQ(kzvLogLevel_Error, zvLog_GetModuleLevel(kSecond));
  EXPECT_EQ(kzvLogLevel_Error, zvLog_GetLevel());
  zvLog_ResetModuleLevel(kFirst);
  EXPECT_EQ(9, zvLog_GetModuleLevel(kSecond));
  EXPECT_EQ(kzvLogLevel_Error, zvLog_GetLevel());
}

// Levels only rise, so that who has seen a level in one place must see at least the same in the others.
TEST_F(LevelChanges, AreSeenWhole) {
  constexpr int kRounds = 20000;
  std::atomic<bool> mfStop{false};
  std::atomic<int> theWrong{0};
  std::vector<std::thread> theReaders;
  for (int theReader = 0; theReader < 2; ++theReader) {
    theReaders.emplace_back([&mfStop, &theWrong] {
      const zvLogModule kOrder[] = {kFirst, kThird, kSecond, kThird, kFirst, kSecond};
      zvLogLevel theSeen = 0;
      while (!mfStop) {
        for (const zvLogModule theModule : kOrder) {
          const zvLogLevel theLevel = zvLog_GetModuleLevel(theModule);
          if (theLevel < theSeen || __atomic_load_n(&_zvLog_Level, __ATOMIC_RELAXED) <= theLevel) ++theWrong;
          theSeen = theLevel;
        }
        if (zvLog_GetLevel() < theSeen) ++theWrong;
      }
    });
  }
  for (zvLogLevel theLevel = 5; theLevel < kRounds; ++theLevel) {
    LevelChange theChange;
    theChange.SetModule(kSecond, theLevel);
    theChange.SetModule(kFirst, theLevel);
    theChange.SetGlobal(theLevel);
    theChange.SetModule(kThird, theLevel);
  }
  mfStop = true;
  for (std::thread &theReader : theReaders)
    theReader.join();
  EXPECT_EQ(0, theWrong);
}

TEST_F(LevelChanges, OfSeveralThreadsComeOneAfterTheOther) {
  std::vector<std::thread> theThreads;
  for (int theIndex = 0; theIndex < 4; ++theIndex) {
    theThreads.emplace_back([theIndex] {
      for (int theRound = 0; theRound < 2000; ++theRound) {
        LevelChange theChange;
        for (const zvLogModule theModule : {kFirst, kSecond, kThird})
          theChange.SetModule(theModule, static_cast<zvLogLevel>(10 + theIndex));
      }
    });
  }
  for (std::thread &theThread : theThreads)
    theThread.join();
  EXPECT_LE(10, zvLog_GetModuleLevel(kFirst));
  EXPECT_EQ(zvLog_GetModuleLevel(kFirst), zvLog_GetModuleLevel(kSecond));
  EXPECT_EQ(zvLog_GetModuleLevel(kFirst), zvLog_GetModuleLevel(kThird));
  EXPECT_EQ(zvLog_GetModuleLevel(kFirst) + 1, _zvLog_Level);
}

TEST_F(LevelChanges, HalfDoneInTheParentAreNothingInAForkedChild) {
  zvLog_SetModuleLevel(kFirst, kzvLogLevel_Info);
  Ending theEnding;
  {
    LevelChange theChange;
    theChange.SetModule(kFirst, kzvLogLevel_Debug);
    theChange.SetModule(kSecond, kzvLogLevel_Debug);
    theEnding = RunInChild([] {
      alarm(20);
      if (zvLog_GetModuleLevel(kFirst) != kzvLogLevel_Info) return 1;
      zvLog_SetModuleLevel(kThird, kzvLogLevel_Error);
      if (zvLog_GetModuleLevel(kFirst) != kzvLogLevel_Info) return 2;
      if (zvLog_GetModuleLevel(kSecond) != kzvLogLevel_Warning) return 3;
      if (zvLog_GetModuleLevel(kThird) != kzvLogLevel_Error) return 4;
      return _zvLog_Level == 4 ? 0 : 5;
    });
  }
  EXPECT_EQ(0, theEnding.mSignal) << "it hung";
  EXPECT_EQ(0, theEnding.mStatus);
  EXPECT_EQ(kzvLogLevel_Debug, zvLog_GetModuleLevel(kSecond));
}

// With 65,536 modules there would be much to look through.
TEST_F(LevelChanges, OfOneModuleLookAtFewOthers) {
#if defined(ZV_SANITIZED)
  GTEST_SKIP() << "a matter of time, which a sanitizer takes";
#endif
  constexpr int kChanges = 20000;
  constexpr double kMicroseconds = 20;  // each, twenty times what it takes
  const clock_t theBegin = clock();
  for (int theChange = 0; theChange < kChanges; ++theChange)
    zvLog_SetModuleLevel(kFirst, theChange % 2 == 0 ? kzvLogLevel_Debug : kzvLogLevel_Error);
  EXPECT_LT(static_cast<double>(clock() - theBegin) * 1e6 / CLOCKS_PER_SEC, kChanges * kMicroseconds);
}

#if (defined(__i386__) || defined(__x86_64__)) && !defined(ZV_SANITIZED)

int gSteps = 0;
int gOld = 0;
int gMixed = 0;

void LookAtLevels(int) {
  ++gSteps;
  const bool afFirst = zvlog::IsWanted(kzvLogLevel_Debug, kFirst);
  const bool afSecond = zvlog::IsWanted(kzvLogLevel_Debug, kSecond);
  const bool afGlobal = zvlog::IsWanted(kzvLogLevel_Warning, kThird);
  const bool afCeiling = kzvLogLevel_Debug < _zvLog_Level;
  if (!afFirst) ++gOld;
  // The debug level of two modules comes with a global level that has no warnings.
  if (afFirst != afSecond || afFirst == afGlobal || (afFirst && !afCeiling)) ++gMixed;
}

void ChangeWithHandlerAtEveryInstruction(bool afForth) {
  SetTrapFlag(true);
  {
    LevelChange theChange;
    theChange.SetModule(kFirst, afForth ? kzvLogLevel_Debug : kzvLogLevel_Error);
    theChange.SetGlobal(afForth ? kzvLogLevel_Error : kzvLogLevel_Warning);
    if (afForth) {
      theChange.SetModule(kSecond, kzvLogLevel_Debug);
    } else {
      theChange.ResetModule(kSecond);
    }
  }
  SetTrapFlag(false);
}

TEST_F(LevelChanges, AreSeenWholeByAHandlerThatInterruptsThem) {
  const Ending theEnding = RunInChild([] {
    alarm(50);
    signal(SIGTRAP, LookAtLevels);
    ChangeWithHandlerAtEveryInstruction(true);
    if (gSteps < 200 || gOld == 0 || gOld == gSteps) return 1;
    ChangeWithHandlerAtEveryInstruction(false);
    if (zvLog_GetModuleLevel(kFirst) != kzvLogLevel_Error) return 2;
    _zvLog_Level = 3;  // written by others: it holds for everything
    ChangeWithHandlerAtEveryInstruction(true);
    return gMixed == 0 ? 0 : 3;
  });
  EXPECT_EQ(0, theEnding.mSignal);
  EXPECT_EQ(0, theEnding.mStatus);
}

#else

TEST_F(LevelChanges, AreSeenWholeByAHandlerThatInterruptsThem) {
  GTEST_SKIP() << "needs an x86 processor, and no sanitizer";
}

#endif

}  // namespace
