// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The picture: a panel per row, both scales logarithmic, so that what grows with the size is a slope and what
// does not is level.

#include <algorithm>
#include <cmath>

#include "support/Output.h"
#include "support/Svg.h"
#include "growth/growth.h"

namespace zvbench {
namespace {

constexpr double kPanelWidth = 470;
constexpr double kPanelHeight = 250;
constexpr int kColumns = 2;
constexpr double kLeft = 70;
constexpr double kRight = 20;
constexpr double kTop = 44;
constexpr double kBottom = 44;

// Maps values to places, on a scale that has some room at either end.
class LogScale {
 public:
  LogScale(double aLow, double aHigh, double aRoom, double aFrom, double aTo)
      : mLow(std::log(aLow / aRoom)), mHigh(std::log(aHigh * aRoom)), mFrom(aFrom), mTo(aTo) {}

  double Place(double aValue) const {
    return mFrom + (std::log(aValue) - mLow) / (mHigh - mLow) * (mTo - mFrom);
  }
  bool Has(double aValue) const { return std::log(aValue) >= mLow && std::log(aValue) <= mHigh; }

 private:
  const double mLow;
  const double mHigh;
  const double mFrom;
  const double mTo;
};

std::string Curve(const char *aClass, const std::vector<GrowthPoint> &aPoints, double GrowthPoint::*aTime,
                  const LogScale &aSizes, const LogScale &aTimes) {
  std::string thePlaces;
  std::string theDots;
  for (const GrowthPoint &thePoint : aPoints) {
    if (thePoint.*aTime <= 0) return "";
    const double theX = aSizes.Place(thePoint.mSize);
    const double theY = aTimes.Place(thePoint.*aTime);
    thePlaces += Format("%.1f,%.1f ", theX, theY);
    theDots += Format("<circle class=\"%s\" cx=\"%.1f\" cy=\"%.1f\" r=\"3\"/>\n", aClass, theX, theY);
  }
  return Format("<polyline class=\"%s\" points=\"%s\"/>\n", aClass, thePlaces.c_str()) + theDots;
}

// What the time is for, and the least and the most memory that was told.
std::string NoteOf(const GrowthResult &aResult) {
  std::string theNote = std::string("time ") + aResult.mRow.mPart;
  uint64 theLeast = UINT64_MAX;
  uint64 theMost = 0;
  for (const GrowthPoint &thePoint : aResult.mPoints) {
    if (!thePoint.mMemory) return theNote;
    theLeast = std::min(theLeast, *thePoint.mMemory);
    theMost = std::max(theMost, *thePoint.mMemory);
  }
  return theNote + Format("; %s: %.0f to %.0f KiB", aResult.mRow.mMemory,
                          static_cast<double>(theLeast) / 1024, static_cast<double>(theMost) / 1024);
}

std::string DrawPanel(const GrowthResult &aResult, double aLeft, double aTop) {
  const std::vector<GrowthPoint> &thePoints = aResult.mPoints;
  double theLow = thePoints.front().mOurs;
  double theHigh = theLow;
  for (const GrowthPoint &thePoint : thePoints) {
    theHigh = std::max({theHigh, thePoint.mOurs, thePoint.mBare});
    theLow = std::min({theLow, thePoint.mOurs, thePoint.mBare > 0 ? thePoint.mBare : thePoint.mOurs});
  }
  const double theBottom = aTop + kPanelHeight - kBottom;
  const LogScale theSizes(thePoints.front().mSize, thePoints.back().mSize, 1.2, aLeft + kLeft,
                          aLeft + kPanelWidth - kRight);
  const LogScale theTimes(theLow, theHigh, 1.6, theBottom, aTop + kTop);

  std::string theText = TextAt("title", aLeft + 10, aTop + 18, aResult.mRow.mName) +
                        TextAt("note", aLeft + 10, aTop + 34, NoteOf(aResult));
  for (double theDecade = 1e-3; theDecade < 1e12; theDecade *= 10) {
    for (const double theStep : {1.0, 2.0, 5.0}) {
      const double theValue = theDecade * theStep;
      if (!theTimes.Has(theValue)) continue;
      const double theY = theTimes.Place(theValue);
      theText += Line("grid", aLeft + kLeft, theY, aLeft + kPanelWidth - kRight, theY);
      theText += TextAt("time", aLeft + kLeft - 6, theY + 4, TimeText(theValue));
    }
  }
  for (const GrowthPoint &thePoint : thePoints) {
    theText += TextAt("size", theSizes.Place(thePoint.mSize), theBottom + 16, std::to_string(thePoint.mSize));
  }
  theText += TextAt("size", aLeft + (kLeft + kPanelWidth - kRight) / 2, theBottom + 32, aResult.mRow.mSize);
  return theText + Curve("bare", thePoints, &GrowthPoint::mBare, theSizes, theTimes) +
         Curve("ours", thePoints, &GrowthPoint::mOurs, theSizes, theTimes);
}

constexpr char kStyle[] =
    ".note{font-size:11px;fill:#666}.time{text-anchor:end;font-size:10px;fill:#666}"
    ".size{text-anchor:middle;font-size:10px;fill:#666}"
    "polyline{fill:none;stroke-width:2}polyline.ours{stroke:#c8553d}circle.ours{fill:#c8553d}"
    "polyline.bare{stroke:#6b8cae}circle.bare{fill:#6b8cae}";

}  // namespace

std::string MakeGrowthChart(const Facts &aFacts, const std::vector<GrowthResult> &aResults) {
  std::string theBody;
  int thePanel = 0;
  for (const GrowthResult &theResult : aResults) {
    theBody += DrawPanel(theResult, thePanel % kColumns * kPanelWidth, thePanel / kColumns * kPanelHeight);
    ++thePanel;
  }
  double theTop = (thePanel + kColumns - 1) / kColumns * kPanelHeight;
  theBody += Footnotes("Red: ours. Blue: the bare calls. Points are medians.", aFacts, theTop);
  return Picture(kStyle, kColumns * kPanelWidth, theTop, theBody);
}

}  // namespace zvbench
