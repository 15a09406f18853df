// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the programs of the benchmark share: their options, the choice of rows.
#pragma once

#include <string.h>

#include <string>
#include <vector>

#include "support/Bench.h"

namespace zvbench {

struct Options {
  std::string mFilter;
  std::string mCsv;
  std::string mSvg;
  std::string mMarkdown;
  uint32 mRounds = 0;  // 0: as many as the program thinks right
  bool mfQuick = false;
  bool mfList = false;
};

// Ends the program after --help and where it does not understand.
Options ParseOptions(int aCount, char **anArguments);

// Writes the results to the files that were asked for.
struct Results {
  std::string mCsv;
  std::string mMarkdown;
  std::string mSvg;

  void Write(const Options &anOptions) const;
};

// The rows with the text in their names; there is at least one, or the program ends.
template <typename SomeRow>
std::vector<SomeRow> Chosen(const std::vector<SomeRow> &someRows, const Options &anOptions) {
  std::vector<SomeRow> theRows;
  for (const SomeRow &theRow : someRows) {
    if (strstr(theRow.mName, anOptions.mFilter.c_str()) != nullptr) theRows.push_back(theRow);
  }
  if (theRows.empty()) Fail("no row has that text in its name; see --list");
  return theRows;
}

}  // namespace zvbench
