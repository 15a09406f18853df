// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Files of settings read whole. They are written by people: what is no regular file, or larger than anybody
// writes, is refused before it can hang the program or take its memory.
#pragma once

#include <zvLog/zvLogTypes.h>

namespace zvlog {

constexpr size_t kWholeFileMaximum = 1024 * 1024;

enum class ReadResult {
  Read,
  Failed,      // the cause is in errno
  NotRegular,  // a device, a FIFO, a socket
  TooLarge
};

// Gives the text in memory to be released with free(), with a terminator behind its last byte.
ReadResult ReadWholeFile(const char *aPath, char **aText, size_t *aLength);

}  // namespace zvlog
