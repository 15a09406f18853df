// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Records that all threads share, for those that are begun while another one is open.
#pragma once

#include "Record.h"

namespace zvlog {

constexpr int kPoolSize = 8;

// Without locks, and safe in a signal handler. NULL when all are in use.
Record *ClaimRecord();

// What ClaimRecord would find.
bool IsRecordLeft();

// Says that a record is still in use by the calling thread, whose id is another after a fork.
void KeepRecord(const Record *aRecord);

void ReleaseRecord(const Record *aRecord);

}  // namespace zvlog
