// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_path Paths
/// Paths: absolute native paths, where the program lives, the standard directories.
///
/// Texts returned are new memory that the caller releases with free().
///
/// The path of the running program is looked up once, when it is first needed (any relative path leads to
/// it): what was found then stays, also that nothing was found.
///
/// @threads any thread may call any function; but for the path of the program there is no shared state
/// @signals no: memory is allocated
/// @fork yes; the path of the program stays the parent's
/// @errno says nothing
/// @logs as errors of module PATH (57): that the path of the program cannot be read, that a path has no
///   anchor
/// @since 1.0.0
/// @{
#ifndef zvOS_zvPath_h
#define zvOS_zvPath_h

#include <zvOS/zvDefines.h>

/// What zvPath_Normalize does.
enum {
  kzvPathNormalizeMode_Generic = 0x00,
  kzvPathNormalizeMode_NativeSlash = 0x01,  ///< turn backslashes into '/'
  kzvPathNormalizeMode_NativeForm = 0x02,   ///< no effect on this platform
  kzvPathNormalizeMode_Native = 0x03
};

/// Where a path lies, for zvPath_GetType.
enum { kzvPathType_Unknown = 0, kzvPathType_Remote = 1, kzvPathType_Fixed = 2, kzvPathType_Removable = 3 };

/// Makes a path absolute: an absolute one is copied, a relative one is put behind an anchor. Nothing is put
/// between the two, so an anchor ends with '/'. ".." and doubled separators stay; the file system is not
/// asked.
///
/// With anchor "/x/": "a/b" becomes "/x/a/b", "./a" "/x/a", "." "/x/", "../a" "/x/../a".
/// @param aPath the path
/// @param afDir no effect
/// @param aNormalizeMode a kzvPathNormalizeMode_ value
/// @param anAnchorPath what a relative path counts from; NULL stands for the folder of the program
/// @return the path as a new text, which the caller releases with free(); NULL for a NULL path, without
///   memory, and when there is no anchor (logged)
ZVOS_API char *zvPath_Normalize(const char *aPath, int afDir, int aNormalizeMode, const char *anAnchorPath);

/// Whether a path is absolute: the empty one, and one that begins with '/' or a backslash.
/// @param aPath the path
/// @return 1 when it is, else 0; 0 for NULL
/// @signals yes
/// @logs nothing
ZVOS_API int zvPath_IsAbsolute(const char *aPath);

/// The directory for temporary files: the environment's TMPDIR as it stands at that moment, else "/tmp".
/// TMPDIR is neither tested nor changed: it may be empty, relative or missing, and may end with '/' or not.
/// @return a new text, which the caller releases with free(); NULL when there is no memory
/// @threads any, while no other thread changes the environment
/// @logs the answer, as a debug message of module PATH (57)
ZVOS_API char *zvPath_GetTempDirPath(void);

/// The directory for caches: the answer of zvPath_GetTempDirPath.
/// @return a new text, which the caller releases with free(); NULL when there is no memory
/// @threads any, while no other thread changes the environment
/// @logs the answer, as a debug message of module PATH (57)
ZVOS_API char *zvPath_GetCacheDirPath(void);

/// The file of the running program. Inside a Java virtual machine, which is any program with "java" in its
/// path: the current folder and "/java".
/// @return a new text, which the caller releases with free(), the empty text when the path cannot be read
///   (logged); NULL when there is no memory
ZVOS_API char *zvPath_GetApplicationFullPath(void);

/// The folder of the program.
/// @param afRemoveExtension no effect
/// @return a new text with the '/' at its end, which the caller releases with free(); NULL when the path
///   cannot be read or there is no memory
ZVOS_API char *zvPath_GetApplicationPath(int afRemoveExtension);

/// The file name of the program.
/// @param afRemoveExtension no effect: an extension stays
/// @return a new text, which the caller releases with free(); NULL when the path cannot be read or there is
///   no memory
ZVOS_API char *zvPath_GetApplicationName(int afRemoveExtension);

/// The file of the library or program that holds a function. It is the name that the loader found the library
/// under, and of the program itself the name that it was started by, which need not be a path:
/// zvPath_GetApplicationFullPath tells that.
/// @param aFunctionPtr the function
/// @return a new text, which the caller releases with free(); NULL when no file holds it or there is no
///   memory
/// @fork yes, when no other thread was in the system's loader at the fork
/// @logs nothing
ZVOS_API char *zvPath_GetFunctionSharedLibraryPath(zvDefaultFunctionPtr aFunctionPtr);

/// The directory of fonts: none on this platform.
/// @return NULL
/// @signals yes
/// @logs nothing
ZVOS_API char *zvPath_GetSystemFontPath(void);

/// A copy of a path; links are not resolved.
/// @param aPath the path
/// @return a new text, which the caller releases with free(); NULL for NULL, for a path with a '<', which
///   begins a placeholder that this platform does not resolve, and without memory
/// @logs nothing
ZVOS_API char *zvPath_RealPath(const char *aPath);

/// Where a path lies: not known on this platform.
/// @param aPath not looked at
/// @return kzvPathType_Unknown
/// @signals yes
/// @logs nothing
ZVOS_API int zvPath_GetType(const char *aPath);

/// The directory of configuration files, "./".
/// @return a new text, which the caller releases with free(); NULL when there is no memory
/// @logs nothing
ZVOS_API char *zvPath_GetDefaultConfigPath(void);

/// The revision stamp of a 32-bit program or library. A named pipe is waited for. Details in
/// zvBinaryRevision.h, which this header includes.
/// @param aFilePath the file; a relative path counts from the folder of the program
/// @param aBranch the label of the stamp is stored here as a new text, when it has one, which the caller
///   releases with free(); may be NULL
/// @return the number of the revision; 0, with `*aBranch` untouched, for a file that is missing, damaged or
///   without a stamp, and for NULL
/// @logs what zvFile_Open and zvFile_Read log of the file, in module FILE (42)
ZVOS_API int zvPath_GetBinaryRevision(const char *aFilePath, char **aBranch);

// The functions below the revision stamp; last, since that header includes this one.
#include <zvOS/zvBinaryRevision.h>

/// @}

#endif
