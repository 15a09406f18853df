/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* The header of paths alone, in C99. */

#include <zvOS/zvPath.h>

int ZvTestSectionNameFromC(const char *aFilePath);

/* 0 when the header of a section far behind the end of the file can be read, and the data of one, else -1. */
int ZvTestSectionNameFromC(const char *aFilePath) {
  Elf32_Ehdr theElfHeader = {{0}, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  Elf32_Shdr theSection = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  zvFileFD theFD = kzvFileFDInvalid;
  char *theData = NULL;
  int theResult;
  if (zvFile_Open(aFilePath, zvFileOpenMode_Read, 0, &theFD) != 0) return 1;
  theElfHeader.e_shoff = 4096;
  theElfHeader.e_shentsize = sizeof(theSection);
  theResult = Elf_ReadSectionHeader(theFD, &theElfHeader, 1, &theSection);
  theSection.sh_offset = 4096;
  theSection.sh_size = 1;
  if (Elf_ReadSectionData(theFD, &theSection, &theData) != theResult) theResult = 1;
  free(theData);
  zvFile_Close(theFD);
  return theResult;
}
