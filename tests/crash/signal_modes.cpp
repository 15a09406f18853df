// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Signals around the two seconds for which the report of a crash waits, and what becomes of them.

#include "Crash.h"

#include <errno.h>
#include <setjmp.h>
#include <signal.h>
#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <initializer_list>

namespace {

using namespace crash;

void (*HandlerOf(int aSignal))(int) {
  struct sigaction theAction;
  sigaction(aSignal, nullptr, &theAction);
  return theAction.sa_handler;
}

// Starts a worker that crashes by SIGSEGV, and waits until its report lets the log drain: then that signal
// has its default action, which would say nothing if it had no handler before, and the last of the others has
// its own again.
zvOSThread *StartAndAwaitDrain(zvThread_Func aCrash) {
  InstallHandlers();
  void (*const theOther)(int) = HandlerOf(SIGFPE);
  zvOSThread *theThread = StartWorker(aCrash);
  while (HandlerOf(SIGSEGV) != SIG_DFL || HandlerOf(SIGFPE) != theOther)
    SleepFor(5);
  return theThread;
}

// The report is being written.
void AwaitTraceFile(pid_t aProcess) {
  char theName[64];
  snprintf(theName, sizeof(theName), "/tmp/backtrace_%d.txt", static_cast<int>(aProcess));
  while (access(theName, F_OK) != 0)
    SleepFor(5);
}

// A process of its own that sends the signal to this one when its report waits for the log to drain.
pid_t sTarget;
void SendFromOutside(int aSignal) {
  sTarget = getpid();
  if (fork() != 0) return;
  AwaitTraceFile(sTarget);
  SleepFor(300);
  kill(sTarget, aSignal);
  _exit(0);
}

// --- signals that are sent ----------------------------------------------------------------------

void RaiseOnce() {
  errno = ELOOP;
  raise(SIGSEGV);
  Tell(errno == ELOOP ? "went on\n" : "went on with another errno\n");
}

void RaiseTwice(void *) {
  RaiseOnce();
  raise(SIGSEGV);
}

void RaiseTwiceInMain() {
  InstallHandlers();
  RaiseTwice(nullptr);
}

void KillTwice() {
  InstallHandlers();
  kill(getpid(), SIGSEGV);
  Tell("went on\n");
  kill(getpid(), SIGSEGV);
}

// --- during the two seconds ---------------------------------------------------------------------

const char *NameOfAction(int aSignal) {
  if (HandlerOf(aSignal) == SIG_DFL) return "default\n";
  return HandlerOf(aSignal) == sThread_S_SignalHandler ? "handler\n" : "other\n";
}

void TellActions() {
  zvOSThread *theThread = StartAndAwaitDrain([](void *) { RaiseOnce(); });
  for (const int theSignal : {SIGSEGV, SIGILL, SIGBUS, SIGABRT, SIGFPE})
    Tell(NameOfAction(theSignal));
  zvThread_Wait(theThread);
}

void TellTimers() {
  zvOSThread *theThread = StartAndAwaitDrain([](void *) { RaiseOnce(); });
  FILE *theTimers = fopen("/proc/self/timers", "r");
  if (theTimers == nullptr) Exit(crash::kExitCannotStart);
  Tell(fgetc(theTimers) == EOF ? "no timer\n" : "a timer\n");
  fclose(theTimers);
  zvThread_Wait(theThread);
}

void FaultInTheDrain(void (*aFault)(void *), long aDelay) {
  PrepareOther(aFault);
  zvOSThread *theThread = StartAndAwaitDrain(CrashBySegv);
  SleepFor(aDelay);
  crash::LetOther();
  zvThread_Wait(theThread);
}

void SameSignalInTheDrain() {
  FaultInTheDrain(OtherSegv, 1000);
}

// Late enough for the first one's fault to repeat before its own.
void OtherSignalInTheDrain() {
  FaultInTheDrain(OtherFpe, 500);
}

// The only thread: the signal has nobody else to go to.
void KilledInTheDrain() {
  InstallHandlers();
  SendFromOutside(SIGSEGV);
  RaiseOnce();
}

void TerminatedInTheDrain() {
  InstallHandlers();
  SendFromOutside(SIGTERM);
  RaiseOnce();
}

void InterruptedInTheDrain() {
  InstallHandlers();
  signal(SIGINT, SIG_DFL);
  SendFromOutside(SIGINT);
  RaiseOnce();
}

void HandlerInTheDrain() {
  InstallHandlers();
  signal(SIGUSR1, [](int) {
    Tell("own handler\n");
    Exit(crash::kExitDone);
  });
  SendFromOutside(SIGUSR1);
  RaiseOnce();
}

// --- handlers that pass a signal on -------------------------------------------------------------

struct sigaction sPassedOn;

// By a jump: the handler below finds its arguments where the system has put them for this one.
CRASH_OPTIMIZED("optimize-sibling-calls") void PassOn(int aSignal, siginfo_t *anInfo, void *aContext) {
  sPassedOn.sa_sigaction(aSignal, anInfo, aContext);
}

void CallByHand(int aSignal, siginfo_t *, void *) {
  sThread_S_SignalHandler(aSignal);
}

void CrashWithHandlerInFront(void (*aHandler)(int, siginfo_t *, void *)) {
  InstallHandlers();
  zvThread_SetAllThreadsCatchSignal(0);
  struct sigaction theAction = {};
  theAction.sa_sigaction = aHandler;
  theAction.sa_flags = SA_SIGINFO;
  sigaction(SIGSEGV, &theAction, &sPassedOn);
  RunInWorker(CrashBySegv);
}

// --- more in the two seconds --------------------------------------------------------------------

// Each of them installs the handlers anew.
void ThreadsBeginInTheDrain() {
  StartAndAwaitDrain(CrashBySegv);
  for (;;) {
    RunInWorker([](void *) {});
    SleepFor(500);
  }
}

void HandlerThatReturnsInTheDrain() {
  InstallHandlers();
  signal(SIGUSR1, [](int) {});
  SendFromOutside(SIGUSR1);
  Time();
  RaiseOnce();
  Tell(Time() >= 2 ? "after two seconds\n" : "too early\n");
}

void HandlerThatExitsInTheDrain() {
  InstallHandlers();
  signal(SIGTERM, [](int) { exit(0); });
  SendFromOutside(SIGTERM);
  RaiseOnce();
}

sigjmp_buf sOut;
void HandlerThatLeavesTheDrain() {
  InstallHandlers();
  signal(SIGUSR1, [](int) { siglongjmp(sOut, 1); });
  SendFromOutside(SIGUSR1);
  if (sigsetjmp(sOut, 1) == 0) RaiseOnce();
}

// For longer than the report has patience.
void StoppedInTheDrain() {
  InstallHandlers();
  const pid_t theTarget = getpid();
  if (fork() == 0) {
    AwaitTraceFile(theTarget);
    SleepFor(300);
    kill(theTarget, SIGSTOP);
    SleepFor(10000);
    kill(theTarget, SIGCONT);
    _exit(0);
  }
  RaiseOnce();
}

pthread_t sVictim;
void CrashToBeCancelled(void *) {
  sVictim = pthread_self();
  CrashBySegv(nullptr);
}

void CancelledInTheDrain() {
  zvOSThread *theThread = StartAndAwaitDrain(CrashToBeCancelled);
  pthread_cancel(sVictim);
  zvThread_Wait(theThread);
}

// The system gives no timer to a process that may have no signal pending; the application's own goes on.
void AlarmOfTheApplicationWithoutTimer() {
  InstallHandlers();
  signal(SIGALRM, [](int) { Tell("own alarm\n"); });
  const itimerval theTime = {{0, 0}, {100, 0}};
  setitimer(ITIMER_REAL, &theTime, nullptr);
  const rlimit theNone = {0, 0};
  if (setrlimit(RLIMIT_SIGPENDING, &theNone) != 0) Exit(crash::kExitCannotStart);
  RaiseOnce();
  itimerval theRest;
  getitimer(ITIMER_REAL, &theRest);
  Tell(theRest.it_value.tv_sec > 90 ? "own timer\n" : "no timer\n");
  raise(SIGALRM);
}

void OwnHandlerOfAFatalSignalInTheDrain() {
  InstallOwnHandler();
  StartAndAwaitDrain([](void *) { RaiseOnce(); });
  raise(SIGFPE);
  Exit(crash::kExitDone);
}

void ReturnFromMain() {
  StartWorker(CrashBySegv);
  AwaitTraceFile(getpid());
}

// As under a profiler, or in a program that counts its time by an alarm.
void ReturnFromMainAmongSignals() {
  struct sigaction theAction = {};
  theAction.sa_handler = [](int) {};
  theAction.sa_flags = SA_RESTART;
  sigaction(SIGALRM, &theAction, nullptr);
  const itimerval theTime = {{0, 2000}, {0, 2000}};
  setitimer(ITIMER_REAL, &theTime, nullptr);
  ReturnFromMain();
}

void ExitInAnotherThread() {
  StartWorker(CrashBySegv);
  AwaitTraceFile(getpid());
  pthread_t theThread;
  const auto theExit = [](void *) -> void * { exit(0); };
  if (pthread_create(&theThread, nullptr, theExit, nullptr) != 0) Exit(crash::kExitCannotStart);
  pthread_join(theThread, nullptr);
}

// A child that is forked during the report, and has none itself, does not wait for one.
void ExitInAForkedChild() {
  zvOSThread *theThread = StartAndAwaitDrain(CrashBySegv);
  timespec theStart, theEnd;
  clock_gettime(CLOCK_MONOTONIC, &theStart);
  const pid_t theChild = fork();
  if (theChild == 0) exit(0);
  waitpid(theChild, nullptr, 0);
  clock_gettime(CLOCK_MONOTONIC, &theEnd);
  Tell(theEnd.tv_sec - theStart.tv_sec <= 1 ? "the child ended at once\n" : "the child waited\n");
  zvThread_Wait(theThread);
}

// --- as a debugger sees it ----------------------------------------------------------------------

[[noreturn]] void BeTraced() {
  InstallHandlers();
  if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) Exit(crash::kExitCannotStart);
  CrashBySegv(nullptr);
  Exit(crash::kExitSurvived);
}

// Tells every SIGSEGV that is about to be delivered: what it is, and where.
void TellDeath() {
  const pid_t theChild = fork();
  if (theChild == 0) BeTraced();
  for (;;) {
    int theStatus;
    if (waitpid(theChild, &theStatus, 0) != theChild) Exit(crash::kExitCannotStart);
    if (WIFSIGNALED(theStatus)) {
      char theName[64];
      snprintf(theName, sizeof(theName), "/tmp/backtrace_%d.txt", static_cast<int>(theChild));
      unlink(theName);
      Tell(WTERMSIG(theStatus) == SIGSEGV ? "died\n" : "died otherwise\n");
      Exit(crash::kExitDone);
    }
    if (!WIFSTOPPED(theStatus)) Exit(crash::kExitSurvived);
    const int theSignal = WSTOPSIG(theStatus);
    if (theSignal == SIGSEGV) {
      siginfo_t theInfo;
      ptrace(PTRACE_GETSIGINFO, theChild, nullptr, &theInfo);
      char theText[64];
      snprintf(theText, sizeof(theText), "code %d address %lu\n", theInfo.si_code,
               reinterpret_cast<unsigned long>(theInfo.si_addr));
      Tell(theText);
    }
    ptrace(PTRACE_CONT, theChild, nullptr, reinterpret_cast<void *>(static_cast<intptr_t>(theSignal)));
  }
}

constexpr crash::Mode kModes[] = {
    {"raise-twice", [] { RunInWorker(RaiseTwice); }},
    {"raise-twice-in-main", RaiseTwiceInMain},
    {"kill-twice", KillTwice},
    {"actions", TellActions},
    {"timers-in-the-drain", TellTimers},
    {"same-signal-in-the-drain", SameSignalInTheDrain},
    {"other-signal-in-the-drain", OtherSignalInTheDrain},
    {"killed-in-the-drain", KilledInTheDrain},
    {"terminated-in-the-drain", TerminatedInTheDrain},
    {"interrupted-in-the-drain", InterruptedInTheDrain},
    {"handler-in-the-drain", HandlerInTheDrain},
    {"own-fatal-handler-in-the-drain", OwnHandlerOfAFatalSignalInTheDrain},
    {"return-from-main", ReturnFromMain},
    {"return-from-main-among-signals", ReturnFromMainAmongSignals},
    {"exit-in-another-thread", ExitInAnotherThread},
    {"exit-in-a-forked-child", ExitInAForkedChild},
    {"traced", TellDeath},
    {"passed-on", [] { CrashWithHandlerInFront(PassOn); }},
    {"passed-on-by-hand", [] { CrashWithHandlerInFront(CallByHand); }},
    {"threads-begin-in-the-drain", ThreadsBeginInTheDrain},
    {"handler-that-returns-in-the-drain", HandlerThatReturnsInTheDrain},
    {"handler-that-exits-in-the-drain", HandlerThatExitsInTheDrain},
    {"handler-that-leaves-the-drain", HandlerThatLeavesTheDrain},
    {"stopped-in-the-drain", StoppedInTheDrain},
    {"cancelled-in-the-drain", CancelledInTheDrain},
    {"alarm-without-timer", AlarmOfTheApplicationWithoutTimer},
};

}  // namespace

crash::Modes crash::SignalModes() {
  return {kModes, sizeof(kModes) / sizeof(kModes[0])};
}
