/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/** @file
 * @defgroup zvlog_types Types of the log library
 * Integer names of the stack, and how the names of this library are exported.
 * @{ */
#ifndef zvLog_zvLogTypes_h
#define zvLog_zvLogTypes_h

#include <stddef.h>
#include <stdint.h>

/* Other libraries of the stack declare the same names; this guard lets a C99 program include both. */
#ifndef ZV_INTEGER_TYPES
/** The names are declared. */
#define ZV_INTEGER_TYPES

/** @{ */
/** An integer of that width. Other libraries of the stack declare the same names; a guard lets a C99 program
 * include both. */
typedef int8_t int8;
typedef uint8_t uint8;
typedef int16_t int16;
typedef uint16_t uint16;
typedef int32_t int32;
typedef uint32_t uint32;
typedef int64_t int64;
typedef uint64_t uint64;
/** @} */
#endif

/** What carries this is exported; everything else in the library is hidden. */
#define ZVLOG_API __attribute__((__visibility__("default")))

/** Lets the compiler check the arguments of a printf-like function; 0 for a va_list. */
#define ZVLOG_PRINTF(aFormat, anArguments) __attribute__((__format__(__printf__, aFormat, anArguments)))

/** @} */

#endif
