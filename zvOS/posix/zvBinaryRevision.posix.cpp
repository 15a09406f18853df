// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The revision stamp of a program or library, read from its section ".zevo.version".
//
// The file may be anything: every size and offset taken from it is checked before use, and a file
// that is damaged has no revision. What several calls would find out one by one is asked for at once; where
// that fails, the exported readers ask again, and say in the log what is wrong.

#include <zvOS/zvBinaryRevision.h>

#include "private/LateTime.h"
#include "private/Owner.h"

#include <sys/stat.h>
#include <unistd.h>
#include <cstdint>
#include <cstring>

using zvos::Owner;

namespace {

constexpr char kSectionName[] = ".zevo.version";

// Far more than the names of a real file need; a larger section is damage.
constexpr Elf32_Word kLargestSection = 16 * 1024 * 1024;

// Closes the file at the end of the block.
class OpenFile {
 public:
  explicit OpenFile(const char *aPath) {
    if (zvFile_Open(aPath, zvFileOpenMode_Read, 0, &mFD) != 0) mFD = kzvFileFDInvalid;
  }
  ~OpenFile() {
    if (mFD != kzvFileFDInvalid) zvFile_Close(mFD);
  }
  OpenFile(const OpenFile &) = delete;
  OpenFile &operator=(const OpenFile &) = delete;

  explicit operator bool() const { return mFD != kzvFileFDInvalid; }
  zvFileFD get() const { return mFD; }

 private:
  zvFileFD mFD = kzvFileFDInvalid;
};

bool ReadWhole(zvFileFD anFD, zvFileOffset anOffset, void *aBuffer, uint32 aSize) {
  if (zvFile_Seek(anFD, anOffset, zvFileSeekMode_Begin) != 0) return false;
  const int theCount = zvFile_Read(anFD, aBuffer, aSize);
  return theCount >= 0 && static_cast<uint32>(theCount) == aSize;
}

int DescriptorOf(zvFileFD anFD) {
  return static_cast<int>(reinterpret_cast<intptr_t>(anFD));
}

// Without the position of the file, which zvFile_GetSize moves to the end and back.
bool GetSize(zvFileFD anFD, zvFileOffset *aSize) {
  struct stat theStatus;
  if (zvos::DescriptorStat(DescriptorOf(anFD), &theStatus) != 0 || !S_ISREG(theStatus.st_mode))
    return zvFile_GetSize(anFD, aSize) == 0;
  *aSize = theStatus.st_size;
  return true;
}

// The section headers of a file, of which one read takes as many as there is room for: the whole table of
// nearly every file.
class SectionHeaders {
 public:
  SectionHeaders(zvFileFD anFD, Elf32_Ehdr *anElfHeader) : mFD(anFD), mElfHeader(anElfHeader) {}

  bool Read(int anIndex, Elf32_Shdr *aSection) {
    if (!Has(anIndex)) ReadAround(anIndex);
    if (!Has(anIndex)) return Elf_ReadSectionHeader(mFD, mElfHeader, anIndex, aSection) == 0;
    *aSection = mHeaders[anIndex - mFirst];
    return true;
  }

 private:
  static constexpr int kRoom = 64;

  bool Has(int anIndex) const { return anIndex >= mFirst && anIndex - mFirst < mCount; }

  // Headers that are larger than known do not stand one behind the other.
  void ReadAround(int anIndex) {
    if (mElfHeader->e_shentsize != sizeof(Elf32_Shdr)) return;
    mFirst = anIndex - anIndex % kRoom;
    constexpr off_t kHeaderSize = sizeof(Elf32_Shdr);
    const off_t theOffset = static_cast<off_t>(mElfHeader->e_shoff) + mFirst * kHeaderSize;
    const ssize_t theLength = pread(DescriptorOf(mFD), mHeaders, sizeof(mHeaders), theOffset);
    mCount = theLength > 0 ? static_cast<int>(static_cast<size_t>(theLength) / sizeof(Elf32_Shdr)) : 0;
  }

  const zvFileFD mFD;
  Elf32_Ehdr *const mElfHeader;
  int mFirst = 0;  // index of the first header that is here
  int mCount = 0;
  Elf32_Shdr mHeaders[kRoom];
};

// Reads a section that lies within the file: a size that the file does not have is not allocated.
Owner<char> ReadSection(zvFileFD anFD, zvFileOffset aFileSize, Elf32_Shdr *aSection) {
  if (aSection->sh_size > kLargestSection ||
      static_cast<zvFileOffset>(aSection->sh_offset) + aSection->sh_size > aFileSize) {
    return Owner<char>();
  }
  char *theData = nullptr;
  const int theStatus = Elf_ReadSectionData(anFD, aSection, &theData);
  Owner<char> theOwner(theData);
  return theStatus == 0 ? std::move(theOwner) : Owner<char>();
}

bool HasStampName(const Elf32_Shdr &aSection, const char *aNames, uint32 aNamesSize) {
  return aSection.sh_name < aNamesSize && aNamesSize - aSection.sh_name >= sizeof(kSectionName) &&
         memcmp(aNames + aSection.sh_name, kSectionName, sizeof(kSectionName)) == 0;
}

// The text between the first newline and the second, or NULL.
char *CopySecondLine(const char *aText, size_t aSize) {
  const char *const theEnd = aText + aSize;
  const void *const theFirst = memchr(aText, '\n', aSize);
  if (theFirst == nullptr) return nullptr;
  const char *const theLine = static_cast<const char *>(theFirst) + 1;
  const void *const theSecond = memchr(theLine, '\n', static_cast<size_t>(theEnd - theLine));
  if (theSecond == nullptr) return nullptr;
  return zvStrndup(theLine, static_cast<size_t>(static_cast<const char *>(theSecond) - theLine));
}

}  // namespace

extern "C" int Elf_ReadSectionHeader(zvFileFD anFD, Elf32_Ehdr *anElfHeader, int anIndex,
                                     Elf32_Shdr *aElfSectionHeader) {
  const zvFileOffset theOffset = static_cast<zvFileOffset>(anElfHeader->e_shoff) +
                                 static_cast<zvFileOffset>(anIndex) * anElfHeader->e_shentsize;
  return ReadWhole(anFD, theOffset, aElfSectionHeader, sizeof(*aElfSectionHeader)) ? 0 : -1;
}

extern "C" int Elf_ReadSectionData(zvFileFD anFD, Elf32_Shdr *aElfSectionHeader, char **aData) {
  *aData = static_cast<char *>(zvMalloc(aElfSectionHeader->sh_size));
  if (*aData == nullptr) return -1;
  return ReadWhole(anFD, aElfSectionHeader->sh_offset, *aData, aElfSectionHeader->sh_size) ? 0 : -1;
}

extern "C" int zvPath_GetBinaryRevision(const char *aFilePath, char **aBranch) {
  if (aFilePath == nullptr) return 0;
  const OpenFile theFile(aFilePath);
  if (!theFile) return 0;

  Elf32_Ehdr theElfHeader;
  zvFileOffset theFileSize;
  if (zvFile_Read(theFile.get(), &theElfHeader, sizeof(theElfHeader)) !=
          static_cast<int>(sizeof(theElfHeader)) ||
      theElfHeader.e_shstrndx == SHN_UNDEF || !GetSize(theFile.get(), &theFileSize)) {
    return 0;
  }

  SectionHeaders theHeaders(theFile.get(), &theElfHeader);
  Elf32_Shdr theNameSection;
  if (!theHeaders.Read(theElfHeader.e_shstrndx, &theNameSection)) return 0;
  const Owner<char> theNames = ReadSection(theFile.get(), theFileSize, &theNameSection);
  if (!theNames) return 0;

  for (int theIndex = 1; theIndex < theElfHeader.e_shnum; ++theIndex) {
    Elf32_Shdr theSection;
    if (!theHeaders.Read(theIndex, &theSection)) return 0;
    if (theSection.sh_type != SHT_PROGBITS ||
        !HasStampName(theSection, theNames.get(), theNameSection.sh_size)) {
      continue;
    }

    const Owner<char> theStamp = ReadSection(theFile.get(), theFileSize, &theSection);
    const Owner<char> theText(theStamp ? zvStrndup(theStamp.get(), theSection.sh_size) : nullptr);
    if (!theText) return 0;
    if (aBranch != nullptr) {
      char *const theBranch = CopySecondLine(theStamp.get(), theSection.sh_size);
      if (theBranch != nullptr) *aBranch = theBranch;
    }
    return atoi(theText.get());
  }
  return 0;
}
