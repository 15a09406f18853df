// What the `_Debug` twins of socket operations share.
#pragma once

#include <zvOS/zvLogDefines.h>

#include "private/SavedError.h"

namespace zvos {

// Whether anybody may want traces: the one test of a hot twin while the log is below debug level.
inline bool IsTracing() {
  return ZV_UNLIKELY(ZVLOGLEVEL_DEBUG < _zvLog_LevelNow());
}

// The twin of a call that matters only when it fails: aReport(error) logs the failure, and the
// caller finds the error in errno.
template <typename Report>
int ReportingFailure(int aResult, Report aReport) {
  if (ZV_UNLIKELY(aResult != 0)) {
    const SavedError theError;
    aReport(theError.Value());
  }
  return aResult;
}

}  // namespace zvos
