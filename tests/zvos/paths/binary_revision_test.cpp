// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The revision stamp: what is read from sound files, and failures of the system. Damaged files:
// binary_revision_damage_test.cpp.

#include "paths_support.h"
#include "support/LateClock.h"

using testing::IsEmpty;
using namespace zvtest;
using namespace zvtest::paths;

namespace {

//
// Sound files
//

TEST_F(BinaryRevision, NumberAndLabelAreReadFromTheStamp) {
  EXPECT_EQ(kWhole, ReadBytes(ImageWith(kStamp, ElfLayout::kHeadersLast).Bytes()));
  EXPECT_EQ(kWhole, ReadBytes(ImageWith(kStamp, ElfLayout::kHeadersFirst).Bytes()));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(BinaryRevision, TheLabelIsOptionalForTheCaller) {
  const MemoryFile theFile(ImageWith(kStamp).Bytes());
  EXPECT_EQ(kRevision, zvPath_GetBinaryRevision(theFile.Path().c_str(), nullptr));
  const MemoryFile theOther(ImageWith("12\n").Bytes());
  EXPECT_EQ(12, zvPath_GetBinaryRevision(theOther.Path().c_str(), nullptr));
}

TEST_F(BinaryRevision, TheStampIsTheLeadingNumberAndTheTextBetweenTheFirstTwoNewlines) {
  const struct {
    const char *mStamp;
    Result mResult;
  } kStamps[] = {
      {"1\na\n", {1, "a"}},
      {"39\nrepository/branches/a-b_c.d\n", {39, "repository/branches/a-b_c.d"}},
      {"1\na\nb\n", {1, "a"}},
      {"1\na\nb", {1, "a"}},
      {"1\n\n", {1, ""}},
      {"1\n a b \n", {1, " a b "}},
      {"12\n", {12, std::nullopt}},
      {"12\nlabel without an end", {12, std::nullopt}},
      {"12", {12, std::nullopt}},
      {"\nlabel\n", {0, "label"}},
      {"\n", kNothing},
      {"", kNothing},
      {"x12\nlabel\n", {0, "label"}},
      {"12x\nlabel\n", {12, "label"}},
      {"  12\nlabel\n", {12, "label"}},
      {"007\nlabel\n", {7, "label"}},
      {"2147483647\nlabel\n", {2147483647, "label"}},
  };
  for (const auto &theCase : kStamps) {
    for (const ElfLayout theLayout : {ElfLayout::kHeadersLast, ElfLayout::kHeadersFirst}) {
      EXPECT_EQ(theCase.mResult, ReadBytes(ImageWith(theCase.mStamp, theLayout).Bytes()))
          << testing::PrintToString(theCase.mStamp);
    }
  }
}

TEST_F(BinaryRevision, DigitsThatFillTheSectionAreNotReadPastItsEnd) {
  // The digits go on behind the section, in the name table.
  ElfImage theImage(SectionsWith("1234"), ElfLayout::kHeadersLast);
  const std::string theBytes = theImage.Bytes();
  const size_t theEnd = theImage.Section(kStampIndex).sh_offset + theImage.Section(kStampIndex).sh_size;
  std::string theChanged = theBytes;
  theChanged.at(theEnd) = '5';
  EXPECT_EQ((Result{1234, std::nullopt}), ReadBytes(theChanged));

  // So do the newlines.
  theImage.Section(kStampIndex).sh_size = 3;
  EXPECT_EQ((Result{123, std::nullopt}), ReadBytes(theImage.Bytes()));
}

TEST_F(BinaryRevision, MemoryBehindTheStampIsNotLookedAt) {
  for (const std::string theStamp : {"12", "12\n", "12\nlabel"}) {
    const MemoryFile theFile(ImageWith(theStamp).Bytes());
    // The first piece of memory is for the names.
    Fault theFault("zvMalloc", 0, 1);
    GiveWithTextBehind(theFault, theStamp.size(), "34\nbehind\n");
    EXPECT_EQ((Result{12, std::nullopt}), ReadFile(theFile.Path())) << testing::PrintToString(theStamp);
    EXPECT_EQ(1, theFault.Hits());
  }
}

TEST_F(BinaryRevision, ALabelWhoseEndIsBehindTheSectionIsNone) {
  ElfImage theImage = ImageWith(kStamp);
  theImage.Section(kStampIndex).sh_size -= 1;
  EXPECT_EQ((Result{kRevision, std::nullopt}), ReadBytes(theImage.Bytes()));
}

TEST_F(BinaryRevision, OnlyTheExactNameCounts) {
  for (const char *theName :
       {".zevo.versio", ".zevo.version2", ".zevo", "zevo.version", "x.zevo.version", ".Zevo.Version", ""}) {
    const ElfImage theImage({{theName, SHT_PROGBITS, kStamp}}, ElfLayout::kHeadersLast);
    EXPECT_EQ(kNothing, ReadBytes(theImage.Bytes())) << theName;
  }
}

TEST_F(BinaryRevision, ANameMayBeTheEndOfAnother) {
  ElfImage theImage({{"x.zevo.version", SHT_PROGBITS, kStamp}}, ElfLayout::kHeadersLast);
  theImage.Section(1).sh_name += 1;
  EXPECT_EQ(kWhole, ReadBytes(theImage.Bytes()));
}

TEST_F(BinaryRevision, OnlyTheRightTypeCounts) {
  for (const Elf32_Word theType : std::initializer_list<Elf32_Word>{
           SHT_NULL, SHT_SYMTAB, SHT_STRTAB, SHT_NOTE, SHT_NOBITS, 0x01000001, 0x7fffffff}) {
    ElfImage theImage = ImageWith(kStamp);
    theImage.Section(kStampIndex).sh_type = theType;
    EXPECT_EQ(kNothing, ReadBytes(theImage.Bytes())) << theType;
  }
}

TEST_F(BinaryRevision, AnotherTypeOfThatNameDoesNotHideTheStamp) {
  const ElfImage theImage({{kSectionName, SHT_NOTE, "1\na\n"}, {kSectionName, SHT_PROGBITS, kStamp}},
                          ElfLayout::kHeadersLast);
  EXPECT_EQ(kWhole, ReadBytes(theImage.Bytes()));
}

TEST_F(BinaryRevision, TheStampMayBeTheFirstOrTheLastSection) {
  const ElfImage theFirst({{kSectionName, SHT_PROGBITS, kStamp}, {".text", SHT_PROGBITS, "code"}},
                          ElfLayout::kHeadersLast);
  EXPECT_EQ(kWhole, ReadBytes(theFirst.Bytes()));

  // Behind the name table.
  ElfImage theLast = ImageWith(kStamp);
  std::swap(theLast.Section(kStampIndex), theLast.Section(4));
  theLast.Header().e_shstrndx = kStampIndex;
  EXPECT_EQ(kWhole, ReadBytes(theLast.Bytes()));
}

TEST_F(BinaryRevision, TheNullSectionIsNotLookedAt) {
  ElfImage theImage = ImageWith(kStamp);
  std::swap(theImage.Section(0), theImage.Section(kStampIndex));
  EXPECT_EQ(kNothing, ReadBytes(theImage.Bytes()));
}

TEST_F(BinaryRevision, SectionsBehindTheCountAreNotLookedAt) {
  ElfImage theImage = ImageWith(kStamp);
  theImage.Header().e_shnum = kStampIndex + 1;
  EXPECT_EQ(kWhole, ReadBytes(theImage.Bytes()));
  for (const Elf32_Half theCount : std::initializer_list<Elf32_Half>{2, 1, 0}) {
    theImage.Header().e_shnum = theCount;
    EXPECT_EQ(kNothing, ReadBytes(theImage.Bytes())) << theCount;
  }
}

TEST_F(BinaryRevision, TheIdentificationIsNotChecked) {
  ElfImage theImage = ImageWith(kStamp);
  for (unsigned char &theByte : theImage.Header().e_ident)
    theByte = 0xee;
  EXPECT_EQ(kWhole, ReadBytes(theImage.Bytes()));
}

TEST_F(BinaryRevision, SectionHeadersMayBeLargerThanKnown) {
  ElfImage theImage = ImageWith(kStamp, ElfLayout::kHeadersLast);
  const size_t theTable = theImage.Header().e_shoff;
  const size_t theCount = theImage.Header().e_shnum;
  theImage.Header().e_shentsize = sizeof(Elf32_Shdr) + 24;
  const std::string theBytes = theImage.Bytes();
  std::string theWide = theBytes.substr(0, theTable);
  for (size_t i = 0; i < theCount; ++i) {
    theWide += theBytes.substr(theTable + i * sizeof(Elf32_Shdr), sizeof(Elf32_Shdr)) + std::string(24, 'x');
  }
  EXPECT_EQ(kWhole, ReadBytes(theWide));
}

//
// Failures of the system
//

TEST_F(BinaryRevision, AnyReadOrSeekThatFailsGivesNothingAndClosesTheFile) {
  const MemoryFile theFile(ImageWith(kStamp).Bytes());
  for (const char *theCall : {"open", "read", "lseek"}) {
    const int theCallsBefore = CallsOf(theCall);
    ASSERT_EQ(kWhole, ReadFile(theFile.Path()));
    const int theCallCount = CallsOf(theCall) - theCallsBefore;
    ASSERT_GT(theCallCount, 0);
    const auto theDescriptors = zvtest::OpenDescriptors();
    for (int theSkip = 0; theSkip < theCallCount; ++theSkip) {
      Fault theFault(theCall, EIO, theSkip);
      EXPECT_EQ(kNothing, ReadFile(theFile.Path())) << theCall << " number " << theSkip;
      EXPECT_EQ(1, theFault.Hits());
    }
    EXPECT_EQ(theDescriptors, zvtest::OpenDescriptors());
  }
}

// A reader of many headers at once that fails, or gets less than it wants, is no reason to give up.
TEST_F(BinaryRevision, HeadersThatCannotBeReadAtOnceAreReadOneByOne) {
  const MemoryFile theFile(ImageWith(kStamp).Bytes());
  for (const long long theLength : {-1, 0, 1, 39, 40, 79, 119}) {
    Fault theFault("pread", theLength < 0 ? EIO : 0, 0, -1);
    theFault.Returning(theLength).Doing([&](const long long *anArguments) {
      if (theLength <= 0) return;
      const ssize_t theCount =
          pread(theFile.Descriptor(), reinterpret_cast<void *>(static_cast<uintptr_t>(anArguments[1])),
                static_cast<size_t>(theLength), static_cast<off_t>(anArguments[3]));
      EXPECT_EQ(theLength, theCount);
    });
    EXPECT_EQ(kWhole, ReadFile(theFile.Path())) << theLength;
    EXPECT_LE(1, theFault.Hits());
  }
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(BinaryRevision, AStampBehindManySectionsIsFoundWithFewReads) {
  for (const size_t theCount : {62u, 63u, 64u, 65u, 127u, 128u, 129u, 1000u}) {
    for (const ElfLayout theLayout : {ElfLayout::kHeadersLast, ElfLayout::kHeadersFirst}) {
      std::vector<zvtest::ElfSection> theSections(theCount, {".text", SHT_PROGBITS, "code"});
      theSections.push_back({kSectionName, SHT_PROGBITS, kStamp});
      const int theReads = CallsOf("read");
      EXPECT_EQ(kWhole, ReadBytes(ElfImage(theSections, theLayout).Bytes())) << theCount;
      EXPECT_EQ(3, CallsOf("read") - theReads) << theCount;  // header, names, stamp
    }
  }
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(BinaryRevision, TheSizeIsNotFoundByMovingToTheEnd) {
  const MemoryFile theFile(ImageWith(kStamp).Bytes());
  const int theSeeks = CallsOf("lseek");
  EXPECT_EQ(kWhole, ReadFile(theFile.Path()));
  EXPECT_EQ(2, CallsOf("lseek") - theSeeks);  // to the names and to the stamp
}

TEST_F(BinaryRevision, ASizeThatTheSystemDoesNotTellIsFoundByMoving) {
  const MemoryFile theFile(ImageWith(kStamp).Bytes());
  Fault theFault("fstat", EIO);
  EXPECT_EQ(kWhole, ReadFile(theFile.Path()));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

// The file was written after January 2038: its size is still asked for at once.
TEST_F(BinaryRevision, OfALateFileIsFoundAsOfAnyOther) {
  if (!zvtest::kfNarrowTime) GTEST_SKIP() << "time_t has 64 bits here: no time is late";
  const MemoryFile theFile(ImageWith(kStamp).Bytes());
  const int theSeeks = CallsOf("lseek");
  Fault theFault("fstat", EOVERFLOW);
  const int theCalls = CallsOf("statx");
  EXPECT_EQ(kWhole, ReadFile(theFile.Path()));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_EQ(1, CallsOf("statx") - theCalls);
  EXPECT_EQ(2, CallsOf("lseek") - theSeeks);  // to the names and to the stamp
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

// With both ways refused the size is found by moving, as with one.
TEST_F(BinaryRevision, OfALateFileIsFoundWithoutTheSecondWayToo) {
  if (!zvtest::kfNarrowTime) GTEST_SKIP() << "time_t has 64 bits here: no time is late";
  const MemoryFile theFile(ImageWith(kStamp).Bytes());
  Fault theFirst("fstat", EOVERFLOW);
  Fault theSecond("statx", ENOSYS);
  EXPECT_EQ(kWhole, ReadFile(theFile.Path()));
  EXPECT_EQ(1, theFirst.Hits());
  EXPECT_EQ(1, theSecond.Hits());
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(BinaryRevision, AnyAllocationThatFailsLeavesNoLabelWithoutARevision) {
  const MemoryFile theFile(ImageWith(kStamp).Bytes());
  for (const char *theCall : {"zvMalloc", "zvStrdup", "zvStrndup"}) {
    const int theCallsBefore = CallsOf(theCall);
    ASSERT_EQ(kWhole, ReadFile(theFile.Path()));
    const int theCallCount = CallsOf(theCall) - theCallsBefore;
    const auto theDescriptors = zvtest::OpenDescriptors();
    for (int theSkip = 0; theSkip < theCallCount; ++theSkip) {
      Fault theFault(theCall, 0, theSkip);
      const Result theResult = ReadFile(theFile.Path());
      EXPECT_EQ(1, theFault.Hits());
      if (theResult.mRevision == 0) {
        EXPECT_EQ(kNothing, theResult) << theCall << " number " << theSkip;
      }
    }
    EXPECT_EQ(theDescriptors, zvtest::OpenDescriptors());
  }
}

TEST_F(BinaryRevision, NoFileLeavesADescriptorOpen) {
  const auto theDescriptors = zvtest::OpenDescriptors();
  ReadBytes(ImageWith(kStamp).Bytes());
  ReadBytes("short");
  ElfImage theImage = ImageWith(kStamp);
  theImage.Header().e_shstrndx = 0;
  ReadBytes(theImage.Bytes());
  theImage.Header().e_shstrndx = 77;
  ReadBytes(theImage.Bytes());
  ReadBytes(ElfImage({}, ElfLayout::kHeadersLast).Bytes());
  EXPECT_EQ(theDescriptors, zvtest::OpenDescriptors());
}

}  // namespace
