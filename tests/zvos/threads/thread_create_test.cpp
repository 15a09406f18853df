// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Threads: what creation asks of the system and what becomes of each refusal, stack sizes, detached threads.

#include "thread_support.h"

using namespace zvtest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest::threads;

namespace {

// --- creation -----------------------------------------------------------------------------

TEST_F(Thread, NewWithoutMemoryReturnsNullSilently) {
  const zvOSThread_Data theData = Joinable(mWork);
  Fault theFault("malloc", ENOMEM);
  zvOSThread *theThread = zvThread_New(&theData);
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_EQ(nullptr, theThread);
  ExpectNothingLogged();
}

TEST_F(Thread, NewWithoutAGateReturnsNull) {
  const zvOSThread_Data theData = Joinable(mWork);
  const int theAttributes = CallsOf("pthread_attr_init");
  Fault theFault("sem_init", ENOSPC);
  EXPECT_EQ(nullptr, zvThread_New(&theData));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_EQ(theAttributes, CallsOf("pthread_attr_init"));
  // The semaphore deletes itself through its own Delete, which destroys what was never made.
  const std::vector<Message> theMessages = mLog.Messages();
  ASSERT_FALSE(theMessages.empty());
  EXPECT_THAT(theMessages[0], Error(7, Format("zvOSSemaphore: sem_init failed (error = %d)\n", ENOSPC)));
  for (const Message &theMessage : theMessages)
    EXPECT_THAT(theMessage.mText, ::testing::StartsWith("zvOSSemaphore: "));
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
}

TEST_F(Thread, NewWithoutAttributesReturnsNullSilently) {
  const zvOSThread_Data theData = Joinable(mWork);
  const int theDestructions = CallsOf("pthread_attr_destroy");
  const int theCreations = CallsOf("pthread_create");
  const int theGates = CallsOf("sem_destroy");
  Fault theFault("pthread_attr_init", ENOMEM);
  EXPECT_EQ(nullptr, zvThread_New(&theData));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_EQ(theDestructions, CallsOf("pthread_attr_destroy"));
  EXPECT_EQ(theCreations, CallsOf("pthread_create"));
  EXPECT_EQ(theGates + 1, CallsOf("sem_destroy"));
  ExpectNothingLogged();
}

TEST_F(Thread, NewWithoutADetachStateReturnsNullSilently) {
  const zvOSThread_Data theData = Joinable(mWork);
  const int theDestructions = CallsOf("pthread_attr_destroy");
  const int theCreations = CallsOf("pthread_create");
  const int theGates = CallsOf("sem_destroy");
  Fault theFault("pthread_attr_setdetachstate", EINVAL);
  EXPECT_EQ(nullptr, zvThread_New(&theData));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_EQ(theDestructions + 1, CallsOf("pthread_attr_destroy"));
  EXPECT_EQ(theCreations, CallsOf("pthread_create"));
  EXPECT_EQ(theGates + 1, CallsOf("sem_destroy"));
  ExpectNothingLogged();
}

TEST_F(Thread, NewThatCannotCreateLogsItAndReturnsNull) {
  const zvOSThread_Data theData = Joinable(mWork);
  const int theDestructions = CallsOf("pthread_attr_destroy");
  const int theGates = CallsOf("sem_destroy");
  Fault theFault("pthread_create", kOddErrno);
  theFault.Returning(EAGAIN);
  EXPECT_EQ(nullptr, zvThread_New(&theData));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_EQ(theDestructions + 1, CallsOf("pthread_attr_destroy"));
  EXPECT_EQ(theGates + 1, CallsOf("sem_destroy"));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(7, Format("zvOSThread: Cannot create thread (errno = %d)\n", kOddErrno))));
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
  EXPECT_EQ(0, mWork.mRuns);
}

TEST_F(Thread, NewGoesOnWhenTheAttributesCannotBeDestroyed) {
  const zvOSThread_Data theData = Joinable(mWork);
  zvOSThread *theThread;
  {
    Fault theFault("pthread_attr_destroy", kOddErrno);
    theFault.Returning(EINVAL);
    theThread = zvThread_New(&theData);
    EXPECT_EQ(1, theFault.Hits());
  }
  ASSERT_NE(nullptr, theThread);
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(7, Format("zvOSThread: Error destroying thread attributes (errno = %d)\n", EINVAL))));
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Wait(theThread));
  EXPECT_EQ(1, mWork.mRuns);
  zvThread_Delete(theThread);
}

TEST_F(Thread, NewLogsBothTheFailedCreationAndTheFailedDestruction) {
  const zvOSThread_Data theData = Joinable(mWork);
  Fault theCreation("pthread_create", 701);
  theCreation.Returning(EAGAIN);
  Fault theDestruction("pthread_attr_destroy", 702);
  theDestruction.Returning(EINVAL);
  EXPECT_EQ(nullptr, zvThread_New(&theData));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(7, "zvOSThread: Cannot create thread (errno = 701)\n"),
                  Error(7, Format("zvOSThread: Error destroying thread attributes (errno = %d)\n", EINVAL))));
}

TEST_F(Thread, FailedNewOfADetachedThreadShowsTheAssertionsOfDelete) {
  const zvOSThread_Data theData = Detached(mWork);
  Fault theFault("pthread_create", kOddErrno);
  theFault.Returning(EAGAIN);
  EXPECT_EQ(nullptr, zvThread_New(&theData));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(7, Format("zvOSThread: Cannot create thread (errno = %d)\n", kOddErrno))));
  // Once by Delete and once by the Wait that it makes.
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted(kDetachedText), Asserted(kDetachedText)));
  EXPECT_EQ(0, mWork.mRuns);
  EXPECT_EQ(0, mWork.mDeletes);
}

TEST_F(Thread, NewAsksForTheDetachStateOfItsKind) {
  std::vector<int> theStates;
  Fault theFault("pthread_attr_setdetachstate", 0, 0, -1);
  theFault.PassingThrough().Doing(
      [&](const long long *anArguments) { theStates.push_back(static_cast<int>(anArguments[1])); });
  RunToTheEnd(Joinable(mWork));
  zvOSThread *const theThread = NewThread(Detached(mWork));
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  ASSERT_TRUE(mWork.mDeleted.Wait());
  EXPECT_THAT(theStates, ElementsAre(PTHREAD_CREATE_JOINABLE, PTHREAD_CREATE_DETACHED));
  ExpectNothingLogged();
}

// --- stack sizes --------------------------------------------------------------------------------

struct StackSizes {
  std::vector<size_t> mAsked;
  size_t mSeenByTheThread;
};

StackSizes RunWithStackSize(Work &aWork, size_t aStackSize) {
  StackSizes theSizes = {};
  Fault theFault("pthread_attr_setstacksize", 0, 0, -1);
  theFault.PassingThrough().Doing(
      [&](const long long *anArguments) { theSizes.mAsked.push_back(static_cast<size_t>(anArguments[1])); });
  RunToTheEnd(Joinable(aWork, DoWork, aStackSize));
  theSizes.mSeenByTheThread = aWork.mStackSize;
  return theSizes;
}

// Stack size of a thread with untouched attributes.
size_t DefaultStackSize() {
  size_t theSize = 0;
  pthread_t theThread;
  const auto theBody = [](void *anArgument) -> void * {
    *static_cast<size_t *>(anArgument) = StackSizeOfThisThread();
    return nullptr;
  };
  if (pthread_create(&theThread, nullptr, theBody, &theSize) == 0) pthread_join(theThread, nullptr);
  return theSize;
}

// Sanitizers enlarge stacks for themselves.
void ExpectStack(size_t anExpected, size_t aSeen) {
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
  EXPECT_GE(aSeen, anExpected);
#else
  EXPECT_EQ(anExpected, aSeen);
#endif
}

TEST_F(Thread, StackSizeZeroMeansTheLibrarysDefault) {
  const StackSizes theSizes = RunWithStackSize(mWork, 0);
  EXPECT_THAT(theSizes.mAsked, ElementsAre(131072u));
  ExpectStack(131072, theSizes.mSeenByTheThread);
  ExpectNothingLogged();
}

TEST_F(Thread, StackSizeOneLeavesTheSystemsDefault) {
  const StackSizes theSizes = RunWithStackSize(mWork, 1);
  EXPECT_THAT(theSizes.mAsked, IsEmpty());
  EXPECT_EQ(DefaultStackSize(), theSizes.mSeenByTheThread);
  ExpectNothingLogged();
}

TEST_F(Thread, AnyOtherStackSizeIsUsed) {
  const StackSizes theSizes = RunWithStackSize(mWork, 512 * 1024);
  EXPECT_THAT(theSizes.mAsked, ElementsAre(524288u));
  ExpectStack(524288, theSizes.mSeenByTheThread);
  ExpectNothingLogged();
}

TEST_F(Thread, RefusedStackSizeIsAWarningAndTheDefaultIsUsed) {
  // 2 bytes are below the smallest stack of every system.
  const StackSizes theSizes = RunWithStackSize(mWork, 2);
  EXPECT_THAT(theSizes.mAsked, ElementsAre(2u));
  EXPECT_EQ(DefaultStackSize(), theSizes.mSeenByTheThread);
  EXPECT_EQ(1, mWork.mRuns);
  const std::vector<Message> theMessages = mLog.Messages();
  ASSERT_EQ(1u, theMessages.size());
  EXPECT_EQ(2, theMessages[0].mLevel);
  EXPECT_EQ(7, theMessages[0].mModule);
  EXPECT_THAT(theMessages[0].mText,
              ::testing::StartsWith("zvOSThread: Could not set stack size to 2 bytes (errno = "));
}

TEST_F(Thread, RefusedStackSizeIsLoggedWithTheSizeAskedForAndErrno) {
  const auto theMessage = [](unsigned theSize) {
    return Warning(
        7, Format("zvOSThread: Could not set stack size to %u bytes (errno = %d)\n", theSize, kOddErrno));
  };
  {
    Fault theFault("pthread_attr_setstacksize", kOddErrno);
    theFault.Returning(EINVAL);
    RunToTheEnd(Joinable(mWork, DoWork, 65536));
  }
  {
    Fault theFault("pthread_attr_setstacksize", kOddErrno);
    theFault.Returning(EINVAL);
    RunToTheEnd(Joinable(mWork, DoWork, 0));
  }
  EXPECT_THAT(mLog.Messages(), ElementsAre(theMessage(65536), theMessage(131072)));
  EXPECT_EQ(2, mWork.mRuns);
}

// --- detached threads ---------------------------------------------------------------------------

TEST_F(Thread, DetachedThreadNeedsNoDeleteFunction) {
  zvOSThread_Data theData = Detached(mWork, WorkUntilAllowedToEnd);
  theData.mDeleteFunc = nullptr;
  zvOSThread *const theThread = NewThread(theData);
  Event theEnd;
  Fault theFault("sem_destroy", 0, 0, -1);
  theFault.PassingThrough().Doing([&](const long long *) { theEnd.Report(); }).AnyThread();
  EXPECT_EQ(zvThread_Status_NoError, zvThread_Run(theThread));
  ASSERT_TRUE(mWork.mRunning.Wait());
  mWork.mMayEnd.Report();
  EXPECT_TRUE(theEnd.Wait()) << "the gate of the thread was not deleted";
  EXPECT_EQ(0, mWork.mDeletes);
  ExpectNothingLogged();
}

}  // namespace
