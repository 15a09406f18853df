// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Two questions to the system's list of interfaces: the device's hardware address, and the name of
// the interface that has a given address.

#include <zvOS/zvMACAddress.h>

#include "multiplatform/InterfaceFromIP.h"
#include "private/Failure.h"
#include "private/Owner.h"
#include "private/SocketAddress.h"

#include <net/ethernet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <cstdlib>
#include <cstring>
#include <utility>

ZVLOG_WITH_MODULE_IF(TCP, 1)

using zvos::Descriptor;
using zvos::Owner;

namespace {

// The records of the interfaces that have an IPv4 address, one per address, in the system's order.
struct InterfaceList {
  const ifreq *begin() const { return mRecords.get(); }
  const ifreq *end() const { return mRecords.get() + mCount; }

  Owner<ifreq> mRecords;
  size_t mCount;
};

// Asks the system through a socket. No records when it refuses or there is no memory.
InterfaceList ReadInterfaces(int aSocket) {
  constexpr size_t kFirstRoom = 32;
  // The system fills the room there is without a word about the rest: a full table may be cut.
  for (size_t theRoom = kFirstRoom;; theRoom *= 2) {
    Owner<ifreq> theRecords(static_cast<ifreq *>(calloc(theRoom, sizeof(ifreq))));
    ifconf theRequest = {};
    theRequest.ifc_len = static_cast<int>(theRoom * sizeof(ifreq));
    theRequest.ifc_req = theRecords.get();
    if (!theRecords || ioctl(aSocket, SIOCGIFCONF, &theRequest) != 0) return {};
    const size_t theCount = static_cast<size_t>(theRequest.ifc_len) / sizeof(ifreq);
    if (theCount < theRoom) return {std::move(theRecords), theCount};
  }
}

// A request about the interface of a record.
ifreq RequestAbout(const ifreq &aRecord) {
  ifreq theRequest = {};
  memcpy(theRequest.ifr_name, aRecord.ifr_name, sizeof(theRequest.ifr_name));
  return theRequest;
}

bool IsUsable(const ifreq &aRecord, int aFlags) {
  if ((aFlags & IFF_LOOPBACK) != 0 || (aFlags & IFF_UP) == 0) return false;
  return aRecord.ifr_addr.sa_family == AF_INET &&
         zvos::AddressIn(&aRecord.ifr_addr) != htonl(INADDR_LOOPBACK);
}

}  // namespace

extern "C" int zvMACAddress_Get(size_t, uint8 aMACAddress[ETH_ALEN]) {
  memset(aMACAddress, 0, ETH_ALEN);
  const Descriptor theSocket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!theSocket) return -1;

  for (const ifreq &theRecord : ReadInterfaces(theSocket.get())) {
    constexpr uint8 kNoAddress[ETH_ALEN] = {};
    ifreq theRequest = RequestAbout(theRecord);
    if (ioctl(theSocket.get(), SIOCGIFHWADDR, &theRequest) != 0) continue;
    if (memcmp(theRequest.ifr_hwaddr.sa_data, kNoAddress, ETH_ALEN) == 0) continue;
    memcpy(aMACAddress, theRequest.ifr_hwaddr.sa_data, ETH_ALEN);
    return 1;
  }
  return -1;
}

// The messages name another function: field logs are searched for them as they are.
Owner<char> zvos::zvSocket_GetInterfaceFromIP(uint32 anIPInterface) {
  const Descriptor theSocket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP));
  if (!theSocket) return ZVOS_FAIL(Owner<char>(), F("Error creating a socket [zvSocketGetIPAddressList]\n"));
  const InterfaceList theInterfaces = ReadInterfaces(theSocket.get());
  if (!theInterfaces.mRecords)
    return ZVOS_FAIL(Owner<char>(), F("Error calling ioctl [zvSocketGetIPAddressList]\n"));

  for (const ifreq &theRecord : theInterfaces) {
    ifreq theRequest = RequestAbout(theRecord);
    if (ioctl(theSocket.get(), SIOCGIFFLAGS, &theRequest) != 0) {
      ZV_ERR(F("Error calling ioctl: Cannot get flags [zvSocketGetIPAddressList]\n"));
      continue;
    }
    if (IsUsable(theRecord, theRequest.ifr_flags) && AddressIn(&theRecord.ifr_addr) == anIPInterface)
      return Owner<char>(zvStrndup(theRecord.ifr_name, sizeof(theRecord.ifr_name)));
  }
  return Owner<char>();
}
