// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Configuration files in a build without SimpleIni: none can be opened, and so every value is its default.

#include <zvLog/zvConfigFile.h>
#include <zvLog/zvLogSettings.h>

#include "private/Names.h"

extern "C" zvConfigFile_t *zvConfigFile_Open(const char *aPath) {
  zvLogData *const theData = zvLog_Begin(kzvLogLevel_Error, zvlog::kModuleFile);
  if (theData == nullptr) return nullptr;
  theData->mFile = __FILE__;
  theData->mLine = __LINE__;
  zvLog_Append_F("zvConfigFile: cannot take in '%s' (built without SimpleIni)\n",
                 aPath != nullptr ? aPath : "(null)");
  zvLog_End(theData);
  return nullptr;
}

extern "C" void zvConfigFile_Close(zvConfigFile_t *) {}

extern "C" const char *zvConfigFile_GetString(const zvConfigFile_t *, const char *, const char *,
                                              const char *aDefault) {
  return aDefault;
}

extern "C" uint32 zvConfigFile_GetUInt32(const zvConfigFile_t *, const char *, const char *,
                                         uint32 aDefault) {
  return aDefault;
}
