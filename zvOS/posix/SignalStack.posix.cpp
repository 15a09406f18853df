// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Stacks for signal handlers, each with a page below it that stops what overflows it in its turn.
//
// The system maps the pages of a stack when they are touched, so that a thread that never crashes pays
// for address space only.

#include <zvOS/zvThread.h>

#include "posix/SignalStack.h"

#include <pthread.h>
#include <sys/mman.h>
#include <atomic>
#include <csignal>
#include <cstddef>

namespace zvos {

namespace {

constexpr size_t kGuardSize = 4096;
// As much as a thread has by default, for a log that takes that much, and room for the report itself.
constexpr size_t kStackSize = kzvThread_StackSize + 32 * 1024;

// Written in every process, and therefore beside other data that is: a zero would be on a page of its own.
constexpr pthread_key_t kNoKey = ~pthread_key_t{0};
pthread_key_t sKey = kNoKey;
// One that is free is kept for the next thread: to make it and to release it is most of what it costs.
std::atomic<void *> sSpare;

void *Map() {
  if (void *const theSpare = sSpare.exchange(nullptr)) return theSpare;
  void *const theMapping = mmap(nullptr, kGuardSize + kStackSize, PROT_READ | PROT_WRITE,
                                MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
  if (theMapping == MAP_FAILED) return nullptr;
  mprotect(theMapping, kGuardSize, PROT_NONE);
  return theMapping;
}

void Unmap(void *aMapping) {
  if (void *const theSpare = sSpare.exchange(aMapping)) munmap(theSpare, kGuardSize + kStackSize);
}

void *StackIn(void *aMapping) {
  return static_cast<char *>(aMapping) + kGuardSize;
}

void Release(void *aMapping) {
  const stack_t theNone = {nullptr, SS_DISABLE, 0};
  stack_t theStack;
  // The system refuses while the thread runs on it: a handler may end the thread.
  if (sigaltstack(&theNone, &theStack) != 0) return;
  // The thread may have put another one in its place.
  if (theStack.ss_sp != StackIn(aMapping)) sigaltstack(&theStack, nullptr);
  Unmap(aMapping);
}

// A key's destructor runs at the end of a thread that is cancelled, too.
__attribute__((constructor)) void MakeKey() {
  if (pthread_key_create(&sKey, Release) != 0) sKey = kNoKey;
}

}  // namespace

void ProvideSignalStack() {
  void *const theMapping = sKey != kNoKey ? Map() : nullptr;
  if (theMapping == nullptr) return;

  const stack_t theOwn = {StackIn(theMapping), 0, kStackSize};
  stack_t theEarlier;
  if (sigaltstack(&theOwn, &theEarlier) == 0) {
    const bool afFirst = (theEarlier.ss_flags & SS_DISABLE) != 0;
    if (afFirst && pthread_setspecific(sKey, theMapping) == 0) return;
    sigaltstack(&theEarlier, nullptr);
  }
  Unmap(theMapping);
}

}  // namespace zvos
