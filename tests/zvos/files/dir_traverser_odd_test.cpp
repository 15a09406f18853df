// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The directory traverser among odd entries: names, kinds, paths that do not fit, closed and vanishing
// directories, very many entries. One bad entry never ends a walk; what it leaves in errno:
// dir_traverser_errors_test.cpp.

#include <zvOS/zvDirTraverser.h>

#include "files_support.h"
#include "support/Faults.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <vector>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;
using namespace zvtest;

namespace {

// The traverser builds the path of an entry in a buffer of this size.
constexpr size_t kBufferSize = 8192;

class DirTraverserOdd : public testing::Test {
 protected:
  RecordingLog mLog;
  Tree mTree;
};

// The whole walk again, with what the caller left in errno at its beginning.
std::vector<std::string> WalkWithErrno(const Traverser &aTraverser, int anError, int *aStatus) {
  std::vector<std::string> theNames;
  aTraverser.Rewind();
  for (const zvDirEntry *theEntry = aTraverser.First("*", zvDIR_DEFAULT, anError); theEntry != nullptr;) {
    theNames.emplace_back(theEntry->mName);
    theEntry = aTraverser.Next(anError);
  }
  *aStatus = aTraverser.Status();
  return theNames;
}

//
// Names
//

struct NameCase {
  std::string mName;
  int mfHidden;
};

TEST_F(DirTraverserOdd, EveryNameTheSystemAllowsIsReturned) {
  const NameCase kCases[] = {{"...", 0},       {"..x", 0},
                             {"..hidden.", 0}, {".x", 1},
                             {". ", 1},        {".x.", 1},
                             {".x..", 1},      {"x.", 0},
                             {"x..", 0},       {" ", 0},
                             {" .", 0},        {"line\nfeed", 0},
                             {"%s%n", 0},      {"back\\slash", 0},
                             {"*", 0},         {"\xc3\xa4\xe2\x82\xac", 0},
                             {"-", 0},         {std::string(255, 'n'), 0},
                             {".\xff", 1},     {"." + std::string(254, 'n'), 1},
                             {"\x01\x7f", 0}};
  for (const NameCase &theCase : kCases)
    mTree.MakeFile(theCase.mName);

  const Traverser theTraverser(mTree.Path());
  for (const NameCase &theCase : kCases) {
    SCOPED_TRACE(theCase.mName);
    bool afFound = false;
    theTraverser.Rewind();
    for (const zvDirEntry *theEntry = theTraverser.First("*", zvDIR_DEFAULT); theEntry != nullptr;
         theEntry = theTraverser.Next()) {
      if (theEntry->mName != theCase.mName) continue;
      afFound = true;
      EXPECT_EQ(theCase.mfHidden, theEntry->mfHidden);
    }
    EXPECT_TRUE(afFound);
    const auto theVisible = Walk(theTraverser, "*", zvDIR_FILES);
    EXPECT_EQ(theCase.mfHidden == 0, std::count(theVisible.begin(), theVisible.end(), theCase.mName) == 1);
  }
  EXPECT_EQ(std::size(kCases), Walk(theTraverser).size());
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

// The path of a link is normalized before it is looked at, and that turns backslashes.
TEST_F(DirTraverserOdd, ALinkWithABackslashInItsNameCountsAsWhatItsNormalizedPathIs) {
  mTree.MakeFile("file");
  mTree.MakeLink("no\\where", mTree.At("file"));
  mTree.MakeLink("sub\\dir", mTree.At("file"));
  mTree.MakeDir("sub/dir");
  const Traverser theTraverser(mTree.Path());
  EXPECT_THAT(Walk(theTraverser, "*", zvDIR_FILES), ElementsAre("file"));
  EXPECT_THAT(Walk(theTraverser, "*", zvDIR_DIRS), UnorderedElementsAre("sub", "sub\\dir"));
}

//
// Kinds
//

TEST_F(DirTraverserOdd, PipesSocketsDevicesAndBadLinksAreSkipped) {
  ASSERT_EQ(0, mkfifo(mTree.At("pipe").c_str(), 0600));
  const int theSocket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un theAddress = {};
  theAddress.sun_family = AF_UNIX;
  strncpy(theAddress.sun_path, mTree.At("socket").c_str(), sizeof(theAddress.sun_path) - 1);
  ASSERT_EQ(0, bind(theSocket, reinterpret_cast<const sockaddr *>(&theAddress), sizeof(theAddress)));
  close(theSocket);
  mTree.MakeFile("file");
  mTree.MakeLink("to_device", "/dev/null");
  mTree.MakeLink("to_pipe", "pipe");
  mTree.MakeLink("to_socket", "socket");
  mTree.MakeLink("dangling", "missing");
  mTree.MakeLink("self", "self");
  mTree.MakeLink("through_file", "file/below");
  mTree.MakeLink("too_long", std::string(300, 'n'));
  EXPECT_THAT(Walk(Traverser(mTree.Path())), ElementsAre("file"));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(DirTraverserOdd, DevicesAreSkipped) {
  const auto theNames = Walk(Traverser("/dev"), "*", zvDIR_DEFAULT);
  EXPECT_THAT(theNames, Not(Contains("null")));
  EXPECT_THAT(theNames, Not(Contains("zero")));
}

TEST_F(DirTraverserOdd, ACircularLinkIsSkippedWithItsWarning) {
  mTree.MakeFile("file");
  mTree.MakeLink("loop", mTree.Path());
  mTree.MakeLink("root", "/");
  mLog.SpoilErrno(EXDEV);
  const Traverser theTraverser(mTree.Path());
  EXPECT_THAT(Walk(theTraverser), ElementsAre("file"));
  const auto theWarning = [&](const char *aName, const std::string &aTarget) {
    return zvtest::Warning(zvtest::kDirModule, "zvDir_Exists: circular link detected: link '" +
                                                   mTree.At(aName) + "' to '" + aTarget + "'\n");
  };
  EXPECT_THAT(mLog.Messages(),
              UnorderedElementsAre(theWarning("loop", mTree.Path()), theWarning("root", "/")));
}

// What an entry is when readdir() does not say so.
TEST_F(DirTraverserOdd, EntriesOfUnknownKindAreLookedAt) {
  mTree.MakeFile("file");
  mTree.MakeDir("dir");
  mTree.MakeLink("dangling", "missing");
  const Traverser theTraverser(mTree.Path());
  for (const char *theName : {"file", "dir", "dangling", "missing", ".", ".."}) {
    SCOPED_TRACE(theName);
    dirent theRaw = {};
    theRaw.d_type = DT_UNKNOWN;
    strcpy(theRaw.d_name, theName);
    theTraverser.Rewind();
    const int theStats = CallsOf("stat");
    Fault theEnd("readdir", 0, 0, -1);
    Fault theFault("readdir", 0);
    theFault.Returning(AsArgument(&theRaw));
    const zvDirEntry *theEntry = theTraverser.First("*", zvDIR_DEFAULT | zvDIR_DOTDOT);
    EXPECT_LT(theStats, CallsOf("stat"));
    EXPECT_EQ(kNoError, theTraverser.Status());
    const bool afExists = std::filesystem::exists(mTree.At(theName));
    ASSERT_EQ(afExists, theEntry != nullptr);
    if (!afExists) continue;
    EXPECT_STREQ(theName, theEntry->mName);
    EXPECT_EQ(std::filesystem::is_directory(mTree.At(theName)), theEntry->mfDir != 0);
  }
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

//
// Memory
//

// Each allocation of a walk fails once. Either nothing is missing or the walk ends with its error status.
TEST_F(DirTraverserOdd, WithoutMemoryForAnEntryTheWalkEndsWithTheErrorStatus) {
  for (const char *theName : {"a", "b", "c"})
    mTree.MakeFile(theName);
  mTree.MakeLink("link", "/usr");
  const Traverser theTraverser(mTree.Path());
  int theErrors = 0;
  for (const char *theFunction : {"zvStrdup", "zvMalloc", "malloc"}) {
    // The first copy of text is the pattern's.
    const int theFirst = strcmp(theFunction, "zvStrdup") == 0 ? 1 : 0;
    for (int theSkip = theFirst, theHits = 1; theHits > 0; ++theSkip) {
      Fault theFault(theFunction, ENOMEM, theSkip);
      int theStatus = -1;
      const auto theNames = WalkWithErrno(theTraverser, 0, &theStatus);
      theHits = theFault.Hits();
      EXPECT_EQ(theNames.size() == 4 ? kNoError : kError, theStatus) << theFunction << theSkip;
      if (theStatus == kError) ++theErrors;
    }
  }
  // The names of four entries and the two dots, the path of the link.
  EXPECT_GE(theErrors, 7);
}

TEST_F(DirTraverserOdd, ANameThatCannotBeCopiedEndsTheWalkOnce) {
  for (const char *theName : {"a", "b", "c"})
    mTree.MakeFile(theName);
  const Traverser theTraverser(mTree.Path());
  ASSERT_NE(nullptr, theTraverser.First("*", zvDIR_DEFAULT));
  {
    // The log library need not say why there is no copy.
    Fault theFault("zvStrdup", 0, 0, 1);
    EXPECT_EQ(nullptr, theTraverser.Next());
    EXPECT_EQ(1, theFault.Hits());
  }
  EXPECT_EQ(kError, theTraverser.Status());
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(DirError(Format("Cannot continue enumerating files in directory (error = %d)\n", ENOMEM))));
  // The stream is still open, as after any other error.
  mLog.Clear();
  while (theTraverser.Next() != nullptr) {
  }
  EXPECT_EQ(kNoError, theTraverser.Status());
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

//
// Paths that do not fit
//

class DirTraverserLongPath : public DirTraverserOdd {
 protected:
  // Walks through the tree, for which the traverser believes a path of this length; the system would not
  // open one so long.
  std::vector<std::string> WalkWithPathLength(size_t aLength) {
    mPath = "/" + std::string(aLength - 1, 'p');
    const Traverser theTraverser(mPath);
    Fault theFault("opendir", 0);
    theFault.Doing([&](const long long *anArguments) {
      EXPECT_EQ(mPath, ArgumentAs<const char>(anArguments[0]));
      theFault.Returning(AsArgument(opendir(mTree.Path().c_str())));
    });
    return Walk(theTraverser);
  }

  std::string mPath;
};

TEST_F(DirTraverserLongPath, ALinkWhosePathDoesNotFitIsLoggedAndSkipped) {
  mTree.MakeFile("file");
  mTree.MakeDir("directory");
  mTree.MakeLink("link", "/usr");
  const size_t theLongest = kBufferSize - 1 - strlen("/link");
  for (const size_t theLength : {theLongest + 1, theLongest + 5000}) {
    mLog.Clear();
    const int theStats = CallsOf("stat");
    mLog.SpoilErrno(EXDEV);
    EXPECT_THAT(WalkWithPathLength(theLength), UnorderedElementsAre("file", "directory"));
    EXPECT_EQ(theStats, CallsOf("stat"));
    EXPECT_THAT(mLog.Messages(), ElementsAre(DirError("zvDirTraverser: Cannot compute entry name '" + mPath +
                                                      "/link' (buffer too small)\n")));
  }
}

TEST_F(DirTraverserLongPath, ALinkWhosePathJustFitsIsLookedAt) {
  mTree.MakeLink("link", "/usr");
  std::vector<std::string> theLooks;
  Fault theFault("stat", ENAMETOOLONG, 0, -1);
  theFault.Doing(
      [&](const long long *anArguments) { theLooks.emplace_back(ArgumentAs<const char>(anArguments[0])); });
  EXPECT_THAT(WalkWithPathLength(kBufferSize - 1 - strlen("/link")), IsEmpty());
  EXPECT_THAT(theLooks, ElementsAre(mPath + "/link", mPath + "/link"));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

//
// Directories that vanish or are closed
//

TEST_F(DirTraverserOdd, ADirectoryRemovedDuringTheWalkEndsItWithoutError) {
  mTree.MakeDir("dir");
  for (int i = 0; i < 2000; ++i)
    mTree.MakeFile(Format("dir/a_rather_long_name_that_fills_the_buffer_%d", i));
  mTree.MakeLink("dir/link", "/usr");
  const Traverser theTraverser(mTree.At("dir"));
  ASSERT_NE(nullptr, theTraverser.First("*", zvDIR_DEFAULT));
  std::filesystem::remove_all(mTree.At("dir"));
  // What the system had read before may still come.
  while (theTraverser.Next() != nullptr) {
  }
  EXPECT_EQ(kNoError, theTraverser.Status());
  theTraverser.Rewind();
  EXPECT_THAT(Walk(theTraverser), IsEmpty());
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(DirTraverserOdd, AClosedDirectoryCannotBeWalkedThrough) {
  const std::string theDir = mTree.MakeDir("closed");
  std::filesystem::permissions(mTree.Path(), std::filesystem::perms(0755));
  ASSERT_EQ(0, chmod(theDir.c_str(), 0));
  InOwnProcess([&] {
    ASSERT_TRUE(zvtest::BecomeNobody());
    const Traverser theTraverser(theDir);
    EXPECT_EQ(nullptr, theTraverser.First("*", zvDIR_DEFAULT));
    EXPECT_EQ(kError, theTraverser.Status());
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(DirError(Format("Cannot enumerate files in directory '%s' (error = %d)\n",
                                            theDir.c_str(), EACCES))));
  });
  ASSERT_EQ(0, chmod(theDir.c_str(), 0700));
}

// Names can be read there, but nothing looked at: only what readdir() tells is known.
TEST_F(DirTraverserOdd, InADirectoryThatCanOnlyBeListedLinksAreSkipped) {
  const std::string theDir = mTree.MakeDir("listed");
  mTree.MakeFile("listed/file");
  mTree.MakeDir("listed/dir");
  mTree.MakeLink("listed/link", "/usr");
  mTree.MakeLink("through_closed", "listed/dir");
  std::filesystem::permissions(mTree.Path(), std::filesystem::perms(0755));
  ASSERT_EQ(0, chmod(theDir.c_str(), 0444));
  InOwnProcess([&] {
    ASSERT_TRUE(zvtest::BecomeNobody());
    const Traverser theTraverser(theDir);
    EXPECT_THAT(Walk(theTraverser), UnorderedElementsAre("file", "dir"));
    EXPECT_THAT(Walk(Traverser(mTree.Path())), ElementsAre("listed"));
    EXPECT_THAT(mLog.Messages(), IsEmpty());
  });
  ASSERT_EQ(0, chmod(theDir.c_str(), 0700));
}

//
// Very many entries
//

TEST_F(DirTraverserOdd, VeryManyEntriesCostNoMemoryAndNoFurtherSystemCalls) {
  constexpr int kCount = 100000;
  const int theFolder = open(mTree.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  for (int i = 0; i < kCount; ++i) {
    const int theFile =
        openat(theFolder, std::to_string(i).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    ASSERT_LE(0, theFile);
    close(theFile);
  }
  close(theFolder);

  // What the library has allocated and not released yet.
  int theLive = 0;
  int theMost = 0;
  const auto theAllocation = [&](const long long *) { theMost = std::max(theMost, ++theLive); };
  Fault theCopies("zvStrdup", 0, 0, -1);
  theCopies.PassingThrough().Doing(theAllocation);
  Fault theRecords("zvMalloc", 0, 0, -1);
  theRecords.PassingThrough().Doing(theAllocation);
  Fault theBuffers("malloc", 0, 0, -1);
  theBuffers.PassingThrough().Doing(theAllocation);
  Fault theReleases("free", 0, 0, -1);
  theReleases.PassingThrough().Doing([&](const long long *anArguments) { theLive -= anArguments[0] != 0; });

  const int theStats = CallsOf("stat");
  const int theLstats = CallsOf("lstat");
  const int theReads = CallsOf("readdir");
  {
    const Traverser theTraverser(mTree.Path());
    std::vector<bool> theSeen(kCount);
    int theFound = 0;
    for (const zvDirEntry *theEntry = theTraverser.First("*", zvDIR_DEFAULT); theEntry != nullptr;
         theEntry = theTraverser.Next()) {
      const auto theNumber = static_cast<size_t>(atoi(theEntry->mName));
      ASSERT_FALSE(theSeen.at(theNumber));
      theSeen.at(theNumber) = true;
      ++theFound;
    }
    EXPECT_EQ(kNoError, theTraverser.Status());
    EXPECT_EQ(kCount, theFound);
  }
  EXPECT_EQ(theReads + kCount + 3, CallsOf("readdir"));  // ".", ".." and the end
  EXPECT_EQ(theStats, CallsOf("stat"));
  EXPECT_EQ(theLstats, CallsOf("lstat"));
  EXPECT_EQ(0, theLive);
  EXPECT_LE(theMost, 4);  // record, path, pattern, name
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

}  // namespace
