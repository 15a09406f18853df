// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Which messages are wanted.
#pragma once

#include <zvLog/zvLog.h>

namespace zvlog {

// Takes no lock.
bool IsWanted(zvLogLevel aLevel, zvLogModule aModule);

}  // namespace zvlog
