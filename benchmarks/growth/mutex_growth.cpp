// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Threads that lock and unlock: all the same mutex, or each its own.

#include <pthread.h>

#include <zvOS/zvMutex.h>

#include "support/BareMutex.h"
#include "growth/growth.h"

namespace zvbench {
namespace {

struct OurMutex {
  zvOSMutex *const mMutex;

  OurMutex() : mMutex(zvMutex_New()) {
    if (mMutex == nullptr) Fail("zvMutex_New failed");
  }
  ~OurMutex() { zvMutex_Delete(mMutex); }
  OurMutex(const OurMutex &) = delete;
  OurMutex &operator=(const OurMutex &) = delete;
};

int LockAndUnlock(BareMutex &aMutex) {
  const int theFailures = pthread_mutex_lock(&aMutex.mMutex);
  return theFailures | pthread_mutex_unlock(&aMutex.mMutex);
}

int LockAndUnlock(const OurMutex &aMutex) {
  const int theFailures = zvMutex_Lock(aMutex.mMutex);
  return theFailures | zvMutex_Unlock(aMutex.mMutex);
}

// One for each thread or one for all, made one after the other and with nothing in between.
template <typename Mutex>
struct Mutexes {
  explicit Mutexes(uint32 aCount) : mCount(aCount), mMutexes(new Mutex[aCount]) {}

  const uint32 mCount;
  const std::unique_ptr<Mutex[]> mMutexes;
};

template <typename Mutex>
Loop Locking(uint32 aMutexes, uint32 aThreads) {
  return [=, theMutexes = std::make_shared<Mutexes<Mutex>>(aMutexes)](uint32 aCount) {
    RunThreads(aThreads, [&](uint32 aThread) {
      Mutex &theMutex = theMutexes->mMutexes[aThread < theMutexes->mCount ? aThread : 0];
      int theFailures = 0;
      for (uint32 i = 0; i < aCount; ++i)
        theFailures |= LockAndUnlock(theMutex);
      if (theFailures != 0) Fail("a mutex failed");
    });
  };
}

template <bool kfShared>
std::optional<Trial> LockingInThreads(uint32 aThreads) {
  const uint32 theCount = kfShared ? 1 : aThreads;
  return Trial{Locking<BareMutex>(theCount, aThreads),
               Locking<OurMutex>(theCount, aThreads),
               static_cast<double>(aThreads),
               {},
               {}};
}

constexpr char kBare[] = "pthread_mutex_lock, pthread_mutex_unlock of a recursive mutex";
constexpr char kOurs[] = "zvMutex_Lock, zvMutex_Unlock";

}  // namespace

std::vector<GrowthRow> MutexGrowth() {
  const std::vector<uint32> theSizes = {1, 2, 4, 8};
  return {{"one mutex", "threads", "for a lock and an unlock by anybody", nullptr, kBare, kOurs, theSizes,
           LockingInThreads<true>},
          {"a mutex for each thread", "threads", "for a lock and an unlock by anybody", nullptr, kBare, kOurs,
           theSizes, LockingInThreads<false>}};
}

}  // namespace zvbench
