// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Lists of settings as text, from the environment and from files.

#include "private/SettingsText.h"

#include "private/WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

using zvlog::kBlanks;
using zvlog::SettingsFile;

constexpr char kSeparators[] = ", \t\r\n";
constexpr SettingsFile kTooLarge = {nullptr, "the file has more than 1 MiB", false};
constexpr SettingsFile kNoFile = {nullptr, "it is no ordinary file", false};
constexpr SettingsFile kNoText = {nullptr, "the file is no text", false};
constexpr SettingsFile kUnreadable = {nullptr, "cannot read the file", true};

// The end of the setting at aText. A blank ends it, unless the next or the last character is its '='.
char *EndOfSetting(char *aText) {
  char *theEnd = aText + strcspn(aText, kSeparators);
  const char *theEqualSign = static_cast<char *>(memchr(aText, '=', static_cast<size_t>(theEnd - aText)));
  if (theEqualSign == nullptr) {
    char *theNext = theEnd + strspn(theEnd, kBlanks);
    if (*theNext != '=') return theEnd;
    theEqualSign = theNext;
    theEnd = theNext + strcspn(theNext, kSeparators);
  }
  if (theEqualSign + 1 != theEnd) return theEnd;
  char *theValue = theEnd + strspn(theEnd, kBlanks);
  return theValue + strcspn(theValue, kSeparators);
}

}  // namespace

namespace zvlog {

void SettingsList::SkipToSetting() {
  mRest += strspn(mRest, kSeparators);
  while (mSource == From::File && *mRest == '#') {
    mRest += strcspn(mRest, "\n");
    mRest += strspn(mRest, kSeparators);
  }
}

char *SettingsList::Next() {
  SkipToSetting();
  if (*mRest == '\0') return nullptr;
  char *theBegin = mRest;
  char *theEnd;
  mfUnclosed = false;
  if (*theBegin == '"') {
    ++theBegin;
    theEnd = theBegin + strcspn(theBegin, "\"");
    mfUnclosed = *theEnd == '\0';
  } else {
    theEnd = EndOfSetting(theBegin);
  }
  mRest = *theEnd != '\0' ? theEnd + 1 : theEnd;
  *theEnd = '\0';
  return theBegin;
}

SettingsFile ReadSettingsFile(const char *aPath) {
  char *theText;
  size_t theLength;
  switch (ReadWholeFile(aPath, &theText, &theLength)) {
    case ReadResult::NotRegular:
      return kNoFile;
    case ReadResult::TooLarge:
      return kTooLarge;
    case ReadResult::Failed:
      return errno == EISDIR ? kNoFile : kUnreadable;
    case ReadResult::Read:
      break;
  }
  if (memchr(theText, '\0', theLength) == nullptr) return {theText, nullptr, false};
  free(theText);
  return kNoText;
}

}  // namespace zvlog
