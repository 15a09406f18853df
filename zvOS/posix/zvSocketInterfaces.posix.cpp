// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The machine's own interfaces, as the system and a policy know them, and the hardware addresses of
// neighbours.

#include <zvOS/zvMACAddress.h>
#include <zvOS/zvSocketInterfaces.h>
#include <zvOS/zvSocketPolicy.h>

#include "private/Owner.h"
#include "private/SocketAddress.h"

#include <net/ethernet.h>
#include <net/if.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>

using zvos::AddressIn;
using zvos::IsListed;
using zvos::LoopbackAddress;
using zvos::Owner;

namespace {

template <typename Visit>
void ForEachMatching(ifaddrs *aFirst, zvSocketPolicy *aSocketPolicy, int afIncludeLocalhost, Visit aVisit) {
  for (ifaddrs *theEntry = aFirst; theEntry != nullptr; theEntry = theEntry->ifa_next) {
    if (zvSocketIsInterfaceMatching(aSocketPolicy, theEntry, afIncludeLocalhost) != 0) aVisit(*theEntry);
  }
}

void ReleaseElement(uint32) {}

void ReleaseElement(char *aName) {
  free(aName);
}

// A list that the caller may want: made whole, or released with all that is in it.
template <typename Element>
class WantedList {
 public:
  WantedList(Element **aList, size_t aRoom)
      : mTarget(aList),
        mElements(aList != nullptr ? static_cast<Element *>(zvMalloc(aRoom * sizeof(Element))) : nullptr) {}
  ~WantedList() {
    for (size_t i = 0; mElements != nullptr && i < mCount; ++i)
      ReleaseElement(mElements.get()[i]);
  }
  WantedList(const WantedList &) = delete;
  WantedList &operator=(const WantedList &) = delete;

  bool IsWanted() const { return mTarget != nullptr; }
  // False only when there is no memory for a list that is wanted.
  bool IsUsable() const { return mTarget == nullptr || mElements != nullptr; }

  void Append(Element anElement) {
    if (mElements != nullptr) mElements.get()[mCount++] = anElement;
  }

  void HandOver() {
    if (mTarget != nullptr) *mTarget = mElements.release();
  }

 private:
  Element **const mTarget;
  Owner<Element> mElements;
  size_t mCount = 0;
};

// One line of the ARP table: whether it has the fields of an entry, and these.
struct ArpEntry {
  // As long as a line can be, with its terminator.
  static constexpr size_t kLineSize = 128;

  explicit ArpEntry(const char *aLine) {
    strcpy(mMask, "-");
    strcpy(mDevice, "-");
    mFieldCount = sscanf(aLine, "%127s 0x%x 0x%x %127s %127s %127s\n", mAddress, &mHardwareType, &mFlags,
                         mHardwareAddress, mMask, mDevice);
  }

  bool IsEntry() const { return mFieldCount >= 4; }

  bool IsOf(uint32 anAddress) const {
    in_addr theAddress;
    return inet_aton(mAddress, &theAddress) != 0 && theAddress.s_addr == anAddress;
  }

  // False for a text of another form. An entry that is not complete yet has zeros.
  bool GetHardwareAddress(uint8 *anAddress) const {
    unsigned theBytes[ETH_ALEN];
    if (sscanf(mHardwareAddress, "%x:%x:%x:%x:%x:%x", &theBytes[0], &theBytes[1], &theBytes[2], &theBytes[3],
               &theBytes[4], &theBytes[5]) != ETH_ALEN) {
      return false;
    }
    for (size_t i = 0; i < ETH_ALEN; ++i)
      anAddress[i] = static_cast<uint8>(theBytes[i]);
    return true;
  }

  int mFieldCount;
  unsigned mHardwareType;
  unsigned mFlags;
  char mAddress[kLineSize];
  char mHardwareAddress[kLineSize];
  char mMask[kLineSize];
  char mDevice[kLineSize];
};

// True, with the hardware address stored, when the table has an entry for the address, complete or not.
bool FindInArpTable(FILE *aTable, uint32 anAddress, uint8 *aHardwareAddress) {
  char theLine[ArpEntry::kLineSize];
  if (fgets(theLine, sizeof(theLine), aTable) == nullptr) return false;  // the heading

  while (fgets(theLine, sizeof(theLine), aTable) != nullptr) {
    const ArpEntry theEntry(theLine);
    if (!theEntry.IsEntry()) return false;
    if (theEntry.IsOf(anAddress) && theEntry.GetHardwareAddress(aHardwareAddress)) return true;
  }
  return false;
}

}  // namespace

// ---- The machine's interfaces ----

extern "C" int zvSocketIsInterfaceMatching(zvSocketPolicy *aSocketPolicy, ifaddrs *anInterface,
                                           int afIncludeLocalhost) {
  if (aSocketPolicy != nullptr && zvSocketPolicy_IsValidIF(aSocketPolicy, anInterface->ifa_name) == 0)
    return 0;
  if (anInterface->ifa_addr == nullptr || anInterface->ifa_addr->sa_family != AF_INET) return 0;
  if ((anInterface->ifa_flags & IFF_UP) == 0) return 0;
  return (anInterface->ifa_flags & IFF_LOOPBACK) == 0 || afIncludeLocalhost != 0 ? 1 : 0;
}

extern "C" int zvSocketGetInterfacesInfos(zvSocketPolicy *aSocketPolicy, uint32 **anIPList,
                                          uint32 **aMaskList, uint32 **aMaskedIPList,
                                          char ***anInterfaceNameList, int afIncludeLocalhost) {
  ifaddrs *theFirst = nullptr;
  if (getifaddrs(&theFirst) != 0) return 0;
  const Owner<ifaddrs, freeifaddrs> theInterfaces(theFirst);

  size_t theCount = 0;
  ForEachMatching(theFirst, aSocketPolicy, afIncludeLocalhost, [&](const ifaddrs &) { ++theCount; });
  WantedList<uint32> theAddresses(anIPList, theCount);
  WantedList<uint32> theMasks(aMaskList, theCount);
  WantedList<uint32> theMaskedAddresses(aMaskedIPList, theCount);
  WantedList<char *> theNames(anInterfaceNameList, theCount);
  bool afComplete =
      theAddresses.IsUsable() && theMasks.IsUsable() && theMaskedAddresses.IsUsable() && theNames.IsUsable();

  size_t i = 0;
  ForEachMatching(theFirst, aSocketPolicy, afIncludeLocalhost, [&](const ifaddrs &anEntry) {
    if (!afComplete || i == theCount) return;
    const uint32 theAddress = AddressIn(anEntry.ifa_addr);
    const uint32 theMask = anEntry.ifa_netmask != nullptr ? AddressIn(anEntry.ifa_netmask) : 0;
    char *const theName = theNames.IsWanted() ? zvStrdup(anEntry.ifa_name) : nullptr;
    if (theNames.IsWanted() && theName == nullptr) {
      afComplete = false;
      return;
    }
    theAddresses.Append(theAddress);
    theMasks.Append(theMask);
    theMaskedAddresses.Append(theMask & theAddress);
    theNames.Append(theName);
    ++i;
  });
  if (!afComplete) return 0;

  theAddresses.HandOver();
  theMasks.HandOver();
  theMaskedAddresses.HandOver();
  theNames.HandOver();
  return static_cast<int>(i);
}

extern "C" int zvSocketGetIPAddressListAndMask(zvSocketPolicy *aSocketPolicy, uint32 **anIPList,
                                               uint32 **aMaskList, uint32 **aMaskedIPList,
                                               int afIncludeLocalhost) {
  return zvSocketGetInterfacesInfos(aSocketPolicy, anIPList, aMaskList, aMaskedIPList, nullptr,
                                    afIncludeLocalhost);
}

extern "C" int zvSocketGetIPAddressList(zvSocketPolicy *aSocketPolicy, uint32 **anIPList,
                                        int afIncludeLocalhost) {
  return zvSocketGetInterfacesInfos(aSocketPolicy, anIPList, nullptr, nullptr, nullptr, afIncludeLocalhost);
}

extern "C" int zvSocketGetLocalHostIPAddressList(zvSocketPolicy *, uint32 **anIPList) {
  WantedList<uint32> theAddresses(anIPList, 1);
  theAddresses.Append(LoopbackAddress());
  theAddresses.HandOver();
  return 1;
}

extern "C" uint32 zvSocketMapLocalIPAddressToLoopBack(zvSocketPolicy *aSocketPolicy, uint32 anIPAddress) {
  const bool afLocal = IsListed(
      anIPAddress, [=](uint32 **aList) { return zvSocketGetIPAddressList(aSocketPolicy, aList, 0); });
  return afLocal ? LoopbackAddress() : anIPAddress;
}

extern "C" int zvSocketIsLocalIPAddress(uint32 anIPAddress) {
  if (anIPAddress == LoopbackAddress()) return 1;
  if (anIPAddress == INADDR_BROADCAST) return 0;
  return IsListed(anIPAddress, [](uint32 **aList) { return zvSocketGetIPAddressList(nullptr, aList, 0); });
}

// ---- Hardware addresses ----

extern "C" int zvSocket_GetMACAddress(size_t aStartingIndex, uint8 *aMACAddress) {
  return zvMACAddress_Get(aStartingIndex, aMACAddress);
}

extern "C" int zvSocket_QueryARP(sockaddr *anAddr, void *aMacAddressBuffer, size_t *aMacAddressBufferLen) {
  memset(aMacAddressBuffer, 0xFF, *aMacAddressBufferLen);
  zvAssert(anAddr->sa_family == AF_INET);
  if (*aMacAddressBufferLen < ETH_ALEN) return -1;

  const Owner<FILE, fclose> theTable(fopen("/proc/net/arp", "re"));
  if (theTable == nullptr) return -1;
  if (FindInArpTable(theTable.get(), AddressIn(anAddr), static_cast<uint8 *>(aMacAddressBuffer)))
    *aMacAddressBufferLen = ETH_ALEN;
  return 0;
}
