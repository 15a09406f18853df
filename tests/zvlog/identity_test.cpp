// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Process, thread and thread name in records: kept by each thread, and right in every child process.

#include "Child.h"
#include "LogTest.h"

#include <dlfcn.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <thread>

namespace {

using namespace zvlogtest;

long ThreadId() {
  return syscall(SYS_gettid);
}

class Identity : public LogTest {
 protected:
  CaughtStandardError mError;

  // Of a record that the calling thread makes.
  Line LineOfThisThread() {
    Log(kzvLogLevel_Error, 0, "x\n");
    const std::vector<std::string> theWrites = mError.Writes();
    return theWrites.size() == 1 ? Parse(theWrites[0]) : Line();
  }

  void ExpectOwnIds() {
    const Line theLine = LineOfThisThread();
    EXPECT_TRUE(theLine.mfWellFormed);
    EXPECT_EQ(getpid(), theLine.mProcess);
    EXPECT_EQ(ThreadId(), theLine.mThread);
  }

  // A child process that logs with its own ids, as its first and as its second thread.
  void ExpectOwnIdsInChild(const std::function<pid_t()> &aFork) {
    const pid_t theChild = aFork();
    ASSERT_GE(theChild, 0);
    if (theChild == 0) {
      for (int theRound = 0; theRound < 2; ++theRound) {
        const Line theLine = LineOfThisThread();
        if (theLine.mProcess != getpid() || theLine.mThread != ThreadId()) _exit(1);
      }
      _exit(getpid() == ThreadId() ? 0 : 2);
    }
    int theStatus = -1;
    ASSERT_EQ(theChild, waitpid(theChild, &theStatus, 0));
    EXPECT_EQ(0, theStatus);
    ExpectOwnIds();
  }

  std::string NameInRecord() { return LineOfThisThread().mThreadName; }
};

std::string NameInKernel() {
  char theName[16] = "";
  prctl(PR_GET_NAME, theName);
  return theName;
}

void InThread(const std::function<void()> &aBody) {
  std::thread(aBody).join();
}

TEST_F(Identity, IsThatOfTheThreadThatLogs) {
  ExpectOwnIds();
  for (int theIndex = 0; theIndex < 3; ++theIndex)
    InThread([this] { ExpectOwnIds(); });
  ExpectOwnIds();
}

TEST_F(Identity, IsRightInAForkedChild) {
  ExpectOwnIds();
  ExpectOwnIdsInChild([] { return fork(); });
}

TEST_F(Identity, IsRightInAChildForkedByAThread) {
  InThread([this] {
    ExpectOwnIds();
    ExpectOwnIdsInChild([] { return fork(); });
  });
}

// Without the C library, which therefore calls no handlers of forks.
TEST_F(Identity, IsRightInAChildMadeByTheSystemCall) {
  if (*ZV_EMULATOR != '\0') GTEST_SKIP() << "the emulator does not empty the memory that it is told to empty";
  ExpectOwnIds();
  ExpectOwnIdsInChild([] { return static_cast<pid_t>(syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0)); });
}

TEST_F(Identity, IsRightInTheChildOfAChild) {
  ExpectOwnIds();
  const Ending theEnding = RunInChild([] {
    Log(kzvLogLevel_Error, 0, std::to_string(getpid()));
    const pid_t theChild = fork();
    Log(kzvLogLevel_Error, 0, std::to_string(getpid()));
    if (theChild > 0) waitpid(theChild, nullptr, 0);
    return 0;
  });
  const std::vector<Line> theLines = ParseAll(theEnding.mError);
  ASSERT_EQ(3u, theLines.size());
  for (const Line &theLine : theLines) {
    EXPECT_EQ(theLine.mText, std::to_string(theLine.mProcess));
    EXPECT_EQ(theLine.mText, std::to_string(theLine.mThread));
  }
}

TEST_F(Identity, OfThreadsOfAChildIsRightToo) {
  ExpectOwnIds();
  ExpectOwnIdsInChild([this] {
    const pid_t theChild = fork();
    if (theChild == 0)
      InThread([this] {
        const Line theLine = LineOfThisThread();
        if (theLine.mProcess != getpid() || theLine.mThread != ThreadId()) _exit(3);
      });
    return theChild;
  });
}

// A child that has only the thread that forked, and whatever the others held at that moment.
TEST_F(Identity, IsRightInAChildForkedWhileOtherThreadsLogAndChangeSettings) {
#ifdef __SANITIZE_THREAD__
  constexpr int kChildren = 60;
#else
  constexpr int kChildren = 300;
#endif
  const TempFolder theFolder;
  ASSERT_EQ(1, zvLog_SetSinkFile(theFolder.File("log").c_str()));
  const Ending theEnding = RunInChild([] {
    std::atomic<bool> mfStop{false};
    std::vector<std::thread> theThreads;
    for (int theIndex = 0; theIndex < 2; ++theIndex) {
      theThreads.emplace_back([&mfStop] {
        while (!mfStop) {
          zvLogData *theOuter = zvLog_Begin(kzvLogLevel_Error, 7);
          zvLog_Append_F("outer");
          for (int theInner = 0; theInner < 3; ++theInner)
            zvLog_Begin(kzvLogLevel_Error, 7);
          zvLog_End(theOuter);
        }
      });
    }
    theThreads.emplace_back([&mfStop] {
      while (!mfStop) {
        zvLog_SetModuleLevel(300, kzvLogLevel_Debug);
        zvLog_SetModuleName(300, "PLAYER");
        zvLog_SetModuleName(300, nullptr);
      }
    });
    int theResult = 0;
    for (int theRound = 0; theRound < kChildren && theResult == 0; ++theRound) {
      const pid_t theChild = fork();
      if (theChild == 0) {
        alarm(20);
        zvLogData *theOuter = zvLog_Begin(kzvLogLevel_Error, 0);
        for (int theInner = 0; theInner < 4; ++theInner) {
          if (zvLog_WillLog(kzvLogLevel_Error, 0) == 0 || zvLog_Begin(kzvLogLevel_Error, 0) == nullptr)
            _exit(1);
        }
        zvLog_End(theOuter);
        zvLog_SetModuleLevel(301, kzvLogLevel_Info);
        if (zvLog_GetModuleLevel(301) != kzvLogLevel_Info) _exit(2);
        zvLog_SetModuleLevel(300, kzvLogLevel_Error);
        if (zvLog_GetModuleLevel(300) != kzvLogLevel_Error) _exit(3);
        zvLog_ResetModuleLevel(301);
        if (_zvLog_Level != 3) _exit(4);
        if (zvLog_SetModuleName(301, "CHILD") == 0) _exit(5);
        zvLog_SetSinkStandardError();
        Log(kzvLogLevel_Error, 301, std::to_string(getpid()));
        _exit(0);
      }
      int theStatus = 0;
      waitpid(theChild, &theStatus, 0);
      if (theStatus != 0)
        theResult = WIFEXITED(theStatus) ? WEXITSTATUS(theStatus) : 100 + WTERMSIG(theStatus);
    }
    mfStop = true;
    for (std::thread &theThread : theThreads)
      theThread.join();
    return theResult;
  });
  EXPECT_FALSE(theEnding.mfTimedOut);
  EXPECT_EQ(0, theEnding.mStatus);
  const std::vector<Line> theLines = ParseAll(theEnding.mError);
  EXPECT_EQ(static_cast<size_t>(kChildren), theLines.size());
  for (const Line &theLine : theLines) {
    EXPECT_EQ("CHILD", theLine.mModule);
    EXPECT_EQ(theLine.mText, std::to_string(theLine.mProcess));
    EXPECT_EQ(theLine.mText, std::to_string(theLine.mThread));
  }
}

// A filter of system calls kills the process for asking again.
TEST_F(Identity, IsKept) {
#if defined(ZV_SANITIZED)
  GTEST_SKIP() << "a sanitizer asks for ids itself";
#endif
  const Ending theEnding = RunInChild([] {
    Log(kzvLogLevel_Error, 0, "first");
    const auto NumberOf = [](long aCall) { return static_cast<__u32>(aCall); };
    sock_filter theFilter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, NumberOf(SYS_gettid), 3, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, NumberOf(SYS_getpid), 2, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, NumberOf(SYS_prctl), 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL),
    };
    const sock_fprog theProgram = {sizeof(theFilter) / sizeof(theFilter[0]), theFilter};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &theProgram) != 0) return 77;
    for (int theRound = 0; theRound < 3; ++theRound)
      Log(kzvLogLevel_Error, 0, "again");
    return 0;
  });
  if (theEnding.mStatus == 77) GTEST_SKIP() << "system calls cannot be filtered";
  EXPECT_EQ(0, theEnding.mSignal);
  EXPECT_EQ((std::vector<std::string>{"first", "again", "again", "again"}),
            TextsOf(ParseAll(theEnding.mError)));
}

// A second copy of the library, which comes and goes.
TEST_F(Identity, IsRightInALibraryThatIsLoadedAgainAndAgain) {
  Dl_info theInfo;
  ASSERT_NE(0, dladdr(reinterpret_cast<void *>(zvLog_SetAssertAborts), &theInfo));
  const TempFolder theFolder;
  std::filesystem::copy_file(theInfo.dli_fname, theFolder.File("copy.so"));
  for (int theRound = 0; theRound < 20; ++theRound) {
    void *theLibrary = dlopen(theFolder.File("copy.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, theLibrary) << dlerror();
    const auto theAssert =
        reinterpret_cast<void (*)(const char *, const char *, uint32)>(dlsym(theLibrary, "_zvAssert"));
    ASSERT_NE(nullptr, theAssert);
    const auto CheckLine = [this, theAssert] {
      theAssert("a", "x.c", 1);
      const std::vector<std::string> theWrites = mError.Writes();
      ASSERT_EQ(1u, theWrites.size());
      EXPECT_EQ(getpid(), Parse(theWrites[0]).mProcess);
      EXPECT_EQ(ThreadId(), Parse(theWrites[0]).mThread);
    };
    CheckLine();
    InThread(CheckLine);
    ExpectOwnIdsInChild([] { return fork(); });
    dlclose(theLibrary);
  }
}

TEST_F(Identity, ThreadWithoutANameOfItsOwnShowsNone) {
  EXPECT_EQ("", NameInRecord());
  InThread([this] { EXPECT_EQ("", NameInRecord()); });
}

TEST_F(Identity, NameGivenBeforeTheFirstRecordIsFound) {
  InThread([this] {
    pthread_setname_np(pthread_self(), "a loader] 1");
    Log(kzvLogLevel_Error, 0, "x\n");
    const std::vector<std::string> theWrites = mError.Writes();
    ASSERT_EQ(1u, theWrites.size());
    const std::string theIds = " [" + std::to_string(getpid()) + ":" + std::to_string(ThreadId());
    EXPECT_NE(std::string::npos, theWrites[0].find(theIds + " a loader] 1] player.c:7: x\n"));
  });
}

TEST_F(Identity, NameMayBeGivenAtAnyTimeAndIsTheKernelsToo) {
  InThread([this] {
    const std::string theInherited = NameInKernel();
    EXPECT_EQ("", NameInRecord());
    zvLog_SetThreadName("first");
    EXPECT_EQ("first", NameInRecord());
    EXPECT_EQ("first", NameInKernel());
    zvLog_SetThreadName("of 15 bytes ...");
    EXPECT_EQ("of 15 bytes ...", NameInRecord());
    zvLog_SetThreadName("of 16 bytes here");
    EXPECT_EQ("of 16 bytes ...", NameInRecord());
    EXPECT_EQ("of 16 bytes ...", NameInKernel());
    zvLog_SetThreadName("tab\tand\nline");
    EXPECT_EQ("tab?and?line", NameInRecord());
    for (const char *theNone : {static_cast<const char *>(nullptr), ""}) {
      zvLog_SetThreadName("again");
      zvLog_SetThreadName(theNone);
      EXPECT_EQ("", NameInRecord());
      EXPECT_EQ(theInherited, NameInKernel());
    }
  });
  EXPECT_EQ("", NameInRecord());
}

TEST_F(Identity, NameGivenBeforeTheFirstRecordByTheLogStays) {
  InThread([this] {
    zvLog_SetThreadName("named");
    prctl(PR_SET_NAME, "else");
    EXPECT_EQ("named", NameInRecord());
  });
}

TEST_F(Identity, NameStaysInAForkedChild) {
  const Ending theEnding = RunInChild([] {
    zvLog_SetThreadName("parent");
    const pid_t theChild = fork();
    if (theChild == 0) {
      Log(kzvLogLevel_Error, 0, "x");
      _exit(0);
    }
    waitpid(theChild, nullptr, 0);
    return 0;
  });
  ASSERT_EQ(1u, ParseAll(theEnding.mError).size());
  EXPECT_EQ("parent", ParseAll(theEnding.mError)[0].mThreadName);
}

}  // namespace
