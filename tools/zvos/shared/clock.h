// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The time of a clock that is never set back.
#pragma once

#include <zvOS/zvMonoliticTime.h>

namespace tool {

inline int64 Microseconds() {
  zvtimeval theTime = {};
  zvMonoliticTime_GetTime(&theTime);
  return static_cast<int64>(theTime.tv_sec) * 1000000 + theTime.tv_usec;
}

inline int64 Milliseconds() {
  return Microseconds() / 1000;
}

}  // namespace tool
