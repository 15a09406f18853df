#include "shared/stop_signals.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>

namespace tool {

namespace {

const int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP};

bool IsIgnored(int aSignal) {
  struct sigaction theAction = {};
  return sigaction(aSignal, nullptr, &theAction) == 0 && theAction.sa_handler == SIG_IGN;
}

void Close(int aDescriptor) {
  if (aDescriptor != -1) close(aDescriptor);
}

}  // namespace

StopSignals::StopSignals(zvSocketSelect *aSelect)
    : mSelect(aSelect), mSignals(-1), mEndOfWatch{-1, -1}, mFirst(0) {
  sigset_t theSignals;
  sigemptyset(&theSignals);
  for (const int theSignal : kStopSignals) {
    if (!IsIgnored(theSignal)) sigaddset(&theSignals, theSignal);
  }
  pthread_sigmask(SIG_BLOCK, &theSignals, &mMaskBefore);
  mSignals = signalfd(-1, &theSignals, SFD_CLOEXEC);
  if (mSignals != -1 && pipe2(mEndOfWatch, O_CLOEXEC) == 0) mThread = StartThread(Watch, this);
}

StopSignals::~StopSignals() {
  Close(mEndOfWatch[1]);
  mThread.reset();
  Close(mEndOfWatch[0]);
  Close(mSignals);
  pthread_sigmask(SIG_SETMASK, &mMaskBefore, nullptr);
}

void StopSignals::Watch(void *aStopSignals) {
  StopSignals &theSelf = *static_cast<StopSignals *>(aStopSignals);
  struct pollfd thePolls[] = {{theSelf.mSignals, POLLIN, 0}, {theSelf.mEndOfWatch[0], 0, 0}};
  while (poll(thePolls, 2, -1) == -1 && errno == EINTR) {
  }
  struct signalfd_siginfo theSignal;
  if (thePolls[0].revents == 0 ||
      read(theSelf.mSignals, &theSignal, sizeof(theSignal)) != sizeof(theSignal)) {
    return;
  }
  theSelf.mFirst.store(static_cast<int>(theSignal.ssi_signo));
  zvSocketSelect_Trigger(theSelf.mSelect);
}

}  // namespace tool
