#include "shared/descriptor.h"

#include "shared/terminal.h"

#include <poll.h>

#include <cerrno>
#include <cstring>

namespace tool {

bool WriteOutput(const char *aData, size_t aLength) {
  FlushOutput();
  while (aLength > 0) {
    const ssize_t theCount = write(STDOUT_FILENO, aData, aLength);
    const int theError = errno;
    if (theCount >= 0) {
      aData += theCount;
      aLength -= static_cast<size_t>(theCount);
    } else if (theError == EAGAIN) {
      // A caller may have handed over a stream that does not wait.
      struct pollfd thePoll = {STDOUT_FILENO, POLLOUT, 0};
      poll(&thePoll, 1, -1);
    } else if (theError != EINTR) {
      Complain("cannot write standard output: %s", strerror(theError));
      return false;
    }
  }
  return true;
}

}  // namespace tool
