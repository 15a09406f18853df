// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The locale of the process. The fixed list of languages: layout/locale_table_test.cpp.

#include <zvOS/zvLocale.h>

#include "support/HandleChecks.h"

#include <algorithm>
#include <clocale>
#include <iterator>

namespace {

using ::testing::IsEmpty;
using namespace zvtest;

class LocaleTest : public ::testing::Test {
 protected:
  ~LocaleTest() override {
    setlocale(LC_ALL, "C");
    EXPECT_THAT(mLog.Calls(), IsEmpty());
  }

  zvtest::RecordingLog mLog;
};

// Lets the system say that this is the locale (NULL: that it does not know), and checks that it is only
// asked.
class Current {
 public:
  explicit Current(const char *aLocale) : mFault("setlocale", 0) {
    mFault.Returning(AsArgument(aLocale));
    mFault.Doing([](const long long *anArguments) {
      EXPECT_EQ(LC_ALL, anArguments[0]);
      EXPECT_EQ(0, anArguments[1]);
    });
  }
  ~Current() { EXPECT_EQ(1, mFault.Hits()); }
  Current(const Current &) = delete;
  Current &operator=(const Current &) = delete;

 private:
  Fault mFault;
};

TEST_F(LocaleTest, WithoutANamedLocaleItIsAmericanEnglish) {
  for (const char *theLocale : {static_cast<const char *>(nullptr), "C", "POSIX"}) {
    const Current theCurrent(theLocale);
    EXPECT_STREQ("en_US", zvLocale_Get()) << (theLocale != nullptr ? theLocale : "NULL");
  }
}

TEST_F(LocaleTest, AnyOtherNameIsReturnedAsItIs) {
  for (const char *theLocale : {"fr_FR.UTF-8", "en_US", "zh_TW", "C.UTF-8", "C.utf8", "c", "posix",
                                "POSIX.UTF-8", "", " C", "de_DE@euro", "not a locale"}) {
    const Current theCurrent(theLocale);
    EXPECT_EQ(theLocale, zvLocale_Get()) << theLocale;
  }
}

TEST_F(LocaleTest, AProcessThatSetNoLocaleIsAmericanEnglish) {
  setlocale(LC_ALL, "C");
  EXPECT_STREQ("en_US", zvLocale_Get());
  setlocale(LC_ALL, "POSIX");
  EXPECT_STREQ("en_US", zvLocale_Get());
  EXPECT_EQ(0, zvLocale_isBig5User());
}

TEST_F(LocaleTest, ALocaleThatWasSetIsInForceAndReturned) {
  if (setlocale(LC_ALL, "C.UTF-8") == nullptr) GTEST_SKIP() << "needs the locale C.UTF-8";
  setlocale(LC_ALL, "C");
  zvLocale_Set("C.UTF-8");
  EXPECT_STREQ("C.UTF-8", setlocale(LC_ALL, nullptr));
  EXPECT_STREQ("C.UTF-8", zvLocale_Get());
  zvLocale_Set("C");
  EXPECT_STREQ("C", setlocale(LC_ALL, nullptr));
  EXPECT_STREQ("en_US", zvLocale_Get());
}

TEST_F(LocaleTest, ALocaleOfMixedCategoriesIsReturnedAsTheSystemNamesIt) {
  if (setlocale(LC_CTYPE, "C.UTF-8") == nullptr) GTEST_SKIP() << "needs the locale C.UTF-8";
  const std::string theName = setlocale(LC_ALL, nullptr);
  EXPECT_NE("C.UTF-8", theName);
  EXPECT_EQ(theName, zvLocale_Get());
  EXPECT_EQ(0, zvLocale_isBig5User());
}

TEST_F(LocaleTest, SetHandsItsTextToTheSystem) {
  for (const char *theLocale : {"zh_TW", "", "fr_FR.UTF-8", static_cast<const char *>(nullptr)}) {
    long long theCategory = -1;
    const char *theText = "(not called)";
    Fault theFault("setlocale", 0);
    theFault.Doing([&](const long long *anArguments) {
      theCategory = anArguments[0];
      theText = ArgumentAs<const char>(anArguments[1]);
    });
    zvLocale_Set(theLocale);
    EXPECT_EQ(LC_ALL, theCategory);
    EXPECT_EQ(theLocale, theText);
  }
}

TEST_F(LocaleTest, AnUnknownLocaleChangesNothing) {
  setlocale(LC_ALL, "C");
  zvLocale_Set("xx_XX.no-such-locale");
  EXPECT_STREQ("C", setlocale(LC_ALL, nullptr));
  EXPECT_STREQ("en_US", zvLocale_Get());
}

TEST_F(LocaleTest, ExactlyThreeLocalesReadBig5) {
  for (const char *theLocale : {"zh_TW", "zh_HK", "zh_MO"}) {
    const Current theCurrent(theLocale);
    EXPECT_EQ(1, zvLocale_isBig5User()) << theLocale;
  }
  for (const char *theLocale :
       {"zh_TW.UTF-8", "zh_HK.Big5", "zh_MO@x", "zh_CN", "zh_SG", "zh", "zh_T", "zh_TWO", "ZH_TW", "zh_tw",
        " zh_TW", "en_US", "C", "POSIX", "", static_cast<const char *>(nullptr)}) {
    const Current theCurrent(theLocale);
    EXPECT_EQ(0, zvLocale_isBig5User()) << (theLocale != nullptr ? theLocale : "NULL");
  }
}

TEST_F(LocaleTest, AnAnswerIsAskedForEachTime) {
  const int theCalls = CallsOf("setlocale");
  zvLocale_Get();
  zvLocale_Get();
  zvLocale_isBig5User();
  EXPECT_EQ(theCalls + 3, CallsOf("setlocale"));
}

}  // namespace
