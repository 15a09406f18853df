// Addresses, names and the machine's own interfaces; IPv4 only.

#include <zvOS/zvMACAddress.h>
#include <zvOS/zvSocketAddress.h>
#include <zvOS/zvSocketPolicy.h>

#include "private/Failure.h"
#include "private/Lock.h"
#include "private/Owner.h"
#include "private/SocketAddress.h"

#include <net/ethernet.h>
#include <net/if.h>
#include <netdb.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

ZVLOG_WITH_MODULE_IF(TCP, 1)

using zvos::AddressIn;
using zvos::ErrnoAtEnd;
using zvos::ForkAwareHold;
using zvos::ForkAwareLock;
using zvos::IsListed;
using zvos::Owner;
using zvos::ReportingFailure;
using zvos::TextOrNull;

namespace {

uint32 LoopbackAddress() {
  return htonl(INADDR_LOOPBACK);
}

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

// gethostbyname() has one result for the whole process, which the next call overwrites: a thread copies
// it before it lets another one ask.
ForkAwareLock sResolverLock;

// The C library holds a lock of its own during the call. Where that was held at a fork, by a thread that
// stayed behind, every such call would wait for ever.
std::atomic<bool> sfResolverIsBlocked;

uint32 FirstAddressOf(const hostent *aHost) {
  if (aHost == nullptr || aHost->h_addrtype != AF_INET || aHost->h_addr_list[0] == nullptr) return 0;
  in_addr theFirst;
  memcpy(&theFirst, aHost->h_addr_list[0], sizeof(theFirst));
  return theFirst.s_addr;
}

// False when the resolver cannot be asked in this process.
bool AskResolver(const char *aHost, uint32 *anAddress) {
  if (sfResolverIsBlocked.load(std::memory_order_relaxed)) return false;
  const ForkAwareHold theHold(sResolverLock);
  if (!theHold.IsUndisturbed()) sfResolverIsBlocked.store(true, std::memory_order_relaxed);
  // Also for those who waited for the lock while another thread found out.
  if (sfResolverIsBlocked.load(std::memory_order_relaxed)) return false;
  *anAddress = FirstAddressOf(gethostbyname(aHost));
  return true;
}

bool HasOnlyDigitsAndDots(const char *aText) {
  return aText[strspn(aText, ".0123456789")] == '\0';
}

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

  // False for an entry that is not complete yet.
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

// True, with the hardware address stored, when the table has a complete entry for the address.
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

// Set at start-up, hence read without a lock. It is the platform's check itself, so that callers can compare
// and put it back; that one takes the same 32 bits as an unsigned number.
int (*g_zvSocket_IsLinkProtected)(int32 anIPInterface) =
    reinterpret_cast<int (*)(int32)>(_zvSocket_IsLinkProtected);

// ---- Start and stop ----

extern "C" int zvSocket_Init(void) {
  zvSocket_LoopBackCheck();
  return 0;
}

extern "C" void zvSocket_UnInit(void) {}

extern "C" void zvSocket_LoopBackCheck(void) {
  if (!IsListed(LoopbackAddress(),
                [](uint32 **aList) { return zvSocketGetIPAddressList(nullptr, aList, 1); }))
    ZV_ERR(F("Error, loopback interface is not up! \n"));
}

// ---- Printing ----

extern "C" void zvLog_Append_IPAddress(long anIP) {
  const uint32 theAddress = ntohl(static_cast<uint32>(anIP));
  const auto theByte = [theAddress](int aShift) -> unsigned long { return theAddress >> aShift & 0xFF; };
  zvLog_Append_F("%lu.%lu.%lu.%lu", theByte(24), theByte(16), theByte(8), theByte(0));
}

extern "C" void zvLog_Append_sockaddr(sockaddr *anAddr) {
  if (anAddr == nullptr) {
    zvLog_Append_F("NULL:NULL");
    return;
  }
  char theHost[128] = "*UNKNOWN*";
  char theService[16] = "*UNKNOWN*";
  getnameinfo(anAddr, sizeof(sockaddr_in), theHost, sizeof(theHost), theService, sizeof(theService),
              NI_NUMERICHOST | NI_NUMERICSERV);
  zvLog_Append_F("%s:%s", theHost, theService);
}

// ---- Texts to addresses ----

extern "C" uint32 zvSocketGetAddressFromDotForm(const char *anIP) {
  const uint32 theAddress = anIP != nullptr ? inet_addr(anIP) : INADDR_NONE;
  return theAddress != INADDR_NONE ? theAddress : 0;
}

extern "C" uint32 zvSocketGetAddressByName(const char *anHost) {
  if (anHost == nullptr) return 0;
  uint32 theAddress = zvSocketGetAddressFromDotForm(anHost);
  if (theAddress == 0 && !AskResolver(anHost, &theAddress))
    zvSocketGetAddressInfo_NoDebug(anHost, &theAddress);  // has no lock and no result in common
  return theAddress;
}

extern "C" int zvSocketGetAddressInfo_NoDebug(const char *aFQDNAddress, uint32 *anIPAddress) {
  *anIPAddress = 0;

  addrinfo theHints = {};
  theHints.ai_family = AF_UNSPEC;
  theHints.ai_socktype = SOCK_STREAM;
  addrinfo *theFirst = nullptr;
  const int theCode = getaddrinfo(aFQDNAddress, nullptr, &theHints, &theFirst);
  if (theCode != 0) return theCode;
  const Owner<addrinfo, freeaddrinfo> theEntries(theFirst);

  for (const addrinfo *theEntry = theFirst; theEntry != nullptr; theEntry = theEntry->ai_next) {
    if (theEntry->ai_family == AF_INET && theEntry->ai_addrlen >= sizeof(in_addr)) {
      *anIPAddress = AddressIn(theEntry->ai_addr);
      break;
    }
  }
  return 0;
}

extern "C" int zvSocketGetAddressInfo_Debug(const char *aFQDNAddress, uint32 *anIPAddress,
                                            const char *aDebugContext) {
  const int theCode = zvSocketGetAddressInfo_NoDebug(aFQDNAddress, anIPAddress);
  if (theCode != 0) {
    // The resolver's code, which is no errno value: callers compare the last error with EAI_ names.
    const ErrnoAtEnd theError(theCode);
    ZV_ERR(F("Error getting address for '%s', Error = %d [%s]\n", TextOrNull(aFQDNAddress), theCode,
             aDebugContext));
  }
  return theCode;
}

extern "C" int zvSocketIsMulticastIPAddress(const char *anIPAddress) {
  if (anIPAddress == nullptr) return 0;
  char theStart[4] = {};
  strncpy(theStart, anIPAddress, sizeof(theStart) - 1);
  const int theNumber = atoi(theStart);
  return theNumber >= 224 && theNumber < 240 ? 1 : 0;
}

extern "C" int zvSocketIsHostNameInIPDotForm(const char *aHostName) {
  if (aHostName == nullptr || !HasOnlyDigitsAndDots(aHostName)) return 0;
  int theDots = 0;
  for (const char *theDot = strchr(aHostName, '.'); theDot != nullptr; theDot = strchr(theDot + 1, '.'))
    ++theDots;
  return theDots == 3 ? 1 : 0;
}

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

extern "C" int zvSocket_GetHostName_NoDebug(char *anHostName, size_t aHostNameLength) {
  if (anHostName == nullptr || aHostNameLength == 0) {
    errno = EINVAL;
    return -1;
  }
  // The system leaves out the terminator when it cuts a name.
  anHostName[0] = '\0';
  anHostName[aHostNameLength - 1] = '\0';
  return gethostname(anHostName, aHostNameLength - 1);
}

extern "C" int zvSocket_GetHostName_Debug(char *anHostName, size_t aHostNameLength,
                                          const char *aDebugContext) {
  return ReportingFailure(zvSocket_GetHostName_NoDebug(anHostName, aHostNameLength), [=](int anError) {
    ZV_ERR(F("Error calling gethostname: Error = %d [%s]\n", anError, aDebugContext));
  });
}

// ---- Links ----

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

extern "C" int zvSocket_IsLinkProtected(int32 anIPInterface) {
  const auto theFunction = g_zvSocket_IsLinkProtected;
  return theFunction != nullptr ? theFunction(anIPInterface) : 0;
}

extern "C" void zvSocket_SetLinkProtectionCheckFunc(int (*aFunction)(int32 anIPInterface)) {
  g_zvSocket_IsLinkProtected = aFunction;
}

// ---- Address structures and byte order ----

extern "C" void zvSocket_InitSockAddr(sockaddr *aSockAddr, socklen_t anAddrLen, int aFamily) {
  memset(aSockAddr, 0, anAddrLen);
  aSockAddr->sa_family = static_cast<sa_family_t>(aFamily);
}

extern "C" uint32 zvSocket_htonl(uint32 aValue) {
  return htonl(aValue);
}

extern "C" uint32 zvSocket_ntohl(uint32 aValue) {
  return ntohl(aValue);
}

extern "C" uint16 zvSocket_htons(uint16 aValue) {
  return htons(aValue);
}

extern "C" uint16 zvSocket_ntohs(uint16 aValue) {
  return ntohs(aValue);
}
