// Light recursive lock: the system's own, behind a checked handle.

#include <zvOS/zvCriticalSection.h>

#include "private/Record.h"
#include "private/RecursiveMutex.h"

ZVLOG_WITH_MODULE_IF(ZVOS, 1)

struct zvCriticalSection_t {
  uint32 _mMagicNumber;
  pthread_mutex_t mMutex;
};

namespace {

// Failures of the hot paths, kept out of their code.

ZV_COLD int EnterFailed(int anError) {
  ZV_ERR(F("zvOSCriticalSection: pthread_mutex_lock failed (error = %d)\n", anError));
  return zvCriticalSection_Status_Error;
}

ZV_COLD int LeaveFailed(int anError) {
  ZV_ERR(F("zvOSCriticalSection: pthread_mutex_unlock failed (error = %d)\n", anError));
  return zvCriticalSection_Status_Error;
}

}  // namespace

extern "C" zvOSCriticalSection *zvCriticalSection_New(void) {
  zvOSCriticalSection *const theCriticalSection =
      zvos::NewRecord<zvOSCriticalSection>({kzvCriticalSection_Magic, PTHREAD_MUTEX_INITIALIZER});
  if (theCriticalSection == nullptr) {
    ZV_ERR(F("zvOSCriticalSection: Cannot allocate memory for a critical section\n"));
    return nullptr;
  }

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
  const int theError = pthread_mutex_destroy(&aCriticalSection->mMutex);
  if (theError != 0) {
    ZV_ERR(F("zvOSCriticalSection: pthread_mutex_destroy failed (error = %d)\n", theError));
  }
  free(aCriticalSection);
}

extern "C" int zvCriticalSection_Enter(zvOSCriticalSection *aCriticalSection) {
  ZVMAGICNUMBER_CHECK(aCriticalSection, kzvCriticalSection_Magic);

  const int theError = pthread_mutex_lock(&aCriticalSection->mMutex);
  return ZV_UNLIKELY(theError != 0) ? EnterFailed(theError) : zvCriticalSection_Status_NoError;
}

extern "C" int zvCriticalSection_Leave(zvOSCriticalSection *aCriticalSection) {
  ZVMAGICNUMBER_CHECK(aCriticalSection, kzvCriticalSection_Magic);

  const int theError = pthread_mutex_unlock(&aCriticalSection->mMutex);
  return ZV_UNLIKELY(theError != 0) ? LeaveFailed(theError) : zvCriticalSection_Status_NoError;
}
