#include "library_log.h"

#include <zvLog/zvLogSettings.h>
#include <zvOS/zvPath.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace tool {

void KeepModulesQuiet(std::initializer_list<zvLogModule> someModules) {
  const char *theSettings = getenv("ZVLOG");
  if (theSettings != nullptr && *theSettings != '\0') return;
  for (const zvLogModule theModule : someModules)
    zvLog_SetModuleLevel(theModule, kzvLogLevel_None);
}

LogCollection::LogCollection() : mFile(-1) {
  char *theFolder = zvPath_GetTempDirPath();
  if (theFolder != nullptr) mPath = std::string(theFolder) + "/zvos-log-XXXXXX";
  free(theFolder);
}

LogCollection::~LogCollection() {
  if (mFile != -1) close(mFile);
}

std::string LogCollection::Open() {
  mFile = mkostemp(&mPath[0], O_CLOEXEC);
  if (mFile == -1) return mPath + ": " + strerror(errno);
  const bool afDone = zvLog_SetSinkFile(mPath.c_str()) != 0;
  const int theError = errno;
  unlink(mPath.c_str());
  return afDone ? "" : mPath + ": " + strerror(theError);
}

std::string LogCollection::Take() {
  std::string theText;
  char theBuffer[4096];
  ssize_t theCount = 0;
  if (mFile == -1) return theText;
  lseek(mFile, 0, SEEK_SET);
  while ((theCount = read(mFile, theBuffer, sizeof theBuffer)) > 0) {
    theText.append(theBuffer, static_cast<size_t>(theCount));
  }
  // The library appends, wherever the end is. Were this to fail, the text would be seen twice.
  (void)!ftruncate(mFile, 0);
  return theText;
}

}  // namespace tool
