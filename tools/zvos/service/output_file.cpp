#include "service/output_file.h"

#include "shared/owners.h"

#include <zvLog/zvLog.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tool {

namespace {

constexpr int kMostNames = 100;

// Behind the last '/'.
std::string::size_type StartOfName(const std::string &aPath) {
  const std::string::size_type theSlash = aPath.rfind('/');
  return theSlash == std::string::npos ? 0 : theSlash + 1;
}

std::string TargetOf(const std::string &aPath) {
  return TakeText(realpath(aPath.c_str(), nullptr), aPath);
}

}  // namespace

OutputFile::OutputFile(const std::string &aPath) : mPath(TargetOf(aPath)), mDescriptor(-1) {}

OutputFile::~OutputFile() {
  if (mDescriptor != -1) close(mDescriptor);
  if (!mTemporaryPath.empty()) unlink(mTemporaryPath.c_str());
}

std::string OutputFile::WhyImpossible(const std::string &aPath) {
  struct stat theStatus = {};
  if (StartOfName(aPath) == aPath.size()) return aPath.empty() ? "it has no name" : "it is a directory";
  if (stat(aPath.c_str(), &theStatus) == -1) return errno == ENOENT ? "" : strerror(errno);
  if (S_ISDIR(theStatus.st_mode)) return "it is a directory";
  // Replacing a device, a pipe or the like would take it away from everybody.
  return S_ISREG(theStatus.st_mode) ? "" : "it is not a regular file";
}

bool OutputFile::Begin() {
  const std::string theFolder = mPath.substr(0, StartOfName(mPath));
  for (int i = 0; i < kMostNames; ++i) {
    char theName[16];
    zv_snprintf(theName, sizeof(theName), ".zvos-%04x%04x", zvRand_MinMaxUInt16(0, UINT16_MAX),
                zvRand_MinMaxUInt16(0, UINT16_MAX));
    const std::string thePath = theFolder + theName;
    mDescriptor = open(thePath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (mDescriptor != -1) {
      mTemporaryPath = thePath;
      return true;
    }
    if (errno != EEXIST) break;
  }
  return Failed();
}

bool OutputFile::Write(const char *aData, size_t aLength) {
  while (aLength > 0) {
    const ssize_t theCount = write(mDescriptor, aData, aLength);
    if (theCount == -1 && errno == EINTR) continue;
    if (theCount == -1) return Failed();
    aData += theCount;
    aLength -= static_cast<size_t>(theCount);
  }
  return true;
}

bool OutputFile::Finish() {
  // The name must not reach the disk before the data.
  if (fsync(mDescriptor) == -1 && errno != EINVAL) return Failed();
  const int theResult = close(mDescriptor);
  mDescriptor = -1;
  if (theResult == -1) return Failed();
  if (rename(mTemporaryPath.c_str(), mPath.c_str()) == -1) return Failed();
  mTemporaryPath.clear();
  return true;
}

bool OutputFile::Failed() {
  mProblem = strerror(errno);
  return false;
}

}  // namespace tool
