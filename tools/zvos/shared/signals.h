// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Signals that are waited for instead of ending the program: by the caller itself, or by a thread that
// wakes up a wait in a select object.
#pragma once

#include "shared/descriptor.h"
#include "shared/owners.h"

#include <signal.h>

#include <atomic>

namespace tool {

// Holds back SIGINT, SIGQUIT, SIGTERM and SIGHUP, from its begin to its end, so that they can be waited
// for; those that the caller of the program ignores stay ignored. No other thread may be running when it
// begins; those started later hold the signals back as well. What has come, and was not waited for, is
// forgotten at the end.
class HeldSignals {
 public:
  HeldSignals();
  ~HeldSignals();
  HeldSignals(const HeldSignals &) = delete;
  HeldSignals &operator=(const HeldSignals &) = delete;

  // Waits for a signal; without a limit when the time is negative. 0 when none came.
  // afFromTerminal tells whether all processes in the foreground got it, as with Ctrl-C.
  int Wait(int64 aMilliseconds, bool &afFromTerminal) const;

  // Also wakes up the wait when a child changes its state.
  void AddEndOfChild();

  const sigset_t &MaskBefore() const { return mMaskBefore; }

 private:
  sigset_t mSignals;
  sigset_t mMaskBefore;
};

// Makes the signals SIGINT, SIGTERM and SIGHUP harmless from its begin to its end; those that the
// caller of the program ignores stay ignored. Make it before other threads are started: they inherit
// that the signals are blocked. A trigger takes a lock, which no signal handler may do; hence a
// thread waits for the signals and triggers.
class StopSignals {
 public:
  explicit StopSignals(zvSocketSelect *aSelect);
  ~StopSignals();
  StopSignals(const StopSignals &) = delete;
  StopSignals &operator=(const StopSignals &) = delete;

  // Whether signals are waited for at all; false when the system refused.
  bool AreWatched() const { return static_cast<bool>(mThread); }

  // The first signal that came, or 0.
  int First() const { return mFirst.load(); }

 private:
  static void Watch(void *aStopSignals);

  zvSocketSelect *const mSelect;
  sigset_t mMaskBefore;
  Descriptor mSignals;   // from which signals are read
  PipeEnds mEndOfWatch;  // closing its second end tells the thread to end
  std::atomic<int> mFirst;
  ThreadOwner mThread;
};

}  // namespace tool
