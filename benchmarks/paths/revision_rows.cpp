// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Reading the revision stamp of a library, beside the least code that finds the same number.

#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include <zvOS/zvPath.h>

#include "support/Rows.h"

namespace zvbench {
namespace {

constexpr char kSection[] = ".zevo.version";

bool ReadAt(int aFile, off_t anOffset, void *aBuffer, size_t aSize) {
  return pread(aFile, aBuffer, aSize, anOffset) == static_cast<ssize_t>(aSize);
}

// One read each of the header, the table of sections, their names and the stamp. 0 when there is none.
int ReadStamp(int aFile, std::vector<char> &aBuffer) {
  Elf32_Ehdr theHeader;
  if (!ReadAt(aFile, 0, &theHeader, sizeof(theHeader))) return 0;
  std::vector<Elf32_Shdr> theSections(theHeader.e_shnum);
  if (theHeader.e_shentsize != sizeof(Elf32_Shdr) || theHeader.e_shstrndx >= theHeader.e_shnum ||
      !ReadAt(aFile, static_cast<off_t>(theHeader.e_shoff), theSections.data(),
              theSections.size() * sizeof(Elf32_Shdr))) {
    return 0;
  }
  const Elf32_Shdr &theNames = theSections[theHeader.e_shstrndx];
  aBuffer.resize(theNames.sh_size + 1);
  if (!ReadAt(aFile, static_cast<off_t>(theNames.sh_offset), aBuffer.data(), theNames.sh_size)) return 0;
  aBuffer[theNames.sh_size] = '\0';
  for (const Elf32_Shdr &theSection : theSections) {
    if (theSection.sh_type != SHT_PROGBITS || theSection.sh_name >= theNames.sh_size ||
        strcmp(&aBuffer[theSection.sh_name], kSection) != 0) {
      continue;
    }
    aBuffer.resize(theSection.sh_size + 1);
    if (!ReadAt(aFile, static_cast<off_t>(theSection.sh_offset), aBuffer.data(), theSection.sh_size))
      return 0;
    aBuffer[theSection.sh_size] = '\0';
    return atoi(aBuffer.data());
  }
  return 0;
}

int ReadStampOf(const char *aPath) {
  const int theFile = open(aPath, O_RDONLY | O_CLOEXEC);
  if (theFile < 0) return 0;
  std::vector<char> theBuffer;
  const int theRevision = ReadStamp(theFile, theBuffer);
  close(theFile);
  return theRevision;
}

// The library that is measured, as an absolute path. Empty when it is not known.
std::string LibraryPath() {
  Dl_info theInfo;
  char thePath[PATH_MAX];
  if (dladdr(reinterpret_cast<void *>(zvPath_GetBinaryRevision), &theInfo) == 0) return "";
  return realpath(theInfo.dli_fname, thePath) == nullptr ? "" : thePath;
}

Sides ReadingRevision() {
  const auto thePath = std::make_shared<const std::string>(LibraryPath());
  const int theRevision = ReadStampOf(thePath->c_str());
  return {Repeat([aPath = thePath->c_str(), theRevision] { return ReadStampOf(aPath) != theRevision; }),
          Repeat([aPath = thePath->c_str(), theRevision] {
            return zvPath_GetBinaryRevision(aPath, nullptr) != theRevision;
          }),
          {thePath}};
}

}  // namespace

std::vector<Row> RevisionRows() {
  // Only 32-bit files have one that can be read.
  if (ReadStampOf(LibraryPath().c_str()) == 0) {
    fprintf(stderr, "zvos_bench: no row of the revision, for none can be read from the library\n");
    return {};
  }
  return {
      {"revision of a library", "open, four preads, close", "zvPath_GetBinaryRevision", RatioAtMost(1.5),
       ReadingRevision},
  };
}

}  // namespace zvbench
