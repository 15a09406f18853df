// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The crash file: what it tells, whom it spares, and that the report does not suffer from it.

#include "CrashSupport.h"

#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <map>
#include <sstream>

using namespace zvtest;
using ::testing::AnyOf;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

namespace {

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr bool kfSanitized = true;
#else
constexpr bool kfSanitized = false;
#endif

// The value of a key; a failure when there is not exactly one.
std::string ValueOf(const std::string &aFile, const std::string &aKey) {
  std::istringstream theStream(aFile);
  std::string theValue;
  int theCount = 0;
  for (std::string theLine; std::getline(theStream, theLine);) {
    if (theLine.compare(0, aKey.size() + 2, aKey + ": ") != 0) continue;
    theValue = theLine.substr(aKey.size() + 2);
    ++theCount;
  }
  EXPECT_EQ(1, theCount) << aKey << "\n" << aFile;
  return theValue;
}

bool HasKey(const std::string &aFile, const std::string &aKey) {
  return ("\n" + aFile).find("\n" + aKey + ": ") != std::string::npos;
}

// "[0x...]" at the end of each line that begins so.
std::vector<std::string> Addresses(const std::string &aText, const std::string &aStart) {
  std::vector<std::string> theAddresses;
  std::istringstream theStream(aText);
  for (std::string theLine; std::getline(theStream, theLine);) {
    const size_t thePlace = theLine.rfind(" [0x");
    if (theLine.compare(0, aStart.size(), aStart) == 0 && thePlace != std::string::npos)
      theAddresses.push_back(theLine.substr(thePlace + 1));
  }
  return theAddresses;
}

// The rest of the report is as whole as it is without the file.
void ExpectReportAndWholeFile(const Crash &aCrash) {
  ExpectCompleteReport(aCrash, SIGSEGV, {"FaultByWriting", "CrashBySegv"});
  EXPECT_THAT(aCrash.CrashFile(), StartsWith("crash file: 1\n")) << aCrash.All();
  EXPECT_THAT(aCrash.CrashFile(), EndsWith("\nend: complete\n")) << aCrash.All();
}

// Seconds since 1970 until 2106, where a time_t may have 32 bits.
uint32_t Now() {
  return static_cast<uint32_t>(time(nullptr));
}

uint32_t SecondsOf(const std::string &aTime) {
  constexpr int kFirstYear = 1970 - 1900;
  tm theTime = {};
  const char *const theEnd = strptime(aTime.c_str(), "%Y-%m-%dT%H:%M:%SZ", &theTime);
  EXPECT_TRUE(theEnd != nullptr && *theEnd == '\0') << aTime;
  // Every fourth year is a leap year until 2100, which is none.
  const int theYears = theTime.tm_year - kFirstYear;
  const int theLeapDays = (theYears + 1) / 4 - (theTime.tm_year > 200 ? 1 : 0);
  const int theDays = theYears * 365 + theLeapDays + theTime.tm_yday;
  return static_cast<uint32_t>(theDays) * 86400U +
         static_cast<uint32_t>(theTime.tm_hour * 3600 + theTime.tm_min * 60 + theTime.tm_sec);
}

// --- what it tells ------------------------------------------------------------------------------

TEST(CrashFile, TellsWhatHappenedToWhom) {
  NEEDS_SIGNALS_OF_THE_SYSTEM();
  const uint32_t theStart = Now();
  const Crash theCrash = RunCrash("segv");
  ExpectReportAndWholeFile(theCrash);
  const std::string theFile = theCrash.CrashFile();
  const uint32_t theTime = SecondsOf(ValueOf(theFile, "time"));
  EXPECT_GE(theTime, theStart);
  EXPECT_LE(theTime, Now());
  EXPECT_THAT(ValueOf(theFile, "program"), EndsWith("/crash_child"));
  EXPECT_THAT(ValueOf(theFile, "command"), EndsWith("/crash_child segv "));
  EXPECT_EQ(std::to_string(theCrash.mChild.mPid), ValueOf(theFile, "process"));
  EXPECT_EQ("[" + ValueOf(theFile, "process") + ":" + ValueOf(theFile, "thread") + "]",
            theCrash.mLog[0].mThread);
  EXPECT_EQ("11 SIGSEGV", ValueOf(theFile, "signal"));
  EXPECT_EQ("1 SEGV_MAPERR", ValueOf(theFile, "code"));
  EXPECT_EQ("0x10", ValueOf(theFile, "fault address"));
  EXPECT_FALSE(HasKey(theFile, "sender"));
  EXPECT_THAT(ValueOf(theFile, "kernel"), StartsWith("Linux "));
  EXPECT_THAT(ValueOf(theFile, "free memory"), ContainsRegex("^[1-9][0-9]* of [1-9][0-9]* KiB$"));
  EXPECT_THAT(ValueOf(theFile, "open descriptors"), ContainsRegex("^[1-9][0-9]* of [1-9][0-9]*$"));
}

TEST(CrashFile, TellsTheFirst200BytesOfTheCommand) {
  const Crash theCrash = RunCrash("segv", "crash_child", std::string(300, 'x'));
  const std::string theCommand = ValueOf(theCrash.CrashFile(), "command");
  EXPECT_EQ(200u, theCommand.size());
  EXPECT_THAT(theCommand, ContainsRegex("/crash_child segv x+$"));
}

TEST(CrashFile, TellsTheFramesOfTheTrace) {
  NEEDS_SIGNALS_OF_THE_SYSTEM();
  const Crash theCrash = RunCrash("segv");
  const std::vector<std::string> theFrames = Addresses(theCrash.CrashFile(), "frame ");
  EXPECT_EQ(Addresses(theCrash.mTrace, ""), theFrames);
  const std::vector<std::string> thePlace = Addresses(theCrash.CrashFile(), "crashed at: ");
  ASSERT_EQ(1u, thePlace.size());
  ASSERT_GT(theFrames.size(), 3 + kFramesOfSanitizer);
  EXPECT_EQ(thePlace[0], theFrames[3 + kFramesOfSanitizer]);
}

TEST(CrashFile, TellsTheRegisters) {
  NEEDS_SIGNALS_OF_THE_SYSTEM();
  const std::string theFile = RunCrash("segv").CrashFile();
  const std::string thePlace = Addresses(theFile, "crashed at: ").at(0);
  const std::string theAddress = thePlace.substr(1, thePlace.size() - 2);
#if defined(__i386__)
  EXPECT_THAT(ValueOf(theFile, "registers"), HasSubstr(" eip=" + theAddress + " "));
  EXPECT_EQ("i386", ValueOf(theFile, "processor"));
#elif defined(__arm__)
  EXPECT_THAT(ValueOf(theFile, "registers"), HasSubstr(" pc=" + theAddress + " "));
  EXPECT_EQ("arm", ValueOf(theFile, "processor"));
#elif defined(__x86_64__)
  EXPECT_THAT(ValueOf(theFile, "registers"), HasSubstr(" rip=" + theAddress + " "));
  EXPECT_EQ("x86_64", ValueOf(theFile, "processor"));
#endif
}

TEST(CrashFile, TellsWhoSentASignal) {
  NEEDS_SIGNALS_OF_THE_SYSTEM();
  const Crash theCrash = RunCrash("abrt");
  const std::string theFile = theCrash.CrashFile();
  EXPECT_EQ("6 SIGABRT", ValueOf(theFile, "signal"));
  EXPECT_EQ("-6 SI_TKILL", ValueOf(theFile, "code"));
  EXPECT_EQ("process " + std::to_string(theCrash.mChild.mPid) + " itself of user " + std::to_string(getuid()),
            ValueOf(theFile, "sender"));
  EXPECT_FALSE(HasKey(theFile, "fault address"));
}

TEST(CrashFile, TellsBuildIdAndStampOfEachModule) {
  const std::string theFile = RunCrash("segv").CrashFile();
  std::map<std::string, std::string> theNumbers;
  for (int i = 0; HasKey(theFile, (i < 10 ? "module 0" : "module ") + std::to_string(i)); ++i) {
    const std::string theKey = (i < 10 ? "module 0" : "module ") + std::to_string(i);
    const std::string thePath = ValueOf(theFile, theKey);
    theNumbers[thePath.substr(thePath.rfind('/') + 1)] = theKey;
    EXPECT_THAT(ValueOf(theFile, theKey + " address"), ContainsRegex("^0x[0-9a-f]+000$"));
    EXPECT_THAT(ValueOf(theFile, theKey + " build id"), ContainsRegex("^[0-9a-f]{40}$|^none$"));
  }
  for (const std::string &theName :
       {std::string("crash_child"),
        std::filesystem::canonical(BuiltLibrary("libzvOS.so")).filename().string()}) {
    ASSERT_TRUE(theNumbers.count(theName)) << theName << "\n" << theFile;
    EXPECT_THAT(ValueOf(theFile, theNumbers[theName] + " build id"), ContainsRegex("^[0-9a-f]{40}$"));
    EXPECT_THAT(ValueOf(theFile, theNumbers[theName] + " revision"),
                ContainsRegex("^r[0-9]+ \\(.*/branches/.*\\)$"));
  }
}

TEST(CrashFile, OfAShortTraceShowsTheCodeThatTheStackNames) {
  if (kfSanitized) GTEST_SKIP() << "with the sanitizer's frame the trace passes for a sound one";
  const Crash theCrash = RunCrash("smashed-stack");
  EXPECT_FALSE(Addresses(theCrash.CrashFile(), "stack ").empty()) << theCrash.CrashFile();
  EXPECT_TRUE(Addresses(RunCrash("segv").CrashFile(), "stack ").empty());
}

TEST(CrashFile, CannotBeForgedByTheNameOfAThread) {
  const Crash theCrash = RunCrash("named-thread");
  EXPECT_EQ("a?name: 1", ValueOf(theCrash.CrashFile(), "thread name"));
  EXPECT_FALSE(HasKey(theCrash.CrashFile(), "name"));
}

// --- files that are there -----------------------------------------------------------------------

TEST(CrashFile, TakesThePlaceOfALinkAndDoesNotFollowIt) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("target"), "precious");
  const Crash theCrash = RunCrash("file-is-a-link", "crash_child", "", LogTo::File, theFolder.Path());
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_EQ("precious", ReadWholeFile(theFolder.File("target")));
  struct stat theStatus;
  ASSERT_EQ(0, lstat(theFolder.File(theCrash.CrashFileName()).c_str(), &theStatus));
  EXPECT_TRUE(S_ISREG(theStatus.st_mode));
  EXPECT_THAT(ReadWholeFile(theFolder.File(theCrash.CrashFileName())), EndsWith("\nend: complete\n"));
}

TEST(CrashFile, TakesThePlaceOfThatOfAnEarlierProcess) {
  const Crash theCrash = RunCrash("file-is-there");
  ExpectReportAndWholeFile(theCrash);
}

TEST(CrashFile, IsReadableByTheUserAlone) {
  const TempFolder theFolder;
  const Crash theCrash = RunCrash("segv", "crash_child", "", LogTo::File, theFolder.Path());
  struct stat theStatus;
  ASSERT_EQ(0, stat(theFolder.File(theCrash.CrashFileName()).c_str(), &theStatus));
  EXPECT_EQ(0600u, theStatus.st_mode & 07777);
}

TEST(CrashFile, OfASecondReportHasANumber) {
  const Crash theCrash = RunCrash("raise-and-crash");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_EQ("8 SIGFPE", ValueOf(theCrash.CrashFile(), "signal"));
  EXPECT_EQ("11 SIGSEGV", ValueOf(theCrash.CrashFile(2), "signal"));
}

// --- obstacles ----------------------------------------------------------------------------------

TEST(CrashFile, ThatCannotBeMadeIsDoneWithout) {
  const Crash theCrash = RunCrash("file-is-a-folder");
  ExpectCompleteReport(theCrash, SIGSEGV, {"FaultByWriting", "CrashBySegv"});
  EXPECT_TRUE(theCrash.mCrashFiles.empty());
}

TEST(CrashFile, InAFolderThatIsNotThereIsDoneWithout) {
  const Crash theCrash = RunCrash("segv", "crash_child", "", LogTo::File, "/nonexistent");
  ExpectCompleteReport(theCrash, SIGSEGV, {"FaultByWriting", "CrashBySegv"});
}

TEST(CrashFile, IsWrittenWhenThereIsNoTraceFile) {
  const Crash theCrash = RunCrash("no-file");
  EXPECT_THAT(theCrash.CrashFile(), EndsWith("\nend: complete\n"));
  rmdir(theCrash.TraceFileName().c_str());
}

TEST(CrashFile, IsWholeWhileAnotherThreadHoldsTheLockOfTheLoader) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP()
      << "the sanitizer itself asks for the loader's tables when a step on a signal stack is given up";
#endif
  const Crash theCrash = RunCrash("loader-tables-locked");
  EXPECT_THAT(theCrash.CrashFile(), HasSubstr("\nmodule 01 build id: ")) << theCrash.All();
  EXPECT_THAT(theCrash.CrashFile(), EndsWith("\nend: complete\n")) << theCrash.All();
}

TEST(CrashFile, NeedsNoAllocator) {
  NEEDS_OWN_ALLOCATOR();
  const Crash theCrash = RunCrash("malloc");
  EXPECT_THAT(theCrash.CrashFile(), EndsWith("\nend: complete\n")) << theCrash.All();
}

// The file that a module was mapped from is not what it was: its pages cannot be read, and it has no stamp.
TEST(CrashFile, StandsModulesThatWereCutShort) {
  if (IsEmulated()) GTEST_SKIP() << "the emulator itself reads what the system is asked to, and dies of it";
  const TempFolder theFolder;
  std::filesystem::copy_file(BuiltLibrary("libzvLog.so"), theFolder.File("module.so"));
  const Crash theCrash = RunCrash("changed-modules", "crash_child", "", LogTo::File, theFolder.Path());
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_THAT(ReadWholeFile(theFolder.File(theCrash.CrashFileName())), EndsWith("\nend: complete\n"))
      << theCrash.All();
}

TEST(CrashFile, GoesOnBehindAPartThatFaults) {
  const Crash theCrash = RunCrash("system-faults");
  ExpectReportAndWholeFile(theCrash);
  EXPECT_FALSE(HasKey(theCrash.CrashFile(), "free memory"));
  EXPECT_THAT(theCrash.CrashFile(), HasSubstr(" revision: r")) << "the part behind it";
}

TEST(CrashFile, IsInItsUsualFolderWhenTheEnvironmentIsRuined) {
  const Crash theCrash = RunCrash("environment-faults");
  ExpectCompleteReport(theCrash, SIGSEGV, {"FaultByWriting", "CrashBySegv"});
  const std::string theFile = "/tmp/" + theCrash.CrashFileName();
  EXPECT_THAT(ReadWholeFile(theFile), EndsWith("\nend: complete\n"));
  unlink(theFile.c_str());
}

class Hanging : public ::testing::TestWithParam<const char *> {};

TEST_P(Hanging, CostsASecondAndNothingOfTheReport) {
  const Crash theCrash = RunCrash(std::string(GetParam()) + "-hangs");
  ExpectCompleteReport(theCrash, SIGSEGV, {"FaultByWriting", "CrashBySegv"});
  EXPECT_GE(theCrash.mChild.mSeconds, 3.0) << "nothing hung";
  EXPECT_LT(theCrash.mChild.mSeconds, 5.0);
}

INSTANTIATE_TEST_SUITE_P(CrashFile, Hanging, ::testing::Values("environment", "system"),
                         [](const auto &anInfo) { return std::string(anInfo.param); });

// The patience of the report is for what it always told.
TEST(CrashFile, IsLeftOutWhenNothingCouldInterruptIt) {
  const Crash theCrash = RunCrash("log-hangs-without-timer", "crash_child_hostile_log");
  EXPECT_TRUE(theCrash.mCrashFiles.empty());
}

// --- after January 2038 -------------------------------------------------------------------------

// The calls that tell times in 32 bits refuse to, of the clock and of the files of the modules.
TEST(CrashFile, TellsTimeAndStampsAfterJanuary2038) {
  if (sizeof(time_t) == 8) GTEST_SKIP() << "time_t has 64 bits here: no time is late";
  const Crash theCrash = RunCrash("late");
  ExpectReportAndWholeFile(theCrash);
  EXPECT_EQ("2105-01-01T12:34:56Z", ValueOf(theCrash.CrashFile(), "time"));
  EXPECT_THAT(theCrash.CrashFile(), ContainsRegex("\nmodule [0-9]+ revision: r[0-9]+ \\("));
}

TEST(CrashFile, LeavesOutATimeThatTheSystemDoesNotTell) {
  if (sizeof(time_t) == 8) GTEST_SKIP() << "time_t has 64 bits here: no time is late";
  const Crash theCrash = RunCrash("late-without-clock");
  ExpectReportAndWholeFile(theCrash);
  EXPECT_FALSE(HasKey(theCrash.CrashFile(), "time")) << theCrash.CrashFile();
}

}  // namespace
