// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The header of directories alone gives the traverser.

#include <zvOS/zvDir.h>

#include <gtest/gtest.h>

#include <cerrno>

extern "C" int ZvTestWalkFromC(const char *aDirPath);

namespace {

TEST(HeaderDir, GivesTheTraverser) {
  zvDirTraverser *const theTraverser = zvDirTraverser_New("/proc/self");
  int theError = kzvDirTraverserStatus_Error;
  errno = 0;
  const zvDirEntry *const theEntry = zvDirTraverser_GetFirst(theTraverser, "status", zvDIR_FILES, &theError);
  ASSERT_NE(nullptr, theEntry);
  EXPECT_STREQ("status", theEntry->mName);
  zvDirTraverser_Delete(theTraverser);
}

TEST(HeaderDir, GivesTheTraverserToCPrograms) {
  errno = 0;  // what a caller leaves there decides what the end of a walk means
  EXPECT_LE(1, ZvTestWalkFromC("/proc/self/task"));
}

}  // namespace
