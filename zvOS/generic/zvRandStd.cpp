// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The C library's random numbers.

#include <zvOS/zvRandStd.h>

#include <cstdlib>

extern "C" int16 zvOSRand_Rand(void) {
  return static_cast<int16>(rand());
}

extern "C" void zvOSRand_SetSeed(uint32 aSeed) {
  srand(aSeed);
}
