// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Where records go. A sink may be changed while other threads write to it.
#pragma once

#include "FinishedRecord.h"

namespace zvlog {

// Writes the record in one piece to the sink, or to standard error when the sink cannot take it. Safe in
// a handler of a fatal signal.
void Deliver(const FinishedRecord &aRecord);

}  // namespace zvlog
