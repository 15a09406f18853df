// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// This library, as a program uses it: with the calls that its headers name.

#include <zvLog/zvLog.h>
#include <zvOS/zvDirTraverser.h>
#include <zvOS/zvFile.h>
#include <zvOS/zvMutex.h>
#include <zvOS/zvSemaphore.h>
#include <zvOS/zvSocket.h>
#include <zvOS/zvSocketSelect.h>
#include <zvOS/zvThread.h>

#include <errno.h>

#include "Contest.h"

namespace zvbench {
namespace {

Entry LockPair(const Arena &) {
  std::shared_ptr<zvOSMutex> theMutex(zvMutex_New(), zvMutex_Delete);
  if (theMutex == nullptr) Fail("zvMutex_New failed");
  return {RepeatPair<zvMutex_Lock, zvMutex_Unlock>(theMutex.get()), theMutex};
}

Entry SemaphorePair(const Arena &) {
  std::shared_ptr<zvOSSemaphore> theSemaphore(zvSemaphore_New(0), zvSemaphore_Delete);
  if (theSemaphore == nullptr) Fail("zvSemaphore_New failed");
  return {RepeatPair<zvSemaphore_Post, zvSemaphore_Wait>(theSemaphore.get()), theSemaphore};
}

Entry ThreadLife(const Arena &) {
  return {Repeat([] {
            int theRuns = 0;
            const auto theStart = [](void *aCount) { ++*static_cast<int *>(aCount); };
            const zvOSThread_Data theData = {
                theStart, nullptr, &theRuns, 0, zvThread_Kind_Joinable, zvThread_Scheduling_Default};
            zvOSThread *theThread = zvThread_New(&theData);
            if (theThread == nullptr) return 1;
            int theFailures = zvThread_Run(theThread);
            theFailures |= zvThread_Wait(theThread);
            zvThread_Delete(theThread);
            return theFailures | (theRuns != 1);
          }),
          nullptr};
}

Entry WakeOneself(const Arena &) {
  std::shared_ptr<zvSocketSelect> theSelect(zvSocketSelect_New(), zvSocketSelect_Delete);
  if (theSelect == nullptr) Fail("zvSocketSelect_New failed");
  return {Repeat([theWake = theSelect.get()] {
            zvSocketSelect_Trigger(theWake);
            int afTriggered = 0;
            const int theCount =
                zvSocketSelect_Select(theWake, nullptr, nullptr, nullptr, 0, nullptr, &afTriggered);
            return (theCount != 1) | (afTriggered != 1);
          }),
          theSelect};
}

struct Transfer {
  const TcpPair mPair;
  char mBuffer[kTransferSize] = {};

  int Turn() {
    if (zvSocketSend(mPair.Left(), mBuffer, int{kTransferSize}, 0, "peers") != int{kTransferSize}) return 1;
    return zvSocketRecv(mPair.Right(), mBuffer, int{kTransferSize}, 0, "peers") != int{kTransferSize};
  }
};

struct File {
  zvFileFD mFile = kzvFileFDInvalid;
  char mBuffer[kReadSize];

  explicit File(const Arena &anArena) {
    if (zvFile_Open(anArena.mFile, zvFileOpenMode_Read, 0, &mFile) != 0) Fail("zvFile_Open failed");
  }
  ~File() { zvFile_Close(mFile); }
  File(const File &) = delete;
  File &operator=(const File &) = delete;

  int Turn() {
    if (zvFile_Seek(mFile, 0, zvFileSeekMode_Begin) != 0) return 1;
    return zvFile_Read(mFile, mBuffer, kReadSize) != int{kReadSize};
  }
};

Entry Walk(const Arena &anArena) {
  return {Repeat([thePath = anArena.mFolder] {
            zvDirTraverser *theTraverser = zvDirTraverser_New(thePath);
            if (theTraverser == nullptr) return 1;
            uint32 theCount = 0;
            int theError = 0;
            errno = 0;
            for (const zvDirEntry *theEntry =
                     zvDirTraverser_GetFirst(theTraverser, kPattern, zvDIR_FILES, &theError);
                 theEntry != nullptr; theEntry = zvDirTraverser_GetNext(theTraverser, &theError)) {
              ++theCount;
            }
            zvDirTraverser_Delete(theTraverser);
            return theError | (theCount != kWalkedFiles);
          }),
          nullptr};
}

}  // namespace

const Contestant kOurs = {
    "libzvOS",
    "libzvOS.so.1 libzvLog.so.1",
    {LockPair, SemaphorePair, ThreadLife, WakeOneself, Play<Transfer>, Play<File>, Walk}};

}  // namespace zvbench
