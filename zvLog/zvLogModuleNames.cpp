// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Names that programs give to modules.
//
// A name is never released, only taken from its module: a thread may be about to write it, also one that
// was interrupted by a signal. A name that comes back is found again, so there are as many as the program
// and its settings have different ones.

#include "private/ModuleNames.h"

#include "private/Levels.h"
#include "private/Names.h"

#include <zvLog/zvLogSettings.h>

#include <strings.h>
#include <atomic>
#include <cerrno>
#include <cstring>

namespace {

using zvlog::kLongestModuleName;

constexpr int32 kNoModule = -1;
constexpr int32 kNoLevel = -1;
// Before a '=' these are other settings.
constexpr char kSettings[][8] = {"to", "assert", "repeat", "config"};

struct Name {
  Name *mNext;
  std::atomic<int32> mModule;
  int32 mLevel;  // for the module that gets the name
  char mText[kLongestModuleName + 1];
};

// Written during changes of levels only, of which there is one at a time.
std::atomic<Name *> sNames{nullptr};
std::atomic<Name *> sNamesOfModules[size_t{UINT16_MAX} + 1];  // only the pages in use take memory

bool IsNameChar(char aChar) {
  return (aChar >= 'a' && aChar <= 'z') || (aChar >= 'A' && aChar <= 'Z') || (aChar >= '0' && aChar <= '9') ||
         aChar == '_' || aChar == '-' || aChar == '.';
}

bool IsCalled(const Name *aName, const char *aText) {
  return strcasecmp(aName->mText, aText) == 0;
}

template <typename Condition>
Name *FindName(Condition aCondition) {
  Name *theName = sNames.load(std::memory_order_acquire);
  while (theName != nullptr && !aCondition(theName))
    theName = theName->mNext;
  return theName;
}

Name *AddName(const char *aText) {
  Name *theNew = static_cast<Name *>(calloc(1, sizeof(Name)));
  if (theNew == nullptr) return nullptr;
  theNew->mNext = sNames.load(std::memory_order_relaxed);
  theNew->mModule.store(kNoModule, std::memory_order_relaxed);
  theNew->mLevel = kNoLevel;
  memcpy(theNew->mText, aText, strlen(aText) + 1);
  sNames.store(theNew, std::memory_order_release);
  return theNew;
}

// In the very letters: this is how it stands in records.
Name *FindOrAddSpelling(const char *aText) {
  Name *theName = FindName([aText](const Name *aName) { return strcmp(aName->mText, aText) == 0; });
  return theName != nullptr ? theName : AddName(aText);
}

void TakeNameFrom(zvLogModule aModule) {
  Name *theName = sNamesOfModules[aModule].exchange(nullptr);
  if (theName != nullptr) theName->mModule.store(kNoModule);
}

bool Fail(int anError) {
  errno = anError;
  return false;
}

bool GiveName(zvlog::LevelChange *aChange, zvLogModule aModule, const char *aText) {
  if (!zvlog::CanBeModuleName(aText)) return Fail(EINVAL);
  zvLogModule theHolder = 0;
  if (zvlog::ModuleFromText(aText, &theHolder) && theHolder != aModule) return Fail(EEXIST);
  Name *theName = FindOrAddSpelling(aText);
  if (theName == nullptr) return Fail(ENOMEM);

  TakeNameFrom(aModule);
  theName->mModule.store(aModule);
  sNamesOfModules[aModule].store(theName);
  Name *theKept =
      FindName([aText](const Name *aName) { return aName->mLevel != kNoLevel && IsCalled(aName, aText); });
  if (theKept == nullptr) return true;
  aChange->SetModule(aModule, static_cast<zvLogLevel>(theKept->mLevel));
  theKept->mLevel = kNoLevel;
  return true;
}

}  // namespace

namespace zvlog {

bool CanBeModuleName(const char *aText) {
  const size_t theLength = strnlen(aText, kLongestModuleName + 1);
  if (theLength == 0 || theLength > kLongestModuleName || (*aText >= '0' && *aText <= '9')) return false;
  for (size_t theIndex = 0; theIndex < theLength; ++theIndex) {
    if (!IsNameChar(aText[theIndex])) return false;
  }
  for (const char *theSetting : kSettings) {
    if (strcasecmp(theSetting, aText) == 0) return false;
  }
  return true;
}

const char *GivenNameOfModule(zvLogModule aModule) {
  const Name *theName = sNamesOfModules[aModule].load(std::memory_order_acquire);
  return theName != nullptr ? theName->mText : nullptr;
}

bool ModuleOfGivenName(const char *aName, zvLogModule *aModule) {
  int32 theModule = kNoModule;
  FindName([aName, &theModule](const Name *aCandidate) {
    if (IsCalled(aCandidate, aName)) theModule = aCandidate->mModule.load();
    return theModule != kNoModule;
  });
  if (theModule == kNoModule) return false;
  *aModule = static_cast<zvLogModule>(theModule);
  return true;
}

void KeepLevelForName(const char *aName, zvLogLevel aLevel) {
  if (!CanBeModuleName(aName)) return;
  Name *theName = FindName([aName](const Name *aCandidate) { return IsCalled(aCandidate, aName); });
  if (theName == nullptr) theName = AddName(aName);
  if (theName != nullptr) theName->mLevel = aLevel;
}

void ForgetLevelsForNames() {
  for (Name *theName = sNames.load(std::memory_order_relaxed); theName != nullptr; theName = theName->mNext)
    theName->mLevel = kNoLevel;
}

}  // namespace zvlog

extern "C" int zvLog_SetModuleName(zvLogModule aModule, const char *aName) {
  zvlog::LevelChange theChange;
  if (aName != nullptr) return GiveName(&theChange, aModule, aName) ? 1 : 0;
  TakeNameFrom(aModule);
  return 1;
}
