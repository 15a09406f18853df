// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Crashes whose stack is used up, ruined or left, and traces that find no file.

#include "Crash.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <initializer_list>

#define CRASH_UNCHECKED __attribute__((no_sanitize("undefined", "address", "thread")))

// Have C linkage, so that traces show their plain names.
CRASH_VISIBLE void CrashOnHalfTheStack(void *);
CRASH_VISIBLE int Recurse(volatile char *aCaller);
CRASH_VISIBLE void OverflowTheStack(void *);
CRASH_VISIBLE void CrashNearTheEnd(void *);
CRASH_VISIBLE void CrashOnOwnSignalStack(void *);
CRASH_VISIBLE void CallStray(void *);
CRASH_VISIBLE void CrashInlined(void *);
CRASH_VISIBLE void SmashTheStack();
CRASH_VISIBLE void CallsTheSmasher();
CRASH_VISIBLE void CallsTheCaller(void *);

namespace {

using namespace crash;

volatile int sSink;

}  // namespace

// --- little stack -------------------------------------------------------------------------------

// Half of the default stack is used when the crash comes.
CRASH_VISIBLE void CrashOnHalfTheStack(void *) {
  char theLocals[62 * 1024];
  memset(theLocals, 1, sizeof(theLocals));
  sSink = theLocals[sizeof(theLocals) / 2];
  FaultByWriting();
  sSink = theLocals[0];
}

CRASH_VISIBLE CRASH_UNCHECKED int Recurse(volatile char *aCaller) {
  volatile char theLocals[512];
  theLocals[0] = aCaller[0];
  if (theLocals[0] != 0) return 0;  // never
  const int theResult = Recurse(theLocals);
  return theResult + theLocals[0];
}

CRASH_VISIBLE void OverflowTheStack(void *) {
  volatile char theStart[16] = {};
  sSink = Recurse(theStart);
}

// As many bytes are left as the argument says.
CRASH_VISIBLE CRASH_UNCHECKED void CrashNearTheEnd(void *) {
  pthread_attr_t theAttributes;
  void *theEnd;
  size_t theSize;
  pthread_getattr_np(pthread_self(), &theAttributes);
  pthread_attr_getstack(&theAttributes, &theEnd, &theSize);
  pthread_attr_destroy(&theAttributes);
  const size_t theRoom =
      static_cast<size_t>(static_cast<char *>(__builtin_frame_address(0)) - static_cast<char *>(theEnd));
  volatile char *theLocals =
      static_cast<volatile char *>(__builtin_alloca(theRoom - static_cast<size_t>(atoi(sArgument))));
  theLocals[0] = 1;
  FaultByWriting();
  sSink = theLocals[0];
}

// The handler runs on the stack that the thread has brought itself.
CRASH_VISIBLE void CrashOnOwnSignalStack(void *) {
  static char sStack[64 * 1024];
  const stack_t theStack = {sStack, 0, sizeof(sStack)};
  if (sigaltstack(&theStack, nullptr) != 0) Exit(crash::kExitCannotStart);
  volatile char theStart[16] = {};
  sSink = Recurse(theStart);
}

namespace {

// --- calls that lead nowhere --------------------------------------------------------------------

void (*volatile sStray)();

// A page of data: it can be read, but is nobody's code.
void (*PageOfData())() {
  void *thePage = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (thePage == MAP_FAILED) Exit(crash::kExitCannotStart);
  return reinterpret_cast<void (*)()>(reinterpret_cast<uintptr_t>(thePage) + 64);
}

// Data of a module that has code elsewhere.
char sData[64];

}  // namespace

CRASH_VISIBLE CRASH_UNCHECKED void CallStray(void *) {
  sStray();
  sSink = 0;
}

// --- a function without a frame -----------------------------------------------------------------

static volatile int *volatile sNowhere = reinterpret_cast<volatile int *>(16);

__attribute__((always_inline)) CRASH_UNCHECKED static inline void FaultWithoutAFrame() {
  *sNowhere = 1;
  sSink = 0;
}

CRASH_VISIBLE CRASH_UNCHECKED void CrashInlined(void *) {
  sSink = 1;
  FaultWithoutAFrame();
  sSink = 2;
}

// --- a ruined stack -----------------------------------------------------------------------------

// Overwrites its own return address and crashes.
CRASH_VISIBLE CRASH_UNCHECKED CRASH_OPTIMIZED("no-stack-protector") void SmashTheStack() {
  volatile uintptr_t theLocals[4];
  volatile uintptr_t *const theFrame = static_cast<uintptr_t *>(__builtin_dwarf_cfa());
  volatile uintptr_t *thePlace = theLocals;
  while (thePlace < theFrame)
    *thePlace++ = 0x41414141;
  FaultByWriting();
  sSink = static_cast<int>(theLocals[0]);
}

CRASH_VISIBLE void CallsTheSmasher() {
  SmashTheStack();
  sSink = 0;
}

CRASH_VISIBLE void CallsTheCaller(void *) {
  CallsTheSmasher();
  sSink = 0;
}

namespace {

template <zvThread_Func kCrash>
void InWorker() {
  RunInWorker(kCrash);
}

// --- stacks come and go -------------------------------------------------------------------------

int CountMappings() {
  FILE *theMaps = fopen("/proc/self/maps", "r");
  if (theMaps == nullptr) Exit(crash::kExitCannotStart);
  int theCount = 0;
  for (int theChar; (theChar = fgetc(theMaps)) != EOF;)
    theCount += theChar == '\n';
  fclose(theMaps);
  return theCount;
}

constexpr unsigned kTogether = 4;
pthread_barrier_t sAllAreThere;
zvThread_Func sBodyOfAll;

// Each has a stack then: that one of them is kept for later threads does not hide that others are not
// released.
void RunTogether(zvThread_Func aBody) {
  pthread_barrier_init(&sAllAreThere, nullptr, kTogether);
  sBodyOfAll = aBody;
  zvOSThread *theThreads[kTogether];
  for (zvOSThread *&theThread : theThreads) {
    theThread = crash::StartWorker([](void *) {
      pthread_barrier_wait(&sAllAreThere);
      sBodyOfAll(nullptr);
    });
  }
  for (zvOSThread *const theThread : theThreads) {
    zvThread_Wait(theThread);
    zvThread_Delete(theThread);
  }
  pthread_barrier_destroy(&sAllAreThere);
}

// Mappings of the C library's own, such as stacks it keeps for later threads, come with the first threads.
void TellWhetherStacksGo(zvThread_Func aBody) {
  RunTogether(aBody);
  RunTogether(aBody);
  const int theCount = CountMappings();
  for (int i = 0; i < 25; ++i)
    RunTogether(aBody);
  Tell(CountMappings() <= theCount + 5 ? "gone\n" : "left\n");
}

void EndByReturn(void *) {}
void EndByExit(void *) {
  pthread_exit(nullptr);
}
void EndByCancellation(void *) {
  pthread_cancel(pthread_self());
  pthread_testcancel();
}

void TellSignalStack(void *) {
  stack_t theStack;
  if (sigaltstack(nullptr, &theStack) != 0) Exit(crash::kExitCannotStart);
  Tell((theStack.ss_flags & SS_DISABLE) == 0 ? "a signal stack\n" : "no signal stack\n");
}

void TellSignalStacks() {
  RunInWorker(TellSignalStack);
  zvThread_SetAllThreadsCatchSignal(0);
  RunInWorker(TellSignalStack);
}

void TellFlagsOfActions() {
  crash::InstallHandlers();
  for (const int theSignal : {SIGSEGV, SIGILL, SIGBUS, SIGABRT, SIGFPE}) {
    struct sigaction theAction;
    sigaction(theSignal, nullptr, &theAction);
    const bool afGood = theAction.sa_handler == sThread_S_SignalHandler &&
                        (theAction.sa_flags & SA_ONSTACK) != 0 && (theAction.sa_flags & SA_RESTART) != 0;
    Tell(afGood ? "handler on the signal stack\n" : "other\n");
  }
}

// --- no file ------------------------------------------------------------------------------------

void CrashWithoutDescriptors() {
  crash::InstallHandlers();
  const rlimit theFew = {3, 3};
  if (setrlimit(RLIMIT_NOFILE, &theFew) != 0) Exit(crash::kExitCannotStart);
  RunInWorker(CrashBySegv);
}

void CrashWithFullFiles() {
  const rlimit theFew = {4, 4};
  if (setrlimit(RLIMIT_FSIZE, &theFew) != 0) Exit(crash::kExitCannotStart);
  RunInWorker(CrashBySegv);
}

// A folder in its place.
void CrashWithoutAFile() {
  char theName[64];
  snprintf(theName, sizeof(theName), "/tmp/backtrace_%d.txt", static_cast<int>(getpid()));
  if (mkdir(theName, 0700) != 0) Exit(crash::kExitCannotStart);
  RunInWorker(CrashBySegv);
}

void CallStrayTo(void (*aPlace)()) {
  sStray = aPlace;
  RunInWorker(CallStray);
}

constexpr crash::Mode kModes[] = {
    {"half-stack", InWorker<CrashOnHalfTheStack>},
    {"stack-overflow", InWorker<OverflowTheStack>},
    {"near-the-end", InWorker<CrashNearTheEnd>},
    {"own-signal-stack", InWorker<CrashOnOwnSignalStack>},
    {"call-null", [] { CallStrayTo(nullptr); }},
    {"call-unmapped", [] { CallStrayTo(reinterpret_cast<void (*)()>(uintptr_t(0x40))); }},
    {"call-data", [] { CallStrayTo(PageOfData()); }},
    {"call-static", [] { CallStrayTo(reinterpret_cast<void (*)()>(sData)); }},
    {"inlined", InWorker<CrashInlined>},
    {"smashed-stack", InWorker<CallsTheCaller>},
    {"stacks-go-by-return", [] { TellWhetherStacksGo(EndByReturn); }},
    {"stacks-go-by-exit", [] { TellWhetherStacksGo(EndByExit); }},
    {"stacks-go-by-cancellation", [] { TellWhetherStacksGo(EndByCancellation); }},
    {"signal-stacks", TellSignalStacks},
    {"flags", TellFlagsOfActions},
    {"no-descriptors", CrashWithoutDescriptors},
    {"full-files", CrashWithFullFiles},
    {"no-file", CrashWithoutAFile},
};

}  // namespace

crash::Modes crash::TraceModes() {
  return {kModes, sizeof(kModes) / sizeof(kModes[0])};
}
