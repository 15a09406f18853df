// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_socketoptions Options of sockets
/// Options of sockets. The scheme of twins and the results are those of zvSocket.h: 0, or -1 with the cause
/// in `errno`.
///
/// @threads any thread may call any function
/// @signals the `_NoDebug` twins; the `_Debug` twins as well while they succeed
/// @fork yes; the options are those of the socket, which the parent has too
/// @errno after a failure the cause; a success leaves it alone, also in a `_Debug` twin
/// @logs `_NoDebug` twins nothing; `_Debug` twins failures only, as errors of module TCP (21)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvSocketOptions_h
#define zvOS_zvSocketOptions_h

#include <zvOS/zvSocketTypes.h>

///@{
/// Suggested for zvSocketSetTCPKeepAlive, in milliseconds; the interval becomes 1 second.
#define kzvSocket_SuggestedKeepAliveTime     (10 * 1000)
#define kzvSocket_SuggestedKeepAliveInterval (100)
///@}

/// Lets an address be bound again while old connections linger (SO_REUSEADDR).
/// @param aSocket the socket; #kzvSocketInvalid is logged
/// @return 0, or -1 with the cause in `errno`
/// @errno after a failure the cause; of the `_Debug` twin, which logs last, where the log library leaves
///   `errno` alone, as the one that comes with us does
/// @logs the `_Debug` twin: failures, with the function's result in place of the error number
ZVOS_API int zvSocketSetReuseAddress_NoDebug(zvSocket aSocket);
/// @twin{zvSocketSetReuseAddress_NoDebug}
ZVOS_API int zvSocketSetReuseAddress_Debug(zvSocket aSocket, const char *aDebugContext);
/// @plain{zvSocketSetReuseAddress_Debug}
#define zvSocketSetReuseAddress(socket, context) zvSocketSetReuseAddress_Debug(socket, context)

/// Allows datagrams to broadcast addresses (SO_BROADCAST); it cannot be switched off.
/// @param aSocket the socket; #kzvSocketInvalid is logged
/// @return 0, or -1 with the cause in `errno`
/// @errno after a failure the cause; of the `_Debug` twin, which logs last, where the log library leaves
///   `errno` alone, as the one that comes with us does
/// @logs the `_Debug` twin: failures, with the function's result in place of the error number
ZVOS_API int zvSocketSetBroadcast_NoDebug(zvSocket aSocket);
/// @twin{zvSocketSetBroadcast_NoDebug}
ZVOS_API int zvSocketSetBroadcast_Debug(zvSocket aSocket, const char *aDebugContext);
/// @plain{zvSocketSetBroadcast_Debug}
#define zvSocketSetBroadcast(socket, context) zvSocketSetBroadcast_Debug(socket, context)

/// Makes the socket blocking or non-blocking.
/// @param aSocket the socket; #kzvSocketInvalid is logged
/// @param afBlock non-zero: blocking; 0: non-blocking
/// @return 0; -1; or, when the flags cannot be read, the error number itself, which is positive: test for
///   non-zero
/// @errno after a failure the cause; of the `_Debug` twin, which logs last, where the log library leaves
///   `errno` alone, as the one that comes with us does
/// @logs the `_Debug` twin: failures, with the function's result in place of the error number
ZVOS_API int zvSocketIOCtlSetBlock_NoDebug(zvSocket aSocket, int afBlock);
/// @twin{zvSocketIOCtlSetBlock_NoDebug}
ZVOS_API int zvSocketIOCtlSetBlock_Debug(zvSocket aSocket, int afBlock, const char *aDebugContext);
/// @plain{zvSocketIOCtlSetBlock_Debug}
#define zvSocketIOCtlSetBlock(socket, block, context) zvSocketIOCtlSetBlock_Debug(socket, block, context)

/// Does nothing: linger is not applied.
/// @param aSocket the socket; #kzvSocketInvalid is logged
/// @param aDuration seconds; not used
/// @return 0
/// @errno left alone
/// @logs the `_Debug` twin: the use of #kzvSocketInvalid
ZVOS_API int zvSocketSetLinger_NoDebug(zvSocket aSocket, int aDuration);
/// @twin{zvSocketSetLinger_NoDebug}
ZVOS_API int zvSocketSetLinger_Debug(zvSocket aSocket, int aDuration, const char *aDebugContext);
/// @plain{zvSocketSetLinger_Debug}
#define zvSocketSetLinger(socket, duration, context) zvSocketSetLinger_Debug(socket, duration, context)

/// Switches keep-alive on or off. When it is switched on and both times are not 0, they are set as well; the
/// count of probes stays the system's.
/// @param aSocket a TCP socket
/// @param afTCPKeepAlive non-zero: on; 0: off
/// @param aKeepAliveTime milliseconds of silence before the first probe, cut to whole seconds and at least 1
///   s; 0 leaves both times as they are
/// @param aKeepAliveInterval milliseconds between probes, cut to whole seconds and at least 1 s; 0 leaves
///   both times as they are
/// @return 0, or -1 with the cause in `errno`; both times are tried
ZVOS_API int zvSocketSetTCPKeepAlive_NoDebug(zvSocket aSocket, int afTCPKeepAlive, int aKeepAliveTime,
                                             int aKeepAliveInterval);
/// @twin{zvSocketSetTCPKeepAlive_NoDebug}
ZVOS_API int zvSocketSetTCPKeepAlive_Debug(zvSocket aSocket, int afTCPKeepAlive, int aKeepAliveTime,
                                           int aKeepAliveInterval, const char *aDebugContext);
/// @plain{zvSocketSetTCPKeepAlive_Debug}
#define zvSocketSetTCPKeepAlive(socket, on, time, interval, context) \
  zvSocketSetTCPKeepAlive_Debug(socket, on, time, interval, context)

/// Whether small pieces are sent at once.
/// @param aSocket a TCP socket
/// @param afTCPNoDelay non-zero: at once; 0: they are collected
/// @return 0, or -1 with the cause in `errno`
ZVOS_API int zvSocketSetTCPNoDelay_NoDebug(zvSocket aSocket, int afTCPNoDelay);
/// @twin{zvSocketSetTCPNoDelay_NoDebug}
ZVOS_API int zvSocketSetTCPNoDelay_Debug(zvSocket aSocket, int afTCPNoDelay, const char *aDebugContext);
/// @plain{zvSocketSetTCPNoDelay_Debug}
#define zvSocketSetTCPNoDelay(socket, on, context) zvSocketSetTCPNoDelay_Debug(socket, on, context)

/// Does not set a time-out: use zvSocketSelect_Select for a wait that ends.
/// @param aSocket the socket
/// @param aTimeOut seconds
/// @param afSetSend non-zero: for sending
/// @param afSetReceive non-zero: for receiving
/// @return -1 with the cause in `errno`: EINVAL, or EBADF or ENOTSOCK for what is no open socket; 0 when
///   neither flag is set and nothing is tried
/// @odd hands the system the time in milliseconds as a number of 4 bytes, where Linux wants a struct timeval
///   and refuses: no time-out is ever applied
ZVOS_API int zvSocketSetTimeOut_NoDebug(zvSocket aSocket, long aTimeOut, int afSetSend, int afSetReceive);
/// @twin{zvSocketSetTimeOut_NoDebug}
ZVOS_API int zvSocketSetTimeOut_Debug(zvSocket aSocket, long aTimeOut, int afSetSend, int afSetReceive,
                                      const char *aDebugContext);
/// @plain{zvSocketSetTimeOut_Debug}
#define zvSocketSetTimeOut(socket, timeOut, setSend, setReceive, context) \
  zvSocketSetTimeOut_Debug(socket, timeOut, setSend, setReceive, context)

/// Size of the system's buffer for sending; Linux doubles what it is given.
/// @param aSocket the socket
/// @param aSendBufferSize bytes
/// @return 0, or -1 with the cause in `errno`
ZVOS_API int zvSocketSetSendBuffer_NoDebug(zvSocket aSocket, size_t aSendBufferSize);
/// @twin{zvSocketSetSendBuffer_NoDebug}
ZVOS_API int zvSocketSetSendBuffer_Debug(zvSocket aSocket, size_t aSendBufferSize, const char *aDebugContext);
/// @plain{zvSocketSetSendBuffer_Debug}
#define zvSocketSetSendBuffer(socket, size, context) zvSocketSetSendBuffer_Debug(socket, size, context)

/// Size of the system's buffer for receiving; Linux doubles what it is given.
/// @param aSocket the socket
/// @param aReceiveBufferSize bytes
/// @return 0, or -1 with the cause in `errno`
ZVOS_API int zvSocketSetRecvBuffer_NoDebug(zvSocket aSocket, size_t aReceiveBufferSize);
/// @twin{zvSocketSetRecvBuffer_NoDebug}
ZVOS_API int zvSocketSetRecvBuffer_Debug(zvSocket aSocket, size_t aReceiveBufferSize,
                                         const char *aDebugContext);
/// @plain{zvSocketSetRecvBuffer_Debug}
#define zvSocketSetRecvBuffer(socket, size, context) zvSocketSetRecvBuffer_Debug(socket, size, context)

/// Says whether the caller of a raw socket writes the IP header itself (IP_HDRINCL).
/// @param aSocket a raw socket
/// @param afSet non-zero: the caller does; 0: the system does
/// @return 0, or -1 with the cause in `errno`
ZVOS_API int zvSocketSetIPHeader_NoDebug(zvSocket aSocket, int afSet);
/// @twin{zvSocketSetIPHeader_NoDebug}
ZVOS_API int zvSocketSetIPHeader_Debug(zvSocket aSocket, int afSet, const char *aDebugContext);
/// @plain{zvSocketSetIPHeader_Debug}
#define zvSocketSetIPHeader(socket, set, context) zvSocketSetIPHeader_Debug(socket, set, context)

/// Time to live of what is sent to single hosts; for groups there is zvSocketMulticastSetTTL.
/// @param aSocket the socket
/// @param aTTL count of routers, 1 to 255; 0 is refused
/// @return 0, or -1 with the cause in `errno`
ZVOS_API int zvSocketSetTTL_NoDebug(zvSocket aSocket, unsigned char aTTL);
/// @twin{zvSocketSetTTL_NoDebug}
ZVOS_API int zvSocketSetTTL_Debug(zvSocket aSocket, unsigned char aTTL, const char *aDebugContext);
/// @plain{zvSocketSetTTL_Debug}
#define zvSocketSetTTL(socket, ttl, context) zvSocketSetTTL_Debug(socket, ttl, context)

/// Tells the time to live of what is sent to single hosts.
/// @param aSocket the socket
/// @param aTTL the count of routers is stored here
/// @return 0, or -1 with the cause in `errno`
ZVOS_API int zvSocketGetTTL_NoDebug(zvSocket aSocket, unsigned char *aTTL);
/// @twin{zvSocketGetTTL_NoDebug}
ZVOS_API int zvSocketGetTTL_Debug(zvSocket aSocket, unsigned char *aTTL, const char *aDebugContext);
/// @plain{zvSocketGetTTL_Debug}
#define zvSocketGetTTL(socket, ttl, context) zvSocketGetTTL_Debug(socket, ttl, context)

/// @}

#endif
