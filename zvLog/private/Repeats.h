// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Records that come again and again.
#pragma once

#include "FinishedRecord.h"

namespace zvlog {

constexpr uint32 kHighestRepeatLimit = 1000000;

// Delivers the record, unless it is the same as those before it and more of them were delivered in this
// second than the limit says. The next record that is delivered follows one that tells how many were left
// out.
void DeliverUnlessRepeated(const FinishedRecord &aRecord);

// How many of the same are delivered in a second; 0: all of them. What was left out until now is told.
void SetRepeatLimit(uint32 aLimit);

// In a child: the parent tells what was left out.
void ForgetRepeats();

}  // namespace zvlog
