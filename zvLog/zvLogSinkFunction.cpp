// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The program's own function as sink. Threads that are inside it are counted, so that its removal can wait
// for them: nobody takes a lock for a record.

#include "private/SinkFunction.h"

#include "private/SinkSet.h"

#include <zvLog/zvLogSettings.h>

#include <time.h>
#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace {

// Never released: a thread may be about to look at one. An equal one is used again.
struct Registration {
  zvLogSinkFunction mFunction;
  void *mUser;
  std::atomic<int> mThreadsInside;
  Registration *mNext;
};

std::atomic<Registration *> sCurrent{nullptr};
std::atomic<Registration *> sRegistrations{nullptr};

thread_local Registration *sInside = nullptr;  // the one that this thread is inside of

Registration *FindOrAdd(zvLogSinkFunction aFunction, void *aUser) {
  for (Registration *theEntry = sRegistrations.load(std::memory_order_acquire); theEntry != nullptr;
       theEntry = theEntry->mNext) {
    if (theEntry->mFunction == aFunction && theEntry->mUser == aUser) return theEntry;
  }
  Registration *theNew = static_cast<Registration *>(calloc(1, sizeof(Registration)));
  if (theNew == nullptr) return nullptr;
  theNew->mFunction = aFunction;
  theNew->mUser = aUser;
  theNew->mNext = sRegistrations.load(std::memory_order_relaxed);
  sRegistrations.store(theNew, std::memory_order_release);
  return theNew;
}

// The current registration, with this thread counted; NULL when there is none.
Registration *Enter() {
  for (;;) {
    Registration *theCurrent = sCurrent.load();
    if (theCurrent == nullptr) return nullptr;
    theCurrent->mThreadsInside.fetch_add(1);
    // Whoever took it away before now may have found nobody inside.
    if (sCurrent.load() == theCurrent) return theCurrent;
    theCurrent->mThreadsInside.fetch_sub(1);
  }
}

// All that are none any more, as somebody else may have taken one away who did not wait. From within a
// function a thread would wait for itself. One copy of it is enough.
__attribute__((noinline)) void WaitUntilFormerOnesAreLeft() {
  if (sInside != nullptr) return;
  static constexpr timespec kMoment = {0, 1000000};
  for (const Registration *theEntry = sRegistrations.load(std::memory_order_acquire); theEntry != nullptr;
       theEntry = theEntry->mNext) {
    while (theEntry != sCurrent.load() && theEntry->mThreadsInside.load() != 0)
      nanosleep(&kMoment, nullptr);
  }
}

}  // namespace

namespace zvlog {

bool CallSinkFunction(const FinishedRecord &aRecord) {
  if (sCurrent.load(std::memory_order_relaxed) == nullptr || sInside != nullptr) return false;
  Registration *theRegistration = Enter();
  if (theRegistration != nullptr) {
    sInside = theRegistration;
    const size_t theLength = aRecord.mLength - 1;
    aRecord.mText[theLength] = '\0';
    const zvLogRecord theRecord = {
        sizeof(zvLogRecord),   aRecord.mData.mLevel,
        aRecord.mData.mModule, aRecord.mData.mFile != nullptr ? aRecord.mData.mFile : "?",
        aRecord.mData.mLine,   aRecord.mProcess,
        aRecord.mThread,       aRecord.mThreadName,
        aRecord.mTime.tv_sec,  static_cast<uint32>(aRecord.mTime.tv_nsec),
        aRecord.mText,         theLength};
    theRegistration->mFunction(&theRecord, theRegistration->mUser);
    aRecord.mText[theLength] = '\n';
    sInside = nullptr;
    theRegistration->mThreadsInside.fetch_sub(1);
  }
  return theRegistration != nullptr;
}

void ForgetOtherCallers() {
  for (Registration *theEntry = sRegistrations.load(std::memory_order_acquire); theEntry != nullptr;
       theEntry = theEntry->mNext)
    theEntry->mThreadsInside.store(theEntry == sInside ? 1 : 0);
}

void RemoveSinkFunction() {
  sCurrent.exchange(nullptr);
  WaitUntilFormerOnesAreLeft();
}

}  // namespace zvlog

extern "C" int zvLog_SetSinkFunction(zvLogSinkFunction aFunction, void *aUser) {
  if (aFunction == nullptr) {
    zvlog::RemoveSinkFunction();
    return 1;
  }
  {
    zvlog::SinkChange theChange(zvlog::SinkChange::Former::Replaced);
    Registration *theNew = FindOrAdd(aFunction, aUser);
    if (theNew == nullptr) return 0;
    sCurrent.exchange(theNew);
    theChange.CommitNone();
  }
  WaitUntilFormerOnesAreLeft();
  return 1;
}
