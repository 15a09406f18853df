// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "service/traffic.h"

#include "shared/descriptor.h"
#include "shared/file_status.h"

#include <zvLog/zvLogSettings.h>

#include <sys/stat.h>

#include <cstring>

namespace tool {

MaybeProblem StartTrace() {
  constexpr zvLogModule kModules[] = {ZVLOG_M_TCP, ZVLOG_M_SOCKETTRACKER, ZVLOG_M_SOCKETTRAFFIC};
  for (const zvLogModule theModule : kModules)
    zvLog_SetModuleLevel(theModule, kzvLogLevel_Debug);
  if (mkdir(kTrafficFolder, 0777) == 0) return {};
  const int theError = errno;
  FileStatus theStatus = {};
  if (theError == EEXIST && GetStatus(kTrafficFolder, theStatus) && S_ISDIR(theStatus.mMode)) return {};
  return Problem(std::string("cannot make the folder '") + kTrafficFolder + "': " + strerror(theError));
}

std::string TrafficFileStart(const Endpoint &aPeer) {
  return AddressText(aPeer.mAddress) + "-" + std::to_string(aPeer.mPort) + "-[";
}

std::string TrafficFile(const Endpoint &aPeer, zvSocket aSocket) {
  return std::string(kTrafficFolder) + "/" + TrafficFileStart(aPeer) + std::to_string(aSocket) + "].txt";
}

bool MakeTrafficFile(const Endpoint &aPeer, zvSocket aSocket) {
  const Descriptor theFile(
      open(TrafficFile(aPeer, aSocket).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666));
  return theFile.IsOpen();
}

}  // namespace tool
