// Plug-ins over the system's loader.

#include <zvOS/zvFile.h>
#include <zvOS/zvPlugin.h>

#include "private/HeapText.h"

#include <dlfcn.h>
#include <cerrno>

ZVLOG_WITH_MODULE_IF(PLUGIN, 1)

namespace {

const char *LoaderText(const char *anUnknown) {
  const char *const theText = dlerror();
  return theText != nullptr ? theText : anUnknown;
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
  // What was never loaded is reported, while the loader would crash.
  if (aPluginHandle != nullptr && dlclose(aPluginHandle) == 0) return;
  ZV_ERR(F("zvPlugin_Unload failed: '%s'\n", LoaderText("Unknown")));
}

extern "C" zvOSPluginSymbol zvPlugin_GetSymbol(zvOSPluginHandle aPluginHandle, const char *aSymbolName) {
  // Without a handle the loader would search the whole program.
  void *const theSymbol =
      aPluginHandle != nullptr && aSymbolName != nullptr ? dlsym(aPluginHandle, aSymbolName) : nullptr;
  if (theSymbol == nullptr) {
    ZV_ERR(F("zvPlugin_GetSymbol failed for symbol '%s', error: '%s'\n", zvos::TextOrNull(aSymbolName),
             LoaderText("Unknown")));
  }
  return theSymbol;
}
