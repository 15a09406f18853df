// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "shared/files.h"

#include "shared/descriptor.h"
#include "shared/file_status.h"
#include "shared/owners.h"
#include "shared/terminal.h"
#include "shared/text.h"

#include <zvOS/zvPath.h>

#include <limits.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace tool {

namespace {

// The file is opened for what the library does not tell: the reason why it could not be read.
MaybeProblem WhyNotReadable(const std::string &aPath, bool afHasSize) {
  const Descriptor theFile(open(aPath.c_str(), O_RDONLY | O_CLOEXEC));
  char theByte;
  const ssize_t theCount = theFile.IsOpen() ? read(theFile.Get(), &theByte, 1) : -1;
  if (theCount == -1) return BadInput(strerror(errno));
  // Files that the kernel makes up as they are read cannot be shared out in advance.
  if (theCount > 0 && !afHasSize) return BadInput("its size is not known in advance");
  return {};
}

}  // namespace

const char *WhyNotRegular(mode_t aMode) {
  if (S_ISDIR(aMode)) return "it is a directory";
  if (S_ISFIFO(aMode)) return "it is a named pipe";
  return "it is not a regular file";
}

std::string AbsolutePath(const std::string &aPath) {
  if (aPath.empty() || aPath[0] == '/') return aPath;
  const std::string theFolder = TakeText(getcwd(nullptr, 0));
  if (theFolder.empty() || theFolder[0] != '/') return aPath;
  return theFolder.back() == '/' ? theFolder + aPath : theFolder + "/" + aPath;
}

PathParts::PathParts(const std::string &aPath) {
  const size_t theSlash = aPath.rfind('/');
  const size_t theStart = theSlash == std::string::npos ? 0 : theSlash + 1;
  mFolder = aPath.substr(0, theStart);
  mName = aPath.substr(theStart);
}

std::string TemporaryFolder() {
  return TakeText(zvPath_GetTempDirPath());
}

std::string TemporaryPath(const std::string &aName) {
  const std::string theFolder = TemporaryFolder();
  return (theFolder.empty() ? "/tmp" : theFolder) + "/" + aName;
}

std::string OwnExecutable() {
  std::string theResult = TakeText(zvPath_GetApplicationFullPath());
  // A program below a folder with "java" in its name passes for a virtual machine there, and gets
  // the current folder and "/java" instead of its own path.
  const size_t theEnd = theResult.size() < 5 ? 0 : theResult.size() - 5;
  if (theResult.compare(theEnd, std::string::npos, "/java") != 0) return theResult;
  char theLink[PATH_MAX];
  const ssize_t theLength = readlink("/proc/self/exe", theLink, sizeof(theLink));
  return theLength <= 0 ? theResult : std::string(theLink, static_cast<size_t>(theLength));
}

MaybeProblem WhyUnreadable(const std::string &aPath) {
  FileStatus theStatus = {};
  if (!GetStatus(aPath, theStatus)) return BadInput(strerror(errno));
  if (!S_ISREG(theStatus.mMode)) return BadInput(WhyNotRegular(theStatus.mMode));
  if (aPath[0] != '/') return BadInput("the current folder is not known");
  // The library would open another file than the one named.
  if (Contains(aPath, "\\")) return BadInput("its path has a backslash, which the library takes for '/'");
  return WhyNotReadable(aPath, theStatus.mSize > 0);
}

MaybeProblem WhyNoFolder(const std::string &aPath) {
  const Descriptor theFolder(open(aPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!theFolder.IsOpen()) return BadInput(strerror(errno));
  return {};
}

bool IsReadable(const std::string &aPath) {
  const MaybeProblem theProblem = WhyUnreadable(AbsolutePath(aPath));
  if (theProblem) Complain("cannot read '%s': %s", aPath.c_str(), theProblem->mText.c_str());
  return !theProblem;
}

std::string ReadFile(const std::string &aPath, size_t aLimit) {
  std::string theText;
  char theBuffer[4096];
  const InputFile theFile(aPath);
  while (theFile.IsOpen() && theText.size() < aLimit) {
    const int theCount = zvFile_Read(theFile.FD(), theBuffer, sizeof(theBuffer));
    if (theCount <= 0) break;
    theText.append(theBuffer, static_cast<size_t>(theCount));
  }
  return theText;
}

MaybeProblem WalkThrough(const std::string &aFolder, const std::string &aPattern, int aFlags,
                         const std::function<void(const zvDirEntry &)> &aVisit) {
  const TraverserOwner theTraverser(zvDirTraverser_New(aFolder.c_str()));
  if (!theTraverser) return Problem("there is no memory");
  int theStatus = kzvDirTraverserStatus_NoError;
  errno = 0;
  const zvDirEntry *theEntry =
      zvDirTraverser_GetFirst(theTraverser.get(), aPattern.c_str(), aFlags, &theStatus);
  while (theEntry != nullptr) {
    aVisit(*theEntry);
    // What is left in it would turn the end of the folder into an error.
    errno = 0;
    theEntry = zvDirTraverser_GetNext(theTraverser.get(), &theStatus);
  }
  if (theStatus != kzvDirTraverserStatus_NoError) return Problem("it cannot be read to its end");
  return {};
}

InputFile::InputFile(const std::string &aPath) : mFD(kzvFileFDInvalid) {
  zvFile_Open(aPath.c_str(), zvFileOpenMode_Read, zvFileAccessMode_Read, &mFD);
}

InputFile::~InputFile() {
  if (IsOpen()) zvFile_Close(mFD);
}

}  // namespace tool
