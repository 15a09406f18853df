// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_binaryrevision Revision stamps
/// Reading of ELF files, as far as the revision stamp needs it.
///
/// Every program and library of the product carries the section ".zevo.version": the revision in decimal
/// digits, a newline, the repository and branch, a newline. zvPath_GetBinaryRevision (zvPath.h) reads it with
/// the two functions below, which take 32-bit files of the machine's own byte order and do not check that.
///
/// @threads any thread may call any function; the file's position is moved
/// @signals no
/// @fork yes; the position is shared with the parent
/// @errno after a failure what the system said
/// @logs what zvFile_Seek and zvFile_Read log, in module FILE (42)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvBinaryRevision_h
#define zvOS_zvBinaryRevision_h

#include <elf.h>

#include <zvOS/zvFile.h>
#include <zvOS/zvPath.h>

/// Reads a section header.
/// @param anFD the file
/// @param anElfHeader the header of the file, read before
/// @param anIndex the section, from 0 on
/// @param aElfSectionHeader the header of the section is stored here
/// @return 0, or -1 when it cannot be read whole
ZVOS_API int Elf_ReadSectionHeader(zvFileFD anFD, Elf32_Ehdr *anElfHeader, int anIndex,
                                   Elf32_Shdr *aElfSectionHeader);

/// Reads the contents of a section into new memory, not terminated.
/// @param anFD the file
/// @param aElfSectionHeader the header of the section
/// @param aData set in all cases: the contents, which the caller releases with free(); NULL when there is no
///   memory
/// @return 0, or -1 when they cannot be read whole
ZVOS_API int Elf_ReadSectionData(zvFileFD anFD, Elf32_Shdr *aElfSectionHeader, char **aData);

/// @}

#endif
