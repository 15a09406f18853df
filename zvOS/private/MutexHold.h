// Holds a mutex to the end of the block.
#pragma once

#include <zvOS/zvMutex.h>

namespace zvos {

class MutexHold {
 public:
  explicit MutexHold(zvOSMutex *aMutex) : mMutex(aMutex) { zvMutex_Lock(mMutex); }
  ~MutexHold() { zvMutex_Unlock(mMutex); }
  MutexHold(const MutexHold &) = delete;
  MutexHold &operator=(const MutexHold &) = delete;

 private:
  zvOSMutex *const mMutex;
};

}  // namespace zvos
