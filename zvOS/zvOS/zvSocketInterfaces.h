// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The machine's own interfaces, as the system and a policy know them, and hardware addresses; IPv4 only.
//
// An address is a uint32 in network byte order. Lists are new memory, one entry per address of an interface
// in the order of the system; the caller releases a list, and each name of a list of names, with free().
// All functions may be called from any thread.
#ifndef zvOS_zvSocketInterfaces_h
#define zvOS_zvSocketInterfaces_h

#include <ifaddrs.h>

#include <zvOS/zvSocketTypes.h>

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

// ---- Hardware addresses ----

// The machine's hardware address: see zvMACAddress_Get.
ZVOS_API int zvSocket_GetMACAddress(size_t aStartingIndex, uint8 *aMACAddress);

// Looks up a neighbour's hardware address in the system's ARP table: 6 bytes into the buffer, whose
// length in *aMacAddressBufferLen becomes 6. An address without an entry leaves the buffer full of
// 0xFF and also answers 0. -1 when the buffer is shorter than 6 bytes or the table cannot be read.
ZVOS_API int zvSocket_QueryARP(struct sockaddr *anAddr, void *aMacAddressBuffer,
                               size_t *aMacAddressBufferLen);

#endif
