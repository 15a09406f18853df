// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A file that records are appended to, which may also be a pipe with a name or a terminal.
//
// Records put another file in its place when it is full, when that was requested, and when the program has
// closed it. A setter that comes between has the last word, because they look again whether the place is
// still the same.
//
// While one thread puts another file in the place of a full one, the others wait for it, or there would be no
// limit: a thread that is not given the processor at that moment is overtaken by thousands of records. They
// wait as shortly, and as seldom, as for any sink that does not keep up.

#include "private/FileChannel.h"

#include <zvLog/zvLogSettings.h>

#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <cerrno>
#include <climits>

namespace {

constexpr uint32 kRecordsPerLook = 1024;  // other processes may append, too
constexpr pid_t kNobody = 0;

std::atomic<uint32> sReopenRequests{0};

// Of what can be seeked; otherwise it is negative. A file is appended to wherever its position is, and fstat
// needs more stack than a thread that crashed may have.
off_t SizeOf(int aDescriptor) {
  return lseek(aDescriptor, 0, SEEK_END);
}

}  // namespace

namespace zvlog {

FileChannel gFileChannels[kFileChannels];

// One record at a time puts another file in place.
class FileChannel::Turn {
 public:
  Turn(FileChannel *aChannel, pid_t aThread) : mChannel(aChannel) {
    pid_t theHolder = kNobody;
    mfMine = mChannel->mTurnOf.compare_exchange_strong(theHolder, aThread, std::memory_order_acquire);
  }
  ~Turn() {
    if (!mfMine) return;
    mChannel->mfTurnStalled.store(false, std::memory_order_relaxed);
    mChannel->mTurnOf.store(kNobody, std::memory_order_release);
    syscall(SYS_futex, &mChannel->mTurnOf, FUTEX_WAKE_PRIVATE, INT_MAX);
  }
  Turn(const Turn &) = delete;
  Turn &operator=(const Turn &) = delete;

  bool IsMine() const { return mfMine; }

 private:
  FileChannel *const mChannel;
  bool mfMine;
};

// False when it lasts too long. Then nobody waits for it any more before it ends; and a signal handler never
// waits for the thread that it interrupted.
bool FileChannel::AwaitTurn(pid_t aThread) {
  static_assert(sizeof(mTurnOf) == sizeof(pid_t), "the kernel looks at it");
  const pid_t theHolder = mTurnOf.load(std::memory_order_relaxed);
  if (theHolder == kNobody) return true;
  if (theHolder == aThread || mfTurnStalled.load(std::memory_order_relaxed)) return false;
  const long thePatience[] = {0, kPatienceMilliseconds * 1000000L};
  if (syscall(SYS_futex, &mTurnOf, FUTEX_WAIT_PRIVATE, theHolder, thePatience) == 0 || errno == EAGAIN)
    return true;
  if (errno == ETIMEDOUT) mfTurnStalled.store(true, std::memory_order_relaxed);
  return false;
}

LastingDescriptor *FileChannel::Descriptor() {
  return &gDescriptors[this - gFileChannels];
}

// Installs a file of aPlace, which is closed in any case.
bool FileChannel::Take(int aFile, const FilePlace *aPlace) {
  const Medium theMedium = Examine(aFile).mMedium;
  const bool afHuge = IsHuge(SizeOf(aFile));
  if (!Descriptor()->Install(aFile)) return false;
  mMedium.store(theMedium, std::memory_order_relaxed);
  mfHuge.store(afHuge, std::memory_order_relaxed);
  return mPlace.load() == aPlace || OpenAgain() != kNoDescriptor;
}

bool FileChannel::Open(const FilePlace *aPlace) {
  const int theFile = OpenPlace(*aPlace);
  if (theFile < 0) return false;
  mReopened.store(sReopenRequests.load());
  const FilePlace *theFormer = mPlace.exchange(aPlace);
  if (!Take(theFile, aPlace)) {
    mPlace.store(theFormer);
    return false;
  }
  if (theFormer != aPlace) mOutlet.Forget();
  return true;
}

void FileChannel::Release() {
  if (mPlace.exchange(nullptr) == nullptr) return;
  Descriptor()->Release();
  mOutlet.Forget();
}

void FileChannel::ForgetOtherThreads() {
  mTurnOf.store(kNobody);
}

int FileChannel::OpenAgain() {
  const FilePlace *thePlace = mPlace.load();
  if (thePlace == nullptr) {
    Descriptor()->Release();
    errno = EBADF;
    return kNoDescriptor;
  }
  const int theFile = OpenPlace(*thePlace);
  return theFile >= 0 && Take(theFile, thePlace) ? Descriptor()->Number() : kNoDescriptor;
}

// A file that cannot be opened again leaves the one that is there.
bool FileChannel::ReopenIfRequested(pid_t aThread) {
  const uint32 theRequest = sReopenRequests.load(std::memory_order_relaxed);
  if (theRequest == mReopened.load(std::memory_order_relaxed)) return false;
  const Turn theTurn(this, aThread);
  if (!theTurn.IsMine()) return false;
  mReopened.store(theRequest);
  return OpenAgain() != kNoDescriptor;
}

void FileChannel::OpenNext(const FilePlace &aPlace, uint64 aLength) {
  const int theNext = OpenNextGeneration(aPlace, aLength);
  if (theNext >= 0) {
    Take(theNext, &aPlace);
  } else if (errno == EWOULDBLOCK) {
    sched_yield();  // the sooner the other process is ready
  } else {
    mTurnLater.store(kRecordsPerLook, std::memory_order_relaxed);
  }
}

// Whether the file may be another one now.
bool FileChannel::MakeRoom(int aDescriptor, const FilePlace &aPlace, const FinishedRecord &aRecord) {
  const uint64 theLength = kHeaderRoom + aRecord.mLength;
  for (bool afOther = false;; afOther = true) {
    const off_t theSize = SizeOf(aDescriptor);
    if (theSize <= 0 || static_cast<uint64>(theSize) + theLength <= aPlace.mMaximumSize) return afOther;
    const uint32 theDelay = mTurnLater.load(std::memory_order_relaxed);
    if (theDelay > 0) {
      mTurnLater.store(theDelay - 1, std::memory_order_relaxed);
      return afOther;
    }
    const Turn theTurn(this, aRecord.mThread);
    if (theTurn.IsMine()) {
      OpenNext(aPlace, theLength);
      return true;
    }
    if (!AwaitTurn(aRecord.mThread)) return afOther;
  }
}

Target FileChannel::TargetOf(int aDescriptor) {
  const bool afLook = mRecords.fetch_add(1, std::memory_order_relaxed) % kRecordsPerLook == 0;
  if (afLook && IsHuge(SizeOf(aDescriptor))) mfHuge.store(true, std::memory_order_relaxed);
  return {aDescriptor, mMedium.load(std::memory_order_relaxed), true, mfHuge.load(std::memory_order_relaxed),
          nullptr};
}

int FileChannel::DescriptorFor(const FilePlace &aPlace, const FinishedRecord &aRecord) {
  ReopenIfRequested(aRecord.mThread);
  const int theDescriptor = Descriptor()->Number();
  if (theDescriptor == kNoDescriptor) return OpenAgain();
  if (aPlace.mMaximumSize == 0 || !MakeRoom(theDescriptor, aPlace, aRecord)) return theDescriptor;
  return Descriptor()->Number();
}

int FileChannel::Write(const FinishedRecord &aRecord) {
  int theError = EBADF;
  for (int theAttempt = 0; theAttempt < 2 && theError == EBADF; ++theAttempt) {
    const FilePlace *thePlace = mPlace.load(std::memory_order_acquire);
    if (thePlace == nullptr) return EBADF;
    const int theDescriptor = DescriptorFor(*thePlace, aRecord);
    if (theDescriptor == kNoDescriptor) {
      theError = errno;
      mOutlet.CountLoss(theError);
      return theError;
    }
    theError = mOutlet.Write(TargetOf(theDescriptor), aRecord);
  }
  return theError;
}

}  // namespace zvlog

extern "C" void zvLog_RequestReopen(void) {
  sReopenRequests.fetch_add(1, std::memory_order_relaxed);
}
