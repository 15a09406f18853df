// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_socketinterfaces Interfaces
/// The machine's own interfaces, as the system and a policy know them, and hardware addresses; IPv4 only. An
/// address is a uint32 in network byte order. Lists are new memory, one entry per address of an interface in
/// the order of the system; the caller releases a list, and each name of a list of names, with free().
///
/// ```c
/// uint32 *theAddresses = NULL;
/// int theCount = zvSocketGetIPAddressList(NULL, &theAddresses, 0);
/// for (int i = 0; i < theCount; ++i) printf("%u.%u.%u.%u\n", zvSocket_IPPrintf(theAddresses[i]));
/// free(theAddresses);
/// ```
///
/// @threads any thread may call any function
/// @signals no: memory is allocated
/// @fork yes
/// @errno says nothing
/// @logs nothing
/// @since 1.0.0
/// @{
#ifndef zvOS_zvSocketInterfaces_h
#define zvOS_zvSocketInterfaces_h

#include <ifaddrs.h>

#include <zvOS/zvSocketTypes.h>

/// Whether an interface is one to use. Such a one is allowed by the policy, with an IPv4 address, up, and not
/// loopback unless that is wanted.
/// @param aSocketPolicy the policy; NULL restricts nothing
/// @param anInterface an entry of getifaddrs()
/// @param afIncludeLocalhost non-zero: loopback is wanted
/// @return 1 when it is, else 0
/// @signals yes, without a policy
ZVOS_API int zvSocketIsInterfaceMatching(zvSocketPolicy *aSocketPolicy, struct ifaddrs *anInterface,
                                         int afIncludeLocalhost);

/// Lists address, net mask, masked address and name of the interfaces to use. They go into those arguments
/// that are not NULL. When the system refuses to list its interfaces, or there is no memory for all lists and
/// names, the count is 0, no list is made and the list variables are left as they are: set them to NULL
/// before the call and release them after it whatever the count.
/// @param aSocketPolicy the policy; NULL restricts nothing
/// @param anIPList a new list of addresses in network byte order is stored here, which the caller releases
///   with free(); may be NULL
/// @param aMaskList a new list of net masks in network byte order, likewise
/// @param aMaskedIPList a new list of addresses of networks in network byte order, likewise
/// @param anInterfaceNameList a new list of names, likewise; the caller releases each name with free() before
///   the list
/// @param afIncludeLocalhost non-zero: loopback is listed, too
/// @return the count of entries of each list
ZVOS_API int zvSocketGetInterfacesInfos(zvSocketPolicy *aSocketPolicy, uint32 **anIPList, uint32 **aMaskList,
                                        uint32 **aMaskedIPList, char ***anInterfaceNameList,
                                        int afIncludeLocalhost);

/// Lists address, net mask and masked address of the interfaces to use. It is zvSocketGetInterfacesInfos
/// without names.
/// @param aSocketPolicy the policy; NULL restricts nothing
/// @param anIPList a new list of addresses in network byte order is stored here, which the caller releases
///   with free(); may be NULL
/// @param aMaskList a new list of net masks in network byte order, likewise
/// @param aMaskedIPList a new list of addresses of networks in network byte order, likewise
/// @param afIncludeLocalhost non-zero: loopback is listed, too
/// @return the count of entries of each list; 0 as by zvSocketGetInterfacesInfos
ZVOS_API int zvSocketGetIPAddressListAndMask(zvSocketPolicy *aSocketPolicy, uint32 **anIPList,
                                             uint32 **aMaskList, uint32 **aMaskedIPList,
                                             int afIncludeLocalhost);

/// Lists the addresses of the interfaces to use.
/// @param aSocketPolicy the policy; NULL restricts nothing
/// @param anIPList a new list of addresses in network byte order is stored here, which the caller releases
///   with free()
/// @param afIncludeLocalhost non-zero: loopback is listed, too
/// @return the count; 0 as by zvSocketGetInterfacesInfos
ZVOS_API int zvSocketGetIPAddressList(zvSocketPolicy *aSocketPolicy, uint32 **anIPList,
                                      int afIncludeLocalhost);

/// A list of 127.0.0.1 alone, whatever the policy.
/// @param aSocketPolicy not looked at
/// @param anIPList a new list, its address in network byte order, is stored here, which the caller releases
///   with free(); NULL when there is no memory
/// @return 1, also when there is no memory
ZVOS_API int zvSocketGetLocalHostIPAddressList(zvSocketPolicy *aSocketPolicy, uint32 **anIPList);

/// The loopback address for an address of this machine.
/// @param aSocketPolicy which interfaces count; NULL restricts nothing
/// @param anIPAddress an address in network byte order
/// @return 127.0.0.1 for an address of this machine under the policy, any other address unchanged; in network
///   byte order
ZVOS_API uint32 zvSocketMapLocalIPAddressToLoopBack(zvSocketPolicy *aSocketPolicy, uint32 anIPAddress);

/// Whether an address is this machine's: 127.0.0.1 or that of an interface that is up.
/// @param anIPAddress the address in network byte order
/// @return 1 when it is, else 0
ZVOS_API int zvSocketIsLocalIPAddress(uint32 anIPAddress);

// ---- Hardware addresses ----

/// The machine's hardware address, by zvMACAddress_Get.
/// @param aStartingIndex ignored
/// @param aMACAddress six bytes are stored here
/// @return 1, or -1 with six zero bytes
ZVOS_API int zvSocket_GetMACAddress(size_t aStartingIndex, uint8 *aMACAddress);

/// Looks up a neighbour's hardware address in the system's ARP table.
/// @param anAddr the neighbour's IPv4 address; another family asserts
/// @param aMacAddressBuffer six bytes are stored here, all zero while the neighbour has not answered; an
///   address without an entry leaves the buffer full of 0xFF
/// @param aMacAddressBufferLen on entry the bytes of room, becomes 6 when there is an entry
/// @return 0, also without an entry; -1 when the buffer is shorter than 6 bytes or the table cannot be read
ZVOS_API int zvSocket_QueryARP(struct sockaddr *anAddr, void *aMacAddressBuffer,
                               size_t *aMacAddressBufferLen);

/// @}

#endif
