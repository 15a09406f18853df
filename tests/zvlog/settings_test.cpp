// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Settings as text, and in the environment of a program.

#include "Child.h"
#include "LogTest.h"

#include <pthread.h>
#include <csignal>
#include <thread>

namespace {

using namespace zvlogtest;
using Texts = std::vector<std::string>;

constexpr zvLogModule kTcp = 21;
constexpr zvLogModule kFile = 42;

class Settings : public LogTest {
 protected:
  TempFolder mFolder;
  CaughtStandardError mError;
};

TEST_F(Settings, SetGlobalAndModuleLevels) {
  EXPECT_EQ(1, zvLog_ApplySettings("info,TCP=debug,FILE=error,300=none"));
  EXPECT_EQ(kzvLogLevel_Info, zvLog_GetLevel());
  EXPECT_EQ(kzvLogLevel_Debug, zvLog_GetModuleLevel(kTcp));
  EXPECT_EQ(kzvLogLevel_Error, zvLog_GetModuleLevel(kFile));
  EXPECT_EQ(kzvLogLevel_None, zvLog_GetModuleLevel(300));
  EXPECT_EQ(kzvLogLevel_Info, zvLog_GetModuleLevel(301));
  EXPECT_TRUE(mError.Writes().empty());
}

TEST_F(Settings, EveryLevelHasItsName) {
  const std::vector<std::pair<const char *, zvLogLevel>> theLevels = {
      {"none", 0},  {"error", 1}, {"warning", 2}, {"info", 3},
      {"debug", 4}, {"0", 0},     {"4", 4},       {"65534", 65534}};
  for (const auto &[theText, theLevel] : theLevels) {
    EXPECT_EQ(1, zvLog_ApplySettings(theText));
    EXPECT_EQ(theLevel, zvLog_GetLevel()) << theText;
  }
}

TEST_F(Settings, EveryModuleHasItsName) {
  const std::vector<std::pair<const char *, zvLogModule>> theModules = {
      {"DEFAULT", 0},        {"ZVOS", 7},      {"TCP", 21},     {"TCPRW", 22}, {"SELECT", 25},
      {"PLUGIN", 29},        {"FILE", 42},     {"DIR", 43},     {"PATH", 57},  {"SOCKETTRACKER", 53},
      {"SOCKETTRAFFIC", 55}, {"TCP_QOS", 122}, {"65535", 65535}};
  for (const auto &[theName, theModule] : theModules) {
    EXPECT_EQ(1, zvLog_ApplySettings((std::string(theName) + "=debug").c_str()));
    EXPECT_EQ(kzvLogLevel_Debug, zvLog_GetModuleLevel(theModule)) << theName;
    EXPECT_EQ(kzvLogLevel_Warning, zvLog_GetLevel());
  }
}

TEST_F(Settings, BlanksCaseAndEmptyItemsDoNotMatter) {
  EXPECT_EQ(1, zvLog_ApplySettings(" Info ,, tcp = DEBUG ,"));
  EXPECT_EQ(kzvLogLevel_Info, zvLog_GetLevel());
  EXPECT_EQ(kzvLogLevel_Debug, zvLog_GetModuleLevel(kTcp));
  EXPECT_EQ(1, zvLog_ApplySettings(""));
  EXPECT_EQ(1, zvLog_ApplySettings(nullptr));
}

TEST_F(Settings, ChooseTheSink) {
  const std::string thePath = mFolder.File("log");
  EXPECT_EQ(1, zvLog_ApplySettings(("to=file:" + thePath).c_str()));
  Log(kzvLogLevel_Error, 0, "in the file\n");
  EXPECT_EQ(Texts{"in the file"}, TextsOf(ParseAll(ReadFile(thePath))));
  EXPECT_EQ(1, zvLog_ApplySettings("to=stderr"));
  Log(kzvLogLevel_Error, 0, "on standard error\n");
  EXPECT_EQ(Texts{"on standard error"}, TextsOf(mError.Writes()));
}

TEST_F(Settings, BadOnesAreReportedOneByOneAndTheRestHolds) {
  EXPECT_EQ(0, zvLog_ApplySettings("loud,TCP=debug,NOSUCH=debug,FILE=loud,to=paper,assert=maybe,65536=info,"
                                   "to=file:max=4M,"
                                   "to=file:/no/such/folder/log,to=syslog:/no/such/socket,DIR=info,65535"));
  const std::string kLevels = "level (none, error, warning, info, debug or a number)\n";
  EXPECT_EQ(
      (Texts{
          "zvLog: bad setting 'loud': it is no " + kLevels,
          "zvLog: bad setting 'NOSUCH=debug': 'NOSUCH' is no module, neither a known name nor a number up to "
          "65535\n",
          "zvLog: bad setting 'FILE=loud': 'loud' is no " + kLevels,
          "zvLog: bad setting 'to=paper': it is no sink (stderr, file:<path>, syslog or syslog:<path>)\n",
          "zvLog: bad setting 'assert=maybe': it is neither abort nor return\n",
          "zvLog: bad setting '65536=info': '65536' is no module, neither a known name nor a number up to "
          "65535\n",
          "zvLog: bad setting 'to=file:max=4M': there is no path behind max=\n",
          "zvLog: bad setting 'to=file:/no/such/folder/log': cannot open the file (No such file or "
          "directory)\n",
          "zvLog: bad setting 'to=syslog:/no/such/socket': cannot reach the system log (No such file or "
          "directory)\n",
          "zvLog: bad setting '65535': it is no " + kLevels,
      }),
      mError.Writes());
  EXPECT_EQ(kzvLogLevel_Warning, zvLog_GetLevel());
  EXPECT_EQ(kzvLogLevel_Debug, zvLog_GetModuleLevel(kTcp));
  EXPECT_EQ(kzvLogLevel_Warning, zvLog_GetModuleLevel(kFile));
  EXPECT_EQ(kzvLogLevel_Info, zvLog_GetModuleLevel(43));
}

// Files are read and complaints written by calls at which a thread can be cancelled.
TEST_F(Settings, ThreadThatIsCancelledMeanwhileAppliesThemAllAndLeavesNoLock) {
  const std::string theFile = mFolder.File("settings");
  WriteFile(theFile, "FILE=debug");
  const Ending theEnding = RunInChild([theFile] {
    std::thread([&theFile] {
      pthread_cancel(pthread_self());
      zvLog_ApplySettings(("info,loud,config=" + theFile).c_str());
      pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    }).join();
    const zvLogLevel theApplied = zvLog_GetLevel();
    zvLog_ApplySettings("TCP=debug");
    return theApplied * 25 + zvLog_GetModuleLevel(kFile) * 5 + zvLog_GetModuleLevel(kTcp);
  });
  EXPECT_FALSE(theEnding.mfTimedOut);
  EXPECT_EQ(kzvLogLevel_Info * 25 + kzvLogLevel_Debug * 5 + kzvLogLevel_Debug, theEnding.mStatus);
}

TEST_F(Settings, VeryLongBadOneIsReportedToo) {
  EXPECT_EQ(
      0, zvLog_ApplySettings((std::string(5000, 'x') + "=" + std::string(5000, 'y') + ",TCP=info").c_str()));
  const Texts theWrites = mError.Writes();
  ASSERT_EQ(1u, theWrites.size());
  EXPECT_EQ("zvLog: bad setting 'xxx", theWrites[0].substr(0, 23));
  EXPECT_EQ('\n', theWrites[0].back());
  EXPECT_EQ(kzvLogLevel_Info, zvLog_GetModuleLevel(kTcp));
}

}  // namespace
