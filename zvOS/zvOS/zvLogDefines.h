// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_logdefines The log call
/// The log call, in the one form in which every message of the library is emitted.
///
/// The global level is tested first, so that a message which nobody wants costs one load and one comparison:
/// a message is emitted only when its level is *below* #_zvLog_Level (2 admits errors, 3 warnings, 4
/// information, 5 debug messages).
///
/// A source file names its log module once and logs with the short forms:
///
/// ```c
/// ZVLOG_WITH_MODULE_IF(FILE, 1)
///
/// ZV_ERR(F("zvFile: Cannot seek (fd = %p) (error = %d)\n", aFD, theError));
/// ```
/// @{
#ifndef zvOS_zvLogDefines_h
#define zvOS_zvLogDefines_h

#include <zvLog/zvLog.h>

#include <zvOS/zvDefaultDefines.h>
#include <zvOS/zvTypes.h>

// A provider's header may define the levels and modules itself.
#ifndef ZVLOGLEVEL_NONE

///@{
/// Levels; a provider's header may define them itself.
#define ZVLOGLEVEL_NONE    0
#define ZVLOGLEVEL_ERROR   1
#define ZVLOGLEVEL_WARNING 2
#define ZVLOGLEVEL_INFO    3
#define ZVLOGLEVEL_DEBUG   4
#define ZVLOGLEVEL_ALL     0xFFFFFFFF
///@}
#endif

#ifndef ZVLOG_M_DEFAULT

///@{
/// Modules of the library; a provider's header may define them itself.
#define ZVLOG_M_DEFAULT       0
#define ZVLOG_M_ZVOS          7
#define ZVLOG_M_TCP           21
#define ZVLOG_M_TCPRW         22
#define ZVLOG_M_SELECT        25
#define ZVLOG_M_PLUGIN        29
#define ZVLOG_M_FILE          42
#define ZVLOG_M_DIR           43
#define ZVLOG_M_SOCKETTRACKER 53
#define ZVLOG_M_SOCKETTRAFFIC 55
#define ZVLOG_M_PATH          57
#define ZVLOG_M_TCP_QOS       122
///@}
#endif

// Messages at or above this level are left out of the build.
#ifndef ZVLOG_COMPILE_TIME_LEVEL_LESS_THEN
/// Messages at or above this level are left out of the build.
#define ZVLOG_COMPILE_TIME_LEVEL_LESS_THEN ZVLOGLEVEL_ALL
#endif

// The level, which any thread may be changing: read in one piece and in no order with anything else,
// which costs no more than reading any variable.
#ifndef _zvLog_LevelNow
#if defined(__GNUC__)
/// The level, which any thread may be changing.
#define _zvLog_LevelNow() __atomic_load_n(&_zvLog_Level, __ATOMIC_RELAXED)
#else
#define _zvLog_LevelNow() _zvLog_Level
#endif
#endif

/// Non-zero when the levels admit the message; the log library may still refuse it.
#define _zvLog_LogMe(level, module) \
  ((uint32)(level) < ZVLOG_COMPILE_TIME_LEVEL_LESS_THEN && ZV_UNLIKELY((level) < _zvLog_LevelNow()))

/// Emits the message without testing the level. `append` is the suffix of an append call of the log library:
/// `F("%d\n", theNumber)` appends with zvLog_Append_F.
#define ZVXLOG_ALWAYS(level, module, append)                                          \
  do {                                                                                \
    zvLogData *theLogData_ = zvLog_Begin((zvLogLevel)(level), (zvLogModule)(module)); \
    if (theLogData_ != NULL) {                                                        \
      theLogData_->mFile = __FILE__;                                                  \
      theLogData_->mLine = (uint32)(__LINE__);                                        \
      zvLog_Append_##append;                                                          \
      zvLog_End(theLogData_);                                                         \
    }                                                                                 \
  } while (0)

/// Emits the message if its level is wanted.
#define ZVXLOG(level, module, append)                                      \
  do {                                                                     \
    if (_zvLog_LogMe(level, module)) ZVXLOG_ALWAYS(level, module, append); \
  } while (0)

///@{
/// Under a named module: `ZVLOG_ERR(TCP, F("...\n"))`.
#define ZVLOG_ERR(module, append)   ZVXLOG(ZVLOGLEVEL_ERROR, ZVLOG_M_##module, append)
#define ZVLOG_WARN(module, append)  ZVXLOG(ZVLOGLEVEL_WARNING, ZVLOG_M_##module, append)
#define ZVLOG_INFO(module, append)  ZVXLOG(ZVLOGLEVEL_INFO, ZVLOG_M_##module, append)
#define ZVLOG_DEBUG(module, append) ZVXLOG(ZVLOGLEVEL_DEBUG, ZVLOG_M_##module, append)
///@}

/// Declares the module of the source file and whether the file logs at all.
#define ZVLOG_WITH_MODULE_IF(module, condition)                                 \
  static const zvLogModule _s_zvLog_CurrentModule ZV_UNUSED = ZVLOG_M_##module; \
  static const int _s_zvLog_CurrentLogActive ZV_UNUSED = (condition);

///@{
/// Under the module of the source file.
#define ZV_LOG(level, append)                                                     \
  do {                                                                            \
    if (_s_zvLog_CurrentLogActive) ZVXLOG(level, _s_zvLog_CurrentModule, append); \
  } while (0)
#define ZV_ERR(append)   ZV_LOG(ZVLOGLEVEL_ERROR, append)
#define ZV_WARN(append)  ZV_LOG(ZVLOGLEVEL_WARNING, append)
#define ZV_INFO(append)  ZV_LOG(ZVLOGLEVEL_INFO, append)
#define ZV_DEBUG(append) ZV_LOG(ZVLOGLEVEL_DEBUG, append)
///@}

/// Whether a message would be emitted; test it before an expensive trace.
#define ZVLOG_WILL_LOG(level, module) \
  (ZV_UNLIKELY((level) < _zvLog_LevelNow()) ? zvLog_WillLog((zvLogLevel)(level), (zvLogModule)(module)) : 0)

/// @}

#endif
