// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Files and folders written after 2038-01-19T03:14:07Z where time_t has 32 bits. They are really given such
// times: the system refuses to tell them in 32 bits.

#include "files_support.h"
#include "support/LateClock.h"

#include <dirent.h>
#include <sys/syscall.h>

#include <algorithm>

using testing::ElementsAre;
using testing::IsEmpty;
using zvtest::CallsOf;
using zvtest::DirError;
using zvtest::Fault;
using zvtest::FileError;
using zvtest::Format;
using zvtest::k2040;
using zvtest::k2105;
using zvtest::Low;

namespace {

class LateFile : public zvtest::LateTest {
 protected:
  // Gives a file or a link two times. False where the file system or the emulator has no such times.
  static bool SetTimes(const std::string &aPath, long long anAccess, long long aModification) {
    const zvtest::WideTime theTimes[2] = {{anAccess, 0}, {aModification, 0}};
    if (syscall(zvtest::kUTimeNSAt64, AT_FDCWD, aPath.c_str(), theTimes, AT_SYMLINK_NOFOLLOW) != 0)
      return false;
    struct statx theStatus = {};
    return statx(AT_FDCWD, aPath.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS, &theStatus) == 0 &&
           theStatus.stx_mtime.tv_sec == aModification;
  }

  std::string MakeFile(const std::string &aName) { return Made(mTree.MakeFile(aName)); }
  std::string MakeDir(const std::string &aName) { return Made(mTree.MakeDir(aName)); }
  std::string MakeLink(const std::string &aName, const std::string &aTarget) {
    return Made(mTree.MakeLink(aName, aTarget));
  }

  zvtest::RecordingLog mLog;
  zvtest::Tree mTree;

 private:
  static std::string Made(const std::string &aPath) {
    EXPECT_TRUE(SetTimes(aPath, k2040, k2105)) << "no late times here: " << strerror(errno);
    return aPath;
  }
};

TEST_F(LateFile, Exists) {
  const std::string theFile = MakeFile("file");
  const std::string theDir = MakeDir("dir");
  const int theCalls = CallsOf("statx");
  EXPECT_EQ(1, zvFile_Exists(theFile.c_str()));
  EXPECT_EQ(theCalls + 1, CallsOf("statx")) << "stat() did not refuse";
  EXPECT_EQ(0, zvFile_Exists(theDir.c_str()));
  EXPECT_EQ(1, zvDir_Exists(theDir.c_str()));
  EXPECT_EQ(0, zvDir_Exists(theFile.c_str()));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(LateFile, ALinkExistsAsWhatItLeadsTo) {
  MakeFile("file");
  MakeDir("dir");
  EXPECT_EQ(1, zvFile_Exists(MakeLink("link-to-file", "file").c_str()));
  EXPECT_EQ(1, zvDir_Exists(MakeLink("link-to-dir", "dir").c_str()));
  EXPECT_EQ(0, zvFile_Exists(MakeLink("broken", "nowhere").c_str()));
  EXPECT_EQ(0, zvDir_Exists(mTree.At("broken").c_str()));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
  EXPECT_EQ(0, zvDir_Exists(MakeLink("dir/loop", ".").c_str()));
  EXPECT_EQ(1U, mLog.Messages().size()) << "a loop is warned of";
}

TEST_F(LateFile, ALateLinkToAnOldFolderExists) {
  mTree.MakeDir("dir");
  EXPECT_EQ(1, zvDir_Exists(MakeLink("link", "dir").c_str()));
}

TEST_F(LateFile, ItsTimesAreTheLow32Bits) {
  const std::string theFile = MakeFile("file");
  const std::string theDir = MakeDir("dir");
  for (int i = 0; i < 2; ++i) {
    zvtimeval theAccess = {-1, -1}, theModification = {-1, -1}, theCreation = {-1, -1};
    if (i == 0) {
      EXPECT_EQ(0, zvFile_GetTimes(theFile.c_str(), &theAccess, &theModification, &theCreation));
    } else {
      EXPECT_EQ(0, zvDir_GetTimes(theDir.c_str(), &theAccess, &theModification, &theCreation));
    }
    EXPECT_EQ(Low(k2040), theAccess.tv_sec);
    EXPECT_EQ(Low(k2105), theModification.tv_sec);
    EXPECT_EQ(k2105, static_cast<uint32>(theModification.tv_sec));
    // When it was changed is the present.
    EXPECT_NE(-1, theCreation.tv_sec);
    EXPECT_EQ(0, theAccess.tv_usec + theModification.tv_usec + theCreation.tv_usec);
  }
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(LateFile, ItsTimesCanBeCopied) {
  const std::string theFile = MakeFile("file");
  const std::string theCopy = mTree.MakeFile("copy");
  zvtimeval theTime = {};
  EXPECT_EQ(0, zvFile_GetTimes(theFile.c_str(), nullptr, &theTime, nullptr));
  theTime.tv_usec = 654321;
  EXPECT_EQ(0, zvFile_SetModificationTime(theCopy.c_str(), &theTime));
  struct statx theStatus = {};
  ASSERT_EQ(0, statx(AT_FDCWD, theCopy.c_str(), 0, STATX_BASIC_STATS, &theStatus));
  EXPECT_EQ(k2105, theStatus.stx_mtime.tv_sec);
  EXPECT_EQ(654321000U, theStatus.stx_mtime.tv_nsec);
  EXPECT_EQ(k2105, theStatus.stx_atime.tv_sec);
  EXPECT_EQ(654321000U, theStatus.stx_atime.tv_nsec);
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(LateFile, SettingALateTimeFailsAsSettingAnyDoes) {
  mLog.SpoilErrno(zvtest::kSpoiledErrno);
  const std::string thePath = mTree.At("missing");
  zvtimeval theTime = {Low(k2040), 0};
  EXPECT_EQ(kzvFileErrorNotFound, zvFile_SetModificationTime(thePath.c_str(), &theTime));
  const std::string theFile = mTree.MakeFile("file");
  for (const long theMicroseconds : {-1L, 1000000L, 2147483647L}) {
    theTime.tv_usec = theMicroseconds;
    EXPECT_EQ(kzvFileErrorUnknown, zvFile_SetModificationTime(theFile.c_str(), &theTime));
  }
  const auto Message = [](const std::string &aPath, int anError) {
    return FileError(
        Format("zvFile: Cannot set times for file: '%s' (error = %d)\n", aPath.c_str(), anError));
  };
  EXPECT_THAT(mLog.Messages(), ElementsAre(Message(thePath, ENOENT), Message(theFile, EINVAL),
                                           Message(theFile, EINVAL), Message(theFile, EINVAL)));
}

TEST_F(LateFile, WhereTheSystemHasNoLateTimesANegativeOneIsBefore1970) {
  const std::string theFile = mTree.MakeFile("file");
  Fault theCall("syscall", ENOSYS);
  zvtimeval theTime = {-1000, 0};
  EXPECT_EQ(0, zvFile_SetModificationTime(theFile.c_str(), &theTime));
  EXPECT_EQ(1, theCall.Hits());
  struct stat theStatus = {};
  ASSERT_EQ(0, stat(theFile.c_str(), &theStatus));
  EXPECT_EQ(-1000, theStatus.st_mtime);
}

TEST_F(LateFile, TimesThatFitAreSetAndReadAsEver) {
  const std::string theFile = mTree.MakeFile("file");
  const int theCalls = CallsOf("syscall") + CallsOf("statx");
  const int theSets = CallsOf("utimes");
  zvtimeval theTime = {INT32_MAX, 0};
  EXPECT_EQ(0, zvFile_SetModificationTime(theFile.c_str(), &theTime));
  EXPECT_EQ(theSets + 1, CallsOf("utimes"));
  EXPECT_EQ(0, zvFile_GetTimes(theFile.c_str(), &theTime, nullptr, nullptr));
  EXPECT_EQ(INT32_MAX, theTime.tv_sec);
  // When it was changed is now, which cannot be chosen.
  EXPECT_EQ(theCalls + (zvtest::IsLateNow() ? 1 : 0), CallsOf("syscall") + CallsOf("statx"));
}

TEST_F(LateFile, WhatIsRefusedTwiceFails) {
  const std::string theFile = mTree.MakeFile("file");
  Fault theSecond("statx", EACCES, 0, -1);
  Fault theFirst("stat", EOVERFLOW, 0, -1);
  mLog.SpoilErrno(zvtest::kSpoiledErrno);
  EXPECT_EQ(0, zvFile_Exists(theFile.c_str()));
  zvtimeval theTime = {7, 8};
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_GetTimes(theFile.c_str(), &theTime, nullptr, nullptr));
  EXPECT_EQ(-1, zvDir_GetTimes(theFile.c_str(), &theTime, nullptr, nullptr));
  EXPECT_EQ(7, theTime.tv_sec);
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(FileError(Format("zvFile: Cannot get times for file: '%s' (error = %d)\n",
                                           theFile.c_str(), EACCES)),
                          DirError(Format("zvFile: Cannot get times for directory: '%s' (error = %d)\n",
                                          theFile.c_str(), EACCES))));
}

TEST_F(LateFile, AWalkFindsAllEntries) {
  MakeFile("file");
  MakeDir("dir");
  MakeLink("link-to-file", "file");
  MakeLink("link-to-dir", "dir");
  mTree.MakeDir("old");
  MakeLink("link-to-old", "old");
  MakeLink("broken", "nowhere");
  std::vector<std::string> theNames = Walk(zvtest::Traverser(mTree.Path()));
  std::sort(theNames.begin(), theNames.end());
  EXPECT_THAT(theNames, ElementsAre("dir", "file", "link-to-dir", "link-to-file", "link-to-old", "old"));
  theNames = Walk(zvtest::Traverser(mTree.Path()), "*", zvDIR_DIRS);
  std::sort(theNames.begin(), theNames.end());
  EXPECT_THAT(theNames, ElementsAre("dir", "link-to-dir", "link-to-old", "old"));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(LateFile, AnEntryOfUnknownKindIsFound) {
  MakeFile("file");
  MakeDir("dir");
  const zvtest::Traverser theTraverser(mTree.Path());
  for (const char *theName : {"file", "dir"}) {
    dirent theRaw = {};
    theRaw.d_type = DT_UNKNOWN;
    strcpy(theRaw.d_name, theName);
    theTraverser.Rewind();
    Fault theEnd("readdir", 0, 0, -1);
    Fault theEntries("readdir", 0);
    theEntries.Returning(static_cast<long long>(reinterpret_cast<intptr_t>(&theRaw)));
    const zvDirEntry *theEntry = theTraverser.First("*", zvDIR_DEFAULT);
    ASSERT_NE(nullptr, theEntry) << theName;
    EXPECT_STREQ(theName, theEntry->mName);
    EXPECT_EQ(theName == std::string("dir"), theEntry->mfDir != 0);
  }
}

// An entry for which there is no memory must not be missing without a word.
TEST_F(LateFile, WithoutMemoryForAnEntryAWalkEndsWithTheErrorStatus) {
  MakeFile("file");
  MakeLink("link", "file");
  const zvtest::Traverser theTraverser(mTree.Path());
  int theErrors = 0;
  for (const char *theFunction : {"zvStrdup", "zvMalloc", "malloc"}) {
    for (int theSkip = 0, theHits = 1; theHits > 0; ++theSkip) {
      SCOPED_TRACE(Format("%s %d", theFunction, theSkip));
      Fault theFault(theFunction, ENOMEM, theSkip);
      size_t theCount = 0;
      theTraverser.Rewind();
      for (const zvDirEntry *theEntry = theTraverser.First("*", zvDIR_FILES); theEntry != nullptr;
           theEntry = theTraverser.Next()) {
        ++theCount;
      }
      theHits = theFault.Hits();
      const bool afError = theTraverser.Status() != kzvDirTraverserStatus_NoError;
      EXPECT_TRUE(theCount == 2 || afError);
      theErrors += afError ? 1 : 0;
    }
  }
  EXPECT_LT(0, theErrors);
}

}  // namespace
