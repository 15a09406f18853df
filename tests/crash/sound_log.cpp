// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The program logs with the companion library.

#include "Crash.h"

#include <unistd.h>

void crash::SetLog(Log) {
  _exit(kExitUsage);
}

void crash::SetLogScript(void (*)(const char *)) {
  _exit(kExitUsage);
}
