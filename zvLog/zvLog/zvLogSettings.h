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
 * SOCKETTRAFFIC, PATH, TCP_QOS, and those that the program names (zvLog_SetModuleName).
 * A level for a name that no module has yet is kept for the module that gets it.
 *
 * A record is one line, written in one piece:
 *
 *   2026-01-31T23:59:59.123456Z error FILE [4711:4713 loader] player/Playlist.c:120: Cannot open 'x'
 *
 * that is time (UTC), level, module, process and thread with its name, if it has one, place in the source,
 * text. When a sink cannot take a record, the record goes to standard error.
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

/* Gives a module a name, which records show in place of its number and settings know it by. A level that
 * was set for the name before, as by ZVLOG, takes force now. Another name replaces it, NULL takes it away;
 * a module that is known by name without it then has that name again.
 *
 * A name has 1 to 31 letters, digits, '_', '-' and '.', and does not begin with a digit; settings do not
 * distinguish upper and lower case. Each of the 65,536 modules can have one. 1 on success; otherwise 0
 * with the cause in errno: EINVAL for what can be no name, EEXIST when another module has it, ENOMEM. The
 * text is copied, and the copy stays until the process ends, as a thread may be about to write it. */
ZVLOG_API int zvLog_SetModuleName(zvLogModule aModule, const char *aName);

/* Gives the calling thread a name, in its records and in the kernel. One of more than 15 bytes is cut and
 * then ends in "..."; NULL or an empty one takes the name away.
 *
 * Without this call a thread has the name that it had in the kernel (pthread_setname_np) at its first
 * record, which may come from the thread that created it; the name of the program counts as none. */
ZVLOG_API void zvLog_SetThreadName(const char *aName);

/* Where records go from now on. 1 on success; on failure 0 with the cause in errno, and the sink
 * stays what it was. The file is created when missing; a NULL socket path means /dev/log. */
ZVLOG_API void zvLog_SetSinkStandardError(void);
ZVLOG_API int zvLog_SetSinkFile(const char *aPath);
ZVLOG_API int zvLog_SetSinkSyslog(const char *aSocketPath);

/* Whether a failed assertion, once reported, ends the process with abort(). */
ZVLOG_API void zvLog_SetAssertAborts(int afAborts);

/* Applies a list of settings in the form of ZVLOG. Each bad setting is reported on standard error
 * and skipped. So is one for a name that no module has, which may be mistyped; it is kept all the same. 1
 * when all were good, otherwise 0. */
ZVLOG_API int zvLog_ApplySettings(const char *aSettings);

#ifdef __cplusplus
}
#endif

#endif
