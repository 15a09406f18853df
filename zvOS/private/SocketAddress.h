// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// IPv4 addresses as the system's calls take them.
#pragma once

#include <zvOS/zvSocketTypes.h>

#include "private/Owner.h"

#include <arpa/inet.h>
#include <netinet/in.h>

namespace zvos {

// Both in network byte order.
inline sockaddr_in SocketAddress(uint32 anAddress, uint16 aPort) {
  sockaddr_in theAddress = {};
  theAddress.sin_family = AF_INET;
  theAddress.sin_port = aPort;
  theAddress.sin_addr.s_addr = anAddress;
  return theAddress;
}

inline sockaddr *Generic(sockaddr_in *anAddress) {
  return reinterpret_cast<sockaddr *>(anAddress);
}

inline uint32 LoopbackAddress() {
  return htonl(INADDR_LOOPBACK);
}

// The IPv4 address in a structure of that family.
inline uint32 AddressIn(const sockaddr *anAddress) {
  return reinterpret_cast<const sockaddr_in *>(reinterpret_cast<const void *>(anAddress))->sin_addr.s_addr;
}

// Whether an address is in the list that aFill(uint32 **) makes and counts. Without memory there is a count
// and no list.
template <typename Fill>
bool IsListed(uint32 anAddress, Fill aFill) {
  uint32 *theAddresses = nullptr;
  const int theCount = aFill(&theAddresses);
  const Owner<uint32> theOwner(theAddresses);
  for (int i = 0; theAddresses != nullptr && i < theCount; ++i) {
    if (theAddresses[i] == anAddress) return true;
  }
  return false;
}

}  // namespace zvos
