// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The allocator of the crashing program: that of the C library behind a lock which, like the C
// library's own, is not to be taken twice.

#include "Crash.h"

#include <pthread.h>
#include <stdlib.h>
#include <unistd.h>

#if CRASH_OWN_ALLOCATOR

extern "C" {
void *__libc_malloc(size_t aSize);
void *__libc_calloc(size_t aCount, size_t aSize);
void *__libc_realloc(void *aPointer, size_t aSize);
void __libc_free(void *aPointer);
}

namespace {

pthread_mutex_t sLock = PTHREAD_MUTEX_INITIALIZER;
volatile crash::Allocator sAllocator;

void Misbehave() {
  switch (sAllocator) {
    case crash::Allocator::kSound:
      return;
    case crash::Allocator::kFaultOnceLocked:
      sAllocator = crash::Allocator::kSound;
      FaultByWriting();
      return;
    case crash::Allocator::kFaultAlways:
      FaultByWriting();
      return;
    case crash::Allocator::kAbortThenFault:
      sAllocator = crash::Allocator::kFaultAlways;
      abort();
    case crash::Allocator::kForbidden:
      _exit(crash::kExitAllocated);
  }
}

class Inside {
 public:
  Inside() {
    pthread_mutex_lock(&sLock);
    Misbehave();
  }
  ~Inside() { pthread_mutex_unlock(&sLock); }
  Inside(const Inside &) = delete;
  Inside &operator=(const Inside &) = delete;
};

}  // namespace

CRASH_VISIBLE void *malloc(size_t aSize) noexcept {
  const Inside theInside;
  return __libc_malloc(aSize);
}

CRASH_VISIBLE void *calloc(size_t aCount, size_t aSize) noexcept {
  const Inside theInside;
  return __libc_calloc(aCount, aSize);
}

CRASH_VISIBLE void *realloc(void *aPointer, size_t aSize) noexcept {
  const Inside theInside;
  return __libc_realloc(aPointer, aSize);
}

CRASH_VISIBLE void free(void *aPointer) noexcept {
  const Inside theInside;
  __libc_free(aPointer);
}

void crash::SetAllocator(Allocator anAllocator) {
  sAllocator = anAllocator;
}

#else

void crash::SetAllocator(Allocator) {
  _exit(kExitUsage);
}

#endif
