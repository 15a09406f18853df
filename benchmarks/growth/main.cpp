// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// zvos_growth: what an operation costs when there is more and more of what it works on.

#include <pthread.h>
#include <stdio.h>

#include <algorithm>

#include <zvOS/zvLogDefines.h>

#include "support/Measure.h"
#include "support/Output.h"
#include "support/Program.h"
#include "support/Statistics.h"
#include "growth/growth.h"

namespace zvbench {

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

struct GrowthPlan {
  Rounds mRounds;
  double mBatch;  // nanoseconds that each side runs in a round, about
  uint32 mSizeMax;
};

constexpr GrowthPlan kFullPlan = {{7, 41, 3e9}, 20e6, UINT32_MAX};
constexpr GrowthPlan kQuickPlan = {{3, 3, 0}, 1e6, 1000};

GrowthPlan PlanFor(const Options &anOptions) {
  GrowthPlan thePlan = anOptions.mfQuick ? kQuickPlan : kFullPlan;
  if (anOptions.mRounds != 0) thePlan.mRounds = Rounds::Just(anOptions.mRounds);
  return thePlan;
}

std::vector<GrowthRow> AllGrowthRows() {
  std::vector<GrowthRow> theRows;
  for (const auto &theGroup : {WalkGrowth(), SelectGrowth(), InterfaceGrowth(), SocketTableGrowth(),
                               MutexGrowth(), ServiceGrowth()}) {
    theRows.insert(theRows.end(), theGroup.begin(), theGroup.end());
  }
  return theRows;
}

// ---- Measuring ----

double QuantileOf(std::vector<double> someValues, double aPart) {
  std::sort(someValues.begin(), someValues.end());
  return Quantile(someValues, aPart);
}

GrowthPoint Measure(const Trial &aTrial, uint32 aSize, const GrowthPlan &aPlan) {
  const uint32 theCount = Calibrate({aTrial.mBare, aTrial.mOurs}, aPlan.mBatch);
  const uint32 theRounds = aPlan.mRounds.For(TimeOf(aTrial.mBare, theCount) + TimeOf(aTrial.mOurs, theCount));

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
                          QuantileOf(theBare, 0.5),
                          QuantileOf(theOurs, 0.5),
                          QuantileOf(theOurs, 0.25),
                          QuantileOf(theOurs, 0.75),
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
  std::string theText =
      FactsAsComments(aFacts) +
      "operation,grows,time,bare,ours,size,rounds,bare_ns,ours_ns,ours_p25,ours_p75,memory_bytes\n";
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

// Ours and what it is divided by, and the memory in KiB: bytes are for programs to read.
std::string MakeGrowthMarkdown(const Facts &aFacts, const std::vector<GrowthResult> &aResults) {
  std::string theText = FactsAsSentence(aFacts) + "\n" +
                        MarkdownHead({"operation", "what grows", "size", "time", "bare", "ours", "ratio",
                                      "quartiles of ours", "memory"});
  for (const GrowthResult &theResult : aResults) {
    const GrowthRow &theRow = theResult.mRow;
    for (const GrowthPoint &thePoint : theResult.mPoints) {
      const bool afBare = thePoint.mBare > 0;
      theText += MarkdownRow(
          {theRow.mName, theRow.mSize, std::to_string(thePoint.mSize), theRow.mPart,
           afBare ? TimeText(thePoint.mBare) : "-", TimeText(thePoint.mOurs),
           afBare ? Format("%.3f", thePoint.mOurs / thePoint.mBare) : "-",
           TimeText(thePoint.mLowerQuartile) + " to " + TimeText(thePoint.mUpperQuartile),
           thePoint.mMemory ? Format("%.0f KiB", static_cast<double>(*thePoint.mMemory) / 1024) : "-"});
    }
  }
  return theText;
}

void Run(const Options &anOptions, const std::vector<GrowthRow> &aRows) {
  // Errors show, everything else is silent.
  _zvLog_Level = ZVLOGLEVEL_WARNING;

  const GrowthPlan thePlan = PlanFor(anOptions);
  Facts theFacts = DescribeMachine(-1);
  theFacts.emplace_back("load", LoadAverages());
  PrintFacts(theFacts);
  printf(kHeadFormat, "operation", "size", "bare ns", "ours ns", "ratio", "quartiles", "memory");
  std::vector<GrowthResult> theResults;
  for (const GrowthRow &theRow : aRows) {
    GrowthResult theResult = {theRow, {}};
    for (const uint32 theSize : theRow.mSizes) {
      if (theSize > thePlan.mSizeMax) continue;
      const std::optional<Trial> theTrial = theRow.mPrepare(theSize);
      if (!theTrial) break;
      theResult.mPoints.push_back(Measure(*theTrial, theSize, thePlan));
      PrintPoint(theRow, theResult.mPoints.back());
    }
    if (!theResult.mPoints.empty()) theResults.push_back(theResult);
  }
  PrintNotes(theResults);
  theFacts.emplace_back("load at end", LoadAverages());
  printf("load at end: %s\n", LoadAverages().c_str());

  Results{MakeGrowthCsv(theFacts, theResults), MakeGrowthMarkdown(theFacts, theResults),
          MakeGrowthChart(theFacts, theResults)}
      .Write(anOptions);
}

}  // namespace
}  // namespace zvbench

int main(int aCount, char **anArguments) {
  const zvbench::Options theOptions = zvbench::ParseOptions(aCount, anArguments);
  const auto theRows = zvbench::Chosen(zvbench::AllGrowthRows(), theOptions);
  if (!theOptions.mfList) {
    zvbench::Run(theOptions, theRows);
    return 0;
  }
  for (const zvbench::GrowthRow &theRow : theRows)
    printf("%-34s time %s; bare: %s; ours: %s\n", theRow.mName, theRow.mPart, theRow.mBare, theRow.mOurs);
  return 0;
}
