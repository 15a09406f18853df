// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The directory traverser: its life, flags, patterns, links, errors. Odd entries:
// dir_traverser_odd_test.cpp. Missing arguments and errno: dir_traverser_errors_test.cpp.

#include <zvOS/zvDirTraverser.h>
#include <zvOS/zvPath.h>

#include "files_support.h"
#include "support/Faults.h"

#include <thread>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using namespace zvtest;

namespace {

class DirTraverser : public testing::Test {
 protected:
  RecordingLog mLog;
  Tree mTree;
};

//
// Paths
//

TEST_F(DirTraverser, FlagsAndStatusesHaveTheirValues) {
  EXPECT_EQ(1, zvDIR_FILES);
  EXPECT_EQ(2, zvDIR_DIRS);
  EXPECT_EQ(4, zvDIR_HIDDEN);
  EXPECT_EQ(8, zvDIR_DOTDOT);
  EXPECT_EQ(7, zvDIR_DEFAULT);
  EXPECT_EQ(0, kNoError);
  EXPECT_EQ(1, kError);
}

TEST_F(DirTraverser, ThePathIsNormalizedAndLosesOneSlashAtItsEnd) {
  constexpr const char *kCases[][2] = {{"/x/y", "/x/y"}, {"/x/y/", "/x/y"},    {"/x//", "/x/"}, {"/", ""},
                                       {"//", "/"},      {"\\x\\y\\", "/x/y"}, {"\\", ""},      {"", ""},
                                       {"/x/.", "/x/."}, {"/x/../", "/x/.."}};
  for (const auto &theCase : kCases) {
    const Traverser theTraverser(theCase[0]);
    EXPECT_STREQ(theCase[1], zvDirTraverser_GetDirPath(theTraverser.Get())) << theCase[0];
    EXPECT_EQ(zvDirTraverser_GetDirPath(theTraverser.Get()), zvDirTraverser_GetDirPath(theTraverser.Get()));
  }
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(DirTraverser, RelativePathsCountFromTheFolderOfTheProgram) {
  char *theFolder = zvPath_GetApplicationPath(0);
  const std::string thePath = theFolder;
  free(theFolder);
  EXPECT_EQ(thePath + "a", zvDirTraverser_GetDirPath(Traverser("./a/").Get()));
  EXPECT_EQ(thePath, std::string(zvDirTraverser_GetDirPath(Traverser(".").Get())) + "/");
  InOwnProcess([&] {
    ASSERT_EQ(0, chdir(mTree.Path().c_str()));
    EXPECT_THAT(Walk(Traverser("."), OwnProgramName().c_str(), zvDIR_FILES), ElementsAre(OwnProgramName()));
  });
}

TEST_F(DirTraverser, ATraverserOfNoPathHasNone) {
  const Traverser theTraverser(nullptr);
  ASSERT_NE(nullptr, theTraverser.Get());
  EXPECT_EQ(nullptr, zvDirTraverser_GetDirPath(theTraverser.Get()));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(DirTraverser, NoTraverserIsRewoundAndDeletedButHasNoPath) {
  zvDirTraverser_Rewind(nullptr);
  zvDirTraverser_Delete(nullptr);
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
  EXPECT_TRUE(LeftAtAssertion([] { zvDirTraverser_GetDirPath(nullptr); }));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("aDirTraverser != NULL")));
}

//
// What cannot be walked through
//

TEST_F(DirTraverser, WithoutAPathOrAPatternThereIsNoWalk) {
  Traverser theNowhere(nullptr);
  Traverser theHere(mTree.Path());
  EXPECT_EQ(nullptr, theNowhere.First("*", zvDIR_DEFAULT));
  EXPECT_EQ(kError, theNowhere.Status());
  EXPECT_EQ(nullptr, theNowhere.First(nullptr, zvDIR_DEFAULT));
  EXPECT_EQ(kError, theNowhere.Status());
  EXPECT_EQ(nullptr, theHere.First(nullptr, zvDIR_DEFAULT));
  EXPECT_EQ(kError, theHere.Status());
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(DirError("zvDir: Cannot enumerate files in directory '(null)' using specified '*'\n"),
                  DirError("zvDir: Cannot enumerate files in directory '(null)' using specified "
                           "'(null)'\n"),
                  DirError("zvDir: Cannot enumerate files in directory '" + mTree.Path() +
                           "' using specified '(null)'\n")));
  // It stayed closed.
  EXPECT_EQ(nullptr, theHere.First("*", zvDIR_DEFAULT));
  EXPECT_EQ(kNoError, theHere.Status());
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
}

TEST_F(DirTraverser, TheRootAndMissingDirectoriesAreEmptyWithoutError) {
  for (const std::string &thePath :
       {std::string("/"), std::string("\\"), std::string(), mTree.At("missing"), mTree.At("missing/")}) {
    Traverser theTraverser(thePath);
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(nullptr, theTraverser.First("*", zvDIR_DEFAULT | zvDIR_DOTDOT)) << thePath;
      EXPECT_EQ(kNoError, theTraverser.Status()) << thePath;
    }
  }
  EXPECT_THAT(mLog.Messages(), IsEmpty());
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
}

TEST_F(DirTraverser, ADirectoryThatVanishesBeforeTheWalkIsEmpty) {
  mTree.MakeFile("file");
  const std::string theDir = mTree.MakeDir("dir");
  Traverser theTraverser(theDir);
  std::filesystem::remove(theDir);
  EXPECT_THAT(Walk(theTraverser), IsEmpty());
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(DirTraverser, AFileCannotBeWalkedThrough) {
  const std::string theFile = mTree.MakeFile("file");
  Traverser theTraverser(theFile);
  mLog.SpoilErrno(kSpoiledErrno);
  EXPECT_EQ(nullptr, theTraverser.First("*", zvDIR_DEFAULT));
  EXPECT_EQ(kError, theTraverser.Status());
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(DirError(Format("Cannot enumerate files in directory '%s' (error = %d)\n",
                                          theFile.c_str(), ENOTDIR))));
}

TEST_F(DirTraverser, FailuresToOpenAreLoggedExceptOfAMissingDirectory) {
  Traverser theTraverser(mTree.Path());
  mLog.SpoilErrno(kSpoiledErrno);
  for (const int theError : {EACCES, EMFILE, ENFILE, ENOMEM, EINVAL, EIO, ENOTDIR, ENOENT}) {
    mLog.Clear();
    Fault theFault("opendir", theError);
    EXPECT_EQ(nullptr, theTraverser.First("*", zvDIR_DEFAULT));
    EXPECT_EQ(theError == ENOENT ? kNoError : kError, theTraverser.Status());
    if (theError == ENOENT) {
      EXPECT_THAT(mLog.Messages(), IsEmpty());
    } else {
      EXPECT_THAT(mLog.Messages(),
                  ElementsAre(DirError(Format("Cannot enumerate files in directory '%s' (error = %d)\n",
                                              mTree.Path().c_str(), theError))));
    }
  }
  mTree.MakeFile("file");
  EXPECT_THAT(Walk(theTraverser), ElementsAre("file"));
}

TEST_F(DirTraverser, WithoutMemoryNothingIsWalkedAndNothingLeaks) {
  {
    Fault theFault("zvMalloc", ENOMEM);
    EXPECT_EQ(nullptr, zvDirTraverser_New(mTree.Path().c_str()));
  }
  {
    Fault theFault("zvStrdup", ENOMEM);
    EXPECT_EQ(nullptr, zvDirTraverser_GetDirPath(Traverser(mTree.Path()).Get()));
  }
  mTree.MakeFile("file");
  const auto theDescriptors = zvtest::OpenDescriptors();
  Traverser theTraverser(mTree.Path());
  EXPECT_THAT(Walk(theTraverser), ElementsAre("file"));
  theTraverser.Rewind();
  {
    // The copy of the pattern; the log library need not say why there is none.
    Fault theFault("zvStrdup", 0, 0, 1);
    EXPECT_EQ(nullptr, theTraverser.First("*", zvDIR_DEFAULT));
    EXPECT_EQ(kError, theTraverser.Status());
    EXPECT_EQ(1, theFault.Hits());
    EXPECT_THAT(mLog.Messages(), ElementsAre(DirError("Cannot enumerate files in directory '" + mTree.Path() +
                                                      "' (error = 12)\n")));
  }
  EXPECT_EQ(theDescriptors, zvtest::OpenDescriptors());
  EXPECT_THAT(Walk(theTraverser), ElementsAre("file"));
}

//
// Flags, patterns, links
//

struct FlagCase {
  int mFlags;
  std::vector<std::string> mNames;
};

TEST_F(DirTraverser, FlagsSelectByKindHiddenNamesAndDots) {
  for (const char *theName : {"f", ".f", "..f"})
    mTree.MakeFile(theName);
  for (const char *theName : {"d", ".d", "..d"})
    mTree.MakeDir(theName);
  // clang-format off
  const FlagCase kCases[] = {
      {0, {}},
      {zvDIR_FILES, {"f", "..f"}},
      {zvDIR_DIRS, {"d", "..d"}},
      {zvDIR_FILES | zvDIR_DIRS, {"f", "..f", "d", "..d"}},
      {zvDIR_HIDDEN, {}},
      {zvDIR_FILES | zvDIR_HIDDEN, {"f", "..f", ".f"}},
      {zvDIR_DIRS | zvDIR_HIDDEN, {"d", "..d", ".d"}},
      {zvDIR_DEFAULT, {"f", "..f", ".f", "d", "..d", ".d"}},
      {zvDIR_DOTDOT, {}},
      {zvDIR_FILES | zvDIR_DOTDOT, {"f", "..f"}},
      {zvDIR_DIRS | zvDIR_DOTDOT, {"d", "..d", ".", ".."}},
      {zvDIR_FILES | zvDIR_DIRS | zvDIR_DOTDOT, {"f", "..f", "d", "..d", ".", ".."}},
      {zvDIR_HIDDEN | zvDIR_DOTDOT, {}},
      {zvDIR_FILES | zvDIR_HIDDEN | zvDIR_DOTDOT, {"f", "..f", ".f"}},
      {zvDIR_DIRS | zvDIR_HIDDEN | zvDIR_DOTDOT, {"d", "..d", ".d", ".", ".."}},
      {zvDIR_DEFAULT | zvDIR_DOTDOT, {"f", "..f", ".f", "d", "..d", ".d", ".", ".."}},
      // Other bits mean nothing.
      {0x70, {}},
      {0x71, {"f", "..f"}},
      {-1, {"f", "..f", ".f", "d", "..d", ".d", ".", ".."}},
  };
  // clang-format on
  Traverser theTraverser(mTree.Path());
  for (const FlagCase &theCase : kCases) {
    EXPECT_THAT(Walk(theTraverser, "*", theCase.mFlags), testing::UnorderedElementsAreArray(theCase.mNames))
        << theCase.mFlags;
  }
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(DirTraverser, EntriesSayWhetherTheyAreDirectoriesAndHidden) {
  mTree.MakeFile("f");
  mTree.MakeFile(".f");
  mTree.MakeDir("d");
  mTree.MakeDir(".d");
  mTree.MakeFile("..x");
  Traverser theTraverser(mTree.Path());
  std::vector<std::string> theEntries;
  for (zvDirEntry *theEntry = theTraverser.First("*", zvDIR_DEFAULT | zvDIR_DOTDOT); theEntry != nullptr;
       theEntry = theTraverser.Next()) {
    theEntries.push_back(Format("%s %d %d", theEntry->mName, theEntry->mfDir, theEntry->mfHidden));
  }
  EXPECT_THAT(theEntries,
              UnorderedElementsAre("f 0 0", ".f 0 1", "d 1 0", ".d 1 1", "..x 0 0", ". 1 0", ".. 1 0"));
}

TEST_F(DirTraverser, NamesAreSelectedByAShellPattern) {
  for (const char *theName : {"a.mp3", "b.mp3", "c.txt", "a", "ab", "[x]", "A.MP3", ".mp3"})
    mTree.MakeFile(theName);
  Traverser theTraverser(mTree.Path());
  EXPECT_THAT(Walk(theTraverser, "*.mp3"), UnorderedElementsAre("a.mp3", "b.mp3", ".mp3"));
  EXPECT_THAT(Walk(theTraverser, "?"), UnorderedElementsAre("a"));
  EXPECT_THAT(Walk(theTraverser, "[ab].*"), UnorderedElementsAre("a.mp3", "b.mp3"));
  EXPECT_THAT(Walk(theTraverser, "\\[x]"), UnorderedElementsAre("[x]"));
  EXPECT_THAT(Walk(theTraverser, "ab"), UnorderedElementsAre("ab"));
  EXPECT_THAT(Walk(theTraverser, ""), IsEmpty());
  EXPECT_THAT(Walk(theTraverser, "none*"), IsEmpty());
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(DirTraverser, TheLogLibraryDecidesWhatMatches) {
  mTree.MakeFile("file");
  Traverser theTraverser(mTree.Path());
  for (const int theAnswer : {1, 2, -1, 0}) {
    std::vector<std::string> theQuestions;
    Fault theFault("zvCStringParser_Match", 0, 0, -1);
    theFault.Returning(theAnswer).Doing([&](const long long *anArguments) {
      theQuestions.push_back(std::string(ArgumentAs<const char>(anArguments[0])) + " " +
                             ArgumentAs<const char>(anArguments[1]));
    });
    EXPECT_EQ(theAnswer != 0 ? 1U : 0U, Walk(theTraverser, "no match").size());
    EXPECT_THAT(theQuestions, ElementsAre("no match file"));
  }
}

TEST_F(DirTraverser, ThePatternIsCopied) {
  mTree.MakeFile("a");
  mTree.MakeFile("b");
  Traverser theTraverser(mTree.Path());
  char thePattern[] = "?";
  EXPECT_NE(nullptr, theTraverser.First(thePattern, zvDIR_DEFAULT));
  thePattern[0] = 'x';
  EXPECT_NE(nullptr, theTraverser.Next());
  EXPECT_EQ(nullptr, theTraverser.Next());
}

TEST_F(DirTraverser, LinksCountAsWhatTheyLeadTo) {
  Tree theTargets;
  theTargets.MakeDir("dir");
  theTargets.MakeFile("file");
  mTree.MakeLink("to_dir", theTargets.At("dir"));
  mTree.MakeLink("to_file", theTargets.At("file"));
  mTree.MakeLink(".to_file", theTargets.At("file"));
  mTree.MakeLink("to_link", mTree.At("to_dir"));
  mTree.MakeLink("relative", "to_file");
  mTree.MakeLink("dangling", theTargets.At("missing"));
  mTree.MakeLink("to_device", "/dev/null");
  Traverser theTraverser(mTree.Path() + "/");
  EXPECT_THAT(Walk(theTraverser, "*", zvDIR_FILES | zvDIR_HIDDEN),
              UnorderedElementsAre("to_file", ".to_file", "relative"));
  EXPECT_THAT(Walk(theTraverser, "*", zvDIR_FILES), UnorderedElementsAre("to_file", "relative"));
  EXPECT_THAT(Walk(theTraverser, "*", zvDIR_DIRS), UnorderedElementsAre("to_dir", "to_link"));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

//
// The life of a traverser
//

TEST_F(DirTraverser, TheEntryBelongsToTheTraverser) {
  mTree.MakeFile("a");
  mTree.MakeFile("b");
  Traverser theTraverser(mTree.Path());
  const zvDirEntry *theFirst = theTraverser.First("*", zvDIR_DEFAULT);
  ASSERT_NE(nullptr, theFirst);
  const std::string theName = theFirst->mName;
  const zvDirEntry *theSecond = theTraverser.Next();
  EXPECT_EQ(theFirst, theSecond);
  EXPECT_NE(theName, theSecond->mName);
}

TEST_F(DirTraverser, AfterTheEndTheTraverserStaysOpen) {
  mTree.MakeFile("a");
  Traverser theTraverser(mTree.Path());
  EXPECT_NE(nullptr, theTraverser.First("*", zvDIR_DEFAULT));
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(nullptr, theTraverser.Next());
    EXPECT_EQ(kNoError, theTraverser.Status());
  }
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
  theTraverser.First("*", zvDIR_DEFAULT);
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("aDirTraverser->mDir == NULL")));
}

TEST_F(DirTraverser, ARewoundTraverserWalksAgainWithOtherWishes) {
  mTree.MakeFile("a");
  mTree.MakeDir("b");
  const auto theDescriptors = zvtest::OpenDescriptors();
  Traverser theTraverser(mTree.Path());
  EXPECT_NE(nullptr, theTraverser.First("*", zvDIR_FILES));
  EXPECT_EQ(theDescriptors.size() + 1, zvtest::OpenDescriptors().size());
  theTraverser.Rewind();
  EXPECT_EQ(theDescriptors, zvtest::OpenDescriptors());
  theTraverser.Rewind();
  EXPECT_EQ(mTree.Path(), zvDirTraverser_GetDirPath(theTraverser.Get()));
  mTree.MakeDir("c");
  EXPECT_THAT(Walk(theTraverser, "[bc]", zvDIR_DIRS), UnorderedElementsAre("b", "c"));
  EXPECT_THAT(Walk(theTraverser, "*", zvDIR_FILES), UnorderedElementsAre("a"));
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
}

TEST_F(DirTraverser, DeletingInTheMiddleOfAWalkClosesTheDirectory) {
  mTree.MakeFile("a");
  mTree.MakeFile("b");
  const auto theDescriptors = zvtest::OpenDescriptors();
  {
    Traverser theTraverser(mTree.Path());
    EXPECT_NE(nullptr, theTraverser.First("*", zvDIR_DEFAULT));
  }
  EXPECT_EQ(theDescriptors, zvtest::OpenDescriptors());
}

TEST_F(DirTraverser, ASecondFirstIsAProgrammingErrorThatLeaksNothing) {
  mTree.MakeFile("a");
  const auto theDescriptors = zvtest::OpenDescriptors();
  {
    Traverser theTraverser(mTree.Path());
    EXPECT_NE(nullptr, theTraverser.First("*", zvDIR_DEFAULT));
    theTraverser.First("*", zvDIR_DEFAULT);
    EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("aDirTraverser->mDir == NULL")));
  }
  EXPECT_EQ(theDescriptors, zvtest::OpenDescriptors());
}

TEST_F(DirTraverser, NextOfAClosedTraverserIsAProgrammingError) {
  Traverser theTraverser(mTree.Path());
  EXPECT_EQ(nullptr, theTraverser.Next());
  EXPECT_EQ(kError, theTraverser.Status());
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("aDirTraverser->mDir != NULL")));
  mLog.Clear();
  theTraverser.First("*", zvDIR_DEFAULT);
  theTraverser.Rewind();
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
  EXPECT_EQ(nullptr, theTraverser.Next());
  EXPECT_EQ(kError, theTraverser.Status());
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("aDirTraverser->mDir != NULL")));
}

TEST_F(DirTraverser, WalksAreIndependent) {
  mTree.MakeFile("a");
  mTree.MakeFile("b");
  Traverser theOuter(mTree.Path());
  int theCount = 0;
  for (zvDirEntry *theEntry = theOuter.First("*", zvDIR_FILES); theEntry != nullptr;
       theEntry = theOuter.Next()) {
    EXPECT_THAT(Walk(Traverser(mTree.Path())), UnorderedElementsAre("a", "b"));
    ++theCount;
  }
  EXPECT_EQ(2, theCount);
}

TEST_F(DirTraverser, ThreadsWalkWithTraversersOfTheirOwn) {
  const std::string theDir = mTree.MakeDir("dir");
  for (int i = 0; i < 20; ++i)
    mTree.MakeFile(Format("dir/%d", i));
  mTree.MakeLink("dir/link", mTree.MakeDir("elsewhere"));
  mTree.MakeLink("dir/loop", theDir);
  std::vector<std::thread> theThreads;
  for (int i = 0; i < 4; ++i) {
    theThreads.emplace_back([&] {
      for (int theRound = 0; theRound < 20; ++theRound)
        EXPECT_EQ(21U, Walk(Traverser(theDir)).size());
    });
  }
  for (std::thread &theThread : theThreads)
    theThread.join();
}

//
// The end of a directory and errno
//

TEST_F(DirTraverser, TheEndIsTakenForAnErrorWhenTheCallerLeftOneInErrno) {
  Traverser theTraverser(mTree.Path());
  mLog.SpoilErrno(kSpoiledErrno);
  for (const int theError : {0, ENOENT, EINVAL, EIO, EACCES, EBADF}) {
    mLog.Clear();
    const bool afHarmless = theError == 0 || theError == ENOENT || theError == EINVAL;
    EXPECT_EQ(nullptr, theTraverser.First("*", zvDIR_DEFAULT, theError));
    EXPECT_EQ(afHarmless ? kNoError : kError, theTraverser.Status()) << theError;
    EXPECT_EQ(nullptr, theTraverser.Next(theError));
    EXPECT_EQ(afHarmless ? kNoError : kError, theTraverser.Status()) << theError;
    const auto theMessage =
        DirError(Format("Cannot continue enumerating files in directory (error = %d)\n", theError));
    if (afHarmless) {
      EXPECT_THAT(mLog.Messages(), IsEmpty());
    } else {
      EXPECT_THAT(mLog.Messages(), ElementsAre(theMessage, theMessage));
    }
    theTraverser.Rewind();
  }
}

TEST_F(DirTraverser, AFailedReadIsReportedAndTheWalkMayGoOn) {
  mTree.MakeFile("a");
  for (const int theError : {EIO, EBADF, EOVERFLOW, ENOENT, EINVAL}) {
    mLog.Clear();
    Traverser theTraverser(mTree.Path());
    const bool afHarmless = theError == ENOENT || theError == EINVAL;
    {
      Fault theFault("readdir", theError);
      EXPECT_EQ(nullptr, theTraverser.First("*", zvDIR_DEFAULT));
    }
    EXPECT_EQ(afHarmless ? kNoError : kError, theTraverser.Status()) << theError;
    if (afHarmless) {
      EXPECT_THAT(mLog.Messages(), IsEmpty());
    } else {
      EXPECT_THAT(mLog.Messages(),
                  ElementsAre(DirError(
                      Format("Cannot continue enumerating files in directory (error = %d)\n", theError))));
    }
    const zvDirEntry *theEntry = theTraverser.Next();
    ASSERT_NE(nullptr, theEntry);
    EXPECT_STREQ("a", theEntry->mName);
    EXPECT_EQ(kNoError, theTraverser.Status());
  }
}

}  // namespace
