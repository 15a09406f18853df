// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Locks and waiting: zvMutex.h, zvCriticalSection.h, zvCondition.h, zvSemaphore.h. An object that is false
// after it was made could not be made: for want of memory, a semaphore also of a count below 0.
#ifndef zvOS_cpp_Sync_hpp
#define zvOS_cpp_Sync_hpp

#include <zvOS/cpp/Delay.hpp>
#include <zvOS/cpp/Owner.hpp>
#include <zvOS/zvCondition.h>
#include <zvOS/zvCriticalSection.h>
#include <zvOS/zvMonoliticTime.h>
#include <zvOS/zvMutex.h>
#include <zvOS/zvSemaphore.h>

namespace zv {

namespace detail {

// Locks say why to the log, and not in errno.
inline Result<void> ResultOfLock(int aStatus) {
  if (ZV_LIKELY(aStatus == 0)) return {};
  return Error(aStatus, 0);
}

// Microseconds of a clock that is never set back.
inline int64 Now() {
  zvtimeval theTime;
  zvMonoliticTime_GetTime(&theTime);
  return int64{theTime.tv_sec} * 1000000 + theTime.tv_usec;
}

}  // namespace detail

// Recursive lock that knows its owner. BasicLockable: for std::lock_guard, std::unique_lock and
// std::scoped_lock of one. There is no try_lock, as the flat interface has none.
class Mutex : public Owner<zvOSMutex, zvMutex_Delete> {
 public:
  Mutex() : Owner(zvMutex_New()) {}
  // Takes over what the flat interface has made.
  explicit Mutex(zvOSMutex *aHandle) : Owner(aHandle) {}

  // A refusal is only logged; Lock and Unlock also say it.
  void lock() { zvMutex_Lock(Handle()); }
  void unlock() { zvMutex_Unlock(Handle()); }
  Result<void> Lock() { return detail::ResultOfLock(zvMutex_Lock(Handle())); }
  Result<void> Unlock() { return detail::ResultOfLock(zvMutex_Unlock(Handle())); }

  bool IsHeld() const { return zvMutex_IsHeld(Handle()) != 0; }
};

// Recursive lock that does not know its owner; otherwise as Mutex.
class CriticalSection : public Owner<zvOSCriticalSection, zvCriticalSection_Delete> {
 public:
  CriticalSection() : Owner(zvCriticalSection_New()) {}
  // Takes over what the flat interface has made.
  explicit CriticalSection(zvOSCriticalSection *aHandle) : Owner(aHandle) {}

  void lock() { zvCriticalSection_Enter(Handle()); }
  void unlock() { zvCriticalSection_Leave(Handle()); }
  Result<void> Enter() { return detail::ResultOfLock(zvCriticalSection_Enter(Handle())); }
  Result<void> Leave() { return detail::ResultOfLock(zvCriticalSection_Leave(Handle())); }
};

// How a wait ended.
enum class [[nodiscard]] WaitStatus{
    kDone = zvCondition_Status_NoError,     // woken, or for no reason
    kTimeOut = zvCondition_Status_TimeOut,  // the time is over
    kError = zvCondition_Status_Error       // refused, and logged
};

// Waits on a Mutex that the caller holds exactly once, which is given itself or as a std::unique_lock of it.
class Condition : public Owner<zvOSCondition, zvCondition_Delete> {
 public:
  Condition() : Owner(zvCondition_New()) {}
  // Takes over what the flat interface has made.
  explicit Condition(zvOSCondition *aHandle) : Owner(aHandle) {}

  void notify_one() { zvCondition_Signal(Handle()); }
  void notify_all() { zvCondition_Broadcast(Handle()); }

  // May end without a reason. A refusal is only logged.
  template <typename Lock>
  void wait(Lock &aLock) {
    zvCondition_Wait(Handle(), MutexOf(aLock).Handle());
  }

  // Waits until the predicate holds, or a wait is refused, as one with a mutex that is not held is. Answers
  // the predicate says then, so that false means a refusal, which is also logged.
  template <typename Lock, typename Predicate>
  bool wait(Lock &aLock, Predicate aPredicate) {
    while (!aPredicate()) {
      if (zvCondition_Wait(Handle(), MutexOf(aLock).Handle()) != zvCondition_Status_NoError)
        return aPredicate();
    }
    return true;
  }

  template <typename Lock, typename Unit, typename Period>
  WaitStatus wait_for(Lock &aLock, std::chrono::duration<Unit, Period> aDelay) {
    return WaitFor(MutexOf(aLock), detail::Delay(aDelay));
  }

  // Waits until the predicate holds or the time is over, and then answers, as in the standard library, what
  // the predicate says.
  template <typename Lock, typename Unit, typename Period, typename Predicate>
  [[nodiscard]] bool wait_for(Lock &aLock, std::chrono::duration<Unit, Period> aDelay, Predicate aPredicate) {
    const int64 theEnd = detail::Now() + int64{detail::Delay(aDelay)} * 1000;
    while (!aPredicate()) {
      const std::chrono::microseconds theRest(theEnd - detail::Now());
      if (theRest.count() <= 0 || WaitFor(MutexOf(aLock), detail::Delay(theRest)) == WaitStatus::kError)
        return aPredicate();
    }
    return true;
  }

 private:
  static Mutex &MutexOf(Mutex &aMutex) { return aMutex; }
  template <typename Lock>
  static Mutex &MutexOf(Lock &aLock) {
    return *aLock.mutex();
  }

  // The system refuses a wait that would end at a full second (see zvCondition_WaitTimeout); a millisecond
  // less does not. What it refuses then as well is an error.
  WaitStatus WaitFor(Mutex &aMutex, uint32 aDelay) {
    int theStatus = zvCondition_WaitTimeout(Handle(), aMutex.Handle(), aDelay);
    if (ZV_UNLIKELY(theStatus == zvCondition_Status_Error) && aDelay > 0)
      theStatus = zvCondition_WaitTimeout(Handle(), aMutex.Handle(), aDelay - 1);
    return static_cast<WaitStatus>(theStatus);
  }
};

// Counts: release adds one, acquire takes one when there is one.
class Semaphore : public Owner<zvOSSemaphore, zvSemaphore_Delete> {
 public:
  explicit Semaphore(int anInitialValue = 0) : Owner(zvSemaphore_New(anInitialValue)) {}
  // Takes over what the flat interface has made.
  explicit Semaphore(zvOSSemaphore *aHandle) : Owner(aHandle) {}

  // May be called in a signal handler. A refusal is only logged; Post also says it.
  void release() { zvSemaphore_Post(Handle()); }
  Result<void> Post() { return detail::ResultOf(zvSemaphore_Post(Handle())); }

  // An error, EINTR when a signal came, means that nothing was taken.
  Result<void> acquire() { return detail::ResultOf(zvSemaphore_Wait(Handle())); }

  [[nodiscard]] bool try_acquire() { return zvSemaphore_TryWait(Handle()) == zvSemaphore_Status_NoError; }

  // False when the time is over and, before that, when a signal came, which is also logged.
  template <typename Unit, typename Period>
  [[nodiscard]] bool try_acquire_for(std::chrono::duration<Unit, Period> aDelay) {
    uint32 theDelay = detail::Delay(aDelay);
    // The flat wait begins to count at the last full millisecond.
    if (theDelay > 0 && theDelay < UINT32_MAX) ++theDelay;
    return zvSemaphore_WaitTimeout(Handle(), theDelay) == zvSemaphore_Status_NoError;
  }
};

}  // namespace zv

#endif
