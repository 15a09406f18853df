// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Counting semaphore of one process.

#include <zvOS/zvSemaphore.h>

#include "private/Failure.h"
#include "private/LateTime.h"
#include "private/Owner.h"
#include "private/Record.h"

#include <semaphore.h>
#include <cerrno>
#include <ctime>

ZVLOG_WITH_MODULE_IF(ZVOS, 1)

using zvos::ErrorOf;

struct zvSemaphore_t {
  uint32 _mMagicNumber = kzvSemaphore_Magic;
  sem_t mSemaphore = {};
};

namespace {

constexpr int kPrivateToProcess = 0;
constexpr uint64 kMillisecondsPerSecond = 1000;
constexpr uint32 kNanosecondsPerMillisecond = 1000000;

// What the message of a failed wait shows: callers tell an interruption by the -1.
int WaitErrorToLog(int anError) {
  return anError == EINTR ? -1 : anError;
}

inline int Post(zvOSSemaphore *aSemaphore) {
  if (const int theError = ErrorOf(sem_post(&aSemaphore->mSemaphore)))
    return ZVOS_FAIL_COLD(zvSemaphore_Status_Error,
                          F("zvOSSemaphore: sem_post failed (error = %d)\n", theError));
  return zvSemaphore_Status_NoError;
}

inline int Wait(zvOSSemaphore *aSemaphore) {
  if (const int theError = ErrorOf(sem_wait(&aSemaphore->mSemaphore)))
    return ZVOS_FAIL_COLD(zvSemaphore_Status_Error,
                          F("zvOSSemaphore: sem_wait failed (error = %d)\n", WaitErrorToLog(theError)));
  return zvSemaphore_Status_NoError;
}

// The time of a clock in aDelay milliseconds. Returns 0, or why it cannot be told: EOVERFLOW when it is
// late.
int DeadlineAfter(uint32 aDelay, clockid_t aClock, timespec *aDeadline) {
  timespec theNow;
  if (const int theError = ErrorOf(clock_gettime(aClock, &theNow))) return theError;

  const uint64 theEnd = zvos::SecondsOf(theNow.tv_sec) * kMillisecondsPerSecond +
                        static_cast<uint32>(theNow.tv_nsec) / kNanosecondsPerMillisecond + aDelay;
  const uint64 theSeconds = theEnd / kMillisecondsPerSecond;
  const uint64 theRest = theEnd % kMillisecondsPerSecond;
  if (zvos::IsLate(theSeconds)) return EOVERFLOW;
  *aDeadline = {static_cast<time_t>(theSeconds), static_cast<long>(theRest * kNanosecondsPerMillisecond)};
  return 0;
}

int ClockFailed(int anError) {
  return ZVOS_FAIL(zvSemaphore_Status_Error,
                   F("zvOSSemaphore: clock_gettime failed (error = %d)\n", anError));
}

int WaitResult(int anError) {
  if (anError == 0) return zvSemaphore_Status_NoError;
  if (anError == ETIMEDOUT) return zvSemaphore_Status_TimeOut;
  return ZVOS_FAIL(zvSemaphore_Status_Error,
                   F("zvOSSemaphore: sem_timedwait failed (error = %d)\n", anError));
}

// Waits where the time of day, now or at the end, is more than a wait takes. Who searches field logs knows
// one text for both.
ZV_COLD int WaitByMonotonicClock(zvOSSemaphore *aSemaphore, uint32 aDelay) {
  timespec theDeadline;
  const int theClockError = DeadlineAfter(aDelay, CLOCK_MONOTONIC, &theDeadline);
  if (theClockError != 0) return ClockFailed(theClockError);
  return WaitResult(ErrorOf(sem_clockwait(&aSemaphore->mSemaphore, CLOCK_MONOTONIC, &theDeadline)));
}

}  // namespace

extern "C" zvOSSemaphore *zvSemaphore_New(int anInitialValue) {
  zvos::Owner<zvOSSemaphore, zvSemaphore_Delete> theSemaphore(zvos::NewRecordApart<zvOSSemaphore>());
  if (theSemaphore == nullptr) return nullptr;

  const int theResult =
      sem_init(&theSemaphore->mSemaphore, kPrivateToProcess, static_cast<unsigned>(anInitialValue));
  if (const int theError = ErrorOf(theResult))
    return ZVOS_FAIL(nullptr, F("zvOSSemaphore: sem_init failed (error = %d)\n", theError));
  return theSemaphore.release();
}

extern "C" void zvSemaphore_Delete(zvOSSemaphore *aSemaphore) {
  if (aSemaphore == nullptr) return;
  ZVMAGICNUMBER_CHECK(aSemaphore, kzvSemaphore_Magic);

  zvos::ClearMagic(aSemaphore);
  if (const int theError = ErrorOf(sem_destroy(&aSemaphore->mSemaphore)))
    ZV_ERR(F("zvOSSemaphore: sem_destroy failed (error = %d)\n", theError));
  free(aSemaphore);
}

extern "C" int zvSemaphore_Post(zvOSSemaphore *aSemaphore) {
  return ZVOS_CHECKED(Post, aSemaphore, kzvSemaphore_Magic);
}

extern "C" int zvSemaphore_Wait(zvOSSemaphore *aSemaphore) {
  return ZVOS_CHECKED(Wait, aSemaphore, kzvSemaphore_Magic);
}

extern "C" int zvSemaphore_TryWait(zvOSSemaphore *aSemaphore) {
  ZVMAGICNUMBER_CHECK(aSemaphore, kzvSemaphore_Magic);

  const int theError = ErrorOf(sem_trywait(&aSemaphore->mSemaphore));
  if (theError == 0) return zvSemaphore_Status_NoError;
  if (theError == EAGAIN) return zvSemaphore_Status_TimeOut;
  // Field logs are searched for the one text of both waits.
  return ZVOS_FAIL(zvSemaphore_Status_Error,
                   F("zvOSSemaphore: sem_wait failed (error = %d)\n", WaitErrorToLog(theError)));
}

extern "C" int zvSemaphore_WaitTimeout(zvOSSemaphore *aSemaphore, uint32 aDelay) {
  ZVMAGICNUMBER_CHECK(aSemaphore, kzvSemaphore_Magic);

  timespec theDeadline;
  const int theClockError = DeadlineAfter(aDelay, CLOCK_REALTIME, &theDeadline);
  if (zvos::kfNarrowTime && ZV_UNLIKELY(theClockError == EOVERFLOW))
    return WaitByMonotonicClock(aSemaphore, aDelay);
  if (theClockError != 0) return ClockFailed(theClockError);
  return WaitResult(ErrorOf(sem_timedwait(&aSemaphore->mSemaphore, &theDeadline)));
}
