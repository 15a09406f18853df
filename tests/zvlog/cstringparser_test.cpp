// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Shell patterns and lists of quoted names.

#include "Allocation.h"

#include <gtest/gtest.h>

#include <zvLog/zvLog.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace zvlogtest;
using Texts = std::vector<std::string>;

// The names found, after checks of the list itself. aText is left with the terminators.
Texts Names(char *aText, size_t aStart, size_t aLength) {
  Texts theNames;
  zvCStringParser_TokenList *theList = zvCStringParser_TokenizeQuotedList(aText, aStart, aLength);
  EXPECT_NE(nullptr, theList);
  if (theList == nullptr) return theNames;
  const zvCStringParser_Token *theLast = nullptr;
  for (const zvCStringParser_Token *theToken = theList->mFirstToken; theToken != nullptr;
       theToken = theToken->mNextToken) {
    EXPECT_EQ(strlen(theToken->mData), theToken->mDataLength);
    EXPECT_GE(theToken->mData, aText + aStart);
    EXPECT_LE(theToken->mData + theToken->mDataLength, aText + aStart + aLength);
    theNames.emplace_back(theToken->mData);
    theLast = theToken;
  }
  EXPECT_EQ(theLast, theList->mLastToken);
  EXPECT_EQ(theNames.size(), theList->mTokenCount);
  zvCStringParser_Delete(theList);
  return theNames;
}

Texts NamesOf(std::string aText) {
  return Names(&aText[0], 0, aText.size());
}

TEST(QuotedList, NamesAreSeparatedByBlanksOrCommas) {
  EXPECT_EQ((Texts{"eth0"}), NamesOf("eth0"));
  EXPECT_EQ((Texts{"eth0", "wlan*", "lo"}), NamesOf("eth0,wlan* lo"));
  EXPECT_EQ((Texts{"a", "b", "c"}), NamesOf(" ,a , ,b\t\n,\r c,, "));
}

TEST(QuotedList, QuotedNameContainsAnythingButAQuote) {
  EXPECT_EQ((Texts{"a b", "c,d", "e"}), NamesOf("\"a b\" \"c,d\",e"));
  EXPECT_EQ((Texts{"", "x", ""}), NamesOf("\"\" x \"\""));
  EXPECT_EQ((Texts{" ", ","}), NamesOf("\" \"\",\""));
}

TEST(QuotedList, QuoteNextToABareNameSeparates) {
  EXPECT_EQ((Texts{"abc", "d e", "fgh"}), NamesOf("abc\"d e\"fgh"));
  EXPECT_EQ((Texts{"a", "", "b"}), NamesOf("a\"\"b"));
}

TEST(QuotedList, NameWithoutClosingQuoteRunsToTheEnd) {
  EXPECT_EQ((Texts{"a", "b, c "}), NamesOf("a \"b, c "));
  EXPECT_EQ((Texts{"a", ""}), NamesOf("a \""));
}

TEST(QuotedList, NothingOrOnlySeparatorsHaveNoNames) {
  EXPECT_EQ(Texts{}, NamesOf(""));
  EXPECT_EQ(Texts{}, NamesOf(" , \t,, "));
  char theText[] = "abc";
  EXPECT_EQ(Texts{}, Names(theText, 1, 0));
  EXPECT_STREQ("abc", theText);
}

TEST(QuotedList, OnlyTheGivenPartIsLookedAt) {
  char theText[] = "one two three four";
  EXPECT_EQ((Texts{"two", "three"}), Names(theText, 4, 9));
  EXPECT_EQ(0, memcmp("one two\0three\0four", theText, sizeof(theText)));
}

TEST(QuotedList, NameAtTheEndOfThePartIsTerminatedThere) {
  char theBare[] = "ab,cdef";
  EXPECT_EQ((Texts{"ab", "cd"}), Names(theBare, 0, 5));
  EXPECT_EQ(0, memcmp("ab\0cd\0f", theBare, sizeof(theBare)));

  char theUnclosed[] = "\"cdef";
  EXPECT_EQ((Texts{"cd"}), Names(theUnclosed, 0, 3));
  EXPECT_EQ(0, memcmp("\"cd\0f", theUnclosed, sizeof(theUnclosed)));
}

TEST(QuotedList, NothingIsWrittenBehindThePartOtherwise) {
  char theQuoted[] = "\"cd\"ef";
  EXPECT_EQ((Texts{"cd"}), Names(theQuoted, 0, 4));
  EXPECT_EQ(0, memcmp("\"cd\0ef", theQuoted, sizeof(theQuoted)));

  char theSeparated[] = "cd ,ef";
  EXPECT_EQ((Texts{"cd"}), Names(theSeparated, 0, 4));
  EXPECT_EQ(0, memcmp("cd\0,ef", theSeparated, sizeof(theSeparated)));
}

TEST(QuotedList, TextEndsAtANul) {
  char theText[] = "ab cd\0ef gh";
  EXPECT_EQ((Texts{"ab", "cd"}), Names(theText, 0, sizeof(theText) - 1));
  EXPECT_EQ(0, memcmp("ab\0cd\0ef gh", theText, sizeof(theText)));
}

TEST(QuotedList, NullTextHasNoNames) {
  zvCStringParser_TokenList *theList = zvCStringParser_TokenizeQuotedList(nullptr, 3, 5);
  ASSERT_NE(nullptr, theList);
  EXPECT_EQ(0u, theList->mTokenCount);
  EXPECT_EQ(nullptr, theList->mFirstToken);
  EXPECT_EQ(nullptr, theList->mLastToken);
  zvCStringParser_Delete(theList);
  zvCStringParser_Delete(nullptr);
}

TEST(QuotedList, FailedAllocationGivesNullAndLeavesTheText) {
  if (!CanFailAllocations()) GTEST_SKIP() << "allocations cannot be made to fail under a sanitizer";
  for (int theSkip = 0; theSkip < 4; ++theSkip) {
    char theText[] = "one two three";
    const FailingAllocation theFailure(theSkip);
    EXPECT_EQ(nullptr, zvCStringParser_TokenizeQuotedList(theText, 0, strlen(theText)));
    EXPECT_STREQ("one two three", theText);
  }
}

TEST(Match, IsOfTheWholeTextAgainstAShellPattern) {
  EXPECT_NE(0, zvCStringParser_Match("eth0", "eth0"));
  EXPECT_EQ(0, zvCStringParser_Match("eth0", "eth01"));
  EXPECT_EQ(0, zvCStringParser_Match("eth0", "xeth0"));
  EXPECT_NE(0, zvCStringParser_Match("eth*", "eth01"));
  EXPECT_NE(0, zvCStringParser_Match("*", ""));
  EXPECT_EQ(0, zvCStringParser_Match("?", ""));
  EXPECT_NE(0, zvCStringParser_Match("wlan[0-3]", "wlan2"));
  EXPECT_EQ(0, zvCStringParser_Match("wlan[!0-3]", "wlan2"));
  EXPECT_NE(0, zvCStringParser_Match("a\\*b", "a*b"));
  EXPECT_EQ(0, zvCStringParser_Match("a\\*b", "axb"));
  EXPECT_NE(0, zvCStringParser_Match("*", ".hidden"));
  EXPECT_NE(0, zvCStringParser_Match("a*c", "a/b/c"));
  EXPECT_EQ(0, zvCStringParser_Match("A", "a"));
  EXPECT_NE(0, zvCStringParser_Match("", ""));
}

TEST(Match, NullNeverMatches) {
  EXPECT_EQ(0, zvCStringParser_Match(nullptr, "a"));
  EXPECT_EQ(0, zvCStringParser_Match("*", nullptr));
  EXPECT_EQ(0, zvCStringParser_Match(nullptr, nullptr));
}

}  // namespace
