// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Listing the machine's own addresses.

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <stdlib.h>

#include <zvOS/zvSocketInterfaces.h>

#include "support/Rows.h"

namespace zvbench {
namespace {

bool HasAddress(const struct ifaddrs &anEntry) {
  return anEntry.ifa_addr != nullptr && anEntry.ifa_addr->sa_family == AF_INET &&
         (anEntry.ifa_flags & IFF_UP) != 0;
}

// The IPv4 addresses of the interfaces that are up, as new memory. Returns their count.
int ListAddresses(uint32 **aList) {
  struct ifaddrs *theFirst = nullptr;
  if (getifaddrs(&theFirst) != 0) Fail("getifaddrs failed");
  size_t theCount = 0;
  for (const struct ifaddrs *theEntry = theFirst; theEntry != nullptr; theEntry = theEntry->ifa_next)
    theCount += HasAddress(*theEntry);
  *aList = static_cast<uint32 *>(malloc(theCount * sizeof(uint32)));
  if (*aList == nullptr) Fail("out of memory");
  uint32 *theNext = *aList;
  for (const struct ifaddrs *theEntry = theFirst; theEntry != nullptr; theEntry = theEntry->ifa_next) {
    if (!HasAddress(*theEntry)) continue;
    const auto *theAddress = reinterpret_cast<const struct sockaddr_in *>(theEntry->ifa_addr);
    *theNext++ = theAddress->sin_addr.s_addr;
  }
  freeifaddrs(theFirst);
  return static_cast<int>(theCount);
}

int ListOurAddresses(uint32 **aList) {
  return zvSocketGetIPAddressList(nullptr, aList, 1);
}

// 0 when the list is as long as it should be.
int ListAndRelease(int (*aFunction)(uint32 **), int aCount) {
  uint32 *theList = nullptr;
  const int theCount = aFunction(&theList);
  KeepAlive(theList);
  free(theList);
  return theCount != aCount;
}

Sides InterfaceList() {
  uint32 *theList = nullptr;
  const int theCount = ListAddresses(&theList);
  free(theList);
  if (theCount == 0) Fail("no network interface has an address");
  return {Repeat([theCount] { return ListAndRelease(ListAddresses, theCount); }),
          Repeat([theCount] { return ListAndRelease(ListOurAddresses, theCount); }),
          {}};
}

}  // namespace

std::vector<Row> InterfaceRows() {
  return {
      {"interface list", "getifaddrs, two walks, malloc, freeifaddrs, free", "zvSocketGetIPAddressList, free",
       NoTarget(), InterfaceList},
  };
}

}  // namespace zvbench
