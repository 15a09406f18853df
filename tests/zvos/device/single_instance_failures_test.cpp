// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Single instances where the folder, the lock file or the lock cannot be had, and how a checker ends.

#include "single_instance_support.h"

#include <sys/stat.h>

#include <cerrno>
#include <climits>

namespace {

using namespace zvtest::single_instance;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;

class SingleInstanceFailureTest : public SingleInstanceTest {};

//
// What cannot be opened or locked
//

TEST_F(SingleInstanceFailureTest, AFileThatMayNotBeWrittenCountsAsTaken) {
  zvtest::WriteWholeFile(LockFile(), "");
  chmod(LockFile().c_str(), 0444);
  chmod(mFolder.Path().c_str(), 0755);
  const auto theResult = zvtest::RunInChild([this] {
    if (!zvtest::BecomeNobody()) {
      printf("%s", strerror(errno));
      return 1;
    }
    const Checker theChecker;
    printf("%s %d", theChecker.State().c_str(), theChecker.Descriptor());
    for (const zvtest::Message &theMessage : mLog.Messages())
      printf(" %d %d %s", theMessage.mLevel, theMessage.mModule, theMessage.mText.c_str());
    return 0;
  });
  if (theResult.mStatus == 1) GTEST_SKIP() << "cannot become an ordinary user: " << theResult.mOutput;
  EXPECT_EQ("taken -1 3 0 zvOSSingleInstanceChecker: Unable to open file (" + LockFile() + ")\n",
            theResult.mOutput);
}

TEST_F(SingleInstanceFailureTest, AMissingFolderIsAnError) {
  const Checker theChecker("x/y");
  EXPECT_EQ("taken, error", theChecker.State());
  EXPECT_EQ(-1, theChecker.Descriptor());
  EXPECT_THAT(mLog.Messages(), ElementsAre(NotOpened(mFolder.File("x/y"))));
}

TEST_F(SingleInstanceFailureTest, AFolderOfThatNameIsAnError) {
  mkdir(LockFile().c_str(), 0700);
  EXPECT_EQ("taken, error", Checker().State());
  EXPECT_THAT(mLog.Messages(), ElementsAre(NotOpened(LockFile())));
}

TEST_F(SingleInstanceFailureTest, ANameThatIsTooLongIsAnError) {
  const std::string theName(NAME_MAX + 1, 'n');
  EXPECT_EQ("taken, error", Checker(theName).State());
  EXPECT_THAT(mLog.Messages(), ElementsAre(NotOpened(LockFile(theName))));
}

// How the answers of the system to open() and to fcntl() are taken.
struct Answer {
  int mError;
  const char *mState;
};
// clang-format off
constexpr Answer kAnswers[] = {
    {EAGAIN, "taken"}, {EACCES, "taken"},
    {ENOENT, "taken, error"}, {EMFILE, "taken, error"}, {EROFS, "taken, error"}, {ENOLCK, "taken, error"},
    {EINTR, "taken, error"}, {EPERM, "taken, error"}, {EINVAL, "taken, error"}, {EIO, "taken, error"},
};
// clang-format on

TEST_F(SingleInstanceFailureTest, OnlyTwoErrorsOfOpeningMeanTaken) {
  mLog.SpoilErrno(EDOM);
  for (const Answer &theAnswer : kAnswers) {
    mLog.Clear();
    Fault theFault("open", theAnswer.mError);
    const Checker theChecker;
    EXPECT_EQ(theAnswer.mState, theChecker.State()) << strerror(theAnswer.mError);
    EXPECT_EQ(-1, theChecker.Descriptor());
    EXPECT_THAT(mLog.Messages(), ElementsAre(NotOpened(LockFile())));
  }
}

TEST_F(SingleInstanceFailureTest, OnlyTwoErrorsOfLockingMeanTaken) {
  mLog.SpoilErrno(EDOM);
  for (const Answer &theAnswer : kAnswers) {
    mLog.Clear();
    Fault theFault("fcntl", theAnswer.mError);
    const Checker theChecker;
    EXPECT_EQ(theAnswer.mState, theChecker.State()) << strerror(theAnswer.mError);
    EXPECT_TRUE(IsOpen(theChecker.Descriptor()));
    EXPECT_THAT(mLog.Messages(), ElementsAre(Locked()));
  }
}

//
// What no checker is made for
//

TEST_F(SingleInstanceFailureTest, ANameIsNeeded) {
  const int theCalls = CallsOf("getenv");
  EXPECT_FALSE(Checker(static_cast<const char *>(nullptr)).IsThere());
  EXPECT_FALSE(Checker("").IsThere());
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("Cannot create checker: name '(null)' may be invalid"),
                                           Failed("Cannot create checker: name '' may be invalid")));
  EXPECT_EQ(theCalls, CallsOf("getenv"));
}

TEST_F(SingleInstanceFailureTest, WithoutMemoryForTheFoldersNameThereIsNone) {
  Fault theFault("zvStrdup", ENOMEM);
  EXPECT_FALSE(Checker().IsThere());
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed("Cannot get temporary directory path")));
}

TEST_F(SingleInstanceFailureTest, TheFolderMustExist) {
  zvtest::WriteWholeFile(mFolder.File("file"), "");
  for (const std::string &theFolder : {mFolder.File("missing"), mFolder.File("file"), std::string()}) {
    mLog.Clear();
    SetFolder(theFolder);
    EXPECT_FALSE(Checker().IsThere());
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(Failed("Temporary directory '" + theFolder + "' does not exists")));
  }
}

TEST_F(SingleInstanceFailureTest, WithoutMemoryThereIsNoCheckerAndNoFile) {
  for (const char *theText : {"Cannot allocate temporary file path", "Cannot allocate object"}) {
    const int theSkipped = static_cast<int>(mLog.Messages().size());
    Fault theFault("malloc", ENOMEM, theSkipped);
    EXPECT_FALSE(Checker().IsThere());
    EXPECT_EQ(1, theFault.Hits());
    EXPECT_FALSE(LockFileExists());
    ASSERT_EQ(theSkipped + 1, static_cast<int>(mLog.Messages().size()));
    EXPECT_THAT(mLog.Messages().back(), Failed(theText));
  }
}

//
// The folder for temporary files
//

TEST_F(SingleInstanceFailureTest, ASlashBehindTheFolderIsKept) {
  SetFolder(mFolder.Path() + "/");
  EXPECT_EQ("free", Checker().State());
  EXPECT_TRUE(LockFileExists());
  EXPECT_EQ("taken, error", Checker("x/y").State());
  EXPECT_THAT(mLog.Messages(), ElementsAre(Owned(), NotOpened(mFolder.Path() + "//x/y")));
}

TEST_F(SingleInstanceFailureTest, AFolderMayBeALink) {
  mkdir(mFolder.File("folder").c_str(), 0700);
  ASSERT_EQ(0, symlink("folder", mFolder.File("link").c_str()));
  SetFolder(mFolder.File("link"));
  EXPECT_EQ("free", Checker().State());
  EXPECT_TRUE(Exists(mFolder.File(std::string("folder/") + kName)));
}

TEST_F(SingleInstanceFailureTest, WithoutTheVariableTheSystemsFolderIsUsed) {
  const std::string theName = Format("zvtest-%d-single-instance", getpid());
  unsetenv("TMPDIR");
  EXPECT_EQ("free", Checker(theName).State());
  EXPECT_EQ(0, unlink(("/tmp/" + theName).c_str()));
}

// The folder is looked for where relative paths of the library count from, which is the program's own.
TEST_F(SingleInstanceFailureTest, TheFileOfARelativeFolderCountsFromTheCurrentOne) {
  const auto theResult = zvtest::RunInChild([this] {
    if (chdir(mFolder.Path().c_str()) != 0) return 1;
    SetFolder(".");
    return Checker().State() == "free" ? 0 : 2;
  });
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_TRUE(LockFileExists());
}

TEST_F(SingleInstanceFailureTest, ARelativeFolderMustExistBesideTheProgram) {
  mkdir(mFolder.File("folder").c_str(), 0700);
  const auto theResult = zvtest::RunInChild([this] {
    if (chdir(mFolder.Path().c_str()) != 0) return 1;
    SetFolder("folder");  // here only
    if (Checker().IsThere()) return 2;
    SetFolder("../lib");  // there only
    return Checker().State() == "taken, error" ? 0 : 3;
  });
  EXPECT_EQ(0, theResult.mStatus);
}

//
// Delete
//

TEST_F(SingleInstanceFailureTest, DeletingNothingDoesNothing) {
  zvSingleInstanceChecker_Delete(nullptr);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SingleInstanceFailureTest, DeleteClosesTheFile) {
  Checker theChecker;
  const int theDescriptor = theChecker.Descriptor();
  mLog.Clear();
  theChecker.Delete();
  EXPECT_FALSE(IsOpen(theDescriptor));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SingleInstanceFailureTest, DeleteOfACheckerWithoutAFileClosesNothing) {
  Checker theChecker("x/y");
  mLog.Clear();
  const int theCalls = CallsOf("close");
  theChecker.Delete();
  EXPECT_EQ(theCalls, CallsOf("close"));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SingleInstanceFailureTest, AFailingCloseIsLoggedAndTheRecordReleased) {
  zvOSSingleInstanceChecker *const theChecker = zvSingleInstanceChecker_New(kName);
  mLog.Clear();
  mLog.SpoilErrno(EDOM);
  zvtest::ReleaseWatch theWatch;
  theWatch.Watch(theChecker);
  Fault theFault("close", EIO);
  theFault.Doing([](const long long *anArguments) { close(static_cast<int>(anArguments[0])); });
  zvSingleInstanceChecker_Delete(theChecker);
  EXPECT_EQ(1, theWatch.ReleasesOf(theChecker));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Failed(Format("close failed (error = %d)", EIO))));
}

}  // namespace
