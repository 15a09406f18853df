#include "shared/input.h"

#include "shared/owners.h"
#include "shared/terminal.h"

#include <zvOS/zvPath.h>

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tool {

namespace {

// The file is opened for what the library does not tell: the reason why it could not be read.
std::string WhyNotReadable(const std::string &aPath, bool afHasSize) {
  const int theDescriptor = open(aPath.c_str(), O_RDONLY | O_CLOEXEC);
  if (theDescriptor == -1) return strerror(errno);
  char theByte;
  const ssize_t theCount = read(theDescriptor, &theByte, 1);
  const int theError = errno;
  close(theDescriptor);
  if (theCount == -1) return strerror(theError);
  // Files that the kernel makes up as they are read cannot be shared out in advance.
  if (theCount > 0 && !afHasSize) return "its size is not known in advance";
  return "";
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

std::string TemporaryFolder() {
  return TakeText(zvPath_GetTempDirPath());
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

std::string WhyUnreadable(const std::string &aPath) {
  struct stat theStatus = {};
  if (stat(aPath.c_str(), &theStatus) == -1) return strerror(errno);
  if (!S_ISREG(theStatus.st_mode)) return WhyNotRegular(theStatus.st_mode);
  if (aPath[0] != '/') return "the current folder is not known";
  // The library would open another file than the one named.
  if (aPath.find('\\') != std::string::npos)
    return "its path has a backslash, which the library takes for '/'";
  return WhyNotReadable(aPath, theStatus.st_size > 0);
}

bool IsReadable(const std::string &aPath) {
  const std::string theReason = WhyUnreadable(AbsolutePath(aPath));
  if (theReason.empty()) return true;
  Complain("cannot read '%s': %s", aPath.c_str(), theReason.c_str());
  return false;
}

InputFile::InputFile(const char *aPath) : mFD(kzvFileFDInvalid) {
  zvFile_Open(aPath, zvFileOpenMode_Read, zvFileAccessMode_Read, &mFD);
}

InputFile::~InputFile() {
  if (IsOpen()) zvFile_Close(mFD);
}

}  // namespace tool
