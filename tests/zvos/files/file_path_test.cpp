// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Files by their paths: which file is meant, what it is, its times and names.

#include "files_support.h"

using testing::IsEmpty;
using namespace zvtest;

namespace {

//
// Paths of files
//

TEST_F(File, RelativePathsCountFromTheFolderOfTheProgram) {
  char *theFolder = zvPath_GetApplicationPath(0);
  ASSERT_NE(nullptr, theFolder);
  const std::string theExpected = std::string(theFolder) + "sub/file";
  free(theFolder);

  zvFileFD theHandle = kzvFileFDInvalid;
  zvtimeval theTime = {1, 2};
  const struct {
    const char *mSystemCall;
    std::function<int()> mRun;
  } kCalls[] = {
      {"open", [&] { return zvFile_Open("sub\\file", kRead, 0, &theHandle); }},
      {"access", [&] { return zvFile_Access("./sub/file", zvFileAccessMode_Read); }},
      {"unlink", [&] { return zvFile_Remove(".\\sub\\file"); }},
      {"stat", [&] { return zvFile_Exists("sub/file"); }},
      {"stat", [&] { return zvFile_GetTimes("sub/file", nullptr, nullptr, nullptr); }},
      {"utimes", [&] { return zvFile_SetModificationTime("sub/file", &theTime); }},
  };
  for (const auto &theCall : kCalls) {
    SCOPED_TRACE(theCall.mSystemCall);
    std::string thePath;
    Fault theFault(theCall.mSystemCall, EIO);
    theFault.Doing([&](const long long *anArguments) { thePath = ArgumentAs<const char>(anArguments[0]); });
    theCall.mRun();
    EXPECT_EQ(theExpected, thePath);
  }

  std::string theOld, theNew;
  {
    Fault theFault("rename", EIO);
    theFault.Doing([&](const long long *anArguments) {
      theOld = ArgumentAs<const char>(anArguments[0]);
      theNew = ArgumentAs<const char>(anArguments[1]);
    });
    EXPECT_EQ(kzvFileErrorUnknown, zvFile_Rename("sub/file", "sub\\file"));
  }
  EXPECT_EQ(theExpected, theOld);
  EXPECT_EQ(theExpected, theNew);

  std::string theRaw;
  {
    Fault theFault("truncate", EIO);
    theFault.Doing([&](const long long *anArguments) { theRaw = ArgumentAs<const char>(anArguments[0]); });
    EXPECT_EQ(-1, zvFile_SetSize(".\\sub/file", 0));
  }
  EXPECT_EQ(".\\sub/file", theRaw);
}

TEST_F(File, NoPathIsAnInvalidNameEverywhere) {
  zvtimeval theTime = {1, 2};
  EXPECT_EQ(0, zvFile_Access(nullptr, zvFileAccessMode_Read));
  EXPECT_EQ(-1, zvFile_Remove(nullptr));
  EXPECT_EQ(0, zvFile_HasAttribute(nullptr, kzvFileAttribute_Hidden));
  EXPECT_EQ(0, zvFile_Exists(nullptr));
  EXPECT_EQ(-1, zvFile_GetTimes(nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(-1, zvFile_SetModificationTime(nullptr, &theTime));
  EXPECT_EQ(-1, zvFile_Rename(nullptr, "/b"));
  EXPECT_EQ(-1, zvFile_Rename("/a", nullptr));
  EXPECT_EQ(-1, zvFile_Rename(nullptr, nullptr));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(FileError("zvFile: Cannot check access for file: '(null)' (invalid name)\n"),
                          FileError("zvFile: Cannot remove file: '(null)' (invalid name)\n"),
                          FileError("zvFile: Cannot check attribute for file '(null)', (invalid name)\n"),
                          FileError("zvFile: Cannot check file: '(null)' exists, (invalid name)\n"),
                          FileError("zvFile: Cannot get times for file: '(null)' (invalid name)\n"),
                          FileError("zvFile: Cannot get times for file: '(null)' (invalid name)\n"),
                          FileError("zvFile: Cannot rename file: '(null)' to '/b' (invalid name)\n"),
                          FileError("zvFile: Cannot rename file: '/a' to '(null)' (invalid name)\n"),
                          FileError("zvFile: Cannot rename file: '(null)' to '(null)' (invalid name)\n")));
}

TEST_F(File, AccessAsksForExactlyTheModeGiven) {
  const std::string thePath = MakeFile();
  const struct {
    zvFileAccessMode mMode;
    int mAsked;
  } kModes[] = {{zvFileAccessMode_Read, R_OK},
                {zvFileAccessMode_Write, W_OK},
                {zvFileAccessMode_ReadWrite, R_OK | W_OK},
                {0, F_OK},
                {4, F_OK}};
  for (const auto &theCase : kModes) {
    std::vector<Arguments> theCalls;
    Fault theFault("access", 0);
    theFault.PassingThrough().Doing(AppendTo(&theCalls, 2));
    EXPECT_EQ(1, zvFile_Access(thePath.c_str(), theCase.mMode));
    ASSERT_EQ(1u, theCalls.size());
    EXPECT_EQ(theCase.mAsked, theCalls[0][1]) << theCase.mMode;
  }
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(File, AccessThatIsNotAllowedIsLoggedAndAnsweredWithNo) {
  const std::string thePath = MakeFile();
  for (const int theErrno : {EACCES, ENOENT, EROFS, EINTR}) {
    mLog.Clear();
    Fault theFault("access", theErrno);
    EXPECT_EQ(0, zvFile_Access(thePath.c_str(), zvFileAccessMode_Write));
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(FileError(Format("zvFile: Cannot check access for file: '%s' (error = %d)\n",
                                             thePath.c_str(), theErrno))));
  }
  EXPECT_EQ(0, zvFile_Access(mFolder.File("missing").c_str(), 0));
}

TEST_F(File, RemoveTakesTheFileAwayAndAMissingOneIsFine) {
  const std::string thePath = MakeFile();
  EXPECT_EQ(0, zvFile_Remove(thePath.c_str()));
  EXPECT_NE(0, access(thePath.c_str(), F_OK));
  EXPECT_EQ(0, zvFile_Remove(thePath.c_str()));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(File, RemoveOfAFolderFails) {
  const std::string &thePath = mFolder.Path();
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_Remove(thePath.c_str()));
  EXPECT_THAT(mLog.Messages(), ElementsAre(FileError(Format("zvFile: Cannot remove file '%s' (error = %d)\n",
                                                            thePath.c_str(), EISDIR))));
}

TEST_F(File, AFileIsHiddenWhenItsNameBeginsWithADot) {
  const struct {
    const char *mPath;
    int mHidden;
  } kPaths[] = {{"/a/.b", 1},   {"/a/b", 0}, {"/.a/b", 0}, {"/a/.", 1},  {"/a/..", 1},  {"/a/", 0},
                {"/", 0},       {"/.", 1},   {"", 0},      {"/a/b.", 0}, {"/a/b.c", 0}, {"\\a\\.b", 1},
                {"\\.a\\b", 0}, {".b", 1},   {"b", 0},     {"./b", 0},   {"./.b", 1},   {".", 0},
                {"..", 1},      {"../b", 0}, {"a\\.b", 1}, {".a/b", 0},  {"/a/.b/", 0}};
  for (const auto &theCase : kPaths) {
    SCOPED_TRACE(theCase.mPath);
    EXPECT_EQ(theCase.mHidden, zvFile_HasAttribute(theCase.mPath, kzvFileAttribute_Hidden));
    EXPECT_EQ(theCase.mHidden, zvFile_HasAttribute(theCase.mPath, kzvFileAttribute_Hidden | 0xfffffff0u));
  }
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(File, AnyOtherAttributeIsLoggedAndAnsweredWithNo) {
  for (const zvFileAttributes theAttribute : {0u, 2u, 0xfffffffeu}) {
    mLog.Clear();
    EXPECT_EQ(0, zvFile_HasAttribute("/a/.b", theAttribute));
    EXPECT_THAT(mLog.Messages(), ElementsAre(FileError(Format("zvFile: Invalid attribute to check: '%lu'\n",
                                                              static_cast<unsigned long>(theAttribute)))));
  }
}

TEST_F(File, AnyOtherAttributeOfNoPathIsAnInvalidNameFirst) {
  EXPECT_EQ(0, zvFile_HasAttribute(nullptr, 2));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(FileError("zvFile: Cannot check attribute for file '(null)', (invalid name)\n")));
}

TEST_F(File, OnlyRegularFilesExistAndLinksAreFollowed) {
  const std::string thePath = MakeFile();
  const auto theLink = [&](const std::string &aTarget, const char *aName) {
    const std::string theName = mFolder.File(aName);
    EXPECT_EQ(0, symlink(aTarget.c_str(), theName.c_str()));
    return theName;
  };
  EXPECT_EQ(1, zvFile_Exists(thePath.c_str()));
  EXPECT_EQ(1, zvFile_Exists(theLink(thePath, "to_file").c_str()));
  EXPECT_EQ(0, zvFile_Exists(mFolder.Path().c_str()));
  EXPECT_EQ(0, zvFile_Exists(theLink(mFolder.Path(), "to_folder").c_str()));
  EXPECT_EQ(0, zvFile_Exists(mFolder.File("missing").c_str()));
  EXPECT_EQ(0, zvFile_Exists(theLink(mFolder.File("missing"), "to_nothing").c_str()));
  ASSERT_EQ(0, mkfifo(mFolder.File("fifo").c_str(), 0600));
  EXPECT_EQ(0, zvFile_Exists(mFolder.File("fifo").c_str()));
  EXPECT_EQ(0, zvFile_Exists("/dev/null"));
  EXPECT_EQ(0, zvFile_Exists(""));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

//
// Times and names
//

TEST_F(File, GetTimesGivesWholeSecondsAndTheStatusChangeAsCreation) {
  const std::string thePath = MakeFile();
  const struct timespec theTimes[2] = {{1000, 700000000}, {2000, 800000000}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, thePath.c_str(), theTimes, 0));
  struct stat theStatus = {};
  ASSERT_EQ(0, stat(thePath.c_str(), &theStatus));

  zvtimeval theAccess = {-1, -1}, theModification = {-1, -1}, theCreation = {-1, -1};
  EXPECT_EQ(0, zvFile_GetTimes(thePath.c_str(), &theAccess, &theModification, &theCreation));
  EXPECT_EQ(1000, theAccess.tv_sec);
  EXPECT_EQ(0, theAccess.tv_usec);
  EXPECT_EQ(2000, theModification.tv_sec);
  EXPECT_EQ(0, theModification.tv_usec);
  EXPECT_EQ(theStatus.st_ctime, theCreation.tv_sec);
  EXPECT_EQ(0, theCreation.tv_usec);
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(File, GetTimesFillsOnlyWhatIsAskedFor) {
  const std::string thePath = MakeFile();
  const struct timespec theTimes[2] = {{1000, 0}, {2000, 0}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, thePath.c_str(), theTimes, 0));
  zvtimeval theTime = {-1, -1};
  EXPECT_EQ(0, zvFile_GetTimes(thePath.c_str(), &theTime, nullptr, nullptr));
  EXPECT_EQ(1000, theTime.tv_sec);
  EXPECT_EQ(0, zvFile_GetTimes(thePath.c_str(), nullptr, &theTime, nullptr));
  EXPECT_EQ(2000, theTime.tv_sec);
  EXPECT_EQ(0, zvFile_GetTimes(thePath.c_str(), nullptr, nullptr, &theTime));
  EXPECT_LT(2000U, static_cast<uint32>(theTime.tv_sec));
  EXPECT_EQ(0, zvFile_GetTimes(thePath.c_str(), nullptr, nullptr, nullptr));
}

TEST_F(File, GetTimesThatFailsLeavesTheOutputsUntouched) {
  zvtimeval theTimes[3] = {{7, 8}, {7, 8}, {7, 8}};
  const std::string thePath = mFolder.File("missing");
  EXPECT_EQ(kzvFileErrorNotFound, zvFile_GetTimes(thePath.c_str(), &theTimes[0], &theTimes[1], &theTimes[2]));
  for (const zvtimeval &theTime : theTimes) {
    EXPECT_EQ(7, theTime.tv_sec);
    EXPECT_EQ(8, theTime.tv_usec);
  }
}

TEST_F(File, SetModificationTimeSetsTheAccessTimeToo) {
  const std::string thePath = MakeFile();
  zvtimeval theTime = {1234567, 654321};
  EXPECT_EQ(0, zvFile_SetModificationTime(thePath.c_str(), &theTime));
  struct stat theStatus = {};
  ASSERT_EQ(0, stat(thePath.c_str(), &theStatus));
  EXPECT_EQ(1234567, theStatus.st_atim.tv_sec);
  EXPECT_EQ(654321000, theStatus.st_atim.tv_nsec);
  EXPECT_EQ(1234567, theStatus.st_mtim.tv_sec);
  EXPECT_EQ(654321000, theStatus.st_mtim.tv_nsec);
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(File, SetModificationTimeKeepsItsCopyOfThePath) {
  const std::string thePath = MakeFile();
  zvtimeval theTime = {1, 0};
  long long theCopy = 0;
  Fault theCall("utimes", 0);
  theCall.PassingThrough().Doing([&](const long long *anArguments) { theCopy = anArguments[0]; });
  bool afReleased = false;
  Fault theRelease("free", 0, 0, -1);
  theRelease.PassingThrough().Doing([&](const long long *anArguments) {
    afReleased = afReleased || (theCopy != 0 && anArguments[0] == theCopy);
  });
  EXPECT_EQ(0, zvFile_SetModificationTime(thePath.c_str(), &theTime));
  EXPECT_NE(0, theCopy);
  EXPECT_FALSE(afReleased);
}

TEST_F(File, SetModificationTimeWithoutATimeIsAssertedAgainst) {
  const std::string thePath = MakeFile();
  const int theCalls = CallsOf("utimes");
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_SetModificationTime(thePath.c_str(), nullptr));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("aModificationTime != NULL")));
  EXPECT_EQ(theCalls, CallsOf("utimes"));
}

TEST_F(File, RenameReplacesAFileOfTheNewName) {
  const std::string theOld = MakeFile("old", "old");
  const std::string theNew = MakeFile("new", "new");
  EXPECT_EQ(0, zvFile_Rename(theOld.c_str(), theNew.c_str()));
  EXPECT_NE(0, access(theOld.c_str(), F_OK));
  EXPECT_EQ("old", ReadWholeFile(theNew));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(File, RenameOfAMissingFileIsNotFound) {
  const std::string theOld = mFolder.File("missing");
  const std::string theNew = mFolder.File("new");
  EXPECT_EQ(kzvFileErrorNotFound, zvFile_Rename(theOld.c_str(), theNew.c_str()));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(FileError(Format("zvFile: Cannot rename file: '%s' to '%s' (error = %d)\n",
                                           theOld.c_str(), theNew.c_str(), ENOENT))));
}

}  // namespace
