// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Measure.h"

#include "support/Statistics.h"

#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <cmath>

namespace zvbench {
namespace {

constexpr uint32 kIterationsMax = 1u << 30;

double Now() {
  struct timespec theTime = {};
  if (clock_gettime(CLOCK_MONOTONIC, &theTime) != 0) Fail("clock_gettime failed");
  return static_cast<double>(theTime.tv_sec) * 1e9 + static_cast<double>(theTime.tv_nsec);
}

double SlowestOf(const std::vector<Loop> &someLoops, uint32 aCount) {
  double theTime = 0;
  for (const Loop &theLoop : someLoops)
    theTime = std::max(theTime, TimeOf(theLoop, aCount));
  return theTime;
}

long Preemptions() {
  struct rusage theUsage = {};
  getrusage(RUSAGE_SELF, &theUsage);
  return theUsage.ru_nivcsw;
}

Sample RunRound(const Sides &aSides, uint32 aCount, bool afBareFirst) {
  Sample theSample = {};
  if (afBareFirst) theSample.mBare = TimeOf(aSides.mBare, aCount);
  theSample.mOurs = TimeOf(aSides.mOurs, aCount);
  if (!afBareFirst) theSample.mBare = TimeOf(aSides.mBare, aCount);
  return {theSample.mBare / aCount, theSample.mOurs / aCount};
}

double FigureOf(Figure aFigure, double aBare, double anOurs) {
  return aFigure == Figure::kRatio ? anOurs / aBare : anOurs - aBare;
}

template <typename Function>
std::vector<double> Sorted(const std::vector<Sample> &aSamples, Function aFunction) {
  std::vector<double> theValues;
  for (const Sample &theSample : aSamples)
    theValues.push_back(aFunction(theSample));
  std::sort(theValues.begin(), theValues.end());
  return theValues;
}

// How far from either end the bounds of the median lie: by the binomial distribution of ranks,
// which asks nothing of how the values are distributed.
size_t RankOfBound(size_t aCount) {
  const double theRank = std::floor(static_cast<double>(aCount) / 2.0 - 0.98 * std::sqrt(aCount));
  return theRank < 1 ? 0 : static_cast<size_t>(theRank) - 1;
}

}  // namespace

double TimeOf(const Loop &aLoop, uint32 aCount) {
  if (!aLoop) return 0;
  const double theStart = Now();
  aLoop(aCount);
  return Now() - theStart;
}

uint32 Calibrate(const std::vector<Loop> &someLoops, double aNanoseconds) {
  for (uint32 theCount = 1; theCount < kIterationsMax; theCount *= 2) {
    double theTime = SlowestOf(someLoops, theCount);
    // What came in between once is not the loop's.
    if (theTime >= aNanoseconds / 4) theTime = std::min(theTime, SlowestOf(someLoops, theCount));
    if (theTime < aNanoseconds / 4) continue;
    const double theExact = theCount * (aNanoseconds / theTime);
    return static_cast<uint32>(std::clamp(theExact, 1.0, static_cast<double>(kIterationsMax)));
  }
  return kIterationsMax;
}

uint32 Rounds::For(double aRound) const {
  return static_cast<uint32>(std::clamp(mBudget / aRound, mMin, mMax));
}

Result MeasureRow(const Row &aRow, const Plan &aPlan) {
  const Sides theSides = aRow.mPrepare();
  const uint32 theIterations = Calibrate({theSides.mBare, theSides.mOurs}, aPlan.mBatchNanoseconds);
  const Sample theFirst = RunRound(theSides, theIterations, true);
  const uint32 theRounds = aPlan.mRounds.For((theFirst.mBare + theFirst.mOurs) * theIterations);

  Result theResult = {aRow, theIterations, 0, {}};
  theResult.mSamples.reserve(theRounds);
  const long thePreemptions = Preemptions();
  for (uint32 theRound = 0; theRound < theRounds; ++theRound) {
    theResult.mSamples.push_back(RunRound(theSides, theIterations, theRound % 2 == 0));
  }
  theResult.mPreemptions = Preemptions() - thePreemptions;
  return theResult;
}

Summary Summarize(const Result &aResult) {
  const Target theTarget = aResult.mRow.mTarget;
  const auto &theSamples = aResult.mSamples;
  const auto theFigures = Sorted(theSamples, [&](const Sample &aSample) {
    return FigureOf(theTarget.mFigure, aSample.mBare, aSample.mOurs);
  });
  const size_t theBound = RankOfBound(theFigures.size());

  Summary theSummary = {};
  theSummary.mBare = Quantile(Sorted(theSamples, [](const Sample &aSample) { return aSample.mBare; }), 0.5);
  theSummary.mOurs = Quantile(Sorted(theSamples, [](const Sample &aSample) { return aSample.mOurs; }), 0.5);
  theSummary.mFigure = FigureOf(theTarget.mFigure, theSummary.mBare, theSummary.mOurs);
  theSummary.mLowerQuartile = Quantile(theFigures, 0.25);
  theSummary.mMedian = Quantile(theFigures, 0.5);
  theSummary.mUpperQuartile = Quantile(theFigures, 0.75);
  theSummary.mLowerBound = theFigures[theBound];
  theSummary.mUpperBound = theFigures[theFigures.size() - 1 - theBound];
  if (theTarget.mLimit <= 0) return theSummary;

  const double theWorse = std::max(theSummary.mFigure, theSummary.mMedian);
  theSummary.mVerdict = theWorse <= theTarget.mLimit ? Verdict::kMet : Verdict::kNotMet;
  theSummary.mfSure = theSummary.mVerdict == Verdict::kMet ? theSummary.mUpperBound <= theTarget.mLimit
                                                           : theSummary.mLowerBound > theTarget.mLimit;
  return theSummary;
}

}  // namespace zvbench
