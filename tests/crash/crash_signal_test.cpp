// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Signals around the report of a crash. The guard of the report is up only while something is written:
// before, between and after that, every signal takes the course that it takes without a crash.

#include "CrashSupport.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <sstream>

using namespace zvtest;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

namespace {

const char kDefaulting[] = "zvOSThread: Defaulting to default signal handler";
const char kReceivedSegv[] = "zvOSThread: Received fatal signal: 11";
const char kReceivedFpe[] = "zvOSThread: Received fatal signal: 8";

std::vector<std::string> Lines(const std::string &aText) {
  std::vector<std::string> theLines;
  std::istringstream theStream(aText);
  for (std::string theLine; std::getline(theStream, theLine);)
    theLines.push_back(theLine);
  return theLines;
}

long CountOf(const std::string &aLine, const std::vector<std::string> &aLines) {
  return std::count(aLines.begin(), aLines.end(), aLine);
}

std::vector<std::string> LogOf(const Crash &aCrash) {
  std::vector<std::string> theTexts;
  for (const LogLine &theLine : aCrash.mLog)
    theTexts.push_back(theLine.mText);
  return theTexts;
}

// --- signals that are sent ----------------------------------------------------------------------

class SentTwice : public ::testing::TestWithParam<const char *> {};

TEST_P(SentTwice, IsReportedAndSurvivedOnceAndEndsTheProcessThen) {
  const Crash theCrash = RunCrash(GetParam());
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_EQ("went on\n", theCrash.mChild.mError);
  ExpectCompleteLog(theCrash, SIGSEGV, FramesOfCompleteFile(theCrash));
  EXPECT_EQ(1, CountOf(kReceivedSegv, LogOf(theCrash))) << theCrash.All();
  EXPECT_GE(theCrash.mChild.mSeconds, 2.0);
  EXPECT_LT(theCrash.mChild.mSeconds, 3.5) << "the second one is not reported";
}

INSTANTIATE_TEST_SUITE_P(Ways, SentTwice,
                         ::testing::Values("raise-twice", "raise-twice-in-main", "kill-twice"),
                         [](const auto &anInfo) {
                           std::string theName = anInfo.param;
                           std::replace(theName.begin(), theName.end(), '-', '_');
                           return theName;
                         });

// --- during the two seconds ---------------------------------------------------------------------

TEST(Drain, LeavesTheDefaultActionToTheSignalAndTheHandlerToTheOthers) {
  const Crash theCrash = RunCrash("actions");
  EXPECT_EQ(kExitSurvived, theCrash.mChild.mStatus) << theCrash.All();
  EXPECT_THAT(Lines(theCrash.mChild.mError),
              ElementsAre("default", "handler", "handler", "handler", "handler", "went on"));
}

TEST(Drain, GoesOnWithoutTheTimerOfTheReport) {
  if (access("/proc/self/timers", R_OK) != 0) GTEST_SKIP() << "this system does not show timers";
  EXPECT_EQ("no timer\nwent on\n", RunCrash("timers-in-the-drain").mChild.mError);
}

TEST(Drain, EndsWithASecondFaultBySameSignalAndKeepsTheFirstTrace) {
  const Crash theCrash = RunCrash("same-signal-in-the-drain");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_GE(theCrash.mChild.mSeconds, 1.0);
  EXPECT_LT(theCrash.mChild.mSeconds, 1.9);
  const std::vector<std::string> theFrames = FramesOfCompleteFile(theCrash);
  ExpectFramesName(theCrash, theFrames, {"FaultByWriting", "CrashBySegv"});
  EXPECT_THAT(theCrash.mTrace, Not(HasSubstr("OtherSegv")));
  EXPECT_FALSE(theCrash.Logged(kDefaulting)) << theCrash.All();
  EXPECT_EQ(1, CountOf(kReceivedSegv, LogOf(theCrash)));
}

TEST(Drain, ReportsAFaultOfAnotherThreadByAnotherSignal) {
  const Crash theCrash = RunCrash("other-signal-in-the-drain");
  ExpectDeathBy(theCrash, {SIGSEGV});
  const std::vector<std::string> theFrames = FramesOfCompleteFile(theCrash);
  ExpectFramesName(theCrash, theFrames, {"CrashByFpe", "OtherFpe"});
  EXPECT_TRUE(theCrash.Logged(kReceivedSegv)) << theCrash.All();
  EXPECT_TRUE(theCrash.Logged(kReceivedFpe)) << theCrash.All();
  EXPECT_TRUE(theCrash.Logged(kDefaulting)) << theCrash.All();
}

TEST(Drain, LeavesTheSameSignalFromOutsidePendingUntilTheHandlerReturns) {
  if (IsEmulated()) GTEST_SKIP() << "the emulator dies of a blocked signal from outside";
  const Crash theCrash = RunCrash("killed-in-the-drain");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_GE(theCrash.mChild.mSeconds, 2.0);
  ExpectCompleteLog(theCrash, SIGSEGV, FramesOfCompleteFile(theCrash));
  EXPECT_EQ("", theCrash.mChild.mError) << "the signal was lost";
}

TEST(Drain, IsEndedAtOnceByARequestToTerminate) {
  NEEDS_SIGNALS_OF_THE_SYSTEM();
  const Crash theCrash = RunCrash("terminated-in-the-drain");
  ExpectDeathBy(theCrash, {SIGTERM});
  EXPECT_LT(theCrash.mChild.mSeconds, 1.9);
  EXPECT_FALSE(theCrash.Logged(kDefaulting));
}

TEST(Drain, IsEndedAtOnceByAnInterruptFromTheTerminal) {
  NEEDS_SIGNALS_OF_THE_SYSTEM();
  const Crash theCrash = RunCrash("interrupted-in-the-drain");
  ExpectDeathBy(theCrash, {SIGINT});
  EXPECT_LT(theCrash.mChild.mSeconds, 1.9);
}

TEST(Drain, LetsHandlersOfTheApplicationRunAtOnce) {
  NEEDS_SIGNALS_OF_THE_SYSTEM();
  const Crash theCrash = RunCrash("handler-in-the-drain");
  EXPECT_EQ(kExitDone, theCrash.mChild.mStatus) << theCrash.All();
  EXPECT_EQ("own handler\n", theCrash.mChild.mError);
  EXPECT_LT(theCrash.mChild.mSeconds, 1.9);
}

TEST(Drain, LetsTheApplicationsHandlerOfAnotherFatalSignalRun) {
  const Crash theCrash = RunCrash("own-fatal-handler-in-the-drain");
  EXPECT_EQ(kExitDone, theCrash.mChild.mStatus) << theCrash.All();
  EXPECT_EQ("own handler\n", theCrash.mChild.mError);
  EXPECT_LT(theCrash.mChild.mSeconds, 1.9);
  EXPECT_FALSE(theCrash.Logged(kReceivedFpe));
}

TEST(Drain, StaysWithTheDefaultActionWhenThreadsBeginMeanwhile) {
  const Crash theCrash = RunCrash("threads-begin-in-the-drain");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_EQ(1, CountOf(kReceivedSegv, LogOf(theCrash))) << theCrash.All();
}

TEST(Drain, LastsTwoSecondsAlsoWhenAHandlerOfTheApplicationReturns) {
  NEEDS_SIGNALS_OF_THE_SYSTEM();
  EXPECT_EQ("went on\nafter two seconds\n", RunCrash("handler-that-returns-in-the-drain").mChild.mError);
}

TEST(Drain, OfAProcessThatIsStoppedMeanwhileEndsLikeAnyOther) {
  const Crash theCrash = RunCrash("stopped-in-the-drain");
  EXPECT_EQ("went on\n", theCrash.mChild.mError) << theCrash.All();
  EXPECT_TRUE(theCrash.Logged(kDefaulting)) << theCrash.All();
  EXPECT_GE(theCrash.mChild.mSeconds, 10.0);
}

TEST(Drain, OfAThreadThatIsCancelledEndsByTheSignalAllTheSame) {
  ExpectCompleteReport(RunCrash("cancelled-in-the-drain"), SIGSEGV, {"FaultByWriting", "CrashBySegv"});
}

TEST(Drain, LeavesTheAlarmOfTheApplicationAlsoWithoutATimer) {
  const Crash theCrash = RunCrash("alarm-without-timer");
  EXPECT_EQ("went on\nown timer\nown alarm\n", theCrash.mChild.mError) << theCrash.All();
}

// --- handlers that pass a signal on -------------------------------------------------------------

class PassedOn : public ::testing::TestWithParam<const char *> {};

TEST_P(PassedOn, ByAHandlerOfTheApplicationIsReportedOnce) {
  const Crash theCrash = RunCrash(GetParam());
  ExpectDeathBy(theCrash, {SIGSEGV});
  const std::vector<std::string> theFrames = FramesOfCompleteFile(theCrash);
  ExpectFramesName(theCrash, theFrames, {"FaultByWriting", "CrashBySegv"});
  EXPECT_EQ(1, CountOf(kReceivedSegv, LogOf(theCrash))) << theCrash.All();
  EXPECT_TRUE(theCrash.Logged(kDefaulting)) << theCrash.All();
}

INSTANTIATE_TEST_SUITE_P(Ways, PassedOn, ::testing::Values("passed-on", "passed-on-by-hand"),
                         [](const auto &anInfo) {
                           return std::string(strchr(anInfo.param, 'b') ? "by_hand" : "by_a_jump");
                         });

// --- the end of the process ---------------------------------------------------------------------

TEST(EndOfProcess, ByAnExitOfTheReportingThreadIsByTheSignal) {
  NEEDS_SIGNALS_OF_THE_SYSTEM();
  const Crash theCrash = RunCrash("handler-that-exits-in-the-drain");
  ExpectDeathBy(theCrash, {SIGSEGV});
}

// A report whose handler was left is not waited for long.
TEST(EndOfProcess, WaitsOnlySoLongForAReportThatDoesNotEnd) {
  NEEDS_SIGNALS_OF_THE_SYSTEM();
  const Crash theCrash = RunCrash("handler-that-leaves-the-drain");
  EXPECT_LT(theCrash.mChild.mSeconds, 6.0) << theCrash.All();
}

TEST(EndOfProcess, WaitsForTheReportWhenMainReturns) {
  const Crash theCrash = RunCrash("return-from-main");
  ExpectCompleteReport(theCrash, SIGSEGV, {"FaultByWriting", "CrashBySegv"});
  EXPECT_GE(theCrash.mChild.mSeconds, 2.0);
}

TEST(EndOfProcess, WaitsForTheReportAlsoWhenHandlersOfTheApplicationRunMeanwhile) {
  NEEDS_SIGNALS_OF_THE_SYSTEM();
  const Crash theCrash = RunCrash("return-from-main-among-signals");
  ExpectCompleteReport(theCrash, SIGSEGV, {"FaultByWriting", "CrashBySegv"});
}

TEST(EndOfProcess, WaitsForTheReportWhenAnotherThreadCallsExit) {
  ExpectCompleteReport(RunCrash("exit-in-another-thread"), SIGSEGV, {"FaultByWriting", "CrashBySegv"});
}

TEST(EndOfProcess, OfAForkedChildDoesNotWait) {
  const Crash theCrash = RunCrash("exit-in-a-forked-child");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_EQ("the child ended at once\n", theCrash.mChild.mError);
}

// The address is the one that the program writes to.
TEST(Death, IsTheSystemsOwnWithTheFaultingAddress) {
  if (IsEmulated()) GTEST_SKIP() << "the debugger's interface shows the emulator";
  const Crash theCrash = RunCrash("traced");
  EXPECT_EQ(kExitDone, theCrash.mChild.mStatus) << theCrash.All();
  EXPECT_THAT(Lines(theCrash.mChild.mError), ElementsAre("code 1 address 16", "code 1 address 16", "died"));
  EXPECT_GE(theCrash.mChild.mSeconds, 2.0);
}

// --- while the report is written ----------------------------------------------------------------
// The log of these programs prints its records on standard error.

std::string FileOfWholeTrace(const Crash &aCrash) {
  std::string theText;
  for (const std::string &theFrame : FramesOfCompleteFile(aCrash))
    theText += theFrame + "\n";
  return theText;
}

TEST(Writing, SameSignalOfAnotherThreadWithTheAnnouncementIsReportedInItsTurn) {
  const Crash theCrash = RunCrash("same-signal-with-the-announcement", "crash_child_hostile_log");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_EQ(2, CountOf(kReceivedSegv, Lines(theCrash.mChild.mError))) << theCrash.All();
  EXPECT_THAT(theCrash.mChild.mError, HasSubstr("(CrashBySegv+"));
  EXPECT_THAT(theCrash.mChild.mError, HasSubstr("(OtherSegv+"));
  EXPECT_EQ(1, CountOf(kDefaulting, Lines(theCrash.mChild.mError)));
  EXPECT_THAT(FileOfWholeTrace(theCrash), HasSubstr("(OtherSegv+")) << "the second trace replaces the first";
}

TEST(Writing, SameSignalOfAnotherThreadWithTheTraceEndsTheProcessBehindTheWholeTrace) {
  const Crash theCrash = RunCrash("same-signal-with-the-trace", "crash_child_hostile_log");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_LT(theCrash.mChild.mSeconds, 1.9);
  const std::string theTrace = FileOfWholeTrace(theCrash);
  EXPECT_THAT(theTrace, HasSubstr("(CrashBySegv+"));
  EXPECT_THAT(theTrace, Not(HasSubstr("(OtherSegv+")));
  EXPECT_THAT(theCrash.mChild.mError, HasSubstr(theTrace));
  EXPECT_THAT(theCrash.mChild.mError, EndsWith("is closed\n"));
}

TEST(Writing, OtherSignalOfAnotherThreadIsReportedBehindTheWholeTrace) {
  const Crash theCrash = RunCrash("other-signal-with-the-trace", "crash_child_hostile_log");
  ExpectDeathBy(theCrash, {SIGSEGV});
  const std::string &theLog = theCrash.mChild.mError;
  const size_t theFirstEnd = theLog.find("is closed\n");
  ASSERT_NE(std::string::npos, theFirstEnd) << theCrash.All();
  EXPECT_THAT(theLog.substr(0, theFirstEnd), Not(HasSubstr(kReceivedFpe)));
  EXPECT_THAT(theLog.substr(theFirstEnd), StartsWith(std::string("is closed\n") + kReceivedFpe));
  EXPECT_THAT(FileOfWholeTrace(theCrash), HasSubstr("(OtherFpe+"));
}

TEST(Writing, SentSignalOfAnotherThreadIsReportedInItsTurn) {
  const Crash theCrash = RunCrash("sent-signal-with-the-trace", "crash_child_hostile_log");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_EQ(1, CountOf(kReceivedFpe, Lines(theCrash.mChild.mError))) << theCrash.All();
}

TEST(Writing, ApplicationsHandlerOfAnotherFatalSignalRunsBehindTheTrace) {
  const Crash theCrash = RunCrash("own-handler-with-the-trace", "crash_child_hostile_log");
  ExpectDeathBy(theCrash, {SIGSEGV});
  const std::vector<std::string> theLines = Lines(theCrash.mChild.mError);
  EXPECT_EQ(1, CountOf("own handler", theLines)) << theCrash.All();
  EXPECT_EQ(1, CountOf("the other thread went on", theLines)) << theCrash.All();
  EXPECT_EQ(0, CountOf(kReceivedFpe, theLines));
  EXPECT_LT(theCrash.mChild.mError.find("is closed\n"), theCrash.mChild.mError.find("own handler\n"));
}

TEST(Writing, OtherSignalSentToTheReporterIsReportedWhenTheTraceIsWritten) {
  NEEDS_SIGNALS_OF_THE_SYSTEM();
  const Crash theCrash = RunCrash("other-signal-sent-to-the-reporter", "crash_child_hostile_log");
  ExpectDeathBy(theCrash, {SIGSEGV});
  const std::string &theLog = theCrash.mChild.mError;
  const size_t theFirstEnd = theLog.find("is closed\n");
  ASSERT_NE(std::string::npos, theFirstEnd) << theCrash.All();
  EXPECT_THAT(theLog.substr(theFirstEnd), StartsWith(std::string("is closed\n") + kReceivedFpe));
  EXPECT_THAT(theLog.substr(0, theFirstEnd), HasSubstr("(CrashBySegv+"));
  EXPECT_EQ(2, CountOf(kDefaulting, Lines(theLog))) << theCrash.All();
}

TEST(Writing, SameSignalSentToTheReporterWaitsForTheEndOfItsHandler) {
  const Crash theCrash = RunCrash("same-signal-sent-to-the-reporter", "crash_child_hostile_log");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_GE(theCrash.mChild.mSeconds, 2.0);
  EXPECT_THAT(FileOfWholeTrace(theCrash), HasSubstr("(CrashBySegv+"));
  EXPECT_EQ(1, CountOf(kReceivedSegv, Lines(theCrash.mChild.mError))) << theCrash.All();
  EXPECT_THAT(theCrash.mChild.mError, EndsWith(std::string(kDefaulting) + "\n"));
}

TEST(Writing, ThreadThatIsCancelledMeanwhileTellsTheWholeTraceAndEndsByTheSignal) {
  const Crash theCrash = RunCrash("cancelled-with-the-trace", "crash_child_hostile_log");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_THAT(FileOfWholeTrace(theCrash), HasSubstr("(CrashBySegv+"));
  EXPECT_EQ(1, CountOf(kDefaulting, Lines(theCrash.mChild.mError))) << theCrash.All();
}

TEST(Writing, HandlerThatTheApplicationSetsMeanwhileStays) {
  const Crash theCrash = RunCrash("own-handler-set-with-the-trace", "crash_child_hostile_log");
  EXPECT_EQ(kExitSurvived, theCrash.mChild.mStatus) << theCrash.All();
  EXPECT_EQ(1, CountOf("own handler", Lines(theCrash.mChild.mError))) << theCrash.All();
}

TEST(Writing, SignalSentToTheReporterComesAgainAsItCame) {
  NEEDS_SIGNALS_OF_THE_SYSTEM();
  const Crash theCrash = RunCrash("value-sent-to-the-reporter", "crash_child_hostile_log");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_EQ(1, CountOf("as it came", Lines(theCrash.mChild.mError))) << theCrash.All();
}

TEST(Writing, ChildThatIsForkedMeanwhileReportsItsOwnCrash) {
  const Crash theCrash = RunCrash("forked-with-the-trace", "crash_child_hostile_log");
  EXPECT_THAT(Lines(theCrash.mChild.mError), Contains("the child has reported and died"));
}

TEST(Writing, TakesWhatALogTakesOfTheStack) {
  const Crash theCrash = RunCrash("hungry-log", "crash_child_hostile_log");
  ExpectDeathBy(theCrash, {SIGSEGV});
  EXPECT_THAT(theCrash.mChild.mError, HasSubstr(FileOfWholeTrace(theCrash)));
  EXPECT_EQ(1, CountOf(kDefaulting, Lines(theCrash.mChild.mError)));
}

// The second one waits for the first longer than for one that is stuck.
TEST(Writing, WaitsForASlowLogOfTwoThreads) {
  const Crash theCrash = RunCrash("slow-log-for-two", "crash_child_hostile_log");
  ASSERT_TRUE(theCrash.mChild.mfSignaled) << theCrash.All();
  const std::vector<std::string> theLines = Lines(theCrash.mChild.mError);
  EXPECT_EQ(1, CountOf(kReceivedSegv, theLines)) << theCrash.All();
  EXPECT_EQ(1, CountOf(kReceivedFpe, theLines)) << theCrash.All();
  EXPECT_THAT(theCrash.mChild.mError, HasSubstr("(CrashBySegv+"));
  EXPECT_THAT(theCrash.mChild.mError, HasSubstr("(CrashByFpe+"));
  EXPECT_GE(CountOf(kDefaulting, theLines), 1);
}

// A log that takes more than a second for each record, but takes them all.
TEST(Writing, WaitsForASlowLog) {
  const Crash theCrash = RunCrash("slow-log", "crash_child_hostile_log");
  EXPECT_FALSE(theCrash.mChild.mfTimedOut);
  ASSERT_TRUE(theCrash.mChild.mfSignaled) << theCrash.All();
  EXPECT_EQ(SIGSEGV, theCrash.mChild.mSignal);
  const std::vector<std::string> theFrames = FramesOfCompleteFile(theCrash);
  std::vector<std::string> theExpected = {
      kReceivedSegv, "Backtracing in " + theCrash.TraceFileName() + " afMemoryIsCorrupted 0",
      "Backtracing this thread (pid=" + std::to_string(theCrash.mChild.mPid) +
          ", depth=" + std::to_string(theFrames.size()) + "):"};
  theExpected.insert(theExpected.end(), theFrames.begin(), theFrames.end());
  theExpected.push_back("The file " + theCrash.TraceFileName() + " is closed");
  theExpected.push_back(kDefaulting);
  EXPECT_EQ(theExpected, Lines(theCrash.mChild.mError));
}

}  // namespace
