// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Threads: sleeping, priorities, identities.

#include "thread_support.h"

using namespace zvtest;
using ::testing::ElementsAre;
using namespace zvtest::threads;

namespace {

// --- sleeping -----------------------------------------------------------------------------------

uint32 MicrosecondsAskedFor(uint32 aMilliseconds) {
  uint32 theMicroseconds = 12345;
  Fault theFault("usleep", 0);
  theFault.Returning(0).Doing(
      [&](const long long *anArguments) { theMicroseconds = static_cast<uint32>(anArguments[0]); });
  zvThread_Sleep(aMilliseconds);
  EXPECT_EQ(1, theFault.Hits());
  return theMicroseconds;
}

TEST_F(Thread, SleepAsksForThousandMicrosecondsPerMillisecondIn32Bits) {
  EXPECT_EQ(0u, MicrosecondsAskedFor(0));
  EXPECT_EQ(1000u, MicrosecondsAskedFor(1));
  EXPECT_EQ(1500000u, MicrosecondsAskedFor(1500));
  EXPECT_EQ(4294967000u, MicrosecondsAskedFor(4294967));
  EXPECT_EQ(704u, MicrosecondsAskedFor(4294968));
  EXPECT_EQ(4294966296u, MicrosecondsAskedFor(0xFFFFFFFF));
  ExpectNothingLogged();
}

TEST_F(Thread, SleepReallySleeps) {
  timespec theStart;
  timespec theEnd;
  clock_gettime(CLOCK_MONOTONIC, &theStart);
  zvThread_Sleep(20);
  clock_gettime(CLOCK_MONOTONIC, &theEnd);
  const long long theNanoseconds =
      (theEnd.tv_sec - theStart.tv_sec) * 1000000000LL + (theEnd.tv_nsec - theStart.tv_nsec);
  EXPECT_GE(theNanoseconds, 20000000);
}

TEST_F(Thread, FailingSleepIsNotReported) {
  Fault theFault("usleep", EINTR);
  zvThread_Sleep(10);
  EXPECT_EQ(1, theFault.Hits());
  ExpectNothingLogged();
}

// --- priorities ---------------------------------------------------------------------------------

// The priority that is stored into the attributes when the system's range is as given.
int ComputedPriority(uint16 aPriority, int aMin, int aMax) {
  int theResult = INT_MIN;
  Fault theMin("sched_get_priority_min", 0);
  theMin.Returning(aMin);
  Fault theMax("sched_get_priority_max", 0);
  theMax.Returning(aMax);
  Fault theStore("pthread_attr_setschedparam", 0);
  theStore.Returning(0).Doing([&](const long long *anArguments) {
    theResult = reinterpret_cast<const sched_param *>(static_cast<intptr_t>(anArguments[1]))->sched_priority;
  });
  EXPECT_EQ(zvThread_Status_NoError, zvThread_SetPriority(aPriority));
  EXPECT_EQ(1, theMin.Hits());
  EXPECT_EQ(1, theMax.Hits());
  EXPECT_EQ(1, theStore.Hits());
  return theResult;
}

TEST_F(Thread, PriorityIsMappedIntoTheRangeOfTheSystem) {
  EXPECT_EQ(1, ComputedPriority(0, 1, 99));
  EXPECT_EQ(1, ComputedPriority(1, 1, 99));
  EXPECT_EQ(2, ComputedPriority(2, 1, 99));
  EXPECT_EQ(50, ComputedPriority(50, 1, 99));
  EXPECT_EQ(98, ComputedPriority(99, 1, 99));
  EXPECT_EQ(99, ComputedPriority(100, 1, 99));
  EXPECT_EQ(0, ComputedPriority(100, 0, 0));
  ExpectNothingLogged();
}

TEST_F(Thread, PriorityOfARangeBelowZeroTruncatesTowardZero) {
  EXPECT_EQ(-20, ComputedPriority(0, -20, 19));
  EXPECT_EQ(-1, ComputedPriority(50, -20, 19));
  EXPECT_EQ(-1, ComputedPriority(51, -20, 19));
  EXPECT_EQ(0, ComputedPriority(52, -20, 19));
  EXPECT_EQ(-15, ComputedPriority(33, -20, -2));
  ExpectNothingLogged();
}

TEST_F(Thread, PriorityAboveHundredIsLoggedAndCountsAsHundred) {
  EXPECT_EQ(99, ComputedPriority(150, 1, 99));
  const auto theMessage = [](unsigned aPriority) {
    return Format("zvOSThread:SetPriority: invalid value for the thread priority %u: using max priority\n",
                  aPriority);
  };
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(7, theMessage(150))));
  mLog.Clear();
  EXPECT_EQ(99, ComputedPriority(65535, 1, 99));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(7, theMessage(65535))));
  mLog.Clear();
  EXPECT_EQ(99, ComputedPriority(101, 1, 99));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(7, theMessage(101))));
}

TEST_F(Thread, PriorityHasNoEffectOnTheCallingThread) {
  int thePolicy;
  sched_param theBefore = {};
  ASSERT_EQ(0, pthread_getschedparam(pthread_self(), &thePolicy, &theBefore));
  const int theDestructions = CallsOf("pthread_attr_destroy");
  EXPECT_EQ(zvThread_Status_NoError, zvThread_SetPriority(75));
  EXPECT_EQ(theDestructions, CallsOf("pthread_attr_destroy"));
  int thePolicyAfter;
  sched_param theAfter = {};
  ASSERT_EQ(0, pthread_getschedparam(pthread_self(), &thePolicyAfter, &theAfter));
  EXPECT_EQ(thePolicy, thePolicyAfter);
  EXPECT_EQ(theBefore.sched_priority, theAfter.sched_priority);
  ExpectNothingLogged();
}

struct PriorityFailure {
  const char *mFunction;
  const char *mMessage;
};

class FailingPriority : public ::testing::TestWithParam<PriorityFailure> {};

TEST_P(FailingPriority, IsLoggedAndReturned) {
  RecordingLog theLog;
  Fault theFault(GetParam().mFunction, kOddErrno);
  theFault.Returning(EINVAL);
  EXPECT_EQ(zvThread_Status_Error, zvThread_SetPriority(50));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(theLog.Messages(),
              ElementsAre(Error(7, std::string(GetParam().mMessage) + Format(" (errno = %d)\n", EINVAL))));
}

INSTANTIATE_TEST_SUITE_P(
    Calls, FailingPriority,
    ::testing::Values(PriorityFailure{"pthread_attr_init",
                                      "zvOSThread:SetPriority: pthread_attr_init failed"},
                      PriorityFailure{"pthread_attr_getschedpolicy",
                                      "zvOSThread:SetPriority: Cannot get thread scheduling policy"},
                      PriorityFailure{"pthread_attr_getschedparam",
                                      "zvOSThread:SetPriority: pthread_attr_getschedparam failed"},
                      PriorityFailure{"pthread_attr_setschedparam",
                                      "zvOSThread:SetPriority: pthread_attr_setschedparam failed"}),
    [](const ::testing::TestParamInfo<PriorityFailure> &anInfo) {
      return std::string(anInfo.param.mFunction);
    });

struct PriorityRange {
  int mMin;
  int mMax;
};

class InvalidPriorityRange : public ::testing::TestWithParam<PriorityRange> {};

TEST_P(InvalidPriorityRange, IsLoggedAndReturned) {
  RecordingLog theLog;
  Fault theMin("sched_get_priority_min", 0);
  theMin.Returning(GetParam().mMin);
  Fault theMax("sched_get_priority_max", 0);
  theMax.Returning(GetParam().mMax);
  const int theStores = CallsOf("pthread_attr_setschedparam");
  EXPECT_EQ(zvThread_Status_Error, zvThread_SetPriority(50));
  EXPECT_EQ(theStores, CallsOf("pthread_attr_setschedparam"));
  EXPECT_THAT(theLog.Messages(),
              ElementsAre(Error(7, "zvOSThread:SetPriority: Cannot get valid priority range\n")));
}

INSTANTIATE_TEST_SUITE_P(Ranges, InvalidPriorityRange,
                         ::testing::Values(PriorityRange{-1, 99}, PriorityRange{1, -1}, PriorityRange{-1, -1},
                                           PriorityRange{-20, -1}, PriorityRange{5, 4}));

// --- identities ---------------------------------------------------------------------------------

TEST_F(Thread, IdentitiesAreThoseOfTheSystem) {
  EXPECT_EQ(static_cast<uint32>(getpid()), zvThread_GetPID());
  EXPECT_EQ(static_cast<uint32>(pthread_self()), zvThread_GetCurrentThreadID());

  zvOSThread *const theThread = NewThread(Joinable(mWork));
  const uint32 theID = zvThread_GetID(theThread);
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
  EXPECT_EQ(theID, mWork.mThreadID);
  EXPECT_NE(zvThread_GetCurrentThreadID(), mWork.mThreadID);
  zvThread_Delete(theThread);
  ExpectNothingLogged();
}

}  // namespace
