// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Links in a walk. An ordinary link is looked at once, any other by zvFile_Exists and zvDir_Exists: the two
// ways agree on entries and messages.

#include <zvOS/zvDirTraverser.h>

#include "files_support.h"
#include "support/Faults.h"

#include <dirent.h>
#include <sys/stat.h>

#include <map>
#include <set>
#include <tuple>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using namespace zvtest;

namespace {

class DirTraverserLinks : public testing::Test {
 protected:
  RecordingLog mLog;
  Tree mTree;
};

// What a whole walk tells: each name with mfDir and mfHidden, and its messages.
struct Told {
  std::map<std::string, std::tuple<int, int>> mEntries;
  std::multiset<std::tuple<zvLogLevel, zvLogModule, std::string>> mMessages;
  int mStatus;
};

Told TellOf(RecordingLog &aLog, const Traverser &aTraverser) {
  Told theTold;
  aLog.Clear();
  aTraverser.Rewind();
  for (const zvDirEntry *theEntry = aTraverser.First("*", zvDIR_DEFAULT | zvDIR_DOTDOT); theEntry != nullptr;
       theEntry = aTraverser.Next()) {
    theTold.mEntries.emplace(theEntry->mName, std::make_tuple(theEntry->mfDir, theEntry->mfHidden));
  }
  theTold.mStatus = aTraverser.Status();
  for (const zvtest::Message &theMessage : aLog.Messages())
    theTold.mMessages.emplace(theMessage.mLevel, theMessage.mModule, theMessage.mText);
  return theTold;
}

// The same of a file system that does not tell links, so that each is asked about twice.
Told TellWithoutLinks(RecordingLog &aLog, const Traverser &aTraverser) {
  DIR *theStream = nullptr;
  Fault theOpening("opendir", 0);
  theOpening.Doing([&](const long long *anArguments) {
    theStream = opendir(ArgumentAs<const char>(anArguments[0]));
    theOpening.Returning(AsArgument(theStream));
  });
  Fault theReading("readdir", 0, 0, -1);
  theReading.Doing([&](const long long *) {
    dirent *theEntry = readdir(theStream);
    if (theEntry != nullptr && theEntry->d_type == DT_LNK) theEntry->d_type = DT_UNKNOWN;
    theReading.Returning(AsArgument(theEntry));
  });
  return TellOf(aLog, aTraverser);
}

void ExpectTheSame(const Told &aTold, const Told &another) {
  EXPECT_EQ(aTold.mEntries, another.mEntries);
  EXPECT_EQ(aTold.mMessages, another.mMessages);
  EXPECT_EQ(aTold.mStatus, another.mStatus);
}

void MakeLinksOfAllKinds(const Tree &aTree) {
  aTree.MakeFile("walk/file");
  aTree.MakeDir("walk/dir");
  aTree.MakeDir("elsewhere/below");
  aTree.MakeFile("elsewhere/file");
  const struct {
    const char *mName;
    std::string mTarget;
  } kLinks[] = {{"to_file", aTree.At("elsewhere/file")},
                {"to_file_relative", "../elsewhere/file"},
                {".hidden_link", aTree.At("elsewhere/file")},
                {"to_dir", aTree.At("elsewhere")},
                {"to_dir_relative", "../elsewhere/below"},
                {"to_link_to_dir", "to_dir"},
                {"to_link_to_file", "to_file"},
                {"to_sibling", "dir"},
                {"to_dot", "."},
                {"to_parent", ".."},
                {"to_root", "/"},
                {"to_own_folder", aTree.At("walk")},
                {"dirx", aTree.At("walk/dir")},  // its path begins like its target's
                {"to_device", "/dev/null"},
                {"dangling", "missing"},
                {"self", "self"},
                {"through_file", "file/below"},
                {"too_long", std::string(300, 'n')},
                {"back\\slash", aTree.At("elsewhere/file")},
                {"back\\dir", aTree.At("elsewhere")}};
  for (const auto &theLink : kLinks)
    aTree.MakeLink(std::string("walk/") + theLink.mName, theLink.mTarget);
}

TEST_F(DirTraverserLinks, HaveTheirPathsInOneBufferOf8192Bytes) {
  mTree.MakeDir("walk");
  for (const char *theName : {"walk/one", "walk/two", "walk/three"})
    mTree.MakeLink(theName, "/usr");
  int theBuffers = 0;
  Fault theAllocations("malloc", 0, 0, -1);
  theAllocations.PassingThrough().Doing([&](const long long *anArguments) {
    if (anArguments[0] == 8192) ++theBuffers;
  });
  const Traverser theTraverser(mTree.At("walk"));
  EXPECT_EQ(5u, TellOf(mLog, theTraverser).mEntries.size());  // with the two dots
  EXPECT_EQ(1, theBuffers);
}

TEST_F(DirTraverserLinks, BothWaysOfLookingGiveTheSameEntriesAndMessages) {
  mTree.MakeDir("walk");
  MakeLinksOfAllKinds(mTree);
  mLog.SpoilErrno(EXDEV);
  const Traverser theTraverser(mTree.At("walk"));
  const Told theOrdinary = TellOf(mLog, theTraverser);
  ExpectTheSame(theOrdinary, TellWithoutLinks(mLog, theTraverser));

  // To be sure that they have been told of all.
  EXPECT_EQ(12u, theOrdinary.mEntries.size());
  EXPECT_EQ(5u, theOrdinary.mMessages.size());
}

TEST_F(DirTraverserLinks, BothWaysAgreeWhenTheWalkItselfGoesThroughALink) {
  mTree.MakeDir("walk");
  MakeLinksOfAllKinds(mTree);
  mTree.MakeLink("way", mTree.At("walk"));
  for (const char *thePath : {"way", "walk/to_dot", "elsewhere/../walk", "walk/../walk/to_own_folder"}) {
    SCOPED_TRACE(thePath);
    const Traverser theTraverser(mTree.At(thePath));
    ExpectTheSame(TellOf(mLog, theTraverser), TellWithoutLinks(mLog, theTraverser));
  }
}

TEST_F(DirTraverserLinks, BothWaysAgreeWhenTheSystemRefusesToLook) {
  mTree.MakeLink("link", "/usr");
  const Traverser theTraverser(mTree.Path());
  for (const char *theFunction : {"stat", "realpath"}) {
    for (const int theError : {EACCES, ENOENT, ELOOP, EIO, ENOMEM}) {
      SCOPED_TRACE(Format("%s fails with %d", theFunction, theError));
      Fault theFault(theFunction, theError, 0, -1);
      ExpectTheSame(TellOf(mLog, theTraverser), TellWithoutLinks(mLog, theTraverser));
    }
  }
}

TEST_F(DirTraverserLinks, ARefusedRealPathIsLoggedOnce) {
  const std::string theLink = mTree.MakeLink("link", "/usr");
  const Traverser theTraverser(mTree.Path());
  Fault theFault("realpath", EACCES, 0, -1);
  EXPECT_THAT(Walk(theTraverser), IsEmpty());
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(DirError(Format("zvDir_Exists: failed to get real path of symlink '%s', error %d\n",
                                          theLink.c_str(), EACCES))));
}

TEST_F(DirTraverserLinks, AnOrdinaryLinkCostsOneLook) {
  mTree.MakeDir("walk");
  mTree.MakeLink("walk/to_file", mTree.MakeFile("file"));
  mTree.MakeLink("walk/to_dir", mTree.MakeDir("dir"));
  const Traverser theTraverser(mTree.At("walk"));
  const int theStats = CallsOf("stat");
  const int theLstats = CallsOf("lstat");
  const int theRealPaths = CallsOf("realpath");
  EXPECT_EQ(2u, Walk(theTraverser).size());
  EXPECT_EQ(2, CallsOf("stat") - theStats);
  EXPECT_EQ(0, CallsOf("lstat") - theLstats);
  EXPECT_EQ(1, CallsOf("realpath") - theRealPaths);
}

}  // namespace
