// A child process that this one waits for as a shell does, and the signals that matter meanwhile.
#pragma once

#include <zvOS/zvTypes.h>

#include <signal.h>
#include <sys/types.h>

#include <functional>

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

// Runs a function in a child process. A signal of those held back that reaches only this process is
// passed on to the child. Should this process die, the child gets the signal aSignalAtDeath; what the
// child itself has started does not. Signals are held back until the object ends. No other thread may be
// running.
class ChildProcess {
 public:
  ChildProcess(const std::function<int()> &aBody, int aSignalAtDeath);
  ChildProcess(const ChildProcess &) = delete;
  ChildProcess &operator=(const ChildProcess &) = delete;

  pid_t Pid() const { return mPid; }  // -1 when there is none

  // Waits for the end; the status as waitpid gives it.
  int Wait();

 private:
  HeldSignals mSignals;
  pid_t mPid;
};

// The status of a process as a shell tells it: its own, or 128 and the number of a signal.
int ShellStatus(int aWaitStatus);

}  // namespace tool
