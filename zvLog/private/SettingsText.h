// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Lists of settings as text.
#pragma once

#include <cstddef>

namespace zvlog {

constexpr char kBlanks[] = " \t";

// Cuts a list into its settings, in place. They are separated by commas and white space; blanks around the
// '=' of a setting belong to it, and one in double quotes may contain anything else.
class SettingsList {
 public:
  // In a file, '#' begins a comment where a setting could begin.
  enum class From { Text, File };
  SettingsList(char *aText, From aSource) : mRest(aText), mSource(aSource) {}

  // NULL at the end of the list.
  char *Next();
  // Whether the last setting lacks its closing quote.
  bool IsUnclosed() const { return mfUnclosed; }
  From Source() const { return mSource; }

 private:
  void SkipToSetting();

  char *mRest;
  const From mSource;
  bool mfUnclosed = false;
};

// Reads a file of settings, one of ordinary kind and at most 1 MiB. Text to be released with free(), or NULL
// and what is wrong, with errno where mfBecauseOfError.
struct SettingsFile {
  char *mText;
  const char *mWhat;
  bool mfBecauseOfError;
};
SettingsFile ReadSettingsFile(const char *aPath);

}  // namespace zvlog
