// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "postmortem/debug_files.h"

#include "postmortem/elf_file.h"
#include "shared/files.h"
#include "shared/text.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace tool {

namespace {

constexpr char kSystemFolder[] = "/usr/lib/debug";
// What the kernel adds to the path of a file that was replaced while the process had it.
constexpr char kReplaced[] = " (deleted)";
// A folder of links that lead round in circles ends somewhere, too.
constexpr int kDeepest = 12;
constexpr size_t kMostEntries = 200000;

std::string BuildIdPath(const std::string &aFolder, const std::string &aBuildId) {
  return aFolder + "/.build-id/" + aBuildId.substr(0, 2) + "/" + aBuildId.substr(2) + ".debug";
}

std::string FolderOf(const std::string &aPath) {
  const size_t theSlash = aPath.rfind('/');
  return theSlash == std::string::npos ? "" : aPath.substr(0, theSlash);
}

std::string PathWithoutMark(const std::string &aPath) {
  const size_t theLength = aPath.size() - std::min(aPath.size(), strlen(kReplaced));
  return aPath.compare(theLength, std::string::npos, kReplaced) == 0 ? aPath.substr(0, theLength) : aPath;
}

bool Exists(const std::string &aPath) {
  return access(aPath.c_str(), F_OK) == 0;
}

}  // namespace

DebugFiles::DebugFiles(const std::vector<std::string> &someFolders) : mFolders(someFolders) {}

void DebugFiles::Index(const std::string &aFolder, int aDepth) {
  if (aDepth > kDeepest || mEntries > kMostEntries) return;
  std::vector<std::string> theFolders;
  // What cannot be read has no file to be found.
  (void)WalkThrough(aFolder, "*", zvDIR_FILES, [&](const zvDirEntry &anEntry) {
    ++mEntries;
    mByName.insert({anEntry.mName, aFolder + "/" + anEntry.mName});
  });
  (void)WalkThrough(aFolder, "*", zvDIR_DIRS, [&](const zvDirEntry &anEntry) {
    ++mEntries;
    theFolders.push_back(aFolder + "/" + anEntry.mName);
  });
  for (const std::string &theFolder : theFolders)
    Index(theFolder, aDepth + 1);
}

std::vector<std::string> DebugFiles::PathsByBuildId(const ReportModule &aModule) const {
  std::vector<std::string> thePaths;
  const auto fnAdd = [&thePaths](const std::string &aPath) {
    if (std::find(thePaths.begin(), thePaths.end(), aPath) == thePaths.end()) thePaths.push_back(aPath);
  };
  for (const std::string &theFolder : mFolders) {
    for (const char *theRoom : {"", "/lib/debug", "/usr/lib/debug"})
      fnAdd(BuildIdPath(theFolder + theRoom, aModule.mBuildId));
  }
  // As the library itself is installed: beside the folder of programs, or in that of libraries.
  const std::string thePrefix = FolderOf(FolderOf(aModule.mPath));
  if (BeginsWith(aModule.mPath, "/")) fnAdd(BuildIdPath(thePrefix + "/lib/debug", aModule.mBuildId));
  fnAdd(BuildIdPath(kSystemFolder, aModule.mBuildId));
  return thePaths;
}

std::vector<std::string> DebugFiles::PathsByName(const ReportModule &aModule) {
  if (!mfIndexed) {
    mfIndexed = true;
    for (const std::string &theFolder : mFolders)
      Index(theFolder, 0);
  }
  std::vector<std::string> thePaths;
  const std::string theName = PathParts(aModule.mPath).mName;
  for (const std::string &theSpelling : {theName, theName + ".debug"}) {
    const auto theRange = mByName.equal_range(theSpelling);
    for (auto theEntry = theRange.first; theEntry != theRange.second; ++theEntry)
      thePaths.push_back(theEntry->second);
  }
  // Folders may be given twice, or one below the other.
  std::sort(thePaths.begin(), thePaths.end());
  thePaths.erase(std::unique(thePaths.begin(), thePaths.end()), thePaths.end());
  if (BeginsWith(aModule.mPath, "/")) thePaths.push_back(aModule.mPath);
  return thePaths;
}

void DebugFiles::Consider(const std::string &aPath, const std::string &aBuildId, ModuleFile &aResult) {
  if (!Exists(aPath)) {
    aResult.mLookedAt.push_back(aPath);
    return;
  }
  const ElfFile theFile(aPath);
  if (!theFile.IsElf()) {
    aResult.mLookedAt.push_back(aPath + " (not a program or library)");
  } else if (!aBuildId.empty() && theFile.BuildId() != aBuildId) {
    aResult.mRefused.push_back(
        aPath + " has " + (theFile.BuildId().empty() ? "no build id" : "the build id " + theFile.BuildId()));
  } else if (aResult.mState == ModuleFile::State::Missing || (theFile.HasLines() && !aResult.mfLines)) {
    aResult.mState = aBuildId.empty() ? ModuleFile::State::Unproven : ModuleFile::State::Matched;
    aResult.mPath = aPath;
    aResult.mfLines = theFile.HasLines();
  }
}

ModuleFile DebugFiles::Find(const ReportModule &aModule) {
  const ReportModule theModule = {PathWithoutMark(aModule.mPath), aModule.mBuildId, aModule.mRevision};
  ModuleFile theResult;
  if (!theModule.mBuildId.empty()) {
    for (const std::string &thePath : PathsByBuildId(theModule)) {
      Consider(thePath, theModule.mBuildId, theResult);
      if (theResult.mfLines) return theResult;
    }
  }
  for (const std::string &thePath : PathsByName(theModule)) {
    Consider(thePath, theModule.mBuildId, theResult);
    if (theResult.mfLines) return theResult;
  }
  return theResult;
}

}  // namespace tool
