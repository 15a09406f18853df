// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A lock of those who change settings. It is not stuck in a child process that was forked while another
// thread held it: who finds it held by a process that is not its own takes it over.
#pragma once

#include "CancellationOff.h"
#include "Identity.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <atomic>
#include <climits>

namespace zvlog {

class ForkSafeLock {
 public:
  // One copy of each is enough: nothing about changes of settings is urgent.
  __attribute__((noinline)) void Acquire() {
    const uint32 theOwn = ProcessMark();
    uint32 theHolder = kNobody;
    while (!mHolder.compare_exchange_weak(theHolder, theOwn, std::memory_order_acquire)) {
      if (theHolder == kNobody || (theHolder | kAwaited) != (theOwn | kAwaited)) continue;
      const uint32 theAwaited = theHolder | kAwaited;
      if (theHolder == theAwaited || mHolder.compare_exchange_strong(theHolder, theAwaited)) {
        syscall(SYS_futex, &mHolder, FUTEX_WAIT_PRIVATE, theAwaited, nullptr);
      }
      theHolder = kNobody;
    }
  }

  __attribute__((noinline)) void Release() {
    const uint32 theHolder = mHolder.exchange(kNobody, std::memory_order_release);
    if ((theHolder & kAwaited) != 0) syscall(SYS_futex, &mHolder, FUTEX_WAKE_PRIVATE, INT_MAX);
  }

 private:
  static constexpr uint32 kNobody = 0;
  static constexpr uint32 kAwaited = uint32{1} << 31;
  static_assert(sizeof(std::atomic<uint32>) == sizeof(uint32), "the kernel looks at it");

  std::atomic<uint32> mHolder{kNobody};
};

// Holds a lock while it lives, in a thread that may be cancelled: opening, reading and writing files are
// such calls.
class LockHold {
 public:
  explicit LockHold(ForkSafeLock *aLock) : mLock(aLock) { mLock->Acquire(); }
  ~LockHold() { mLock->Release(); }
  LockHold(const LockHold &) = delete;
  LockHold &operator=(const LockHold &) = delete;

 private:
  const CancellationOff mCancellationOff;
  ForkSafeLock *const mLock;
};

}  // namespace zvlog
