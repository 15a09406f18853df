// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Directories: testing, making, removing.

#include <zvOS/zvDir.h>
#include <zvOS/zvPath.h>

#include "private/Failure.h"
#include "private/LateTime.h"
#include "private/LinkLoop.h"
#include "private/Owner.h"

#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

ZVLOG_WITH_MODULE_IF(DIR, 1)

using zvos::ErrorOf;
using zvos::Owner;
using zvos::TextOrNull;

namespace {

constexpr mode_t kPermissionsOfNewDirectory = 0700;
constexpr size_t kPathSize = PATH_MAX + 1;

Owner<char> NormalizedPath(const char *aPath) {
  return Owner<char>(zvPath_Normalize(aPath, 1, kzvPathNormalizeMode_Native, nullptr));
}

// The two paths of a link, in one piece of memory.
struct LinkPaths {
  char mReal[kPathSize];
  char mAbsolute[kPathSize];
};

const char *SkipPrefix(const char *aText, const char *aPrefix) {
  const size_t theLength = strlen(aPrefix);
  while (strncmp(aText, aPrefix, theLength) == 0)
    aText += theLength;
  return aText;
}

// Puts a path behind the working directory, which "../" in front of it cut short: needed only when the
// path of the program, and so what is counted from it, is not absolute. False when they climb
// to the root; the buffer holds what was reached so far.
bool MakeAbsolute(const char *aPath, char *aBuffer) {
  if (getcwd(aBuffer, PATH_MAX) == nullptr) aBuffer[0] = '\0';

  constexpr char kParent[] = "../";
  constexpr size_t kParentLength = sizeof(kParent) - 1;
  const char *theRest = SkipPrefix(aPath, "./");
  bool afReached = true;
  for (; strncmp(theRest, kParent, kParentLength) == 0; theRest += kParentLength) {
    char *const theSlash = strrchr(aBuffer, '/');
    afReached = theSlash != nullptr && theSlash != aBuffer;
    if (!afReached) break;
    *theSlash = '\0';
  }

  const size_t theLength = strlen(aBuffer);
  aBuffer[theLength] = '/';
  strncpy(aBuffer + theLength + 1, theRest, PATH_MAX - 1 - theLength);
  aBuffer[kPathSize - 1] = '\0';
  return afReached;
}

// Whether the directory behind a link is there for callers: the link is no loop. Says why when it is not.
bool ExistsBehindLink(const char *anArgument, const char *aPath) {
  const Owner<LinkPaths> thePaths(static_cast<LinkPaths *>(malloc(sizeof(LinkPaths))));
  if (!thePaths) return false;

  if (realpath(aPath, thePaths->mReal) == nullptr) {
    const int theError = errno;
    return ZVOS_FAIL(false,
                     F("zvDir_Exists: failed to get real path of symlink '%s', error %d\n", aPath, theError));
  }
  const char *theAbsolutePath = aPath;
  bool afExists = true;
  if (aPath[0] != '/') {
    afExists = MakeAbsolute(aPath, thePaths->mAbsolute);
    theAbsolutePath = thePaths->mAbsolute;
  }
  if (zvos::IsLoop(theAbsolutePath, thePaths->mReal)) {
    ZV_WARN(F("zvDir_Exists: circular link detected: link '%s' to '%s'\n", anArgument, thePaths->mReal));
    return false;
  }
  return afExists;
}

// Makes a directory and those above it down from anIndex, each unless it exists. Failures are logged.
bool CreateLevels(const char *aPath, size_t anIndex) {
  while (aPath[anIndex] != '\0') {
    anIndex += strcspn(aPath + anIndex, "/");
    const Owner<char> theLevel(zvStrndup(aPath, anIndex));
    if (!theLevel || (zvDir_Exists(theLevel.get()) == 0 && zvDir_Create(theLevel.get()) != 0))
      return ZVOS_FAIL(false, F("zvDir: Cannot create directory path part: '%s' (part index = %d)\n", aPath,
                                static_cast<int>(anIndex)));
    if (aPath[anIndex] == '/') ++anIndex;
  }
  return true;
}

}  // namespace

extern "C" int zvDir_Exists(const char *aDirPath) {
  const Owner<char> thePath = NormalizedPath(aDirPath);
  if (!thePath)
    return ZVOS_FAIL(0,
                     F("zvDir: Cannot check directory '%s' exists, (invalid name)\n", TextOrNull(aDirPath)));
  struct stat theStatus;
  if (zvos::Stat(thePath.get(), &theStatus) != 0 || !S_ISDIR(theStatus.st_mode)) return 0;

  const int theResult = zvos::LinkStat(thePath.get(), &theStatus);
  if (theResult != 0)
    return ZVOS_FAIL(0, F("zvDir_Exists: lstat failed %u\n", static_cast<unsigned>(theResult)));
  if (!S_ISLNK(theStatus.st_mode)) return 1;
  return ExistsBehindLink(aDirPath, thePath.get()) ? 1 : 0;
}

extern "C" int zvDir_Remove(const char *aDirPath) {
  const Owner<char> thePath = NormalizedPath(aDirPath);
  if (!thePath)
    return ZVOS_FAIL(-1, F("zvDir: Cannot remove directory: '%s' (invalid name)\n", TextOrNull(aDirPath)));
  const int theError = ErrorOf(rmdir(thePath.get()));
  if (theError == 0 || theError == ENOENT) return 0;
  return ZVOS_FAIL(-1, F("zvDir: Cannot remove directory '%s' (errno = %d)\n", thePath.get(), theError));
}

extern "C" int zvDir_Create(const char *aDirPath) {
  const Owner<char> thePath = NormalizedPath(aDirPath);
  if (!thePath)
    return ZVOS_FAIL(-1, F("zvDir: Cannot create directory: '%s' (invalid name)\n", TextOrNull(aDirPath)));
  if (const int theError = ErrorOf(mkdir(thePath.get(), kPermissionsOfNewDirectory)))
    return ZVOS_FAIL(-1, F("zvDir: Cannot create directory '%s' (errno = %d)\n", thePath.get(), theError));
  return 0;
}

extern "C" int zvDir_CreatePath(const char *aDirPath) {
  const Owner<char> thePath = NormalizedPath(aDirPath);
  if (!thePath)
    return ZVOS_FAIL(0,
                     F("zvDir: Cannot create directory path: '%s' (invalid name)\n", TextOrNull(aDirPath)));
  if (thePath.get()[0] == '\0')
    return ZVOS_FAIL(0, F("zvDir: Cannot analyze directory path: '%s' (invalid path)\n", aDirPath));

  // The first component, to which a leading '/' belongs, is taken to exist.
  const char *const theSlash = strchr(thePath.get() + 1, '/');
  if (theSlash == nullptr) return 1;
  return CreateLevels(thePath.get(), static_cast<size_t>(theSlash + 1 - thePath.get())) ? 1 : 0;
}

extern "C" int zvDir_GetTimes(const char *aDirPath, zvtimeval *aLastAccessTime, zvtimeval *aModificationTime,
                              zvtimeval *aCreationTime) {
  if (!NormalizedPath(aDirPath)) {
    // "zvFile" here and below is the text that field logs are searched for.
    return ZVOS_FAIL(
        -1, F("zvFile: Cannot get times for directory: '%s' (invalid name)\n", TextOrNull(aDirPath)));
  }

  // As given: callers count relative paths from the working directory here.
  struct stat theStatus;
  if (const int theError = ErrorOf(zvos::Stat(aDirPath, &theStatus)))
    return ZVOS_FAIL(-1,
                     F("zvFile: Cannot get times for directory: '%s' (error = %d)\n", aDirPath, theError));
  zvos::StoreTimes(theStatus, aLastAccessTime, aModificationTime, aCreationTime);
  return 0;
}

extern "C" zvPtrList *zvDir_GetRootDirList(void) {
  zvPtrList *const theList = zvPtrList_New();
  if (theList == nullptr) return nullptr;

  zvPtrList_SetFreeFunc(theList, kzvPtrList_DefaultFreeFunc);
  Owner<char> theRoot(zvStrdup("/"));
  if (theRoot && zvPtrList_Append(theList, theRoot.get()) != 0) static_cast<void>(theRoot.release());
  return theList;
}
