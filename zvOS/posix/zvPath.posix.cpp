// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Paths made absolute, and where the program lives.
//
// A relative path counts from the folder of the program, not from the current one, so the path of
// the program is read once and kept, by whichever thread needs it first; a forked child keeps its
// parent's.

#include <zvOS/zvPath.h>

#include "private/Failure.h"
#include "private/Lock.h"
#include "private/Owner.h"

#include <dlfcn.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

ZVLOG_WITH_MODULE_IF(PATH, 1)

using zvos::ForkAwareHold;
using zvos::ForkAwareLock;
using zvos::Owner;
using zvos::TextOrNull;

namespace {

constexpr size_t kPathBufferSize = 8194;
constexpr size_t kLinkReadSize = 8192;
constexpr char kJavaHost[] = "java";

ForkAwareLock sApplicationPathLock;
uint32 sApplicationProcessID ZVOS_GUARDED_BY(sApplicationPathLock);
// Written once, with the lock held; read without it when sfApplicationPathIsRead is set.
char sApplicationPath[kPathBufferSize];
std::atomic<bool> sfApplicationPathIsRead;

bool IsSeparator(char aCharacter) {
  return aCharacter == '/' || aCharacter == '\\';
}

void TurnBackslashes(char *aPath) {
  for (; *aPath != '\0'; ++aPath) {
    if (*aPath == '\\') *aPath = '/';
  }
}

// How much of a relative path is dropped behind an anchor: "./" of "./a" and "." of ".", while
// ".." stays.
size_t DroppedPrefixLength(const char *aPath) {
  if (strcmp(aPath, ".") == 0) return 1;
  return aPath[0] == '.' && IsSeparator(aPath[1]) ? 2 : 0;
}

Owner<char> Join(const char *anAnchor, const char *aRest) {
  const size_t theAnchorLength = strlen(anAnchor);
  const size_t theRestSize = strlen(aRest) + 1;
  Owner<char> theResult(static_cast<char *>(zvMalloc(theAnchorLength + theRestSize)));
  if (theResult) {
    memcpy(theResult.get(), anAnchor, theAnchorLength);
    memcpy(theResult.get() + theAnchorLength, aRest, theRestSize);
  }
  return theResult;
}

// How a link was read; any other value is the error because of which it was not.
constexpr int kLinkIsRead = -1;
constexpr int kLinkIsTooLong = -2;

// Reads a link of the process's folder under /proc into a buffer of kPathBufferSize, as a native
// path. On failure the buffer holds the empty text.
int ReadProcessLink(const char *aLinkName, char *aBuffer) ZVOS_REQUIRES(sApplicationPathLock) {
  char theLink[sizeof("/proc/4294967295/exe")];
  zv_snprintf(theLink, sizeof(theLink), "/proc/%u/%s", sApplicationProcessID, aLinkName);
  const ssize_t theLength = readlink(theLink, aBuffer, kLinkReadSize);
  const int theOutcome = theLength < 0                                       ? errno
                         : static_cast<size_t>(theLength) >= kPathBufferSize ? kLinkIsTooLong
                                                                             : kLinkIsRead;
  aBuffer[theOutcome == kLinkIsRead ? theLength : 0] = '\0';
  TurnBackslashes(aBuffer);
  return theOutcome;
}

// A Java virtual machine is not the application: the application lives in the current folder.
int UseWorkingDirectoryOfJavaHost() ZVOS_REQUIRES(sApplicationPathLock) {
  char theDirectory[kPathBufferSize];
  const int theOutcome = ReadProcessLink("cwd", theDirectory);
  if (theOutcome == kLinkIsRead)
    zv_snprintf(sApplicationPath, sizeof(sApplicationPath), "%s/%s", theDirectory, kJavaHost);
  return theOutcome;
}

// The second link is read only when the first could be, so there is at most one failure to tell of.
int ReadApplicationPath() ZVOS_REQUIRES(sApplicationPathLock) {
  sApplicationProcessID = static_cast<uint32>(getpid());
  const int theOutcome = ReadProcessLink("exe", sApplicationPath);
  const bool afJavaHost = theOutcome == kLinkIsRead && strstr(sApplicationPath, kJavaHost) != nullptr;
  return afJavaHost ? UseWorkingDirectoryOfJavaHost() : theOutcome;
}

// True for the caller that has read the path, whatever came of it. Threads that need it meanwhile wait;
// a child that was forked meanwhile reads it for itself.
bool ReadsApplicationPathFirst(int *anOutcome) {
  if (sfApplicationPathIsRead.load(std::memory_order_acquire)) return false;
  const ForkAwareHold theHold(sApplicationPathLock);
  if (sfApplicationPathIsRead.load(std::memory_order_relaxed)) return false;
  *anOutcome = ReadApplicationPath();
  sfApplicationPathIsRead.store(true, std::memory_order_release);
  return true;
}

// The message comes when the lock is free: the log may want to know where the program lives.
const char *ApplicationPath() {
  int theOutcome;
  if (ReadsApplicationPathFirst(&theOutcome)) {
    if (theOutcome == kLinkIsTooLong) {
      ZV_ERR(F("Cannot get application file name (buffer too small)\n"));
    } else if (theOutcome != kLinkIsRead) {
      ZV_ERR(F("Cannot get application file name (error = %d)\n", theOutcome));
    }
  }
  return sApplicationPath;
}

}  // namespace

extern "C" int zvPath_IsAbsolute(const char *aPath) {
  if (aPath == nullptr) return 0;
  return aPath[0] == '\0' || IsSeparator(aPath[0]) ? 1 : 0;
}

extern "C" char *zvPath_Normalize(const char *aPath, int, int aNormalizeMode, const char *anAnchorPath) {
  if (aPath == nullptr) return nullptr;

  Owner<char> theResult;
  if (zvPath_IsAbsolute(aPath)) {
    theResult = Owner<char>(zvStrdup(aPath));
  } else {
    const Owner<char> theApplicationPath(anAnchorPath != nullptr ? nullptr : zvPath_GetApplicationPath(0));
    const char *const theAnchor = anAnchorPath != nullptr ? anAnchorPath : theApplicationPath.get();
    if (theAnchor == nullptr)
      return ZVOS_FAIL(
          nullptr,
          F("zvPath: Cannot get an anchor path (or none specified) to build an absolute path for '%s'\n",
            aPath));
    theResult = Join(theAnchor, aPath + DroppedPrefixLength(aPath));
  }

  if (theResult && (aNormalizeMode & kzvPathNormalizeMode_NativeSlash) != 0) TurnBackslashes(theResult.get());
  return theResult.release();
}

extern "C" char *zvPath_GetTempDirPath(void) {
  const char *const theTmpDir = getenv("TMPDIR");
  const char *const theDirectory = theTmpDir != nullptr ? theTmpDir : P_tmpdir;
  ZV_DEBUG(F("Temporary directory is '%s' (TMPDIR is '%s', P_tmpdir is '%s')\n", theDirectory,
             TextOrNull(theTmpDir), P_tmpdir));
  return zvStrdup(theDirectory);
}

extern "C" char *zvPath_GetCacheDirPath(void) {
  return zvPath_GetTempDirPath();
}

extern "C" char *zvPath_GetApplicationFullPath(void) {
  return zvStrdup(ApplicationPath());
}

extern "C" char *zvPath_GetApplicationPath(int) {
  Owner<char> thePath(zvPath_GetApplicationFullPath());
  char *const theSlash = thePath ? strrchr(thePath.get(), '/') : nullptr;
  if (theSlash == nullptr) return nullptr;
  theSlash[1] = '\0';
  return thePath.release();
}

extern "C" char *zvPath_GetApplicationName(int) {
  const Owner<char> thePath(zvPath_GetApplicationFullPath());
  const char *const theSlash = thePath ? strrchr(thePath.get(), '/') : nullptr;
  return theSlash != nullptr ? zvStrdup(theSlash + 1) : nullptr;
}

extern "C" char *zvPath_GetFunctionSharedLibraryPath(zvDefaultFunctionPtr aFunctionPtr) {
  Dl_info theInfo;
  if (dladdr(reinterpret_cast<void *>(aFunctionPtr), &theInfo) == 0 || theInfo.dli_fname == nullptr)
    return nullptr;
  return zvStrdup(theInfo.dli_fname);
}

extern "C" char *zvPath_GetSystemFontPath(void) {
  return nullptr;
}

extern "C" char *zvPath_RealPath(const char *aPath) {
  if (aPath == nullptr || strchr(aPath, '<') != nullptr) return nullptr;
  return zvStrdup(aPath);
}

extern "C" int zvPath_GetType(const char *) {
  return kzvPathType_Unknown;
}

extern "C" char *zvPath_GetDefaultConfigPath(void) {
  return zvStrdup("./");
}
