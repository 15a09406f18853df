// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The environment, and programs in the background.

#include <zvOS/zvPlatform.h>

#include "private/Failure.h"
#include "private/Owner.h"

#include <cerrno>
#include <cstdlib>

ZVLOG_WITH_MODULE_IF(ZVOS, 1)

using zvos::Owner;
using zvos::TextOrNull;

namespace {

// The C library takes no NULL.
int Set(const char *aName, const char *aValue) {
  if (aName != nullptr && aValue != nullptr) return setenv(aName, aValue, 1);
  errno = EINVAL;
  return -1;
}

ZV_COLD int LaunchFailed(const char *aCommand, int aResult, int anError) {
  return ZVOS_FAIL(aResult,
                   F("Unable to launch '%s' (Error = %d / errno = %d)\n", aCommand, aResult, anError));
}

}  // namespace

extern "C" char *zvPlatform_getenv(const char *anEnvVarName) {
  const char *const theValue = anEnvVarName != nullptr ? getenv(anEnvVarName) : nullptr;
  return theValue != nullptr ? zvStrdup(theValue) : nullptr;
}

extern "C" int zvPlatform_setenv(const char *anEnvVarName, const char *aValue) {
  const int theResult = Set(anEnvVarName, aValue);
  if (const int theError = zvos::ErrorOf(theResult)) {
    ZV_ERR(F("zvPlatform: Unable to set environment variable '%s' to '%s'. Error = %d\n",
             TextOrNull(anEnvVarName), TextOrNull(aValue), theError));
  }
  return theResult;
}

extern "C" int zvPlatform_Launch(const char *anApplicationFullPath, const char *aParameter) {
  if (anApplicationFullPath == nullptr) return LaunchFailed("(null)", -1, EINVAL);
  const Owner<char> theCommand(
      zv_mnprintf("\"%s\" %s &", anApplicationFullPath, aParameter != nullptr ? aParameter : ""));
  if (!theCommand) return LaunchFailed(anApplicationFullPath, -1, ENOMEM);

  // A result other than -1 is the shell's status: the errno of the message is then whatever was there before.
  const int theResult = system(theCommand.get());
  if (theResult != 0) return LaunchFailed(theCommand.get(), theResult, errno);
  ZV_DEBUG(F("Command executed successfully: '%s'\n", theCommand.get()));
  return 0;
}
