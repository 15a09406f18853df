// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Waiting for sockets: what a wait reports, and the trigger that ends one.

#include "socket_select_checks.h"
#include "support/Threads.h"

#include <pthread.h>
#include <sys/syscall.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

namespace {

using namespace zvtest::selects;

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;
using zvtest::net::ClosedDescriptor;
using zvtest::net::Socket;

// ---- Triggers ----

TEST_F(SocketSelect, ATriggerEndsTheNextWaitAtOnceAndNoOther) {
  zvSocketSelect_Trigger(mSelect);
  EXPECT_EQ(1, WaitFor(60000, &mfTriggered));
  EXPECT_EQ(1, mfTriggered);

  const auto theStart = std::chrono::steady_clock::now();
  mfTriggered = kNotSet;
  EXPECT_EQ(0, WaitFor(30, &mfTriggered));
  EXPECT_GE(std::chrono::steady_clock::now() - theStart, std::chrono::milliseconds(30));
  EXPECT_EQ(0, mfTriggered);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketSelect, TriggersInARowCountAsOne) {
  for (const int theCount : {3, 1000}) {
    SCOPED_TRACE(theCount);
    for (int i = 0; i < theCount; ++i)
      zvSocketSelect_Trigger(mSelect);
    EXPECT_EQ(1, WaitFor(60000, &mfTriggered));
    EXPECT_EQ(1, mfTriggered);
    EXPECT_EQ(0, BytesIn(mReader));
    EXPECT_EQ(0, Triggered());
  }
}

TEST_F(SocketSelect, EachTriggerIsOneSpaceThatIsInThePipeWhenItReturns) {
  for (int i = 1; i <= 3; ++i) {
    zvSocketSelect_Trigger(mSelect);
    EXPECT_EQ(i, BytesIn(mReader));
  }
  char theBytes[4] = "";
  EXPECT_EQ(3, read(mReader, theBytes, sizeof(theBytes)));
  EXPECT_STREQ("   ", theBytes);
}

TEST_F(SocketSelect, TriggersWorkAgainAfterEachWait) {
  for (int i = 0; i < 100; ++i) {
    zvSocketSelect_Trigger(mSelect);
    ASSERT_EQ(1, Triggered());
    ASSERT_EQ(0, Triggered());
  }
}

bool IsAsleep(long aThread) {
  std::ifstream theStatus(Format("/proc/self/task/%ld/stat", aThread));
  std::string theText;
  std::getline(theStatus, theText);
  const size_t theName = theText.rfind(')');
  return theName != std::string::npos && theText.compare(theName, 3, ") S") == 0;
}

TEST_F(SocketSelect, ATriggerOfAnotherThreadEndsAWaitWithoutLimit) {
  std::atomic<long> theThread{0};
  int theResult = -1;
  std::thread theWaiter([&] {
    theThread = syscall(SYS_gettid);
    theResult = zvSocketSelect_Select(mSelect, nullptr, nullptr, nullptr, kNoSockets, nullptr, &mfTriggered);
  });
  EXPECT_TRUE(zvtest::WaitUntil([&] { return theThread != 0 && IsAsleep(theThread); }));
  zvSocketSelect_Trigger(mSelect);
  theWaiter.join();
  EXPECT_EQ(1, theResult);
  EXPECT_EQ(1, mfTriggered);
}

TEST_F(SocketSelect, ATriggerAfterAWaitIsKeptForTheNext) {
  const Receiver theReceiver(true);
  Set theReadSet({theReceiver});
  EXPECT_EQ(
      1, zvSocketSelect_Select(mSelect, &theReadSet, nullptr, nullptr, theReceiver, nullptr, &mfTriggered));
  EXPECT_EQ(0, mfTriggered);
  zvSocketSelect_Trigger(mSelect);
  EXPECT_EQ(1, Triggered());
}

TEST_F(SocketSelect, NoTriggerOfManyThreadsIsLost) {
  constexpr int kThreads = 4;
  constexpr int kTriggers = 250;
  for (int i = 0; i < 3; ++i) {
    std::atomic<int> theRunning{kThreads};
    std::vector<std::thread> theThreads;
    for (int j = 0; j < kThreads; ++j) {
      theThreads.emplace_back([&] {
        for (int k = 0; k < kTriggers; ++k)
          zvSocketSelect_Trigger(mSelect);
        --theRunning;
        zvSocketSelect_Trigger(mSelect);
      });
    }
    // The last trigger comes after the thread counted itself out, so no wait lasts.
    while (theRunning > 0) {
      EXPECT_EQ(1, WaitFor(60000, &mfTriggered));
      EXPECT_EQ(1, mfTriggered);
    }
    for (std::thread &theThread : theThreads)
      theThread.join();
    Triggered();
    EXPECT_EQ(0, Triggered());
  }
}

// ---- Waits ----

TEST_F(SocketSelect, DataEndsAWaitWithoutATrigger) {
  const Receiver theReceiver(true);
  const Receiver theSilent(false);
  Set theReadSet({theReceiver, theSilent});
  EXPECT_EQ(1, zvSocketSelect_Select(mSelect, &theReadSet, nullptr, nullptr,
                                     std::max<int>(theReceiver, theSilent), nullptr, &mfTriggered));
  EXPECT_EQ(0, mfTriggered);
  EXPECT_THAT(MarkedIn(theReadSet), ElementsAre(int{theReceiver}));
}

TEST_F(SocketSelect, DataAndATriggerAreBothCountedButOnlyTheSocketIsMarked) {
  const Receiver theReceiver(true);
  Set theReadSet({theReceiver});
  zvSocketSelect_Trigger(mSelect);
  EXPECT_EQ(
      2, zvSocketSelect_Select(mSelect, &theReadSet, nullptr, nullptr, theReceiver, nullptr, &mfTriggered));
  EXPECT_EQ(1, mfTriggered);
  EXPECT_THAT(MarkedIn(theReadSet), ElementsAre(int{theReceiver}));
}

TEST_F(SocketSelect, ATriggerAloneMarksNothing) {
  const Receiver theSilent(false);
  Set theReadSet({theSilent});
  zvSocketSelect_Trigger(mSelect);
  EXPECT_EQ(1,
            zvSocketSelect_Select(mSelect, &theReadSet, nullptr, nullptr, theSilent, nullptr, &mfTriggered));
  EXPECT_EQ(1, mfTriggered);
  EXPECT_THAT(MarkedIn(theReadSet), IsEmpty());
}

TEST_F(SocketSelect, TheEndOfTheTimeAnswersZeroAndClearsTheSets) {
  const Receiver theSilent(false);
  Set theReadSet({theSilent});
  Set theErrorSet({theSilent});
  timeval theTimeOut = {0, 1000};
  EXPECT_EQ(0, zvSocketSelect_Select(mSelect, &theReadSet, nullptr, &theErrorSet, theSilent, &theTimeOut,
                                     &mfTriggered));
  EXPECT_EQ(0, mfTriggered);
  EXPECT_THAT(MarkedIn(theReadSet), IsEmpty());
  EXPECT_THAT(MarkedIn(theErrorSet), IsEmpty());
}

TEST_F(SocketSelect, WritableSocketsAreReportedWithoutAReadSet) {
  const Receiver theSocket(false);
  Set theWriteSet({theSocket});
  EXPECT_EQ(1,
            zvSocketSelect_Select(mSelect, nullptr, &theWriteSet, nullptr, theSocket, nullptr, &mfTriggered));
  EXPECT_EQ(0, mfTriggered);
  EXPECT_THAT(MarkedIn(theWriteSet), ElementsAre(int{theSocket}));
}

TEST_F(SocketSelect, UrgentDataIsReportedInTheErrorSet) {
  const zvtest::net::Connection theConnection;
  ASSERT_EQ(1, send(theConnection.mNear, "!", 1, MSG_OOB));
  const int theServer = theConnection.mFar;
  Set theReadSet;
  Set theErrorSet({theServer});
  EXPECT_EQ(
      1, zvSocketSelect_Select(mSelect, &theReadSet, nullptr, &theErrorSet, theServer, &mLong, &mfTriggered));
  EXPECT_THAT(MarkedIn(theErrorSet), ElementsAre(theServer));
  EXPECT_THAT(MarkedIn(theReadSet), IsEmpty());
}

TEST_F(SocketSelect, AHighestDescriptorBelowOneWaitsForTheTriggerAlone) {
  // A ready socket below the trigger: it would end the wait.
  const Receiver theReceiver(true);
  zvSocketSelect *const theSelect = zvSocketSelect_New();
  Set theTrigger;
  ASSERT_LT(theReceiver, zvSocketSelect_Prepare(theSelect, &theTrigger));
  for (const int theHighest : {0, -1, -1000}) {
    SCOPED_TRACE(theHighest);
    Set theReadSet({theReceiver});
    Set theWriteSet({theReceiver});
    Set theErrorSet({theReceiver});
    timeval theTimeOut = {0, 1000};
    EXPECT_EQ(0, zvSocketSelect_Select(theSelect, &theReadSet, &theWriteSet, &theErrorSet, theHighest,
                                       &theTimeOut, &mfTriggered));
    EXPECT_EQ(0, mfTriggered);
    EXPECT_THAT(MarkedIn(theReadSet), IsEmpty());
    EXPECT_THAT(MarkedIn(theWriteSet), IsEmpty());
    EXPECT_THAT(MarkedIn(theErrorSet), IsEmpty());
  }
  zvSocketSelect_Delete(theSelect);
}

TEST_F(SocketSelect, DescriptorOneIsAHighestDescriptor) {
  // Standard output of the child is a pipe with room.
  zvtest::InOwnProcess([this] {
    Set theWriteSet({STDOUT_FILENO});
    EXPECT_EQ(1, zvSocketSelect_Select(mSelect, nullptr, &theWriteSet, nullptr, STDOUT_FILENO, &mLong,
                                       &mfTriggered));
    EXPECT_THAT(MarkedIn(theWriteSet), ElementsAre(STDOUT_FILENO));
  });
}

TEST_F(SocketSelect, TheWaitGetsOneMoreThanTheHighestDescriptorAndTheCallersTimeOut) {
  const Receiver theReceiver(true);
  for (const int theHighest : {mReader - 1, mReader + 10}) {
    SCOPED_TRACE(theHighest);
    Set theReadSet;
    FD_SET(theReceiver, &theReadSet);
    Set theWriteSet;
    Set theErrorSet;
    Fault theFault("select", 0);
    theFault.Returning(0).Doing([&](const long long *anArguments) {
      EXPECT_EQ(std::max(mReader, theHighest) + 1, anArguments[0]);
      EXPECT_EQ(&theReadSet, ArgumentAs<fd_set>(anArguments[1]));
      EXPECT_THAT(MarkedIn(theReadSet), ::testing::UnorderedElementsAre(mReader, int{theReceiver}));
      EXPECT_EQ(&theWriteSet, ArgumentAs<fd_set>(anArguments[2]));
      EXPECT_EQ(&theErrorSet, ArgumentAs<fd_set>(anArguments[3]));
      EXPECT_EQ(&mLong, ArgumentAs<timeval>(anArguments[4]));
    });
    zvSocketSelect_Select(mSelect, &theReadSet, &theWriteSet, &theErrorSet, theHighest, &mLong, &mfTriggered);
    EXPECT_EQ(1, theFault.Hits());
  }
}

TEST_F(SocketSelect, AClosedDescriptorFailsTheWaitClearsTheSetsAndKeepsTheTrigger) {
  const Receiver theReceiver(true);
  const int theClosed = ClosedDescriptor();
  Set theReadSet({theReceiver, theClosed});
  Set theWriteSet({theReceiver});
  Set theErrorSet({theReceiver});
  zvSocketSelect_Trigger(mSelect);
  EXPECT_EQ(-1, zvSocketSelect_Select(mSelect, &theReadSet, &theWriteSet, &theErrorSet,
                                      std::max<int>(theReceiver, theClosed), &mLong, &mfTriggered));
  EXPECT_EQ(EBADF, errno);
  EXPECT_EQ(0, mfTriggered);
  EXPECT_THAT(MarkedIn(theReadSet), IsEmpty());
  EXPECT_THAT(MarkedIn(theWriteSet), IsEmpty());
  EXPECT_THAT(MarkedIn(theErrorSet), IsEmpty());
  EXPECT_EQ(1, Triggered());
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketSelect, AFailedWaitMayHaveNoSets) {
  Fault theFault("select", EINVAL);
  EXPECT_EQ(-1, zvSocketSelect_Select(mSelect, nullptr, nullptr, nullptr, kNoSockets, nullptr, &mfTriggered));
  EXPECT_EQ(0, mfTriggered);
}

TEST_F(SocketSelect, NobodyNeedsToKnowOfTheTrigger) {
  zvSocketSelect_Trigger(mSelect);
  EXPECT_EQ(1, WaitFor(60000, nullptr));
  EXPECT_EQ(0, Triggered());
}

TEST_F(SocketSelect, TheHighestDescriptorOfASetIsWaitedFor) {
  const Receiver theReceiver(true);
  const Socket theHighest(fcntl(theReceiver, F_DUPFD, FD_SETSIZE - 1));
  ASSERT_EQ(FD_SETSIZE - 1, theHighest) << "limit of open descriptors is too low";
  Set theReadSet({theHighest});
  EXPECT_EQ(1,
            zvSocketSelect_Select(mSelect, &theReadSet, nullptr, nullptr, theHighest, nullptr, &mfTriggered));
  EXPECT_THAT(MarkedIn(theReadSet), ElementsAre(FD_SETSIZE - 1));
}

TEST_F(SocketSelect, ASignalFailsTheWait) {
  const Receiver theSilent(false);
  Set theReadSet({theSilent});
  int theResult = 0;
  int theError = 0;
  zvtest::InterruptBy(SIGUSR1, [&] {
    theResult =
        zvSocketSelect_Select(mSelect, &theReadSet, nullptr, nullptr, theSilent, nullptr, &mfTriggered);
    theError = errno;
  });
  EXPECT_EQ(-1, theResult);
  EXPECT_EQ(EINTR, theError);
  EXPECT_EQ(0, mfTriggered);
  EXPECT_THAT(MarkedIn(theReadSet), IsEmpty());
}

// ---- Waits of the caller's own ----

TEST_F(SocketSelect, PrepareAddsTheTriggerToTheSet) {
  const Receiver theReceiver(false);
  Set theReadSet({theReceiver});
  EXPECT_EQ(mReader, zvSocketSelect_Prepare(mSelect, &theReadSet));
  EXPECT_THAT(MarkedIn(theReadSet), ::testing::UnorderedElementsAre(mReader, int{theReceiver}));
}

TEST_F(SocketSelect, ResetConsumesAMarkedTriggerAndLeavesOtherMarks) {
  const Receiver theReceiver(false);
  zvSocketSelect_Trigger(mSelect);
  zvSocketSelect_Trigger(mSelect);
  Set theReadSet({theReceiver, mReader});
  EXPECT_EQ(1, zvSocketSelect_Reset(mSelect, &theReadSet));
  EXPECT_THAT(MarkedIn(theReadSet), ElementsAre(int{theReceiver}));
  EXPECT_EQ(0, BytesIn(mReader));
}

TEST_F(SocketSelect, ResetWithoutTheMarkConsumesNothing) {
  const Receiver theReceiver(false);
  zvSocketSelect_Trigger(mSelect);
  Set theReadSet({theReceiver});
  EXPECT_EQ(0, zvSocketSelect_Reset(mSelect, &theReadSet));
  EXPECT_THAT(MarkedIn(theReadSet), ElementsAre(int{theReceiver}));
  EXPECT_EQ(1, BytesIn(mReader));
}

TEST_F(SocketSelect, ResetOfAMarkWithoutATriggerDoesNotWait) {
  Set theReadSet({mReader});
  EXPECT_EQ(1, zvSocketSelect_Reset(mSelect, &theReadSet));
  EXPECT_THAT(MarkedIn(theReadSet), IsEmpty());
}

TEST_F(SocketSelect, TheBareWaitReportsWhatIsReady) {
  const Receiver theReceiver(true);
  Set theReadSet({theReceiver});
  Set theWriteSet({theReceiver});
  EXPECT_EQ(2, zvSocketSelect_SelectFD(&theReadSet, &theWriteSet, nullptr, theReceiver, nullptr));
  EXPECT_THAT(MarkedIn(theReadSet), ElementsAre(int{theReceiver}));
  EXPECT_THAT(MarkedIn(theWriteSet), ElementsAre(int{theReceiver}));
}

TEST_F(SocketSelect, TheBareWaitLooksUpToTheHighestDescriptorOnly) {
  const Receiver theReceiver(true);
  Set theReadSet({theReceiver});
  timeval theTimeOut = {0, 0};
  EXPECT_EQ(0, zvSocketSelect_SelectFD(&theReadSet, nullptr, nullptr, theReceiver - 1, &theTimeOut));
}

TEST_F(SocketSelect, AFailedBareWaitClearsTheSets) {
  const Receiver theReceiver(true);
  const int theClosed = ClosedDescriptor();
  for (const bool afAll : {true, false}) {
    Set theReadSet({theReceiver, theClosed});
    Set theWriteSet({theReceiver});
    Set theErrorSet({theReceiver});
    EXPECT_EQ(-1, zvSocketSelect_SelectFD(&theReadSet, afAll ? &theWriteSet : nullptr,
                                          afAll ? &theErrorSet : nullptr, theClosed, nullptr));
    EXPECT_EQ(EBADF, errno);
    EXPECT_THAT(MarkedIn(theReadSet), IsEmpty());
    if (!afAll) continue;
    EXPECT_THAT(MarkedIn(theWriteSet), IsEmpty());
    EXPECT_THAT(MarkedIn(theErrorSet), IsEmpty());
  }
}

}  // namespace
