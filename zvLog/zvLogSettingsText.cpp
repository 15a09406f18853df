// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Lists of settings as text, from the environment and from files.

#include "private/SettingsText.h"

#include "private/LastingDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

using zvlog::SettingsFile;

constexpr char kBlanks[] = " \t";
constexpr char kSeparators[] = ", \t\r\n";
constexpr size_t kMaximumSize = size_t{1} << 20;
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

// Reads to the end of the file, which need not have the size that it claims.
SettingsFile ReadAll(int aFile) {
  char *theText = static_cast<char *>(malloc(kMaximumSize + 1));
  if (theText == nullptr) return kUnreadable;
  size_t theLength = 0;
  ssize_t theCount;
  do {
    theCount = read(aFile, theText + theLength, kMaximumSize + 1 - theLength);
    if (theCount > 0) theLength += static_cast<size_t>(theCount);
  } while ((theCount > 0 && theLength <= kMaximumSize) || (theCount < 0 && errno == EINTR));

  const SettingsFile *theComplaint = nullptr;
  if (theCount < 0) {
    theComplaint = &kUnreadable;
  } else if (theLength > kMaximumSize) {
    theComplaint = &kTooLarge;
  } else if (memchr(theText, '\0', theLength) != nullptr) {
    theComplaint = &kNoText;
  }
  if (theComplaint != nullptr) {
    const int theError = errno;
    free(theText);
    errno = theError;
    return *theComplaint;
  }
  theText[theLength] = '\0';
  return {theText, nullptr, false};
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
  struct stat theStatus;
  // Before it is opened, too: opening a device may have consequences.
  if (stat(aPath, &theStatus) != 0) return kUnreadable;
  if (!S_ISREG(theStatus.st_mode)) return kNoFile;
  const int theFile = open(aPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (theFile < 0) return kUnreadable;
  const bool afFile = fstat(theFile, &theStatus) == 0 && S_ISREG(theStatus.st_mode);
  const SettingsFile theResult = afFile ? ReadAll(theFile) : kNoFile;
  CloseKeepingErrno(theFile);
  return theResult;
}

}  // namespace zvlog
