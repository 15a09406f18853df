// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_console Console
/// A raw console: single keys from the terminal on standard input.
///
/// ```c
/// zvConsolePlatform_Disable(ICANON | ECHO);  // keys come without Enter, and unseen
/// if (zvConsolePlatform_IsCharAvailable(stdin)) theKey = zvConsolePlatform_GetChar(stdin);
/// zvConsolePlatform_Enable(ICANON | ECHO);   // before the program ends
/// ```
///
/// The settings belong to the terminal: who changes them puts them back, also when it crashes.
///
/// @threads any thread may call any function; settings are read, changed and written: two threads, or two
///   processes of a terminal, that do so at a time may undo each other's change
/// @signals all but zvConsolePlatform_Flush
/// @fork yes; the terminal is the same one
/// @errno may change; nothing is reported in it
/// @logs nothing
/// @since 1.0.0
/// @{
#ifndef zvOS_zvConsolePlatform_h
#define zvOS_zvConsolePlatform_h

#include <stdio.h>

#include <zvOS/zvDefines.h>

/// Modes of zvConsolePlatform_OpenConsole.
enum { kzvConsoleMode_Default = 0, kzvConsoleMode_NoPassThrough = 1, kzvConsoleMode_NoConsoleForGUI = 2 };

/// Sets local-mode flags of standard input. That is so whatever stream the console reads; and a read returns
/// from then on as soon as there is one byte. Failures are ignored.
/// @param aValue the flags: ICANON, ECHO and so on, see termios
ZVOS_API void zvConsolePlatform_Enable(int aValue);

/// Clears local-mode flags of standard input. That is so whatever stream the console reads; and a read
/// returns from then on as soon as there is one byte. Failures are ignored.
/// @param aValue the flags: ICANON, ECHO and so on, see termios
ZVOS_API void zvConsolePlatform_Disable(int aValue);

/// Does nothing.
/// @param aMode not looked at
ZVOS_API void zvConsolePlatform_OpenConsole(int aMode);

/// Waits for a byte of the stream's descriptor, past the stream's buffer.
/// @param anInput the stream
/// @return the byte; 0 at the end of the input, on failure, and for a NUL byte
ZVOS_API uint8 zvConsolePlatform_GetChar(FILE *anInput);

/// Whether a byte, or the end of the input, can be read without waiting.
/// @param anInput the stream, whose descriptor is below FD_SETSIZE (1024)
/// @return 1 when it can, else 0
ZVOS_API int zvConsolePlatform_IsCharAvailable(FILE *anInput);

/// Hands what was written to a stream to the system.
/// @param aFile the stream; NULL stands for all
ZVOS_API void zvConsolePlatform_Flush(FILE *aFile);

/// @}

#endif
