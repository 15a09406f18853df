// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The revision stamp of a program or library, read from its section ".zevo.version".
//
// The file may be anything: every size and offset taken from it is checked before use, and a file
// that is damaged has no revision.

#include <zvOS/zvBinaryRevision.h>

#include "private/Owner.h"

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
      theElfHeader.e_shstrndx == SHN_UNDEF || zvFile_GetSize(theFile.get(), &theFileSize) != 0) {
    return 0;
  }

  Elf32_Shdr theNameSection;
  if (Elf_ReadSectionHeader(theFile.get(), &theElfHeader, theElfHeader.e_shstrndx, &theNameSection) != 0)
    return 0;
  const Owner<char> theNames = ReadSection(theFile.get(), theFileSize, &theNameSection);
  if (!theNames) return 0;

  for (int theIndex = 1; theIndex < theElfHeader.e_shnum; ++theIndex) {
    Elf32_Shdr theSection;
    if (Elf_ReadSectionHeader(theFile.get(), &theElfHeader, theIndex, &theSection) != 0) return 0;
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
