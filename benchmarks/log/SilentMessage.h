// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Two loops that differ in the messages which the log level keeps silent.
#pragma once

#include <zvOS/zvTypes.h>

namespace zvbench {

void LoopWithoutMessages(uint32 aCount);
void LoopWithSilentMessages(uint32 aCount);  // passes aCount messages

}  // namespace zvbench
