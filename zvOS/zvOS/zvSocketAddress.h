// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Addresses and names; IPv4 only.
//
// An address is a uint32 in network byte order; 0 means none. All functions may be called from any thread;
// see also zvSocketGetAddressByName. The machine's interfaces and the check of their links come along, for
// callers that include this header alone.
#ifndef zvOS_zvSocketAddress_h
#define zvOS_zvSocketAddress_h

#include <zvOS/zvSocketInterfaces.h>
#include <zvOS/zvSocketLinkStatus.h>
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

// Stores the host name with its terminator. Returns 0, or -1 with as much of the name as fits: a name
// needs two bytes of room more than it has characters.
ZVOS_API int zvSocket_GetHostName_NoDebug(char *anHostName, size_t aHostNameLength);
ZVOS_API int zvSocket_GetHostName_Debug(char *anHostName, size_t aHostNameLength, const char *aDebugContext);
#define zvSocketGetHostName(name, length, context) zvSocket_GetHostName_Debug(name, length, context)

// ---- Address structures and byte order ----

// Fills anAddrLen bytes with 0 and sets the family.
ZVOS_API void zvSocket_InitSockAddr(struct sockaddr *aSockAddr, socklen_t anAddrLen, int aFamily);

// Between host and network byte order.
ZVOS_API uint32 zvSocket_htonl(uint32 aValue);
ZVOS_API uint32 zvSocket_ntohl(uint32 aValue);
ZVOS_API uint16 zvSocket_htons(uint16 aValue);
ZVOS_API uint16 zvSocket_ntohs(uint16 aValue);

#endif
