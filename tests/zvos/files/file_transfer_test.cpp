// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Files: reading, writing and positions.

#include "files_support.h"

using testing::IsEmpty;
using namespace zvtest;

namespace {

//
// Reading and writing
//

TEST_F(File, ReadGivesFewerBytesOnlyAtTheEnd) {
  const zvFileFD theHandle = Open(MakeFile("abcd"), kRead);
  char theBuffer[10] = {};
  EXPECT_EQ(3, zvFile_Read(theHandle, theBuffer, 3));
  EXPECT_EQ(0, zvFile_Seek(theHandle, 0, zvFileSeekMode_Begin));
  EXPECT_EQ(4, zvFile_Read(theHandle, theBuffer, 10));
  EXPECT_STREQ("abcd", theBuffer);
  EXPECT_EQ(0, zvFile_Read(theHandle, theBuffer, 10));
  EXPECT_EQ(0, zvFile_Close(theHandle));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(File, ReadOfNothingAsksTheSystemNothing) {
  const int theReads = CallsOf("read");
  const int theWrites = CallsOf("write");
  EXPECT_EQ(0, zvFile_Read(kzvFileFDInvalid, nullptr, 0));
  EXPECT_EQ(0, zvFile_Write(kzvFileFDInvalid, nullptr, 0));
  EXPECT_EQ(theReads, CallsOf("read"));
  EXPECT_EQ(theWrites, CallsOf("write"));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(File, ACountOfTwoToThe31OrMoreMovesNothing) {
  const zvFileFD theHandle = Open(MakeFile(), zvFileOpenMode_ReadWrite);
  const int theReads = CallsOf("read");
  const int theWrites = CallsOf("write");
  for (const uint32 theCount : {0x80000000u, 0x80000001u, 0xffffffffu}) {
    EXPECT_EQ(0, zvFile_Read(theHandle, nullptr, theCount));
    EXPECT_EQ(0, zvFile_Write(theHandle, nullptr, theCount));
  }
  EXPECT_EQ(theReads, CallsOf("read"));
  EXPECT_EQ(theWrites, CallsOf("write"));
  EXPECT_EQ(0, PositionOf(theHandle));
  EXPECT_EQ(0, zvFile_Close(theHandle));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(File, TheLargestCountIsGivenToTheSystemWhole) {
  std::vector<Arguments> theReads, theWrites;
  Fault theReadFault("read", 0);
  theReadFault.Returning(0).Doing(AppendTo(&theReads, 3));
  Fault theWriteFault("write", 0);
  theWriteFault.Returning(0).Doing(AppendTo(&theWrites, 3));
  EXPECT_EQ(0, zvFile_Read(HandleOf(1000), nullptr, 0x7fffffff));
  EXPECT_EQ(0, zvFile_Write(HandleOf(1000), nullptr, 0x7fffffff));
  ASSERT_EQ(1u, theReads.size());
  EXPECT_EQ(0x7fffffff, theReads[0][2]);
  ASSERT_EQ(1u, theWrites.size());
  EXPECT_EQ(0x7fffffff, theWrites[0][2]);
}

TEST_F(File, PartialReadsContinueBehindWhatCame) {
  char theBuffer[11] = {};
  int theNext = 0;
  std::vector<Arguments> theCalls;
  Fault theFault("read", 0, 0, -1);
  theFault.Returning(2).Doing([&](const long long *anArguments) {
    AppendTo(&theCalls, 3)(anArguments);
    char *theTarget = reinterpret_cast<char *>(static_cast<uintptr_t>(anArguments[1]));
    theTarget[0] = static_cast<char>('a' + theNext++);
    theTarget[1] = static_cast<char>('a' + theNext++);
  });
  EXPECT_EQ(10, zvFile_Read(HandleOf(1000), theBuffer, 10));
  EXPECT_STREQ("abcdefghij", theBuffer);
  ASSERT_EQ(5u, theCalls.size());
  for (size_t theIndex = 0; theIndex < theCalls.size(); ++theIndex) {
    EXPECT_EQ(1000, theCalls[theIndex][0]);
    EXPECT_EQ(theBuffer + 2 * theIndex, ArgumentAs<const char>(theCalls[theIndex][1]));
    EXPECT_EQ(static_cast<long long>(10 - 2 * theIndex), theCalls[theIndex][2]);
  }
}

TEST_F(File, PartialWritesContinueBehindWhatWent) {
  const char *theText = "abcdefghij";
  std::string theWritten;
  Fault theFault("write", 0, 0, -1);
  theFault.Returning(2).Doing(
      [&](const long long *anArguments) { theWritten.append(ArgumentAs<const char>(anArguments[1]), 2); });
  EXPECT_EQ(10, zvFile_Write(HandleOf(1000), theText, 10));
  EXPECT_EQ(5, theFault.Hits());
  EXPECT_EQ("abcdefghij", theWritten);
}

TEST_F(File, APipeIsReadUntilItsWriterIsGone) {
  int theEnds[2];
  ASSERT_EQ(0, pipe(theEnds));
  EXPECT_EQ(3, zvFile_Write(HandleOf(theEnds[1]), "abc", 3));
  EXPECT_EQ(0, zvFile_Close(HandleOf(theEnds[1])));
  char theBuffer[8] = {};
  EXPECT_EQ(3, zvFile_Read(HandleOf(theEnds[0]), theBuffer, 8));
  EXPECT_STREQ("abc", theBuffer);
  EXPECT_EQ(0, zvFile_Close(HandleOf(theEnds[0])));
}

TEST_F(File, InterruptedReadsAndWritesAreRepeated) {
  const std::string thePath = MakeFile("");
  const zvFileFD theHandle = Open(thePath, zvFileOpenMode_ReadWrite);
  {
    Fault theFault("write", EINTR, 0, 3);
    EXPECT_EQ(4, zvFile_Write(theHandle, "abcd", 4));
    EXPECT_EQ(3, theFault.Hits());
  }
  EXPECT_EQ(0, zvFile_Seek(theHandle, 0, zvFileSeekMode_Begin));
  char theBuffer[5] = {};
  {
    Fault theFault("read", EINTR, 0, 3);
    EXPECT_EQ(4, zvFile_Read(theHandle, theBuffer, 4));
    EXPECT_EQ(3, theFault.Hits());
  }
  EXPECT_STREQ("abcd", theBuffer);
  EXPECT_EQ(0, zvFile_Close(theHandle));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(File, AFailureTellsNothingOfTheBytesAlreadyMoved) {
  const zvFileFD theHandle = Open(MakeFile("abcd"), zvFileOpenMode_ReadWrite);
  char theBuffer[10];
  {
    Fault theFault("read", EIO, 1);  // the first read gives four bytes
    EXPECT_EQ(kzvFileErrorUnknown, zvFile_Read(theHandle, theBuffer, 10));
  }
  {
    Fault theFault("write", ENOSPC);
    Fault theShortWrite("write", 0);
    theShortWrite.Returning(3);
    EXPECT_EQ(kzvFileErrorNoSpace, zvFile_Write(theHandle, "0123456789", 10));
  }
  EXPECT_EQ(0, zvFile_Close(theHandle));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(FileError(Format("zvFile: cannot read %lu bytes (error = %d)\n", 10ul, EIO)),
                          FileError(Format("zvFile: cannot write %lu bytes (error = %d)\n", 10ul, ENOSPC))));
}

TEST_F(File, AWriteThatTakesNothingEndsTheLoop) {
  Fault theFault("write", 0);
  theFault.Returning(0);
  EXPECT_EQ(0, zvFile_Write(HandleOf(1000), "abcd", 4));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(File, MoreBytesThanAskedForAreAssertedAgainst) {
  const zvFileFD theHandle = Open(MakeFile("abcd"), zvFileOpenMode_ReadWrite);
  char theBuffer[10];
  {
    Fault theFault("read", 0);
    theFault.Returning(11);
    zvFile_Read(theHandle, theBuffer, 10);
  }
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("theReadCount <= theTotalCount")));
  mLog.Clear();
  {
    Fault theFault("write", 0);
    theFault.Returning(11);
    zvFile_Write(theHandle, "0123456789", 10);
  }
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("theWriteCount <= theTotalCount")));
  EXPECT_EQ(0, zvFile_Close(theHandle));
}

TEST_F(File, AsManyBytesAsAskedForAreFine) {
  char theByte;
  Fault theFault("read", 0);
  theFault.Returning(1);
  EXPECT_EQ(1, zvFile_Read(HandleOf(1000), &theByte, 1));
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
}

//
// Positions
//

TEST_F(File, SeekCountsFromTheBeginningTheCurrentPositionOrTheEnd) {
  const zvFileFD theHandle = Open(MakeFile(), kRead);
  EXPECT_EQ(0, zvFile_Seek(theHandle, 4, zvFileSeekMode_Begin));
  EXPECT_EQ(4, PositionOf(theHandle));
  EXPECT_EQ(0, zvFile_Seek(theHandle, -1, zvFileSeekMode_Current));
  EXPECT_EQ(3, PositionOf(theHandle));
  EXPECT_EQ(0, zvFile_Seek(theHandle, -2, zvFileSeekMode_End));
  EXPECT_EQ(8, PositionOf(theHandle));
  EXPECT_EQ(0, zvFile_Seek(theHandle, 5, zvFileSeekMode_End));
  zvFileOffset thePosition = 0;
  EXPECT_EQ(0, zvFile_Tell(theHandle, &thePosition));
  EXPECT_EQ(15, thePosition);
  EXPECT_EQ(0, zvFile_Close(theHandle));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(File, AnUnknownSeekModeIsAssertedAgainstAndCountsFromTheBeginning) {
  const zvFileFD theHandle = Open(MakeFile(), kRead);
  for (const zvFileSeekMode theMode : {3, -1, 99}) {
    mLog.Clear();
    ASSERT_EQ(7, lseek(DescriptorOf(theHandle), 7, SEEK_SET));
    EXPECT_EQ(0, zvFile_Seek(theHandle, 2, theMode));
    EXPECT_EQ(2, PositionOf(theHandle));
    EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("zvFile_Seek: Unknown seek mode")));
  }
  EXPECT_EQ(0, zvFile_Close(theHandle));
}

TEST_F(File, SeekBeforeTheBeginningFailsAndStays) {
  const zvFileFD theHandle = Open(MakeFile(), kRead);
  EXPECT_EQ(0, zvFile_Seek(theHandle, 4, zvFileSeekMode_Begin));
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_Seek(theHandle, -5, zvFileSeekMode_Current));
  EXPECT_EQ(4, PositionOf(theHandle));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(FileError(Format("zvFile: Cannot seek (fd = %p) (error = %d)\n", theHandle, EINVAL))));
  EXPECT_EQ(0, zvFile_Close(theHandle));
}

TEST_F(File, TellThatFailsLeavesThePositionUntouched) {
  zvFileOffset thePosition = 77;
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_Tell(kzvFileFDInvalid, &thePosition));
  EXPECT_EQ(77, thePosition);
  EXPECT_THAT(mLog.Messages(), ElementsAre(FileError(Format("zvFile: Cannot tell (fd = %p) (error = %d)\n",
                                                            kzvFileFDInvalid, EBADF))));
}

TEST_F(File, TellAndGetSizeWithoutAPlaceForTheResultAreAssertedAgainst) {
  const zvFileFD theHandle = Open(MakeFile(), kRead);
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_Tell(theHandle, nullptr));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("aPosition != NULL")));
  mLog.Clear();
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_GetSize(theHandle, nullptr));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("aSize != NULL")));
  EXPECT_EQ(0, PositionOf(theHandle));
  EXPECT_EQ(0, zvFile_Close(theHandle));
}

TEST_F(File, OffsetsPastFourGiBReachTheFile) {
  const std::string thePath = MakeFile("");
  if (truncate(thePath.c_str(), 5 * kGiB) != 0) {
    GTEST_SKIP() << "The file system of " << thePath << " takes no sparse file of 5 GiB.";
  }
  const zvFileFD theHandle = Open(thePath, zvFileOpenMode_ReadWrite);
  zvFileOffset theOffset = 0;
  EXPECT_EQ(0, zvFile_GetSize(theHandle, &theOffset));
  EXPECT_EQ(5 * kGiB, theOffset);
  EXPECT_EQ(0, zvFile_EndOfFile(theHandle));
  EXPECT_EQ(0, zvFile_Seek(theHandle, 4 * kGiB + 3, zvFileSeekMode_Begin));
  EXPECT_EQ(4, zvFile_Write(theHandle, "here", 4));
  EXPECT_EQ(0, zvFile_Tell(theHandle, &theOffset));
  EXPECT_EQ(4 * kGiB + 7, theOffset);
  EXPECT_EQ(0, zvFile_EndOfFile(theHandle));
  EXPECT_EQ(4 * kGiB + 7, PositionOf(theHandle));
  EXPECT_EQ(0, zvFile_Seek(theHandle, -(kGiB - 3), zvFileSeekMode_End));
  char theBuffer[5] = {};
  EXPECT_EQ(4, zvFile_Read(theHandle, theBuffer, 4));
  EXPECT_STREQ("here", theBuffer);
  EXPECT_EQ(0, zvFile_Seek(theHandle, 0, zvFileSeekMode_End));
  EXPECT_EQ(1, zvFile_EndOfFile(theHandle));
  EXPECT_EQ(0, zvFile_Close(theHandle));

  const zvFileFD theAppended = Open(thePath, kAppend);
  EXPECT_EQ(5 * kGiB, PositionOf(theAppended));
  EXPECT_EQ(0, zvFile_Close(theAppended));
  EXPECT_EQ(1, zvFile_Exists(thePath.c_str()));
  EXPECT_EQ(0, zvFile_GetTimes(thePath.c_str(), nullptr, nullptr, nullptr));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

}  // namespace
