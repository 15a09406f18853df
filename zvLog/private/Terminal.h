// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Lines for a terminal: what would be a command to it is shown instead.
#pragma once

#include "HarmlessWrite.h"

namespace zvlog {

// Writes a line with its control characters shown as "\x1b", but for tabs and the line feed at its end.
// C1 codes count as such both as bytes of their own and in UTF-8.
Written WriteToTerminal(const Target &aTarget, const char *aLine, size_t aLength, Patience *aPatience);

}  // namespace zvlog
