// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The whole life of a thread.

#include <pthread.h>
#include <semaphore.h>
#include <signal.h>

#include <zvOS/zvThread.h>

#include "support/Rows.h"

namespace zvbench {
namespace {

constexpr int kFatalSignals[] = {SIGSEGV, SIGILL, SIGBUS, SIGABRT, SIGFPE};

void CountRun(void *aCount) {
  ++*static_cast<uint32 *>(aCount);
}

void LeaveToDefault(int aSignal) {
  signal(aSignal, SIG_DFL);
}

struct BareThread {
  sem_t mGate;
  pthread_t mThread;
  uint32 mRuns;
};

void *StartBareThread(void *aThread) {
  for (int theSignal : kFatalSignals)
    signal(theSignal, LeaveToDefault);
  auto *theThread = static_cast<BareThread *>(aThread);
  sem_wait(&theThread->mGate);
  CountRun(&theThread->mRuns);
  return nullptr;
}

// The same system calls as the library makes: a gate that holds the thread back until it is
// run, a stack of the same size, five handlers, the join.
int LiveBareThread() {
  BareThread theThread = {};
  int theFailures = sem_init(&theThread.mGate, 0, 0);
  pthread_attr_t theAttributes;
  theFailures |= pthread_attr_init(&theAttributes);
  theFailures |= pthread_attr_setstacksize(&theAttributes, kzvThread_StackSize);
  theFailures |= pthread_attr_setdetachstate(&theAttributes, PTHREAD_CREATE_JOINABLE);
  theFailures |= pthread_create(&theThread.mThread, &theAttributes, StartBareThread, &theThread);
  theFailures |= pthread_attr_destroy(&theAttributes);
  if (theFailures != 0) Fail("cannot start a bare thread");
  theFailures |= sem_post(&theThread.mGate);
  theFailures |= pthread_join(theThread.mThread, nullptr);
  theFailures |= sem_destroy(&theThread.mGate);
  return theFailures | (theThread.mRuns != 1);
}

int LiveOurThread() {
  uint32 theRuns = 0;
  const zvOSThread_Data theData = {
      CountRun, nullptr, &theRuns, 0, zvThread_Kind_Joinable, zvThread_Scheduling_Default};
  zvOSThread *theThread = zvThread_New(&theData);
  if (theThread == nullptr) Fail("zvThread_New failed");
  int theFailures = zvThread_Run(theThread);
  theFailures |= zvThread_Wait(theThread);
  zvThread_Delete(theThread);
  return theFailures | (theRuns != 1);
}

// The handlers are the process's; a crash in a later row is to die the plain way.
void RestoreHandlers(int *) {
  for (int theSignal : kFatalSignals)
    signal(theSignal, SIG_DFL);
}

Sides ThreadLife() {
  return {Repeat(LiveBareThread), Repeat(LiveOurThread), {std::shared_ptr<int>(nullptr, RestoreHandlers)}};
}

}  // namespace

std::vector<Row> ThreadRows() {
  return {
      {"thread new+run+wait+delete", "pthread_create, pthread_join with the same gate, stack and handlers",
       "zvThread_New, zvThread_Run, zvThread_Wait, zvThread_Delete", RatioAtMost(1.05), ThreadLife},
  };
}

}  // namespace zvbench
