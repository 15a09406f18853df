// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Light recursive lock: the system's own, behind a checked handle.

#include <zvOS/zvCriticalSection.h>

#include "private/Failure.h"
#include "private/Lock.h"
#include "private/Owner.h"
#include "private/Record.h"

ZVLOG_WITH_MODULE_IF(ZVOS, 1)

struct zvCriticalSection_t {
  uint32 _mMagicNumber = kzvCriticalSection_Magic;
  pthread_mutex_t mMutex = PTHREAD_MUTEX_INITIALIZER;
};

namespace {

inline int Enter(zvOSCriticalSection *aCriticalSection) {
  if (const int theError = pthread_mutex_lock(&aCriticalSection->mMutex))
    return ZVOS_FAIL_COLD(zvCriticalSection_Status_Error,
                          F("zvOSCriticalSection: pthread_mutex_lock failed (error = %d)\n", theError));
  return zvCriticalSection_Status_NoError;
}

inline int Leave(zvOSCriticalSection *aCriticalSection) {
  if (const int theError = pthread_mutex_unlock(&aCriticalSection->mMutex))
    return ZVOS_FAIL_COLD(zvCriticalSection_Status_Error,
                          F("zvOSCriticalSection: pthread_mutex_unlock failed (error = %d)\n", theError));
  return zvCriticalSection_Status_NoError;
}

}  // namespace

extern "C" zvOSCriticalSection *zvCriticalSection_New(void) {
  zvos::Owner<zvOSCriticalSection, zvCriticalSection_Delete> theCriticalSection(
      zvos::NewRecordApart<zvOSCriticalSection>());
  if (theCriticalSection == nullptr)
    return ZVOS_FAIL(nullptr, F("zvOSCriticalSection: Cannot allocate memory for a critical section\n"));

  if (const int theError = zvos::InitRecursiveMutex(&theCriticalSection->mMutex))
    return ZVOS_FAIL(nullptr, F("zvOSCriticalSection: pthread_mutex_init failed (error = %d)\n", theError));
  return theCriticalSection.release();
}

extern "C" void zvCriticalSection_Delete(zvOSCriticalSection *aCriticalSection) {
  if (aCriticalSection == nullptr) return;
  ZVMAGICNUMBER_CHECK(aCriticalSection, kzvCriticalSection_Magic);

  zvos::ClearMagic(aCriticalSection);
  if (const int theError = pthread_mutex_destroy(&aCriticalSection->mMutex))
    ZV_ERR(F("zvOSCriticalSection: pthread_mutex_destroy failed (error = %d)\n", theError));
  free(aCriticalSection);
}

extern "C" int zvCriticalSection_Enter(zvOSCriticalSection *aCriticalSection) {
  return ZVOS_CHECKED(Enter, aCriticalSection, kzvCriticalSection_Magic);
}

extern "C" int zvCriticalSection_Leave(zvOSCriticalSection *aCriticalSection) {
  return ZVOS_CHECKED(Leave, aCriticalSection, kzvCriticalSection_Magic);
}
