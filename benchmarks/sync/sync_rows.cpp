// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Locks, semaphores and conditions.

#include <pthread.h>
#include <semaphore.h>

#include <zvOS/zvCondition.h>
#include <zvOS/zvCriticalSection.h>
#include <zvOS/zvMutex.h>
#include <zvOS/zvSemaphore.h>

#include "support/BareMutex.h"
#include "support/Layer.h"
#include "support/Rows.h"

namespace zvbench {
namespace {

struct BareSemaphore {
  sem_t mSemaphore;

  BareSemaphore() {
    if (sem_init(&mSemaphore, 0, 0) != 0) Fail("cannot make a bare semaphore");
  }
  ~BareSemaphore() { sem_destroy(&mSemaphore); }
  BareSemaphore(const BareSemaphore &) = delete;
  BareSemaphore &operator=(const BareSemaphore &) = delete;
};

std::shared_ptr<zvOSMutex> NewMutex() {
  std::shared_ptr<zvOSMutex> theMutex(zvMutex_New(), zvMutex_Delete);
  if (!theMutex) Fail("zvMutex_New failed");
  return theMutex;
}

Loop LockAndUnlock(BareMutex &aMutex) {
  return RepeatPair<pthread_mutex_lock, pthread_mutex_unlock>(&aMutex.mMutex);
}

Sides LockingSides(const std::shared_ptr<BareMutex> &aBare, const std::shared_ptr<zvOSMutex> &anOurs) {
  return {LockAndUnlock(*aBare), RepeatPair<zvMutex_Lock, zvMutex_Unlock>(anOurs.get()), {aBare, anOurs}};
}

Sides MutexPair() {
  return LockingSides(std::make_shared<BareMutex>(), NewMutex());
}

// The mutex is held all the time, so that only the count of holds changes. The main thread
// prepares, measures and releases, so it owns the holds.
Sides NestedMutexPair() {
  std::shared_ptr<BareMutex> theBare(new BareMutex, [](BareMutex *aMutex) {
    pthread_mutex_unlock(&aMutex->mMutex);
    delete aMutex;
  });
  std::shared_ptr<zvOSMutex> theOurs(zvMutex_New(), [](zvOSMutex *aMutex) {
    zvMutex_Unlock(aMutex);
    zvMutex_Delete(aMutex);
  });
  if (pthread_mutex_lock(&theBare->mMutex) != 0) Fail("cannot hold the bare mutex");
  if (zvMutex_Lock(theOurs.get()) != 0) Fail("cannot hold the mutex");
  return LockingSides(theBare, theOurs);
}

// Both sides have a mutex of the same kind, so that only the layer differs.
Sides LayerPair() {
  auto theBare = std::make_shared<BareMutex>();
  auto theOther = std::make_shared<BareMutex>();
  return {
      LockAndUnlock(*theBare), RepeatPair<Layer_Lock, Layer_Unlock>(&theOther->mMutex), {theBare, theOther}};
}

Sides CriticalSectionPair() {
  auto theBare = std::make_shared<BareMutex>();
  std::shared_ptr<zvOSCriticalSection> theOurs(zvCriticalSection_New(), zvCriticalSection_Delete);
  if (!theOurs) Fail("zvCriticalSection_New failed");
  return {LockAndUnlock(*theBare),
          RepeatPair<zvCriticalSection_Enter, zvCriticalSection_Leave>(theOurs.get()),
          {theBare, theOurs}};
}

Sides SemaphorePair() {
  auto theBare = std::make_shared<BareSemaphore>();
  std::shared_ptr<zvOSSemaphore> theOurs(zvSemaphore_New(0), zvSemaphore_Delete);
  if (!theOurs) Fail("zvSemaphore_New failed");
  return {RepeatPair<sem_post, sem_wait>(&theBare->mSemaphore),
          RepeatPair<zvSemaphore_Post, zvSemaphore_Wait>(theOurs.get()),
          {theBare, theOurs}};
}

// The calls of one side, so that both play the same game.
struct BareCalls {
  BareMutex mMutex;
  pthread_cond_t mCondition = PTHREAD_COND_INITIALIZER;

  ~BareCalls() { pthread_cond_destroy(&mCondition); }
  int Lock() { return pthread_mutex_lock(&mMutex.mMutex); }
  int Unlock() { return pthread_mutex_unlock(&mMutex.mMutex); }
  int Signal() { return pthread_cond_signal(&mCondition); }
  int Wait() { return pthread_cond_wait(&mCondition, &mMutex.mMutex); }
};

struct OurCalls {
  std::shared_ptr<zvOSMutex> mMutex = NewMutex();
  std::shared_ptr<zvOSCondition> mCondition{zvCondition_New(), zvCondition_Delete};

  OurCalls() {
    if (!mCondition) Fail("zvCondition_New failed");
  }
  int Lock() { return zvMutex_Lock(mMutex.get()); }
  int Unlock() { return zvMutex_Unlock(mMutex.get()); }
  int Signal() { return zvCondition_Signal(mCondition.get()); }
  int Wait() { return zvCondition_Wait(mCondition.get(), mMutex.get()); }
};

// Two threads that hand the turn to each other. Both share the processor of the program, so a
// round trip is two changes of thread, and no wake-up crosses processors.
template <typename Calls>
class PingPong {
 public:
  PingPong() {
    if (pthread_create(&mPartner, nullptr, Start, this) != 0) Fail("cannot start a thread");
  }
  ~PingPong() {
    HandOver(Turn::kEnd);
    pthread_join(mPartner, nullptr);
  }
  PingPong(const PingPong &) = delete;
  PingPong &operator=(const PingPong &) = delete;

  int RoundTrip() {
    int theFailures = mCalls.Lock();
    mTurn = Turn::kPartner;
    theFailures |= mCalls.Signal();
    while (mTurn != Turn::kCaller)
      theFailures |= mCalls.Wait();
    return theFailures | mCalls.Unlock();
  }

 private:
  enum class Turn { kCaller, kPartner, kEnd };

  void HandOver(Turn aTurn) {
    int theFailures = mCalls.Lock();
    mTurn = aTurn;
    theFailures |= mCalls.Signal();
    theFailures |= mCalls.Unlock();
    if (theFailures != 0) Fail("handing over the turn failed");
  }

  void Play() {
    int theFailures = 0;
    for (;;) {
      theFailures |= mCalls.Lock();
      while (mTurn == Turn::kCaller)
        theFailures |= mCalls.Wait();
      if (mTurn == Turn::kEnd) break;
      mTurn = Turn::kCaller;
      theFailures |= mCalls.Signal();
      theFailures |= mCalls.Unlock();
    }
    theFailures |= mCalls.Unlock();
    if (theFailures != 0) Fail("the partner of the ping-pong failed");
  }

  static void *Start(void *aPingPong) {
    static_cast<PingPong *>(aPingPong)->Play();
    return nullptr;
  }

  Calls mCalls;
  Turn mTurn = Turn::kCaller;
  pthread_t mPartner{};
};

}  // namespace

std::vector<Row> SyncRows() {
  return {
      {"mere layer: lock+unlock", "pthread_mutex_lock, pthread_mutex_unlock (recursive)",
       "the same through functions that return a status", NoTarget(), LayerPair},
      {"mutex lock+unlock", "pthread_mutex_lock, pthread_mutex_unlock (recursive)",
       "zvMutex_Lock, zvMutex_Unlock", RatioAtMost(1.10), MutexPair},
      {"mutex nested lock+unlock", "the same while held", "the same while held", NoTarget(), NestedMutexPair},
      {"critical section enter+leave", "pthread_mutex_lock, pthread_mutex_unlock (recursive)",
       "zvCriticalSection_Enter, zvCriticalSection_Leave", NoTarget(), CriticalSectionPair},
      {"semaphore post+wait", "sem_post, sem_wait", "zvSemaphore_Post, zvSemaphore_Wait", NoTarget(),
       SemaphorePair},
      {"condition ping-pong", "pthread_cond_wait and pthread_cond_signal between two threads",
       "zvCondition_Wait and zvCondition_Signal between two threads", RatioAtMost(1.05),
       RoundTrips<PingPong<BareCalls>, PingPong<OurCalls>>},
  };
}

}  // namespace zvbench
