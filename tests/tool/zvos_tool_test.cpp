// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The program zvos as its users see it: its usage, where its output goes to, and what it needs to run.

#include "ToolSupport.h"
#include "support/Support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;
using namespace zvtest;

// A machine without /dev/pts has no terminal to give.
bool HasTerminals() {
  const int theTerminal = posix_openpt(O_RDWR | O_NOCTTY);
  if (theTerminal < 0) return false;
  close(theTerminal);
  return true;
}

#define NEEDS_TERMINAL() \
  if (!HasTerminals()) GTEST_SKIP() << "no pseudo-terminal to be had (errno " << errno << ")"

// The program's output on a terminal; the environment is set by the shell command.
std::string OutputOnTerminal(const std::string &aCommand, int *aStatus) {
  int theTerminal = -1;
  const pid_t theChild = forkpty(&theTerminal, nullptr, nullptr, nullptr);
  if (theChild == 0) _exit(Shell(aCommand));
  EXPECT_GT(theChild, 0);
  std::string theOutput;
  char theBuffer[4096];
  ssize_t theCount = 0;
  while ((theCount = read(theTerminal, theBuffer, sizeof(theBuffer))) > 0) {
    theOutput.append(theBuffer, static_cast<size_t>(theCount));
  }
  close(theTerminal);
  waitpid(theChild, aStatus, 0);
  RemoveTraceFile(theOutput);
  return theOutput;
}

// A path of the program of its own. Back-trace files name it, so that they are found again, and
// removed, when the output that tells their path is lost.
class OwnPath {
 public:
  OwnPath() { EXPECT_EQ(0, symlink(BuiltProgram("zvos").c_str(), Link().c_str())); }
  ~OwnPath() {
    for (const auto &theFile : std::filesystem::directory_iterator("/tmp")) {
      const std::string thePath = theFile.path().string();
      if (thePath.compare(0, 15, "/tmp/backtrace_") != 0) continue;
      if (zvtest::ReadWholeFile(thePath).find(Link() + "(") != std::string::npos)
        zvtest::RemoveCrashFiles(atoi(thePath.c_str() + 15));
    }
  }
  OwnPath(const OwnPath &) = delete;
  OwnPath &operator=(const OwnPath &) = delete;

  std::string Command() const { return ZvosCommand(Link()); }

 private:
  std::string Link() const { return mFolder.File("zvos"); }

  TempFolder mFolder;
};

// Usage

TEST(Usage, NoCommandIsRefusedWithOneLine) {
  ExpectRefusal(Zvos({}), "zvos: no command given, see 'zvos --help'\n");
}

TEST(Usage, UnknownCommandIsRefusedWithOneLine) {
  ExpectRefusal(Zvos({"frobnicate"}), "zvos: unknown command 'frobnicate', see 'zvos --help'\n");
  ExpectRefusal(Zvos({"help", "frobnicate"}), "zvos: unknown command 'frobnicate', see 'zvos --help'\n");
  ExpectRefusal(Zvos({""}), "zvos: unknown command '', see 'zvos --help'\n");
}

TEST(Usage, UnknownOptionIsRefusedWithOneLine) {
  ExpectRefusal(Zvos({"--frobnicate"}), "zvos: unknown option '--frobnicate', see 'zvos --help'\n");
  ExpectRefusal(Zvos({"demo", "-x"}), "zvos: demo: unknown option '-x', see 'zvos help demo'\n");
  ExpectRefusal(Zvos({"revision", "a", "--x"}),
                "zvos: revision: unknown option '--x', see 'zvos help revision'\n");
}

TEST(Usage, WrongCountOfArgumentsIsRefusedWithOneLine) {
  ExpectRefusal(Zvos({"demo", "a", "b"}), "zvos: demo: one FILE at most, see 'zvos help demo'\n");
  ExpectRefusal(Zvos({"revision"}), "zvos: revision: no FILE given, see 'zvos help revision'\n");
  ExpectRefusal(Zvos({"help", "demo", "revision"}), "zvos: help: one COMMAND at a time, see 'zvos --help'\n");
  ExpectRefusal(Zvos({"--version", "demo"}), "zvos: --version takes no argument, see 'zvos --help'\n");
}

TEST(Usage, WhatFollowsTwoDashesIsAFile) {
  ExpectRefusal(Zvos({"revision", "--", "--help"}),
                "zvos: cannot read '--help': No such file or directory\n");
}

TEST(Usage, HelpNamesCommandsExamplesAndEnvironment) {
  const ChildResult theResult = Zvos({"--help"});
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_EQ("", theResult.mError);
  EXPECT_THAT(theResult.mOutput, StartsWith("usage: zvos COMMAND"));
  for (const char *theText : {"\n  demo ", "\n  revision ", "\n  help ", "Examples:", "ZVLOG", "NO_COLOR"}) {
    EXPECT_THAT(theResult.mOutput, HasSubstr(theText));
  }
  EXPECT_EQ(theResult.mOutput, Zvos({"-h"}).mOutput);
  EXPECT_EQ(theResult.mOutput, Zvos({"help"}).mOutput);
}

TEST(Usage, HelpOnACommandIsTheSameInEveryForm) {
  for (const char *theCommand : {"demo", "revision"}) {
    const ChildResult theResult = Zvos({"help", theCommand});
    EXPECT_EQ(0, theResult.mStatus);
    EXPECT_EQ("", theResult.mError);
    EXPECT_THAT(theResult.mOutput, StartsWith(std::string("usage: zvos ") + theCommand + " "));
    EXPECT_THAT(theResult.mOutput, HasSubstr("Examples:"));
    EXPECT_EQ(theResult.mOutput, Zvos({theCommand, "--help"}).mOutput);
    EXPECT_EQ(theResult.mOutput, Zvos({theCommand, "somefile", "-h"}).mOutput);
  }
}

TEST(Usage, VersionNamesVersionAndStamp) {
  const ChildResult theResult = Zvos({"--version"});
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_EQ("", theResult.mError);
  const std::string theStart = std::string("zvos ") + ZVTEST_VERSION + ", ";
  EXPECT_THAT(theResult.mOutput, StartsWith(theStart));
  EXPECT_THAT(
      theResult.mOutput.substr(theStart.size()),
      MatchesRegex(kSixtyFourBits ? "no revision stamp \\(a 64-bit file.*\\)\n" : "r[0-9]+ \\(.+\\)\n"));
}

// Output

TEST(Output, NoControlCharactersInAPipe) {
  const ChildResult theResult = Zvos({"demo"}, {"TERM=xterm"});
  EXPECT_THAT(theResult.mOutput, AllOf(Not(HasSubstr("\033")), Not(HasSubstr("\r"))));
}

TEST(Output, ColoursOnATerminal) {
  NEEDS_TERMINAL();
  int theStatus = -1;
  const std::string theOutput =
      OutputOnTerminal("unset NO_COLOR; TERM=xterm exec " + ZvosCommand() + "demo", &theStatus);
  EXPECT_EQ(0, theStatus);
  EXPECT_THAT(theOutput, HasSubstr("\033[32mok     \033[0m Crash report"));
  EXPECT_THAT(theOutput, HasSubstr("All checks held.\r\n"));
}

TEST(Output, NoColoursOnATerminalWhenNotWanted) {
  NEEDS_TERMINAL();
  int theStatus = -1;
  const std::string theOutput =
      OutputOnTerminal("NO_COLOR=1 TERM=xterm exec " + ZvosCommand() + "demo", &theStatus);
  EXPECT_EQ(0, theStatus);
  EXPECT_THAT(theOutput, AllOf(HasSubstr("ok      Crash report"), Not(HasSubstr("\033[3"))));
}

TEST(Output, NoControlCharactersOnADumbTerminal) {
  NEEDS_TERMINAL();
  int theStatus = -1;
  const std::string theOutput =
      OutputOnTerminal("unset NO_COLOR; TERM=dumb exec " + ZvosCommand() + "demo", &theStatus);
  EXPECT_EQ(0, theStatus);
  EXPECT_THAT(theOutput, AllOf(HasSubstr("ok      Crash report"), Not(HasSubstr("\033"))));
}

TEST(Output, FullDiskIsReported) {
  if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "/dev/full is not there";
  const OwnPath thePath;
  for (const char *theArguments : {"--help", "--version", "help demo", "demo"}) {
    const ChildResult theResult = RunShell("exec " + thePath.Command() + theArguments + " >/dev/full");
    EXPECT_EQ(1, theResult.mStatus) << theArguments;
    EXPECT_EQ("zvos: cannot write standard output: No space left on device\n", theResult.mError)
        << theArguments;
  }
}

TEST(Output, ClosedOutputIsReported) {
  const OwnPath thePath;
  for (const char *theArguments : {"--help", "demo"}) {
    const ChildResult theResult = RunShell("exec " + thePath.Command() + theArguments + " >&-");
    EXPECT_EQ(1, theResult.mStatus) << theArguments;
    EXPECT_EQ("zvos: cannot write standard output: Bad file descriptor\n", theResult.mError) << theArguments;
  }
}

TEST(Output, AllStreamsClosedStillGivesTheStatus) {
  const OwnPath thePath;
  EXPECT_EQ(2, RunShell("exec " + thePath.Command() + "demo /nonexistent <&- >&- 2>&-").mStatus);
  EXPECT_EQ(1, RunShell("exec " + thePath.Command() + "demo <&- >&- 2>&-").mStatus);
}

// Program

TEST(Program, NeedsNothingButItsLibrariesAndTheCLibrary) {
  if (strcmp(ZVTEST_SANITIZERS, "") != 0) GTEST_SKIP() << "sanitizers bring libraries of their own";
  const ChildResult theResult =
      RunInChild([] { return Shell("LC_ALL=C readelf -d '" + BuiltProgram("zvos") + "'"); });
  if (theResult.mStatus == 127) GTEST_SKIP() << "readelf is not there";
  ASSERT_EQ(0, theResult.mStatus);
  std::vector<std::string> theNames;
  std::istringstream theLines(theResult.mOutput);
  for (std::string theLine; std::getline(theLines, theLine);) {
    const std::vector<std::string> theMatch = Search(theLine, "\\(NEEDED\\).*\\[(.*)\\]");
    if (!theMatch.empty()) theNames.push_back(theMatch[1]);
  }
  // The dynamic loader is listed where it holds the stack protector's variables.
  theNames.erase(
      std::remove_if(theNames.begin(), theNames.end(),
                     [](const std::string &aName) { return aName.compare(0, 8, "ld-linux") == 0; }),
      theNames.end());
  EXPECT_THAT(theNames, ::testing::UnorderedElementsAre("libzvOS.so.1", "libzvLog.so.1", "libc.so.6"));
}

}  // namespace
