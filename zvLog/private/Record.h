// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A record under construction: what the caller fills in, and the text.
//
// The text begins behind room for the header, which is written right in front of it when the record is
// emitted; both then leave in one call. A text that outgrows its room loses bytes from its middle: what
// follows the head in place is then the latest part of the text.
#pragma once

#include "FinishedRecord.h"

#include <zvLog/zvLog.h>

#include <cstdarg>

namespace zvlog {

constexpr size_t kTextRoom = 1240;

struct Record {
  zvLogData mData;
  size_t mLength;   // of the text in place
  size_t mMissing;  // bytes between its head and the rest
  char mLine[kHeaderRoom + kTextRoom + 1];

  char *Text() { return mLine + kHeaderRoom; }

  void Clear(zvLogLevel aLevel, zvLogModule aModule) {
    mData = zvLogData{aLevel, aModule, nullptr, 0};
    mLength = 0;
    mMissing = 0;
  }

  // May leave something else in errno.
  void Append(const char *aFormat, va_list anArguments) ZVLOG_PRINTF(2, 0);
  void Append(const char *aFormat, ...) ZVLOG_PRINTF(2, 3);

  void Put(const char *aBytes, size_t aCount);

  // Makes one line of the text: it ends in a line feed, which is the only one. Gives its length. It is no
  // part of its caller, which needs little stack otherwise.
  __attribute__((noinline)) size_t MakeLine();

 private:
  // It is no part of its caller, which needs little stack otherwise.
  __attribute__((noinline)) void AppendByTheCLibrary(const char *aFormat, va_list anArguments)
      ZVLOG_PRINTF(2, 0);
  void PutBeyondRoom(size_t aCount, const char *aTail, size_t aTailLength);
  size_t MarkWhatIsMissing();
};

}  // namespace zvlog
