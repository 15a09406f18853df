// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What a message costs that nobody wants: the price of leaving traces in the code.

#include <zvOS/zvLogDefines.h>

#include "support/Rows.h"
#include "log/SilentMessage.h"

namespace zvbench {
namespace {

Sides SilentMessage() {
  if (ZVLOGLEVEL_DEBUG < _zvLog_LevelNow()) Fail("the log level lets debug messages through");
  return {LoopWithoutMessages, LoopWithSilentMessages, {}};
}

}  // namespace

std::vector<Row> LogRows() {
  return {
      {"message below the log level", "an empty loop", "the same loop with debug messages", AddsAtMost(1.0),
       SilentMessage},
  };
}

}  // namespace zvbench
