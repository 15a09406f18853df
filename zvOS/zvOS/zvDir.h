// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_dir Directories
/// Directories: testing, making, removing, and, by zvDirTraverser.h, which this includes, walking.
///
/// Every path goes through zvPath_Normalize (see zvPath.h), so a relative one counts from the folder of the
/// program; zvDir_GetTimes alone looks at its path as it stands. A path that is NULL is an invalid name.
///
/// @threads any thread may call any function; none keeps state
/// @signals no: memory is allocated
/// @fork yes
/// @errno after a failed system call what the system said
/// @logs failures, as errors of module DIR (43)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvDir_h
#define zvOS_zvDir_h

#include <zvOS/zvDefines.h>
#include <zvOS/zvDirTraverser.h>
#include <zvOS/zvTime.h>

/// Whether a directory is there (links are followed). A link that points to itself or to one of its ancestors
/// counts as missing.
/// @param aDirPath the directory
/// @return 1 when it is, else 0
/// @logs an invalid name, a link that cannot be resolved (errors), a link that counts as a loop (a warning);
///   not that the directory is missing
/// @odd what is a loop is decided by the texts of the two paths: a link `/d/ab` to `/d/a` counts as missing
///   too, and so does every link to the root
ZVOS_API int zvDir_Exists(const char *aDirPath);

/// Removes an empty directory.
/// @param aDirPath the directory
/// @return 0, also when there is none, or -1
ZVOS_API int zvDir_Remove(const char *aDirPath);

/// Makes a directory with permissions 0700.
/// @param aDirPath the directory, whose parent exists
/// @return 0, or -1, also when it exists (EEXIST)
ZVOS_API int zvDir_Create(const char *aDirPath);

/// Makes the missing directories of a path except its first component, which is taken to exist.
/// @param aDirPath the directory; a path of one component makes nothing
/// @return 1, or 0 as soon as one cannot be made; those made before stay
ZVOS_API int zvDir_CreatePath(const char *aDirPath);

/// Tells the times of what is at a path, in whole seconds. How to read seconds of 32 bits: zvTime.h.
/// @param aDirPath taken as it stands: a relative path counts from the working directory
/// @param aLastAccessTime stored here; may be NULL
/// @param aModificationTime stored here; may be NULL
/// @param aCreationTime the time of the last status change is stored here; may be NULL
/// @return 0, or -1 with nothing stored
ZVOS_API int zvDir_GetTimes(const char *aDirPath, zvtimeval *aLastAccessTime, zvtimeval *aModificationTime,
                            zvtimeval *aCreationTime);

/// The roots of the file system.
/// @return a new list with one text, "/"; the caller releases it with zvPtrList_Delete, which releases the
///   text. NULL, or an empty list, when there is no memory
/// @logs nothing
ZVOS_API zvPtrList *zvDir_GetRootDirList(void);

/// @}

#endif
