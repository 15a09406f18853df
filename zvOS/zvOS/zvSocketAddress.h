// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_socketaddress Addresses and names
/// Addresses and names; IPv4 only. An address is a uint32 in network byte order; 0 means none. The machine's
/// interfaces and the check of their links come along, for callers that include this header alone.
///
/// @threads any thread may call any function; see also zvSocketGetAddressByName
/// @signals only the conversions of byte order, zvSocket_InitSockAddr, zvSocketIsMulticastIPAddress and
///   zvSocketIsHostNameInIPDotForm
/// @fork yes; see also zvSocketGetAddressByName
/// @errno says nothing
/// @logs nothing
/// @since 1.0.0
/// @{
#ifndef zvOS_zvSocketAddress_h
#define zvOS_zvSocketAddress_h

#include <zvOS/zvSocketInterfaces.h>
#include <zvOS/zvSocketLinkStatus.h>
#include <zvOS/zvSocketTypes.h>

/// The address of a struct sockaddr_in, in network byte order.
#define zvSocket_GetIPAddress(X) ((X).sin_addr.s_addr)

/// The four bytes of an address as they lie in memory, for `"%u.%u.%u.%u"`. x is any uint32 that has an
/// address: a variable, constant or not, an element of an array, a field of a record, also of a packed one,
/// what a pointer points to. It is evaluated four times.
#define zvSocket_IPPrintf(x)                                                                            \
  ((const unsigned char *)&(x))[0], ((const unsigned char *)&(x))[1], ((const unsigned char *)&(x))[2], \
      ((const unsigned char *)&(x))[3]

// ---- Start and stop ----

/// Looks whether the loopback interface is up, as zvSocket_LoopBackCheck does. A program calls it once when
/// it starts to use sockets, to have that in its log; no other function needs it to have been called.
/// @return 0, whatever was found
/// @logs an error of module TCP (21) when the loopback interface is not up
ZVOS_API int zvSocket_Init(void);

/// Does nothing: there is nothing to release.
/// @signals yes
ZVOS_API void zvSocket_UnInit(void);

/// Looks whether 127.0.0.1 is among the addresses of the machine's interfaces that are up.
/// @logs an error of module TCP (21) when it is not
ZVOS_API void zvSocket_LoopBackCheck(void);

// ---- Printing: both append to the log record that is open ----

/// Appends the dotted form of an address to the log record that is open (see zvLog_Append_F).
/// @param anIP the address in network byte order, as it stands in `sin_addr.s_addr`; only its low 32 bits
///   count, so a 64-bit long may be negative
/// @signals yes
/// @errno left as it was
/// @logs into the open record; without one nothing
ZVOS_API void zvLog_Append_IPAddress(long anIP);

/// Appends "host:port" in numbers to the log record that is open (see zvLog_Append_F). It is "NULL:NULL" for
/// NULL, `"*UNKNOWN*:*UNKNOWN*"` when that is not possible.
/// @param anAddr an IPv4 address
/// @logs into the open record; without one nothing
ZVOS_API void zvLog_Append_sockaddr(struct sockaddr *anAddr);

// ---- Texts to addresses ----

/// The address of a dotted form.
/// @param anIP the text; NULL is none
/// @return the address in network byte order, 0 for a text that is none; 255.255.255.255 gives 0 as well
ZVOS_API uint32 zvSocketGetAddressFromDotForm(const char *anIP);

/// The address of a dotted form or of a host name. May wait for name servers.
///
/// Names are looked up one after the other, with gethostbyname(), whose result belongs to the whole process.
/// So no thread gets another's address; but a program that calls gethostbyname() itself, while another of its
/// threads is in here, overwrites that result. Such a program uses zvSocketGetAddressInfo, which has nothing
/// in common between threads.
/// @param anHost the text; NULL gives 0
/// @return the address in network byte order, or 0
/// @threads any; threads wait for each other
/// @fork yes: a child that was forked while another thread was looking a name up asks as
///   zvSocketGetAddressInfo does from then on, since gethostbyname() would never return there
ZVOS_API uint32 zvSocketGetAddressByName(const char *anHost);

/// The first IPv4 address of a host name. May wait for name servers.
/// @param aFQDNAddress the name, or a dotted form
/// @param anIPAddress stored here in network byte order, 0 when it has none
/// @return 0, or the resolver's code (EAI_NONAME and so on)
/// @errno the `_Debug` twin stores the resolver's code there, which is no number of an error: compare it with
///   EAI_ names
/// @logs the `_Debug` twin: a failure, as an error of module TCP (21)
ZVOS_API int zvSocketGetAddressInfo_NoDebug(const char *aFQDNAddress, uint32 *anIPAddress);
/// @twin{zvSocketGetAddressInfo_NoDebug}
ZVOS_API int zvSocketGetAddressInfo_Debug(const char *aFQDNAddress, uint32 *anIPAddress,
                                          const char *aDebugContext);
/// @plain{zvSocketGetAddressInfo_Debug}
#define zvSocketGetAddressInfo(name, address, context) zvSocketGetAddressInfo_Debug(name, address, context)

/// Whether a text looks like the address of a group: it begins with a number from 224 to 239. Only three
/// characters are looked at.
/// @param anIPAddress the text; NULL is none
/// @return 1 when it does, else 0
ZVOS_API int zvSocketIsMulticastIPAddress(const char *anIPAddress);

/// Whether a text consists of digits and exactly three dots; the numbers are not looked at.
/// @param aHostName the text; NULL is none
/// @return 1 when it does, else 0
ZVOS_API int zvSocketIsHostNameInIPDotForm(const char *aHostName);

/// The name of this machine, with its terminator.
/// @param anHostName room for it
/// @param aHostNameLength bytes of room: a name needs two more than it has characters
/// @return 0, or -1 with as much of the name as fits; EINVAL without room, ENAMETOOLONG with too little
/// @errno after a failure the cause
/// @logs the `_Debug` twin: a failure, as an error of module TCP (21)
ZVOS_API int zvSocket_GetHostName_NoDebug(char *anHostName, size_t aHostNameLength);
/// @twin{zvSocket_GetHostName_NoDebug}
ZVOS_API int zvSocket_GetHostName_Debug(char *anHostName, size_t aHostNameLength, const char *aDebugContext);
/// @plain{zvSocket_GetHostName_Debug}
#define zvSocketGetHostName(name, length, context) zvSocket_GetHostName_Debug(name, length, context)

// ---- Address structures and byte order ----

/// Fills an address structure with 0 and sets the family.
/// @param aSockAddr the structure
/// @param anAddrLen its length in bytes
/// @param aFamily the family, AF_INET
ZVOS_API void zvSocket_InitSockAddr(struct sockaddr *aSockAddr, socklen_t anAddrLen, int aFamily);

/// From host to network byte order.
/// @param aValue an address
/// @return the same in network byte order
ZVOS_API uint32 zvSocket_htonl(uint32 aValue);

/// From network to host byte order.
/// @param aValue an address
/// @return the same in host byte order
ZVOS_API uint32 zvSocket_ntohl(uint32 aValue);

/// From host to network byte order.
/// @param aValue a port
/// @return the same in network byte order
ZVOS_API uint16 zvSocket_htons(uint16 aValue);

/// From network to host byte order.
/// @param aValue a port
/// @return the same in host byte order
ZVOS_API uint16 zvSocket_ntohs(uint16 aValue);

/// @}

#endif
