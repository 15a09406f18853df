// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// zvos_bench: what the library costs beside the bare calls of the system, measured in one run.

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <fstream>
#include <string>
#include <vector>

#include <zvOS/zvLogDefines.h>

#include "support/Machine.h"
#include "support/Measure.h"
#include "support/Report.h"
#include "support/Rows.h"

namespace zvbench {

void Fail(const char *aText) {
  fprintf(stderr, "zvos_bench: %s\n", aText);
  exit(1);
}

namespace {

constexpr char kUsage[] =
    "usage: zvos_bench [options]\n"
    "  --filter TEXT  only rows with the text in their names\n"
    "  --rounds N     rounds per row (default 200)\n"
    "  --quick        few short rounds: for a look, not for figures\n"
    "  --csv FILE     write the results as comma-separated values\n"
    "  --svg FILE     write the results as a chart\n"
    "  --list         print the names of the rows and what they compare\n"
    "  --help         this text\n";

constexpr Plan kFullPlan = {200, 3e6};
constexpr Plan kQuickPlan = {15, 0.5e6};
constexpr long kRoundsMax = 100000;

struct Options {
  Plan mPlan = kFullPlan;
  std::string mFilter;
  std::string mCsv;
  std::string mSvg;
  bool mfList = false;
};

[[noreturn]] void RefuseArguments(const std::string &aReason) {
  fprintf(stderr, "zvos_bench: %s\n%s", aReason.c_str(), kUsage);
  exit(2);
}

uint32 ParseRounds(const char *aText) {
  char *theEnd = nullptr;
  const long theRounds = strtol(aText, &theEnd, 10);
  if (theEnd == aText || *theEnd != '\0' || theRounds < 1 || theRounds > kRoundsMax) {
    RefuseArguments("--rounds takes a number from 1 to " + std::to_string(kRoundsMax));
  }
  return static_cast<uint32>(theRounds);
}

Options ParseOptions(int aCount, char **anArguments) {
  Options theOptions;
  uint32 theRounds = 0;
  for (int theIndex = 1; theIndex < aCount; ++theIndex) {
    const std::string theOption = anArguments[theIndex];
    const auto theValue = [&] {
      if (theIndex + 1 >= aCount) RefuseArguments(theOption + " needs a value");
      return anArguments[++theIndex];
    };
    if (theOption == "--help") {
      fputs(kUsage, stdout);
      exit(0);
    } else if (theOption == "--list") {
      theOptions.mfList = true;
    } else if (theOption == "--quick") {
      theOptions.mPlan = kQuickPlan;
    } else if (theOption == "--filter") {
      theOptions.mFilter = theValue();
    } else if (theOption == "--csv") {
      theOptions.mCsv = theValue();
    } else if (theOption == "--svg") {
      theOptions.mSvg = theValue();
    } else if (theOption == "--rounds") {
      theRounds = ParseRounds(theValue());
    } else {
      RefuseArguments("unknown option " + theOption);
    }
  }
  if (theRounds != 0) theOptions.mPlan.mRounds = theRounds;
  return theOptions;
}

std::vector<Row> ChosenRows(const std::string &aFilter) {
  std::vector<Row> theRows;
  for (const Row &theRow : AllRows()) {
    if (strstr(theRow.mName, aFilter.c_str()) != nullptr) theRows.push_back(theRow);
  }
  if (theRows.empty()) Fail("no row has that text in its name; see --list");
  return theRows;
}

void ListRows(const std::vector<Row> &aRows) {
  for (const Row &theRow : aRows) {
    printf("%-30s bare: %s; ours: %s\n", theRow.mName, theRow.mBare, theRow.mOurs);
  }
}

void WriteFile(const std::string &aPath, const std::string &aText) {
  if (aPath.empty()) return;
  std::ofstream theFile(aPath);
  theFile << aText;
  theFile.close();
  if (!theFile) Fail(("cannot write " + aPath).c_str());
}

void Run(const Options &anOptions, const std::vector<Row> &aRows) {
  // Errors show, everything else is silent.
  _zvLog_Level = ZVLOGLEVEL_WARNING;

  Facts theFacts = DescribeMachine(PinToOneProcessor());
  theFacts.emplace_back("load", LoadAverages());
  PrintFacts(theFacts);
  PrintTableHead();

  const SleepingThread theSleepingThread;
  std::vector<Result> theResults;
  for (const Row &theRow : aRows) {
    theResults.push_back(MeasureRow(theRow, anOptions.mPlan));
    PrintTableRow(theResults.back());
  }
  theFacts.emplace_back("load at end", LoadAverages());
  PrintTableNotes(anOptions.mPlan);
  printf("load at end: %s\n", LoadAverages().c_str());

  WriteFile(anOptions.mCsv, MakeCsv(theFacts, theResults));
  WriteFile(anOptions.mSvg, MakeChart(theFacts, theResults));
}

}  // namespace
}  // namespace zvbench

int main(int aCount, char **anArguments) {
  const zvbench::Options theOptions = zvbench::ParseOptions(aCount, anArguments);
  const auto theRows = zvbench::ChosenRows(theOptions.mFilter);
  if (theOptions.mfList) {
    zvbench::ListRows(theRows);
  } else {
    zvbench::Run(theOptions, theRows);
  }
  return 0;
}
