// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The revision stamp: reading one section at a time, and the stamps of this build.

#include "paths_support.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace zvtest;
using namespace zvtest::paths;

namespace {

//
// One section at a time
//

class SectionReading : public BinaryRevision {
 protected:
  ElfImage mImage = ImageWith(kStamp);
  MemoryFile mFile{mImage.Bytes()};
  zvFileFD mHandle = HandleOf(mFile.Descriptor());
};

TEST_F(SectionReading, EveryHeaderIsReadFromItsPlace) {
  // Wherever the file stands.
  lseek(mFile.Descriptor(), 7, SEEK_SET);
  for (size_t i = 0; i < mImage.Header().e_shnum; ++i) {
    Elf32_Shdr theHeader = {};
    EXPECT_EQ(0, Elf_ReadSectionHeader(mHandle, &mImage.Header(), static_cast<int>(i), &theHeader));
    EXPECT_EQ(0, memcmp(&theHeader, &mImage.Section(i), sizeof(theHeader))) << i;
  }
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SectionReading, AHeaderThatIsNotWholeInTheFileFails) {
  Elf32_Shdr theHeader;
  EXPECT_EQ(-1, Elf_ReadSectionHeader(mHandle, &mImage.Header(), mImage.Header().e_shnum, &theHeader));
  EXPECT_EQ(-1, Elf_ReadSectionHeader(mHandle, &mImage.Header(), 0x7fffffff, &theHeader));
  const int theLast = mImage.Header().e_shnum - 1;
  std::string theBytes = mImage.Bytes();
  theBytes.pop_back();
  mFile.Set(theBytes);
  EXPECT_EQ(-1, Elf_ReadSectionHeader(mHandle, &mImage.Header(), theLast, &theHeader));
  EXPECT_EQ(0, Elf_ReadSectionHeader(mHandle, &mImage.Header(), theLast - 1, &theHeader));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SectionReading, AHeaderBeforeTheFileFails) {
  Elf32_Shdr theHeader;
  mImage.Header().e_shoff = 0;
  EXPECT_EQ(-1, Elf_ReadSectionHeader(mHandle, &mImage.Header(), -1, &theHeader));
}

TEST_F(SectionReading, AHeaderThatCannotBeReachedOrReadFails) {
  Elf32_Shdr theHeader;
  {
    Fault theFault("lseek", EIO);
    EXPECT_EQ(-1, Elf_ReadSectionHeader(mHandle, &mImage.Header(), 1, &theHeader));
  }
  {
    Fault theFault("read", EIO);
    EXPECT_EQ(-1, Elf_ReadSectionHeader(mHandle, &mImage.Header(), 1, &theHeader));
  }
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(
          zvtest::Error(kFileModule, Format("zvFile: Cannot seek (fd = %p) (error = %d)\n", mHandle, EIO)),
          zvtest::Error(kFileModule, Format("zvFile: cannot read %lu bytes (error = %d)\n",
                                            static_cast<unsigned long>(sizeof(Elf32_Shdr)), EIO))));
}

TEST_F(SectionReading, AFailureHasTheOnlyCodeMinusOne) {
  Elf32_Shdr theHeader;
  char *theData = nullptr;
  for (const char *theCall : {"lseek", "read"}) {
    // Errors that files report with codes of their own.
    for (const int theErrno : {ENOENT, EROFS, ENOSPC, EEXIST}) {
      {
        Fault theFault(theCall, theErrno);
        EXPECT_EQ(-1, Elf_ReadSectionHeader(mHandle, &mImage.Header(), 1, &theHeader));
      }
      Fault theFault(theCall, theErrno);
      EXPECT_EQ(-1, Elf_ReadSectionData(mHandle, &mImage.Section(kStampIndex), &theData));
      free(theData);
    }
  }
}

TEST_F(SectionReading, TheDataIsReadFromItsPlaceAsItIs) {
  lseek(mFile.Descriptor(), 7, SEEK_SET);
  char *theData = nullptr;
  EXPECT_EQ(0, Elf_ReadSectionData(mHandle, &mImage.Section(kStampIndex), &theData));
  ASSERT_NE(nullptr, theData);
  EXPECT_EQ(kStamp, std::string(theData, sizeof(kStamp) - 1));
  free(theData);
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SectionReading, TheDataIsAllocatedInItsExactSizeByTheLogLibrary) {
  long long theSize = 0;
  char *theData = nullptr;
  Fault theFault("zvMalloc", 0);
  theFault.PassingThrough().Doing([&](const long long *anArguments) { theSize = anArguments[0]; });
  EXPECT_EQ(0, Elf_ReadSectionData(mHandle, &mImage.Section(kStampIndex), &theData));
  EXPECT_EQ(static_cast<long long>(sizeof(kStamp) - 1), theSize);
  free(theData);
}

TEST_F(SectionReading, NoDataIsNoFailure) {
  Elf32_Shdr theHeader = mImage.Section(kStampIndex);
  theHeader.sh_size = 0;
  char *theData = sUntouched;
  EXPECT_EQ(0, Elf_ReadSectionData(mHandle, &theHeader, &theData));
  EXPECT_NE(sUntouched, theData);
  free(theData);
}

TEST_F(SectionReading, DataThatIsNotWholeInTheFileFailsAndIsTheCallersToFree) {
  Elf32_Shdr theHeader = mImage.Section(kStampIndex);
  theHeader.sh_size = static_cast<Elf32_Word>(mImage.Bytes().size()) - theHeader.sh_offset + 1;
  char *theData = nullptr;
  EXPECT_EQ(-1, Elf_ReadSectionData(mHandle, &theHeader, &theData));
  EXPECT_NE(nullptr, theData);
  free(theData);

  theHeader = mImage.Section(kStampIndex);
  theHeader.sh_offset = 0xffffffff;
  theData = nullptr;
  EXPECT_EQ(-1, Elf_ReadSectionData(mHandle, &theHeader, &theData));
  EXPECT_NE(nullptr, theData);
  free(theData);
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SectionReading, DataThatCannotBeReachedOrReadFailsAndIsTheCallersToFree) {
  for (const char *theCall : {"lseek", "read"}) {
    char *theData = nullptr;
    Fault theFault(theCall, EIO);
    EXPECT_EQ(-1, Elf_ReadSectionData(mHandle, &mImage.Section(kStampIndex), &theData));
    EXPECT_NE(nullptr, theData);
    free(theData);
  }
}

TEST_F(SectionReading, WithoutMemoryThereIsNoData) {
  char *theData = sUntouched;
  const int theReads = CallsOf("read");
  Fault theFault("zvMalloc", 0);
  EXPECT_EQ(-1, Elf_ReadSectionData(mHandle, &mImage.Section(kStampIndex), &theData));
  EXPECT_EQ(nullptr, theData);
  EXPECT_EQ(theReads, CallsOf("read"));
}

TEST_F(SectionReading, ASizeThatNoFileHasFails) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "The sanitizer ends the program at a request for that much memory.";
#else
  Elf32_Shdr theHeader = mImage.Section(kStampIndex);
  theHeader.sh_size = 0xffffffff;
  char *theData = sUntouched;
  EXPECT_EQ(-1, Elf_ReadSectionData(mHandle, &theHeader, &theData));
  EXPECT_NE(sUntouched, theData);
  free(theData);
#endif
}

//
// The stamps of this build
//

// The header and the contents of the stamp's section, found without the library.
struct BuiltStamp {
  ElfW(Shdr) mHeader;
  std::string mText;
};

template <typename Record>
Record RecordAt(const std::string &aFile, size_t anOffset) {
  Record theRecord = {};
  memcpy(&theRecord, aFile.substr(anOffset, sizeof(theRecord)).data(), sizeof(theRecord));
  return theRecord;
}

std::vector<BuiltStamp> StampsOf(const std::string &aPath) {
  const std::string theFile = zvtest::ReadWholeFile(aPath);
  const auto theElf = RecordAt<ElfW(Ehdr)>(theFile, 0);
  const auto theSection = [&](size_t anIndex) {
    return RecordAt<ElfW(Shdr)>(theFile, theElf.e_shoff + anIndex * theElf.e_shentsize);
  };
  const auto theNames = theSection(theElf.e_shstrndx);
  std::vector<BuiltStamp> theStamps;
  for (size_t i = 1; i < theElf.e_shnum; ++i) {
    const auto theHeader = theSection(i);
    if (theFile.data() + theNames.sh_offset + theHeader.sh_name == std::string(kSectionName)) {
      theStamps.push_back({theHeader, theFile.substr(theHeader.sh_offset, theHeader.sh_size)});
    }
  }
  return theStamps;
}

std::vector<std::string> BuiltFiles() {
  return {zvtest::BuiltLibrary("libzvOS.so"), zvtest::BuiltLibrary("libzvLog.so"), zvtest::OwnProgram()};
}

TEST_F(BinaryRevision, EveryLibraryAndProgramOfTheBuildCarriesItsStamp) {
  for (const std::string &thePath : BuiltFiles()) {
    SCOPED_TRACE(thePath);
    const auto theStamps = StampsOf(thePath);
    ASSERT_EQ(1u, theStamps.size());
    EXPECT_EQ(static_cast<unsigned>(SHT_PROGBITS), theStamps[0].mHeader.sh_type);
    EXPECT_EQ(0u, theStamps[0].mHeader.sh_flags);
    EXPECT_EQ(0u, theStamps[0].mHeader.sh_addr);
    EXPECT_EQ(1u, theStamps[0].mHeader.sh_addralign);
    EXPECT_THAT(theStamps[0].mText, testing::MatchesRegex("[0-9]+\n[^\n]+/branches/[^\n]+\n"));
  }
}

TEST_F(BinaryRevision, TheStampsOfTheBuildAreRead) {
  if (sizeof(void *) != 4) GTEST_SKIP() << "Stamps are read from 32-bit files only.";
  for (const std::string &thePath : BuiltFiles()) {
    SCOPED_TRACE(thePath);
    const Result theResult = ReadFile(thePath);
    ASSERT_TRUE(theResult.mLabel.has_value());
    EXPECT_THAT(*theResult.mLabel, HasSubstr("/branches/"));
    const auto theStamps = StampsOf(thePath);
    ASSERT_EQ(1u, theStamps.size());
    EXPECT_EQ(theStamps[0].mText, Format("%d\n%s\n", theResult.mRevision, theResult.mLabel->c_str()));
  }
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

}  // namespace
