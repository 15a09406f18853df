// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Walking through directories and asking for them. The directories are in memory, so that the system's
// part is as small as it ever is.

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <malloc.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <zvLog/zvLog.h>
#include <zvOS/zvDir.h>
#include <zvOS/zvDirTraverser.h>

#include "support/Network.h"
#include "support/Rows.h"

namespace zvbench {
namespace {

constexpr char kPattern[] = "track-*.mp3";

enum class Kind { kFile, kLinkToFile, kLinkToFolder };

void MakeFile(const std::string &aPath) {
  const int theFile = open(aPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (theFile < 0 || close(theFile) != 0) Fail("cannot make a file");
}

void MakeFolder(const std::string &aPath) {
  if (mkdir(aPath.c_str(), 0700) != 0) Fail("cannot make a folder");
}

void MakeLink(const std::string &aTarget, const std::string &aPath) {
  if (symlink(aTarget.c_str(), aPath.c_str()) != 0) Fail("cannot make a link");
}

// A folder full of entries of one kind. All links lead to the same place outside of it.
class Entries {
 public:
  Entries(Kind aKind, uint32 aCount) : mPath(mFolder / "entries") {
    MakeFolder(mPath);
    MakeFile(mFolder / "file");
    MakeFolder(mFolder / "folder");
    for (uint32 theIndex = 0; theIndex < aCount; ++theIndex)
      MakeEntry(aKind, theIndex);
  }
  const std::string &Path() const { return mPath; }

 private:
  void MakeEntry(Kind aKind, uint32 anIndex) const {
    char theName[32];
    snprintf(theName, sizeof(theName), "/track-%06u.mp3", static_cast<unsigned>(anIndex));
    switch (aKind) {
      case Kind::kFile:
        MakeFile(mPath + theName);
        break;
      case Kind::kLinkToFile:
        MakeLink(mFolder / "file", mPath + theName);
        break;
      case Kind::kLinkToFolder:
        MakeLink(mFolder / "folder", mPath + theName);
        break;
    }
  }

  const ScratchFolder mFolder;
  const std::string mPath;
};

// Whether a path leads to a folder that it is not itself within, as texts go.
bool LeadsToOtherFolder(const char *aPath) {
  char theReal[PATH_MAX];
  return realpath(aPath, theReal) != nullptr && strncmp(aPath, theReal, strlen(theReal)) != 0;
}

// ---- The bare side ----

// The path of an entry, behind a folder's that is written once.
class EntryPath {
 public:
  explicit EntryPath(const std::string &aFolder) : mLength(aFolder.size() + 1) {
    memcpy(mPath, aFolder.data(), aFolder.size());
    mPath[aFolder.size()] = '/';
  }
  const char *Of(const char *aName) {
    memcpy(mPath + mLength, aName, strlen(aName) + 1);
    return mPath;
  }

 private:
  const size_t mLength;
  char mPath[PATH_MAX];
};

template <Kind kKind>
bool IsOfKind(EntryPath &aPath, const char *aName) {
  if (kKind == Kind::kFile) return true;
  struct stat theStatus;
  if (stat(aPath.Of(aName), &theStatus) != 0) return false;
  if (kKind == Kind::kLinkToFile) return S_ISREG(theStatus.st_mode);
  return S_ISDIR(theStatus.st_mode) && LeadsToOtherFolder(aPath.Of(aName));
}

// The number of matching entries; the name of each is copied.
template <Kind kKind>
uint32 WalkBare(const std::string &aPath) {
  DIR *theFolder = opendir(aPath.c_str());
  if (theFolder == nullptr) return 0;
  EntryPath thePath(aPath);
  char *theName = nullptr;
  uint32 theCount = 0;
  while (const struct dirent *theEntry = readdir(theFolder)) {
    free(theName);
    theName = strdup(theEntry->d_name);
    if (theName == nullptr) break;
    if (zvCStringParser_Match(kPattern, theName) != 0 && IsOfKind<kKind>(thePath, theName)) ++theCount;
  }
  free(theName);
  closedir(theFolder);
  return theCount;
}

// ---- Our side ----

size_t MemoryInUse() {
  const struct mallinfo2 theInfo = mallinfo2();
  return theInfo.uordblks + theInfo.hblkhd;
}

struct Walk {
  uint32 mCount;
  size_t mMemoryAtFirst;  // in use at the first entry
  size_t mMemoryAtEnd;    // behind the last one, while the walk is open
};

template <bool kfWatchMemory>
Walk WalkOurs(const std::string &aPath, int aFlags) {
  Walk theWalk = {};
  errno = 0;  // what is left in it can make the end an error
  zvDirTraverser *theTraverser = zvDirTraverser_New(aPath.c_str());
  if (theTraverser == nullptr) return theWalk;
  int theError = kzvDirTraverserStatus_NoError;
  const zvDirEntry *theEntry = zvDirTraverser_GetFirst(theTraverser, kPattern, aFlags, &theError);
  if (kfWatchMemory) theWalk.mMemoryAtFirst = MemoryInUse();
  for (; theEntry != nullptr; theEntry = zvDirTraverser_GetNext(theTraverser, &theError)) {
    KeepAlive(theEntry->mName);
    ++theWalk.mCount;
  }
  if (kfWatchMemory) theWalk.mMemoryAtEnd = MemoryInUse();
  zvDirTraverser_Delete(theTraverser);
  if (theError != kzvDirTraverserStatus_NoError) theWalk.mCount = 0;
  return theWalk;
}

// What a walk takes does not depend on the number of entries, and it gives all of it back.
void ExpectSteadyMemory(const std::string &aPath, int aFlags) {
  WalkOurs<true>(aPath, aFlags);  // the C library makes its caches
  const size_t theMemory = MemoryInUse();
  const Walk theWalk = WalkOurs<true>(aPath, aFlags);
  if (theWalk.mMemoryAtEnd > theWalk.mMemoryAtFirst) Fail("a walk takes more memory with every entry");
  if (MemoryInUse() > theMemory) Fail("a walk leaves memory behind");
}

template <Kind kKind>
constexpr int kFlagsFor = kKind == Kind::kLinkToFolder ? zvDIR_DIRS : zvDIR_FILES;

template <Kind kKind, uint32 kCount>
Sides Walking() {
  auto theEntries = std::make_shared<Entries>(kKind, kCount);
  const std::string *thePath = &theEntries->Path();
  ExpectSteadyMemory(*thePath, kFlagsFor<kKind>);
  return {Repeat([thePath] { return WalkBare<kKind>(*thePath) != kCount; }),
          Repeat([thePath] { return WalkOurs<false>(*thePath, kFlagsFor<kKind>).mCount != kCount; }),
          {theEntries}};
}

// ---- Asking for a folder ----

struct Places {
  const ScratchFolder mFolder;
  const std::string mTarget = mFolder / "folder";
  const std::string mLink = mFolder / "link";

  Places() {
    MakeFolder(mTarget);
    MakeLink(mTarget, mLink);
  }
};

bool ExistsBare(const char *aPath) {
  struct stat theStatus;
  if (stat(aPath, &theStatus) != 0 || !S_ISDIR(theStatus.st_mode)) return false;
  if (lstat(aPath, &theStatus) != 0) return false;
  return !S_ISLNK(theStatus.st_mode) || LeadsToOtherFolder(aPath);
}

template <const std::string Places::*kPlace>
Sides Asking() {
  auto thePlaces = std::make_shared<Places>();
  const char *thePath = ((*thePlaces).*kPlace).c_str();
  return {Repeat([thePath] { return !ExistsBare(thePath); }),
          Repeat([thePath] { return zvDir_Exists(thePath) != 1; }),
          {thePlaces}};
}

constexpr char kFiles[] = "opendir, readdir, strdup, zvCStringParser_Match, free, closedir";
constexpr char kLinks[] = "the same with a stat of each entry, its path put together in one buffer";
constexpr char kFolderLinks[] = "the same with a stat and a realpath of each entry";
constexpr char kTraverser[] = "zvDirTraverser_New, _GetFirst, _GetNext of each entry, _Delete";

}  // namespace

std::vector<Row> DirRows() {
  return {
      {"walk 10,000 files", kFiles, kTraverser, NoTarget(), Walking<Kind::kFile, 10000>},
      {"walk 100,000 files", kFiles, kTraverser, RatioAtMost(1.3), Walking<Kind::kFile, 100000>},
      {"walk 10,000 links", kLinks, kTraverser, RatioAtMost(1.06), Walking<Kind::kLinkToFile, 10000>},
      {"walk 100,000 links", kLinks, kTraverser, RatioAtMost(1.06), Walking<Kind::kLinkToFile, 100000>},
      {"walk 10,000 folder links", kFolderLinks, kTraverser, RatioAtMost(1.05),
       Walking<Kind::kLinkToFolder, 10000>},
      {"folder exists", "stat, lstat", "zvDir_Exists", NoTarget(), Asking<&Places::mTarget>},
      {"folder exists, link", "stat, lstat, realpath", "zvDir_Exists", NoTarget(), Asking<&Places::mLink>},
  };
}

}  // namespace zvbench
