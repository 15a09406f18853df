// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include <zvOS/cpp/Thread.hpp>

#include "support/Faults.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <malloc.h>
#include <pthread.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

using ::testing::IsEmpty;
using namespace std::chrono_literals;
using namespace zvtest;

int sNumber;

void SetNumber() {
  sNumber = 4711;
}

TEST(CppThread, RunsAnythingCallable) {
  sNumber = 0;
  auto theFunction = zv::Thread::Start(SetNumber);
  ASSERT_TRUE(theFunction);
  theFunction->join();
  EXPECT_EQ(4711, sNumber);

  // What can only be moved is moved, and a result is dropped.
  auto theText = std::make_unique<std::string>("text");
  size_t theLength = 0;
  auto theLambda = zv::Thread::Start([theText = std::move(theText), &theLength]() mutable {
    theLength = theText->size();
    return theLength;
  });
  ASSERT_TRUE(theLambda);
  theLambda->join();
  EXPECT_EQ(4u, theLength);
}

TEST(CppThread, IsJoinableUntilItWasJoined) {
  zv::Semaphore theGo;
  auto theThread = zv::Thread::Start([&] { EXPECT_TRUE(theGo.acquire()); });
  ASSERT_TRUE(theThread);
  EXPECT_TRUE(theThread->joinable());
  EXPECT_NE(0u, theThread->get_id());
  EXPECT_NE(zv::this_thread::get_id(), theThread->get_id());
  theGo.release();
  theThread->join();
  EXPECT_FALSE(theThread->joinable());
  EXPECT_EQ(0u, theThread->get_id());
  theThread->join();
  EXPECT_FALSE(zv::Thread().joinable());
}

TEST(CppThread, IsWaitedForByItsDestructorAndBeforeItIsReplaced) {
  std::atomic<int> theEnded{0};
  const auto Slow = [&] {
    zv::this_thread::sleep_for(20ms);
    ++theEnded;
  };
  {
    const auto theThread = zv::Thread::Start(Slow);
    ASSERT_TRUE(theThread);
  }
  EXPECT_EQ(1, theEnded);
  zv::Thread theThread = *zv::Thread::Start(Slow);
  theThread = zv::Thread();
  EXPECT_EQ(2, theEnded);
}

TEST(CppThread, GoesOnWhenItsObjectMoves) {
  zv::Semaphore theGo;
  zv::Semaphore theDone;
  auto theThread = zv::Thread::Start([&] {
    EXPECT_TRUE(theGo.acquire());
    theDone.release();
  });
  ASSERT_TRUE(theThread);
  zv::Thread theOther = *std::move(theThread);
  EXPECT_FALSE(theThread->joinable());
  theGo.release();
  EXPECT_TRUE(theDone.try_acquire_for(1min));
  theOther.join();
}

TEST(CppThread, SurvivesBeingMovedToItself) {
  zv::Semaphore theGo;
  auto theThread = zv::Thread::Start([&] { EXPECT_TRUE(theGo.try_acquire_for(10s)); });
  ASSERT_TRUE(theThread);
  zv::Thread &theSame = *theThread;
  *theThread = std::move(theSame);
  EXPECT_TRUE(theThread->joinable());
  theGo.release();
}

// Says when it is destroyed, and by which thread.
struct Witness {
  explicit Witness(std::atomic<int> *aCount) : mCount(aCount) {}
  Witness(Witness &&anOther) noexcept : mCount(std::exchange(anOther.mCount, nullptr)) {}
  ~Witness() {
    if (mCount != nullptr) ++*mCount;
  }
  void operator()() const {}

  std::atomic<int> *mCount;
};

TEST(CppThread, DestroysItsCallableOnceWhenItHasRun) {
  std::atomic<int> theDestroyed{0};
  auto theThread = zv::Thread::Start(Witness(&theDestroyed));
  ASSERT_TRUE(theThread);
  theThread->join();
  EXPECT_EQ(1, theDestroyed);
}

TEST(CppThread, ThatCannotBeMadeOrRunReleasesItsCallableAndSaysWhy) {
  const RecordingLog theLog;
  std::atomic<int> theDestroyed{0};
  {
    const Fault theFault("pthread_attr_init", ENOMEM);
    EXPECT_FALSE(zv::Thread::Start(Witness(&theDestroyed)));
    EXPECT_EQ(1, theDestroyed);
  }
  {
    const Fault theFault("sem_init", ENOSPC);
    EXPECT_EQ(ENOSPC, zv::Thread::StartDetached(Witness(&theDestroyed)).error().Errno());
    EXPECT_EQ(2, theDestroyed);
  }
  // The gate does not open; it does for the end of the thread.
  const Fault theFault("sem_post", EOVERFLOW);
  const auto theThread = zv::Thread::Start(Witness(&theDestroyed));
  EXPECT_EQ(zvThread_Status_Error, theThread.error().Status());
  EXPECT_EQ(EOVERFLOW, theThread.error().Errno());
  EXPECT_EQ(3, theDestroyed);
}

// Large enough to be seen in the count of what is allocated; AddressSanitizer counts for itself.
struct Reluctant {
  Reluctant() = default;
  Reluctant(const Reluctant &) { throw std::runtime_error("no copy"); }
  void operator()() const {}

  char mBytes[64 * 1024] = "";
};

TEST(CppThread, ACopyThatThrowsLeavesNothingBehind) {
  const auto theCallable = std::make_unique<Reluctant>();
  EXPECT_THROW(static_cast<void>(zv::Thread::Start(*theCallable)), std::runtime_error);
  const size_t theFormer = mallinfo2().uordblks;
  EXPECT_THROW(static_cast<void>(zv::Thread::Start(*theCallable)), std::runtime_error);
  EXPECT_THROW(static_cast<void>(zv::Thread::StartDetached(*theCallable)), std::runtime_error);
  EXPECT_LT(mallinfo2().uordblks, theFormer + sizeof(Reluctant));
}

TEST(CppThread, CanGoOnAlone) {
  std::atomic<int> theDestroyed{0};
  zv::Semaphore theGo;
  ASSERT_TRUE(zv::Thread::StartDetached(
      [&theGo, theWitness = Witness(&theDestroyed)] { EXPECT_TRUE(theGo.acquire()); }));
  EXPECT_EQ(0, theDestroyed);
  theGo.release();
  EXPECT_TRUE(WaitUntil([&] { return theDestroyed == 1; }));
}

TEST(CppThread, HasTheStackAskedFor) {
  size_t theSize = 0;
  auto theThread = zv::Thread::Start(
      [&] {
        pthread_attr_t theAttributes;
        if (pthread_getattr_np(pthread_self(), &theAttributes) != 0) return;
        pthread_attr_getstacksize(&theAttributes, &theSize);
        pthread_attr_destroy(&theAttributes);
      },
      512 * 1024);
  ASSERT_TRUE(theThread);
  theThread->join();
  EXPECT_GE(theSize, 512u * 1024);  // sanitizers take some more
}

TEST(CppThread, SleepsAsLongAsAskedFor) {
  uint64 theMicroseconds = 0;
  Fault theFault("usleep", 0, 0, -1);
  theFault.Returning(0).Doing(
      [&](const long long *anArguments) { theMicroseconds += static_cast<uint32>(anArguments[0]); });
  zv::this_thread::sleep_for(5ms);
  EXPECT_EQ(5000u, theMicroseconds);
  theMicroseconds = 0;
  zv::this_thread::sleep_for(24h);
  EXPECT_EQ(uint64{24} * 3600 * 1000000, theMicroseconds);
}

TEST(CppThread, CanBeHandedToTheFlatInterface) {
  std::atomic<int> theDestroyed{0};
  auto theThread = zv::Thread::Start(Witness(&theDestroyed));
  ASSERT_TRUE(theThread);
  zvOSThread *const theHandle = theThread->Release();
  EXPECT_FALSE(*theThread);
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theHandle));
  zvThread_Delete(theHandle);
  EXPECT_EQ(1, theDestroyed);
}

TEST(CppThread, IsTakenOverFromTheFlatInterface) {
  std::atomic<int> theRuns{0};
  const auto Count = [](void *aCount) { ++*static_cast<std::atomic<int> *>(aCount); };
  const zvOSThread_Data theData = {
      Count, nullptr, &theRuns, 0, zvThread_Kind_Joinable, zvThread_Scheduling_Default};
  zvOSThread *const theHandle = zvThread_New(&theData);
  ASSERT_NE(nullptr, theHandle);
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theHandle));
  {
    const zv::Thread theThread(theHandle);
    EXPECT_TRUE(theThread.joinable());
  }
  EXPECT_EQ(1, theRuns);
  // One that was not run ends without it.
  { const zv::Thread theThread(zvThread_New(&theData)); }
  EXPECT_EQ(1, theRuns);
}

}  // namespace
