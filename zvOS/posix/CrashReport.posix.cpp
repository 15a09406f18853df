// The report of a fatal signal: its deadline, its signals, its turn. What it is for stands in the header.

#include "private/CrashReport.h"

#include <sys/time.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>

namespace zvos {

namespace {

// The whole report, the two seconds for the log to drain included.
constexpr time_t kReportSeconds = 8;
constexpr timespec kTurnPoll = {0, 10 * 1000 * 1000};
constexpr int kTurnPolls = 300;

std::atomic<bool> sfTracing;

// What the fallback for the timer ends the process by.
std::atomic<int> sSignalAtAlarm;

sigset_t FatalSignalSet() {
  sigset_t theSet;
  sigemptyset(&theSet);
  for (const int theSignal : kFatalSignals)
    sigaddset(&theSet, theSignal);
  return theSet;
}

[[noreturn]] void DieBy(int aSignal) {
  signal(aSignal, SIG_DFL);
  const sigset_t theFatalSignals = FatalSignalSet();
  pthread_sigmask(SIG_UNBLOCK, &theFatalSignals, nullptr);
  raise(aSignal);
  // Only when the system does not deliver the signal.
  _exit(128 + aSignal);
}

// Comes to whatever thread takes it; good for the end of the whole time only.
void DieAtAlarm(int) {
  DieBy(sSignalAtAlarm);
}

// Takes back what writing to a closed pipe or past the limit of a file has raised meanwhile, lest
// the process die of that.
void DiscardSignalsOfWrites() {
  sigset_t theSignals;
  sigemptyset(&theSignals);
  sigaddset(&theSignals, SIGPIPE);
  sigaddset(&theSignals, SIGXFSZ);
  constexpr timespec kNoTime = {0, 0};
  while (sigtimedwait(&theSignals, nullptr, &kNoTime) > 0 || errno == EINTR) {
  }
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

  // The system ends a process at once when a thread faults with the signal blocked.
  sigset_t theBlockedSignals;
  sigfillset(&theBlockedSignals);
  for (const int theSignal : kFatalSignals)
    sigdelset(&theBlockedSignals, theSignal);
  if (!mfTimer) {
    sigdelset(&theBlockedSignals, SIGALRM);
    sSignalAtAlarm = aSignal;
    signal(SIGALRM, DieAtAlarm);
    const itimerval theTime = {{0, 0}, {kReportSeconds, 0}};
    setitimer(ITIMER_REAL, &theTime, nullptr);
  }
  sCurrent = this;
  pthread_sigmask(SIG_SETMASK, &theBlockedSignals, &mSignalMask);
}

CrashReport::~CrashReport() {
  EndTurn();
  DiscardSignalsOfWrites();
  pthread_sigmask(SIG_SETMASK, &mSignalMask, nullptr);
  if (mfTimer) {
    timer_delete(mTimer);
  } else {
    constexpr itimerval kNever = {{0, 0}, {0, 0}};
    setitimer(ITIMER_REAL, &kNever, nullptr);
  }
  if (mfHolding) {
    for (size_t i = 0; i < kFatalSignalCount; ++i)
      sigaction(kFatalSignals[i], &mHeldActions[i], nullptr);
  }
  signal(mSignal, SIG_DFL);
  sCurrent = nullptr;
  // In the signal's own handler it is blocked, and comes when the handler returns.
  if (sigismember(&mSignalMask, mSignal) == 1) raise(mSignal);
}

void CrashReport::Hold(void (*aHandler)(int)) {
  struct sigaction theAction = {};
  theAction.sa_handler = aHandler;
  for (size_t i = 0; i < kFatalSignalCount; ++i)
    sigaction(kFatalSignals[i], &theAction, &mHeldActions[i]);
  mfHolding = true;
}

void CrashReport::AwaitTurn() {
  for (int thePolls = 0; sfTracing.exchange(true); ++thePolls) {
    // Whoever has the turn may hang.
    if (thePolls == kTurnPolls) {
      mBrokenOutlets |= kCrashOutlet_File;
      return;
    }
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
  DieBy(mSignal);
}

void CrashReport::SetTimer(const timespec &aTime, int aFlags) {
  if (!mfTimer) return;
  const itimerspec theTime = {{0, 0}, aTime};
  timer_settime(mTimer, aFlags, &theTime, nullptr);
}

}  // namespace zvos
