// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Opening and closing a socket while the library writes its table of sockets, which it does at every change
// and whole, with more and more sockets in it.

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <zvLog/zvLogSettings.h>
#include <zvOS/zvLogDefines.h>
#include <zvOS/zvSocket.h>

#include "support/Network.h"
#include "growth/growth.h"

namespace zvbench {
namespace {

constexpr char kLabel[] = "zvos_growth";

constexpr uint32 kPlaces = 50;  // in the table, of which those that stay leave one to each thread

// While it lives the table is written, with so many sockets that stay, into a file in memory.
class Table {
 public:
  explicit Table(uint32 aCount) {
    if (zvLog_SetSinkFile(mLog.c_str()) == 0) Fail("cannot log into a file");
    zvLog_SetModuleLevel(ZVLOG_M_SOCKETTRACKER, kzvLogLevel_Debug);
    for (uint32 i = 0; i < aCount; ++i)
      mSockets.push_back(std::make_unique<Socket>(OpenSocket(SOCK_DGRAM)));
    if (access(mLog.c_str(), F_OK) != 0) Fail("the socket table is not written");
  }
  ~Table() {
    mSockets.clear();
    zvLog_ResetModuleLevel(ZVLOG_M_SOCKETTRACKER);
    zvLog_SetSinkStandardError();
  }
  Table(const Table &) = delete;
  Table &operator=(const Table &) = delete;

  // The log is not to take more and more memory.
  void EmptyLog() const {
    if (truncate(mLog.c_str(), 0) != 0) Fail("cannot empty the log");
  }

 private:
  const ScratchFolder mFolder;
  const std::string mLog = mFolder / "log";
  std::vector<std::unique_ptr<Socket>> mSockets;
};

void OpenAndCloseBare(uint32 aCount) {
  for (uint32 i = 0; i < aCount; ++i) {
    const int theSocket = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    if (theSocket < 0 || close(theSocket) != 0) Fail("cannot open and close a socket");
  }
}

void OpenAndCloseOurs(uint32 aCount) {
  for (uint32 i = 0; i < aCount; ++i) {
    const zvSocket theSocket = zvSocketOpen_Debug(AF_INET, SOCK_DGRAM, 0, kLabel, 0);
    if (theSocket == kzvSocketInvalid || zvSocketClose_Debug(theSocket, kLabel, 0) != 0)
      Fail("cannot open and close a socket");
  }
}

template <uint32 kThreads>
std::optional<Trial> OpeningAndClosing(uint32 aCount) {
  const auto theTable = std::make_shared<const Table>(aCount);
  return Trial{[](uint32 aRepeats) { RunThreads(kThreads, [=](uint32) { OpenAndCloseBare(aRepeats); }); },
               [aTable = theTable.get()](uint32 aRepeats) {
                 aTable->EmptyLog();
                 RunThreads(kThreads, [=](uint32) { OpenAndCloseOurs(aRepeats); });
               },
               kThreads,
               {},
               {theTable}};
}

template <uint32 kThreads>
GrowthRow RowOf(const char *aName) {
  return {aName,
          "sockets in the table",
          "for a socket opened and closed",
          nullptr,
          "socket, close",
          "zvSocketOpen_Debug, zvSocketClose_Debug, which write the table into a file in memory",
          {1, 10, 25, kPlaces - kThreads},
          OpeningAndClosing<kThreads>};
}

}  // namespace

std::vector<GrowthRow> SocketTableGrowth() {
  return {RowOf<1>("socket table, 1 thread"), RowOf<2>("socket table, 2 threads"),
          RowOf<4>("socket table, 4 threads")};
}

}  // namespace zvbench
