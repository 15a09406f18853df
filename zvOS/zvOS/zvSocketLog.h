// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_socketlog Traffic files
/// Traffic files: every byte that a socket sends or receives, copied into a text file named after the peer,
/// for debugging protocols.
///
/// Active while debug messages of both modules TCP (21) and SOCKETTRAFFIC (55) are wanted. The file is
/// "socket/192.168.1.20-8080-[17].txt" (peer's address and port, descriptor) in the working directory, and is
/// written only where it exists already: create those that you want. Both directions are appended in the
/// order of the calls, without marks; `"\r\nERROR"` stands for a transfer of length -1 and `"\r\n*** CLOSED
/// ***\r\n"` for the close. The file is opened and closed around each transfer, so it is complete at any
/// moment; this is slow. It may be a named pipe that can be opened for reading, too; what its reader does not
/// take in time, or at all, is dropped.
///
/// A hundred sockets at most; descriptor 0 cannot be logged.
///
/// @threads any thread may call any function. A lock is held meanwhile, also while messages are logged: a log
///   provider that sends its records over logged sockets must not do so under a lock of its own
/// @signals no
/// @fork the child has a list of its own, as it was; it must not be used when another thread was in here at
///   the fork
/// @errno may change
/// @logs a socket that is not in the list, and a full list, as errors of module SOCKETTRAFFIC (55)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvSocketLog_h
#define zvOS_zvSocketLog_h

#include <zvOS/zvSocketTypes.h>

/// Enters a socket. The other functions assert when no socket was ever entered.
/// @param aSocket the socket
ZVOS_API void _Log_Buffer_Open(zvSocket aSocket);

/// Appends what was sent to the socket's file; its name is made at the first transfer with a known peer.
/// @param aSocket the socket
/// @param aBuffer the bytes
/// @param aLength how many; -1 as an unsigned number stands for an error
ZVOS_API void _Log_Buffer_Send(zvSocket aSocket, const void *aBuffer, uint32 aLength);

/// Appends what was received to the socket's file; its name is made at the first transfer with a known peer.
/// @param aSocket the socket
/// @param aBuffer the bytes
/// @param aLength how many; -1 as an unsigned number stands for an error
ZVOS_API void _Log_Buffer_Data(zvSocket aSocket, const void *aBuffer, uint32 aLength);

/// Appends the mark of the close, if anything was logged, and takes the socket out.
/// @param aSocket the socket
ZVOS_API void _Log_Buffer_Close(zvSocket aSocket);

/// Non-zero when both modules want messages of that level.
#define LOG_BUFFER_WILLLOG(level) \
  (ZVLOG_WILL_LOG(level, ZVLOG_M_TCP) && ZVLOG_WILL_LOG(level, ZVLOG_M_SOCKETTRAFFIC))

///@{
/// The forms that callers use: they call only when traffic is wanted.
#define LOG_BUFFER_WHEN_WANTED(call)                              \
  do {                                                            \
    if (LOG_BUFFER_WILLLOG(ZVLOGLEVEL_DEBUG)) _Log_Buffer_##call; \
  } while (0)
#define LOG_BUFFER_OPEN(socket)                 LOG_BUFFER_WHEN_WANTED(Open(socket))
#define LOG_BUFFER_SEND(socket, buffer, length) LOG_BUFFER_WHEN_WANTED(Send(socket, buffer, length))
#define LOG_BUFFER(socket, buffer, length)      LOG_BUFFER_WHEN_WANTED(Data(socket, buffer, length))
#define LOG_BUFFER_CLOSE(socket)                LOG_BUFFER_WHEN_WANTED(Close(socket))
///@}

/// @}

#endif
