// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_dirtraverser Walking directories
/// Walks through the entries of a directory, one level, by kind and name.
///
/// ```c
/// zvDirTraverser *theTraverser = zvDirTraverser_New("/media");
/// int theError;
/// errno = 0;  // see zvDirTraverser_GetNext
/// zvDirEntry *theEntry = zvDirTraverser_GetFirst(theTraverser, "*.mp3", zvDIR_FILES, &theError);
/// while (theEntry != NULL) {
///   puts(theEntry->mName);
///   errno = 0;
///   theEntry = zvDirTraverser_GetNext(theTraverser, &theError);
/// }
/// if (theError != kzvDirTraverserStatus_NoError) puts("not all of it could be read");
/// zvDirTraverser_Delete(theTraverser);
/// ```
///
/// Entries come in the system's order. Links count as what they point to; what is neither a file nor a
/// directory is left out, and so are, with a warning, links that lead nowhere or that zvDir_Exists takes for
/// loops, every link to "/" among them.
///
/// @threads one thread uses a traverser at a time
/// @signals no: memory is allocated
/// @fork a walk that goes on shares its position with the parent's: begin another one in the child
/// @errno see zvDirTraverser_GetNext
/// @logs failures, as errors of module DIR (43)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvDirTraverser_h
#define zvOS_zvDirTraverser_h

#include <zvOS/zvDefines.h>

/// What a walk returns.
enum {
  zvDIR_FILES = 0x0001,
  zvDIR_DIRS = 0x0002,
  zvDIR_HIDDEN = 0x0004,  ///< of the two also those whose names begin with a dot; "..x" does not count
  zvDIR_DOTDOT = 0x0008,  ///< of the directories also "." and ".."
  zvDIR_DEFAULT = zvDIR_FILES | zvDIR_DIRS | zvDIR_HIDDEN
};

/// How a step of a walk went.
enum { kzvDirTraverserStatus_NoError = 0, kzvDirTraverserStatus_Error = 1 };

/// An entry. It belongs to the traverser, and is valid until its next call.
typedef struct zvDirEntry {
  char *mName;
  int mfDir;     ///< 1 for a directory
  int mfHidden;  ///< 1 for a hidden entry
} zvDirEntry;

/// A traverser.
typedef struct zvDirTraverser zvDirTraverser;

/// Makes a traverser of a directory.
/// @param aDirPath the directory, which need not exist yet; a relative path counts from the folder of the
///   program
/// @return the traverser, which the caller releases with zvDirTraverser_Delete; NULL when there is no memory
/// @odd "/" has no entries
ZVOS_API zvDirTraverser *zvDirTraverser_New(const char *aDirPath);

/// Releases a traverser, and the entry that it gave last.
/// @param aDirTraverser the traverser; NULL is ignored
ZVOS_API void zvDirTraverser_Delete(zvDirTraverser *aDirTraverser);

/// Ends a walk, so that zvDirTraverser_GetFirst can begin another.
/// @param aDirTraverser the traverser; NULL is ignored
ZVOS_API void zvDirTraverser_Rewind(zvDirTraverser *aDirTraverser);

/// The directory's absolute path without '/' at its end.
/// @param aDirTraverser the traverser; NULL asserts
/// @return the path, which belongs to the traverser; NULL when the path was not valid
ZVOS_API char *zvDirTraverser_GetDirPath(zvDirTraverser *aDirTraverser);

/// Begins a walk. A second call without a Rewind asserts, and begins anew.
/// @param aDirTraverser the traverser; NULL asserts
/// @param anEntrySpec a shell pattern for names ("*.mp3")
/// @param aFlags a sum of zvDIR_ values, the kinds of entries that are wanted
/// @param anError becomes kzvDirTraverserStatus_Error when the directory cannot be read, when its path was
///   not valid and when the pattern is NULL (all logged), else kzvDirTraverserStatus_NoError; a directory
///   that is missing is no error, and neither is "/". NULL asserts
/// @return the first wanted entry, which belongs to the traverser and is valid until its next call; NULL when
///   there is none
ZVOS_API zvDirEntry *zvDirTraverser_GetFirst(zvDirTraverser *aDirTraverser, const char *anEntrySpec,
                                             int aFlags, int *anError);

/// Goes on with a walk. Without memory for an entry the walk ends with kzvDirTraverserStatus_Error, never
/// with an entry left out. Asserts where no walk is open: also when zvDirTraverser_GetFirst found no
/// directory.
/// @param aDirTraverser the traverser; NULL asserts
/// @param anError as for zvDirTraverser_GetFirst
/// @return the next wanted entry, which belongs to the traverser and is valid until its next call; NULL at
///   the end
/// @errno is not cleared before the system is asked: what the caller left in it, other than ENOENT and
///   EINVAL, turns the end of the directory into an error. Store 0 there before the call
ZVOS_API zvDirEntry *zvDirTraverser_GetNext(zvDirTraverser *aDirTraverser, int *anError);

/// @}

#endif
