// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The locale of the process.

#include <zvOS/zvLocale.h>

#include "posix/LocaleTable.h"

#include <clocale>
#include <cstring>

zvCompileTimeAssert(sizeof(zvos::sLanguageInfo) / sizeof(zvos::sLanguageInfo[0]) == 227);

namespace {

constexpr int kIndexOfAmericanEnglish = 56;

// The row that stands in for a locale without a name of its own; nothing changes it.
int sLocaleIndex = kIndexOfAmericanEnglish;

template <size_t kCount>
bool IsOneOf(const char *aText, const char *const (&someTexts)[kCount]) {
  for (const char *const theText : someTexts) {
    if (strcmp(aText, theText) == 0) return true;
  }
  return false;
}

}  // namespace

extern "C" void zvLocale_Set(const char *aLocale) {
  setlocale(LC_ALL, aLocale);
}

extern "C" const char *zvLocale_Get(void) {
  static constexpr const char *kNameless[] = {"C", "POSIX"};
  const char *const theLocale = setlocale(LC_ALL, nullptr);
  return theLocale != nullptr && !IsOneOf(theLocale, kNameless)
             ? theLocale
             : zvos::sLanguageInfo[sLocaleIndex].mCanonicalName;
}

extern "C" int zvLocale_isBig5User(void) {
  // Whole names: one with an encoding does not count, and the table is not asked.
  static constexpr const char *kBig5[] = {"zh_TW", "zh_HK", "zh_MO"};
  const char *const theLocale = setlocale(LC_ALL, nullptr);
  return theLocale != nullptr && IsOneOf(theLocale, kBig5) ? 1 : 0;
}
