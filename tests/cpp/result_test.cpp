// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include <zvOS/cpp/Owner.hpp>

#include "support/RecordingLog.h"

#include <memory>
#include <string>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;

static_assert(sizeof(zv::Error) == 2 * sizeof(int));
static_assert(!std::is_copy_constructible_v<zv::Result<zv::Text>>, "a result of an owner owns");
static_assert(std::is_nothrow_move_constructible_v<zv::Text>);
static_assert(!std::is_convertible_v<zv::Result<int>, bool>, "0 and failure would look the same");
static_assert(zv::detail::Length(5) == 5 && zv::detail::Length(SIZE_MAX) == INT32_MAX,
              "no length becomes negative");

TEST(CppResult, HoldsAValueOrSaysWhyThereIsNone) {
  const zv::Result<int> theValue = 0;
  EXPECT_TRUE(theValue);
  EXPECT_EQ(0, *theValue);
  EXPECT_EQ(0, theValue.error().Status());

  const zv::Result<int> theFailure = zv::Error(-3, ENOENT);
  EXPECT_FALSE(theFailure);
  EXPECT_FALSE(theFailure.has_value());
  EXPECT_EQ(-3, theFailure.error().Status());
  EXPECT_EQ(ENOENT, theFailure.error().Errno());
  EXPECT_TRUE(theFailure.error());
  EXPECT_FALSE(theValue.error());
  EXPECT_FALSE(theFailure.error().WouldBlock());
  EXPECT_TRUE(zv::Error(-1, EAGAIN).WouldBlock());
}

TEST(CppResult, OfNothingIsSuccessUnlessItIsAnError) {
  const zv::Result<void> theSuccess;
  EXPECT_TRUE(theSuccess);
  const zv::Result<void> theFailure = zv::Error(1, 0);
  EXPECT_FALSE(theFailure);
  EXPECT_EQ(1, theFailure.error().Status());
}

TEST(CppResult, LastErrorIsThatOfTheSystem) {
  errno = EPERM;
  const zv::Error theError = zv::Error::Last(-1);
  EXPECT_EQ(-1, theError.Status());
  EXPECT_EQ(EPERM, theError.Errno());
}

TEST(CppResult, AValueIsMovedOutAndReachedThroughTheArrow) {
  zv::Result<std::unique_ptr<std::string>> theResult = std::make_unique<std::string>("text");
  EXPECT_EQ("text", **theResult);
  EXPECT_EQ("text", *theResult->get());
  const std::unique_ptr<std::string> theValue = *std::move(theResult);
  EXPECT_EQ("text", *theValue);
}

TEST(CppResult, AnotherValueStandsInForAFailure) {
  EXPECT_EQ(7, zv::Result<int>(7).value_or(1));
  EXPECT_EQ(1, zv::Result<int>(zv::Error(-1, 0)).value_or(1));

  const zv::Result<std::string> theText = std::string("text");
  EXPECT_EQ("text", theText.value_or("other"));
  EXPECT_EQ("text", *theText);
  zv::Result<std::string> theFailure = zv::Error(-1, 0);
  EXPECT_EQ("other", theFailure.value_or("other"));
}

TEST(CppResult, TheValueOfAFailureIsAnAssertionAndEmpty) {
  RecordingLog theLog;
  const zv::Result<int> theFailure = zv::Error(-1, 0);
  EXPECT_EQ(0, *theFailure);
  EXPECT_THAT(theLog.Assertions(), ElementsAre(Asserted("zv::Result::has_value()")));
  theLog.Clear();
  EXPECT_EQ(5, *zv::Result<int>(5));
  EXPECT_THAT(theLog.Assertions(), IsEmpty());
}

}  // namespace
