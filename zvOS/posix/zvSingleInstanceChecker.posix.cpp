// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// One instance per name: a record lock on the first byte of a file, which ends with the checker or with
// its process. The file is never removed, since a process could hold the lock of a file that another one
// removed.

#include <zvOS/zvDir.h>
#include <zvOS/zvLogFunctions.h>
#include <zvOS/zvPath.h>
#include <zvOS/zvSingleInstanceChecker.h>

#include "private/Failure.h"
#include "private/Owner.h"
#include "private/Record.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>

using zvos::ErrorOf;
using zvos::Owner;
using zvos::TextOrNull;

struct zvOSSingleInstanceChecker {
  int mLockFile = -1;
  int mfExists = 0;
  int mfError = 0;
};

namespace {

constexpr mode_t kPermissionsOfLockFile = 0666;

// The answers that the system gives when another process holds the lock.
bool IsHeldElsewhere(int anError) {
  return anError == EAGAIN || anError == EACCES;
}

int TryLock(int aLockFile) {
  struct flock theLock = {};
  theLock.l_type = F_WRLCK;
  theLock.l_whence = SEEK_SET;
  theLock.l_start = 0;
  theLock.l_len = 1;
  return fcntl(aLockFile, F_SETLK, &theLock);
}

void ReportTaken(zvOSSingleInstanceChecker *aChecker, int anError) {
  aChecker->mfExists = 1;
  aChecker->mfError = IsHeldElsewhere(anError) ? 0 : 1;
}

void TakeName(zvOSSingleInstanceChecker *aChecker, const char *aPath) {
  aChecker->mLockFile = open(aPath, O_WRONLY | O_CREAT | O_CLOEXEC, kPermissionsOfLockFile);
  if (aChecker->mLockFile == -1) {
    ReportTaken(aChecker, errno);
    Log_Info("zvOSSingleInstanceChecker: Unable to open file (%s)\n", aPath);
  } else if (TryLock(aChecker->mLockFile) == -1) {
    ReportTaken(aChecker, errno);
    Log_Info("zvOSSingleInstanceChecker: File locked\n");
  } else {
    Log_Info("zvOSSingleInstanceChecker: Successful checked !\n");
  }
}

}  // namespace

extern "C" zvOSSingleInstanceChecker *zvSingleInstanceChecker_New(const char *aName) {
  if (aName == nullptr || aName[0] == '\0') {
    Log_Error("zvOSSingleInstanceChecker: Cannot create checker: name '%s' may be invalid\n",
              TextOrNull(aName));
    return nullptr;
  }
  const Owner<char> theDirectory(zvPath_GetTempDirPath());
  if (!theDirectory) {
    Log_Error("zvOSSingleInstanceChecker: Cannot get temporary directory path\n");
    return nullptr;
  }
  if (zvDir_Exists(theDirectory.get()) == 0) {
    Log_Error("zvOSSingleInstanceChecker: Temporary directory '%s' does not exists\n", theDirectory.get());
    return nullptr;
  }
  const size_t theSize = strlen(theDirectory.get()) + strlen(aName) + 2;
  const Owner<char> thePath(static_cast<char *>(malloc(theSize)));
  if (!thePath) {
    Log_Error("zvOSSingleInstanceChecker: Cannot allocate temporary file path\n");
    return nullptr;
  }
  zv_snprintf(thePath.get(), theSize, "%s/%s", theDirectory.get(), aName);

  zvOSSingleInstanceChecker *const theChecker = zvos::NewRecord<zvOSSingleInstanceChecker>();
  if (theChecker == nullptr) {
    Log_Error("zvOSSingleInstanceChecker: Cannot allocate object\n");
    return nullptr;
  }
  TakeName(theChecker, thePath.get());
  return theChecker;
}

extern "C" int zvSingleInstanceChecker_Exists(zvOSSingleInstanceChecker *aChecker) {
  return aChecker->mfExists;
}

extern "C" int zvSingleInstanceChecker_Error(zvOSSingleInstanceChecker *aChecker) {
  return aChecker->mfError;
}

extern "C" void zvSingleInstanceChecker_Delete(zvOSSingleInstanceChecker *aChecker) {
  if (aChecker == nullptr) return;

  const int theResult = aChecker->mLockFile != -1 ? close(aChecker->mLockFile) : 0;
  if (const int theError = ErrorOf(theResult))
    Log_Error("zvOSSingleInstanceChecker: close failed (error = %d)\n", theError);
  zvos::StoreBeforeRelease(&aChecker->mLockFile, -1);
  free(aChecker);
}
