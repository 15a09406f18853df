// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "service/served_folder.h"

#include "shared/file_status.h"
#include "shared/text.h"

#include <limits.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>

namespace tool {

namespace {

// Sockets have the numbers that fit into an fd_set, the files that are sent have numbers above.
constexpr rlim_t kDescriptorsWanted = 2 * FD_SETSIZE + 64;

// For what each worker opens while it looks a file up, and for lists of interfaces.
constexpr rlim_t kReservedDescriptors = 16;

std::string PathInProc(const Descriptor &aFile) {
  return "/proc/self/fd/" + std::to_string(aFile.Get());
}

// Where an open file really is: the kernel tells, whatever links led there.
bool RealPath(const Descriptor &aFile, std::string &aPath) {
  char thePath[PATH_MAX];
  const ssize_t theLength = readlink(PathInProc(aFile).c_str(), thePath, sizeof(thePath));
  if (theLength == static_cast<ssize_t>(sizeof(thePath))) errno = ENAMETOOLONG;
  if (theLength <= 0 || theLength == static_cast<ssize_t>(sizeof(thePath))) return false;
  aPath.assign(thePath, static_cast<size_t>(theLength));
  return true;
}

bool IsBelow(const std::string &aPath, std::string aFolder) {
  if (aFolder.back() != '/') aFolder += '/';
  return BeginsWith(aPath, aFolder);
}

bool ClimbsUp(const std::string &aName) {
  return Contains("/" + aName + "/", "/../");
}

const Refusal kTooManyFiles = {kWord_Busy, "too many open files"};
const Refusal kLeadsOut = {kWord_Missing, "the name leads out of the folder"};

Refusal Failed() {
  const int theError = errno;
  return theError == EMFILE || theError == ENFILE ? kTooManyFiles
                                                  : Refusal{kWord_Missing, strerror(theError)};
}

}  // namespace

void WantDescriptors() {
  struct rlimit theLimit = {};
  if (getrlimit(RLIMIT_NOFILE, &theLimit) != 0 || theLimit.rlim_cur >= kDescriptorsWanted) return;
  theLimit.rlim_cur = std::min(kDescriptorsWanted, theLimit.rlim_max);
  setrlimit(RLIMIT_NOFILE, &theLimit);
}

int DescriptorLimit() {
  struct rlimit theLimit = {};
  if (getrlimit(RLIMIT_NOFILE, &theLimit) != 0) return FD_SETSIZE;
  const rlim_t theCount = std::min<rlim_t>(theLimit.rlim_cur, INT_MAX);
  return static_cast<int>(theCount - std::min(theCount, kReservedDescriptors));
}

bool ServedFile::Take(Descriptor &aFile, uint64 aSize, int aDescriptorLimit) {
  const int theCopy = fcntl(aFile.Get(), F_DUPFD_CLOEXEC, FD_SETSIZE);
  mFile.Reset(theCopy != -1 ? theCopy : aFile.Release());
  aFile.Reset();
  mSize = aSize;
  if (mFile.Get() >= aDescriptorLimit) Close();
  return mFile.IsOpen();
}

int ServedFile::ReadAt(uint64 anOffset, char *aBuffer, size_t aSize) const {
  for (;;) {
    const ssize_t theCount = pread(mFile.Get(), aBuffer, aSize, static_cast<off_t>(anOffset));
    if (theCount != -1 || errno != EINTR) return static_cast<int>(theCount);
  }
}

MaybeProblem ServedFolder::Open(const std::string &aPath) {
  mDescriptorLimit = DescriptorLimit();
  mFolder.Reset(open(aPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!mFolder.IsOpen() || faccessat(mFolder.Get(), ".", X_OK, 0) == -1) return BadInput(strerror(errno));
  std::string thePath;
  if (RealPath(mFolder, thePath)) return {};
  return BadInput("/proc is not there, which tells where files really are");
}

// The file is looked up without being opened, so that a name that leads to a device or to another
// place has no effect there; then the kernel is asked where it is, and that very file is opened.
std::optional<Refusal> ServedFolder::OpenFile(const std::string &aName, ServedFile &aFile) const {
  if (aName.empty() || aName[0] == '/' || ClimbsUp(aName)) return kLeadsOut;

  const Descriptor theFound(openat(mFolder.Get(), aName.c_str(), O_PATH | O_CLOEXEC));
  if (!theFound.IsOpen()) return Failed();
  std::string theFolder;
  std::string thePath;
  if (!RealPath(mFolder, theFolder) || !RealPath(theFound, thePath)) return Failed();
  if (thePath != theFolder && !IsBelow(thePath, theFolder)) return kLeadsOut;

  FileStatus theStatus = {};
  if (!GetStatus(theFound.Get(), theStatus)) return Failed();
  if (S_ISDIR(theStatus.mMode)) return Refusal{kWord_Missing, "is a directory"};
  if (!S_ISREG(theStatus.mMode)) return Refusal{kWord_Missing, "is not a regular file"};

  Descriptor theFile(open(PathInProc(theFound).c_str(), O_RDONLY | O_CLOEXEC));
  if (!theFile.IsOpen()) return Failed();
  if (aFile.Take(theFile, theStatus.mSize, mDescriptorLimit)) return std::nullopt;
  return kTooManyFiles;
}

}  // namespace tool
