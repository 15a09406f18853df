// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_socket Sockets
/// Sockets: opening, binding, listening, accepting, connecting, sending, receiving, closing. The layer keeps
/// no state: a socket is the system's descriptor, and the last error is `errno`. No call must come first (see
/// zvSocket_Init).
///
/// ```c
/// zvSocket theSocket = zvSocketOpen(AF_INET, SOCK_STREAM, 0, "Player control");
/// if (theSocket == kzvSocketInvalid) return;
/// if (zvSocketConnect(theSocket, theAddress, sizeof(*theAddress), "Player control") != 0) GiveUp(theSocket);
/// zvSocketClose(theSocket, "Player control");
/// ```
///
/// **Twins.** Every operation exists twice. The `_NoDebug` twin makes the system call and logs nothing. The
/// `_Debug` twin takes one more argument, a label that names the call site, and logs what happened with the
/// label at the end of the message; with the log at debug level it also feeds the socket table
/// (zvSocketTracker.h) and the traffic files (zvSocketLog.h). With the log below debug level a successful
/// transfer through a `_Debug` twin costs one test more than through its sister, and no operation logs, locks
/// or allocates anything. A macro under the plain name stands for the `_Debug` twin, and is what callers
/// normally write. The label is a constant text: the socket table keeps the pointer, not a copy.
///
/// Unless said otherwise a function returns the system call's own result: 0 or a count on success, -1
/// (#kzvSocketInvalid from a call that makes a socket) on failure with the cause in `errno`, read by
/// zvSocketGetLastError. Using #kzvSocketInvalid is logged by the twins that say so, not prevented: the
/// system then answers EBADF.
///
/// Options, datagrams, addresses: zvSocketOptions.h, zvSocketDatagram.h, zvSocketAddress.h, which this header
/// includes.
///
/// @threads any thread may call any function, also several on one socket, as the system allows it
/// @signals the `_NoDebug` twins, which are one system call each; the `_Debug` twins not, since with the log
///   at debug level they lock and allocate
/// @fork yes; a socket in the child is the same one as the parent's, and stays open until both have closed it
/// @errno after a failure the cause. A `_Debug` twin leaves there, whatever the log does, the error, and 0
///   when it succeeds; send, receive and RecvAvailable leave what the system call left
/// @logs `_NoDebug` twins nothing. `_Debug` twins failures as errors of module TCP (21) and successes as
///   debug messages; send and receive both as debug messages of module TCPRW (22)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvSocket_h
#define zvOS_zvSocket_h

#include <zvOS/zvSocketAddress.h>
#include <zvOS/zvSocketDatagram.h>
#include <zvOS/zvSocketOptions.h>
#include <zvOS/zvSocketTypes.h>

// ---- Last error ----

/// The calling thread's last error: `errno`.
/// @return the number of the error
/// @signals yes
/// @errno left alone
/// @logs nothing
ZVOS_API int zvSocketGetLastError(void);

/// Sets the calling thread's last error.
/// @param anError a number for `errno`
/// @signals yes
/// @errno becomes the argument
/// @logs nothing
ZVOS_API void zvSocketSetLastError(int anError);

/// Whether the last error is EAGAIN (EWOULDBLOCK is the same number).
/// @return 1 when it is, else 0
/// @signals yes
/// @errno left alone
/// @logs nothing
ZVOS_API int zvSocketLastErrorIsWouldBlock(void);

/// Whether the last error is ECONNRESET.
/// @return 1 when it is, else 0
/// @signals yes
/// @errno left alone
/// @logs nothing
ZVOS_API int zvSocketLastErrorIsConnectionReset(void);

// ---- Life of a socket ----

/// Makes a socket. Programs that the process starts do not inherit it.
/// @param anAF the address family, AF_INET
/// @param aType SOCK_STREAM, SOCK_DGRAM or SOCK_RAW; any other asserts and is tried
/// @param aProtocol 0 stands for TCP with SOCK_STREAM and, raw sockets included, for UDP otherwise
/// @return the socket, which the caller closes with zvSocketClose; #kzvSocketInvalid on failure
ZVOS_API zvSocket zvSocketOpen_NoDebug(int anAF, int aType, int aProtocol);

/// The twin of zvSocketOpen_NoDebug that logs: makes a socket.
/// @param anAF the address family, AF_INET
/// @param aType SOCK_STREAM, SOCK_DGRAM or SOCK_RAW; any other asserts and is tried
/// @param aProtocol 0 stands for TCP with SOCK_STREAM and, raw sockets included, for UDP otherwise
/// @param aDebugContext a constant text that names the call site
/// @param afNoDebug non-zero keeps the socket out of the socket table, the traffic files and the log of
///   successes
/// @return the socket, which the caller closes with zvSocketClose; #kzvSocketInvalid on failure
ZVOS_API zvSocket zvSocketOpen_Debug(int anAF, int aType, int aProtocol, const char *aDebugContext,
                                     int afNoDebug);
/// @plain{zvSocketOpen_Debug}
#define zvSocketOpen(family, type, protocol, context) zvSocketOpen_Debug(family, type, protocol, context, 0)

/// Gives the socket a local address.
/// @param aSocket the socket; #kzvSocketInvalid is logged
/// @param aSockAddr the address, with address and port in network byte order
/// @param anAddrLen its length in bytes
/// @return 0, or -1 with the cause in `errno` (EADDRINUSE: somebody has the port)
ZVOS_API int zvSocketBind_NoDebug(zvSocket aSocket, struct sockaddr *aSockAddr, socklen_t anAddrLen);
/// @twin{zvSocketBind_NoDebug}
ZVOS_API int zvSocketBind_Debug(zvSocket aSocket, struct sockaddr *aSockAddr, socklen_t anAddrLen,
                                const char *aDebugContext);
/// @plain{zvSocketBind_Debug}
#define zvSocketBind(socket, address, length, context) zvSocketBind_Debug(socket, address, length, context)

/// Begins to wait for connections.
/// @param aSocket a bound stream socket; #kzvSocketInvalid is logged
/// @param aBackLog how many connections the system queues
/// @return 0, or -1 with the cause in `errno`
ZVOS_API int zvSocketListen_NoDebug(zvSocket aSocket, int aBackLog);
/// @twin{zvSocketListen_NoDebug}
ZVOS_API int zvSocketListen_Debug(zvSocket aSocket, int aBackLog, const char *aDebugContext);
/// @plain{zvSocketListen_Debug}
#define zvSocketListen(socket, backlog, context) zvSocketListen_Debug(socket, backlog, context)

/// Takes the next connection. On a non-blocking socket with nothing to accept it answers #kzvSocketInvalid
/// and EAGAIN, which is not logged. Programs that the process starts do not inherit the new socket.
/// @param aSocket a socket that listens; #kzvSocketInvalid is logged
/// @param aSockAddr the peer's address is stored here, in network byte order
/// @param anAddrLen says on entry how many bytes of room there are, becomes the length of the address
/// @return the new socket, which the caller closes with zvSocketClose; #kzvSocketInvalid on failure
ZVOS_API zvSocket zvSocketAccept_NoDebug(zvSocket aSocket, struct sockaddr *aSockAddr, socklen_t *anAddrLen);
/// @twin{zvSocketAccept_NoDebug}
ZVOS_API zvSocket zvSocketAccept_Debug(zvSocket aSocket, struct sockaddr *aSockAddr, socklen_t *anAddrLen,
                                       const char *aDebugContext);
/// @plain{zvSocketAccept_Debug}
#define zvSocketAccept(socket, address, length, context) \
  zvSocketAccept_Debug(socket, address, length, context)

/// Connects. On a non-blocking socket a connection still in progress (EINPROGRESS) counts as success; one
/// refused with EAGAIN stays -1 and is not logged.
/// @param aSocket the socket
/// @param aSockAddr the address to connect to, with address and port in network byte order
/// @param anAddrLen its length in bytes
/// @return 0 when connected or in progress, or -1 with the cause in `errno`
/// @errno after `_Debug`: 0 when connected or in progress, else the error. An EAGAIN from before the call
///   counts as would-block and stays
ZVOS_API int zvSocketConnect_NoDebug(zvSocket aSocket, struct sockaddr *aSockAddr, socklen_t anAddrLen);
/// @twin{zvSocketConnect_NoDebug}
ZVOS_API int zvSocketConnect_Debug(zvSocket aSocket, struct sockaddr *aSockAddr, socklen_t anAddrLen,
                                   const char *aDebugContext);
/// @plain{zvSocketConnect_Debug}
#define zvSocketConnect(socket, address, length, context) \
  zvSocketConnect_Debug(socket, address, length, context)

/// Does nothing. There is no `_Debug` twin: the macro drops the label.
/// @param aSocket not looked at
/// @param aSockAddr not looked at
/// @param anAddrLen not looked at
/// @return 0
/// @signals yes
/// @errno left alone
/// @logs nothing
ZVOS_API int zvSocketConnectUnreachable_NoDebug(zvSocket aSocket, struct sockaddr *aSockAddr,
                                                socklen_t anAddrLen);

/// zvSocketConnectUnreachable_NoDebug under the plain name, without the label.
#define zvSocketConnectUnreachable(socket, address, length, context) \
  zvSocketConnectUnreachable_NoDebug(socket, address, length)

/// Sends up to a number of bytes. A peer that is gone gives EPIPE and no signal.
/// @param aSocket a connected socket
/// @param aBuffer the bytes
/// @param aLength how many, not negative
/// @param aFlags flags of send(); MSG_NOSIGNAL is always added
/// @return the count of bytes taken, which may be fewer, or -1 with the cause in `errno` (EAGAIN: nothing can
///   be taken now)
/// @errno after `_Debug`: the error, or as before the call
/// @logs the `_Debug` twin: success and failure as debug messages of module TCPRW (22); the socket table
///   counts aLength, the traffic file gets the bytes taken
ZVOS_API int zvSocketSend_NoDebug(zvSocket aSocket, const char *aBuffer, int aLength, int aFlags);
/// @twin{zvSocketSend_NoDebug}
ZVOS_API int zvSocketSend_Debug(zvSocket aSocket, const char *aBuffer, int aLength, int aFlags,
                                const char *aDebugContext);
/// @plain{zvSocketSend_Debug}
#define zvSocketSend(socket, buffer, length, flags, context) \
  zvSocketSend_Debug(socket, buffer, length, flags, context)

/// Receives up to a number of bytes.
/// @param aSocket a connected socket
/// @param aBuffer room for aLength bytes
/// @param aLength how many at most, not negative
/// @param aFlags flags of recv()
/// @return the count of bytes, 0 when the peer has closed in order, or -1 with the cause in `errno` (EAGAIN:
///   nothing is there now)
/// @errno after `_Debug`: as the system call left it
/// @logs the `_Debug` twin: success and failure as debug messages of module TCPRW (22); the socket table
///   counts aLength, the traffic file gets the bytes received
ZVOS_API int zvSocketRecv_NoDebug(zvSocket aSocket, char *aBuffer, int aLength, int aFlags);
/// @twin{zvSocketRecv_NoDebug}
ZVOS_API int zvSocketRecv_Debug(zvSocket aSocket, char *aBuffer, int aLength, int aFlags,
                                const char *aDebugContext);
/// @plain{zvSocketRecv_Debug}
#define zvSocketRecv(socket, buffer, length, flags, context) \
  zvSocketRecv_Debug(socket, buffer, length, flags, context)

/// Tells how many bytes can be received without waiting.
/// @param aSocket the socket
/// @param anAvailableBytes the count is stored here
/// @return 0, or -1 with the cause in `errno`
/// @logs nothing: the twins do the same
ZVOS_API int zvSocketRecvAvailable_NoDebug(zvSocket aSocket, int *anAvailableBytes);
/// @twin{zvSocketRecvAvailable_NoDebug}
ZVOS_API int zvSocketRecvAvailable_Debug(zvSocket aSocket, int *anAvailableBytes, const char *aDebugContext);
/// @plain{zvSocketRecvAvailable_Debug}
#define zvSocketRecvAvailable(socket, available, context) \
  zvSocketRecvAvailable_Debug(socket, available, context)

/// Ends both directions of a connection; the socket is still to be closed.
/// @param aSocket the socket; #kzvSocketInvalid is logged
/// @return 0, or -1 with the cause in `errno` (ENOTCONN: there is no connection)
ZVOS_API int zvSocketShutdown_NoDebug(zvSocket aSocket);
/// @twin{zvSocketShutdown_NoDebug}
ZVOS_API int zvSocketShutdown_Debug(zvSocket aSocket, const char *aDebugContext);
/// @plain{zvSocketShutdown_Debug}
#define zvSocketShutdown(socket, context) zvSocketShutdown_Debug(socket, context)

/// Closes a socket.
/// @param aSocket the socket
/// @return 0, or -1 with the cause in `errno`
ZVOS_API int zvSocketClose_NoDebug(zvSocket aSocket);

/// The twin of zvSocketClose_NoDebug that logs: closes a socket.
/// @param aSocket the socket; #kzvSocketInvalid is logged
/// @param aDebugContext a constant text that names the call site
/// @param afRunChain non-zero suppresses the message and the end of the traffic file of a successful close
/// @return 0, or -1 with the cause in `errno`
ZVOS_API int zvSocketClose_Debug(zvSocket aSocket, const char *aDebugContext, int afRunChain);
/// @plain{zvSocketClose_Debug}
#define zvSocketClose(socket, context) zvSocketClose_Debug(socket, context, 0)

// ---- Ready-made sockets ----

// Programs that the process starts do not inherit these sockets either.

///@{
/// Random ports are drawn from this range, both ends included.
#define kzvSocket_IANA_MinPortNumber 50000
#define kzvSocket_IANA_MaxPortNumber 65000
///@}

/// A bound UDP socket. Programs that the process starts do not inherit it.
/// @param anIPAddress the local address in host byte order, 0 for any
/// @param aPortNumber NULL: the system chooses the port. Otherwise a random one is drawn, in up to 50
///   attempts, and stored here in host byte order; the value on entry is ignored. Left alone on failure
/// @return the socket, which the caller closes with zvSocketClose; #kzvSocketInvalid on failure
/// @signals no
/// @errno after a failure that of the bind
/// @logs as the `_Debug` twins of opening, binding and closing, under labels "zvSocket_GetUDPSocket"
ZVOS_API zvSocket zvSocket_GetUDPSocket(int32 anIPAddress, uint16 *aPortNumber);

/// A bound TCP socket that does not listen yet, with address reuse set. Programs that the process starts do
/// not inherit it.
/// @param anIPAddress the local address in host byte order, 0 for any
/// @param aPortNumber in host byte order, one of:
/// - not 0: that port, in one attempt, and the value is left alone;
/// - 0 and no address: a random port in up to 50 attempts is stored; with aPortNumber NULL the system
///   chooses;
/// - 0 and an address: the system chooses, and the value becomes 0 even on success; ask zvSocketGetSockName
///   for the port. On failure without a given port it becomes 0
/// @return the socket, which the caller closes with zvSocketClose; #kzvSocketInvalid on failure
/// @signals no
/// @errno after a failure that of the bind
/// @logs as the `_Debug` twins of opening, binding and closing, under labels "zvSocket_GetTCPSocket"
ZVOS_API zvSocket zvSocket_GetTCPSocket(int32 anIPAddress, uint16 *aPortNumber);

/// @}

#endif
