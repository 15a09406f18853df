/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* What is logged and where it goes.
 *
 * The same can be said in the environment variable ZVLOG, which is read when the library is loaded
 * (and ignored in programs that run with raised privileges). It is a list of settings separated by
 * commas:
 *
 *   ZVLOG=info,TCP=debug,42=error,to=file:/tmp/zv.log,assert=abort
 *
 *   <level>            global level: none, error, warning, info, debug, or a number
 *   <module>=<level>   level of one module, by name or by number
 *   to=stderr          standard error, the default
 *   to=file:<path>     appends to a file
 *   to=syslog          the system log; to=syslog:<path> for a socket other than /dev/log
 *   assert=abort       a failed assertion ends the process; assert=return does not, the default
 *
 * Modules known by name: DEFAULT, ZVOS, TCP, TCPRW, SELECT, PLUGIN, FILE, DIR, SOCKETTRACKER,
 * SOCKETTRAFFIC, PATH, TCP_QOS.
 *
 * A record is one line, written in one piece:
 *
 *   2026-01-31T23:59:59.123456Z error FILE [4711] player/Playlist.c:120: Cannot open 'x'
 *
 * that is time (UTC), level, module, thread, place in the source, text. When a sink cannot take a
 * record, the record goes to standard error.
 *
 * A sink harms nobody. A reader that is gone and a limit for the size of files raise no signal, and
 * change no disposition. A sink that does not keep up is waited for, once, for a fifth of a second;
 * until it takes something again, records for it are dropped without waiting. The next record that
 * can be written follows one that says how many could not. On a terminal, control characters but
 * for tabs are shown as "\x1b".
 *
 * The program may close all descriptors: a file is opened again when its number is no longer the
 * log's. Standard error is whatever has the number 2, so that it can be redirected; a program that
 * closes it should put something in its place, for otherwise the next file that it opens is it.
 *
 * The functions of this header may be called from any thread at any time, also while others log,
 * but not from a signal handler.
 */
#ifndef zvLog_zvLogSettings_h
#define zvLog_zvLogSettings_h

#include <zvLog/zvLog.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
  kzvLogLevel_None = 0,
  kzvLogLevel_Error = 1,
  kzvLogLevel_Warning = 2,
  kzvLogLevel_Info = 3,
  kzvLogLevel_Debug = 4
};

/* The least important level that is emitted: Warning admits errors and warnings. It holds for all
 * modules without a level of their own. */
ZVLOG_API void zvLog_SetLevel(zvLogLevel aLevel);
ZVLOG_API zvLogLevel zvLog_GetLevel(void);

/* The level of one module, above or below the global one; reset, the module follows the global
 * level again. */
ZVLOG_API void zvLog_SetModuleLevel(zvLogModule aModule, zvLogLevel aLevel);
ZVLOG_API void zvLog_ResetModuleLevel(zvLogModule aModule);
ZVLOG_API zvLogLevel zvLog_GetModuleLevel(zvLogModule aModule);

/* Where records go from now on. 1 on success; on failure 0 with the cause in errno, and the sink
 * stays what it was. The file is created when missing; a NULL socket path means /dev/log. */
ZVLOG_API void zvLog_SetSinkStandardError(void);
ZVLOG_API int zvLog_SetSinkFile(const char *aPath);
ZVLOG_API int zvLog_SetSinkSyslog(const char *aSocketPath);

/* Whether a failed assertion, once reported, ends the process with abort(). */
ZVLOG_API void zvLog_SetAssertAborts(int afAborts);

/* Applies a list of settings in the form of ZVLOG. Each bad setting is reported on standard error
 * and skipped. 1 when all were good, otherwise 0. */
ZVLOG_API int zvLog_ApplySettings(const char *aSettings);

#ifdef __cplusplus
}
#endif

#endif
