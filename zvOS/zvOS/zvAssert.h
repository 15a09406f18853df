// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_assert Assertions
/// Assertions. A failed one is reported to the log library, which may return: the code that follows an
/// assertion runs with whatever it was given.
/// @{
#ifndef zvOS_zvAssert_h
#define zvOS_zvAssert_h

#include <zvLog/zvLog.h>

#include <zvOS/zvDefaultDefines.h>

/// Reports the text of the test when the test is false.
#define zvAssert(test)                                \
  do {                                                \
    if (ZV_UNLIKELY(!(test))) {                       \
      _zvAssert(#test, __FILE__, (uint32)(__LINE__)); \
    }                                                 \
  } while (0)

/// Reports aText, for a place that must not be reached.
#define zvAssertFail(text) _zvAssert((text), __FILE__, (uint32)(__LINE__))

/// A check at build time, at file or block scope; the compiler says the text of the test.
#define zvCompileTimeAssert(test) zvCompileTimeAssertSaying(test, #test)

// A compiler that knows no
// way to say the text shows the line.
#if defined(__cplusplus)
#define zvCompileTimeAssertSaying(test, text) static_assert(test, text)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
/// A check at build time with a text of one's own, for what the user of a header can do about it.
#define zvCompileTimeAssertSaying(test, text) _Static_assert(test, text)
#elif defined(__GNUC__)
// Older C knows it as an extension. The C library puts a macro of that name, which says nothing, before it;
// the nothing between name and parenthesis keeps that out.
#define ZV_NOTHING
#define zvCompileTimeAssertSaying(test, text) __extension__ _Static_assert ZV_NOTHING(test, text)
#else
#define ZV_CONCATENATE_(left, right) left##right
#define ZV_CONCATENATE(left, right)  ZV_CONCATENATE_(left, right)
#define zvCompileTimeAssertSaying(test, text) \
  extern int ZV_CONCATENATE(zvCompileTimeAssert_, __LINE__)[(test) ? 1 : -1] ZV_UNUSED
#endif

/// @}

#endif
