// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A record of the pool belongs to the thread whose id stands beside it. A thread that ended, or that was
// left behind in the parent of a forked process, cannot give its records back: when all are in use, those
// whose threads are gone are taken over.

#include "private/RecordPool.h"

#include "private/Identity.h"

#include <sys/syscall.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <csignal>

namespace zvlog {

namespace {

constexpr pid_t kNobody = 0;

std::atomic<pid_t> sOwners[kPoolSize];
Record sRecords[kPoolSize];

bool IsGone(pid_t aThread) {
  const int theError = errno;
  const bool afGone = syscall(SYS_tgkill, OwnIdentity().mProcess, aThread, 0) != 0 && errno == ESRCH;
  errno = theError;
  return afGone;
}

Record *TakeOverRecord(pid_t aThread) {
  for (int theIndex = 0; theIndex < kPoolSize; ++theIndex) {
    pid_t theOwner = sOwners[theIndex].load(std::memory_order_relaxed);
    if ((theOwner == kNobody || IsGone(theOwner)) &&
        sOwners[theIndex].compare_exchange_strong(theOwner, aThread, std::memory_order_acquire)) {
      return &sRecords[theIndex];
    }
  }
  return nullptr;
}

}  // namespace

Record *ClaimRecord() {
  const pid_t theThread = OwnIdentity().mThread;
  for (int theIndex = 0; theIndex < kPoolSize; ++theIndex) {
    pid_t theOwner = kNobody;
    if (sOwners[theIndex].compare_exchange_strong(theOwner, theThread, std::memory_order_acquire)) {
      return &sRecords[theIndex];
    }
  }
  return TakeOverRecord(theThread);
}

bool IsRecordLeft() {
  for (const std::atomic<pid_t> &theOwner : sOwners) {
    if (theOwner.load(std::memory_order_relaxed) == kNobody) return true;
  }
  for (const std::atomic<pid_t> &theOwner : sOwners) {
    if (IsGone(theOwner.load(std::memory_order_relaxed))) return true;
  }
  return false;
}

void KeepRecord(const Record *aRecord) {
  sOwners[aRecord - sRecords].store(OwnIdentity().mThread, std::memory_order_relaxed);
}

void ReleaseRecord(const Record *aRecord) {
  sOwners[aRecord - sRecords].store(kNobody, std::memory_order_release);
}

}  // namespace zvlog
