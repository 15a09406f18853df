// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What happens while the report of a crash is written: the log does it, at a record of the test's choice.

#include "Crash.h"

#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace crash;

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
  crash::LetOther();
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

// The second report takes long enough for the first one's fault to repeat before that of the second.
void OtherSignalWithTheTrace() {
  PrepareOther(OtherFpe);
  CrashAndMeanwhile(kTraceBegins, [] {
    sMoment = kTraceBegins;
    sMeanwhile = [] { SleepFor(500); };
    LetOtherFault();
  });
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

// To the very thread that writes, by another one, with a word for the handler.
pthread_t sReporter;
int sSignal;
constexpr int kWord = 77;

void *SendToReporter(void *) {
  sigval theValue;
  theValue.sival_int = kWord;
  pthread_sigqueue(sReporter, sSignal, theValue);
  return nullptr;
}

template <int kSignal>
void SendToThisThread() {
  sReporter = pthread_self();
  sSignal = kSignal;
  pthread_t theSender;
  if (pthread_create(&theSender, nullptr, SendToReporter, nullptr) != 0) Exit(crash::kExitCannotStart);
  pthread_join(theSender, nullptr);
  SleepFor(50);
}

void OtherSignalSentToTheReporter() {
  CrashAndMeanwhile(kTraceBegins, SendToThisThread<SIGFPE>);
}

void SameSignalSentToTheReporter() {
  CrashAndMeanwhile(kTraceBegins, SendToThisThread<SIGSEGV>);
}

void CancelWithTheTrace() {
  CrashAndMeanwhile(kTraceBegins, [] {
    pthread_cancel(pthread_self());
    SleepFor(50);
  });
}

void SetOwnHandlerWithTheTrace() {
  InstallHandlers();
  zvThread_SetAllThreadsCatchSignal(0);
  sMoment = kTraceBegins;
  sMeanwhile = [] { signal(SIGFPE, [](int) { Tell("own handler\n"); }); };
  crash::SetLogScript(OnRecord);
  RunInWorker([](void *) { raise(SIGSEGV); });
  raise(SIGFPE);
}

void SignalWithAValueSentToTheReporter() {
  InstallHandlers();
  zvThread_SetAllThreadsCatchSignal(0);
  struct sigaction theAction = {};
  theAction.sa_flags = SA_SIGINFO;
  theAction.sa_sigaction = [](int, siginfo_t *anInfo, void *) {
    Tell(anInfo->si_code == SI_QUEUE && anInfo->si_value.sival_int == kWord ? "as it came\n" : "otherwise\n");
  };
  sigaction(SIGFPE, &theAction, nullptr);
  CrashAndMeanwhile(kTraceBegins, SendToThisThread<SIGFPE>);
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
  snprintf(theName, sizeof(theName), "/tmp/backtrace_%d.txt", static_cast<int>(theChild));
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
    crash::LetOther();
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
    {"same-signal-with-the-announcement", SameSignalWithTheAnnouncement},
    {"same-signal-with-the-trace", SameSignalWithTheTrace},
    {"other-signal-with-the-trace", OtherSignalWithTheTrace},
    {"sent-signal-with-the-trace", SentSignalOfAnotherThreadWithTheTrace},
    {"own-handler-with-the-trace", OwnHandlerWithTheTrace},
    {"other-signal-sent-to-the-reporter", OtherSignalSentToTheReporter},
    {"same-signal-sent-to-the-reporter", SameSignalSentToTheReporter},
    {"cancelled-with-the-trace", CancelWithTheTrace},
    {"own-handler-set-with-the-trace", SetOwnHandlerWithTheTrace},
    {"value-sent-to-the-reporter", SignalWithAValueSentToTheReporter},
    {"forked-with-the-trace", ForkWithTheTrace},
    {"slow-log", SlowLog},
    {"slow-log-for-two", SlowLogForTwo},
    {"hungry-log", HungryLog},
};

}  // namespace

crash::Modes crash::WritingModes() {
  return {kModes, sizeof(kModes) / sizeof(kModes[0])};
}
