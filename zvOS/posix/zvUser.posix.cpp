// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The user of the process.

#include <zvOS/zvUser.h>

#include <unistd.h>

extern "C" int64 zvUser_GetID(void) {
  return static_cast<int64>(getuid());
}
