// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The environment, and the named pointers that are kept in it, beside the least code that does the same.

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <array>
#include <string>

#include <zvOS/zvGlobal.h>
#include <zvOS/zvPlatform.h>

#include "support/Rows.h"

namespace zvbench {
namespace {

constexpr char kName[] = "ZVOS_BENCH";
constexpr char kValue[] = "/opt/player/share/media";
constexpr size_t kOtherVariables = 20;

// An environment of one size wherever the program runs: every call walks through it. Ours is the last.
class Environment {
 public:
  Environment() {
    for (size_t theIndex = 0; theIndex < kOtherVariables; ++theIndex) {
      mTexts[theIndex] = "OTHER_VARIABLE_" + std::to_string(theIndex) + "=" + kValue;
      mVariables[theIndex] = &mTexts[theIndex][0];
    }
    environ = mVariables.data();
  }
  ~Environment() { environ = mSaved; }
  Environment(const Environment &) = delete;
  Environment &operator=(const Environment &) = delete;

 private:
  char **const mSaved = environ;
  std::array<std::string, kOtherVariables> mTexts;
  std::array<char *, kOtherVariables + 1> mVariables{};
};

std::shared_ptr<Environment> EnvironmentWith(const char *aValue) {
  auto theEnvironment = std::make_shared<Environment>();
  if (setenv(kName, aValue, 1) != 0) Fail("cannot set a variable");
  return theEnvironment;
}

// Releases a copy; 0 when there is one.
int Release(char *aText) {
  KeepAlive(aText);
  free(aText);
  return aText == nullptr;
}

Sides Getting() {
  return {Repeat([] {
            const char *theValue = getenv(Opaque(&kName[0]));
            return theValue == nullptr ? 1 : Release(strdup(theValue));
          }),
          Repeat([] { return Release(zvPlatform_getenv(Opaque(&kName[0]))); }),
          {EnvironmentWith(kValue)}};
}

Sides Setting() {
  return {Repeat([] { return setenv(Opaque(&kName[0]), Opaque(&kValue[0]), 1); }),
          Repeat([] { return zvPlatform_setenv(Opaque(&kName[0]), Opaque(&kValue[0])); }),
          {EnvironmentWith(kValue)}};
}

// ---- Named pointers ----

int sObject;

int SetBare(const char *aName, void *aValue) {
  char theName[64];
  char theText[32];
  snprintf(theName, sizeof(theName), "%s.%lu" kzvGlobalVariableSuffix, aName,
           static_cast<unsigned long>(getpid()));
  snprintf(theText, sizeof(theText), "%p", aValue);
  return setenv(theName, theText, 1);
}

// The text is copied, as zvPlatform_getenv does.
void *GetBare(const char *aName) {
  const char *theText = getenv(aName);
  char *theCopy = theText == nullptr ? nullptr : strdup(theText);
  if (theCopy == nullptr) return nullptr;
  KeepAlive(theCopy);
  void *theValue = reinterpret_cast<void *>(strtoul(theCopy, nullptr, 16));
  free(theCopy);
  return theValue;
}

std::shared_ptr<Environment> EnvironmentWithPointer() {
  char theText[32];
  snprintf(theText, sizeof(theText), "%p", static_cast<void *>(&sObject));
  return EnvironmentWith(theText);
}

Sides GettingPointer() {
  return {Repeat([] { return GetBare(Opaque(&kName[0])) != &sObject; }),
          Repeat([] { return zvGlobal_GetPtr(Opaque(&kName[0])) != &sObject; }),
          {EnvironmentWithPointer()}};
}

// zvGlobal_SetPtr tells nothing; that the variable is there is seen once.
Sides SettingPointer() {
  const std::string theName = std::string(kName) + "." +
                              std::to_string(static_cast<unsigned long>(getpid())) + kzvGlobalVariableSuffix;
  auto theEnvironment = EnvironmentWithPointer();
  zvGlobal_SetPtr(kName, &sObject);
  if (GetBare(theName.c_str()) != &sObject) Fail("zvGlobal_SetPtr does not set the variable");
  return {Repeat([] { return SetBare(Opaque(&kName[0]), &sObject); }),
          Repeat([] {
            zvGlobal_SetPtr(Opaque(&kName[0]), &sObject);
            return 0;
          }),
          {theEnvironment}};
}

}  // namespace

std::vector<Row> EnvironmentRows() {
  return {
      {"environment get", "getenv, strdup, free", "zvPlatform_getenv, free", NoTarget(), Getting},
      {"environment set", "setenv", "zvPlatform_setenv", NoTarget(), Setting},
      {"global get", "getenv, strdup, strtoul, free", "zvGlobal_GetPtr", RatioAtMost(1.35), GettingPointer},
      {"global set", "getpid, snprintf of the name and the value, setenv", "zvGlobal_SetPtr", NoTarget(),
       SettingPointer},
  };
}

}  // namespace zvbench
