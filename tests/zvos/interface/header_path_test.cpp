// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The header of paths alone gives the functions that read ELF files.

#include <zvOS/zvPath.h>

#include <dlfcn.h>
#include <gtest/gtest.h>

extern "C" int ZvTestSectionNameFromC(const char *aFilePath);

namespace {

TEST(HeaderPath, GivesTheReadingOfElfFiles) {
  int (*const theReadHeader)(zvFileFD, Elf32_Ehdr *, int, Elf32_Shdr *) = Elf_ReadSectionHeader;
  int (*const theReadData)(zvFileFD, Elf32_Shdr *, char **) = Elf_ReadSectionData;
  int (*const theRevision)(const char *, char **) = zvPath_GetBinaryRevision;
  EXPECT_TRUE(theReadHeader != nullptr && theReadData != nullptr && theRevision != nullptr);
}

TEST(HeaderPath, GivesTheReadingOfElfFilesToCPrograms) {
  // A file that is no ELF file of 32 bits: nothing is read.
  EXPECT_EQ(-1, ZvTestSectionNameFromC("/proc/self/comm"));
}

}  // namespace
