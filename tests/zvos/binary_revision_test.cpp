// The revision stamp: what is read from sound files, and that damaged ones have none.

#include <zvOS/zvBinaryRevision.h>

#include "fuzz/ElfImage.h"
#include "support/Faults.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <link.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using zvtest::CallsOf;
using zvtest::ElfImage;
using zvtest::ElfLayout;
using zvtest::ElfSection;
using zvtest::Fault;
using zvtest::Format;
using zvtest::MemoryFile;
using zvtest::RecordingLog;

namespace {

constexpr zvLogModule kFileModule = 42;
constexpr char kSectionName[] = ".zevo.version";
constexpr char kStamp[] = "4711\nproduct/branches/main\n";
constexpr char kLabel[] = "product/branches/main";
constexpr int kRevision = 4711;

// The stamp stands between sections of other kinds.
constexpr size_t kStampIndex = 2;

std::vector<ElfSection> SectionsWith(const std::string &aStamp) {
  return {{".text", SHT_PROGBITS, "code code code"},
          {kSectionName, SHT_PROGBITS, aStamp},
          {".bss", SHT_NOBITS, ""}};
}

ElfImage ImageWith(const std::string &aStamp, ElfLayout aLayout = ElfLayout::kHeadersLast) {
  return ElfImage(SectionsWith(aStamp), aLayout);
}

zvFileFD HandleOf(int aDescriptor) {
  return reinterpret_cast<zvFileFD>(static_cast<intptr_t>(aDescriptor));
}

char sUntouched[] = "untouched";

// What was read: the revision, and the label if one was stored.
struct Result {
  int mRevision;
  std::optional<std::string> mLabel;
};

bool operator==(const Result &aResult, const Result &another) {
  return aResult.mRevision == another.mRevision && aResult.mLabel == another.mLabel;
}

void PrintTo(const Result &aResult, std::ostream *aStream) {
  *aStream << aResult.mRevision << ", " << (aResult.mLabel ? "'" + *aResult.mLabel + "'" : "no label");
}

const Result kNothing = {0, std::nullopt};
const Result kWhole = {kRevision, kLabel};

Result ReadFile(const std::string &aPath) {
  char *theBranch = sUntouched;
  Result theResult = {zvPath_GetBinaryRevision(aPath.c_str(), &theBranch), std::nullopt};
  if (theBranch == sUntouched) return theResult;
  EXPECT_NE(nullptr, theBranch);
  if (theBranch != nullptr) theResult.mLabel = theBranch;
  free(theBranch);
  return theResult;
}

Result ReadBytes(const std::string &aContents) {
  return ReadFile(MemoryFile(aContents).Path());
}

class BinaryRevision : public testing::Test {
 protected:
  RecordingLog mLog;
};

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

// Gives the library more memory than it asks for, with a text behind what it asked for: who reads
// too far finds what it looks for.
void GiveWithTextBehind(Fault &aFault, size_t aSize, const std::string &aText) {
  char *theMemory = static_cast<char *>(malloc(aSize + aText.size() + 1));
  ASSERT_NE(nullptr, theMemory);
  memcpy(theMemory + aSize, aText.c_str(), aText.size() + 1);
  aFault.Returning(static_cast<long long>(reinterpret_cast<intptr_t>(theMemory)))
      .Doing([aSize](const long long *anArguments) {
        EXPECT_EQ(static_cast<long long>(aSize), anArguments[0]);
      });
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
  for (Elf32_Word theLength = 0; theLength < sizeof kSectionName - 1; ++theLength) {
    theImage.Section(theNames).sh_size = theName + theLength;
    EXPECT_EQ(kNothing, ReadBytes(theImage.Bytes())) << theLength;
  }
  theImage.Section(theNames).sh_size = theName + sizeof kSectionName;
  EXPECT_EQ(kWhole, ReadBytes(theImage.Bytes()));
}

TEST_F(BinaryRevision, MemoryBehindTheNameTableIsNotLookedAt) {
  ElfImage theImage = ImageWith(kStamp);
  const size_t theNames = theImage.Header().e_shstrndx;
  const Elf32_Word theName = theImage.Section(kStampIndex).sh_name;
  for (Elf32_Word theLength = 0; theLength < sizeof kSectionName - 1; ++theLength) {
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
  theImage.Section(kStampIndex).sh_size = sizeof kStamp - 1;
  const std::string theBytes = theImage.Bytes() + kStamp;
  EXPECT_EQ(kWhole, ReadBytes(theBytes));
  for (size_t theLength = theRest.size(); theLength < theBytes.size(); ++theLength) {
    EXPECT_EQ(kNothing, ReadBytes(theBytes.substr(0, theLength))) << theLength;
  }
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
    EXPECT_EQ(0, memcmp(&theHeader, &mImage.Section(i), sizeof theHeader)) << i;
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
  EXPECT_EQ(kStamp, std::string(theData, sizeof kStamp - 1));
  free(theData);
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SectionReading, TheDataIsAllocatedInItsExactSizeByTheLogLibrary) {
  long long theSize = 0;
  char *theData = nullptr;
  Fault theFault("zvMalloc", 0);
  theFault.PassingThrough().Doing([&](const long long *anArguments) { theSize = anArguments[0]; });
  EXPECT_EQ(0, Elf_ReadSectionData(mHandle, &mImage.Section(kStampIndex), &theData));
  EXPECT_EQ(static_cast<long long>(sizeof kStamp - 1), theSize);
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

std::string ProgramFile() {
  return std::filesystem::read_symlink("/proc/self/exe").string();
}

// The header and the contents of the stamp's section, found without the library.
struct BuiltStamp {
  ElfW(Shdr) mHeader;
  std::string mText;
};

template <typename Record>
Record RecordAt(const std::string &aFile, size_t anOffset) {
  Record theRecord = {};
  memcpy(&theRecord, aFile.substr(anOffset, sizeof theRecord).data(), sizeof theRecord);
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
  return {zvtest::BuiltLibrary("libzvOS.so"), zvtest::BuiltLibrary("libzvLog.so"), ProgramFile()};
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
