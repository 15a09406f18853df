// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The locale of the process. Not to be used while another thread changes it.
#ifndef zvOS_zvLocale_h
#define zvOS_zvLocale_h

#include <zvOS/zvDefines.h>

// Sets all of the locale; one that the system does not have changes nothing.
ZVOS_API void zvLocale_Set(const char *aLocale);

// The name of the locale, "en_US" when it is "C" or "POSIX". Not to be released; it may change with the
// next change of the locale.
ZVOS_API const char *zvLocale_Get(void);

// 1 when the locale is exactly "zh_TW", "zh_HK" or "zh_MO", else 0.
ZVOS_API int zvLocale_isBig5User(void);

#endif
