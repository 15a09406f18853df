// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Options of sockets. The scheme of twins, the results and the last error are those of zvSocket.h;
// a `_Debug` twin logs failures only, in module TCP (21).
#ifndef zvOS_zvSocketOptions_h
#define zvOS_zvSocketOptions_h

#include <zvOS/zvSocketTypes.h>

// Suggested for zvSocketSetTCPKeepAlive, in milliseconds; the interval becomes 1 second.
#define kzvSocket_SuggestedKeepAliveTime     (10 * 1000)
#define kzvSocket_SuggestedKeepAliveInterval (100)

// Lets an address be bound again while old connections linger (SO_REUSEADDR).
// The `_Debug` twins of this and of the next three functions report the use of kzvSocketInvalid, log
// the function's result in place of the error number, and leave the last error to the log.
ZVOS_API int zvSocketSetReuseAddress_NoDebug(zvSocket aSocket);
ZVOS_API int zvSocketSetReuseAddress_Debug(zvSocket aSocket, const char *aDebugContext);
#define zvSocketSetReuseAddress(socket, context) zvSocketSetReuseAddress_Debug(socket, context)

// Allows datagrams to broadcast addresses (SO_BROADCAST); it cannot be switched off.
ZVOS_API int zvSocketSetBroadcast_NoDebug(zvSocket aSocket);
ZVOS_API int zvSocketSetBroadcast_Debug(zvSocket aSocket, const char *aDebugContext);
#define zvSocketSetBroadcast(socket, context) zvSocketSetBroadcast_Debug(socket, context)

// Makes the socket blocking (afBlock non-zero) or non-blocking (0). Returns 0, -1, or, when the flags
// cannot be read, the error number itself, which is positive: test for non-zero.
ZVOS_API int zvSocketIOCtlSetBlock_NoDebug(zvSocket aSocket, int afBlock);
ZVOS_API int zvSocketIOCtlSetBlock_Debug(zvSocket aSocket, int afBlock, const char *aDebugContext);
#define zvSocketIOCtlSetBlock(socket, block, context) zvSocketIOCtlSetBlock_Debug(socket, block, context)

// Does nothing and returns 0: linger is not applied.
ZVOS_API int zvSocketSetLinger_NoDebug(zvSocket aSocket, int aDuration);
ZVOS_API int zvSocketSetLinger_Debug(zvSocket aSocket, int aDuration, const char *aDebugContext);
#define zvSocketSetLinger(socket, duration, context) zvSocketSetLinger_Debug(socket, duration, context)

// Switches keep-alive on or off. When it is switched on and both times, in milliseconds, are not 0,
// they are set as well, cut to whole seconds and at least 1; the count of probes stays the system's.
ZVOS_API int zvSocketSetTCPKeepAlive_NoDebug(zvSocket aSocket, int afTCPKeepAlive, int aKeepAliveTime,
                                             int aKeepAliveInterval);
ZVOS_API int zvSocketSetTCPKeepAlive_Debug(zvSocket aSocket, int afTCPKeepAlive, int aKeepAliveTime,
                                           int aKeepAliveInterval, const char *aDebugContext);
#define zvSocketSetTCPKeepAlive(socket, on, time, interval, context) \
  zvSocketSetTCPKeepAlive_Debug(socket, on, time, interval, context)

// Sends small pieces at once (non-zero) or collects them (0).
ZVOS_API int zvSocketSetTCPNoDelay_NoDebug(zvSocket aSocket, int afTCPNoDelay);
ZVOS_API int zvSocketSetTCPNoDelay_Debug(zvSocket aSocket, int afTCPNoDelay, const char *aDebugContext);
#define zvSocketSetTCPNoDelay(socket, on, context) zvSocketSetTCPNoDelay_Debug(socket, on, context)

// Deliberately odd: passes aTimeOut * 1000 as a 4-byte option value, which Linux refuses with EINVAL,
// so the time-out is not applied and the result is -1. With neither flag set it returns 0.
ZVOS_API int zvSocketSetTimeOut_NoDebug(zvSocket aSocket, long aTimeOut, int afSetSend, int afSetReceive);
ZVOS_API int zvSocketSetTimeOut_Debug(zvSocket aSocket, long aTimeOut, int afSetSend, int afSetReceive,
                                      const char *aDebugContext);
#define zvSocketSetTimeOut(socket, timeOut, setSend, setReceive, context) \
  zvSocketSetTimeOut_Debug(socket, timeOut, setSend, setReceive, context)

// Sizes of the system's buffers in bytes; Linux doubles what it is given.
ZVOS_API int zvSocketSetSendBuffer_NoDebug(zvSocket aSocket, size_t aSendBufferSize);
ZVOS_API int zvSocketSetSendBuffer_Debug(zvSocket aSocket, size_t aSendBufferSize, const char *aDebugContext);
#define zvSocketSetSendBuffer(socket, size, context) zvSocketSetSendBuffer_Debug(socket, size, context)
ZVOS_API int zvSocketSetRecvBuffer_NoDebug(zvSocket aSocket, size_t aReceiveBufferSize);
ZVOS_API int zvSocketSetRecvBuffer_Debug(zvSocket aSocket, size_t aReceiveBufferSize,
                                         const char *aDebugContext);
#define zvSocketSetRecvBuffer(socket, size, context) zvSocketSetRecvBuffer_Debug(socket, size, context)

// Says whether the caller of a raw socket writes the IP header itself (IP_HDRINCL).
ZVOS_API int zvSocketSetIPHeader_NoDebug(zvSocket aSocket, int afSet);
ZVOS_API int zvSocketSetIPHeader_Debug(zvSocket aSocket, int afSet, const char *aDebugContext);
#define zvSocketSetIPHeader(socket, set, context) zvSocketSetIPHeader_Debug(socket, set, context)

// Time to live of what is sent to single hosts; for groups there is zvSocketMulticastSetTTL.
ZVOS_API int zvSocketSetTTL_NoDebug(zvSocket aSocket, unsigned char aTTL);
ZVOS_API int zvSocketSetTTL_Debug(zvSocket aSocket, unsigned char aTTL, const char *aDebugContext);
#define zvSocketSetTTL(socket, ttl, context) zvSocketSetTTL_Debug(socket, ttl, context)
ZVOS_API int zvSocketGetTTL_NoDebug(zvSocket aSocket, unsigned char *aTTL);
ZVOS_API int zvSocketGetTTL_Debug(zvSocket aSocket, unsigned char *aTTL, const char *aDebugContext);
#define zvSocketGetTTL(socket, ttl, context) zvSocketGetTTL_Debug(socket, ttl, context)

#endif
