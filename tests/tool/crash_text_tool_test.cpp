// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// `zvos crash` over texts: trace files, logs with reports, and reports that are not what they should be.

#include "CrashDevice.h"
#include "ToolSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

namespace {

using namespace zvtest;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

// What the command says of a text.
ChildResult ResultOf(const std::string &aText) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("text"), aText);
  return Zvos({"crash", theFolder.File("text")});
}

// --- texts without build ids --------------------------------------------------------------------

TEST(CrashCommand, MarksWhatATraceFileLeadsToAsUnproven) {
  NEEDS_LINE_READER();
  if (*ZVTEST_SANITIZERS != '\0') GTEST_SKIP() << "the frames of the sanitizer's handlers are not known";
  Device theDevice;
  theDevice.Crash("segv");
  const std::string theFile = theDevice.File("backtrace_1.txt");
  WriteWholeFile(theFile, theDevice.Trace());
  EXPECT_EQ(1, Zvos({"crash", theFile}).mStatus) << "what is stripped has no lines";
  const std::string theProgram = theDevice.InstallLines();
  const ChildResult theResult = Zvos({"crash", theFile});
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_THAT(theResult.mOutput,
              AllOf(HasSubstr("A trace file has no build ids"),
                    HasSubstr("crashed at:\n  #03  FaultByWriting at tests/crash/crashes.cpp:"),
                    HasSubstr(" in crash_child (unproven)\n"),
                    HasSubstr("    UNPROVEN, it may be of another build: lines from " + theProgram)));
}

TEST(CrashCommand, FindsTheReportInALog) {
  NEEDS_LINE_READER();
  if (*ZVTEST_SANITIZERS != '\0') GTEST_SKIP() << "the frames of the sanitizer's handlers are not known";
  Device theDevice;
  theDevice.Crash("segv");
  theDevice.InstallLines();
  const std::string theLog = theDevice.File("log");
  WriteWholeFile(theLog, "something else\n" + ReadWholeFile(theLog) + "something else\n");
  const ChildResult theResult = Zvos({"crash", theLog});
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_THAT(theResult.mOutput,
              AllOf(HasSubstr("signal:           11\n"), HasSubstr("A log has no build ids"),
                    HasSubstr("  #03  FaultByWriting at tests/crash/crashes.cpp:")));
}

// Threads write in turns.
TEST(CrashCommand, TellsReportsOfTwoThreadsInALogApart) {
  const ChildResult theResult = ResultOf(
      "1 error DEFAULT [7] a.h:1: zvOSThread: Received fatal signal: 11\n"
      "1 error DEFAULT [8] a.h:1: zvOSThread: Received fatal signal: 8\n"
      "1 error DEFAULT [7] a.h:1: Backtracing this thread (pid=6, depth=2):\n"
      "1 error DEFAULT [8] a.h:1: Backtracing this thread (pid=6, depth=1):\n"
      "1 error DEFAULT [8] a.h:1: 00: /nonexistent/eight(+0x8) [0x88]\n"
      "1 error DEFAULT [7] a.h:1: 00: /nonexistent/seven(+0x7) [0x77]\n"
      "1 error DEFAULT [7] a.h:1: 01: /nonexistent/seven(main+0x6) [0x66]\n");
  EXPECT_EQ(1, theResult.mStatus);
  EXPECT_THAT(theResult.mOutput,
              HasSubstr("signal:           11\nprocess:          6\nthread:           7\n"));
  EXPECT_THAT(theResult.mOutput, HasSubstr("  #00  ?? in seven, +0x7\n  #01  main in seven, main+0x6\n"));
  EXPECT_THAT(theResult.mOutput,
              HasSubstr("signal:           8\nprocess:          6\nthread:           8\n"));
  EXPECT_THAT(theResult.mOutput, HasSubstr("  #00  ?? in eight, +0x8\n"));
}

// As the library's own log and system logs show a thread: processes that append to the same log write in
// turns, too.
TEST(CrashCommand, TellsReportsOfTwoProcessesInALogApart) {
  const std::string kHeads[] = {"1 error DEFAULT ", "Nov 22 19:30:17 device player[6]: DEFAULT "};
  for (const std::string &theHead : kHeads) {
    const std::string theOne = theHead + "[6:7] a.h:1: ";
    const std::string theOther = theHead + "[6:8 [a] b] a.h:1: ";
    const std::string theText =
        ResultOf(theOne + "zvOSThread: Received fatal signal: 11\n" + theOther +
                 "zvOSThread: Received fatal signal: 8\n" + theOne +
                 "Backtracing this thread (pid=6, depth=2):\n" + theOther +
                 "Backtracing this thread (pid=6, depth=2):\n" + theOther +
                 "00: /nonexistent/eight(+0x8) [0x88]\n" + theOne + "00: /nonexistent/seven(+0x7) [0x77]\n" +
                 theOther + "01: /nonexistent/eight(+0x9) [0x99]\n" + theOne +
                 "01: /nonexistent/seven(main+0x6) [0x66]\n")
            .mOutput;
    EXPECT_THAT(theText, HasSubstr("signal:           11\nprocess:          6\nthread:           7\n"));
    EXPECT_THAT(theText, HasSubstr("  #00  ?? in seven, +0x7\n  #01  main in seven, main+0x6\n"));
    EXPECT_THAT(theText, HasSubstr("signal:           8\nprocess:          6\nthread:           8\n"));
    EXPECT_THAT(theText, HasSubstr("  #00  ?? in eight, +0x8\n  #01  ?? in eight, +0x9\n"));
    EXPECT_THAT(theText, Not(HasSubstr("is not complete")));
  }
}

TEST(CrashCommand, TakesNoWordsOfAStackInATraceFileForCallers) {
  EXPECT_THAT(ResultOf("log\n00: /nonexistent/frame(+0x1) [0x11]\n01: /nonexistent/frame(+0x2) [0x12]\n"
                       "00: /nonexistent/word(+0x3) [0x13]\n01: [0x14]\n02: /nonexistent/word(+0x5) [0x15]\n"
                       "03: /nonexistent/word(+0x6) [0x16]\n\nlog end\n")
                  .mOutput,
              AllOf(HasSubstr("  #00  ?? in frame, +0x1\n  #01  ?? in frame, +0x2\nmodules:\n"),
                    Not(HasSubstr("word")), Not(HasSubstr("is not complete"))));
}

// --- texts that are not what they should be -----------------------------------------------------

TEST(CrashCommand, RefusesAFileWithoutAReport) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("log"), "nothing\nlog\nof the kind\n");
  ExpectRefusal(Zvos({"crash", theFolder.File("log")}),
                "zvos: crash: there is no report of a crash in '" + theFolder.File("log") + "'\n");
  ExpectRefusal(Zvos({"crash"}), "zvos: crash: one FILE, see 'zvos help crash'\n");
  ExpectRefusal(Zvos({"crash", "--debug"}),
                "zvos: crash: a value is missing behind option '--debug', see 'zvos help crash'\n");
  ExpectRefusal(Zvos({"crash", theFolder.File("log"), "--debug", "/nonexistent"}),
                "zvos: crash: --debug '/nonexistent': No such file or directory\n");
}

// A report may have been made up: build ids are no paths, and what it says is shown without its control
// characters.
TEST(CrashCommand, BelievesNothingThatAReportSays) {
  const ChildResult theResult = ResultOf(
      "crash file: 1\nprogram: \x1b[2J\nframe 00: /x/y(+0x10) [0x10]\nframe x\nframe 01: (((((\n"
      "frame 02: /a(b)(+0xffffffffffffffffff) [0x1]\nmodule 00: /x/y\nmodule 00 build id: ../../../etc\n"
      "module 99999999999: z\nmodule : z\nmodule 01: \nstack 000: ]\ncrashed at: [0x\n");
  EXPECT_EQ(1, theResult.mStatus);
  EXPECT_THAT(theResult.mOutput, AllOf(HasSubstr("program:          %1B[2J\n"), HasSubstr("?? in y, +0x10"),
                                       HasSubstr("is not complete"), Not(HasSubstr("etc"))));
}

TEST(CrashCommand, SurvivesReportsThatAreCutAnywhere) {
  Device theDevice;
  const std::string theText = ReadWholeFile(theDevice.Crash("segv"));
  const std::string theFile = theDevice.File("cut");
  for (size_t theLength = theText.size(); theLength > 20; theLength -= theLength / 9 + 1) {
    WriteWholeFile(theFile, theText.substr(0, theLength));
    const ChildResult theResult = Zvos({"crash", theFile});
    EXPECT_FALSE(theResult.mfSignaled) << theLength;
    EXPECT_EQ("", theResult.mError);
  }
}

// Half a build id would refuse the very file that is meant.
TEST(CrashCommand, DoesNotBelieveALineThatIsCutOff) {
  Device theDevice;
  const std::string theReport = theDevice.Crash("segv");
  const std::string theText = ReadWholeFile(theReport);
  WriteWholeFile(theReport, theText.substr(0, theText.find(" build id: ") + 24));
  EXPECT_THAT(Zvos({"crash", theReport, "--debug", theDevice.DebugFolder()}).mOutput,
              AllOf(HasSubstr("The crash file is not complete.\n"), Not(HasSubstr("REFUSED"))));
  WriteWholeFile(theReport, theText.substr(0, theText.size() - 1));
  EXPECT_THAT(Zvos({"crash", theReport}).mOutput, Not(HasSubstr("is not complete")));
}

TEST(CrashCommand, TellsReportsApartThatWerePutIntoOneFile) {
  const std::string theText =
      ResultOf(
          "crash file: 1\nprocess: 7\nframe 00: /nonexistent/seven(+0x7) [0x77]\nend: complete\n"
          "crash file: 1\nprocess: 8\nframe 00: /nonexistent/eight(+0x8) [0x88]\n")
          .mOutput;
  EXPECT_THAT(theText, HasSubstr("process:          7\ncalled from:\n  #00  ?? in seven, +0x7\nmodules:\n"));
  EXPECT_THAT(theText, HasSubstr("\n\nprocess:          8\nThe crash file is not complete.\n"
                                 "called from:\n  #00  ?? in eight, +0x8\nmodules:\n"));
}

// As a report becomes that was fetched by way of another system.
TEST(CrashCommand, ReadsLinesThatEndInCarriageReturns) {
  Device theDevice;
  const std::string theReport = theDevice.Crash("segv");
  const std::string theTrace = theDevice.File("backtrace_1.txt");
  WriteWholeFile(theTrace, theDevice.Trace());
  for (const std::string &theFile : {theReport, theTrace, theDevice.File("log")}) {
    const std::string theOutput = Zvos({"crash", theFile}).mOutput;
    EXPECT_THAT(theOutput, HasSubstr("FaultByWriting")) << theFile;
    WriteWholeFile(theFile, std::regex_replace(ReadWholeFile(theFile), std::regex("\n"), "\r\n"));
    EXPECT_EQ(theOutput, Zvos({"crash", theFile}).mOutput) << theFile;
  }
}

}  // namespace
