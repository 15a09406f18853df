// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "Table.h"

#include <algorithm>

#include "support/Measure.h"
#include "support/Output.h"
#include "support/Statistics.h"
#include "support/Svg.h"

namespace zvbench {
namespace {

constexpr size_t kBareColumn = 0;
constexpr size_t kOurColumn = 1;

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
  return (afWithin ? "within the quartiles of " : "behind ") + aTable.mColumns[theBest];
}

std::vector<std::string> Heading(const Table &aTable) {
  std::vector<std::string> theCells = {"work"};
  theCells.insert(theCells.end(), aTable.mColumns.begin(), aTable.mColumns.end());
  theCells.emplace_back("ours is");
  return theCells;
}

std::string CellOf(const Score &aScore) {
  if (!TakesPart(aScore)) return "-";
  return Format("%.3f (%.3f to %.3f)<br>", aScore.mRatio, aScore.mLowerQuartile, aScore.mUpperQuartile) +
         TimeText(aScore.mNanoseconds);
}

}  // namespace

Outcome Hold(const Contest &aContest, uint32 aRounds, double aBatch) {
  std::vector<Loop> theLoops(kContestantCount);
  std::vector<std::shared_ptr<const void>> theKeep;
  for (size_t theIndex = 0; theIndex < kContestantCount; ++theIndex) {
    if (!aContest.mMakers[theIndex]) continue;
    const Entry theEntry = aContest.mMakers[theIndex]();
    theLoops[theIndex] = theEntry.mLoop;
    theKeep.push_back(theEntry.mKeep);
  }
  const uint32 theIterations = Calibrate(theLoops, aBatch);

  Outcome theOutcome = {
      aContest.mName, aContest.mDoes, std::vector<std::vector<double>>(kContestantCount), {}};
  for (uint32 theRound = 0; theRound < aRounds; ++theRound) {
    for (size_t theTurn = 0; theTurn < kContestantCount; ++theTurn) {
      const size_t theIndex = (theRound + theTurn) % kContestantCount;
      const Loop &theLoop = theLoops[theIndex];
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
  std::string theText = FactsAsSentence(aTable.mFacts) + "\n" + MarkdownHead(Heading(aTable));
  for (const Outcome &theRow : aTable.mRows) {
    std::vector<std::string> theCells = {theRow.mName, TimeText(theRow.mScores[kBareColumn].mNanoseconds)};
    for (size_t theColumn = kOurColumn; theColumn < kContestantCount; ++theColumn)
      theCells.push_back(CellOf(theRow.mScores[theColumn]));
    theCells.push_back(PlaceOf(aTable, theRow));
    theText += MarkdownRow(theCells);
  }
  if (!aTable.mSizes.empty()) {
    std::vector<std::string> theCells = {"stripped size", "-"};
    for (size_t theColumn = kOurColumn; theColumn < kContestantCount; ++theColumn)
      theCells.push_back(Format("%ld B", aTable.mSizes[theColumn]));
    const auto theLibraries = aTable.mSizes.begin() + kOurColumn;
    const bool afBest = *std::min_element(theLibraries, aTable.mSizes.end()) == *theLibraries;
    theCells.emplace_back(afBest ? "best" : "behind");
    theText += MarkdownRow(theCells);
  }
  theText += "\n";
  for (const Outcome &theRow : aTable.mRows)
    theText += std::string("- **") + theRow.mName + "**: " + theRow.mDoes + "\n";
  return theText;
}

std::string MakeCsv(const Table &aTable) {
  std::string theText =
      FactsAsComments(aTable.mFacts) + "work,contestant,median_ns,ratio_p25,ratio_p50,ratio_p75\n";
  for (const Outcome &theRow : aTable.mRows) {
    for (size_t theColumn = 0; theColumn < kContestantCount; ++theColumn) {
      const Score &theScore = theRow.mScores[theColumn];
      if (!TakesPart(theScore)) continue;
      theText +=
          Format("\"%s\",%s,%.3f,%.4f,%.4f,%.4f\n", theRow.mName, aTable.mColumns[theColumn].c_str(),
                 theScore.mNanoseconds, theScore.mLowerQuartile, theScore.mRatio, theScore.mUpperQuartile);
    }
  }
  for (size_t theColumn = kOurColumn; theColumn < aTable.mSizes.size(); ++theColumn)
    theText +=
        Format("stripped bytes,%s,%ld,,,\n", aTable.mColumns[theColumn].c_str(), aTable.mSizes[theColumn]);
  return theText;
}

// A group of bars for each kind of work, a bar for each library, growing from 1, the bare calls. A thin line
// spans the quartiles; what reaches beyond the picture has its value beside it.
std::string MakeChart(const Table &aTable) {
  constexpr double kLeft = 200, kRight = 760, kBar = 11, kGap = 12;
  constexpr int kLowTenth = 8, kHighTenth = 20;
  constexpr double kLow = kLowTenth / 10.0, kHigh = kHighTenth / 10.0;
  constexpr char kStyle[] =
      ".name{text-anchor:end}.tick{text-anchor:middle;font-size:10px}.value{font-size:10px}"
      ".origin{stroke:#666}.spread{stroke:#111}";
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
      theBody += Box(kColours[theColumn], theFrom, theTop, std::max(1.0, theTo - theFrom), kBar - 1);
      theBody += Line("spread", thePlace(theScore.mLowerQuartile), theTop + kBar / 2,
                      thePlace(theScore.mUpperQuartile), theTop + kBar / 2);
      theBody += TextAt("value", kRight + 10, theTop + 9,
                        Format("%.3f %s", theScore.mRatio, aTable.mColumns[theColumn].c_str()));
      theTop += kBar;
    }
    theBody += TextAt("name", kLeft - 10, (theGroup + theTop) / 2 + 4, theRow.mName);
    theTop += kGap;
  }
  std::string theGrid = TextAt("title", 20, 26, "Time divided by the time of the bare calls");
  for (int theTenth = kLowTenth; theTenth <= kHighTenth; theTenth += 2) {
    const double theX = thePlace(theTenth / 10.0);
    theGrid += Line(theTenth == 10 ? "origin" : "grid", theX, 44, theX, theTop);
    theGrid += TextAt("tick", theX, theTop + 14, Format("%.1f", theTenth / 10.0));
  }
  theTop += 28;
  theBody += Footnotes("Bars: medians. Thin line: quartiles of single rounds.", aTable.mFacts, theTop);
  return Picture(kStyle, 900, theTop, theGrid + theBody);
}

}  // namespace zvbench
