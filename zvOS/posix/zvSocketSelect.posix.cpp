// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The bare wait. The system looks only at descriptors up to the highest one that it is told, so callers with
// many descriptors may bring sets that are larger than fd_set.

#include <zvOS/zvSocketSelect.h>

#include "private/FdSet.h"

extern "C" int zvSocketSelect_SelectFD(fd_set *aReadSet, fd_set *aWriteSet, fd_set *anErrorSet, int aMaxFD,
                                       timeval *aTimeOut) {
  // The highest number of all has no next one; what it wraps to is refused by the system.
  const int theCount =
      select(static_cast<int>(static_cast<unsigned>(aMaxFD) + 1), aReadSet, aWriteSet, anErrorSet, aTimeOut);
  // The system leaves the marks of the call in the sets; nothing is ready.
  if (theCount == -1) zvos::ClearFailed(aMaxFD, aReadSet, aWriteSet, anErrorSet);
  return theCount;
}
