// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Addresses as texts, in logs and in the system's structures; IPv4 only.

#include <zvOS/zvSocketAddress.h>

#include <arpa/inet.h>
#include <netdb.h>
#include <cstdlib>
#include <cstring>

namespace {

bool HasOnlyDigitsAndDots(const char *aText) {
  return aText[strspn(aText, ".0123456789")] == '\0';
}

}  // namespace

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
