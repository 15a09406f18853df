// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Files over descriptors, with portable open modes and error codes and 64-bit offsets.
//
// Every path goes through zvPath_Normalize (see zvPath.h), so a relative one counts from the
// folder of the program; zvFile_SetSize alone takes its path as it stands. Failures are logged.
// No function keeps state: functions on one descriptor are as safe between threads as the
// system calls are, except zvFile_EndOfFile and zvFile_GetSize, which move the file position
// and restore it.
#ifndef zvOS_zvFile_h
#define zvOS_zvFile_h

#include <zvOS/zvDefines.h>
#include <zvOS/zvTime.h>

// Carries a descriptor: descriptor 3 is (zvFileFD)3.
typedef void *zvFileFD;
#define kzvFileFDInvalid ((zvFileFD)-1)

typedef int64 zvFileOffset;
#define kzvFileOffsetInvalid ((zvFileOffset)-1)

typedef int zvFileOpenMode;
enum {
  zvFileOpenMode_Read = 0x01,
  zvFileOpenMode_Write = 0x02,
  zvFileOpenMode_ReadWrite = 0x03,
  zvFileOpenMode_Exclusive = 0x04,  // fail if the file exists; only with Create
  zvFileOpenMode_Append = 0x08,     // position at the end after opening; implies Write
  zvFileOpenMode_Create = 0x10,     // create if missing; not with Append
  zvFileOpenMode_Truncate = 0x20    // cut to no length; only when writing, not with Create and Exclusive
};

typedef int zvFileAccessMode;
enum { zvFileAccessMode_Read = 1, zvFileAccessMode_Write = 2, zvFileAccessMode_ReadWrite = 3 };

typedef int zvFileSeekMode;
enum { zvFileSeekMode_Begin = 0, zvFileSeekMode_Current = 1, zvFileSeekMode_End = 2 };

typedef uint32 zvFileAttributes;
enum { kzvFileAttribute_Hidden = 1 };

// File error codes; 0 is success.
enum {
  kzvFileErrorUnknown = -1,
  kzvFileErrorReadOnlyFileSystem = -2,
  kzvFileErrorNotFound = -3,
  kzvFileErrorAlreadyExists = -4,
  kzvFileErrorNoSpace = -5
};

// Opens a file and stores its descriptor, which the caller gives to zvFile_Close. A new file gets
// permissions 0777 less the umask; anAccessMode is ignored. Returns 0, or a file error code with
// *aFD untouched; a refused mode, an invalid name and a NULL aFD give kzvFileErrorUnknown.
// Programs that the process starts do not inherit the descriptor.
ZVOS_API int zvFile_Open(const char *aPath, zvFileOpenMode anOpenMode, int anAccessMode, zvFileFD *aFD);

// 1 when the process may access the file in that way, else 0 (logged). A mode of 0 asks whether
// the path exists.
ZVOS_API int zvFile_Access(const char *aPath, zvFileAccessMode anAccessMode);

// Closes the descriptor. Returns 0 or a file error code.
ZVOS_API int zvFile_Close(zvFileFD aFD);

// 1 when the position is at the end of the file, 0 when not, a file error code on failure.
ZVOS_API int zvFile_EndOfFile(zvFileFD aFD);

// Reads aCount bytes, fewer only at the end of the file. Returns the count of bytes read, or a
// file error code, which tells nothing of bytes already read. A count of 2^31 or more reads nothing.
ZVOS_API int zvFile_Read(zvFileFD aFD, void *aBuffer, uint32 aCount);

// Writes aCount bytes; results as zvFile_Read.
ZVOS_API int zvFile_Write(zvFileFD aFD, const void *aBuffer, uint32 aCount);

// Moves the position. Returns 0 or a file error code. An unknown mode asserts and counts from the
// beginning.
ZVOS_API int zvFile_Seek(zvFileFD aFD, zvFileOffset anOffset, zvFileSeekMode aSeekMode);

// Stores the position. Returns 0, or a file error code with *aPosition untouched.
ZVOS_API int zvFile_Tell(zvFileFD aFD, zvFileOffset *aPosition);

// Cuts or extends the file and moves to its new end.
// Deliberately odd: returns 0 only when the low 32 bits of the new size are 0, as they are for
// size 0; for any other size the file is changed, yet the result is -1 and an error is logged.
ZVOS_API int zvFile_ChangeSize(zvFileFD aFD, zvFileOffset aNewSize);

// Stores the size in bytes, kzvFileOffsetInvalid on failure. Returns 0 or a file error code.
ZVOS_API int zvFile_GetSize(zvFileFD aFD, zvFileOffset *aSize);

// Hands what was written to the device. Returns 0 or a file error code.
ZVOS_API int zvFile_Flush(zvFileFD aFD);

// Removes a file. Returns 0, also when there is none, or a file error code.
ZVOS_API int zvFile_Remove(const char *aPath);

// 1 when the file has the attribute, else 0. A file is hidden when its name begins with '.'; the
// file system is not asked. Any attribute but kzvFileAttribute_Hidden is logged and answered with 0.
ZVOS_API int zvFile_HasAttribute(const char *aPath, zvFileAttributes anAttribute);

// 1 when a regular file is there (links are followed), else 0.
ZVOS_API int zvFile_Exists(const char *aPath);

// Stores the times of a file in whole seconds; each pointer may be NULL. The creation time is the
// time of the last status change. Returns 0 or a file error code. How to read seconds of 32 bits: zvTime.h.
ZVOS_API int zvFile_GetTimes(const char *aPath, zvtimeval *aLastAccessTime, zvtimeval *aModificationTime,
                             zvtimeval *aCreationTime);

// Sets the access and the modification time. Returns 0 or a file error code. Seconds of 32 bits are taken as
// they are given, see zvTime.h: a negative number is a time after January 2038.
// Each call leaks the normalised copy of the path, which is kept as it stands.
ZVOS_API int zvFile_SetModificationTime(const char *aPath, zvtimeval *aModificationTime);

// Renames a file, replacing one that has the new name. Returns 0 or a file error code.
ZVOS_API int zvFile_Rename(const char *aPath, const char *aNewFilePath);

// Cuts or extends a file, its path taken as it stands. Returns 0 or -1.
ZVOS_API int zvFile_SetSize(const char *aPath, zvFileOffset aNewSize);

#endif
