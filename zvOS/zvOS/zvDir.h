// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Directories: testing, making, removing, and, by zvDirTraverser.h, which this includes, walking.
//
// Every path goes through zvPath_Normalize (see zvPath.h), so a relative one counts from the folder of
// the program; zvDir_GetTimes alone looks at its path as it stands. Failures are logged in module DIR
// (43). Nothing is kept between calls; any thread may call any function once the path of the program is known
// (see zvPath.h).
#ifndef zvOS_zvDir_h
#define zvOS_zvDir_h

#include <zvOS/zvDefines.h>
#include <zvOS/zvDirTraverser.h>
#include <zvOS/zvTime.h>

// 1 when a directory is there (links are followed), else 0. A link that points to itself or to one of
// its ancestors counts as missing (logged as a warning). That is decided by the texts of the two paths:
// a link /d/ab to /d/a counts as missing too, and so does every link to the root.
ZVOS_API int zvDir_Exists(const char *aDirPath);

// Removes an empty directory. Returns 0, also when there is none, or -1.
ZVOS_API int zvDir_Remove(const char *aDirPath);

// Makes a directory with permissions 0700. Returns 0, or -1, also when it exists.
ZVOS_API int zvDir_Create(const char *aDirPath);

// Makes the missing directories of a path except its first component, which is taken to exist. Returns
// 1, or 0 as soon as one cannot be made; those made before stay.
ZVOS_API int zvDir_CreatePath(const char *aDirPath);

// Stores the times of what is at the path, taken as it stands, in whole seconds; each pointer may be
// NULL. The creation time is the time of the last status change. Returns 0 or -1. How to read seconds of
// 32 bits: zvTime.h.
ZVOS_API int zvDir_GetTimes(const char *aDirPath, zvtimeval *aLastAccessTime, zvtimeval *aModificationTime,
                            zvtimeval *aCreationTime);

// A new list with one text, "/". The list releases its texts; the caller deletes the list. NULL, or an
// empty list, when there is no memory.
ZVOS_API zvPtrList *zvDir_GetRootDirList(void);

#endif
