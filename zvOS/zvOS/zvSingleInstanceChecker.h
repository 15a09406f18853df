// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Whether another process runs under the same name. The name is a lock file in the folder for temporary
// files; the system gives the lock up when its holder dies, so a crash blocks nobody.
//
//   zvOSSingleInstanceChecker *theChecker = zvSingleInstanceChecker_New("media-server");
//   if (theChecker == NULL || zvSingleInstanceChecker_Exists(theChecker)) return 1;
//   ...                                              // the name is ours until the Delete
//   zvSingleInstanceChecker_Delete(theChecker);
//
// Locks belong to the process: a second checker of a name in the same process gets it too, and the
// Delete of either gives the name up. Any thread may use a checker, one deletes it. Messages go to module
// DEFAULT (0).
#ifndef zvOS_zvSingleInstanceChecker_h
#define zvOS_zvSingleInstanceChecker_h

#include <zvOS/zvDefines.h>

typedef struct zvOSSingleInstanceChecker zvOSSingleInstanceChecker;

// Tries to take the name, which may contain '/'. NULL for an empty name, without a folder for temporary
// files and without memory; otherwise a checker, also when the name is taken.
// Programs that the process starts do not inherit the lock file.
ZVOS_API zvOSSingleInstanceChecker *zvSingleInstanceChecker_New(const char *aName);

// 1 when another process has the name, or when that cannot be told, else 0.
ZVOS_API int zvSingleInstanceChecker_Exists(zvOSSingleInstanceChecker *aChecker);

// 1 when the name could not be taken for another reason than that it is taken, else 0. A lock file
// that may not be written counts as taken.
ZVOS_API int zvSingleInstanceChecker_Error(zvOSSingleInstanceChecker *aChecker);

// Gives the name up and releases the checker; NULL is ignored. The lock file stays.
ZVOS_API void zvSingleInstanceChecker_Delete(zvOSSingleInstanceChecker *aChecker);

#endif
