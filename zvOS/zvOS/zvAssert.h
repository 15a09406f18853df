// Assertions. A failed one is reported to the log library, which may return: the code that
// follows an assertion runs with whatever it was given.
#ifndef zvOS_zvAssert_h
#define zvOS_zvAssert_h

#include <zvLog/zvLog.h>

#include <zvOS/zvDefaultDefines.h>

// Reports the text of the test when the test is false.
#define zvAssert(test)                                \
  do {                                                \
    if (ZV_UNLIKELY(!(test))) {                       \
      _zvAssert(#test, __FILE__, (uint32)(__LINE__)); \
    }                                                 \
  } while (0)

// Reports aText, for a place that must not be reached.
#define zvAssertFail(text) _zvAssert((text), __FILE__, (uint32)(__LINE__))

// A check at build time, at file or block scope.
#if defined(__cplusplus)
#define zvCompileTimeAssert(test) static_assert(test, #test)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define zvCompileTimeAssert(test) _Static_assert(test, #test)
#else
#define ZV_CONCATENATE_(left, right) left##right
#define ZV_CONCATENATE(left, right)  ZV_CONCATENATE_(left, right)
#define zvCompileTimeAssert(test) \
  extern int ZV_CONCATENATE(zvCompileTimeAssert_, __LINE__)[(test) ? 1 : -1] ZV_UNUSED
#endif

#endif
