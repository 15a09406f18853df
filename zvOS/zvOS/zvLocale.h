// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_locale Locale
/// The locale of the process.
///
/// @threads any thread, while no other thread changes the locale
/// @signals no
/// @fork yes, when no other thread was changing the locale at the fork; the child has one of its own
/// @errno says nothing
/// @logs nothing
/// @since 1.0.0
/// @{
#ifndef zvOS_zvLocale_h
#define zvOS_zvLocale_h

#include <zvOS/zvDefines.h>

/// Sets all of the locale; one that the system does not have changes nothing.
/// @param aLocale the name of the locale; "" stands for the environment's, NULL changes nothing
/// @threads at start-up, before other threads use the locale
ZVOS_API void zvLocale_Set(const char *aLocale);

/// The name of the locale.
/// @return its name, "en_US" when it is "C" or "POSIX"; it is the C library's, is not to be released, and may
///   change with the next change of the locale
ZVOS_API const char *zvLocale_Get(void);

/// Whether texts may be in Big5.
/// @return 1 when the locale is exactly "zh_TW", "zh_HK" or "zh_MO", else 0
ZVOS_API int zvLocale_isBig5User(void);

/// @}

#endif
