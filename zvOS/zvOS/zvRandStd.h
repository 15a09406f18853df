// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_rand Random numbers
/// The C library's random numbers: one generator for the whole process. Not for secrets; zvRand_MinMaxUInt16
/// takes numbers from the kernel.
///
/// @threads any thread may call any function; all draw from one sequence
/// @signals no
/// @fork yes, when no other thread was in here at the fork; the child goes on with the same sequence
/// @errno left alone
/// @logs nothing
/// @since 1.0.0
/// @{
#ifndef zvOS_zvRandStd_h
#define zvOS_zvRandStd_h

#include <zvOS/zvDefines.h>

/// The largest number; the smallest is -32768.
#define kzvRandMax 32767

/// The low 16 bits of the next number.
/// @return a number from -32768 to #kzvRandMax
ZVOS_API int16 zvOSRand_Rand(void);

/// Begins a sequence. The same seed gives the same numbers.
/// @param aSeed the seed
ZVOS_API void zvOSRand_SetSeed(uint32 aSeed);

/// @}

#endif
