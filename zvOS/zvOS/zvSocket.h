// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Sockets: opening, binding, listening, accepting, connecting, sending, receiving, closing.
//
// The layer keeps no state: a socket is the system's descriptor, and the last error is `errno`.
//
// Twins. Every operation exists twice. The `_NoDebug` twin makes the system call and logs nothing.
// The `_Debug` twin takes one more argument, a label that names the call site, and logs what
// happened with the label at the end of the message; with the log at debug level it also feeds the
// socket table (zvSocketTracker.h) and the traffic files (zvSocketLog.h). With the log below debug
// level a successful transfer through a `_Debug` twin costs one test more than through its sister, and
// no operation logs, locks or allocates anything. A macro under the plain name stands for the `_Debug`
// twin, and is what callers normally write:
//
//   zvSocket theSocket = zvSocketOpen(AF_INET, SOCK_STREAM, 0, "Player control");
//   if (theSocket == kzvSocketInvalid) return zvSocketGetLastError();
//   if (zvSocketConnect(theSocket, theAddress, sizeof(struct sockaddr_in), "Player control") != 0) ...
//   zvSocketClose(theSocket, "Player control");
//
// The label is a constant text: the socket table keeps the pointer, not a copy.
//
// Unless said otherwise a function returns the system call's own result: 0 or a count on success,
// -1 (kzvSocketInvalid from a call that makes a socket) on failure with the cause in `errno`, read by
// zvSocketGetLastError. Using kzvSocketInvalid is logged by the twins that say so, not prevented: the
// system then answers EBADF. Messages go to module TCP (21), those of send and receive to TCPRW (22).
// All functions may be called from any thread.
//
// Options, datagrams, addresses: zvSocketOptions.h, zvSocketDatagram.h, zvSocketAddress.h, which this
// header includes.
#ifndef zvOS_zvSocket_h
#define zvOS_zvSocket_h

#include <zvOS/zvSocketAddress.h>
#include <zvOS/zvSocketDatagram.h>
#include <zvOS/zvSocketOptions.h>
#include <zvOS/zvSocketTypes.h>

// ---- Last error ----

// The calling thread's last error: `errno`.
ZVOS_API int zvSocketGetLastError(void);

// Sets it.
ZVOS_API void zvSocketSetLastError(int anError);

// 1 when the last error is EAGAIN, else 0.
ZVOS_API int zvSocketLastErrorIsWouldBlock(void);

// 1 when the last error is ECONNRESET, else 0.
ZVOS_API int zvSocketLastErrorIsConnectionReset(void);

// ---- Life of a socket ----

// Makes a socket; the caller closes it with zvSocketClose. aType is SOCK_STREAM, SOCK_DGRAM or
// SOCK_RAW; any other asserts and is tried. Protocol 0 stands for TCP with SOCK_STREAM and, raw
// sockets included, for UDP otherwise. afNoDebug non-zero keeps the socket out of the socket table,
// the traffic files and the log of successes. Last error after `_Debug`: 0, or the error.
// Programs that the process starts do not inherit the socket.
ZVOS_API zvSocket zvSocketOpen_NoDebug(int anAF, int aType, int aProtocol);
ZVOS_API zvSocket zvSocketOpen_Debug(int anAF, int aType, int aProtocol, const char *aDebugContext,
                                     int afNoDebug);
#define zvSocketOpen(family, type, protocol, context) zvSocketOpen_Debug(family, type, protocol, context, 0)

// Gives the socket a local address. Last error after `_Debug`: 0, or the error.
ZVOS_API int zvSocketBind_NoDebug(zvSocket aSocket, struct sockaddr *aSockAddr, socklen_t anAddrLen);
ZVOS_API int zvSocketBind_Debug(zvSocket aSocket, struct sockaddr *aSockAddr, socklen_t anAddrLen,
                                const char *aDebugContext);
#define zvSocketBind(socket, address, length, context) zvSocketBind_Debug(socket, address, length, context)

// Waits for connections, aBackLog of them queued. Last error after `_Debug`: 0, or the error.
ZVOS_API int zvSocketListen_NoDebug(zvSocket aSocket, int aBackLog);
ZVOS_API int zvSocketListen_Debug(zvSocket aSocket, int aBackLog, const char *aDebugContext);
#define zvSocketListen(socket, backlog, context) zvSocketListen_Debug(socket, backlog, context)

// Takes the next connection: a new socket, which the caller closes, with the peer's address in
// aSockAddr and its length in *anAddrLen, which says on entry how much room there is. On a
// non-blocking socket with nothing to accept it answers kzvSocketInvalid and EAGAIN, which is not
// logged. Last error after `_Debug`: 0, or the error.
// Programs that the process starts do not inherit the new socket.
ZVOS_API zvSocket zvSocketAccept_NoDebug(zvSocket aSocket, struct sockaddr *aSockAddr, socklen_t *anAddrLen);
ZVOS_API zvSocket zvSocketAccept_Debug(zvSocket aSocket, struct sockaddr *aSockAddr, socklen_t *anAddrLen,
                                       const char *aDebugContext);
#define zvSocketAccept(socket, address, length, context) \
  zvSocketAccept_Debug(socket, address, length, context)

// Connects. On a non-blocking socket a connection still in progress (EINPROGRESS) counts as success
// and the result is 0; one refused with EAGAIN stays -1 and is not logged. Last error after
// `_Debug`: 0 when connected or in progress, else the error.
ZVOS_API int zvSocketConnect_NoDebug(zvSocket aSocket, struct sockaddr *aSockAddr, socklen_t anAddrLen);
ZVOS_API int zvSocketConnect_Debug(zvSocket aSocket, struct sockaddr *aSockAddr, socklen_t anAddrLen,
                                   const char *aDebugContext);
#define zvSocketConnect(socket, address, length, context) \
  zvSocketConnect_Debug(socket, address, length, context)

// Does nothing and returns 0. There is no `_Debug` twin: the macro drops the label.
ZVOS_API int zvSocketConnectUnreachable_NoDebug(zvSocket aSocket, struct sockaddr *aSockAddr,
                                                socklen_t anAddrLen);
#define zvSocketConnectUnreachable(socket, address, length, context) \
  zvSocketConnectUnreachable_NoDebug(socket, address, length)

// Sends up to aLength bytes, not a negative count, and returns the count of bytes taken, or -1. MSG_NOSIGNAL
// is always added to the flags: a peer that is gone gives EPIPE and no signal. The socket table counts
// aLength, the traffic file gets the bytes taken. Last error after `_Debug`: the error, or as before the
// call.
ZVOS_API int zvSocketSend_NoDebug(zvSocket aSocket, const char *aBuffer, int aLength, int aFlags);
ZVOS_API int zvSocketSend_Debug(zvSocket aSocket, const char *aBuffer, int aLength, int aFlags,
                                const char *aDebugContext);
#define zvSocketSend(socket, buffer, length, flags, context) \
  zvSocketSend_Debug(socket, buffer, length, flags, context)

// Receives up to aLength bytes, not a negative count, and returns their count, 0 when the peer has closed in
// order, or -1. The socket table counts aLength, the traffic file gets the bytes received. Last error after
// `_Debug`: as the system call left it.
ZVOS_API int zvSocketRecv_NoDebug(zvSocket aSocket, char *aBuffer, int aLength, int aFlags);
ZVOS_API int zvSocketRecv_Debug(zvSocket aSocket, char *aBuffer, int aLength, int aFlags,
                                const char *aDebugContext);
#define zvSocketRecv(socket, buffer, length, flags, context) \
  zvSocketRecv_Debug(socket, buffer, length, flags, context)

// Stores how many bytes can be received without waiting. The twins do the same: nothing is logged.
ZVOS_API int zvSocketRecvAvailable_NoDebug(zvSocket aSocket, int *anAvailableBytes);
ZVOS_API int zvSocketRecvAvailable_Debug(zvSocket aSocket, int *anAvailableBytes, const char *aDebugContext);
#define zvSocketRecvAvailable(socket, available, context) \
  zvSocketRecvAvailable_Debug(socket, available, context)

// Ends both directions of a connection. Last error after `_Debug`: 0, or the error.
ZVOS_API int zvSocketShutdown_NoDebug(zvSocket aSocket);
ZVOS_API int zvSocketShutdown_Debug(zvSocket aSocket, const char *aDebugContext);
#define zvSocketShutdown(socket, context) zvSocketShutdown_Debug(socket, context)

// Closes. afRunChain non-zero suppresses the message and the end of the traffic file of a successful
// close. Last error after `_Debug`: 0, or the error.
ZVOS_API int zvSocketClose_NoDebug(zvSocket aSocket);
ZVOS_API int zvSocketClose_Debug(zvSocket aSocket, const char *aDebugContext, int afRunChain);
#define zvSocketClose(socket, context) zvSocketClose_Debug(socket, context, 0)

// ---- Ready-made sockets ----

// Programs that the process starts do not inherit these sockets either.

// Random ports are drawn from this range, both ends included.
#define kzvSocket_IANA_MinPortNumber 50000
#define kzvSocket_IANA_MaxPortNumber 65000

// A bound UDP socket, which the caller closes, or kzvSocketInvalid with the cause in the last error.
// anIPAddress is in host byte order, 0 for any. With aPortNumber NULL the system chooses the port;
// otherwise a random one is drawn, in up to 50 attempts, and stored in *aPortNumber (host byte
// order), whose value on entry is ignored. On failure *aPortNumber is left alone.
ZVOS_API zvSocket zvSocket_GetUDPSocket(int32 anIPAddress, uint16 *aPortNumber);

// A bound TCP socket that does not listen yet, with address reuse set; the caller closes it.
// kzvSocketInvalid on failure. anIPAddress is in host byte order, 0 for any.
// - *aPortNumber not 0: that port, in one attempt; *aPortNumber is left alone.
// - anIPAddress 0: a random port in up to 50 attempts, stored in *aPortNumber; with aPortNumber NULL
//   the system chooses.
// - an address and no port: the system chooses, and *aPortNumber becomes 0 even on success; ask
//   zvSocketGetSockName for the port.
// On failure without a given port *aPortNumber becomes 0.
ZVOS_API zvSocket zvSocket_GetTCPSocket(int32 anIPAddress, uint16 *aPortNumber);

#endif
