// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "shared/crash.h"

#include "shared/owners.h"

#include <sys/resource.h>
#include <unistd.h>

// A pointer that the compiler knows nothing of.
static int *volatile sNowhere = nullptr;

extern "C" __attribute__((noinline, no_sanitize("address", "undefined", "thread"))) void zvos_CrashOnPurpose(
    void) {
  *const_cast<volatile int *>(sNowhere) = 1;
}

namespace tool {

namespace {

constexpr int kSurvived = 3;

void Work(void *) {
  zvos_CrashOnPurpose();
  _exit(kSurvived);
}

}  // namespace

void CrashInThread() {
  const struct rlimit theLimit = {0, 0};
  setrlimit(RLIMIT_CORE, &theLimit);
  StartThread(Work, nullptr);
}

}  // namespace tool
