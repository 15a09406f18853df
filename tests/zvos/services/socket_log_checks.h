// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of traffic files of one connection share.
#pragma once

#include "socket_traffic_checks.h"

#include <vector>

namespace zvtest {

inline void Send(int aSocket, const std::string &aText) {
  _Log_Buffer_Send(aSocket, aText.data(), static_cast<uint32>(aText.size()));
}

inline void Receive(int aSocket, const std::string &aText) {
  _Log_Buffer_Data(aSocket, aText.data(), static_cast<uint32>(aText.size()));
}

// A connected socket that is in the table, with its file.
class SocketLog : public ::testing::Test {
 protected:
  SocketLog() : mSocket(mConnection.mNear), mFile(TrafficFileOf(mSocket, PortOf(mConnection.mFar))) {
    ForgetTrafficOfOtherTests();
    Enter(mSocket);
    WriteWholeFile(mFile, "");
    AdmitTraffic(mLog);
    mLog.Clear();
  }
  ~SocketLog() override {
    AdmitTraffic(mLog, false, false);
    for (const int theSocket : mEntered)
      _Log_Buffer_Close(theSocket);
  }

  void Enter(int aSocket) {
    _Log_Buffer_Open(aSocket);
    mEntered.push_back(aSocket);
  }

  RecordingLog mLog;
  TrafficFolder mFolder;
  net::Connection mConnection;
  int mSocket;
  std::string mFile;
  std::vector<int> mEntered;
};

}  // namespace zvtest
