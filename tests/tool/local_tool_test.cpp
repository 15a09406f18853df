// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The commands ls, lock and plugin, and the last act of the demonstration.

#include "ToolSupport.h"
#include "support/Support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>

namespace {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;
using namespace zvtest;

TEST(Local, WrongUsageIsOneLine) {
  ExpectRefusal(Zvos({"ls"}), "zvos: ls: one DIR and one PATTERN at most, see 'zvos help ls'\n");
  ExpectRefusal(Zvos({"ls", "a", "b", "c"}),
                "zvos: ls: one DIR and one PATTERN at most, see 'zvos help ls'\n");
  ExpectRefusal(Zvos({"ls", "-l", "/"}), "zvos: ls: unknown option '-l', see 'zvos help ls'\n");
  for (const std::vector<std::string> &theArguments : {std::vector<std::string>{"lock"},
                                                       {"lock", "x"},
                                                       {"lock", "x", "--"},
                                                       {"lock", "x", "true"},
                                                       {"lock", "", "--", "true"},
                                                       {"lock", "--", "true"}}) {
    ExpectRefusal(Zvos(theArguments), "zvos: lock: one NAME, '--' and a COMMAND, see 'zvos help lock'\n");
  }
  ExpectRefusal(Zvos({"plugin"}), "zvos: plugin: no FILE given, see 'zvos help plugin'\n");
  ExpectRefusal(Zvos({"run"}), "zvos: run: one COMMAND, in quotes, see 'zvos help run'\n");
  ExpectRefusal(Zvos({"run", "ls", "/"}), "zvos: run: one COMMAND, in quotes, see 'zvos help run'\n");
}

TEST(Local, EveryCommandHasHelpWithStatusAndExamples) {
  const struct {
    std::string mName;
    std::string mOperands;
  } kCommands[] = {
      {"ls", " [--files] [--dirs] [--no-hidden] [--dots] DIR [PATTERN]"},
      {"lock", " NAME -- COMMAND [ARGUMENT...]"},
      {"plugin", " FILE [SYMBOL...]"},
      {"run", " COMMAND"},
      {"pipe", " [--pass FILE] listen|connect NAME"},
      {"console", ""},
  };
  for (const auto &theCommand : kCommands) {
    const ChildResult theResult = Zvos({"help", theCommand.mName});
    EXPECT_EQ(0, theResult.mStatus);
    EXPECT_THAT(theResult.mOutput,
                AllOf(StartsWith("usage: zvos " + theCommand.mName + theCommand.mOperands + "\n\n"),
                      HasSubstr("\nExit status: "), HasSubstr("\nExample"), Not(HasSubstr(" \n"))));
    EXPECT_THAT(Zvos({"--help"}).mOutput, HasSubstr("\n  " + theCommand.mName + " "));
  }
}

TEST(Local, HelpOnTheProgramLeavesFurtherStatusesToThatOnTheCommands) {
  EXPECT_THAT(Zvos({"--help"}).mOutput,
              HasSubstr("Some commands have further\nones, which the help on them names.\n"));
  EXPECT_THAT(Zvos({"help", "lock"}).mOutput, ContainsRegex("128 .*; 75 .*; 126 .*, 127 "));
  for (const char *theCommand : {"run", "console"}) {
    EXPECT_THAT(Zvos({"help", theCommand}).mOutput, ContainsRegex("128 and the\\s+number of (a|the) signal"));
  }
}

// ls

class List : public ::testing::Test {
 protected:
  List() {
    for (const char *theName : {"b.mp3", "a.txt", ".hidden", "..twodots"})
      WriteWholeFile(mFolder.File(theName), "x");
    mkdir(mFolder.File("folder").c_str(), 0755);
    mkdir(mFolder.File(".config").c_str(), 0755);
    EXPECT_EQ(0, symlink("a.txt", mFolder.File("to file").c_str()));
    EXPECT_EQ(0, symlink("/proc", mFolder.File("to folder").c_str()));
    EXPECT_EQ(0, symlink("nowhere", mFolder.File("to nothing").c_str()));
    EXPECT_EQ(0, symlink("itself", mFolder.File("itself").c_str()));
    EXPECT_EQ(0, mkfifo(mFolder.File("fifo").c_str(), 0600));
  }

  const TempFolder mFolder;
};

constexpr char kHiddenDir[] = "dir   hidden  .config\n";
constexpr char kHiddenFile[] = "file  hidden  .hidden\n";

TEST_F(List, EntriesAreSortedAndShowTheirKinds) {
  ExpectOutcome(Zvos({"ls", mFolder.Path()}), 0,
                std::string("file  -       ..twodots\n") + kHiddenDir + kHiddenFile +
                    "file  -       a.txt\n"
                    "file  -       b.mp3\n"
                    "dir   -       folder\n"
                    "file  -       to file\n"
                    "dir   -       to folder\n",
                "");
}

TEST_F(List, OptionsAndPatternChooseEntries) {
  const std::string theDots = "dir   -       .\ndir   -       ..\n";
  const std::string theDirs = "dir   -       folder\ndir   -       to folder\n";
  const std::string theFiles = "file  -       a.txt\nfile  -       b.mp3\nfile  -       to file\n";
  const struct {
    std::vector<std::string> mOptions;
    std::string mPattern;
    std::string mOutput;
  } kCases[] = {
      {{"--files"}, "*", "file  -       ..twodots\n" + (kHiddenFile + theFiles)},
      {{"--dirs"}, "*", kHiddenDir + theDirs},
      {{"--dirs", "--no-hidden"}, "*", theDirs},
      {{"--dirs", "--dots", "--no-hidden"}, "*", theDots + theDirs},
      {{"--files", "--dots", "--no-hidden"}, "[!.]*", theFiles},
      {{"--files", "--dirs", "--no-hidden"}, "[ab]*", "file  -       a.txt\nfile  -       b.mp3\n"},
      {{}, "*.mp3", "file  -       b.mp3\n"},
      {{}, "[!.].*", "file  -       a.txt\nfile  -       b.mp3\n"},
      {{}, "nothing*", ""},
  };
  for (const auto &theCase : kCases) {
    std::vector<std::string> theArguments = {"ls"};
    theArguments.insert(theArguments.end(), theCase.mOptions.begin(), theCase.mOptions.end());
    theArguments.insert(theArguments.end(), {mFolder.Path(), theCase.mPattern});
    ExpectOutcome(Zvos(theArguments), 0, theCase.mOutput, "");
  }
}

TEST_F(List, SlashesAtTheEndChangeNothing) {
  EXPECT_EQ(Zvos({"ls", mFolder.Path()}).mOutput, Zvos({"ls", mFolder.Path() + "//"}).mOutput);
}

TEST_F(List, RelativeDirCountsFromTheCurrentFolder) {
  const ChildResult theResult = RunInChild([this] {
    return chdir(mFolder.Path().c_str()) == 0 ? ExecZvos({"ls", ".", "a*"}) : 126;
  });
  ExpectOutcome(theResult, 0, "file  -       a.txt\n", "");
}

TEST(ListAnywhere, RootHasEntries) {
  if (zvtest::IsEmulated()) GTEST_SKIP() << "the emulator shows the folder of its own libraries as the root";
  const ChildResult theResult = Zvos({"ls", "--dirs", "/", "tmp"});
  ExpectOutcome(theResult, 0, "dir   -       tmp\n", "");
}

TEST(ListAnywhere, ControlCharactersOfNamesAreShownHarmless) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("a\n\033[31mb"), "x");
  ExpectOutcome(Zvos({"ls", theFolder.Path()}), 0, "file  -       a%0A%1B[31mb\n", "");
}

TEST(ListAnywhere, WhatCannotBeListedIsOneLine) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("file"), "x");
  ASSERT_EQ(0, mkdir(theFolder.File("a\\b").c_str(), 0755));
  ExpectRefusal(Zvos({"ls", "/nonexistent"}),
                "zvos: cannot list '/nonexistent': No such file or directory\n");
  ExpectRefusal(Zvos({"ls", ""}), "zvos: cannot list '': No such file or directory\n");
  ExpectRefusal(Zvos({"ls", theFolder.File("file")}),
                "zvos: cannot list '" + theFolder.File("file") + "': Not a directory\n");
  ExpectRefusal(Zvos({"ls", theFolder.File("a\\b")}),
                "zvos: cannot list '" + theFolder.File("a\\b") +
                    "': its path has a backslash, which the library takes for '/'\n");
}

TEST(ListAnywhere, FolderOfAnotherUserIsOneLine) {
  const TempFolder theFolder;
  const std::string theDir = theFolder.File("secret");
  ASSERT_EQ(0, mkdir(theDir.c_str(), 0));
  ASSERT_EQ(0, chmod(theFolder.Path().c_str(), 0755));
  const ChildResult theResult = RunInChild([&] {
    if (!zvtest::BecomeNobody()) return 126;
    return ExecZvos({"ls", theDir});
  });
  if (theResult.mStatus == 126 || theResult.mStatus == 127) {
    GTEST_SKIP() << "an unprivileged user cannot run the program here: " << theResult.mError;
  }
  ExpectOutcome(theResult, 2, "", "zvos: cannot list '" + theDir + "': Permission denied\n");
}

// lock

class Lock : public ::testing::Test {
 protected:
  std::vector<std::string> Environment() const { return {"TMPDIR=" + mFolder.Path()}; }

  ChildResult RunLocked(const std::vector<std::string> &aCommand) const {
    std::vector<std::string> theArguments = {"lock", "name", "--"};
    theArguments.insert(theArguments.end(), aCommand.begin(), aCommand.end());
    return Zvos(theArguments, Environment());
  }

  // Holds the name until it is ended.
  std::unique_ptr<RunningZvos> Hold(const std::string &aCommand) const {
    return std::make_unique<RunningZvos>(std::vector<std::string>{"lock", "name", "--", "sh", "-c", aCommand},
                                         "/", [this] { setenv("TMPDIR", mFolder.Path().c_str(), 1); });
  }

  // The process that holds the name, as the system tells, or 0.
  pid_t Holder() const {
    const int theFile = open(mFolder.File("name").c_str(), O_WRONLY);
    struct flock theLock = {};
    theLock.l_type = F_WRLCK;
    theLock.l_whence = SEEK_SET;
    theLock.l_len = 1;
    const int theResult = fcntl(theFile, F_GETLK, &theLock);
    close(theFile);
    return theResult == 0 && theLock.l_type != F_UNLCK ? theLock.l_pid : 0;
  }

  const TempFolder mFolder;
};

// A shell command that shows which descriptors it has, and of what.
constexpr char kShowDescriptors[] = "for f in /proc/$$/fd/*; do echo ${f##*/} $(readlink $f); done";

TEST_F(Lock, StatusIsThatOfTheCommand) {
  ExpectOutcome(RunLocked({"sh", "-c", "echo out; echo err >&2; exit 7"}), 7, "out\n", "err\n");
  ExpectOutcome(RunLocked({"true"}), 0, "", "");
  ExpectOutcome(RunLocked({"sh", "-c", "kill -9 $$"}), 128 + SIGKILL, "", "");
}

TEST_F(Lock, ArgumentsReachTheCommandAsTheyAre) {
  ExpectOutcome(RunLocked({"printf", "%s|", "a b", "--help", "", "--"}), 0, "a b|--help||--|", "");
}

TEST_F(Lock, CommandThatCannotBeRunIsOneLine) {
  ExpectOutcome(RunLocked({"/nonexistent"}), 127, "",
                "zvos: lock: cannot run '/nonexistent': No such file or directory\n");
  ExpectOutcome(RunLocked({"/tmp"}), 126, "", "zvos: lock: cannot run '/tmp': Permission denied\n");
}

TEST_F(Lock, NameIsHeldByThisProgramWhileTheCommandRuns) {
  const auto theHolder = Hold("echo held; exec sleep 30");
  ASSERT_TRUE(theHolder->WaitForOutput("held\n"));
  const pid_t theProcess = Holder();
  EXPECT_GT(theProcess, 0);
  ExpectOutcome(RunLocked({"echo", "never"}), 75, "",
                "zvos: lock: 'name' is held by process " + std::to_string(theProcess) + "\n");
}

TEST_F(Lock, NameIsFreeAfterTheCommandAndItsFileStays) {
  EXPECT_EQ(0, RunLocked({"true"}).mStatus);
  EXPECT_EQ(0, Holder());
  EXPECT_EQ(0, RunLocked({"true"}).mStatus);
  EXPECT_EQ(std::vector<std::string>{"name"}, NamesIn(mFolder.Path()));
}

TEST_F(Lock, SignalForTheProgramIsPassedOnToTheCommand) {
  const auto theHolder = Hold("sleep 30 & trap 'echo told; kill '$!'; exit 3' TERM; echo held; wait");
  ASSERT_TRUE(theHolder->WaitForOutput("held\n"));
  theHolder->Kill(SIGTERM);
  EXPECT_EQ(3, WEXITSTATUS(theHolder->Wait()));
  EXPECT_EQ("held\ntold\n", theHolder->Output());
  EXPECT_EQ(0, Holder());
}

TEST_F(Lock, CommandDoesNotOutliveAKilledHolder) {
  const auto theHolder = Hold("echo held; exec sleep 30");
  ASSERT_TRUE(theHolder->WaitForOutput("held\n"));
  theHolder->Kill(SIGKILL);
  // Its streams are closed when the command is gone, too.
  const int theStatus = theHolder->Wait();
  EXPECT_TRUE(WIFSIGNALED(theStatus));
  EXPECT_EQ(0, RunLocked({"true"}).mStatus);
}

TEST_F(Lock, WhatTheCommandStartedOutlivesAKilledHolderAndTheNameIsFree) {
  const auto theHolder = Hold("sleep 30 >/dev/null 2>&1 & echo $!; wait");
  ASSERT_TRUE(theHolder->WaitForOutput("\n"));
  const pid_t theStarted = static_cast<pid_t>(atoi(theHolder->Output().c_str()));
  theHolder->Kill(SIGKILL);
  // Its streams are closed when the command's own process is gone, too.
  EXPECT_TRUE(WIFSIGNALED(theHolder->Wait()));
  // While it becomes another program it has no command line.
  EXPECT_TRUE(zvtest::WaitUntil([theStarted] { return IsAlive(theStarted); }));
  EXPECT_EQ(0, RunLocked({"true"}).mStatus);
  EXPECT_EQ(0, kill(theStarted, SIGKILL));
  EXPECT_THAT(
      Zvos({"help", "lock"}).mOutput,
      AllOf(HasSubstr("Should this program be killed, NAME is free. The process of COMMAND is killed"),
            HasSubstr("what it has started lives on.\n")));
}

TEST_F(Lock, CommandDoesNotHaveTheLockFileOpen) {
  const ChildResult theResult = RunLocked({"sh", "-c", kShowDescriptors});
  EXPECT_THAT(theResult.mOutput, AllOf(HasSubstr("\n1 pipe:"), Not(HasSubstr(mFolder.File("name")))));
}

TEST_F(Lock, CommandHasTheLockFileThatItsCallerHadOpen) {
  const ChildResult theResult = RunInChild([this] {
    setenv("TMPDIR", mFolder.Path().c_str(), 1);
    if (open(mFolder.File("name").c_str(), O_RDWR | O_CREAT, 0666) == -1) return 126;
    return ExecZvos({"lock", "name", "--", "sh", "-c", kShowDescriptors});
  });
  EXPECT_EQ(0, theResult.mStatus);
  const size_t thePlace = theResult.mOutput.find(" " + mFolder.File("name") + "\n");
  EXPECT_NE(std::string::npos, thePlace) << theResult.mOutput;
  // And not once more.
  EXPECT_EQ(thePlace, theResult.mOutput.rfind(" " + mFolder.File("name") + "\n"));
}

TEST_F(Lock, NameThatCannotBeTakenIsOneLineAndNotTaken) {
  ExpectOutcome(Zvos({"lock", "x/y", "--", "true"}, Environment()), 2, "",
                "zvos: lock: cannot take 'x/y': " + mFolder.File("x/y") + ": No such file or directory\n");
  ExpectOutcome(Zvos({"lock", "x", "--", "true"}, {"TMPDIR=/nonexistent"}), 2, "",
                "zvos: lock: there is no folder '/nonexistent' for temporary files\n");
}

// plugin

TEST(Plugin, StampAndAddressesAreShown) {
  const std::string theFile = BuiltLibrary("libzvOS.so");
  const ChildResult theResult = Zvos({"plugin", theFile, "zvPlugin_Load", "zvPipe_Pair"});
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_EQ("", theResult.mError);
  const std::string theStamp = kSixtyFourBits
                                   ? "no revision stamp \\(a 64-bit file; only 32-bit files are read\\)"
                                   : "r[0-9]+ \\(.+\\)";
  EXPECT_THAT(theResult.mOutput, MatchesRegex(theFile + ": loaded, " + theStamp +
                                              "\n0x[0-9a-f]+ +zvPlugin_Load\n0x[0-9a-f]+ +zvPipe_Pair\n"));
}

TEST(Plugin, SymbolOfANeededLibraryIsShownWithItsFile) {
  const ChildResult theResult = Zvos({"plugin", BuiltLibrary("libzvOS.so"), "zvLog_Begin"});
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_THAT(theResult.mOutput, ContainsRegex("0x[0-9a-f]+ +zvLog_Begin  from /.*/libzvLog\\.so\\.1\n"));
}

TEST(Plugin, MissingSymbolIsNamedAndStatusIs1) {
  const ChildResult theResult =
      Zvos({"plugin", BuiltLibrary("libzvOS.so"), "nothing_of_the_kind", "zvPipe_Pair"});
  EXPECT_EQ(1, theResult.mStatus);
  EXPECT_EQ("", theResult.mError);
  EXPECT_THAT(theResult.mOutput,
              ContainsRegex("\nnot there +nothing_of_the_kind\n0x[0-9a-f]+ +zvPipe_Pair\n$"));
}

TEST(Plugin, RelativeFileCountsFromTheCurrentFolder) {
  const std::string theFile = BuiltLibrary("libzvOS.so");
  const std::string theFolder = theFile.substr(0, theFile.rfind('/'));
  const ChildResult theResult = RunInChild([&] {
    return chdir(theFolder.c_str()) == 0 ? ExecZvos({"plugin", "libzvOS.so"}) : 126;
  });
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_THAT(theResult.mOutput, StartsWith(theFolder + "/libzvOS.so: loaded, "));
}

TEST(Plugin, WhatCannotBeLoadedIsOneLineWithTheReason) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("text.so"), std::string(5000, 'x'));
  ExpectOutcome(Zvos({"plugin", theFolder.File("text.so")}), 1, "",
                "zvos: plugin: cannot load '" + theFolder.File("text.so") + "': invalid ELF header\n");
  ExpectRefusal(Zvos({"plugin", "/nonexistent.so"}),
                "zvos: cannot read '/nonexistent.so': No such file or directory\n");
}

// Demonstration

TEST(LastAct, ConnectionIsHandedOverPluginLoadedAndFolderWalked) {
  const TempFolder theFolder;
  const ChildResult theResult = Zvos({"demo"}, {"TMPDIR=" + theFolder.Path()});
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_EQ("", theResult.mError);
  EXPECT_THAT(theResult.mOutput, EndsWith("All checks held.\n"));
  if (theResult.mOutput.find("n/a     Hand-over") == std::string::npos) {
    EXPECT_THAT(theResult.mOutput,
                ContainsRegex("ok      Hand-over         a connection went from process ([0-9]+) to process "
                              "([0-9]+), which served it\n"
                              " +the supervisor held the name zvos-demo-[0-9]+, which .*\n"
                              " +took the connection at 127.0.0.1:[0-9]+ and passed it .*\n"
                              " +the worker said on it:\n"
                              " +\\| process [0-9]+ at your service\n"));
  }
  EXPECT_THAT(theResult.mOutput,
              ContainsRegex("ok      Plug-in           /.*libzvOS.so.1: zvPlugin_GetExtension, found at "
                            "0x[0-9a-f]+, answers '.so'\n"));
  EXPECT_THAT(theResult.mOutput,
              ContainsRegex("ok      Directory         /.*/: [0-9]+ files, 'zvos' among them, and "));
  // Nothing stays behind.
  EXPECT_EQ(std::vector<std::string>{}, NamesIn(theFolder.Path()));
}

}  // namespace
