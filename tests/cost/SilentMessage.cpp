// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "cost/SilentMessage.h"

#include <zvOS/zvDefines.h>

ZVLOG_WITH_MODULE_IF(ZVOS, 1)

uint32 CostOf_SilentMessage(uint32 aNumber) {
  ZV_DEBUG(F("cost: message %u\n", aNumber));
  return aNumber;
}

uint32 CostOf_NoMessage(uint32 aNumber) {
  return aNumber;
}
