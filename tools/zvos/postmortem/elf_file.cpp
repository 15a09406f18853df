// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "postmortem/elf_file.h"

#include "shared/file_status.h"

#include <elf.h>
#include <sys/stat.h>

#include <cstring>

namespace tool {

namespace {

// More than any real file has: what a file says of itself is not believed.
constexpr uint64 kMostSections = 100000;
constexpr uint64 kLargestNotes = 0x10000;
constexpr uint64 kLargestNames = 0x10000000;
constexpr uint64 kMostSymbols = 0x400000;

struct Types32 {
  using Header = Elf32_Ehdr;
  using Section = Elf32_Shdr;
  using Symbol = Elf32_Sym;
};
struct Types64 {
  using Header = Elf64_Ehdr;
  using Section = Elf64_Shdr;
  using Symbol = Elf64_Sym;
};

constexpr unsigned char kOwnByteOrder = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? ELFDATA2LSB : ELFDATA2MSB;

size_t RoundUp(size_t aSize) {
  return (aSize + 3) & ~size_t(3);
}

// On ARM the lowest bit tells the instruction set.
uint64 CodeAddress(unsigned aMachine, uint64 aValue) {
  return aMachine == EM_ARM ? aValue & ~uint64(1) : aValue;
}

}  // namespace

ElfFile::ElfFile(const std::string &aPath)
    : mFile(open(aPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
  FileStatus theStatus = {};
  unsigned char theIdentification[EI_NIDENT];
  if (!mFile.IsOpen() || !GetStatus(mFile.Get(), theStatus) || !S_ISREG(theStatus.mMode) ||
      !Read(0, theIdentification, sizeof(theIdentification)) ||
      memcmp(theIdentification, ELFMAG, SELFMAG) != 0 || theIdentification[EI_DATA] != kOwnByteOrder)
    return;
  mf64 = theIdentification[EI_CLASS] == ELFCLASS64;
  mf64 ? ReadSections<Types64>() : ReadSections<Types32>();
}

bool ElfFile::Read(uint64 anOffset, void *aBuffer, size_t aSize) const {
  return anOffset <= INT64_MAX &&
         pread(mFile.Get(), aBuffer, aSize, static_cast<off_t>(anOffset)) == static_cast<ssize_t>(aSize);
}

template <typename Types>
void ElfFile::ReadSections() {
  typename Types::Header theHeader;
  if (!Read(0, &theHeader, sizeof(theHeader))) return;
  mfElf = true;
  mMachine = theHeader.e_machine;
  if (theHeader.e_shentsize != sizeof(typename Types::Section) || theHeader.e_shnum > kMostSections) return;
  std::vector<typename Types::Section> theSections(theHeader.e_shnum);
  if (theSections.empty() ||
      !Read(theHeader.e_shoff, theSections.data(), theSections.size() * sizeof(theSections[0])) ||
      theHeader.e_shstrndx >= theSections.size())
    return;
  const auto &theNames = theSections[theHeader.e_shstrndx];
  for (const auto &theSection : theSections) {
    // Files of debug information keep the sections of code without their bytes.
    if (theSection.sh_type == SHT_NOBITS) continue;
    char theName[16] = {};
    // The last names of the table may be shorter.
    for (size_t i = 0;
         i + 1 < sizeof(theName) && Read(theNames.sh_offset + theSection.sh_name + i, theName + i, 1) &&
         theName[i] != '\0';
         ++i) {
    }
    if (strcmp(theName, ".debug_line") == 0 || strcmp(theName, ".zdebug_line") == 0)
      mfLines = theSection.sh_size > 0;
    if (theSection.sh_type == SHT_NOTE) ReadNotes(theSection.sh_offset, theSection.sh_size);
    if ((theSection.sh_type == SHT_SYMTAB || theSection.sh_type == SHT_DYNSYM) &&
        theSection.sh_link < theSections.size()) {
      mTables.push_back({theSection.sh_offset, theSection.sh_size / sizeof(typename Types::Symbol),
                         theSections[theSection.sh_link].sh_offset, theSections[theSection.sh_link].sh_size});
    }
  }
}

void ElfFile::ReadNotes(uint64 anOffset, uint64 aSize) {
  if (aSize > kLargestNotes) return;
  std::vector<unsigned char> theNotes(static_cast<size_t>(aSize));
  if (!Read(anOffset, theNotes.data(), theNotes.size())) return;
  for (size_t thePlace = 0; theNotes.size() - thePlace >= sizeof(Elf32_Nhdr);) {
    Elf32_Nhdr theNote;
    memcpy(&theNote, &theNotes[thePlace], sizeof(theNote));
    thePlace += sizeof(theNote);
    const size_t theRest = theNotes.size() - thePlace;
    if (theNote.n_namesz > theRest || theNote.n_descsz > theRest ||
        RoundUp(theNote.n_namesz) + RoundUp(theNote.n_descsz) > theRest)
      return;
    const unsigned char *const theId = theNotes.data() + thePlace + RoundUp(theNote.n_namesz);
    if (theNote.n_type == NT_GNU_BUILD_ID && theNote.n_namesz == 4 &&
        memcmp(&theNotes[thePlace], "GNU", 4) == 0) {
      mBuildId.clear();
      for (size_t i = 0; i < theNote.n_descsz; ++i) {
        constexpr char kDigits[] = "0123456789abcdef";
        mBuildId += kDigits[theId[i] >> 4];
        mBuildId += kDigits[theId[i] & 15];
      }
    }
    thePlace += RoundUp(theNote.n_namesz) + RoundUp(theNote.n_descsz);
  }
}

template <typename Types>
std::vector<ElfFile::Symbol> ElfFile::ReadFunctions() const {
  std::vector<Symbol> theFunctions;
  for (const SymbolTable &theTable : mTables) {
    if (theTable.mCount > kMostSymbols || theTable.mNamesSize > kLargestNames) continue;
    std::vector<typename Types::Symbol> theSymbols(static_cast<size_t>(theTable.mCount));
    std::vector<char> theNames(static_cast<size_t>(theTable.mNamesSize));
    if (theNames.empty() ||
        !Read(theTable.mOffset, theSymbols.data(), theSymbols.size() * sizeof(theSymbols[0])) ||
        !Read(theTable.mNames, theNames.data(), theNames.size()) || theNames.back() != '\0')
      continue;
    for (const auto &theSymbol : theSymbols) {
      if (ELF32_ST_TYPE(theSymbol.st_info) != STT_FUNC || theSymbol.st_shndx == SHN_UNDEF ||
          theSymbol.st_name >= theNames.size())
        continue;
      theFunctions.push_back(
          {&theNames[theSymbol.st_name], CodeAddress(mMachine, theSymbol.st_value), theSymbol.st_size});
    }
  }
  return theFunctions;
}

std::vector<ElfFile::Symbol> ElfFile::Functions() const {
  return mf64 ? ReadFunctions<Types64>() : ReadFunctions<Types32>();
}

std::optional<uint64> ElfFile::AddressOf(const std::string &aSymbol) const {
  for (const Symbol &theFunction : Functions()) {
    if (theFunction.mName == aSymbol) return theFunction.mAddress;
  }
  return {};
}

std::string ElfFile::FunctionAt(uint64 anAddress) const {
  for (const Symbol &theFunction : Functions()) {
    if (anAddress >= theFunction.mAddress && anAddress - theFunction.mAddress < theFunction.mSize)
      return theFunction.mName;
  }
  return "";
}

}  // namespace tool
