// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include <zvOS/zvCriticalSection.h>

#include "support/HandleChecks.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <thread>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;

auto Failed(const char *aCall, int anError) {
  return zvtest::Failed("zvOSCriticalSection", aCall, anError);
}

class CriticalSectionTest : public ::testing::Test {
 protected:
  CriticalSectionTest() : mSection(zvCriticalSection_New()) {}
  ~CriticalSectionTest() override { zvCriticalSection_Delete(mSection); }

  zvtest::RecordingLog mLog;
  zvOSCriticalSection *mSection;
};

TEST_F(CriticalSectionTest, NewMakesARecursiveMutex) {
  int theType = -1;
  Fault theFault("pthread_mutexattr_settype", 0);
  theFault.PassingThrough().Doing(
      [&](const long long *anArguments) { theType = static_cast<int>(anArguments[1]); });
  zvCriticalSection_Delete(zvCriticalSection_New());
  EXPECT_EQ(PTHREAD_MUTEX_RECURSIVE, theType);
}

TEST_F(CriticalSectionTest, EnteredTwiceIsLeftByTheSecondLeave) {
  EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Enter(mSection));
  EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Enter(mSection));
  int theLeaves = 0;
  std::atomic<bool> theOtherTries{false};
  std::thread theOther([&] {
    theOtherTries = true;
    EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Enter(mSection));
    EXPECT_EQ(2, theLeaves);
    EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Leave(mSection));
  });
  while (!theOtherTries)
    std::this_thread::yield();
  theLeaves = 1;
  EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Leave(mSection));
  theLeaves = 2;
  EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Leave(mSection));
  theOther.join();
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(CriticalSectionTest, AFailingEnterIsLogged) {
  Fault theFault("pthread_mutex_lock", EAGAIN);
  EXPECT_EQ(zvCriticalSection_Status_Error, zvCriticalSection_Enter(mSection));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_mutex_lock", EAGAIN)));
}

TEST_F(CriticalSectionTest, AFailingLeaveIsLogged) {
  zvCriticalSection_Enter(mSection);
  {
    Fault theFault("pthread_mutex_unlock", EINVAL);
    EXPECT_EQ(zvCriticalSection_Status_Error, zvCriticalSection_Leave(mSection));
  }
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_mutex_unlock", EINVAL)));
  EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Leave(mSection));
}

TEST_F(CriticalSectionTest, LeaveOutsideIsAnsweredByTheSystem) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "ThreadSanitizer reports the misuse that this test commits";
#endif
  const int theUnlocks = CallsOf("pthread_mutex_unlock");
  EXPECT_EQ(zvCriticalSection_Status_Error, zvCriticalSection_Leave(mSection));
  EXPECT_EQ(theUnlocks + 1, CallsOf("pthread_mutex_unlock"));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_mutex_unlock", EPERM)));
}

TEST_F(CriticalSectionTest, LeaveByAnotherThreadIsRefusedBySystem) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "ThreadSanitizer reports the misuse that this test commits";
#endif
  zvCriticalSection_Enter(mSection);
  std::thread([&] { EXPECT_EQ(zvCriticalSection_Status_Error, zvCriticalSection_Leave(mSection)); }).join();
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("pthread_mutex_unlock", EPERM)));
  EXPECT_EQ(zvCriticalSection_Status_NoError, zvCriticalSection_Leave(mSection));
}

TEST_F(CriticalSectionTest, ThreadsExcludeEachOther) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 2000;
  int theCount = 0;
  std::vector<std::thread> theThreads;
  for (int i = 0; i < kThreads; ++i) {
    theThreads.emplace_back([&] {
      for (int j = 0; j < kRounds; ++j) {
        zvCriticalSection_Enter(mSection);
        ++theCount;
        zvCriticalSection_Leave(mSection);
      }
    });
  }
  for (std::thread &theThread : theThreads)
    theThread.join();
  EXPECT_EQ(kThreads * kRounds, theCount);
}

}  // namespace
