// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_sockettracker The table of sockets
/// The live table of sockets, for diagnosis: what the `_Debug` twins opened or accepted, with state, ports
/// and byte counts, written to the log at every change.
///
/// ```text
/// SOCKETS STATUS: 2 in use
///     ID=    4  OUT  S=00000000  R=00000000  P=50123 RP=    0 Listening  (Control port)
///   * ID=    5   IN  S=00000120  R=00004096  P=50123 RP=41810 Connected  (Control client)
/// ```
///
/// The table has 50 places and is fed only while debug messages of module SOCKETTRACKER (53) are wanted; a
/// socket opened before that, or when the table is full, is not in it, and calls for unknown sockets do
/// nothing. Descriptor 0 cannot be tracked.
///
/// @threads any thread may call any function; a lock keeps the table whole
/// @signals no
/// @fork the child has a table of its own, as it was; it must not be used when another thread was in here at
///   the fork
/// @errno may change
/// @logs the table, as debug messages of module SOCKETTRACKER (53)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvSocketTracker_h
#define zvOS_zvSocketTracker_h

#include <zvOS/zvSocketTypes.h>

/// Enters a socket as created. A socket that is in the table already asserts and is entered again.
/// @param aSocketID the socket
/// @param afIn 1 for one that was accepted, else 0
/// @param aDebugContext what the table shows it as; kept as a pointer, so a constant text
ZVOS_API void zvSocketTracker_Add(zvSocket aSocketID, int afIn, const char *aDebugContext);

/// Marks a socket as connected and looks up its ports.
/// @param aSocketID the socket
ZVOS_API void zvSocketTracker_Connect(zvSocket aSocketID);

/// Marks a socket as listening and looks up its ports.
/// @param aSocketID the socket
ZVOS_API void zvSocketTracker_Listen(zvSocket aSocketID);

/// Shows a socket as closed and takes it out.
/// @param aSocketID the socket
ZVOS_API void zvSocketTracker_Remove(zvSocket aSocketID);

/// Adds to the count of bytes sent, which wraps at 2^32.
/// @param aSocketID the socket
/// @param aCount bytes
/// @logs nothing
ZVOS_API void zvSocketTracker_Send(zvSocket aSocketID, int aCount);

/// Adds to the count of bytes received, which wraps at 2^32.
/// @param aSocketID the socket
/// @param aCount bytes
/// @logs nothing
ZVOS_API void zvSocketTracker_Recv(zvSocket aSocketID, int aCount);

/// Writes the table.
ZVOS_API void zvSocketTracker_Dump(void);

///@{
/// The forms that callers use: they call only when the log wants the table.
#define SOCKETTRACKER_WHEN_WANTED(call)                                                  \
  do {                                                                                   \
    if (ZVLOG_WILL_LOG(ZVLOGLEVEL_DEBUG, ZVLOG_M_SOCKETTRACKER)) zvSocketTracker_##call; \
  } while (0)
#define SOCKETTRACKER_ADD(socket, in, context) SOCKETTRACKER_WHEN_WANTED(Add(socket, in, context))
#define SOCKETTRACKER_REMOVE(socket)           SOCKETTRACKER_WHEN_WANTED(Remove(socket))
#define SOCKETTRACKER_CONNECT(socket)          SOCKETTRACKER_WHEN_WANTED(Connect(socket))
#define SOCKETTRACKER_LISTEN(socket)           SOCKETTRACKER_WHEN_WANTED(Listen(socket))
#define SOCKETTRACKER_SEND(socket, count)      SOCKETTRACKER_WHEN_WANTED(Send(socket, count))
#define SOCKETTRACKER_RECV(socket, count)      SOCKETTRACKER_WHEN_WANTED(Recv(socket, count))
#define SOCKETTRACKER_DUMP()                   SOCKETTRACKER_WHEN_WANTED(Dump())
///@}

/// @}

#endif
