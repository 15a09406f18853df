// The bare wait.

#include <zvOS/zvSocketSelect.h>

namespace {

void Clear(fd_set *aSet) {
  if (aSet != nullptr) FD_ZERO(aSet);
}

}  // namespace

extern "C" int zvSocketSelect_SelectFD(fd_set *aReadSet, fd_set *aWriteSet, fd_set *anErrorSet, int aMaxFD,
                                       timeval *aTimeOut) {
  const int theCount = select(aMaxFD + 1, aReadSet, aWriteSet, anErrorSet, aTimeOut);
  if (theCount == -1) {
    // The system leaves the marks of the call in the sets; nothing is ready.
    Clear(aReadSet);
    Clear(aWriteSet);
    Clear(anErrorSet);
  }
  return theCount;
}
