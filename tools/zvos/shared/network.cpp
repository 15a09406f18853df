// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "shared/network.h"

#include "shared/owners.h"

#include <netdb.h>

#include <algorithm>

namespace tool {

std::string AddressText(uint32 anAddress) {
  char theText[16];
  zv_snprintf(theText, sizeof(theText), "%u.%u.%u.%u", zvSocket_IPPrintf(anAddress));
  return theText;
}

std::string EndpointText(const Endpoint &anEndpoint) {
  return AddressText(anEndpoint.mAddress) + ":" + std::to_string(anEndpoint.mPort);
}

struct sockaddr_in SocketAddress(const Endpoint &anEndpoint) {
  struct sockaddr_in theAddress;
  zvSocket_InitSockAddr(reinterpret_cast<struct sockaddr *>(&theAddress), sizeof(theAddress), AF_INET);
  theAddress.sin_addr.s_addr = anEndpoint.mAddress;
  theAddress.sin_port = zvSocket_htons(anEndpoint.mPort);
  return theAddress;
}

Endpoint EndpointOf(const struct sockaddr_in &anAddress) {
  return {zvSocket_GetIPAddress(anAddress), zvSocket_ntohs(anAddress.sin_port)};
}

MaybeProblem FindAddress(const std::string &aHost, uint32 &anAddress) {
  const int theCode = zvSocketGetAddressInfo(aHost.c_str(), &anAddress, "zvos: address of a host");
  if (theCode == 0 && (anAddress != 0 || aHost == "0.0.0.0")) return {};
  return BadInput("cannot find '" + aHost +
                  "': " + (theCode != 0 ? gai_strerror(theCode) : "it has no IPv4 address"));
}

Endpoint OwnEndpoint(zvSocket aSocket) {
  long theAddress = 0;
  unsigned short thePort = 0;
  zvSocketGetSockName(aSocket, &theAddress, &thePort, "zvos: own address");
  return {zvSocket_htonl(static_cast<uint32>(theAddress)), thePort};
}

bool HasLoopback() {
  uint32 *theAddresses = nullptr;
  const int theCount = zvSocketGetIPAddressList(nullptr, &theAddresses, 1);
  const Owner<uint32, free> theList(theAddresses);
  const uint32 *const theEnd = theAddresses + std::max(theCount, 0);
  return std::find(static_cast<const uint32 *>(theAddresses), theEnd, zvSocket_htonl(INADDR_LOOPBACK)) !=
         theEnd;
}

void SocketOwner::Reset(zvSocket aSocket) {
  if (IsOpen()) zvSocketClose(mSocket, mLabel);
  mSocket = aSocket;
}

bool SocketOwner::Connect(const Endpoint &aPeer) const {
  struct sockaddr_in theAddress = SocketAddress(aPeer);
  return zvSocketConnect(mSocket, reinterpret_cast<struct sockaddr *>(&theAddress), sizeof(theAddress),
                         mLabel) == 0;
}

}  // namespace tool
