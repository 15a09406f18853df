// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Several sinks at once, each with a level of its own, and lists of settings that name them.

#include "Allocation.h"
#include "Child.h"
#include "Interposed.h"
#include "LogTest.h"

#include <sys/stat.h>
#include <cerrno>
#include <csignal>
#include <filesystem>

namespace {

using namespace zvlogtest;
using Texts = std::vector<std::string>;

class SinkSet : public LogTest {
 protected:
  TempFolder mFolder;
  CaughtStandardError mError;

  std::string Path(const std::string &aName) const { return mFolder.File(aName); }
  Texts TextsOfFile(const std::string &aName) const { return TextsOf(ParseAll(ReadFile(Path(aName)))); }
  Texts TextsOfStandardError() { return TextsOf(mError.Writes()); }
  static void LogEachLevel() {
    Log(kzvLogLevel_Error, 0, "error\n");
    Log(kzvLogLevel_Warning, 0, "warning\n");
    Log(kzvLogLevel_Info, 0, "info\n");
  }
};

TEST_F(SinkSet, NamedInOneListAllTakeWhatTheirLevelsAdmit) {
  EXPECT_EQ(
      1,
      zvLog_ApplySettings(
          ("info to=file:" + Path("all") + " to=stderr:warning\tto=file:ERROR:" + Path("errors")).c_str()));
  LogEachLevel();
  EXPECT_EQ((Texts{"error", "warning", "info"}), TextsOfFile("all"));
  EXPECT_EQ((Texts{"error", "warning"}), TextsOfStandardError());
  EXPECT_EQ(Texts{"error"}, TextsOfFile("errors"));
}

TEST_F(SinkSet, OfAListReplacesTheFormerOneTogether) {
  EXPECT_EQ(1, zvLog_ApplySettings(("to=file:" + Path("a") + ",to=file:" + Path("b")).c_str()));
  EXPECT_EQ(1, zvLog_ApplySettings(("to=file:" + Path("c")).c_str()));
  LogEachLevel();
  EXPECT_EQ(Texts{}, TextsOfFile("a"));
  EXPECT_EQ(Texts{}, TextsOfFile("b"));
  EXPECT_EQ((Texts{"error", "warning"}), TextsOfFile("c"));
  EXPECT_EQ(1, zvLog_ApplySettings("info"));
  Log(kzvLogLevel_Error, 0, "still\n");
  EXPECT_EQ(3u, TextsOfFile("c").size()) << "a list without sinks leaves them";
  EXPECT_EQ(Texts{}, TextsOfStandardError());
}

TEST_F(SinkSet, OfAListTakeForceTogether) {
  ASSERT_EQ(1, zvLog_ApplySettings(("to=file:" + Path("a")).c_str()));
  {
    const OpenHook theHook([this](const char *aPath) {
      if (Path("c") == aPath) Log(kzvLogLevel_Error, 0, "between\n");
    });
    ASSERT_EQ(1, zvLog_ApplySettings(("to=file:" + Path("b") + ",to=file:" + Path("c")).c_str()));
  }
  Log(kzvLogLevel_Error, 0, "after\n");
  EXPECT_EQ(Texts{"between"}, TextsOfFile("a"));
  EXPECT_EQ(Texts{"after"}, TextsOfFile("b"));
  EXPECT_EQ(Texts{"after"}, TextsOfFile("c"));
}

TEST_F(SinkSet, StayWhenThereIsNoMemoryForTheNextOnes) {
  if (!CanFailAllocations()) GTEST_SKIP() << "allocations cannot be made to fail under a sanitizer";
  ASSERT_EQ(1, zvLog_ApplySettings(("to=file:error:" + Path("a")).c_str()));
  const std::string theNext = Path("b");
  size_t theFailures = 0;
  for (bool afFailed = true; afFailed;) {
    {
      const FailingAllocation theFailure(static_cast<int>(theFailures));
      const int theResult = zvLog_SetSinkFile(theNext.c_str());
      afFailed = theFailure.HasFailed();
      ASSERT_EQ(afFailed ? 0 : 1, theResult);
    }
    if (afFailed) ++theFailures;
    Log(kzvLogLevel_Error, 0, "text\n");
  }
  EXPECT_LT(2u, theFailures);
  EXPECT_EQ(Texts(theFailures, "text"), TextsOfFile("a"));
  EXPECT_EQ(Texts{"text"}, TextsOfFile("b"));
}

TEST_F(SinkSet, BadOnesAreReportedAndTheRestApplies) {
  EXPECT_EQ(0, zvLog_ApplySettings(("to=file:" + Path("a") + " to=file:/no/such/folder/log").c_str()));
  EXPECT_EQ(1u, mError.Writes().size());
  LogEachLevel();
  EXPECT_EQ((Texts{"error", "warning"}), TextsOfFile("a"));
  EXPECT_EQ(0, zvLog_ApplySettings("to=file:/no/such/folder/log"));
  LogEachLevel();
  EXPECT_EQ(4u, TextsOfFile("a").size()) << "the former ones stay when none is good";
}

TEST_F(SinkSet, HasEightSinksAtMost) {
  std::string theSettings;
  for (int theNumber = 0; theNumber < 9; ++theNumber)
    theSettings += "to=file:" + Path(std::to_string(theNumber)) + " ";
  EXPECT_EQ(0, zvLog_ApplySettings(theSettings.c_str()));
  EXPECT_EQ(
      Texts{"zvLog: bad setting 'to=file:" + Path("8") + "': it is one sink too many, eight are possible\n"},
      mError.Writes());
  Log(kzvLogLevel_Error, 0, "text\n");
  for (int theNumber = 0; theNumber < 8; ++theNumber)
    EXPECT_EQ(Texts{"text"}, TextsOfFile(std::to_string(theNumber)));
  errno = 0;
  EXPECT_EQ(0, zvLog_AddSink("stderr"));
  EXPECT_EQ(ENOSPC, errno);
}

TEST_F(SinkSet, RecordThatNoneOfThemTakesGoesToStandardError) {
  if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "this system has no /dev/full";
  EXPECT_EQ(1, zvLog_ApplySettings(("to=file:/dev/full to=file:error:" + Path("errors")).c_str()));
  LogEachLevel();
  EXPECT_EQ(Texts{"error"}, TextsOfFile("errors"));
  EXPECT_EQ(Texts{"warning"}, TextsOfStandardError());
}

TEST_F(SinkSet, AddedSinkStandsBesideTheFormerOnes) {
  EXPECT_EQ(1, zvLog_AddSink(("file:warning:" + Path("a")).c_str()));
  EXPECT_EQ(1, zvLog_AddSink(("file:error:" + Path("b")).c_str()));
  LogEachLevel();
  EXPECT_EQ((Texts{"error", "warning"}), TextsOfFile("a"));
  EXPECT_EQ(Texts{"error"}, TextsOfFile("b"));
  EXPECT_EQ((Texts{"error", "warning"}), TextsOfStandardError());

  zvLog_SetSinkStandardError();
  LogEachLevel();
  EXPECT_EQ(2u, TextsOfFile("a").size()) << "a sink that is set is the only one";
}

TEST_F(SinkSet, TextThatDescribesNoSinkIsRefused) {
  for (const char *theText :
       {"", "paper", "stderrx", "stderr:", "stderr:loud", "syslogs", "file:", "to=stderr", "file:max=:/tmp/x",
        "file:max=4X:/tmp/x", "file:max=4M*0:/tmp/x", "file:max=4M*100:/tmp/x", "file:max=1023:/tmp/x",
        "file:max=-1:/tmp/x", "file:max=4M", "file:warning:max=4M*3", "file:max=", "file:max=/tmp/x"}) {
    errno = 0;
    EXPECT_EQ(0, zvLog_AddSink(theText)) << theText;
    EXPECT_NE(0, errno) << theText;
  }
  EXPECT_EQ(0, zvLog_AddSink(nullptr));
  EXPECT_EQ(EINVAL, errno);
}

TEST_F(SinkSet, PathMayContainColonsAndWhatLooksLikeALevel) {
  ASSERT_EQ(1, zvLog_SetSinkFile(Path("plain").c_str()));
  EXPECT_EQ(1, zvLog_AddSink(("file:" + Path("a:b")).c_str()));
  EXPECT_EQ(1, zvLog_AddSink(("file:" + Path("error:c")).c_str()));
  const std::filesystem::path theFolder = std::filesystem::current_path();
  std::filesystem::current_path(Path(""));
  EXPECT_EQ(1, zvLog_AddSink("file:3:d"));
  EXPECT_EQ(1, zvLog_AddSink("file:./error:e"));
  EXPECT_EQ(1, zvLog_AddSink("file:error:f"));
  std::filesystem::current_path(theFolder);
  Log(kzvLogLevel_Error, 0, "text\n");
  for (const char *theName : {"plain", "a:b", "error:c", "3:d", "error:e", "f"})
    EXPECT_EQ(Texts{"text"}, TextsOfFile(theName)) << theName;
}

TEST_F(SinkSet, SettingsInQuotesContainSeparators) {
  EXPECT_EQ(1, zvLog_ApplySettings(("\"to=file:" + Path("a, b.log") + "\" TCP = debug\n\"info\"").c_str()));
  Log(kzvLogLevel_Error, 0, "text\n");
  EXPECT_EQ(Texts{"text"}, TextsOfFile("a, b.log"));
  EXPECT_EQ(kzvLogLevel_Debug, zvLog_GetModuleLevel(21));
  EXPECT_EQ(kzvLogLevel_Info, zvLog_GetLevel());

  EXPECT_EQ(0, zvLog_ApplySettings("TCP=error \"to=file:/tmp/x"));
  EXPECT_EQ(Texts{"zvLog: bad setting 'to=file:/tmp/x': it has no closing quote\n"}, mError.Writes());
  EXPECT_EQ(kzvLogLevel_Error, zvLog_GetModuleLevel(21));
}

TEST_F(SinkSet, LongBadSettingShowsThatItWasCut) {
  EXPECT_EQ(0, zvLog_ApplySettings(std::string(5000, 'x').c_str()));
  const Texts theWrites = mError.Writes();
  ASSERT_EQ(1u, theWrites.size());
  EXPECT_NE(std::string::npos, theWrites[0].find("xxx...': it is no level"));
}

TEST(SinkSetOfProgram, BadSettingWithoutAReaderDoesNotEndTheProgram) {
  const Ending theEnding = RunInChild([] {
    signal(SIGPIPE, SIG_DFL);
    int theEnds[2];
    if (pipe(theEnds) != 0) return 1;
    close(theEnds[0]);
    dup2(theEnds[1], STDERR_FILENO);
    return zvLog_ApplySettings("loud");
  });
  EXPECT_EQ(0, theEnding.mSignal);
  EXPECT_EQ(0, theEnding.mStatus);
}

}  // namespace
