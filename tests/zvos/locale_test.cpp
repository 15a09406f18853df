// The locale of the process, and the fixed list of languages.

#include "../../zvOS/posix/LocaleTable.h"

#include <zvOS/zvLocale.h>

#include "handle_checks.h"

#include <algorithm>
#include <clocale>
#include <iterator>

namespace {

using ::testing::IsEmpty;
using zvtest::ArgumentAs;
using zvtest::CallsOf;
using zvtest::Fault;

// Indexes into this list are kept by others: neither order nor duplicates may change.
// clang-format off
constexpr const char *kLanguages[] = {
    "ab", "aa", "af_ZA", "sq_AL", "am", "ar", "ar_DZ", "ar_BH", "ar_EG", "ar_IQ", "ar_JO", "ar_KW", "ar_LB",
    "ar_LY", "ar_MA", "ar_OM", "ar_QA", "ar_SA", "ar_SD", "ar_SY", "ar_TN", "ar_AE", "ar_YE", "hy", "as",
    "ay", "az", "az", "az", "ba", "eu_ES", "be_BY", "bn", "dz", "bh", "bi", "br", "bg_BG", "my", "km",
    "ca_ES", "zh_CN", "zh_CN", "zh_TW", "zh_HK", "zh_MO", "zh_SG", "zh_TW", "co", "hr_HR", "cs_CZ", "da_DK",
    "nl_NL", "nl_BE", "en_GB", "en_GB", "en_US", "en_AU", "en_BZ", "en_BW", "en_CA", "en_CB", "en_DK",
    "en_IE", "en_JM", "en_NZ", "en_PH", "en_ZA", "en_TT", "en_ZW", "eo", "et_EE", "fo_FO", "fa_IR", "fj",
    "fi_FI", "fr_FR", "fr_BE", "fr_CA", "fr_LU", "fr_MC", "fr_CH", "fy", "gl_ES", "ka", "de_DE", "de_AT",
    "de_BE", "de_LI", "de_LU", "de_CH", "el_GR", "kl_GL", "gn", "gu", "ha", "he_IL", "hi_IN", "hu_HU",
    "is_IS", "id_ID", "ia", "ie", "iu", "ik", "ga_IE", "it_IT", "it_CH", "ja_JP", "jw", "kn", "ks", "ks_IN",
    "kk", "kw_GB", "rw", "ky", "rn", "ko_KR", "ku", "lo", "la", "lv_LV", "ln", "lt_LT", "mk_MK", "mg",
    "ms_MY", "ml", "ms_BN", "ms_MY", "mt_MT", "mi", "mr_IN", "mo", "mn", "na", "ne", "ne_IN", "nb_NO",
    "nn_NO", "oc", "or", "om", "ps", "pl_PL", "pt_PT", "pt_BR", "pa", "qu", "rm", "ro_RO", "ru_RU", "ru_UA",
    "sm", "sg", "sa", "gd", "sr_YU", "sr_YU", "sr_YU", "sh", "st", "tn", "sn", "sd", "si", "ss", "sk_SK",
    "sl_SI", "so", "es_ES", "es_AR", "es_BO", "es_CL", "es_CO", "es_CR", "es_DO", "es_EC", "es_SV", "es_GT",
    "es_HN", "es_MX", "es_ES", "es_NI", "es_PA", "es_PY", "es_PE", "es_PR", "es_UY", "es_US", "es_VE", "su",
    "sw_KE", "sv_SE", "sv_FI", "tl", "tg", "ta", "tt", "te", "th_TH", "bo", "ti", "to", "ts", "tr_TR", "tk",
    "tw", "ug", "uk_UA", "ur", "ur_IN", "ur_PK", "uz", "uz", "uz", "vi_VN", "vo", "cy", "wo", "xh", "yi",
    "yo", "za", "zu", "",
};
// clang-format on

constexpr size_t kBig5Rows[] = {43, 44, 45, 47};

TEST(LocaleTable, HasItsRowsInOrder) {
  ASSERT_EQ(227u, std::size(kLanguages));
  ASSERT_EQ(std::size(kLanguages), std::size(zvos::sLanguageInfo));
  for (size_t i = 0; i < std::size(kLanguages); ++i)
    EXPECT_STREQ(kLanguages[i], zvos::sLanguageInfo[i].mCanonicalName) << "row " << i;
}

TEST(LocaleTable, FourRowsAreBig5) {
  EXPECT_EQ(0, zvos::SPECIAL_ENCODING_DEFAULT);
  EXPECT_EQ(1, zvos::SPECIAL_ENCODING_BIG5);
  for (size_t i = 0; i < std::size(zvos::sLanguageInfo); ++i) {
    const bool isBig5 = std::count(std::begin(kBig5Rows), std::end(kBig5Rows), i) != 0;
    EXPECT_EQ(isBig5 ? zvos::SPECIAL_ENCODING_BIG5 : zvos::SPECIAL_ENCODING_DEFAULT,
              zvos::sLanguageInfo[i].mSpecialEncoding)
        << "row " << i;
  }
}

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
    mFault.Returning(static_cast<long long>(reinterpret_cast<intptr_t>(aLocale)));
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
