// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The environment, and programs in the background. The environment is the process's: as with getenv() and
// setenv(), no thread may read it while another one changes it. Messages go to module ZVOS (7).
#ifndef zvOS_zvPlatform_h
#define zvOS_zvPlatform_h

#include <zvOS/zvDefines.h>

// A new text with the value of an environment variable, or NULL when it is not set or its name is NULL.
ZVOS_API char *zvPlatform_getenv(const char *anEnvVarName);

// Sets an environment variable. Returns 0, or -1 (logged), also for a NULL.
ZVOS_API int zvPlatform_setenv(const char *anEnvVarName, const char *aValue);

// Has the shell start a program in the background, with a parameter text, which may be NULL. Returns 0
// at once, or what system() answered (logged); a program that cannot be started is the shell's affair.
// The path is put in double quotes, quotes in it are not escaped; the parameter goes to the shell as it
// stands.
//
// Of our descriptors the program gets the standard outputs (its input is empty) and both ends of
// zvPipe_Pair, and none of the others that the library opened. One that it is meant to have is handed on
// deliberately, with fcntl(aDescriptor, F_SETFD, 0) before the call; every program that is started gets
// it until FD_CLOEXEC is put back.
// In a process that has made a pipe of zvPipe.h the program ignores SIGPIPE.
ZVOS_API int zvPlatform_Launch(const char *anApplicationFullPath, const char *aParameter);

#endif
