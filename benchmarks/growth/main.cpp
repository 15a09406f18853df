// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// zvos_growth: what an operation costs when there is more and more of what it works on.

#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <algorithm>
#include <fstream>

#include <zvOS/zvLogDefines.h>

#include "support/Report.h"
#include "growth/growth.h"

namespace zvbench {

void Fail(const char *aText) {
  fprintf(stderr, "zvos_growth: %s\n", aText);
  exit(1);
}

void RunThreads(uint32 aCount, const std::function<void(uint32)> &aFunction) {
  struct Start {
    const std::function<void(uint32)> *mFunction;
    uint32 mThread;
    pthread_t mHandle;
  };
  std::vector<Start> theStarts(aCount);
  const auto theBegin = [](void *aStart) -> void * {
    const Start &theStart = *static_cast<const Start *>(aStart);
    (*theStart.mFunction)(theStart.mThread);
    return nullptr;
  };
  for (uint32 i = 0; i < aCount; ++i) {
    theStarts[i] = {&aFunction, i, {}};
    if (pthread_create(&theStarts[i].mHandle, nullptr, theBegin, &theStarts[i]) != 0)
      Fail("cannot start a thread");
  }
  for (const Start &theStart : theStarts)
    pthread_join(theStart.mHandle, nullptr);
}

namespace {

constexpr char kUsage[] =
    "usage: zvos_growth [options]\n"
    "  --filter TEXT  only rows with the text in their names\n"
    "  --quick        few rounds and no size above 1000: for a look, not for figures\n"
    "  --csv FILE     write the results as comma-separated values\n"
    "  --svg FILE     write the results as a chart\n"
    "  --list         print the names of the rows and what they compare\n"
    "  --help         this text\n";

struct Plan {
  double mRoundsMin;
  double mRoundsMax;
  double mBatch;   // nanoseconds that each side runs in a round, about
  double mBudget;  // that it runs in all rounds, as long as there are enough of them
  uint32 mSizeMax;
};

constexpr Plan kFullPlan = {7, 41, 20e6, 2e9, UINT32_MAX};
constexpr Plan kQuickPlan = {3, 3, 1e6, 0, 1000};

struct Options {
  Plan mPlan = kFullPlan;
  std::string mFilter;
  std::string mCsv;
  std::string mSvg;
  bool mfList = false;
};

Options ParseOptions(int aCount, char **anArguments) {
  Options theOptions;
  for (int i = 1; i < aCount; ++i) {
    const std::string theOption = anArguments[i];
    const auto theValue = [&]() -> std::string { return i + 1 < aCount ? anArguments[++i] : ""; };
    if (theOption == "--quick") {
      theOptions.mPlan = kQuickPlan;
    } else if (theOption == "--filter") {
      theOptions.mFilter = theValue();
    } else if (theOption == "--csv") {
      theOptions.mCsv = theValue();
    } else if (theOption == "--svg") {
      theOptions.mSvg = theValue();
    } else if (theOption == "--list") {
      theOptions.mfList = true;
    } else {
      const bool afHelp = theOption == "--help";
      fputs(kUsage, afHelp ? stdout : stderr);
      exit(afHelp ? 0 : 2);
    }
  }
  return theOptions;
}

std::vector<GrowthRow> ChosenRows(const std::string &aFilter) {
  std::vector<GrowthRow> theRows;
  for (const auto &theGroup : {WalkGrowth(), SelectGrowth(), InterfaceGrowth(), SocketTableGrowth(),
                               MutexGrowth(), ServiceGrowth()}) {
    for (const GrowthRow &theRow : theGroup) {
      if (strstr(theRow.mName, aFilter.c_str()) != nullptr) theRows.push_back(theRow);
    }
  }
  if (theRows.empty()) Fail("no row has that text in its name; see --list");
  return theRows;
}

// ---- Measuring ----

double Now() {
  struct timespec theTime = {};
  clock_gettime(CLOCK_MONOTONIC, &theTime);
  return static_cast<double>(theTime.tv_sec) * 1e9 + static_cast<double>(theTime.tv_nsec);
}

double TimeOf(const Loop &aLoop, uint32 aCount) {
  if (!aLoop) return 0;
  const double theStart = Now();
  aLoop(aCount);
  return Now() - theStart;
}

double Quantile(std::vector<double> someValues, double aPart) {
  std::sort(someValues.begin(), someValues.end());
  return someValues[static_cast<size_t>(aPart * static_cast<double>(someValues.size() - 1) + 0.5)];
}

GrowthPoint Measure(const Trial &aTrial, uint32 aSize, const Plan &aPlan) {
  uint32 theCount = 1;
  double theTime = 0;
  for (;; theCount *= 2) {
    theTime = std::max(TimeOf(aTrial.mBare, theCount), TimeOf(aTrial.mOurs, theCount));
    if (theTime >= aPlan.mBatch / 2 || theCount >= 1u << 28) break;
  }
  const auto theRounds =
      static_cast<uint32>(std::clamp(aPlan.mBudget / theTime, aPlan.mRoundsMin, aPlan.mRoundsMax));

  std::vector<double> theBare;
  std::vector<double> theOurs;
  for (uint32 theRound = 0; theRound < theRounds; ++theRound) {
    const double theParts = aTrial.mParts * theCount;
    if (theRound % 2 == 0) theBare.push_back(TimeOf(aTrial.mBare, theCount) / theParts);
    theOurs.push_back(TimeOf(aTrial.mOurs, theCount) / theParts);
    if (theRound % 2 != 0) theBare.push_back(TimeOf(aTrial.mBare, theCount) / theParts);
  }
  GrowthPoint thePoint = {aSize,
                          theRounds,
                          Quantile(theBare, 0.5),
                          Quantile(theOurs, 0.5),
                          Quantile(theOurs, 0.25),
                          Quantile(theOurs, 0.75),
                          std::nullopt};
  if (aTrial.mMemory) thePoint.mMemory = aTrial.mMemory();
  return thePoint;
}

// ---- Telling ----

constexpr char kHeadFormat[] = "%-34s %14s %12s %12s %8s  %-24s %12s\n";

void PrintPoint(const GrowthRow &aRow, const GrowthPoint &aPoint) {
  const bool afBare = aPoint.mBare > 0;
  printf(kHeadFormat, aRow.mName, Format("%u %s", static_cast<unsigned>(aPoint.mSize), aRow.mSize).c_str(),
         afBare ? Format("%.1f", aPoint.mBare).c_str() : "-", Format("%.1f", aPoint.mOurs).c_str(),
         afBare ? Format("%.3f", aPoint.mOurs / aPoint.mBare).c_str() : "-",
         Format("%.1f to %.1f", aPoint.mLowerQuartile, aPoint.mUpperQuartile).c_str(),
         aPoint.mMemory ? std::to_string(*aPoint.mMemory).c_str() : "-");
  fflush(stdout);
}

void PrintNotes(const std::vector<GrowthResult> &aResults) {
  printf("\nTimes are medians in nanoseconds, quartiles those of ours. Threads run on all processors.\n");
  for (const GrowthResult &theResult : aResults) {
    const GrowthRow &theRow = theResult.mRow;
    printf("%s: time %s; bare: %s; ours: %s%s%s\n", theRow.mName, theRow.mPart, theRow.mBare, theRow.mOurs,
           theRow.mMemory != nullptr ? "; memory: " : "", theRow.mMemory != nullptr ? theRow.mMemory : "");
  }
}

std::string MakeGrowthCsv(const Facts &aFacts, const std::vector<GrowthResult> &aResults) {
  std::string theText;
  for (const auto &[theName, theValue] : aFacts)
    theText += "# " + theName + ": " + theValue + "\n";
  theText += "operation,grows,time,bare,ours,size,rounds,bare_ns,ours_ns,ours_p25,ours_p75,memory_bytes\n";
  for (const GrowthResult &theResult : aResults) {
    const GrowthRow &theRow = theResult.mRow;
    for (const GrowthPoint &thePoint : theResult.mPoints) {
      theText += Format("\"%s\",\"%s\",\"%s\",\"%s\",\"%s\",%u,%u,%s,%.2f,%.2f,%.2f,%s\n", theRow.mName,
                        theRow.mSize, theRow.mPart, theRow.mBare, theRow.mOurs,
                        static_cast<unsigned>(thePoint.mSize), static_cast<unsigned>(thePoint.mRounds),
                        thePoint.mBare > 0 ? Format("%.2f", thePoint.mBare).c_str() : "", thePoint.mOurs,
                        thePoint.mLowerQuartile, thePoint.mUpperQuartile,
                        thePoint.mMemory ? std::to_string(*thePoint.mMemory).c_str() : "");
    }
  }
  return theText;
}

void WriteFile(const std::string &aPath, const std::string &aText) {
  if (aPath.empty()) return;
  std::ofstream theFile(aPath);
  theFile << aText;
  theFile.close();
  if (!theFile) Fail(("cannot write " + aPath).c_str());
}

void Run(const Options &anOptions, const std::vector<GrowthRow> &aRows) {
  // Errors show, everything else is silent.
  _zvLog_Level = ZVLOGLEVEL_WARNING;

  Facts theFacts = DescribeMachine(-1);
  theFacts.emplace_back("load", LoadAverages());
  PrintFacts(theFacts);
  printf(kHeadFormat, "operation", "size", "bare ns", "ours ns", "ratio", "quartiles", "memory");
  std::vector<GrowthResult> theResults;
  for (const GrowthRow &theRow : aRows) {
    GrowthResult theResult = {theRow, {}};
    for (const uint32 theSize : theRow.mSizes) {
      if (theSize > anOptions.mPlan.mSizeMax) continue;
      const std::optional<Trial> theTrial = theRow.mPrepare(theSize);
      if (!theTrial) break;
      theResult.mPoints.push_back(Measure(*theTrial, theSize, anOptions.mPlan));
      PrintPoint(theRow, theResult.mPoints.back());
    }
    if (!theResult.mPoints.empty()) theResults.push_back(theResult);
  }
  PrintNotes(theResults);
  theFacts.emplace_back("load at end", LoadAverages());
  printf("load at end: %s\n", LoadAverages().c_str());

  WriteFile(anOptions.mCsv, MakeGrowthCsv(theFacts, theResults));
  WriteFile(anOptions.mSvg, MakeGrowthChart(theFacts, theResults));
}

}  // namespace
}  // namespace zvbench

int main(int aCount, char **anArguments) {
  const zvbench::Options theOptions = zvbench::ParseOptions(aCount, anArguments);
  const auto theRows = zvbench::ChosenRows(theOptions.mFilter);
  if (!theOptions.mfList) {
    zvbench::Run(theOptions, theRows);
    return 0;
  }
  for (const zvbench::GrowthRow &theRow : theRows)
    printf("%-34s time %s; bare: %s; ours: %s\n", theRow.mName, theRow.mPart, theRow.mBare, theRow.mOurs);
  return 0;
}
