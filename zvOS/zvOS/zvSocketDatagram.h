// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Datagrams, multicast groups, and the two addresses of a socket. The scheme of twins, the results
// and the last error are those of zvSocket.h.
//
// Byte orders differ: interface addresses go in as the address lists of zvSocketAddress.h give them,
// in network byte order; zvSocketGetPeerName and zvSocketGetSockName answer in host byte order.
#ifndef zvOS_zvSocketDatagram_h
#define zvOS_zvSocketDatagram_h

#include <zvOS/zvSocketTypes.h>

// Sends one datagram and returns its length, or -1. The flags are passed unchanged. Messages: module
// TCPRW (22), debug level; no socket table, no traffic file.
ZVOS_API int zvSocketSendUDP_NoDebug(zvSocket aSocket, struct sockaddr *aDestAddress,
                                     socklen_t aDestAddressLen, const char *aBuffer, int aLength, int aFlags);
ZVOS_API int zvSocketSendUDP_Debug(zvSocket aSocket, struct sockaddr *aDestAddress, socklen_t aDestAddressLen,
                                   const char *aBuffer, int aLength, int aFlags, const char *aDebugContext);
#define zvSocketSendUDP(socket, address, addressLength, buffer, length, flags, context) \
  zvSocketSendUDP_Debug(socket, address, addressLength, buffer, length, flags, context)

// Receives one datagram, cut to aLength bytes, and its sender's address. Returns the count of bytes,
// or -1. Last error after `_Debug`: as the system call left it.
ZVOS_API int zvSocketRecvUDP_NoDebug(zvSocket aSocket, char *aBuffer, int aLength, int aFlags,
                                     struct sockaddr *aSourceAddress, socklen_t *aSourceAddressLen);
ZVOS_API int zvSocketRecvUDP_Debug(zvSocket aSocket, char *aBuffer, int aLength, int aFlags,
                                   struct sockaddr *aSourceAddress, socklen_t *aSourceAddressLen,
                                   const char *aDebugContext);
#define zvSocketRecvUDP(socket, buffer, length, flags, address, addressLength, context) \
  zvSocketRecvUDP_Debug(socket, buffer, length, flags, address, addressLength, context)

// Chooses the interface through which multicast leaves, by its address (network byte order).
// The `_Debug` twin logs a failure in three records and leaves the last error to the log.
ZVOS_API int zvSocketSetMulticast_NoDebug(zvSocket aSocket, uint32 anIPAddress);
ZVOS_API int zvSocketSetMulticast_Debug(zvSocket aSocket, uint32 anIPAddress, const char *aDebugContext);
#define zvSocketSetMulticast(socket, address, context) zvSocketSetMulticast_Debug(socket, address, context)

// Joins and leaves a group, given in dotted form, on the interface with that address (network byte
// order; 0: the system chooses).
ZVOS_API int zvSocketMulticastAdd_NoDebug(zvSocket aSocket, const char *anIPGroup, uint32 anIPAddress);
ZVOS_API int zvSocketMulticastAdd_Debug(zvSocket aSocket, const char *anIPGroup, uint32 anIPAddress,
                                        const char *aDebugContext);
#define zvSocketMulticastAdd(socket, group, address, context) \
  zvSocketMulticastAdd_Debug(socket, group, address, context)
ZVOS_API int zvSocketMulticastDrop_NoDebug(zvSocket aSocket, const char *anIPGroup, uint32 anIPAddress);
ZVOS_API int zvSocketMulticastDrop_Debug(zvSocket aSocket, const char *anIPGroup, uint32 anIPAddress,
                                         const char *aDebugContext);
#define zvSocketMulticastDrop(socket, group, address, context) \
  zvSocketMulticastDrop_Debug(socket, group, address, context)

// Time to live of what is sent to groups.
ZVOS_API int zvSocketMulticastSetTTL_NoDebug(zvSocket aSocket, unsigned char aTTL);
ZVOS_API int zvSocketMulticastSetTTL_Debug(zvSocket aSocket, unsigned char aTTL, const char *aDebugContext);
#define zvSocketMulticastSetTTL(socket, ttl, context) zvSocketMulticastSetTTL_Debug(socket, ttl, context)

// Whether this machine receives what it sends to groups.
ZVOS_API int zvSocketMulticastSetLoop_NoDebug(zvSocket aSocket, int afLoop);
ZVOS_API int zvSocketMulticastSetLoop_Debug(zvSocket aSocket, int afLoop, const char *aDebugContext);
#define zvSocketMulticastSetLoop(socket, loop, context) zvSocketMulticastSetLoop_Debug(socket, loop, context)

// The peer's, and the socket's own, address and port, both in host byte order; left alone on failure.
// zvSocketGetSockName_Debug reports a failure with the text of zvSocketGetPeerName_Debug.
ZVOS_API int zvSocketGetPeerName_NoDebug(zvSocket aSocket, long *anIPAddress, unsigned short *aPort);
ZVOS_API int zvSocketGetPeerName_Debug(zvSocket aSocket, long *anIPAddress, unsigned short *aPort,
                                       const char *aDebugContext);
#define zvSocketGetPeerName(socket, address, port, context) \
  zvSocketGetPeerName_Debug(socket, address, port, context)
ZVOS_API int zvSocketGetSockName_NoDebug(zvSocket aSocket, long *anIPAddress, unsigned short *aPort);
ZVOS_API int zvSocketGetSockName_Debug(zvSocket aSocket, long *anIPAddress, unsigned short *aPort,
                                       const char *aDebugContext);
#define zvSocketGetSockName(socket, address, port, context) \
  zvSocketGetSockName_Debug(socket, address, port, context)

#endif
