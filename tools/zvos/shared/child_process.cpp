#include "shared/child_process.h"

#include "shared/command.h"
#include "shared/terminal.h"

#include <pthread.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace tool {

namespace {

const int kEndingSignals[] = {SIGINT, SIGQUIT, SIGTERM, SIGHUP};

bool IsIgnored(int aSignal) {
  struct sigaction theAction = {};
  return sigaction(aSignal, nullptr, &theAction) == 0 && theAction.sa_handler == SIG_IGN;
}

}  // namespace

HeldSignals::HeldSignals() {
  sigemptyset(&mSignals);
  for (const int theSignal : kEndingSignals) {
    if (!IsIgnored(theSignal)) sigaddset(&mSignals, theSignal);
  }
  pthread_sigmask(SIG_BLOCK, &mSignals, &mMaskBefore);
}

HeldSignals::~HeldSignals() {
  // What came too late to be waited for must not end this program: there is nobody left to tell, and its
  // status is known by now.
  bool afFromTerminal = false;
  while (Wait(0, afFromTerminal) != 0) {
  }
  pthread_sigmask(SIG_SETMASK, &mMaskBefore, nullptr);
}

void HeldSignals::AddEndOfChild() {
  // A caller that ignores ends of children would make them vanish unseen.
  signal(SIGCHLD, SIG_DFL);
  sigaddset(&mSignals, SIGCHLD);
  pthread_sigmask(SIG_BLOCK, &mSignals, nullptr);
}

int HeldSignals::Wait(int64 aMilliseconds, bool &afFromTerminal) const {
  siginfo_t theInformation = {};
  struct timespec theTime = {};
  theTime.tv_sec = static_cast<time_t>(aMilliseconds / 1000);
  theTime.tv_nsec = static_cast<long>(aMilliseconds % 1000) * 1000000;
  const int theSignal = aMilliseconds < 0 ? sigwaitinfo(&mSignals, &theInformation)
                                          : sigtimedwait(&mSignals, &theInformation, &theTime);
  afFromTerminal = theSignal > 0 && theInformation.si_code == SI_KERNEL;
  return theSignal > 0 ? theSignal : 0;
}

ChildProcess::ChildProcess(const std::function<int()> &aBody, int aSignalAtDeath) : mPid(-1) {
  mSignals.AddEndOfChild();
  FlushOutput();
  const pid_t theParent = getpid();
  mPid = fork();
  if (mPid != 0) return;

  prctl(PR_SET_PDEATHSIG, aSignalAtDeath);
  if (getppid() != theParent) _exit(kStatus_CheckFailed);
  pthread_sigmask(SIG_SETMASK, &mSignals.MaskBefore(), nullptr);
  const int theStatus = aBody();
  FlushOutput();
  _exit(theStatus);
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
