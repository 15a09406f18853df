// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the latest back-trace has found, for the crash file.
#pragma once

namespace zvos {

struct BackTrace {
  void *const *mAddresses;
  int mDepth;
};

// Of zvDebug_BackTraceCurrent, in whatever thread; overwritten by the next one.
BackTrace LatestBackTrace();

}  // namespace zvos
