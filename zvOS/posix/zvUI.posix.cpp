// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Messages to the user of the device, on standard output and in the log.

#include <zvOS/zvBinaryRevision.h>
#include <zvOS/zvLogFunctions.h>
#include <zvOS/zvPath.h>
#include <zvOS/zvUI.h>

#include "private/Failure.h"
#include "private/Owner.h"

#include <cstdio>

using zvos::Owner;
using zvos::TextOrNull;

namespace {

constexpr size_t kVersionSize = 32;

}  // namespace

extern "C" int zvUI_DisplayToEndUser(const char *aTitle, const char *aMessage) {
  Log_Info("%s: %s\n", TextOrNull(aTitle), TextOrNull(aMessage));
  printf("%s: %s\n", TextOrNull(aTitle), TextOrNull(aMessage));
  fflush(stdout);
  return 0;
}

extern "C" int zvUI_AskToEndUserYesNo(const char *aTitle, const char *aMessage, int aDefaultResponse) {
  const char *const theAnswer = aDefaultResponse != kzvUIAskToEndUser_Yes ? "No" : "Yes";
  Log_Info("%s: %s (returning %s)\n", TextOrNull(aTitle), TextOrNull(aMessage), theAnswer);
  printf("%s: %s (returning %s)\n", TextOrNull(aTitle), TextOrNull(aMessage), theAnswer);
  fflush(stdout);
  return aDefaultResponse;
}

extern "C" char *zvUI_GetApplicationDisplayName(void) {
  return zvPath_GetApplicationName(1);
}

extern "C" char *zvUI_GetApplicationVersion(void) {
  const Owner<char> thePath(zvPath_GetApplicationFullPath());
  const int theRevision = zvPath_GetBinaryRevision(thePath.get(), nullptr);
  if (theRevision == 0) return nullptr;

  char *const theVersion = static_cast<char *>(zvMalloc(kVersionSize));
  if (theVersion != nullptr) zv_snprintf(theVersion, kVersionSize, "%d", theRevision);
  return theVersion;
}
