// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Walking through a directory, from a thousand entries to a million. They are names of one file, in memory.

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <malloc.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include <zvLog/zvLog.h>
#include <zvOS/zvDirTraverser.h>

#include "support/Network.h"
#include "growth/growth.h"

namespace zvbench {
namespace {

constexpr char kPattern[] = "track-*.mp3";

class Names {
 public:
  explicit Names(uint32 aCount) : mPath(mFolder / "entries") {
    const std::string theFirst = mFolder / "file";
    const int theFile = open(theFirst.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (theFile < 0 || close(theFile) != 0 || mkdir(mPath.c_str(), 0700) != 0) Fail("cannot make a folder");
    for (uint32 i = 0; i < aCount; ++i) {
      if (link(theFirst.c_str(), (mPath + "/track-" + std::to_string(i) + ".mp3").c_str()) != 0)
        Fail("cannot make that many entries");
    }
  }
  const std::string &Path() const { return mPath; }

 private:
  const ScratchFolder mFolder;
  const std::string mPath;
};

uint32 WalkBare(const std::string &aPath) {
  DIR *theFolder = opendir(aPath.c_str());
  if (theFolder == nullptr) return 0;
  uint32 theCount = 0;
  char *theName = nullptr;
  while (const struct dirent *theEntry = readdir(theFolder)) {
    free(theName);
    theName = strdup(theEntry->d_name);
    if (theName == nullptr) break;
    if (zvCStringParser_Match(kPattern, theName) != 0) ++theCount;
  }
  free(theName);
  closedir(theFolder);
  return theCount;
}

template <typename Visit>
uint32 WalkOurs(const std::string &aPath, Visit aVisit) {
  errno = 0;  // what is left in it can make the end an error
  zvDirTraverser *theTraverser = zvDirTraverser_New(aPath.c_str());
  if (theTraverser == nullptr) return 0;
  uint32 theCount = 0;
  int theError = kzvDirTraverserStatus_NoError;
  const zvDirEntry *theEntry = zvDirTraverser_GetFirst(theTraverser, kPattern, zvDIR_FILES, &theError);
  for (; theEntry != nullptr; theEntry = zvDirTraverser_GetNext(theTraverser, &theError)) {
    ++theCount;
    aVisit();
  }
  zvDirTraverser_Delete(theTraverser);
  return theError == kzvDirTraverserStatus_NoError ? theCount : 0;
}

size_t HeapInUse() {
  const struct mallinfo2 theInfo = mallinfo2();
  return theInfo.uordblks + theInfo.hblkhd;
}

// The most that a walk has in use at any of its entries.
uint64 HeapOfWalk(const std::string &aPath) {
  const size_t theBefore = HeapInUse();
  size_t theMost = theBefore;
  WalkOurs(aPath, [&theMost] { theMost = std::max(theMost, HeapInUse()); });
  return theMost - theBefore;
}

std::optional<Trial> Walking(uint32 aCount) {
  const auto theNames = std::make_shared<const Names>(aCount);
  const std::string *const thePath = &theNames->Path();
  return Trial{Repeat([=] { return WalkBare(*thePath) != aCount; }),
               Repeat([=] { return WalkOurs(*thePath, [] {}) != aCount; }),
               static_cast<double>(aCount),
               [thePath] { return HeapOfWalk(*thePath); },
               {theNames}};
}

}  // namespace

std::vector<GrowthRow> WalkGrowth() {
  return {{"walk",
           "entries",
           "for an entry",
           "heap of a walk of ours at most",
           "opendir, readdir, strdup, zvCStringParser_Match, free, closedir",
           "zvDirTraverser_New, _GetFirst, _GetNext of each entry, _Delete",
           {1000, 10000, 100000, 1000000},
           Walking}};
}

}  // namespace zvbench
