// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Addresses, names and the machine's own interfaces; IPv4 only.
//
// An address is a uint32 in network byte order; 0 means none. Lists are new memory, one entry per
// address of an interface in the order of the system; the caller releases a list, and each name of a
// list of names, with free().
//
// All functions may be called from any thread, except that the link-protection check is meant to be set
// at start-up; see also zvSocketGetAddressByName.
#ifndef zvOS_zvSocketAddress_h
#define zvOS_zvSocketAddress_h

#include <ifaddrs.h>

#include <zvOS/zvSocketTypes.h>

// The address of a struct sockaddr_in.
#define zvSocket_GetIPAddress(X) ((X).sin_addr.s_addr)

// The four bytes of an address as they lie in memory, for "%u.%u.%u.%u". x is any uint32 that has an address:
// a variable, constant or not, an element of an array, a field of a record, also of a packed one, what a
// pointer points to. It is evaluated four times.
#define zvSocket_IPPrintf(x)                                                                            \
  ((const unsigned char *)&(x))[0], ((const unsigned char *)&(x))[1], ((const unsigned char *)&(x))[2], \
      ((const unsigned char *)&(x))[3]

// ---- Start and stop ----

// Called once before sockets are used: logs an error when the loopback interface is not up. Returns 0.
ZVOS_API int zvSocket_Init(void);
ZVOS_API void zvSocket_UnInit(void);
ZVOS_API void zvSocket_LoopBackCheck(void);

// ---- Printing: both append to the log record that is open ----

// Appends the dotted form.
ZVOS_API void zvLog_Append_IPAddress(long anIP);

// Appends "host:port" in numbers; "NULL:NULL" for NULL, "*UNKNOWN*:*UNKNOWN*" when that is not possible.
ZVOS_API void zvLog_Append_sockaddr(struct sockaddr *anAddr);

// ---- Texts to addresses ----

// The address of a dotted form, or 0; 255.255.255.255 gives 0 as well.
ZVOS_API uint32 zvSocketGetAddressFromDotForm(const char *anIP);

// The address of a dotted form or of a host name, or 0. May wait for name servers, and for other threads
// that do: names are looked up one after the other, with gethostbyname(), whose result belongs to the
// whole process. So no thread gets another's address; but a program that calls gethostbyname() itself, while
// another of its threads is in here, overwrites that result. Such a program uses zvSocketGetAddressInfo,
// which has nothing in common between threads. So does, of itself, a child that was forked while another
// thread was looking a name up: in there gethostbyname() would never return.
ZVOS_API uint32 zvSocketGetAddressByName(const char *anHost);

// Stores the first IPv4 address of a host name, 0 when it has none. Returns 0, or the resolver's code
// (EAI_NONAME and so on), which the `_Debug` twin also stores as the last error.
ZVOS_API int zvSocketGetAddressInfo_NoDebug(const char *aFQDNAddress, uint32 *anIPAddress);
ZVOS_API int zvSocketGetAddressInfo_Debug(const char *aFQDNAddress, uint32 *anIPAddress,
                                          const char *aDebugContext);
#define zvSocketGetAddressInfo(name, address, context) zvSocketGetAddressInfo_Debug(name, address, context)

// 1 when the text begins with a number from 224 to 239, else 0: only three characters are looked at.
ZVOS_API int zvSocketIsMulticastIPAddress(const char *anIPAddress);

// 1 when the text consists of digits and exactly three dots, else 0; the numbers are not looked at.
ZVOS_API int zvSocketIsHostNameInIPDotForm(const char *aHostName);

// ---- The machine's interfaces ----

// Whether an interface is one to use: allowed by the policy, with an IPv4 address, up, and not
// loopback unless afIncludeLocalhost is non-zero. 1 or 0.
ZVOS_API int zvSocketIsInterfaceMatching(zvSocketPolicy *aSocketPolicy, struct ifaddrs *anInterface,
                                         int afIncludeLocalhost);

// Lists address, net mask, masked address and name of the interfaces to use, into those arguments
// that are not NULL. Returns the count. When the system refuses to list its interfaces, or there is no
// memory for all lists and names, the count is 0, no list is made and the list variables are left as they
// are: set them to NULL before the call and release them after it whatever the count.
ZVOS_API int zvSocketGetInterfacesInfos(zvSocketPolicy *aSocketPolicy, uint32 **anIPList, uint32 **aMaskList,
                                        uint32 **aMaskedIPList, char ***anInterfaceNameList,
                                        int afIncludeLocalhost);

// The same without names, and with addresses only.
ZVOS_API int zvSocketGetIPAddressListAndMask(zvSocketPolicy *aSocketPolicy, uint32 **anIPList,
                                             uint32 **aMaskList, uint32 **aMaskedIPList,
                                             int afIncludeLocalhost);
ZVOS_API int zvSocketGetIPAddressList(zvSocketPolicy *aSocketPolicy, uint32 **anIPList,
                                      int afIncludeLocalhost);

// A list of 127.0.0.1 alone, whatever the policy. Returns 1, also when there is no memory for the list,
// which is NULL then.
ZVOS_API int zvSocketGetLocalHostIPAddressList(zvSocketPolicy *aSocketPolicy, uint32 **anIPList);

// 127.0.0.1 for an address of this machine under the policy, any other address unchanged.
ZVOS_API uint32 zvSocketMapLocalIPAddressToLoopBack(zvSocketPolicy *aSocketPolicy, uint32 anIPAddress);

// 1 for 127.0.0.1 and for the addresses of this machine's interfaces that are up, else 0.
ZVOS_API int zvSocketIsLocalIPAddress(uint32 anIPAddress);

// Stores the host name with its terminator. Returns 0, or -1 with as much of the name as fits: a name
// needs two bytes of room more than it has characters.
ZVOS_API int zvSocket_GetHostName_NoDebug(char *anHostName, size_t aHostNameLength);
ZVOS_API int zvSocket_GetHostName_Debug(char *anHostName, size_t aHostNameLength, const char *aDebugContext);
#define zvSocketGetHostName(name, length, context) zvSocket_GetHostName_Debug(name, length, context)

// ---- Links ----

// The machine's hardware address: see zvMACAddress_Get.
ZVOS_API int zvSocket_GetMACAddress(size_t aStartingIndex, uint8 *aMACAddress);

// Looks up a neighbour's hardware address in the system's ARP table: 6 bytes into the buffer, whose
// length in *aMacAddressBufferLen becomes 6. An address without an entry leaves the buffer full of
// 0xFF and also answers 0. -1 when the buffer is shorter than 6 bytes or the table cannot be read.
ZVOS_API int zvSocket_QueryARP(struct sockaddr *anAddr, void *aMacAddressBuffer,
                               size_t *aMacAddressBufferLen);

// The registered check of links: _zvSocket_IsLinkProtected at the start, NULL for none. It is read and
// written without a lock.
ZVOS_API int (*g_zvSocket_IsLinkProtected)(int32 anIPInterface);

// Whether the link behind an address of this machine (network byte order) is protected, by the
// registered check; 0 when there is none.
ZVOS_API int zvSocket_IsLinkProtected(int32 anIPInterface);

// Replaces the check, as storing into g_zvSocket_IsLinkProtected does; NULL removes it.
ZVOS_API void zvSocket_SetLinkProtectionCheckFunc(int (*aFunction)(int32 anIPInterface));

// Asks the Wi-Fi supplicant of the interface with that address. 0 only when it says that the link is
// not encrypted, 1 otherwise: for wired links, without an answer within 2 seconds, on every error, and
// while another query runs anywhere on the machine. Errors are logged in module TCP (21).
ZVOS_API int _zvSocket_IsLinkProtected(uint32 anIPInterface);

// ---- Address structures and byte order ----

// Fills anAddrLen bytes with 0 and sets the family.
ZVOS_API void zvSocket_InitSockAddr(struct sockaddr *aSockAddr, socklen_t anAddrLen, int aFamily);

// Between host and network byte order.
ZVOS_API uint32 zvSocket_htonl(uint32 aValue);
ZVOS_API uint32 zvSocket_ntohl(uint32 aValue);
ZVOS_API uint16 zvSocket_htons(uint16 aValue);
ZVOS_API uint16 zvSocket_ntohs(uint16 aValue);

#endif
