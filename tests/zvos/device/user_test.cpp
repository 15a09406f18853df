// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The user of the process.

#include <zvOS/zvUser.h>

#include "support/Faults.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

using ::testing::IsEmpty;
using zvtest::Fault;

constexpr uid_t kRealUser = 65533;
constexpr uid_t kEffectiveUser = 65534;

TEST(UserTest, TheUserIsTheOneOfTheProcess) {
  const zvtest::RecordingLog theLog;
  EXPECT_EQ(static_cast<int64>(getuid()), zvUser_GetID());
  EXPECT_THAT(theLog.Calls(), IsEmpty());
}

TEST(UserTest, TheIdIsWidenedWithoutSign) {
  for (const int64 theUser :
       {int64{0}, int64{1000}, int64{0x7FFFFFFF}, int64{0x80000000}, int64{0xFFFFFFFE}}) {
    Fault theFault("getuid", 0);
    theFault.Returning(theUser);
    EXPECT_EQ(theUser, zvUser_GetID());
    EXPECT_EQ(1, theFault.Hits());
  }
}

TEST(UserTest, TheRealUserCountsNotTheEffectiveOne) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to become other users";
  const auto theResult = zvtest::RunInChild([] {
    if (setreuid(kRealUser, kEffectiveUser) != 0) {
      printf("setreuid: %s", strerror(errno));
      return 1;
    }
    printf("%lld", static_cast<long long>(zvUser_GetID()));
    return 0;
  });
  if (theResult.mStatus == 1) GTEST_SKIP() << "cannot become other users: " << theResult.mOutput;
  EXPECT_EQ(std::to_string(kRealUser), theResult.mOutput);
}

}  // namespace
