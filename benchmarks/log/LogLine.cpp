// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "log/LogLine.h"

#include <pthread.h>
#include <sched.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <array>

#include <zvLog/zvLogSettings.h>
#include <zvOS/zvLogDefines.h>

namespace zvbench {
namespace {

constexpr uint32 kThreads = 4;

void UseAllProcessors() {
  cpu_set_t theProcessors;
  memset(&theProcessors, 0xff, sizeof(theProcessors));
  if (sched_setaffinity(0, sizeof(theProcessors), &theProcessors) != 0) Fail("cannot use all processors");
}

// Threads that run the same loop whenever they are told to, until the object is gone.
class Team {
 public:
  explicit Team(const Loop &aLoop) : mLoop(aLoop) {
    pthread_barrier_init(&mStart, nullptr, kThreads + 1);
    pthread_barrier_init(&mEnd, nullptr, kThreads + 1);
    for (pthread_t &theThread : mThreads) {
      if (pthread_create(&theThread, nullptr, Main, this) != 0) Fail("cannot start a thread");
    }
  }
  ~Team() {
    mfEnds = true;
    pthread_barrier_wait(&mStart);
    for (const pthread_t theThread : mThreads)
      pthread_join(theThread, nullptr);
    pthread_barrier_destroy(&mStart);
    pthread_barrier_destroy(&mEnd);
  }
  Team(const Team &) = delete;
  Team &operator=(const Team &) = delete;

  void Run(uint32 aCount) {
    mCount = (aCount + kThreads - 1) / kThreads;
    pthread_barrier_wait(&mStart);
    pthread_barrier_wait(&mEnd);
  }

 private:
  static void *Main(void *aTeam) {
    UseAllProcessors();
    Team *const theTeam = static_cast<Team *>(aTeam);
    for (;;) {
      pthread_barrier_wait(&theTeam->mStart);
      if (theTeam->mfEnds) return nullptr;
      theTeam->mLoop(theTeam->mCount);
      pthread_barrier_wait(&theTeam->mEnd);
    }
  }

  const Loop mLoop;
  std::array<pthread_t, kThreads> mThreads = {};
  pthread_barrier_t mStart;
  pthread_barrier_t mEnd;
  uint32 mCount = 0;
  bool mfEnds = false;
};

Loop InFourThreads(const Loop &aLoop) {
  const auto theTeam = std::make_shared<Team>(aLoop);
  return [theTeam](uint32 aCount) { theTeam->Run(aCount); };
}

Loop EmptyingFirst(const std::shared_ptr<LogFile> &aFile, const Loop &aLoop) {
  return [aFile, aLoop](uint32 aCount) {
    if (truncate(aFile->Path(), 0) != 0) Fail("cannot empty a file");
    aLoop(aCount);
  };
}

void LogRecords(uint32 aCount) {
  for (uint32 theIndex = 0; theIndex < aCount; ++theIndex)
    ZVLOG_ERR(FILE, F("zvFile: cannot open '%s' (error = %d)\n", kLogPath, kLogError));
}

// The log goes to a file as long as the object lives.
struct OurLog {
  const std::shared_ptr<LogFile> mFile = std::make_shared<LogFile>();
  OurLog() {
    if (zvLog_SetSinkFile(mFile->Path()) == 0) Fail("the log does not take a file");
  }
  ~OurLog() { zvLog_SetSinkStandardError(); }
  OurLog(const OurLog &) = delete;
  OurLog &operator=(const OurLog &) = delete;
};

}  // namespace

LogFile::LogFile()
    : mPath(access("/dev/shm", W_OK) == 0 ? "/dev/shm/zvos_bench.XXXXXX" : "/tmp/zvos_bench.XXXXXX") {
  const int theFile = mkstemp(&mPath[0]);
  if (theFile < 0) Fail("cannot make a file in memory");
  close(theFile);
}

LogFile::~LogFile() {
  unlink(mPath.c_str());
}

Sides BesideOurLog(Threads aThreads, const std::shared_ptr<LogFile> &aFile, const Loop &aLoop,
                   const std::shared_ptr<const void> &aKeep) {
  const auto theLog = std::make_shared<OurLog>();
  const auto theSide = [aThreads](const std::shared_ptr<LogFile> &aSidesFile, const Loop &aSidesLoop) {
    return EmptyingFirst(aSidesFile, aThreads == Threads::Four ? InFourThreads(aSidesLoop) : aSidesLoop);
  };
  return {theSide(aFile, aLoop), theSide(theLog->mFile, LogRecords), {aKeep, theLog}};
}

}  // namespace zvbench
