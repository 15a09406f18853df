// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Files of settings, and settings that are applied anew.

#include "Child.h"
#include "LogTest.h"

#include <sys/stat.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <filesystem>

namespace {

using namespace zvlogtest;
using Texts = std::vector<std::string>;

constexpr zvLogModule kTcp = 21;
constexpr zvLogModule kFile = 42;

class Reload : public LogTest {
 protected:
  Reload() { unsetenv("ZVLOG"); }
  ~Reload() override { unsetenv("ZVLOG"); }

  TempFolder mFolder;
  CaughtStandardError mError;
  const std::string mPath = mFolder.File("log.conf");

  std::string Complaint(const std::string &aPath, const std::string &aReason) const {
    return "zvLog: bad setting 'config=" + aPath + "': " + aReason + "\n";
  }
};

TEST_F(Reload, FileOfSettingsStandsInPlaceOfItsSetting) {
  WriteFile(mPath, "# what is logged\n\ninfo # the most\nTCP = debug\r\n# to=paper\n\"to=file:" +
                       mFolder.File("a b") + "\"\n42=error");
  EXPECT_EQ(1, zvLog_ApplySettings(("error,config=" + mPath + ",FILE=none").c_str()));
  EXPECT_EQ(kzvLogLevel_Info, zvLog_GetLevel());
  EXPECT_EQ(kzvLogLevel_Debug, zvLog_GetModuleLevel(kTcp));
  EXPECT_EQ(kzvLogLevel_None, zvLog_GetModuleLevel(kFile));
  Log(kzvLogLevel_Error, 0, "text\n");
  EXPECT_EQ(Texts{"text"}, TextsOf(ParseAll(ReadFile(mFolder.File("a b")))));
  EXPECT_TRUE(mError.Writes().empty());
}

TEST_F(Reload, FileThatIsNoneIsRefusedWithOneLine) {
  const std::string theFifo = mFolder.File("fifo");
  ASSERT_EQ(0, mkfifo(theFifo.c_str(), 0600));
  const std::string theLarge = mFolder.File("large");
  WriteFile(theLarge, std::string((1 << 20) + 1, ' '));
  const std::string theHuge = mFolder.File("huge");
  WriteFile(theHuge, "");
  ASSERT_EQ(0, truncate(theHuge.c_str(), off_t{1} << 30));
  const std::string theBinary = mFolder.File("binary");
  WriteFile(theBinary, std::string("debug\0debug", 11));
  const std::vector<std::pair<std::string, std::string>> theCases = {
      {mFolder.File("missing"), "cannot read the file (No such file or directory)"},
      {"/dev/zero", "it is no ordinary file"},
      {mFolder.File(""), "it is no ordinary file"},
      {theFifo, "it is no ordinary file"},
      {theLarge, "the file has more than 1 MiB"},
      {theHuge, "the file has more than 1 MiB"},
      {theBinary, "the file is no text"},
  };
  for (const auto &[thePath, theReason] : theCases) {
    EXPECT_EQ(0, zvLog_ApplySettings(("config=" + thePath + ",TCP=info").c_str())) << thePath;
    EXPECT_EQ(Texts{Complaint(thePath, theReason)}, mError.Writes());
    EXPECT_EQ(kzvLogLevel_Info, zvLog_GetModuleLevel(kTcp)) << "the rest holds";
    EXPECT_EQ(kzvLogLevel_Warning, zvLog_GetLevel());
    zvLog_ResetModuleLevel(kTcp);
  }
}

TEST_F(Reload, FileOfOneMebibyteIsRead) {
  WriteFile(mPath, std::string((1 << 20) - 5, '\n') + "debug");
  EXPECT_EQ(1, zvLog_ApplySettings(("config=" + mPath).c_str()));
  EXPECT_EQ(kzvLogLevel_Debug, zvLog_GetLevel());
}

TEST_F(Reload, FileThatNamesAFileIsReported) {
  WriteFile(mPath, "config=" + mPath + "\ndebug\n");
  EXPECT_EQ(0, zvLog_ApplySettings(("config=" + mPath).c_str()));
  EXPECT_EQ(Texts{Complaint(mPath, "it stands in such a file itself")}, mError.Writes());
  EXPECT_EQ(kzvLogLevel_Debug, zvLog_GetLevel());
}

TEST_F(Reload, LevelsNamedNowhereAnyMoreGoBack) {
  setenv("ZVLOG", ("PATH=info,config=" + mPath).c_str(), 1);
  WriteFile(mPath, "debug\nTCP=error\n");
  EXPECT_EQ(1, zvLog_ReloadSettings());
  EXPECT_EQ(kzvLogLevel_Debug, zvLog_GetLevel());
  EXPECT_EQ(kzvLogLevel_Error, zvLog_GetModuleLevel(kTcp));

  zvLog_SetModuleLevel(300, kzvLogLevel_Debug);
  WriteFile(mPath, "FILE=debug\n");
  EXPECT_EQ(1, zvLog_ReloadSettings());
  EXPECT_EQ(kzvLogLevel_Warning, zvLog_GetLevel());
  EXPECT_EQ(kzvLogLevel_Warning, zvLog_GetModuleLevel(kTcp));
  EXPECT_EQ(kzvLogLevel_Warning, zvLog_GetModuleLevel(300));
  EXPECT_EQ(kzvLogLevel_Debug, zvLog_GetModuleLevel(kFile));
  EXPECT_EQ(kzvLogLevel_Info, zvLog_GetModuleLevel(57));
  EXPECT_TRUE(mError.Writes().empty());
}

TEST_F(Reload, SinksThatSettingsChoseGoBackAndOthersStay) {
  const std::string theLog = mFolder.File("log");
  ASSERT_EQ(1, zvLog_SetSinkFile(theLog.c_str()));
  EXPECT_EQ(1, zvLog_ReloadSettings());
  Log(kzvLogLevel_Error, 0, "one\n");
  EXPECT_EQ(Texts{"one"}, TextsOf(ParseAll(ReadFile(theLog)))) << "the program chose it";

  setenv("ZVLOG", ("to=file:" + theLog).c_str(), 1);
  EXPECT_EQ(1, zvLog_ReloadSettings());
  setenv("ZVLOG", "", 1);
  EXPECT_EQ(1, zvLog_ReloadSettings());
  Log(kzvLogLevel_Error, 0, "two\n");
  EXPECT_EQ(Texts{"two"}, TextsOf(mError.Writes()));
}

TEST_F(Reload, SinksThatTheProgramChoseAfterSettingsStay) {
  setenv("ZVLOG", ("to=file:" + mFolder.File("first")).c_str(), 1);
  EXPECT_EQ(1, zvLog_ReloadSettings());
  const std::string theLog = mFolder.File("log");
  ASSERT_EQ(1, zvLog_SetSinkFile(theLog.c_str()));
  setenv("ZVLOG", "", 1);
  EXPECT_EQ(1, zvLog_ReloadSettings());
  Log(kzvLogLevel_Error, 0, "one\n");
  EXPECT_EQ(Texts{"one"}, TextsOf(ParseAll(ReadFile(theLog))));

  EXPECT_EQ(1, zvLog_ApplySettings("to=stderr"));
  ASSERT_EQ(1, zvLog_SetSinkFunction([](const zvLogRecord *, void *) {}, nullptr));
  EXPECT_EQ(1, zvLog_ReloadSettings());
  Log(kzvLogLevel_Error, 0, "two\n");
  EXPECT_TRUE(mError.Writes().empty()) << "the function is the only sink";
}

TEST(ReloadOfAssertions, EndNoProgramWhenNothingSaysSoAnyMore) {
  const Ending theEnding = RunInChild([] {
    setenv("ZVLOG", "assert=abort", 1);
    zvLog_ReloadSettings();
    unsetenv("ZVLOG");
    zvLog_ReloadSettings();
    _zvAssert("false", "x.c", 1);
    return 0;
  });
  EXPECT_EQ(0, theEnding.mSignal);
}

TEST_F(Reload, BadSettingsAreReportedAndTheRestHolds) {
  setenv("ZVLOG", "loud,TCP=info", 1);
  EXPECT_EQ(0, zvLog_ReloadSettings());
  EXPECT_EQ(1u, mError.Writes().size());
  EXPECT_EQ(kzvLogLevel_Info, zvLog_GetModuleLevel(kTcp));
}

TEST_F(Reload, RequestOfASignalHandlerIsDoneWhenTheProgramAsks) {
  setenv("ZVLOG", "debug", 1);
  EXPECT_EQ(1, zvLog_ReloadIfRequested());
  EXPECT_EQ(kzvLogLevel_Warning, zvLog_GetLevel()) << "nobody requested it";
  signal(SIGUSR1, [](int) { zvLog_RequestReload(); });
  raise(SIGUSR1);
  signal(SIGUSR1, SIG_DFL);
  EXPECT_EQ(kzvLogLevel_Warning, zvLog_GetLevel()) << "not yet";
  EXPECT_EQ(1, zvLog_ReloadIfRequested());
  EXPECT_EQ(kzvLogLevel_Debug, zvLog_GetLevel());
  zvLog_SetLevel(kzvLogLevel_Error);
  EXPECT_EQ(1, zvLog_ReloadIfRequested());
  EXPECT_EQ(kzvLogLevel_Error, zvLog_GetLevel()) << "it is done once";
}

}  // namespace
