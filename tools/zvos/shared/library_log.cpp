#include "shared/library_log.h"

#include "shared/input.h"

#include <zvLog/zvLogSettings.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
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

void KeepNetworkQuiet() {
  KeepModulesQuiet({ZVLOG_M_TCP, ZVLOG_M_TCPRW, ZVLOG_M_SELECT, ZVLOG_M_TCP_QOS});
}

std::vector<std::string> SocketTablesIn(const std::string &aLog) {
  const std::string theMark = " debug SOCKETTRACKER ";
  std::vector<std::string> theTables;
  for (size_t theStart = 0; theStart < aLog.size();) {
    const size_t theEnd = std::min(aLog.find('\n', theStart), aLog.size());
    const std::string theLine = aLog.substr(theStart, theEnd - theStart);
    theStart = theEnd + 1;
    const size_t thePlace = theLine.find(theMark);
    const size_t theColon = thePlace == std::string::npos ? thePlace : theLine.find(": ", thePlace);
    if (theColon == std::string::npos) continue;
    const std::string theText = theLine.substr(theColon + 2);
    if (theTables.empty() || theText.compare(0, 14, "SOCKETS STATUS") == 0) theTables.emplace_back();
    theTables.back() += theText + "\n";
  }
  return theTables;
}

LogCollection::LogCollection() : mFile(-1) {
  const std::string theFolder = TemporaryFolder();
  if (!theFolder.empty()) mPath = theFolder + "/zvos-log-XXXXXX";
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
  while ((theCount = read(mFile, theBuffer, sizeof(theBuffer))) > 0) {
    theText.append(theBuffer, static_cast<size_t>(theCount));
  }
  // The library appends, wherever the end is. Were this to fail, the text would be seen twice.
  (void)!ftruncate(mFile, 0);
  return theText;
}

}  // namespace tool
