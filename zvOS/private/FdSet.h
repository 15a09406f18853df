// Sets of descriptors that a caller may leave out.
#pragma once

#include <sys/select.h>

namespace zvos {

inline void Clear(fd_set *aSet) {
  if (aSet != nullptr) FD_ZERO(aSet);
}

}  // namespace zvos
