// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_file Files
/// Files over descriptors, with portable open modes and error codes and 64-bit offsets.
///
/// ```c
/// zvFileFD theFile;
/// if (zvFile_Open("/var/lib/player/state", zvFileOpenMode_Read, 0, &theFile) != 0) return;
/// char theBytes[512];
/// int theCount = zvFile_Read(theFile, theBytes, sizeof(theBytes));
/// zvFile_Close(theFile);
/// ```
///
/// Every path goes through zvPath_Normalize (see zvPath.h), so a relative one counts from the folder of the
/// program; zvFile_SetSize alone takes its path as it stands. A path that is NULL is an invalid name.
///
/// Which `errno` gives which file error code: ENOENT kzvFileErrorNotFound, EEXIST kzvFileErrorAlreadyExists,
/// ENOSPC kzvFileErrorNoSpace, EROFS kzvFileErrorReadOnlyFileSystem, everything else kzvFileErrorUnknown.
///
/// @threads any thread may call any function, and none keeps state: functions on one descriptor are as safe
///   between threads as the system calls are, except zvFile_EndOfFile and zvFile_GetSize, which move the file
///   position and restore it
/// @signals functions on a descriptor, not those that take a path
/// @fork yes; a descriptor in the child shares its position with the parent's
/// @errno after a failed system call what the system said, also where a file error code is the result; it
///   says nothing where no system call was made: a refused mode, an invalid name, a NULL
/// @logs failures, as errors of module FILE (42) with the number of `errno`
/// @since 1.0.0
/// @{
#ifndef zvOS_zvFile_h
#define zvOS_zvFile_h

#include <zvOS/zvDefines.h>
#include <zvOS/zvTime.h>

/// Carries a descriptor: descriptor 3 is `(zvFileFD)3`.
typedef void *zvFileFD;

/// No descriptor.
#define kzvFileFDInvalid ((zvFileFD)-1)

/// A position or a size in bytes, also beyond 2 GiB.
typedef int64 zvFileOffset;

/// No position, no size.
#define kzvFileOffsetInvalid ((zvFileOffset)-1)

/// How a file is opened: a sum of the zvFileOpenMode_ values.
typedef int zvFileOpenMode;

/// Modes of zvFile_Open.
enum {
  zvFileOpenMode_Read = 0x01,
  zvFileOpenMode_Write = 0x02,
  zvFileOpenMode_ReadWrite = 0x03,
  zvFileOpenMode_Exclusive = 0x04,  ///< fail if the file exists; only with Create
  zvFileOpenMode_Append = 0x08,     ///< position at the end after opening; implies Write
  zvFileOpenMode_Create = 0x10,     ///< create if missing; not with Append
  zvFileOpenMode_Truncate = 0x20    ///< cut to no length; only when writing, not with Create and Exclusive
};

/// What zvFile_Access asks for.
typedef int zvFileAccessMode;

/// Modes of zvFile_Access.
enum { zvFileAccessMode_Read = 1, zvFileAccessMode_Write = 2, zvFileAccessMode_ReadWrite = 3 };

/// What an offset of zvFile_Seek counts from.
typedef int zvFileSeekMode;

/// Modes of zvFile_Seek.
enum { zvFileSeekMode_Begin = 0, zvFileSeekMode_Current = 1, zvFileSeekMode_End = 2 };

/// A set of attributes.
typedef uint32 zvFileAttributes;

/// Attributes of zvFile_HasAttribute.
enum { kzvFileAttribute_Hidden = 1 };

/// File error codes; 0 is success.
enum {
  kzvFileErrorUnknown = -1,
  kzvFileErrorReadOnlyFileSystem = -2,
  kzvFileErrorNotFound = -3,
  kzvFileErrorAlreadyExists = -4,
  kzvFileErrorNoSpace = -5
};

/// Opens a file. A new file gets permissions 0777 less the umask. Programs that the process starts do not
/// inherit the descriptor.
/// @param aPath the file
/// @param anOpenMode a sum of zvFileOpenMode_ values, Read or Write or Append among them
/// @param anAccessMode ignored
/// @param aFD the descriptor is stored here, which the caller gives to zvFile_Close
/// @return 0; or a file error code with `*aFD` untouched. Where the system refuses, by the cause, which
///   `errno` keeps: kzvFileErrorNotFound for ENOENT, kzvFileErrorAlreadyExists for EEXIST,
///   kzvFileErrorNoSpace for ENOSPC, kzvFileErrorReadOnlyFileSystem for EROFS, kzvFileErrorUnknown for
///   everything else; and kzvFileErrorUnknown for a refused mode, an invalid name and a NULL aFD
ZVOS_API int zvFile_Open(const char *aPath, zvFileOpenMode anOpenMode, int anAccessMode, zvFileFD *aFD);

/// Whether the process, by its real user, may access a file.
/// @param aPath the file
/// @param anAccessMode a sum of zvFileAccessMode_ values; 0 asks whether the path exists
/// @return 1 when it may, else 0 (logged) with the cause in `errno`
ZVOS_API int zvFile_Access(const char *aPath, zvFileAccessMode anAccessMode);

/// Closes the descriptor.
/// @param aFD the descriptor
/// @return 0 or a file error code
ZVOS_API int zvFile_Close(zvFileFD aFD);

/// Whether the position is at the end of the file. It is moved there and back.
/// @param aFD the descriptor of a file that has positions: not of a pipe or a terminal
/// @return 1 when it is, 0 when not, a file error code on failure
ZVOS_API int zvFile_EndOfFile(zvFileFD aFD);

/// Reads a number of bytes, fewer only at the end of the file. Interruptions by signals are gone over.
/// @param aFD the descriptor
/// @param aBuffer room for aCount bytes
/// @param aCount bytes to read; 2^31 or more reads nothing and returns 0
/// @return the count of bytes read, 0 at the end of the file; or a file error code, which tells nothing of
///   bytes already read
ZVOS_API int zvFile_Read(zvFileFD aFD, void *aBuffer, uint32 aCount);

/// Writes a number of bytes. Interruptions by signals are gone over.
/// @param aFD the descriptor
/// @param aBuffer the bytes
/// @param aCount how many; 2^31 or more writes nothing and returns 0
/// @return the count of bytes written; or a file error code, which tells nothing of bytes already written
ZVOS_API int zvFile_Write(zvFileFD aFD, const void *aBuffer, uint32 aCount);

/// Moves the position.
/// @param aFD the descriptor
/// @param anOffset bytes from where aSeekMode says; may be negative but for zvFileSeekMode_Begin
/// @param aSeekMode what the offset counts from; an unknown mode asserts and counts from the beginning
/// @return 0 or a file error code
ZVOS_API int zvFile_Seek(zvFileFD aFD, zvFileOffset anOffset, zvFileSeekMode aSeekMode);

/// Tells the position.
/// @param aFD the descriptor
/// @param aPosition bytes from the beginning are stored here; NULL asserts
/// @return 0, or a file error code with `*aPosition` untouched
ZVOS_API int zvFile_Tell(zvFileFD aFD, zvFileOffset *aPosition);

/// Cuts or extends the file and moves to its new end.
/// @param aFD the descriptor
/// @param aNewSize bytes
/// @return 0 or -1, see below
/// @odd returns 0 only when the low 32 bits of the new size are 0, as they are for size 0; for any other size
///   the file is changed, yet the result is -1 and an error is logged
ZVOS_API int zvFile_ChangeSize(zvFileFD aFD, zvFileOffset aNewSize);

/// Tells the size of the file. The position is moved to its end and back.
/// @param aFD the descriptor of a file that has positions
/// @param aSize bytes are stored here, #kzvFileOffsetInvalid on failure; NULL asserts
/// @return 0 or a file error code
ZVOS_API int zvFile_GetSize(zvFileFD aFD, zvFileOffset *aSize);

/// Hands what was written to the device and waits until that has it.
/// @param aFD the descriptor
/// @return 0 or a file error code
ZVOS_API int zvFile_Flush(zvFileFD aFD);

/// Removes a file.
/// @param aPath the file
/// @return 0, also when there is none, or a file error code
ZVOS_API int zvFile_Remove(const char *aPath);

/// Whether a file has an attribute. A file is hidden when its name begins with '.'; the file system is not
/// asked.
/// @param aPath the file
/// @param anAttribute kzvFileAttribute_Hidden; any other is logged and answered with 0
/// @return 1 when the file has it, else 0
ZVOS_API int zvFile_HasAttribute(const char *aPath, zvFileAttributes anAttribute);

/// Whether a regular file is there (links are followed).
/// @param aPath the file
/// @return 1 when it is, else 0
/// @logs an invalid name only
ZVOS_API int zvFile_Exists(const char *aPath);

/// Tells the times of a file in whole seconds. How to read seconds of 32 bits: zvTime.h.
/// @param aPath the file
/// @param aLastAccessTime stored here; may be NULL
/// @param aModificationTime stored here; may be NULL
/// @param aCreationTime the time of the last status change is stored here; may be NULL
/// @return 0, or a file error code with nothing stored
ZVOS_API int zvFile_GetTimes(const char *aPath, zvtimeval *aLastAccessTime, zvtimeval *aModificationTime,
                             zvtimeval *aCreationTime);

/// Sets the access and the modification time to one and the same. Seconds of 32 bits are taken as they are
/// given, see zvTime.h: a negative number is a time after January 2038.
/// @param aPath the file
/// @param aModificationTime seconds and microseconds since the epoch; NULL asserts
/// @return 0 or a file error code
/// @odd each call leaks the normalised copy of the path, which is kept as it stands; an invalid name is
///   logged with the text of zvFile_GetTimes
ZVOS_API int zvFile_SetModificationTime(const char *aPath, zvtimeval *aModificationTime);

/// Renames a file, replacing one that has the new name. Both lie in the same file system.
/// @param aPath the file
/// @param aNewFilePath its new name
/// @return 0 or a file error code
ZVOS_API int zvFile_Rename(const char *aPath, const char *aNewFilePath);

/// Cuts or extends a file.
/// @param aPath the file, taken as it stands: a relative path counts from the working directory
/// @param aNewSize bytes
/// @return 0 or -1 with the cause in `errno`
/// @signals yes
ZVOS_API int zvFile_SetSize(const char *aPath, zvFileOffset aNewSize);

/// @}

#endif
