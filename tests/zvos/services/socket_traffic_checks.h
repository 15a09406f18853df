// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of traffic files share.
#pragma once

#include <zvOS/zvSocketLog.h>

#include "zvos/sockets/socket_service_checks.h"

#include <climits>
#include <cstdio>

namespace zvtest {

// A working directory of its own for a test, with a folder for traffic files.
class TrafficFolder {
 public:
  TrafficFolder() {
    if (getcwd(mFormer, sizeof(mFormer)) == nullptr) ADD_FAILURE() << "getcwd: " << strerror(errno);
    EXPECT_EQ(0, chdir(mFolder.Path().c_str()));
    std::filesystem::create_directory("socket");
  }
  ~TrafficFolder() { EXPECT_EQ(0, chdir(mFormer)); }
  TrafficFolder(const TrafficFolder &) = delete;
  TrafficFolder &operator=(const TrafficFolder &) = delete;

  // How many files and folders there are.
  long Count() const {
    const std::filesystem::recursive_directory_iterator theEntries(mFolder.Path());
    return std::distance(begin(theEntries), end(theEntries));
  }

 private:
  TempFolder mFolder;
  char mFormer[PATH_MAX];
};

// The traffic file of a socket of loopback.
inline std::string TrafficFileOf(int aSocket, int aPeerPort) {
  return Format("socket/127.0.0.1-%d-[%d].txt", aPeerPort, aSocket);
}

// Lets the log want traffic files.
inline void AdmitTraffic(RecordingLog &aLog, bool afTCP = true, bool afTraffic = true) {
  aLog.AnswerWillLog(kDebugLevel, net::kTCP, afTCP ? 1 : 0);
  aLog.AnswerWillLog(kDebugLevel, net::kTraffic, afTraffic ? 1 : 0);
}

// Takes the sockets out of the table that the rest of the process may have left there.
inline void ForgetTrafficOfOtherTests() {
  constexpr int kHighestUsual = 1023;
  for (int i = 1; i <= kHighestUsual; ++i)
    _Log_Buffer_Close(i);
}

constexpr const char *kClosed = "\r\n*** CLOSED ***\r\n";

}  // namespace zvtest
