// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Walks through the entries of a directory, one level, by kind and name.
//
//   zvDirTraverser *theTraverser = zvDirTraverser_New("/media");
//   int theError;
//   errno = 0;  // see zvDirTraverser_GetNext
//   zvDirEntry *theEntry = zvDirTraverser_GetFirst(theTraverser, "*.mp3", zvDIR_FILES, &theError);
//   while (theEntry != NULL) {
//     puts(theEntry->mName);
//     errno = 0;
//     theEntry = zvDirTraverser_GetNext(theTraverser, &theError);
//   }
//   if (theError != kzvDirTraverserStatus_NoError) puts("not all of it could be read");
//   zvDirTraverser_Delete(theTraverser);
//
// Entries come in the system's order. Links count as what they point to; what is neither a file nor a
// directory is left out, and so are, with a warning, links that lead nowhere or that zvDir_Exists takes for
// loops, every link to "/" among them. One thread uses a traverser at a time. Failures are logged in module
// DIR (43).
#ifndef zvOS_zvDirTraverser_h
#define zvOS_zvDirTraverser_h

#include <zvOS/zvDefines.h>

// What a walk returns.
enum {
  zvDIR_FILES = 0x0001,
  zvDIR_DIRS = 0x0002,
  zvDIR_HIDDEN = 0x0004,  // names that begin with a dot, "." and "..x" not among them
  zvDIR_DOTDOT = 0x0008,  // "." and ".."
  zvDIR_DEFAULT = zvDIR_FILES | zvDIR_DIRS | zvDIR_HIDDEN
};

enum { kzvDirTraverserStatus_NoError = 0, kzvDirTraverserStatus_Error = 1 };

// Belongs to the traverser, and is valid until its next call.
typedef struct zvDirEntry {
  char *mName;
  int mfDir;     // 1 for a directory
  int mfHidden;  // 1 for a hidden entry
} zvDirEntry;

typedef struct zvDirTraverser zvDirTraverser;

// A traverser of a directory, which need not exist; the caller releases it with zvDirTraverser_Delete.
// NULL when there is no memory.
ZVOS_API zvDirTraverser *zvDirTraverser_New(const char *aDirPath);

// Releases it; NULL is ignored.
ZVOS_API void zvDirTraverser_Delete(zvDirTraverser *aDirTraverser);

// Ends a walk, so that zvDirTraverser_GetFirst can begin another; NULL is ignored.
ZVOS_API void zvDirTraverser_Rewind(zvDirTraverser *aDirTraverser);

// The directory's absolute path without '/' at its end; it belongs to the traverser. NULL when the
// path was not valid.
ZVOS_API char *zvDirTraverser_GetDirPath(zvDirTraverser *aDirTraverser);

// Begins a walk: the first entry of the wanted kinds whose name matches the shell pattern, or NULL when
// there is none. *anError becomes kzvDirTraverserStatus_Error when the directory cannot be read, when its
// path was not valid and when the pattern is NULL; a directory that is missing is no error, and neither is
// "/", which gives no entry. A second call without a Rewind asserts.
ZVOS_API zvDirEntry *zvDirTraverser_GetFirst(zvDirTraverser *aDirTraverser, const char *anEntrySpec,
                                             int aFlags, int *anError);

// The next entry, or NULL at the end. Without memory for an entry the walk ends with
// kzvDirTraverserStatus_Error, never with an entry left out. Asserts where no walk is open: also when
// zvDirTraverser_GetFirst found no directory. `errno` is not cleared before the system is asked: what the
// caller left in it, other than ENOENT and EINVAL, turns the end of the directory into an error.
ZVOS_API zvDirEntry *zvDirTraverser_GetNext(zvDirTraverser *aDirTraverser, int *anError);

#endif
