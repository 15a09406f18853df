// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Condition variable over the library's mutex.
//
// The mutex's owner and count are cleared before each wait and put back after it, so that the
// thread which takes the mutex meanwhile counts as its owner.

#include <zvOS/zvCondition.h>
#include <zvOS/zvMonoliticTime.h>
#include <zvOS/zvTime.h>

#include "private/Failure.h"
#include "private/LateTime.h"
#include "private/Owner.h"
#include "private/Record.h"

#include <cerrno>
#include <ctime>

ZVLOG_WITH_MODULE_IF(ZVOS, 1)

struct zvCondition_t {
  uint32 _mMagicNumber = kzvCondition_Magic;
  pthread_cond_t mCondition = PTHREAD_COND_INITIALIZER;
};

namespace {

constexpr uint32 kMillisecondsPerSecond = 1000;
constexpr uint32 kMicrosecondsPerMillisecond = 1000;
constexpr uint32 kNanosecondsPerMicrosecond = 1000;
constexpr uint32 kNanosecondsPerSecond = 1000000000;

// The time that comes aDelay milliseconds after another one of the same clock.
timespec After(const zvtimeval &aTime, uint32 aDelay) {
  uint32 theSeconds = aDelay / kMillisecondsPerSecond + static_cast<uint32>(aTime.tv_sec);
  uint32 theNanoseconds =
      ((aDelay % kMillisecondsPerSecond) * kMicrosecondsPerMillisecond + static_cast<uint32>(aTime.tv_usec)) *
      kNanosecondsPerMicrosecond;
  // Strictly greater: a sum of a whole second is left for the system to refuse, which callers
  // see as zvCondition_Status_Error.
  if (theNanoseconds > kNanosecondsPerSecond) {
    ++theSeconds;
    theNanoseconds -= kNanosecondsPerSecond;
  }
  return {static_cast<time_t>(theSeconds), static_cast<long>(theNanoseconds)};
}

// Until when a wait lasts. A late time of day is more than the wait takes: the monotonic clock stands in.
struct Deadline {
  timespec mTime;
  bool mfMonotonic;
};

// For no delay the epoch, which is always over.
Deadline DeadlineAfter(uint32 aDelay) {
  zvtimeval theNow;
  zvTime_GetTimeOfDay(&theNow);
  if (aDelay == 0) return {{0, 0}, false};

  const timespec theTime = After(theNow, aDelay);
  if (!zvos::IsLate(zvos::SecondsOf(theTime.tv_sec))) return {theTime, false};
  zvMonoliticTime_GetTime(&theNow);
  return {After(theNow, aDelay), true};
}

int WaitUntil(const Deadline &aDeadline, pthread_cond_t *aCondition, pthread_mutex_t *aMutex) {
  if (zvos::kfNarrowTime && aDeadline.mfMonotonic)
    return pthread_cond_clockwait(aCondition, aMutex, CLOCK_MONOTONIC, &aDeadline.mTime);
  return pthread_cond_timedwait(aCondition, aMutex, &aDeadline.mTime);
}

}  // namespace

extern "C" zvOSCondition *zvCondition_New(void) {
  zvos::Owner<zvOSCondition, zvCondition_Delete> theCondition(zvos::NewRecordApart<zvOSCondition>());
  if (theCondition == nullptr) return nullptr;

  if (const int theError = pthread_cond_init(&theCondition->mCondition, nullptr))
    return ZVOS_FAIL(nullptr, F("zvOSCondition: pthread_cond_init failed (error = %d)\n", theError));
  return theCondition.release();
}

extern "C" void zvCondition_Delete(zvOSCondition *aCondition) {
  if (aCondition == nullptr) return;
  ZVMAGICNUMBER_CHECK(aCondition, kzvCondition_Magic);

  zvos::ClearMagic(aCondition);
  if (const int theError = pthread_cond_destroy(&aCondition->mCondition))
    ZV_ERR(F("zvOSCondition: pthread_cond_destroy failed (error = %d)\n", theError));
  free(aCondition);
}

extern "C" int zvCondition_Signal(zvOSCondition *aCondition) {
  ZVMAGICNUMBER_CHECK(aCondition, kzvCondition_Magic);

  if (const int theError = pthread_cond_signal(&aCondition->mCondition); ZV_UNLIKELY(theError != 0))
    return ZVOS_FAIL(zvCondition_Status_Error,
                     F("zvOSCondition: pthread_cond_signal failed (error = %d)\n", theError));
  return zvCondition_Status_NoError;
}

extern "C" int zvCondition_Broadcast(zvOSCondition *aCondition) {
  ZVMAGICNUMBER_CHECK(aCondition, kzvCondition_Magic);

  if (const int theError = pthread_cond_broadcast(&aCondition->mCondition); ZV_UNLIKELY(theError != 0))
    return ZVOS_FAIL(zvCondition_Status_Error,
                     F("zvOSCondition: pthread_cond_broadcast failed (error = %d)\n", theError));
  return zvCondition_Status_NoError;
}

extern "C" int zvCondition_Wait(zvOSCondition *aCondition, zvOSMutex *aMutex) {
  ZVMAGICNUMBER_CHECK(aCondition, kzvCondition_Magic);

  const uint32 theLockCount = zvMutex_Posix_Tag_Unheld(aMutex);
  const int theError = pthread_cond_wait(&aCondition->mCondition, zvMutex_Posix_Get(aMutex));
  zvMutex_Posix_Tag_Held(aMutex, theLockCount);
  if (ZV_UNLIKELY(theError != 0))
    return ZVOS_FAIL(zvCondition_Status_Error,
                     F("zvOSCondition: pthread_cond_wait failed (error = %d)\n", theError));
  return zvCondition_Status_NoError;
}

extern "C" int zvCondition_WaitTimeout(zvOSCondition *aCondition, zvOSMutex *aMutex, uint32 aDelay) {
  ZVMAGICNUMBER_CHECK(aCondition, kzvCondition_Magic);

  const Deadline theDeadline = DeadlineAfter(aDelay);
  int theError;
  do {
    const uint32 theLockCount = zvMutex_Posix_Tag_Unheld(aMutex);
    theError = WaitUntil(theDeadline, &aCondition->mCondition, zvMutex_Posix_Get(aMutex));
    zvMutex_Posix_Tag_Held(aMutex, theLockCount);
  } while (theError == EINTR);

  if (theError == 0) return zvCondition_Status_NoError;
  if (theError == ETIMEDOUT) return zvCondition_Status_TimeOut;
  return ZVOS_FAIL(zvCondition_Status_Error,
                   F("zvOSCondition: pthread_cond_timedwait failed (error = %d)\n", theError));
}
