// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Times of files as callers get them: whole seconds, into those variables that are wanted.
#pragma once

#include <zvOS/zvTime.h>

#include <sys/stat.h>

namespace zvos {

inline void StoreSeconds(time_t aSeconds, zvtimeval *aTime) {
  if (aTime != nullptr) *aTime = {static_cast<long>(aSeconds), 0};
}

inline void StoreTimes(const struct stat &aStatus, zvtimeval *aLastAccessTime, zvtimeval *aModificationTime,
                       zvtimeval *aCreationTime) {
  StoreSeconds(aStatus.st_atime, aLastAccessTime);
  StoreSeconds(aStatus.st_mtime, aModificationTime);
  StoreSeconds(aStatus.st_ctime, aCreationTime);
}

}  // namespace zvos
