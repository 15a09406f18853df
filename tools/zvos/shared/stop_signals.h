// Ctrl-C and its like as an event: a signal wakes up a wait in a select object, in which the program
// then learns that it has to stop.
#pragma once

#include "shared/network.h"

#include <signal.h>

#include <atomic>

namespace tool {

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
  int mSignals;        // descriptor from which signals are read
  int mEndOfWatch[2];  // pipe: closing its second end tells the thread to end
  std::atomic<int> mFirst;
  ThreadOwner mThread;
};

}  // namespace tool
