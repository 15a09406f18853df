// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The record behind a checker, which begins with the descriptor of its lock file.

#include "zvos/device/single_instance_support.h"

#include <cerrno>
#include <cstring>

namespace {

using namespace zvtest::single_instance;
using zvtest::Fault;

int LockFileOf(const zvOSSingleInstanceChecker *aChecker) {
  int theLockFile;
  memcpy(&theLockFile, aChecker, sizeof(theLockFile));
  return theLockFile;
}

TEST_F(SingleInstanceTest, DeleteLeavesNoDescriptorInTheRecordItReleases) {
  for (const char *theName : {kName, "x/y"}) {
    for (const int theError : {0, EIO}) {
      zvOSSingleInstanceChecker *const theChecker = zvSingleInstanceChecker_New(theName);
      const int theDescriptor = LockFileOf(theChecker);
      int theLast = 77;
      Fault theClose("close", theError);
      if (theError == 0) theClose.PassingThrough();
      zvtest::ReleaseWatch theWatch;
      theWatch.Watch(theChecker, [&] { theLast = LockFileOf(theChecker); });
      zvSingleInstanceChecker_Delete(theChecker);
      EXPECT_EQ(-1, theLast) << theName << theError;
      if (theError != 0) close(theDescriptor);
    }
  }
}

}  // namespace
