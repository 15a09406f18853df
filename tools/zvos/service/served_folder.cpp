#include "service/served_folder.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace tool {

namespace {

// Sockets have the numbers that fit into an fd_set, the files that are sent have numbers above.
constexpr rlim_t kDescriptorsWanted = 2 * FD_SETSIZE + 64;

// For what each worker opens while it looks a file up, and for lists of interfaces.
constexpr rlim_t kReservedDescriptors = 16;

std::string PathInProc(int aDescriptor) {
  return "/proc/self/fd/" + std::to_string(aDescriptor);
}

// Where an open file really is: the kernel tells, whatever links led there.
bool RealPath(int aDescriptor, std::string &aPath) {
  char thePath[PATH_MAX];
  const ssize_t theLength = readlink(PathInProc(aDescriptor).c_str(), thePath, sizeof(thePath));
  if (theLength == static_cast<ssize_t>(sizeof(thePath))) errno = ENAMETOOLONG;
  if (theLength <= 0 || theLength == static_cast<ssize_t>(sizeof(thePath))) return false;
  aPath.assign(thePath, static_cast<size_t>(theLength));
  return true;
}

bool IsBelow(const std::string &aPath, std::string aFolder) {
  if (aFolder.back() != '/') aFolder += '/';
  return aPath.compare(0, aFolder.size(), aFolder) == 0;
}

bool ClimbsUp(const std::string &aName) {
  return ("/" + aName + "/").find("/../") != std::string::npos;
}

class Descriptor {
 public:
  explicit Descriptor(int aDescriptor) : mDescriptor(aDescriptor) {}
  ~Descriptor() {
    if (mDescriptor != -1) close(mDescriptor);
  }
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;
  int Get() const { return mDescriptor; }

 private:
  const int mDescriptor;
};

ServedFolder::Result Failed(std::string &aProblem) {
  const int theError = errno;
  aProblem = strerror(theError);
  return theError == EMFILE || theError == ENFILE ? ServedFolder::kTooManyFiles : ServedFolder::kMissing;
}

ServedFolder::Result Missing(std::string &aProblem, const char *aReason) {
  aProblem = aReason;
  return ServedFolder::kMissing;
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

bool ServedFile::Take(int aDescriptor, uint64 aSize, int aDescriptorLimit) {
  Close();
  mDescriptor = fcntl(aDescriptor, F_DUPFD_CLOEXEC, FD_SETSIZE);
  if (mDescriptor == -1) {
    mDescriptor = aDescriptor;
  } else {
    close(aDescriptor);
  }
  mSize = aSize;
  if (mDescriptor >= aDescriptorLimit) Close();
  return mDescriptor != -1;
}

void ServedFile::Close() {
  if (mDescriptor != -1) close(mDescriptor);
  mDescriptor = -1;
}

int ServedFile::ReadAt(uint64 anOffset, char *aBuffer, size_t aSize) const {
  for (;;) {
    const ssize_t theCount = pread(mDescriptor, aBuffer, aSize, static_cast<off_t>(anOffset));
    if (theCount != -1 || errno != EINTR) return static_cast<int>(theCount);
  }
}

ServedFolder::~ServedFolder() {
  if (mDescriptor != -1) close(mDescriptor);
}

std::string ServedFolder::Open(const std::string &aPath) {
  mDescriptorLimit = DescriptorLimit();
  mDescriptor = open(aPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (mDescriptor == -1) return strerror(errno);
  if (faccessat(mDescriptor, ".", X_OK, 0) == -1) return strerror(errno);
  std::string thePath;
  return RealPath(mDescriptor, thePath) ? "" : "/proc is not there, which tells where files really are";
}

// The file is looked up without being opened, so that a name that leads to a device or to another
// place has no effect there; then the kernel is asked where it is, and that very file is opened.
ServedFolder::Result ServedFolder::OpenFile(const std::string &aName, ServedFile &aFile,
                                            std::string &aProblem) const {
  if (aName.empty() || aName[0] == '/' || ClimbsUp(aName))
    return Missing(aProblem, "the name leads out of the folder");

  const Descriptor theFound(openat(mDescriptor, aName.c_str(), O_PATH | O_CLOEXEC));
  if (theFound.Get() == -1) return Failed(aProblem);
  std::string theFolder;
  std::string thePath;
  if (!RealPath(mDescriptor, theFolder) || !RealPath(theFound.Get(), thePath)) return Failed(aProblem);
  if (thePath != theFolder && !IsBelow(thePath, theFolder))
    return Missing(aProblem, "the name leads out of the folder");

  struct stat theStatus = {};
  if (fstat(theFound.Get(), &theStatus) == -1) return Failed(aProblem);
  if (S_ISDIR(theStatus.st_mode)) return Missing(aProblem, "is a directory");
  if (!S_ISREG(theStatus.st_mode)) return Missing(aProblem, "is not a regular file");

  const int theFile = open(PathInProc(theFound.Get()).c_str(), O_RDONLY | O_CLOEXEC);
  if (theFile == -1) return Failed(aProblem);
  return aFile.Take(theFile, static_cast<uint64>(theStatus.st_size), mDescriptorLimit) ? kOpened
                                                                                       : kTooManyFiles;
}

}  // namespace tool
