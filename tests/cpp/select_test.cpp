// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include <zvOS/cpp/Pipe.hpp>
#include <zvOS/cpp/Select.hpp>

#include "support/Faults.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <unistd.h>

#include <thread>

namespace {

using ::testing::IsEmpty;
using namespace std::chrono_literals;
using namespace zvtest;

TEST(CppDescriptorSet, TakesWhatHasAPlace) {
  zv::DescriptorSet theSet;
  EXPECT_EQ(-1, theSet.Highest());
  EXPECT_TRUE(theSet.Add(5));
  EXPECT_TRUE(theSet.Add(3));
  EXPECT_EQ(5, theSet.Highest());
  EXPECT_TRUE(theSet.Contains(3));
  EXPECT_FALSE(theSet.Contains(4));
  theSet.Remove(3);
  EXPECT_FALSE(theSet.Contains(3));

  EXPECT_FALSE(theSet.Add(-1));
  EXPECT_FALSE(theSet.Add(FD_SETSIZE));
  EXPECT_FALSE(theSet.Contains(FD_SETSIZE));
  theSet.Remove(FD_SETSIZE);
  EXPECT_EQ(5, theSet.Highest());
  EXPECT_TRUE(theSet.Add(FD_SETSIZE - 1));
  theSet.Clear();
  EXPECT_EQ(-1, theSet.Highest());
  EXPECT_FALSE(theSet.Contains(5));
}

class CppSelect : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(mSelect);
    ASSERT_TRUE(mPair);
    ASSERT_TRUE(mReadSet.Add(mPair->mFirst));
  }

  RecordingLog mLog;
  zv::SelectObject mSelect;
  zv::Result<zv::PipePair> mPair = zv::Pipe::Pair();
  zv::DescriptorSet mReadSet;
};

TEST_F(CppSelect, FindsWhatIsReady) {
  ASSERT_TRUE(mPair->mSecond.Write("x"));
  zv::DescriptorSet theWriteSet;
  ASSERT_TRUE(theWriteSet.Add(mPair->mSecond));
  const auto theReady = mSelect.Select(&mReadSet, &theWriteSet);
  ASSERT_TRUE(theReady);
  EXPECT_EQ(2, theReady->mCount);
  EXPECT_FALSE(theReady->mfTriggered);
  EXPECT_TRUE(mReadSet.Contains(mPair->mFirst));
  EXPECT_TRUE(theWriteSet.Contains(mPair->mSecond));
}

TEST_F(CppSelect, EndsWhenTheTimeIsOver) {
  const auto theBegin = std::chrono::steady_clock::now();
  const auto theReady = mSelect.SelectFor(20ms, &mReadSet);
  ASSERT_TRUE(theReady);
  EXPECT_EQ(0, theReady->mCount);
  EXPECT_GE(std::chrono::steady_clock::now() - theBegin, 19ms);
  EXPECT_FALSE(mReadSet.Contains(mPair->mFirst));
  // Less than nothing is nothing.
  EXPECT_TRUE(mSelect.SelectFor(-1s, &mReadSet));
}

TEST_F(CppSelect, ANanosecondIsNotForEverAndNotNothing) {
  Arguments theArguments;
  Fault theFault("select", 0);
  timeval theTime = {};
  theFault.Returning(0).Doing(
      [&](const long long *anArguments) { theTime = *ArgumentAs<const timeval>(anArguments[4]); });
  EXPECT_TRUE(mSelect.SelectFor(1000000001ns, nullptr));
  EXPECT_EQ(1, theTime.tv_sec);
  EXPECT_EQ(1, theTime.tv_usec);
}

// The flat wait takes a highest descriptor of 0 for none.
TEST_F(CppSelect, FindsDescriptorZeroAlone) {
  InOwnProcess([this] {
    ASSERT_EQ(0, dup2(mPair->mFirst.Descriptor(), 0));
    ASSERT_TRUE(mPair->mSecond.Write("x"));
    zv::DescriptorSet theSet;
    ASSERT_TRUE(theSet.Add(0));
    const auto theReady = mSelect.SelectFor(0s, &theSet);
    ASSERT_TRUE(theReady);
    EXPECT_EQ(1, theReady->mCount);
    EXPECT_TRUE(theSet.Contains(0));
  });
}

TEST_F(CppSelect, WaitsAsLongAsTheOthersWhenItIsToWaitForLonger) {
  timeval theTime = {};
  Fault theFault("select", 0, 0, -1);
  theFault.Returning(0).Doing(
      [&](const long long *anArguments) { theTime = *ArgumentAs<const timeval>(anArguments[4]); });
  const auto ExpectTheLongest = [&](auto aDelay) {
    theTime = {};
    EXPECT_TRUE(mSelect.SelectFor(aDelay, nullptr));
    EXPECT_EQ(4294967, theTime.tv_sec);
    EXPECT_EQ(295000, theTime.tv_usec);
  };
  ExpectTheLongest(24h * 365 * 70);
  ExpectTheLongest(std::chrono::milliseconds::max());
  ExpectTheLongest(std::chrono::hours::max());
  ExpectTheLongest(std::chrono::duration<double>(1e300));
}

TEST_F(CppSelect, IsWokenByAnotherThread) {
  std::thread theOther([this] { mSelect.Trigger(); });
  const auto theReady = mSelect.Select(&mReadSet);
  theOther.join();
  ASSERT_TRUE(theReady);
  EXPECT_TRUE(theReady->mfTriggered);
  EXPECT_EQ(1, theReady->mCount);
}

TEST_F(CppSelect, AWaitOfOnesOwnSeesTheTrigger) {
  const auto Wait = [this] {
    timespec theTime = {60, 0};
    return pselect(mReadSet.Highest() + 1, mReadSet.Handle(), nullptr, nullptr, &theTime, nullptr);
  };
  zv::DescriptorSet theFormer;
  const int theTrigger = mSelect.Prepare(&theFormer);
  EXPECT_EQ(theTrigger, theFormer.Highest());
  EXPECT_TRUE(theFormer.Contains(theTrigger));

  EXPECT_EQ(theTrigger, mSelect.Prepare(&mReadSet));
  mSelect.Trigger();
  EXPECT_EQ(1, Wait());
  EXPECT_TRUE(mSelect.Reset(&mReadSet));
  EXPECT_FALSE(mReadSet.Contains(theTrigger));

  ASSERT_TRUE(mReadSet.Add(mPair->mFirst));
  ASSERT_TRUE(mPair->mSecond.Write("x"));
  mSelect.Prepare(&mReadSet);
  EXPECT_EQ(1, Wait());
  EXPECT_FALSE(mSelect.Reset(&mReadSet));
  EXPECT_TRUE(mReadSet.Contains(mPair->mFirst));
}

TEST_F(CppSelect, SaysWhyItFailed) {
  const Fault theFault("select", ENOMEM);
  const auto theReady = mSelect.Select(&mReadSet);
  EXPECT_EQ(-1, theReady.error().Status());
  EXPECT_EQ(ENOMEM, theReady.error().Errno());
}

}  // namespace
