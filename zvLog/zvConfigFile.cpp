// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Configuration files in INI form.
//
// The text is read whole and packed where it lies: of each line that says something a name and a value
// remain, each with a terminator. A key has a name, so that a value without one can begin a section. A
// look-up walks through all of it, since the last of equal keys holds.

#include <zvLog/zvConfigFile.h>
#include <zvLog/zvLogSettings.h>

#include "private/Names.h"
#include "private/Numbers.h"
#include "private/WholeFile.h"

#include <cerrno>
#include <cstring>

struct zvConfigFile_t {
  char *mPath;
  char *mText;
  const char *mEnd;
};

namespace {

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

void LogError(int aLine, const char *aFormat, ...) ZVLOG_PRINTF(2, 3);
void LogError(int aLine, const char *aFormat, ...) {
  if (zvLog_WillLog(kzvLogLevel_Error, zvlog::kModuleFile) == 0) return;
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, zvlog::kModuleFile);
  if (theData == nullptr) return;
  theData->mFile = __FILE__;
  theData->mLine = static_cast<uint32>(aLine);
  va_list theArguments;
  va_start(theArguments, aFormat);
  zvLog_Append_VF(aFormat, theArguments);
  va_end(theArguments);
  zvLog_End(theData);
}

// A part of the text. It lies in memory that may be written, also one byte behind its end.
struct Part {
  char *mBegin;
  char *mEnd;

  size_t Length() const { return static_cast<size_t>(mEnd - mBegin); }
  bool IsEmpty() const { return mBegin == mEnd; }
  char *Find(char aChar) const { return static_cast<char *>(memchr(mBegin, aChar, Length())); }
};

bool IsBlank(char aChar) {
  return aChar == ' ' || aChar == '\t';
}

Part Trim(Part aPart) {
  while (!aPart.IsEmpty() && IsBlank(*aPart.mBegin))
    ++aPart.mBegin;
  while (!aPart.IsEmpty() && IsBlank(aPart.mEnd[-1]))
    --aPart.mEnd;
  return aPart;
}

bool IsEmptyOrComment(Part aTrimmed) {
  return aTrimmed.IsEmpty() || *aTrimmed.mBegin == ';' || *aTrimmed.mBegin == '#';
}

// Cuts the first line off a text. It may end in CR, LF or both.
Part TakeLine(Part *aRest) {
  Part theLine = *aRest;
  theLine.mEnd = theLine.mBegin;
  while (theLine.mEnd < aRest->mEnd && *theLine.mEnd != '\n' && *theLine.mEnd != '\r')
    ++theLine.mEnd;
  aRest->mBegin = theLine.mEnd;
  if (!aRest->IsEmpty() && *aRest->mBegin == '\r') ++aRest->mBegin;
  if (!aRest->IsEmpty() && *aRest->mBegin == '\n') ++aRest->mBegin;
  return theLine;
}

// Packs what lines say to the front of the text that they are in. That is never longer than the line: the
// two terminators stand for '[' and ']', or for '=' and the end of the line.
class Packer {
 public:
  explicit Packer(char *aBegin) : mAt(aBegin) {}

  const char *End() const { return mAt; }

  bool TakeIn(Part aLine) {
    if (aLine.Find('\0') != nullptr) return false;
    const Part theLine = Trim(aLine);
    if (IsEmptyOrComment(theLine)) return true;
    return *theLine.mBegin == '[' ? TakeSection(theLine) : TakeKey(theLine);
  }

 private:
  bool TakeSection(Part aLine) {
    char *theClose = aLine.Find(']');
    if (theClose == nullptr) return false;
    const Part theName = Trim({aLine.mBegin + 1, theClose});
    if (theName.IsEmpty() || !IsEmptyOrComment(Trim({theClose + 1, aLine.mEnd}))) return false;
    Add({aLine.mBegin, aLine.mBegin});
    Add(theName);
    return true;
  }

  bool TakeKey(Part aLine) {
    char *theEqualSign = aLine.Find('=');
    if (theEqualSign == nullptr || theEqualSign == aLine.mBegin) return false;
    Add(Trim({aLine.mBegin, theEqualSign}));
    Add(Trim({theEqualSign + 1, aLine.mEnd}));
    return true;
  }

  void Add(Part aPart) {
    memmove(mAt, aPart.mBegin, aPart.Length());
    mAt += aPart.Length();
    *mAt++ = '\0';
  }

  char *mAt;
};

bool PackLines(zvConfigFile_t *aFile, size_t aLength) {
  Part theRest = {aFile->mText, aFile->mText + aLength};
  const size_t theMark = strlen(kByteOrderMark);
  if (aLength >= theMark && memcmp(theRest.mBegin, kByteOrderMark, theMark) == 0) theRest.mBegin += theMark;

  Packer thePacker(aFile->mText);
  for (unsigned theNumber = 1; !theRest.IsEmpty(); ++theNumber) {
    const Part theLine = TakeLine(&theRest);
    if (thePacker.TakeIn(theLine)) continue;
    *theLine.mEnd = '\0';
    LogError(__LINE__, "zvConfigFile: %s:%u: malformed line '%s'\n", aFile->mPath, theNumber, theLine.mBegin);
    return false;
  }
  aFile->mEnd = thePacker.End();
  return true;
}

bool ReadText(zvConfigFile_t *aFile, size_t *aLength) {
  switch (zvlog::ReadWholeFile(aFile->mPath, &aFile->mText, aLength)) {
    case zvlog::ReadResult::Read:
      return true;
    case zvlog::ReadResult::Failed:
      LogError(__LINE__, "zvConfigFile: cannot read '%s' (error = %d)\n", aFile->mPath, errno);
      return false;
    case zvlog::ReadResult::NotRegular:
      LogError(__LINE__, "zvConfigFile: cannot read '%s' (it is no regular file)\n", aFile->mPath);
      return false;
    case zvlog::ReadResult::TooLarge:
      LogError(__LINE__, "zvConfigFile: cannot read '%s' (it has more than %zu bytes)\n", aFile->mPath,
               zvlog::kWholeFileMaximum);
      return false;
  }
  return false;
}

// In no locale, as everything in the file.
char Lower(char aChar) {
  return aChar >= 'A' && aChar <= 'Z' ? static_cast<char>(aChar - 'A' + 'a') : aChar;
}

bool IsSameName(const char *aName, const char *anOther) {
  while (*aName != '\0' && Lower(*aName) == Lower(*anOther)) {
    ++aName;
    ++anOther;
  }
  return *aName == *anOther;
}

const char *BehindTerminator(const char *aText) {
  return aText + strlen(aText) + 1;
}

const char *FindValue(const zvConfigFile_t *aConfigFile, const char *aSection, const char *aKey) {
  if (aConfigFile == nullptr || aKey == nullptr) return nullptr;
  const char *theFound = nullptr;
  bool afInSection = *aSection == '\0';
  for (const char *theName = aConfigFile->mText; theName < aConfigFile->mEnd;) {
    const char *theValue = BehindTerminator(theName);
    if (*theName == '\0') {
      afInSection = IsSameName(theValue, aSection);
    } else if (afInSection && IsSameName(theName, aKey)) {
      theFound = theValue;
    }
    theName = BehindTerminator(theValue);
  }
  return theFound;
}

}  // namespace

extern "C" zvConfigFile_t *zvConfigFile_Open(const char *aPath) {
  if (aPath == nullptr) {
    LogError(__LINE__, "zvConfigFile: no file name\n");
    return nullptr;
  }
  zvConfigFile_t *theFile = static_cast<zvConfigFile_t *>(calloc(1, sizeof(zvConfigFile_t)));
  if (theFile != nullptr) theFile->mPath = strdup(aPath);
  if (theFile == nullptr || theFile->mPath == nullptr) {
    LogError(__LINE__, "zvConfigFile: cannot read '%s' (error = %d)\n", aPath, ENOMEM);
    zvConfigFile_Close(theFile);
    return nullptr;
  }

  size_t theLength = 0;
  if (ReadText(theFile, &theLength) && PackLines(theFile, theLength)) return theFile;
  zvConfigFile_Close(theFile);
  return nullptr;
}

extern "C" void zvConfigFile_Close(zvConfigFile_t *aConfigFile) {
  if (aConfigFile == nullptr) return;
  free(aConfigFile->mPath);
  free(aConfigFile->mText);
  free(aConfigFile);
}

extern "C" const char *zvConfigFile_GetString(const zvConfigFile_t *aConfigFile, const char *aSection,
                                              const char *aKey, const char *aDefault) {
  const char *theValue = FindValue(aConfigFile, aSection != nullptr ? aSection : "", aKey);
  return theValue != nullptr ? theValue : aDefault;
}

extern "C" uint32 zvConfigFile_GetUInt32(const zvConfigFile_t *aConfigFile, const char *aSection,
                                         const char *aKey, uint32 aDefault) {
  const char *theSection = aSection != nullptr ? aSection : "";
  const char *theValue = FindValue(aConfigFile, theSection, aKey);
  if (theValue == nullptr) return aDefault;

  uintptr_t theNumber = 0;
  if (zvlog::ReadNumber(theValue, UINT32_MAX, &theNumber) == zvlog::NumberError::None) {
    return static_cast<uint32>(theNumber);
  }
  LogError(__LINE__, "zvConfigFile: %s: [%s] %s: '%s' is no number from 0 to %u\n", aConfigFile->mPath,
           theSection, aKey, theValue, UINT32_MAX);
  return aDefault;
}
