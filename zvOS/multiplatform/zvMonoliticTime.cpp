// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Monotonic time.

#include <zvOS/zvMonoliticTime.h>

#include "private/Failure.h"

#include <ctime>

ZVLOG_WITH_MODULE_IF(ZVOS, 1)

extern "C" void zvMonoliticTime_GetTime(zvtimeval *aTime) {
  timespec theTime;
  if (const int theError = zvos::ErrorOf(clock_gettime(CLOCK_MONOTONIC, &theTime))) {
    ZV_ERR(F("zvMonoliticTime_GetTime failed (error=%d)\n", theError));
    *aTime = {};
    return;
  }
  aTime->tv_sec = theTime.tv_sec;
  aTime->tv_usec = theTime.tv_nsec / 1000;
}
