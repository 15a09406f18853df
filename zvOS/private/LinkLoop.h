// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Links to directories that count as loops.
#pragma once

#include <cstring>

namespace zvos {

// A link counts as a loop when its own path begins with the path that it leads to: a comparison of texts,
// cheap and sometimes wrong, which callers know.
inline bool IsLoop(const char *aLinkPath, const char *aRealPath) {
  return strncmp(aLinkPath, aRealPath, strlen(aRealPath)) == 0;
}

}  // namespace zvos
