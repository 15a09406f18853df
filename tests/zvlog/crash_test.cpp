// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Logging from signal handlers: of a crash, whatever the thread was doing, and of signals that come
// again and again. Each program below must end by its own signal, with the handler's record written.

#include "Allocation.h"
#include "Child.h"
#include "Interposed.h"
#include "LogTest.h"
#include "TrapFlag.h"

#include <semaphore.h>
#include <sys/mman.h>
#include <unistd.h>
#include <csignal>
#include <thread>

namespace {

using namespace zvlogtest;
using Texts = std::vector<std::string>;

constexpr int kAllocatedInHandler = 99;

// A handler allocates nothing: it might meet a lock that the interrupted thread holds.
void LogInHandler(zvLogModule aModule, const char *aText, int aNumber) {
  const AllocationWatch theWatch([] { _exit(kAllocatedInHandler); });
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, aModule);
  if (theData == nullptr) return;
  theData->mFile = "handler.c";
  theData->mLine = 5;
  zvLog_Append_F("%s ", aText);
  zvLog_Append_F("%d\n", aNumber);
  zvLog_End(theData);
}

void LogAndDie(int aSignal) {
  LogInHandler(0, "Caught signal", aSignal);
  signal(aSignal, SIG_DFL);
  raise(aSignal);
}

Ending Crash(const std::function<void()> &aBody) {
  return RunInChild([&aBody] {
    signal(SIGSEGV, LogAndDie);
    aBody();
    return 1;  // it did not crash
  });
}

Texts RecordTexts(const Ending &anEnding) {
  return TextsOfRecords(ParseAll(anEnding.mError));
}

const Texts kCaught = {"Caught signal " + std::to_string(SIGSEGV)};

void ExpectDeathWithRecord(const Ending &anEnding) {
  EXPECT_FALSE(anEnding.mfTimedOut) << "it hung";
  EXPECT_EQ(SIGSEGV, anEnding.mSignal);
  EXPECT_EQ(0, anEnding.mStatus);
  EXPECT_EQ(kCaught, RecordTexts(anEnding));
}

void *UnreadablePage() {
  return mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
}

class CrashedThread : public LogTest {};

TEST_F(CrashedThread, LogsWhileARecordIsOpen) {
  ExpectDeathWithRecord(Crash([] {
    zvLog_Begin(kzvLogLevel_Error, 0);
    zvLog_Append_F("unfinished ");
    raise(SIGSEGV);
  }));
}

TEST_F(CrashedThread, LogsInsideFormatting) {
  ExpectDeathWithRecord(Crash([] {
    zvLog_Begin(kzvLogLevel_Error, 0);
    zvLog_Append_F("unfinished %s", static_cast<const char *>(UnreadablePage()));
  }));
}

TEST_F(CrashedThread, LogsInsideFormattingOfANestedRecord) {
  ExpectDeathWithRecord(Crash([] {
    for (int theDepth = 0; theDepth < 4; ++theDepth)
      zvLog_Begin(kzvLogLevel_Error, 0);
    zvLog_Append_F("unfinished %s", static_cast<const char *>(UnreadablePage()));
  }));
}

TEST_F(CrashedThread, LogsInsideAnAssertion) {
  ExpectDeathWithRecord(Crash([] { _zvAssert(static_cast<const char *>(UnreadablePage()), "x.c", 1); }));
}

TEST_F(CrashedThread, LogsInsideTheHeaderOfARecord) {
  ExpectDeathWithRecord(Crash([] {
    zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
    theData->mFile = static_cast<const char *>(UnreadablePage());
    zvLog_End(theData);
  }));
}

TEST_F(CrashedThread, LogsInsideTheWriteOfARecord) {
  ExpectDeathWithRecord(Crash([] {
    bool mfFirst = true;
    const WriteHook theHook([&mfFirst](int aDescriptor, const void *aData, size_t aSize) {
      if (mfFirst) {
        mfFirst = false;
        raise(SIGSEGV);
      }
      return RealWrite(aDescriptor, aData, aSize);
    });
    Log(kzvLogLevel_Error, 0, "unfinished\n");
  }));
}

TEST_F(CrashedThread, LogsInsideTheAllocator) {
  ExpectDeathWithRecord(Crash([] {
    const AllocationWatch theWatch([] { raise(SIGSEGV); });
    free(zvMalloc(100));
  }));
}

TEST_F(CrashedThread, LogsWhileItHoldsTheLockOfTheSinks) {
  const TempFolder theFolder;
  const Ending theEnding = Crash([&theFolder] {
    zvLog_SetSinkFile(theFolder.File("a").c_str());
    const OpenHook theHook([](const char *) { raise(SIGSEGV); });
    zvLog_SetSinkFile(theFolder.File("b").c_str());
  });
  EXPECT_EQ(SIGSEGV, theEnding.mSignal);
  EXPECT_EQ(kCaught, TextsOf(ParseAll(ReadFile(theFolder.File("a")))));
}

TEST_F(CrashedThread, LogsWhileOtherThreadsDo) {
  const TempFolder theFolder;
  const Ending theEnding = Crash([&theFolder] {
    zvLog_SetSinkFile(theFolder.File("log").c_str());
    sem_t theStarted;
    sem_init(&theStarted, 0, 0);
    for (int theIndex = 0; theIndex < 4; ++theIndex) {
      std::thread([&theStarted] {
        Log(kzvLogLevel_Error, 0, "busy\n");
        sem_post(&theStarted);
        for (;;)
          Log(kzvLogLevel_Error, 0, "busy\n");
      }).detach();
    }
    for (int theIndex = 0; theIndex < 4; ++theIndex)
      sem_wait(&theStarted);
    raise(SIGSEGV);
  });
  EXPECT_EQ(SIGSEGV, theEnding.mSignal);
  const std::vector<zvlogtest::Line> theLines = ParseAll(ReadFile(theFolder.File("log")));
  size_t theCaught = 0;
  for (const zvlogtest::Line &theLine : theLines) {
    EXPECT_TRUE(theLine.mfWellFormed);
    if (theLine.mText == kCaught[0]) ++theCaught;
  }
  EXPECT_EQ(1u, theCaught);
}

TEST_F(CrashedThread, LogsOnASmallAlternateStack) {
  ExpectDeathWithRecord(RunInChild([] {
    constexpr size_t kStackSize = 16384;
    static char theStack[kStackSize];
    stack_t theAlternate = {};
    theAlternate.ss_sp = theStack;
    theAlternate.ss_size = kStackSize;
    sigaltstack(&theAlternate, nullptr);
    struct sigaction theAction = {};
    theAction.sa_handler = LogAndDie;
    theAction.sa_flags = SA_ONSTACK;
    sigaction(SIGSEGV, &theAction, nullptr);
    raise(SIGSEGV);
    return 1;
  }));
}

sem_t gHandled;

void LogAndReturn(int aSignal) {
  LogInHandler(7, "Caught signal", aSignal);
  sem_post(&gHandled);
}

// Signals hit the thread anywhere in its work: in records, in the heap, in the C library.
TEST_F(CrashedThread, ThatIsInterruptedAgainAndAgainLosesNothing) {
  constexpr int kSignals = 2000;
  const TempFolder theFolder;
  const Ending theEnding = RunInChild([&theFolder] {
    sem_init(&gHandled, 0, 0);
    struct sigaction theAction = {};
    theAction.sa_handler = LogAndReturn;
    theAction.sa_flags = SA_RESTART;
    sigaction(SIGUSR1, &theAction, nullptr);
    zvLog_SetSinkFile(theFolder.File("log").c_str());

    std::atomic<bool> mfStop{false};
    std::atomic<int> theCount{0};
    std::thread theThread([&mfStop, &theCount] {
      while (!mfStop) {
        const int theNumber = theCount;
        char *theText = zv_mnprintf("text %d of the thread", theNumber);
        zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
        zvLog_Append_F("%s", theText);
        zvLog_Append_F(", number %d\n", theNumber);
        zvLog_End(theData);
        zvFree(theText);
        theCount = theNumber + 1;
      }
    });
    for (int theSignal = 0; theSignal < kSignals; ++theSignal) {
      pthread_kill(theThread.native_handle(), SIGUSR1);
      while (sem_wait(&gHandled) != 0) {
      }
    }
    mfStop = true;
    theThread.join();
    dprintf(STDOUT_FILENO, "%d", theCount.load());
    return 0;
  });
  ASSERT_FALSE(theEnding.mfTimedOut) << "it hung";
  ASSERT_EQ(0, theEnding.mStatus) << theEnding.mError;

  int theHandled = 0;
  int theNext = 0;
  for (const zvlogtest::Line &theLine : ParseAll(ReadFile(theFolder.File("log")))) {
    ASSERT_TRUE(theLine.mfWellFormed);
    if (theLine.mModule == "ZVOS") {
      ++theHandled;
      continue;
    }
    const std::string theNumber = std::to_string(theNext++);
    ASSERT_EQ("text " + theNumber + " of the thread, number " + theNumber, theLine.mText);
  }
  EXPECT_EQ(kSignals, theHandled);
  EXPECT_EQ(theEnding.mOutput, std::to_string(theNext));
}

#if (defined(__i386__) || defined(__x86_64__)) && !defined(ZV_SANITIZED)

int gSteps = 0;

void LogStep(int) {
  ++gSteps;
  LogInHandler(7, "step", gSteps);
}

TEST_F(CrashedThread, MayBeInterruptedAtEveryInstructionOfARecord) {
  const TempFolder theFolder;
  const Ending theEnding = RunInChild([&theFolder] {
    signal(SIGTRAP, LogStep);
    zvLog_SetSinkFile(theFolder.File("log").c_str());
    SetTrapFlag(true);
    zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
    theData->mFile = "player.c";
    theData->mLine = 8;
    zvLog_Append_F("a %s of %d and", "text", 4711);
    zvLog_Append_F(" %s\n", "more");
    zvLog_End(theData);
    _zvAssert("false", "x.c", 9);
    SetTrapFlag(false);
    dprintf(STDOUT_FILENO, "%d", gSteps);
    return 0;
  });
  ASSERT_EQ(0, theEnding.mSignal);
  ASSERT_EQ(0, theEnding.mStatus);

  Texts theOthers;
  int theNext = 1;
  for (const zvlogtest::Line &theLine : ParseAll(ReadFile(theFolder.File("log")))) {
    ASSERT_TRUE(theLine.mfWellFormed);
    if (theLine.mModule == "ZVOS") {
      ASSERT_EQ("step " + std::to_string(theNext++), theLine.mText);
    } else {
      theOthers.push_back(theLine.mPlace + " " + theLine.mText);
    }
  }
  EXPECT_EQ((Texts{"player.c:8 a text of 4711 and more", "x.c:9 Assertion failed: false (x.c:9)"}),
            theOthers);
  EXPECT_EQ(theEnding.mOutput, std::to_string(theNext - 1));
  EXPECT_GT(theNext, 1000);
}

#else

TEST_F(CrashedThread, MayBeInterruptedAtEveryInstructionOfARecord) {
  GTEST_SKIP() << "needs an x86 processor, and no sanitizer";
}

#endif

}  // namespace
