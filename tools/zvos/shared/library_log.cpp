// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "shared/library_log.h"

#include "shared/files.h"
#include "shared/text.h"

#include <zvLog/zvLogSettings.h>

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
  std::vector<std::string> theTables;
  for (const std::string &theLine : LinesOf(aLog)) {
    const size_t thePlace = theLine.find(kSocketTableMark);
    const size_t theColon = thePlace == std::string::npos ? thePlace : theLine.find(": ", thePlace);
    if (theColon == std::string::npos) continue;
    const std::string theText = theLine.substr(theColon + 2);
    if (theTables.empty() || BeginsWith(theText, "SOCKETS STATUS")) theTables.emplace_back();
    theTables.back() += theText + "\n";
  }
  return theTables;
}

MaybeProblem LogCollection::Open() {
  std::string thePath = TemporaryPath("zvos-log-XXXXXX");
  mFile.Reset(mkostemp(&thePath[0], O_CLOEXEC));
  if (!mFile.IsOpen()) return Problem(thePath + ": " + strerror(errno));
  const bool afDone = zvLog_SetSinkFile(thePath.c_str()) != 0;
  const int theError = errno;
  unlink(thePath.c_str());
  if (!afDone) return Problem(thePath + ": " + strerror(theError));
  return {};
}

std::string LogCollection::Take() {
  std::string theText;
  if (!mFile.IsOpen()) return theText;
  lseek(mFile.Get(), 0, SEEK_SET);
  while (mFile.ReadPiece(theText)) {
  }
  // The library appends, wherever the end is. Were this to fail, the text would be seen twice.
  (void)!ftruncate(mFile.Get(), 0);
  return theText;
}

}  // namespace tool
