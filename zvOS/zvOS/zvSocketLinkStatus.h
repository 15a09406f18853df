// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Whether the link behind an address of this machine is protected: a check that a program may replace. All
// functions may be called from any thread, except that the check is meant to be set at start-up.
#ifndef zvOS_zvSocketLinkStatus_h
#define zvOS_zvSocketLinkStatus_h

#include <zvOS/zvDefines.h>

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

#endif
