// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Handles of files, which carry a descriptor, and the messages about them.
#pragma once

#include <zvOS/zvFile.h>

#include "support/RecordingLog.h"

#include <cstdint>
#include <string>

namespace zvtest {

constexpr zvLogModule kFileModule = 42;

inline zvFileFD HandleOf(int aDescriptor) {
  return reinterpret_cast<zvFileFD>(static_cast<intptr_t>(aDescriptor));
}

inline int DescriptorOf(zvFileFD aHandle) {
  return static_cast<int>(reinterpret_cast<intptr_t>(aHandle));
}

inline auto FileError(const std::string &aText) {
  return Error(kFileModule, aText);
}

}  // namespace zvtest
