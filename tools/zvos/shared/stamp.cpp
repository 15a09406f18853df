// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "shared/stamp.h"

#include "shared/files.h"

#include <zvOS/zvPath.h>

#include <elf.h>

#include <cstdlib>
#include <cstring>

namespace tool {

namespace {

constexpr char kNone[] = "no revision stamp";

constexpr unsigned char kOwnByteOrder = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? ELFDATA2LSB : ELFDATA2MSB;

// The library's reader takes 32-bit files of this machine's byte order without a test, so the test
// is made here. NULL when it may read the file.
const char *WhyNoStamp(const std::string &aPath) {
  InputFile theFile(aPath);
  unsigned char theIdentification[EI_NIDENT] = {};
  if (!theFile.IsOpen()) return kNone;
  if (zvFile_Read(theFile.FD(), theIdentification, EI_NIDENT) != EI_NIDENT) return kNone;
  if (memcmp(theIdentification, ELFMAG, SELFMAG) != 0) return kNone;
  if (theIdentification[EI_CLASS] == ELFCLASS64)
    return "no revision stamp (a 64-bit file; only 32-bit files are read)";
  if (theIdentification[EI_CLASS] != ELFCLASS32) return kNone;
  if (theIdentification[EI_DATA] != kOwnByteOrder)
    return "no revision stamp (a file of the other byte order)";
  return nullptr;
}

}  // namespace

Stamp ReadStamp(const std::string &aPath) {
  const char *theReason = WhyNoStamp(aPath);
  if (theReason != nullptr) return {false, theReason};

  char *theText = nullptr;
  const int theRevision = zvPath_GetBinaryRevision(aPath.c_str(), &theText);
  // A build outside the repository is revision 0; its label tells it from a file without a stamp.
  if (theRevision == 0 && theText == nullptr) return {false, kNone};
  const std::string theLabel = theText != nullptr ? std::string(" (") + theText + ")" : "";
  free(theText);
  return {true, "r" + std::to_string(theRevision) + theLabel};
}

}  // namespace tool
