// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the library costs a program that starts with it, and needs no more of it.

#include "support/Support.h"

namespace {

TEST(Start, LeavesTheUnwinderToTheFirstThreadThatCatchesSignals) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizer brings the unwinder";
#endif
  const auto theChild = zvtest::RunProgram(zvtest::BuiltProgram("start_child"), {});
  EXPECT_FALSE(theChild.mfTimedOut);
  EXPECT_EQ(
      "start: no unwinder\n"
      "thread: no unwinder\n"
      "thread that catches signals: unwinder\n",
      theChild.mOutput)
      << theChild.mError;
}

}  // namespace
