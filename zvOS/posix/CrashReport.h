// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What lets the report of a fatal signal get through when the process is in pieces.
//
// The crash may have happened while the thread held the allocator's lock, inside the log, or on a
// ruined stack, so every step of the report may fault or hang in its turn. The report writes in short
// stretches, one thread of the process at a time. While a thread writes,
//
// - a step run by RunGuarded is given up when it faults or takes too long. What the step needed is not
//   used again in this report;
// - a fault outside such a step, or the end of the patience with all that hangs, ends the process by
//   the signal that is reported;
// - a fatal signal that somebody sent to this thread is kept and sent again when the stretch is over;
// - a fatal signal of another thread waits: for its turn when the handler was installed for it,
//   otherwise for the end of the stretch, and then takes its course;
// - no other signal reaches the thread, neither a handler of the application nor the one that a
//   broken pipe raises.
//
// Between the stretches nothing of this is in force: actions, masks and timers are those of the
// application, and the signal has its default action.
//
// Nothing here allocates, and nothing but the turn waits for another thread. A guarded step is left
// without its destructors when it is given up, so it may own nothing that has one.
#pragma once

#include <zvOS/zvTypes.h>

#include <csetjmp>
#include <csignal>
#include <ctime>

#include <ucontext.h>

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
  kCrashOutlet_File = 0x80,
  kCrashOutlet_CallSite = 0x100,
  kCrashOutlet_Environment = 0x200,
  kCrashOutlet_CrashFile = 0x400,
  kCrashOutlet_System = 0x800,
  kCrashOutlet_Modules = 0x1000,
  kCrashOutlet_Stamps = 0x2000
};

// How a signal came to its handler: NULLs when the handler was called by hand.
struct SignalArrival {
  int mSignal;
  const siginfo_t *mInfo;
  ucontext_t *mContext;
};

// A handler with all that the system hands it.
using FullHandler = void (*)(int aSignal, siginfo_t *anInfo, void *aContext);

class CrashReport {
 public:
  // aHandler is the one that threads install, and that reports.
  CrashReport(const SignalArrival &anArrival, FullHandler aHandler);
  ~CrashReport();
  CrashReport(const CrashReport &) = delete;
  CrashReport &operator=(const CrashReport &) = delete;

  // The report that the calling thread is writing, or NULL.
  static CrashReport *Writing() { return sWriting; }

  // A fatal signal has come while this thread writes. The step that it ends is given up: then this does
  // not return.
  void Interrupt(const SignalArrival &anArrival);

  // The report writes while one of these lives.
  class Stretch {
   public:
    explicit Stretch(CrashReport &aReport);
    ~Stretch();
    Stretch(const Stretch &) = delete;
    Stretch &operator=(const Stretch &) = delete;
  };

  // Puts the default action in the place of the reported signal's. It takes force with the end of the
  // stretch: a fault of another thread must not end the process before that. Said in every stretch: a
  // thread that has begun since then has installed the handler anew.
  void RestoreDefaultAction();

  int Signal() const { return mSignal; }

  // What the system says of the signal, or NULL when that is not known.
  const siginfo_t *Info() const { return mInfo; }

  // What the signal interrupted, or NULL when that is not known.
  ucontext_t *Interrupted() const { return mInterrupted; }

  // What the report tells in an addition while one of these lives must not cost it anything else: all steps
  // together have one second, taken from patience that is not needed, and a step that fails or takes too
  // long never ends the process. Part of a stretch.
  class Addition {
   public:
    explicit Addition(CrashReport &aReport);
    ~Addition();
    Addition(const Addition &) = delete;
    Addition &operator=(const Addition &) = delete;

    // False when too much has gone wrong already, or nothing can interrupt a step.
    bool IsPossible() const { return mfPossible; }

   private:
    CrashReport &mReport;
    const int64 mRest;  // of the patience of the report
    const bool mfPossible;
  };

  // A guarded step, when its outlet is not known to be broken: sigsetjmp(Escape(), 1), then, when that
  // gave 0, Begin and the step itself; End in any case, with whether the step was done.
  bool IsBroken(CrashOutlet anOutlet) const { return (mBrokenOutlets & anOutlet) != 0; }
  static sigjmp_buf &Escape();
  static bool IsInStep();
  void Begin();
  void End(CrashOutlet anOutlet, bool afDone);

  // The step itself has found that its outlet is of no use.
  void GiveUp(CrashOutlet anOutlet) { mBrokenOutlets |= anOutlet; }

 private:
  int64 RestAfterStep() const;

  inline static thread_local CrashReport *sWriting = nullptr;

  const int mSignal;
  const siginfo_t *const mInfo;
  ucontext_t *const mInterrupted;
  CrashReport *const mOuter;  // the one of this thread that this one has interrupted, or NULL
  unsigned mBrokenOutlets = 0;
  uint32 mStepStart = 0;  // a tick count
  int64 mRest;            // ms of patience with what hangs; in an addition, of all that is left for it
  bool mfInAddition = false;
};

// A step that must not add a frame of its own to the stack: a statement, guarded like those below. A step
// within a step belongs to that one.
#define ZVOS_RUN_GUARDED_HERE(outlet, statement)                           \
  do {                                                                     \
    zvos::CrashReport *const theReport_ = zvos::CrashReport::Writing();    \
    if (theReport_ == nullptr || zvos::CrashReport::IsInStep()) {          \
      statement;                                                           \
    } else if (!theReport_->IsBroken(outlet)) {                            \
      const bool afDone_ = sigsetjmp(zvos::CrashReport::Escape(), 1) == 0; \
      if (afDone_) {                                                       \
        theReport_->Begin();                                               \
        statement;                                                         \
      }                                                                    \
      theReport_->End(outlet, afDone_);                                    \
    }                                                                      \
  } while (0)

// Runs the step. In a thread that writes a report the step may be given up or, when what it depends on
// is known to be broken, not run at all; the result is false then.
bool RunGuarded(CrashOutlet anOutlet, void (*aStep)(void *aContext), void *aContext);

template <typename Step>
bool RunGuarded(CrashOutlet anOutlet, Step aStep) {
  return RunGuarded(
      anOutlet, [](void *aContext) { (*static_cast<Step *>(aContext))(); }, &aStep);
}

}  // namespace zvos
