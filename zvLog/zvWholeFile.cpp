// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "private/WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace zvlog {
namespace {

constexpr size_t kFirstRoom = 4096;

ReadResult Judge(const struct stat &aStatus) {
  if (S_ISDIR(aStatus.st_mode)) {
    errno = EISDIR;
    return ReadResult::Failed;
  }
  if (!S_ISREG(aStatus.st_mode)) return ReadResult::NotRegular;
  return aStatus.st_size > static_cast<off_t>(kWholeFileMaximum) ? ReadResult::TooLarge : ReadResult::Read;
}

// What the size says is not relied upon: files grow, and those of the kernel have a size of 0.
ReadResult ReadToEnd(int aDescriptor, char **aText, size_t *aLength) {
  size_t theRoom = 0;
  for (;;) {
    if (*aLength == theRoom) {
      if (theRoom > kWholeFileMaximum) return ReadResult::TooLarge;
      theRoom = std::min(std::max(theRoom * 2, kFirstRoom), kWholeFileMaximum + 1);
      char *theText = static_cast<char *>(realloc(*aText, theRoom + 1));  // and the terminator
      if (theText == nullptr) return ReadResult::Failed;
      *aText = theText;
    }
    const ssize_t theCount = read(aDescriptor, *aText + *aLength, theRoom - *aLength);
    if (theCount > 0) {
      *aLength += static_cast<size_t>(theCount);
    } else if (theCount == 0) {
      (*aText)[*aLength] = '\0';
      return *aLength > kWholeFileMaximum ? ReadResult::TooLarge : ReadResult::Read;
    } else if (errno != EINTR) {
      return ReadResult::Failed;
    }
  }
}

ReadResult ReadFrom(int aDescriptor, char **aText, size_t *aLength) {
  struct stat theStatus;
  if (fstat(aDescriptor, &theStatus) != 0) return ReadResult::Failed;
  const ReadResult theJudgement = Judge(theStatus);
  return theJudgement == ReadResult::Read ? ReadToEnd(aDescriptor, aText, aLength) : theJudgement;
}

}  // namespace

ReadResult ReadWholeFile(const char *aPath, char **aText, size_t *aLength) {
  *aText = nullptr;
  *aLength = 0;
  // To open a device may set it going; to open a FIFO waits for its writer, and a FIFO may have taken the
  // file's place since.
  struct stat theStatus;
  if (stat(aPath, &theStatus) != 0) return ReadResult::Failed;
  const ReadResult theJudgement = Judge(theStatus);
  if (theJudgement != ReadResult::Read) return theJudgement;
  const int theDescriptor = open(aPath, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (theDescriptor < 0) return ReadResult::Failed;

  const ReadResult theResult = ReadFrom(theDescriptor, aText, aLength);
  const int theError = errno;
  close(theDescriptor);
  if (theResult != ReadResult::Read) {
    free(*aText);
    *aText = nullptr;
  }
  errno = theError;
  return theResult;
}

}  // namespace zvlog
