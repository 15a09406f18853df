// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Announces membership in multicast groups to network switches: one IGMP version 2 message on a raw
// socket, whatever groups the system itself joins for sockets (zvSocketMulticastAdd). Raw sockets
// need the privilege CAP_NET_RAW.
//
// The checksum of the message is 0 unless the library was built with ZVOS_IGMP_CHECKSUM, which
// routers and snooping switches that verify it need. Addresses are in host byte order. Messages go to
// module TCP (21), debug level. Any thread may call any function.
#ifndef zvOS_zvSocketIGMP_h
#define zvOS_zvSocketIGMP_h

#include <zvOS/zvSocketTypes.h>

// Sends a message of that type and code about a group. Returns the count of bytes sent, 8, or -1.
ZVOS_API int zvSocketSendIGMP(uint32 aDestAddress, uint32 aGroupAddress, uint8 aType, uint8 aCode);

// Sends a membership report (type 0x16) to the group. Returns 0, whether it could be sent or not.
ZVOS_API int zvSocketIGMP_JoinGroup(uint32 aGroupAddress);

// Sends a leave message (type 0x17) to 224.0.0.2, all routers.
ZVOS_API void zvSocketIGMP_LeaveGroup(uint32 aGroupAddress);

#endif
