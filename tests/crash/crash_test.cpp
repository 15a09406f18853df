// What is left of a process that crashed: the signal it died by, when, the report in the log and the
// trace in its file. Whatever breaks while the report is made, the process dies by the signal that
// came first, within ten seconds.

#include "support/Support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

using namespace zvtest;
using ::testing::Contains;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAreArray;

namespace {

constexpr double kLongestDeath = 10;
constexpr int kShortestSoundTrace = 6;
constexpr size_t kStackWords = 256;

// See Crash.h.
constexpr int kExitDone = 47;
constexpr int kExitTimerGiven = 48;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kfOwnAllocator = false;
#else
constexpr bool kfOwnAllocator = true;
#endif

#define NEEDS_OWN_ALLOCATOR() \
  if (!kfOwnAllocator) GTEST_SKIP() << "the sanitizer's allocator cannot be replaced"

struct LogLine {
  std::string mThread;
  std::string mLevelAndModule;
  std::string mText;
};

// A process that has crashed.
struct Crash {
  ChildResult mChild;
  std::vector<LogLine> mLog;
  bool mfTraceExists;
  std::string mTrace;

  std::string All() const {
    std::string theText = "--- trace\n" + mTrace + "--- log\n";
    for (const LogLine &theLine : mLog)
      theText += theLine.mThread + " " + theLine.mText + "\n";
    return theText + "--- standard error\n" + mChild.mError;
  }
  bool Logged(const std::string &aText) const {
    for (const LogLine &theLine : mLog) {
      if (theLine.mText == aText) return true;
    }
    return false;
  }
};

// The lines of the companion library: time, level, module, [thread], file:line: text.
std::vector<LogLine> ParseLog(const std::string &aText) {
  std::vector<LogLine> theLines;
  std::istringstream theStream(aText);
  for (std::string theLine; std::getline(theStream, theLine);) {
    std::istringstream theWords(theLine);
    std::string theTime, theLevel, theModule, theThread, thePlace;
    theWords >> theTime >> theLevel >> theModule >> theThread >> thePlace;
    if (!theWords || theThread.front() != '[' || thePlace.back() != ':' || theWords.get() != ' ') {
      ADD_FAILURE() << "no line of a log: " << theLine;
      continue;
    }
    std::string theText;
    std::getline(theWords, theText);
    theLines.push_back({theThread, theLevel + " " + theModule, theText});
  }
  return theLines;
}

// Sanitizers shall leave the signals to the library.
const char kSanitizerOptions[] =
    "handle_segv=0:handle_sigfpe=0:handle_sigbus=0:handle_sigill=0:handle_abort=0:allow_user_segv_handler=1:"
    "detect_leaks=0:use_sigaltstack=0:report_bugs=0";

std::vector<std::string> Environment(const std::string &aLogSettings) {
  std::vector<std::string> theVariables = {"ZVLOG=" + aLogSettings};
#if defined(__SANITIZE_ADDRESS__)
  theVariables.push_back(std::string("ASAN_OPTIONS=") + strstr(kSanitizerOptions, "handle_segv"));
#elif defined(__SANITIZE_THREAD__)
  theVariables.push_back(std::string("TSAN_OPTIONS=") + kSanitizerOptions);
#endif
  return theVariables;
}

Crash RunCrash(const std::string &aMode, const std::string &aProgram = "crash_child",
               const std::string &anArgument = "") {
  const TempFolder theFolder;
  const std::string theLogFile = theFolder.File("log");
  Crash theCrash;
  theCrash.mChild =
      RunProgram(BuiltProgram(aProgram), {aMode, anArgument}, Environment("debug,to=file:" + theLogFile), 30);
  theCrash.mLog = ParseLog(ReadWholeFile(theLogFile));
  const std::string theTraceFile = "/tmp/backtrace_" + std::to_string(theCrash.mChild.mPid) + ".txt";
  theCrash.mfTraceExists = access(theTraceFile.c_str(), F_OK) == 0;
  theCrash.mTrace = ReadWholeFile(theTraceFile);
  unlink(theTraceFile.c_str());
  return theCrash;
}

void ExpectDeathBy(const Crash &aCrash, std::initializer_list<int> aSignals) {
  EXPECT_FALSE(aCrash.mChild.mfTimedOut);
  EXPECT_LT(aCrash.mChild.mSeconds, kLongestDeath);
  ASSERT_TRUE(aCrash.mChild.mfSignaled) << "exit status " << aCrash.mChild.mStatus << "\n" << aCrash.All();
  EXPECT_THAT(std::vector<int>(aSignals), Contains(aCrash.mChild.mSignal)) << aCrash.All();
}

// The frames in the trace file, which is complete from its first line to its last; without newlines.
std::vector<std::string> FramesOfCompleteFile(const Crash &aCrash) {
  const std::string theStart = "log\n";
  const std::string theEnd = "\nlog end\n";
  const std::string &theTrace = aCrash.mTrace;
  EXPECT_THAT(theTrace, StartsWith(theStart)) << aCrash.All();
  EXPECT_THAT(theTrace, EndsWith("\n" + theEnd)) << aCrash.All();
  std::vector<std::string> theFrames;
  if (theTrace.size() < theStart.size() + theEnd.size()) return theFrames;

  std::istringstream theStream(
      theTrace.substr(theStart.size(), theTrace.size() - theStart.size() - theEnd.size()));
  for (std::string theLine; std::getline(theStream, theLine);)
    theFrames.push_back(theLine);

  size_t theNumber = 0;
  const size_t theWords = theFrames.size() < kStackWords ? theFrames.size() : theFrames.size() - kStackWords;
  for (const std::string &theFrame : theFrames) {
    char theStartOfLine[16];
    const bool fWord = theWords < static_cast<size_t>(kShortestSoundTrace) && theNumber >= theWords;
    snprintf(theStartOfLine, sizeof theStartOfLine, "%02zu: ", fWord ? theNumber - theWords : theNumber);
    EXPECT_THAT(theFrame, StartsWith(theStartOfLine)) << aCrash.All();
    ++theNumber;
  }
  return theFrames;
}

// The names to expect when the crash is inside the system's C library, or none: on ARM that library
// has no unwinding tables, and a trace ends where it enters it.
std::vector<std::string> ThroughSystemLibrary([[maybe_unused]] const std::vector<std::string> &aNames) {
#if defined(__arm__)
  return {};
#else
  return aNames;
#endif
}

// The trace names these functions, in this order.
void ExpectFramesName(const Crash &aCrash, const std::vector<std::string> &aFrames,
                      const std::vector<std::string> &aNames) {
  size_t theFrame = 0;
  for (const std::string &theName : aNames) {
    while (theFrame < aFrames.size() && aFrames[theFrame].find("(" + theName + "+") == std::string::npos)
      ++theFrame;
    EXPECT_LT(theFrame, aFrames.size()) << theName << " is not in its place in the trace\n" << aCrash.All();
  }
}

// The first report in the log is whole: announced, with every frame of the file, and ended, all by
// one thread.
void ExpectCompleteLog(const Crash &aCrash, int aSignal, const std::vector<std::string> &aFrames) {
  const std::string theAnnouncement = "zvOSThread: Received fatal signal: " + std::to_string(aSignal);
  std::string theThread;
  std::vector<std::string> theTexts;
  for (const LogLine &theLine : aCrash.mLog) {
    if (theThread.empty() && theLine.mText == theAnnouncement) {
      theThread = theLine.mThread;
      EXPECT_EQ("error DEFAULT", theLine.mLevelAndModule);
    }
    if (theLine.mThread == theThread) theTexts.push_back(theLine.mText);
  }
  ASSERT_FALSE(theTexts.empty()) << aCrash.All();

  const std::string theFile = "/tmp/backtrace_" + std::to_string(aCrash.mChild.mPid) + ".txt";
  const bool fShort = aFrames.size() >= kStackWords;
  const size_t theDepth = fShort ? aFrames.size() - kStackWords : aFrames.size();
  std::vector<std::string> theExpected = {
      theAnnouncement, "Backtracing in " + theFile + " afMemoryIsCorrupted 0",
      "Backtracing this thread (pid=" + std::to_string(aCrash.mChild.mPid) +
          ", depth=" + std::to_string(theDepth) + "):"};
  for (size_t i = 0; i < aFrames.size(); ++i) {
    if (fShort && i == theDepth) {
      theExpected.push_back("Here is a stack dump, try to find something on your own:");
    }
    theExpected.push_back(aFrames[i]);
  }
  if (fShort) theExpected.push_back("[End of stack dump (4*256 bytes)");
  theExpected.push_back("The file " + theFile + " is closed");
  theExpected.push_back("zvOSThread: Defaulting to default signal handler");
  EXPECT_EQ(theExpected, theTexts) << aCrash.All();
}

// Died by the signal, in time, with a whole report that names these functions, innermost first.
void ExpectCompleteReport(const Crash &aCrash, int aSignal, const std::vector<std::string> &aNames) {
  ExpectDeathBy(aCrash, {aSignal});
  const std::vector<std::string> theFrames = FramesOfCompleteFile(aCrash);
  ExpectFramesName(aCrash, theFrames, aNames);
  ExpectCompleteLog(aCrash, aSignal, theFrames);
}

// --- plain crashes ------------------------------------------------------------------------------

TEST(Crash, BySegvIsReported) {
  ExpectCompleteReport(RunCrash("segv"), SIGSEGV, {"FaultByWriting", "CrashBySegv"});
}

TEST(Crash, ByFpeIsReported) {
  ExpectCompleteReport(RunCrash("fpe"), SIGFPE, {"CrashByFpe"});
}

TEST(Crash, ByIllIsReported) {
  ExpectCompleteReport(RunCrash("ill"), SIGILL, {"CrashByIll"});
}

TEST(Crash, ByBusIsReported) {
  ExpectCompleteReport(RunCrash("bus"), SIGBUS, {"CrashByBus"});
}

TEST(Crash, ByAbrtIsReported) {
  ExpectCompleteReport(RunCrash("abrt"), SIGABRT, ThroughSystemLibrary({"abort", "CrashByAbrt"}));
}

TEST(Crash, InTheMainThreadIsReported) {
  ExpectCompleteReport(RunCrash("main-thread"), SIGSEGV, {"FaultByWriting", "CrashBySegv"});
}

TEST(Crash, PrintsTheTraceOfTheFile) {
  const Crash theCrash = RunCrash("segv");
  std::string theExpected;
  const std::vector<std::string> theFrames = FramesOfCompleteFile(theCrash);
  for (const std::string &theFrame : theFrames)
    theExpected += theFrame + "\n";
  if (theFrames.size() >= kStackWords) GTEST_SKIP() << "the trace of this system is a stack dump";
  EXPECT_EQ("Backtracing this thread (pid=" + std::to_string(theCrash.mChild.mPid) +
                ", depth=" + std::to_string(theFrames.size()) + "):\n" + theExpected,
            theCrash.mChild.mOutput);
}

TEST(Crash, LeavesTwoSecondsForTheLogToDrain) {
  const Crash theCrash = RunCrash("segv");
  EXPECT_GE(theCrash.mChild.mSeconds, 2.0);
}

TEST(Crash, BySignalFromElsewhereThatDoesNotComeAgainEndsTheProcess) {
  const Crash theCrash = RunCrash("one-signal");
  ExpectDeathBy(theCrash, {SIGSEGV});
  FramesOfCompleteFile(theCrash);
}

TEST(Crash, OfAThreadThatDoesNotCatchSignalsIsNotReported) {
  const Crash theCrash = RunCrash("uncaught");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_FALSE(theCrash.mfTraceExists);
  EXPECT_TRUE(theCrash.mLog.empty()) << theCrash.All();
  EXPECT_EQ("", theCrash.mChild.mOutput);
}

// --- in the allocator ---------------------------------------------------------------------------

TEST(Crash, InMallocThatHoldsItsLockIsReportedWithSymbols) {
  NEEDS_OWN_ALLOCATOR();
  ExpectCompleteReport(RunCrash("malloc"), SIGSEGV, {"FaultByWriting", "malloc", "CrashInMalloc"});
}

TEST(Crash, InFreeThatHoldsItsLockIsReportedWithSymbols) {
  NEEDS_OWN_ALLOCATOR();
  ExpectCompleteReport(RunCrash("free"), SIGSEGV, {"FaultByWriting", "free", "CrashInFree"});
}

// The unwinder is there before the crash; loading it would allocate.
TEST(Crash, InMallocNeedsNothingThatIsLoadedOnDemand) {
  NEEDS_OWN_ALLOCATOR();
  ExpectCompleteReport(RunCrash("malloc-first-trace"), SIGSEGV,
                       {"FaultByWriting", "malloc", "CrashInMallocWithUnwinderLoaded"});
}

TEST(Crash, ByCorruptedHeapIsReported) {
  NEEDS_OWN_ALLOCATOR();
  const Crash theCrash = RunCrash("heap");
  EXPECT_THAT(theCrash.mChild.mError, HasSubstr("malloc(): corrupted top size")) << "another kind of crash";
  ExpectCompleteReport(theCrash, SIGABRT, ThroughSystemLibrary({"abort", "malloc", "CorruptTheHeap"}));
}

TEST(Crash, ByDoubleFreeIsReported) {
  NEEDS_OWN_ALLOCATOR();
  const Crash theCrash = RunCrash("double-free");
  EXPECT_THAT(theCrash.mChild.mError, HasSubstr("double free")) << "another kind of crash";
  ExpectCompleteReport(theCrash, SIGABRT, ThroughSystemLibrary({"abort", "free", "FreeTwice"}));
}

TEST(Crash, InMallocThatFaultsOnEveryCallStillEndsByTheSignal) {
  NEEDS_OWN_ALLOCATOR();
  const Crash theCrash = RunCrash("malloc-again");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_TRUE(theCrash.Logged("zvOSThread: Received fatal signal: 11")) << theCrash.All();
}

TEST(Crash, ByAbortInMallocThatFaultsAfterwardsEndsByTheAbort) {
  NEEDS_OWN_ALLOCATOR();
  const Crash theCrash = RunCrash("malloc-abort");
  ExpectDeathBy(theCrash, {SIGABRT});
  EXPECT_TRUE(theCrash.Logged("zvOSThread: Received fatal signal: 6")) << theCrash.All();
}

TEST(CorruptedMemory, IsTracedWithoutTheAllocator) {
  NEEDS_OWN_ALLOCATOR();
  for (const char *theMode : {"trace-corrupted", "trace-corrupted-first"}) {
    const Crash theCrash = RunCrash(theMode);
    EXPECT_FALSE(theCrash.mChild.mfSignaled) << theCrash.All();
    EXPECT_EQ(kExitDone, theCrash.mChild.mStatus) << theMode;
    EXPECT_EQ("log\n\nlog end\n", theCrash.mTrace);
  }
}

// --- in or with the log -------------------------------------------------------------------------

TEST(Crash, InTheLogIsReported) {
  ExpectCompleteReport(RunCrash("log"), SIGSEGV, ThroughSystemLibrary({"zvLog_Append_F", "CrashInLog"}));
}

struct HostileLog {
  const char *mMode;
  int mSignal;
};

void PrintTo(const HostileLog &aLog, std::ostream *aStream) {
  *aStream << aLog.mMode;
}

class CrashWithHostileLog : public ::testing::TestWithParam<HostileLog> {};

TEST_P(CrashWithHostileLog, EndsInTimeAndLeavesACompleteFile) {
  const Crash theCrash = RunCrash(GetParam().mMode, "crash_child_hostile_log");
  ExpectDeathBy(theCrash, {GetParam().mSignal});
  const std::vector<std::string> theFrames = FramesOfCompleteFile(theCrash);
  EXPECT_FALSE(theFrames.empty());
  const std::vector<std::string> theNames = GetParam().mSignal == SIGABRT
                                                ? ThroughSystemLibrary({"abort", "CrashByAbrt"})
                                                : std::vector<std::string>{"CrashBySegv"};
  ExpectFramesName(theCrash, theFrames, theNames);
}

INSTANTIATE_TEST_SUITE_P(
    Ways, CrashWithHostileLog,
    ::testing::Values(HostileLog{"log-hangs-in-begin", SIGSEGV}, HostileLog{"log-hangs-in-append", SIGSEGV},
                      HostileLog{"log-hangs-in-end", SIGSEGV}, HostileLog{"log-hangs-in-abrt", SIGABRT},
                      HostileLog{"log-faults-in-begin", SIGSEGV}, HostileLog{"log-faults-in-append", SIGSEGV},
                      HostileLog{"log-faults-in-abrt", SIGABRT}),
    [](const ::testing::TestParamInfo<HostileLog> &anInfo) {
      std::string theName = anInfo.param.mMode;
      std::replace(theName.begin(), theName.end(), '-', '_');
      return theName;
    });

// Then a step of the report cannot be given up, only the report as a whole.
TEST(Crash, WithHangingLogEndsInTimeAlsoWithoutATimer) {
  const Crash theCrash = RunCrash("log-hangs-without-timer", "crash_child_hostile_log");
  if (theCrash.mChild.mStatus == kExitTimerGiven) GTEST_SKIP() << "this system always gives a timer";
  ExpectDeathBy(theCrash, {SIGSEGV});
}

// --- several threads ------------------------------------------------------------------------------

// Whichever thread came first: its report is whole, and the file holds exactly one trace.
void ExpectOneWholeReport(const Crash &aCrash, const std::vector<std::string> &aNames) {
  EXPECT_GE(aCrash.mChild.mSeconds, 2.0);
  EXPECT_TRUE(aCrash.Logged("zvOSThread: Defaulting to default signal handler")) << aCrash.All();
  const std::vector<std::string> theFrames = FramesOfCompleteFile(aCrash);
  std::map<std::string, std::vector<std::string>> theReports;
  for (const LogLine &theLine : aCrash.mLog)
    theReports[theLine.mThread].push_back(theLine.mText);

  // The thread whose trace is announced first.
  std::string theFirst;
  for (const LogLine &theLine : aCrash.mLog) {
    if (theFirst.empty() && theLine.mText.rfind("Backtracing this thread", 0) == 0)
      theFirst = theLine.mThread;
  }
  ASSERT_FALSE(theFirst.empty()) << aCrash.All();
  const std::vector<std::string> &theReport = theReports[theFirst];
  std::string theHeadline;
  size_t theFrame = 0;
  bool fClosed = false;
  for (const std::string &theText : theReport) {
    if (theText.rfind("Backtracing this thread", 0) == 0) theHeadline = theText;
    char theStart[16];
    snprintf(theStart, sizeof theStart, "%02zu: ", theFrame);
    if (theText.rfind(theStart, 0) == 0) ++theFrame;
    if (theText.rfind("The file ", 0) == 0) fClosed = true;
  }
  EXPECT_THAT(theHeadline, EndsWith("depth=" + std::to_string(theFrame) + "):")) << aCrash.All();
  EXPECT_TRUE(fClosed) << aCrash.All();

  // Every thread has told its own stack.
  std::vector<std::string> theCulprits;
  for (const auto &theEntry : theReports) {
    for (const std::string &theName : aNames) {
      for (const std::string &theText : theEntry.second) {
        if (theText.find("(" + theName + "+") != std::string::npos) theCulprits.push_back(theName);
      }
    }
  }
  EXPECT_THAT(theCulprits, UnorderedElementsAreArray(aNames)) << aCrash.All();

  // What is in the file is the trace of one of the threads, unmixed.
  bool fOfOneThread = false;
  for (const auto &theEntry : theReports) {
    size_t theFound = 0;
    for (const std::string &theText : theEntry.second) {
      if (theFound < theFrames.size() && theText == theFrames[theFound]) ++theFound;
    }
    fOfOneThread = fOfOneThread || theFound == theFrames.size();
  }
  EXPECT_TRUE(fOfOneThread) << aCrash.All();
}

TEST(Crash, OfTwoThreadsBySameSignalLeavesOneWholeReport) {
  const Crash theCrash = RunCrash("together-same");
  ExpectDeathBy(theCrash, {SIGSEGV});
  ExpectOneWholeReport(theCrash, {"SegvAtTheBarrier", "OtherSegvAtTheBarrier"});
}

TEST(Crash, OfAnotherThreadDuringTheReportDoesNotCutItShort) {
  const Crash theCrash = RunCrash("during-report");
  ExpectDeathBy(theCrash, {SIGSEGV});
  ExpectOneWholeReport(theCrash, {"SegvAtTheBarrier", "SegvDuringTheReport"});
}

TEST(Crash, OfTwoThreadsByDifferentSignalsLeavesOneWholeReport) {
  const Crash theCrash = RunCrash("together-different");
  ExpectDeathBy(theCrash, {SIGSEGV, SIGFPE});
  ExpectOneWholeReport(theCrash, {"SegvAtTheBarrier", "FpeAtTheBarrier"});
}

// --- short of stack -----------------------------------------------------------------------------

TEST(Crash, OnHalfOfTheDefaultStackIsReported) {
  ExpectCompleteReport(RunCrash("half-stack"), SIGSEGV, {"FaultByWriting", "CrashOnHalfTheStack"});
}

TEST(Crash, ByStackOverflowEndsByTheSignal) {
  ExpectDeathBy(RunCrash("stack-overflow"), {SIGSEGV});
}

// --- with others in the way ---------------------------------------------------------------------

TEST(Crash, WithOutputThatNobodyReadsIsReported) {
  const Crash theCrash = RunCrash("full-output");
  ExpectDeathBy(theCrash, {SIGSEGV});
  FramesOfCompleteFile(theCrash);
  EXPECT_TRUE(theCrash.Logged("zvOSThread: Received fatal signal: 11")) << theCrash.All();
}

TEST(Crash, WithOutputThatNobodyReadsAndThatDoesNotWaitIsReported) {
  const Crash theCrash = RunCrash("full-output-without-waiting");
  ExpectDeathBy(theCrash, {SIGSEGV});
  ExpectCompleteLog(theCrash, SIGSEGV, FramesOfCompleteFile(theCrash));
}

TEST(Crash, WithOutputWhoseReaderIsGoneEndsByTheFirstSignal) {
  ExpectCompleteReport(RunCrash("broken-output"), SIGSEGV, {"FaultByWriting", "CrashBySegv"});
}

TEST(Crash, WithALogThatNobodyReadsLeavesACompleteFile) {
  const Crash theCrash = RunCrash("full-log");
  ExpectDeathBy(theCrash, {SIGSEGV});
  FramesOfCompleteFile(theCrash);
}

TEST(Crash, WithoutOutputIsReported) {
  ExpectCompleteReport(RunCrash("closed-output"), SIGSEGV, {"FaultByWriting", "CrashBySegv"});
}

TEST(Crash, WhileAnotherThreadKeepsTheOutputStreamIsReported) {
  ExpectCompleteReport(RunCrash("output-locked"), SIGSEGV, {"FaultByWriting", "CrashBySegv"});
}

TEST(Crash, WhileAnotherThreadKeepsTheLoadersTablesEndsInTime) {
  const Crash theCrash = RunCrash("loader-tables-locked");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_TRUE(theCrash.Logged("zvOSThread: Received fatal signal: 11")) << theCrash.All();
}

TEST(Crash, WhileAnotherThreadKeepsTheLoaderEndsInTime) {
  const Crash theCrash = RunCrash("loader-locked", "crash_child", BuiltLibrary("crash_hanging_module.so"));
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_TRUE(theCrash.Logged("zvOSThread: Received fatal signal: 11")) << theCrash.All();
}

}  // namespace
