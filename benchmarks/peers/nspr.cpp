// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// NSPR. Its locks that one thread takes twice are monitors; its folders say nothing of the kind of an entry.

#include <fnmatch.h>
#include <nspr.h>
#include <private/pprio.h>
#include <unistd.h>

#include "Contest.h"

namespace zvbench {
namespace {

Entry LockPair(const Arena &) {
  std::shared_ptr<PRMonitor> theMonitor(PR_NewMonitor(), PR_DestroyMonitor);
  if (theMonitor == nullptr) Fail("PR_NewMonitor failed");
  return {Repeat([theLock = theMonitor.get()] {
            PR_EnterMonitor(theLock);
            return static_cast<int>(PR_ExitMonitor(theLock));
          }),
          theMonitor};
}

Entry ThreadLife(const Arena &) {
  return {Repeat([] {
            int theRuns = 0;
            PRThread *const theThread = PR_CreateThread(
                PR_USER_THREAD, [](void *aCount) { ++*static_cast<int *>(aCount); }, &theRuns,
                PR_PRIORITY_NORMAL, PR_GLOBAL_THREAD, PR_JOINABLE_THREAD, 0);
            if (theThread == nullptr) return 1;
            return PR_JoinThread(theThread) | (theRuns != 1);
          }),
          nullptr};
}

struct Wake {
  PRFileDesc *const mEvent = PR_NewPollableEvent();

  Wake() {
    if (mEvent == nullptr) Fail("PR_NewPollableEvent failed");
  }
  ~Wake() { PR_DestroyPollableEvent(mEvent); }
  Wake(const Wake &) = delete;
  Wake &operator=(const Wake &) = delete;

  int Turn() {
    if (PR_SetPollableEvent(mEvent) != PR_SUCCESS) return 1;
    PRPollDesc thePoll = {mEvent, PR_POLL_READ, 0};
    if (PR_Poll(&thePoll, 1, PR_INTERVAL_NO_TIMEOUT) != 1) return 1;
    return PR_WaitForPollableEvent(mEvent);
  }
};

// NSPR closes what it is given.
struct Transfer {
  const TcpPair mPair;
  PRFileDesc *const mLeft = PR_ImportTCPSocket(dup(mPair.Left()));
  PRFileDesc *const mRight = PR_ImportTCPSocket(dup(mPair.Right()));
  char mBuffer[kTransferSize] = {};

  Transfer() {
    if (mLeft == nullptr || mRight == nullptr) Fail("PR_ImportTCPSocket failed");
  }
  ~Transfer() {
    PR_Close(mLeft);
    PR_Close(mRight);
  }
  Transfer(const Transfer &) = delete;
  Transfer &operator=(const Transfer &) = delete;

  int Turn() {
    if (PR_Send(mLeft, mBuffer, kTransferSize, 0, PR_INTERVAL_NO_TIMEOUT) != PRInt32{kTransferSize}) return 1;
    return PR_Recv(mRight, mBuffer, kTransferSize, 0, PR_INTERVAL_NO_TIMEOUT) != PRInt32{kTransferSize};
  }
};

struct File {
  PRFileDesc *const mFile;
  char mBuffer[kReadSize];

  explicit File(const Arena &anArena) : mFile(PR_Open(anArena.mFile, PR_RDONLY, 0)) {
    if (mFile == nullptr) Fail("PR_Open failed");
  }
  ~File() { PR_Close(mFile); }
  File(const File &) = delete;
  File &operator=(const File &) = delete;

  int Turn() {
    if (PR_Seek64(mFile, 0, PR_SEEK_SET) != 0) return 1;
    return PR_Read(mFile, mBuffer, kReadSize) != PRInt32{kReadSize};
  }
};

Entry Walk(const Arena &anArena) {
  return {Repeat([thePath = anArena.mFolder] {
            PRDir *theFolder = PR_OpenDir(thePath);
            if (theFolder == nullptr) return 1;
            uint32 theCount = 0;
            while (const PRDirEntry *theEntry = PR_ReadDir(theFolder, PR_SKIP_BOTH))
              theCount += fnmatch(kPattern, theEntry->name, 0) == 0;
            PR_CloseDir(theFolder);
            return static_cast<int>(theCount != kWalkedFiles);
          }),
          nullptr};
}

}  // namespace

const Contestant kNspr = {
    "NSPR", "libnspr4.so", {LockPair, nullptr, ThreadLife, Play<Wake>, Play<Transfer>, Play<File>, Walk}};

}  // namespace zvbench
