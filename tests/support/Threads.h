// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Threads that do something together, and one that a signal interrupts.
#pragma once

#include "support/Support.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <thread>
#include <vector>

namespace zvtest {

// Lets threads go on when all of them have arrived.
class Meeting {
 public:
  explicit Meeting(int aCount) : mCount(aCount) {}

  void Arrive() {
    const int theRound = mRound;
    if (++mArrived == mCount) {
      mArrived = 0;
      ++mRound;
    }
    while (mRound == theRound)
      std::this_thread::yield();
  }

 private:
  const int mCount;
  std::atomic<int> mArrived{0};
  std::atomic<int> mRound{0};
};

// Runs aBody(number) in all threads, which begin together, and waits for them.
inline void InThreads(int aCount, const std::function<void(int)> &aBody) {
  Meeting theStart(aCount);
  std::vector<std::thread> theThreads;
  for (int i = 0; i < aCount; ++i) {
    theThreads.emplace_back([&, i] {
      theStart.Arrive();
      aBody(i);
    });
  }
  for (std::thread &theThread : theThreads)
    theThread.join();
}

// Sends a thread a signal that does not restart calls, until aWait has returned there.
inline void InterruptBy(int aSignal, const std::function<void()> &aWait) {
  struct sigaction theAction = {};
  struct sigaction theFormerAction;
  theAction.sa_handler = [](int) {};
  ASSERT_EQ(0, sigaction(aSignal, &theAction, &theFormerAction));
  std::atomic<bool> theWaitHasEnded{false};
  std::thread theWaiter([&] {
    aWait();
    theWaitHasEnded = true;
  });
  // A signal that comes before the thread has blocked is lost on it.
  EXPECT_TRUE(WaitUntil([&] {
    if (!theWaitHasEnded) pthread_kill(theWaiter.native_handle(), aSignal);
    return theWaitHasEnded.load();
  }));
  theWaiter.join();
  sigaction(aSignal, &theFormerAction, nullptr);
}

}  // namespace zvtest
