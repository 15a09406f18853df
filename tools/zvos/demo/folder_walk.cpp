#include "demo/acts.h"
#include "shared/files.h"
#include "shared/owners.h"
#include "shared/terminal.h"

#include <cerrno>

namespace tool {

bool WalkFolder(const std::string &aFile) {
  Step theStep("Directory");
  const PathParts theParts(aFile);
  const char *const theFolder = theParts.mFolder.c_str();
  const TraverserOwner theTraverser(zvDirTraverser_New(theFolder));
  if (!theTraverser) return theStep.Failed("%s: there is no memory", theFolder);
  int theFileCount = 0;
  int theDirCount = 0;
  bool afSeen = false;
  int theStatus = kzvDirTraverserStatus_NoError;
  errno = 0;
  for (zvDirEntry *theEntry = zvDirTraverser_GetFirst(theTraverser.get(), "*", zvDIR_DEFAULT, &theStatus);
       theEntry != nullptr; theEntry = zvDirTraverser_GetNext(theTraverser.get(), &theStatus)) {
    ++(theEntry->mfDir != 0 ? theDirCount : theFileCount);
    afSeen = afSeen || (theEntry->mfDir == 0 && theParts.mName == theEntry->mName);
    errno = 0;
  }
  if (theStatus != kzvDirTraverserStatus_NoError)
    return theStep.Failed("%s: it cannot be read to its end", theFolder);
  if (!afSeen) return theStep.Failed("%s: '%s' is not in it", theFolder, theParts.mName.c_str());
  return theStep.Passed("%s: %d files, '%s' among them, and %d folders", theFolder, theFileCount,
                        theParts.mName.c_str(), theDirCount);
}

}  // namespace tool
