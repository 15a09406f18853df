// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What is left of a process that crashed: the signal it died by, when, the report in the log and the
// trace in its file. Whatever breaks while the report is made, the process dies by the signal that
// came first, within ten seconds.

#include "CrashSupport.h"

#include <algorithm>
#include <cstdio>
#include <map>

using namespace zvtest;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

namespace {

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
                      HostileLog{"log-faults-in-abrt", SIGABRT}, HostileLog{"log-aborts", SIGSEGV},
                      HostileLog{"log-aborts-in-abrt", SIGABRT}),
    [](const ::testing::TestParamInfo<HostileLog> &anInfo) {
      std::string theName = anInfo.param.mMode;
      std::replace(theName.begin(), theName.end(), '-', '_');
      return theName;
    });

// The patience with all of them is less than the sum of that with each.
TEST(Crash, WithAllHangingEndsInTime) {
  NEEDS_OWN_ALLOCATOR();
  const Crash theCrash = RunCrash("all-hangs", "crash_child_hostile_log");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_GE(theCrash.mChild.mSeconds, 6.5) << "less hangs than was meant to";
}

// Then a step of the report cannot be given up, only the report as a whole.
TEST(Crash, WithHangingLogEndsInTimeAlsoWithoutATimer) {
  const Crash theCrash = RunCrash("log-hangs-without-timer", "crash_child_hostile_log");
  if (theCrash.mChild.mStatus == kExitTimerGiven) GTEST_SKIP() << "this system always gives a timer";
  ExpectDeathBy(theCrash, {SIGSEGV});
}

// --- several threads ------------------------------------------------------------------------------

// The trace that is announced first is told to its end, and what is in the file is the trace of one of the
// threads, unmixed. Gives the functions of these names that the traces in the log show.
std::vector<std::string> ExpectWholeTraces(const Crash &aCrash, const std::vector<std::string> &aNames) {
  const std::vector<std::string> theFrames = FramesOfCompleteFile(aCrash);
  std::map<std::string, std::vector<std::string>> theReports;
  std::string theFirst;
  for (const LogLine &theLine : aCrash.mLog) {
    theReports[theLine.mThread].push_back(theLine.mText);
    if (theFirst.empty() && theLine.mText.rfind("Backtracing this thread", 0) == 0)
      theFirst = theLine.mThread;
  }
  if (theFirst.empty()) ADD_FAILURE() << aCrash.All();

  std::string theHeadline;
  size_t theFrame = 0;
  bool fClosed = false;
  for (const std::string &theText : theReports[theFirst]) {
    if (theText.rfind("Backtracing this thread", 0) == 0) theHeadline = theText;
    char theStart[16];
    snprintf(theStart, sizeof(theStart), "%02zu: ", theFrame);
    if (theText.rfind(theStart, 0) == 0) ++theFrame;
    if (theText.rfind("The file ", 0) == 0) fClosed = true;
  }
  EXPECT_THAT(theHeadline, EndsWith("depth=" + std::to_string(theFrame) + "):")) << aCrash.All();
  EXPECT_TRUE(fClosed) << aCrash.All();

  bool fOfOneThread = false;
  std::vector<std::string> theCulprits;
  for (const auto &theEntry : theReports) {
    size_t theFound = 0;
    for (const std::string &theText : theEntry.second) {
      if (theFound < theFrames.size() && theText == theFrames[theFound]) ++theFound;
      for (const std::string &theName : aNames) {
        if (theText.find("(" + theName + "+") != std::string::npos) theCulprits.push_back(theName);
      }
    }
    fOfOneThread = fOfOneThread || theFound == theFrames.size();
  }
  EXPECT_TRUE(fOfOneThread) << aCrash.All();
  return theCulprits;
}

// The second one is told too when it comes early enough, before the signal has its default action.
TEST(Crash, OfTwoThreadsBySameSignalLeavesAWholeReport) {
  const Crash theCrash = RunCrash("together-same");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_THAT(ExpectWholeTraces(theCrash, {"SegvAtTheBarrier", "OtherSegvAtTheBarrier"}), Not(IsEmpty()));
}

TEST(Crash, OfEightThreadsBySameSignalLeavesAWholeReport) {
  const Crash theCrash = RunCrash("together-eight");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_THAT(ExpectWholeTraces(theCrash, {"SegvAtTheBarrier"}), Not(IsEmpty()));
}

TEST(Crash, OfAnotherThreadDuringTheTraceDoesNotCutItShort) {
  const Crash theCrash = RunCrash("during-report");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_THAT(ExpectWholeTraces(theCrash, {"SegvAtTheBarrier", "SegvDuringTheReport"}),
              ElementsAre("SegvAtTheBarrier"));
}

TEST(Crash, OfTwoThreadsByDifferentSignalsIsReportedTwice) {
  const Crash theCrash = RunCrash("together-different");
  ExpectDeathBy(theCrash, {SIGSEGV, SIGFPE});
  EXPECT_GE(theCrash.mChild.mSeconds, 2.0);
  EXPECT_TRUE(theCrash.Logged("zvOSThread: Defaulting to default signal handler")) << theCrash.All();
  EXPECT_THAT(ExpectWholeTraces(theCrash, {"SegvAtTheBarrier", "FpeAtTheBarrier"}),
              UnorderedElementsAre("SegvAtTheBarrier", "FpeAtTheBarrier"));
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
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP()
      << "the sanitizer itself asks for the loader's tables when a step on a signal stack is given up";
#endif
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
