// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Paths: absolute native paths, where the program lives, the standard directories.
//
// Texts returned are new memory that the caller releases with free().
//
// Any thread may call any function. The path of the running program is looked up once, when it is
// first needed (any relative path leads to it): what was found then stays, also that nothing was found,
// and also in forked children. Everything else is free of shared state.
#ifndef zvOS_zvPath_h
#define zvOS_zvPath_h

#include <zvOS/zvDefines.h>

enum {
  kzvPathNormalizeMode_Generic = 0x00,
  kzvPathNormalizeMode_NativeSlash = 0x01,  // turn backslashes into '/'
  kzvPathNormalizeMode_NativeForm = 0x02,   // no effect on this platform
  kzvPathNormalizeMode_Native = 0x03
};

enum { kzvPathType_Unknown = 0, kzvPathType_Remote = 1, kzvPathType_Fixed = 2, kzvPathType_Removable = 3 };

// Makes a path absolute: an absolute one is copied, a relative one is put behind anAnchorPath, or
// behind the folder of the program when that is NULL. Nothing is put between the two, so an anchor
// ends with '/'. ".." and doubled separators stay; the file system is not asked; afDir has no
// effect. Returns NULL for a NULL path and when there is no anchor (logged).
//
//   anchor "/x/": "a/b" -> "/x/a/b", "./a" -> "/x/a", "." -> "/x/", "../a" -> "/x/../a"
ZVOS_API char *zvPath_Normalize(const char *aPath, int afDir, int aNormalizeMode, const char *anAnchorPath);

// 1 for the empty path and one that begins with '/' or a backslash, else 0; 0 for NULL.
ZVOS_API int zvPath_IsAbsolute(const char *aPath);

// The directory for temporary files: the environment's TMPDIR, else "/tmp".
ZVOS_API char *zvPath_GetTempDirPath(void);

// The directory for caches: the same.
ZVOS_API char *zvPath_GetCacheDirPath(void);

// The file of the running program, the empty text when it cannot be read (logged). Inside a Java
// virtual machine, which is any program with "java" in its path: the current folder and "/java".
ZVOS_API char *zvPath_GetApplicationFullPath(void);

// The folder of the program, with the '/' at its end, or NULL. afRemoveExtension has no effect.
ZVOS_API char *zvPath_GetApplicationPath(int afRemoveExtension);

// The file name of the program, or NULL. afRemoveExtension has no effect.
ZVOS_API char *zvPath_GetApplicationName(int afRemoveExtension);

// The file of the library or program that holds the function, or NULL.
ZVOS_API char *zvPath_GetFunctionSharedLibraryPath(zvDefaultFunctionPtr aFunctionPtr);

// Always NULL on this platform.
ZVOS_API char *zvPath_GetSystemFontPath(void);

// A copy of the path; links are not resolved. NULL for NULL and for a path with a '<', which
// begins a placeholder that this platform does not resolve.
ZVOS_API char *zvPath_RealPath(const char *aPath);

// Always kzvPathType_Unknown on this platform.
ZVOS_API int zvPath_GetType(const char *aPath);

// The directory of configuration files: a copy of "./".
ZVOS_API char *zvPath_GetDefaultConfigPath(void);

// The revision stamp of a 32-bit program or library: the number, and, when aBranch is not NULL and
// the stamp has one, the label in *aBranch as new text. Returns 0, with *aBranch untouched, for a
// file that is missing, damaged or without a stamp. A named pipe is waited for.
// Details in zvBinaryRevision.h, which this header includes.
ZVOS_API int zvPath_GetBinaryRevision(const char *aFilePath, char **aBranch);

// The functions below the revision stamp; last, since that header includes this one.
#include <zvOS/zvBinaryRevision.h>

#endif
