// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What a row of growth is: an operation of the library at several sizes, and beside it, where there is such a
// thing, the bare calls it stands for. The figure is the time for one part of what grows, so that a flat line
// is what to hope for.
//
// Add rows to one of the files here, or in a new one named in main.cpp.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/Bench.h"
#include "support/Machine.h"

namespace zvbench {

// A row at one size, ready to run.
struct Trial {
  Loop mBare;  // may be none
  Loop mOurs;
  double mParts;                                   // that one iteration has; the time is divided by it
  std::function<uint64()> mMemory;                 // in bytes, asked for at the end; may be none
  std::vector<std::shared_ptr<const void>> mKeep;  // what the loops use, released at the end
};

struct GrowthRow {
  const char *mName;
  const char *mSize;    // what grows
  const char *mPart;    // what the time is for
  const char *mMemory;  // whose memory is told, NULL for nobody's
  const char *mBare;    // the calls of each side, for the reader
  const char *mOurs;
  std::vector<uint32> mSizes;
  // None, with a message on standard error, when the machine does not let us.
  std::function<std::optional<Trial>(uint32 aSize)> mPrepare;
};

// Medians, nanoseconds for a part.
struct GrowthPoint {
  uint32 mSize;
  uint32 mRounds;
  double mBare;  // 0 when there is no such side
  double mOurs;
  double mLowerQuartile;  // of ours
  double mUpperQuartile;
  std::optional<uint64> mMemory;
};

struct GrowthResult {
  GrowthRow mRow;
  std::vector<GrowthPoint> mPoints;
};

std::vector<GrowthRow> WalkGrowth();
std::vector<GrowthRow> SelectGrowth();
std::vector<GrowthRow> InterfaceGrowth();
std::vector<GrowthRow> SocketTableGrowth();
std::vector<GrowthRow> MutexGrowth();
std::vector<GrowthRow> ServiceGrowth();

std::string MakeGrowthChart(const Facts &aFacts, const std::vector<GrowthResult> &aResults);

// Has that many threads do the same, and waits for them all.
void RunThreads(uint32 aCount, const std::function<void(uint32 aThread)> &aFunction);

}  // namespace zvbench
