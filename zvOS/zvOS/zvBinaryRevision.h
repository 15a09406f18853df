// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Reading of ELF files, as far as the revision stamp needs it.
//
// Every program and library of the product carries the section ".zevo.version": the revision in
// decimal digits, a newline, the repository and branch, a newline. zvPath_GetBinaryRevision
// (zvPath.h) reads it with the two functions below, which take 32-bit files of the machine's own
// byte order and do not check that.
#ifndef zvOS_zvBinaryRevision_h
#define zvOS_zvBinaryRevision_h

#include <elf.h>

#include <zvOS/zvFile.h>
#include <zvOS/zvPath.h>

// Reads the section header with the given index. Returns 0, or -1 when it cannot be read whole.
ZVOS_API int Elf_ReadSectionHeader(zvFileFD anFD, Elf32_Ehdr *anElfHeader, int anIndex,
                                   Elf32_Shdr *aElfSectionHeader);

// Reads the contents of a section into new memory, not terminated. Returns 0, or -1 when it cannot
// be read whole. *aData is set in both cases (NULL when there is no memory); the caller frees it.
ZVOS_API int Elf_ReadSectionData(zvFileFD anFD, Elf32_Shdr *aElfSectionHeader, char **aData);

#endif
