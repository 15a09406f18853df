// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_defaultdefines What the platform gives
/// What the platform gives: decided here once, the same for every file of the library.
/// @{
#ifndef zvOS_zvDefaultDefines_h
#define zvOS_zvDefaultDefines_h

/// File offsets are 64 bits wide, also on 32-bit systems.
#define ZVFILEOFFSET_SIZE 64

/// Open flag that admits files past 2 GiB; `<fcntl.h>` defines it.
#define ZVFILE_LARGEFILE O_LARGEFILE

/// Revision stamps are read from an ELF section.
#define ZV_GETBINARYREVISION_USES_ELF 1

///@{
/// End of a line in text files.
#define kzvEOLStr       "\n"
#define kzvEOLStrLength 1
///@}

#ifdef __cplusplus
#define ZVOS_EXTERN_C extern "C"
#else
/// C linkage, for a declaration.
#define ZVOS_EXTERN_C extern
#endif

#if defined(__GNUC__)
///@{
/// Every exported function carries ZVOS_API and nothing else is exported; the others are hints.
#define ZVOS_API                     ZVOS_EXTERN_C __attribute__((visibility("default")))
#define ZV_UNUSED                    __attribute__((unused))
#define ZV_COLD                      __attribute__((cold, noinline))
#define ZV_LIKELY(test)              __builtin_expect(!!(test), 1)
#define ZV_UNLIKELY(test)            __builtin_expect(!!(test), 0)
#define ZV_PRINTF_FORMAT(text, args) __attribute__((format(printf, text, args)))
///@}
#else
#define ZVOS_API ZVOS_EXTERN_C
#define ZV_UNUSED
#define ZV_COLD
#define ZV_LIKELY(test)   (test)
#define ZV_UNLIKELY(test) (test)
#define ZV_PRINTF_FORMAT(text, args)
#endif

/// @}

#endif
