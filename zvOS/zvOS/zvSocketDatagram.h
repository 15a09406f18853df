// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_socketdatagram Datagrams
/// Datagrams, multicast groups, and the two addresses of a socket. The scheme of twins and the results are
/// those of zvSocket.h.
///
/// ```c
/// struct sockaddr_in theAddress;  // receive what is sent to a group
/// zvSocket_InitSockAddr((struct sockaddr *)&theAddress, sizeof(theAddress), AF_INET);
/// theAddress.sin_port = zvSocket_htons(1900);
/// zvSocketSetReuseAddress(theSocket, "Announcements");
/// zvSocketBind(theSocket, (struct sockaddr *)&theAddress, sizeof(theAddress), "Announcements");
/// zvSocketMulticastAdd(theSocket, "239.255.255.250", 0, "Announcements");
/// ```
///
/// Byte orders differ: interface addresses go in as the address lists of zvSocketInterfaces.h give them, in
/// network byte order; zvSocketGetPeerName and zvSocketGetSockName answer in host byte order.
///
/// @threads any thread may call any function
/// @signals the `_NoDebug` twins but for joining and leaving groups; the `_Debug` twins not
/// @fork yes; a socket in the child is the same one as the parent's, groups included
/// @errno after a failure the cause; a success leaves it alone, also in a `_Debug` twin
/// @logs `_NoDebug` twins nothing; `_Debug` twins failures, as errors of module TCP (21)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvSocketDatagram_h
#define zvOS_zvSocketDatagram_h

#include <zvOS/zvSocketTypes.h>

/// Sends one datagram.
/// @param aSocket a datagram socket
/// @param aDestAddress where to, address and port in network byte order
/// @param aDestAddressLen its length in bytes
/// @param aBuffer the bytes
/// @param aLength how many, not negative
/// @param aFlags flags of sendto(), passed unchanged
/// @return the count of bytes, all of them, or -1 with the cause in `errno` (EMSGSIZE: too long)
/// @logs the `_Debug` twin: success and failure as debug messages of module TCPRW (22); no socket table, no
///   traffic file
ZVOS_API int zvSocketSendUDP_NoDebug(zvSocket aSocket, struct sockaddr *aDestAddress,
                                     socklen_t aDestAddressLen, const char *aBuffer, int aLength, int aFlags);
/// @twin{zvSocketSendUDP_NoDebug}
ZVOS_API int zvSocketSendUDP_Debug(zvSocket aSocket, struct sockaddr *aDestAddress, socklen_t aDestAddressLen,
                                   const char *aBuffer, int aLength, int aFlags, const char *aDebugContext);
/// @plain{zvSocketSendUDP_Debug}
#define zvSocketSendUDP(socket, address, addressLength, buffer, length, flags, context) \
  zvSocketSendUDP_Debug(socket, address, addressLength, buffer, length, flags, context)

/// Receives one datagram; what is longer than the buffer is cut and its rest lost.
/// @param aSocket a datagram socket
/// @param aBuffer room for aLength bytes
/// @param aLength how many at most, not negative
/// @param aFlags flags of recvfrom(), passed unchanged
/// @param aSourceAddress the sender's address is stored here, in network byte order; may be NULL
/// @param aSourceAddressLen says on entry how many bytes of room there are, becomes the length of the
///   address; NULL with aSourceAddress
/// @return the count of bytes, which may be 0, or -1 with the cause in `errno`
/// @errno after `_Debug`: as the system call left it
/// @logs the `_Debug` twin: success and failure as debug messages of module TCPRW (22); no socket table, no
///   traffic file
ZVOS_API int zvSocketRecvUDP_NoDebug(zvSocket aSocket, char *aBuffer, int aLength, int aFlags,
                                     struct sockaddr *aSourceAddress, socklen_t *aSourceAddressLen);
/// @twin{zvSocketRecvUDP_NoDebug}
ZVOS_API int zvSocketRecvUDP_Debug(zvSocket aSocket, char *aBuffer, int aLength, int aFlags,
                                   struct sockaddr *aSourceAddress, socklen_t *aSourceAddressLen,
                                   const char *aDebugContext);
/// @plain{zvSocketRecvUDP_Debug}
#define zvSocketRecvUDP(socket, buffer, length, flags, address, addressLength, context) \
  zvSocketRecvUDP_Debug(socket, buffer, length, flags, address, addressLength, context)

/// Chooses the interface through which multicast leaves.
/// @param aSocket a datagram socket
/// @param anIPAddress the interface's address in network byte order
/// @return 0, or -1 with the cause in `errno`
/// @errno after a failure the cause; of the `_Debug` twin, which logs last, where the log library leaves
///   `errno` alone, as the one that comes with us does
/// @logs the `_Debug` twin: a failure in three records, as errors of module TCP (21)
ZVOS_API int zvSocketSetMulticast_NoDebug(zvSocket aSocket, uint32 anIPAddress);
/// @twin{zvSocketSetMulticast_NoDebug}
ZVOS_API int zvSocketSetMulticast_Debug(zvSocket aSocket, uint32 anIPAddress, const char *aDebugContext);
/// @plain{zvSocketSetMulticast_Debug}
#define zvSocketSetMulticast(socket, address, context) zvSocketSetMulticast_Debug(socket, address, context)

/// Joins a group.
/// @param aSocket a datagram socket
/// @param anIPGroup the group in dotted form ("239.255.255.250"); a text that is none gives EINVAL
/// @param anIPAddress the address of the interface in network byte order; 0: the system chooses
/// @return 0, or -1 with the cause in `errno`
ZVOS_API int zvSocketMulticastAdd_NoDebug(zvSocket aSocket, const char *anIPGroup, uint32 anIPAddress);
/// @twin{zvSocketMulticastAdd_NoDebug}
ZVOS_API int zvSocketMulticastAdd_Debug(zvSocket aSocket, const char *anIPGroup, uint32 anIPAddress,
                                        const char *aDebugContext);
/// @plain{zvSocketMulticastAdd_Debug}
#define zvSocketMulticastAdd(socket, group, address, context) \
  zvSocketMulticastAdd_Debug(socket, group, address, context)

/// Leaves a group.
/// @param aSocket a datagram socket
/// @param anIPGroup the group in dotted form
/// @param anIPAddress the address of the interface in network byte order; 0: the system chooses
/// @return 0, or -1 with the cause in `errno` (EADDRNOTAVAIL: it was not joined)
ZVOS_API int zvSocketMulticastDrop_NoDebug(zvSocket aSocket, const char *anIPGroup, uint32 anIPAddress);
/// @twin{zvSocketMulticastDrop_NoDebug}
ZVOS_API int zvSocketMulticastDrop_Debug(zvSocket aSocket, const char *anIPGroup, uint32 anIPAddress,
                                         const char *aDebugContext);
/// @plain{zvSocketMulticastDrop_Debug}
#define zvSocketMulticastDrop(socket, group, address, context) \
  zvSocketMulticastDrop_Debug(socket, group, address, context)

/// Time to live of what is sent to groups.
/// @param aSocket a datagram socket
/// @param aTTL count of routers; 1, which a new socket has, stays in the network, 0 on this machine
/// @return 0, or -1 with the cause in `errno`
ZVOS_API int zvSocketMulticastSetTTL_NoDebug(zvSocket aSocket, unsigned char aTTL);
/// @twin{zvSocketMulticastSetTTL_NoDebug}
ZVOS_API int zvSocketMulticastSetTTL_Debug(zvSocket aSocket, unsigned char aTTL, const char *aDebugContext);
/// @plain{zvSocketMulticastSetTTL_Debug}
#define zvSocketMulticastSetTTL(socket, ttl, context) zvSocketMulticastSetTTL_Debug(socket, ttl, context)

/// Whether this machine receives what it sends to groups.
/// @param aSocket a datagram socket
/// @param afLoop non-zero, as a new socket has it: it does; 0: it does not
/// @return 0, or -1 with the cause in `errno`
ZVOS_API int zvSocketMulticastSetLoop_NoDebug(zvSocket aSocket, int afLoop);
/// @twin{zvSocketMulticastSetLoop_NoDebug}
ZVOS_API int zvSocketMulticastSetLoop_Debug(zvSocket aSocket, int afLoop, const char *aDebugContext);
/// @plain{zvSocketMulticastSetLoop_Debug}
#define zvSocketMulticastSetLoop(socket, loop, context) zvSocketMulticastSetLoop_Debug(socket, loop, context)

/// Tells the address of the peer.
/// @param aSocket a connected IPv4 socket
/// @param anIPAddress stored here in host byte order, left alone on failure; may be NULL
/// @param aPort stored here in host byte order, left alone on failure; may be NULL
/// @return 0, or -1 with the cause in `errno` (ENOTCONN: there is no peer)
ZVOS_API int zvSocketGetPeerName_NoDebug(zvSocket aSocket, long *anIPAddress, unsigned short *aPort);
/// @twin{zvSocketGetPeerName_NoDebug}
ZVOS_API int zvSocketGetPeerName_Debug(zvSocket aSocket, long *anIPAddress, unsigned short *aPort,
                                       const char *aDebugContext);
/// @plain{zvSocketGetPeerName_Debug}
#define zvSocketGetPeerName(socket, address, port, context) \
  zvSocketGetPeerName_Debug(socket, address, port, context)

/// Tells the socket's own address.
/// @param aSocket an IPv4 socket
/// @param anIPAddress stored here in host byte order, left alone on failure; may be NULL
/// @param aPort stored here in host byte order, left alone on failure; may be NULL
/// @return 0, or -1 with the cause in `errno`
/// @logs the `_Debug` twin: a failure, with the text of zvSocketGetPeerName_Debug
ZVOS_API int zvSocketGetSockName_NoDebug(zvSocket aSocket, long *anIPAddress, unsigned short *aPort);
/// @twin{zvSocketGetSockName_NoDebug}
ZVOS_API int zvSocketGetSockName_Debug(zvSocket aSocket, long *anIPAddress, unsigned short *aPort,
                                       const char *aDebugContext);
/// @plain{zvSocketGetSockName_Debug}
#define zvSocketGetSockName(socket, address, port, context) \
  zvSocketGetSockName_Debug(socket, address, port, context)

/// @}

#endif
