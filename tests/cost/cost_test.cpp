// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The library stays as small and as quick as it is published to be. Nothing here looks at a clock: sizes and
// instructions are the same on every machine.
//
//   zvos_cost_tests --write FILE   writes the figures of this build, to be published

#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <iterator>
#include <string>

#include "cost/Costs.h"

using costtest::HotPath;
using costtest::Published;
using costtest::Stage;
using costtest::Steps;
using costtest::StepsOf;

namespace {

// At most 5 % above what is published.
void ExpectAsPublished(const std::string &aWhat, long aFigure) {
  const std::string theBuild = costtest::PublishedBuild();
  ASSERT_NE("", theBuild) << "no figures are published";
  if (theBuild != costtest::kBuild)
    GTEST_SKIP() << "the figures are published for another build: " << theBuild;
  const std::optional<long> thePublished = Published(aWhat);
  ASSERT_TRUE(thePublished) << "nothing is published as: " << aWhat;
  ASSERT_GT(aFigure, 0) << aWhat;
  EXPECT_LE(aFigure * 100, *thePublished * 105)
      << aWhat << ": " << aFigure << ", published " << *thePublished;
}

template <typename Value>
std::string WithoutMarks(const Value &aName) {
  std::string theName;
  for (const char theCharacter : std::string(aName))
    theName += isalnum(static_cast<unsigned char>(theCharacter)) ? theCharacter : '_';
  return theName;
}

class HotCall : public testing::TestWithParam<HotPath> {
 protected:
  Steps Look() {
    const Steps theSteps = StepsOf(GetParam(), mStage);
    EXPECT_FALSE(mStage.mfFailed);
    return theSteps;
  }

 private:
  Stage mStage;
};

TEST_P(HotCall, TakesNoMoreInstructionsThanArePublished) {
  ExpectAsPublished(costtest::InstructionsOf(GetParam()), Look().mInOurLibraries);
}

TEST_P(HotCall, AllocatesNothing) {
  const Steps theSteps = Look();
  EXPECT_GT(theSteps.mInOurLibraries, 0);
  EXPECT_EQ(0, theSteps.mAllocations);
}

INSTANTIATE_TEST_SUITE_P(Of, HotCall, testing::ValuesIn(costtest::HotPaths()),
                         [](const auto &anInfo) { return WithoutMarks(anInfo.param.mName); });

class Library : public testing::TestWithParam<const char *> {};

TEST_P(Library, IsNoLargerThanPublished) {
  ExpectAsPublished(costtest::SizeOf(GetParam()), costtest::StrippedSize(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Named, Library, testing::Values("libzvOS.so", "libzvLog.so"),
                         [](const auto &anInfo) { return WithoutMarks(anInfo.param); });

TEST(ThePageAboutCosts, SaysWhatTheLibrariesAreHeldTo) {
  std::ifstream theFile(ZV_PAGE);
  const std::string thePage((std::istreambuf_iterator<char>(theFile)), std::istreambuf_iterator<char>());
  const auto theCosts = costtest::AllPublished();
  EXPECT_FALSE(theCosts.empty());
  for (const costtest::Cost &theCost : theCosts) {
    const std::string theRow = "\n| " + theCost.mWhat + " | " + std::to_string(theCost.mFigure) + " |\n";
    EXPECT_NE(std::string::npos, thePage.find(theRow))
        << "not there:" << theRow << "see scripts/bench --costs";
  }
}

// What the other tests rely on.
TEST(Stepping, SeesAllocationsAndCallsOfTheLibrary) {
  const Steps theSteps = costtest::StepThrough([](void *) { zvMutex_Delete(zvMutex_New()); }, nullptr);
  EXPECT_GE(theSteps.mAllocations, 1);
  EXPECT_GT(theSteps.mInOurLibraries, 10);
  EXPECT_GT(theSteps.mAll, theSteps.mInOurLibraries);
}

TEST(Stepping, CountsTheSameEveryTime) {
  Stage theStage;
  for (const HotPath &thePath : costtest::HotPaths()) {
    const long theFirst = StepsOf(thePath, theStage).mInOurLibraries;
    EXPECT_EQ(theFirst, StepsOf(thePath, theStage).mInOurLibraries) << thePath.mName;
  }
}

}  // namespace

int main(int aCount, char **anArguments) {
  testing::InitGoogleTest(&aCount, anArguments);
  if (aCount == 3 && std::string(anArguments[1]) == "--write") {
    std::ofstream theFile(anArguments[2]);
    theFile << costtest::ListOfCosts();
    theFile.close();
    return theFile ? 0 : 1;
  }
  return RUN_ALL_TESTS();
}
