// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A write can end or hold its process: by SIGPIPE where the reader is gone, by SIGXFSZ at the limit for
// the size of files, by blocking where nobody reads. The signals are kept away from the thread only where
// they can come, because changing its mask twice costs as much as the write of a line.

#include "private/HarmlessWrite.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>

#include "private/LineWriter.h"

namespace {

using zvlog::Medium;
using zvlog::Target;

constexpr int kNoSignal = 0;

// A set of signals as the kernel has it. Those of the C library are sixteen times as large, and a thread that
// crashed may have little stack left.
class SignalSet {
 public:
  static constexpr size_t kSize = 8;

  SignalSet() = default;
  explicit SignalSet(int aSignal) {
    const unsigned theBit = static_cast<unsigned>(aSignal) - 1;
    mWords[theBit / kWordBits] = 1UL << theBit % kWordBits;
  }
  bool Shares(const SignalSet &anOther) const {
    for (size_t theIndex = 0; theIndex < kWords; ++theIndex) {
      if ((mWords[theIndex] & anOther.mWords[theIndex]) != 0) return true;
    }
    return false;
  }

 private:
  static constexpr unsigned kWordBits = 8 * sizeof(unsigned long);
  static constexpr size_t kWords = kSize / sizeof(unsigned long);

  unsigned long mWords[kWords] = {};
};
static_assert(sizeof(SignalSet) == SignalSet::kSize, "the kernel looks at it");

// Keeps one signal from the thread while it lives, and takes away what a write has raised.
class SignalGuard {
 public:
  explicit SignalGuard(int aSignal) : mSignal(aSignal) {
    if (mSignal == kNoSignal) return;
    const SignalSet theSet(mSignal);
    syscall(SYS_rt_sigprocmask, SIG_BLOCK, &theSet, &mFormer, SignalSet::kSize);
    mfWasPending = IsPending();
  }
  ~SignalGuard() {
    if (mSignal != kNoSignal) {
      syscall(SYS_rt_sigprocmask, SIG_SETMASK, &mFormer, nullptr, SignalSet::kSize);
    }
  }
  SignalGuard(const SignalGuard &) = delete;
  SignalGuard &operator=(const SignalGuard &) = delete;

  // After a write that failed as it does with the signal. A signal that waited before is left, once: one for
  // the process waits beside that of the write, which is for the thread and is taken first; one for
  // the thread was merged with it and is put back.
  __attribute__((noinline)) void TakeRaised() const {
    if (mSignal == kNoSignal) return;
    const SignalSet theSet(mSignal);
    const long theNoTime[2] = {};
    siginfo_t theInfo;
    if (syscall(SYS_rt_sigtimedwait, &theSet, &theInfo, theNoTime, SignalSet::kSize) != mSignal ||
        !mfWasPending || IsPending())
      return;
    syscall(SYS_rt_tgsigqueueinfo, getpid(), syscall(SYS_gettid), mSignal, &theInfo);
  }

 private:
  bool IsPending() const {
    SignalSet theSet;
    return syscall(SYS_rt_sigpending, &theSet, SignalSet::kSize) == 0 && theSet.Shares(SignalSet(mSignal));
  }

  const int mSignal;
  bool mfWasPending = false;
  SignalSet mFormer;
};

// The old call, which takes half the time of the new one that the C library prefers. In 32 bits it shows a
// limit from 4 GiB on as none.
#ifdef SYS_ugetrlimit
constexpr long kGetLimit = SYS_ugetrlimit;
#else
constexpr long kGetLimit = SYS_getrlimit;
#endif

// Asked before each record: the limit may have been set at any time.
bool IsFileSizeLimited() {
  unsigned long theLimit[2];
  return syscall(kGetLimit, RLIMIT_FSIZE, theLimit) != 0 || theLimit[0] != ~0UL;
}

int SignalToExpect(const Target &aTarget) {
  if (aTarget.mMedium == Medium::Pipe) return SIGPIPE;
  if (aTarget.mMedium != Medium::Seekable) return kNoSignal;
  return aTarget.mfHuge || IsFileSizeLimited() ? SIGXFSZ : kNoSignal;
}

// A description of its own of what aDescriptor leads to, which does not block. The flags of the one that
// is there are shared with other processes.
__attribute__((noinline)) int OpenNonBlocking(int aDescriptor) {
  char thePath[32];
  zvlog::LineWriter theWriter(thePath, sizeof(thePath) - 1);
  theWriter.Text("/proc/self/fd/");
  theWriter.Number(static_cast<uint32>(aDescriptor));
  thePath[theWriter.Length()] = '\0';
  return open(thePath, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

bool IsWritable(int aDescriptor, int aMilliseconds) {
  pollfd thePoll = {aDescriptor, POLLOUT, 0};
  return poll(&thePoll, 1, aMilliseconds) > 0;
}

// Other writers may fill the pipe or the terminal after a poll; so it takes a write that does not block.
// Without the right to open it again (a pipe made by another user, a terminal taken over, no /proc) a poll
// before the write is all there is.
ssize_t WriteWithoutBlocking(const Target &aTarget, const char *aData, size_t aLength) {
  const int theDescriptor = aTarget.mDescriptor;
#ifdef RWF_NOWAIT
  if (aTarget.mMedium == Medium::Pipe) {
    const iovec theData = {const_cast<char *>(aData), aLength};
    const ssize_t theCount = pwritev2(theDescriptor, &theData, 1, -1, RWF_NOWAIT);
    if (theCount >= 0 || (errno != EOPNOTSUPP && errno != ENOSYS)) return theCount;
  }
#endif
  const int theOwn = OpenNonBlocking(theDescriptor);
  if (theOwn >= 0) {
    const ssize_t theCount = write(theOwn, aData, aLength);
    const int theError = errno;
    close(theOwn);
    errno = theError;
    return theCount;
  }
  if (IsWritable(theDescriptor, 0)) return write(theDescriptor, aData, aLength);
  errno = EAGAIN;
  return -1;
}

ssize_t WriteOnce(const Target &aTarget, const char *aData, size_t aLength, bool afMayWait) {
  if (aTarget.mAddress != nullptr) {
    // A socket without a connection polls writable whether or not its log reads; it has a time limit of its
    // own.
    return sendto(aTarget.mDescriptor, aData, aLength, MSG_NOSIGNAL | (afMayWait ? 0 : MSG_DONTWAIT),
                  reinterpret_cast<const sockaddr *>(aTarget.mAddress), sizeof(sockaddr_un));
  }
  if (aTarget.mMedium == Medium::Socket) {
    return send(aTarget.mDescriptor, aData, aLength, MSG_NOSIGNAL | MSG_DONTWAIT);
  }
  const bool afMayBlock = aTarget.mMedium == Medium::Pipe || aTarget.mMedium == Medium::Terminal;
  if (afMayBlock && !aTarget.mfNonBlocking) return WriteWithoutBlocking(aTarget, aData, aLength);
  return write(aTarget.mDescriptor, aData, aLength);
}

bool IsSocket(int aDescriptor) {
  int theType;
  socklen_t theSize = sizeof(theType);
  return getsockopt(aDescriptor, SOL_SOCKET, SO_TYPE, &theType, &theSize) == 0;
}

// A description that appends is at 0 before its first write, whatever the size of the file.
bool MayBeHuge(int aDescriptor, off_t aPosition) {
  return zvlog::IsHuge(aPosition) || (aPosition == 0 && (fcntl(aDescriptor, F_GETFL) & O_APPEND) != 0);
}

int64 MillisecondsNow() {
  timespec theTime = {};
  clock_gettime(CLOCK_MONOTONIC, &theTime);
  return int64{theTime.tv_sec} * 1000 + theTime.tv_nsec / 1000000;
}

}  // namespace

namespace zvlog {

Target Examine(int aDescriptor) {
  Target theTarget = {aDescriptor, Medium::Other, false, false, nullptr};
  // Costs half of fstat, and is enough for files.
  const off_t thePosition = lseek(aDescriptor, 0, SEEK_CUR);
  if (thePosition >= 0) {
    theTarget.mMedium = Medium::Seekable;
    theTarget.mfHuge = MayBeHuge(aDescriptor, thePosition);
    return theTarget;
  }
  // The C library's fstat needs half a KiB of stack, which a thread that crashed may not have.
  if (fcntl(aDescriptor, F_GETPIPE_SZ) >= 0) {
    theTarget.mMedium = Medium::Pipe;
  } else if (IsSocket(aDescriptor)) {
    theTarget.mMedium = Medium::Socket;
  } else if (isatty(aDescriptor)) {
    theTarget.mMedium = Medium::Terminal;
  }
  return theTarget;
}

bool Patience::WaitUntilWritable(int aDescriptor) {
  if (IsNone()) return false;
  const int64 theNow = MillisecondsNow();
  // A descriptor that polls writable and then takes nothing must not make the thread spin.
  if (mEnd != 0) poll(nullptr, 0, 1);
  if (mEnd == 0) mEnd = theNow + mMilliseconds;
  if (theNow >= mEnd) return false;
  IsWritable(aDescriptor, static_cast<int>(mEnd - theNow));
  return true;
}

Written WriteHarmlessly(const Target &aTarget, const char *aData, size_t aLength, Patience *aPatience) {
  SignalGuard theGuard(SignalToExpect(aTarget));
  size_t theDone = 0;
  while (theDone < aLength) {
    const ssize_t theCount = WriteOnce(aTarget, aData + theDone, aLength - theDone, !aPatience->IsNone());
    if (theCount > 0) {
      theDone += static_cast<size_t>(theCount);
      continue;
    }
    const int theError = theCount < 0 ? errno : ENOSPC;
    if (theError == EINTR) continue;
    if (theError == EPIPE || theError == EFBIG) theGuard.TakeRaised();
    const bool afWaitMore = theError == EAGAIN && aTarget.mAddress == nullptr;
    if (!afWaitMore || !aPatience->WaitUntilWritable(aTarget.mDescriptor)) return {theDone, theError};
  }
  return {theDone, 0};
}

}  // namespace zvlog
