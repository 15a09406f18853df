// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The user of the process.
#ifndef zvOS_zvUser_h
#define zvOS_zvUser_h

#include <zvOS/zvDefines.h>

// The real user id. Any thread may call it.
ZVOS_API int64 zvUser_GetID(void);

#endif
