// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the bare wait hands to the system, and sets for more descriptors than an fd_set holds.

#include "socket_select_checks.h"

#include "support/Support.h"

#include <sys/resource.h>

#include <climits>

namespace {

using namespace zvtest::selects;

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;
using zvtest::net::Socket;

constexpr int kRoom = 4096;
constexpr unsigned long kBehind = 0x5a5a5a5a;

// A set of a caller with many descriptors, and what lies behind it in memory.
class LargeSet {
 public:
  LargeSet(std::initializer_list<int> someDescriptors = {}) : mWords(kRoom / NFDBITS + 1) {
    mWords.back() = kBehind;
    for (const int theDescriptor : someDescriptors)
      Word(theDescriptor) |= 1UL << theDescriptor % NFDBITS;
  }
  ~LargeSet() { EXPECT_EQ(kBehind, mWords.back()); }

  operator fd_set *() { return reinterpret_cast<fd_set *>(mWords.data()); }

  std::vector<int> Marked() {
    std::vector<int> theResult;
    for (int i = 0; i < kRoom; ++i) {
      if ((Word(i) >> i % NFDBITS & 1) != 0) theResult.push_back(i);
    }
    return theResult;
  }

 private:
  unsigned long &Word(int aDescriptor) { return mWords[static_cast<size_t>(aDescriptor) / NFDBITS]; }

  std::vector<unsigned long> mWords;
};

// Lets the process have the descriptors of a large set, or, in a child, fewer.
void SetDescriptorLimit(rlim_t aLimit) {
  rlimit theLimit;
  ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &theLimit));
  theLimit.rlim_cur = std::min(aLimit, theLimit.rlim_max);
  ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &theLimit));
}

class SocketSelectSets : public SocketSelect {
 protected:
  void SetUp() override {
    // The emulator's own sets hold no more than an fd_set.
    if (zvtest::IsEmulated()) GTEST_SKIP() << "the emulator waits for 1024 descriptors at most";
    rlimit theLimit;
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &theLimit));
    mFormerLimit = theLimit.rlim_cur;
    if (mFormerLimit < kRoom) SetDescriptorLimit(kRoom);
  }
  void TearDown() override {
    if (mFormerLimit != 0) SetDescriptorLimit(mFormerLimit);
  }

  // The same socket under a number that no fd_set holds.
  static Socket High(int aDescriptor, int aNumber) {
    Socket theSocket(fcntl(aDescriptor, F_DUPFD, aNumber));
    EXPECT_EQ(aNumber, theSocket) << "limit of open descriptors is too low";
    return theSocket;
  }

  rlim_t mFormerLimit = 0;
};

TEST_F(SocketSelect, TheBareWaitHandsTheSystemWhatItIsGivenAndReturnsItsResult) {
  for (const int theHighest : {-2, -1, 0, 5, FD_SETSIZE - 1, FD_SETSIZE, FD_SETSIZE + 1, 70000}) {
    for (const int theResult : {0, 7}) {
      SCOPED_TRACE(theHighest);
      Set theReadSet({3});
      Set theWriteSet({4});
      Set theErrorSet({5});
      Fault theFault("select", 0);
      theFault.Returning(theResult).Doing([&](const long long *anArguments) {
        EXPECT_EQ(theHighest + 1, anArguments[0]);
        EXPECT_EQ(&theReadSet, ArgumentAs<fd_set>(anArguments[1]));
        EXPECT_EQ(&theWriteSet, ArgumentAs<fd_set>(anArguments[2]));
        EXPECT_EQ(&theErrorSet, ArgumentAs<fd_set>(anArguments[3]));
        EXPECT_EQ(&mLong, ArgumentAs<timeval>(anArguments[4]));
      });
      EXPECT_EQ(theResult,
                zvSocketSelect_SelectFD(&theReadSet, &theWriteSet, &theErrorSet, theHighest, &mLong));
      EXPECT_EQ(1, theFault.Hits());
      EXPECT_THAT(MarkedIn(theReadSet), ElementsAre(3));
      EXPECT_THAT(MarkedIn(theWriteSet), ElementsAre(4));
      EXPECT_THAT(MarkedIn(theErrorSet), ElementsAre(5));
    }
  }
}

TEST_F(SocketSelect, TheHighestNumberOfAllIsRefusedByTheSystem) {
  const Receiver theReceiver(true);
  const int theWaits = zvtest::CallsOf("select");
  const int theError = zvtest::IsEmulated() ? EFAULT : EINVAL;  // the emulator refuses it in other words
  Set theReadSet({theReceiver});
  Set theWriteSet({theReceiver});
  EXPECT_EQ(
      -1, zvSocketSelect_Select(mSelect, &theReadSet, &theWriteSet, nullptr, INT_MAX, nullptr, &mfTriggered));
  EXPECT_EQ(theError, errno);
  EXPECT_EQ(0, mfTriggered);
  EXPECT_THAT(MarkedIn(theReadSet), IsEmpty());
  EXPECT_THAT(MarkedIn(theWriteSet), IsEmpty());

  Set theErrorSet({theReceiver});
  EXPECT_EQ(-1, zvSocketSelect_SelectFD(&theReadSet, nullptr, &theErrorSet, INT_MAX, nullptr));
  EXPECT_EQ(theError, errno);
  EXPECT_THAT(MarkedIn(theErrorSet), IsEmpty());
  EXPECT_EQ(theWaits + 2, zvtest::CallsOf("select"));
}

TEST_F(SocketSelectSets, WhatIsReadyIsFoundInALargerSet) {
  const Receiver theReceiver(true);
  const Receiver theSilent(false);
  const Socket theReady = High(theReceiver, 2000);
  const Socket theWaiting = High(theSilent, 4090);
  LargeSet theReadSet({theReady, theWaiting, theSilent});
  LargeSet theWriteSet({theWaiting});
  LargeSet theErrorSet({theWaiting});
  EXPECT_EQ(2, zvSocketSelect_SelectFD(theReadSet, theWriteSet, theErrorSet, theWaiting, &mLong));
  EXPECT_THAT(theReadSet.Marked(), ElementsAre(2000));
  EXPECT_THAT(theWriteSet.Marked(), ElementsAre(4090));
  EXPECT_THAT(theErrorSet.Marked(), IsEmpty());
}

TEST_F(SocketSelectSets, AFailedWaitClearsALargerSetUpToTheHighestDescriptor) {
  const Receiver theReceiver(true);
  const Socket theReady = High(theReceiver, 2000);
  // The system has no look at numbers above the highest that was ever open.
  const Socket theHighest = High(theReceiver, kRoom - 1);
  LargeSet theReadSet({theReceiver, theReady, 3071});  // the last one is not open, and the last bit of a word
  LargeSet theWriteSet({theReady, 3071});
  LargeSet theErrorSet({FD_SETSIZE, 3071, 3072});
  EXPECT_EQ(-1, zvSocketSelect_SelectFD(theReadSet, theWriteSet, theErrorSet, 3071, &mLong));
  EXPECT_EQ(EBADF, errno);
  EXPECT_THAT(theReadSet.Marked(), IsEmpty());
  EXPECT_THAT(theWriteSet.Marked(), IsEmpty());
  EXPECT_THAT(theErrorSet.Marked(), ElementsAre(3072));

  LargeSet theOtherSet({3071, kRoom - 1});
  EXPECT_EQ(-1, zvSocketSelect_SelectFD(theOtherSet, nullptr, nullptr, kRoom - 1, &mLong));
  EXPECT_THAT(theOtherSet.Marked(), IsEmpty());
}

TEST_F(SocketSelectSets, AFailedWaitDoesNotClearBehindAnFdSetOfAProcessThatHasNoHigherDescriptors) {
  zvtest::InOwnProcess([this] {
    SetDescriptorLimit(FD_SETSIZE);
    struct {
      fd_set mSet;
      unsigned long mBehind;
    } theMemory = {Set({3}), kBehind};
    for (const int theHighest : {FD_SETSIZE, FD_SETSIZE + 1}) {
      theMemory.mSet = Set({3});
      Fault theFault("select", EINTR);
      EXPECT_EQ(-1, zvSocketSelect_SelectFD(&theMemory.mSet, nullptr, nullptr, theHighest, &mLong));
      EXPECT_EQ(EINTR, errno);
      EXPECT_THAT(MarkedIn(theMemory.mSet), IsEmpty());
      EXPECT_EQ(kBehind, theMemory.mBehind);
    }
  });
}

TEST_F(SocketSelectSets, TheTriggerWorksWithLargerSets) {
  const Receiver theReceiver(true);
  const Socket theReady = High(theReceiver, 2000);
  LargeSet theReadSet({theReady});
  zvSocketSelect_Trigger(mSelect);
  EXPECT_EQ(2, zvSocketSelect_Select(mSelect, theReadSet, nullptr, nullptr, theReady, &mLong, &mfTriggered));
  EXPECT_EQ(1, mfTriggered);
  EXPECT_THAT(theReadSet.Marked(), ElementsAre(2000));

  LargeSet theOwnSet({theReady});
  zvSocketSelect_Trigger(mSelect);
  EXPECT_EQ(mReader, zvSocketSelect_Prepare(mSelect, theOwnSet));
  EXPECT_THAT(theOwnSet.Marked(), ElementsAre(mReader, 2000));
  EXPECT_EQ(1, zvSocketSelect_Reset(mSelect, theOwnSet));
  EXPECT_THAT(theOwnSet.Marked(), ElementsAre(2000));
}

TEST_F(SocketSelectSets, ALargerSetNeedsNoReadSetBesideIt) {
  const Receiver theSocket(false);
  const Socket theHigh = High(theSocket, 4090);
  LargeSet theWriteSet({theHigh});
  EXPECT_EQ(1, zvSocketSelect_Select(mSelect, nullptr, theWriteSet, nullptr, theHigh, &mLong, &mfTriggered));
  EXPECT_EQ(0, mfTriggered);
  EXPECT_THAT(theWriteSet.Marked(), ElementsAre(4090));
}

TEST_F(SocketSelectSets, WithoutMemoryForAReadSetTheWaitFails) {
  LargeSet theWriteSet({2000});
  const int theWaits = zvtest::CallsOf("select");
  Fault theFault("calloc", ENOMEM);
  EXPECT_EQ(-1, zvSocketSelect_Select(mSelect, nullptr, theWriteSet, nullptr, 2000, &mLong, &mfTriggered));
  EXPECT_EQ(ENOMEM, errno);
  EXPECT_EQ(0, mfTriggered);
  EXPECT_THAT(theWriteSet.Marked(), IsEmpty());
  EXPECT_EQ(theWaits, zvtest::CallsOf("select"));
}

TEST_F(SocketSelectSets, ALargerSetAtAFailedWaitIsClearedAndTheTriggerKept) {
  const Receiver theReceiver(true);
  const Socket theHighest = High(theReceiver, kRoom - 1);
  LargeSet theReadSet({2000});  // not open
  zvSocketSelect_Trigger(mSelect);
  EXPECT_EQ(-1, zvSocketSelect_Select(mSelect, theReadSet, nullptr, nullptr, 2000, &mLong, &mfTriggered));
  EXPECT_EQ(EBADF, errno);
  EXPECT_EQ(0, mfTriggered);
  EXPECT_THAT(theReadSet.Marked(), IsEmpty());
  EXPECT_EQ(1, Triggered());
}

}  // namespace
