// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Writing to a descriptor, whatever it leads to, without a signal for the process and without waiting for
// longer than a given time.
#pragma once

#include <zvLog/zvLogTypes.h>

#include <sys/un.h>
#include <cstddef>

namespace zvlog {

// What a descriptor leads to, as far as it decides how to write there. Files and the like can be seeked.
enum class Medium { Seekable, Pipe, Socket, Terminal, Other };

struct Target {
  int mDescriptor;
  Medium mMedium;
  bool mfNonBlocking;           // the description is the log's own and does not block
  bool mfHuge;                  // a file so large that a limit of 32 bits says nothing about it
  const sockaddr_un *mAddress;  // of the datagrams that a socket sends; NULL: it is connected
};

// Finds out about a descriptor that the program may have redirected at any time.
Target Examine(int aDescriptor);

// Whether a file of that size is so large.
constexpr bool IsHuge(int64 aSize) {
  return aSize >= int64{1} << 30;
}

// Time to wait in, which begins to run with the first wait.
class Patience {
 public:
  explicit Patience(int aMilliseconds) : mMilliseconds(aMilliseconds) {}

  bool IsNone() const { return mMilliseconds == 0; }
  // False when there is no time left.
  bool WaitUntilWritable(int aDescriptor);

 private:
  const int mMilliseconds;
  int64 mEnd = 0;
};

struct Written {
  size_t mLength;
  int mError;  // 0 when all was written; EAGAIN when there was no more time
};

// Safe in a handler of a fatal signal. Changes no flags of the descriptor, which other processes may share.
Written WriteHarmlessly(const Target &aTarget, const char *aData, size_t aLength, Patience *aPatience);

}  // namespace zvlog
