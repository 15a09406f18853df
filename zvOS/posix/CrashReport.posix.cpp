// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The report of a fatal signal: its turn, its stretches, its patience. What it is for stands in the header.

#include <zvOS/zvTime.h>

#include "posix/CrashReport.h"
#include "private/Failure.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>

namespace zvos {

namespace {

// What one step may take, and what all that hangs may take together, in milliseconds. A log that is slow and
// delivers is waited for, and a process that is stopped meanwhile loses nothing.
constexpr int64 kStepPatience = 2000;
constexpr int64 kPatience = 7000;
// For an addition to the report, and what has to be there beyond it.
constexpr int64 kPatienceWithAddition = 1000;
constexpr int64 kPatienceToKeep = kStepPatience;
constexpr unsigned kOutletsOfAdditions = kCrashOutlet_Environment | kCrashOutlet_CrashFile |
                                         kCrashOutlet_System | kCrashOutlet_Modules | kCrashOutlet_Stamps;
constexpr timespec kNap = {0, 10 * 1000 * 1000};
constexpr unsigned kNapsForAWriter = 900;
// Longer than a report sleeps without writing.
constexpr unsigned kNapsForAReport = 300;
// From the end of a report until the fault that it was about has repeated.
constexpr timespec kUntilDeath = {1, 0};

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

std::atomic<FullHandler> sHandler;
std::atomic<pid_t> sWriter;      // the thread that writes, 0: none
std::atomic<unsigned> sSteps;    // done so far: tells a slow writer from one that is stuck
std::atomic<unsigned> sHandled;  // a bit for each fatal signal whose action put aside is the handler
std::atomic<pid_t> sReporter;    // the process that makes reports: a forked one does not go on with them
std::atomic<int> sReportCount;   // being made in it
thread_local CrashReport *sOwnReport;

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
  sigset_t theSet;
  sigemptyset(&theSet);
  sigaddset(&theSet, aSignal);
  // More than once when a thread that begins meanwhile installs the handler anew.
  for (int i = 0; i < 100; ++i) {
    signal(aSignal, SIG_DFL);
    pthread_sigmask(SIG_UNBLOCK, &theSet, nullptr);
    raise(aSignal);
  }
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

// A handler of the application that runs meanwhile does not make it shorter.
void Sleep(timespec aTime) {
  while (nanosleep(&aTime, &aTime) != 0 && errno == EINTR) {
  }
}

// How long a thread waits for another: as long as that one comes forward. Counted in naps, so that time in
// which the process is stopped does not count.
class Patience {
 public:
  explicit Patience(unsigned aNaps) : mNaps(aNaps) {}

  // False when it is over; otherwise some time has passed.
  bool Nap() {
    const unsigned theSteps = sSteps;
    if (theSteps != mSteps) mCount = 0;
    mSteps = theSteps;
    if (mCount++ == mNaps) return false;
    Sleep(kNap);
    return true;
  }

 private:
  const unsigned mNaps;
  unsigned mCount = 0;
  unsigned mSteps = sSteps;
};

// --- actions ------------------------------------------------------------------------------------

bool IsHandledBy(const struct sigaction &anAction, FullHandler aHandler) {
  return anAction.sa_sigaction == aHandler;
}

// The action of the five signals during a stretch.
void HandleInStretch(int aSignal, siginfo_t *anInfo, void *aContext);

void PutActionsAside() {
  struct sigaction theAction = {};
  theAction.sa_sigaction = HandleInStretch;
  theAction.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
  unsigned theHandled = 0;
  for (size_t i = 0; i < kFatalSignalCount; ++i) {
    sigaction(kFatalSignals[i], nullptr, &sGuard.mActions[i]);
    if (IsHandledBy(sGuard.mActions[i], sHandler)) theHandled |= 1u << i;
  }
  sGuard.mDefaulted = 0;
  sHandled = theHandled;
  for (const int theSignal : kFatalSignals)
    sigaction(theSignal, &theAction, nullptr);
}

void PutActionsBack() {
  for (size_t i = 0; i < kFatalSignalCount; ++i) {
    if (kFatalSignals[i] == sGuard.mDefaulted) {
      signal(kFatalSignals[i], SIG_DFL);
      continue;
    }
    struct sigaction theAction;
    sigaction(kFatalSignals[i], nullptr, &theAction);
    // The application may have set another meanwhile.
    if (IsHandledBy(theAction, HandleInStretch)) sigaction(kFatalSignals[i], &sGuard.mActions[i], nullptr);
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
  for (Patience thePatience(kNapsForAWriter);;) {
    // A signal must not find a writer that does not know yet that it is one.
    pthread_sigmask(SIG_SETMASK, &theAll, &theMask);
    pid_t theWriter = 0;
    if (sWriter.compare_exchange_strong(theWriter, gettid()) || EndAbandonedStretch(theWriter))
      return theMask;
    pthread_sigmask(SIG_SETMASK, &theMask, nullptr);
    if (!thePatience.Nap()) DieBy(aSignal);
  }
}

void AwaitEndOfStretch(int aSignal) {
  for (Patience thePatience(kNapsForAWriter);;) {
    const pid_t theWriter = sWriter;
    if (theWriter == 0) return;
    if (EndAbandonedStretch(theWriter)) {
      sWriter = 0;
      return;
    }
    if (!thePatience.Nap()) DieBy(aSignal);
  }
}

// --- the timer ----------------------------------------------------------------------------------

// The fallback for the timer comes to whatever thread takes it, which is good for the end of the whole
// patience only.
std::atomic<int> sSignalAtAlarm;
std::atomic<bool> sfAlarmIsSet;

void DieAtAlarm(int) {
  if (sfAlarmIsSet) DieBy(sSignalAtAlarm);
}

void SetAlarm(int64 aTime) {
  const long theTime = static_cast<long>(aTime);
  const itimerval theSetting = {{0, 0}, {theTime / 1000, theTime % 1000 * 1000}};
  setitimer(ITIMER_REAL, &theSetting, nullptr);
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

  getitimer(ITIMER_REAL, &sGuard.mAlarmTime);
  SetAlarm(0);
  sSignalAtAlarm = aSignal;
  struct sigaction theAction = {};
  theAction.sa_handler = DieAtAlarm;
  sigaction(SIGALRM, &theAction, &sGuard.mAlarmAction);
}

// For a step; the fallback knows the whole patience only.
void SetTimer(int64 aRest) {
  if (!sGuard.mfTimer) {
    sfAlarmIsSet = true;
    SetAlarm(aRest);
    return;
  }
  const long theTime = static_cast<long>(aRest < kStepPatience ? aRest : kStepPatience);
  const itimerspec theSetting = {{0, 0}, {theTime / 1000, theTime % 1000 * 1000000}};
  timer_settime(sGuard.mTimer, 0, &theSetting, nullptr);
}

void StopTimer() {
  if (!sGuard.mfTimer) {
    sfAlarmIsSet = false;
    SetAlarm(0);
    return;
  }
  constexpr itimerspec kNever = {};
  timer_settime(sGuard.mTimer, 0, &kNever, nullptr);
}

void DeleteTimer() {
  if (sGuard.mfTimer) {
    timer_delete(sGuard.mTimer);
    return;
  }
  sigaction(SIGALRM, &sGuard.mAlarmAction, nullptr);
  setitimer(ITIMER_REAL, &sGuard.mAlarmTime, nullptr);
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
  sigdelset(&theMask, SIGTRAP);
  sigdelset(&theMask, SIGSYS);
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

// Whether a fatal signal that has come to another thread than the writer is for its handler. Otherwise it
// takes its course when this thread returns.
bool IsForHandler(int aSignal, const siginfo_t &anInfo) {
  struct sigaction theAction;
  sigaction(aSignal, nullptr, &theAction);
  // The stretch may be over by now.
  if (IsHandledBy(theAction, sHandler)) return true;
  if (IsHandledBy(theAction, HandleInStretch)) {
    if ((sHandled & 1u << IndexOf(aSignal)) != 0) return true;
    AwaitEndOfStretch(aSignal);
  }
  if (anInfo.si_code <= 0) SendAgain(aSignal, anInfo);
  return false;
}

// What has come to this very thread while it writes is dealt with here.
__attribute__((noinline)) bool HasToBeHandled(int aSignal, siginfo_t *anInfo, void *aContext) {
  const ErrnoAtEnd theError;
  if (CrashReport *const theReport = CrashReport::Writing()) {
    theReport->Interrupt({aSignal, anInfo, static_cast<ucontext_t *>(aContext)});
    return false;
  }
  int theCancelState;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &theCancelState);
  const bool afForHandler = IsForHandler(aSignal, *anInfo);
  pthread_setcancelstate(theCancelState, nullptr);
  return afForHandler;
}

// Jumps to the handler, which finds everything where the system has put it, and itself in the trace behind
// what was interrupted.
void HandleInStretch(int aSignal, siginfo_t *anInfo, void *aContext) {
  if (HasToBeHandled(aSignal, anInfo, aContext)) sHandler.load()(aSignal, anInfo, aContext);
}

}  // namespace

// --- the report ---------------------------------------------------------------------------------

CrashReport::CrashReport(const SignalArrival &anArrival, FullHandler aHandler)
    : mSignal(anArrival.mSignal),
      mInfo(anArrival.mInfo),
      mInterrupted(anArrival.mContext),
      mOuter(sOwnReport),
      mRest(kPatience) {
  sHandler = aHandler;
  sOwnReport = this;
  if (sReporter.exchange(getpid()) != getpid()) sReportCount = 0;
  ++sReportCount;
}

CrashReport::~CrashReport() {
  --sReportCount;
  sOwnReport = mOuter;
}

CrashReport::Stretch::Stretch(CrashReport &aReport) {
  sGuard.mSignalMask = TakeTurn(aReport.mSignal);
  sWriting = &aReport;
  sGuard.mfInStep = 0;
  for (volatile sig_atomic_t &fSent : sGuard.mfSent)
    fSent = 0;
  sGuard.mWriteSignals = SignalsOfWrites();
  PutActionsAside();
  MakeTimer(aReport.mSignal);
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
  }
  sWriting = nullptr;
  const sigset_t theMask = sGuard.mSignalMask;
  sWriter = 0;
  pthread_sigmask(SIG_SETMASK, &theMask, nullptr);
}

CrashReport::Addition::Addition(CrashReport &aReport)
    : mReport(aReport),
      mRest(aReport.mRest),
      mfPossible(sGuard.mfTimer && mRest >= kPatienceWithAddition + kPatienceToKeep) {
  mReport.mRest = kPatienceWithAddition;
  mReport.mfInAddition = true;
}

CrashReport::Addition::~Addition() {
  mReport.mRest = mRest - (mfPossible ? kPatienceWithAddition - mReport.mRest : 0);
  mReport.mfInAddition = false;
}

void CrashReport::RestoreDefaultAction() {
  sHandled &= ~(1u << IndexOf(mSignal));
  sGuard.mDefaulted = mSignal;
}

sigjmp_buf &CrashReport::Escape() {
  return sGuard.mEscape;
}

bool CrashReport::IsInStep() {
  return sGuard.mfInStep != 0;
}

void CrashReport::Begin() {
  mStepStart = zvTime_GetTickCount();
  sGuard.mfInStep = 1;
  SetTimer(mRest);
}

void CrashReport::End(CrashOutlet anOutlet, bool afDone) {
  StopTimer();
  sGuard.mfInStep = 0;
  if (afDone) {
    ++sSteps;
  } else {
    mBrokenOutlets |= anOutlet;
  }
  // An addition pays for what is done in time, too.
  if (!afDone || mfInAddition) mRest = RestAfterStep();
  if (mfInAddition && mRest <= 0) {
    mRest = 0;
    mBrokenOutlets |= kOutletsOfAdditions;
  }
}

// When the step is given up now.
int64 CrashReport::RestAfterStep() const {
  const uint32 theTime = zvTime_GetTickCount() - mStepStart;
  return mRest - (theTime < kStepPatience ? theTime : kStepPatience);
}

void CrashReport::Interrupt(const SignalArrival &anArrival) {
  if (anArrival.mInfo != nullptr && IsOfTimer(*anArrival.mInfo)) {
    if (sGuard.mfInStep == 0) return;  // it came late
  } else if (IsSent(anArrival)) {
    const size_t theIndex = IndexOf(anArrival.mSignal);
    sGuard.mSent[theIndex] = *anArrival.mInfo;
    sGuard.mfSent[theIndex] = 1;
    return;
  }
  if (sGuard.mfInStep != 0 && (mfInAddition || RestAfterStep() > 0)) siglongjmp(sGuard.mEscape, 1);
  DieBy(mSignal);
}

// Lest the process end otherwise than by the signal, with whatever status its main returns.
__attribute__((destructor)) static void EndBySignal() {
  if (sReportCount == 0 || sReporter != getpid()) return;
  if (sOwnReport != nullptr) DieBy(sOwnReport->Signal());
  // The writer has a patience of its own.
  Patience thePatience(kNapsForAReport);
  while (sReportCount != 0) {
    if (sWriter != 0) {
      Sleep(kNap);
    } else if (!thePatience.Nap()) {
      break;
    }
  }
  Sleep(kUntilDeath);
}

bool RunGuarded(CrashOutlet anOutlet, void (*aStep)(void *aContext), void *aContext) {
  ZVOS_RUN_GUARDED_HERE(anOutlet, aStep(aContext));
  const CrashReport *const theReport = CrashReport::Writing();
  return theReport == nullptr || !theReport->IsBroken(anOutlet);
}

}  // namespace zvos
