// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The fixed list of languages.

#include "posix/LocaleTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

namespace {

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

}  // namespace
