// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "demo/acts.h"
#include "shared/clock.h"
#include "shared/owners.h"
#include "shared/terminal.h"

#include <cinttypes>

namespace tool {

namespace {

constexpr time_t kMostSeconds = 10;
constexpr uint32 kTimeToFallAsleep = 20;

struct Waiter {
  zvSocketSelect *mSelect;
  zvOSSemaphore *mStarted;
  int mCount;
  int mfTriggered;
  int64 mAwake;
};

void WaitForTrigger(void *aWaiter) {
  Waiter &theWaiter = *static_cast<Waiter *>(aWaiter);
  struct timeval theTimeOut = {kMostSeconds, 0};
  zvSemaphore_Post(theWaiter.mStarted);
  theWaiter.mCount = zvSocketSelect_Select(theWaiter.mSelect, nullptr, nullptr, nullptr, 0, &theTimeOut,
                                           &theWaiter.mfTriggered);
  theWaiter.mAwake = Microseconds();
}

}  // namespace

bool WakeUpWait() {
  Step theStep("Wake-up");
  const SelectOwner theSelect(zvSocketSelect_New());
  const SemaphoreOwner theStarted(zvSemaphore_New(0));
  Waiter theWaiter = {theSelect.get(), theStarted.get(), -1, 0, 0};
  int64 theTrigger = 0;
  {
    const ThreadOwner theThread = theSelect && theStarted ? StartThread(WaitForTrigger, &theWaiter) : nullptr;
    if (!theThread) return theStep.Failed("no thread that waits could be made");
    zvSemaphore_Wait(theStarted.get());
    zvThread_Sleep(kTimeToFallAsleep);
    theTrigger = Microseconds();
    zvSocketSelect_Trigger(theSelect.get());
  }
  if (theWaiter.mCount != 1 || theWaiter.mfTriggered != 1)
    return theStep.Failed("the wait did not end by the trigger");
  return theStep.Passed("a wait for sockets ended %" PRId64 " us after another thread triggered it",
                        theWaiter.mAwake - theTrigger);
}

}  // namespace tool
