// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Files with a limit of size and generations, and files that are opened again on request.

#include "Child.h"
#include "HarmTest.h"
#include "Interposed.h"
#include "LogTest.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <thread>

namespace {

using namespace zvlogtest;

class Rotation : public LogTest {
 protected:
  TempFolder mFolder;
  CaughtStandardError mError;
  const std::string mPath = mFolder.File("log");

  std::string Generation(int aNumber) const {
    return aNumber == 0 ? mPath : mPath + "." + std::to_string(aNumber);
  }
  // From the oldest to the youngest, which must all be whole lines.
  Texts TextsOfAll(int aGenerations) const {
    Texts theTexts;
    for (int theNumber = aGenerations; theNumber >= 0; --theNumber) {
      for (const Line &theLine : ParseAll(ReadFile(Generation(theNumber)))) {
        EXPECT_TRUE(theLine.mfWellFormed);
        theTexts.push_back(theLine.mText);
      }
    }
    return theTexts;
  }
  uint64_t SizeOfLargest(int aGenerations) const {
    uint64_t theLargest = 0;
    for (int theNumber = 0; theNumber <= aGenerations; ++theNumber) {
      std::error_code theError;
      const auto theSize = std::filesystem::file_size(Generation(theNumber), theError);
      if (!theError) theLargest = std::max<uint64_t>(theLargest, theSize);
    }
    return theLargest;
  }
  void AddLimited(const std::string &aMaximum) const {
    ASSERT_EQ(1, zvLog_ApplySettings(("to=file:max=" + aMaximum + ":" + mPath).c_str()));
  }
};

constexpr int kPatienceMilliseconds = 200;
constexpr uint64_t kLongestLine = 250;  // of those below

void LogNumbers(const std::string &aPrefix, int aCount) {
  for (int theNumber = 0; theNumber < aCount; ++theNumber)
    Log(kzvLogLevel_Error, 0, aPrefix + std::to_string(theNumber) + std::string(100, '.') + "\n");
}

Texts Numbers(const std::string &aPrefix, int aCount) {
  Texts theTexts;
  for (int theNumber = 0; theNumber < aCount; ++theNumber)
    theTexts.push_back(aPrefix + std::to_string(theNumber) + std::string(100, '.'));
  return theTexts;
}

TEST_F(Rotation, KeepsFilesBelowTheLimitAndLosesNoRecord) {
  AddLimited("4K*9");
  LogNumbers("", 100);
  EXPECT_EQ(Numbers("", 100), TextsOfAll(9));
  EXPECT_LE(SizeOfLargest(9), 4096u);
  EXPECT_TRUE(std::filesystem::exists(Generation(3)));
  EXPECT_TRUE(mError.Writes().empty());
}

TEST_F(Rotation, KeepsAsManyGenerationsAsToldAndOneWithoutANumber) {
  AddLimited("2K");
  LogNumbers("", 100);
  EXPECT_TRUE(std::filesystem::exists(Generation(1)));
  EXPECT_FALSE(std::filesystem::exists(Generation(2)));
  const Texts theTexts = TextsOfAll(1);
  const Texts theAll = Numbers("", 100);
  EXPECT_TRUE(std::equal(theTexts.rbegin(), theTexts.rend(), theAll.rbegin())) << "the last ones";
}

TEST_F(Rotation, RecordLargerThanTheLimitStaysWhole) {
  AddLimited("1K*3");
  const std::string theText(1200, 'x');
  Log(kzvLogLevel_Error, 0, theText + "\n");
  Log(kzvLogLevel_Error, 0, theText + "\n");
  EXPECT_EQ((Texts{theText, theText}), TextsOfAll(3));
}

TEST_F(Rotation, ManyThreadsLoseNothing) {
  AddLimited("16K*99");
  std::vector<std::thread> theThreads;
  for (int theThread = 0; theThread < 4; ++theThread)
    theThreads.emplace_back(LogNumbers, std::to_string(theThread) + "/", 500);
  for (std::thread &theThread : theThreads)
    theThread.join();
  Texts theExpected;
  for (int theThread = 0; theThread < 4; ++theThread) {
    const Texts thePart = Numbers(std::to_string(theThread) + "/", 500);
    theExpected.insert(theExpected.end(), thePart.begin(), thePart.end());
  }
  Texts theTexts = TextsOfAll(99);
  std::sort(theTexts.begin(), theTexts.end());
  std::sort(theExpected.begin(), theExpected.end());
  EXPECT_TRUE(theExpected == theTexts) << theTexts.size() << " of " << theExpected.size();
  EXPECT_LE(SizeOfLargest(99), 16384u + 3 * kLongestLine) << "one record of each other thread at most";
}

// As a signal handler does that interrupts the thread: to wait would be to wait for itself.
TEST_F(Rotation, RecordOfTheThreadThatPutsTheNextFileInPlaceDoesNotWait) {
  AddLimited("1K*9");
  bool afFirst = true;
  std::chrono::milliseconds theTime{0};
  {
    const Dup3Hook theHook([&] {
      if (afFirst) theTime = TimeOf([] { LogNumbers("inside", 10); });
      afFirst = false;
    });
    LogNumbers("", 10);
  }
  EXPECT_LT(theTime, std::chrono::milliseconds(kPatienceMilliseconds));
  EXPECT_EQ(20u, TextsOfAll(9).size());
}

TEST_F(Rotation, ThreadThatDoesNotComeToAnEndWithItIsWaitedForOnceAndShortly) {
  AddLimited("1K*9");
  bool afFirst = true;
  std::chrono::milliseconds theTimes[2] = {};
  {
    const Dup3Hook theHook([&] {
      if (!afFirst) return;
      afFirst = false;
      std::thread([&theTimes] {
        for (std::chrono::milliseconds &theTime : theTimes)
          theTime = TimeOf([] { LogNumbers("other", 1); });
      }).join();
    });
    LogNumbers("", 10);
  }
  EXPECT_GE(theTimes[0], std::chrono::milliseconds(kPatienceMilliseconds - 20));
  EXPECT_LT(theTimes[1], std::chrono::milliseconds(kPatienceMilliseconds));
  EXPECT_EQ(12u, TextsOfAll(9).size());
}

// Some have opened the file themselves, others share the parent's description.
TEST_F(Rotation, ManyProcessesLoseNothing) {
  AddLimited("64K*99");
  std::vector<pid_t> theChildren;
  for (int theIndex = 0; theIndex < 4; ++theIndex) {
    const pid_t theChild = fork();
    if (theChild == 0) {
      if (theIndex % 2 == 0) AddLimited("64K*99");
      LogNumbers(std::to_string(theIndex) + "/", 3000);
      _exit(0);
    }
    theChildren.push_back(theChild);
  }
  for (const pid_t theChild : theChildren) {
    int theStatus = 0;
    waitpid(theChild, &theStatus, 0);
    EXPECT_EQ(0, theStatus);
  }
  Texts theExpected;
  for (int theIndex = 0; theIndex < 4; ++theIndex) {
    const Texts thePart = Numbers(std::to_string(theIndex) + "/", 3000);
    theExpected.insert(theExpected.end(), thePart.begin(), thePart.end());
  }
  Texts theTexts = TextsOfAll(99);
  std::sort(theTexts.begin(), theTexts.end());
  std::sort(theExpected.begin(), theExpected.end());
  EXPECT_TRUE(theExpected == theTexts) << theTexts.size() << " of " << theExpected.size();
  // The others write on while one of them renames, which a busy machine may put off.
  EXPECT_LE(SizeOfLargest(99), 8 * 65536u);
}

TEST_F(Rotation, DoesNotWaitForAProcessThatHoldsTheLock) {
  AddLimited("1K*3");
  const int theHolder = open(mPath.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(0, flock(theHolder, LOCK_EX));
  LogNumbers("", 30);
  EXPECT_EQ(Numbers("", 30), TextsOfAll(0)) << "records go into the file as it is";
  close(theHolder);
  LogNumbers("next", 1);
  EXPECT_EQ(Numbers("next", 1), TextsOfAll(0)) << "as soon as the lock is free";
}

TEST_F(Rotation, LinkIsNotRenamed) {
  WriteFile(mFolder.File("real"), "");
  std::filesystem::create_symlink("real", mPath);
  AddLimited("1K*3");
  LogNumbers("", 30);
  EXPECT_TRUE(std::filesystem::is_symlink(mPath));
  EXPECT_EQ(Numbers("", 30), TextsOfAll(3));
}

TEST_F(Rotation, FolderThatMayNotBeWrittenLetsTheFileGrow) {
  if (geteuid() != 0) GTEST_SKIP() << "needs the right to become another user";
  AddLimited("1K*3");
  ASSERT_EQ(0, chmod(mPath.c_str(), 0666));
  ASSERT_EQ(0, chmod(mFolder.File("").c_str(), 0755));
  const Ending theEnding = RunInChild([] {
    if (setuid(65534) != 0) return 1;
    LogNumbers("", 30);
    return 0;
  });
  EXPECT_EQ(0, theEnding.mStatus);
  EXPECT_EQ(Numbers("", 30), TextsOfAll(0));
}

TEST_F(Rotation, WorksInTheHandlerOfACrash) {
  const Ending theEnding = RunInChild([this] {
    AddLimited("1K*9");
    signal(SIGSEGV, [](int aSignal) {
      LogNumbers("", 20);
      signal(aSignal, SIG_DFL);
      raise(aSignal);
    });
    raise(SIGSEGV);
    return 1;
  });
  EXPECT_EQ(SIGSEGV, theEnding.mSignal);
  EXPECT_EQ(Numbers("", 20), TextsOfAll(9));
}

TEST_F(Rotation, RequestLetsGoOfAFileThatWasRenamedAway) {
  ASSERT_EQ(1, zvLog_SetSinkFile(mPath.c_str()));
  LogNumbers("a", 2);
  std::filesystem::rename(mPath, Generation(1));
  LogNumbers("b", 1);
  const Ending theEnding = RunInChild([] {
    signal(SIGHUP, [](int) { zvLog_RequestReopen(); });
    raise(SIGHUP);
    LogNumbers("c", 2);
    return 0;
  });
  EXPECT_EQ(0, theEnding.mStatus);
  EXPECT_EQ(3u, ParseAll(ReadFile(Generation(1))).size());
  EXPECT_EQ(Numbers("c", 2), TextsOfAll(0));
}

TEST_F(Rotation, RequestThatCannotBeDoneKeepsTheFile) {
  const std::string theFolder = mFolder.File("folder");
  std::filesystem::create_directory(theFolder);
  ASSERT_EQ(1, zvLog_SetSinkFile((theFolder + "/log").c_str()));
  std::filesystem::rename(theFolder, mFolder.File("moved"));
  zvLog_RequestReopen();
  LogNumbers("", 2);
  EXPECT_EQ(2u, ParseAll(ReadFile(mFolder.File("moved") + "/log")).size());
  EXPECT_TRUE(mError.Writes().empty());
}

TEST_F(Rotation, RequestsWhileManyThreadsLogLoseNothing) {
  ASSERT_EQ(1, zvLog_SetSinkFile(mPath.c_str()));
  std::vector<std::thread> theThreads;
  for (int theThread = 0; theThread < 4; ++theThread)
    theThreads.emplace_back(LogNumbers, std::to_string(theThread) + "/", 500);
  for (int theNumber = 1; theNumber <= 20; ++theNumber) {
    std::error_code theError;
    std::filesystem::rename(mPath, Generation(theNumber), theError);
    zvLog_RequestReopen();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  for (std::thread &theThread : theThreads)
    theThread.join();
  EXPECT_EQ(2000u, TextsOfAll(20).size());
}

}  // namespace
