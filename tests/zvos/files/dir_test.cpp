// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Directories: testing, making, removing. Links: dir_links_test.cpp; folders of somebody else:
// dir_permissions_test.cpp; times and roots: dir_times_test.cpp.

#include "files_support.h"

#include <zvLog/zvPtrList.h>

using testing::ElementsAre;
using testing::IsEmpty;
using namespace zvtest;

namespace {

//
// Exists
//

TEST_F(Dir, ExistsSaysWhetherADirectoryIsThere) {
  EXPECT_EQ(1, zvDir_Exists(mTree.Path().c_str()));
  EXPECT_EQ(1, zvDir_Exists((mTree.Path() + "/").c_str()));
  EXPECT_EQ(1, zvDir_Exists((mTree.Path() + "/.").c_str()));
  EXPECT_EQ(1, zvDir_Exists((mTree.Path() + "/..").c_str()));
  EXPECT_EQ(1, zvDir_Exists("/"));
  EXPECT_EQ(0, zvDir_Exists(mTree.MakeFile("file").c_str()));
  EXPECT_EQ(0, zvDir_Exists(mTree.At("file/below").c_str()));
  EXPECT_EQ(0, zvDir_Exists(mTree.At("missing").c_str()));
  EXPECT_EQ(0, zvDir_Exists("/dev/null"));
  EXPECT_EQ(0, zvDir_Exists(""));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Dir, BackslashesOfPathsAreSeparators) {
  const std::string theDir = Replaced(mTree.At("sub\\dir"), '/', '\\');
  EXPECT_EQ(1, zvDir_CreatePath(theDir.c_str()));
  EXPECT_TRUE(IsDir(mTree.At("sub/dir")));
  EXPECT_EQ(1, zvDir_Exists(theDir.c_str()));
  EXPECT_EQ(0, zvDir_Remove(theDir.c_str()));
  EXPECT_FALSE(IsDir(mTree.At("sub/dir")));
  EXPECT_EQ(0, zvDir_Create(theDir.c_str()));
  EXPECT_TRUE(IsDir(mTree.At("sub/dir")));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Dir, RelativePathsCountFromTheFolderOfTheProgramNotFromTheWorkingFolder) {
  mTree.MakeDir("only_here");
  InOwnProcess([&] {
    ASSERT_EQ(0, chdir(mTree.Path().c_str()));
    EXPECT_EQ(0, zvDir_Exists("only_here"));
    EXPECT_EQ(1, zvDir_Exists("."));
    EXPECT_EQ(1, zvDir_Exists("../bin"));
    EXPECT_EQ(1, zvDir_Exists("..\\bin\\..\\lib"));
    EXPECT_THAT(mLog.Messages(), IsEmpty());
  });
}

TEST_F(Dir, ExistsOfADirectoryThatIsNoLinkAsksTheSystemTwice) {
  const int theStats = CallsOf("stat");
  const int theLstats = CallsOf("lstat");
  EXPECT_EQ(1, zvDir_Exists(mTree.Path().c_str()));
  EXPECT_EQ(theStats + 1, CallsOf("stat"));
  EXPECT_EQ(theLstats + 1, CallsOf("lstat"));
}

TEST_F(Dir, ExistsIsSilentWhenThePathCannotBeLookedAt) {
  for (const int theError : {ENOENT, EACCES, ENOTDIR, ELOOP, ENAMETOOLONG, EIO}) {
    Fault theFault("stat", theError);
    EXPECT_EQ(0, zvDir_Exists(mTree.Path().c_str()));
    EXPECT_EQ(1, theFault.Hits());
  }
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Dir, ExistsLogsADirectoryThatVanishesWhileItLooks) {
  Fault theFault("lstat", ENOENT);
  EXPECT_EQ(0, zvDir_Exists(mTree.Path().c_str()));
  EXPECT_THAT(mLog.Messages(), ElementsAre(DirError("zvDir_Exists: lstat failed 4294967295\n")));
}

TEST_F(Dir, ADirectoryBehindAClosedOneDoesNotExist) {
  mTree.MakeDir("closed/inner");
  std::filesystem::permissions(mTree.Path(), std::filesystem::perms(0755));
  ASSERT_EQ(0, chmod(mTree.At("closed").c_str(), 0));
  InOwnProcess([&] {
    ASSERT_TRUE(zvtest::BecomeNobody());
    EXPECT_EQ(1, zvDir_Exists(mTree.At("closed").c_str()));
    EXPECT_EQ(0, zvDir_Exists(mTree.At("closed/inner").c_str()));
    EXPECT_THAT(mLog.Messages(), IsEmpty());
  });
  ASSERT_EQ(0, chmod(mTree.At("closed").c_str(), 0700));
}

//
// Invalid names
//

TEST_F(Dir, NoPathIsAnInvalidName) {
  zvtimeval theTime = {1, 2};
  EXPECT_EQ(0, zvDir_Exists(nullptr));
  EXPECT_EQ(-1, zvDir_Remove(nullptr));
  EXPECT_EQ(-1, zvDir_Create(nullptr));
  EXPECT_EQ(0, zvDir_CreatePath(nullptr));
  EXPECT_EQ(-1, zvDir_GetTimes(nullptr, &theTime, &theTime, &theTime));
  EXPECT_EQ(1, theTime.tv_sec);
  EXPECT_EQ(2, theTime.tv_usec);
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(DirError("zvDir: Cannot check directory '(null)' exists, (invalid name)\n"),
                          DirError("zvDir: Cannot remove directory: '(null)' (invalid name)\n"),
                          DirError("zvDir: Cannot create directory: '(null)' (invalid name)\n"),
                          DirError("zvDir: Cannot create directory path: '(null)' (invalid name)\n"),
                          DirError("zvFile: Cannot get times for directory: '(null)' (invalid name)\n")));
}

TEST_F(Dir, APathThatCannotBeNormalizedIsAnInvalidName) {
  const int theStats = CallsOf("stat");
  Fault theFault("zvStrdup", ENOMEM, 0, -1);
  EXPECT_EQ(0, zvDir_Exists("/a"));
  EXPECT_EQ(-1, zvDir_Remove("/a"));
  EXPECT_EQ(-1, zvDir_Create("/a"));
  EXPECT_EQ(0, zvDir_CreatePath("/a/b"));
  EXPECT_EQ(-1, zvDir_GetTimes("/a", nullptr, nullptr, nullptr));
  EXPECT_EQ(theStats, CallsOf("stat"));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(DirError("zvDir: Cannot check directory '/a' exists, (invalid name)\n"),
                          DirError("zvDir: Cannot remove directory: '/a' (invalid name)\n"),
                          DirError("zvDir: Cannot create directory: '/a' (invalid name)\n"),
                          DirError("zvDir: Cannot create directory path: '/a/b' (invalid name)\n"),
                          DirError("zvFile: Cannot get times for directory: '/a' (invalid name)\n")));
}

TEST_F(Dir, WithoutAProgramFolderRelativePathsAreInvalidNames) {
  if (!IsAlone()) return;
  Fault theFault("readlink", ENOENT);
  free(zvPath_GetApplicationFullPath());
  mLog.Clear();
  EXPECT_EQ(0, zvDir_Exists("a"));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(zvtest::Error(57,
                                        "zvPath: Cannot get an anchor path (or none specified) to build an "
                                        "absolute path for 'a'\n"),
                          DirError("zvDir: Cannot check directory 'a' exists, (invalid name)\n")));
}

//
// Remove
//

TEST_F(Dir, RemoveRemovesAnEmptyDirectory) {
  const std::string theDir = mTree.MakeDir("dir");
  EXPECT_EQ(0, zvDir_Remove(theDir.c_str()));
  EXPECT_FALSE(IsDir(theDir));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Dir, RemoveOfAMissingDirectoryIsASuccess) {
  EXPECT_EQ(0, zvDir_Remove(mTree.At("missing").c_str()));
  EXPECT_EQ(0, zvDir_Remove(mTree.At("missing/below").c_str()));
  EXPECT_EQ(0, zvDir_Remove(""));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Dir, RemoveRefusesWhatIsNotAnEmptyDirectory) {
  const std::string theDir = mTree.MakeDir("dir");
  mTree.MakeFile("dir/file");
  const std::string theFile = mTree.MakeFile("file");
  const std::string theLink = mTree.MakeLink("link", mTree.MakeDir("target"));
  mLog.SpoilErrno(kSpoiledErrno);
  EXPECT_EQ(-1, zvDir_Remove(theDir.c_str()));
  EXPECT_EQ(-1, zvDir_Remove(theFile.c_str()));
  EXPECT_EQ(-1, zvDir_Remove(theLink.c_str()));
  EXPECT_TRUE(IsDir(theDir));
  EXPECT_TRUE(IsDir(theLink));
  const auto theMessage = [](const std::string &aPath, int anError) {
    return DirError(Format("zvDir: Cannot remove directory '%s' (errno = %d)\n", aPath.c_str(), anError));
  };
  EXPECT_THAT(mLog.Messages(), ElementsAre(theMessage(theDir, ENOTEMPTY), theMessage(theFile, ENOTDIR),
                                           theMessage(theLink, ENOTDIR)));
}

TEST_F(Dir, EveryOtherFailureToRemoveIsLogged) {
  for (const int theError : {EACCES, EBUSY, EPERM, EROFS, EINVAL, EIO, EEXIST}) {
    mLog.Clear();
    Fault theFault("rmdir", theError);
    EXPECT_EQ(-1, zvDir_Remove("/a"));
    EXPECT_THAT(
        mLog.Messages(),
        ElementsAre(DirError(Format("zvDir: Cannot remove directory '/a' (errno = %d)\n", theError))));
  }
}

//
// Create
//

TEST_F(Dir, CreateMakesADirectoryForItsOwnerAlone) {
  const std::string theDir = mTree.At("dir");
  const mode_t theMask = umask(0);
  EXPECT_EQ(0, zvDir_Create(theDir.c_str()));
  umask(theMask);
  struct stat theData = {};
  ASSERT_EQ(0, stat(theDir.c_str(), &theData));
  EXPECT_EQ(S_IFDIR | 0700U, theData.st_mode);
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Dir, CreateFailsWhereSomethingIsAndWhereNothingCanBe) {
  const std::string theDir = mTree.MakeDir("dir");
  const std::string theFile = mTree.MakeFile("file");
  const std::string theDangling = mTree.MakeLink("dangling", mTree.At("nowhere"));
  const std::string theOrphan = mTree.At("missing/dir");
  mLog.SpoilErrno(kSpoiledErrno);
  for (const std::string &thePath : {theDir, theFile, theDangling, theOrphan, std::string()}) {
    EXPECT_EQ(-1, zvDir_Create(thePath.c_str())) << thePath;
  }
  const auto theMessage = [](const std::string &aPath, int anError) {
    return DirError(Format("zvDir: Cannot create directory '%s' (errno = %d)\n", aPath.c_str(), anError));
  };
  EXPECT_THAT(mLog.Messages(), ElementsAre(theMessage(theDir, EEXIST), theMessage(theFile, EEXIST),
                                           theMessage(theDangling, EEXIST), theMessage(theOrphan, ENOENT),
                                           theMessage("", ENOENT)));
}

TEST_F(Dir, EveryFailureToCreateIsLogged) {
  for (const int theError : {EACCES, ENOSPC, EROFS, EMLINK, ENOENT, EEXIST}) {
    mLog.Clear();
    Fault theFault("mkdir", theError);
    EXPECT_EQ(-1, zvDir_Create("/a"));
    EXPECT_THAT(
        mLog.Messages(),
        ElementsAre(DirError(Format("zvDir: Cannot create directory '/a' (errno = %d)\n", theError))));
  }
}

//
// Create a path
//

// The levels that a call asked for, in order; none of them is really made.
std::vector<std::string> LevelsOf(const std::string &aPath, int aResult) {
  std::vector<std::string> theLevels;
  Fault theFault("mkdir", 0, 0, -1);
  theFault.Returning(0).Doing(
      [&](const long long *anArguments) { theLevels.emplace_back(ArgumentAs<const char>(anArguments[0])); });
  EXPECT_EQ(aResult, zvDir_CreatePath(aPath.c_str())) << aPath;
  return theLevels;
}

TEST_F(Dir, CreatePathAsksForEveryMissingLevelButTheFirst) {
  EXPECT_THAT(LevelsOf("/zv/b/c", 1), ElementsAre("/zv/b", "/zv/b/c"));
  EXPECT_THAT(LevelsOf("/zv/b/c/", 1), ElementsAre("/zv/b", "/zv/b/c"));
  EXPECT_THAT(LevelsOf("/zv//b", 1), ElementsAre("/zv/", "/zv//b"));
  EXPECT_THAT(LevelsOf("/zv/b//", 1), ElementsAre("/zv/b", "/zv/b/"));
  EXPECT_THAT(LevelsOf("//zv/b", 1), ElementsAre("//zv", "//zv/b"));
  EXPECT_THAT(LevelsOf("\\zv\\b", 1), ElementsAre("/zv/b"));
  EXPECT_THAT(LevelsOf("/zv/b", 1), ElementsAre("/zv/b"));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Dir, APathOfOneComponentNeedsNothing) {
  const int theStats = CallsOf("stat");
  for (const char *thePath : {"/zv", "/", "\\", "//", "/zv/", "/a", "\\zv"}) {
    EXPECT_THAT(LevelsOf(thePath, 1), IsEmpty()) << thePath;
  }
  EXPECT_EQ(theStats, CallsOf("stat"));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Dir, CreatePathNeverLooksAtTheFirstComponent) {
  std::vector<std::string> theLooks;
  {
    Fault theFault("stat", 0, 0, -1);
    theFault.PassingThrough().Doing(
        [&](const long long *anArguments) { theLooks.emplace_back(ArgumentAs<const char>(anArguments[0])); });
    EXPECT_EQ(1, zvDir_CreatePath(mTree.At("a/b").c_str()));
  }
  std::vector<std::string> theExpected;
  const std::string theLast = mTree.At("a/b");
  for (size_t theEnd = theLast.find('/', theLast.find('/', 1) + 1); theEnd != std::string::npos;
       theEnd = theLast.find('/', theEnd + 1)) {
    theExpected.push_back(theLast.substr(0, theEnd));
  }
  theExpected.push_back(theLast);
  EXPECT_EQ(theExpected, theLooks);
}

TEST_F(Dir, CreatePathMakesWhatIsMissingAndKeepsWhatIsThere) {
  mTree.MakeDir("a");
  mTree.MakeFile("a/kept");
  EXPECT_EQ(1, zvDir_CreatePath(mTree.At("a/b//c/").c_str()));
  EXPECT_TRUE(IsDir(mTree.At("a/b/c")));
  EXPECT_TRUE(std::filesystem::exists(mTree.At("a/kept")));
  EXPECT_EQ(1, zvDir_CreatePath(mTree.At("a/b/c").c_str()));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Dir, CreatePathGoesThroughLinksToDirectories) {
  mTree.MakeLink("link", mTree.MakeDir("target"));
  EXPECT_EQ(1, zvDir_CreatePath(mTree.At("link/a/b").c_str()));
  EXPECT_TRUE(IsDir(mTree.At("target/a/b")));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Dir, AnEmptyPathCannotBeAnalyzed) {
  EXPECT_EQ(0, zvDir_CreatePath(""));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(DirError("zvDir: Cannot analyze directory path: '' (invalid path)\n")));
}

auto PartError(const std::string &aPath, size_t anIndex) {
  return DirError(Format("zvDir: Cannot create directory path part: '%s' (part index = %d)\n", aPath.c_str(),
                         static_cast<int>(anIndex)));
}

auto CreateError(const std::string &aPath, int anError) {
  return DirError(Format("zvDir: Cannot create directory '%s' (errno = %d)\n", aPath.c_str(), anError));
}

TEST_F(Dir, AMissingFirstComponentFailsTheSecond) {
  EXPECT_EQ(0, zvDir_CreatePath("/zv_missing/b/c"));
  EXPECT_THAT(mLog.Messages(), ElementsAre(CreateError("/zv_missing/b", ENOENT),
                                           PartError("/zv_missing/b/c", strlen("/zv_missing/b"))));
}

TEST_F(Dir, CreatePathStopsAtTheFirstLevelThatCannotBeMade) {
  const std::string thePath = mTree.At("a/file/b");
  mTree.MakeDir("a");
  const std::string theFile = mTree.MakeFile("a/file");
  EXPECT_EQ(0, zvDir_CreatePath(thePath.c_str()));
  EXPECT_THAT(mLog.Messages(), ElementsAre(CreateError(theFile, EEXIST), PartError(thePath, theFile.size())));
}

TEST_F(Dir, LevelsMadeBeforeAFailureStay) {
  const std::string thePath = mTree.At("a/b/c");
  Fault theFault("mkdir", ENOSPC, 1);
  EXPECT_EQ(0, zvDir_CreatePath(thePath.c_str()));
  EXPECT_TRUE(IsDir(mTree.At("a")));
  EXPECT_FALSE(IsDir(mTree.At("a/b")));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(CreateError(mTree.At("a/b"), ENOSPC), PartError(thePath, mTree.At("a/b").size())));
}

TEST_F(Dir, TheLastLevelMayFailToo) {
  const std::string thePath = mTree.At("a");
  Fault theFault("mkdir", EACCES);
  EXPECT_EQ(0, zvDir_CreatePath(thePath.c_str()));
  EXPECT_THAT(mLog.Messages(), ElementsAre(CreateError(thePath, EACCES), PartError(thePath, thePath.size())));
}

TEST_F(Dir, ACircularLinkOnThePathCannotBeMade) {
  const std::string theDir = mTree.MakeDir("d");
  const std::string theLoop = mTree.MakeLink("d/loop", theDir);
  const std::string thePath = theLoop + "/x";
  EXPECT_EQ(0, zvDir_CreatePath(thePath.c_str()));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(zvtest::Warning(zvtest::kDirModule, "zvDir_Exists: circular link detected: link '" +
                                                                  theLoop + "' to '" + theDir + "'\n"),
                          CreateError(theLoop, EEXIST), PartError(thePath, theLoop.size())));
}

// Each allocation fails once; under the leak checker nothing is lost. A level that cannot be looked at is
// made, so that a call may succeed all the same.
TEST_F(Dir, WithoutMemoryTheAnswerIsStillTrue) {
  for (const char *theFunction : {"zvStrdup", "zvMalloc", "zvStrndup", "malloc"}) {
    int theSkip = 0;
    for (int theHits = 1; theHits > 0; ++theSkip) {
      const std::string thePath = mTree.At(Format("%s%d/b", theFunction, theSkip));
      Fault theFault(theFunction, ENOMEM, theSkip);
      const int theResult = zvDir_CreatePath(thePath.c_str());
      theHits = theFault.Hits();
      EXPECT_TRUE(theHits == 1 || theResult == 1) << thePath;
      EXPECT_EQ(theResult == 1, IsDir(thePath)) << thePath;
    }
  }
}

}  // namespace
