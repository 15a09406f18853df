// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "shared/text.h"

#include <zvLog/zvLog.h>

#include <algorithm>

namespace tool {

std::vector<std::string> LinesOf(const std::string &aText) {
  std::vector<std::string> theLines;
  for (size_t theStart = 0; theStart < aText.size();) {
    const size_t theEnd = std::min(aText.find('\n', theStart), aText.size());
    theLines.push_back(aText.substr(theStart, theEnd - theStart));
    theStart = theEnd + 1;
  }
  return theLines;
}

bool Contains(const std::string &aText, const std::string &aPart) {
  return aText.find(aPart) != std::string::npos;
}

bool BeginsWith(const std::string &aText, const std::string &aStart) {
  return aText.compare(0, aStart.size(), aStart) == 0;
}

std::string HexadecimalForm(uint64 aNumber) {
  char theText[32];
  zv_snprintf(theText, sizeof(theText), "0x%llx", static_cast<unsigned long long>(aNumber));
  return theText;
}

std::string PercentForm(char aByte) {
  char theText[4];
  zv_snprintf(theText, sizeof(theText), "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(aByte)));
  return theText;
}

std::string Printable(const std::string &aText) {
  std::string theResult;
  for (const char theCharacter : aText) {
    const unsigned theCode = static_cast<unsigned char>(theCharacter);
    theResult +=
        theCode >= 0x20 && theCode != 0x7f ? std::string(1, theCharacter) : PercentForm(theCharacter);
  }
  return theResult;
}

}  // namespace tool
