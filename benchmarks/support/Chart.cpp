// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The picture: a bar per row. Ratios grow from 1, the bare call, so that a bar is what the library
// adds; added times grow from 0 on a scale of their own. A thin line spans the quartiles of
// the rounds, a dashed one marks the row's target.

#include <algorithm>
#include <cmath>

#include "support/Report.h"
#include "support/Svg.h"

namespace zvbench {
namespace {

constexpr double kWidth = 960;
constexpr double kPlotLeft = 230;
constexpr double kPlotRight = 640;
constexpr double kRowHeight = 28;
constexpr double kBarHeight = 16;
constexpr double kPanelHead = 44;
constexpr double kPanelFoot = 34;

struct Scale {
  double mLow;
  double mHigh;
  double mStep;

  double Place(double aValue) const {
    const double thePart = (std::clamp(aValue, mLow, mHigh) - mLow) / (mHigh - mLow);
    return kPlotLeft + thePart * (kPlotRight - kPlotLeft);
  }
};

// Wide enough for every figure, in at most ten steps; quartiles may go beyond. A ratio far off the
// others is cut at the edge: its value stands beside it.
Scale MakeScale(Figure aFigure, const std::vector<Result> &aResults) {
  constexpr double kRatioEdge = 1.6;
  const bool theIsRatio = aFigure == Figure::kRatio;
  Scale theScale = {theIsRatio ? 0.95 : 0.0, theIsRatio ? 1.10 : 1.2, 0.0};
  for (const Result &theResult : aResults) {
    if (theResult.mRow.mTarget.mFigure != aFigure) continue;
    const Summary theSummary = Summarize(theResult);
    theScale.mLow = std::min(theScale.mLow, theSummary.mFigure);
    theScale.mHigh = std::max(theScale.mHigh, theSummary.mFigure);
  }
  if (theIsRatio) {
    theScale.mLow = std::max(theScale.mLow, 0.5);
    theScale.mHigh = std::min(theScale.mHigh, kRatioEdge);
  }
  theScale.mStep = 0.01;
  for (double theStep : {0.02, 0.05, 0.1, 0.2, 0.5, 1.0, 2.0, 5.0, 10.0}) {
    if ((theScale.mHigh - theScale.mLow) / theScale.mStep <= 10) break;
    theScale.mStep = theStep;
  }
  // Both ends on a step; the small part keeps a value that is on one from being moved.
  const auto theFirst =
      static_cast<long>((theScale.mLow + 1e-9) / theScale.mStep) - (theScale.mLow < -1e-9 ? 1 : 0);
  const auto theLast = static_cast<long>((theScale.mHigh - 1e-9) / theScale.mStep) + 1;
  theScale.mLow = static_cast<double>(theFirst) * theScale.mStep;
  theScale.mHigh = static_cast<double>(theLast) * theScale.mStep;
  return theScale;
}

const char *Colour(Verdict aVerdict) {
  switch (aVerdict) {
    case Verdict::kMet:
      return "#3a8f5c";
    case Verdict::kNotMet:
      return "#c8553d";
    case Verdict::kNoTarget:
      break;
  }
  return "#6b8cae";
}

std::string DrawGrid(const Scale &aScale, Figure aFigure, double aTop, double aBottom) {
  std::string theText;
  for (int theIndex = 0;; ++theIndex) {
    const double theValue = aScale.mLow + theIndex * aScale.mStep;
    if (theValue > aScale.mHigh + aScale.mStep / 2) return theText;
    theText += Line("grid", aScale.Place(theValue), aTop, aScale.Place(theValue), aBottom);
    theText += TextAt("tick", aScale.Place(theValue), aBottom + 15,
                      Format(aFigure == Figure::kRatio ? "%.2f" : "%.2f ns", theValue));
  }
}

std::string DrawRow(const Result &aResult, const Scale &aScale, double aTop) {
  const Target &theTarget = aResult.mRow.mTarget;
  const Summary theSummary = Summarize(aResult);
  const double theMiddle = aTop + kRowHeight / 2;
  const double theOrigin = aScale.Place(theTarget.mFigure == Figure::kRatio ? 1.0 : 0.0);
  const double theEnd = aScale.Place(theSummary.mFigure);

  std::string theText = TextAt("name", kPlotLeft - 10, theMiddle + 4, aResult.mRow.mName);
  theText += Box(Colour(theSummary.mVerdict), std::min(theOrigin, theEnd), theMiddle - kBarHeight / 2,
                 std::max(1.0, std::abs(theEnd - theOrigin)), kBarHeight);
  theText += Line("spread", aScale.Place(theSummary.mLowerQuartile), theMiddle,
                  aScale.Place(theSummary.mUpperQuartile), theMiddle);
  if (theTarget.mLimit > 0) {
    const double thePlace = aScale.Place(theTarget.mLimit);
    theText += Line("target", thePlace, aTop + 2, thePlace, aTop + kRowHeight - 2);
  }
  std::string theValue = FormatFigure(theTarget.mFigure, theSummary.mFigure);
  if (theSummary.mFigure > aScale.mHigh) theValue = "\xe2\x86\x92 " + theValue;
  theText += TextAt("value", kPlotRight + 14, theMiddle + 4, theValue);
  std::string theVerdict = FormatVerdict(theSummary);
  if (theTarget.mLimit > 0) theVerdict += Format(", target %.2f", theTarget.mLimit);
  return theText + TextAt("verdict", kPlotRight + 80, theMiddle + 4, theVerdict);
}

// Draws the rows of one figure and moves aTop past them.
std::string DrawPanel(Figure aFigure, const char *aTitle, const std::vector<Result> &aResults, double &aTop) {
  std::string theRows;
  const Scale theScale = MakeScale(aFigure, aResults);
  double theBottom = aTop + kPanelHead;
  const double theFirst = theBottom;
  for (const Result &theResult : aResults) {
    if (theResult.mRow.mTarget.mFigure != aFigure) continue;
    theRows += DrawRow(theResult, theScale, theBottom);
    theBottom += kRowHeight;
  }
  if (theRows.empty()) return "";

  std::string theText = TextAt("title", 20, aTop + 26, aTitle);
  theText += DrawGrid(theScale, aFigure, theFirst, theBottom);
  if (aFigure == Figure::kRatio) {
    theText += Line("origin", theScale.Place(1.0), theFirst, theScale.Place(1.0), theBottom);
  }
  aTop = theBottom + kPanelFoot;
  return theText + theRows;
}

constexpr char kStyle[] =
    ".name{text-anchor:end}.tick{text-anchor:middle;font-size:10px;fill:#666}"
    ".value{font-weight:bold}.verdict{fill:#444}.origin{stroke:#666}.spread{stroke:#111;stroke-width:2}"
    ".target{stroke:#111;stroke-width:1.5;stroke-dasharray:4 2}";

}  // namespace

std::string MakeChart(const Facts &aFacts, const std::vector<Result> &aResults) {
  double theTop = 0;
  std::string theBody =
      DrawPanel(Figure::kRatio, "Time divided by the time of the bare calls", aResults, theTop);
  theBody += DrawPanel(Figure::kAddedNanoseconds, "Time added to an empty loop", aResults, theTop);
  theBody +=
      Footnotes("Bars: medians. Thin line: quartiles of single rounds. Dashed line: target.", aFacts, theTop);
  return Picture(kStyle, kWidth, theTop, theBody);
}

}  // namespace zvbench
