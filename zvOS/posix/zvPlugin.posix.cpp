// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Plug-ins over the system's loader.

#include <zvOS/zvFile.h>
#include <zvOS/zvPlugin.h>

#include "private/Failure.h"

#include <dlfcn.h>
#include <cerrno>

ZVLOG_WITH_MODULE_IF(PLUGIN, 1)

namespace {

const char *LoaderText(const char *anUnknown) {
  const char *const theText = dlerror();
  return theText != nullptr ? theText : anUnknown;
}

// What the loader has not been asked for, it does not explain: its words would be of an earlier failure.
constexpr char kUnknown[] = "Unknown";

void UnloadFailed(const char *aReason) {
  ZV_ERR(F("zvPlugin_Unload failed: '%s'\n", aReason));
}

zvOSPluginSymbol NoSymbol(const char *aName, const char *aReason) {
  return ZVOS_FAIL(nullptr, F("zvPlugin_GetSymbol failed for symbol '%s', error: '%s'\n",
                              zvos::TextOrNull(aName), aReason));
}

}  // namespace

extern "C" const char *zvPlugin_GetExtension(void) {
  return kzvPlugin_Extension;
}

extern "C" const char *zvPlugin_GetDebugReleaseSuffix(void) {
  return "";
}

extern "C" char *zvPlugin_GetDefaultPath(void) {
  return zvStrdup("./Plugins");
}

extern "C" zvOSPluginHandle zvPlugin_Load(const char *aPluginName) {
  void *const theHandle = dlopen(aPluginName, RTLD_NOW);
  if (theHandle != nullptr) return theHandle;

  // A file that is there and yet not found: what it needs is missing.
  const int theError = errno;
  if (theError == ENOENT && zvFile_Exists(aPluginName) != 0) {
    ZV_ERR(
        F("zvPlugin_Load failed for '%s', error: 'Missing library dependencie(s) or binary missmatch (e.g: "
          "ARM->x86)'\n",
          aPluginName));
  } else {
    ZV_ERR(F("zvPlugin_Load failed for '%s', error: '%s'\n", zvos::TextOrNull(aPluginName),
             LoaderText("Unknown error")));
  }
  return nullptr;
}

extern "C" void zvPlugin_Unload(zvOSPluginHandle aPluginHandle) {
  // The loader would crash.
  if (aPluginHandle == nullptr) return UnloadFailed(kUnknown);
  if (dlclose(aPluginHandle) != 0) UnloadFailed(LoaderText(kUnknown));
}

extern "C" zvOSPluginSymbol zvPlugin_GetSymbol(zvOSPluginHandle aPluginHandle, const char *aSymbolName) {
  // The loader would crash. Without a handle it searches the whole program.
  if (aSymbolName == nullptr) return NoSymbol(aSymbolName, kUnknown);
  void *const theSymbol = dlsym(aPluginHandle, aSymbolName);
  return theSymbol != nullptr ? theSymbol : NoSymbol(aSymbolName, LoaderText(kUnknown));
}
