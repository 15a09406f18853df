// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_process Commands
/// A shell command with a pipe to or from it. Reads do not wait.
///
/// ```c
/// zvProcessFD theProcess;
/// if (zvProcess_Open("ls -l", zvProcessOpenMode_Read, &theProcess) != 0) return;
/// int theCount;
/// while ((theCount = zvProcess_Read(theProcess, theBuffer, sizeof(theBuffer))) >= 0) {
///   if (theCount == 0) zvThread_Sleep(10);  // nothing yet
///   else fwrite(theBuffer, 1, (size_t)theCount, stdout);
/// }
/// zvProcess_Close(theProcess);
/// ```
///
/// @threads one thread uses a process at a time; several may have one each
/// @signals no
/// @fork a process is not to be used in the child: it is the parent's child. Others can be opened there, when
///   no other thread was opening or closing one at the fork
/// @errno after a failed system call what the system said; for a NULL, and without a process, it says nothing
/// @logs nothing
/// @since 1.0.0
/// @{
#ifndef zvOS_zvProcess_h
#define zvOS_zvProcess_h

#include <zvOS/zvDefines.h>

/// In which direction the pipe leads.
typedef int zvProcessOpenMode;

/// Modes of zvProcess_Open.
enum {
  zvProcessOpenMode_Read = 0x01,  ///< read what the command prints
  zvProcessOpenMode_Write = 0x02  ///< write what the command reads
};

/// What the functions answer.
enum {
  kzvProcessStatus_Success = 0,
  kzvProcessStatus_InvalidFD = -1,
  kzvProcessStatus_Timeout = -2,  ///< nothing here returns it
  kzvProcessStatus_EOS = -3       ///< end of the output
};

/// A command that was started.
typedef struct zvProcessFD_t *zvProcessFD;

/// Starts a command. Programs that the process starts, later commands among them, do not inherit our end of
/// the pipe.
///
/// The command is given to `/bin/sh -c`, and runs with our working directory, user and environment, as they
/// are at the call. The pipe takes the place of its standard output (reading) or standard input (writing);
/// the other standard descriptors are ours: its standard error goes where ours does, and is not read.
/// Redirect it in the command (`"ls -l 2>&1"`).
///
/// Of our other descriptors it gets those that the program itself opened without close-on-exec and, of those
/// that the library opened, both ends of zvPipe_Pair, and no other. One that it is meant to have is handed on
/// deliberately, before:
///
/// ```c
/// fcntl(theSocket, F_SETFD, 0);
/// ```
///
/// and then every program that is started gets it, until `fcntl(theSocket, F_SETFD, FD_CLOEXEC)`. In a
/// process that has made a pipe of zvPipe.h the command ignores SIGPIPE.
/// @param aProcessPath the command, for the shell
/// @param anOpenMode zvProcessOpenMode_Write writes; any other reads
/// @param aFD the process is stored here, which the caller gives to zvProcess_Close
/// @return 0, or -1 with `*aFD` untouched: for a NULL, without memory and when no process can be made. A
///   command that cannot be run is the shell's affair: it ends with status 127
/// @threads any, while no other thread changes the environment
ZVOS_API int zvProcess_Open(const char *aProcessPath, zvProcessOpenMode anOpenMode, zvProcessFD *aFD);

/// Closes the pipe and waits for the command to end.
/// @param aFD the process, closed from then on; NULL and one that is closed are ignored
/// @return 0; the command's status is dropped
/// @odd the record is not released, which is kept as it stands: later calls find the process closed
ZVOS_API int zvProcess_Close(zvProcessFD aFD);

/// Reads what the command printed, up to a number of bytes.
/// @param aFD the process
/// @param aBuffer room for aCount bytes
/// @param aCount how many at most, more than none
/// @return their count; 0 when there are none yet; kzvProcessStatus_EOS at the end of the output (and for an
///   aCount of 0); kzvProcessStatus_InvalidFD on failure
ZVOS_API int zvProcess_Read(zvProcessFD aFD, void *aBuffer, uint32 aCount);

/// Hands over bytes for the command. They go into a buffer and reach the command when that is full or the
/// process is closed. Nothing waits for the command: when it reads more slowly than it is written to, bytes
/// that were taken are lost when the process is closed, and nobody is told; a command that has ended raises
/// SIGPIPE, as any pipe does. Where every byte counts, write no more than a pipe holds (64 KiB).
/// @param aFD the process
/// @param aBuffer the bytes
/// @param aCount how many
/// @return the count taken, or -1 without a process
ZVOS_API int zvProcess_Write(zvProcessFD aFD, const void *aBuffer, uint32 aCount);

/// Nothing is known about the process.
/// @param aFD not looked at
/// @return 0
/// @signals yes
ZVOS_API int zvProcess_IsAlive(zvProcessFD aFD);

/// Not implemented.
/// @param aProcessPathName not looked at
/// @return 0
/// @logs an assertion
ZVOS_API int zvProcess_IsRunning(const char *aProcessPathName);

/// Not implemented.
/// @param aProcessPathName not looked at
/// @return 0
/// @logs an assertion
ZVOS_API int zvProcess_Kill(const char *aProcessPathName);

/// @}

#endif
