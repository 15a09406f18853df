// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Waiting for sockets, with a wake-up: the waiting thread also waits for the read end of a private
// pipe, into which a trigger writes a byte.
//
// The mutex keeps the preparation and the end of waits apart from each other and from triggers. It is
// held neither during the wait nor while the byte is written, so neither side waits for the other. The
// read end does not block, so that emptying the pipe ends.

#include <zvOS/zvMutex.h>
#include <zvOS/zvSocketSelect.h>

#include "private/Failure.h"
#include "private/FdSet.h"
#include "private/LockAnnotations.h"
#include "private/Owner.h"
#include "private/Record.h"

#include <fcntl.h>
#include <unistd.h>
#include <cstdio>

// Names the mechanism of the trigger for readers of a build's settings; it is the only one.
#define ZV_SOCKETSELECT_TRIGGER_WITH_PIPE 1

ZVLOG_WITH_MODULE_IF(SELECT, 1)

using zvos::Clear;
using zvos::ClearFailed;
using zvos::Owner;
using zvos::OwnSet;

struct zvSocketSelect_t {
  Owner<zvOSMutex, zvMutex_Delete> mMutex;
  int mTerminatePipe[2] = {};
  // They own the ends; the bytes go to the descriptors directly, so that each is seen at once.
  Owner<FILE, fclose> mTerminateReadPipe;
  Owner<FILE, fclose> mTerminateWritePipe;
};

namespace {

// Holds the mutex of an object to the end of the block.
class ZVOS_SCOPED_LOCK Hold {
 public:
  explicit Hold(zvSocketSelect *aSocketSelect) ZVOS_ACQUIRES(aSocketSelect->mMutex)
      : mMutex(aSocketSelect->mMutex.get()) {
    zvMutex_Lock(mMutex);
  }
  ~Hold() ZVOS_RELEASES() { zvMutex_Unlock(mMutex); }
  Hold(const Hold &) = delete;
  Hold &operator=(const Hold &) = delete;

 private:
  zvOSMutex *const mMutex;
};

// True when the read end does not block, so that emptying the pipe ends, and fits into a set.
bool PrepareReadEnd(int aDescriptor) {
  const int theFlags = fcntl(aDescriptor, F_GETFL);
  return theFlags != -1 && fcntl(aDescriptor, F_SETFL, theFlags | O_NONBLOCK) == 0 &&
         aDescriptor < FD_SETSIZE;
}

Owner<FILE, fclose> OpenEnd(int aDescriptor, const char *aMode) {
  Owner<FILE, fclose> theStream(fdopen(aDescriptor, aMode));
  if (!theStream) close(aDescriptor);
  return theStream;
}

// False (logged) when there is no pipe to work with; the object can be deleted then.
bool OpenPipe(zvSocketSelect *aSocketSelect) {
  int *const thePipe = aSocketSelect->mTerminatePipe;
  const int theResult = pipe2(thePipe, O_CLOEXEC);
  bool afUsable = theResult == 0 && PrepareReadEnd(thePipe[kzvSocketSelect_PipeRead]);
  if (theResult == 0) {
    aSocketSelect->mTerminateReadPipe = OpenEnd(thePipe[kzvSocketSelect_PipeRead], "r");
    aSocketSelect->mTerminateWritePipe = OpenEnd(thePipe[kzvSocketSelect_PipeWrite], "w");
    afUsable = afUsable && aSocketSelect->mTerminateReadPipe && aSocketSelect->mTerminateWritePipe;
  }
  if (!afUsable) {
    ZV_ERR(F("zvSocketSelect_New: error creating pipe = %d (FD0=%d / FD1=%d)\n", theResult,
             thePipe[kzvSocketSelect_PipeRead], thePipe[kzvSocketSelect_PipeWrite]));
  }
  return afUsable;
}

// Takes every byte out of the pipe; less than was asked for, the end or a failure means that it is empty.
void Drain(int aDescriptor) {
  char theBytes[256];
  while (read(aDescriptor, theBytes, sizeof(theBytes)) == static_cast<ssize_t>(sizeof(theBytes))) {
  }
}

// The end of a wait. Part of its callers: one more return right after a system call is dearer than the call.
__attribute__((always_inline)) inline int zvSocketSelect_S_Reset(zvSocketSelect *aSocketSelect,
                                                                 fd_set *aReadSet)
    ZVOS_REQUIRES(aSocketSelect->mMutex) {
  const int theDescriptor = aSocketSelect->mTerminatePipe[kzvSocketSelect_PipeRead];
  if (!FD_ISSET(theDescriptor, aReadSet)) return 0;

  Drain(theDescriptor);
  FD_CLR(theDescriptor, aReadSet);
  return 1;
}

}  // namespace

extern "C" zvSocketSelect *zvSocketSelect_New(void) {
  Owner<zvSocketSelect, zvSocketSelect_Delete> theSelect(zvos::NewRecord<zvSocketSelect, zvMalloc>());
  if (!theSelect) return nullptr;

  theSelect->mMutex.reset(zvMutex_New());
  if (!theSelect->mMutex) {
    static_cast<void>(theSelect.release());  // the leak is kept as it stands
    return ZVOS_FAIL(nullptr, F("zvSocketSelect_New: Failed to create a semaphore\n"));
  }
  return OpenPipe(theSelect.get()) ? theSelect.release() : nullptr;
}

extern "C" void zvSocketSelect_Delete(zvSocketSelect *aSocketSelect) {
  if (aSocketSelect != nullptr) zvos::DeleteRecord(aSocketSelect);
}

extern "C" void zvSocketSelect_Trigger(zvSocketSelect *aSocketSelect) {
  {
    const Hold theHold(aSocketSelect);
    if (!aSocketSelect->mTerminateWritePipe) return;
  }
  // After the mutex is free: the thread that the byte wakes takes it next, and would wait for us. The write
  // waits while the pipe is full; a signal that interrupts it then loses nothing, since what the pipe holds
  // wakes the wait as well.
  if (write(aSocketSelect->mTerminatePipe[kzvSocketSelect_PipeWrite], " ", 1) != 1) return;
}

extern "C" int zvSocketSelect_Prepare(zvSocketSelect *aSocketSelect, fd_set *aReadSet) {
  const int theDescriptor = aSocketSelect->mTerminatePipe[kzvSocketSelect_PipeRead];
  FD_SET(theDescriptor, aReadSet);
  return theDescriptor;
}

extern "C" int zvSocketSelect_Reset(zvSocketSelect *aSocketSelect, fd_set *aReadSet) {
  const Hold theHold(aSocketSelect);
  return zvSocketSelect_S_Reset(aSocketSelect, aReadSet);
}

extern "C" int zvSocketSelect_Select(zvSocketSelect *aSocketSelect, fd_set *aReadSet, fd_set *aWriteSet,
                                     fd_set *anErrorSet, int aMaxFD, timeval *aTimeOut, int *afTriggered) {
  // As large as the caller's others: the system looks at all of them alike.
  const OwnSet theOwnReadSet(aReadSet == nullptr ? aMaxFD : 0);
  fd_set *const theReadSet = aReadSet != nullptr ? aReadSet : theOwnReadSet.get();
  if (theReadSet == nullptr) {
    ClearFailed(aMaxFD, nullptr, aWriteSet, anErrorSet);
    if (afTriggered != nullptr) *afTriggered = 0;
    return -1;
  }

  int theMaxFD = aMaxFD;
  {
    const Hold theHold(aSocketSelect);
    if (theMaxFD < 1) {
      // A wait for the trigger alone: marks of the caller are dropped.
      theMaxFD = -1;
      Clear(aReadSet);
      Clear(aWriteSet);
      Clear(anErrorSet);
    }
    const int theTrigger = zvSocketSelect_Prepare(aSocketSelect, theReadSet);
    if (theTrigger > theMaxFD) theMaxFD = theTrigger;
  }

  const int theCount = zvSocketSelect_SelectFD(theReadSet, aWriteSet, anErrorSet, theMaxFD, aTimeOut);
  const Hold theHold(aSocketSelect);
  const int theReset = zvSocketSelect_S_Reset(aSocketSelect, theReadSet);
  if (afTriggered != nullptr) *afTriggered = theReset;
  return theCount;
}
