// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Signals before, while and after a crash is reported, and what becomes of them.

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

using crash::Exit;
using crash::InstallHandlers;
using crash::RunInWorker;
using crash::StartWorker;
using crash::Tell;

void SleepFor(long aMilliseconds) {
  timespec theTime = {aMilliseconds / 1000, aMilliseconds % 1000 * 1000000};
  while (nanosleep(&theTime, &theTime) != 0)
    continue;
}

// The report waits for its log to drain once the signal has its default action.
void AwaitDrain(int aSignal) {
  struct sigaction theAction;
  do {
    SleepFor(5);
    sigaction(aSignal, nullptr, &theAction);
  } while (theAction.sa_handler != SIG_DFL);
}

// Since the start of the program, in seconds.
double Time() {
  static timespec sStart;
  timespec theTime;
  clock_gettime(CLOCK_MONOTONIC, &theTime);
  if (sStart.tv_sec == 0) sStart = theTime;
  return static_cast<double>(theTime.tv_sec - sStart.tv_sec) +
         static_cast<double>(theTime.tv_nsec - sStart.tv_nsec) / 1e9;
}

// The report is being written.
void AwaitTraceFile(pid_t aProcess) {
  char theName[64];
  snprintf(theName, sizeof theName, "/tmp/backtrace_%d.txt", static_cast<int>(aProcess));
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
  struct sigaction theAction;
  sigaction(aSignal, nullptr, &theAction);
  if (theAction.sa_handler == SIG_DFL) return "default\n";
  return theAction.sa_handler == sThread_S_SignalHandler ? "handler\n" : "other\n";
}

void TellActions() {
  zvOSThread *theThread = StartWorker([](void *) { RaiseOnce(); });
  AwaitDrain(SIGSEGV);
  for (const int theSignal : {SIGSEGV, SIGILL, SIGBUS, SIGABRT, SIGFPE})
    Tell(NameOfAction(theSignal));
  zvThread_Wait(theThread);
}

// A thread that is there before the crash: one that begins later would install the handlers anew.
sem_t sGo;
void (*sSecondFault)(void *);

void FaultWhenTold(void *) {
  sem_wait(&sGo);
  sSecondFault(nullptr);
}

void PrepareOther(void (*aFault)(void *)) {
  sem_init(&sGo, 0, 0);
  sSecondFault = aFault;
  StartWorker(FaultWhenTold);
}

void FaultInTheDrain(void (*aFault)(void *), long aDelay) {
  PrepareOther(aFault);
  zvOSThread *theThread = StartWorker(CrashBySegv);
  AwaitDrain(SIGSEGV);
  SleepFor(aDelay);
  sem_post(&sGo);
  zvThread_Wait(theThread);
}

void SameSignalInTheDrain() {
  FaultInTheDrain(OtherSegv, 1000);
}

void OtherSignalInTheDrain() {
  FaultInTheDrain(OtherFpe, 0);
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

// An application's own handler of a fatal signal, which threads that begin later do not replace.
void InstallOwnHandler() {
  InstallHandlers();
  zvThread_SetAllThreadsCatchSignal(0);
  signal(SIGFPE, [](int) { Tell("own handler\n"); });
}

// --- handlers that pass a signal on -------------------------------------------------------------

struct sigaction sPassedOn;

// By a jump: the handler below finds its arguments where the system has put them for this one.
__attribute__((optimize("optimize-sibling-calls"))) void PassOn(int aSignal, siginfo_t *anInfo,
                                                                void *aContext) {
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
  StartWorker(CrashBySegv);
  AwaitDrain(SIGSEGV);
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
  zvOSThread *theThread = StartWorker(CrashToBeCancelled);
  AwaitDrain(SIGSEGV);
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
  StartWorker([](void *) { RaiseOnce(); });
  AwaitDrain(SIGSEGV);
  raise(SIGFPE);
  Exit(crash::kExitDone);
}

void ReturnFromMain() {
  StartWorker(CrashBySegv);
  AwaitTraceFile(getpid());
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
  zvOSThread *theThread = StartWorker(CrashBySegv);
  AwaitDrain(SIGSEGV);
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
      snprintf(theName, sizeof theName, "/tmp/backtrace_%d.txt", static_cast<int>(theChild));
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
      snprintf(theText, sizeof theText, "code %d address %lu\n", theInfo.si_code,
               reinterpret_cast<unsigned long>(theInfo.si_addr));
      Tell(theText);
    }
    ptrace(PTRACE_CONT, theChild, nullptr, reinterpret_cast<void *>(static_cast<intptr_t>(theSignal)));
  }
}

// --- while the report is written ----------------------------------------------------------------

// What happens during the first record whose text begins so.
const char *sMoment;
void (*sMeanwhile)();

void OnRecord(const char *aText) {
  if (sMoment == nullptr || strncmp(aText, sMoment, strlen(sMoment)) != 0) return;
  sMoment = nullptr;
  sMeanwhile();
}

constexpr char kAnnouncement[] = "zvOSThread: Received";
constexpr char kTraceBegins[] = "Backtracing this thread";

void CrashAndMeanwhile(const char *aMoment, void (*aMeanwhile)()) {
  sMoment = aMoment;
  sMeanwhile = aMeanwhile;
  crash::SetLogScript(OnRecord);
  RunInWorker(CrashBySegv);
}

void LetOtherFault() {
  sem_post(&sGo);
  SleepFor(300);
}

void SameSignalWithTheAnnouncement() {
  PrepareOther(OtherSegv);
  CrashAndMeanwhile(kAnnouncement, LetOtherFault);
}

void SameSignalWithTheTrace() {
  PrepareOther(OtherSegv);
  CrashAndMeanwhile(kTraceBegins, LetOtherFault);
}

void OtherSignalWithTheTrace() {
  PrepareOther(OtherFpe);
  CrashAndMeanwhile(kTraceBegins, LetOtherFault);
}

void RaiseFpe(void *) {
  raise(SIGFPE);
  Tell("the other thread went on\n");
}

void SentSignalOfAnotherThreadWithTheTrace() {
  PrepareOther(RaiseFpe);
  CrashAndMeanwhile(kTraceBegins, LetOtherFault);
}

void OwnHandlerWithTheTrace() {
  PrepareOther(RaiseFpe);
  InstallOwnHandler();
  CrashAndMeanwhile(kTraceBegins, LetOtherFault);
}

// To the very thread that writes.
pthread_t sReporter;

void SendToReporter(int aSignal) {
  sReporter = pthread_self();
  static int sSignal;
  sSignal = aSignal;
  pthread_t theSender;
  const auto theSend = [](void *) -> void * {
    pthread_kill(sReporter, sSignal);
    return nullptr;
  };
  if (pthread_create(&theSender, nullptr, theSend, nullptr) != 0) Exit(crash::kExitCannotStart);
  pthread_join(theSender, nullptr);
  SleepFor(50);
}

void OtherSignalSentToTheReporter() {
  CrashAndMeanwhile(kTraceBegins, [] { SendToReporter(SIGFPE); });
}

void SameSignalSentToTheReporter() {
  CrashAndMeanwhile(kTraceBegins, [] { SendToReporter(SIGSEGV); });
}

void CancelWithTheTrace() {
  CrashAndMeanwhile(kTraceBegins, [] {
    pthread_cancel(pthread_self());
    SleepFor(50);
  });
}

void SetOwnHandlerWithTheTrace() {
  zvOSThread *theThread = StartWorker([](void *) { sem_wait(&sGo); });
  InstallHandlers();
  zvThread_SetAllThreadsCatchSignal(0);
  sMoment = kTraceBegins;
  sMeanwhile = [] { signal(SIGFPE, [](int) { Tell("own handler\n"); }); };
  crash::SetLogScript(OnRecord);
  RunInWorker([](void *) { raise(SIGSEGV); });
  raise(SIGFPE);
  sem_post(&sGo);
  zvThread_Wait(theThread);
}

// To the very thread that writes, with a word for the handler.
void SendWithAValue() {
  sReporter = pthread_self();
  pthread_t theSender;
  const auto theSend = [](void *) -> void * {
    sigval theValue;
    theValue.sival_int = 77;
    pthread_sigqueue(sReporter, SIGFPE, theValue);
    return nullptr;
  };
  if (pthread_create(&theSender, nullptr, theSend, nullptr) != 0) Exit(crash::kExitCannotStart);
  pthread_join(theSender, nullptr);
  SleepFor(50);
}

void SignalWithAValueSentToTheReporter() {
  InstallHandlers();
  zvThread_SetAllThreadsCatchSignal(0);
  struct sigaction theAction = {};
  theAction.sa_flags = SA_SIGINFO;
  theAction.sa_sigaction = [](int, siginfo_t *anInfo, void *) {
    Tell(anInfo->si_code == SI_QUEUE && anInfo->si_value.sival_int == 77 ? "as it came\n" : "otherwise\n");
  };
  sigaction(SIGFPE, &theAction, nullptr);
  CrashAndMeanwhile(kTraceBegins, SendWithAValue);
}

// A child that is forked while another thread writes has a guard that nobody takes down.
void ForkAndCrash(void *) {
  const double theStart = Time();
  const pid_t theChild = fork();
  if (theChild == 0) {
    raise(SIGFPE);
    raise(SIGFPE);
    Exit(crash::kExitSurvived);
  }
  int theStatus = 0;
  waitpid(theChild, &theStatus, 0);
  char theName[64];
  snprintf(theName, sizeof theName, "/tmp/backtrace_%d.txt", static_cast<int>(theChild));
  const bool afReported = unlink(theName) == 0;
  const bool afDead = WIFSIGNALED(theStatus) && WTERMSIG(theStatus) == SIGFPE && Time() - theStart < 5;
  Tell(afReported && afDead ? "the child has reported and died\n" : "the child did otherwise\n");
  Exit(crash::kExitDone);
}

// The report goes on until the child has died.
void ForkWithTheTrace() {
  PrepareOther(ForkAndCrash);
  Time();
  CrashAndMeanwhile(kTraceBegins, [] {
    sem_post(&sGo);
    SleepFor(1500);
  });
}

void SlowLogForTwo() {
  crash::SetLogScript([](const char *) { SleepFor(950); });
  zvOSThread *theOther = StartWorker(CrashByFpe);
  RunInWorker(CrashBySegv);
  zvThread_Wait(theOther);
}

// It takes half of the stack that threads have by default.
void HungryLog() {
  crash::SetLogScript([](const char *) {
    volatile char theLocals[64 * 1024];
    for (volatile char &theLocal : theLocals)
      theLocal = 1;
  });
  RunInWorker(CrashBySegv);
}

void SlowLog() {
  crash::SetLogScript([](const char *) { SleepFor(1200); });
  RunInWorker(CrashBySegv);
}

constexpr crash::Mode kModes[] = {
    {"raise-twice", [] { RunInWorker(RaiseTwice); }},
    {"raise-twice-in-main", RaiseTwiceInMain},
    {"kill-twice", KillTwice},
    {"actions", TellActions},
    {"same-signal-in-the-drain", SameSignalInTheDrain},
    {"other-signal-in-the-drain", OtherSignalInTheDrain},
    {"killed-in-the-drain", KilledInTheDrain},
    {"terminated-in-the-drain", TerminatedInTheDrain},
    {"interrupted-in-the-drain", InterruptedInTheDrain},
    {"handler-in-the-drain", HandlerInTheDrain},
    {"own-fatal-handler-in-the-drain", OwnHandlerOfAFatalSignalInTheDrain},
    {"return-from-main", ReturnFromMain},
    {"exit-in-another-thread", ExitInAnotherThread},
    {"exit-in-a-forked-child", ExitInAForkedChild},
    {"traced", TellDeath},
    {"same-signal-with-the-announcement", SameSignalWithTheAnnouncement},
    {"same-signal-with-the-trace", SameSignalWithTheTrace},
    {"other-signal-with-the-trace", OtherSignalWithTheTrace},
    {"sent-signal-with-the-trace", SentSignalOfAnotherThreadWithTheTrace},
    {"own-handler-with-the-trace", OwnHandlerWithTheTrace},
    {"other-signal-sent-to-the-reporter", OtherSignalSentToTheReporter},
    {"same-signal-sent-to-the-reporter", SameSignalSentToTheReporter},
    {"passed-on", [] { CrashWithHandlerInFront(PassOn); }},
    {"passed-on-by-hand", [] { CrashWithHandlerInFront(CallByHand); }},
    {"threads-begin-in-the-drain", ThreadsBeginInTheDrain},
    {"handler-that-returns-in-the-drain", HandlerThatReturnsInTheDrain},
    {"handler-that-exits-in-the-drain", HandlerThatExitsInTheDrain},
    {"handler-that-leaves-the-drain", HandlerThatLeavesTheDrain},
    {"stopped-in-the-drain", StoppedInTheDrain},
    {"cancelled-in-the-drain", CancelledInTheDrain},
    {"alarm-without-timer", AlarmOfTheApplicationWithoutTimer},
    {"cancelled-with-the-trace", CancelWithTheTrace},
    {"own-handler-set-with-the-trace", SetOwnHandlerWithTheTrace},
    {"value-sent-to-the-reporter", SignalWithAValueSentToTheReporter},
    {"forked-with-the-trace", ForkWithTheTrace},
    {"slow-log", SlowLog},
    {"slow-log-for-two", SlowLogForTwo},
    {"hungry-log", HungryLog},
};

}  // namespace

crash::Modes crash::SignalModes() {
  return {kModes, sizeof kModes / sizeof kModes[0]};
}
