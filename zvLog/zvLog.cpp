// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Log records: begun, filled and emitted by one thread, without locks and without heap.
//
// Each thread has a record of its own, and a stack of those that are open: the outermost is its own, the
// others are borrowed. A signal handler may interrupt the thread at any instruction and log: it puts
// another record on the stack and has taken it off when it returns, so that the interrupted code needs
// nothing but the right order. A handler that does not return leaves the interrupted record behind,
// unfinished, until one that encloses it ends.

#include <zvLog/zvLog.h>
#include <zvLog/zvLogSettings.h>

#include "private/Identity.h"
#include "private/Levels.h"
#include "private/Names.h"
#include "private/Notice.h"
#include "private/Record.h"
#include "private/RecordPool.h"
#include "private/Repeats.h"
#include "private/Settings.h"
#include "private/SignalOrder.h"

#include <time.h>
#include <atomic>
#include <cerrno>
#include <csignal>

namespace {

using zvlog::OrderForSignalHandlers;
using zvlog::Record;

constexpr int kNestingDepth = 5;

struct ThreadRecords {
  volatile sig_atomic_t mDepth;               // of the stack
  Record *volatile mBorrowed[kNestingDepth];  // NULL at the place of its own, and while none is there yet
  Record mOwn;

  Record *At(int anIndex) { return anIndex == 0 ? &mOwn : mBorrowed[anIndex]; }
};
static_assert(sizeof(ThreadRecords) <= 1800, "every thread of every program pays for it");

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

// After a fork the records of this thread are noted as those of another.
void KeepBorrowed(ThreadRecords *aThread) {
  for (int theIndex = 1; theIndex < aThread->mDepth; ++theIndex) {
    const Record *theRecord = aThread->mBorrowed[theIndex];
    if (theRecord != nullptr) zvlog::KeepRecord(theRecord);
  }
}

// Puts a record on the stack; NULL when there is none.
Record *Open(ThreadRecords *aThread) {
  const int theIndex = aThread->mDepth;
  if (theIndex == 0) {
    aThread->mDepth = 1;
    OrderForSignalHandlers();
    return &aThread->mOwn;
  }
  if (theIndex >= kNestingDepth) return nullptr;
  KeepBorrowed(aThread);
  Record *theRecord = zvlog::ClaimRecord();
  if (theRecord == nullptr) return nullptr;
  // A handler that comes in between must not put its own record where this one will be.
  aThread->mDepth = theIndex + 1;
  OrderForSignalHandlers();
  aThread->mBorrowed[theIndex] = theRecord;
  return theRecord;
}

bool CanOpen(ThreadRecords *aThread) {
  if (aThread->mDepth == 0) return true;
  if (aThread->mDepth >= kNestingDepth) return false;
  KeepBorrowed(aThread);
  return zvlog::IsRecordLeft();
}

// Takes the records from aDepth on off the stack.
void CloseDownTo(ThreadRecords *aThread, int aDepth) {
  OrderForSignalHandlers();
  for (int theIndex = aThread->mDepth - 1; theIndex >= aDepth; --theIndex) {
    const Record *theRecord = aThread->mBorrowed[theIndex];
    aThread->mBorrowed[theIndex] = nullptr;
    aThread->mDepth = theIndex;
    if (theRecord != nullptr) zvlog::ReleaseRecord(theRecord);
  }
}

void Emit(Record *aRecord, zvlog::Delivery *aDelivery) {
  const size_t theLength = aRecord->MakeLine();
  const zvlog::Identity &theOwn = zvlog::OwnIdentity();
  zvlog::FinishedRecord theFinished = {
      aRecord->mData, {}, theOwn.mProcess, theOwn.mThread, theOwn.mName, aRecord->Text(), theLength};
  clock_gettime(CLOCK_REALTIME, &theFinished.mTime);
  aDelivery(theFinished);
}

// The place of an open record in the stack, -1 when it is not one of this thread.
int FindOpenRecord(ThreadRecords *aThread, const zvLogData *aLogData) {
  for (int theIndex = aThread->mDepth - 1; theIndex >= 0; --theIndex) {
    const Record *theRecord = aThread->At(theIndex);
    if (theRecord != nullptr && &theRecord->mData == aLogData) return theIndex;
  }
  return -1;
}

// In a library loaded at run time, the first use of thread-local storage allocates it; for the
// loading thread that is done here, long before it may crash.
__attribute__((constructor)) void MakeRecordsOfThisThread() {
  sThread.mDepth = 0;
}

// It is called from here because a program that contains the library as an archive gets only those of its
// files that others need: this one, whoever logs.
__attribute__((constructor)) void ApplySettingsOfTheProgram() {
  zvlog::ApplyEnvironment();
}

}  // namespace

namespace zvlog {

void EmitNotice(Delivery *aDelivery, zvLogLevel aLevel, const char *aFile, uint32 aLine, const char *aFormat,
                ...) {
  const ErrnoKeeper theErrnoKeeper;
  const int theDepth = sThread.mDepth;
  Record *theRecord = Open(&sThread);
  // Where none is left it lies on the stack, which otherwise may be small.
  if (theRecord == nullptr) theRecord = static_cast<Record *>(__builtin_alloca(sizeof(Record)));
  theRecord->Clear(aLevel, kModuleDefault);
  theRecord->mData.mFile = aFile;
  theRecord->mData.mLine = aLine;
  va_list theArguments;
  va_start(theArguments, aFormat);
  theRecord->Append(aFormat, theArguments);
  va_end(theArguments);
  Emit(theRecord, aDelivery);
  CloseDownTo(&sThread, theDepth);
}

}  // namespace zvlog

extern "C" zvLogData *zvLog_Begin(zvLogLevel aLevel, zvLogModule aModule) {
  if (!zvlog::IsWanted(aLevel, aModule)) return nullptr;

  Record *theRecord = Open(&sThread);
  if (theRecord == nullptr) return nullptr;
  theRecord->Clear(aLevel, aModule);
  return &theRecord->mData;
}

extern "C" void zvLog_Append_VF(const char *aFormat, va_list anArguments) {
  const int theDepth = sThread.mDepth;
  if (theDepth == 0 || aFormat == nullptr) return;
  Record *theRecord = sThread.At(theDepth - 1);
  if (theRecord == nullptr) return;

  const ErrnoKeeper theErrnoKeeper;
  theRecord->Append(aFormat, anArguments);
}

extern "C" void zvLog_Append_F(const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
  zvLog_Append_VF(aFormat, theArguments);
  va_end(theArguments);
}

extern "C" void zvLog_End(zvLogData *aLogData) {
  const int theIndex = FindOpenRecord(&sThread, aLogData);
  if (theIndex < 0) return;

  const ErrnoKeeper theErrnoKeeper;
  Emit(sThread.At(theIndex), zvlog::DeliverUnlessRepeated);
  CloseDownTo(&sThread, theIndex);
}

extern "C" int zvLog_WillLog(zvLogLevel aLevel, zvLogModule aModule) {
  return zvlog::IsWanted(aLevel, aModule) && CanOpen(&sThread) ? 1 : 0;
}

extern "C" void _zvAssert(const char *anExpression, const char *aFile, uint32 aLine) {
  zvlog::EmitNotice(zvlog::DeliverUnlessRepeated, kzvLogLevel_Error, aFile, aLine,
                    "Assertion failed: %s (%s:%u)\n", anExpression != nullptr ? anExpression : "?",
                    aFile != nullptr ? aFile : "?", aLine);
  if (sfAssertAborts.load(std::memory_order_relaxed)) abort();
}

extern "C" void zvLog_SetAssertAborts(int afAborts) {
  sfAssertAborts.store(afAborts != 0, std::memory_order_relaxed);
}
