// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_debug Diagnosis
/// Where the process is, and which build it runs.
///
/// @since 1.0.0
/// @{
#ifndef zvOS_zvDebug_h
#define zvOS_zvDebug_h

#include <zvOS/zvDefines.h>

/// Writes the call stack of the calling thread to the log, to standard output and to a file. The file is
/// `/tmp/backtrace_<pid>.txt`, which is emptied first. Frame 00 is this function, and at most 64 are told. A
/// stack of fewer than 6 frames is taken for damaged and followed by 256 words of it, from this function's
/// own frame towards the callers; in the handler of a fatal signal they go on on the stack of the interrupted
/// code. A file that cannot be made or written is done without.
/// @param afMemoryIsCorrupted non-zero: nothing that allocates memory is called, and only the file's first
///   and last lines are written
/// @threads one at a time: meant for the moment a process dies, threads that call it together disturb each
///   other's result
/// @signals yes, that is what it is for
/// @fork yes; the child's number is in the name of the file
/// @errno may change
/// @logs the trace as errors, the name of the file as information, of module DEFAULT (0)
ZVOS_API void zvDebug_BackTraceCurrent(int afMemoryIsCorrupted);

/// Formats the call stack of the calling thread into a buffer. There is a line per frame, and the text is
/// terminated within the length.
/// @param anOutputBuffer the buffer
/// @param anOutputBufferLen bytes of room
/// @return the count of characters, 0 on failure; a result of anOutputBufferLen or more means that the text
///   was cut
/// @threads any
/// @signals no: memory is allocated
/// @fork yes, when no other thread was in the system's loader at the fork
/// @errno says nothing
/// @logs nothing
ZVOS_API int zvDebug_GetBackTrace(char *anOutputBuffer, unsigned int anOutputBufferLen);

/// Logs which build of a library the process runs. That is "Library version: r1234 (/usr/lib/libzvOS.so.1)",
/// the number being the revision of its stamp (zvPath_GetBinaryRevision), 0 without one; "Library version:
/// Unknown (Unable to find library path)" when no file holds the function. It is for libraries: a program
/// goes by the name that it was started by, under which its stamp may not be found.
///
/// ```c
/// zvDebug_LogLibraryInfo((void *)zvMutex_New);  // which libzvOS is this?
/// ```
/// @param aFunction any function of the library, cast; it is not called
/// @threads any
/// @signals no: memory is allocated and a file read
/// @fork yes, when no other thread was in the system's loader at the fork
/// @errno says nothing
/// @logs the line, as information of module DEFAULT (0)
ZVOS_API void zvDebug_LogLibraryInfo(void *aFunction);

/// For other platforms; does nothing here. zvLog_SetThreadName names a thread.
/// @param aThreadName not looked at
/// @threads any
/// @signals yes
/// @fork yes
/// @errno left alone
/// @logs nothing
ZVOS_API void zvDebug_SetThreadName(const char *aThreadName);

/// For other platforms; does nothing here.
/// @param aMessage not looked at
/// @threads any
/// @signals yes
/// @fork yes
/// @errno left alone
/// @logs nothing
ZVOS_API void zvDebug_Break(const char *aMessage);

/// @}

#endif
