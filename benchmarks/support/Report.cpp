// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Report.h"

#include <stdio.h>

namespace zvbench {
namespace {

constexpr char kHeadFormat[] = "%-30s %12s %12s %10s %10s  %-16s  %-16s %8s  %s\n";

std::string FormatRange(Figure aFigure, double aLow, double aHigh) {
  const char *theFormat = aFigure == Figure::kRatio ? "%.3f to %.3f" : "%.2f to %.2f";
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  return Format(theFormat, aLow, aHigh);
#pragma GCC diagnostic pop
}

std::string FormatTarget(const Target &aTarget) {
  if (aTarget.mLimit <= 0) return "-";
  return aTarget.mFigure == Figure::kRatio ? Format("%.2f", aTarget.mLimit)
                                           : Format("%.2f ns", aTarget.mLimit);
}

const char *VerdictName(Verdict aVerdict) {
  switch (aVerdict) {
    case Verdict::kMet:
      return "met";
    case Verdict::kNotMet:
      return "not met";
    case Verdict::kNoTarget:
      break;
  }
  return "no target";
}

std::string CsvLine(const Result &aResult) {
  const Row &theRow = aResult.mRow;
  const Summary theSummary = Summarize(aResult);
  std::string theLine = Quoted(theRow.mName) + "," + Quoted(theRow.mBare) + "," + Quoted(theRow.mOurs);
  theLine += theRow.mTarget.mFigure == Figure::kRatio ? ",ratio" : ",added ns";
  theLine += theRow.mTarget.mLimit > 0 ? Format(",%.2f", theRow.mTarget.mLimit) : ",";
  theLine += Format(",%zu,%u,%.3f,%.3f,%.4f", aResult.mSamples.size(), aResult.mIterations, theSummary.mBare,
                    theSummary.mOurs, theSummary.mFigure);
  theLine +=
      Format(",%.4f,%.4f,%.4f", theSummary.mLowerQuartile, theSummary.mMedian, theSummary.mUpperQuartile);
  theLine += Format(",%.4f,%.4f,%ld", theSummary.mLowerBound, theSummary.mUpperBound, aResult.mPreemptions);
  return theLine + "," + FormatVerdict(theSummary) + "\n";
}

}  // namespace

std::string FormatFigure(Figure aFigure, double aValue) {
  return aFigure == Figure::kRatio ? Format("%.3f", aValue) : Format("%.2f ns", aValue);
}

std::string FormatVerdict(const Summary &aSummary) {
  std::string theText = VerdictName(aSummary.mVerdict);
  if (aSummary.mVerdict != Verdict::kNoTarget && !aSummary.mfSure) theText += " (within noise)";
  return theText;
}

void PrintTableHead() {
  printf(kHeadFormat, "operation", "bare ns", "ours ns", "of medians", "by rounds", "quartiles",
         "95 % interval", "target", "verdict");
}

void PrintTableRow(const Result &aResult) {
  const Summary theSummary = Summarize(aResult);
  const Target &theTarget = aResult.mRow.mTarget;
  const Figure theFigure = theTarget.mFigure;
  printf(kHeadFormat, aResult.mRow.mName, Format("%.2f", theSummary.mBare).c_str(),
         Format("%.2f", theSummary.mOurs).c_str(), FormatFigure(theFigure, theSummary.mFigure).c_str(),
         FormatFigure(theFigure, theSummary.mMedian).c_str(),
         FormatRange(theFigure, theSummary.mLowerQuartile, theSummary.mUpperQuartile).c_str(),
         FormatRange(theFigure, theSummary.mLowerBound, theSummary.mUpperBound).c_str(),
         FormatTarget(theTarget).c_str(), FormatVerdict(theSummary).c_str());
  fflush(stdout);
}

void PrintTableNotes(const Plan &aPlan) {
  printf(
      "\nof medians: the median of ours divided by the median of bare, or, in ns, their difference.\n"
      "by rounds: the median of the same of single rounds, with its quartiles and its 95 %% interval.\n"
      "met: both keep to the target; within noise: the interval reaches across it. %.0f rounds a row\n"
      "(%.0f where they take long), each side about %.1f ms a round or one operation, in alternating order,\n"
      "no round dropped.\n",
      aPlan.mRounds.mMax, aPlan.mRounds.mMin, aPlan.mBatchNanoseconds / 1e6);
}

std::string MakeCsv(const Facts &aFacts, const std::vector<Result> &aResults) {
  std::string theText = FactsAsComments(aFacts) +
                        "operation,bare,ours,figure_is,target,rounds,iterations,bare_ns,ours_ns,figure,"
                        "rounds_p25,rounds_p50,rounds_p75,median_low95,median_high95,preemptions,verdict\n";
  for (const Result &theResult : aResults)
    theText += CsvLine(theResult);
  return theText;
}

std::string MakeMarkdown(const Facts &aFacts, const std::vector<Result> &aResults) {
  std::string theText = FactsAsSentence(aFacts) + "\n" +
                        MarkdownHead({"operation", "bare", "ours", "ratio", "quartiles", "target", "is"});
  for (const Result &theResult : aResults) {
    const Summary theSummary = Summarize(theResult);
    const Target &theTarget = theResult.mRow.mTarget;
    const bool afRatio = theTarget.mFigure == Figure::kRatio;
    theText += MarkdownRow(
        {theResult.mRow.mName, TimeText(theSummary.mBare), TimeText(theSummary.mOurs),
         (afRatio ? "" : "+") + FormatFigure(theTarget.mFigure, theSummary.mFigure),
         FormatRange(theTarget.mFigure, theSummary.mLowerQuartile, theSummary.mUpperQuartile),
         FormatTarget(theTarget), theTarget.mLimit > 0 ? FormatVerdict(theSummary) : std::string()});
  }
  return theText;
}

}  // namespace zvbench
