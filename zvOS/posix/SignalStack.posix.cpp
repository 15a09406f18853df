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
#include <csignal>
#include <cstddef>

namespace zvos {

namespace {

constexpr size_t kGuardSize = 4096;
// As much as a thread has by default, for a log that takes that much, and room for the report itself.
constexpr size_t kStackSize = kzvThread_StackSize + 32 * 1024;

pthread_key_t sKey;
bool sfKey;

void Release(void *aMapping) {
  stack_t theStack;
  if (sigaltstack(nullptr, &theStack) == 0 && theStack.ss_sp == static_cast<char *>(aMapping) + kGuardSize) {
    const stack_t theNone = {nullptr, SS_DISABLE, 0};
    sigaltstack(&theNone, nullptr);
  }
  munmap(aMapping, kGuardSize + kStackSize);
}

// A key's destructor runs at the end of a thread that is cancelled, too.
__attribute__((constructor)) void MakeKey() {
  sfKey = pthread_key_create(&sKey, Release) == 0;
}

}  // namespace

void ProvideSignalStack() {
  stack_t theStack;
  if (!sfKey || sigaltstack(nullptr, &theStack) != 0 || (theStack.ss_flags & SS_DISABLE) == 0) return;

  void *const theMapping = mmap(nullptr, kGuardSize + kStackSize, PROT_READ | PROT_WRITE,
                                MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
  if (theMapping == MAP_FAILED) return;
  mprotect(theMapping, kGuardSize, PROT_NONE);
  if (pthread_setspecific(sKey, theMapping) != 0) {
    munmap(theMapping, kGuardSize + kStackSize);
    return;
  }
  theStack = {static_cast<char *>(theMapping) + kGuardSize, 0, kStackSize};
  sigaltstack(&theStack, nullptr);
}

}  // namespace zvos
