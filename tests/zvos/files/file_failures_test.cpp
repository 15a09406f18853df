// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Files: failures of the system, errno by errno.

#include "files_support.h"
#include "support/LateClock.h"

#include <optional>

using testing::IsEmpty;
using namespace zvtest;

namespace {

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
      // What stat() refuses as late is asked for a second time.
      std::optional<Fault> theSecond;
      if (zvtest::kfNarrowTime && theErrno == EOVERFLOW) theSecond.emplace("statx", theErrno);
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

}  // namespace
