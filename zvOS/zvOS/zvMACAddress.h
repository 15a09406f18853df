// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The device's hardware address.
#ifndef zvOS_zvMACAddress_h
#define zvOS_zvMACAddress_h

#include <zvOS/zvDefines.h>

// Stores the hardware address of the first interface with an IPv4 address that has one; loopback has
// none. aStartingIndex is ignored. Returns 1, or -1 with six zero bytes. Nothing is logged. Any
// thread may call it.
ZVOS_API int zvMACAddress_Get(size_t aStartingIndex, uint8 aMACAddress[6]);

#endif
