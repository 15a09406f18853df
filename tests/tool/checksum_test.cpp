// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The checksum of the file service: every way to compute it gives what its definition gives, bit by bit,
// whatever the length of the data, where it stands in memory and in which pieces it comes.

#include "shared/checksum.h"
#include "shared/checksum_ways.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#if defined(__arm__)
#include <asm/hwcap.h>
#include <sys/auxv.h>
#elif defined(__i386__) || defined(__x86_64__)
#include <cpuid.h>
#endif

namespace {

constexpr size_t kMostBytes = 2000;
constexpr size_t kMostShift = 65;  // past the largest round of any way

// The definition: a division, one bit after the other.
uint32 Defined(uint32 aChecksum, const uint8 *aData, size_t aLength) {
  constexpr uint32 kPolynomial = 0xEDB88320;
  uint32 theRest = ~aChecksum;
  for (size_t i = 0; i < aLength; ++i) {
    theRest ^= aData[i];
    for (int theBit = 0; theBit < 8; ++theBit)
      theRest = (theRest & 1) != 0 ? (theRest >> 1) ^ kPolynomial : theRest >> 1;
  }
  return ~theRest;
}

bool HasInstructions() {
#if defined(__arm__) && !defined(__clang__)
  return (getauxval(AT_HWCAP2) & HWCAP2_CRC32) != 0;
#elif defined(__i386__) || defined(__x86_64__)
  unsigned theA = 0;
  unsigned theB = 0;
  unsigned theC = 0;
  unsigned theD = 0;
  return __get_cpuid(1, &theA, &theB, &theC, &theD) != 0 && (theC & bit_PCLMUL) != 0;
#else
  return false;
#endif
}

uint32 ContinueWithProcessor(uint32 aChecksum, const void *aData, size_t aLength) {
  return tool::WayOfProcessor()(aChecksum, aData, aLength);
}

struct Way {
  const char *mName;
  tool::ContinueFunction mContinue;
};

void PrintTo(const Way &aWay, std::ostream *aStream) {
  *aStream << aWay.mName;
}

class ChecksumWay : public testing::TestWithParam<Way> {
 protected:
  void SetUp() override {
    if (GetParam().mContinue == ContinueWithProcessor && tool::WayOfProcessor() == nullptr)
      GTEST_SKIP() << "This processor has no instructions that help.";
    for (uint8 &theByte : mData)
      theByte = static_cast<uint8>(mRandom() >> 7);
  }

  uint32 Continue(uint32 aChecksum, const uint8 *aData, size_t aLength) const {
    return GetParam().mContinue(aChecksum, aData, aLength);
  }
  size_t UpTo(size_t aLimit) { return mRandom() % (aLimit + 1); }

  std::mt19937 mRandom{20261122};
  std::vector<uint8> mData = std::vector<uint8>(kMostShift + kMostBytes);
};

TEST_P(ChecksumWay, GivesThePublishedValues) {
  const struct {
    const char *mText;
    uint32 mChecksum;
  } kTexts[] = {{"", 0},
                {"a", 0xe8b7be43},
                {"hello", 0x3610a686},
                {"123456789", 0xcbf43926},
                {"The quick brown fox jumps over the lazy dog", 0x414fa339}};
  for (const auto &theText : kTexts) {
    EXPECT_EQ(theText.mChecksum, Continue(0, reinterpret_cast<const uint8 *>(theText.mText),
                                          std::char_traits<char>::length(theText.mText)))
        << theText.mText;
  }
  const std::vector<uint8> theZeros(1024 * 1024);
  EXPECT_EQ(0xa738ea1c, Continue(0, theZeros.data(), theZeros.size()));
}

TEST_P(ChecksumWay, GivesWhatIsDefinedAtEveryLengthAndPlace) {
  for (size_t theLength = 0; theLength <= 4 * kMostShift; ++theLength) {
    for (size_t theShift = 0; theShift < kMostShift; theShift += 1 + theLength % 3) {
      ASSERT_EQ(Defined(0, &mData[theShift], theLength), Continue(0, &mData[theShift], theLength))
          << theLength << " bytes at " << theShift;
    }
  }
}

TEST_P(ChecksumWay, GivesWhatIsDefinedForRandomDataAndBeginnings) {
  for (int i = 0; i < 3000; ++i) {
    const size_t theShift = UpTo(kMostShift);
    const size_t theLength = UpTo(kMostBytes);
    const auto theBeginning = static_cast<uint32>(mRandom());
    mData[UpTo(mData.size() - 1)] ^= static_cast<uint8>(mRandom());
    ASSERT_EQ(Defined(theBeginning, &mData[theShift], theLength),
              Continue(theBeginning, &mData[theShift], theLength))
        << theLength << " bytes at " << theShift << " behind " << theBeginning;
  }
}

TEST_P(ChecksumWay, GivesTheSameInWhateverPieces) {
  const uint32 theWhole = Defined(0, mData.data(), mData.size());
  for (int i = 0; i < 500; ++i) {
    uint32 theChecksum = 0;
    for (size_t theDone = 0; theDone < mData.size();) {
      const size_t theLength = std::min(UpTo(i % 2 == 0 ? 20 : 600), mData.size() - theDone);
      theChecksum = Continue(theChecksum, &mData[theDone], theLength);
      theDone += theLength;
    }
    ASSERT_EQ(theWhole, theChecksum) << i;
  }
}

// A sanitizer sees a byte that is read in front of the data or behind it.
TEST_P(ChecksumWay, ReadsNothingAroundTheData) {
  for (size_t theLength = 1; theLength < 300; ++theLength) {
    const std::vector<uint8> theData(mData.begin(), mData.begin() + static_cast<ptrdiff_t>(theLength));
    std::vector<uint8> theSame(theLength);
    std::copy(theData.begin(), theData.end(), theSame.begin());
    ASSERT_EQ(Defined(1, theData.data(), theLength), Continue(1, theSame.data(), theLength));
  }
}

INSTANTIATE_TEST_SUITE_P(Each, ChecksumWay,
                         testing::Values(Way{"Tables", tool::ContinueWithTables},
                                         Way{"Processor", ContinueWithProcessor},
                                         Way{"Chosen", tool::ContinueChecksum}),
                         [](const auto &anInfo) { return std::string(anInfo.param.mName); });

TEST(Checksum, TheInstructionsAreTakenWhereTheProcessorHasThem) {
  EXPECT_EQ(HasInstructions(), tool::WayOfProcessor() != nullptr);
}

TEST(Checksum, ContributionsOfPiecesMakeTheWholeInAnyOrder) {
  std::mt19937 theRandom{7};
  std::vector<uint8> theData(5000);
  for (uint8 &theByte : theData)
    theByte = static_cast<uint8>(theRandom() >> 7);
  for (const size_t theCut : {0u, 1u, 7u, 64u, 1000u, 4999u, 5000u}) {
    const size_t theRest = theData.size() - theCut;
    const uint32 theFirst = tool::ContinueChecksum(0, theData.data(), theCut);
    const uint32 theSecond = tool::ContinueChecksum(0, theData.data() + theCut, theRest);
    EXPECT_EQ(Defined(0, theData.data(), theData.size()),
              tool::ContributionOf(theSecond, 0) ^ tool::ContributionOf(theFirst, theRest))
        << theCut;
  }
}

}  // namespace
