// Two questions to the system's list of interfaces: the device's hardware address, and the name of
// the interface that has a given address.

#include <zvOS/zvMACAddress.h>

#include "private/Failure.h"
#include "private/Descriptor.h"
#include "private/InterfaceFromIP.h"
#include "private/SocketAddress.h"

#include <net/ethernet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <cstdlib>
#include <cstring>

ZVLOG_WITH_MODULE_IF(TCP, 1)

using zvos::Descriptor;
using zvos::HeapText;

namespace {

// The records of the interfaces that have an IPv4 address, one per address, in the system's order.
class InterfaceRecords {
 public:
  InterfaceRecords() = default;
  ~InterfaceRecords() { free(mRecords); }
  InterfaceRecords(const InterfaceRecords &) = delete;
  InterfaceRecords &operator=(const InterfaceRecords &) = delete;

  // Asks the system through a socket. False when it refuses or there is no memory.
  bool Read(int aSocket) {
    // The system fills the room there is without a word about the rest: a full table may be cut.
    for (size_t theRoom = kFirstRoom;; theRoom *= 2) {
      free(mRecords);
      mRecords = static_cast<ifreq *>(calloc(theRoom, sizeof(ifreq)));
      if (mRecords == nullptr) return false;

      ifconf theRequest = {};
      theRequest.ifc_len = static_cast<int>(theRoom * sizeof(ifreq));
      theRequest.ifc_req = mRecords;
      if (ioctl(aSocket, SIOCGIFCONF, &theRequest) != 0) return false;
      mCount = static_cast<size_t>(theRequest.ifc_len) / sizeof(ifreq);
      if (mCount < theRoom) return true;
    }
  }

  const ifreq *begin() const { return mRecords; }
  const ifreq *end() const { return mRecords + mCount; }

 private:
  static constexpr size_t kFirstRoom = 32;

  ifreq *mRecords = nullptr;
  size_t mCount = 0;
};

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
  InterfaceRecords theRecords;
  if (!theSocket || !theRecords.Read(theSocket.get())) return -1;

  for (const ifreq &theRecord : theRecords) {
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
HeapText zvos::zvSocket_GetInterfaceFromIP(uint32 anIPInterface) {
  const Descriptor theSocket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP));
  if (!theSocket) return ZVOS_FAIL(HeapText(), F("Error creating a socket [zvSocketGetIPAddressList]\n"));
  InterfaceRecords theRecords;
  if (!theRecords.Read(theSocket.get()))
    return ZVOS_FAIL(HeapText(), F("Error calling ioctl [zvSocketGetIPAddressList]\n"));

  for (const ifreq &theRecord : theRecords) {
    ifreq theRequest = RequestAbout(theRecord);
    if (ioctl(theSocket.get(), SIOCGIFFLAGS, &theRequest) != 0) {
      ZV_ERR(F("Error calling ioctl: Cannot get flags [zvSocketGetIPAddressList]\n"));
      continue;
    }
    if (IsUsable(theRecord, theRequest.ifr_flags) && AddressIn(&theRecord.ifr_addr) == anIPInterface)
      return HeapText(zvStrndup(theRecord.ifr_name, sizeof(theRecord.ifr_name)));
  }
  return HeapText();
}
