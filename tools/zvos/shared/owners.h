// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Owners of the library's handles.
#pragma once

#include <zvOS/zvCondition.h>
#include <zvOS/zvDirTraverser.h>
#include <zvOS/zvMutex.h>
#include <zvOS/zvPipe.h>
#include <zvOS/zvSemaphore.h>
#include <zvOS/zvSingleInstanceChecker.h>
#include <zvOS/zvSocketPolicy.h>
#include <zvOS/zvSocketSelect.h>
#include <zvOS/zvThread.h>

#include "private/LockAnnotations.h"

#include <cstdlib>
#include <memory>
#include <string>

namespace tool {

template <auto aDelete>
struct Deleter {
  template <typename Handle>
  void operator()(Handle *aHandle) const {
    aDelete(aHandle);
  }
};

template <typename Handle, auto aDelete>
using Owner = std::unique_ptr<Handle, Deleter<aDelete>>;

using CheckerOwner = Owner<zvOSSingleInstanceChecker, zvSingleInstanceChecker_Delete>;
using ConditionOwner = Owner<zvOSCondition, zvCondition_Delete>;
using MutexOwner = Owner<zvOSMutex, zvMutex_Delete>;
using PolicyOwner = Owner<zvSocketPolicy, zvSocketPolicy_Delete>;
using SelectOwner = Owner<zvSocketSelect, zvSocketSelect_Delete>;
using SemaphoreOwner = Owner<zvOSSemaphore, zvSemaphore_Delete>;
using TraverserOwner = Owner<zvDirTraverser, zvDirTraverser_Delete>;

// A copy of a text that was given away to be freed; the other text for none.
inline std::string TakeText(char *aText, const std::string &anOther = "") {
  std::string theResult(aText != nullptr ? aText : anOther);
  free(aText);
  return theResult;
}

// Threads that are started at once and waited for at the end.
inline void WaitAndDelete(zvOSThread *aThread) {
  zvThread_Wait(aThread);
  zvThread_Delete(aThread);
}
using ThreadOwner = Owner<zvOSThread, WaitAndDelete>;

// Starts a joinable thread; empty when that fails.
inline ThreadOwner StartThread(zvThread_Func aFunction, void *anArgument) {
  const zvOSThread_Data theData = {
      aFunction, nullptr, anArgument, 0, zvThread_Kind_Joinable, zvThread_Scheduling_Default};
  ThreadOwner theThread(zvThread_New(&theData));
  if (theThread && zvThread_Run(theThread.get()) != zvThread_Status_NoError) theThread.reset();
  return theThread;
}

// Holds a mutex for the length of a block.
class ZVOS_SCOPED_LOCK MutexHold {
 public:
  explicit MutexHold(const MutexOwner &aMutex) ZVOS_ACQUIRES(aMutex) : mMutex(aMutex.get()) {
    zvMutex_Lock(mMutex);
  }
  ~MutexHold() ZVOS_RELEASES() { zvMutex_Unlock(mMutex); }
  MutexHold(const MutexHold &) = delete;
  MutexHold &operator=(const MutexHold &) = delete;

 private:
  zvOSMutex *mMutex;
};

// A pipe of the library, closed as the library does it.
class PipeOwner {
 public:
  explicit PipeOwner(int aPipe) : mPipe(aPipe) {}
  ~PipeOwner() {
    if (IsOpen()) zvPipe_Close(mPipe, 1);
  }
  PipeOwner(const PipeOwner &) = delete;
  PipeOwner &operator=(const PipeOwner &) = delete;

  bool IsOpen() const { return mPipe >= 0; }
  int Get() const { return mPipe; }
  int Error() const { return mPipe < 0 ? -mPipe : 0; }  // pipes fail with negated error numbers

 private:
  const int mPipe;
};

}  // namespace tool
