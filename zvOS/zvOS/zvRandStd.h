// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The C library's random numbers: one generator for the whole process.
#ifndef zvOS_zvRandStd_h
#define zvOS_zvRandStd_h

#include <zvOS/zvDefines.h>

// The largest number; the smallest is -32768.
#define kzvRandMax 32767

// The low 16 bits of the next number, so that negative ones occur.
ZVOS_API int16 zvOSRand_Rand(void);

// The same seed gives the same numbers.
ZVOS_API void zvOSRand_SetSeed(uint32 aSeed);

#endif
