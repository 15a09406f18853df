// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_logfunctions Messages of no module
/// Messages with a variable number of arguments under the default module, for the few files whose messages
/// belong to no module. Each including file has its own copies; the location in the record is the one of the
/// function here, which tells such messages apart in a log.
///
/// Log_Error, Log_Warning and Log_Info each take a format and its arguments, as printf() does.
/// @{
#ifndef zvOS_zvLogFunctions_h
#define zvOS_zvLogFunctions_h

#include <stdarg.h>

#include <zvOS/zvLogDefines.h>

/// Makes one of them; not defined outside this header.
#define ZV_DEFINE_LOG_FUNCTION(name, level)                                     \
  ZV_PRINTF_FORMAT(1, 2) ZV_UNUSED static void name(const char *aFormat, ...) { \
    va_list theArguments;                                                       \
    va_start(theArguments, aFormat);                                            \
    ZVXLOG(level, ZVLOG_M_DEFAULT, VF(aFormat, theArguments));                  \
    va_end(theArguments);                                                       \
  }

/// @cond
ZV_DEFINE_LOG_FUNCTION(Log_Error, ZVLOGLEVEL_ERROR)
ZV_DEFINE_LOG_FUNCTION(Log_Warning, ZVLOGLEVEL_WARNING)
ZV_DEFINE_LOG_FUNCTION(Log_Info, ZVLOGLEVEL_INFO)

/// @endcond

#undef ZV_DEFINE_LOG_FUNCTION

/// @}

#endif
