// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Memory and text helpers.

#include "Allocation.h"

#include <gtest/gtest.h>

#include <zvLog/zvLog.h>

#include <climits>
#include <cstring>
#include <string>

namespace {

using namespace zvlogtest;

// Results are released with free(), as callers may.
struct HeapText {
  explicit HeapText(char *aText) : mText(aText) {}
  ~HeapText() { free(mText); }
  HeapText(const HeapText &) = delete;
  HeapText &operator=(const HeapText &) = delete;
  char *const mText;
};

TEST(Memory, IsReleasedByFreeAndByZvFree) {
  char *theFirst = static_cast<char *>(zvMalloc(100));
  ASSERT_NE(nullptr, theFirst);
  memset(theFirst, 1, 100);
  free(theFirst);
  void *theSecond = zvMalloc(100);
  ASSERT_NE(nullptr, theSecond);
  zvFree(theSecond);
  zvFree(nullptr);
}

TEST(Memory, ZeroedIsZero) {
  char *theBytes = static_cast<char *>(zvMallocZeroed(5000));
  ASSERT_NE(nullptr, theBytes);
  for (int theIndex = 0; theIndex < 5000; ++theIndex)
    ASSERT_EQ(0, theBytes[theIndex]);
  zvFree(theBytes);
}

TEST(Memory, OfNoSizeIsAPointerOfItsOwn) {
  void *theFirst = zvMalloc(0);
  void *theSecond = zvMalloc(0);
  void *theThird = zvMallocZeroed(0);
  EXPECT_NE(nullptr, theFirst);
  EXPECT_NE(nullptr, theSecond);
  EXPECT_NE(nullptr, theThird);
  EXPECT_NE(theFirst, theSecond);
  for (void *thePointer : {theFirst, theSecond, theThird})
    zvFree(thePointer);
}

TEST(Memory, ThatIsNotThereIsNull) {
  if (!CanFailAllocations()) GTEST_SKIP() << "allocations cannot be made to fail under a sanitizer";
  const auto theExpectation = [](auto aCall) {
    const FailingAllocation theFailure(0);
    EXPECT_EQ(nullptr, aCall());
    EXPECT_TRUE(theFailure.HasFailed());
  };
  theExpectation([] { return zvMalloc(10); });
  theExpectation([] { return zvMallocZeroed(10); });
  theExpectation([] { return zvStrdup("text"); });
  theExpectation([] { return zvStrndup("text", 2); });
  theExpectation([] { return zv_mnprintf("%d", 1); });
}

TEST(Text, IsCopied) {
  const char theText[] = "a text";
  const HeapText theCopy(zvStrdup(theText));
  EXPECT_STREQ(theText, theCopy.mText);
  EXPECT_NE(theText, theCopy.mText);
  EXPECT_EQ(nullptr, zvStrdup(nullptr));
}

TEST(Text, IsCopiedUpToALength) {
  const char theUnterminated[] = {'a', 'b', 'c'};
  EXPECT_STREQ("abc", HeapText(zvStrndup(theUnterminated, 3)).mText);
  EXPECT_STREQ("ab", HeapText(zvStrndup("abc", 2)).mText);
  EXPECT_STREQ("", HeapText(zvStrndup("abc", 0)).mText);
  EXPECT_STREQ("abc", HeapText(zvStrndup("abc", 99)).mText);
  EXPECT_EQ(nullptr, zvStrndup(nullptr, 3));
}

TEST(Text, FormattedIntoABufferIsAlwaysTerminated) {
  char theBuffer[8];
  memset(theBuffer, 'x', sizeof(theBuffer));
  EXPECT_EQ(3, zv_snprintf(theBuffer, sizeof(theBuffer), "%d", 123));
  EXPECT_STREQ("123", theBuffer);
  EXPECT_EQ(10, zv_snprintf(theBuffer, sizeof(theBuffer), "%s", "0123456789"));
  EXPECT_STREQ("0123456", theBuffer);
  EXPECT_EQ(4, zv_snprintf(theBuffer, 1, "%s", "0123"));
  EXPECT_STREQ("", theBuffer);
}

TEST(Text, FormattedIntoNoRoomTellsItsLength) {
  char theChar = 'x';
  EXPECT_EQ(4, zv_snprintf(&theChar, 0, "%s", "0123"));
  EXPECT_EQ('x', theChar);
  EXPECT_EQ(4, zv_snprintf(nullptr, 0, "%s", "0123"));
  EXPECT_EQ(4, zv_snprintf(nullptr, 10, "%s", "0123"));
}

TEST(Text, ThatCannotBeFormattedLeavesAnEmptyBuffer) {
  char theBuffer[32] = "old";
  EXPECT_GT(0, zv_snprintf(theBuffer, sizeof(theBuffer), "new %ls", L"\x7fffffff"));
  EXPECT_STREQ("", theBuffer);
  EXPECT_EQ(nullptr, zv_mnprintf("new %ls", L"\x7fffffff"));
}

TEST(Text, NullFormatIsAFailure) {
  const char *volatile theNoFormat = nullptr;
  char theBuffer[8] = "old";
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
  EXPECT_GT(0, zv_snprintf(theBuffer, sizeof(theBuffer), theNoFormat));
  EXPECT_STREQ("", theBuffer);
  EXPECT_EQ(nullptr, zv_mnprintf(theNoFormat));
#pragma GCC diagnostic pop
}

TEST(Text, FormattedIntoNewMemoryIsWhole) {
  EXPECT_STREQ("", HeapText(zv_mnprintf("%s", "")).mText);
  const std::string theLong(100000, 'x');
  EXPECT_EQ(theLong + "7", HeapText(zv_mnprintf("%s%d", theLong.c_str(), 7)).mText);
}

}  // namespace
