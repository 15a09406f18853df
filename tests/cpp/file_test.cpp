// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include <zvOS/cpp/File.hpp>

#include "support/Faults.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <sys/stat.h>

#include <set>
#include <string>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using namespace zvtest;

constexpr zvFileOpenMode kNewFile =
    static_cast<int>(zvFileOpenMode_ReadWrite) | static_cast<int>(zvFileOpenMode_Create);

class CppFile : public testing::Test {
 protected:
  zv::Result<zv::File> Open(const char *aName, zvFileOpenMode aMode) const {
    return zv::File::Open(mFolder.File(aName).c_str(), aMode);
  }

  RecordingLog mLog;
  TempFolder mFolder;
};

TEST_F(CppFile, IsWrittenAndReadAtItsPosition) {
  auto theFile = Open("file", kNewFile);
  ASSERT_TRUE(theFile);
  EXPECT_EQ(5u, theFile->Write("12345").value_or(0));
  EXPECT_EQ(5, theFile->Tell().value_or(0));
  EXPECT_TRUE(theFile->EndOfFile().value_or(false));
  EXPECT_TRUE(theFile->Seek(-2, zvFileSeekMode_End));
  EXPECT_FALSE(theFile->EndOfFile().value_or(true));
  char theBuffer[8] = "";
  EXPECT_EQ(2u, theFile->Read(theBuffer, sizeof(theBuffer)).value_or(0));
  EXPECT_STREQ("45", theBuffer);
  EXPECT_EQ(5, theFile->GetSize().value_or(0));
  EXPECT_TRUE(theFile->Flush());
  EXPECT_TRUE(theFile->Close());
  EXPECT_FALSE(*theFile);
  EXPECT_EQ("12345", ReadWholeFile(mFolder.File("file")));
}

TEST_F(CppFile, ThatIsMissingSaysWhatAndWhy) {
  const auto theFile = Open("missing", zvFileOpenMode_Read);
  ASSERT_FALSE(theFile);
  EXPECT_EQ(kzvFileErrorNotFound, theFile.error().Status());
  EXPECT_EQ(ENOENT, theFile.error().Errno());
}

// The mode is refused before the system is asked.
TEST_F(CppFile, WhatTheSystemDidNotCauseHasNoErrorNumber) {
  errno = EPERM;
  const auto theFile = Open("file", 0);
  EXPECT_EQ(kzvFileErrorUnknown, theFile.error().Status());
  EXPECT_EQ(0, theFile.error().Errno());
}

TEST_F(CppFile, AFailedTransferSaysWhy) {
  WriteWholeFile(mFolder.File("file"), "text");
  auto theFile = Open("file", zvFileOpenMode_Read);
  ASSERT_TRUE(theFile);
  const auto theCount = theFile->Write("text");
  EXPECT_EQ(kzvFileErrorUnknown, theCount.error().Status());
  EXPECT_EQ(EBADF, theCount.error().Errno());
}

TEST_F(CppFile, ACloseThatFailsIsSaid) {
  auto theFile = Open("file", kNewFile);
  ASSERT_TRUE(theFile);
  Fault theFault("close", ENOSPC);
  const int theDescriptor = theFile->Descriptor();
  const auto theResult = theFile->Close();
  EXPECT_EQ(kzvFileErrorNoSpace, theResult.error().Status());
  EXPECT_EQ(ENOSPC, theResult.error().Errno());
  EXPECT_FALSE(*theFile);
  close(theDescriptor);
}

// The flat function answers -1 for every size but those of which the low 32 bits are 0.
TEST_F(CppFile, ASizeThatWasChangedIsASuccess) {
  auto theFile = Open("file", kNewFile);
  ASSERT_TRUE(theFile);
  EXPECT_TRUE(theFile->ChangeSize(3));
  EXPECT_EQ(3, theFile->GetSize().value_or(0));
  EXPECT_EQ(3, theFile->Tell().value_or(0));
  EXPECT_TRUE(theFile->ChangeSize(0));
  EXPECT_EQ(0, theFile->GetSize().value_or(1));
}

TEST_F(CppFile, ASizeThatWasNotChangedIsAFailure) {
  WriteWholeFile(mFolder.File("file"), "text");
  auto theFile = Open("file", zvFileOpenMode_Read);
  ASSERT_TRUE(theFile);
  const auto theResult = theFile->ChangeSize(3);
  EXPECT_FALSE(theResult);
  EXPECT_EQ(EINVAL, theResult.error().Errno());
  EXPECT_EQ("text", ReadWholeFile(mFolder.File("file")));
}

class CppDirectory : public CppFile {
 protected:
  CppDirectory() {
    WriteWholeFile(mFolder.File("one.mp3"), "");
    WriteWholeFile(mFolder.File("two.mp3"), "");
    WriteWholeFile(mFolder.File("three.txt"), "");
    mkdir(mFolder.File("folder.mp3").c_str(), 0700);
  }

  static std::set<std::string> NamesIn(zv::Directory &aDirectory) {
    std::set<std::string> theNames;
    for (const auto &theEntry : aDirectory)
      theNames.emplace(theEntry.Name());
    return theNames;
  }
};

TEST_F(CppDirectory, IsARangeOfTheEntriesThatMatch) {
  std::set<std::string> theFiles;
  std::set<std::string> theFolders;
  for (const auto &theEntry : zv::Directory(mFolder.Path().c_str(), "*.mp3")) {
    (theEntry.IsDirectory() ? theFolders : theFiles).emplace(theEntry.c_str());
    EXPECT_FALSE(theEntry.IsHidden());
  }
  EXPECT_THAT(theFiles, UnorderedElementsAre("one.mp3", "two.mp3"));
  EXPECT_THAT(theFolders, ElementsAre("folder.mp3"));
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
}

TEST_F(CppDirectory, HasTheKindsAskedForAndAllNamesUnlessToldOtherwise) {
  zv::Directory theDirectory(mFolder.Path().c_str(), "*", zvDIR_FILES);
  EXPECT_EQ(mFolder.Path(), theDirectory.Path());
  EXPECT_THAT(NamesIn(theDirectory), UnorderedElementsAre("one.mp3", "two.mp3", "three.txt"));
  EXPECT_FALSE(theDirectory.error());
}

TEST_F(CppDirectory, CanBeWalkedThroughAgainAlsoFromTheMiddle) {
  zv::Directory theDirectory(mFolder.Path().c_str(), "*.mp3");
  for (const auto &theEntry : theDirectory) {
    EXPECT_NE("", theEntry.Name());
    break;
  }
  EXPECT_EQ(3u, NamesIn(theDirectory).size());
  EXPECT_EQ(3u, NamesIn(theDirectory).size());
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
}

TEST_F(CppDirectory, IsTakenOverFromTheFlatInterface) {
  zv::Directory theDirectory(zvDirTraverser_New(mFolder.Path().c_str()), "*.mp3");
  EXPECT_EQ(3u, NamesIn(theDirectory).size());
  const zv::Owner<zvDirTraverser, zvDirTraverser_Delete> theTraverser(theDirectory.Release());
  EXPECT_TRUE(theTraverser);
  EXPECT_EQ(0u, NamesIn(theDirectory).size());
}

// The flat traverser takes what it finds in errno for an error of its own.
TEST_F(CppDirectory, EndsWellWhateverTheLoopLeavesBehind) {
  zv::Directory theDirectory(mFolder.Path().c_str());
  int theCount = 0;
  errno = EIO;
  for ([[maybe_unused]] const auto &theEntry : theDirectory) {
    errno = EIO;
    ++theCount;
  }
  EXPECT_EQ(4, theCount);
  EXPECT_FALSE(theDirectory.error());
}

TEST_F(CppDirectory, ThatIsMissingHasNoEntriesAndNoError) {
  zv::Directory theDirectory(mFolder.File("missing").c_str());
  EXPECT_THAT(NamesIn(theDirectory), IsEmpty());
  EXPECT_FALSE(theDirectory.error());
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
}

TEST_F(CppDirectory, ThatCannotBeReadSaysWhyAfterTheWalk) {
  zv::Directory theDirectory(mFolder.Path().c_str());
  {
    const Fault theFault("opendir", EACCES);
    EXPECT_THAT(NamesIn(theDirectory), IsEmpty());
  }
  EXPECT_EQ(kzvDirTraverserStatus_Error, theDirectory.error().Status());
  EXPECT_EQ(EACCES, theDirectory.error().Errno());
  // The next walk is a new one.
  EXPECT_EQ(4u, NamesIn(theDirectory).size());
  EXPECT_FALSE(theDirectory.error());
}

TEST_F(CppDirectory, AWalkThatBreaksOffSaysWhy) {
  zv::Directory theDirectory(mFolder.Path().c_str());
  const Fault theFault("readdir", EIO, 3, 1);
  EXPECT_LT(NamesIn(theDirectory).size(), 4u);
  EXPECT_EQ(EIO, theDirectory.error().Errno());
}

TEST_F(CppDirectory, WithoutMemoryHasNoEntries) {
  const Fault theFault("zvMalloc", ENOMEM);
  zv::Directory theDirectory(mFolder.Path().c_str());
  EXPECT_FALSE(theDirectory);
  EXPECT_EQ(nullptr, theDirectory.Path());
  EXPECT_THAT(NamesIn(theDirectory), IsEmpty());
  EXPECT_EQ(ENOMEM, theDirectory.error().Errno());
}

}  // namespace
