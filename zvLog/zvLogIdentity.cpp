// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Process id, thread id and thread name, kept by each thread.
//
// What a thread keeps is worth something as long as a mark in a page of the library is still there. The
// kernel empties that page in a child process, however the child was made, as long as it has memory of
// its own. A child that borrows the memory of its parent (vfork) cannot be told from it.

#include "private/Identity.h"

#include "private/SignalOrder.h"

#include <zvLog/zvLogSettings.h>

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <cstring>

namespace {

using zvlog::Identity;
using zvlog::kThreadNameRoom;
using zvlog::OrderForSignalHandlers;

constexpr size_t kPageSize = 4096;
constexpr uint32 kNoMark = 0;

// A page of its own, which no record touches before the first one.
struct alignas(kPageSize) MarkPage {
  std::atomic<uint32> mMark;
};
MarkPage sPage;

// The next mark. It is not emptied in a child, so that no process has a mark of one that it comes from.
std::atomic<uint32> sNextMark{1};

// The program's name in the kernel, which threads have that were given none. Not empty, so that it lies
// in the page of data that loading the library writes anyway.
char sInheritedName[kThreadNameRoom] = "?";

struct KeptIdentity {
  uint32 mMark;
  bool mfNameKnown;
  Identity mIdentity;
};

thread_local KeptIdentity sKept;

// The kernels before 4.14 do not know how.
bool HaveThePageEmptiedInChildren() {
  const int theError = errno;
  const bool afDone = madvise(&sPage, kPageSize, MADV_WIPEONFORK) == 0;
  errno = theError;
  return afDone;
}

// No mark where the kernel does not empty the page: then nothing is kept.
uint32 MarkOfThisProcess() {
  uint32 theMark = sPage.mMark.load(std::memory_order_relaxed);
  if (theMark != kNoMark || !HaveThePageEmptiedInChildren()) return theMark;

  const uint32 theNew = sNextMark.fetch_add(1, std::memory_order_relaxed);
  return sPage.mMark.compare_exchange_strong(theMark, theNew) ? theNew : theMark;
}

// A handler that interrupts it sees an empty name rather than a mixed one.
void StoreName(const char *aName) {
  char *theName = sKept.mIdentity.mName;
  theName[0] = '\0';
  OrderForSignalHandlers();
  for (size_t theIndex = 1; theIndex < kThreadNameRoom; ++theIndex)
    theName[theIndex] = aName[theIndex];
  OrderForSignalHandlers();
  theName[0] = aName[0];
}

// Fills the room, with what is left over zeroed. A name that is too long ends in "...".
void FitName(const char *aName, char (&aRoom)[kThreadNameRoom]) {
  constexpr char kCut[] = "...";
  const size_t theLength = strnlen(aName, kThreadNameRoom);
  memset(aRoom, 0, kThreadNameRoom);
  memcpy(aRoom, aName, theLength < kThreadNameRoom ? theLength : kThreadNameRoom - sizeof(kCut));
  if (theLength == kThreadNameRoom) memcpy(aRoom + kThreadNameRoom - sizeof(kCut), kCut, sizeof(kCut));
  for (char *theChar = aRoom; *theChar != '\0'; ++theChar) {
    if (static_cast<unsigned char>(*theChar) < ' ' || *theChar == '\x7f') *theChar = '?';
  }
}

void LearnName() {
  char theRaw[kThreadNameRoom] = "";
  prctl(PR_GET_NAME, theRaw);
  theRaw[kThreadNameRoom - 1] = '\0';
  if (strcmp(theRaw, sInheritedName) != 0) {
    char theName[kThreadNameRoom];
    FitName(theRaw, theName);
    StoreName(theName);
  }
  OrderForSignalHandlers();
  sKept.mfNameKnown = true;
}

void Learn() {
  const uint32 theMark = MarkOfThisProcess();
  sKept.mIdentity.mProcess = getpid();
  sKept.mIdentity.mThread = static_cast<pid_t>(syscall(SYS_gettid));
  if (!sKept.mfNameKnown) LearnName();
  OrderForSignalHandlers();
  sKept.mMark = theMark;
}

// Emulators of system calls promise to empty the page and may not do it; of its own forks the C library
// tells everywhere.
void ForgetMark() {
  sPage.mMark.store(kNoMark, std::memory_order_relaxed);
}

__attribute__((constructor)) void HearOfForks() {
  pthread_atfork(nullptr, nullptr, ForgetMark);
}

// The name of the main thread, unless that has been given one before the library was loaded.
__attribute__((constructor)) void LearnInheritedName() {
  if (syscall(SYS_gettid) == getpid()) {
    prctl(PR_GET_NAME, sInheritedName);
    return;
  }
  const int theFile = open("/proc/self/comm", O_RDONLY | O_CLOEXEC);
  if (theFile < 0) return;
  const ssize_t theLength = read(theFile, sInheritedName, kThreadNameRoom);
  close(theFile);
  if (theLength > 0) sInheritedName[theLength - 1] = '\0';  // over the line feed
}

}  // namespace

namespace zvlog {

const Identity &OwnIdentity() {
  const uint32 theMark = sPage.mMark.load(std::memory_order_relaxed);
  if (theMark == kNoMark || theMark != sKept.mMark) Learn();
  return sKept.mIdentity;
}

uint32 ProcessMark() {
  const uint32 theMark = MarkOfThisProcess();
  return theMark != kNoMark ? theMark : static_cast<uint32>(getpid());
}

}  // namespace zvlog

extern "C" void zvLog_SetThreadName(const char *aName) {
  char theName[kThreadNameRoom] = "";
  if (aName != nullptr) FitName(aName, theName);
  const bool afNone = theName[0] == '\0';
  StoreName(theName);
  OrderForSignalHandlers();
  sKept.mfNameKnown = true;
  prctl(PR_SET_NAME, afNone ? sInheritedName : theName);
}
