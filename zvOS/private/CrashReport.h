// What lets the report of a fatal signal get through when the process is in pieces.
//
// The crash may have happened while the thread held the allocator's lock, inside the log, or on a
// ruined stack, so every step of the report may fault or hang in its turn. The thread that reports
// owns a CrashReport; while it does,
//
// - a step run by RunGuarded is given up when a signal ends it: a fault of its own or the report's
//   timer, which delivers the fatal signal once more. What the step needed is not used again;
// - a fault outside such a step, or the end of the whole time, ends the process by the signal that
//   came first;
// - faults of other threads do not end the process: they wait for their turn to be reported;
// - no other signal reaches the thread, neither a handler of the application nor the one that a
//   broken pipe raises.
//
// Nothing here allocates, and nothing but the turn waits for another thread.
#pragma once

#include <zvOS/zvTypes.h>

#include <csetjmp>
#include <csignal>
#include <ctime>

namespace zvos {

// In the order in which threads install their handlers.
constexpr int kFatalSignals[] = {SIGSEGV, SIGILL, SIGBUS, SIGABRT, SIGFPE};
constexpr size_t kFatalSignalCount = sizeof(kFatalSignals) / sizeof(kFatalSignals[0]);

// What a step of the report depends on; one that failed is not tried again.
enum CrashOutlet : unsigned {
  kCrashOutlet_Unwinder = 0x01,
  kCrashOutlet_Log = 0x02,
  kCrashOutlet_Allocator = 0x04,
  kCrashOutlet_Output = 0x08,
  kCrashOutlet_OutputBuffer = 0x10,
  kCrashOutlet_Stack = 0x20,
  kCrashOutlet_Loader = 0x40,
  kCrashOutlet_File = 0x80
};

class CrashReport {
 public:
  // Starts the report of aSignal in the calling thread.
  explicit CrashReport(int aSignal);
  // Leaves aSignal at its default action, which runs on the return from the handler also when the
  // fault does not repeat, and everything else as it was.
  ~CrashReport();
  CrashReport(const CrashReport &) = delete;
  CrashReport &operator=(const CrashReport &) = delete;

  // The report that the calling thread is making, or NULL.
  static CrashReport *Current() { return sCurrent; }

  // From now on a fatal signal of any thread comes to aHandler, whatever its action is.
  void Hold(void (*aHandler)(int));

  // Waits, for a bounded time, until no other thread is writing its trace; without the turn the
  // trace file is left to the other thread.
  void AwaitTurn();
  void EndTurn();

  // A fatal signal came while this thread was making the report. Does not return.
  [[noreturn]] void Interrupt();

  template <typename Step>
  bool Guard(CrashOutlet anOutlet, Step &aStep);

 private:
  void SetTimer(const timespec &aTime, int aFlags);

  inline static thread_local CrashReport *sCurrent = nullptr;

  int mSignal;
  timer_t mTimer;
  bool mfTimer;
  bool mfHolding = false;
  bool mfMyTurn = false;
  unsigned mBrokenOutlets = 0;
  timespec mDeadline;
  sigjmp_buf *mEscape = nullptr;
  sigset_t mSignalMask;
  struct sigaction mHeldActions[kFatalSignalCount];
};

// Runs the step. In a thread that reports a crash the step may be given up or, when what it
// depends on is known to be broken, not run at all; the result is false then.
template <typename Step>
bool RunGuarded(CrashOutlet anOutlet, Step aStep) {
  CrashReport *const theReport = CrashReport::Current();
  if (theReport != nullptr) return theReport->Guard(anOutlet, aStep);
  aStep();
  return true;
}

template <typename Step>
bool CrashReport::Guard(CrashOutlet anOutlet, Step &aStep) {
  constexpr timespec kStepTime = {1, 0};

  if ((mBrokenOutlets & anOutlet) != 0) return false;

  sigjmp_buf theEscape;
  sigjmp_buf *const theOuterEscape = mEscape;
  if (sigsetjmp(theEscape, 1) == 0) {
    mEscape = &theEscape;
    SetTimer(kStepTime, 0);
    aStep();
  } else {
    mBrokenOutlets |= anOutlet;
  }
  SetTimer(mDeadline, TIMER_ABSTIME);
  mEscape = theOuterEscape;
  return (mBrokenOutlets & anOutlet) == 0;
}

}  // namespace zvos
