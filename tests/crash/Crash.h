// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the parts of the crashing program share. It does without the C++ library, so that nothing but
// the library under test brings the unwinder into the process.
#pragma once

#include <zvOS/zvThread.h>

#include <pthread.h>
#include <stddef.h>

// Functions that shall be recognised in a trace.
#define CRASH_VISIBLE extern "C" __attribute__((visibility("default"), noinline))

// A function that depends on an option of the compiler; where it has no such attribute, on the program's own.
#if defined(__clang__)
#define CRASH_OPTIMIZED(option)
#else
#define CRASH_OPTIMIZED(option) __attribute__((optimize(option)))
#endif

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define CRASH_OWN_ALLOCATOR 0  // the sanitizer has one itself
#else
#define CRASH_OWN_ALLOCATOR 1
#endif

namespace crash {

// What the program's allocator does from now on.
enum class Allocator {
  kSound,
  kFaultOnceLocked,  // the next call faults while it holds the lock of the allocator, for ever
  kFaultAlways,      // every call faults
  kAbortThenFault,   // the next call aborts, every later one faults
  kForbidden,        // every call ends the program with kExitAllocated
};

// What the program's log provider does from now on.
enum class Log {
  kSilent,
  kHangInBegin,
  kHangInAppend,
  kHangInEnd,
  kFaultInBegin,
  kFaultInAppend,
  kAbortInAppend,
  kScripted,
};

enum ExitStatus {
  kExitSurvived = 42,  // the crash did not end the program
  kExitUsage = 43,
  kExitCannotStart = 44,
  kExitAllocated = 45,
  kExitNotLoaded = 46,
  kExitDone = 47,
  kExitTimerGiven = 48,
};

void SetAllocator(Allocator anAllocator);
void SetLog(Log aLog);
// The log calls this with the text of each record, in the thread that logs, and then prints the text.
void SetLogScript(void (*anOnRecord)(const char *aText));

bool UnwinderIsLoaded();

// Of two threads that crash together.
extern pthread_barrier_t sBarrier;

// A way to crash, as the program's first argument names it.
struct Mode {
  const char *mName;
  void (*mCrash)();
};
struct Modes {
  const Mode *mFirst;
  size_t mCount;
};
Modes SignalModes();
Modes WritingModes();
Modes TraceModes();
Modes FileModes();

// The program's second argument.
extern const char *sArgument;

[[noreturn]] void Exit(ExitStatus aStatus);

// Threads of the library.
zvOSThread *NewWorker(zvThread_Func aFunction, void *anArgument);
zvOSThread *StartWorker(zvThread_Func aFunction);
void RunInWorker(zvThread_Func aFunction, void *anArgument = nullptr);
// Handlers are there once a thread has been.
void InstallHandlers();

// A thread that is there before the crash, with the handlers that it has installed, and faults when it is
// let: one that began later would install them anew.
void PrepareOther(zvThread_Func aFault);
void LetOther();

// An application's own handler of SIGFPE, which threads that begin later do not replace.
void InstallOwnHandler();

// Prints on standard error.
void Tell(const char *aText);

// Whatever signals come meanwhile.
void SleepFor(long aMilliseconds);

// Since the first call, in seconds.
double Time();

}  // namespace crash

// Have C linkage, so that traces show their plain names.
CRASH_VISIBLE void FaultByReading(void);
CRASH_VISIBLE void FaultByWriting(void);
CRASH_VISIBLE void CrashBySegv(void *);
CRASH_VISIBLE void CrashByFpe(void *);
CRASH_VISIBLE void CrashByIll(void *);
CRASH_VISIBLE void CrashByBus(void *);
CRASH_VISIBLE void CrashByAbrt(void *);
CRASH_VISIBLE void CrashInMalloc(void *);
CRASH_VISIBLE void CrashInFree(void *);
CRASH_VISIBLE void CrashInMallocAgainAndAgain(void *);
CRASH_VISIBLE void AbortInMallocThenFault(void *);
CRASH_VISIBLE void CorruptTheHeap(void *);
CRASH_VISIBLE void FreeTwice(void *);
CRASH_VISIBLE void CrashInLog(void *);
CRASH_VISIBLE void CrashInMallocWithUnwinderLoaded(void *);
CRASH_VISIBLE void SegvAtTheBarrier(void *);
CRASH_VISIBLE void OtherSegvAtTheBarrier(void *);
CRASH_VISIBLE void FpeAtTheBarrier(void *);
CRASH_VISIBLE void SegvDuringTheReport(void *);
CRASH_VISIBLE void OtherSegv(void *);
CRASH_VISIBLE void OtherFpe(void *);
