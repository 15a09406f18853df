// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A raw console: single keys from the terminal on standard input.
//
//   zvConsolePlatform_Disable(ICANON | ECHO);          // keys come without Enter, and unseen
//   if (zvConsolePlatform_IsCharAvailable(stdin)) theKey = zvConsolePlatform_GetChar(stdin);
//   zvConsolePlatform_Enable(ICANON | ECHO);           // before the program ends
//
// The settings belong to the terminal: who changes them puts them back, also when it crashes. They are read,
// changed and written: two threads, or two processes of a terminal, that do so at a time may undo each
// other's change. Nothing is logged.
#ifndef zvOS_zvConsolePlatform_h
#define zvOS_zvConsolePlatform_h

#include <stdio.h>

#include <zvOS/zvDefines.h>

enum { kzvConsoleMode_Default = 0, kzvConsoleMode_NoPassThrough = 1, kzvConsoleMode_NoConsoleForGUI = 2 };

// Set and clear local-mode flags (ICANON, ECHO, ...: see termios) of standard input, whatever stream the
// console reads, and let a read return as soon as there is one byte. Failures are ignored.
ZVOS_API void zvConsolePlatform_Enable(int aValue);
ZVOS_API void zvConsolePlatform_Disable(int aValue);

// Does nothing.
ZVOS_API void zvConsolePlatform_OpenConsole(int aMode);

// Waits for a byte of the stream's descriptor, past the stream's buffer. 0 at the end of the input, on
// failure, and for a NUL byte.
ZVOS_API uint8 zvConsolePlatform_GetChar(FILE *anInput);

// 1 when a byte, or the end of the input, can be read without waiting, else 0.
ZVOS_API int zvConsolePlatform_IsCharAvailable(FILE *anInput);

// Hands what was written to the stream to the system.
ZVOS_API void zvConsolePlatform_Flush(FILE *aFile);

#endif
