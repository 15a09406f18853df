// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What all modules share: constants, the log call, assertions, and that the library keeps to them.

#include <zvOS/zvCondition.h>
#include <zvOS/zvCriticalSection.h>
#include <zvOS/zvDefines.h>
#include <zvOS/zvLogFunctions.h>
#include <zvOS/zvMutex.h>
#include <zvOS/zvSemaphore.h>
#include <zvOS/zvThread.h>

#include "support/HandleChecks.h"

#include <atomic>
#include <cerrno>
#include <set>
#include <thread>
#include <type_traits>

ZVLOG_WITH_MODULE_IF(TCP, 1)

extern "C" {
int ZvTestMutexFromC(void);
void ZvTestLogFromC(int aNumber);
void ZvTestAssertFromC(void);
}

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using namespace zvtest;

// ---- Constants ----

template <typename Type, typename Value>
constexpr bool IsOf(Value) {
  return std::is_same<Type, Value>::value;
}

static_assert(sizeof(int8) == 1 && std::is_signed<int8>::value, "int8");
static_assert(sizeof(uint8) == 1 && std::is_unsigned<uint8>::value, "uint8");
static_assert(sizeof(int16) == 2 && std::is_signed<int16>::value, "int16");
static_assert(sizeof(uint16) == 2 && std::is_unsigned<uint16>::value, "uint16");
static_assert(sizeof(int32) == 4 && std::is_signed<int32>::value, "int32");
static_assert(sizeof(uint32) == 4 && std::is_unsigned<uint32>::value, "uint32");
static_assert(sizeof(int64) == 8 && std::is_signed<int64>::value, "int64");
static_assert(sizeof(uint64) == 8 && std::is_unsigned<uint64>::value, "uint64");

static_assert(kzvint8_min == -128 && kzvint8_max == 127 && kzvuint8_max == 0xff, "8 bits");
static_assert(kzvint16_min == -32768 && kzvint16_max == 32767 && kzvuint16_max == 0xffff, "16 bits");
static_assert(kzvint32_min == -2147483647L - 1 && kzvint32_max == 2147483647L, "32 bits");
static_assert(kzvuint32_max == 0xffffffffUL, "32 bits");
static_assert(kzvint64_min == -0x7fffffffffffffffLL - 1LL && kzvint64_max == 0x7fffffffffffffffLL, "64 bits");
static_assert(kzvuint64_max == 0xffffffffffffffffULL, "64 bits");
static_assert(IsOf<int>(kzvint8_min) && IsOf<int>(kzvint8_max) && IsOf<int>(kzvuint8_max), "8 bits");
static_assert(IsOf<int>(kzvint16_min) && IsOf<int>(kzvint16_max) && IsOf<int>(kzvuint16_max), "16 bits");
static_assert(IsOf<long>(kzvint32_min) && IsOf<long>(kzvint32_max), "32 bits");
static_assert(IsOf<unsigned long>(kzvuint32_max), "32 bits");
static_assert(IsOf<long long>(kzvint64_min) && IsOf<long long>(kzvint64_max), "64 bits");
static_assert(IsOf<unsigned long long>(kzvuint64_max), "64 bits");

static_assert(kzvOS_DelayInfinite == 0xffffffffu && IsOf<uint32>(kzvOS_DelayInfinite), "delay");
static_assert(kzvEOLStrLength == 1 && sizeof(kzvEOLStr) == 2, "end of line");

static_assert(zvMutex_Status_NoError == 0 && zvMutex_Status_Error == 1, "mutex");
static_assert(zvCriticalSection_Status_NoError == 0 && zvCriticalSection_Status_Error == 1, "section");
static_assert(zvThread_Status_NoError == 0 && zvThread_Status_Error == 1, "thread");
static_assert(zvCondition_Status_NoError == 0 && zvCondition_Status_TimeOut == 1, "condition");
static_assert(zvCondition_Status_Error == 2, "condition");
static_assert(zvSemaphore_Status_NoError == 0 && zvSemaphore_Status_TimeOut == 1, "semaphore");
static_assert(zvSemaphore_Status_Error == 2, "semaphore");

static_assert(kzvCondition_Magic == 0xFEEDFACE, "condition");
static_assert(kzvThread_Magic == 0xFEEDCABE, "thread");
static_assert(kzvCriticalSection_Magic == 0xFEEDFEED, "section");
static_assert(kzvMutex_Magic == 0xFEEDBABE, "mutex");
static_assert(kzvSemaphore_Magic == 0xFEEDFADE, "semaphore");

static_assert(ZVLOGLEVEL_NONE == 0 && ZVLOGLEVEL_ERROR == 1 && ZVLOGLEVEL_WARNING == 2, "levels");
static_assert(ZVLOGLEVEL_INFO == 3 && ZVLOGLEVEL_DEBUG == 4 && ZVLOGLEVEL_ALL == 0xFFFFFFFF, "levels");
static_assert(ZVLOG_COMPILE_TIME_LEVEL_LESS_THEN == ZVLOGLEVEL_ALL, "levels");
static_assert(ZVLOG_M_DEFAULT == 0 && ZVLOG_M_ZVOS == 7 && ZVLOG_M_TCP == 21 && ZVLOG_M_TCPRW == 22,
              "modules");
static_assert(ZVLOG_M_SELECT == 25 && ZVLOG_M_PLUGIN == 29 && ZVLOG_M_FILE == 42 && ZVLOG_M_DIR == 43,
              "modules");
static_assert(ZVLOG_M_SOCKETTRACKER == 53 && ZVLOG_M_SOCKETTRAFFIC == 55 && ZVLOG_M_PATH == 57, "modules");
static_assert(ZVLOG_M_TCP_QOS == 122, "modules");

zvCompileTimeAssert(sizeof(char) == 1);

TEST(Constants, EndOfLineIsANewline) {
  EXPECT_STREQ("\n", kzvEOLStr);
}

TEST(Constants, FileSettingsAreWhatTheFileDeclared) {
  zvCompileTimeAssert(sizeof(_s_zvLog_CurrentModule) == sizeof(zvLogModule));
  EXPECT_EQ(ZVLOG_M_TCP, _s_zvLog_CurrentModule);
  EXPECT_EQ(1, _s_zvLog_CurrentLogActive);
}

// ---- The log call ----

class LogCallTest : public ::testing::Test {
 protected:
  zvtest::RecordingLog mLog;
};

TEST_F(LogCallTest, IsBeginAppendEndInThisOrder) {
  ZV_ERR(F("the number is %d\n", 5));
  EXPECT_THAT(mLog.Calls(), ElementsAre("Begin 1 21", "Append", "End"));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(21, "the number is 5\n")));
}

TEST_F(LogCallTest, NamesItsFileAndLine) {
  const uint32 theLine = __LINE__ + 1;
  ZV_ERR(F("here\n"));
  ZV_ERR(F("there\n"));
  ASSERT_THAT(mLog.Messages(), ::testing::SizeIs(2));
  EXPECT_STREQ(__FILE__, mLog.Messages()[0].mFile.c_str());
  EXPECT_EQ(theLine, mLog.Messages()[0].mLine);
  EXPECT_EQ(theLine + 1, mLog.Messages()[1].mLine);
}

TEST_F(LogCallTest, ShorthandsOfTheFilesModule) {
  ZV_ERR(F("e%d\n", 1));
  ZV_WARN(F("w%d\n", 2));
  ZV_INFO(F("i%d\n", 3));
  ZV_DEBUG(F("d%d\n", 4));
  ZV_LOG(ZVLOGLEVEL_WARNING, F("l%d\n", 5));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(21, "e1\n"), Warning(21, "w2\n"), Info(21, "i3\n"),
                                           Debug(21, "d4\n"), Warning(21, "l5\n")));
}

TEST_F(LogCallTest, ShorthandsOfANamedModule) {
  ZVLOG_ERR(SELECT, F("e%d\n", 1));
  ZVLOG_WARN(PATH, F("w%d\n", 2));
  ZVLOG_INFO(DEFAULT, F("i%d\n", 3));
  ZVLOG_DEBUG(TCP_QOS, F("d%d\n", 4));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(25, "e1\n"), Warning(57, "w2\n"), Info(0, "i3\n"), Debug(122, "d4\n")));
}

TEST_F(LogCallTest, GeneralForms) {
  ZVXLOG(ZVLOGLEVEL_INFO, 99, F("x%d\n", 1));
  ZVXLOG_ALWAYS(ZVLOGLEVEL_DEBUG, 100, F("a%d\n", 2));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Info(99, "x1\n"), Debug(100, "a2\n")));
}

void AppendList(const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  ZV_ERR(VF(aFormat, theArguments));
#pragma GCC diagnostic pop
  va_end(theArguments);
}

TEST_F(LogCallTest, AppendsArgumentLists) {
  AppendList("%d and %s\n", 7, "text");
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(21, "7 and text\n")));
}

TEST_F(LogCallTest, TheLevelIsTestedFirst) {
  const auto LogAll = [] {
    ZV_ERR(F("e"));
    ZV_WARN(F("w"));
    ZV_INFO(F("i"));
    ZV_DEBUG(F("d"));
    ZVXLOG(ZVLOGLEVEL_ERROR, 1, F("e"));
    ZVLOG_DEBUG(FILE, F("d"));
  };
  const std::vector<std::string> kBegun[] = {
      {},
      {},
      {"Begin 1 21", "Begin 1 1"},
      {"Begin 1 21", "Begin 2 21", "Begin 1 1"},
      {"Begin 1 21", "Begin 2 21", "Begin 3 21", "Begin 1 1"},
      {"Begin 1 21", "Begin 2 21", "Begin 3 21", "Begin 4 21", "Begin 1 1", "Begin 4 42"},
  };
  mLog.RefuseRecords();
  for (zvLogLevel theLevel = 0; theLevel <= 5; ++theLevel) {
    mLog.Clear();
    mLog.SetLevel(theLevel);
    LogAll();
    EXPECT_THAT(mLog.Calls(), ::testing::ElementsAreArray(kBegun[theLevel])) << "level " << theLevel;
  }
}

TEST_F(LogCallTest, AlwaysDoesNotTestTheLevel) {
  mLog.SetLevel(0);
  ZVXLOG_ALWAYS(ZVLOGLEVEL_DEBUG, 3, F("d\n"));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Debug(3, "d\n")));
}

TEST_F(LogCallTest, LogMeIsTheLevelTest) {
  mLog.SetLevel(3);
  EXPECT_TRUE(_zvLog_LogMe(ZVLOGLEVEL_ERROR, 7));
  EXPECT_TRUE(_zvLog_LogMe(ZVLOGLEVEL_WARNING, 7));
  EXPECT_FALSE(_zvLog_LogMe(ZVLOGLEVEL_INFO, 7));
  EXPECT_FALSE(_zvLog_LogMe(ZVLOGLEVEL_DEBUG, 7));
  mLog.SetLevel(0xFFFF);
  EXPECT_FALSE(_zvLog_LogMe(ZVLOGLEVEL_ALL, 7));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(LogCallTest, ARefusedRecordGetsNoAppendAndNoEnd) {
  mLog.RefuseRecords();
  int theEvaluations = 0;
  ZV_ERR(F("%d\n", ++theEvaluations));
  EXPECT_THAT(mLog.Calls(), ElementsAre("Begin 1 21"));
  EXPECT_EQ(0, theEvaluations);
}

TEST_F(LogCallTest, ArgumentsOfUnwantedMessagesAreNotEvaluated) {
  mLog.SetLevel(1);
  int theEvaluations = 0;
  ZV_ERR(F("%d\n", ++theEvaluations));
  EXPECT_EQ(0, theEvaluations);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(LogCallTest, IsOneStatement) {
  for (const bool afFirst : {true, false}) {
    if (afFirst)
      ZV_ERR(F("first\n"));
    else
      ZVXLOG(ZVLOGLEVEL_WARNING, 1, F("second\n"));
  }
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(21, "first\n"), Warning(1, "second\n")));
}

namespace silent {

ZVLOG_WITH_MODULE_IF(FILE, 0)

void LogAll() {
  ZV_ERR(F("e\n"));
  ZV_WARN(F("w\n"));
  ZV_INFO(F("i\n"));
  ZV_DEBUG(F("d\n"));
  ZV_LOG(ZVLOGLEVEL_ERROR, F("l\n"));
}

}  // namespace silent

TEST_F(LogCallTest, AnInactiveFileLogsNothingUnderItsModule) {
  silent::LogAll();
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(LogCallTest, WillLogAsksTheProviderOnlyBelowTheLevel) {
  mLog.AnswerWillLog(ZVLOGLEVEL_DEBUG, 53, 1);
  mLog.SetLevel(4);
  EXPECT_FALSE(ZVLOG_WILL_LOG(ZVLOGLEVEL_DEBUG, ZVLOG_M_SOCKETTRACKER));
  EXPECT_THAT(mLog.Calls(), IsEmpty());

  mLog.SetLevel(5);
  EXPECT_TRUE(ZVLOG_WILL_LOG(ZVLOGLEVEL_DEBUG, ZVLOG_M_SOCKETTRACKER));
  EXPECT_FALSE(ZVLOG_WILL_LOG(ZVLOGLEVEL_DEBUG, ZVLOG_M_SOCKETTRAFFIC));
  EXPECT_THAT(mLog.Calls(), ElementsAre("WillLog 4 53", "WillLog 4 55"));
}

TEST_F(LogCallTest, WillLogReturnsTheProvidersAnswer) {
  mLog.AnswerWillLog(ZVLOGLEVEL_ERROR, 1, 42);
  EXPECT_EQ(42, ZVLOG_WILL_LOG(ZVLOGLEVEL_ERROR, 1));
}

TEST_F(LogCallTest, ThreadsBuildTheirRecordsAtTheSameTime) {
  constexpr int kThreads = 4;
  constexpr int kMessages = 200;
  std::vector<std::thread> theThreads;
  for (int i = 0; i < kThreads; ++i) {
    theThreads.emplace_back([i] {
      for (int j = 0; j < kMessages; ++j)
        ZV_ERR(F("%d %d\n", i, j));
    });
  }
  for (std::thread &theThread : theThreads)
    theThread.join();
  std::set<std::string> theTexts;
  for (const zvtest::Message &theMessage : mLog.Messages())
    theTexts.insert(theMessage.mText);
  EXPECT_EQ(static_cast<size_t>(kThreads * kMessages), theTexts.size());
}

// ---- Messages with a variable number of arguments ----

TEST_F(LogCallTest, LogFunctionsUseTheDefaultModuleAndTheirOwnLocation) {
  Log_Error("error %d\n", 1);
  Log_Warning("warning %s\n", "two");
  Log_Info("info\n");
  ASSERT_THAT(mLog.Messages(),
              ElementsAre(Error(0, "error 1\n"), Warning(0, "warning two\n"), Info(0, "info\n")));

  std::set<uint32> theLines;
  for (const zvtest::Message &theMessage : mLog.Messages()) {
    EXPECT_THAT(theMessage.mFile, EndsWith("/zvLogFunctions.h"));
    theLines.insert(theMessage.mLine);
  }
  EXPECT_EQ(3u, theLines.size());
  EXPECT_THAT(mLog.Calls(), ElementsAre("Begin 1 0", "Append", "End", "Begin 2 0", "Append", "End",
                                        "Begin 3 0", "Append", "End"));
}

TEST_F(LogCallTest, LogFunctionsTestTheLevel) {
  mLog.SetLevel(2);
  Log_Error("e\n");
  Log_Warning("w\n");
  Log_Info("i\n");
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(0, "e\n")));
  EXPECT_THAT(mLog.Calls(), ElementsAre("Begin 1 0", "Append", "End"));
}

// ---- Assertions ----

struct Record {
  uint32 _mMagicNumber;
};

TEST_F(LogCallTest, AssertReportsTheTextOfAFalseTest) {
  const int theCount = 0;
  zvAssert(theCount == 0);
  EXPECT_THAT(mLog.Assertions(), IsEmpty());

  const uint32 theLine = __LINE__ + 1;
  zvAssert(theCount > 0);
  ASSERT_THAT(mLog.Assertions(), ElementsAre(Asserted("theCount > 0")));
  EXPECT_STREQ(__FILE__, mLog.Assertions()[0].mFile.c_str());
  EXPECT_EQ(theLine, mLog.Assertions()[0].mLine);
}

TEST_F(LogCallTest, AssertDoesNotDependOnTheLevel) {
  mLog.SetLevel(0);
  zvAssert(1 == 2);
  EXPECT_THAT(mLog.Calls(), ElementsAre("Assert 1 == 2"));
}

TEST_F(LogCallTest, AssertFailReportsAlways) {
  const uint32 theLine = __LINE__ + 1;
  zvAssertFail("Not yet implemented");
  ASSERT_THAT(mLog.Assertions(), ElementsAre(Asserted("Not yet implemented")));
  EXPECT_STREQ(__FILE__, mLog.Assertions()[0].mFile.c_str());
  EXPECT_EQ(theLine, mLog.Assertions()[0].mLine);
}

TEST_F(LogCallTest, MagicNumberCheckYieldsTheTextOfTheCheck) {
  Record theRecord = {kzvThread_Magic};
  Record *aThread = &theRecord;
  ZVMAGICNUMBER_CHECK(aThread, kzvThread_Magic);
  EXPECT_THAT(mLog.Assertions(), IsEmpty());

  theRecord._mMagicNumber = 0;
  ZVMAGICNUMBER_CHECK(aThread, kzvThread_Magic);
  aThread = nullptr;
  ZVMAGICNUMBER_CHECK(aThread, kzvThread_Magic);
  const auto theCheck = Asserted("((aThread) != NULL) && ((aThread)->_mMagicNumber == (0xFEEDCABE))");
  EXPECT_THAT(mLog.Assertions(), ElementsAre(theCheck, theCheck));
}

TEST_F(LogCallTest, SafeFreeReleasesAndForgets) {
  char *theText = static_cast<char *>(malloc(10));
  zvSafeFree(theText);
  EXPECT_EQ(nullptr, theText);
  zvSafeFree(theText);
  EXPECT_EQ(nullptr, theText);
}

TEST_F(LogCallTest, WorksInC) {
  EXPECT_EQ(0, ZvTestMutexFromC());

  ZvTestLogFromC(3);
  ZvTestLogFromC(0);
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(42, "number 3\n"), Warning(21, "positive\n"), Info(0, "number 3\n"),
                          Error(42, "number 0\n"), Info(42, "not positive\n"), Info(0, "number 0\n")));

  ZvTestAssertFromC();
  EXPECT_THAT(mLog.Assertions(),
              ElementsAre(Asserted("((theHandle) != NULL) && ((theHandle)->_mMagicNumber == (0xFEEDBABE))"),
                          Asserted("theText != NULL"), Asserted("Not yet implemented")));
}

// ---- The library keeps to the frame ----

class LibraryFrameTest : public ::testing::Test {
 protected:
  LibraryFrameTest() : mMutex(zvMutex_New()) {}
  ~LibraryFrameTest() override { zvMutex_Delete(mMutex); }

  zvtest::RecordingLog mLog;
  zvOSMutex *mMutex;
};

TEST_F(LibraryFrameTest, ErrorsAreNotBegunAtLevelOne) {
  mLog.SetLevel(1);
  EXPECT_EQ(zvMutex_Status_Error, zvMutex_Unlock(mMutex));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(LibraryFrameTest, ErrorsAreBegunAtLevelTwo) {
  mLog.SetLevel(2);
  EXPECT_EQ(zvMutex_Status_Error, zvMutex_Unlock(mMutex));
  EXPECT_THAT(mLog.Calls(), ElementsAre("Begin 1 7", "Append", "End"));
}

TEST_F(LibraryFrameTest, WarningsAreBegunAtLevelThree) {
  const auto MakeThreadWithARefusedStackSize = [] {
    Fault theFault("pthread_attr_setstacksize", EINVAL);
    zvOSThread_Data theData = {
        [](void *) {}, nullptr, nullptr, 0, zvThread_Kind_Joinable, zvThread_Scheduling_Default};
    zvThread_Delete(zvThread_New(&theData));
    EXPECT_EQ(1, theFault.Hits());
  };
  mLog.SetLevel(2);
  MakeThreadWithARefusedStackSize();
  EXPECT_THAT(mLog.Calls(), IsEmpty());

  mLog.SetLevel(3);
  MakeThreadWithARefusedStackSize();
  EXPECT_THAT(mLog.Calls(), ElementsAre("Begin 2 7", "Append", "End"));
}

TEST_F(LibraryFrameTest, ARefusedRecordGetsNoAppendAndNoEnd) {
  mLog.RefuseRecords();
  EXPECT_EQ(zvMutex_Status_Error, zvMutex_Unlock(mMutex));
  EXPECT_THAT(mLog.Calls(), ElementsAre("Begin 1 7"));
}

TEST_F(LibraryFrameTest, MessagesNameTheFileAndTheLineOfTheirModule) {
  zvMutex_Unlock(mMutex);
  {
    Fault theFault("pthread_mutex_lock", EINVAL);
    zvMutex_Lock(mMutex);
  }
  zvMutex_Unlock(mMutex);
  const std::vector<zvtest::Message> theMessages = mLog.Messages();
  ASSERT_THAT(theMessages, ::testing::SizeIs(3));
  for (const zvtest::Message &theMessage : theMessages) {
    EXPECT_THAT(theMessage.mFile, EndsWith("zvOS/posix/zvMutex.posix.cpp"));
  }
  EXPECT_NE(theMessages[0].mLine, theMessages[1].mLine);
  EXPECT_EQ(theMessages[0].mLine, theMessages[2].mLine);
}

TEST_F(LibraryFrameTest, AssertionsNeedNoLevel) {
  mLog.SetLevel(0);
  EXPECT_TRUE(zvtest::LeftAtAssertion([] { zvMutex_IsHeld(nullptr); }));
  zvtest::ExpectOneAssertion(mLog, zvtest::MagicCheck("aMutex", "0xFEEDBABE"), "zvMutex.posix.cpp");
}

TEST_F(LibraryFrameTest, LevelsAndModulesReachTheRecord) {
  zvMutex_Unlock(mMutex);
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Logged(1, 7, "zvOSMutex: unlock failed because not held by caller\n")));
}

}  // namespace
