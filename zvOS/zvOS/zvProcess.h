// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A shell command with a pipe to or from it. Reads do not wait. Nothing is logged; one thread uses a
// process at a time.
//
//   zvProcessFD theProcess;
//   if (zvProcess_Open("ls -l", zvProcessOpenMode_Read, &theProcess) != 0) return;
//   int theCount;
//   while ((theCount = zvProcess_Read(theProcess, theBuffer, sizeof(theBuffer))) >= 0) {
//     if (theCount == 0) zvThread_Sleep(10);  // nothing yet
//     else fwrite(theBuffer, 1, theCount, stdout);
//   }
//   zvProcess_Close(theProcess);
#ifndef zvOS_zvProcess_h
#define zvOS_zvProcess_h

#include <zvOS/zvDefines.h>

typedef int zvProcessOpenMode;
enum {
  zvProcessOpenMode_Read = 0x01,  // read what the command prints
  zvProcessOpenMode_Write = 0x02  // write what the command reads
};

enum {
  kzvProcessStatus_Success = 0,
  kzvProcessStatus_InvalidFD = -1,
  kzvProcessStatus_Timeout = -2,  // nothing here returns it
  kzvProcessStatus_EOS = -3       // end of the output
};

typedef struct zvProcessFD_t *zvProcessFD;

// Starts a command. Any mode but zvProcessOpenMode_Write reads. Returns 0 with the process in *aFD, or -1
// with *aFD untouched.
// Programs that the process starts, later commands among them, do not inherit our end of the pipe.
//
// Of our descriptors the command gets the standard ones and both ends of zvPipe_Pair, and none of the
// others that the library opened. One that it is meant to have is handed on deliberately, before:
//
//   fcntl(theSocket, F_SETFD, 0);
//
// and then every program that is started gets it, until fcntl(theSocket, F_SETFD, FD_CLOEXEC).
// In a process that has made a pipe of zvPipe.h the command ignores SIGPIPE.
ZVOS_API int zvProcess_Open(const char *aProcessPath, zvProcessOpenMode anOpenMode, zvProcessFD *aFD);

// Waits for the command to end. Returns 0, and drops the command's status. The record is not released,
// which is kept as it stands: later calls find the process closed.
ZVOS_API int zvProcess_Close(zvProcessFD aFD);

// Reads up to aCount bytes, more than none. Returns their count, 0 when there are none yet,
// kzvProcessStatus_EOS at the end of the output (and for an aCount of 0), kzvProcessStatus_InvalidFD on
// failure.
ZVOS_API int zvProcess_Read(zvProcessFD aFD, void *aBuffer, uint32 aCount);

// Hands over aCount bytes, which go into a buffer and reach the command when that is full or the process
// is closed. Returns the count taken, or -1 without a process. Nothing waits for the command: when it
// reads more slowly than it is written to, bytes that were taken are lost when the process is closed, and
// nobody is told; a command that has ended raises SIGPIPE, as any pipe does. Where every byte counts, write
// no more than a pipe holds (64 KiB).
ZVOS_API int zvProcess_Write(zvProcessFD aFD, const void *aBuffer, uint32 aCount);

// Always 0: nothing is known about the process.
ZVOS_API int zvProcess_IsAlive(zvProcessFD aFD);

// Not implemented: both assert and return 0.
ZVOS_API int zvProcess_IsRunning(const char *aProcessPathName);
ZVOS_API int zvProcess_Kill(const char *aProcessPathName);

#endif
