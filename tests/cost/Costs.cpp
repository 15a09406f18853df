// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "cost/Costs.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

namespace costtest {
namespace {

constexpr char kBuildMark[] = "# build: ";
constexpr char kHead[] = "what,figure";

struct Pair {
  const HotPath *mPath;
  Stage *mStage;
};

}  // namespace

std::string PublishedBuild() {
  std::ifstream theFile(ZV_PUBLISHED);
  for (std::string theLine; std::getline(theFile, theLine);) {
    if (theLine.rfind(kBuildMark, 0) == 0) return theLine.substr(sizeof(kBuildMark) - 1);
  }
  return "";
}

std::vector<Cost> AllPublished() {
  std::vector<Cost> theCosts;
  std::ifstream theFile(ZV_PUBLISHED);
  bool afBehindHead = false;
  for (std::string theLine; std::getline(theFile, theLine);) {
    const size_t theComma = theLine.rfind(',');
    if (afBehindHead && theComma != std::string::npos)
      theCosts.push_back({theLine.substr(0, theComma), std::stol(theLine.substr(theComma + 1))});
    afBehindHead = afBehindHead || theLine == kHead;
  }
  return theCosts;
}

std::optional<long> Published(const std::string &aWhat) {
  for (const Cost &theCost : AllPublished()) {
    if (theCost.mWhat == aWhat) return theCost.mFigure;
  }
  return std::nullopt;
}

Steps StepsOf(const HotPath &aPath, Stage &aStage) {
  const auto theTurn = [&](bool afStep) {
    if (aPath.mBefore != nullptr) aPath.mBefore(aStage);
    Steps theSteps = {};
    if (afStep) {
      Pair thePair = {&aPath, &aStage};
      theSteps = StepThrough(
          [](void *aPair) {
            const auto *const theCall = static_cast<const Pair *>(aPair);
            theCall->mPath->mCall(*theCall->mStage);
          },
          &thePair);
    } else {
      aPath.mCall(aStage);
    }
    if (aPath.mAfter != nullptr) aPath.mAfter(aStage);
    return theSteps;
  };
  theTurn(false);
  return theTurn(true);
}

std::string InstructionsOf(const HotPath &aPath) {
  return std::string("instructions of ") + aPath.mName;
}

long StrippedSize(const std::string &aLibrary) {
  char theCopy[] = "/tmp/zvos_cost.XXXXXX";
  const int theFile = mkstemp(theCopy);
  if (theFile < 0) return 0;
  close(theFile);
  const std::string theCommand = std::string(ZV_STRIP " -o ") + theCopy + " " + ZV_LIBRARIES "/" + aLibrary;
  struct stat theStatus = {};
  const bool afDone = system(theCommand.c_str()) == 0 && stat(theCopy, &theStatus) == 0;
  unlink(theCopy);
  return afDone ? static_cast<long>(theStatus.st_size) : 0;
}

std::string SizeOf(const std::string &aLibrary) {
  return "stripped bytes of " + aLibrary;
}

std::string ListOfCosts() {
  std::vector<Cost> theCosts;
  for (const char *theLibrary : {"libzvOS.so", "libzvLog.so"})
    theCosts.push_back({SizeOf(theLibrary), StrippedSize(theLibrary)});
  Stage theStage;
  for (const HotPath &thePath : HotPaths())
    theCosts.push_back({InstructionsOf(thePath), StepsOf(thePath, theStage).mInOurLibraries});

  std::string theText =
      "# SPDX-FileCopyrightText: 2026 the libzvOS authors\n"
      "# SPDX-License-Identifier: Apache-2.0\n"
      "#\n"
      "# What the libraries cost on 32-bit x86: their sizes, and how many instructions of theirs a call "
      "takes.\n"
      "# The tests allow 5 % more.\n" +
      std::string(kBuildMark) + kBuild + "\n" + kHead + "\n";
  for (const Cost &theCost : theCosts)
    theText += theCost.mWhat + "," + std::to_string(theCost.mFigure) + "\n";
  return theText;
}

}  // namespace costtest
