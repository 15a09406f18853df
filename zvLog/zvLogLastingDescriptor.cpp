// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Descriptors whose numbers last. Everything here may happen in several threads and in signal handlers.

#include "private/LastingDescriptor.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>

namespace {

constexpr int kLowestNumber = 64;  // small ones are left to the program
constexpr int kMark = SIGSTKFLT;   // no program asks for this signal, and no kernel sends it

bool IsMarked(int aDescriptor) {
  return fcntl(aDescriptor, F_GETSIG) == kMark;
}

int DuplicateHigh(int aDescriptor) {
  const int theHigh = fcntl(aDescriptor, F_DUPFD_CLOEXEC, kLowestNumber);
  if (theHigh >= 0 || errno != EINVAL) return theHigh;
  return fcntl(aDescriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);  // the limit is that low
}

bool DuplicateOver(int aDescriptor, int aNumber) {
  int theResult;
  do {
    theResult = dup3(aDescriptor, aNumber, O_CLOEXEC);
  } while (theResult < 0 && (errno == EINTR || errno == EBUSY));
  return theResult >= 0;
}

}  // namespace

namespace zvlog {

LastingDescriptor gDescriptors[kLastingDescriptors];

void CloseKeepingErrno(int aDescriptor) {
  const int theError = errno;
  close(aDescriptor);
  errno = theError;
}

int LastingDescriptor::Number() const {
  const int theNumber = mNumber.load(std::memory_order_acquire);
  return theNumber != kNoDescriptor && IsMarked(theNumber) ? theNumber : kNoDescriptor;
}

bool LastingDescriptor::Install(int aDescriptor) {
  fcntl(aDescriptor, F_SETSIG, kMark);
  bool afInstalled = false;
  for (bool afAgain = true; afAgain;) {
    const int theFormer = mNumber.load(std::memory_order_acquire);
    if (theFormer != kNoDescriptor && IsMarked(theFormer)) {
      afInstalled = DuplicateOver(aDescriptor, theFormer);
      afAgain = false;
    } else {
      const int theNew = DuplicateHigh(aDescriptor);
      afInstalled = theNew >= 0 && Exchange(theFormer, theNew);
      afAgain = theNew >= 0 && !afInstalled;  // another thread was faster
    }
  }
  CloseKeepingErrno(aDescriptor);
  return afInstalled;
}

// The former number, if any, is not the log's any more.
bool LastingDescriptor::Exchange(int aFormer, int aDescriptor) {
  for (LastingDescriptor &theOther : gDescriptors) {
    int theNumber = aDescriptor;
    if (&theOther != this) theOther.mNumber.compare_exchange_strong(theNumber, kNoDescriptor);
  }
  if (mNumber.compare_exchange_strong(aFormer, aDescriptor)) return true;
  close(aDescriptor);
  return false;
}

void LastingDescriptor::Release() {
  if (Number() == kNoDescriptor) return;
  // The end that is for reading stands in, and keeps nothing of the program's open. Where there is none it
  // stays what it is: a thread that has just read the number may be about to write.
  int theEnds[2];
  if (pipe2(theEnds, O_CLOEXEC) != 0) return;
  close(theEnds[1]);
  Install(theEnds[0]);
}

void LastingDescriptor::Close() {
  const int theNumber = mNumber.exchange(kNoDescriptor);
  if (theNumber != kNoDescriptor && IsMarked(theNumber)) close(theNumber);
}

}  // namespace zvlog
