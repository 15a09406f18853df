// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// zvos_bench: what the library costs beside the bare calls of the system, measured in one run.

#include <stdio.h>

#include <zvOS/zvLogDefines.h>

#include "support/Machine.h"
#include "support/Program.h"
#include "support/Report.h"
#include "support/Rows.h"

namespace zvbench {
namespace {

constexpr Plan kFullPlan = {{40, 200, 6e9}, 3e6};
constexpr Plan kQuickPlan = {{15, 15, 0}, 0.5e6};

Plan PlanFor(const Options &anOptions) {
  Plan thePlan = anOptions.mfQuick ? kQuickPlan : kFullPlan;
  if (anOptions.mRounds != 0) thePlan.mRounds = Rounds::Just(anOptions.mRounds);
  return thePlan;
}

void ListRows(const std::vector<Row> &aRows) {
  for (const Row &theRow : aRows) {
    printf("%-30s bare: %s; ours: %s\n", theRow.mName, theRow.mBare, theRow.mOurs);
  }
}

void Run(const Options &anOptions, const std::vector<Row> &aRows) {
  // Errors show, everything else is silent.
  _zvLog_Level = ZVLOGLEVEL_WARNING;

  const Plan thePlan = PlanFor(anOptions);
  Facts theFacts = DescribeMachine(PinToOneProcessor());
  theFacts.emplace_back("load", LoadAverages());
  PrintFacts(theFacts);
  PrintTableHead();

  const SleepingThread theSleepingThread;
  std::vector<Result> theResults;
  for (const Row &theRow : aRows) {
    theResults.push_back(MeasureRow(theRow, thePlan));
    PrintTableRow(theResults.back());
  }
  theFacts.emplace_back("load at end", LoadAverages());
  PrintTableNotes(thePlan);
  printf("load at end: %s\n", LoadAverages().c_str());

  Results{MakeCsv(theFacts, theResults), MakeMarkdown(theFacts, theResults), MakeChart(theFacts, theResults)}
      .Write(anOptions);
}

}  // namespace
}  // namespace zvbench

int main(int aCount, char **anArguments) {
  const zvbench::Options theOptions = zvbench::ParseOptions(aCount, anArguments);
  const auto theRows = zvbench::Chosen(zvbench::AllRows(), theOptions);
  if (theOptions.mfList) {
    zvbench::ListRows(theRows);
  } else {
    zvbench::Run(theOptions, theRows);
  }
  return 0;
}
