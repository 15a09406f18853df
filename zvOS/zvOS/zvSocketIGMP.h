// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_socketigmp Group membership
/// Announces membership in multicast groups to network switches: one IGMP version 2 message on a raw socket,
/// whatever groups the system itself joins for sockets (zvSocketMulticastAdd). Raw sockets need the privilege
/// CAP_NET_RAW.
///
/// The checksum of the message is 0 unless the library was built with ZVOS_IGMP_CHECKSUM, which routers and
/// snooping switches that verify it need. Addresses are in host byte order.
///
/// @threads any thread may call any function
/// @signals no: memory is allocated
/// @fork yes
/// @errno after a failure the cause (EPERM: no privilege)
/// @logs a socket that cannot be opened, as an error of module TCP (21), the rest as debug messages of TCP
///   and TCPRW (22)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvSocketIGMP_h
#define zvOS_zvSocketIGMP_h

#include <zvOS/zvSocketTypes.h>

/// Sends a message about a group.
/// @param aDestAddress where to, in host byte order
/// @param aGroupAddress the group, in host byte order
/// @param aType the type of the message (0x16 report, 0x17 leave)
/// @param aCode its second byte, the time for an answer in tenths of a second; 0 in reports
/// @return the count of bytes sent, 8, or -1 with the cause in `errno`
ZVOS_API int zvSocketSendIGMP(uint32 aDestAddress, uint32 aGroupAddress, uint8 aType, uint8 aCode);

/// Sends a membership report (type 0x16) to the group.
/// @param aGroupAddress the group, in host byte order
/// @return 0, whether it could be sent or not
ZVOS_API int zvSocketIGMP_JoinGroup(uint32 aGroupAddress);

/// Sends a leave message (type 0x17) to 224.0.0.2, all routers.
/// @param aGroupAddress the group, in host byte order
ZVOS_API void zvSocketIGMP_LeaveGroup(uint32 aGroupAddress);

/// @}

#endif
