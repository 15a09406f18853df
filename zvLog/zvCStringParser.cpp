// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Shell patterns and lists of quoted names.

#include <zvLog/zvLog.h>

#include <fnmatch.h>
#include <cstring>

namespace {

bool IsSeparator(char aChar) {
  return aChar == ' ' || aChar == '\t' || aChar == '\n' || aChar == '\r' || aChar == ',';
}

bool AppendToken(zvCStringParser_TokenList *aList, char *aData, size_t aLength) {
  zvCStringParser_Token *theToken =
      static_cast<zvCStringParser_Token *>(malloc(sizeof(zvCStringParser_Token)));
  if (theToken == nullptr) return false;
  *theToken = zvCStringParser_Token{aData, aLength, nullptr};
  if (aList->mLastToken != nullptr) {
    aList->mLastToken->mNextToken = theToken;
  } else {
    aList->mFirstToken = theToken;
  }
  aList->mLastToken = theToken;
  ++aList->mTokenCount;
  return true;
}

char *SkipSeparators(char *aText, const char *anEnd) {
  while (aText < anEnd && IsSeparator(*aText))
    ++aText;
  return aText;
}

char *FindEndOfName(char *aText, const char *anEnd, bool afQuoted) {
  while (aText < anEnd && *aText != '"' && (afQuoted || !IsSeparator(*aText)))
    ++aText;
  return aText;
}

bool FindNames(zvCStringParser_TokenList *aList, char *aText, const char *anEnd) {
  char *theAt = SkipSeparators(aText, anEnd);
  while (theAt < anEnd) {
    const bool afQuoted = *theAt == '"';
    char *theName = afQuoted ? theAt + 1 : theAt;
    char *theNameEnd = FindEndOfName(theName, anEnd, afQuoted);
    if (!AppendToken(aList, theName, static_cast<size_t>(theNameEnd - theName))) return false;

    const bool afClosingQuote = afQuoted && theNameEnd < anEnd;
    theAt = SkipSeparators(afClosingQuote ? theNameEnd + 1 : theNameEnd, anEnd);
  }
  return true;
}

// Only once all names are found: a terminator may lie on the opening quote of the next name.
void TerminateNames(const zvCStringParser_TokenList *aList) {
  for (zvCStringParser_Token *theToken = aList->mFirstToken; theToken != nullptr;
       theToken = theToken->mNextToken) {
    theToken->mData[theToken->mDataLength] = '\0';
  }
}

}  // namespace

extern "C" int zvCStringParser_Match(const char *aPattern, const char *aText) {
  if (aPattern == nullptr || aText == nullptr) return 0;
  return fnmatch(aPattern, aText, 0) == 0 ? 1 : 0;
}

extern "C" zvCStringParser_TokenList *zvCStringParser_TokenizeQuotedList(char *aText, size_t aStart,
                                                                         size_t aLength) {
  zvCStringParser_TokenList *theList =
      static_cast<zvCStringParser_TokenList *>(calloc(1, sizeof(zvCStringParser_TokenList)));
  if (theList == nullptr || aText == nullptr) return theList;

  char *theBegin = aText + aStart;
  const char *theEnd = theBegin + strnlen(theBegin, aLength);
  if (!FindNames(theList, theBegin, theEnd)) {
    zvCStringParser_Delete(theList);
    return nullptr;
  }
  TerminateNames(theList);
  return theList;
}

extern "C" void zvCStringParser_Delete(zvCStringParser_TokenList *aList) {
  if (aList == nullptr) return;
  for (zvCStringParser_Token *theToken = aList->mFirstToken; theToken != nullptr;) {
    zvCStringParser_Token *theNext = theToken->mNextToken;
    free(theToken);
    theToken = theNext;
  }
  free(aList);
}
