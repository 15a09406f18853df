// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A program, library or file of debug information, of either word size: which build it is, and what it knows.
#pragma once

#include "shared/descriptor.h"

#include <zvOS/zvTypes.h>

#include <optional>
#include <string>
#include <vector>

namespace tool {

class ElfFile {
 public:
  // A path that is no regular ELF file of this byte order is no error: IsElf is false then.
  explicit ElfFile(const std::string &aPath);

  bool IsElf() const { return mfElf; }
  const std::string &BuildId() const { return mBuildId; }  // empty when it has none
  bool HasLines() const { return mfLines; }
  unsigned Machine() const { return mMachine; }  // EM_386 and so on

  // The address of a function, or the function that has code at an address, from the tables of symbols.
  std::optional<uint64> AddressOf(const std::string &aSymbol) const;
  std::string FunctionAt(uint64 anAddress) const;

 private:
  struct SymbolTable {
    uint64 mOffset;
    uint64 mCount;
    uint64 mNames;
    uint64 mNamesSize;
  };
  struct Symbol {
    std::string mName;
    uint64 mAddress;
    uint64 mSize;
  };

  bool Read(uint64 anOffset, void *aBuffer, size_t aSize) const;
  template <typename Types>
  void ReadSections();
  void ReadNotes(uint64 anOffset, uint64 aSize);
  template <typename Types>
  std::vector<Symbol> ReadFunctions() const;
  std::vector<Symbol> Functions() const;

  Descriptor mFile;
  bool mfElf = false;
  bool mf64 = false;
  bool mfLines = false;
  unsigned mMachine = 0;
  std::string mBuildId;
  std::vector<SymbolTable> mTables;
};

}  // namespace tool
