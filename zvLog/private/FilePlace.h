// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Where a log file is, and the generations of it that are kept.
#pragma once

#include <zvLog/zvLogTypes.h>

namespace zvlog {

// Places are never released: a thread may be about to open one. Few programs use more than a handful, and an
// equal one is used again.
struct FilePlace {
  uint64 mMaximumSize;  // 0: none
  uint32 mGenerations;
  // The absolute path, as the program may change its folder, and behind it those of the generations, youngest
  // first. They are made here, because a crashing thread has no stack for them.
  char **mPaths;
  FilePlace *mNext;

  const char *Path() const { return mPaths[0]; }
};

// NULL with errno. For setters, one at a time.
const FilePlace *FindOrAddPlace(const char *aPath, uint64 aMaximumSize, uint32 aGenerations);

// A descriptor, or -1 with errno. Does not wait for the reader of a pipe: without one it is refused.
int OpenPlace(const FilePlace &aPlace);

// Renames the file and its generations when there is no room for aLength more bytes, and opens the new file;
// -1 with errno when it is to be left as it is: EWOULDBLOCK when another process is renaming it. Several may
// do so at the same time.
int OpenNextGeneration(const FilePlace &aPlace, uint64 aLength);

}  // namespace zvlog
