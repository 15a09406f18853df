// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "demo/acts.h"
#include "shared/files.h"
#include "shared/terminal.h"

namespace tool {

bool WalkFolder(const std::string &aFile) {
  Step theStep("Directory");
  const PathParts theParts(aFile);
  const char *const theFolder = theParts.mFolder.c_str();
  int theFileCount = 0;
  int theDirCount = 0;
  bool afSeen = false;
  const auto fnCount = [&](const zvDirEntry &anEntry) {
    ++(anEntry.mfDir != 0 ? theDirCount : theFileCount);
    afSeen = afSeen || (anEntry.mfDir == 0 && theParts.mName == anEntry.mName);
  };
  if (const MaybeProblem theProblem = WalkThrough(theFolder, "*", zvDIR_DEFAULT, fnCount))
    return theStep.Failed("%s: %s", theFolder, theProblem->mText.c_str());
  if (!afSeen) return theStep.Failed("%s: '%s' is not in it", theFolder, theParts.mName.c_str());
  return theStep.Passed("%s: %d files, '%s' among them, and %d folders", theFolder, theFileCount,
                        theParts.mName.c_str(), theDirCount);
}

}  // namespace tool
