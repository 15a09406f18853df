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

// The report of a program of which the folder "builds" has the name, but another build.
std::string CrashOfAnotherBuild(Device &aDevice) {
  const std::string theReport = aDevice.Crash("segv");
  aDevice.Remove();
  fs::create_directories(aDevice.File("builds"));
  fs::copy_file(BuiltProgram("zvos"), aDevice.File("builds/crash_child"));
  return theReport;
}

TEST(CrashCommand, RefusesWhatIsOfAnotherBuild) {
  Device theDevice;
  const std::string theReport = CrashOfAnotherBuild(theDevice);
  const ChildResult theResult = Zvos({"crash", theReport, "--debug", theDevice.File("builds")});
  ExpectNoLine(theResult);
  EXPECT_THAT(theResult.mOutput, AllOf(HasSubstr("    REFUSED, another build: " +
                                                 theDevice.File("builds/crash_child") + " has the build id "),
                                       HasSubstr("    MISSING, not found among:\n"),
                                       HasSubstr("?? in crash_child, +0x"), Not(HasSubstr(" at tools/"))));
}

TEST(CrashCommand, NamesAFileOnceOfFoldersThatAreGivenTwice) {
  Device theDevice;
  const std::string theReport = CrashOfAnotherBuild(theDevice);
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
