// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Where the process is, and which build it runs.
#ifndef zvOS_zvDebug_h
#define zvOS_zvDebug_h

#include <zvOS/zvDefines.h>

// Writes the call stack of the calling thread to the log, to standard output and to the file
// "/tmp/backtrace_<pid>.txt", which is emptied first. Frame 00 is this function, and at most 64 are
// told. With afMemoryIsCorrupted non-zero nothing that allocates memory is called, and only the file's
// first and last lines are written. A stack of fewer than 6 frames is taken for damaged and followed by
// 256 words of it, from this function's own frame towards the callers; in the handler of a fatal signal
// they go on on the stack of the interrupted code. A file that cannot be made or written is done
// without. Meant for the moment a process dies: threads that call it at the same time disturb each
// other's result.
ZVOS_API void zvDebug_BackTraceCurrent(int afMemoryIsCorrupted);

// Formats the call stack of the calling thread, a line per frame, into the buffer, terminated
// within its length. Returns the count of characters, 0 on failure; a result of anOutputBufferLen
// or more means that the text was cut. Any thread may call it.
ZVOS_API int zvDebug_GetBackTrace(char *anOutputBuffer, unsigned int anOutputBufferLen);

// Logs the revision and the path of the library that holds the function, at info level.
ZVOS_API void zvDebug_LogLibraryInfo(void *aFunction);

// For other platforms; they do nothing here.
ZVOS_API void zvDebug_SetThreadName(const char *aThreadName);
ZVOS_API void zvDebug_Break(const char *aMessage);

#endif
