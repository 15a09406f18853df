// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Log records: begun, filled and emitted by one thread, without locks and without heap.
//
// Each thread has a small stack of records. A signal handler may interrupt the thread at any
// instruction and log: it takes the next record of the stack and has released it when it returns, so
// that the interrupted code needs nothing but the right order, claim before use and use before
// release. A handler that does not return leaves the interrupted record behind, unfinished.

#include <zvLog/zvLog.h>
#include <zvLog/zvLogSettings.h>

#include "private/FinishedRecord.h"
#include "private/Identity.h"
#include "private/Levels.h"
#include "private/Names.h"
#include "private/Sink.h"

#include <time.h>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace {

constexpr int kNestingDepth = 5;
constexpr size_t kTextRoom = 1240;
constexpr char kCutMark[] = " [cut]\n";

struct Record {
  zvLogData mData;
  size_t mLength;  // of the text
  bool mfCut;
  // The text begins behind room for the header, which is written right in front of it when the
  // record is emitted; both then leave in one call. The text may be followed by the cut mark.
  char mLine[zvlog::kHeaderRoom + kTextRoom + sizeof kCutMark];

  char *Text() { return mLine + zvlog::kHeaderRoom; }
};

struct ThreadRecords {
  volatile sig_atomic_t mDepth;
  Record mRecords[kNestingDepth];
};
static_assert(sizeof(ThreadRecords) <= 8192, "every thread of every program pays for it");

thread_local ThreadRecords sThread;

std::atomic<bool> sfAssertAborts{false};

class ErrnoKeeper {
 public:
  ErrnoKeeper() : mError(errno) {}
  ~ErrnoKeeper() { errno = mError; }
  ErrnoKeeper(const ErrnoKeeper &) = delete;
  ErrnoKeeper &operator=(const ErrnoKeeper &) = delete;

 private:
  const int mError;
};

// What stands before it in the source happens before what follows, as seen by a signal handler of
// the same thread.
void OrderForSignalHandlers() {
  std::atomic_signal_fence(std::memory_order_seq_cst);
}

void Clear(Record *aRecord, zvLogLevel aLevel, zvLogModule aModule) {
  aRecord->mData = zvLogData{aLevel, aModule, nullptr, 0};
  aRecord->mLength = 0;
  aRecord->mfCut = false;
}

void Append(Record *aRecord, const char *aFormat, va_list anArguments) ZVLOG_PRINTF(2, 0);
void Append(Record *aRecord, const char *aFormat, va_list anArguments) {
  if (aRecord->mfCut) return;
  // One byte more than may be used, for the terminator, which the cut mark overwrites.
  const size_t theRoom = kTextRoom - aRecord->mLength;
  const int theLength = vsnprintf(aRecord->Text() + aRecord->mLength, theRoom + 1, aFormat, anArguments);
  if (theLength < 0) {
    aRecord->mfCut = true;
    return;
  }
  aRecord->mfCut = static_cast<size_t>(theLength) > theRoom;
  aRecord->mLength += aRecord->mfCut ? theRoom : static_cast<size_t>(theLength);
}

void Append(Record *aRecord, const char *aFormat, ...) ZVLOG_PRINTF(2, 3);
void Append(Record *aRecord, const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
  Append(aRecord, aFormat, theArguments);
  va_end(theArguments);
}

// Makes one line of the text: it ends in a line feed, which is the only one. Gives its length.
size_t MakeLine(Record *aRecord) {
  char *theText = aRecord->Text();
  size_t theLength = aRecord->mLength;
  if (aRecord->mfCut) {
    memcpy(theText + theLength, kCutMark, sizeof kCutMark - 1);
    theLength += sizeof kCutMark - 1;
  } else if (theLength == 0 || theText[theLength - 1] != '\n') {
    theText[theLength++] = '\n';
  }
  for (size_t theIndex = 0; theIndex + 1 < theLength; ++theIndex) {
    char &theChar = theText[theIndex];
    if (theChar == '\n' || theChar == '\r' || theChar == '\0') theChar = ' ';
  }
  return theLength;
}

void Emit(Record *aRecord) {
  const size_t theLength = MakeLine(aRecord);
  timespec theTime = {};
  clock_gettime(CLOCK_REALTIME, &theTime);
  const zvlog::Identity &theOwn = zvlog::OwnIdentity();
  zvlog::Deliver({aRecord->mData, theTime, theOwn.mProcess, theOwn.mThread, theOwn.mName, aRecord->Text(),
                  theLength});
}

// The place of an open record in the stack, -1 when it is not one of this thread.
int FindOpenRecord(const zvLogData *aLogData) {
  for (int theIndex = sThread.mDepth - 1; theIndex >= 0; --theIndex) {
    if (&sThread.mRecords[theIndex].mData == aLogData) return theIndex;
  }
  return -1;
}

// In a library loaded at run time, the first use of thread-local storage allocates it; for the
// loading thread that is done here, long before it may crash.
__attribute__((constructor)) void MakeRecordsOfThisThread() {
  sThread.mDepth = 0;
}

}  // namespace

extern "C" zvLogData *zvLog_Begin(zvLogLevel aLevel, zvLogModule aModule) {
  if (!zvlog::IsWanted(aLevel, aModule)) return nullptr;

  const int theIndex = sThread.mDepth;
  if (theIndex >= kNestingDepth) return nullptr;

  sThread.mDepth = theIndex + 1;
  OrderForSignalHandlers();
  Record *theRecord = &sThread.mRecords[theIndex];
  Clear(theRecord, aLevel, aModule);
  return &theRecord->mData;
}

extern "C" void zvLog_Append_VF(const char *aFormat, va_list anArguments) {
  const int theDepth = sThread.mDepth;
  if (theDepth == 0 || aFormat == nullptr) return;

  const ErrnoKeeper theErrnoKeeper;
  Append(&sThread.mRecords[theDepth - 1], aFormat, anArguments);
}

extern "C" void zvLog_Append_F(const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
  zvLog_Append_VF(aFormat, theArguments);
  va_end(theArguments);
}

extern "C" void zvLog_End(zvLogData *aLogData) {
  const int theIndex = FindOpenRecord(aLogData);
  if (theIndex < 0) return;

  const ErrnoKeeper theErrnoKeeper;
  Emit(&sThread.mRecords[theIndex]);
  OrderForSignalHandlers();
  sThread.mDepth = theIndex;
}

extern "C" int zvLog_WillLog(zvLogLevel aLevel, zvLogModule aModule) {
  return zvlog::IsWanted(aLevel, aModule) ? 1 : 0;
}

extern "C" void _zvAssert(const char *anExpression, const char *aFile, uint32 aLine) {
  {
    const ErrnoKeeper theErrnoKeeper;
    // A record of its own, so that it comes out however many are open.
    Record theRecord;
    Clear(&theRecord, kzvLogLevel_Error, zvlog::kModuleDefault);
    theRecord.mData.mFile = aFile;
    theRecord.mData.mLine = aLine;
    Append(&theRecord, "Assertion failed: %s (%s:%u)\n", anExpression != nullptr ? anExpression : "?",
           aFile != nullptr ? aFile : "?", aLine);
    Emit(&theRecord);
  }
  if (sfAssertAborts.load(std::memory_order_relaxed)) abort();
}

extern "C" void zvLog_SetAssertAborts(int afAborts) {
  sfAssertAborts.store(afAborts != 0, std::memory_order_relaxed);
}
