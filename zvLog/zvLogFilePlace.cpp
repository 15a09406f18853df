// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Where a log file is, and the generations of it that are kept.
//
// Processes that append to the same file agree on who renames it by a lock on the file that has the path.
// Nobody waits for that lock: while another holds it, records go into the file as it is, and each tries
// again.

#include "private/FilePlace.h"

#include "private/LastingDescriptor.h"

#include <zvLog/zvLog.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

using zvlog::FilePlace;

constexpr size_t kSuffixRoom = sizeof ".99";

FilePlace *sPlaces = nullptr;

// The absolute form of a path, in memory of its own; NULL with errno.
char *AbsolutePath(const char *aPath) {
  if (*aPath == '\0') {
    errno = ENOENT;
    return nullptr;
  }
  if (*aPath == '/') return strdup(aPath);
  char *theFolder = getcwd(nullptr, 0);
  if (theFolder == nullptr) return nullptr;
  char *thePath = zv_mnprintf("%s/%s", theFolder, aPath);
  free(theFolder);
  return thePath;
}

// The path and those of its generations in one piece of memory.
char **MakePaths(const char *aPath, uint32 aGenerations) {
  const size_t theCount = size_t{aGenerations} + 1;
  const size_t theRoom = strlen(aPath) + kSuffixRoom;
  char **thePaths = static_cast<char **>(malloc(theCount * (sizeof(char *) + theRoom)));
  if (thePaths == nullptr) return nullptr;
  char *theText = reinterpret_cast<char *>(thePaths + theCount);
  for (size_t theIndex = 0; theIndex < theCount; ++theIndex) {
    thePaths[theIndex] = theText + theIndex * theRoom;
    snprintf(thePaths[theIndex], theRoom, "%s.%u", aPath, static_cast<unsigned>(theIndex % 100));
  }
  theText[theRoom - kSuffixRoom] = '\0';  // that of the file itself has no number
  return thePaths;
}

FilePlace *MakePlace(const char *aPath, uint64 aMaximumSize, uint32 aGenerations) {
  FilePlace *theNew = static_cast<FilePlace *>(malloc(sizeof(FilePlace)));
  char **thePaths = MakePaths(aPath, aGenerations);
  if (theNew == nullptr || thePaths == nullptr) {
    free(theNew);
    free(thePaths);
    return nullptr;
  }
  *theNew = {aMaximumSize, aGenerations, thePaths, sPlaces};
  return theNew;
}

bool ShiftGenerations(const FilePlace &aPlace) {
  for (uint32 theOlder = aPlace.mGenerations; theOlder > 0; --theOlder) {
    const int theResult = rename(aPlace.mPaths[theOlder - 1], aPlace.mPaths[theOlder]);
    // Not all have come into being yet; the file itself has.
    if (theResult != 0 && (errno != ENOENT || theOlder == 1)) return false;
  }
  return true;
}

int Open(const FilePlace &aPlace, int aFlags) {
  return open(aPlace.Path(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | aFlags,
              0644);
}

bool IsStillThere(const FilePlace &aPlace, const struct stat &aStatus) {
  struct stat theStatus;
  return lstat(aPlace.Path(), &theStatus) == 0 && theStatus.st_dev == aStatus.st_dev &&
         theStatus.st_ino == aStatus.st_ino;
}

}  // namespace

namespace zvlog {

const FilePlace *FindOrAddPlace(const char *aPath, uint64 aMaximumSize, uint32 aGenerations) {
  char *thePath = AbsolutePath(aPath);
  if (thePath == nullptr) return nullptr;
  FilePlace *thePlace = sPlaces;
  while (thePlace != nullptr &&
         (strcmp(thePlace->Path(), thePath) != 0 || thePlace->mMaximumSize != aMaximumSize ||
          thePlace->mGenerations != aGenerations))
    thePlace = thePlace->mNext;
  if (thePlace == nullptr) {
    thePlace = MakePlace(thePath, aMaximumSize, aGenerations);
    if (thePlace != nullptr) sPlaces = thePlace;
  }
  free(thePath);
  return thePlace;
}

int OpenPlace(const FilePlace &aPlace) {
  return Open(aPlace, 0);
}

int OpenNextGeneration(const FilePlace &aPlace, uint64 aLength) {
  // A description of its own: the log's may be shared with a child, and then the lock would be, too. A link
  // is not renamed: it would lead elsewhere from then on.
  const int theFile = Open(aPlace, O_NOFOLLOW);
  if (theFile < 0) return -1;
  struct stat theStatus;
  int theNext = -1;
  if (flock(theFile, LOCK_EX | LOCK_NB) == 0 && fstat(theFile, &theStatus) == 0) {
    // What is there may be the next one already, which another process has made.
    const bool afFull =
        theStatus.st_size > 0 && static_cast<uint64>(theStatus.st_size) + aLength > aPlace.mMaximumSize;
    if (!IsStillThere(aPlace, theStatus)) {
      errno = EWOULDBLOCK;  // another process has just renamed it
    } else if (!afFull || ShiftGenerations(aPlace)) {
      theNext = OpenPlace(aPlace);
    }
  }
  flock(theFile, LOCK_UN);  // it belongs to the description, which a child may have got meanwhile
  CloseKeepingErrno(theFile);
  return theNext;
}

}  // namespace zvlog
