// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "shared/child_process.h"

#include "shared/command.h"
#include "shared/terminal.h"

#include <pthread.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace tool {

pid_t Fork(const std::function<int()> &aBody, int aSignalAtDeath) {
  FlushOutput();
  const pid_t theParent = getpid();
  const pid_t theChild = fork();
  if (theChild != 0) return theChild;

  prctl(PR_SET_PDEATHSIG, aSignalAtDeath);
  if (getppid() != theParent) _exit(kStatus_CheckFailed);
  const int theStatus = aBody();
  FlushOutput();
  _exit(theStatus);
}

int WaitForEnd(pid_t aProcess) {
  int theStatus = 0;
  while (waitpid(aProcess, &theStatus, 0) == -1 && errno == EINTR) {
  }
  return theStatus;
}

ChildProcess::ChildProcess(const std::function<int()> &aBody, int aSignalAtDeath) : mPid(-1) {
  mSignals.AddEndOfChild();
  const auto fnBody = [this, &aBody] {
    pthread_sigmask(SIG_SETMASK, &mSignals.MaskBefore(), nullptr);
    return aBody();
  };
  mPid = Fork(fnBody, aSignalAtDeath);
}

int ChildProcess::Wait() {
  int theStatus = 0;
  for (;;) {
    const pid_t theResult = waitpid(mPid, &theStatus, WNOHANG);
    if (theResult == mPid) return theStatus;
    if (theResult == -1 && errno != EINTR) return -1;
    bool afFromTerminal = false;
    const int theSignal = mSignals.Wait(-1, afFromTerminal);
    if (theSignal != 0 && theSignal != SIGCHLD && !afFromTerminal) kill(mPid, theSignal);
  }
}

int ShellStatus(int aWaitStatus) {
  return WIFSIGNALED(aWaitStatus) ? 128 + WTERMSIG(aWaitStatus) : WEXITSTATUS(aWaitStatus);
}

}  // namespace tool
