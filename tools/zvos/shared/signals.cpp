// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "shared/signals.h"

#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>

#include <initializer_list>

namespace tool {

namespace {

// Those of the signals that the caller of the program does not ignore, blocked from now on.
sigset_t BlockUnlessIgnored(std::initializer_list<int> someSignals, sigset_t &aMaskBefore) {
  sigset_t theSignals;
  sigemptyset(&theSignals);
  for (const int theSignal : someSignals) {
    struct sigaction theAction = {};
    const bool afKnown = sigaction(theSignal, nullptr, &theAction) == 0;
    if (!afKnown || theAction.sa_handler != SIG_IGN) sigaddset(&theSignals, theSignal);
  }
  pthread_sigmask(SIG_BLOCK, &theSignals, &aMaskBefore);
  return theSignals;
}

}  // namespace

HeldSignals::HeldSignals() : mSignals(BlockUnlessIgnored({SIGINT, SIGQUIT, SIGTERM, SIGHUP}, mMaskBefore)) {}

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

StopSignals::StopSignals(zvSocketSelect *aSelect) : mSelect(aSelect), mFirst(0) {
  const sigset_t theSignals = BlockUnlessIgnored({SIGINT, SIGTERM, SIGHUP}, mMaskBefore);
  mSignals.Reset(signalfd(-1, &theSignals, SFD_CLOEXEC));
  if (mSignals.IsOpen() && mEndOfWatch.Open()) mThread = StartThread(Watch, this);
}

StopSignals::~StopSignals() {
  mEndOfWatch.mWrite.Reset();
  mThread.reset();
  pthread_sigmask(SIG_SETMASK, &mMaskBefore, nullptr);
}

void StopSignals::Watch(void *aStopSignals) {
  StopSignals &theSelf = *static_cast<StopSignals *>(aStopSignals);
  struct pollfd thePolls[] = {{theSelf.mSignals.Get(), POLLIN, 0}, {theSelf.mEndOfWatch.mRead.Get(), 0, 0}};
  while (poll(thePolls, 2, -1) == -1 && errno == EINTR) {
  }
  struct signalfd_siginfo theSignal;
  if (thePolls[0].revents == 0 ||
      read(theSelf.mSignals.Get(), &theSignal, sizeof(theSignal)) != sizeof(theSignal)) {
    return;
  }
  theSelf.mFirst.store(static_cast<int>(theSignal.ssi_signo));
  zvSocketSelect_Trigger(theSelf.mSelect);
}

}  // namespace tool
