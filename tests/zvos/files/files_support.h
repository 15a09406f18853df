// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of files and directories share: handles and errors of files, a folder to work in, and
// walks of the directory traverser.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <zvOS/zvDir.h>
#include <zvOS/zvDirTraverser.h>
#include <zvOS/zvFile.h>
#include <zvOS/zvPath.h>
#include <zvLog/zvLog.h>

#include "support/Alone.h"
#include "support/Faults.h"
#include "support/RecordingLog.h"
#include "support/FileHandles.h"
#include "support/Support.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

namespace zvtest {

constexpr zvLogModule kDirModule = 43;

inline auto DirError(const std::string &aText) {
  return Error(kDirModule, aText);
}

// A folder of its own, known by its real path, and what is made in it. Names may contain '/'.
class Tree {
 public:
  Tree() {
    char theRealPath[PATH_MAX] = "";
    if (realpath(mFolder.Path().c_str(), theRealPath) == nullptr) ADD_FAILURE() << strerror(errno);
    mPath = theRealPath;
  }

  const std::string &Path() const { return mPath; }
  std::string At(const std::string &aName) const { return mPath + "/" + aName; }

  std::string MakeDir(const std::string &aName) const {
    std::filesystem::create_directories(At(aName));
    return At(aName);
  }
  std::string MakeFile(const std::string &aName) const {
    WriteWholeFile(At(aName), "");
    return At(aName);
  }
  std::string MakeLink(const std::string &aName, const std::string &aTarget) const {
    if (symlink(aTarget.c_str(), At(aName).c_str()) != 0) ADD_FAILURE() << aName << ": " << strerror(errno);
    return At(aName);
  }

 private:
  TempFolder mFolder;
  std::string mPath;
};

inline bool IsDir(const std::string &aPath) {
  struct stat theData = {};
  return stat(aPath.c_str(), &theData) == 0 && S_ISDIR(theData.st_mode);
}

inline std::string Replaced(std::string aText, char anOld, char aNew) {
  for (char &theChar : aText)
    if (theChar == anOld) theChar = aNew;
  return aText;
}

constexpr int kSpoiledErrno = EXDEV;
constexpr int kNoError = kzvDirTraverserStatus_NoError;
constexpr int kError = kzvDirTraverserStatus_Error;

class Dir : public ::testing::Test {
 protected:
  RecordingLog mLog;
  Tree mTree;
};

// ---- Files ----

constexpr zvFileOffset kGiB = 1024LL * 1024 * 1024;
constexpr int kLargestErrno = 133;

const zvFileFD kUntouchedHandle = HandleOf(0x1234);

// What the portable code of an errno must be.
inline int CodeOf(int anErrno) {
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

class File : public ::testing::Test {
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

constexpr zvFileOpenMode kRead = zvFileOpenMode_Read;
constexpr zvFileOpenMode kWrite = zvFileOpenMode_Write;
constexpr zvFileOpenMode kExclusive = zvFileOpenMode_Exclusive;
constexpr zvFileOpenMode kAppend = zvFileOpenMode_Append;
constexpr zvFileOpenMode kCreate = zvFileOpenMode_Create;
constexpr zvFileOpenMode kTruncate = zvFileOpenMode_Truncate;

// ---- Walks ----

// A traverser that is deleted at the end.
class Traverser {
 public:
  explicit Traverser(const char *aPath) : mTraverser(zvDirTraverser_New(aPath)) {}
  explicit Traverser(const std::string &aPath) : Traverser(aPath.c_str()) {}
  ~Traverser() { zvDirTraverser_Delete(mTraverser); }
  Traverser(const Traverser &) = delete;
  Traverser &operator=(const Traverser &) = delete;

  zvDirTraverser *Get() const { return mTraverser; }

  // Both begin with anErrno in errno.
  zvDirEntry *First(const char *aPattern, int aFlags, int anErrno = 0) const {
    mStatus = kUntouched;
    errno = anErrno;
    return zvDirTraverser_GetFirst(mTraverser, aPattern, aFlags, &mStatus);
  }
  zvDirEntry *Next(int anErrno = 0) const {
    mStatus = kUntouched;
    errno = anErrno;
    return zvDirTraverser_GetNext(mTraverser, &mStatus);
  }
  void Rewind() const { zvDirTraverser_Rewind(mTraverser); }

  // What the last call of First or Next told.
  int Status() const { return mStatus; }

 private:
  static constexpr int kUntouched = 77;

  zvDirTraverser *const mTraverser;
  mutable int mStatus = kUntouched;
};

// The names of a whole walk that finds errno cleared at every call; the test fails unless it ends
// without error.
inline std::vector<std::string> Walk(const Traverser &aTraverser, const char *aPattern = "*",
                                     int aFlags = zvDIR_DEFAULT) {
  std::vector<std::string> theNames;
  aTraverser.Rewind();
  for (const zvDirEntry *theEntry = aTraverser.First(aPattern, aFlags); theEntry != nullptr;
       theEntry = aTraverser.Next()) {
    EXPECT_EQ(kzvDirTraverserStatus_NoError, aTraverser.Status());
    theNames.emplace_back(theEntry->mName);
  }
  EXPECT_EQ(kzvDirTraverserStatus_NoError, aTraverser.Status());
  return theNames;
}

}  // namespace zvtest
