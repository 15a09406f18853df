// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_user User
/// The user of the process.
///
/// @threads any thread may call it
/// @signals yes
/// @fork yes
/// @errno left alone
/// @logs nothing
/// @since 1.0.0
/// @{
#ifndef zvOS_zvUser_h
#define zvOS_zvUser_h

#include <zvOS/zvDefines.h>

/// The real user id.
/// @return as getuid() gives it, 0 for root
ZVOS_API int64 zvUser_GetID(void);

/// @}

#endif
