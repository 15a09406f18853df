// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Sinks as they are written in settings. What is said of a sink stands before its path, so that a path may
// contain anything; one that itself begins like that is written with "./".

#include "private/SinkText.h"

#include "private/Names.h"
#include "private/Numbers.h"

#include <cctype>
#include <cerrno>
#include <cstring>

namespace {

using zvlog::FileSink;
using zvlog::SinkComplaint;

constexpr SinkComplaint kFine = {nullptr, false};
constexpr SinkComplaint kNoSink = {"it is no sink (stderr, file:<path>, syslog or syslog:<path>)", false};
constexpr SinkComplaint kBadMaximum = {
    "max= takes a size from 1K on (as 512K, 4M or 1G) and after '*' 1 to 99 generations", false};
constexpr SinkComplaint kNoPath = {"there is no path behind max=", false};
constexpr SinkComplaint kTooMany = {"it is one sink too many, eight are possible", false};
constexpr SinkComplaint kCannotOpen = {"cannot open the file", true};
constexpr SinkComplaint kCannotReach = {"cannot reach the system log", true};

constexpr char kMaximum[] = "max=";
constexpr size_t kWordRoom = 48;
constexpr uint64 kSmallestMaximum = 1024;
constexpr uint32 kLargestNumber = uint32{1} << 30;

const char *AfterPrefix(const char *aText, const char *aPrefix) {
  const size_t theLength = strlen(aPrefix);
  return strncmp(aText, aPrefix, theLength) == 0 ? aText + theLength : nullptr;
}

// Copies what stands before the next colon, and gives what stands behind it; NULL when there is no such word.
const char *SplitWord(const char *aText, char (&aWord)[kWordRoom]) {
  const char *theColon = strchr(aText, ':');
  const size_t theLength = theColon != nullptr ? static_cast<size_t>(theColon - aText) : strlen(aText);
  if (theLength == 0 || theLength >= kWordRoom) return nullptr;
  memcpy(aWord, aText, theLength);
  aWord[theLength] = '\0';
  return theColon != nullptr ? theColon + 1 : aText + theLength;
}

// By name only: a number might well begin a path.
bool LevelFromName(const char *aText, zvLogLevel *aLevel) {
  return isalpha(static_cast<unsigned char>(*aText)) && zvlog::LevelFromText(aText, aLevel);
}

uint64 FactorOf(char aUnit) {
  switch (toupper(static_cast<unsigned char>(aUnit))) {
    case 'K':
      return uint64{1} << 10;
    case 'M':
      return uint64{1} << 20;
    case 'G':
      return uint64{1} << 30;
    default:
      return 0;
  }
}

// "4M*3"; the text is changed.
bool ReadMaximum(char *aText, FileSink *aFile) {
  uintptr_t theGenerations = 1;
  if (char *theStar = strchr(aText, '*')) {
    *theStar = '\0';
    if (zvlog::ReadDigits(theStar + 1, 10, 99, &theGenerations) != zvlog::NumberError::None) return false;
  }
  const size_t theLength = strlen(aText);
  uint64 theFactor = theLength > 0 ? FactorOf(aText[theLength - 1]) : 0;
  if (theFactor == 0) {
    theFactor = 1;
  } else {
    aText[theLength - 1] = '\0';
  }
  uintptr_t theNumber = 0;
  if (zvlog::ReadDigits(aText, 10, kLargestNumber, &theNumber) != zvlog::NumberError::None) return false;
  aFile->mMaximumSize = uint64{theNumber} * theFactor;
  aFile->mGenerations = static_cast<uint32>(theGenerations);
  return aFile->mMaximumSize >= kSmallestMaximum && theGenerations > 0;
}

SinkComplaint AddStandardError(zvlog::SinkChange *aChange, const char *aRest) {
  zvLogLevel theLevel = zvlog::kEveryLevel;
  if (*aRest == ':' && !zvlog::LevelFromText(aRest + 1, &theLevel)) return kNoSink;
  if (*aRest != ':' && *aRest != '\0') return kNoSink;
  return aChange->AddStandardError(theLevel) ? kFine : kTooMany;
}

SinkComplaint AddFile(zvlog::SinkChange *aChange, const char *aRest) {
  FileSink theFile = {aRest, zvlog::kEveryLevel, 0, 0};
  char theWord[kWordRoom];
  for (bool afMore = true; afMore;) {
    const char *theNext = SplitWord(theFile.mPath, theWord);
    afMore = theNext != nullptr && theNext[-1] == ':';
    if (!afMore) break;
    char *theMaximum =
        strncmp(theWord, kMaximum, strlen(kMaximum)) == 0 ? theWord + strlen(kMaximum) : nullptr;
    if (theMaximum != nullptr && !ReadMaximum(theMaximum, &theFile)) return kBadMaximum;
    afMore = theMaximum != nullptr || LevelFromName(theWord, &theFile.mHighestLevel);
    if (afMore) theFile.mPath = theNext;
  }
  if (AfterPrefix(theFile.mPath, kMaximum) != nullptr) return kNoPath;
  return aChange->AddFile(theFile) ? kFine : kCannotOpen;
}

SinkComplaint AddSystemLog(zvlog::SinkChange *aChange, const char *aRest) {
  if (*aRest != ':' && *aRest != '\0') return kNoSink;
  zvLogLevel theLevel = zvlog::kEveryLevel;
  const char *thePath = *aRest == ':' ? aRest + 1 : nullptr;
  char theWord[kWordRoom];
  const char *theNext = thePath != nullptr ? SplitWord(thePath, theWord) : nullptr;
  if (theNext != nullptr && LevelFromName(theWord, &theLevel)) thePath = *theNext != '\0' ? theNext : nullptr;
  return aChange->AddSystemLog(thePath, theLevel) ? kFine : kCannotReach;
}

}  // namespace

namespace zvlog {

SinkComplaint AddSinkFromText(SinkChange *aChange, const char *aText) {
  if (!aChange->HasRoom()) return kTooMany;
  errno = EINVAL;  // unless a call says otherwise
  if (const char *theRest = AfterPrefix(aText, "file:")) return AddFile(aChange, theRest);
  if (const char *theRest = AfterPrefix(aText, "stderr")) return AddStandardError(aChange, theRest);
  if (const char *theRest = AfterPrefix(aText, "syslog")) return AddSystemLog(aChange, theRest);
  return kNoSink;
}

}  // namespace zvlog
