#include "private/CrashReport.h"

#include <unistd.h>
#include <atomic>

namespace zvos {

namespace {

// The whole report, the two seconds for the log to drain included.
constexpr time_t kReportSeconds = 8;
constexpr timespec kTurnPoll = {0, 10 * 1000 * 1000};
constexpr int kTurnPolls = 300;

std::atomic<bool> sfTracing;

sigset_t FatalSignalSet() {
  sigset_t theSet;
  sigemptyset(&theSet);
  for (const int theSignal : kFatalSignals)
    sigaddset(&theSet, theSignal);
  return theSet;
}

bool IsOver(const timespec &aDeadline) {
  timespec theNow;
  clock_gettime(CLOCK_MONOTONIC, &theNow);
  return theNow.tv_sec > aDeadline.tv_sec ||
         (theNow.tv_sec == aDeadline.tv_sec && theNow.tv_nsec >= aDeadline.tv_nsec);
}

}  // namespace

CrashReport::CrashReport(int aSignal) : mSignal(aSignal) {
  clock_gettime(CLOCK_MONOTONIC, &mDeadline);
  mDeadline.tv_sec += kReportSeconds;

  // To this very thread: any other one might have the signal blocked.
  sigevent theEvent = {};
  theEvent.sigev_notify = SIGEV_THREAD_ID;
  theEvent.sigev_signo = aSignal;
  theEvent._sigev_un._tid = gettid();
  mfTimer = timer_create(CLOCK_MONOTONIC, &theEvent, &mTimer) == 0;
  SetTimer(mDeadline, TIMER_ABSTIME);

  tCurrent = this;
  // The system ends a process at once when a thread faults with the signal blocked.
  const sigset_t theFatalSignals = FatalSignalSet();
  pthread_sigmask(SIG_UNBLOCK, &theFatalSignals, &mSignalMask);
}

CrashReport::~CrashReport() {
  EndTurn();
  pthread_sigmask(SIG_SETMASK, &mSignalMask, nullptr);
  if (mfTimer) timer_delete(mTimer);
  if (mfHolding) {
    for (size_t i = 0; i < kFatalSignalCount; ++i)
      sigaction(kFatalSignals[i], &mHeldActions[i], nullptr);
  }
  signal(mSignal, SIG_DFL);
  tCurrent = nullptr;
}

void CrashReport::Hold(void (*aHandler)(int)) {
  struct sigaction theAction = {};
  theAction.sa_handler = aHandler;
  theAction.sa_flags = SA_NODEFER;
  for (size_t i = 0; i < kFatalSignalCount; ++i)
    sigaction(kFatalSignals[i], &theAction, &mHeldActions[i]);
  mfHolding = true;
}

void CrashReport::AwaitTurn() {
  for (int thePolls = 0; sfTracing.exchange(true); ++thePolls) {
    // Whoever has the turn may hang: better two mixed reports than none.
    if (thePolls == kTurnPolls) return;
    nanosleep(&kTurnPoll, nullptr);
  }
  mfMyTurn = true;
}

void CrashReport::EndTurn() {
  if (!mfMyTurn) return;
  mfMyTurn = false;
  sfTracing = false;
}

void CrashReport::Interrupt() {
  if (mEscape != nullptr && !IsOver(mDeadline)) siglongjmp(*mEscape, 1);
  Die();
}

void CrashReport::SetTimer(const timespec &aTime, int aFlags) {
  if (!mfTimer) return;
  const itimerspec theTime = {{0, 0}, aTime};
  timer_settime(mTimer, aFlags, &theTime, nullptr);
}

void CrashReport::Die() {
  signal(mSignal, SIG_DFL);
  const sigset_t theFatalSignals = FatalSignalSet();
  pthread_sigmask(SIG_UNBLOCK, &theFatalSignals, nullptr);
  raise(mSignal);
  // Only when the system does not deliver the signal.
  _exit(128 + mSignal);
}

}  // namespace zvos
