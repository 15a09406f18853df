// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The program zvos as its users see it: what it prints, where to, and with which exit status.

#include "ToolSupport.h"
#include "support/Support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <elf.h>
#include <fcntl.h>
#include <grp.h>
#include <pty.h>
#include <regex.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;
using zvtest::BuiltLibrary;
using zvtest::BuiltProgram;
using zvtest::ChildResult;
using zvtest::ExpectRefusal;
using zvtest::HasLineReader;
using zvtest::RemoveTraceFile;
using zvtest::RunInChild;
using zvtest::RunProgram;
using zvtest::SomeBytes;
using zvtest::TempFolder;
using zvtest::WordsToRun;
using zvtest::WriteWholeFile;
using zvtest::Zvos;

constexpr bool kSixtyFourBits = sizeof(void *) == 8;
constexpr uid_t kNobody = 65534;

// The first match of an extended regular expression and its groups; none when there is no match.
std::vector<std::string> Search(const std::string &aText, const std::string &aPattern) {
  regex_t theExpression;
  std::vector<std::string> theGroups;
  if (regcomp(&theExpression, aPattern.c_str(), REG_EXTENDED | REG_NEWLINE) != 0) {
    ADD_FAILURE() << "bad pattern " << aPattern;
    return theGroups;
  }
  regmatch_t theMatches[4];
  if (regexec(&theExpression, aText.c_str(), 4, theMatches, 0) == 0) {
    for (size_t i = 0; i <= theExpression.re_nsub && i < 4; i++) {
      const size_t theStart = static_cast<size_t>(theMatches[i].rm_so);
      theGroups.push_back(aText.substr(theStart, static_cast<size_t>(theMatches[i].rm_eo) - theStart));
    }
  }
  regfree(&theExpression);
  return theGroups;
}

// The program, or another path to it, with what it takes to run it here, for a shell.
std::string ZvosCommand(const std::string &aProgram = BuiltProgram("zvos")) {
  std::string theCommand;
  for (const std::string &theWord : WordsToRun(aProgram))
    theCommand += "'" + theWord + "' ";
  return theCommand;
}

int Shell(const std::string &aCommand) {
  execl("/bin/sh", "sh", "-c", aCommand.c_str(), static_cast<char *>(nullptr));
  return 127;
}

ChildResult RunShell(const std::string &aCommand) {
  const ChildResult theResult = RunInChild([&] { return Shell(aCommand); }, 60);
  RemoveTraceFile(theResult.mOutput);
  return theResult;
}

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
  while ((theCount = read(theTerminal, theBuffer, sizeof theBuffer)) > 0) {
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

// The checksum by definition, bit after bit; a table spares the inner loop.
uint32_t ChecksumOf(const std::string &aText) {
  std::array<uint32_t, 256> theTable = {};
  for (uint32_t theByte = 0; theByte < 256; theByte++) {
    uint32_t theRest = theByte;
    for (int i = 0; i < 8; i++)
      theRest = (theRest >> 1) ^ ((theRest & 1) != 0 ? 0xEDB88320 : 0);
    theTable[theByte] = theRest;
  }
  uint32_t theRest = 0xffffffff;
  for (const char theCharacter : aText) {
    theRest = (theRest >> 8) ^ theTable[(theRest ^ static_cast<unsigned char>(theCharacter)) & 0xff];
  }
  return ~theRest;
}

std::string Hexadecimal(uint32_t aNumber) {
  char theText[9];
  snprintf(theText, sizeof theText, "%08x", static_cast<unsigned>(aNumber));
  return theText;
}

template <typename Record>
void Append(std::string &aText, const Record &aRecord) {
  aText.append(reinterpret_cast<const char *>(&aRecord), sizeof aRecord);
}

// A 32-bit file of this machine's byte order that has nothing but the stamp.
std::string StampedFile(const std::string &aStamp) {
  const std::string theNames("\0.zevo.version\0.names\0", 22);
  Elf32_Ehdr theHeader = {};
  memcpy(theHeader.e_ident, ELFMAG, SELFMAG);
  theHeader.e_ident[EI_CLASS] = ELFCLASS32;
  theHeader.e_ident[EI_DATA] = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? ELFDATA2LSB : ELFDATA2MSB;
  theHeader.e_shentsize = sizeof(Elf32_Shdr);
  theHeader.e_shnum = 3;
  theHeader.e_shstrndx = 2;
  theHeader.e_shoff = sizeof theHeader;

  Elf32_Shdr theStamp = {};
  theStamp.sh_name = 1;
  theStamp.sh_type = SHT_PROGBITS;
  theStamp.sh_offset = sizeof theHeader + 3 * sizeof(Elf32_Shdr);
  theStamp.sh_size = static_cast<Elf32_Word>(aStamp.size());
  Elf32_Shdr theNameTable = {};
  theNameTable.sh_name = 15;
  theNameTable.sh_type = SHT_STRTAB;
  theNameTable.sh_offset = theStamp.sh_offset + theStamp.sh_size;
  theNameTable.sh_size = static_cast<Elf32_Word>(theNames.size());

  std::string theFile;
  Append(theFile, theHeader);
  Append(theFile, Elf32_Shdr{});
  Append(theFile, theStamp);
  Append(theFile, theNameTable);
  return theFile + aStamp + theNames;
}

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

// Revision stamps

TEST(Revision, StampIsPrintedWithRevisionAndLabel) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("a"), StampedFile("123\nsome/branches/one\n"));
  WriteWholeFile(theFolder.File("b"), StampedFile("7\n"));
  WriteWholeFile(theFolder.File("c"), StampedFile("0\noutside/branches/unknown\n"));
  const ChildResult theResult =
      Zvos({"revision", theFolder.File("a"), theFolder.File("b"), theFolder.File("c")});
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_EQ("", theResult.mError);
  EXPECT_EQ(theFolder.File("a") + ": r123 (some/branches/one)\n" + theFolder.File("b") + ": r7\n" +
                theFolder.File("c") + ": r0 (outside/branches/unknown)\n",
            theResult.mOutput);
}

TEST(Revision, OwnLibrariesAndProgramAreStamped) {
  const std::string theFiles[] = {BuiltProgram("zvos"), BuiltLibrary("libzvOS.so"),
                                  BuiltLibrary("libzvLog.so")};
  for (const std::string &theFile : theFiles) {
    const ChildResult theResult = Zvos({"revision", theFile});
    EXPECT_EQ("", theResult.mError);
    ASSERT_THAT(theResult.mOutput, StartsWith(theFile + ": "));
    const std::string theStamp = theResult.mOutput.substr(theFile.size() + 2);
    if (kSixtyFourBits) {
      EXPECT_EQ(1, theResult.mStatus);
      EXPECT_EQ("no revision stamp (a 64-bit file; only 32-bit files are read)\n", theStamp);
    } else {
      EXPECT_EQ(0, theResult.mStatus);
      EXPECT_THAT(theStamp, MatchesRegex("r[0-9]+ \\(.+\\)\n"));
    }
  }
}

TEST(Revision, FileWithoutStampIsNamedAndStatusIs1) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("text"), SomeBytes(5000));
  WriteWholeFile(theFolder.File("empty"), "");
  WriteWholeFile(theFolder.File("stamped"), StampedFile("5\nx\n"));
  WriteWholeFile(theFolder.File("cut"), StampedFile("5\nx\n").substr(0, 100));
  const ChildResult theResult = Zvos({"revision", theFolder.File("text"), theFolder.File("empty"),
                                      theFolder.File("stamped"), theFolder.File("cut")});
  EXPECT_EQ(1, theResult.mStatus);
  EXPECT_EQ("", theResult.mError);
  EXPECT_EQ(theFolder.File("text") + ": no revision stamp\n" + theFolder.File("empty") +
                ": no revision stamp\n" + theFolder.File("stamped") + ": r5 (x)\n" + theFolder.File("cut") +
                ": no revision stamp\n",
            theResult.mOutput);
}

TEST(Revision, MissingFileIsOneLineAndTheOthersAreStillRead) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("stamped"), StampedFile("5\nx\n"));
  const ChildResult theResult = Zvos({"revision", theFolder.File("none"), theFolder.File("stamped")});
  EXPECT_EQ(2, theResult.mStatus);
  EXPECT_EQ("zvos: cannot read '" + theFolder.File("none") + "': No such file or directory\n",
            theResult.mError);
  EXPECT_EQ(theFolder.File("stamped") + ": r5 (x)\n", theResult.mOutput);
}

TEST(Revision, RelativePathCountsFromTheCurrentFolder) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("stamped"), StampedFile("5\nx\n"));
  const ChildResult theResult =
      RunShell("cd '" + theFolder.Path() + "' && exec " + ZvosCommand() + "revision stamped ./stamped");
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_EQ("", theResult.mError);
  EXPECT_EQ("stamped: r5 (x)\n./stamped: r5 (x)\n", theResult.mOutput);
}

// What cannot be read

class Unreadable : public ::testing::TestWithParam<const char *> {};

TEST_P(Unreadable, MissingFile) {
  ExpectRefusal(Zvos({GetParam(), "/nonexistent/file"}),
                "zvos: cannot read '/nonexistent/file': No such file or directory\n");
  ExpectRefusal(Zvos({GetParam(), ""}), "zvos: cannot read '': No such file or directory\n");
}

TEST_P(Unreadable, Directory) {
  ExpectRefusal(Zvos({GetParam(), "/tmp"}), "zvos: cannot read '/tmp': it is a directory\n");
}

TEST_P(Unreadable, NamedPipeIsNotWaitedFor) {
  const TempFolder theFolder;
  ASSERT_EQ(0, mkfifo(theFolder.File("pipe").c_str(), 0600));
  ExpectRefusal(Zvos({GetParam(), theFolder.File("pipe")}),
                "zvos: cannot read '" + theFolder.File("pipe") + "': it is a named pipe\n");
}

TEST_P(Unreadable, Device) {
  ExpectRefusal(Zvos({GetParam(), "/dev/zero"}), "zvos: cannot read '/dev/zero': it is not a regular file\n");
}

TEST_P(Unreadable, FileWithoutSize) {
  ExpectRefusal(Zvos({GetParam(), "/proc/version"}),
                "zvos: cannot read '/proc/version': its size is not known in advance\n");
}

TEST_P(Unreadable, BackslashInThePathWouldNameAnotherFile) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("a\\b"), "x");
  ExpectRefusal(Zvos({GetParam(), theFolder.File("a\\b")}),
                "zvos: cannot read '" + theFolder.File("a\\b") +
                    "': its path has a backslash, which the library takes for '/'\n");
}

TEST_P(Unreadable, FileOfAnotherUser) {
  const TempFolder theFolder;
  const std::string theFile = theFolder.File("secret");
  WriteWholeFile(theFile, "x");
  ASSERT_EQ(0, chmod(theFile.c_str(), 0));
  ASSERT_EQ(0, chmod(theFolder.Path().c_str(), 0755));
  const std::string theCommand = "exec " + ZvosCommand() + GetParam() + " '" + theFile + "'";
  const ChildResult theResult = RunInChild([&] {
    const bool afPrivileged = geteuid() == 0;
    if (afPrivileged && (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0))
      return 126;
    return Shell(theCommand);
  });
  if (theResult.mStatus == 126 || theResult.mStatus == 127) {
    GTEST_SKIP() << "an unprivileged user cannot run the program here: " << theResult.mError;
  }
  ExpectRefusal(theResult, "zvos: cannot read '" + theFile + "': Permission denied\n");
}

INSTANTIATE_TEST_SUITE_P(Command, Unreadable, ::testing::Values("demo", "revision"),
                         [](const auto &anInfo) { return std::string(anInfo.param); });

// Demonstration

void ExpectFacts(const ChildResult &aResult, const std::string &aPath, const std::string &aContents) {
  EXPECT_EQ(0, aResult.mStatus);
  EXPECT_EQ("", aResult.mError);
  const std::string theChecksum = Hexadecimal(ChecksumOf(aContents));
  EXPECT_THAT(aResult.mOutput, HasSubstr("ok      File              " + aPath + ", " +
                                         std::to_string(aContents.size()) + " bytes\n"));
  EXPECT_THAT(aResult.mOutput, HasSubstr("ok      Parallel read     CRC-32 " + theChecksum + ", "));
  EXPECT_THAT(aResult.mOutput, HasSubstr("ok      Sequential read   CRC-32 " + theChecksum + ", "));
  EXPECT_THAT(aResult.mOutput,
              HasSubstr("ok      Same checksum     both readings agree on " + theChecksum + "\n"));
  EXPECT_THAT(aResult.mOutput, EndsWith("All checks held.\n"));
}

TEST(Demo, ChecksumOfTheTestsIsTheKnownOne) {
  EXPECT_EQ(0xCBF43926, ChecksumOf("123456789"));
}

TEST(Demo, SizeAndChecksumAreThoseOfTheFile) {
  const TempFolder theFolder;
  // Around the size of a chunk, and more chunks than the queue holds.
  for (const size_t theSize : {size_t(1), size_t(1048576), size_t(1048577), size_t(20000003)}) {
    const std::string theContents = SomeBytes(theSize);
    WriteWholeFile(theFolder.File("file"), theContents);
    ExpectFacts(Zvos({"demo", theFolder.File("file")}), theFolder.File("file"), theContents);
  }
}

TEST(Demo, EmptyFileWorks) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("file"), "");
  ExpectFacts(Zvos({"demo", theFolder.File("file")}), theFolder.File("file"), "");
}

TEST(Demo, SparseFileWorks) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("file"), "start");
  ASSERT_EQ(0, truncate(theFolder.File("file").c_str(), 64 * 1024 * 1024 + 3));
  std::string theContents("start");
  theContents.resize(64 * 1024 * 1024 + 3);
  ExpectFacts(Zvos({"demo", theFolder.File("file")}), theFolder.File("file"), theContents);
}

TEST(Demo, WithoutAFileTheProgramReadsItself) {
  const ChildResult theResult = Zvos({"demo"});
  ExpectFacts(theResult, BuiltProgram("zvos"), zvtest::ReadWholeFile(BuiltProgram("zvos")));
}

TEST(Demo, RelativePathCountsFromTheCurrentFolder) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("file"), "here");
  ExpectFacts(RunShell("cd '" + theFolder.Path() + "' && exec " + ZvosCommand() + "demo file"),
              theFolder.File("file"), "here");
}

TEST(Demo, FileShorterThanItSaysFailsTheCheck) {
  // The kernel makes up such files: their size is a page whatever they hold.
  const char *const kShort = "/sys/class/net/lo/mtu";
  if (access(kShort, R_OK) != 0) GTEST_SKIP() << kShort << " is not there";
  const ChildResult theResult = Zvos({"demo", kShort});
  EXPECT_EQ(1, theResult.mStatus);
  EXPECT_THAT(theResult.mOutput,
              HasSubstr("FAILED  Parallel read     the file became shorter while it was read\n"));
  EXPECT_THAT(theResult.mOutput, EndsWith("Not every check held.\n"));
}

TEST(Demo, StampsOfProgramAndBothLibrariesAreShown) {
  const ChildResult theResult = Zvos({"demo"});
  EXPECT_THAT(theResult.mOutput,
              HasSubstr(kSixtyFourBits ? "n/a     Revision stamps" : "ok      Revision stamps"));
  for (const char *theFile : {"bin/zvos", "libzvOS.so.1", "libzvLog.so.1"}) {
    const std::string theLine = kSixtyFourBits ? "\\| no revision stamp .*" : "\\| r[0-9]+ \\(.+\\)  /.*";
    EXPECT_FALSE(Search(theResult.mOutput, theLine + theFile + "$").empty()) << theResult.mOutput;
  }
}

TEST(Demo, CrashOfTheChildIsReported) {
  const ChildResult theResult = Zvos({"demo"});
  const std::vector<std::string> theMatch = Search(theResult.mOutput,
                                                   "^ok      Crash report      a worker crashed on purpose "
                                                   "in child process ([0-9]+), which died by SIGSEGV$");
  ASSERT_FALSE(theMatch.empty()) << theResult.mOutput;
  const std::string theChild = theMatch[1];
  EXPECT_THAT(theResult.mOutput,
              AllOf(HasSubstr("zvOSThread: Received fatal signal: 11\n"),
                    HasSubstr("Backtracing this thread (pid=" + theChild + ", depth="),
                    HasSubstr("(zvos_CrashOnPurpose+0x"), HasSubstr("Defaulting to default signal handler\n"),
                    HasSubstr("its back-trace file: /tmp/backtrace_" + theChild + ".txt\n"),
                    HasSubstr("its crash file: /tmp/zvos_crash_" + theChild + ".txt, and")));
}

TEST(Demo, CrashIsResolvedToItsLine) {
  if (!HasLineReader()) GTEST_SKIP() << "no addr2line is installed";
  const ChildResult theResult = Zvos({"demo"});
  EXPECT_THAT(theResult.mOutput, AllOf(HasSubstr("| crashed at:\n"),
                                       HasSubstr("  zvos_CrashOnPurpose at tools/zvos/shared/crash.cpp:")));
}

TEST(Demo, SaysWhatIsMissingWithoutAProgramThatReadsLines) {
  const TempFolder theFolder;
  const ChildResult theResult = Zvos({"demo"}, {"PATH=" + theFolder.Path()});
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_THAT(theResult.mOutput,
              HasSubstr("no lines: no addr2line for these files is installed: get the package "));
}

TEST(Demo, BackTraceFileIsKeptAndComplete) {
  const ChildResult theResult = RunProgram(BuiltProgram("zvos"), {"demo"});
  const std::vector<std::string> theMatch = Search(theResult.mOutput, "/tmp/backtrace_[0-9]+\\.txt$");
  ASSERT_FALSE(theMatch.empty()) << theResult.mOutput;
  const std::string theText = zvtest::ReadWholeFile(theMatch[0]);
  EXPECT_THAT(theText, AllOf(StartsWith("log\n"), HasSubstr("zvos_CrashOnPurpose"), EndsWith("\nlog end\n")));
  RemoveTraceFile(theResult.mOutput);
}

TEST(Demo, CrashIsReportedWhateverTheLogIsSetTo) {
  const TempFolder theFolder;
  for (const std::string &theSetting :
       {std::string("none"), "debug,DEFAULT=none,ZVOS=none,to=file:" + theFolder.File("log")}) {
    const ChildResult theResult = Zvos({"demo"}, {"ZVLOG=" + theSetting});
    EXPECT_EQ(0, theResult.mStatus);
    EXPECT_THAT(theResult.mOutput, HasSubstr("ok      Crash report"));
  }
}

TEST(Demo, CrashIsReportedWhenTheCallerBlocksSignalsAndIgnoresChildren) {
  // Not through the shell, which puts signals right.
  std::vector<std::string> theWords = zvtest::ZvosWords({});
  theWords.push_back("demo");
  std::vector<char *> theArguments;
  for (std::string &theWord : theWords)
    theArguments.push_back(&theWord[0]);
  theArguments.push_back(nullptr);
  const ChildResult theResult = RunInChild([&] {
    sigset_t theSignals;
    sigfillset(&theSignals);
    sigprocmask(SIG_BLOCK, &theSignals, nullptr);
    signal(SIGCHLD, SIG_IGN);
    execvp(theArguments[0], theArguments.data());
    return 127;
  });
  RemoveTraceFile(theResult.mOutput);
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_THAT(theResult.mOutput, HasSubstr("ok      Crash report"));
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
