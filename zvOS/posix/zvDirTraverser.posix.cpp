// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Walks through a directory. What readdir() says of an entry's kind costs no system call; links and
// entries of unknown kind are looked at. A link that leads to a file or to a directory elsewhere, as nearly
// all do, is looked at once; zvFile_Exists and zvDir_Exists decide about every other entry, and warn.

#include <zvOS/zvDir.h>
#include <zvOS/zvDirTraverser.h>
#include <zvOS/zvFile.h>
#include <zvOS/zvPath.h>

#include "private/Failure.h"
#include "private/LateTime.h"
#include "private/LinkLoop.h"
#include "private/Owner.h"
#include "private/Record.h"

#include <dirent.h>
#include <sys/stat.h>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

ZVLOG_WITH_MODULE_IF(DIR, 1)

using zvos::ErrnoAtEnd;
using zvos::Owner;
using zvos::TextOrNull;

struct zvDirTraverser {
  zvDirEntry mEntry = {nullptr, 0, 0};
  Owner<DIR, closedir> mDir;  // none while no walk goes on
  Owner<char> mDirPath;
  Owner<char> mEntrySpec;
  int mFlags = zvDIR_DEFAULT;
  dirent *mDirEnt = nullptr;
  Owner<char>
      mEntryPath;  // kEntryPathSize bytes from the first entry that is looked at to the end of the walk
};

namespace {

constexpr size_t kEntryPathSize = 8192;

bool Has(int aFlags, int aFlag) {
  return (aFlags & aFlag) != 0;
}

bool IsDotOrDotDot(const char *aName) {
  return strcmp(aName, ".") == 0 || strcmp(aName, "..") == 0;
}

// A second dot makes a name visible, "..x" as well as "..".
bool IsHidden(const char *aName) {
  return aName[0] == '.' && aName[1] != '\0' && aName[1] != '.';
}

// What became of an entry that was read.
enum class Taken {
  kWhole,
  kNot,       // it is left out
  kNoMemory,  // it would be left out although it should not
};

bool IsFileOrDirectory(const char *aPath) {
  struct stat theStatus;
  return zvos::Stat(aPath, &theStatus) == 0 && (S_ISREG(theStatus.st_mode) || S_ISDIR(theStatus.st_mode));
}

// Whether zvPath_Normalize() leaves a path as it is.
bool IsNormalized(const char *aPath) {
  return aPath[0] == '/' && strchr(aPath, '\\') == nullptr;
}

// What one look tells of an entry.
enum class Look {
  kFile,
  kDirectory,
  kNeither,
  kNoFile  // whether it counts as a directory is for zvDir_Exists() to say
};

// Whether zvDir_Exists() has nothing to say against a link to a directory. False also when that is not known.
bool IsSurelyNoLoop(const char *aPath) {
  char theRealPath[PATH_MAX + 1];
  return realpath(aPath, theRealPath) != nullptr && !zvos::IsLoop(aPath, theRealPath);
}

Look LookAtLink(const char *aPath) {
  struct stat theStatus;
  if (zvos::Stat(aPath, &theStatus) != 0) return Look::kNoFile;
  if (S_ISREG(theStatus.st_mode)) return Look::kFile;
  if (!S_ISDIR(theStatus.st_mode)) return Look::kNeither;
  return IsSurelyNoLoop(aPath) ? Look::kDirectory : Look::kNoFile;
}

// What the entry of that path is. Without memory the functions for files and directories answer no as well.
Taken LookAt(const char *aPath, bool afLink, int *afDir) {
  errno = 0;
  const Look theLook = afLink && IsNormalized(aPath) ? LookAtLink(aPath)
                       : zvFile_Exists(aPath) != 0   ? Look::kFile
                                                     : Look::kNoFile;
  *afDir = theLook == Look::kFile ? 0 : 1;
  if (theLook == Look::kNeither) return Taken::kNot;
  if (theLook != Look::kNoFile) return Taken::kWhole;

  bool afMemory = errno != ENOMEM;
  errno = 0;
  if (zvDir_Exists(aPath) != 0) return Taken::kWhole;
  afMemory = afMemory && errno != ENOMEM;
  return afMemory || !IsFileOrDirectory(aPath) ? Taken::kNot : Taken::kNoMemory;
}

// Puts the path of an entry into the walk's buffer; kNot when it does not fit (logged).
Taken JoinPath(zvDirTraverser *aDirTraverser, const char *aName) {
  Owner<char> &thePath = aDirTraverser->mEntryPath;
  if (!thePath) thePath.reset(static_cast<char *>(malloc(kEntryPathSize)));
  if (!thePath) return Taken::kNoMemory;

  const char *const theFolder = aDirTraverser->mDirPath.get();
  const size_t theFolderLength = strlen(theFolder);
  const size_t theNameSize = strlen(aName) + 1;
  if (theFolderLength + 1 + theNameSize > kEntryPathSize)
    return ZVOS_FAIL(Taken::kNot, F("zvDirTraverser: Cannot compute entry name '%s/%s' (buffer too small)\n",
                                    theFolder, aName));
  char *const theEnd = static_cast<char *>(mempcpy(thePath.get(), theFolder, theFolderLength));
  *theEnd = '/';
  memcpy(theEnd + 1, aName, theNameSize);
  return Taken::kWhole;
}

// Asks the system what an entry is, through links. kNot when it is neither a file nor a directory, or
// when its path is too long (logged).
Taken Resolve(zvDirTraverser *aDirTraverser, const dirent &anEntry, int *afDir) {
  const Taken theJoined = JoinPath(aDirTraverser, anEntry.d_name);
  if (theJoined != Taken::kWhole) return theJoined;
  return LookAt(aDirTraverser->mEntryPath.get(), anEntry.d_type == DT_LNK, afDir);
}

// Fills the entry from what was read; kNot when it cannot be classified.
Taken TakeEntry(zvDirTraverser *aDirTraverser) {
  const dirent &theRaw = *aDirTraverser->mDirEnt;
  zvDirEntry &theEntry = aDirTraverser->mEntry;
  free(theEntry.mName);
  theEntry.mName = zvStrdup(theRaw.d_name);
  if (theEntry.mName == nullptr) return Taken::kNoMemory;

  theEntry.mfHidden = IsHidden(theRaw.d_name) ? 1 : 0;
  switch (theRaw.d_type) {
    case DT_REG:
      theEntry.mfDir = 0;
      return Taken::kWhole;
    case DT_DIR:
      theEntry.mfDir = 1;
      return Taken::kWhole;
    default:
      return Resolve(aDirTraverser, theRaw, &theEntry.mfDir);
  }
}

bool IsWanted(const zvDirTraverser *aDirTraverser) {
  const zvDirEntry &theEntry = aDirTraverser->mEntry;
  const int theFlags = aDirTraverser->mFlags;
  if (!Has(theFlags, theEntry.mfDir != 0 ? zvDIR_DIRS : zvDIR_FILES)) return false;
  if (theEntry.mfHidden != 0 && !Has(theFlags, zvDIR_HIDDEN)) return false;
  if (!Has(theFlags, zvDIR_DOTDOT) && IsDotOrDotDot(theEntry.mName)) return false;
  return zvCStringParser_Match(aDirTraverser->mEntrySpec.get(), theEntry.mName) != 0;
}

bool IsUsable(const zvDirTraverser *aDirTraverser, const int *anError) {
  zvAssert(aDirTraverser != NULL);
  zvAssert(anError != NULL);
  return aDirTraverser != nullptr && anError != nullptr;
}

zvDirEntry *EndWithError(int anErrorNumber, int *anError) {
  ZV_ERR(F("Cannot continue enumerating files in directory (error = %d)\n", anErrorNumber));
  *anError = kzvDirTraverserStatus_Error;
  return nullptr;
}

zvDirEntry *NextEntry(zvDirTraverser *aDirTraverser, int *anError) {
  *anError = kzvDirTraverserStatus_NoError;
  // errno is not cleared before the read, so that what the caller brought decides what the end means.
  while ((aDirTraverser->mDirEnt = readdir(aDirTraverser->mDir.get())) != nullptr) {
    // What looking at one bad entry leaves behind must not end the walk.
    const ErrnoAtEnd theError;
    const Taken theTaken = TakeEntry(aDirTraverser);
    // An entry that is silently missing would be worse than a walk that ends.
    if (theTaken == Taken::kNoMemory) return EndWithError(ENOMEM, anError);
    if (theTaken == Taken::kWhole && IsWanted(aDirTraverser)) return &aDirTraverser->mEntry;
  }

  const int theError = errno;
  if (theError == 0 || theError == ENOENT || theError == EINVAL) return nullptr;
  return EndWithError(theError, anError);
}

}  // namespace

extern "C" zvDirTraverser *zvDirTraverser_New(const char *aDirPath) {
  zvDirTraverser *const theTraverser = zvos::NewRecord<zvDirTraverser, zvMalloc>();
  if (theTraverser == nullptr) return nullptr;

  char *const thePath = zvPath_Normalize(aDirPath, 1, kzvPathNormalizeMode_Native, nullptr);
  theTraverser->mDirPath.reset(thePath);
  if (thePath != nullptr) {
    // The root becomes the empty path, which has no entries: nobody walks through "/".
    const size_t theLength = strlen(thePath);
    if (theLength > 0 && thePath[theLength - 1] == '/') thePath[theLength - 1] = '\0';
  }
  return theTraverser;
}

extern "C" void zvDirTraverser_Delete(zvDirTraverser *aDirTraverser) {
  if (aDirTraverser == nullptr) return;

  zvDirTraverser_Rewind(aDirTraverser);
  zvos::DeleteRecord(aDirTraverser);
}

extern "C" void zvDirTraverser_Rewind(zvDirTraverser *aDirTraverser) {
  if (aDirTraverser == nullptr) return;

  aDirTraverser->mDir.reset();
  aDirTraverser->mDirEnt = nullptr;
  aDirTraverser->mEntryPath.reset();
  zvSafeFree(aDirTraverser->mEntry.mName);
}

extern "C" char *zvDirTraverser_GetDirPath(zvDirTraverser *aDirTraverser) {
  zvAssert(aDirTraverser != NULL);
  return aDirTraverser != nullptr ? aDirTraverser->mDirPath.get() : nullptr;
}

extern "C" zvDirEntry *zvDirTraverser_GetFirst(zvDirTraverser *aDirTraverser, const char *anEntrySpec,
                                               int aFlags, int *anError) {
  if (!IsUsable(aDirTraverser, anError)) return nullptr;
  zvAssert(aDirTraverser->mDir == NULL);
  if (aDirTraverser->mDir != nullptr) zvDirTraverser_Rewind(aDirTraverser);
  *anError = kzvDirTraverserStatus_NoError;
  if (aDirTraverser->mDirPath == nullptr || anEntrySpec == nullptr) {
    ZV_ERR(F("zvDir: Cannot enumerate files in directory '%s' using specified '%s'\n",
             TextOrNull(aDirTraverser->mDirPath.get()), TextOrNull(anEntrySpec)));
    *anError = kzvDirTraverserStatus_Error;
    return nullptr;
  }

  const int theErrorOfCaller = errno;
  aDirTraverser->mEntrySpec.reset(zvStrdup(anEntrySpec));
  aDirTraverser->mFlags = aFlags;
  const bool afMemory = aDirTraverser->mEntrySpec != nullptr;
  aDirTraverser->mDir.reset(afMemory ? opendir(aDirTraverser->mDirPath.get()) : nullptr);
  if (aDirTraverser->mDir == nullptr) {
    const int theError = afMemory ? errno : ENOMEM;
    if (theError == ENOENT) return nullptr;
    ZV_ERR(F("Cannot enumerate files in directory '%s' (error = %d)\n", aDirTraverser->mDirPath.get(),
             theError));
    *anError = kzvDirTraverserStatus_Error;
    return nullptr;
  }
  errno = theErrorOfCaller;
  return NextEntry(aDirTraverser, anError);
}

extern "C" zvDirEntry *zvDirTraverser_GetNext(zvDirTraverser *aDirTraverser, int *anError) {
  if (!IsUsable(aDirTraverser, anError)) return nullptr;
  zvAssert(aDirTraverser->mDir != NULL);
  if (aDirTraverser->mDir == nullptr) {
    *anError = kzvDirTraverserStatus_Error;
    return nullptr;
  }
  return NextEntry(aDirTraverser, anError);
}
