// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Files: the end of a file and its size.

#include "files_support.h"

using testing::IsEmpty;
using namespace zvtest;

namespace {

//
// The end of the file
//

TEST_F(File, EndOfFileComparesThePositionWithTheEndAndRestoresIt) {
  const zvFileFD theEmpty = Open(MakeFile("", "empty"), kRead);
  EXPECT_EQ(1, zvFile_EndOfFile(theEmpty));
  EXPECT_EQ(0, PositionOf(theEmpty));
  EXPECT_EQ(0, zvFile_Close(theEmpty));

  const zvFileFD theHandle = Open(MakeFile(), kRead);
  for (const off_t thePosition : {0, 9, 10, 11}) {
    ASSERT_EQ(thePosition, lseek(DescriptorOf(theHandle), thePosition, SEEK_SET));
    EXPECT_EQ(thePosition == 10 ? 1 : 0, zvFile_EndOfFile(theHandle)) << thePosition;
    EXPECT_EQ(thePosition, PositionOf(theHandle));
  }
  EXPECT_EQ(0, zvFile_Close(theHandle));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

// EndOfFile and GetSize move the position in four steps: tell, to the end, tell, back.
class FileSteps : public File {
 protected:
  void SetUp() override {
    mHandle = Open(MakeFile(), kRead);
    ASSERT_EQ(4, lseek(DescriptorOf(mHandle), 4, SEEK_SET));
  }
  void TearDown() override { close(DescriptorOf(mHandle)); }

  std::string CannotTell(int anErrno) const {
    return Format("zvFile: Cannot tell (fd = %p) (error = %d)\n", mHandle, anErrno);
  }
  std::string CannotSeek(int anErrno) const {
    return Format("zvFile: Cannot seek (fd = %p) (error = %d)\n", mHandle, anErrno);
  }

  zvFileFD mHandle = kzvFileFDInvalid;
};

TEST_F(FileSteps, EndOfFileNeedsTheOriginalPosition) {
  const int theSeeks = CallsOf("lseek");
  Fault theFault("lseek", EROFS);
  EXPECT_EQ(kzvFileErrorReadOnlyFileSystem, zvFile_EndOfFile(mHandle));
  EXPECT_EQ(theSeeks + 1, CallsOf("lseek"));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(FileError(CannotTell(EROFS)),
                          FileError(Format("zvFile: Cannot check EOF (fd = %p) (getting original position)\n",
                                           mHandle))));
}

TEST_F(FileSteps, EndOfFileNeedsToReachTheEnd) {
  const int theSeeks = CallsOf("lseek");
  Fault theFault("lseek", EROFS, 1);
  EXPECT_EQ(kzvFileErrorReadOnlyFileSystem, zvFile_EndOfFile(mHandle));
  EXPECT_EQ(theSeeks + 2, CallsOf("lseek"));
  EXPECT_EQ(4, PositionOf(mHandle));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(FileError(CannotSeek(EROFS)),
                  FileError(Format("zvFile: Cannot check EOF (fd = %p) (seeking to end)\n", mHandle))));
}

TEST_F(FileSteps, EndOfFileThatCannotTellTheEndAnswersNoAndRestoresThePosition) {
  ASSERT_EQ(10, lseek(DescriptorOf(mHandle), 10, SEEK_SET));
  Fault theFault("lseek", EROFS, 2);
  EXPECT_EQ(0, zvFile_EndOfFile(mHandle));
  EXPECT_EQ(10, PositionOf(mHandle));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(FileError(CannotTell(EROFS)),
                  FileError(Format("zvFile: Cannot check EOF (fd = %p) (getting end position)\n", mHandle))));
}

TEST_F(FileSteps, EndOfFileThatCannotRestoreThePositionFails) {
  Fault theFault("lseek", EROFS, 3);
  EXPECT_EQ(kzvFileErrorReadOnlyFileSystem, zvFile_EndOfFile(mHandle));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(FileError(CannotSeek(EROFS)),
                          FileError(Format(
                              "zvFile: Cannot after check of EOF (fd = %p) (restoring original position)\n",
                              mHandle))));
}

TEST_F(FileSteps, EndOfFileThatFailsAtBothOfTheLastStepsReturnsTheCodeOfTheRestore) {
  Fault theRestoreFault("lseek", ENOSPC);
  Fault theTellFault("lseek", EROFS, 2);
  EXPECT_EQ(kzvFileErrorNoSpace, zvFile_EndOfFile(mHandle));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(
          FileError(CannotTell(EROFS)),
          FileError(Format("zvFile: Cannot check EOF (fd = %p) (getting end position)\n", mHandle)),
          FileError(CannotSeek(ENOSPC)),
          FileError(Format("zvFile: Cannot after check of EOF (fd = %p) (restoring original position)\n",
                           mHandle))));
}

TEST_F(File, EndOfFileOfAPipeFails) {
  int theEnds[2];
  ASSERT_EQ(0, pipe(theEnds));
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_EndOfFile(HandleOf(theEnds[0])));
  close(theEnds[0]);
  close(theEnds[1]);
}

//
// The size
//

TEST_F(FileSteps, GetSizeRestoresThePosition) {
  zvFileOffset theSize = 77;
  EXPECT_EQ(0, zvFile_GetSize(mHandle, &theSize));
  EXPECT_EQ(10, theSize);
  EXPECT_EQ(4, PositionOf(mHandle));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(FileSteps, GetSizeNeedsTheInitialPosition) {
  const int theSeeks = CallsOf("lseek");
  zvFileOffset theSize = 77;
  Fault theFault("lseek", EROFS);
  EXPECT_EQ(kzvFileErrorReadOnlyFileSystem, zvFile_GetSize(mHandle, &theSize));
  EXPECT_EQ(theSeeks + 1, CallsOf("lseek"));
  EXPECT_EQ(kzvFileOffsetInvalid, theSize);
  EXPECT_THAT(mLog.Messages(), ElementsAre(FileError(CannotTell(EROFS)),
                                           FileError("zvFile_GetSize: Cannot get initial position\n")));
}

TEST_F(FileSteps, GetSizeNeedsToReachTheEnd) {
  const int theSeeks = CallsOf("lseek");
  zvFileOffset theSize = 77;
  Fault theFault("lseek", EROFS, 1);
  EXPECT_EQ(kzvFileErrorReadOnlyFileSystem, zvFile_GetSize(mHandle, &theSize));
  EXPECT_EQ(theSeeks + 2, CallsOf("lseek"));
  EXPECT_EQ(kzvFileOffsetInvalid, theSize);
  EXPECT_EQ(4, PositionOf(mHandle));
  EXPECT_THAT(mLog.Messages(), ElementsAre(FileError(CannotSeek(EROFS)),
                                           FileError("zvFile_GetSize: Cannot seek to end of file\n")));
}

TEST_F(FileSteps, GetSizeThatCannotTellTheEndStillRestoresThePosition) {
  zvFileOffset theSize = 77;
  Fault theFault("lseek", EROFS, 2);
  EXPECT_EQ(kzvFileErrorReadOnlyFileSystem, zvFile_GetSize(mHandle, &theSize));
  EXPECT_EQ(kzvFileOffsetInvalid, theSize);
  EXPECT_EQ(4, PositionOf(mHandle));
  EXPECT_THAT(mLog.Messages(), ElementsAre(FileError(CannotTell(EROFS)),
                                           FileError("zvFile_GetSize: Cannot get file length\n")));
}

TEST_F(FileSteps, GetSizeThatCannotRestoreThePositionFails) {
  zvFileOffset theSize = 77;
  Fault theFault("lseek", EROFS, 3);
  EXPECT_EQ(kzvFileErrorReadOnlyFileSystem, zvFile_GetSize(mHandle, &theSize));
  EXPECT_EQ(kzvFileOffsetInvalid, theSize);
  EXPECT_THAT(mLog.Messages(), ElementsAre(FileError(CannotSeek(EROFS)),
                                           FileError("zvFile_GetSize: Cannot restore initial position\n")));
}

TEST_F(FileSteps, GetSizeThatFailsAtBothOfTheLastStepsReturnsTheCodeOfTheFirst) {
  zvFileOffset theSize = 77;
  Fault theRestoreFault("lseek", ENOSPC);
  Fault theTellFault("lseek", EROFS, 2);
  EXPECT_EQ(kzvFileErrorReadOnlyFileSystem, zvFile_GetSize(mHandle, &theSize));
  EXPECT_EQ(kzvFileOffsetInvalid, theSize);
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(FileError(CannotTell(EROFS)), FileError("zvFile_GetSize: Cannot get file length\n"),
                          FileError(CannotSeek(ENOSPC)),
                          FileError("zvFile_GetSize: Cannot restore initial position\n")));
}

TEST_F(File, ChangeSizeToNothingSucceeds) {
  const std::string thePath = MakeFile();
  const zvFileFD theHandle = Open(thePath, kRead | kAppend);
  EXPECT_EQ(0, zvFile_ChangeSize(theHandle, 0));
  EXPECT_EQ(0, PositionOf(theHandle));
  EXPECT_EQ("", ReadWholeFile(thePath));
  EXPECT_EQ(0, zvFile_Close(theHandle));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(File, ChangeSizeToAnythingElseIsDoneYetReportedAsAFailure) {
  const std::string thePath = MakeFile();
  const zvFileFD theHandle = Open(thePath, kWrite);
  for (const zvFileOffset theSize : {100, 5}) {
    mLog.Clear();
    errno = 0;
    EXPECT_EQ(kzvFileErrorUnknown, zvFile_ChangeSize(theHandle, theSize));
    EXPECT_EQ(theSize, PositionOf(theHandle));
    EXPECT_EQ(static_cast<size_t>(theSize), ReadWholeFile(thePath).size());
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(FileError(Format("zvFile: Cannot seek (fd = %p) (error = %d)\n", theHandle, 0))));
  }
  EXPECT_EQ("01234", ReadWholeFile(thePath));
  EXPECT_EQ(0, zvFile_Close(theHandle));
}

TEST_F(File, ChangeSizePastFourGiBJudgesByTheLowHalfOfTheSize) {
  const std::string thePath = MakeFile();
  if (truncate(thePath.c_str(), 8 * kGiB) != 0) {
    GTEST_SKIP() << "The file system of " << thePath << " takes no sparse file of 8 GiB.";
  }
  const zvFileFD theHandle = Open(thePath, kWrite);
  const struct {
    zvFileOffset mSize;
    int mResult;
  } kSizes[] = {{4 * kGiB, 0},  {5 * kGiB, -1},     {8 * kGiB, 0}, {4 * kGiB + 1, -1},
                {2 * kGiB, -1}, {4 * kGiB - 1, -1}, {kGiB, -1},    {0, 0}};
  for (const auto &theCase : kSizes) {
    SCOPED_TRACE(theCase.mSize);
    mLog.Clear();
    EXPECT_EQ(theCase.mResult, zvFile_ChangeSize(theHandle, theCase.mSize));
    EXPECT_EQ(theCase.mResult == 0 ? 0u : 1u, mLog.Messages().size());
    struct stat theStatus = {};
    ASSERT_EQ(0, fstat(DescriptorOf(theHandle), &theStatus));
    EXPECT_EQ(theCase.mSize, theStatus.st_size);
    EXPECT_EQ(theCase.mSize, PositionOf(theHandle));
  }
  EXPECT_EQ(0, zvFile_Close(theHandle));
}

TEST_F(File, ChangeSizeDoesNotMapItsErrors) {
  const zvFileFD theHandle = Open(MakeFile(), kWrite);
  const int theSeeks = CallsOf("lseek");
  {
    Fault theFault("ftruncate", EROFS);
    EXPECT_EQ(-1, zvFile_ChangeSize(theHandle, 0));
  }
  EXPECT_EQ(theSeeks, CallsOf("lseek"));
  {
    Fault theFault("lseek", ENOSPC);
    EXPECT_EQ(-1, zvFile_ChangeSize(theHandle, 0));
  }
  EXPECT_EQ(0, zvFile_Close(theHandle));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(FileError(Format("zvFile: ChangeSize: Cannot ftruncate (fd = %p) (error = %d)\n", theHandle,
                                   EROFS)),
                  FileError(Format("zvFile: Cannot seek (fd = %p) (error = %d)\n", theHandle, ENOSPC))));
}

TEST_F(File, ChangeSizeOfAFileOpenForReadingOnlyIsRefusedByTheSystem) {
  const zvFileFD theHandle = Open(MakeFile(), kRead);
  EXPECT_EQ(-1, zvFile_ChangeSize(theHandle, 0));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(FileError(Format("zvFile: ChangeSize: Cannot ftruncate (fd = %p) (error = %d)\n",
                                           theHandle, EINVAL))));
  EXPECT_EQ(0, zvFile_Close(theHandle));
}

TEST_F(File, FlushHandsTheFileToTheDevice) {
  const zvFileFD theHandle = Open(MakeFile(), kWrite);
  const int theSyncs = CallsOf("fsync");
  EXPECT_EQ(0, zvFile_Flush(theHandle));
  EXPECT_EQ(theSyncs + 1, CallsOf("fsync"));
  EXPECT_EQ(0, zvFile_Close(theHandle));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(File, SetSizeCutsAndExtends) {
  const std::string thePath = MakeFile();
  EXPECT_EQ(0, zvFile_SetSize(thePath.c_str(), 4));
  EXPECT_EQ("0123", ReadWholeFile(thePath));
  EXPECT_EQ(0, zvFile_SetSize(thePath.c_str(), 6));
  EXPECT_EQ(std::string("0123\0\0", 6), ReadWholeFile(thePath));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(File, SetSizeTakesItsPathFromTheCurrentFolder) {
  MakeFile();
  const auto theResult = zvtest::RunInChild([&] {
    if (chdir(mFolder.Path().c_str()) != 0) return 1;
    return zvFile_SetSize("file", 3) == 0 ? 0 : 2;
  });
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_EQ("012", ReadWholeFile(mFolder.File("file")));
}

TEST_F(File, SetSizeDoesNotMapItsErrors) {
  for (const int theErrno : {ENOENT, EROFS, ENOSPC, EEXIST, EINTR, EFBIG}) {
    mLog.Clear();
    Fault theFault("truncate", theErrno);
    EXPECT_EQ(-1, zvFile_SetSize("a\\b", 4));
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(FileError(
                    Format("zvFile: SetSize: Cannot truncate file 'a\\b' (error = %d)\n", theErrno))));
  }
}

TEST_F(File, SetSizePastFourGiBReachesTheFile) {
  const std::string thePath = MakeFile();
  long long theSize = 0;
  {
    // The size is a 64-bit argument; on 32-bit systems it takes two words, so the file is asked.
    if (truncate(thePath.c_str(), 5 * kGiB) != 0 || truncate(thePath.c_str(), 0) != 0) {
      GTEST_SKIP() << "The file system of " << thePath << " takes no sparse file of 5 GiB.";
    }
    EXPECT_EQ(0, zvFile_SetSize(thePath.c_str(), 5 * kGiB));
    struct stat theStatus = {};
    ASSERT_EQ(0, stat(thePath.c_str(), &theStatus));
    theSize = theStatus.st_size;
  }
  EXPECT_EQ(5 * kGiB, theSize);
}

}  // namespace
