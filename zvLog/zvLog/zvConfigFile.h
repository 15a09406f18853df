/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/** @file
 * @defgroup zvlog_configfile Configuration files
 * Opening and closing configuration files in INI form; zvConfigFile_GetString and zvConfigFile_GetUInt32
 * (zvLog.h) read them.
 *
 * ```text
 * ; a comment, or with '#'
 * [section]
 * key = value
 * ```
 *
 * ```c
 * zvConfigFile_t *theFile = zvConfigFile_Open("/etc/player.ini");
 * uint32 thePort = zvConfigFile_GetUInt32(theFile, "network", "port", 8080);
 * const char *theName = zvConfigFile_GetString(theFile, "network", "name", "player");
 * printf("%s %u\n", theName, (unsigned)thePort);
 * zvConfigFile_Close(theFile);
 * ```
 *
 * Names of sections and keys do not distinguish upper and lower case; of equal keys the last holds. A
 * comment stands on a line of its own or behind the name of a section, never behind a value.
 *
 * @threads any thread may open files; several may read one; Close is the last call on it
 * @signals no: memory is allocated
 * @fork yes; the child has a copy
 * @errno after a file that cannot be read what the system said
 * @logs failures, as errors of module FILE (42)
 * @since 1.0.0
 * @{ */
#ifndef zvLog_zvConfigFile_h
#define zvLog_zvConfigFile_h

#include <zvLog/zvLog.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Reads the whole file, a regular one of at most 1 MiB.
 * @param aPath the file; a relative path counts from the working directory
 * @return the file, which the caller releases with zvConfigFile_Close; NULL when it cannot be read or
 *   contains a line of another form
 * @logs the cause of a failure, with the name of the file and the number of the line */
ZVLOG_API zvConfigFile_t *zvConfigFile_Open(const char *aPath);

/** Releases a file. Texts returned by zvConfigFile_GetString are gone.
 * @param aConfigFile the file; NULL is ignored
 * @logs nothing */
ZVLOG_API void zvConfigFile_Close(zvConfigFile_t *aConfigFile);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
