// The bare wait. The system takes a descriptor's number for granted and would read and write past the
// end of a set.

#include <zvOS/zvSocketSelect.h>

#include "private/FdSet.h"

#include <cerrno>

namespace {

int Wait(fd_set *aReadSet, fd_set *aWriteSet, fd_set *anErrorSet, int aMaxFD, timeval *aTimeOut) {
  if (aMaxFD >= FD_SETSIZE) {
    errno = EINVAL;
    return -1;
  }
  return select(aMaxFD + 1, aReadSet, aWriteSet, anErrorSet, aTimeOut);
}

}  // namespace

extern "C" int zvSocketSelect_SelectFD(fd_set *aReadSet, fd_set *aWriteSet, fd_set *anErrorSet, int aMaxFD,
                                       timeval *aTimeOut) {
  const int theCount = Wait(aReadSet, aWriteSet, anErrorSet, aMaxFD, aTimeOut);
  if (theCount == -1) {
    // The system leaves the marks of the call in the sets; nothing is ready.
    zvos::Clear(aReadSet);
    zvos::Clear(aWriteSet);
    zvos::Clear(anErrorSet);
  }
  return theCount;
}
