// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_singleinstancechecker Single instance
/// Whether another process runs under the same name. The name is a lock file in the folder for temporary
/// files (zvPath_GetTempDirPath); the system gives the lock up when its holder dies, so a crash blocks
/// nobody.
///
/// ```c
/// zvOSSingleInstanceChecker *theChecker = zvSingleInstanceChecker_New("media-server");
/// if (theChecker == NULL || zvSingleInstanceChecker_Exists(theChecker)) return;
/// // the name is ours until:
/// zvSingleInstanceChecker_Delete(theChecker);
/// ```
///
/// Locks belong to the process: a second checker of a name in the same process gets it too, and the Delete of
/// either gives the name up.
///
/// @threads any thread may use a checker, one deletes it
/// @signals no
/// @fork the child does not hold the name, although its checker says so
/// @errno says nothing
/// @logs failures as errors, the outcome as information, of module DEFAULT (0)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvSingleInstanceChecker_h
#define zvOS_zvSingleInstanceChecker_h

#include <zvOS/zvDefines.h>

/// A checker.
typedef struct zvOSSingleInstanceChecker zvOSSingleInstanceChecker;

/// Tries to take a name. Programs that the process starts do not inherit the lock file.
/// @param aName the name of the lock file, which may contain '/'; the same for all that are to exclude each
///   other
/// @return a checker, also when the name is taken, which the caller releases with
///   zvSingleInstanceChecker_Delete; NULL for an empty name, without a folder for temporary files and without
///   memory (logged)
ZVOS_API zvOSSingleInstanceChecker *zvSingleInstanceChecker_New(const char *aName);

/// Whether another process has the name.
/// @param aChecker the checker
/// @return 1 when another process has it, or when that cannot be told, else 0
/// @logs nothing
ZVOS_API int zvSingleInstanceChecker_Exists(zvOSSingleInstanceChecker *aChecker);

/// Whether the name could not be taken for another reason than that it is taken.
/// @param aChecker the checker
/// @return 1 when it could not, else 0. A lock file that may not be written counts as taken
/// @logs nothing
ZVOS_API int zvSingleInstanceChecker_Error(zvOSSingleInstanceChecker *aChecker);

/// Gives the name up and releases the checker. The lock file stays.
/// @param aChecker the checker; NULL is ignored
/// @logs an error of module DEFAULT (0) when the file cannot be closed
ZVOS_API void zvSingleInstanceChecker_Delete(zvOSSingleInstanceChecker *aChecker);

/// @}

#endif
