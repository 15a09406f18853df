// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_monolitictime Monotonic time
/// Monotonic time: never set back, counts from an unspecified start.
///
/// @threads any thread may call it
/// @signals yes
/// @fork yes: the clock is the same one
/// @errno left alone, or what the system said when the clock cannot be read
/// @logs a failure, as an error of module ZVOS (7)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvMonoliticTime_h
#define zvOS_zvMonoliticTime_h

#include <zvOS/zvTime.h>

/// Fills in the monotonic time.
/// @param aTime seconds and microseconds are stored here; on failure (logged) both are 0
ZVOS_API void zvMonoliticTime_GetTime(zvtimeval *aTime);

/// @}

#endif
