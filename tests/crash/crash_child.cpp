// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The program that crashes, in the way that its first argument names. `crash_tests` starts it and
// looks at what is left.

#include "Crash.h"

#include <zvLog/zvLogSettings.h>
#include <zvOS/zvDebug.h>
#include <zvOS/zvThread.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

const char *crash::sArgument;

[[noreturn]] void crash::Exit(ExitStatus aStatus) {
  _exit(aStatus);
}

zvOSThread *crash::NewWorker(zvThread_Func aFunction, void *anArgument) {
  const zvOSThread_Data theData = {
      aFunction, nullptr, anArgument, 0, zvThread_Kind_Joinable, zvThread_Scheduling_Default};
  zvOSThread *theThread = zvThread_New(&theData);
  if (theThread == nullptr) Exit(kExitCannotStart);
  return theThread;
}

zvOSThread *crash::StartWorker(zvThread_Func aFunction) {
  zvOSThread *theThread = NewWorker(aFunction, nullptr);
  if (zvThread_Run(theThread) != zvThread_Status_NoError) Exit(kExitCannotStart);
  return theThread;
}

void crash::RunInWorker(zvThread_Func aFunction, void *anArgument) {
  zvOSThread *theThread = NewWorker(aFunction, anArgument);
  if (zvThread_Run(theThread) != zvThread_Status_NoError) Exit(kExitCannotStart);
  zvThread_Wait(theThread);
  zvThread_Delete(theThread);
}

void crash::InstallHandlers() {
  RunInWorker([](void *) {});
}

void crash::Tell(const char *aText) {
  if (write(STDERR_FILENO, aText, strlen(aText)) < 0) Exit(kExitUsage);
}

void crash::SleepFor(long aMilliseconds) {
  timespec theTime = {aMilliseconds / 1000, aMilliseconds % 1000 * 1000000};
  while (nanosleep(&theTime, &theTime) != 0)
    continue;
}

double crash::Time() {
  static timespec sStart;
  timespec theTime;
  clock_gettime(CLOCK_MONOTONIC, &theTime);
  if (sStart.tv_sec == 0) sStart = theTime;
  return static_cast<double>(theTime.tv_sec - sStart.tv_sec) +
         static_cast<double>(theTime.tv_nsec - sStart.tv_nsec) / 1e9;
}

static sem_t sOtherIsThere, sOtherMayGo;
static zvThread_Func sFaultOfOther;

void crash::PrepareOther(zvThread_Func aFault) {
  sem_init(&sOtherIsThere, 0, 0);
  sem_init(&sOtherMayGo, 0, 0);
  sFaultOfOther = aFault;
  StartWorker([](void *) {
    sem_post(&sOtherIsThere);
    sem_wait(&sOtherMayGo);
    sFaultOfOther(nullptr);
  });
  sem_wait(&sOtherIsThere);
}

void crash::LetOther() {
  sem_post(&sOtherMayGo);
}

void crash::InstallOwnHandler() {
  InstallHandlers();
  zvThread_SetAllThreadsCatchSignal(0);
  signal(SIGFPE, [](int) { Tell("own handler\n"); });
}

namespace {

using namespace crash;

// --- where to crash -----------------------------------------------------------------------------

void CrashInMainThread() {
  InstallHandlers();
  CrashBySegv(nullptr);
}

// Two threads that crash as nearly at the same time as a barrier can make them.
void CrashTogether(zvThread_Func aFirst, zvThread_Func aSecond) {
  pthread_barrier_init(&crash::sBarrier, nullptr, 2);
  zvOSThread *theFirst = NewWorker(aFirst, nullptr);
  zvOSThread *theSecond = NewWorker(aSecond, nullptr);
  zvThread_Run(theFirst);
  zvThread_Run(theSecond);
  zvThread_Wait(theFirst);
  zvThread_Wait(theSecond);
}

// The handlers are there before: the start of the last thread comes close to the crash of the first.
void EightCrashTogether() {
  constexpr unsigned kCount = 8;
  pthread_barrier_init(&crash::sBarrier, nullptr, kCount);
  for (unsigned i = 1; i < kCount; ++i)
    crash::StartWorker(SegvAtTheBarrier);
  RunInWorker(SegvAtTheBarrier);
}

void CrashTogetherBySegv() {
  CrashTogether(SegvAtTheBarrier, OtherSegvAtTheBarrier);
}
void CrashTogetherBySegvAndFpe() {
  CrashTogether(SegvAtTheBarrier, FpeAtTheBarrier);
}

// The writing end of a pipe that is full and never read.
int NewFullPipe() {
  int thePipe[2];
  if (pipe(thePipe) != 0) Exit(crash::kExitCannotStart);
  fcntl(thePipe[1], F_SETFL, O_NONBLOCK);
  char theBytes[4096];
  memset(theBytes, '.', sizeof(theBytes));
  while (write(thePipe[1], theBytes, sizeof(theBytes)) > 0)
    continue;
  while (write(thePipe[1], theBytes, 1) > 0)
    continue;
  fcntl(thePipe[1], F_SETFL, 0);
  return thePipe[1];
}

void CrashWithFullOutput() {
  if (dup2(NewFullPipe(), STDOUT_FILENO) < 0) Exit(crash::kExitCannotStart);
  printf("text that waits in the buffer of the stream");
  RunInWorker(CrashBySegv);
}

// The output that nobody reads holds the first report up in its middle, for the second crash to come.
void CrashDuringTheReport() {
  if (dup2(NewFullPipe(), STDOUT_FILENO) < 0) Exit(crash::kExitCannotStart);
  CrashTogether(SegvAtTheBarrier, SegvDuringTheReport);
}

// The reader may be behind for good, and the pipe does not even wait for it.
void CrashWithFullOutputThatDoesNotWait() {
  const int thePipe = NewFullPipe();
  fcntl(thePipe, F_SETFL, O_NONBLOCK);
  if (dup2(thePipe, STDOUT_FILENO) < 0) Exit(crash::kExitCannotStart);
  RunInWorker(CrashBySegv);
}

// Writing to it raises a signal that ends the process.
void CrashWithBrokenOutput() {
  int thePipe[2];
  if (pipe(thePipe) != 0 || dup2(thePipe[1], STDOUT_FILENO) < 0) Exit(crash::kExitCannotStart);
  close(thePipe[0]);
  signal(SIGPIPE, SIG_DFL);
  RunInWorker(CrashBySegv);
}

void CrashWithFullLog() {
  char theName[32];
  snprintf(theName, sizeof(theName), "/dev/fd/%d", NewFullPipe());
  if (zvLog_SetSinkFile(theName) == 0) Exit(crash::kExitCannotStart);
  RunInWorker(CrashBySegv);
}

void CrashWithClosedOutput() {
  close(STDOUT_FILENO);
  RunInWorker(CrashBySegv);
}

// Another thread holds a lock that the report would like to have, and never gives it back. The worker
// is under way before: the start of a thread may itself want the lock.
sem_t sWorkerRuns;
sem_t sLockHeld;

void CrashWhenLockIsHeld(void *) {
  sem_post(&sWorkerRuns);
  sem_wait(&sLockHeld);
  CrashBySegv(nullptr);
}

void CrashWhileAnotherThread(void *(*aHolder)(void *)) {
  sem_init(&sWorkerRuns, 0, 0);
  sem_init(&sLockHeld, 0, 0);
  zvOSThread *theWorker = NewWorker(CrashWhenLockIsHeld, nullptr);
  zvThread_Run(theWorker);
  sem_wait(&sWorkerRuns);
  pthread_t theHolder;
  if (pthread_create(&theHolder, nullptr, aHolder, nullptr) != 0) Exit(crash::kExitCannotStart);
  zvThread_Wait(theWorker);
}

void *HoldOutput(void *) {
  flockfile(stdout);
  sem_post(&sLockHeld);
  for (;;)
    pause();
}

void *HoldLoaderTables(void *) {
  dl_iterate_phdr(
      [](dl_phdr_info *, size_t, void *) -> int {
        sem_post(&sLockHeld);
        for (;;)
          pause();
      },
      nullptr);
  return nullptr;
}

// A library that never finishes loading; it announces itself on standard error, which here is a pipe.
int sAnnouncements[2];

void *LoadHangingLibrary(void *) {
  dlopen(sArgument, RTLD_NOW);
  Exit(crash::kExitCannotStart);
}

void *HoldLoader(void *) {
  pthread_t theLoader;
  char theByte;
  if (pipe(sAnnouncements) != 0 || dup2(sAnnouncements[1], STDERR_FILENO) < 0 ||
      pthread_create(&theLoader, nullptr, LoadHangingLibrary, nullptr) != 0 ||
      read(sAnnouncements[0], &theByte, 1) != 1) {
    Exit(crash::kExitCannotStart);
  }
  sem_post(&sLockHeld);
  return nullptr;
}

void CrashWhileOutputIsLocked() {
  CrashWhileAnotherThread(HoldOutput);
}
void CrashWhileLoaderTablesAreLocked() {
  CrashWhileAnotherThread(HoldLoaderTables);
}

void CrashWhileLoaderIsLocked() {
  CrashWhileAnotherThread(HoldLoader);
}

// Threads that are not to catch signals.
void CrashUncaught() {
  zvThread_SetAllThreadsCatchSignal(0);
  RunInWorker(CrashBySegv);
}

// Not a crash: the trace for corrupted memory, with an allocator that ends the program when called.
void TraceCorruptedMemory() {
  zvDebug_BackTraceCurrent(0);
  crash::SetAllocator(Allocator::kForbidden);
  zvDebug_BackTraceCurrent(1);
  Exit(crash::kExitDone);
}

// Not a crash: the same, and it is the first trace of the process.
void TraceCorruptedMemoryFirst() {
  InstallHandlers();
  crash::SetAllocator(Allocator::kForbidden);
  zvDebug_BackTraceCurrent(1);
  Exit(crash::kExitDone);
}

template <Log kLog, zvThread_Func kCrash>
void CrashWithHostileLog() {
  RunInWorker([](void *) {
    crash::SetLog(kLog);
    kCrash(nullptr);
  });
}

// One step after the other takes as long as a step may: the log, the stream of the output, the allocator, the
// output itself.
void CrashWithAllHanging() {
  if (dup2(NewFullPipe(), STDOUT_FILENO) < 0) Exit(crash::kExitCannotStart);
  printf("text that waits in the buffer of the stream");
  CrashWithHostileLog<Log::kHangInBegin, CrashInMalloc>();
}

template <zvThread_Func kCrash>
void InWorker() {
  RunInWorker(kCrash);
}

// The system gives no timer to a process that may have no signal pending.
void CrashWithHangingLogAndWithoutTimer() {
  const rlimit theNone = {0, 0};
  if (setrlimit(RLIMIT_SIGPENDING, &theNone) != 0) Exit(crash::kExitCannotStart);
  timer_t theTimer;
  sigevent theEvent = {};
  theEvent.sigev_notify = SIGEV_SIGNAL;
  theEvent.sigev_signo = SIGALRM;
  if (timer_create(CLOCK_MONOTONIC, &theEvent, &theTimer) == 0) Exit(crash::kExitTimerGiven);
  CrashWithHostileLog<Log::kHangInBegin, CrashBySegv>();
}

constexpr Mode kModes[] = {
    {"segv", InWorker<CrashBySegv>},
    {"fpe", InWorker<CrashByFpe>},
    {"ill", InWorker<CrashByIll>},
    {"bus", InWorker<CrashByBus>},
    {"abrt", InWorker<CrashByAbrt>},
    {"main-thread", CrashInMainThread},
    {"malloc", InWorker<CrashInMalloc>},
    {"free", InWorker<CrashInFree>},
    {"malloc-again", InWorker<CrashInMallocAgainAndAgain>},
    {"malloc-abort", InWorker<AbortInMallocThenFault>},
    {"malloc-first-trace", InWorker<CrashInMallocWithUnwinderLoaded>},
    {"heap", InWorker<CorruptTheHeap>},
    {"double-free", InWorker<FreeTwice>},
    {"log", InWorker<CrashInLog>},
    {"together-same", CrashTogetherBySegv},
    {"together-eight", EightCrashTogether},
    {"during-report", CrashDuringTheReport},
    {"together-different", CrashTogetherBySegvAndFpe},
    {"full-output", CrashWithFullOutput},
    {"full-output-without-waiting", CrashWithFullOutputThatDoesNotWait},
    {"broken-output", CrashWithBrokenOutput},
    {"full-log", CrashWithFullLog},
    {"closed-output", CrashWithClosedOutput},
    {"output-locked", CrashWhileOutputIsLocked},
    {"loader-tables-locked", CrashWhileLoaderTablesAreLocked},
    {"loader-locked", CrashWhileLoaderIsLocked},
    {"uncaught", CrashUncaught},
    {"trace-corrupted", TraceCorruptedMemory},
    {"trace-corrupted-first", TraceCorruptedMemoryFirst},
    {"log-hangs-in-begin", CrashWithHostileLog<Log::kHangInBegin, CrashBySegv>},
    {"all-hangs", CrashWithAllHanging},
    {"log-hangs-without-timer", CrashWithHangingLogAndWithoutTimer},
    {"log-hangs-in-append", CrashWithHostileLog<Log::kHangInAppend, CrashBySegv>},
    {"log-hangs-in-end", CrashWithHostileLog<Log::kHangInEnd, CrashBySegv>},
    {"log-hangs-in-abrt", CrashWithHostileLog<Log::kHangInBegin, CrashByAbrt>},
    {"log-faults-in-begin", CrashWithHostileLog<Log::kFaultInBegin, CrashBySegv>},
    {"log-faults-in-append", CrashWithHostileLog<Log::kFaultInAppend, CrashBySegv>},
    {"log-faults-in-abrt", CrashWithHostileLog<Log::kFaultInAppend, CrashByAbrt>},
    {"log-aborts", CrashWithHostileLog<Log::kAbortInAppend, CrashBySegv>},
    {"log-aborts-in-abrt", CrashWithHostileLog<Log::kAbortInAppend, CrashByAbrt>},
};

const Mode *FindMode(const char *aName) {
  const crash::Modes kAll[] = {{kModes, sizeof(kModes) / sizeof(kModes[0])},
                               crash::SignalModes(),
                               crash::WritingModes(),
                               crash::TraceModes(),
                               crash::FileModes()};
  for (const crash::Modes &theModes : kAll) {
    for (size_t i = 0; i < theModes.mCount; ++i) {
      if (strcmp(theModes.mFirst[i].mName, aName) == 0) return &theModes.mFirst[i];
    }
  }
  return nullptr;
}

}  // namespace

int main(int anArgumentCount, char **anArguments) {
  if (anArgumentCount < 2) return crash::kExitUsage;
  if (anArgumentCount > 2) sArgument = anArguments[2];
  // The crashes are on purpose; nobody wants their memory on disk.
  const rlimit theNoCore = {0, 0};
  setrlimit(RLIMIT_CORE, &theNoCore);

  const Mode *const theMode = FindMode(anArguments[1]);
  if (theMode == nullptr) return crash::kExitUsage;
  theMode->mCrash();
  return crash::kExitSurvived;
}
