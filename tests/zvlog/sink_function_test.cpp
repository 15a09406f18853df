// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The program's own function as sink.

#include "Child.h"
#include "LogTest.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <csignal>
#include <ctime>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

namespace {

using namespace zvlogtest;
using Texts = std::vector<std::string>;

struct Seen {
  std::mutex mMutex;
  Texts mTexts;
  zvLogRecord mRecord = {};
  std::string mFile;
  pthread_t mThread = {};

  static void Take(const zvLogRecord *aRecord, void *aSeen) {
    Seen *theSeen = static_cast<Seen *>(aSeen);
    const std::lock_guard<std::mutex> theLock(theSeen->mMutex);
    theSeen->mTexts.emplace_back(aRecord->mText);
    theSeen->mRecord = *aRecord;
    theSeen->mFile = aRecord->mFile;
    theSeen->mThread = pthread_self();
  }
};

class SinkFunction : public LogTest {
 protected:
  // Nobody is in the function of a test when it ends.
  ~SinkFunction() override { zvLog_SetSinkFunction(nullptr, nullptr); }

  CaughtStandardError mError;
  Seen mSeen;
};

TEST_F(SinkFunction, GetsWholeRecordsOnTheThreadThatLogs) {
  ASSERT_EQ(1, zvLog_SetSinkFunction(Seen::Take, &mSeen));
  const time_t theBegin = time(nullptr);
  Log(kzvLogLevel_Warning, 21, "a text\n");
  ASSERT_EQ(Texts{"a text"}, mSeen.mTexts);
  EXPECT_EQ(sizeof(zvLogRecord), mSeen.mRecord.mSize);
  EXPECT_EQ(kzvLogLevel_Warning, mSeen.mRecord.mLevel);
  EXPECT_EQ(21, mSeen.mRecord.mModule);
  EXPECT_EQ("player.c", mSeen.mFile);
  EXPECT_EQ(7u, mSeen.mRecord.mLine);
  EXPECT_EQ(getpid(), mSeen.mRecord.mProcess);
  EXPECT_EQ(syscall(SYS_gettid), mSeen.mRecord.mThread);
  EXPECT_GE(mSeen.mRecord.mSeconds, theBegin);
  EXPECT_LE(mSeen.mRecord.mSeconds, time(nullptr));
  EXPECT_LT(mSeen.mRecord.mNanoseconds, 1000000000u);
  EXPECT_EQ(6u, mSeen.mRecord.mTextLength);
  EXPECT_TRUE(pthread_equal(pthread_self(), mSeen.mThread));
  EXPECT_TRUE(mError.Writes().empty()) << "it is the only sink";
}

TEST_F(SinkFunction, RecordWithoutAPlaceHasAQuestionMark) {
  ASSERT_EQ(1, zvLog_SetSinkFunction(Seen::Take, &mSeen));
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
  zvLog_End(theData);
  EXPECT_EQ("?", mSeen.mFile);
  EXPECT_EQ(Texts{""}, mSeen.mTexts);
}

TEST_F(SinkFunction, StandsBesideSinksThatAreAddedAndListsOfSettingsLeaveIt) {
  const TempFolder theFolder;
  ASSERT_EQ(1, zvLog_SetSinkFunction(Seen::Take, &mSeen));
  ASSERT_EQ(1, zvLog_AddSink(("file:error:" + theFolder.File("log")).c_str()));
  Log(kzvLogLevel_Error, 0, "one\n");
  Log(kzvLogLevel_Warning, 0, "two\n");
  ASSERT_EQ(1, zvLog_ApplySettings("to=stderr"));
  Log(kzvLogLevel_Error, 0, "three\n");
  EXPECT_EQ((Texts{"one", "two", "three"}), mSeen.mTexts);
  EXPECT_EQ(Texts{"one"}, TextsOf(ParseAll(ReadFile(theFolder.File("log")))));
  EXPECT_EQ(Texts{"three"}, TextsOf(mError.Writes()));
}

TEST_F(SinkFunction, RemovedLeavesTheOtherSinks) {
  const TempFolder theFolder;
  ASSERT_EQ(1, zvLog_SetSinkFunction(Seen::Take, &mSeen));
  ASSERT_EQ(1, zvLog_AddSink(("file:" + theFolder.File("log")).c_str()));
  ASSERT_EQ(1, zvLog_SetSinkFunction(nullptr, nullptr));
  Log(kzvLogLevel_Error, 0, "one\n");
  EXPECT_EQ(Texts{}, mSeen.mTexts);
  EXPECT_EQ(Texts{"one"}, TextsOf(ParseAll(ReadFile(theFolder.File("log")))));

  ASSERT_EQ(1, zvLog_SetSinkFunction(Seen::Take, &mSeen));
  ASSERT_EQ(1, zvLog_SetSinkFunction(nullptr, nullptr));
  Log(kzvLogLevel_Error, 0, "two\n");
  EXPECT_EQ(Texts{"two"}, TextsOf(mError.Writes())) << "without any sink it is standard error";
}

TEST_F(SinkFunction, IsReplacedByASinkThatIsSet) {
  ASSERT_EQ(1, zvLog_SetSinkFunction(Seen::Take, &mSeen));
  zvLog_SetSinkStandardError();
  Log(kzvLogLevel_Error, 0, "one\n");
  EXPECT_EQ(Texts{}, mSeen.mTexts);
  EXPECT_EQ(Texts{"one"}, TextsOf(mError.Writes()));
}

void LogInside(const zvLogRecord *aRecord, void *aCount) {
  ++*static_cast<int *>(aCount);
  Log(kzvLogLevel_Error, 0, std::string("about ") + aRecord->mText + "\n");
}

TEST_F(SinkFunction, MayLogItself) {
  int theCount = 0;
  ASSERT_EQ(1, zvLog_SetSinkFunction(LogInside, &theCount));
  Log(kzvLogLevel_Error, 0, "one\n");
  EXPECT_EQ(1, theCount);
  EXPECT_EQ(Texts{"about one"}, TextsOf(mError.Writes())) << "to standard error when there is no other sink";

  const TempFolder theFolder;
  ASSERT_EQ(1, zvLog_AddSink(("file:" + theFolder.File("log")).c_str()));
  Log(kzvLogLevel_Error, 0, "two\n");
  EXPECT_EQ(2, theCount);
  EXPECT_EQ((Texts{"about two", "two"}), TextsOf(ParseAll(ReadFile(theFolder.File("log")))));
  EXPECT_TRUE(mError.Writes().empty());
}

void RemoveItself(const zvLogRecord *, void *aCount) {
  ++*static_cast<int *>(aCount);
  zvLog_SetSinkFunction(nullptr, nullptr);
}

TEST_F(SinkFunction, MayRemoveItself) {
  int theCount = 0;
  ASSERT_EQ(1, zvLog_SetSinkFunction(RemoveItself, &theCount));
  Log(kzvLogLevel_Error, 0, "one\n");
  Log(kzvLogLevel_Error, 0, "two\n");
  EXPECT_EQ(1, theCount);
  EXPECT_EQ(Texts{"two"}, TextsOf(mError.Writes()));
}

struct Gate {
  std::promise<void> mEntered;
  std::promise<void> mOpen;
  std::shared_future<void> mOpened{mOpen.get_future().share()};

  static void Wait(const zvLogRecord *, void *aGate) {
    static_cast<Gate *>(aGate)->mEntered.set_value();
    static_cast<Gate *>(aGate)->mOpened.wait();
  }
};

TEST_F(SinkFunction, IsLeftByAllWhenItsRemovalReturns) {
  Gate theGate;
  ASSERT_EQ(1, zvLog_SetSinkFunction(Gate::Wait, &theGate));
  std::thread theLogger([] { Log(kzvLogLevel_Error, 0, "one\n"); });
  theGate.mEntered.get_future().wait();
  std::future<void> theRemoval =
      std::async(std::launch::async, [] { zvLog_SetSinkFunction(nullptr, nullptr); });
  EXPECT_EQ(std::future_status::timeout, theRemoval.wait_for(std::chrono::milliseconds(100)));
  Log(kzvLogLevel_Error, 0, "two\n");
  EXPECT_EQ(Texts{"two"}, TextsOf(mError.Writes())) << "nobody enters it any more";
  theGate.mOpen.set_value();
  theRemoval.wait();
  theLogger.join();
}

// Has removed itself, and is not left yet.
struct LeavingGate : Gate {
  static void Wait(const zvLogRecord *aRecord, void *aGate) {
    zvLog_SetSinkFunction(nullptr, nullptr);
    Gate::Wait(aRecord, aGate);
  }
};

TEST_F(SinkFunction, ThatIsNoneAnyMoreIsLeftToo) {
  const std::function<void()> kChanges[] = {
      [] { zvLog_SetSinkFunction(nullptr, nullptr); },
      [] { zvLog_SetSinkFunction([](const zvLogRecord *, void *) {}, nullptr); },
      [] { zvLog_SetSinkStandardError(); },
  };
  for (const std::function<void()> &theChange : kChanges) {
    LeavingGate theGate;
    ASSERT_EQ(1, zvLog_SetSinkFunction(LeavingGate::Wait, static_cast<Gate *>(&theGate)));
    std::thread theLogger([] { Log(kzvLogLevel_Error, 0, "one\n"); });
    theGate.mEntered.get_future().wait();
    std::future<void> theNext = std::async(std::launch::async, theChange);
    EXPECT_EQ(std::future_status::timeout, theNext.wait_for(std::chrono::milliseconds(100)));
    theGate.mOpen.set_value();
    theNext.wait();
    theLogger.join();
  }
}

TEST_F(SinkFunction, ChangesWhileManyThreadsLogAndIsNeverCalledAfterwards) {
  struct User {
    std::atomic<bool> mfValid{false};
    std::atomic<int> mCalls{0};
    std::atomic<int> mWrong{0};
    static void Take(const zvLogRecord *, void *aUser) {
      User *theUser = static_cast<User *>(aUser);
      ++theUser->mCalls;
      if (!theUser->mfValid) ++theUser->mWrong;
      std::this_thread::yield();
      if (!theUser->mfValid) ++theUser->mWrong;
    }
  } theUsers[2];
  const TempFolder theFolder;
  ASSERT_EQ(1, zvLog_SetSinkFile(theFolder.File("log").c_str()));
  std::atomic<bool> afStop{false};
  std::vector<std::thread> theThreads;
  for (int theIndex = 0; theIndex < 4; ++theIndex) {
    theThreads.emplace_back([&afStop] {
      while (!afStop)
        Log(kzvLogLevel_Error, 0, "text\n");
    });
  }
  for (int theRound = 0; theRound < 300 || theUsers[0].mCalls + theUsers[1].mCalls < 1000; ++theRound) {
    User &theNext = theUsers[theRound % 2];
    User &theFormer = theUsers[(theRound + 1) % 2];
    theNext.mfValid = true;
    ASSERT_EQ(1, zvLog_SetSinkFunction(User::Take, &theNext));
    theFormer.mfValid = false;
  }
  zvLog_SetSinkFunction(nullptr, nullptr);
  for (User &theUser : theUsers)
    theUser.mfValid = false;
  afStop = true;
  for (std::thread &theThread : theThreads)
    theThread.join();
  EXPECT_EQ(0, theUsers[0].mWrong + theUsers[1].mWrong);
}

TEST_F(SinkFunction, CanBeRemovedInAChildForkedWhileAnotherThreadIsInIt) {
  Gate theGate;
  ASSERT_EQ(1, zvLog_SetSinkFunction(Gate::Wait, &theGate));
  std::thread theLogger([] { Log(kzvLogLevel_Error, 0, "one\n"); });
  theGate.mEntered.get_future().wait();
  const pid_t theChild = fork();
  if (theChild == 0) {
    alarm(20);
    zvLog_SetSinkFunction(nullptr, nullptr);
    _exit(0);
  }
  int theStatus = 0;
  waitpid(theChild, &theStatus, 0);
  EXPECT_EQ(0, theStatus);
  theGate.mOpen.set_value();
  theLogger.join();
}

// The child leaves a function that is none any more.
TEST_F(SinkFunction, CanBeRemovedInAChildForkedByOneThatReplacedItself) {
  const Ending theEnding = RunInChild([] {
    static pid_t sChild = -1;
    zvLog_SetSinkFunction(
        [](const zvLogRecord *, void *) {
          zvLog_SetSinkFunction([](const zvLogRecord *, void *) {}, nullptr);
          sChild = fork();
          if (sChild == 0) alarm(10);
        },
        nullptr);
    Log(kzvLogLevel_Error, 0, "one\n");
    zvLog_SetSinkFunction(nullptr, nullptr);
    if (sChild == 0) return 0;
    int theStatus = 1;
    waitpid(sChild, &theStatus, 0);
    return theStatus == 0 ? 0 : 1;
  });
  EXPECT_EQ(0, theEnding.mStatus);
  EXPECT_EQ(0, theEnding.mSignal);
}

TEST_F(SinkFunction, ThatCrashesDoesNotKeepTheLastWordsBack) {
  const Ending theEnding = RunInChild([] {
    signal(SIGSEGV, [](int aSignal) {
      Log(kzvLogLevel_Error, 0, "last words\n");
      signal(aSignal, SIG_DFL);
      raise(aSignal);
    });
    zvLog_SetSinkFunction([](const zvLogRecord *, void *) { raise(SIGSEGV); }, nullptr);
    Log(kzvLogLevel_Error, 0, "one\n");
    return 1;
  });
  EXPECT_EQ(SIGSEGV, theEnding.mSignal);
  EXPECT_EQ(Texts{"last words"}, TextsOfRecords(ParseAll(theEnding.mError)));
}

}  // namespace
