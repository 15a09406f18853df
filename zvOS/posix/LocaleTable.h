// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Languages by index; the order and the duplicates are those that indexes kept elsewhere count on.
#pragma once

namespace zvos {

enum SpecialEncoding { SPECIAL_ENCODING_DEFAULT = 0, SPECIAL_ENCODING_BIG5 = 1 };

struct localeLanguageInfo {
  const char *mCanonicalName;  // language and, where it is known, country
  SpecialEncoding mSpecialEncoding = SPECIAL_ENCODING_DEFAULT;
};

// clang-format off
constexpr localeLanguageInfo sLanguageInfo[] = {
    {"ab"}, {"aa"}, {"af_ZA"}, {"sq_AL"}, {"am"}, {"ar"}, {"ar_DZ"}, {"ar_BH"}, {"ar_EG"}, {"ar_IQ"},
    {"ar_JO"}, {"ar_KW"}, {"ar_LB"}, {"ar_LY"}, {"ar_MA"}, {"ar_OM"}, {"ar_QA"}, {"ar_SA"}, {"ar_SD"},
    {"ar_SY"}, {"ar_TN"}, {"ar_AE"}, {"ar_YE"}, {"hy"}, {"as"}, {"ay"}, {"az"}, {"az"}, {"az"}, {"ba"},
    {"eu_ES"}, {"be_BY"}, {"bn"}, {"dz"}, {"bh"}, {"bi"}, {"br"}, {"bg_BG"}, {"my"}, {"km"}, {"ca_ES"},
    {"zh_CN"}, {"zh_CN"}, {"zh_TW", SPECIAL_ENCODING_BIG5}, {"zh_HK", SPECIAL_ENCODING_BIG5},
    {"zh_MO", SPECIAL_ENCODING_BIG5}, {"zh_SG"}, {"zh_TW", SPECIAL_ENCODING_BIG5}, {"co"}, {"hr_HR"},
    {"cs_CZ"}, {"da_DK"}, {"nl_NL"}, {"nl_BE"}, {"en_GB"}, {"en_GB"}, {"en_US"}, {"en_AU"}, {"en_BZ"},
    {"en_BW"}, {"en_CA"}, {"en_CB"}, {"en_DK"}, {"en_IE"}, {"en_JM"}, {"en_NZ"}, {"en_PH"}, {"en_ZA"},
    {"en_TT"}, {"en_ZW"}, {"eo"}, {"et_EE"}, {"fo_FO"}, {"fa_IR"}, {"fj"}, {"fi_FI"}, {"fr_FR"}, {"fr_BE"},
    {"fr_CA"}, {"fr_LU"}, {"fr_MC"}, {"fr_CH"}, {"fy"}, {"gl_ES"}, {"ka"}, {"de_DE"}, {"de_AT"}, {"de_BE"},
    {"de_LI"}, {"de_LU"}, {"de_CH"}, {"el_GR"}, {"kl_GL"}, {"gn"}, {"gu"}, {"ha"}, {"he_IL"}, {"hi_IN"},
    {"hu_HU"}, {"is_IS"}, {"id_ID"}, {"ia"}, {"ie"}, {"iu"}, {"ik"}, {"ga_IE"}, {"it_IT"}, {"it_CH"},
    {"ja_JP"}, {"jw"}, {"kn"}, {"ks"}, {"ks_IN"}, {"kk"}, {"kw_GB"}, {"rw"}, {"ky"}, {"rn"}, {"ko_KR"},
    {"ku"}, {"lo"}, {"la"}, {"lv_LV"}, {"ln"}, {"lt_LT"}, {"mk_MK"}, {"mg"}, {"ms_MY"}, {"ml"}, {"ms_BN"},
    {"ms_MY"}, {"mt_MT"}, {"mi"}, {"mr_IN"}, {"mo"}, {"mn"}, {"na"}, {"ne"}, {"ne_IN"}, {"nb_NO"},
    {"nn_NO"}, {"oc"}, {"or"}, {"om"}, {"ps"}, {"pl_PL"}, {"pt_PT"}, {"pt_BR"}, {"pa"}, {"qu"}, {"rm"},
    {"ro_RO"}, {"ru_RU"}, {"ru_UA"}, {"sm"}, {"sg"}, {"sa"}, {"gd"}, {"sr_YU"}, {"sr_YU"}, {"sr_YU"},
    {"sh"}, {"st"}, {"tn"}, {"sn"}, {"sd"}, {"si"}, {"ss"}, {"sk_SK"}, {"sl_SI"}, {"so"}, {"es_ES"},
    {"es_AR"}, {"es_BO"}, {"es_CL"}, {"es_CO"}, {"es_CR"}, {"es_DO"}, {"es_EC"}, {"es_SV"}, {"es_GT"},
    {"es_HN"}, {"es_MX"}, {"es_ES"}, {"es_NI"}, {"es_PA"}, {"es_PY"}, {"es_PE"}, {"es_PR"}, {"es_UY"},
    {"es_US"}, {"es_VE"}, {"su"}, {"sw_KE"}, {"sv_SE"}, {"sv_FI"}, {"tl"}, {"tg"}, {"ta"}, {"tt"}, {"te"},
    {"th_TH"}, {"bo"}, {"ti"}, {"to"}, {"ts"}, {"tr_TR"}, {"tk"}, {"tw"}, {"ug"}, {"uk_UA"}, {"ur"},
    {"ur_IN"}, {"ur_PK"}, {"uz"}, {"uz"}, {"uz"}, {"vi_VN"}, {"vo"}, {"cy"}, {"wo"}, {"xh"}, {"yi"},
    {"yo"}, {"za"}, {"zu"}, {""},
};
// clang-format on

}  // namespace zvos
