// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The revision stamp: damaged files, and files of other kinds, have none.

#include "paths_support.h"

using testing::ElementsAre;
using testing::IsEmpty;
using namespace zvtest;
using namespace zvtest::paths;

namespace {

//
// Files without a stamp
//

TEST_F(BinaryRevision, NoPathHasNoRevisionAndNoMessage) {
  char *theBranch = sUntouched;
  EXPECT_EQ(0, zvPath_GetBinaryRevision(nullptr, &theBranch));
  EXPECT_EQ(0, zvPath_GetBinaryRevision(nullptr, nullptr));
  EXPECT_EQ(sUntouched, theBranch);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(BinaryRevision, AMissingFileIsLoggedByTheOpeningOnly) {
  zvtest::TempFolder theFolder;
  const std::string thePath = theFolder.File("missing");
  EXPECT_EQ(kNothing, ReadFile(thePath));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(zvtest::Error(
                  kFileModule, Format("zvFile: Cannot open file: '%s' (OpenMode = 0x01) (error = %d)\n",
                                      thePath.c_str(), ENOENT))));
}

TEST_F(BinaryRevision, AFolderHasNoRevision) {
  zvtest::TempFolder theFolder;
  EXPECT_EQ(kNothing, ReadFile(theFolder.Path()));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(zvtest::Error(kFileModule,
                                        Format("zvFile: cannot read %lu bytes (error = %d)\n",
                                               static_cast<unsigned long>(sizeof(Elf32_Ehdr)), EISDIR))));
}

TEST_F(BinaryRevision, FilesThatAreNoElfFilesHaveNoRevision) {
  EXPECT_EQ(kNothing, ReadBytes(""));
  EXPECT_EQ(kNothing, ReadBytes("#!/bin/sh\n"));
  EXPECT_EQ(kNothing, ReadBytes(std::string(sizeof(Elf32_Ehdr) - 1, 'x')));
  EXPECT_EQ(kNothing, ReadBytes(std::string(sizeof(Elf32_Ehdr), 'x')));
  EXPECT_EQ(kNothing, ReadBytes(std::string(sizeof(Elf32_Ehdr), '\0')));
  EXPECT_EQ(kNothing, ReadBytes(std::string(100000, '\xff')));
  EXPECT_EQ(kNothing, ReadBytes(std::string(100000, '\0')));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(BinaryRevision, AnElfFileWithoutTheSectionHasNoRevision) {
  EXPECT_EQ(kNothing, ReadBytes(ElfImage({}, ElfLayout::kHeadersLast).Bytes()));
  EXPECT_EQ(kNothing,
            ReadBytes(ElfImage({{".text", SHT_PROGBITS, kStamp}}, ElfLayout::kHeadersLast).Bytes()));
}

TEST_F(BinaryRevision, AnElfFileWithoutANameTableHasNoRevision) {
  ElfImage theImage = ImageWith(kStamp);
  const size_t theNames = theImage.Header().e_shstrndx;
  theImage.Header().e_shstrndx = SHN_UNDEF;
  EXPECT_EQ(kNothing, ReadBytes(theImage.Bytes()));

  // Even if the null section would do.
  theImage.Section(0) = theImage.Section(theNames);
  EXPECT_EQ(kNothing, ReadBytes(theImage.Bytes()));
}

TEST_F(BinaryRevision, ANameTableThatIsNotInTheFileGivesNothing) {
  for (const Elf32_Half theIndex : std::initializer_list<Elf32_Half>{5, 6, 1000, 0xff00, 0xffff}) {
    ElfImage theImage = ImageWith(kStamp);
    theImage.Header().e_shstrndx = theIndex;
    EXPECT_EQ(kNothing, ReadBytes(theImage.Bytes())) << theIndex;
  }
}

//
// Damaged files. These run with checked memory in the sanitizer builds.
//

const Elf32_Word kHostileWords[] = {0,          1,          51,         52,         0x7ffffff0, 0x7fffffff,
                                    0x80000000, 0x80000001, 0xfffffff0, 0xfffffffe, 0xffffffff};

TEST_F(BinaryRevision, HostileSizesAndOffsetsOfTheStampGiveNothing) {
  for (const Elf32_Word theValue : kHostileWords) {
    ElfImage theImage = ImageWith(kStamp);
    theImage.Section(kStampIndex).sh_size = theValue;
    const Result theResult = ReadBytes(theImage.Bytes());
    // Small sizes cut the stamp or take the next section's bytes in.
    if (theValue > 52) {
      EXPECT_EQ(kNothing, theResult) << theValue;
    }

    theImage = ImageWith(kStamp);
    theImage.Section(kStampIndex).sh_offset = theValue;
    EXPECT_EQ(0, ReadBytes(theImage.Bytes()).mRevision) << theValue;
  }
}

TEST_F(BinaryRevision, AStampOfMoreThanSixteenMebibytesIsDamage) {
  constexpr size_t kLargest = 16 * 1024 * 1024;
  std::string theStamp = kStamp;
  theStamp.resize(kLargest, ' ');
  EXPECT_EQ(kWhole, ReadBytes(ImageWith(theStamp).Bytes()));
  theStamp += ' ';
  EXPECT_EQ(kNothing, ReadBytes(ImageWith(theStamp).Bytes()));
}

TEST_F(BinaryRevision, HostileSizesAndOffsetsOfTheNameTableGiveNothing) {
  for (const Elf32_Word theValue : kHostileWords) {
    ElfImage theImage = ImageWith(kStamp);
    const size_t theNames = theImage.Header().e_shstrndx;
    theImage.Section(theNames).sh_offset = theValue;
    EXPECT_EQ(kNothing, ReadBytes(theImage.Bytes())) << theValue;

    theImage = ImageWith(kStamp);
    theImage.Section(theNames).sh_size = theValue;
    const Result theResult = ReadBytes(theImage.Bytes());
    if (theValue < 8 || theValue > 52) {
      EXPECT_EQ(kNothing, theResult) << theValue;
    }
  }
}

TEST_F(BinaryRevision, HostileNameOffsetsGiveNothing) {
  for (const Elf32_Word theValue : kHostileWords) {
    ElfImage theImage = ImageWith(kStamp);
    theImage.Section(kStampIndex).sh_name = theValue;
    EXPECT_EQ(kNothing, ReadBytes(theImage.Bytes())) << theValue;
  }
}

TEST_F(BinaryRevision, ANameThatTheTableCutsOffIsNotReadPastIt) {
  ElfImage theImage = ImageWith(kStamp);
  const size_t theNames = theImage.Header().e_shstrndx;
  const Elf32_Word theName = theImage.Section(kStampIndex).sh_name;
  for (Elf32_Word theLength = 0; theLength < sizeof(kSectionName) - 1; ++theLength) {
    theImage.Section(theNames).sh_size = theName + theLength;
    EXPECT_EQ(kNothing, ReadBytes(theImage.Bytes())) << theLength;
  }
  theImage.Section(theNames).sh_size = theName + sizeof(kSectionName);
  EXPECT_EQ(kWhole, ReadBytes(theImage.Bytes()));
}

TEST_F(BinaryRevision, MemoryBehindTheNameTableIsNotLookedAt) {
  ElfImage theImage = ImageWith(kStamp);
  const size_t theNames = theImage.Header().e_shstrndx;
  const Elf32_Word theName = theImage.Section(kStampIndex).sh_name;
  for (Elf32_Word theLength = 0; theLength < sizeof(kSectionName) - 1; ++theLength) {
    theImage.Section(theNames).sh_size = theName + theLength;
    const MemoryFile theFile(theImage.Bytes());
    Fault theFault("zvMalloc", 0);
    GiveWithTextBehind(theFault, theName + theLength, kSectionName + theLength);
    EXPECT_EQ(kNothing, ReadFile(theFile.Path())) << theLength;
    EXPECT_EQ(1, theFault.Hits());
  }
}

TEST_F(BinaryRevision, HostileTablesOfSectionsGiveNothing) {
  for (const Elf32_Word theValue : kHostileWords) {
    ElfImage theImage = ImageWith(kStamp);
    theImage.Header().e_shoff = theValue;
    EXPECT_EQ(kNothing, ReadBytes(theImage.Bytes())) << theValue;
  }
  for (const Elf32_Half theValue : std::initializer_list<Elf32_Half>{0, 1, 39, 41, 0x7fff, 0x8000, 0xffff}) {
    ElfImage theImage = ImageWith(kStamp);
    theImage.Header().e_shentsize = theValue;
    EXPECT_EQ(kNothing, ReadBytes(theImage.Bytes())) << theValue;

    // The largest index times the largest size does not fit an int.
    theImage.Header().e_shstrndx = 0xffff;
    EXPECT_EQ(kNothing, ReadBytes(theImage.Bytes())) << theValue;
  }
}

TEST_F(BinaryRevision, ACountPastTheTableEndsTheSearchAtTheEndOfTheFile) {
  ElfImage theImage = ImageWith(kStamp);
  theImage.Header().e_shnum = 0xffff;
  EXPECT_EQ(kWhole, ReadBytes(theImage.Bytes()));
  theImage.Section(kStampIndex).sh_type = SHT_NOTE;
  const int theReads = CallsOf("read");
  EXPECT_EQ(kNothing, ReadBytes(theImage.Bytes()));
  EXPECT_LT(CallsOf("read") - theReads, 20);
}

TEST_F(BinaryRevision, EveryTruncationGivesNothing) {
  for (const ElfLayout theLayout : {ElfLayout::kHeadersLast, ElfLayout::kHeadersFirst}) {
    // The stamp is read last, so let it stand at the end of the file.
    ElfImage theImage({{".zevo.version", SHT_PROGBITS, kStamp}}, theLayout);
    const std::string theBytes = theImage.Bytes();
    MemoryFile theFile;
    for (size_t theLength = 0; theLength < theBytes.size(); ++theLength) {
      theFile.Set(theBytes.substr(0, theLength));
      EXPECT_EQ(kNothing, ReadFile(theFile.Path())) << theLength;
    }
    theFile.Set(theBytes);
    EXPECT_EQ(kWhole, ReadFile(theFile.Path()));
  }
}

TEST_F(BinaryRevision, AStampThatTheFileCutsOffGivesNothing) {
  // Header, sections, name table, stamp: everything but the stamp is whole.
  ElfImage theImage = ImageWith("", ElfLayout::kHeadersFirst);
  const std::string theRest = theImage.Bytes();
  theImage.Section(kStampIndex).sh_offset = static_cast<Elf32_Off>(theRest.size());
  theImage.Section(kStampIndex).sh_size = sizeof(kStamp) - 1;
  const std::string theBytes = theImage.Bytes() + kStamp;
  EXPECT_EQ(kWhole, ReadBytes(theBytes));
  for (size_t theLength = theRest.size(); theLength < theBytes.size(); ++theLength) {
    EXPECT_EQ(kNothing, ReadBytes(theBytes.substr(0, theLength))) << theLength;
  }
}

}  // namespace
