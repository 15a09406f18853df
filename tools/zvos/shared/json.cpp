// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "shared/json.h"

#include <zvLog/zvLog.h>

namespace tool {

namespace {

constexpr char kNoCharacter[] = "\\ufffd";

unsigned ByteAt(const std::string &aText, size_t aPlace) {
  return static_cast<unsigned char>(aText[aPlace]);
}

// The length of the UTF-8 character of several bytes that begins there, or 0 when none does.
size_t LengthOfCharacter(const std::string &aText, size_t aPlace) {
  const unsigned theFirst = ByteAt(aText, aPlace);
  const size_t theLength = theFirst >= 0xf0 ? 4 : theFirst >= 0xe0 ? 3 : 2;
  if (theFirst < 0xc2 || theFirst > 0xf4 || aText.size() - aPlace < theLength) return 0;
  for (size_t i = 1; i < theLength; ++i) {
    if ((ByteAt(aText, aPlace + i) & 0xc0) != 0x80) return 0;
  }
  const unsigned theSecond = ByteAt(aText, aPlace + 1);
  const bool afTooShort = (theFirst == 0xe0 && theSecond < 0xa0) || (theFirst == 0xf0 && theSecond < 0x90);
  const bool afSurrogate = theFirst == 0xed && theSecond >= 0xa0;
  const bool afTooHigh = theFirst == 0xf4 && theSecond >= 0x90;
  return afTooShort || afSurrogate || afTooHigh ? 0 : theLength;
}

}  // namespace

std::string JsonText(const std::string &aText) {
  std::string theResult = "\"";
  for (size_t i = 0; i < aText.size();) {
    const unsigned theByte = ByteAt(aText, i);
    if (theByte >= 0x80) {
      const size_t theLength = LengthOfCharacter(aText, i);
      theResult += theLength == 0 ? kNoCharacter : aText.substr(i, theLength);
      i += theLength == 0 ? 1 : theLength;
      continue;
    }
    if (theByte == '"' || theByte == '\\') {
      theResult += '\\';
      theResult += aText[i];
    } else if (theByte < 0x20 || theByte == 0x7f) {
      char theEscape[8];
      zv_snprintf(theEscape, sizeof(theEscape), "\\u%04x", theByte);
      theResult += theEscape;
    } else {
      theResult += aText[i];
    }
    ++i;
  }
  return theResult + "\"";
}

std::string JsonTextOrNull(const std::string &aText) {
  return aText.empty() ? "null" : JsonText(aText);
}

std::string JsonList(const std::vector<std::string> &someValues, int anIndent) {
  const std::string theIndent(static_cast<size_t>(anIndent), ' ');
  std::string theResult;
  for (const std::string &theValue : someValues) {
    theResult += theResult.empty() ? "\n  " : ",\n  ";
    theResult += theIndent;
    theResult += theValue;
  }
  return theResult.empty() ? "[]" : "[" + theResult + "\n" + theIndent + "]";
}

}  // namespace tool
