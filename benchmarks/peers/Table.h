// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Several contestants in a row: their measurement and what is made of it.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "support/Machine.h"
#include "Contest.h"

namespace zvbench {

constexpr size_t kContestantCount = 5;  // the first one is the bare calls

struct Contest {
  const char *mName;
  const char *mDoes;                                             // for the reader
  std::array<std::function<Entry()>, kContestantCount> mMakers;  // empty: has no such calls
};

struct Score {
  double mNanoseconds;    // the median
  double mLowerQuartile;  // of the ratios to the bare calls of the same round, as the next two
  double mRatio;
  double mUpperQuartile;
};

struct Outcome {
  const char *mName;
  const char *mDoes;
  std::vector<std::vector<double>> mRounds;  // nanoseconds; empty for who does not take part
  std::vector<Score> mScores;                // all 0 for who does not take part
};

struct Table {
  Facts mFacts;
  std::vector<std::string> mColumns;
  std::vector<long> mSizes;  // bytes; empty when they were not asked for
  std::vector<Outcome> mRows;
};

// Each contestant runs once in every round, for at most about aBatch nanoseconds; who begins changes from
// round to round.
Outcome Hold(const Contest &aContest, uint32 aRounds, double aBatch);

std::string MakeMarkdown(const Table &aTable);
std::string MakeCsv(const Table &aTable);
std::string MakeChart(const Table &aTable);

}  // namespace zvbench
