// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// `zvos igmp`: announces the membership in a multicast group to the switches of the network.

#include "commands/commands.h"
#include "shared/library_log.h"
#include "shared/network.h"
#include "shared/options.h"
#include "shared/terminal.h"

#include <zvOS/zvSocketIGMP.h>

#include <cerrno>
#include <cstring>

namespace tool {

namespace {

constexpr uint8 kMembershipReport = 0x16;
constexpr uint8 kLeaveGroup = 0x17;
constexpr uint32 kAllRouters = 0xE0000002;  // 224.0.0.2

MaybeProblem ReadGroup(const std::string &aText, uint32 &aGroup) {
  aGroup = zvSocketGetAddressFromDotForm(aText.c_str());
  if (!zvSocketIsHostNameInIPDotForm(aText.c_str()) || aGroup == 0)
    return BadInput("'" + aText + "' is not an address");
  // The library looks at the text; the number says the same but for leading zeros.
  if (zvSocketIsMulticastIPAddress(AddressText(aGroup).c_str())) return {};
  return BadInput("'" + aText + "' is not a multicast group, which is from 224.0.0.0 to 239.255.255.255");
}

MaybeProblem WhyNoRawSocket() {
  const SocketOwner theSocket(zvSocketOpen(AF_INET, SOCK_RAW, IPPROTO_IGMP, "zvos igmp"), "zvos igmp");
  if (theSocket.IsOpen()) return {};
  const int theError = zvSocketGetLastError();
  const bool afForbidden = theError == EPERM || theError == EACCES;
  return Problem(afForbidden ? "it takes the privilege CAP_NET_RAW; run it as root" : strerror(theError));
}

int RunIGMP(const Arguments &anArguments) {
  KeepNetworkQuiet();
  Arguments theOperands;
  if (!TakeOperands(kCommand_IGMP, anArguments, theOperands)) return kStatus_BadInput;
  if (theOperands.size() != 2 || (theOperands[0] != "join" && theOperands[0] != "leave")) {
    Complain("igmp: join or leave, and one GROUP, see 'zvos help igmp'");
    return kStatus_BadInput;
  }
  uint32 theGroup = 0;
  MaybeProblem theProblem = ReadGroup(theOperands[1], theGroup);
  if (!theProblem) theProblem = WhyNoRawSocket();
  if (theProblem) return ComplainOf(kCommand_IGMP, *theProblem);

  // zvSocketIGMP_JoinGroup and zvSocketIGMP_LeaveGroup send the same, but do not tell what came of it.
  const bool afJoin = theOperands[0] == "join";
  const uint32 theGroupNumber = zvSocket_ntohl(theGroup);
  const uint32 theDestination = afJoin ? theGroupNumber : kAllRouters;
  const uint8 theType = afJoin ? kMembershipReport : kLeaveGroup;
  const int theCount = zvSocketSendIGMP(theDestination, theGroupNumber, theType, 0);
  const std::string theDestinationText = AddressText(zvSocket_htonl(theDestination));
  if (theCount < 0) {
    Complain("igmp: the message to %s could not be sent; is there a route to it?",
             theDestinationText.c_str());
    return kStatus_CheckFailed;
  }
  Print("%s %s: sent an IGMPv2 %s, %d bytes, to %s\n", theOperands[0].c_str(), AddressText(theGroup).c_str(),
        afJoin ? "membership report" : "leave message", theCount, theDestinationText.c_str());
  return kStatus_Good;
}

}  // namespace

const Command kCommand_IGMP = {
    "igmp",
    "join|leave GROUP",
    "announce the membership in a multicast group",
    "Sends one IGMP version 2 message, by which switches that forward multicast to members only\n"
    "learn that this machine joins or leaves GROUP, an address from 224.0.0.0 to 239.255.255.255.\n"
    "It takes the privilege CAP_NET_RAW. The message does not change which groups the system itself\n"
    "listens to. Receivers that verify its checksum need a library built with ZVOS_IGMP_CHECKSUM.\n"
    "\n"
    "Exit status: 0 sent, 1 it could not be sent, 2 wrong usage.\n"
    "\n"
    "Examples:\n"
    "  zvos igmp join 239.255.255.250\n"
    "  zvos igmp leave 239.255.255.250\n",
    RunIGMP,
};

}  // namespace tool
