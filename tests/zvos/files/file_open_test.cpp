// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Files: which modes open, what the system is asked for, closing.

#include "files_support.h"

using testing::IsEmpty;
using namespace zvtest;

namespace {

//
// Opening: what is refused
//

struct Refusal {
  zvFileOpenMode mMode;
  const char *mReason;  // the end of the message, behind the path
};

constexpr const char *kTruncateNeedsWriting =
    " - truncate mode can only be used on a file open for writing\n";
constexpr const char *kNoMode = " because no mode is specified\n";
constexpr const char *kAppendAndCreate = " - append and create modes cannot be used together\n";
constexpr const char *kTruncateAndExclusive = " - truncate and exclusive modes cannot be used together\n";
constexpr const char *kExclusiveNeedsCreate = " - exclusive modes can only be used with the create mode\n";

constexpr Refusal kRefusals[] = {
    {0, kNoMode},
    {kCreate, kNoMode},
    {kTruncate, kNoMode},
    {kExclusive, kNoMode},
    {kCreate | kTruncate | kExclusive, kNoMode},
    {kRead | kTruncate, kTruncateNeedsWriting},
    {kRead | kTruncate | kCreate | kExclusive, kTruncateNeedsWriting},
    {kRead | kTruncate | kExclusive, kTruncateNeedsWriting},
    {kWrite | kCreate | kAppend, kAppendAndCreate},
    {kCreate | kAppend, kAppendAndCreate},
    {kRead | kWrite | kCreate | kAppend | kTruncate | kExclusive, kAppendAndCreate},
    {kWrite | kCreate | kExclusive | kTruncate, kTruncateAndExclusive},
    {kWrite | kExclusive, kExclusiveNeedsCreate},
    {kRead | kExclusive, kExclusiveNeedsCreate},
    {kAppend | kExclusive, kExclusiveNeedsCreate},
    {kWrite | kTruncate | kExclusive, kExclusiveNeedsCreate},
};

TEST_F(File, OpenRefusesModesThatContradictThemselvesWithoutTouchingTheFileSystem) {
  const std::string thePath = MakeFile();
  for (const Refusal &theRefusal : kRefusals) {
    SCOPED_TRACE(Format("mode 0x%02x", static_cast<unsigned>(theRefusal.mMode)));
    mLog.Clear();
    zvFileFD theHandle = kUntouchedHandle;
    const int theOpens = CallsOf("open");
    EXPECT_EQ(kzvFileErrorUnknown, zvFile_Open(thePath.c_str(), theRefusal.mMode, 0, &theHandle));
    EXPECT_EQ(theOpens, CallsOf("open"));
    EXPECT_EQ(kUntouchedHandle, theHandle);
    EXPECT_THAT(mLog.Messages(), ElementsAre(FileError(Format("zvFile: Cannot open file: '%s'%s",
                                                              thePath.c_str(), theRefusal.mReason))));
  }
  EXPECT_EQ("0123456789", ReadWholeFile(thePath));
}

// The rules once more, for all modes: the reason of a refusal, or the flags given to the system.
const char *ReasonToRefuse(int aMode) {
  const bool afReads = (aMode & kRead) != 0;
  const bool afWrites = (aMode & (kWrite | kAppend)) != 0;
  if (!afReads && !afWrites) return kNoMode;
  if (!afWrites && (aMode & kTruncate) != 0) return kTruncateNeedsWriting;
  if ((aMode & kCreate) == 0) return (aMode & kExclusive) != 0 ? kExclusiveNeedsCreate : nullptr;
  if ((aMode & kAppend) != 0) return kAppendAndCreate;
  if ((aMode & kTruncate) != 0 && (aMode & kExclusive) != 0) return kTruncateAndExclusive;
  return nullptr;
}

int FlagsFor(int aMode) {
  int theFlags = O_LARGEFILE | O_CLOEXEC;
  if ((aMode & (kWrite | kAppend)) != 0) theFlags |= (aMode & kRead) != 0 ? O_RDWR : O_WRONLY;
  if ((aMode & kTruncate) != 0) theFlags |= O_TRUNC;
  if ((aMode & kCreate) != 0) theFlags |= O_CREAT;
  if ((aMode & kExclusive) != 0) theFlags |= O_EXCL;
  return theFlags;
}

TEST_F(File, EveryModeIsEitherRefusedOrOpenedWithExactlyItsFlags) {
  const std::string thePath = mFolder.File("any");
  int theAcceptedCount = 0;
  for (int theMode = 0; theMode < 0x40; ++theMode) {
    SCOPED_TRACE(Format("mode 0x%02x", static_cast<unsigned>(theMode)));
    mLog.Clear();
    std::vector<Arguments> theCalls;
    std::string theOpenedPath;
    zvFileFD theHandle = kUntouchedHandle;
    {
      Fault theFault("open", EROFS, 0, -1);
      theFault.Doing([&](const long long *anArguments) {
        AppendTo(&theCalls, 3)(anArguments);
        theOpenedPath = ArgumentAs<const char>(anArguments[0]);
      });
      const int theResult = zvFile_Open(thePath.c_str(), theMode, 0, &theHandle);
      EXPECT_EQ(theCalls.empty() ? kzvFileErrorUnknown : kzvFileErrorReadOnlyFileSystem, theResult);
    }
    EXPECT_EQ(kUntouchedHandle, theHandle);
    if (const char *theReason = ReasonToRefuse(theMode)) {
      EXPECT_THAT(theCalls, IsEmpty());
      EXPECT_THAT(
          mLog.Messages(),
          ElementsAre(FileError(Format("zvFile: Cannot open file: '%s'%s", thePath.c_str(), theReason))));
      continue;
    }
    ++theAcceptedCount;
    ASSERT_EQ(1u, theCalls.size());
    EXPECT_EQ(thePath, theOpenedPath);
    EXPECT_EQ(FlagsFor(theMode), theCalls[0][1]);
    if ((theMode & kCreate) != 0) {
      EXPECT_EQ(0777, theCalls[0][2]);
    }
    const int theLoggedMode = (theMode & kAppend) != 0 ? theMode | kWrite : theMode;
    EXPECT_THAT(
        mLog.Messages(),
        ElementsAre(FileError(Format("zvFile: Cannot open file: '%s' (OpenMode = 0x%02x) (error = %d)\n",
                                     thePath.c_str(), static_cast<unsigned>(theLoggedMode), EROFS))));
  }
  EXPECT_EQ(21, theAcceptedCount);
}

TEST_F(File, OpenOfNoPathIsAnInvalidNameWhateverElseIsWrong) {
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_Open(nullptr, 0, 0, nullptr));
  EXPECT_THAT(mLog.Messages(), ElementsAre(FileError("zvFile: Cannot open file: '(null)' (invalid name)\n")));
}

TEST_F(File, OpenWithoutAPlaceForTheHandleIsRefusedBeforeTheModeIsLookedAt) {
  const int theOpens = CallsOf("open");
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_Open(mFolder.File("x").c_str(), 0, 0, nullptr));
  EXPECT_EQ(theOpens, CallsOf("open"));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(FileError(Format("zvFile: Cannot open file: '%p' (invalid file descriptor pointer)\n",
                                   static_cast<void *>(nullptr)))));
}

//
// Opening: what succeeds, and how the system's failures come back
//

TEST_F(File, OpenGivesTheDescriptorAsTheHandleAndLogsNothing) {
  const std::string thePath = MakeFile();
  zvFileFD theHandle = kzvFileFDInvalid;
  std::vector<Arguments> theCalls;
  {
    Fault theFault("open", 0, 0, -1);
    theFault.PassingThrough().Doing(AppendTo(&theCalls, 3));
    ASSERT_EQ(0, zvFile_Open(thePath.c_str(), kRead, 12345, &theHandle));
  }
  EXPECT_EQ(1u, theCalls.size());
  struct stat theOpened = {}, theNamed = {};
  ASSERT_EQ(0, fstat(DescriptorOf(theHandle), &theOpened));
  ASSERT_EQ(0, stat(thePath.c_str(), &theNamed));
  EXPECT_EQ(theNamed.st_ino, theOpened.st_ino);
  EXPECT_EQ(0, zvFile_Close(theHandle));
  EXPECT_EQ(-1, fcntl(DescriptorOf(theHandle), F_GETFD));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(File, DescriptorZeroIsAHandleLikeAnyOther) {
  const std::string thePath = MakeFile();
  const auto theResult = zvtest::RunInChild([&] {
    close(0);
    zvFileFD theHandle = kzvFileFDInvalid;
    char theByte = 0;
    if (zvFile_Open(thePath.c_str(), kRead, 0, &theHandle) != 0) return 1;
    if (theHandle != nullptr) return 2;
    if (zvFile_Read(theHandle, &theByte, 1) != 1 || theByte != '0') return 3;
    return zvFile_Close(theHandle) == 0 ? 0 : 4;
  });
  EXPECT_FALSE(theResult.mfSignaled);
  EXPECT_EQ(0, theResult.mStatus);
}

TEST_F(File, AMissingFileIsNotFoundAndTheLoggedModeShowsThatAppendWrites) {
  const std::string thePath = mFolder.File("missing");
  zvFileFD theHandle = kUntouchedHandle;
  EXPECT_EQ(kzvFileErrorNotFound, zvFile_Open(thePath.c_str(), kRead, 0, &theHandle));
  EXPECT_EQ(kzvFileErrorNotFound, zvFile_Open(thePath.c_str(), kAppend, 0, &theHandle));
  EXPECT_EQ(kzvFileErrorNotFound, zvFile_Open(thePath.c_str(), kRead | kAppend, 0, &theHandle));
  EXPECT_EQ(kUntouchedHandle, theHandle);
  const auto theMessage = [&](unsigned aMode) {
    return FileError(Format("zvFile: Cannot open file: '%s' (OpenMode = 0x%02x) (error = %d)\n",
                            thePath.c_str(), aMode, ENOENT));
  };
  EXPECT_THAT(mLog.Messages(), ElementsAre(theMessage(0x01), theMessage(0x0a), theMessage(0x0b)));
}

TEST_F(File, ExclusiveCreationOfAnExistingFileReportsThatItExists) {
  const std::string thePath = MakeFile();
  zvFileFD theHandle = kUntouchedHandle;
  EXPECT_EQ(kzvFileErrorAlreadyExists,
            zvFile_Open(thePath.c_str(), kWrite | kCreate | kExclusive, 0, &theHandle));
  EXPECT_EQ(kUntouchedHandle, theHandle);
  EXPECT_EQ("0123456789", ReadWholeFile(thePath));
}

TEST_F(File, CreationKeepsTheContentsUnlessTruncated) {
  const std::string thePath = MakeFile();
  EXPECT_EQ(0, zvFile_Close(Open(thePath, kWrite | kCreate)));
  EXPECT_EQ("0123456789", ReadWholeFile(thePath));
  EXPECT_EQ(0, zvFile_Close(Open(thePath, kWrite | kCreate | kTruncate)));
  EXPECT_EQ("", ReadWholeFile(thePath));
}

TEST_F(File, ANewFileIsOpenToEveryoneLessTheUmaskWhateverTheAccessMode) {
  const auto thePermissions = [&](const char *aName, mode_t aMask, int anAccessMode) {
    const std::string thePath = mFolder.File(aName);
    const mode_t theOldMask = umask(aMask);
    zvFileFD theHandle = kzvFileFDInvalid;
    EXPECT_EQ(0, zvFile_Open(thePath.c_str(), kWrite | kCreate | kExclusive, anAccessMode, &theHandle));
    umask(theOldMask);
    EXPECT_EQ(0, zvFile_Close(theHandle));
    struct stat theStatus = {};
    EXPECT_EQ(0, stat(thePath.c_str(), &theStatus));
    return theStatus.st_mode & 07777;
  };
  EXPECT_EQ(0777u, thePermissions("open", 0, 0));
  EXPECT_EQ(0750u, thePermissions("masked", 027, 0));
  EXPECT_EQ(0777u, thePermissions("ignored", 0, 0400));
}

TEST_F(File, AppendAloneWritesAtTheEndAndCannotRead) {
  const std::string thePath = MakeFile();
  const zvFileFD theHandle = Open(thePath, kAppend);
  EXPECT_EQ(10, PositionOf(theHandle));
  EXPECT_EQ(O_WRONLY, fcntl(DescriptorOf(theHandle), F_GETFL) & O_ACCMODE);
  EXPECT_EQ(0, fcntl(DescriptorOf(theHandle), F_GETFL) & O_APPEND);
  EXPECT_EQ(2, zvFile_Write(theHandle, "ab", 2));
  EXPECT_EQ(0, zvFile_Close(theHandle));
  EXPECT_EQ("0123456789ab", ReadWholeFile(thePath));
}

TEST_F(File, AppendWithReadOpensForBoth) {
  const zvFileFD theHandle = Open(MakeFile(), kRead | kAppend);
  EXPECT_EQ(O_RDWR, fcntl(DescriptorOf(theHandle), F_GETFL) & O_ACCMODE);
  EXPECT_EQ(10, PositionOf(theHandle));
  EXPECT_EQ(0, zvFile_Close(theHandle));
}

TEST_F(File, AppendThatCannotReachTheEndClosesTheDescriptorAndReturnsTheSeeksCode) {
  const std::string thePath = MakeFile();
  const auto theDescriptors = zvtest::OpenDescriptors();
  zvFileFD theHandle = kUntouchedHandle;
  std::vector<Arguments> theCloses, theSeeks;
  {
    Fault theSeekFault("lseek", ENOSPC);
    theSeekFault.Doing(AppendTo(&theSeeks, 3));
    Fault theCloseFault("close", 0, 0, -1);
    theCloseFault.PassingThrough().Doing(AppendTo(&theCloses, 1));
    EXPECT_EQ(kzvFileErrorNoSpace, zvFile_Open(thePath.c_str(), kAppend, 0, &theHandle));
  }
  EXPECT_EQ(theDescriptors, zvtest::OpenDescriptors());
  EXPECT_EQ(kUntouchedHandle, theHandle);
  ASSERT_EQ(1u, theSeeks.size());
  ASSERT_EQ(1u, theCloses.size());
  EXPECT_EQ(theSeeks[0][0], theCloses[0][0]);
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(FileError(Format("zvFile: Cannot seek (fd = %p) (error = %d)\n",
                                           HandleOf(static_cast<int>(theSeeks[0][0])), ENOSPC)),
                          FileError(Format(
                              "zvFile: Cannot seek at end of file: '%s' (OpenMode = 0x%02x) (error = %d)\n",
                              thePath.c_str(), 0x0au, ENOSPC))));
}

//
// Closing
//

TEST_F(File, CloseIsRepeatedWhileItIsInterrupted) {
  const zvFileFD theHandle = Open(MakeFile(), kRead);
  Fault theFault("close", EINTR, 0, 3);
  const int theCalls = CallsOf("close");
  EXPECT_EQ(0, zvFile_Close(theHandle));
  EXPECT_EQ(theCalls + 4, CallsOf("close"));
  EXPECT_EQ(3, theFault.Hits());
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(File, CloseOfNoDescriptorIsLogged) {
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_Close(kzvFileFDInvalid));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(FileError(
                  Format("zvFile: Cannot close file (fd = %p) (error = %d)\n", kzvFileFDInvalid, EBADF))));
}

}  // namespace
