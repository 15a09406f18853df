// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Pipes after 2038-01-19T03:14:07Z where time_t has 32 bits.

#include "pipe_support.h"
#include "support/LateClock.h"

using ::testing::StartsWith;
using zvtest::Fault;
using zvtest::LateClock;
using zvtest::pipes::Names;
using zvtest::pipes::WithNames;

namespace {

class LatePipe : public zvtest::LateTest {};

TEST_F(LatePipe, AUniqueNameHasTheTime) {
  WithNames(Names::kAbstract, [] {
    for (const long long theSeconds : {zvtest::k2040, zvtest::k2105}) {
      const LateClock theClock(theSeconds, 1000);
      char *const theName = zvPipe_GenerateUniqueName("name-");
      ASSERT_NE(nullptr, theName);
      EXPECT_THAT(theName, StartsWith(zvtest::Format("name-%llx1", theSeconds)));
      free(theName);
    }
  });
}

// A name without the time would be tried for ever.
TEST_F(LatePipe, AUniqueNameThatIsTakenIsTriedAgain) {
  WithNames(Names::kAbstract, [] {
    const LateClock theClock(zvtest::k2040, 1000);
    Fault theBind("bind", EADDRINUSE, 0, 3);
    free(zvPipe_GenerateUniqueName("name-"));
    EXPECT_EQ(3, theBind.Hits());
    EXPECT_EQ(4, theClock.Readings());
  });
}

TEST_F(LatePipe, AListenerRemovesALateSocketFile) {
  WithNames(Names::kFiles, [] {
    const zvtest::TempFolder theFolder;
    ASSERT_EQ(0, chdir(theFolder.Path().c_str()));
    const int theFirst = zvPipe_Listener("name", ZVPIPE_DEFAULT);
    ASSERT_LE(0, theFirst);
    const zvtest::WideTime theTimes[2] = {{zvtest::k2040, 0}, {zvtest::k2040, 0}};
    ASSERT_EQ(0, syscall(zvtest::kUTimeNSAt64, AT_FDCWD, "name", theTimes, 0)) << strerror(errno);
    const int theSecond = zvPipe_Listener("name", ZVPIPE_DEFAULT);
    EXPECT_LE(0, theSecond);
    close(theFirst);
    close(theSecond);
  });
}

}  // namespace
