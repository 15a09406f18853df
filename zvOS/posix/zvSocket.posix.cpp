// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Names asked of the system: of other hosts, of this one; and the look at the loopback interface at the
// start. Address texts are in zvSocketAddress, interfaces in zvSocketInterfaces.

#include <zvOS/zvSocketAddress.h>

#include "private/Failure.h"
#include "private/Lock.h"
#include "private/Owner.h"
#include "private/SocketAddress.h"

#include <netdb.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <cstring>

ZVLOG_WITH_MODULE_IF(TCP, 1)

using zvos::AddressIn;
using zvos::ErrnoAtEnd;
using zvos::ForkAwareHold;
using zvos::ForkAwareLock;
using zvos::LoopbackAddress;
using zvos::Owner;
using zvos::ReportingFailure;
using zvos::TextOrNull;

namespace {

// gethostbyname() has one result for the whole process, which the next call overwrites: a thread copies
// it before it lets another one ask.
ForkAwareLock sResolverLock;

// The C library holds a lock of its own during the call. Where that was held at a fork, by a thread that
// stayed behind, every such call would wait for ever.
std::atomic<bool> sfResolverIsBlocked;

uint32 FirstAddressOf(const hostent *aHost) ZVOS_REQUIRES(sResolverLock) {
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

}  // namespace

// ---- Start and stop ----

extern "C" int zvSocket_Init(void) {
  zvSocket_LoopBackCheck();
  return 0;
}

extern "C" void zvSocket_UnInit(void) {}

extern "C" void zvSocket_LoopBackCheck(void) {
  if (!zvos::IsListed(LoopbackAddress(),
                      [](uint32 **aList) { return zvSocketGetIPAddressList(nullptr, aList, 1); }))
    ZV_ERR(F("Error, loopback interface is not up! \n"));
}

// ---- Names ----

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
