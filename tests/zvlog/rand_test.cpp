// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Random numbers.

#include "Interposed.h"

#include <gtest/gtest.h>

#include <zvLog/zvLog.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <set>
#include <vector>

namespace {

using namespace zvlogtest;

TEST(Rand, StaysInItsRangeAndReachesBothEnds) {
  std::set<uint16> theSeen;
  for (int theCount = 0; theCount < 5000; ++theCount)
    theSeen.insert(zvRand_MinMaxUInt16(50000, 50009));
  EXPECT_EQ((std::set<uint16>{50000, 50001, 50002, 50003, 50004, 50005, 50006, 50007, 50008, 50009}),
            theSeen);
}

TEST(Rand, IsUniform) {
  constexpr int kBuckets = 16;
  constexpr int kDraws = 64000;
  std::vector<int> theCounts(kBuckets);
  for (int theDraw = 0; theDraw < kDraws; ++theDraw)
    ++theCounts[zvRand_MinMaxUInt16(0, kBuckets - 1)];
  double theChiSquare = 0;
  for (const int theCount : theCounts) {
    const double theDeviation = theCount - double{kDraws} / kBuckets;
    theChiSquare += theDeviation * theDeviation / (double{kDraws} / kBuckets);
  }
  EXPECT_LT(theChiSquare, 60) << "of 15 degrees of freedom: once in three million runs";
}

TEST(Rand, TakesItsEndsInEitherOrder) {
  for (int theCount = 0; theCount < 1000; ++theCount) {
    const uint16 theNumber = zvRand_MinMaxUInt16(65000, 50000);
    ASSERT_TRUE(theNumber >= 50000 && theNumber <= 65000) << theNumber;
  }
  EXPECT_EQ(7, zvRand_MinMaxUInt16(7, 7));
  EXPECT_EQ(65535, zvRand_MinMaxUInt16(65535, 65535));
}

// Feeds the numbers that the kernel would give.
class RandFed : public ::testing::Test {
 protected:
  std::deque<uint32> mNumbers;
  const RandomHook mHook{[this](void *aBuffer, size_t aSize) -> ssize_t {
    if (mNumbers.empty() || aSize != sizeof(uint32)) {
      ADD_FAILURE() << "more asked for than expected";
      return -1;
    }
    memcpy(aBuffer, &mNumbers.front(), sizeof(uint32));
    mNumbers.pop_front();
    return sizeof(uint32);
  }};
};

TEST_F(RandFed, RejectsNumbersThatWouldFavourTheLowerResults) {
  const uint32 theLimit = static_cast<uint32>((uint64{1} << 32) / 15001 * 15001);
  mNumbers = {theLimit, 0xffffffff, theLimit - 1};
  EXPECT_EQ(65000, zvRand_MinMaxUInt16(50000, 65000));
  EXPECT_TRUE(mNumbers.empty());
  mNumbers = {0};
  EXPECT_EQ(50000, zvRand_MinMaxUInt16(50000, 65000));
}

TEST_F(RandFed, WholeRangeRejectsNothing) {
  mNumbers = {0, 0xffffffff, 0x12345678};
  EXPECT_EQ(0, zvRand_MinMaxUInt16(0, 65535));
  EXPECT_EQ(65535, zvRand_MinMaxUInt16(0, 65535));
  EXPECT_EQ(0x5678, zvRand_MinMaxUInt16(0, 65535));
}

TEST(RandWithoutKernel, IsInterruptedAndAsksAgain) {
  int theCalls = 0;
  const RandomHook theHook([&theCalls](void *aBuffer, size_t aSize) -> ssize_t {
    if (++theCalls < 3) {
      errno = EINTR;
      return -1;
    }
    memset(aBuffer, 0, aSize);
    return static_cast<ssize_t>(aSize);
  });
  EXPECT_EQ(100, zvRand_MinMaxUInt16(100, 200));
  EXPECT_EQ(3, theCalls);
}

TEST(RandWithoutKernel, StillStaysInItsRangeAndSpreads) {
  const RandomHook theHook([](void *, size_t) -> ssize_t {
    errno = EAGAIN;
    return -1;
  });
  std::set<uint16> theSeen;
  for (int theCount = 0; theCount < 1000; ++theCount) {
    const uint16 theNumber = zvRand_MinMaxUInt16(50000, 65000);
    ASSERT_TRUE(theNumber >= 50000 && theNumber <= 65000) << theNumber;
    theSeen.insert(theNumber);
  }
  EXPECT_GT(theSeen.size(), 100u);
}

}  // namespace
