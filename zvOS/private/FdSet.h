// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Sets of descriptors that a caller may leave out, and that may be larger than fd_set.
#pragma once

#include "private/Owner.h"

#include <sys/resource.h>
#include <sys/select.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace zvos {

// The bytes of a set that has room for descriptors below aCount: words, as the system takes them, and at
// least an fd_set.
inline size_t SizeOfSet(unsigned aCount) {
  const size_t theWords = (static_cast<size_t>(aCount) + NFDBITS - 1) / NFDBITS;
  return std::max(sizeof(fd_set), theWords * sizeof(fd_mask));
}

// How many descriptors a wait up to aMaxFD is about, as the system counts them: none when there is no next
// number.
inline unsigned CountUpTo(int aMaxFD) {
  return aMaxFD < 0 || aMaxFD == INT_MAX ? 0 : static_cast<unsigned>(aMaxFD) + 1;
}

inline void Clear(fd_set *aSet, size_t aSize = sizeof(fd_set)) {
  if (aSet != nullptr) memset(aSet, 0, aSize);
}

// Clears the sets of a wait that failed, as far as they hold descriptors up to aMaxFD that the process can
// have: its limit keeps callers who say FD_SETSIZE, one too many for an fd_set, from harm.
inline void ClearFailed(int aMaxFD, fd_set *aReadSet, fd_set *aWriteSet, fd_set *anErrorSet) {
  unsigned theCount = CountUpTo(aMaxFD);
  rlimit theLimit;
  if (theCount > FD_SETSIZE && getrlimit(RLIMIT_NOFILE, &theLimit) == 0)
    theCount = static_cast<unsigned>(std::min<rlim_t>(theCount, theLimit.rlim_cur));
  const size_t theSize = SizeOfSet(theCount);
  Clear(aReadSet, theSize);
  Clear(aWriteSet, theSize);
  Clear(anErrorSet, theSize);
}

// An empty set with room for descriptors up to aMaxFD.
class OwnSet {
 public:
  explicit OwnSet(int aMaxFD) : mSmall() {
    const size_t theSize = SizeOfSet(CountUpTo(aMaxFD));
    if (theSize > sizeof(mSmall)) {
      mLarge.reset(static_cast<fd_set *>(calloc(1, theSize)));
      mSet = mLarge.get();
    }
  }
  OwnSet(const OwnSet &) = delete;
  OwnSet &operator=(const OwnSet &) = delete;

  // NULL, with ENOMEM in errno, when there is no memory for a large one.
  fd_set *get() const { return mSet; }

 private:
  fd_set mSmall;
  Owner<fd_set> mLarge;
  fd_set *mSet = &mSmall;
};

}  // namespace zvos
