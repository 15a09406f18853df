// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Program.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>

#include <fstream>

namespace zvbench {
namespace {

constexpr char kUsage[] =
    "usage: %s [options]\n"
    "  --filter TEXT    only rows with the text in their names\n"
    "  --rounds N       rounds per row\n"
    "  --quick          few short rounds: for a look, not for figures\n"
    "  --csv FILE       write the results as comma-separated values\n"
    "  --svg FILE       write the results as a chart\n"
    "  --markdown FILE  write the results as a table in Markdown\n"
    "  --list           print the names of the rows and what they compare\n"
    "  --help           this text\n";

constexpr long kRoundsMax = 100000;

[[noreturn]] void RefuseArguments(const std::string &aReason) {
  fprintf(stderr, "%s: %s\n", program_invocation_short_name, aReason.c_str());
  fprintf(stderr, kUsage, program_invocation_short_name);
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

// Without a path there is nothing to do.
void WriteFile(const std::string &aPath, const std::string &aText) {
  if (aPath.empty()) return;
  std::ofstream theFile(aPath);
  theFile << aText;
  theFile.close();
  if (!theFile) Fail(("cannot write " + aPath).c_str());
}

}  // namespace

void Fail(const char *aText) {
  fprintf(stderr, "%s: %s\n", program_invocation_short_name, aText);
  exit(1);
}

Options ParseOptions(int aCount, char **anArguments) {
  Options theOptions;
  for (int theIndex = 1; theIndex < aCount; ++theIndex) {
    const std::string theOption = anArguments[theIndex];
    const auto theValue = [&] {
      if (theIndex + 1 >= aCount) RefuseArguments(theOption + " needs a value");
      return anArguments[++theIndex];
    };
    if (theOption == "--help") {
      printf(kUsage, program_invocation_short_name);
      exit(0);
    } else if (theOption == "--list") {
      theOptions.mfList = true;
    } else if (theOption == "--quick") {
      theOptions.mfQuick = true;
    } else if (theOption == "--filter") {
      theOptions.mFilter = theValue();
    } else if (theOption == "--csv") {
      theOptions.mCsv = theValue();
    } else if (theOption == "--svg") {
      theOptions.mSvg = theValue();
    } else if (theOption == "--markdown") {
      theOptions.mMarkdown = theValue();
    } else if (theOption == "--rounds") {
      theOptions.mRounds = ParseRounds(theValue());
    } else {
      RefuseArguments("unknown option " + theOption);
    }
  }
  return theOptions;
}

void Results::Write(const Options &anOptions) const {
  WriteFile(anOptions.mCsv, mCsv);
  WriteFile(anOptions.mMarkdown, mMarkdown);
  WriteFile(anOptions.mSvg, mSvg);
}

}  // namespace zvbench
