// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of the console share: streams that close themselves.
#pragma once

#include "zvos/pipes/pipe_support.h"

#include <zvOS/zvConsolePlatform.h>

#include <cstdio>
#include <memory>

namespace zvtest {
namespace console {

// Owns a stream.
using Stream = std::unique_ptr<FILE, decltype(&fclose)>;

inline Stream StreamOf(int aDescriptor, const char *aMode = "r") {
  return {fdopen(aDescriptor, aMode), &fclose};
}

// A pipe whose reading end is a stream.
struct Input {
  Input() : mStream(nullptr, &fclose), mWriter(-1) {
    int theEnds[2] = {-1, -1};
    EXPECT_EQ(0, pipe(theEnds));
    mStream = StreamOf(theEnds[0]);
    mWriter = net::Socket(theEnds[1]);
  }
  void Type(const std::string &someKeys) const {
    EXPECT_EQ(static_cast<ssize_t>(someKeys.size()), write(mWriter, someKeys.data(), someKeys.size()));
  }
  operator FILE *() const { return mStream.get(); }

  Stream mStream;
  net::Socket mWriter;
};

}  // namespace console
}  // namespace zvtest
