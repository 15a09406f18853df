// The report of a fatal signal: its turn, its stretches, its patience. What it is for stands in the header.

#include "private/CrashReport.h"

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>

namespace zvos {

namespace {

// What one step may take, and what all that hangs may take together, the two seconds for the log to drain
// included. A log that is slow and delivers is waited for.
constexpr int64 kStepPatience = 2000;
constexpr int64 kPatience = 9000;
constexpr timespec kPoll = {0, 10 * 1000 * 1000};
// From the end of a report until the fault that it was about has repeated.
constexpr timespec kUntilDeath = {1, 0};

using Handler = void (*)(int);

// What a stretch puts aside and puts back. It belongs to the thread that writes, and outlasts the frame of
// a handler, so that the words dumped from a stack are of the crash and not of its report.
struct Guard {
  sigset_t mSignalMask;
  struct sigaction mActions[kFatalSignalCount];
  int mDefaulted;  // signal whose default action is to be put back, 0: none
  siginfo_t mSent[kFatalSignalCount];
  volatile sig_atomic_t mfSent[kFatalSignalCount];
  sigset_t mWriteSignals;  // those that writing may raise
  timer_t mTimer;
  bool mfTimer;
  struct sigaction mAlarmAction;
  itimerval mAlarmTime;
  sigjmp_buf mEscape;
  volatile sig_atomic_t mfInStep;
};
Guard sGuard;

std::atomic<Handler> sHandler;
std::atomic<pid_t> sWriter;        // the thread that writes, 0: none
std::atomic<unsigned> sSteps;      // done so far: tells a slow writer from one that is stuck
std::atomic<unsigned> sHandled;    // a bit for each fatal signal whose action put aside is the handler
std::atomic<int> sReportCount;     // being made
std::atomic<pid_t> sLastReporter;  // the thread that began the last of them
thread_local int sOwnReportCount;

int64 Now() {
  timespec theTime;
  clock_gettime(CLOCK_MONOTONIC, &theTime);
  return static_cast<int64>(theTime.tv_sec) * 1000 + theTime.tv_nsec / 1000000;
}

size_t IndexOf(int aSignal) {
  size_t theIndex = 0;
  while (theIndex + 1 < kFatalSignalCount && kFatalSignals[theIndex] != aSignal)
    ++theIndex;
  return theIndex;
}

sigset_t AllSignals() {
  sigset_t theSet;
  sigfillset(&theSet);
  return theSet;
}

[[noreturn]] void DieBy(int aSignal) {
  signal(aSignal, SIG_DFL);
  sigset_t theSet;
  sigemptyset(&theSet);
  sigaddset(&theSet, aSignal);
  pthread_sigmask(SIG_UNBLOCK, &theSet, nullptr);
  raise(aSignal);
  // Only when the system does not deliver the signal.
  _exit(128 + aSignal);
}

// Whether the thread has ended, or is one of the process that this one was forked from.
bool IsGone(pid_t aThread) {
  return syscall(SYS_tgkill, getpid(), aThread, 0) != 0 && errno == ESRCH;
}

// To this very thread, as it came.
void SendAgain(int aSignal, const siginfo_t &anInfo) {
  siginfo_t theInfo = anInfo;
  if (syscall(SYS_rt_tgsigqueueinfo, getpid(), gettid(), aSignal, &theInfo) != 0) {
    syscall(SYS_tgkill, getpid(), gettid(), aSignal);
  }
}

// How long a thread waits for another: as long as that one comes forward.
class Patience {
 public:
  bool IsOver() {
    const unsigned theSteps = sSteps;
    if (theSteps != mSteps) *this = Patience();
    return Now() - mStart > kPatience;
  }

 private:
  unsigned mSteps = sSteps;
  int64 mStart = Now();
};

// --- actions ------------------------------------------------------------------------------------

bool IsHandled(const struct sigaction &anAction) {
  return anAction.sa_handler == sHandler.load();
}

void PutActionsAside() {
  struct sigaction theAction = {};
  theAction.sa_handler = sHandler;
  theAction.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
  unsigned theHandled = 0;
  for (size_t i = 0; i < kFatalSignalCount; ++i) {
    sigaction(kFatalSignals[i], nullptr, &sGuard.mActions[i]);
    if (IsHandled(sGuard.mActions[i])) theHandled |= 1u << i;
  }
  sGuard.mDefaulted = 0;
  sHandled = theHandled;
  for (const int theSignal : kFatalSignals)
    sigaction(theSignal, &theAction, nullptr);
}

void PutActionsBack() {
  for (size_t i = 0; i < kFatalSignalCount; ++i) {
    struct sigaction theAction;
    sigaction(kFatalSignals[i], nullptr, &theAction);
    if (!IsHandled(theAction)) continue;  // the application has set another meanwhile
    if (kFatalSignals[i] == sGuard.mDefaulted) {
      signal(kFatalSignals[i], SIG_DFL);
    } else {
      sigaction(kFatalSignals[i], &sGuard.mActions[i], nullptr);
    }
  }
}

// --- the turn -----------------------------------------------------------------------------------

// The writer of a process that was forked in the middle of a stretch is not there to end it.
bool EndAbandonedStretch(pid_t aWriter) {
  if (!IsGone(aWriter) || !sWriter.compare_exchange_strong(aWriter, gettid())) return false;
  PutActionsBack();
  return true;
}

// From its result on the calling thread writes, with all signals blocked; gives the mask it had before.
sigset_t TakeTurn(int aSignal) {
  const sigset_t theAll = AllSignals();
  sigset_t theMask;
  for (Patience thePatience;;) {
    // A signal must not find a writer that does not know yet that it is one.
    pthread_sigmask(SIG_SETMASK, &theAll, &theMask);
    pid_t theWriter = 0;
    if (sWriter.compare_exchange_strong(theWriter, gettid()) || EndAbandonedStretch(theWriter))
      return theMask;
    pthread_sigmask(SIG_SETMASK, &theMask, nullptr);
    if (thePatience.IsOver()) DieBy(aSignal);
    nanosleep(&kPoll, nullptr);
  }
}

void AwaitEndOfStretch(int aSignal) {
  for (Patience thePatience;;) {
    const pid_t theWriter = sWriter;
    if (theWriter == 0) return;
    if (EndAbandonedStretch(theWriter)) {
      sWriter = 0;
      return;
    }
    if (thePatience.IsOver()) DieBy(aSignal);
    nanosleep(&kPoll, nullptr);
  }
}

// --- the timer ----------------------------------------------------------------------------------

// What the fallback for the timer ends the process by. It comes to whatever thread takes it, which is good
// for the end of the whole patience only.
std::atomic<int> sSignalAtAlarm;

void DieAtAlarm(int) {
  DieBy(sSignalAtAlarm);
}

bool IsOfTimer(const siginfo_t &anInfo) {
  return anInfo.si_code == SI_TIMER && anInfo.si_value.sival_ptr == &sGuard;
}

// It sends the reported signal, and to this very thread: any other one might have the signal blocked.
void MakeTimer(int aSignal) {
  sigevent theEvent = {};
  theEvent.sigev_notify = SIGEV_THREAD_ID;
  theEvent.sigev_signo = aSignal;
  theEvent.sigev_value.sival_ptr = &sGuard;
  theEvent._sigev_un._tid = gettid();
  sGuard.mfTimer = timer_create(CLOCK_MONOTONIC, &theEvent, &sGuard.mTimer) == 0;
  if (sGuard.mfTimer) return;

  sSignalAtAlarm = aSignal;
  struct sigaction theAction = {};
  theAction.sa_handler = DieAtAlarm;
  sigaction(SIGALRM, &theAction, &sGuard.mAlarmAction);
  getitimer(ITIMER_REAL, &sGuard.mAlarmTime);
}

// The earlier of the two; the fallback knows the deadline only.
void SetTimer(int64 aStepEnd, int64 aDeadline) {
  if (sGuard.mfTimer) {
    const int64 theTime = aStepEnd < aDeadline ? aStepEnd : aDeadline;
    const itimerspec theSetting = {
        {0, 0}, {static_cast<time_t>(theTime / 1000), static_cast<long>(theTime % 1000 * 1000000)}};
    timer_settime(sGuard.mTimer, TIMER_ABSTIME, &theSetting, nullptr);
    return;
  }
  const int64 theRest = aDeadline - Now();
  const int64 theTime = theRest > 0 ? theRest : 1;
  const itimerval theSetting = {
      {0, 0}, {static_cast<time_t>(theTime / 1000), static_cast<suseconds_t>(theTime % 1000 * 1000)}};
  setitimer(ITIMER_REAL, &theSetting, nullptr);
}

void DeleteTimer() {
  if (sGuard.mfTimer) {
    timer_delete(sGuard.mTimer);
    return;
  }
  setitimer(ITIMER_REAL, &sGuard.mAlarmTime, nullptr);
  sigaction(SIGALRM, &sGuard.mAlarmAction, nullptr);
}

// --- signals of a stretch -----------------------------------------------------------------------

// What writing to a closed pipe or past the limit of a file raises, unless it is pending already.
sigset_t SignalsOfWrites() {
  constexpr int kWriteSignals[] = {SIGPIPE, SIGXFSZ};
  sigset_t thePending;
  sigpending(&thePending);
  sigset_t theSet;
  sigemptyset(&theSet);
  for (const int theSignal : kWriteSignals) {
    if (sigismember(&thePending, theSignal) == 0) sigaddset(&theSet, theSignal);
  }
  return theSet;
}

// Takes back what writing has raised meanwhile, lest the process die of that.
void DiscardSignalsOfWrites() {
  constexpr timespec kNoTime = {0, 0};
  while (sigtimedwait(&sGuard.mWriteSignals, nullptr, &kNoTime) > 0 || errno == EINTR) {
  }
}

// The system ends a process at once when a thread faults with the signal blocked.
sigset_t MaskOfWriter() {
  sigset_t theMask = AllSignals();
  for (const int theSignal : kFatalSignals)
    sigdelset(&theMask, theSignal);
  if (!sGuard.mfTimer) sigdelset(&theMask, SIGALRM);
  return theMask;
}

// abort() sends its signal to itself, and does not take no for an answer.
bool IsSent(const SignalArrival &anArrival) {
  if (anArrival.mInfo == nullptr || anArrival.mInfo->si_code > 0) return false;
  return anArrival.mSignal != SIGABRT || anArrival.mInfo->si_code != SI_TKILL ||
         anArrival.mInfo->si_pid != getpid();
}

}  // namespace

// --- the report ---------------------------------------------------------------------------------

CrashReport::CrashReport(const SignalArrival &anArrival)
    : mSignal(anArrival.mSignal), mInterrupted(anArrival.mContext), mDeadline(Now() + kPatience) {
  ++sOwnReportCount;
  sLastReporter = gettid();
  ++sReportCount;
}

CrashReport::~CrashReport() {
  --sReportCount;
  --sOwnReportCount;
}

bool CrashReport::IsToBeReported(const SignalArrival &anArrival, void (*aHandler)(int)) {
  sHandler = aHandler;
  if (sWriting != nullptr) {
    sWriting->Interrupt(anArrival);
    return false;
  }
  if (anArrival.mInfo == nullptr) return true;

  if (sWriter != 0) {
    if ((sHandled & 1u << IndexOf(anArrival.mSignal)) != 0) return true;
    AwaitEndOfStretch(anArrival.mSignal);
  } else {
    // The stretch during which it came may be over.
    struct sigaction theAction;
    sigaction(anArrival.mSignal, nullptr, &theAction);
    if (IsHandled(theAction)) return true;
  }
  if (anArrival.mInfo->si_code <= 0) SendAgain(anArrival.mSignal, *anArrival.mInfo);
  return false;
}

CrashReport::Stretch::Stretch(CrashReport &aReport) {
  sGuard.mSignalMask = TakeTurn(aReport.mSignal);
  sWriting = &aReport;
  sGuard.mfInStep = 0;
  sGuard.mWriteSignals = SignalsOfWrites();
  PutActionsAside();
  MakeTimer(aReport.mSignal);
  SetTimer(aReport.mDeadline, aReport.mDeadline);
  const sigset_t theMask = MaskOfWriter();
  pthread_sigmask(SIG_SETMASK, &theMask, nullptr);
}

CrashReport::Stretch::~Stretch() {
  DeleteTimer();
  const sigset_t theAll = AllSignals();
  pthread_sigmask(SIG_SETMASK, &theAll, nullptr);
  DiscardSignalsOfWrites();
  PutActionsBack();
  for (size_t i = 0; i < kFatalSignalCount; ++i) {
    if (sGuard.mfSent[i] != 0) SendAgain(kFatalSignals[i], sGuard.mSent[i]);
    sGuard.mfSent[i] = 0;
  }
  sWriting = nullptr;
  const sigset_t theMask = sGuard.mSignalMask;
  sWriter = 0;
  pthread_sigmask(SIG_SETMASK, &theMask, nullptr);
}

void CrashReport::RestoreDefaultAction() {
  sHandled &= ~(1u << IndexOf(mSignal));
  sGuard.mDefaulted = mSignal;
}

sigjmp_buf &CrashReport::Escape() {
  return sGuard.mEscape;
}

void CrashReport::Begin() {
  mStepStart = Now();
  sGuard.mfInStep = 1;
  SetTimer(mStepStart + kStepPatience, mDeadline);
}

void CrashReport::End(CrashOutlet anOutlet, bool afDone) {
  sGuard.mfInStep = 0;
  if (afDone) {
    mDeadline += Now() - mStepStart;
    ++sSteps;
  } else {
    mBrokenOutlets |= anOutlet;
  }
  SetTimer(mDeadline, mDeadline);
}

// A fatal signal has come while this thread writes.
void CrashReport::Interrupt(const SignalArrival &anArrival) {
  const bool afOver = Now() >= mDeadline;
  if (anArrival.mInfo != nullptr && IsOfTimer(*anArrival.mInfo)) {
    if (sGuard.mfInStep == 0 && !afOver) return;
  } else if (IsSent(anArrival)) {
    const size_t theIndex = IndexOf(anArrival.mSignal);
    sGuard.mSent[theIndex] = *anArrival.mInfo;
    sGuard.mfSent[theIndex] = 1;
    return;
  }
  if (sGuard.mfInStep != 0 && !afOver) siglongjmp(sGuard.mEscape, 1);
  DieBy(mSignal);
}

// Lest the process end otherwise than by the signal, with whatever status its main returns.
__attribute__((destructor)) static void AwaitReports() {
  if (sReportCount == sOwnReportCount || IsGone(sLastReporter)) return;
  for (Patience thePatience; sReportCount != sOwnReportCount && !thePatience.IsOver();)
    nanosleep(&kPoll, nullptr);
  nanosleep(&kUntilDeath, nullptr);
}

}  // namespace zvos
