// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The two ways to say that a call failed. In both the text of the message stands whole at its place, and the
// message carries the file and line of its own statement.
//
// A function that answers by a status logs and answers in one expression:
//
//   if (const int theError = ErrorOf(fsync(theDescriptor)))
//     return ZVOS_FAIL(StatusOf(theError), F("zvFile: Cannot flush (error = %d)\n", theError));
//
// A twin, whose caller looks into errno, reports through ReportingFailure or holds an ErrnoAtEnd.
#pragma once

#include "private/Message.h"

#include <cerrno>

// Logs an error under the module of the source file; its value is the answer.
#define ZVOS_FAIL(answer, append) \
  __extension__({                 \
    ZV_ERR(append);               \
    answer;                       \
  })

// The same kept out of the code of a hot function, which pays a jump that is not taken. What answer and
// message name is copied.
#define ZVOS_FAIL_COLD(answer, append) zvos::OutOfLine([=] { return ZVOS_FAIL(answer, append); })

namespace zvos {

template <typename Function>
ZV_COLD auto OutOfLine(Function aFunction) {
  return aFunction();
}

// Why a call failed that answers -1 then and says why in errno; 0 when it did not. EIO stands for a failure
// that says nothing.
template <typename Result>
int ErrorOf(Result aResult) {
  if (!ZV_UNLIKELY(aResult == -1)) return 0;
  const int theError = errno;
  return theError != 0 ? theError : EIO;
}

// Puts into errno, at the end of its block, what the caller is to find there, whatever logging and
// bookkeeping do to it before: what is there now, or a given value.
class ErrnoAtEnd {
 public:
  ErrnoAtEnd() : mError(errno) {}
  explicit ErrnoAtEnd(int anError) : mError(anError) {}
  ~ErrnoAtEnd() { errno = mError; }
  ErrnoAtEnd(const ErrnoAtEnd &) = delete;
  ErrnoAtEnd &operator=(const ErrnoAtEnd &) = delete;

  int Value() const { return mError; }

 private:
  const int mError;
};

// The twin of a call that matters only when it fails: aReport(error) logs the failure, and the
// caller finds the error in errno.
template <typename Report>
int ReportingFailure(int aResult, Report aReport) {
  if (ZV_UNLIKELY(aResult != 0)) {
    const ErrnoAtEnd theError;
    aReport(theError.Value());
  }
  return aResult;
}

// What a message shows for a text that may be missing.
inline const char *TextOrNull(const char *aText) {
  return aText != nullptr ? aText : "(null)";
}

// Whether anybody may want traces: the one test of a hot twin while the log is below debug level.
inline bool IsTracing() {
  return ZV_UNLIKELY(ZVLOGLEVEL_DEBUG < _zvLog_LevelNow());
}

}  // namespace zvos
