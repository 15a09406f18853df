// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Recursive lock that knows its owner.
//
// The owner is written only by the thread that holds the lock, so any thread may read it unlocked
// to learn whether it is the owner itself; relaxed atomic access is all that takes.

#include <zvOS/zvMutex.h>

#include "private/Failure.h"
#include "private/Lock.h"
#include "private/Owner.h"
#include "private/Record.h"

#include <atomic>

ZVLOG_WITH_MODULE_IF(ZVOS, 1)

struct zvMutex_t {
  uint32 _mMagicNumber = kzvMutex_Magic;
  pthread_mutex_t mMutex = PTHREAD_MUTEX_INITIALIZER;
  std::atomic<pthread_t> mOwnerThread{kzvMutex_NoOwner};
  uint32 mLockCount = 0;
};

namespace {

// pthread_self() without the call: on x86 it is the thread pointer, elsewhere it is kept.
#if defined(__i386__) || defined(__x86_64__)
pthread_t CurrentThread() {
  return reinterpret_cast<pthread_t>(__builtin_thread_pointer());
}
#else
thread_local pthread_t sCurrentThread = pthread_t();

pthread_t CurrentThread() {
  if (ZV_UNLIKELY(sCurrentThread == pthread_t())) sCurrentThread = pthread_self();
  return sCurrentThread;
}
#endif

void SetOwner(zvOSMutex *aMutex, pthread_t anOwner) {
  aMutex->mOwnerThread.store(anOwner, std::memory_order_relaxed);
}

bool IsOwner(zvOSMutex *aMutex) {
  return pthread_equal(aMutex->mOwnerThread.load(std::memory_order_relaxed), CurrentThread()) != 0;
}

inline int Lock(zvOSMutex *aMutex) {
  if (const int theError = pthread_mutex_lock(&aMutex->mMutex))
    return ZVOS_FAIL_COLD(zvMutex_Status_Error,
                          F("zvOSMutex: pthread_mutex_lock failed (error = %d)\n", theError));
  SetOwner(aMutex, CurrentThread());
  ++aMutex->mLockCount;
  return zvMutex_Status_NoError;
}

// One level less of a lock that the calling thread holds.
inline int Release(zvOSMutex *aMutex) {
  // The owner is cleared before the lock is free: afterwards the next owner writes.
  if (ZV_LIKELY(--aMutex->mLockCount == 0)) SetOwner(aMutex, kzvMutex_NoOwner);
  if (const int theError = pthread_mutex_unlock(&aMutex->mMutex))
    return ZVOS_FAIL_COLD(zvMutex_Status_Error,
                          F("zvOSMutex: pthread_mutex_unlock failed (error = %d)\n", theError));
  return zvMutex_Status_NoError;
}

inline int Unlock(zvOSMutex *aMutex) {
  if (ZV_UNLIKELY(!IsOwner(aMutex)))
    return ZVOS_FAIL_COLD(zvMutex_Status_Error, F("zvOSMutex: unlock failed because not held by caller\n"));
  if (ZV_LIKELY(aMutex->mLockCount != 0)) return Release(aMutex);
  return zvos::OutOfLine([=] {
    zvAssert(aMutex->mLockCount > 0);
    return Release(aMutex);
  });
}

}  // namespace

extern "C" zvOSMutex *zvMutex_New(void) {
  zvos::Owner<zvOSMutex, zvMutex_Delete> theMutex(zvos::NewRecordApart<zvOSMutex>());
  if (theMutex == nullptr) return nullptr;

  if (const int theError = zvos::InitRecursiveMutex(&theMutex->mMutex))
    return ZVOS_FAIL(nullptr, F("zvOSMutex: pthread_mutex_init failed (error = %d)\n", theError));
  return theMutex.release();
}

extern "C" void zvMutex_Delete(zvOSMutex *aMutex) {
  if (aMutex == nullptr) return;
  ZVMAGICNUMBER_CHECK(aMutex, kzvMutex_Magic);

  zvos::ClearMagic(aMutex);
  if (const int theError = pthread_mutex_destroy(&aMutex->mMutex))
    ZV_ERR(F("zvOSMutex: pthread_mutex_destroy failed (error = %d)\n", theError));
  free(aMutex);
}

extern "C" int zvMutex_Lock(zvOSMutex *aMutex) {
  return ZVOS_CHECKED(Lock, aMutex, kzvMutex_Magic);
}

extern "C" int zvMutex_Unlock(zvOSMutex *aMutex) {
  return ZVOS_CHECKED(Unlock, aMutex, kzvMutex_Magic);
}

extern "C" int zvMutex_IsHeld(zvOSMutex *aMutex) {
  ZVMAGICNUMBER_CHECK(aMutex, kzvMutex_Magic);
  return IsOwner(aMutex);
}

extern "C" pthread_mutex_t *zvMutex_Posix_Get(zvOSMutex *aMutex) {
  ZVMAGICNUMBER_CHECK(aMutex, kzvMutex_Magic);
  return &aMutex->mMutex;
}

extern "C" uint32 zvMutex_Posix_Tag_Unheld(zvOSMutex *aMutex) {
  const uint32 theLockCount = aMutex->mLockCount;
  SetOwner(aMutex, kzvMutex_NoOwner);
  aMutex->mLockCount = 0;
  return theLockCount;
}

extern "C" void zvMutex_Posix_Tag_Held(zvOSMutex *aMutex, uint32 aLockCount) {
  SetOwner(aMutex, CurrentThread());
  aMutex->mLockCount = aLockCount;
}
