// The parallel reading: the calling thread hands out chunks through a short queue, workers read and
// sum them up. Each worker has a descriptor of its own, as a descriptor has only one position.

#include "demo/file_reading.h"

#include "shared/checksum.h"
#include "shared/input.h"
#include "shared/owners.h"

#include <zvOS/zvMonoliticTime.h>

#include <algorithm>
#include <vector>

namespace tool {

namespace {

constexpr size_t kQueueSize = 2 * kWorkerCount;

struct Chunk {
  uint64 mOffset;
  uint32 mLength;
};

int64 Now() {
  zvtimeval theTime = {};
  zvMonoliticTime_GetTime(&theTime);
  return static_cast<int64>(theTime.tv_sec) * 1000000 + theTime.tv_usec;
}

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

  // Guarded by mMutex.
  std::vector<Chunk> mQueue;
  bool mfClosed;  // nothing will be put any more
  int mReads;     // under way now
  Reading mReading;
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
  const int64 theStart = Now();
  if (!mMutex || !mHasChunks || !mHasRoom || !mReadPermits) {
    mReading.mProblem = "no locks could be made";
    return mReading;
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
  mReading.mMicroseconds = Now() - theStart;
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
  const InputFile theFile(thePool.mPath.c_str());
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
  if (mQueue.empty() || mReading.mProblem != nullptr) return false;
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
  if (mReading.mProblem == nullptr) mReading.mProblem = aProblem;
  Close();
}

void Pool::Close() {
  const MutexHold theHold(mMutex);
  mfClosed = true;
  zvCondition_Broadcast(mHasChunks.get());
  zvCondition_Broadcast(mHasRoom.get());
}

}  // namespace

Reading ReadInParallel(const std::string &aPath, uint64 aSize, Step &aStep) {
  return Pool(aPath, aSize).Read(aStep);
}

Reading ReadInOneThread(const std::string &aPath, uint64 aSize, Step &aStep) {
  const int64 theStart = Now();
  Reading theReading = {};
  const InputFile theFile(aPath.c_str());
  if (!theFile.IsOpen()) {
    theReading.mProblem = "the file could not be opened";
    return theReading;
  }
  std::vector<char> theBuffer(kChunkSize);
  for (;;) {
    const int theCount = zvFile_Read(theFile.FD(), theBuffer.data(), kChunkSize);
    if (theCount < 0) theReading.mProblem = "the file could not be read";
    if (theCount <= 0) break;
    theReading.mChecksum =
        ContinueChecksum(theReading.mChecksum, theBuffer.data(), static_cast<size_t>(theCount));
    theReading.mBytes += static_cast<uint64>(theCount);
    ++theReading.mChunks;
    theReading.mMostReads = 1;
    aStep.Progress(theReading.mBytes, aSize);
  }
  theReading.mMicroseconds = Now() - theStart;
  return theReading;
}

}  // namespace tool
