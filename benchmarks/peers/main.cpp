// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// zvos_peers: the same work done by the bare calls of the system, by this library and by its peers, measured
// in one run.

#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include <zvLog/zvLog.h>

#include "support/Machine.h"
#include "support/Network.h"
#include "Contest.h"
#include "Table.h"

namespace zvbench {

void Fail(const char *aText) {
  fprintf(stderr, "zvos_peers: %s\n", aText);
  exit(1);
}

namespace {

constexpr const Contestant *kContestants[] = {&kBare, &kOurs, &kLibuv, &kApr, &kNspr};
static_assert(std::size(kContestants) == kContestantCount);

// A name for each kind of work, in its order.
constexpr const char *kNames[kWorkCount] = {
    "recursive lock+unlock", "semaphore post+wait", "thread create+join", "trigger and wake",
    "TCP send+recv 64 B",    "file seek+read 64 B", "walk 10,000 files"};

class Places {
 public:
  Places() : mFile(mFolder / "file"), mEntries(mFolder / "entries") {
    std::ofstream(mFile) << std::string(4096, 'x');
    if (mkdir(mEntries.c_str(), 0700) != 0) Fail("cannot make a folder");
    for (uint32 theIndex = 0; theIndex < kWalkedFiles; ++theIndex) {
      char theName[32];
      snprintf(theName, sizeof theName, "/track-%06u.mp3", theIndex);
      if (!std::ofstream(mEntries + theName)) Fail("cannot make a file");
    }
  }
  Arena Get() const { return {mFile.c_str(), mEntries.c_str()}; }

 private:
  const ScratchFolder mFolder;
  const std::string mFile;
  const std::string mEntries;
};

// A program that needs the library and does nothing.
Entry StartOf(const Contestant &aContestant) {
  const std::string theProgram = std::string(ZVPEERS_FOLDER "/zvos_peer_") + aContestant.mName;
  return {Repeat([theProgram] {
            char *const theArguments[] = {const_cast<char *>(theProgram.c_str()), nullptr};
            pid_t theChild = 0;
            if (posix_spawn(&theChild, theArguments[0], nullptr, nullptr, theArguments, environ) != 0)
              return 1;
            int theStatus = 0;
            return static_cast<int>(waitpid(theChild, &theStatus, 0) != theChild) | theStatus;
          }),
          nullptr};
}

std::vector<Contest> MakeContests(const Arena &anArena) {
  std::vector<Contest> theContests;
  for (size_t theWork = 0; theWork < kWorkCount; ++theWork) {
    Contest theContest = {kNames[theWork], {}};
    for (size_t theIndex = 0; theIndex < kContestantCount; ++theIndex) {
      const auto theMaker = kContestants[theIndex]->mWork[theWork];
      theContest.mMakers[theIndex] =
          theMaker == nullptr ? std::function<Entry()>() : [theMaker, anArena] { return theMaker(anArena); };
    }
    theContests.push_back(theContest);
  }
  Contest theStart = {"start of a program", {}};
  for (size_t theIndex = 0; theIndex < kContestantCount; ++theIndex)
    theStart.mMakers[theIndex] = [theIndex] { return StartOf(*kContestants[theIndex]); };
  theContests.push_back(theStart);
  return theContests;
}

// Of all its files, without symbols that are needed only to link and to debug.
long StrippedSize(const char *aLibraries) {
  const std::string theCommand =
      std::string("cd " ZVPEERS_LIBRARIES " && for file in ") + aLibraries +
      "; do [ -e $file ] || file=" ZVPEERS_OURS
      "/$file; strip -o stripped $file && stat -c %s stripped; done; rm -f stripped";
  FILE *thePipe = popen(theCommand.c_str(), "r");
  if (thePipe == nullptr) Fail("cannot ask for sizes");
  long theSum = 0, theSize = 0;
  while (fscanf(thePipe, "%ld", &theSize) == 1)
    theSum += theSize;
  if (pclose(thePipe) != 0 || theSum == 0) Fail("cannot ask for sizes");
  return theSum;
}

void WriteFile(const char *aPath, const std::string &aText) {
  std::ofstream theFile(aPath);
  theFile << aText;
  theFile.close();
  if (!theFile) Fail("cannot write the results");
}

void Run(const char *aCsv, const char *anSvg, uint32 aRounds) {
  _zvLog_Level = 2;  // errors show
  Facts theFacts = DescribeMachine(PinToOneProcessor());
  theFacts.emplace_back("load", LoadAverages());
  const SleepingThread theSleepingThread;
  const Places thePlaces;

  Table theTable;
  for (const Contestant *theContestant : kContestants) {
    theTable.mColumns.push_back(theContestant->mName);
    theTable.mSizes.push_back(*theContestant->mLibraries == '\0' ? 0
                                                                 : StrippedSize(theContestant->mLibraries));
  }
  for (const Contest &theContest : MakeContests(thePlaces.Get())) {
    theTable.mRows.push_back(Hold(theContest, aRounds));
    fprintf(stderr, "zvos_peers: %s\n", theContest.mName);
  }
  theFacts.emplace_back("load at end", LoadAverages());
  theTable.mFacts = theFacts;
  fputs(MakeMarkdown(theTable).c_str(), stdout);
  if (aCsv != nullptr) WriteFile(aCsv, MakeCsv(theTable));
  if (anSvg != nullptr) WriteFile(anSvg, MakeChart(theTable));
}

}  // namespace
}  // namespace zvbench

int main(int aCount, char **anArguments) {
  const char *theCsv = nullptr;
  const char *theSvg = nullptr;
  long theRounds = 200;
  for (int theIndex = 1; theIndex + 1 < aCount; theIndex += 2) {
    const std::string theOption = anArguments[theIndex];
    const char *theValue = anArguments[theIndex + 1];
    if (theOption == "--csv") theCsv = theValue;
    if (theOption == "--svg") theSvg = theValue;
    if (theOption == "--rounds") theRounds = strtol(theValue, nullptr, 10);
  }
  if (aCount % 2 == 0 || theRounds < 1 || theRounds > 100000) {
    fputs("usage: zvos_peers [--rounds N] [--csv FILE] [--svg FILE]\n", stderr);
    return 2;
  }
  zvbench::Run(theCsv, theSvg, static_cast<uint32>(theRounds));
  return 0;
}
