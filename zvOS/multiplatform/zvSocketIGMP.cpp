// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// One IGMP version 2 message on a raw socket that is opened and closed for it. The system builds the
// IP header with its defaults.

#include <zvOS/zvSocket.h>
#include <zvOS/zvSocketIGMP.h>

#include "private/Failure.h"
#include "private/Owner.h"
#include "private/SocketAddress.h"

#include <netinet/igmp.h>
#include <cerrno>
#include <cstring>

// Whether messages carry a checksum; routers and snooping switches that verify it need one.
#ifndef ZVOS_IGMP_CHECKSUM
#define ZVOS_IGMP_CHECKSUM 0
#endif

ZVLOG_WITH_MODULE_IF(TCP, 1)

using zvos::ErrnoAtEnd;
using zvos::Owner;

namespace {

constexpr char kDebugContext[] = "SendIGMPPacket";
constexpr uint8 kMembershipReport = 0x16;
constexpr uint8 kLeaveGroup = 0x17;
constexpr uint32 kAllRouters = 0xE0000002;  // 224.0.0.2

// The Internet checksum over the message: one's complement of the one's complement sum, in the byte
// order of the message.
uint16 Checksum(const igmp &aMessage) {
  uint16 theWords[sizeof(aMessage) / sizeof(uint16)];
  memcpy(theWords, &aMessage, sizeof(theWords));
  uint32 theSum = 0;
  for (const uint16 theWord : theWords)
    theSum += theWord;
  theSum = (theSum & 0xFFFF) + (theSum >> 16);
  theSum = (theSum & 0xFFFF) + (theSum >> 16);
  return static_cast<uint16>(~theSum);
}

Owner<igmp> NewMessage(uint32 aGroupAddress, uint8 aType, uint8 aCode) {
  Owner<igmp> theMessage(static_cast<igmp *>(zvMalloc(sizeof(igmp))));
  if (!theMessage) return theMessage;
  theMessage->igmp_type = aType;
  theMessage->igmp_code = aCode;
  theMessage->igmp_cksum = 0;
  theMessage->igmp_group.s_addr = htonl(aGroupAddress);
  if (ZVOS_IGMP_CHECKSUM) theMessage->igmp_cksum = Checksum(*theMessage);
  return theMessage;
}

}  // namespace

extern "C" int zvSocketSendIGMP(uint32 aDestAddress, uint32 aGroupAddress, uint8 aType, uint8 aCode) {
  sockaddr_in theDestination = zvos::SocketAddress(htonl(aDestAddress), 0);

  const zvSocket theSocket = zvSocketOpen_Debug(AF_INET, SOCK_RAW, IPPROTO_IGMP, kDebugContext, 0);
  if (theSocket == kzvSocketInvalid) {
    const ErrnoAtEnd theError;
    ZV_DEBUG(F("Failed to create RAW socket\n"));
    return -1;
  }

  int theResult = -1;
  Owner<igmp> theMessage = NewMessage(aGroupAddress, aType, aCode);
  if (theMessage) {
    theResult = zvSocketSendUDP_Debug(theSocket, zvos::Generic(&theDestination), sizeof(theDestination),
                                      reinterpret_cast<const char *>(theMessage.get()), sizeof(*theMessage),
                                      0, kDebugContext);
  }
  // The close would leave 0 where the caller looks for the cause.
  const ErrnoAtEnd theError(theResult == -1 ? errno : 0);
  // The text says join, also of a leave.
  if (theResult == -1) ZV_DEBUG(F("Failed to send IGMP join group\n"));

  zvSocketClose_Debug(theSocket, kDebugContext, 0);
  theMessage.reset();  // before the error is put back
  return theResult;
}

extern "C" int zvSocketIGMP_JoinGroup(uint32 aGroupAddress) {
  zvSocketSendIGMP(aGroupAddress, aGroupAddress, kMembershipReport, 0);
  return 0;
}

extern "C" void zvSocketIGMP_LeaveGroup(uint32 aGroupAddress) {
  zvSocketSendIGMP(kAllRouters, aGroupAddress, kLeaveGroup, 0);
}
