// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A file is read by a pool of threads with its checksum, and once more by the caller alone.
//
// The parallel reading: the calling thread hands out chunks through a short queue, workers read and
// sum them up. Each worker has a descriptor of its own, as a descriptor has only one position.

#include "demo/acts.h"
#include "shared/checksum.h"
#include "shared/clock.h"
#include "shared/files.h"
#include "shared/owners.h"
#include "shared/terminal.h"

#include <algorithm>
#include <cinttypes>
#include <vector>

namespace tool {

namespace {

struct Chunk {
  uint64 mOffset;
  uint32 mLength;
};

constexpr uint32 kChunkSize = 1024 * 1024;
constexpr int kWorkerCount = 4;
// Reads under way at the same time: storage is fastest with few, the checksums need the processors.
constexpr int kMostReads = 2;

constexpr size_t kQueueSize = 2 * kWorkerCount;

struct Reading {
  MaybeProblem mProblem;  // none when the whole file was read
  uint64 mBytes;
  uint32 mChunks;
  uint32 mChecksum;
  int mMostReads;       // the most reads that were under way at the same time
  int64 mMicroseconds;  // by the monotonic clock
};

class Pool {
 public:
  Pool(const std::string &aPath, uint64 aSize);
  Reading Read(Step &aStep);

 private:
  struct Worker {
    Pool *mPool;
    std::vector<char> mBuffer;
    ThreadOwner mThread;
  };

  static void Work(void *aWorker);
  bool HandOut(Step &aStep);
  bool Put(const Chunk &aChunk);
  bool Take(Chunk &aChunk);
  bool ReadChunk(const InputFile &aFile, const Chunk &aChunk, char *aBuffer);
  void CountRead(int aChange);
  void Add(const Chunk &aChunk, uint32 aChecksum);
  void Fail(const char *aProblem);
  void Close();
  bool Wait(const ConditionOwner &aCondition);

  const std::string mPath;
  const uint64 mSize;
  const MutexOwner mMutex;
  const ConditionOwner mHasChunks;
  const ConditionOwner mHasRoom;
  const SemaphoreOwner mReadPermits;

  std::vector<Chunk> mQueue ZVOS_GUARDED_BY(mMutex);
  bool mfClosed ZVOS_GUARDED_BY(mMutex);  // nothing will be put any more
  int mReads ZVOS_GUARDED_BY(mMutex);     // under way now
  Reading mReading ZVOS_GUARDED_BY(mMutex);
};

Pool::Pool(const std::string &aPath, uint64 aSize)
    : mPath(aPath),
      mSize(aSize),
      mMutex(zvMutex_New()),
      mHasChunks(zvCondition_New()),
      mHasRoom(zvCondition_New()),
      mReadPermits(zvSemaphore_New(kMostReads)),
      mfClosed(false),
      mReads(0),
      mReading() {
  mQueue.reserve(kQueueSize);
}

Reading Pool::Read(Step &aStep) {
  const int64 theStart = Microseconds();
  if (!mMutex || !mHasChunks || !mHasRoom || !mReadPermits) {
    Reading theFailure = {};
    theFailure.mProblem.emplace("no locks could be made");
    return theFailure;
  }
  {
    // Threads are waited for when this block is left, whatever happened in it.
    std::vector<Worker> theWorkers(kWorkerCount);
    for (Worker &theWorker : theWorkers) {
      theWorker.mPool = this;
      theWorker.mBuffer.resize(kChunkSize);
    }
    for (Worker &theWorker : theWorkers) {
      theWorker.mThread = StartThread(Work, &theWorker);
      if (!theWorker.mThread) Fail("a thread could not be started");
    }
    HandOut(aStep);
    Close();
  }
  const MutexHold theHold(mMutex);
  mReading.mMicroseconds = Microseconds() - theStart;
  return mReading;
}

bool Pool::HandOut(Step &aStep) {
  for (uint64 theOffset = 0; theOffset < mSize; theOffset += kChunkSize) {
    const uint64 theLength = std::min<uint64>(kChunkSize, mSize - theOffset);
    if (!Put({theOffset, static_cast<uint32>(theLength)})) return false;
    aStep.Progress(theOffset, mSize);
  }
  return true;
}

void Pool::Work(void *aWorker) {
  Worker &theWorker = *static_cast<Worker *>(aWorker);
  Pool &thePool = *theWorker.mPool;
  const InputFile theFile(thePool.mPath);
  if (!theFile.IsOpen()) {
    thePool.Fail("a worker could not open the file");
    return;
  }
  Chunk theChunk = {};
  while (thePool.Take(theChunk)) {
    if (!thePool.ReadChunk(theFile, theChunk, theWorker.mBuffer.data())) return;
    thePool.Add(theChunk, ContinueChecksum(0, theWorker.mBuffer.data(), theChunk.mLength));
  }
}

bool Pool::ReadChunk(const InputFile &aFile, const Chunk &aChunk, char *aBuffer) {
  if (zvSemaphore_Wait(mReadPermits.get()) != zvSemaphore_Status_NoError) {
    Fail("waiting for the permit to read failed");
    return false;
  }
  CountRead(+1);
  const bool afAtPlace =
      zvFile_Seek(aFile.FD(), static_cast<zvFileOffset>(aChunk.mOffset), zvFileSeekMode_Begin) == 0;
  const int theCount = afAtPlace ? zvFile_Read(aFile.FD(), aBuffer, aChunk.mLength) : kzvFileErrorUnknown;
  CountRead(-1);
  zvSemaphore_Post(mReadPermits.get());

  if (theCount < 0) {
    Fail("a chunk could not be read");
    return false;
  }
  if (static_cast<uint32>(theCount) != aChunk.mLength) {
    Fail("the file became shorter while it was read");
    return false;
  }
  return true;
}

bool Pool::Put(const Chunk &aChunk) {
  const MutexHold theHold(mMutex);
  while (mQueue.size() == kQueueSize && !mfClosed) {
    if (!Wait(mHasRoom)) return false;
  }
  if (mfClosed) return false;
  mQueue.push_back(aChunk);
  zvCondition_Signal(mHasChunks.get());
  return true;
}

bool Pool::Take(Chunk &aChunk) {
  const MutexHold theHold(mMutex);
  while (mQueue.empty() && !mfClosed) {
    if (!Wait(mHasChunks)) return false;
  }
  // After a failure what is left in the queue is not worth reading.
  if (mQueue.empty() || mReading.mProblem) return false;
  aChunk = mQueue.front();
  mQueue.erase(mQueue.begin());
  zvCondition_Signal(mHasRoom.get());
  return true;
}

bool Pool::Wait(const ConditionOwner &aCondition) {
  if (zvCondition_Wait(aCondition.get(), mMutex.get()) == zvCondition_Status_NoError) return true;
  // The mutex is recursive: Fail may take it once more.
  Fail("waiting for the queue failed");
  return false;
}

void Pool::CountRead(int aChange) {
  const MutexHold theHold(mMutex);
  mReads += aChange;
  mReading.mMostReads = std::max(mReading.mMostReads, mReads);
}

void Pool::Add(const Chunk &aChunk, uint32 aChecksum) {
  const uint32 theContribution = ContributionOf(aChecksum, mSize - aChunk.mOffset - aChunk.mLength);
  const MutexHold theHold(mMutex);
  mReading.mChecksum ^= theContribution;
  mReading.mBytes += aChunk.mLength;
  ++mReading.mChunks;
}

void Pool::Fail(const char *aProblem) {
  const MutexHold theHold(mMutex);
  if (!mReading.mProblem) mReading.mProblem.emplace(aProblem);
  Close();
}

void Pool::Close() {
  const MutexHold theHold(mMutex);
  mfClosed = true;
  zvCondition_Broadcast(mHasChunks.get());
  zvCondition_Broadcast(mHasRoom.get());
}

Reading ReadInOneThread(const std::string &aPath, uint64 aSize, Step &aStep) {
  const int64 theStart = Microseconds();
  Reading theReading = {};
  const InputFile theFile(aPath);
  if (!theFile.IsOpen()) {
    theReading.mProblem.emplace("the file could not be opened");
    return theReading;
  }
  std::vector<char> theBuffer(kChunkSize);
  for (;;) {
    const int theCount = zvFile_Read(theFile.FD(), theBuffer.data(), kChunkSize);
    if (theCount < 0) theReading.mProblem.emplace("the file could not be read");
    if (theCount <= 0) break;
    theReading.mChecksum =
        ContinueChecksum(theReading.mChecksum, theBuffer.data(), static_cast<size_t>(theCount));
    theReading.mBytes += static_cast<uint64>(theCount);
    ++theReading.mChunks;
    theReading.mMostReads = 1;
    aStep.Progress(theReading.mBytes, aSize);
  }
  theReading.mMicroseconds = Microseconds() - theStart;
  return theReading;
}

// "0.012345 s, 95.3 MB/s"
std::string TimeAndSpeed(const Reading &aReading) {
  char theText[80];
  const double theSeconds = static_cast<double>(aReading.mMicroseconds) / 1e6;
  if (aReading.mMicroseconds > 0 && aReading.mBytes > 0) {
    zv_snprintf(theText, sizeof(theText), "%.6f s, %.1f MB/s", theSeconds,
                static_cast<double>(aReading.mBytes) / 1e6 / theSeconds);
  } else {
    zv_snprintf(theText, sizeof(theText), "%.6f s", theSeconds);
  }
  return theText;
}

bool ReadSize(const std::string &aPath, uint64 &aSize) {
  const InputFile theFile(aPath);
  zvFileOffset theSize = 0;
  const bool afGood = theFile.IsOpen() && zvFile_GetSize(theFile.FD(), &theSize) == 0;
  aSize = static_cast<uint64>(theSize);
  return afGood;
}

MaybeProblem WhatIsWrongWith(const Reading &aReading, uint64 aSize) {
  if (aReading.mProblem) return aReading.mProblem;
  const std::string theBytes = std::to_string(aReading.mBytes);
  if (aReading.mBytes != aSize)
    return Problem("read " + theBytes + " bytes instead of " + std::to_string(aSize));
  if (aReading.mMostReads <= kMostReads) return {};
  return Problem(std::to_string(aReading.mMostReads) + " reads at a time where the semaphore admits " +
                 std::to_string(kMostReads));
}

}  // namespace

bool ReadFileTwice(const std::string &aPath) {
  Step theStep("File");
  uint64 theSize = 0;
  if (!ReadSize(aPath, theSize)) return theStep.Failed("%s: its size could not be read", aPath.c_str());
  theStep.Passed("%s, %" PRIu64 " bytes", aPath.c_str(), theSize);

  Step theParallelStep("Parallel read");
  const Reading theParallel = Pool(aPath, theSize).Read(theParallelStep);
  if (const MaybeProblem theProblem = WhatIsWrongWith(theParallel, theSize))
    return theParallelStep.Failed(*theProblem);
  theParallelStep.Passed("CRC-32 %08" PRIx32 ", %s (%d threads, %" PRIu32
                         " chunks, %d of %d reads at a time)",
                         theParallel.mChecksum, TimeAndSpeed(theParallel).c_str(), kWorkerCount,
                         theParallel.mChunks, theParallel.mMostReads, kMostReads);

  Step theSingleStep("Sequential read");
  const Reading theSingle = ReadInOneThread(aPath, theSize, theSingleStep);
  if (const MaybeProblem theProblem = WhatIsWrongWith(theSingle, theSize))
    return theSingleStep.Failed(*theProblem);
  theSingleStep.Passed("CRC-32 %08" PRIx32 ", %s", theSingle.mChecksum, TimeAndSpeed(theSingle).c_str());

  Step theComparison("Same checksum");
  if (theParallel.mChecksum != theSingle.mChecksum) {
    return theComparison.Failed("%08" PRIx32 " and %08" PRIx32 ": the file changed, or one reading is wrong",
                                theParallel.mChecksum, theSingle.mChecksum);
  }
  return theComparison.Passed("both readings agree on %08" PRIx32, theSingle.mChecksum);
}

}  // namespace tool
