// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// `zvos crash`, from a crash on a "device" to a line of the source on another "machine": the program and the
// library are stripped when they crash, and gone when the report is read.

#include "CrashDevice.h"
#include "ToolSupport.h"
#include "support/LateClock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <regex>
#include <sstream>

namespace {

using namespace zvtest;
using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;
namespace fs = std::filesystem;

// "crashes.cpp:42" of the line that holds a text and is the first behind another one.
std::string LineOf(const std::string &aFile, const std::string &aText, const std::string &aBehind) {
  std::istringstream theSource(ReadWholeFile(std::string(ZVTEST_SOURCE_FOLDER) + "/tests/crash/" + aFile));
  int theNumber = 0;
  bool fBehind = false;
  for (std::string theLine; std::getline(theSource, theLine);) {
    ++theNumber;
    if (theLine.find(aBehind) != std::string::npos) fBehind = true;
    if (fBehind && theLine.find(aText) != std::string::npos)
      return "tests/crash/" + aFile + ":" + std::to_string(theNumber);
  }
  ADD_FAILURE() << aText << " is not in " << aFile;
  return "";
}

// Gives a file a time that 32 bits do not hold.
void MakeLate(const fs::path &aFile) {
  const WideTime theTimes[2] = {{k2105, 0}, {k2105, 0}};
  EXPECT_EQ(0, syscall(kUTimeNSAt64, AT_FDCWD, aFile.c_str(), theTimes, 0)) << strerror(errno);
}

// A folder for PATH with a program that is installed, and no other one.
class OnlyProgram {
 public:
  explicit OnlyProgram(const std::string &aProgram) : mPath(mFolder.File(fs::path(aProgram).filename())) {
    WriteWholeFile(mPath, "#!/bin/sh\nexec " + aProgram + " \"$@\"\n");
    fs::permissions(mPath, fs::perms::owner_all);
  }
  const std::string &Path() const { return mPath; }
  std::string SearchPath() const { return "PATH=" + mFolder.Path(); }

 private:
  const TempFolder mFolder;
  const std::string mPath;
};

#define NEEDS_LINE_READER() \
  if (LineReaders().empty()) GTEST_SKIP() << "no addr2line is installed"

struct Way {
  const char *mName;
  const char *mFunction;
  const char *mFile;
  const char *mText;  // on the line that crashes
  const char *mBehind;
};

// Not every processor traps a division by zero.
#if defined(__i386__) || defined(__x86_64__)
constexpr char kDivision[] = "idivl";
constexpr char kTrap[] = "ud2";
#else
constexpr char kDivision[] = "raise(SIGFPE)";
constexpr char kTrap[] = "__builtin_trap";
#endif

void PrintTo(const Way &aWay, std::ostream *aStream) {
  *aStream << aWay.mName;
}

class Resolved : public ::testing::TestWithParam<Way> {};

TEST_P(Resolved, FromTheCrashFileAloneToTheLineOfTheSource) {
  NEEDS_LINE_READER();
  const Way &theWay = GetParam();
#if defined(__SANITIZE_THREAD__)
  if (std::string(theWay.mName) == "stack-overflow")
    GTEST_SKIP() << "ThreadSanitizer's own frames take the stack before";
#endif
  Device theDevice;
  const std::string theReport = theDevice.Crash(theWay.mName);
  theDevice.Remove();
  const ChildResult theResult = Zvos({"crash", theReport, "--debug", theDevice.DebugFolder()});
  EXPECT_EQ(0, theResult.mStatus) << theResult.mError;
  const std::string theLine = LineOf(theWay.mFile, theWay.mText, theWay.mBehind);
  EXPECT_THAT(theResult.mOutput,
              HasSubstr(std::string("  ") + theWay.mFunction + " at " + theLine + " in crash_child"))
      << ReadWholeFile(theReport);
  EXPECT_THAT(theResult.mOutput, Not(HasSubstr("unproven")));
}

INSTANTIATE_TEST_SUITE_P(
    Crashes, Resolved,
    ::testing::Values(
        Way{"segv", "FaultByWriting", "crashes.cpp", "*sNowhere = 1;", "void FaultByWriting"},
        Way{"fpe", "CrashByFpe", "crashes.cpp", kDivision, "void CrashByFpe(void *) {"},
        Way{"ill", "CrashByIll", "crashes.cpp", kTrap, "void CrashByIll(void *) {"},
        Way{"bus", "CrashByBus", "crashes.cpp", "sSink = ", "void CrashByBus(void *) {"},
        Way{"abrt", "CrashByAbrt", "crashes.cpp", "sAbort();", "void CrashByAbrt(void *) {"},
        Way{"stack-overflow", "Recurse", "trace_modes.cpp", "= Recurse(theLocals)", "int Recurse("},
        Way{"call-unmapped", "CallStray", "trace_modes.cpp", "sStray();", "void CallStray(void *) {"},
        Way{"call-null", "CallStray", "trace_modes.cpp", "sStray();", "void CallStray(void *) {"}),
    [](const auto &anInfo) {
      std::string theName = anInfo.param.mName;
      for (char &theCharacter : theName) {
        if (theCharacter == '-') theCharacter = '_';
      }
      return theName;
    });

// The library is compiled by another command than its users: its lines could count from another folder.
TEST(CrashCommand, NamesLinesOfTheLibraryByTheirPlaceInTheSource) {
  NEEDS_LINE_READER();
  Device theDevice;
  const std::string theReport = theDevice.Crash("segv");
  theDevice.Remove();
  const ChildResult theResult = Zvos({"crash", theReport, "--debug", theDevice.DebugFolder()});
  EXPECT_EQ(0, theResult.mStatus) << theResult.mError;
  EXPECT_THAT(theResult.mOutput,
              ContainsRegex("RunThread.* at zvOS/posix/zvThread\\.posix\\.cpp:[0-9]+ in libzvOS\\.so"));
}

// What is installed of elfutils and of binutils, each alone.
TEST(CrashCommand, ShowsInlinedCallersByEachProgramThatReadsLines) {
  NEEDS_LINE_READER();
  Device theDevice;
  const std::string theReport = theDevice.Crash("inlined");
  theDevice.Remove();
  for (const std::string &theProgram : LineReaders()) {
    const OnlyProgram theReader(theProgram);
    const ChildResult theResult =
        Zvos({"crash", theReport, "--debug", theDevice.DebugFolder()}, {theReader.SearchPath()});
    EXPECT_EQ(0, theResult.mStatus) << theProgram;
    // That of binutils gives it the name of the symbol around it.
    const bool afElfutils = fs::path(theProgram).filename() == "eu-addr2line";
    const std::string theName = afElfutils ? "FaultWithoutAFrame" : "CrashInlined";
    const std::string theFault =
        LineOf("trace_modes.cpp", "*sNowhere = 1;", "inline void FaultWithoutAFrame");
    const std::string theCall =
        LineOf("trace_modes.cpp", "FaultWithoutAFrame();", "void CrashInlined(void *) {");
    EXPECT_THAT(theResult.mOutput,
                HasSubstr("  " + theName + " at " + theFault +
                          " in crash_child\n       inlined into CrashInlined at " + theCall + "\n"))
        << theProgram;
  }
}

// A module of a device of either processor, whatever processor the engineer's machine has.
TEST(CrashCommand, ReadsReportsOfEitherProcessor) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("module.c"), "int Fault(volatile int *aPlace) {\n  return *aPlace;\n}\n");
  const struct {
    const char *mName;
    const char *mCompiler;
    const char *mReaders;
  } kProcessors[] = {{"i386", "g++-$(g++ -dumpversion | cut -d. -f1) -m32", "eu-addr2line addr2line"},
                     {"arm", "arm-linux-gnueabihf-g++-$(g++ -dumpversion | cut -d. -f1)",
                      "eu-addr2line arm-linux-gnueabihf-addr2line"}};
  int theCount = 0;
  for (const auto &theProcessor : kProcessors) {
    const std::string theFile = theFolder.File(theProcessor.mName + std::string(".so"));
    const std::string theFlags = " -x c -g -O0 -fPIC -shared -nostdlib -Wl,--build-id=sha1 ";
    const std::string theCommand = "{ command -v " + std::string(theProcessor.mReaders) + " && cd " +
                                   theFolder.Path() + " && " + theProcessor.mCompiler + theFlags +
                                   "module.c -o " + theFile + "; } >/dev/null 2>&1";
    if (system(theCommand.c_str()) != 0) continue;
    ++theCount;
    const std::vector<std::string> theSymbol =
        Search(Output("readelf -sW '" + theFile + "'"), "([0-9a-f]{8}) +[0-9]+ FUNC .* Fault$");
    ASSERT_FALSE(theSymbol.empty()) << theFile;
    // The lowest bit tells the instruction set of ARM.
    const unsigned long theOffset = std::stoul(theSymbol[1], nullptr, 16) & ~1UL;
    const std::string theId = BuildIdPath(theFile);
    std::ostringstream theReport;
    theReport << "crash file: 1\nprocessor: " << theProcessor.mName
              << "\ncrashed at: /device/lib/module.so(+0x" << std::hex << theOffset << ") [0x"
              << 0x40000000 + theOffset
              << "]\nmodule 00: /device/lib/module.so\nmodule 00 address: 0x40000000\nmodule 00 build id: "
              << theId.substr(10, 2) << theId.substr(13, 38) << "\nend: complete\n";
    WriteWholeFile(theFolder.File("report"), theReport.str());
    fs::create_directories(fs::path(theFolder.File("debug/" + theId)).parent_path());
    fs::rename(theFile, theFolder.File("debug/" + theId));
    const ChildResult theResult =
        Zvos({"crash", theFolder.File("report"), "--debug", theFolder.File("debug")});
    EXPECT_EQ(0, theResult.mStatus) << theProcessor.mName;
    EXPECT_THAT(theResult.mOutput,
                AllOf(HasSubstr("Fault at " + theFolder.File("module.c") + ":1 in module.so\n"),
                      Not(HasSubstr("unproven"))))
        << theProcessor.mName;
  }
  if (theCount == 0) GTEST_SKIP() << "no compiler, or no addr2line, for either processor is installed";
}

// --- where files are found ----------------------------------------------------------------------

TEST(CrashCommand, FindsTheModulesThemselvesByNameBelowAFolder) {
  NEEDS_LINE_READER();
  Device theDevice;
  const std::string theReport = theDevice.Crash("segv");
  theDevice.Remove();
  fs::create_directories(theDevice.File("builds/some/where"));
  fs::copy_file(BuiltProgram("crash_child"), theDevice.File("builds/some/where/crash_child"));
  const ChildResult theResult = Zvos({"crash", theReport, "--debug", theDevice.File("builds")});
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_THAT(theResult.mOutput,
              AllOf(HasSubstr("FaultByWriting at tests/crash/crashes.cpp:"),
                    HasSubstr("    lines from " + theDevice.File("builds/some/where/crash_child"))));
}

// The kernel says so in the path of a program or library that was replaced while the process had it.
TEST(CrashCommand, FindsModulesThatWereReplacedByName) {
  NEEDS_LINE_READER();
  Device theDevice;
  const std::string theReport = theDevice.Crash("segv");
  theDevice.Remove();
  WriteWholeFile(theReport, std::regex_replace(ReadWholeFile(theReport), std::regex("/crash_child(\\(|\n)"),
                                               "/crash_child (deleted)$1"));
  const TempFolder theBuilds;
  fs::copy_file(BuiltProgram("crash_child"), theBuilds.File("crash_child"));
  EXPECT_THAT(Zvos({"crash", theReport, "--debug", theBuilds.Path()}).mOutput,
              AllOf(HasSubstr("FaultByWriting at tests/crash/crashes.cpp:"),
                    HasSubstr("/crash_child (deleted)"), Not(HasSubstr("unproven"))));
}

// The debug information, and the program that reads lines, were written after January 2038.
TEST(CrashCommand, FindsLateFiles) {
  NEEDS_LINE_READER();
  if (!kfNarrowTime) GTEST_SKIP() << "time_t has 64 bits here: no time is late";
  Device theDevice;
  const std::string theReport = theDevice.Crash("segv");
  theDevice.Remove();
  for (const auto &theFile : fs::recursive_directory_iterator(theDevice.DebugFolder())) {
    if (theFile.is_regular_file()) MakeLate(theFile.path());
  }
  const OnlyProgram theReader(LineReaders().front());
  MakeLate(theReader.Path());
  const ChildResult theResult =
      Zvos({"crash", theReport, "--debug", theDevice.DebugFolder()}, {theReader.SearchPath()});
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_THAT(theResult.mOutput, HasSubstr("FaultByWriting at tests/crash/crashes.cpp:"));
}

// Of the program, that is: the C library and those of sanitizers may have lines to show on this machine.
void ExpectNoLine(const ChildResult &aResult) {
  EXPECT_THAT(aResult.mOutput, Not(HasSubstr(" at tests/")));
  const bool afOthers = std::regex_search(aResult.mOutput, std::regex("\\n  #.* at .*:[0-9]+ in "));
  EXPECT_EQ(afOthers ? 0 : 1, aResult.mStatus);
}

TEST(CrashCommand, RefusesWhatIsOfAnotherBuild) {
  Device theDevice;
  const std::string theReport = theDevice.Crash("segv");
  theDevice.Remove();
  fs::create_directories(theDevice.File("builds"));
  fs::copy_file(BuiltProgram("zvos"), theDevice.File("builds/crash_child"));
  const ChildResult theResult = Zvos({"crash", theReport, "--debug", theDevice.File("builds")});
  ExpectNoLine(theResult);
  EXPECT_THAT(theResult.mOutput, AllOf(HasSubstr("    REFUSED, another build: " +
                                                 theDevice.File("builds/crash_child") + " has the build id "),
                                       HasSubstr("    MISSING, not found among:\n"),
                                       HasSubstr("?? in crash_child, +0x"), Not(HasSubstr(" at tools/"))));
}

TEST(CrashCommand, NamesAFileOnceOfFoldersThatAreGivenTwice) {
  Device theDevice;
  const std::string theReport = theDevice.Crash("segv");
  theDevice.Remove();
  fs::create_directories(theDevice.File("builds"));
  fs::copy_file(BuiltProgram("zvos"), theDevice.File("builds/crash_child"));
  const std::string theFolder = theDevice.File("builds");
  const std::string theText = Zvos({"crash", theReport, "--debug", theFolder, "--debug", theFolder}).mOutput;
  const size_t thePlace = theText.find("REFUSED");
  ASSERT_NE(std::string::npos, thePlace);
  EXPECT_EQ(std::string::npos, theText.find("REFUSED", thePlace + 1));
}

// What stands under the build id need not be what it says.
TEST(CrashCommand, RefusesAFileThatIsMisplaced) {
  Device theDevice;
  const std::string theReport = theDevice.Crash("segv");
  theDevice.Remove();
  const std::string theFile = theDevice.DebugFolder() + "/" + BuildIdPath(BuiltProgram("crash_child"));
  fs::remove(theFile);
  fs::copy_file(BuiltProgram("zvos"), theFile);
  EXPECT_THAT(Zvos({"crash", theReport, "--debug", theDevice.DebugFolder()}).mOutput,
              HasSubstr("    REFUSED, another build: " + theFile));
}

TEST(CrashCommand, SaysWhereItHasLooked) {
  Device theDevice;
  const std::string theId = BuildIdPath(BuiltProgram("crash_child"));
  const std::string theReport = theDevice.Crash("segv");
  theDevice.Remove();
  const TempFolder theFolder;
  const ChildResult theResult = Zvos({"crash", theReport, "--debug", theFolder.Path()});
  ExpectNoLine(theResult);
  EXPECT_THAT(theResult.mOutput, AllOf(HasSubstr("\n      " + theFolder.Path() + "/" + theId + "\n"),
                                       HasSubstr("\n      /usr/lib/debug/" + theId + "\n")));
}

TEST(CrashCommand, SaysWhichPackageToGetWithoutAProgramThatReadsLines) {
  Device theDevice;
  const std::string theReport = theDevice.Crash("segv");
  const TempFolder theFolder;
  const ChildResult theResult =
      Zvos({"crash", theReport, "--debug", theDevice.DebugFolder()}, {"PATH=" + theFolder.Path()});
  EXPECT_EQ(1, theResult.mStatus);
  EXPECT_THAT(
      theResult.mOutput,
      HasSubstr(
          "\nMISSING: no addr2line for these files is installed: get the package elfutils or binutils"));
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
  const std::string theProgram = theDevice.File("device/bin/crash_child");
  fs::remove(theProgram);
  fs::copy_file(BuiltProgram("crash_child"), theProgram);
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
  const std::string theProgram = theDevice.File("device/bin/crash_child");
  fs::remove(theProgram);
  fs::copy_file(BuiltProgram("crash_child"), theProgram);
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
  const TempFolder theFolder;
  const std::string theFile = theFolder.File("log");
  WriteWholeFile(theFile,
                 "1 error DEFAULT [7] a.h:1: zvOSThread: Received fatal signal: 11\n"
                 "1 error DEFAULT [8] a.h:1: zvOSThread: Received fatal signal: 8\n"
                 "1 error DEFAULT [7] a.h:1: Backtracing this thread (pid=6, depth=2):\n"
                 "1 error DEFAULT [8] a.h:1: Backtracing this thread (pid=6, depth=1):\n"
                 "1 error DEFAULT [8] a.h:1: 00: /nonexistent/eight(+0x8) [0x88]\n"
                 "1 error DEFAULT [7] a.h:1: 00: /nonexistent/seven(+0x7) [0x77]\n"
                 "1 error DEFAULT [7] a.h:1: 01: /nonexistent/seven(main+0x6) [0x66]\n");
  const ChildResult theResult = Zvos({"crash", theFile});
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
  const TempFolder theFolder;
  const std::string theFile = theFolder.File("log");
  const std::string kHeads[] = {"1 error DEFAULT ", "Nov 22 19:30:17 device player[6]: DEFAULT "};
  for (const std::string &theHead : kHeads) {
    const std::string theOne = theHead + "[6:7] a.h:1: ";
    const std::string theOther = theHead + "[6:8 [a] b] a.h:1: ";
    WriteWholeFile(theFile, theOne + "zvOSThread: Received fatal signal: 11\n" + theOther +
                                "zvOSThread: Received fatal signal: 8\n" + theOne +
                                "Backtracing this thread (pid=6, depth=2):\n" + theOther +
                                "Backtracing this thread (pid=6, depth=2):\n" + theOther +
                                "00: /nonexistent/eight(+0x8) [0x88]\n" + theOne +
                                "00: /nonexistent/seven(+0x7) [0x77]\n" + theOther +
                                "01: /nonexistent/eight(+0x9) [0x99]\n" + theOne +
                                "01: /nonexistent/seven(main+0x6) [0x66]\n");
    const std::string theText = Zvos({"crash", theFile}).mOutput;
    EXPECT_THAT(theText, HasSubstr("signal:           11\nprocess:          6\nthread:           7\n"));
    EXPECT_THAT(theText, HasSubstr("  #00  ?? in seven, +0x7\n  #01  main in seven, main+0x6\n"));
    EXPECT_THAT(theText, HasSubstr("signal:           8\nprocess:          6\nthread:           8\n"));
    EXPECT_THAT(theText, HasSubstr("  #00  ?? in eight, +0x8\n  #01  ?? in eight, +0x9\n"));
    EXPECT_THAT(theText, Not(HasSubstr("is not complete")));
  }
}

TEST(CrashCommand, TakesNoWordsOfAStackInATraceFileForCallers) {
  const TempFolder theFolder;
  const std::string theFile = theFolder.File("backtrace_6.txt");
  WriteWholeFile(theFile,
                 "log\n00: /nonexistent/frame(+0x1) [0x11]\n01: /nonexistent/frame(+0x2) [0x12]\n"
                 "00: /nonexistent/word(+0x3) [0x13]\n01: [0x14]\n02: /nonexistent/word(+0x5) [0x15]\n"
                 "03: /nonexistent/word(+0x6) [0x16]\n\nlog end\n");
  EXPECT_THAT(Zvos({"crash", theFile}).mOutput,
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
  const TempFolder theFolder;
  const std::string theFile = theFolder.File("report");
  WriteWholeFile(
      theFile,
      "crash file: 1\nprogram: \x1b[2J\nframe 00: /x/y(+0x10) [0x10]\nframe x\nframe 01: (((((\n"
      "frame 02: /a(b)(+0xffffffffffffffffff) [0x1]\nmodule 00: /x/y\nmodule 00 build id: ../../../etc\n"
      "module 99999999999: z\nmodule : z\nmodule 01: \nstack 000: ]\ncrashed at: [0x\n");
  const ChildResult theResult = Zvos({"crash", theFile});
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
  const TempFolder theFolder;
  const std::string theFile = theFolder.File("reports");
  WriteWholeFile(theFile,
                 "crash file: 1\nprocess: 7\nframe 00: /nonexistent/seven(+0x7) [0x77]\nend: complete\n"
                 "crash file: 1\nprocess: 8\nframe 00: /nonexistent/eight(+0x8) [0x88]\n");
  const std::string theText = Zvos({"crash", theFile}).mOutput;
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

TEST(CrashCommand, GivesScriptsTheSame) {
  NEEDS_LINE_READER();
  Device theDevice;
  const std::string theReport = theDevice.Crash("segv");
  const ChildResult theResult = Zvos({"crash", "--json", theReport, "--debug", theDevice.DebugFolder()});
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_THAT(
      theResult.mOutput,
      AllOf(HasSubstr("\"kind\": \"crash file\""), HasSubstr("\"signal\": \"11 SIGSEGV\""),
            HasSubstr("\"role\": \"crash\""), HasSubstr("\"proven\": true"),
            HasSubstr("{\"function\": \"FaultByWriting\", \"file\": \"tests/crash/crashes.cpp\", \"line\": "),
            HasSubstr("\"state\": \"matched\"")));
}

}  // namespace
