// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The command run: what a child prints, as it prints it, and the signals that reach it.

#include "ToolSupport.h"
#include "support/Support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>

namespace {

using ::testing::HasSubstr;
using namespace zvtest;

// For a child, which then has no pipes but its standard streams.
void CloseAllButStandardStreams() {
  for (const int theDescriptor : zvtest::OpenDescriptors()) {
    if (theDescriptor > STDERR_FILENO) close(theDescriptor);
  }
}

bool HasPipeBesideStandardStreams(pid_t aProcess) {
  std::error_code theError;
  const std::filesystem::path theFolder = "/proc/" + std::to_string(aProcess) + "/fd";
  for (const auto &theEntry : std::filesystem::directory_iterator(theFolder, theError)) {
    const std::string theTarget = std::filesystem::read_symlink(theEntry.path(), theError).string();
    const bool afStandard = atoi(theEntry.path().filename().c_str()) <= STDERR_FILENO;
    if (!afStandard && theTarget.compare(0, 5, "pipe:") == 0) return true;
  }
  return false;
}

// A command that closes its output and runs on, and the program when it has seen the output's end.
class RunOfASilentCommand : public ::testing::Test {
 protected:
  void Start(const std::string &aBegin, const std::string &aRest) {
    mZvos = std::make_unique<RunningZvos>(
        std::vector<std::string>{"run", aBegin + "; echo up; exec >/dev/null 2>&1; " + aRest}, "/",
        CloseAllButStandardStreams);
    ASSERT_TRUE(mZvos->WaitForOutput("up\n"));
    ASSERT_TRUE(zvtest::WaitUntil([this] { return !HasPipeBesideStandardStreams(mZvos->Pid()); }));
  }

  const TempFolder mFolder;
  std::unique_ptr<RunningZvos> mZvos;
};

TEST_F(RunOfASilentCommand, EndOfTheCommandIsWaitedFor) {
  const std::string theFifo = mFolder.File("fifo");
  ASSERT_EQ(0, mkfifo(theFifo.c_str(), 0600));
  Start("true", "read x <'" + theFifo + "'; echo $x >'" + mFolder.File("said") + "'");
  WriteWholeFile(theFifo, "something\n");
  EXPECT_EQ(0, mZvos->Wait());
  EXPECT_EQ("something\n", ReadWholeFile(mFolder.File("said")));
}

TEST_F(RunOfASilentCommand, SignalReachesTheCommand) {
  for (const int theSignal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
    const std::string theFile = mFolder.File(std::to_string(theSignal));
    Start("sleep 30 >/dev/null 2>&1 & trap 'echo told >" + theFile + "; kill '$!'; exit' TERM INT HUP QUIT",
          "wait");
    mZvos->Kill(theSignal);
    const int theStatus = mZvos->Wait();
    EXPECT_TRUE(WIFEXITED(theStatus));
    EXPECT_EQ(128 + theSignal, WEXITSTATUS(theStatus));
    EXPECT_EQ("told\n", ReadWholeFile(theFile));
  }
}

TEST_F(RunOfASilentCommand, CommandThatDoesNotEndIsKilled) {
  Start("trap '' TERM", "echo $$ >'" + mFolder.File("pid") + "'; sleep 30; sleep 30");
  mZvos->Kill(SIGTERM);
  EXPECT_EQ(128 + SIGTERM, WEXITSTATUS(mZvos->Wait()));
  const int theCommand = atoi(ReadWholeFile(mFolder.File("pid")).c_str());
  EXPECT_GT(theCommand, 0);
  EXPECT_FALSE(IsAlive(theCommand));
}

TEST(Run, HelpNamesTheSignalsThatArePassedOn) {
  EXPECT_THAT(Zvos({"help", "run"}).mOutput,
              HasSubstr("SIGINT, SIGQUIT, SIGTERM and SIGHUP do the same: they are passed on"));
}

TEST(Run, OutputIsShownByteByByteAndErrorsAreLeftAlone) {
  ExpectOutcome(Zvos({"run", "printf 'a\\0b\\377\\n'; echo wrong >&2; exit 3"}), 0,
                std::string("a\0b\377\n", 5), "wrong\n");
}

TEST(Run, MuchOutputIsShownWhole) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("file"), zvtest::SomeBytes(3000000));
  const ChildResult theResult = Zvos({"run", "cat '" + theFolder.File("file") + "'"});
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_TRUE(theResult.mOutput == zvtest::SomeBytes(3000000));
}

TEST(Run, OutputComesWhileTheCommandRuns) {
  const TempFolder theFolder;
  const std::string theFifo = theFolder.File("fifo");
  ASSERT_EQ(0, mkfifo(theFifo.c_str(), 0600));
  RunningZvos theZvos({"run", "echo first; read x <'" + theFifo + "'; echo then $x"});
  ASSERT_TRUE(theZvos.WaitForOutput("first\n"));
  WriteWholeFile(theFifo, "second\n");
  EXPECT_EQ(0, theZvos.Wait());
  EXPECT_EQ("first\nthen second\n", theZvos.Output());
}

TEST(Run, SignalEndsTheCommandWhoseLastWordsAreShown) {
  for (const int theSignal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
    RunningZvos theZvos(
        {"run", "sleep 30 & trap 'echo bye; kill '$!'; exit' TERM INT HUP QUIT; echo up; wait"});
    ASSERT_TRUE(theZvos.WaitForOutput("up\n"));
    theZvos.Kill(theSignal);
    const int theStatus = theZvos.Wait();
    EXPECT_TRUE(WIFEXITED(theStatus));
    EXPECT_EQ(128 + theSignal, WEXITSTATUS(theStatus));
    EXPECT_EQ("up\nbye\n", theZvos.Output());
  }
}

TEST(Run, CommandThatDoesNotEndIsKilledWithAllThatItStarted) {
  if (zvtest::IsEmulated()) GTEST_SKIP() << "the emulator does not know PR_SET_CHILD_SUBREAPER";
  RunningZvos theZvos({"run", "trap '' TERM; (sleep 30 & ); echo up; sleep 30"});
  ASSERT_TRUE(theZvos.WaitForOutput("up\n"));
  theZvos.Kill(SIGTERM);
  // The streams are closed when the last of them is gone.
  const int theStatus = theZvos.Wait();
  EXPECT_EQ(128 + SIGTERM, WEXITSTATUS(theStatus));
}

TEST(Run, OutputThatCannotBeWrittenIsReportedAndEndsTheCommand) {
  if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "/dev/full is not there";
  const ChildResult theResult = RunInChild([] {
    dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO);
    return ExecZvos({"run", "echo x; exec sleep 30"});
  });
  ExpectOutcome(theResult, 1, "", "zvos: cannot write standard output: No space left on device\n");
}

}  // namespace
