// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The locks that modules share.
#pragma once

#include "private/LockAnnotations.h"

#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <atomic>

namespace zvos {

// The system's recursive lock, which mutexes and critical sections share. Returns 0 or the error number of
// the call that failed.
inline int InitRecursiveMutex(pthread_mutex_t *aMutex) {
  pthread_mutexattr_t theAttributes;
  int theError = pthread_mutexattr_init(&theAttributes);
  if (theError != 0) return theError;

  theError = pthread_mutexattr_settype(&theAttributes, PTHREAD_MUTEX_RECURSIVE);
  if (theError == 0) theError = pthread_mutex_init(aMutex, &theAttributes);
  pthread_mutexattr_destroy(&theAttributes);
  return theError;
}

// A lock that a child process does not wait for in vain. What another thread holds at the moment of a
// fork stays locked in the child, where that thread does not exist; so this lock names the process of
// its holder, and a process that finds another one's name takes it over.
//
// Statically initialised, so that any thread may be the first to need it. Not recursive.
class ZVOS_LOCK ForkAwareLock {
 public:
  constexpr ForkAwareLock() = default;
  ForkAwareLock(const ForkAwareLock &) = delete;
  ForkAwareLock &operator=(const ForkAwareLock &) = delete;

  // False: it is held now too, but its former holder stayed behind at a fork, and what that was doing
  // was never finished here.
  bool Acquire() ZVOS_ACQUIRES() {
    const int theProcess = getpid();
    int theHolder = kNobody;
    while (!mHolder.compare_exchange_strong(theHolder, theProcess, std::memory_order_acquire,
                                            std::memory_order_relaxed)) {
      // What was found is what is to be replaced, or waited for.
      if (theHolder == theProcess) {
        syscall(SYS_futex, &mHolder, FUTEX_WAIT_PRIVATE, theHolder, nullptr);
        theHolder = kNobody;
      }
    }
    return theHolder == kNobody;
  }

  void Release() ZVOS_RELEASES() {
    mHolder.store(kNobody, std::memory_order_release);
    syscall(SYS_futex, &mHolder, FUTEX_WAKE_PRIVATE, 1);
  }

 private:
  static constexpr int kNobody = 0;

  std::atomic<int> mHolder{kNobody};  // the id of its process
  static_assert(sizeof(mHolder) == sizeof(int), "the system waits on the number itself");
};

class ZVOS_SCOPED_LOCK ForkAwareHold {
 public:
  explicit ForkAwareHold(ForkAwareLock &aLock) ZVOS_ACQUIRES(aLock)
      : mLock(aLock), mfUndisturbed(aLock.Acquire()) {}
  ~ForkAwareHold() ZVOS_RELEASES() { mLock.Release(); }
  ForkAwareHold(const ForkAwareHold &) = delete;
  ForkAwareHold &operator=(const ForkAwareHold &) = delete;

  // See ForkAwareLock::Acquire.
  bool IsUndisturbed() const { return mfUndisturbed; }

 private:
  ForkAwareLock &mLock;
  const bool mfUndisturbed;
};

}  // namespace zvos
