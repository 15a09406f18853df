// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The ways to crash, innermost functions first. Each is the body of a thread and does not come back.

#include "Crash.h"

#include <zvOS/zvLogDefines.h>

#include <malloc.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

ZVLOG_WITH_MODULE_IF(DEFAULT, 1)

namespace {

// Addresses that nothing is mapped at; volatile, so that the compiler knows nothing about them.
volatile int *volatile sNowhere = reinterpret_cast<volatile int *>(16);
const char *volatile sNoText = reinterpret_cast<const char *>(16);
volatile int sSink;
// Nor that abort() does not return: the call would be the last of its function, and the return
// address belong to the next.
void (*volatile sAbort)() = abort;

}  // namespace

// UBSan would report these faults itself.
#define CRASH_UNCHECKED __attribute__((no_sanitize("undefined", "address", "thread")))

CRASH_UNCHECKED void FaultByReading(void) {
  sSink = *sNowhere;
  sSink = 0;
}
CRASH_UNCHECKED void FaultByWriting(void) {
  *sNowhere = 1;
  sSink = 0;
}

CRASH_VISIBLE void CrashBySegv(void *) {
  FaultByWriting();
}

// Not every processor traps a division by zero; repeated, as the fault would be.
CRASH_VISIBLE void CrashByFpe(void *) {
#if defined(__i386__) || defined(__x86_64__)
  asm volatile("xorl %%ecx, %%ecx\n\tmovl $1, %%eax\n\tcltd\n\tidivl %%ecx" ::: "eax", "ecx", "edx", "cc");
#else
  for (;;)
    raise(SIGFPE);
#endif
}

CRASH_VISIBLE void CrashByIll(void *) {
  sSink = 1;  // so that the instruction is not the function's first: unwinders look before it
#if defined(__i386__) || defined(__x86_64__)
  asm volatile("ud2");
#elif defined(__arm__)
  __builtin_trap();
#else
  for (;;)
    raise(SIGILL);
#endif
}

// A page of a file that has no bytes.
CRASH_VISIBLE CRASH_UNCHECKED void CrashByBus(void *) {
  char theName[] = "/tmp/zvcrash-XXXXXX";
  const int theFile = mkstemp(theName);
  if (theFile < 0) _exit(crash::kExitCannotStart);
  unlink(theName);
  void *thePage = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, theFile, 0);
  if (thePage == MAP_FAILED) _exit(crash::kExitCannotStart);
  sSink = *static_cast<volatile int *>(thePage);
}

CRASH_VISIBLE void CrashByAbrt(void *) {
  sAbort();
  sSink = 0;
}

CRASH_VISIBLE void CrashInMalloc(void *) {
  crash::SetAllocator(crash::Allocator::kFaultOnceLocked);
  free(malloc(100));
}

CRASH_VISIBLE void CrashInFree(void *) {
  void *theBlock = malloc(100);
  crash::SetAllocator(crash::Allocator::kFaultOnceLocked);
  free(theBlock);
}

CRASH_VISIBLE void CrashInMallocAgainAndAgain(void *) {
  crash::SetAllocator(crash::Allocator::kFaultAlways);
  free(malloc(100));
}

CRASH_VISIBLE void AbortInMallocThenFault(void *) {
  crash::SetAllocator(crash::Allocator::kAbortThenFault);
  free(malloc(100));
}

// Destroys the chunk behind the newest one, which is what all memory comes from: the C library
// finds out while it holds the lock of its only arena.
CRASH_VISIBLE CRASH_UNCHECKED void CorruptTheHeap(void *) {
  constexpr size_t kBig = 60000;
  mallopt(M_ARENA_MAX, 1);
  char *theBlock = nullptr;
  for (int i = 0; i < 50; ++i)
    theBlock = static_cast<char *>(malloc(kBig));
  const size_t theEnd = malloc_usable_size(theBlock);
  memset(theBlock + theEnd, 0xFF, sizeof(size_t));
  for (int i = 0; i < 50; ++i)
    theBlock = static_cast<char *>(malloc(kBig));
  sSink = theBlock == nullptr;
}

CRASH_VISIBLE void FreeTwice(void *) {
  constexpr size_t kBig = 60000;  // too big for the caches in front of the arena
  void *volatile theBlock = malloc(kBig);
  void *const theSame = theBlock;
  void *volatile theGuard = malloc(kBig);
  free(theSame);
  free(theBlock);
  free(theGuard);
}

CRASH_VISIBLE void CrashInLog(void *) {
  ZV_ERR(F("The text is %s\n", sNoText));
}

// The crash is the first trace of the process: what it needs must have been loaded before.
bool crash::UnwinderIsLoaded() {
  FILE *theMaps = fopen("/proc/self/maps", "r");
  if (theMaps == nullptr) _exit(crash::kExitCannotStart);
  char theLine[1024];
  bool fLoaded = false;
  while (fgets(theLine, sizeof(theLine), theMaps) != nullptr)
    fLoaded = fLoaded || strstr(theLine, "libgcc_s") != nullptr;
  fclose(theMaps);
  return fLoaded;
}

CRASH_VISIBLE void CrashInMallocWithUnwinderLoaded(void *) {
  if (!crash::UnwinderIsLoaded()) _exit(crash::kExitNotLoaded);
  CrashInMalloc(nullptr);
}

pthread_barrier_t crash::sBarrier;

CRASH_VISIBLE void SegvAtTheBarrier(void *) {
  pthread_barrier_wait(&crash::sBarrier);
  FaultByWriting();
}

// The others come from so far down that their traces cannot pass for those of the first.
static void (*volatile sCrash)(void *);

static __attribute__((noinline)) void CrashFarDown(int aDepth) {
  if (aDepth == 0) {
    sCrash(nullptr);
  } else {
    void (*volatile theNext)(int) = CrashFarDown;
    theNext(aDepth - 1);
  }
  sSink = aDepth;
}

static void CrashFarDownBy(void (*aCrash)(void *)) {
  sCrash = aCrash;
  CrashFarDown(25);
  sSink = 0;
}

CRASH_VISIBLE void OtherSegv(void *) {
  CrashFarDownBy(CrashBySegv);
}
CRASH_VISIBLE void OtherFpe(void *) {
  CrashFarDownBy(CrashByFpe);
}
CRASH_VISIBLE void OtherSegvAtTheBarrier(void *) {
  pthread_barrier_wait(&crash::sBarrier);
  CrashFarDownBy(CrashBySegv);
}
CRASH_VISIBLE void FpeAtTheBarrier(void *) {
  pthread_barrier_wait(&crash::sBarrier);
  CrashFarDownBy(CrashByFpe);
}

// Crashes when the other one is about to write its trace.
CRASH_VISIBLE void SegvDuringTheReport(void *) {
  char theName[64];
  snprintf(theName, sizeof(theName), "/tmp/backtrace_%d.txt", static_cast<int>(getpid()));
  pthread_barrier_wait(&crash::sBarrier);
  while (access(theName, F_OK) != 0)
    sched_yield();
  CrashFarDownBy(CrashBySegv);
}
