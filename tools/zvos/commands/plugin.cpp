// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// `zvos plugin`: loads a shared object as the library loads plug-ins, and shows what is in it.

#include "commands/commands.h"
#include "shared/file_status.h"
#include "shared/files.h"
#include "shared/library_log.h"
#include "shared/options.h"
#include "shared/owners.h"
#include "shared/stamp.h"
#include "shared/terminal.h"
#include "shared/text.h"

#include <zvOS/zvPath.h>
#include <zvOS/zvPlugin.h>

#include <dlfcn.h>

#include <cstring>

namespace tool {

namespace {

using PluginOwner = Owner<void, zvPlugin_Unload>;

// The loader's words. The library puts them into its log only, hence the loader is asked again.
std::string WhyNotLoaded(const std::string &aPath) {
  void *const theObject = dlopen(aPath.c_str(), RTLD_NOW);
  if (theObject != nullptr) {
    dlclose(theObject);
    return "it can be loaded now, a moment ago it could not";
  }
  const char *theText = dlerror();
  const std::string theReason(theText != nullptr ? theText : "the loader does not say why");
  // The complaint names the file already.
  const std::string theStart = aPath + ": ";
  return BeginsWith(theReason, theStart) ? theReason.substr(theStart.size()) : theReason;
}

bool IsSameFile(const std::string &aPath, const std::string &anOther) {
  FileStatus theStatus = {};
  FileStatus theOther = {};
  return GetStatus(aPath, theStatus) && GetStatus(anOther, theOther) &&
         theStatus.mDevice == theOther.mDevice && theStatus.mNode == theOther.mNode;
}

std::string FileOf(zvOSPluginSymbol aSymbol) {
  const auto theFunction = reinterpret_cast<zvDefaultFunctionPtr>(aSymbol);
  return TakeText(zvPath_GetFunctionSharedLibraryPath(theFunction));
}

bool ShowSymbol(const PluginOwner &aPlugin, const std::string &aPath, const std::string &aName) {
  const zvOSPluginSymbol theSymbol = zvPlugin_GetSymbol(aPlugin.get(), aName.c_str());
  if (theSymbol == nullptr) {
    Print("%-18s  %s\n", "not there", aName.c_str());
    return false;
  }
  // Symbols of the libraries that the plug-in needs are found through it as well.
  const std::string theFile = FileOf(theSymbol);
  const std::string theOrigin = theFile.empty() || IsSameFile(theFile, aPath) ? "" : "  from " + theFile;
  Print("%-18p  %s%s\n", theSymbol, aName.c_str(), theOrigin.c_str());
  return true;
}

int RunPlugin(const Arguments &anArguments) {
  Arguments theOperands;
  if (!TakeOperands(kCommand_Plugin, anArguments, theOperands)) return kStatus_BadInput;
  if (theOperands.empty()) {
    Complain("plugin: no FILE given, see 'zvos help plugin'");
    return kStatus_BadInput;
  }
  const std::string &theFile = theOperands[0];
  if (!IsReadable(theFile)) return kStatus_BadInput;
  KeepModulesQuiet({ZVLOG_M_PLUGIN});
  const std::string thePath = AbsolutePath(theFile);
  const PluginOwner thePlugin(zvPlugin_Load(thePath.c_str()));
  if (!thePlugin) {
    Complain("plugin: cannot load '%s': %s", theFile.c_str(), WhyNotLoaded(thePath).c_str());
    return kStatus_CheckFailed;
  }
  Print("%s: loaded, %s\n", thePath.c_str(), ReadStamp(thePath).mText.c_str());
  bool afAll = true;
  for (size_t i = 1; i < theOperands.size(); ++i)
    afAll = ShowSymbol(thePlugin, thePath, theOperands[i]) && afAll;
  return afAll ? kStatus_Good : kStatus_CheckFailed;
}

}  // namespace

const Command kCommand_Plugin = {
    "plugin",
    "FILE [SYMBOL...]",
    "load a plug-in and look up its symbols",
    "Loads the shared object FILE with all that it needs, as a program of the device would, and\n"
    "prints its revision stamp and the address of every SYMBOL; a symbol that comes from a library\n"
    "which FILE needs is shown with that library. What FILE does when it is loaded and unloaded is\n"
    "done: load nothing that you do not trust.\n"
    "\n"
    "Exit status: 0 loaded, and every SYMBOL is there; 1 it cannot be loaded, or a SYMBOL is missing;\n"
    "2 wrong usage, or FILE is missing or unreadable.\n"
    "\n"
    "Examples:\n"
    "  zvos plugin ./Plugins/libdecoder.so Decoder_Open Decoder_Close\n"
    "  zvos plugin /usr/lib/libzvOS.so zvPlugin_Load\n",
    RunPlugin,
};

}  // namespace tool
