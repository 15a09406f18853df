// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Names that programs give to modules, in records and in settings.

#include "Allocation.h"
#include "LogTest.h"

#include <atomic>
#include <cerrno>
#include <thread>

namespace {

using namespace zvlogtest;
using Texts = std::vector<std::string>;

constexpr zvLogModule kTcp = 21;
constexpr zvLogModule kPlayer = 300;
constexpr zvLogModule kLast = 65535;

class ModuleName : public LogTest {
 protected:
  ~ModuleName() override {
    for (const zvLogModule theModule : {kTcp, kPlayer, kLast})
      zvLog_SetModuleName(theModule, nullptr);
    mError.Writes();
    zvLog_ApplySettings("PLAYER=warning,VIDEO=warning");  // nothing is kept for the names
    zvLog_SetModuleName(kPlayer, "PLAYER");
    zvLog_SetModuleName(kPlayer, "VIDEO");
    zvLog_SetModuleName(kPlayer, nullptr);
  }

  std::string NameInRecord(zvLogModule aModule) {
    Log(kzvLogLevel_Error, aModule, "x\n");
    const Texts theWrites = mError.Writes();
    return theWrites.size() == 1 ? Parse(theWrites[0]).mModule : "";
  }

  CaughtStandardError mError;
};

TEST_F(ModuleName, IsShownInRecords) {
  EXPECT_EQ("300", NameInRecord(kPlayer));
  EXPECT_EQ(1, zvLog_SetModuleName(kPlayer, "PLAYER"));
  EXPECT_EQ(1, zvLog_SetModuleName(kLast, "last_one-1.0"));
  EXPECT_EQ("PLAYER", NameInRecord(kPlayer));
  EXPECT_EQ("last_one-1.0", NameInRecord(kLast));
}

TEST_F(ModuleName, IsCopied) {
  char theName[] = "PLAYER";
  EXPECT_EQ(1, zvLog_SetModuleName(kPlayer, theName));
  theName[0] = 'X';
  EXPECT_EQ("PLAYER", NameInRecord(kPlayer));
}

TEST_F(ModuleName, MayBeChangedAndTakenAway) {
  zvLog_SetModuleName(kPlayer, "PLAYER");
  zvLog_SetModuleName(kPlayer, "VIDEO");
  EXPECT_EQ("VIDEO", NameInRecord(kPlayer));
  EXPECT_EQ(0, zvLog_ApplySettings("PLAYER=debug")) << "it is nobody's name any more";
  EXPECT_EQ(1u, mError.Writes().size());
  EXPECT_EQ(1, zvLog_SetModuleName(kPlayer, nullptr));
  EXPECT_EQ("300", NameInRecord(kPlayer));
  EXPECT_EQ(1, zvLog_SetModuleName(kLast, "VIDEO")) << "it is free again";
}

TEST_F(ModuleName, ReplacesAKnownOneInRecordsOnly) {
  EXPECT_EQ(1, zvLog_SetModuleName(kTcp, "Stream"));
  EXPECT_EQ("Stream", NameInRecord(kTcp));
  EXPECT_EQ(1, zvLog_ApplySettings("STREAM=debug"));
  EXPECT_EQ(kzvLogLevel_Debug, zvLog_GetModuleLevel(kTcp));
  EXPECT_EQ(1, zvLog_ApplySettings("TCP=info"));
  EXPECT_EQ(kzvLogLevel_Info, zvLog_GetModuleLevel(kTcp));
  zvLog_SetModuleName(kTcp, nullptr);
  EXPECT_EQ("TCP", NameInRecord(kTcp));
}

TEST_F(ModuleName, IsKnownToSettingsInUpperAndLowerCase) {
  zvLog_SetModuleName(kPlayer, "Player");
  EXPECT_EQ(1, zvLog_ApplySettings("PLAYER=debug"));
  EXPECT_EQ(kzvLogLevel_Debug, zvLog_GetModuleLevel(kPlayer));
  EXPECT_EQ(1, zvLog_ApplySettings("player=error"));
  EXPECT_EQ(kzvLogLevel_Error, zvLog_GetModuleLevel(kPlayer));
  EXPECT_TRUE(mError.Writes().empty());
}

TEST_F(ModuleName, TakesTheLevelThatWasSetForItBefore) {
  EXPECT_EQ(0, zvLog_ApplySettings("PLAYER=debug,VIDEO=info,player=info"));
  EXPECT_EQ(2u + 1u, mError.Writes().size());
  EXPECT_EQ(kzvLogLevel_Warning, zvLog_GetModuleLevel(kPlayer));
  EXPECT_EQ(1, zvLog_SetModuleName(kPlayer, "PLAYER"));
  EXPECT_EQ(kzvLogLevel_Info, zvLog_GetModuleLevel(kPlayer));
  EXPECT_EQ(4, _zvLog_Level);

  zvLog_ResetModuleLevel(kPlayer);
  EXPECT_EQ(1, zvLog_SetModuleName(kPlayer, "PLAYER"));
  EXPECT_EQ(kzvLogLevel_Warning, zvLog_GetModuleLevel(kPlayer)) << "it takes force once";
}

TEST_F(ModuleName, OfAnotherModuleIsRefused) {
  zvLog_SetModuleName(kPlayer, "PLAYER");
  for (const char *theName : {"PLAYER", "player", "TCP", "Default"}) {
    errno = 0;
    EXPECT_EQ(0, zvLog_SetModuleName(kLast, theName)) << theName;
    EXPECT_EQ(EEXIST, errno);
  }
  EXPECT_EQ("65535", NameInRecord(kLast));
  EXPECT_EQ("PLAYER", NameInRecord(kPlayer));
}

TEST_F(ModuleName, ThatSettingsCouldNotTellIsRefused) {
  const std::string theLongest(31, 'x');
  for (const std::string &theName :
       {std::string(), std::string("4711"), std::string("4K"), std::string("a b"), std::string("a=b"),
        std::string("a,b"), std::string("a\n"), std::string("to"), std::string("Assert"),
        std::string("REPEAT"), std::string("config"), theLongest + "x"}) {
    errno = 0;
    EXPECT_EQ(0, zvLog_SetModuleName(kPlayer, theName.c_str())) << theName;
    EXPECT_EQ(EINVAL, errno);
  }
  EXPECT_EQ("300", NameInRecord(kPlayer));
  EXPECT_EQ(1, zvLog_SetModuleName(kPlayer, theLongest.c_str()));
  EXPECT_EQ(theLongest, NameInRecord(kPlayer));
}

TEST_F(ModuleName, WithoutMemoryForItIsRefused) {
  if (!CanFailAllocations()) GTEST_SKIP() << "a sanitizer's allocator cannot be made to fail";
  int theResult;
  int theError;
  {
    const FailingAllocation theFailure(0);
    theResult = zvLog_SetModuleName(kPlayer, "A_NAME_NEVER_USED_BEFORE");
    theError = errno;
    EXPECT_TRUE(theFailure.HasFailed());
  }
  EXPECT_EQ(0, theResult);
  EXPECT_EQ(ENOMEM, theError);
  EXPECT_EQ("300", NameInRecord(kPlayer));
}

TEST_F(ModuleName, ThatComesBackTakesNoMemory) {
  zvLog_SetModuleName(kPlayer, "PLAYER");
  zvLog_SetModuleName(kPlayer, "VIDEO");
  const AllocationWatch theWatch([] { ADD_FAILURE() << "it allocates"; });
  zvLog_SetModuleName(kPlayer, "PLAYER");
  zvLog_SetModuleName(kPlayer, nullptr);
  zvLog_SetModuleName(kPlayer, "VIDEO");
}

TEST_F(ModuleName, EachModuleMayHaveOne) {
  for (int theModule = 1000; theModule < 2000; ++theModule) {
    ASSERT_EQ(1, zvLog_SetModuleName(static_cast<zvLogModule>(theModule),
                                     ("M" + std::to_string(theModule)).c_str()));
  }
  EXPECT_EQ("M1000", NameInRecord(1000));
  EXPECT_EQ("M1999", NameInRecord(1999));
  for (int theModule = 1000; theModule < 2000; ++theModule)
    zvLog_SetModuleName(static_cast<zvLogModule>(theModule), nullptr);
  EXPECT_EQ("1999", NameInRecord(1999));
}

TEST_F(ModuleName, MayBeChangedWhileOthersLog) {
  const TempFolder theFolder;
  ASSERT_EQ(1, zvLog_SetSinkFile(theFolder.File("log").c_str()));
  std::atomic<bool> mfStop{false};
  std::thread theLogger([&mfStop] {
    while (!mfStop)
      Log(kzvLogLevel_Error, kPlayer, "x\n");
  });
  for (int theRound = 0; theRound < 500; ++theRound) {
    zvLog_SetModuleName(kPlayer, "PLAYER");
    zvLog_SetModuleName(kPlayer, "VIDEO");
    zvLog_SetModuleName(kPlayer, nullptr);
  }
  mfStop = true;
  theLogger.join();
  for (const zvlogtest::Line &theLine : ParseAll(ReadFile(theFolder.File("log")))) {
    ASSERT_TRUE(theLine.mModule == "PLAYER" || theLine.mModule == "VIDEO" || theLine.mModule == "300")
        << theLine.mModule;
  }
}

}  // namespace
