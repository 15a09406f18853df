// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Monotonic time: never set back, counts from an unspecified start.
#ifndef zvOS_zvMonoliticTime_h
#define zvOS_zvMonoliticTime_h

#include <zvOS/zvTime.h>

// Fills in the monotonic time. On failure (logged) both fields are 0. Any thread may call it.
ZVOS_API void zvMonoliticTime_GetTime(zvtimeval *aTime);

#endif
