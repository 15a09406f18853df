// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_socketlinkstatus Protected links
/// Whether the link behind an address of this machine is protected: a check that a program may replace.
///
/// @threads any thread may call any function, except that the check is meant to be set at start-up
/// @signals no
/// @fork yes
/// @errno says nothing
/// @logs nothing, but for the check itself
/// @since 1.0.0
/// @{
#ifndef zvOS_zvSocketLinkStatus_h
#define zvOS_zvSocketLinkStatus_h

#include <zvOS/zvDefines.h>

/// The registered check of links: _zvSocket_IsLinkProtected at the start, NULL for none. It takes an address
/// of this machine in network byte order, and is read and written without a lock.
ZVOS_API int (*g_zvSocket_IsLinkProtected)(int32 anIPInterface);

/// Whether the link behind an address of this machine is protected, by the registered check.
/// @param anIPInterface the address in network byte order
/// @return what the check answers; 0 when there is none
ZVOS_API int zvSocket_IsLinkProtected(int32 anIPInterface);

/// Replaces the check, as storing into #g_zvSocket_IsLinkProtected does.
/// @param aFunction answers 0 for a link that is not protected; takes an address in network byte order. NULL
///   removes the check
/// @signals yes
ZVOS_API void zvSocket_SetLinkProtectionCheckFunc(int (*aFunction)(int32 anIPInterface));

/// Asks the Wi-Fi supplicant of the interface with that address.
/// @param anIPInterface the address in network byte order
/// @return 0 only when it says that the link is not encrypted, 1 otherwise: for wired links, without an
///   answer within 2 seconds, on every error, and while another query runs anywhere on the machine
/// @logs errors, in module TCP (21)
ZVOS_API int _zvSocket_IsLinkProtected(uint32 anIPInterface);

/// @}

#endif
