// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Records of the log's own: a failed assertion, repeats that were left out.
#pragma once

#include "FinishedRecord.h"

namespace zvlog {

using Delivery = void(const FinishedRecord &aRecord);

// Makes a record of no module, whatever the levels say, and has it delivered. Leaves errno alone.
void EmitNotice(Delivery *aDelivery, zvLogLevel aLevel, const char *aFile, uint32 aLine, const char *aFormat,
                ...) ZVLOG_PRINTF(5, 6);

}  // namespace zvlog
