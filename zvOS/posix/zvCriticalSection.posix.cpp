// Light recursive lock: the system's own, behind a checked handle.

#include <zvOS/zvCriticalSection.h>

#include "private/Failure.h"
#include "private/Record.h"
#include "private/RecursiveMutex.h"

ZVLOG_WITH_MODULE_IF(ZVOS, 1)

struct zvCriticalSection_t {
  uint32 _mMagicNumber;
  pthread_mutex_t mMutex;
};

extern "C" zvOSCriticalSection *zvCriticalSection_New(void) {
  zvOSCriticalSection *const theCriticalSection =
      zvos::NewRecord<zvOSCriticalSection>({kzvCriticalSection_Magic, PTHREAD_MUTEX_INITIALIZER});
  if (theCriticalSection == nullptr)
    return ZVOS_FAIL(nullptr, F("zvOSCriticalSection: Cannot allocate memory for a critical section\n"));

  const int theError = zvos::InitRecursiveMutex(&theCriticalSection->mMutex);
  if (theError != 0) {
    ZV_ERR(F("zvOSCriticalSection: pthread_mutex_init failed (error = %d)\n", theError));
    zvCriticalSection_Delete(theCriticalSection);
    return nullptr;
  }
  return theCriticalSection;
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
  ZVMAGICNUMBER_CHECK(aCriticalSection, kzvCriticalSection_Magic);

  if (const int theError = pthread_mutex_lock(&aCriticalSection->mMutex))
    return ZVOS_FAIL_COLD(zvCriticalSection_Status_Error,
                          F("zvOSCriticalSection: pthread_mutex_lock failed (error = %d)\n", theError));
  return zvCriticalSection_Status_NoError;
}

extern "C" int zvCriticalSection_Leave(zvOSCriticalSection *aCriticalSection) {
  ZVMAGICNUMBER_CHECK(aCriticalSection, kzvCriticalSection_Magic);

  if (const int theError = pthread_mutex_unlock(&aCriticalSection->mMutex))
    return ZVOS_FAIL_COLD(zvCriticalSection_Status_Error,
                          F("zvOSCriticalSection: pthread_mutex_unlock failed (error = %d)\n", theError));
  return zvCriticalSection_Status_NoError;
}
