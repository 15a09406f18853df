// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "shared/options.h"

#include "shared/terminal.h"

namespace tool {

namespace {

const Option *FindOption(const std::vector<Option> &someOptions, const std::string &aName) {
  for (const Option &theOption : someOptions) {
    if (aName == theOption.mName) return &theOption;
  }
  return nullptr;
}

bool Refuse(const Command &aCommand, const char *aWhat, const std::string &anOption) {
  Complain("%s: %s '%s', see 'zvos help %s'", aCommand.mName, aWhat, anOption.c_str(), aCommand.mName);
  return false;
}

}  // namespace

bool TakeOptions(const Command &aCommand, const Arguments &anArguments,
                 const std::vector<Option> &someOptions, Arguments &anOperands) {
  bool afOptions = true;
  for (size_t i = 0; i < anArguments.size(); ++i) {
    const std::string &theArgument = anArguments[i];
    if (afOptions && theArgument == "--") {
      afOptions = false;
      continue;
    }
    if (!afOptions || theArgument.size() < 2 || theArgument[0] != '-') {
      anOperands.push_back(theArgument);
      continue;
    }
    const size_t theEqualSign = theArgument.find('=');
    const std::string theName = theArgument.substr(0, theEqualSign);
    const Option *theOption = FindOption(someOptions, theName);
    if (theOption == nullptr) return Refuse(aCommand, "unknown option", theArgument);
    const bool afFlag = theOption->mValue == nullptr && theOption->mList == nullptr;
    if (afFlag && theEqualSign != std::string::npos) {
      return Refuse(aCommand, "no value is taken by option", theName);
    }
    if (theOption->mfGiven != nullptr) *theOption->mfGiven = true;
    if (afFlag) continue;
    if (theEqualSign == std::string::npos && i + 1 == anArguments.size())
      return Refuse(aCommand, "a value is missing behind option", theName);
    const std::string theValue =
        theEqualSign != std::string::npos ? theArgument.substr(theEqualSign + 1) : anArguments[++i];
    if (theOption->mList != nullptr) {
      theOption->mList->push_back(theValue);
    } else {
      *theOption->mValue = theValue;
    }
  }
  return true;
}

bool TakeOperands(const Command &aCommand, const Arguments &anArguments, Arguments &anOperands) {
  return TakeOptions(aCommand, anArguments, {}, anOperands);
}

bool ReadNumber(const std::string &aText, uint64 aLeast, uint64 aMost, uint64 &aNumber) {
  uint64 theNumber = 0;
  for (const char theCharacter : aText) {
    if (theCharacter < '0' || theCharacter > '9') return false;
    const uint64 theDigit = static_cast<uint64>(theCharacter - '0');
    if (theNumber > (UINT64_MAX - theDigit) / 10) return false;
    theNumber = theNumber * 10 + theDigit;
  }
  if (aText.empty() || theNumber < aLeast || theNumber > aMost) return false;
  aNumber = theNumber;
  return true;
}

bool ReadOption(const Command &aCommand, const char *aName, const std::string &aValue, uint32 aLeast,
                uint32 aMost, uint32 &aNumber) {
  uint64 theNumber = 0;
  if (!ReadNumber(aValue, aLeast, aMost, theNumber)) {
    Complain("%s: %s takes a number from %u to %u, not '%s'", aCommand.mName, aName,
             static_cast<unsigned>(aLeast), static_cast<unsigned>(aMost), aValue.c_str());
    return false;
  }
  aNumber = static_cast<uint32>(theNumber);
  return true;
}

bool ReadChoice(const Command &aCommand, const char *aName, const std::string &aValue,
                const std::vector<const char *> &someNames, int &anIndex) {
  std::string theNames;
  for (size_t i = 0; i < someNames.size(); ++i) {
    if (aValue == someNames[i]) {
      anIndex = static_cast<int>(i);
      return true;
    }
    theNames += std::string(theNames.empty() ? "" : ", ") + someNames[i];
  }
  Complain("%s: %s takes one of %s, not '%s'", aCommand.mName, aName, theNames.c_str(), aValue.c_str());
  return false;
}

}  // namespace tool
