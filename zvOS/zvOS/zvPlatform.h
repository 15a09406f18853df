// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_platform Environment
/// The environment, and programs in the background.
///
/// @threads the environment is the process's: as with getenv() and setenv(), no thread may read it while
///   another one changes it
/// @signals no
/// @fork yes, when no other thread was changing the environment at the fork; the child has one of its own
/// @errno after a failure what the system said
/// @logs failures, as errors of module ZVOS (7)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvPlatform_h
#define zvOS_zvPlatform_h

#include <zvOS/zvDefines.h>

/// The value of an environment variable.
/// @param anEnvVarName its name
/// @return a new text, which the caller releases with free(); NULL when it is not set, when its name is NULL,
///   and without memory
/// @errno says nothing
/// @logs nothing
ZVOS_API char *zvPlatform_getenv(const char *anEnvVarName);

/// Sets an environment variable.
/// @param anEnvVarName its name, neither empty nor with a '='
/// @param aValue its value; copied
/// @return 0, or -1 (logged), also for a NULL (EINVAL)
ZVOS_API int zvPlatform_setenv(const char *anEnvVarName, const char *aValue);

/// Has the shell start a program in the background. One that cannot be started is the shell's affair. The
/// path is put in double quotes, quotes in it are not escaped; the parameter goes to the shell as it stands.
///
/// Of our descriptors the program gets the standard outputs (its input is empty), both ends of zvPipe_Pair
/// and those that the program itself opened without close-on-exec, and none of the others that the library
/// opened. One that it is meant to have is handed on deliberately, with `fcntl(aDescriptor, F_SETFD, 0)`
/// before the call; every program that is started gets it until FD_CLOEXEC is put back. In a process that has
/// made a pipe of zvPipe.h the program ignores SIGPIPE.
///
/// ```c
/// zvPlatform_Launch("/usr/bin/player", "--song 'a b.mp3' >/dev/null");
/// ```
/// @param anApplicationFullPath the program
/// @param aParameter behind it on the command line; may be NULL
/// @return 0 at once; what system() answered (logged); -1 for a NULL path and without memory (logged)
/// @errno says nothing
/// @logs a failure as an error, a success as a debug message of module ZVOS (7)
ZVOS_API int zvPlatform_Launch(const char *anApplicationFullPath, const char *aParameter);

/// @}

#endif
