// Files: open rules, whole reads and writes, positions, sizes and the path-level operations.

#include <zvOS/zvFile.h>
#include <zvOS/zvPath.h>

#include "support/Faults.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using zvtest::Asserted;
using zvtest::CallsOf;
using zvtest::Fault;
using zvtest::Format;
using zvtest::ReadWholeFile;
using zvtest::RecordingLog;
using zvtest::TempFolder;
using zvtest::WriteWholeFile;

namespace {

constexpr zvLogModule kFileModule = 42;
constexpr zvFileOffset kGiB = 1024LL * 1024 * 1024;
constexpr int kLargestErrno = 133;

zvFileFD HandleOf(int aDescriptor) {
  return reinterpret_cast<zvFileFD>(static_cast<intptr_t>(aDescriptor));
}

int DescriptorOf(zvFileFD aHandle) {
  return static_cast<int>(reinterpret_cast<intptr_t>(aHandle));
}

const zvFileFD kUntouchedHandle = HandleOf(0x1234);

const char *TextOf(long long anArgument) {
  return reinterpret_cast<const char *>(static_cast<uintptr_t>(anArgument));
}

// What the portable code of an errno must be.
int CodeOf(int anErrno) {
  switch (anErrno) {
    case 0:
      return 0;
    case ENOENT:
      return kzvFileErrorNotFound;
    case EEXIST:
      return kzvFileErrorAlreadyExists;
    case ENOSPC:
      return kzvFileErrorNoSpace;
    case EROFS:
      return kzvFileErrorReadOnlyFileSystem;
    default:
      return kzvFileErrorUnknown;
  }
}

auto FileError(const std::string &aText) {
  return zvtest::Error(kFileModule, aText);
}

// The arguments of every call that a fault saw, as many as the function has.
using CallList = std::vector<std::vector<long long>>;

std::function<void(const long long *)> RecordInto(CallList &aList, size_t aCount) {
  return [&aList, aCount](const long long *anArguments) {
    aList.emplace_back(anArguments, anArguments + aCount);
  };
}

class File : public testing::Test {
 protected:
  // A file with this text; the default has ten bytes.
  std::string MakeFile(const std::string &aText = "0123456789", const std::string &aName = "file") {
    const std::string thePath = mFolder.File(aName);
    WriteWholeFile(thePath, aText);
    return thePath;
  }

  zvFileFD Open(const std::string &aPath, zvFileOpenMode aMode) {
    zvFileFD theHandle = kzvFileFDInvalid;
    EXPECT_EQ(0, zvFile_Open(aPath.c_str(), aMode, 0, &theHandle));
    return theHandle;
  }

  static off_t PositionOf(zvFileFD aHandle) { return lseek(DescriptorOf(aHandle), 0, SEEK_CUR); }

  TempFolder mFolder;
  RecordingLog mLog;
};

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

constexpr zvFileOpenMode kRead = zvFileOpenMode_Read;
constexpr zvFileOpenMode kWrite = zvFileOpenMode_Write;
constexpr zvFileOpenMode kExclusive = zvFileOpenMode_Exclusive;
constexpr zvFileOpenMode kAppend = zvFileOpenMode_Append;
constexpr zvFileOpenMode kCreate = zvFileOpenMode_Create;
constexpr zvFileOpenMode kTruncate = zvFileOpenMode_Truncate;

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
    CallList theCalls;
    std::string theOpenedPath;
    zvFileFD theHandle = kUntouchedHandle;
    {
      Fault theFault("open", EROFS, 0, -1);
      theFault.Doing([&](const long long *anArguments) {
        RecordInto(theCalls, 3)(anArguments);
        theOpenedPath = TextOf(anArguments[0]);
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
  CallList theCalls;
  {
    Fault theFault("open", 0, 0, -1);
    theFault.PassingThrough().Doing(RecordInto(theCalls, 3));
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
  CallList theCloses, theSeeks;
  {
    Fault theSeekFault("lseek", ENOSPC);
    theSeekFault.Doing(RecordInto(theSeeks, 3));
    Fault theCloseFault("close", 0, 0, -1);
    theCloseFault.PassingThrough().Doing(RecordInto(theCloses, 1));
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
// Failures of the system, errno by errno
//

struct FailingCall {
  const char *mName;        // the function under test
  const char *mSystemCall;  // the call that is made to fail
  std::function<int()> mRun;
  std::function<std::string(int)> mMessage;  // for an errno
  bool mfRepeatsInterrupted;
  bool mfAcceptsMissing;
};

class FileFailures : public File {
 protected:
  std::vector<FailingCall> AllCalls() {
    mPath = MakeFile();
    mHandle = Open(mPath, zvFileOpenMode_ReadWrite);
    const char *thePath = mPath.c_str();
    const zvFileFD theHandle = mHandle;
    static zvFileFD theOpened;
    static char theBuffer[4];
    static zvFileOffset thePosition;
    static zvtimeval theTime;
    return {
        {"zvFile_Open", "open", [=] { return zvFile_Open(thePath, kRead, 0, &theOpened); },
         [=](int anErrno) {
           return Format("zvFile: Cannot open file: '%s' (OpenMode = 0x01) (error = %d)\n", thePath, anErrno);
         },
         false, false},
        {"zvFile_Close", "close", [=] { return zvFile_Close(theHandle); },
         [=](int anErrno) {
           return Format("zvFile: Cannot close file (fd = %p) (error = %d)\n", theHandle, anErrno);
         },
         true, false},
        {"zvFile_Read", "read", [=] { return zvFile_Read(theHandle, theBuffer, 4); },
         [=](int anErrno) { return Format("zvFile: cannot read %lu bytes (error = %d)\n", 4ul, anErrno); },
         true, false},
        {"zvFile_Write", "write", [=] { return zvFile_Write(theHandle, theBuffer, 4); },
         [=](int anErrno) { return Format("zvFile: cannot write %lu bytes (error = %d)\n", 4ul, anErrno); },
         true, false},
        {"zvFile_Seek", "lseek", [=] { return zvFile_Seek(theHandle, 3, zvFileSeekMode_Begin); },
         [=](int anErrno) {
           return Format("zvFile: Cannot seek (fd = %p) (error = %d)\n", theHandle, anErrno);
         },
         false, false},
        {"zvFile_Tell", "lseek", [=] { return zvFile_Tell(theHandle, &thePosition); },
         [=](int anErrno) {
           return Format("zvFile: Cannot tell (fd = %p) (error = %d)\n", theHandle, anErrno);
         },
         false, false},
        {"zvFile_Flush", "fsync", [=] { return zvFile_Flush(theHandle); },
         [=](int anErrno) {
           return Format("zvFile: Cannot flush (fd = %p) (error = %d)\n", theHandle, anErrno);
         },
         false, false},
        {"zvFile_Remove", "unlink", [=] { return zvFile_Remove(thePath); },
         [=](int anErrno) {
           return Format("zvFile: Cannot remove file '%s' (error = %d)\n", thePath, anErrno);
         },
         false, true},
        {"zvFile_GetTimes", "stat", [=] { return zvFile_GetTimes(thePath, nullptr, nullptr, nullptr); },
         [=](int anErrno) {
           return Format("zvFile: Cannot get times for file: '%s' (error = %d)\n", thePath, anErrno);
         },
         false, false},
        {"zvFile_SetModificationTime", "utimes",
         [=] { return zvFile_SetModificationTime(thePath, &theTime); },
         [=](int anErrno) {
           return Format("zvFile: Cannot set times for file: '%s' (error = %d)\n", thePath, anErrno);
         },
         false, false},
        {"zvFile_Rename", "rename", [=] { return zvFile_Rename(thePath, "/new/name"); },
         [=](int anErrno) {
           return Format("zvFile: Cannot rename file: '%s' to '/new/name' (error = %d)\n", thePath, anErrno);
         },
         false, false},
    };
  }

  void TearDown() override { close(DescriptorOf(mHandle)); }

  std::string mPath;
  zvFileFD mHandle = kzvFileFDInvalid;
};

TEST_F(FileFailures, EveryErrnoComesBackAsItsCodeAndInTheMessage) {
  for (const FailingCall &theCall : AllCalls()) {
    for (int theErrno = 1; theErrno <= kLargestErrno; ++theErrno) {
      if (theErrno == EINTR && theCall.mfRepeatsInterrupted) continue;
      if (theErrno == ENOENT && theCall.mfAcceptsMissing) continue;
      SCOPED_TRACE(Format("%s, errno %d", theCall.mName, theErrno));
      mLog.Clear();
      Fault theFault(theCall.mSystemCall, theErrno);
      EXPECT_EQ(CodeOf(theErrno), theCall.mRun());
      EXPECT_EQ(1, theFault.Hits());
      EXPECT_THAT(mLog.Messages(), ElementsAre(FileError(theCall.mMessage(theErrno))));
      if (HasFailure()) return;
    }
  }
}

TEST_F(FileFailures, ALogThatSpoilsErrnoDoesNotChangeTheCode) {
  for (const FailingCall &theCall : AllCalls()) {
    SCOPED_TRACE(theCall.mName);
    mLog.Clear();
    mLog.SpoilErrno(EEXIST);
    int theResult;
    {
      Fault theFault(theCall.mSystemCall, EROFS);
      theResult = theCall.mRun();
    }
    mLog.SpoilErrno(0);
    EXPECT_EQ(kzvFileErrorReadOnlyFileSystem, theResult);
    EXPECT_THAT(mLog.Messages(), ElementsAre(FileError(theCall.mMessage(EROFS))));
  }
}

TEST_F(FileFailures, ASilentLogChangesNoResult) {
  const auto theCalls = AllCalls();
  mLog.SetLevel(1);
  for (const FailingCall &theCall : theCalls) {
    SCOPED_TRACE(theCall.mName);
    Fault theFault(theCall.mSystemCall, ENOSPC);
    EXPECT_EQ(kzvFileErrorNoSpace, theCall.mRun());
  }
  EXPECT_THAT(mLog.Calls(), IsEmpty());
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
  CallList theReads, theWrites;
  Fault theReadFault("read", 0);
  theReadFault.Returning(0).Doing(RecordInto(theReads, 3));
  Fault theWriteFault("write", 0);
  theWriteFault.Returning(0).Doing(RecordInto(theWrites, 3));
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
  CallList theCalls;
  Fault theFault("read", 0, 0, -1);
  theFault.Returning(2).Doing([&](const long long *anArguments) {
    RecordInto(theCalls, 3)(anArguments);
    char *theTarget = reinterpret_cast<char *>(static_cast<uintptr_t>(anArguments[1]));
    theTarget[0] = static_cast<char>('a' + theNext++);
    theTarget[1] = static_cast<char>('a' + theNext++);
  });
  EXPECT_EQ(10, zvFile_Read(HandleOf(1000), theBuffer, 10));
  EXPECT_STREQ("abcdefghij", theBuffer);
  ASSERT_EQ(5u, theCalls.size());
  for (size_t theIndex = 0; theIndex < theCalls.size(); ++theIndex) {
    EXPECT_EQ(1000, theCalls[theIndex][0]);
    EXPECT_EQ(theBuffer + 2 * theIndex, TextOf(theCalls[theIndex][1]));
    EXPECT_EQ(static_cast<long long>(10 - 2 * theIndex), theCalls[theIndex][2]);
  }
}

TEST_F(File, PartialWritesContinueBehindWhatWent) {
  const char *theText = "abcdefghij";
  std::string theWritten;
  Fault theFault("write", 0, 0, -1);
  theFault.Returning(2).Doing(
      [&](const long long *anArguments) { theWritten.append(TextOf(anArguments[1]), 2); });
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
    theFault.Doing([&](const long long *anArguments) { thePath = TextOf(anArguments[0]); });
    theCall.mRun();
    EXPECT_EQ(theExpected, thePath);
  }

  std::string theOld, theNew;
  {
    Fault theFault("rename", EIO);
    theFault.Doing([&](const long long *anArguments) {
      theOld = TextOf(anArguments[0]);
      theNew = TextOf(anArguments[1]);
    });
    EXPECT_EQ(kzvFileErrorUnknown, zvFile_Rename("sub/file", "sub\\file"));
  }
  EXPECT_EQ(theExpected, theOld);
  EXPECT_EQ(theExpected, theNew);

  std::string theRaw;
  {
    Fault theFault("truncate", EIO);
    theFault.Doing([&](const long long *anArguments) { theRaw = TextOf(anArguments[0]); });
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
    CallList theCalls;
    Fault theFault("access", 0);
    theFault.PassingThrough().Doing(RecordInto(theCalls, 2));
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
  EXPECT_LT(2000, theTime.tv_sec);
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
