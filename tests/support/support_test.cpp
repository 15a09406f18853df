// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The means of the other tests: what they report must be true.

#include <zvOS/zvMutex.h>
#include <zvOS/zvSemaphore.h>
#include <zvOS/zvTime.h>

#include "support/Alone.h"
#include "support/Faults.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <gtest/gtest-spi.h>

#include <semaphore.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <thread>

namespace {

using ::testing::ElementsAre;
using namespace zvtest;

TEST(Faults, FailTheWantedCallsOnly) {
  zvOSSemaphore *const theSemaphore = zvSemaphore_New(5);
  {
    Fault theFault("sem_trywait", EAGAIN, 1, 2);
    EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_TryWait(theSemaphore));
    EXPECT_EQ(0, theFault.Hits());
    EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_TryWait(theSemaphore));
    EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_TryWait(theSemaphore));
    EXPECT_EQ(2, theFault.Hits());
    EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_TryWait(theSemaphore));
  }
  {
    Fault theFault("sem_trywait", EAGAIN, 0, -1);
    for (int i = 0; i < 5; ++i)
      EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_TryWait(theSemaphore));
    EXPECT_EQ(5, theFault.Hits());
  }
  EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_TryWait(theSemaphore));
  zvSemaphore_Delete(theSemaphore);
}

TEST(Faults, ConcernTheirOwnThread) {
  zvOSSemaphore *const theSemaphore = zvSemaphore_New(5);
  Fault theFault("sem_trywait", EAGAIN, 0, -1);
  std::thread([&] { EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_TryWait(theSemaphore)); }).join();
  theFault.AnyThread();
  std::thread([&] { EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_TryWait(theSemaphore)); }).join();
  EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_TryWait(theSemaphore));
  EXPECT_EQ(2, theFault.Hits());
  zvSemaphore_Delete(theSemaphore);
}

TEST(Faults, LeaveOtherCallersAlone) {
  Fault theFault("sem_trywait", EINVAL, 0, -1);
  Fault theMalloc("malloc", ENOMEM, 0, -1);
  sem_t theSemaphore;
  sem_init(&theSemaphore, 0, 1);
  EXPECT_EQ(0, sem_trywait(&theSemaphore));
  sem_destroy(&theSemaphore);
  EXPECT_EQ(std::string(1000, 'x'), std::string(500, 'x') + std::string(500, 'x'));
  EXPECT_EQ(0, theFault.Hits());
  EXPECT_EQ(0, theMalloc.Hits());
  EXPECT_EQ(nullptr, zvMutex_New());
}

TEST(Faults, OfOneFunctionStack) {
  zvOSMutex *const theMutex = zvMutex_New();
  zvtest::RecordingLog theLog;
  Fault theSecond("pthread_mutex_lock", EPERM);
  Fault theFirst("pthread_mutex_lock", EAGAIN);
  EXPECT_EQ(zvMutex_Status_Error, zvMutex_Lock(theMutex));
  EXPECT_EQ(1, theFirst.Hits());
  EXPECT_EQ(0, theSecond.Hits());
  EXPECT_EQ(zvMutex_Status_Error, zvMutex_Lock(theMutex));
  EXPECT_EQ(1, theSecond.Hits());
  EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Lock(theMutex));
  EXPECT_EQ(zvMutex_Status_NoError, zvMutex_Unlock(theMutex));
  zvMutex_Delete(theMutex);
}

TEST(Faults, PassingThroughReallyCalls) {
  zvOSSemaphore *const theSemaphore = zvSemaphore_New(1);
  int theActions = 0;
  Fault theFault("sem_trywait", 0, 0, -1);
  theFault.PassingThrough().Doing([&](const long long *) {
    ++theActions;
    errno = EDOM;
  });
  EXPECT_EQ(zvSemaphore_Status_NoError, zvSemaphore_TryWait(theSemaphore));
  EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_TryWait(theSemaphore));
  EXPECT_EQ(2, theActions);
  zvSemaphore_Delete(theSemaphore);
}

TEST(Faults, CountTheLibrarysCalls) {
  const int theCalls = CallsOf("gettimeofday");
  zvtimeval theTime;
  zvTime_GetTimeOfDay(&theTime);
  EXPECT_EQ(theCalls + 1, CallsOf("gettimeofday"));
  std::thread([&] { zvTime_GetTimeOfDay(&theTime); }).join();
  EXPECT_EQ(theCalls + 1, CallsOf("gettimeofday"));
}

TEST(Faults, OfAFunctionThatTheLibraryDoesNotCallFailTheTest) {
  EXPECT_NONFATAL_FAILURE(Fault("realloc", ENOMEM), "the library does not call realloc()");
}

TEST(RecordingLog, NestsTheRecordsOfAThread) {
  zvtest::RecordingLog theLog;
  zvLogData *const theOuter = zvLog_Begin(1, 7);
  zvLog_Append_F("outer %d", 1);
  zvLogData *const theInner = zvLog_Begin(2, 8);
  zvLog_Append_F("inner");
  zvLog_End(theInner);
  zvLog_Append_F(" end");
  zvLog_End(theOuter);
  EXPECT_THAT(theLog.Messages(), ElementsAre(zvtest::Warning(8, "inner"), zvtest::Error(7, "outer 1 end")));
}

TEST(RecordingLog, SpoilsErrnoOnlyWhenAsked) {
  zvtest::RecordingLog theLog;
  errno = ERANGE;
  zvLog_End(zvLog_Begin(1, 7));
  EXPECT_EQ(ERANGE, errno);
  theLog.SpoilErrno(EDOM);
  zvLog_End(zvLog_Begin(1, 7));
  EXPECT_EQ(EDOM, errno);
}

TEST(RecordingLog, LeavesACallAtItsAssertion) {
  zvtest::RecordingLog theLog;
  EXPECT_FALSE(zvtest::LeftAtAssertion([] {}));
  EXPECT_TRUE(zvtest::LeftAtAssertion([] { _zvAssert("text", "file", 3); }));
  _zvAssert("another", "file", 4);
  EXPECT_THAT(theLog.Assertions(), ElementsAre(zvtest::Asserted("text"), zvtest::Asserted("another")));
}

TEST(Children, TellTheirStatusAndOutput) {
  const ChildResult theResult = RunInChild([] {
    printf("to the output\n");
    fprintf(stderr, "to the error\n");
    return 7;
  });
  EXPECT_FALSE(theResult.mfSignaled);
  EXPECT_FALSE(theResult.mfTimedOut);
  EXPECT_EQ(7, theResult.mStatus);
  EXPECT_EQ("to the output\n", theResult.mOutput);
  EXPECT_EQ("to the error\n", theResult.mError);
}

TEST(Children, TellTheSignalThatEndedThem) {
  const ChildResult theResult = RunInChild([] {
    signal(SIGTERM, SIG_DFL);
    raise(SIGTERM);
    return 0;
  });
  EXPECT_TRUE(theResult.mfSignaled);
  EXPECT_EQ(SIGTERM, theResult.mSignal);
}

TEST(Children, AreEndedWhenTheirTimeIsOver) {
  const ChildResult theResult = RunInChild(
      [] {
        for (;;)
          pause();
        return 0;
      },
      0.2);
  EXPECT_TRUE(theResult.mfTimedOut);
  EXPECT_TRUE(theResult.mfSignaled);
  EXPECT_EQ(SIGKILL, theResult.mSignal);
  EXPECT_GE(theResult.mSeconds, 0.2);
}

TEST(Children, DeliverMoreOutputThanAPipeHolds) {
  const ChildResult theResult = RunInChild([] {
    for (int i = 0; i < 3000; ++i)
      printf("%099d\n", i);
    return 0;
  });
  EXPECT_EQ(300000u, theResult.mOutput.size());
}

TEST(Children, RunProgramsOfTheBuild) {
  const ChildResult theResult =
      RunProgram(zvtest::OwnProgram(), {"--gtest_list_tests", "--gtest_filter=Children.Run*"});
  EXPECT_EQ(0, theResult.mStatus) << theResult.mError;
  EXPECT_THAT(theResult.mOutput, ::testing::HasSubstr("RunProgramsOfTheBuild"));
  EXPECT_EQ(0, access(zvtest::BuiltLibrary("libzvOS.so").c_str(), R_OK));
}

TEST(Children, GetTheEnvironmentTheyAreGiven) {
  const ChildResult theResult =
      RunProgram(zvtest::OwnProgram(), {"--gtest_list_tests"}, {"GTEST_FILTER=Children.Get*"});
  EXPECT_THAT(theResult.mOutput, ::testing::HasSubstr("GetTheEnvironmentTheyAreGiven"));
  EXPECT_THAT(theResult.mOutput, ::testing::Not(::testing::HasSubstr("RunProgramsOfTheBuild")));
}

TEST(Children, ThatCannotBeStartedSaySo) {
  const ChildResult theResult = RunProgram("/nonexistent/program", {});
  EXPECT_FALSE(theResult.mfSignaled);
  EXPECT_NE(0, theResult.mStatus);
  // The emulator does not say why.
  if (std::string(ZVTEST_EMULATOR).empty()) {
    EXPECT_NE("", theResult.mError);
  }
}

TEST(TempFolder, GoesWithItsContents) {
  std::string thePath;
  {
    const zvtest::TempFolder theFolder;
    thePath = theFolder.Path();
    ASSERT_EQ(0, mkdir(theFolder.File("inner").c_str(), 0700));
    zvtest::WriteWholeFile(theFolder.File("inner/file"), std::string("a\0b", 3));
    EXPECT_EQ(std::string("a\0b", 3), zvtest::ReadWholeFile(theFolder.File("inner/file")));
  }
  EXPECT_EQ(-1, access(thePath.c_str(), F_OK));
}

TEST(WaitUntil, TellsWhetherItHeld) {
  int theTries = 0;
  EXPECT_TRUE(zvtest::WaitUntil([&] { return ++theTries == 3; }));
  EXPECT_FALSE(zvtest::WaitUntil([] { return false; }, 0.01));
}

}  // namespace
