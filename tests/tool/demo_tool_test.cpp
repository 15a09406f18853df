// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The demonstration: facts about a file, stamps, and the report of a crash.

#include "ToolSupport.h"
#include "support/Support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>

namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using namespace zvtest;

// The checksum by definition, bit after bit; a table spares the inner loop.
uint32_t ChecksumOf(const std::string &aText) {
  std::array<uint32_t, 256> theTable = {};
  for (uint32_t theByte = 0; theByte < 256; ++theByte) {
    uint32_t theRest = theByte;
    for (int i = 0; i < 8; ++i)
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
  snprintf(theText, sizeof(theText), "%08x", static_cast<unsigned>(aNumber));
  return theText;
}

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
  if (LineReaders().empty()) GTEST_SKIP() << "no addr2line is installed";
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

}  // namespace
