// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_macaddress Hardware address
/// The device's hardware address.
///
/// @threads any thread may call it
/// @signals no
/// @fork yes
/// @errno says nothing
/// @logs nothing
/// @since 1.0.0
/// @{
#ifndef zvOS_zvMACAddress_h
#define zvOS_zvMACAddress_h

#include <zvOS/zvDefines.h>

/// The hardware address of the first interface with an IPv4 address that has one; loopback has none.
/// @param aStartingIndex ignored
/// @param aMACAddress six bytes are stored here, in the order of the wire
/// @return 1, or -1 with six zero bytes
ZVOS_API int zvMACAddress_Get(size_t aStartingIndex, uint8 aMACAddress[6]);

/// @}

#endif
