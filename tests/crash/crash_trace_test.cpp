// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The trace of a crash: where it begins, what it shows of a stack that is used up, ruined or left, and what
// becomes of it without its file.

#include "CrashSupport.h"

#include <unistd.h>

using namespace zvtest;
using ::testing::HasSubstr;

namespace {

// --- where it begins ----------------------------------------------------------------------------

TEST(Trace, BeginsWithTheFunctionThatTracesAndTheHandlerThatCallsIt) {
  NEEDS_SIGNALS_OF_THE_SYSTEM();
  const Crash theCrash = RunCrash("segv");
  const std::vector<std::string> theFrames = FramesOfCompleteFile(theCrash);
  ASSERT_GE(theFrames.size(), 4u + kFramesOfSanitizer) << theCrash.All();
  EXPECT_THAT(theFrames[0 + kFramesOfSanitizer], HasSubstr("(zvDebug_BackTraceCurrent+"));
  EXPECT_THAT(theFrames[1 + kFramesOfSanitizer], HasSubstr("(sThread_S_SignalHandler+"));
  EXPECT_THAT(theFrames[3 + kFramesOfSanitizer], HasSubstr("(FaultByWriting+"));
}

// --- little stack -------------------------------------------------------------------------------

TEST(Trace, OnHalfOfTheDefaultStackIsComplete) {
  ExpectCompleteReport(RunCrash("half-stack"), SIGSEGV, {"FaultByWriting", "CrashOnHalfTheStack"});
}

TEST(Trace, OfAStackOverflowIsCompleteAndHoldsSixtyFourFrames) {
  const Crash theCrash = RunCrash("stack-overflow");
  ExpectCompleteReport(theCrash, SIGSEGV, {"sThread_S_SignalHandler", "Recurse", "Recurse"});
  EXPECT_EQ(64u, FramesOfCompleteFile(theCrash).size());
  EXPECT_THAT(theCrash.mChild.mOutput, HasSubstr("(Recurse+"));
}

class NearTheEnd : public ::testing::TestWithParam<int> {};

TEST_P(NearTheEnd, OfTheStackTheReportIsComplete) {
  const Crash theCrash = RunCrash("near-the-end", "crash_child", std::to_string(GetParam()));
  ExpectCompleteReport(theCrash, SIGSEGV, {"CrashNearTheEnd"});
  EXPECT_THAT(theCrash.mChild.mOutput, HasSubstr("(CrashNearTheEnd+"));
}

INSTANTIATE_TEST_SUITE_P(Bytes, NearTheEnd, ::testing::Values(200, 1000, 4000, 8000, 20000));

TEST(Trace, OnASignalStackOfTheThreadsOwnIsComplete) {
  ExpectCompleteReport(RunCrash("own-signal-stack"), SIGSEGV, {"Recurse", "Recurse"});
}

// --- signal stacks ------------------------------------------------------------------------------

TEST(SignalStack, IsGivenToThreadsThatCatchSignals) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizer gives threads signal stacks itself";
#endif
  EXPECT_EQ("a signal stack\nno signal stack\n", RunCrash("signal-stacks").mChild.mError);
}

TEST(SignalStack, IsWhatTheHandlersRunOn) {
  NEEDS_SIGNALS_OF_THE_SYSTEM();
  std::string theExpected;
  for (int i = 0; i < 5; ++i)
    theExpected += "handler on the signal stack\n";
  EXPECT_EQ(theExpected, RunCrash("flags").mChild.mError);
}

class EndOfThread : public ::testing::TestWithParam<const char *> {};

TEST_P(EndOfThread, ReleasesItsSignalStack) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizer keeps mappings of its own for threads that have ended";
#endif
  EXPECT_EQ("gone\n", RunCrash(std::string("stacks-go-by-") + GetParam()).mChild.mError);
}

INSTANTIATE_TEST_SUITE_P(Ways, EndOfThread, ::testing::Values("return", "exit", "cancellation"),
                         [](const auto &anInfo) { return std::string(anInfo.param); });

// --- calls that lead nowhere --------------------------------------------------------------------

class StrayCall : public ::testing::TestWithParam<const char *> {};

TEST_P(StrayCall, IsTracedFromItsCaller) {
  NEEDS_SIGNALS_OF_THE_SYSTEM();
  const Crash theCrash = RunCrash(std::string("call-") + GetParam());
  ExpectCompleteReport(theCrash, SIGSEGV,
                       {"zvDebug_BackTraceCurrent", "sThread_S_SignalHandler", "CallStray"});
  const std::vector<std::string> theFrames = FramesOfCompleteFile(theCrash);
  ASSERT_GE(theFrames.size(), 5u + kFramesOfSanitizer);
  EXPECT_THAT(theFrames[4 + kFramesOfSanitizer], HasSubstr("(CallStray+")) << "behind the stray address\n"
                                                                           << theCrash.All();
  EXPECT_THAT(theCrash.mChild.mOutput, HasSubstr("(CallStray+"));
}

INSTANTIATE_TEST_SUITE_P(Places, StrayCall, ::testing::Values("null", "unmapped", "data", "static"),
                         [](const auto &anInfo) { return std::string(anInfo.param); });

// --- a ruined stack -----------------------------------------------------------------------------

// The unwinder ends or faults at the return address that is none: what it has found by then is shown, and the
// words of the stack go on.
TEST(Trace, OfARuinedStackShowsTheCulpritAndTheCallersInTheStackDump) {
  if (kFramesOfSanitizer > 0) GTEST_SKIP() << "with the sanitizer's frame the trace passes for a sound one";
  if (sizeof(void *) != 4) GTEST_SKIP() << "a word of the dump is half an address here";
  const Crash theCrash = RunCrash("smashed-stack");
  ExpectDeathBy(theCrash, {SIGSEGV});
  const std::vector<std::string> theLines = FramesOfCompleteFile(theCrash);
  ASSERT_GT(theLines.size(), kStackWords) << theCrash.All();
  const auto theWords = theLines.end() - kStackWords;
  ExpectFramesName(theCrash, {theLines.begin(), theWords}, {"FaultByWriting", "SmashTheStack"});
  ExpectFramesName(theCrash, {theWords, theLines.end()}, {"CallsTheCaller"});
  ExpectCompleteLog(theCrash, SIGSEGV, theLines);
}

// --- no file ------------------------------------------------------------------------------------

// Log and standard output hold the same whole trace; gives it.
std::string ExpectCompleteLogAndOutput(const Crash &aCrash) {
  ExpectDeathBy(aCrash, {SIGSEGV});
  std::string theFrames;
  bool fDefaulting = false;
  for (const LogLine &theLine : aCrash.mLog) {
    if (theLine.mText.size() > 4 && theLine.mText.compare(2, 2, ": ") == 0) theFrames += theLine.mText + "\n";
    fDefaulting = fDefaulting || theLine.mText == "zvOSThread: Defaulting to default signal handler";
  }
  EXPECT_TRUE(fDefaulting) << aCrash.All();
  EXPECT_THAT(theFrames, HasSubstr("(CrashBySegv+")) << aCrash.All();
  EXPECT_THAT(aCrash.mChild.mOutput, HasSubstr(theFrames));
  return theFrames;
}

TEST(TraceWithoutAFile, ForWantOfDescriptorsIsCompleteElsewhere) {
  const Crash theCrash = RunCrash("no-descriptors");
  ExpectCompleteLogAndOutput(theCrash);
  EXPECT_FALSE(theCrash.mfTraceExists);
}

TEST(TraceWithoutAFile, ThatTakesWhatIsWrittenIsCompleteElsewhere) {
  const Crash theCrash = RunCrash("full-files", "crash_child", "", LogTo::StandardError);
  EXPECT_EQ("log\n", theCrash.mTrace);
  ExpectCompleteLogAndOutput(theCrash);
}

TEST(TraceWithoutAFile, ThatCouldBeMadeIsCompleteElsewhere) {
  const Crash theCrash = RunCrash("no-file");
  ExpectCompleteLogAndOutput(theCrash);
  rmdir(theCrash.TraceFileName().c_str());
}

}  // namespace
