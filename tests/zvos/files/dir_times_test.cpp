// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Directories: their times, and the list of roots.

#include "files_support.h"

#include <zvLog/zvPtrList.h>

using testing::ElementsAre;
using testing::IsEmpty;
using namespace zvtest;

namespace {

//
// Times
//

class DirTimes : public Dir {
 protected:
  void SetUp() override {
    const timespec theTimes[] = {{1000000001, 999999999}, {1234567890, 500000000}};
    mDir = mTree.MakeDir("dir");
    ASSERT_EQ(0, utimensat(AT_FDCWD, mDir.c_str(), theTimes, 0));
    ASSERT_EQ(0, stat(mDir.c_str(), &mData));
  }

  std::string mDir;
  struct stat mData = {};
};

TEST_F(DirTimes, TimesAreThoseOfTheSystemInWholeSeconds) {
  zvtimeval theAccess = {1, 2}, theModification = {3, 4}, theCreation = {5, 6};
  EXPECT_EQ(0, zvDir_GetTimes(mDir.c_str(), &theAccess, &theModification, &theCreation));
  EXPECT_EQ(1000000001, theAccess.tv_sec);
  EXPECT_EQ(1234567890, theModification.tv_sec);
  EXPECT_EQ(mData.st_ctime, theCreation.tv_sec);
  EXPECT_EQ(0, theAccess.tv_usec);
  EXPECT_EQ(0, theModification.tv_usec);
  EXPECT_EQ(0, theCreation.tv_usec);
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(DirTimes, EachTimeMayBeLeftOut) {
  for (int theWanted = 0; theWanted < 8; ++theWanted) {
    zvtimeval theTimes[3] = {{7, 7}, {7, 7}, {7, 7}};
    zvtimeval *thePointers[3];
    for (int i = 0; i < 3; ++i)
      thePointers[i] = (theWanted >> i & 1) != 0 ? &theTimes[i] : nullptr;
    EXPECT_EQ(0, zvDir_GetTimes(mDir.c_str(), thePointers[0], thePointers[1], thePointers[2]));
    const long theExpected[] = {1000000001, 1234567890, static_cast<long>(mData.st_ctime)};
    for (int i = 0; i < 3; ++i)
      EXPECT_EQ(thePointers[i] != nullptr ? theExpected[i] : 7, theTimes[i].tv_sec) << theWanted;
  }
}

TEST_F(DirTimes, ThePathIsTakenAsItStands) {
  mTree.MakeDir("back\\slash");
  InOwnProcess([&] {
    ASSERT_EQ(0, chdir(mTree.Path().c_str()));
    zvtimeval theTime = {};
    EXPECT_EQ(0, zvDir_GetTimes("dir", nullptr, &theTime, nullptr));
    EXPECT_EQ(1234567890, theTime.tv_sec);
    EXPECT_EQ(0, zvDir_GetTimes("back\\slash", nullptr, nullptr, nullptr));
    EXPECT_EQ(-1, zvDir_GetTimes("\\", nullptr, nullptr, nullptr));
    EXPECT_THAT(
        mLog.Messages(),
        ElementsAre(DirError(Format("zvFile: Cannot get times for directory: '\\' (error = %d)\n", ENOENT))));
  });
}

TEST_F(DirTimes, FailuresAreLoggedAndLeaveTheTimesAlone) {
  mLog.SpoilErrno(kSpoiledErrno);
  for (const int theError : {ENOENT, EACCES, ENOTDIR, EEXIST, EIO}) {
    mLog.Clear();
    Fault theFault("stat", theError);
    zvtimeval theTime = {7, 8};
    EXPECT_EQ(-1, zvDir_GetTimes(mDir.c_str(), &theTime, &theTime, &theTime));
    EXPECT_EQ(7, theTime.tv_sec);
    EXPECT_EQ(8, theTime.tv_usec);
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(DirError(Format("zvFile: Cannot get times for directory: '%s' (error = %d)\n",
                                            mDir.c_str(), theError))));
  }
}

//
// Roots
//

TEST_F(Dir, TheOnlyRootIsASlashThatTheListReleases) {
  zvPtrList *theList = zvDir_GetRootDirList();
  ASSERT_NE(nullptr, theList);
  ASSERT_EQ(1U, zvPtrList_GetCount(theList));
  Fault theFault("free", 0);
  const void *theReleased = nullptr;
  theFault.PassingThrough().Doing(
      [&](const long long *anArguments) { theReleased = ArgumentAs<const char>(anArguments[0]); });
  const void *theRoot = zvPtrList_Get(theList, 0);
  EXPECT_STREQ("/", static_cast<const char *>(theRoot));
  zvPtrList_Delete(theList);
  EXPECT_EQ(theRoot, theReleased);
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Dir, EveryListOfRootsIsNew) {
  zvPtrList *theFirst = zvDir_GetRootDirList();
  zvPtrList *theSecond = zvDir_GetRootDirList();
  EXPECT_NE(theFirst, theSecond);
  EXPECT_NE(zvPtrList_Get(theFirst, 0), zvPtrList_Get(theSecond, 0));
  zvPtrList_Delete(theFirst);
  zvPtrList_Delete(theSecond);
}

TEST_F(Dir, WithoutMemoryThereIsNoListOfRoots) {
  Fault theFault("zvPtrList_New", ENOMEM);
  EXPECT_EQ(nullptr, zvDir_GetRootDirList());
  EXPECT_EQ(1, theFault.Hits());
}

// What a list without its element looks like is left open; nothing may crash or leak.
TEST_F(Dir, AListOfRootsThatCannotBeFilledIsReleased) {
  for (const char *theFunction : {"zvStrdup", "zvPtrList_Append"}) {
    Fault theFault(theFunction, ENOMEM);
    zvPtrList *theList = zvDir_GetRootDirList();
    EXPECT_EQ(1, theFault.Hits());
    EXPECT_EQ(0U, zvPtrList_GetCount(theList));
    zvPtrList_Delete(theList);
  }
}

}  // namespace
