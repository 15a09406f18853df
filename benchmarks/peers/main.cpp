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
#include "support/Output.h"
#include "support/Program.h"
#include "Contest.h"
#include "Table.h"

namespace zvbench {

namespace {

constexpr const Contestant *kContestants[] = {&kBare, &kOurs, &kLibuv, &kApr, &kNspr};
static_assert(std::size(kContestants) == kContestantCount);

struct Naming {
  const char *mName;
  const char *mDoes;
};

// For each kind of work, in its order.
constexpr Naming kNamings[kWorkCount] = {
    {"recursive lock+unlock",
     "one thread takes a free recursive lock and gives it back; NSPR's is a monitor."},
    {"semaphore post+wait", "one thread posts and takes what it has posted, so that nobody waits."},
    {"thread create+join",
     "a thread that counts to one, with what the library thinks a thread needs; the bare "
     "one is `pthread_create` and `pthread_join`."},
    {"trigger and wake",
     "one thread wakes itself out of a wait for descriptors; the bare one writes into a pipe, "
     "selects and reads."},
    {"TCP send+recv 64 B", "a blocking send and a receive on a connected pair over loopback."},
    {"file seek+read 64 B", "to the beginning of a file in memory, and 64 bytes of it."},
    {"walk 10,000 files",
     "all entries of a folder in memory, each compared with a pattern that it matches."}};

constexpr Naming kStart = {"start of a program",
                           "`posix_spawn` and `waitpid` of a program that needs the library "
                           "and does nothing; the bare one needs the C library alone."};

class Places {
 public:
  Places() : mFile(mFolder / "file"), mEntries(mFolder / "entries") {
    std::ofstream(mFile) << std::string(4096, 'x');
    if (mkdir(mEntries.c_str(), 0700) != 0) Fail("cannot make a folder");
    for (uint32 theIndex = 0; theIndex < kWalkedFiles; ++theIndex) {
      char theName[32];
      snprintf(theName, sizeof(theName), "/track-%06u.mp3", theIndex);
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
    Contest theContest = {kNamings[theWork].mName, kNamings[theWork].mDoes, {}};
    for (size_t theIndex = 0; theIndex < kContestantCount; ++theIndex) {
      const auto theMaker = kContestants[theIndex]->mWork[theWork];
      theContest.mMakers[theIndex] =
          theMaker == nullptr ? std::function<Entry()>() : [theMaker, anArena] { return theMaker(anArena); };
    }
    theContests.push_back(theContest);
  }
  Contest theStart = {kStart.mName, kStart.mDoes, {}};
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

Table Compare(const Options &anOptions) {
  const Places thePlaces;
  const uint32 theRounds = anOptions.mRounds != 0 ? anOptions.mRounds : anOptions.mfQuick ? 9 : 200;
  const double theBatch = anOptions.mfQuick ? 0.5e6 : 3e6;
  Table theTable;
  for (const Contestant *theContestant : kContestants) {
    theTable.mColumns.emplace_back(theContestant->mName);
    if (!anOptions.mFilter.empty()) continue;
    theTable.mSizes.push_back(*theContestant->mLibraries == '\0' ? 0
                                                                 : StrippedSize(theContestant->mLibraries));
  }
  for (const Contest &theContest : Chosen(MakeContests(thePlaces.Get()), anOptions)) {
    fprintf(stderr, "zvos_peers: %s\n", theContest.mName);
    theTable.mRows.push_back(Hold(theContest, theRounds, theBatch));
  }
  return theTable;
}

void Run(const Options &anOptions) {
  _zvLog_Level = 2;  // errors show
  Facts theFacts = DescribeMachine(PinToOneProcessor());
  theFacts.emplace_back("load", LoadAverages());
  const SleepingThread theSleepingThread;
  Table theTable = Compare(anOptions);
  theFacts.emplace_back("load at end", LoadAverages());
  theTable.mFacts = theFacts;

  fputs(MakeMarkdown(theTable).c_str(), stdout);
  Results{MakeCsv(theTable), MakeMarkdown(theTable), MakeChart(theTable)}.Write(anOptions);
}

void ListRows() {
  for (const Naming &theNaming : kNamings)
    printf("%-30s %s\n", theNaming.mName, theNaming.mDoes);
  printf("%-30s %s\n", kStart.mName, kStart.mDoes);
}

}  // namespace
}  // namespace zvbench

int main(int aCount, char **anArguments) {
  const zvbench::Options theOptions = zvbench::ParseOptions(aCount, anArguments);
  if (theOptions.mfList) {
    zvbench::ListRows();
  } else {
    zvbench::Run(theOptions);
  }
  return 0;
}
