// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Damaged ELF files by the thousand: the reader of the revision stamp must agree with a second
// reader, written here over bytes in memory, wherever the format says what a file means.

#include <zvOS/zvBinaryRevision.h>

#include "fuzz/ElfImage.h"
#include "support/RecordingLog.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <vector>

using namespace zvtest;

namespace {

constexpr char kSectionName[] = ".zevo.version";
constexpr int kMutationCount = 20000;
constexpr unsigned kSeed = 20161;

struct Stamp {
  int mRevision = 0;
  std::optional<std::string> mLabel;
};

template <typename Record>
bool Fetch(const std::string &aFile, uint64_t anOffset, Record *aRecord) {
  if (anOffset > aFile.size() || aFile.size() - anOffset < sizeof(*aRecord)) return false;
  memcpy(aRecord, aFile.data() + anOffset, sizeof(*aRecord));
  return true;
}

bool FetchData(const std::string &aFile, const Elf32_Shdr &aSection, std::string *aData) {
  if (aSection.sh_offset > aFile.size() || aFile.size() - aSection.sh_offset < aSection.sh_size) return false;
  *aData = aFile.substr(aSection.sh_offset, aSection.sh_size);
  return true;
}

enum class Meaning { kDefined, kUndefined };

// Whether a name of the table is the stamp's; undefined where the table ends within the name.
Meaning CompareName(const std::string &aTable, uint32_t anOffset, bool *aMatch) {
  *aMatch = false;
  if (anOffset >= aTable.size()) return Meaning::kDefined;
  const std::string theName = aTable.substr(anOffset, sizeof(kSectionName));
  *aMatch = theName == std::string(kSectionName, sizeof(kSectionName));
  return theName == kSectionName ? Meaning::kUndefined : Meaning::kDefined;
}

Meaning ParseStamp(const std::string &aText, Stamp *aStamp) {
  const size_t theFirst = aText.find('\n');
  const size_t theSecond = theFirst == std::string::npos ? theFirst : aText.find('\n', theFirst + 1);
  if (aText.find('\0') < theSecond) return Meaning::kUndefined;
  const long long theNumber = strtoll(aText.c_str(), nullptr, 10);
  if (theNumber < INT_MIN || theNumber > INT_MAX) return Meaning::kUndefined;
  aStamp->mRevision = static_cast<int>(theNumber);
  if (theSecond != std::string::npos) aStamp->mLabel = aText.substr(theFirst + 1, theSecond - theFirst - 1);
  return Meaning::kDefined;
}

// What the file says. Undefined: offsets past 32 bits, names that the table cuts off, two stamps,
// numbers out of range, NUL characters in the text.
Meaning ReadStamp(const std::string &aFile, Stamp *aStamp) {
  Elf32_Ehdr theElf;
  if (!Fetch(aFile, 0, &theElf) || theElf.e_shstrndx == SHN_UNDEF) return Meaning::kDefined;
  const auto theOffset = [&](uint64_t anIndex) { return theElf.e_shoff + anIndex * theElf.e_shentsize; };
  if (theOffset(theElf.e_shstrndx) > UINT32_MAX || theOffset(theElf.e_shnum) > UINT32_MAX) {
    return Meaning::kUndefined;
  }

  Elf32_Shdr theNameSection;
  std::string theNames;
  if (!Fetch(aFile, theOffset(theElf.e_shstrndx), &theNameSection)) return Meaning::kDefined;
  if (!FetchData(aFile, theNameSection, &theNames)) return Meaning::kDefined;

  std::vector<Elf32_Shdr> theMatches;
  for (unsigned theIndex = 1; theIndex < theElf.e_shnum; ++theIndex) {
    Elf32_Shdr theSection;
    if (!Fetch(aFile, theOffset(theIndex), &theSection)) break;
    if (theSection.sh_type != SHT_PROGBITS) continue;
    bool afMatch;
    if (CompareName(theNames, theSection.sh_name, &afMatch) == Meaning::kUndefined)
      return Meaning::kUndefined;
    if (afMatch) theMatches.push_back(theSection);
  }
  if (theMatches.size() > 1) return Meaning::kUndefined;
  std::string theText;
  if (theMatches.empty() || !FetchData(aFile, theMatches[0], &theText)) return Meaning::kDefined;
  return ParseStamp(theText, aStamp);
}

// Reads damaged files and compares.
class ElfFuzz : public testing::Test {
 protected:
  // False when the two readers disagree.
  bool Check(const std::string &aFile) {
    mFile.Set(aFile);
    char theUntouched[] = "untouched";
    char *theBranch = theUntouched;
    const int theRevision = zvPath_GetBinaryRevision(mFile.Path().c_str(), &theBranch);
    std::optional<std::string> theLabel;
    if (theBranch != theUntouched) {
      theLabel = theBranch;
      free(theBranch);
    }

    Stamp theStamp;
    if (ReadStamp(aFile, &theStamp) == Meaning::kUndefined) {
      ++mUndefinedCount;
      return true;
    }
    if (theLabel) ++mLabelCount;
    EXPECT_EQ(theStamp.mRevision, theRevision);
    EXPECT_EQ(theStamp.mLabel, theLabel);
    return theStamp.mRevision == theRevision && theStamp.mLabel == theLabel;
  }

  RecordingLog mLog;
  MemoryFile mFile;
  int mUndefinedCount = 0;
  int mLabelCount = 0;
};

std::vector<std::string> SoundFiles() {
  std::vector<std::string> theFiles;
  for (const ElfLayout theLayout : {ElfLayout::kHeadersLast, ElfLayout::kHeadersFirst}) {
    theFiles.push_back(
        ElfImage({{kSectionName, SHT_PROGBITS, "4711\nproduct/branches/main\n"}}, theLayout).Bytes());
    theFiles.push_back(ElfImage({{".text", SHT_PROGBITS, "code"},
                                 {".data", SHT_PROGBITS, std::string("\0\1\2\3", 4)},
                                 {kSectionName, SHT_PROGBITS, "815\na\n"},
                                 {".comment", SHT_PROGBITS, "made\nby\nhand\n"}},
                                theLayout)
                           .Bytes());
    theFiles.push_back(ElfImage({{kSectionName, SHT_PROGBITS, "99"}}, theLayout).Bytes());
  }
  return theFiles;
}

TEST_F(ElfFuzz, EveryValueOfEveryByteOfTheHeadersIsSurvived) {
  for (const std::string &theFile : SoundFiles()) {
    for (size_t theOffset = 0; theOffset < theFile.size(); ++theOffset) {
      for (const unsigned theChange : {0x01u, 0x02u, 0x10u, 0x80u, 0xffu}) {
        std::string theDamaged = theFile;
        theDamaged[theOffset] =
            static_cast<char>(static_cast<unsigned char>(theDamaged[theOffset]) ^ theChange);
        ASSERT_TRUE(Check(theDamaged)) << "byte " << theOffset << " changed by " << theChange;
      }
    }
  }
  EXPECT_GT(mLabelCount, 0);
}

TEST_F(ElfFuzz, EveryTruncationIsSurvived) {
  for (const std::string &theFile : SoundFiles()) {
    for (size_t theLength = 0; theLength <= theFile.size(); ++theLength) {
      ASSERT_TRUE(Check(theFile.substr(0, theLength))) << "length " << theLength;
    }
  }
}

// Damages a file in a few places.
class Mutator {
 public:
  explicit Mutator(unsigned aSeed) : mRandom(aSeed) {}

  std::string Mutate(std::string aFile) {
    const size_t theCount = 1 + Below(4);
    for (size_t i = 0; i < theCount; ++i)
      MutateOnce(&aFile);
    return aFile;
  }

  size_t Below(size_t aLimit) { return std::uniform_int_distribution<size_t>(0, aLimit - 1)(mRandom); }

 private:
  void MutateOnce(std::string *aFile) {
    if (aFile->empty()) return;
    switch (Below(6)) {
      case 0:
        (*aFile)[Below(aFile->size())] = static_cast<char>(Below(256));
        return;
      case 1:
        (*aFile)[Below(aFile->size())] ^= static_cast<char>(1u << Below(8));
        return;
      case 2:
        return Put(aFile, 2, Hostile());
      case 3:
        return Put(aFile, 4, Hostile());
      case 4:
        // A part of the file over another.
        return aFile->replace(Below(aFile->size()), 8, aFile->substr(Below(aFile->size()), 8)), void();
      default:
        if (Below(4) == 0) {
          aFile->resize(Below(aFile->size() + 64), '\n');
        } else {
          // Small numbers are likely to stay within the file.
          Put(aFile, 4, static_cast<uint32_t>(Below(aFile->size() + 8)));
        }
    }
  }

  uint32_t Hostile() {
    static const uint32_t kValues[] = {0,          1,          0x27,       0x28,       0x29,       0x7fff,
                                       0x8000,     0xff00,     0xffff,     0x7ffffff0, 0x7fffffff, 0x80000000,
                                       0xfffffff0, 0xffffffd8, 0xfffffffe, 0xffffffff};
    return kValues[Below(std::size(kValues))];
  }

  // Writes the value at a place that its size divides.
  void Put(std::string *aFile, size_t aSize, uint32_t aValue) {
    if (aFile->size() < aSize) return;
    const size_t theOffset = Below(aFile->size() / aSize) * aSize;
    memcpy(&(*aFile)[theOffset], &aValue, aSize);
  }

  std::mt19937 mRandom;
};

TEST_F(ElfFuzz, ManyRandomDamagesAreSurvived) {
  const auto theDescriptors = [] {
    const std::filesystem::directory_iterator theEntries("/proc/self/fd");
    return std::distance(begin(theEntries), end(theEntries));
  };
  const auto theDescriptorsBefore = theDescriptors();
  const auto theFiles = SoundFiles();
  Mutator theMutator(kSeed);
  for (int theNumber = 0; theNumber < kMutationCount; ++theNumber) {
    ASSERT_TRUE(Check(theMutator.Mutate(theFiles[theMutator.Below(theFiles.size())])))
        << "number " << theNumber;
  }
  EXPECT_EQ(theDescriptorsBefore, theDescriptors());
  // The comparison is worth something: most files mean something, and many still have a label.
  EXPECT_LT(mUndefinedCount, kMutationCount / 4);
  EXPECT_GT(mLabelCount, kMutationCount / 10);
}

}  // namespace
