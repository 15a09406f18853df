// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Directories below a folder of somebody else, with the system's real answers.

#include <zvOS/zvDir.h>

#include "files_support.h"

using testing::ElementsAre;
using testing::IsEmpty;
using namespace zvtest;

namespace {

class DirPermissions : public testing::Test {
 protected:
  // Everybody may look at the folder, and nobody but the superuser may change it.
  void SetUp() override {
    mTree.MakeDir("theirs/inner");
    ASSERT_EQ(0, chmod(mTree.Path().c_str(), 0755));
    ASSERT_EQ(0, chmod(mTree.At("theirs/inner").c_str(), 0755));
    ASSERT_EQ(0, chmod(mTree.At("theirs").c_str(), 0555));
  }
  void TearDown() override { EXPECT_EQ(0, chmod(mTree.At("theirs").c_str(), 0755)); }

  RecordingLog mLog;
  Tree mTree;
};

auto CreateError(const std::string &aPath) {
  return DirError("zvDir: Cannot create directory '" + aPath + "' (errno = 13)\n");
}

TEST_F(DirPermissions, NothingIsMadeThere) {
  InOwnProcess([&] {
    ASSERT_TRUE(zvtest::BecomeNobody());
    const std::string theNewOne = mTree.At("theirs/new");
    EXPECT_EQ(-1, zvDir_Create(theNewOne.c_str()));
    EXPECT_FALSE(IsDir(theNewOne));
    EXPECT_THAT(mLog.Messages(), ElementsAre(CreateError(theNewOne)));
  });
}

TEST_F(DirPermissions, APathIsMadeThereOnlyWhenAllOfItExists) {
  InOwnProcess([&] {
    ASSERT_TRUE(zvtest::BecomeNobody());
    EXPECT_EQ(1, zvDir_CreatePath(mTree.At("theirs/inner").c_str()));
    EXPECT_THAT(mLog.Messages(), IsEmpty());

    const std::string theNewOne = mTree.At("theirs/new");
    const std::string thePath = theNewOne + "/below";
    EXPECT_EQ(0, zvDir_CreatePath(thePath.c_str()));
    EXPECT_FALSE(IsDir(theNewOne));
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(CreateError(theNewOne),
                            DirError(Format("zvDir: Cannot create directory path part: '%s' (part index = "
                                            "%zu)\n",
                                            thePath.c_str(), theNewOne.size()))));
  });
}

TEST_F(DirPermissions, NothingIsRemovedThere) {
  InOwnProcess([&] {
    ASSERT_TRUE(zvtest::BecomeNobody());
    const std::string theInner = mTree.At("theirs/inner");
    EXPECT_EQ(-1, zvDir_Remove(theInner.c_str()));
    EXPECT_TRUE(IsDir(theInner));
    EXPECT_EQ(0, zvDir_Remove(mTree.At("theirs/missing").c_str()));
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(DirError("zvDir: Cannot remove directory '" + theInner + "' (errno = 13)\n")));
  });
}

TEST_F(DirPermissions, InASharedFolderOnlyWhatIsOnesOwnIsRemoved) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to make directories of two users";
  mTree.MakeDir("shared/theirs");
  ASSERT_EQ(0, chmod(mTree.At("shared").c_str(), 01777));
  InOwnProcess([&] {
    ASSERT_TRUE(zvtest::BecomeNobody());
    EXPECT_EQ(0, zvDir_Create(mTree.At("shared/ours").c_str()));
    EXPECT_EQ(0, zvDir_Remove(mTree.At("shared/ours").c_str()));
    EXPECT_FALSE(IsDir(mTree.At("shared/ours")));
    EXPECT_EQ(-1, zvDir_Remove(mTree.At("shared/theirs").c_str()));
    EXPECT_TRUE(IsDir(mTree.At("shared/theirs")));
    EXPECT_THAT(mLog.Messages(), ElementsAre(DirError("zvDir: Cannot remove directory '" +
                                                      mTree.At("shared/theirs") + "' (errno = 1)\n")));
  });
}

}  // namespace
