// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Machine.h"

#include <gnu/libc-version.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <stdlib.h>
#include <sys/utsname.h>
#include <time.h>

#include <fstream>

#include <zvOS/zvMutex.h>
#include <zvOS/zvPath.h>

#include "support/Bench.h"

namespace zvbench {
namespace {

std::string FirstLine(const char *aPath) {
  std::ifstream theFile(aPath);
  std::string theLine;
  std::getline(theFile, theLine);
  return theLine;
}

std::string ProcessorModel() {
  std::ifstream theFile("/proc/cpuinfo");
  for (std::string theLine; std::getline(theFile, theLine);) {
    // "Processor" and "Hardware" are what ARM systems have.
    for (const char *theKey : {"model name", "Processor", "Hardware"}) {
      if (theLine.rfind(theKey, 0) != 0) continue;
      const size_t theColon = theLine.find(": ");
      if (theColon != std::string::npos) return theLine.substr(theColon + 2);
    }
  }
  return "unknown";
}

std::string Text(char *aText) {
  std::string theText = aText == nullptr ? "" : aText;
  free(aText);
  return theText;
}

// The stamp of the library that is measured.
std::string LibraryRevision() {
  const auto theFunction = reinterpret_cast<zvDefaultFunctionPtr>(zvMutex_Lock);
  const std::string thePath = Text(zvPath_GetFunctionSharedLibraryPath(theFunction));
  char *theBranch = nullptr;
  const int theRevision = zvPath_GetBinaryRevision(thePath.c_str(), &theBranch);
  const std::string theLabel = Text(theBranch);
  if (theLabel.empty()) return "unknown";
  return std::to_string(theRevision) + " " + theLabel;
}

std::string Today() {
  const time_t theTime = time(nullptr);
  struct tm theParts = {};
  char theText[32];
  gmtime_r(&theTime, &theParts);
  strftime(theText, sizeof(theText), "%Y-%m-%d %H:%M UTC", &theParts);
  return theText;
}

}  // namespace

int PinToOneProcessor() {
  cpu_set_t theAllowed;
  if (sched_getaffinity(0, sizeof(theAllowed), &theAllowed) != 0) return -1;
  // The first processors serve most interrupts.
  for (int theProcessor = CPU_SETSIZE - 1; theProcessor >= 0; --theProcessor) {
    const auto theIndex = static_cast<size_t>(theProcessor);
    if (!CPU_ISSET(theIndex, &theAllowed)) continue;
    cpu_set_t theOne;
    CPU_ZERO(&theOne);
    CPU_SET(theIndex, &theOne);
    return sched_setaffinity(0, sizeof(theOne), &theOne) == 0 ? theProcessor : -1;
  }
  return -1;
}

Facts DescribeMachine(int aProcessor) {
  struct utsname theSystem = {};
  uname(&theSystem);
  return {
      {"date", Today()},
      {"processor", ProcessorModel()},
      {"system", std::string(theSystem.sysname) + " " + theSystem.release + " " + theSystem.machine},
      {"C library", std::string("glibc ") + gnu_get_libc_version()},
      {"compiler", ZVBENCH_COMPILER},
      {"program", std::to_string(8 * sizeof(void *)) + "-bit, " ZVBENCH_BUILD},
      {"revision", LibraryRevision()},
      {"threads",
       aProcessor < 0 ? "not kept on one processor" : "all on processor " + std::to_string(aProcessor)},
  };
}

std::string LoadAverages() {
  return FirstLine("/proc/loadavg");
}

struct SleepingThread::State {
  sem_t mEnd;
  pthread_t mThread;
};

SleepingThread::SleepingThread() : mState(new State) {
  const auto theStart = [](void *aSemaphore) -> void * {
    while (sem_wait(static_cast<sem_t *>(aSemaphore)) != 0)
      continue;
    return nullptr;
  };
  if (sem_init(&mState->mEnd, 0, 0) != 0 ||
      pthread_create(&mState->mThread, nullptr, theStart, &mState->mEnd) != 0) {
    Fail("cannot start a thread");
  }
}

SleepingThread::~SleepingThread() {
  sem_post(&mState->mEnd);
  pthread_join(mState->mThread, nullptr);
  sem_destroy(&mState->mEnd);
  delete mState;
}

}  // namespace zvbench
