// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The names of levels and modules: those that are known here, and those that programs give.

#include "private/Names.h"

#include "private/ModuleNames.h"
#include "private/Numbers.h"

#include <zvLog/zvLogSettings.h>

#include <strings.h>

namespace {

struct NamedNumber {
  uint16 mNumber;
  const char *mName;
};

constexpr NamedNumber kLevels[] = {
    {kzvLogLevel_None, "none"}, {kzvLogLevel_Error, "error"}, {kzvLogLevel_Warning, "warning"},
    {kzvLogLevel_Info, "info"}, {kzvLogLevel_Debug, "debug"},
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
};

template <size_t kCount>
const char *FindName(const NamedNumber (&aTable)[kCount], uint16 aNumber) {
  for (const NamedNumber &theEntry : aTable) {
    if (theEntry.mNumber == aNumber) return theEntry.mName;
  }
  return nullptr;
}

template <size_t kCount>
bool FindNumber(const NamedNumber (&aTable)[kCount], const char *aText, uint64 aMaximum, uint16 *aNumber) {
  for (const NamedNumber &theEntry : aTable) {
    if (strcasecmp(theEntry.mName, aText) == 0) {
      *aNumber = theEntry.mNumber;
      return true;
    }
  }
  uint64 theNumber = 0;
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
