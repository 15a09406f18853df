// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the steps of a crash report have in common: they write without the C library's streams, and look
// before they read what may not be there.
#pragma once

#include <zvOS/zvTypes.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <cerrno>

namespace zvos {

// False when a reader has not kept up for a second.
inline bool WriteWhole(int aDescriptor, const char *aText, size_t aLength) {
  constexpr int kPatience = 1000;  // ms
  while (aLength > 0) {
    const ssize_t theCount = write(aDescriptor, aText, aLength);
    if (theCount < 0 && errno == EINTR) continue;
    if (theCount < 0 && errno == EAGAIN) {
      pollfd theRoom = {aDescriptor, POLLOUT, 0};
      if (poll(&theRoom, 1, kPatience) > 0) continue;
      return false;
    }
    if (theCount <= 0) return true;
    aText += theCount;
    aLength -= static_cast<size_t>(theCount);
  }
  return true;
}

// The descriptor, or another one for the same file in its place: in a program without standard streams what
// is printed must not end up in a file that was opened since. -1 when there is none.
inline int AboveStandardStreams(int aDescriptor) {
  if (aDescriptor < 0 || aDescriptor > STDERR_FILENO) return aDescriptor;
  const int theDescriptor = fcntl(aDescriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  close(aDescriptor);
  return theDescriptor;
}

// The system reads the mask before it finds that the request makes no sense.
inline bool IsReadable(const volatile void *anAddress) {
  constexpr int kNoRequest = -1;
  constexpr size_t kMaskSize = 8;
  return syscall(SYS_rt_sigprocmask, kNoRequest, anAddress, nullptr, kMaskSize) == 0 || errno != EFAULT;
}

// Looks before it lets a walk over words of memory go on, once in each page.
class PageGuard {
 public:
  bool MayRead(const volatile void *aWord) {
    constexpr uintptr_t kPageMask = ~uintptr_t(4095);
    // What IsReadable() has read stays within the page.
    constexpr uintptr_t kMaskOfRead = ~uintptr_t(7);
    const uintptr_t thePlace = reinterpret_cast<uintptr_t>(aWord);
    if ((thePlace & kPageMask) == mPage) return true;
    mPage = thePlace & kPageMask;
    return IsReadable(reinterpret_cast<void *>(thePlace & kMaskOfRead));
  }

 private:
  uintptr_t mPage = 1;  // none
};

}  // namespace zvos
