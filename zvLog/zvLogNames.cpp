// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The names of levels and modules: those that are known here, and those that programs give.

#include "private/Names.h"

#include "private/ModuleNames.h"
#include "private/Numbers.h"

#include <zvLog/zvLogSettings.h>

#include <strings.h>

namespace {

// The name itself, and no pointer that has to be relocated when the library is loaded. A table ends with a
// name that is empty.
struct NamedNumber {
  uint16 mNumber;
  char mName[14];
};

constexpr NamedNumber kLevels[] = {
    {kzvLogLevel_None, "none"}, {kzvLogLevel_Error, "error"}, {kzvLogLevel_Warning, "warning"},
    {kzvLogLevel_Info, "info"}, {kzvLogLevel_Debug, "debug"}, {0, ""},
};

constexpr NamedNumber kModules[] = {
    {zvlog::kModuleDefault, "DEFAULT"},
    {7, "ZVOS"},
    {21, "TCP"},
    {22, "TCPRW"},
    {25, "SELECT"},
    {29, "PLUGIN"},
    {zvlog::kModuleFile, "FILE"},
    {43, "DIR"},
    {53, "SOCKETTRACKER"},
    {55, "SOCKETTRAFFIC"},
    {57, "PATH"},
    {122, "TCP_QOS"},
    {0, ""},
};

const char *FindName(const NamedNumber *aTable, uint16 aNumber) {
  for (const NamedNumber *theEntry = aTable; theEntry->mName[0] != '\0'; ++theEntry) {
    if (theEntry->mNumber == aNumber) return theEntry->mName;
  }
  return nullptr;
}

// One copy of it is enough.
__attribute__((noinline)) bool FindNumber(const NamedNumber *aTable, const char *aText, uint16 aMaximum,
                                          uint16 *aNumber) {
  for (const NamedNumber *theEntry = aTable; theEntry->mName[0] != '\0'; ++theEntry) {
    if (strcasecmp(theEntry->mName, aText) == 0) {
      *aNumber = theEntry->mNumber;
      return true;
    }
  }
  uintptr_t theNumber = 0;
  if (zvlog::ReadNumber(aText, aMaximum, &theNumber) != zvlog::NumberError::None) return false;
  *aNumber = static_cast<uint16>(theNumber);
  return true;
}

}  // namespace

namespace zvlog {

const char *NameOfLevel(zvLogLevel aLevel) {
  return FindName(kLevels, aLevel);
}

const char *NameOfModule(zvLogModule aModule) {
  const char *theGiven = GivenNameOfModule(aModule);
  return theGiven != nullptr ? theGiven : FindName(kModules, aModule);
}

bool LevelFromText(const char *aText, zvLogLevel *aLevel) {
  // The greatest number would have no gate above it.
  return FindNumber(kLevels, aText, UINT16_MAX - 1, aLevel);
}

bool ModuleFromText(const char *aText, zvLogModule *aModule) {
  return ModuleOfGivenName(aText, aModule) || FindNumber(kModules, aText, UINT16_MAX, aModule);
}

}  // namespace zvlog
