// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Listing the machine's own addresses, and asking for one that it does not have, when there are many: on a
// network of our own, which takes root.

#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <stdlib.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <zvOS/zvSocketAddress.h>

#include "growth/growth.h"

namespace zvbench {
namespace {

// For this thread, while it lives: a network with nothing but a loopback interface.
class OwnNetwork {
 public:
  OwnNetwork()
      : mBefore(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC)),
        mfEntered(mBefore >= 0 && unshare(CLONE_NEWNET) == 0) {}
  ~OwnNetwork() {
    if (mfEntered && setns(mBefore, CLONE_NEWNET) != 0) Fail("cannot go back to the machine's network");
    if (mBefore >= 0) close(mBefore);
  }
  OwnNetwork(const OwnNetwork &) = delete;
  OwnNetwork &operator=(const OwnNetwork &) = delete;

  bool IsEntered() const { return mfEntered; }

  // The loopback interface's own address is the first.
  void MakeAddresses(uint32 aCount) const {
    const int theSocket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    struct ifreq theRequest = {};
    strcpy(theRequest.ifr_name, "lo");
    theRequest.ifr_flags = IFF_UP;
    bool afMade = ioctl(theSocket, SIOCSIFFLAGS, &theRequest) == 0;
    for (uint32 i = 1; i < aCount; ++i) {
      snprintf(theRequest.ifr_name, sizeof(theRequest.ifr_name), "lo:%u", static_cast<unsigned>(i));
      struct sockaddr_in theAddress = {};
      theAddress.sin_family = AF_INET;
      theAddress.sin_addr.s_addr = htonl(0x0a000000 + i);
      memcpy(&theRequest.ifr_addr, &theAddress, sizeof(theAddress));
      afMade = afMade && ioctl(theSocket, SIOCSIFADDR, &theRequest) == 0;
    }
    close(theSocket);
    if (!afMade) Fail("cannot make an address");
  }

 private:
  const int mBefore;
  const bool mfEntered;
};

bool HasAddress(const struct ifaddrs &anEntry) {
  return anEntry.ifa_addr != nullptr && anEntry.ifa_addr->sa_family == AF_INET &&
         (anEntry.ifa_flags & IFF_UP) != 0;
}

uint32 AddressOf(const struct ifaddrs &anEntry) {
  struct sockaddr_in theAddress;
  memcpy(&theAddress, anEntry.ifa_addr, sizeof(theAddress));
  return theAddress.sin_addr.s_addr;
}

uint32 ListBare() {
  struct ifaddrs *theFirst = nullptr;
  if (getifaddrs(&theFirst) != 0) return 0;
  std::vector<uint32> theList;
  for (const struct ifaddrs *theEntry = theFirst; theEntry != nullptr; theEntry = theEntry->ifa_next) {
    if (HasAddress(*theEntry)) theList.push_back(AddressOf(*theEntry));
  }
  freeifaddrs(theFirst);
  return static_cast<uint32>(theList.size());
}

uint32 ListOurs() {
  uint32 *theList = nullptr;
  const int theCount = zvSocketGetIPAddressList(nullptr, &theList, 1);
  free(theList);
  return static_cast<uint32>(theCount);
}

bool IsLocalBare(uint32 anAddress) {
  struct ifaddrs *theFirst = nullptr;
  if (getifaddrs(&theFirst) != 0) Fail("getifaddrs failed");
  bool afLocal = false;
  for (const struct ifaddrs *theEntry = theFirst; theEntry != nullptr; theEntry = theEntry->ifa_next)
    afLocal = afLocal || (HasAddress(*theEntry) && AddressOf(*theEntry) == anAddress);
  freeifaddrs(theFirst);
  return afLocal;
}

std::shared_ptr<const OwnNetwork> NetworkWith(uint32 aCount) {
  auto theNetwork = std::make_shared<const OwnNetwork>();
  if (!theNetwork->IsEntered()) {
    fprintf(stderr, "zvos_growth: no row of interfaces, for a network of our own takes root\n");
    return nullptr;
  }
  theNetwork->MakeAddresses(aCount);
  return theNetwork;
}

std::optional<Trial> Listing(uint32 aCount) {
  const auto theNetwork = NetworkWith(aCount);
  if (!theNetwork) return std::nullopt;
  return Trial{Repeat([aCount] { return ListBare() != aCount; }),
               Repeat([aCount] { return ListOurs() != aCount; }),
               static_cast<double>(aCount),
               {},
               {theNetwork}};
}

std::optional<Trial> Asking(uint32 aCount) {
  const auto theNetwork = NetworkWith(aCount);
  if (!theNetwork) return std::nullopt;
  const uint32 theStranger = htonl(0xc0000201);  // 192.0.2.1
  return Trial{Repeat([=] { return IsLocalBare(theStranger); }),
               Repeat([=] { return zvSocketIsLocalIPAddress(theStranger); }),
               static_cast<double>(aCount),
               {},
               {theNetwork}};
}

}  // namespace

std::vector<GrowthRow> InterfaceGrowth() {
  const std::vector<uint32> theSizes = {2, 20, 200, 800};
  return {{"interface list", "addresses", "for an address", nullptr, "getifaddrs, a list, freeifaddrs",
           "zvSocketGetIPAddressList", theSizes, Listing},
          {"address of somebody else", "addresses", "for an address", nullptr,
           "getifaddrs, a comparison with each, freeifaddrs", "zvSocketIsLocalIPAddress", theSizes, Asking}};
}

}  // namespace zvbench
