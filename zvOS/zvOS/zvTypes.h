// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_types Integers
/// Integer names of the stack, over the standard fixed-width types.
/// @{
#ifndef zvOS_zvTypes_h
#define zvOS_zvTypes_h

#include <stddef.h>
#include <stdint.h>

// The log library declares the same names; this guard lets a C99 program include both.
#ifndef ZV_INTEGER_TYPES
/// The names are declared.
#define ZV_INTEGER_TYPES

///@{
/// An integer of that width. The log library declares the same names; a guard lets a C99 program include
/// both.
typedef int8_t int8;
typedef uint8_t uint8;
typedef int16_t int16;
typedef uint16_t uint16;
typedef int32_t int32;
typedef uint32_t uint32;
typedef int64_t int64;
typedef uint64_t uint64;
///@}
#endif

/// A function of any type; cast it back before calling it.
typedef void (*zvDefaultFunctionPtr)(void);

///@{
/// Limits of the integers.
#define kzvint8_min   (-128)
#define kzvint8_max   127
#define kzvuint8_max  0xff
#define kzvint16_min  (-32768)
#define kzvint16_max  32767
#define kzvuint16_max 0xffff
#define kzvint32_min  (-2147483647L - 1)
#define kzvint32_max  2147483647L
#define kzvuint32_max 0xffffffffUL
#define kzvint64_min  (-0x7fffffffffffffffLL - 1LL)
#define kzvint64_max  0x7fffffffffffffffLL
#define kzvuint64_max 0xffffffffffffffffULL
///@}

/// @}

#endif
