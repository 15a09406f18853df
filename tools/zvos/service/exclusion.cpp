// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "service/exclusion.h"

#include "shared/owners.h"

#include <zvLog/zvLog.h>

namespace tool {

namespace {

using TokensOwner = Owner<zvCStringParser_TokenList, zvCStringParser_Delete>;

// A character that a bracket expression matches, which begins the pattern at aBegin, with the expression's
// end behind it; a bracket that begins no expression stands for itself.
char CharacterInBrackets(const std::string &aPattern, size_t aBegin, size_t &anEnd) {
  for (size_t theEnd = aPattern.find(']', aBegin); theEnd != std::string::npos;
       theEnd = aPattern.find(']', theEnd + 1)) {
    const std::string theExpression = aPattern.substr(aBegin, theEnd + 1 - aBegin);
    for (char theCharacter = '!'; theCharacter <= '~'; ++theCharacter) {
      const char theText[] = {theCharacter, '\0'};
      if (zvCStringParser_Match(theExpression.c_str(), theText) == 0) continue;
      anEnd = theEnd + 1;
      return theCharacter;
    }
  }
  anEnd = aBegin + 1;
  return aPattern[aBegin];
}

// A name that the shell pattern matches: '*' and '?' match themselves.
std::string NameThatMatches(const std::string &aPattern) {
  std::string theName;
  for (size_t i = 0; i < aPattern.size();) {
    if (aPattern[i] == '[') {
      theName += CharacterInBrackets(aPattern, i, i);
      continue;
    }
    if (aPattern[i] == '\\' && i + 1 < aPattern.size()) ++i;
    theName += aPattern[i++];
  }
  return theName;
}

}  // namespace

MaybeProblem WhyNotExcluded(zvSocketPolicy *aPolicy, const std::string &aList) {
  std::string theText = aList;  // the names are cut apart in it
  const TokensOwner theTokens(zvCStringParser_TokenizeQuotedList(&theText[0], 0, theText.size()));
  if (!theTokens) return BadInput("the names of --exclude-if cannot be read");
  for (const zvCStringParser_Token *theToken = theTokens->mFirstToken; theToken != nullptr;
       theToken = theToken->mNextToken) {
    if (zvSocketPolicy_IsValidIF(aPolicy, NameThatMatches(theToken->mData).c_str()) != 0)
      return BadInput("the policy does not exclude '" + std::string(theToken->mData) + "'");
  }
  return {};
}

}  // namespace tool
