/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/** @file
 * @defgroup zvlog_settings What is logged, and where
 * What is logged and where it goes.
 *
 * The same can be said in the environment variable ZVLOG, which is read when the library is loaded (and
 * ignored in programs that run with raised privileges). It is a list of settings separated by commas,
 * blanks, tabs or line feeds; a setting with one of these in it is put in double quotes:
 *
 * ```text
 * ZVLOG=info,TCP=debug,42=error,to=file:/tmp/zv.log,assert=abort
 * ZVLOG='info to=file:max=4M*3:/var/log/zv.log to=stderr:warning "to=file:error:/tmp/a, b.log"'
 *
 * <level>            global level: none, error, warning, info, debug, or a number
 * <module>=<level>   level of one module, by name or by number
 * to=stderr          standard error, the default
 * to=file:<path>     appends to a file
 * to=syslog          the system log; to=syslog:<path> for a socket other than /dev/log
 * assert=abort       a failed assertion ends the process; assert=return does not, the default
 * repeat=<number>    of the same record in a row not more than that in a second; 0 is all, the default
 * config=<path>      reads further settings from a file, in place of this one
 * ```
 *
 * Several sinks are named by several settings; those of a list take the place of all former ones together,
 * eight at most. A sink can have a level of its own, which its records must not be below in importance:
 * `to=stderr:warning`, `to=syslog:warning`, `to=syslog:warning:<path>`, `to=file:warning:<path>`. A path
 * that itself begins with the name of a level and a colon, or with "max=", is written with "./".
 *
 * A file can have a size from which on another takes its place: `to=file:max=4M:<path>`, with K, M or G, from
 * 1K on. The record that would not fit goes to a new file, and the former one becomes `<path>.1`, or with
 * `max=4M*3` one of `<path>.1` to `<path>.3`. Of threads that write at the same moment each may exceed the
 * size by one record. Several processes may append to the same file; it then also takes what the others write
 * while one of them renames it, for none waits for another. A path that leads through a link at its end is
 * not renamed, and grows.
 *
 * Same records in a row, those of one level, module, place and text, can be limited: with `repeat=5`, from
 * the sixth in a second on they go to no sink. The next other one, the same in another second, a change of
 * this setting and the end of the program bring the count of those, at their level.
 *
 * A file of settings (`config=`) is one list, in which "#" begins a comment where a setting could begin. It
 * is an ordinary file of at most 1 MiB and names no other.
 *
 * Modules known by name: DEFAULT, ZVOS, TCP, TCPRW, SELECT, PLUGIN, FILE, DIR, SOCKETTRACKER, SOCKETTRAFFIC,
 * PATH, TCP_QOS, and those that the program names (zvLog_SetModuleName). A level for a name that no module
 * has yet is kept for the module that gets it.
 *
 * A record is one line, written in one piece:
 *
 * ```text
 * 2026-01-31T23:59:59.123456Z error FILE [4711:4713 loader] player/Playlist.c:120: Cannot open 'x'
 * ```
 *
 * that is time (UTC), level, module, process and thread with its name, if it has one, place in the source,
 * text. A record that no sink takes goes to standard error.
 *
 * A sink harms nobody. A reader that is gone and a limit for the size of files raise no signal, and change
 * no disposition. A sink that does not keep up is waited for, once, for a fifth of a second; until it takes
 * something again, records for it are dropped without waiting. The next record that can be written follows
 * one that says how many could not. On a terminal, control characters but for tabs are shown as `"\x1b"`.
 *
 * The program may close all descriptors: a file is opened again when its number is no longer the log's.
 * Standard error is whatever has the number 2, so that it can be redirected; a program that closes it should
 * put something in its place, for otherwise the next file that it opens is it.
 *
 * @threads any thread may call any function at any time, also while others log
 * @signals no, but for those that say so
 * @fork yes
 * @errno says nothing, but for those that say so
 * @logs nothing; a bad setting is reported on standard error
 * @since 1.0.0
 * @{ */
#ifndef zvLog_zvLogSettings_h
#define zvLog_zvLogSettings_h

#include <stddef.h>

#include <zvLog/zvLog.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Levels by name. */
enum {
  kzvLogLevel_None = 0,
  kzvLogLevel_Error = 1,
  kzvLogLevel_Warning = 2,
  kzvLogLevel_Info = 3,
  kzvLogLevel_Debug = 4
};

/** Sets the level that holds for all modules without one of their own.
 * @param aLevel the least important level that is emitted: Warning admits errors and warnings */
ZVLOG_API void zvLog_SetLevel(zvLogLevel aLevel);

/** The level that holds for all modules without one of their own.
 * @return the least important level that is emitted
 * @signals yes */
ZVLOG_API zvLogLevel zvLog_GetLevel(void);

/** Gives a module a level of its own, above or below the global one.
 * @param aModule the module
 * @param aLevel the least important level that is emitted */
ZVLOG_API void zvLog_SetModuleLevel(zvLogModule aModule, zvLogLevel aLevel);

/** Takes the level of a module away: it follows the global level again.
 * @param aModule the module */
ZVLOG_API void zvLog_ResetModuleLevel(zvLogModule aModule);

/** The level that holds for a module.
 * @param aModule the module
 * @return the least important level that is emitted
 * @signals yes */
ZVLOG_API zvLogLevel zvLog_GetModuleLevel(zvLogModule aModule);

/** Gives a module a name, which records show in place of its number and settings know it by. A level that was
 * set for the name before, as by ZVLOG, takes force now. Each of the 65,536 modules can have one.
 * @param aModule the module
 * @param aName 1 to 31 letters, digits, '_', '-' and '.', not a digit first, and none of the settings "to",
 *   "assert", "repeat" and "config"; settings do not distinguish upper and lower case. Another name replaces
 *   the former one, NULL takes it away; a module that is known by name without it then has that name again.
 *   The text is copied, and the copy stays until the process ends, as a thread may be about to write it
 * @return 1 on success; otherwise 0 with the cause in errno
 * @errno EINVAL for what can be no name, EEXIST when another module has it, ENOMEM
 * @since 1.1.0 */
ZVLOG_API int zvLog_SetModuleName(zvLogModule aModule, const char *aName);

/** Gives the calling thread a name, in its records and in the kernel.
 *
 * Without this call a thread has the name that it had in the kernel (pthread_setname_np) at its first
 * record, which may come from the thread that created it; the name of the program counts as none.
 * @param aName one of more than 15 bytes is cut and then ends in "..."; NULL or an empty one takes the name
 *   away
 * @since 1.1.0 */
ZVLOG_API void zvLog_SetThreadName(const char *aName);

/** Has records go to standard error from now on, in place of all other sinks. */
ZVLOG_API void zvLog_SetSinkStandardError(void);

/** Has records appended to a file from now on, in place of all other sinks.
 * @param aPath the file, which is created when missing; a relative path counts from the working directory
 * @return 1 on success; otherwise 0 with the cause in errno, and the sinks stay what they were
 * @errno after a failure the cause, EINVAL for NULL */
ZVLOG_API int zvLog_SetSinkFile(const char *aPath);

/** Has records go to the system log from now on, in place of all other sinks.
 * @param aSocketPath its socket; NULL stands for /dev/log
 * @return 1 on success; otherwise 0 with the cause in errno, and the sinks stay what they were
 * @errno after a failure the cause */
ZVLOG_API int zvLog_SetSinkSyslog(const char *aSocketPath);

/** One more sink beside those in use, eight at most.
 * @param aSink described as behind "to=" in settings: `stderr[:<level>]`,
 *   `file:[<level>:][max=<size>[*<generations>]:]<path>` or `syslog[:<level>][:<path>]`
 * @return 1 on success; otherwise 0 with the cause in errno, and the sinks stay what they were
 * @errno after a failure the cause: EINVAL for a text that describes no sink, ENOSPC for a ninth one
 * @since 1.1.0 */
ZVLOG_API int zvLog_AddSink(const char *aSink);

/** A record as it is given to the program. What it points to belongs to the log and holds until the function
 * returns. Later versions may add fields at the end: a function that uses a field which was not in the first
 * version looks at the size before. */
typedef struct zvLogRecord {
  uint32 mSize; /**< of this structure in the library, in bytes */
  zvLogLevel mLevel;
  zvLogModule mModule;
  const char *mFile; /**< "?" when the record has none */
  uint32 mLine;
  int32 mProcess;
  int32 mThread;
  const char *mThreadName; /**< empty when the thread has no name of its own */
  int64 mSeconds;          /**< since 1970, UTC */
  uint32 mNanoseconds;
  const char *mText; /**< terminated, without line feed */
  size_t mTextLength;
} zvLogRecord;

/** Takes a record; see zvLog_SetSinkFunction. */
typedef void (*zvLogSinkFunction)(const zvLogRecord *aRecord, void *aUser);

/** Has a function of the program called with each record that the levels admit. It is called by the thread
 * that logs, in place of all other sinks; zvLog_AddSink adds some beside it. The other functions
 * zvLog_SetSink... remove it; a list of settings leaves it.
 *
 * Several threads may be in the function at the same time, and also a handler of a fatal signal: it must
 * return, and where that matters do only what a signal handler may. It may log: such records go to the other
 * sinks, or to standard error when there are none. It may change the sinks.
 *
 * When this call has returned, no thread is inside a former function any more nor enters it, whoever took
 * that away; only when it is made from within such a function, threads may still be there. A program
 * therefore does not call it holding a lock that the function takes.
 * @param aFunction the function; NULL removes the former one alone
 * @param aUser passed to the function; stays the caller's
 * @return 1 on success, 0 when out of memory
 * @since 1.1.0 */
ZVLOG_API int zvLog_SetSinkFunction(zvLogSinkFunction aFunction, void *aUser);

/** Has each file opened again by its path at the next record for it. One that was renamed away is let go so.
 * A file that cannot be opened is kept.
 * @signals yes
 * @errno left as it was
 * @since 1.1.0 */
ZVLOG_API void zvLog_RequestReopen(void);

/** Whether a failed assertion, once reported, ends the process.
 * @param afAborts non-zero: with abort(); 0, the default: it does not
 * @signals yes
 * @errno left as it was */
ZVLOG_API void zvLog_SetAssertAborts(int afAborts);

/** Applies a list of settings in the form of ZVLOG. Each bad setting is reported on standard error and
 * skipped. So is one for a name that no module has, which may be mistyped; it is kept all the same.
 * @param aSettings the list; NULL is an empty one
 * @return 1 when all were good, otherwise 0 */
ZVLOG_API int zvLog_ApplySettings(const char *aSettings);

/** Applies ZVLOG anew, with the file that it names. It is for a program that is told to read its
 * configuration again. Levels that are named nowhere any more go back to their defaults, all in one step,
 * and so do sinks, repeats and the end of failed assertions where settings chose them before. Sinks that the
 * program has set since stay, and so does its function; one that it has added to those of settings goes with
 * them.
 * @return 1 when all settings were good, otherwise 0
 * @threads any, while no other thread changes the environment, which is read as by getenv()
 * @since 1.1.0 */
ZVLOG_API int zvLog_ReloadSettings(void);

/** Takes note that settings are to be applied anew. It is for a signal handler, which may not apply them:
 * zvLog_ReloadIfRequested does.
 * @signals yes, that is what it is for
 * @errno left as it was
 * @since 1.1.0 */
ZVLOG_API void zvLog_RequestReload(void);

/** Does what zvLog_ReloadSettings does if zvLog_RequestReload was called since. Call it now and then where
 * the program may read files; without a request it is one load.
 * @return 1 when all settings were good and without a request, otherwise 0
 * @threads any, while no other thread changes the environment, which is read as by getenv()
 * @since 1.1.0 */
ZVLOG_API int zvLog_ReloadIfRequested(void);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
