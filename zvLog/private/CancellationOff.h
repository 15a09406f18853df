// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Keeps the thread from being cancelled.
#pragma once

#include <pthread.h>

namespace zvlog {

// While it lives. A thread that is cancelled inside a call would leave behind what it holds: a lock, a signal
// mask, a descriptor.
class CancellationOff {
 public:
  CancellationOff() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &mFormer); }
  ~CancellationOff() { pthread_setcancelstate(mFormer, nullptr); }
  CancellationOff(const CancellationOff &) = delete;
  CancellationOff &operator=(const CancellationOff &) = delete;

 private:
  int mFormer = 0;
};

}  // namespace zvlog
