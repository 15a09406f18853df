// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "Table.h"

#include <algorithm>

#include "support/Measure.h"
#include "support/Report.h"
#include "support/Statistics.h"

namespace zvbench {
namespace {

constexpr double kBatchNanoseconds = 3e6;
constexpr size_t kBareColumn = 0;
constexpr size_t kOurColumn = 1;

using Entries = std::array<Entry, kContestantCount>;

// The iterations for which the slowest takes about the time of a batch. The search warms all of them up.
uint32 Calibrate(const Entries &anEntries) {
  for (uint32 theCount = 1; theCount < kIterationsMax; theCount *= 2) {
    double theTime = 0;
    for (const Entry &theEntry : anEntries) {
      if (theEntry.mLoop) theTime = std::max(theTime, TimeOf(theEntry.mLoop, theCount));
    }
    if (theTime < kBatchNanoseconds / 4) continue;
    return static_cast<uint32>(std::max(1.0, theCount * (kBatchNanoseconds / theTime)));
  }
  return kIterationsMax;
}

Score ScoreOf(const std::vector<double> &aRounds, const std::vector<double> &aBare) {
  std::vector<double> theTimes = aRounds;
  std::vector<double> theRatios;
  for (size_t theRound = 0; theRound < aRounds.size(); ++theRound)
    theRatios.push_back(aRounds[theRound] / aBare[theRound]);
  std::sort(theTimes.begin(), theTimes.end());
  std::sort(theRatios.begin(), theRatios.end());
  return {Quantile(theTimes, 0.5), Quantile(theRatios, 0.25), Quantile(theRatios, 0.5),
          Quantile(theRatios, 0.75)};
}

bool TakesPart(const Score &aScore) {
  return aScore.mRatio > 0;
}

// The best library of a row.
size_t BestOf(const Outcome &aRow) {
  size_t theBest = kOurColumn;
  for (size_t theColumn = kOurColumn; theColumn < kContestantCount; ++theColumn) {
    const Score &theScore = aRow.mScores[theColumn];
    if (TakesPart(theScore) && theScore.mRatio < aRow.mScores[theBest].mRatio) theBest = theColumn;
  }
  return theBest;
}

std::string PlaceOf(const Table &aTable, const Outcome &aRow) {
  const size_t theBest = BestOf(aRow);
  if (theBest == kOurColumn) return "best";
  const bool afWithin = aRow.mScores[kOurColumn].mRatio <= aRow.mScores[theBest].mUpperQuartile;
  return (afWithin ? "within the quartiles of " : "behind ") + std::string(aTable.mColumns[theBest]);
}

std::string TimeText(double aNanoseconds) {
  if (aNanoseconds < 1e3) return Format("%.2f ns", aNanoseconds);
  if (aNanoseconds < 1e6) return Format("%.2f us", aNanoseconds / 1e3);
  return Format("%.2f ms", aNanoseconds / 1e6);
}

}  // namespace

Outcome Hold(const Contest &aContest, uint32 aRounds) {
  Entries theEntries;
  for (size_t theIndex = 0; theIndex < kContestantCount; ++theIndex) {
    if (aContest.mMakers[theIndex]) theEntries[theIndex] = aContest.mMakers[theIndex]();
  }
  const uint32 theIterations = Calibrate(theEntries);

  Outcome theOutcome = {aContest.mName, std::vector<std::vector<double>>(kContestantCount), {}};
  for (uint32 theRound = 0; theRound < aRounds; ++theRound) {
    for (size_t theTurn = 0; theTurn < kContestantCount; ++theTurn) {
      const size_t theIndex = (theRound + theTurn) % kContestantCount;
      const Loop &theLoop = theEntries[theIndex].mLoop;
      if (theLoop) theOutcome.mRounds[theIndex].push_back(TimeOf(theLoop, theIterations) / theIterations);
    }
  }
  for (const std::vector<double> &theRounds : theOutcome.mRounds) {
    theOutcome.mScores.push_back(theRounds.empty() ? Score{}
                                                   : ScoreOf(theRounds, theOutcome.mRounds[kBareColumn]));
  }
  return theOutcome;
}

std::string MakeMarkdown(const Table &aTable) {
  std::string theText;
  for (const auto &[theName, theValue] : aTable.mFacts)
    theText += theName + ": " + theValue + "\n";
  theText += "\n| work | ";
  for (const char *theColumn : aTable.mColumns)
    theText += std::string(theColumn) + " | ";
  theText += "ours is |\n|---|";
  for (size_t theColumn = 0; theColumn <= aTable.mColumns.size(); ++theColumn)
    theText += "---|";
  theText += "\n";
  for (const Outcome &theRow : aTable.mRows) {
    theText += std::string("| ") + theRow.mName + " | " + TimeText(theRow.mScores[kBareColumn].mNanoseconds);
    for (size_t theColumn = kOurColumn; theColumn < kContestantCount; ++theColumn) {
      const Score &theScore = theRow.mScores[theColumn];
      theText += TakesPart(theScore) ? Format(" | %.3f (%.3f to %.3f)", theScore.mRatio,
                                              theScore.mLowerQuartile, theScore.mUpperQuartile)
                                     : " | -";
    }
    theText += " | " + PlaceOf(aTable, theRow) + " |\n";
  }
  theText += "| stripped size | -";
  for (size_t theColumn = kOurColumn; theColumn < kContestantCount; ++theColumn)
    theText += Format(" | %ld B", aTable.mSizes[theColumn]);
  const auto theLibraries = aTable.mSizes.begin() + kOurColumn;
  const bool afBest = *std::min_element(theLibraries, aTable.mSizes.end()) == *theLibraries;
  return theText + (afBest ? " | best |\n" : " | behind |\n");
}

std::string MakeCsv(const Table &aTable) {
  std::string theText;
  for (const auto &[theName, theValue] : aTable.mFacts)
    theText += "# " + theName + ": " + theValue + "\n";
  theText += "work,contestant,median_ns,ratio_p25,ratio_p50,ratio_p75\n";
  for (const Outcome &theRow : aTable.mRows) {
    for (size_t theColumn = 0; theColumn < kContestantCount; ++theColumn) {
      const Score &theScore = theRow.mScores[theColumn];
      if (!TakesPart(theScore)) continue;
      theText +=
          Format("\"%s\",%s,%.3f,%.4f,%.4f,%.4f\n", theRow.mName, aTable.mColumns[theColumn],
                 theScore.mNanoseconds, theScore.mLowerQuartile, theScore.mRatio, theScore.mUpperQuartile);
    }
  }
  for (size_t theColumn = kOurColumn; theColumn < kContestantCount; ++theColumn)
    theText += Format("stripped bytes,%s,%ld,,,\n", aTable.mColumns[theColumn], aTable.mSizes[theColumn]);
  return theText;
}

// A group of bars for each kind of work, a bar for each library, growing from 1, the bare calls. A thin line
// spans the quartiles; what reaches beyond the picture has its value beside it.
std::string MakeChart(const Table &aTable) {
  constexpr double kLeft = 200, kRight = 760, kBar = 11, kGap = 12, kLow = 0.8, kHigh = 2.0;
  constexpr const char *kColours[kContestantCount] = {"", "#3a8f5c", "#6b8cae", "#c8a13d", "#a06ba8"};
  const auto thePlace = [&](double aRatio) {
    return kLeft + (std::clamp(aRatio, kLow, kHigh) - kLow) / (kHigh - kLow) * (kRight - kLeft);
  };
  std::string theBody;
  double theTop = 50;
  for (const Outcome &theRow : aTable.mRows) {
    const double theGroup = theTop;
    for (size_t theColumn = kOurColumn; theColumn < kContestantCount; ++theColumn) {
      const Score &theScore = theRow.mScores[theColumn];
      if (!TakesPart(theScore)) continue;
      const double theFrom = std::min(thePlace(1), thePlace(theScore.mRatio));
      const double theTo = std::max(thePlace(1), thePlace(theScore.mRatio));
      theBody += Format("<rect x='%.1f' y='%.1f' width='%.1f' height='%.1f' fill='%s'/>\n", theFrom, theTop,
                        std::max(1.0, theTo - theFrom), kBar - 1, kColours[theColumn]);
      theBody += Format("<line x1='%.1f' y1='%.1f' x2='%.1f' y2='%.1f' stroke='#111'/>\n",
                        thePlace(theScore.mLowerQuartile), theTop + kBar / 2,
                        thePlace(theScore.mUpperQuartile), theTop + kBar / 2);
      theBody += Format("<text x='%.0f' y='%.1f' font-size='10'>%.3f %s</text>\n", kRight + 10, theTop + 9,
                        theScore.mRatio, aTable.mColumns[theColumn]);
      theTop += kBar;
    }
    theBody += Format("<text x='%.0f' y='%.1f' text-anchor='end'>%s</text>\n", kLeft - 10,
                      (theGroup + theTop) / 2 + 4, theRow.mName);
    theTop += kGap;
  }
  std::string theGrid;
  for (double theRatio = kLow; theRatio < kHigh + 0.01; theRatio += 0.2) {
    theGrid += Format("<line x1='%.1f' y1='44' x2='%.1f' y2='%.1f' stroke='%s'/>\n", thePlace(theRatio),
                      thePlace(theRatio), theTop, theRatio > 0.99 && theRatio < 1.01 ? "#666" : "#e4e4e4");
    theGrid += Format("<text x='%.1f' y='%.1f' text-anchor='middle' font-size='10'>%.1f</text>\n",
                      thePlace(theRatio), theTop + 14, theRatio);
  }
  const double theHeight = theTop + 28;
  return Format("<svg xmlns='http://www.w3.org/2000/svg' width='900' height='%.0f' viewBox='0 0 900 %.0f'>\n",
                theHeight, theHeight) +
         "<style>text{font:12px sans-serif;fill:#222}</style><rect width='100%' height='100%' fill='#fff'/>\n"
         "<text x='20' y='26' font-weight='bold'>Time divided by the time of the bare calls</text>\n" +
         theGrid + theBody + "</svg>\n";
}

}  // namespace zvbench
