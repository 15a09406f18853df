// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Order between a thread and the signal handlers that interrupt it.
#pragma once

#include <atomic>

namespace zvlog {

// What stands before it in the source happens before what follows, as seen by a signal handler of the
// same thread.
inline void OrderForSignalHandlers() {
  std::atomic_signal_fence(std::memory_order_seq_cst);
}

}  // namespace zvlog
