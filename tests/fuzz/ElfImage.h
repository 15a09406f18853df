// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Small 32-bit ELF files, made in memory, that tests then damage.
#pragma once

#include <elf.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace zvtest {

struct ElfSection {
  std::string mName;
  uint32_t mType;
  std::string mData;
};

enum class ElfLayout { kHeadersLast, kHeadersFirst };

// A file of bytes with a valid header, the null section, the given sections (from index 1 on) and
// the section of their names at the end.
class ElfImage {
 public:
  ElfImage(std::vector<ElfSection> someSections, ElfLayout aLayout) {
    someSections.push_back({".shstrtab", SHT_STRTAB, ""});
    std::vector<uint32_t> theNames;
    std::string theTable(1, '\0');
    for (const ElfSection &theSection : someSections) {
      theNames.push_back(static_cast<uint32_t>(theTable.size()));
      theTable += theSection.mName + '\0';
    }
    someSections.back().mData = theTable;

    mHeader.e_ident[EI_MAG0] = ELFMAG0;
    mHeader.e_ident[EI_MAG1] = ELFMAG1;
    mHeader.e_ident[EI_MAG2] = ELFMAG2;
    mHeader.e_ident[EI_MAG3] = ELFMAG3;
    mHeader.e_ident[EI_CLASS] = ELFCLASS32;
    mHeader.e_ident[EI_VERSION] = EV_CURRENT;
    mHeader.e_type = ET_DYN;
    mHeader.e_version = EV_CURRENT;
    mHeader.e_ehsize = sizeof(Elf32_Ehdr);
    mHeader.e_shentsize = sizeof(Elf32_Shdr);
    mHeader.e_shnum = static_cast<Elf32_Half>(someSections.size() + 1);
    mHeader.e_shstrndx = static_cast<Elf32_Half>(someSections.size());

    const size_t theTableSize = sizeof(Elf32_Shdr) * mHeader.e_shnum;
    size_t theOffset = sizeof(Elf32_Ehdr) + (aLayout == ElfLayout::kHeadersFirst ? theTableSize : 0);
    mSections.resize(1);
    for (size_t i = 0; i < someSections.size(); ++i) {
      Elf32_Shdr theHeader = {};
      theHeader.sh_name = theNames[i];
      theHeader.sh_type = someSections[i].mType;
      theHeader.sh_offset = static_cast<Elf32_Off>(theOffset);
      theHeader.sh_size = static_cast<Elf32_Word>(someSections[i].mData.size());
      theHeader.sh_addralign = 1;
      mSections.push_back(theHeader);
      mData += someSections[i].mData;
      theOffset += someSections[i].mData.size();
    }
    mLayout = aLayout;
    const bool afHeadersLast = aLayout == ElfLayout::kHeadersLast;
    mHeader.e_shoff = static_cast<Elf32_Off>(afHeadersLast ? theOffset : sizeof(Elf32_Ehdr));
  }

  // To be changed before Bytes().
  Elf32_Ehdr &Header() { return mHeader; }
  Elf32_Shdr &Section(size_t anIndex) { return mSections.at(anIndex); }

  std::string Bytes() const {
    const std::string theHeader(reinterpret_cast<const char *>(&mHeader), sizeof(mHeader));
    const std::string theTable(reinterpret_cast<const char *>(mSections.data()),
                               mSections.size() * sizeof(Elf32_Shdr));
    return mLayout == ElfLayout::kHeadersLast ? theHeader + mData + theTable : theHeader + theTable + mData;
  }

 private:
  ElfLayout mLayout = ElfLayout::kHeadersLast;
  Elf32_Ehdr mHeader = {};
  std::vector<Elf32_Shdr> mSections;
  std::string mData;
};

// A file without a folder, for contents that change often.
class MemoryFile {
 public:
  explicit MemoryFile(const std::string &aContents = "") : mDescriptor(memfd_create("image", MFD_CLOEXEC)) {
    if (mDescriptor < 0) throw std::runtime_error("memfd_create failed");
    Set(aContents);
  }
  ~MemoryFile() { close(mDescriptor); }
  MemoryFile(const MemoryFile &) = delete;
  MemoryFile &operator=(const MemoryFile &) = delete;

  void Set(const std::string &aContents) {
    const auto theSize = static_cast<ssize_t>(aContents.size());
    if (ftruncate(mDescriptor, theSize) != 0 ||
        pwrite(mDescriptor, aContents.data(), aContents.size(), 0) != theSize) {
      throw std::runtime_error("cannot fill a memory file");
    }
  }

  int Descriptor() const { return mDescriptor; }
  // Opens the file anew, with a position of its own.
  std::string Path() const { return "/proc/self/fd/" + std::to_string(mDescriptor); }

 private:
  int mDescriptor;
};

}  // namespace zvtest
