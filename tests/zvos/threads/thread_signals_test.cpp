// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Threads: the handlers of fatal signals that each installs, and what a handler reports.

#include "thread_support.h"

using namespace zvtest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest::threads;

namespace {

// The calls of signal() that threads make, kept from changing the test program's handlers.
class SignalCalls {
 public:
  SignalCalls() : mFault("signal", 0, 0, -1) {
    mFault.Returning(0)
        .Doing([this](const long long *anArguments) {
          const std::lock_guard<std::mutex> theGuard(mMutex);
          mSignals.push_back(static_cast<int>(anArguments[0]));
          if (anArguments[1] != reinterpret_cast<intptr_t>(&sThread_S_SignalHandler)) mfOtherHandler = true;
        })
        .AnyThread();
  }
  std::vector<int> Signals() const {
    const std::lock_guard<std::mutex> theGuard(mMutex);
    return mSignals;
  }
  bool OtherHandler() const {
    const std::lock_guard<std::mutex> theGuard(mMutex);
    return mfOtherHandler;
  }

 private:
  mutable std::mutex mMutex;
  std::vector<int> mSignals;
  bool mfOtherHandler = false;
  Fault mFault;
};

// --- signals ------------------------------------------------------------------------------------

TEST_F(Thread, EveryThreadInstallsTheHandlersInOrder) {
  SignalCalls theCalls;
  RunToTheEnd(Joinable(mWork));
  EXPECT_THAT(theCalls.Signals(), ElementsAre(SIGSEGV, SIGILL, SIGBUS, SIGABRT, SIGFPE));
  RunToTheEnd(Joinable(mWork));
  EXPECT_EQ(10u, theCalls.Signals().size());
  EXPECT_FALSE(theCalls.OtherHandler());
  ExpectNothingLogged();
}

TEST_F(Thread, InstallsTheHandlersBeforeItIsRun) {
  SignalCalls theCalls;
  zvOSThread *const theThread = NewThread(Joinable(mWork));
  EXPECT_TRUE(WaitUntil([&] { return theCalls.Signals().size() == 5; }));
  zvThread_Delete(theThread);
  EXPECT_THAT(theCalls.Signals(), ElementsAre(SIGSEGV, SIGILL, SIGBUS, SIGABRT, SIGFPE));
}

TEST_F(Thread, HandlersCanBeSwitchedOffAndOn) {
  SignalCalls theCalls;
  zvThread_SetAllThreadsCatchSignal(0);
  RunToTheEnd(Joinable(mWork));
  EXPECT_THAT(theCalls.Signals(), IsEmpty());
  zvThread_SetAllThreadsCatchSignal(-7);
  RunToTheEnd(Joinable(mWork));
  EXPECT_EQ(5u, theCalls.Signals().size());
  zvThread_SetAllThreadsCatchSignal(1);
  RunToTheEnd(Joinable(mWork));
  EXPECT_EQ(10u, theCalls.Signals().size());
}

TEST_F(Thread, SwitchingOffLeavesInstalledHandlers) {
  KeepSignalActions::SetAllToDefault();
  RunToTheEnd(Joinable(mWork));
  zvThread_SetAllThreadsCatchSignal(0);
  RunToTheEnd(Joinable(mWork));
  zvThread_SetAllThreadsCatchSignal(1);
  for (const int theSignal : {SIGSEGV, SIGILL, SIGBUS, SIGABRT, SIGFPE}) {
    struct sigaction theAction = {};
    ASSERT_EQ(0, sigaction(theSignal, nullptr, &theAction));
    EXPECT_EQ(&sThread_S_SignalHandler, theAction.sa_handler) << "signal " << theSignal;
  }
}

// What makes threads in a program may give them signal stacks of its own.
char sOwnStack[64 * 1024];
void *(*sStart)(void *);
void *StartWithOwnStack(void *aRecord) {
  const stack_t theStack = {sOwnStack, 0, sizeof(sOwnStack)};
  stack_t theEarlier;
  EXPECT_EQ(0, sigaltstack(&theStack, &theEarlier));
  void *const theResult = sStart(aRecord);
  // A sanitizer releases at the end of a thread the stack that is there.
  EXPECT_EQ(0, sigaltstack(&theEarlier, nullptr));
  return theResult;
}

TEST_F(Thread, KeepsTheSignalStackThatItHasBroughtItself) {
  Fault theCreation("pthread_create", 0);
  theCreation.Returning(0).Doing([](const long long *anArguments) {
    sStart = reinterpret_cast<void *(*)(void *)>(static_cast<intptr_t>(anArguments[2]));
    EXPECT_EQ(0, pthread_create(ArgumentAs<pthread_t>(anArguments[0]),
                                ArgumentAs<const pthread_attr_t>(anArguments[1]), StartWithOwnStack,
                                ArgumentAs<void>(anArguments[3])));
  });
  stack_t theStack = {};
  const zvOSThread_Data theData = {[](void *aStack) { sigaltstack(nullptr, static_cast<stack_t *>(aStack)); },
                                   nullptr,
                                   &theStack,
                                   0,
                                   zvThread_Kind_Joinable,
                                   zvThread_Scheduling_Default};
  RunToTheEnd(theData);
  EXPECT_EQ(1, theCreation.Hits());
  EXPECT_EQ(sOwnStack, theStack.ss_sp);
}

TEST_F(Thread, HandlerIgnoresOtherSignals) {
  const int theSignals = CallsOf("signal");
  const int theSleeps = CallsOf("usleep");
  const int theTraces = CallsOf("backtrace");
  for (int theSignal = -1; theSignal <= 64; ++theSignal) {
    if (theSignal == SIGILL || theSignal == SIGABRT || theSignal == SIGBUS || theSignal == SIGFPE ||
        theSignal == SIGSEGV) {
      continue;
    }
    sThread_S_SignalHandler(theSignal);
  }
  EXPECT_THAT(mLog.Calls(), IsEmpty());
  EXPECT_EQ(theSignals, CallsOf("signal"));
  EXPECT_EQ(theSleeps, CallsOf("usleep"));
  EXPECT_EQ(theTraces, CallsOf("backtrace"));
}

class FatalSignal : public ::testing::TestWithParam<int> {};

// Calls the handler as the kernel would, and writes down what happens, in order.
int CallHandlerAndRecord(int aSignal, const std::string &aPath) {
  std::string theEvents;
  RecordingLog theLog;
  theLog.OnMessage(
      [](const Message &aMessage, void *aContext) {
        *static_cast<std::string *>(aContext) +=
            Format("message %d %d ", aMessage.mLevel, aMessage.mModule) + aMessage.mText;
      },
      &theEvents);
  signal(aSignal, &sThread_S_SignalHandler);

  Fault theReset("signal", 0, 0, -1);
  theReset.PassingThrough().Doing([&](const long long *anArguments) {
    theEvents +=
        Format("signal %d %s\n", static_cast<int>(anArguments[0]), anArguments[1] == 0 ? "default" : "other");
  });
  Fault theSleep("usleep", 0, 0, -1);
  theSleep.Returning(0).Doing([&](const long long *anArguments) {
    theEvents += Format("usleep %u\n", static_cast<uint32>(anArguments[0]));
  });
  sThread_S_SignalHandler(aSignal);

  struct sigaction theAction = {};
  sigaction(aSignal, nullptr, &theAction);
  theEvents += theAction.sa_handler == SIG_DFL ? "now default\n" : "now other\n";
  WriteWholeFile(aPath, theEvents);
  return 0;
}

TEST_P(FatalSignal, IsReportedInOrder) {
  const int theSignal = GetParam();
  const TempFolder theFolder;
  const ChildResult theResult =
      RunInChild([&] { return CallHandlerAndRecord(theSignal, theFolder.File("events")); });
  const std::string theTraceFile = Format("/tmp/backtrace_%d.txt", theResult.mPid);
  const std::string theTrace = ReadWholeFile(theTraceFile);
  zvtest::RemoveCrashFiles(theResult.mPid);
  ASSERT_FALSE(theResult.mfSignaled) << "signal " << theResult.mSignal << theResult.mError;
  ASSERT_EQ(0, theResult.mStatus) << theResult.mError;

  const std::string theEvents = ReadWholeFile(theFolder.File("events"));
  const std::string theStart = Format("message 1 0 zvOSThread: Received fatal signal: %d\n", theSignal) +
                               "message 3 0 Backtracing in " + theTraceFile + " afMemoryIsCorrupted 0\n" +
                               Format("message 1 0 Backtracing this thread (pid=%d, depth=", theResult.mPid);
  // The default action takes force when the trace is written: a fault of another thread must not cut it
  // short.
  const std::string theEnd = "message 3 0 The file " + theTraceFile + " is closed\n" +
                             Format("signal %d default\nusleep 2000000\n", theSignal) +
                             "message 1 7 zvOSThread: Defaulting to default signal handler\n" +
                             Format("signal %d default\n", theSignal) + "now default\n";
  EXPECT_THAT(theEvents, ::testing::StartsWith(theStart));
  EXPECT_THAT(theEvents, ::testing::EndsWith(theEnd));
  EXPECT_THAT(theTrace, ::testing::StartsWith("log\n00: "));
  EXPECT_THAT(theTrace, ::testing::EndsWith("\n\nlog end\n"));
}

INSTANTIATE_TEST_SUITE_P(All, FatalSignal, ::testing::Values(SIGILL, SIGABRT, SIGBUS, SIGFPE, SIGSEGV));

}  // namespace
