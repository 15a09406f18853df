// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The libraries of the program: their revision stamps, and one of them as a plug-in.

#include "demo/acts.h"
#include "demo/details.h"
#include "shared/files.h"
#include "shared/owners.h"
#include "shared/stamp.h"

#include <zvLog/zvLog.h>
#include <zvOS/zvPath.h>
#include <zvOS/zvPlugin.h>

namespace tool {

namespace {

// The file that a function of a library was loaded from. The answer of the library may count from
// the current folder, when the loader's search path does.
template <typename Function>
std::string LibraryOf(Function *aFunction) {
  const auto theFunction = reinterpret_cast<zvDefaultFunctionPtr>(aFunction);
  return AbsolutePath(TakeText(zvPath_GetFunctionSharedLibraryPath(theFunction)));
}

}  // namespace

bool ReadStamps() {
  Step theStep("Revision stamps");
  const std::string theFiles[] = {OwnExecutable(), LibraryOf(&zvPath_GetFunctionSharedLibraryPath),
                                  LibraryOf(&zvLog_Begin)};
  std::string theLines;
  bool afAll = true;
  for (const std::string &theFile : theFiles) {
    const Stamp theStamp = ReadStamp(theFile);
    theLines += theStamp.mText + "  " + theFile + "\n";
    afAll = afAll && theStamp.mfFound;
  }
  const bool afSixtyFourBits = sizeof(void *) == 8;
  const bool afGood = afSixtyFourBits
                          ? theStep.NotPossible("this is a 64-bit build, and only 32-bit files are read")
                      : afAll ? theStep.Passed("the program and its libraries")
                              : theStep.Failed("a file has no stamp that could be read");
  PrintIndented(theLines);
  return afGood;
}

// The library itself is a shared object that is there wherever the program runs.
bool LoadPlugin() {
  Step theStep("Plug-in");
  const std::string theFile = LibraryOf(&zvPlugin_Load);
  const zvOSPluginHandle thePlugin = zvPlugin_Load(theFile.c_str());
  if (thePlugin == nullptr) return theStep.Failed("%s cannot be loaded", theFile.c_str());
  const zvOSPluginSymbol theSymbol = zvPlugin_GetSymbol(thePlugin, "zvPlugin_GetExtension");
  using Function = const char *(*)();
  const Function theFunction = reinterpret_cast<Function>(theSymbol);
  const std::string theAnswer(theFunction != nullptr ? theFunction() : "");
  const bool afMissing = zvPlugin_GetSymbol(thePlugin, "zvPlugin_IsNotThere") == nullptr;
  zvPlugin_Unload(thePlugin);
  if (!afMissing) return theStep.Failed("a symbol was found that is not there");
  if (theAnswer != zvPlugin_GetExtension())
    return theStep.Failed("its function answers '%s'", theAnswer.c_str());
  return theStep.Passed("%s: zvPlugin_GetExtension, found at %p, answers '%s'", theFile.c_str(), theSymbol,
                        theAnswer.c_str());
}

}  // namespace tool
