// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A record as it is handed to the sinks.
#pragma once

#include <zvLog/zvLog.h>

#include <sys/types.h>
#include <time.h>

namespace zvlog {

// Enough for the longest: names of modules have at most 31 bytes, of files and programs 99.
constexpr size_t kHeaderRoom = 256;

struct FinishedRecord {
  const zvLogData &mData;
  timespec mTime;  // UTC
  pid_t mProcess;  // these three of the thread that made the record
  pid_t mThread;
  const char *mThreadName;  // empty when it has no name of its own
  // One line, with its line feed. The kHeaderRoom bytes in front of it may be written, so that a header
  // and the text leave in one call.
  char *mText;
  size_t mLength;
};

// Write what stands in front of the text, for lines and for messages of the system log, which adds the
// time itself, into a buffer of kHeaderRoom bytes; give the length. They are no part of their caller: what it
// needs of the stack is theirs no more when the line is written.
__attribute__((noinline)) size_t WriteLineHeader(const FinishedRecord &aRecord, char *aBuffer);
size_t WriteSyslogHeader(const FinishedRecord &aRecord, char *aBuffer);

}  // namespace zvlog
