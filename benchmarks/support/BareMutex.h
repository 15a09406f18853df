// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What our mutex is compared with: a recursive one of the C library, alone in its line of the cache.
#pragma once

#include <pthread.h>

#include "support/Bench.h"

namespace zvbench {

struct alignas(64) BareMutex {
  pthread_mutex_t mMutex;

  BareMutex() {
    pthread_mutexattr_t theAttributes;
    int theFailures = pthread_mutexattr_init(&theAttributes);
    theFailures |= pthread_mutexattr_settype(&theAttributes, PTHREAD_MUTEX_RECURSIVE);
    theFailures |= pthread_mutex_init(&mMutex, &theAttributes);
    theFailures |= pthread_mutexattr_destroy(&theAttributes);
    if (theFailures != 0) Fail("cannot make a bare mutex");
  }
  ~BareMutex() { pthread_mutex_destroy(&mMutex); }
  BareMutex(const BareMutex &) = delete;
  BareMutex &operator=(const BareMutex &) = delete;
};

}  // namespace zvbench
