// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The records that threads borrow for what they log inside of a record, and the memory that a thread
// needs to log.

#include "Child.h"
#include "LogTest.h"

#include <pthread.h>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <climits>
#include <condition_variable>
#include <csetjmp>
#include <csignal>
#include <cstring>
#include <mutex>
#include <thread>

namespace {

using namespace zvlogtest;
using Texts = std::vector<std::string>;

#ifndef AT_MINSIGSTKSZ
#define AT_MINSIGSTKSZ 51
#endif

constexpr int kDepth = 5;
constexpr int kPoolSize = 8;

class Nesting : public LogTest {
 protected:
  CaughtStandardError mError;
};

bool WillLog() {
  return zvLog_WillLog(kzvLogLevel_Error, 0) != 0;
}

zvLogData *Begin() {
  return zvLog_Begin(kzvLogLevel_Error, 0);
}

// Threads that have records open until they are told to end them.
class Holders {
 public:
  // Each thread opens one of its own and aBorrowed others.
  void Add(int aBorrowed) {
    mThreads.emplace_back([this, aBorrowed] {
      zvLogData *theOuter = Begin();
      for (int theIndex = 0; theIndex < aBorrowed; ++theIndex)
        EXPECT_NE(nullptr, Begin());
      {
        std::unique_lock<std::mutex> theLock(mMutex);
        ++mReady;
        mChanged.notify_all();
        mChanged.wait(theLock, [this] { return mfEnd; });
      }
      zvLog_End(theOuter);
    });
    std::unique_lock<std::mutex> theLock(mMutex);
    mChanged.wait(theLock, [this] { return mReady == mThreads.size(); });
  }

  ~Holders() {
    {
      const std::lock_guard<std::mutex> theLock(mMutex);
      mfEnd = true;
    }
    mChanged.notify_all();
    for (std::thread &theThread : mThreads)
      theThread.join();
  }

 private:
  std::mutex mMutex;
  std::condition_variable mChanged;
  size_t mReady = 0;
  bool mfEnd = false;
  std::vector<std::thread> mThreads;
};

// The records that this thread can open inside of one.
int CountBorrowed() {
  zvLogData *theOuter = Begin();
  int theCount = 0;
  while (Begin() != nullptr)
    ++theCount;
  zvLog_End(theOuter);
  return theCount;
}

TEST_F(Nesting, WillLogKnowsTheLimitOfAThread) {
  zvLogData *theOuter = Begin();
  for (int theDepth = 1; theDepth < kDepth; ++theDepth) {
    EXPECT_TRUE(WillLog()) << theDepth;
    Begin();
  }
  EXPECT_FALSE(WillLog());
  EXPECT_EQ(nullptr, Begin());
  zvLog_End(theOuter);
  EXPECT_TRUE(WillLog());
  EXPECT_EQ(kDepth - 1, CountBorrowed());
}

TEST_F(Nesting, WillLogKnowsTheLimitOfAllThreads) {
  {
    Holders theHolders;
    for (int theIndex = 0; theIndex < kPoolSize - 1; ++theIndex)
      theHolders.Add(1);
    EXPECT_EQ(1, CountBorrowed());
    theHolders.Add(1);
    EXPECT_TRUE(WillLog()) << "its own record is always there";
    zvLogData *theOuter = Begin();
    ASSERT_NE(nullptr, theOuter);
    EXPECT_FALSE(WillLog());
    EXPECT_EQ(nullptr, Begin());
    mError.Writes();
    zvLog_Append_F("comes out");
    zvLog_End(theOuter);
    EXPECT_EQ(Texts{"comes out"}, TextsOf(mError.Writes()));
  }
  EXPECT_EQ(kDepth - 1, CountBorrowed());
}

TEST_F(Nesting, AssertionsComeOutAlsoWhenAllIsInUse) {
  Holders theHolders;
  for (int theIndex = 0; theIndex < kPoolSize; ++theIndex)
    theHolders.Add(1);
  zvLogData *theOuter = Begin();
  zvLog_Append_F("outer");
  _zvAssert("a", "x.c", 1);
  zvLog_End(theOuter);
  EXPECT_EQ((Texts{"Assertion failed: a (x.c:1)", "outer"}), TextsOf(mError.Writes()));
}

TEST_F(Nesting, RecordsOfThreadsThatEndedAreTakenOver) {
  for (int theIndex = 0; theIndex < 3 * kPoolSize; ++theIndex) {
    std::thread([] {
      for (int theDepth = 0; theDepth < kDepth; ++theDepth)
        EXPECT_NE(nullptr, Begin());
    }).join();
  }
  zvLogData *theOuter = Begin();
  EXPECT_TRUE(WillLog());
  zvLog_End(theOuter);
  EXPECT_EQ(kDepth - 1, CountBorrowed());
}

sigjmp_buf sComeBack;

// A record inside of the interrupted one that nobody ends.
void LogAndJump(int) {
  Begin();
  zvLog_Append_F("abandoned");
  siglongjmp(sComeBack, 1);
}

TEST_F(Nesting, RecordsLeftByAHandlerThatJumpedAreGivenBackWithTheOneAroundThem) {
  const auto theFormer = signal(SIGUSR1, LogAndJump);
  for (int theRound = 0; theRound < 4 * kPoolSize; ++theRound) {
    zvLogData *volatile theOuter = Begin();
    ASSERT_NE(nullptr, theOuter);
    zvLog_Append_F("outer");
    if (sigsetjmp(sComeBack, 1) == 0) raise(SIGUSR1);
    zvLog_End(theOuter);
    ASSERT_EQ(Texts{"outer"}, TextsOf(mError.Writes()));
  }
  signal(SIGUSR1, theFormer);
  EXPECT_EQ(kDepth - 1, CountBorrowed());
}

TEST_F(Nesting, ChildForkedInsideOfRecordsEndsThemWhateverOtherThreadsHeld) {
  zvLogData *theOuter = Begin();
  zvLog_Append_F("outer");
  zvLogData *theInner = Begin();
  zvLog_Append_F("inner");
  zvLogData *theInnermost = Begin();
  zvLog_Append_F("innermost");
  Holders theHolders;
  for (int theIndex = 0; theIndex < kPoolSize - 2; ++theIndex)
    theHolders.Add(1);
  EXPECT_FALSE(WillLog());
  const Ending theEnding = RunInChild([=] {
    zvLogData *theNew = Begin();
    if (theNew == nullptr) return 1;
    zvLog_Append_F("new");
    if (Begin() == nullptr) return 2;
    zvLog_End(theNew);
    zvLog_End(theInnermost);
    zvLog_End(theInner);
    zvLog_End(theOuter);
    return 0;
  });
  zvLog_End(theOuter);
  EXPECT_EQ(0, theEnding.mStatus);
  EXPECT_EQ((Texts{"new", "innermost", "inner", "outer"}), TextsOf(ParseAll(theEnding.mError)));
}

// ---- Memory ----

void LogEverything() {
  zvLogData *theOuter = zvLog_Begin(kzvLogLevel_Error, 0);
  zvLog_Append_F("%s %d %u %p %lu", "outer", -1, 2u, static_cast<void *>(nullptr), 3ul);
  Log(kzvLogLevel_Error, 0, "inner");
  zvLog_Append_F("%01500d", 7);
  _zvAssert("false", "x.c", 1);
  zvLog_End(theOuter);
}

const Texts kEverything = {"inner", "Assertion failed: false (x.c:1)",
                           "outer -1 2 (nil) 3" + std::string(1008 - 18, '0') + " [... 310 bytes ...] " +
                               std::string(199, '0') + "7"};

void *LogEverythingInThread(void *) {
  LogEverything();
  return nullptr;
}

TEST_F(Nesting, ThreadWithTheSmallestStackLogs) {
#if defined(ZV_SANITIZED)
  GTEST_SKIP() << "a sanitizer needs more stack";
#endif
  pthread_attr_t theAttributes;
  pthread_attr_init(&theAttributes);
  pthread_attr_setstacksize(&theAttributes, static_cast<size_t>(PTHREAD_STACK_MIN));
  pthread_t theThread;
  ASSERT_EQ(0, pthread_create(&theThread, &theAttributes, LogEverythingInThread, nullptr));
  pthread_join(theThread, nullptr);
  EXPECT_EQ(kEverything, TextsOf(mError.Writes()));
}

void LogTwoLinesAndExit(int aSignal) {
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
  theData->mFile = "handler.c";
  zvLog_Append_F("Received fatal signal: %d\n", aSignal);
  zvLog_End(theData);
  theData = zvLog_Begin(kzvLogLevel_Error, 0);
  zvLog_Append_F("%02d: %s(%s+0x%lx) [%p]\n", 1, "lib", "function", 18ul, static_cast<void *>(nullptr));
  zvLog_End(theData);
  _exit(0);
}

// The compiler must not see that nothing can be there.
void *UnwritablePlace() {
  void *volatile theNowhere = nullptr;
  return theNowhere;
}

// Uses the stack up until aRest bytes are left, or some less, and crashes.
__attribute__((noinline)) void CrashAt(char *aLimit, size_t aRest) {
  volatile char theUsed[256];
  theUsed[0] = 0;
  const size_t theLeft = static_cast<size_t>(const_cast<char *>(theUsed) - aLimit);
  if (theLeft > aRest + 2048) {
    CrashAt(aLimit, aRest);
    theUsed[1] = theUsed[0];
    return;
  }
  // What alloca gives lies at the end of the stack as it is then, or above it.
  volatile char *theMore = static_cast<volatile char *>(alloca(theLeft - aRest));
  theMore[0] = 0;
  if (const_cast<char *>(theMore) > aLimit + aRest) _exit(2);
  *static_cast<volatile int *>(UnwritablePlace()) = 1;
}

struct Stack {
  char *mLowest;
  size_t mRest;
};

void *CrashWithLittleStack(void *aStack) {
  const Stack *theStack = static_cast<Stack *>(aStack);
  CrashAt(theStack->mLowest, theStack->mRest);
  return nullptr;
}

// The handler runs on the stack of the thread, where the kernel saves the registers first: from about one
// to more than three KiB of them, where vectors have 512 bits. Where that does not fit into the 4 KiB with a
// record, the thread is given more.
size_t RestOfStack() {
  constexpr size_t kRest = 4096;
  constexpr size_t kLargestFrame = 3392;
  const size_t theFrame = getauxval(AT_MINSIGSTKSZ);
  return kRest + (theFrame > kLargestFrame ? theFrame - kLargestFrame : 0);
}

Ending CrashWithLittleStackLoggingTo(const std::string &aSink) {
  return RunInChild([&aSink] {
    zvLog_ApplySettings(aSink.c_str());
    constexpr size_t kSize = 128 * 1024;
    char *theMemory = static_cast<char *>(
        mmap(nullptr, kSize + 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(theMemory, 4096, PROT_NONE);
    signal(SIGSEGV, LogTwoLinesAndExit);
    pthread_attr_t theAttributes;
    pthread_attr_init(&theAttributes);
    pthread_attr_setstack(&theAttributes, theMemory + 4096, kSize);
    Stack theStack = {theMemory + 4096, RestOfStack()};
    pthread_t theThread;
    pthread_create(&theThread, &theAttributes, CrashWithLittleStack, &theStack);
    pthread_join(theThread, nullptr);
    return 1;
  });
}

TEST_F(Nesting, ThreadThatCrashesWith4KiBOfStackLeftLogs) {
#if defined(ZV_SANITIZED)
  GTEST_SKIP() << "a sanitizer needs more stack";
#endif
  const TempFolder theFolder;
  const std::string theFile = theFolder.File("log");
  const Ending theToPipe = CrashWithLittleStackLoggingTo("to=stderr");
  const Ending theToFile = CrashWithLittleStackLoggingTo("to=file:" + theFile);
  for (const Ending &theEnding : {theToPipe, theToFile}) {
    EXPECT_EQ(0, theEnding.mStatus);
    EXPECT_EQ(0, theEnding.mSignal);
  }
  const Texts theExpected = {"Received fatal signal: 11", "01: lib(function+0x12) [(nil)]"};
  EXPECT_EQ(theExpected, TextsOf(ParseAll(theToPipe.mError)));
  EXPECT_EQ(theExpected, TextsOf(ParseAll(ReadFile(theFile))));
}

}  // namespace
