// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The program's own function as sink.
#pragma once

#include "FinishedRecord.h"

namespace zvlog {

// False when there is none, or when the thread is inside it already: what it logs itself goes elsewhere. It
// is no part of its caller, which needs little stack otherwise.
__attribute__((noinline)) bool CallSinkFunction(const FinishedRecord &aRecord);

// Waits until no thread is inside it nor inside a former one; not under the lock of the sinks, for the
// function may change them.
void RemoveSinkFunction();

// In a child: the other threads are not in it.
void ForgetOtherCallers();

}  // namespace zvlog
