// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Records that come again and again, of which a setting leaves all but some in each second out. What is left
// out is counted, and the count is never lost.

#include "Child.h"
#include "LogTest.h"
#include "TrapFlag.h"

#include <time.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <thread>

namespace {

using namespace zvlogtest;
using Texts = std::vector<std::string>;

const std::string kLeftOut = "repeats of the last record left out: ";

void AwaitNextSecond() {
  timespec theTime = {};
  clock_gettime(CLOCK_REALTIME, &theTime);
  const timespec theRest = {0, 1000000000 - theTime.tv_nsec};
  nanosleep(&theRest, nullptr);
}

// So that what follows lies in one second.
void AwaitRoomInTheSecond() {
  timespec theTime = {};
  clock_gettime(CLOCK_REALTIME, &theTime);
  if (theTime.tv_nsec > 600000000) AwaitNextSecond();
}

void LogTimes(int aCount, const std::string &aText) {
  for (int theIndex = 0; theIndex < aCount; ++theIndex)
    Log(kzvLogLevel_Error, 42, aText);
}

// How many records there were, with those that were left out.
size_t CountAll(const Texts &aTexts) {
  size_t theCount = 0;
  for (const std::string &theText : aTexts)
    theCount += theText.rfind(kLeftOut, 0) == 0 ? std::stoul(theText.substr(kLeftOut.size())) : 1;
  return theCount;
}

class Repeats : public LogTest {
 protected:
  ~Repeats() override { zvLog_ApplySettings("repeat=0"); }

  Texts Written() const { return TextsOf(ParseAll(ReadFile(mFile))); }

  const TempFolder mFolder;
  const std::string mFile = mFolder.File("log");
  const std::string mToFile = "to=file:" + mFile;
};

TEST_F(Repeats, AreAllWrittenByDefault) {
  zvLog_ApplySettings(mToFile.c_str());
  AwaitRoomInTheSecond();
  LogTimes(50, "again\n");
  EXPECT_EQ(Texts(50, "again"), Written());
}

TEST_F(Repeats, BeyondTheLimitBecomeOneLineBeforeAnotherRecord) {
  zvLog_ApplySettings(("repeat=3," + mToFile).c_str());
  AwaitRoomInTheSecond();
  LogTimes(50, "again\n");
  EXPECT_EQ(Texts(3, "again"), Written());
  Log(kzvLogLevel_Error, 42, "another\n");
  EXPECT_EQ((Texts{"again", "again", "again", kLeftOut + "47", "another"}), Written());
}

TEST_F(Repeats, UpToTheLimitAreNoNews) {
  zvLog_ApplySettings(("repeat=3," + mToFile).c_str());
  AwaitRoomInTheSecond();
  LogTimes(3, "again\n");
  Log(kzvLogLevel_Error, 42, "another\n");
  EXPECT_EQ((Texts{"again", "again", "again", "another"}), Written());
}

TEST_F(Repeats, ComeAnewInTheNextSecond) {
  zvLog_ApplySettings(("repeat=1," + mToFile).c_str());
  AwaitRoomInTheSecond();
  LogTimes(5, "again\n");
  AwaitNextSecond();
  LogTimes(5, "again\n");
  EXPECT_EQ((Texts{"again", kLeftOut + "4", "again"}), Written());
}

TEST_F(Repeats, HaveTheSameTextPlaceModuleAndLevel) {
  zvLog_ApplySettings(("debug,repeat=1," + mToFile).c_str());
  AwaitRoomInTheSecond();
  const auto theLog = [](zvLogLevel aLevel, zvLogModule aModule, uint32 aLine, const char *aText) {
    zvLogData *theData = zvLog_Begin(aLevel, aModule);
    theData->mFile = "player.c";
    theData->mLine = aLine;
    zvLog_Append_F("%s", aText);
    zvLog_End(theData);
  };
  theLog(kzvLogLevel_Error, 42, 7, "a");
  theLog(kzvLogLevel_Error, 42, 7, "b");
  theLog(kzvLogLevel_Error, 42, 8, "b");
  theLog(kzvLogLevel_Error, 43, 8, "b");
  theLog(kzvLogLevel_Warning, 43, 8, "b");
  EXPECT_EQ((Texts{"a", "b", "b", "b", "b"}), Written());
  theLog(kzvLogLevel_Warning, 43, 8, "b");
  EXPECT_EQ(5u, Written().size());
}

TEST_F(Repeats, AreToldAtTheLevelThatTheyHave) {
  zvLog_ApplySettings(("debug,repeat=1," + mToFile).c_str());
  for (const zvLogLevel theLevel : {kzvLogLevel_Error, kzvLogLevel_Debug}) {
    AwaitRoomInTheSecond();
    for (int theIndex = 0; theIndex < 3; ++theIndex)
      Log(theLevel, 42, "again\n");
  }
  Log(kzvLogLevel_Warning, 42, "another\n");
  Texts theLevels;
  for (const Line &theLine : ParseAll(ReadFile(mFile))) {
    EXPECT_TRUE(theLine.mfWellFormed);
    if (theLine.mText == kLeftOut + "2") theLevels.push_back(theLine.mLevel);
  }
  EXPECT_EQ((Texts{"error", "debug"}), theLevels);
}

// The function is called when no lock is held any more: it may change the sinks.
TEST_F(Repeats, ToldByAChangeOfTheLimitMayMakeTheFunctionChangeTheSinks) {
  const Ending theEnding = RunInChild([this] {
    zvLog_SetSinkFunction(
        [](const zvLogRecord *aRecord, void *) {
          if (std::string(aRecord->mText) != kLeftOut + "4") return;
          zvLog_SetSinkStandardError();
          zvLog_ApplySettings("debug,repeat=3");
        },
        nullptr);
    zvLog_ApplySettings("repeat=1");
    AwaitRoomInTheSecond();
    LogTimes(5, "again\n");
    zvLog_ApplySettings(("info,repeat=2," + mToFile).c_str());
    Log(kzvLogLevel_Error, 42, "after\n");
    return zvLog_GetLevel();
  });
  EXPECT_FALSE(theEnding.mfTimedOut);
  EXPECT_EQ(kzvLogLevel_Debug, theEnding.mStatus);
  EXPECT_EQ((Texts{kLeftOut + "4", "after"}), TextsOf(ParseAll(theEnding.mError)));
}

TEST_F(Repeats, AreLeftOutOfEverySink) {
  static Texts *sTaken;
  Texts theTaken;
  sTaken = &theTaken;
  CaughtStandardError theError;
  ASSERT_EQ(1, zvLog_SetSinkFunction(
                   [](const zvLogRecord *aRecord, void *) { sTaken->push_back(aRecord->mText); }, nullptr));
  ASSERT_EQ(1, zvLog_AddSink("stderr"));
  ASSERT_EQ(1, zvLog_AddSink(("file:" + mFile).c_str()));
  ASSERT_EQ(1, zvLog_ApplySettings("repeat=2"));
  AwaitRoomInTheSecond();
  LogTimes(9, "again\n");
  Log(kzvLogLevel_Error, 42, "another\n");
  zvLog_SetSinkStandardError();
  const Texts theExpected = {"again", "again", kLeftOut + "7", "another"};
  EXPECT_EQ(theExpected, theTaken);
  EXPECT_EQ(theExpected, TextsOf(theError.Writes()));
  EXPECT_EQ(theExpected, Written());
}

TEST_F(Repeats, OfFailedAssertionsAreLeftOutToo) {
  zvLog_ApplySettings(("repeat=1," + mToFile).c_str());
  AwaitRoomInTheSecond();
  for (int theIndex = 0; theIndex < 4; ++theIndex)
    _zvAssert("aThread != NULL", "x.c", 9);
  Log(kzvLogLevel_Error, 42, "another\n");
  EXPECT_EQ((Texts{"Assertion failed: aThread != NULL (x.c:9)", kLeftOut + "3", "another"}), Written());
}

TEST_F(Repeats, AreToldWhenTheLimitChangesAndWhenTheSettingIsGone) {
  zvLog_ApplySettings(("repeat=2," + mToFile).c_str());
  AwaitRoomInTheSecond();
  LogTimes(5, "again\n");
  zvLog_ApplySettings("repeat=4");
  LogTimes(6, "again\n");
  EXPECT_EQ((Texts{"again", "again", kLeftOut + "3", "again", "again", "again", "again"}), Written());
  setenv("ZVLOG", mToFile.c_str(), 1);
  EXPECT_EQ(1, zvLog_ReloadSettings());
  unsetenv("ZVLOG");
  LogTimes(6, "again\n");
  EXPECT_EQ(7u + 1 + 6, Written().size());
  EXPECT_EQ(kLeftOut + "2", Written()[7]);
}

TEST_F(Repeats, LeaveErrnoAlone) {
  zvLog_ApplySettings(("repeat=1," + mToFile).c_str());
  LogTimes(5, "again\n");
  errno = 4711;
  Log(kzvLogLevel_Error, 42, "another\n");
  EXPECT_EQ(4711, errno);
}

TEST_F(Repeats, AreToldWhenTheProgramEnds) {
  const Ending theEnding = RunInChild([this]() -> int {
    zvLog_ApplySettings(("repeat=1," + mToFile).c_str());
    AwaitRoomInTheSecond();
    std::thread([] { LogTimes(20, "again\n"); }).join();
    exit(0);
  });
  EXPECT_EQ(0, theEnding.mStatus);
  EXPECT_EQ((Texts{"again", kLeftOut + "19"}), Written());
}

TEST_F(Repeats, AreToldBeforeTheRecordOfACrash) {
  const Ending theEnding = RunInChild([this] {
    signal(SIGSEGV, [](int aSignal) {
      Log(kzvLogLevel_Error, 0, "caught\n");
      signal(aSignal, SIG_DFL);
      raise(aSignal);
    });
    zvLog_ApplySettings(("repeat=1," + mToFile).c_str());
    AwaitRoomInTheSecond();
    LogTimes(20, "again\n");
    raise(SIGSEGV);
    return 1;
  });
  EXPECT_EQ(SIGSEGV, theEnding.mSignal);
  EXPECT_EQ((Texts{"again", kLeftOut + "19", "caught"}), Written());
}

TEST_F(Repeats, OfAParentAreNotToldByItsChild) {
  zvLog_ApplySettings(("repeat=1," + mToFile).c_str());
  AwaitRoomInTheSecond();
  LogTimes(5, "again\n");
  const Ending theEnding = RunInChild([] {
    Log(kzvLogLevel_Error, 42, "child\n");
    return 0;
  });
  EXPECT_EQ(0, theEnding.mStatus);
  Log(kzvLogLevel_Error, 42, "parent\n");
  EXPECT_EQ((Texts{"again", "child", kLeftOut + "4", "parent"}), Written());
}

TEST_F(Repeats, OfSeveralThreadsAreCountedTogether) {
  constexpr int kThreads = 4;
  constexpr int kRecords = 5000;
  zvLog_ApplySettings(("repeat=5," + mToFile).c_str());
  AwaitRoomInTheSecond();
  std::vector<std::thread> theThreads;
  for (int theIndex = 0; theIndex < kThreads; ++theIndex)
    theThreads.emplace_back([] { LogTimes(kRecords, "again\n"); });
  for (std::thread &theThread : theThreads)
    theThread.join();
  Log(kzvLogLevel_Error, 42, "another\n");
  EXPECT_EQ(size_t{kThreads} * kRecords + 1, CountAll(Written()));
  EXPECT_LT(Written().size(), 500u);
}

TEST_F(Repeats, AreCountedRightlyBesideOtherRecordsOfOtherThreads) {
  constexpr int kThreads = 4;
  constexpr int kRecords = 3000;
  zvLog_ApplySettings(("repeat=2," + mToFile).c_str());
  std::vector<std::thread> theThreads;
  for (int theIndex = 0; theIndex < kThreads; ++theIndex) {
    theThreads.emplace_back([theIndex] {
      for (int theRecord = 0; theRecord < kRecords; ++theRecord)
        Log(kzvLogLevel_Error, 42, "text " + std::to_string((theIndex + theRecord / 8) % 3) + "\n");
    });
  }
  for (std::thread &theThread : theThreads)
    theThread.join();
  Log(kzvLogLevel_Error, 42, "another\n");
  EXPECT_EQ(size_t{kThreads} * kRecords + 1, CountAll(Written()));
}

#if (defined(__i386__) || defined(__x86_64__)) && !defined(ZV_SANITIZED)

int gSteps = 0;
int gLogged = 0;

// The handler logs at some steps only: at each one it would keep the count from ever being stored.
TEST_F(Repeats, AreCountedRightlyByAHandlerThatInterruptsTheCount) {
  const Ending theEnding = RunInChild([this] {
    signal(SIGTRAP, [](int) {
      if (++gSteps % 101 != 0) return;
      ++gLogged;
      LogTimes(1, "again\n");
    });
    zvLog_ApplySettings(("repeat=1," + mToFile).c_str());
    const std::string theText = "again\n";
    for (int theIndex = 0; theIndex < 25; ++theIndex) {
      SetTrapFlag(true);
      Log(kzvLogLevel_Error, 42, theText);
      SetTrapFlag(false);
    }
    Log(kzvLogLevel_Error, 42, "last\n");
    dprintf(STDOUT_FILENO, "%d", gLogged);
    return 0;
  });
  ASSERT_EQ(0, theEnding.mStatus);
  EXPECT_EQ("", theEnding.mError);
  EXPECT_EQ(std::to_string(CountAll(Written()) - 26), theEnding.mOutput);
}

#endif

TEST_F(Repeats, TakeANumberUpToAMillion) {
  CaughtStandardError theError;
  for (const char *theGood : {"repeat=0", "repeat=1", "repeat=1000000", "repeat = 5"})
    EXPECT_EQ(1, zvLog_ApplySettings(theGood)) << theGood;
  EXPECT_TRUE(theError.Writes().empty());
  for (const char *theBad :
       {"repeat=", "repeat=x", "repeat=-1", "repeat=1000001", "repeat=99999999999999999999"}) {
    EXPECT_EQ(0, zvLog_ApplySettings(theBad)) << theBad;
    EXPECT_EQ((Texts{"zvLog: bad setting '" + std::string(theBad) + "': it is no number up to 1000000\n"}),
              theError.Writes());
  }
}

}  // namespace
