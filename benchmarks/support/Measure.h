// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Timing of a row and what its rounds say.
#pragma once

#include <vector>

#include "support/Bench.h"

namespace zvbench {

// Nanoseconds; none for a loop that there is not.
double TimeOf(const Loop &aLoop, uint32 aCount);

// The iterations for which the slowest takes about so many nanoseconds. The search warms all of them up.
uint32 Calibrate(const std::vector<Loop> &someLoops, double aNanoseconds);

// As many rounds as a budget has room for, within bounds.
struct Rounds {
  double mMin;
  double mMax;
  double mBudget;  // nanoseconds for all of a row

  static Rounds Just(uint32 aCount) { return {1.0 * aCount, 1.0 * aCount, 0}; }
  uint32 For(double aRound) const;  // nanoseconds that a round takes
};

struct Plan {
  Rounds mRounds;
  double mBatchNanoseconds;  // how long each side runs in a round, about
};

// One round: both sides run once, the order changing from round to round. Nanoseconds per operation.
struct Sample {
  double mBare;
  double mOurs;
};

struct Result {
  Row mRow;
  uint32 mIterations;  // operations of each side in a round
  long mPreemptions;   // how often the system took the processor away during the rounds
  std::vector<Sample> mSamples;
};

// Prepares the row, warms it up, finds the iterations and runs the rounds.
Result MeasureRow(const Row &aRow, const Plan &aPlan);

enum class Verdict { kNoTarget, kMet, kNotMet };

// All rounds count; none is dropped. The figure of the medians is what a reader expects; the median
// of the rounds' figures also holds when the machine's speed changes between rounds. In a calm run
// the two agree.
struct Summary {
  double mBare;           // median nanoseconds per operation
  double mOurs;           // the same
  double mFigure;         // of these two medians: their ratio, or their difference
  double mLowerQuartile;  // of the figures of the single rounds
  double mMedian;
  double mUpperQuartile;
  double mLowerBound;  // 95 % interval of the median of the rounds' figures
  double mUpperBound;
  Verdict mVerdict;  // met when both mFigure and mMedian keep to the target
  bool mfSure;       // the whole interval is on the verdict's side of the target
};

Summary Summarize(const Result &aResult);

}  // namespace zvbench
