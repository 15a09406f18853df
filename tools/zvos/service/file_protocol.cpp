// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "service/file_protocol.h"

#include "shared/text.h"

#include <zvLog/zvLog.h>

#include <cstring>

namespace tool {

namespace {

int ValueOf(char aDigit) {
  const char *const kDigits = "0123456789ABCDEF";
  const char *thePlace = aDigit == '\0' ? nullptr : strchr(kDigits, aDigit);
  return thePlace == nullptr ? -1 : static_cast<int>(thePlace - kDigits);
}

}  // namespace

std::string EncodeName(const std::string &aName) {
  std::string theText;
  for (const char theCharacter : aName) {
    const bool afPlain = theCharacter > 0x20 && theCharacter < 0x7f && theCharacter != '%';
    theText += afPlain ? std::string(1, theCharacter) : PercentForm(theCharacter);
  }
  return theText;
}

bool DecodeName(const std::string &aText, std::string &aName) {
  aName.clear();
  for (size_t i = 0; i < aText.size(); ++i) {
    const char theCharacter = aText[i];
    if (theCharacter <= 0x20 || theCharacter >= 0x7f) return false;
    if (theCharacter != '%') {
      aName += theCharacter;
      continue;
    }
    if (aText.size() - i < 3) return false;
    const int theHigh = ValueOf(aText[i + 1]);
    const int theLow = ValueOf(aText[i + 2]);
    // A NUL would end the name early in calls of the system.
    if (theHigh < 0 || theLow < 0 || theHigh + theLow == 0) return false;
    aName += static_cast<char>(theHigh * 16 + theLow);
    i += 2;
  }
  return !aName.empty();
}

std::string ChecksumText(uint32 aChecksum) {
  char theText[9];
  zv_snprintf(theText, sizeof(theText), "%08x", static_cast<unsigned>(aChecksum));
  return theText;
}

bool HasWord(const std::string &aLine, const char *aWord, std::string &aText) {
  const size_t theLength = strlen(aWord);
  if (aLine.compare(0, theLength, aWord) != 0) return false;
  if (aLine.size() > theLength && aLine[theLength] != ' ') return false;
  aText = aLine.size() > theLength ? aLine.substr(theLength + 1) : "";
  return true;
}

}  // namespace tool
