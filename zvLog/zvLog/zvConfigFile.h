/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* Opening and closing configuration files in INI form.
 *
 *   ; a comment, or with '#'
 *   [section]
 *   key = value
 *
 * Names of sections and keys do not distinguish upper and lower case; of equal keys the last holds.
 * A comment stands on a line of its own or behind the name of a section, never behind a value.
 */
#ifndef zvLog_zvConfigFile_h
#define zvLog_zvConfigFile_h

#include <zvLog/zvLog.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Reads the whole file, a regular one of at most 1 MiB. NULL when it cannot be read or contains a line of
 * another form; the cause is logged as an error of the module FILE, with the name of the file and the number
 * of the line. */
ZVLOG_API zvConfigFile_t *zvConfigFile_Open(const char *aPath);

/* NULL is ignored. Texts returned by zvConfigFile_GetString are gone. */
ZVLOG_API void zvConfigFile_Close(zvConfigFile_t *aConfigFile);

#ifdef __cplusplus
}
#endif

#endif
