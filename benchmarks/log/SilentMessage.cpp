// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// In a file of its own, compiled like the library's files, so that the test of the level is the
// one which the library's own messages make.

#include "log/SilentMessage.h"

#include <zvOS/zvDefines.h>

ZVLOG_WITH_MODULE_IF(ZVOS, 1)

namespace zvbench {
namespace {

// Several in a row: the processor would do a single test of the level in the shadow of the loop.
constexpr uint32 kMessagesPerTurn = 8;

// Between any two messages the level may have been changed.
inline void ForgetMemory() {
  __asm__ volatile("" : : : "memory");
}

}  // namespace

void LoopWithoutMessages(uint32 aCount) {
  for (uint32 theIndex = 0; theIndex < aCount; theIndex += kMessagesPerTurn)
    ForgetMemory();
}

void LoopWithSilentMessages(uint32 aCount) {
  for (uint32 theIndex = 0; theIndex < aCount; theIndex += kMessagesPerTurn) {
#pragma GCC unroll 8
    for (uint32 theMessage = 0; theMessage < kMessagesPerTurn; ++theMessage) {
      ForgetMemory();
      ZV_DEBUG(F("zvOSBench: message %u of %u\n", theMessage, theIndex));
    }
  }
}

}  // namespace zvbench
