// Reading of a whole file with its checksum, by a pool of threads or by the caller alone.
#pragma once

#include "shared/terminal.h"

#include <zvOS/zvFile.h>

#include <string>

namespace tool {

constexpr uint32 kChunkSize = 1024 * 1024;
constexpr int kWorkerCount = 4;
// Reads under way at the same time: storage is fastest with few, the checksums need the processors.
constexpr int kMostReads = 2;

struct Reading {
  const char *mProblem;  // NULL when the whole file was read
  uint64 mBytes;
  uint32 mChunks;
  uint32 mChecksum;
  int mMostReads;       // the most reads that were under way at the same time
  int64 mMicroseconds;  // by the monotonic clock
};

Reading ReadInParallel(const std::string &aPath, uint64 aSize, Step &aStep);
Reading ReadInOneThread(const std::string &aPath, uint64 aSize, Step &aStep);

}  // namespace tool
