// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A library that never finishes loading: whoever loads it holds the loader's lock for ever.

#include <unistd.h>

namespace {

__attribute__((constructor)) void HangWhileLoading() {
  const char kLoading[] = "loading\n";
  if (write(STDERR_FILENO, kLoading, sizeof(kLoading) - 1) < 0) return;
  for (;;)
    pause();
}

}  // namespace
