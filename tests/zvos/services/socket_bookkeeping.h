// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of the table of sockets and of the traffic files have in common, as far as the calls
// on sockets feed them.
#pragma once

#include "zvos/sockets/socket_support.h"

#include <zvOS/zvSocketLog.h>
#include <zvOS/zvSocketTracker.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace zvtest {
namespace net {

constexpr char kCreated[] = "Created   ";
constexpr char kConnected[] = "Connected ";
constexpr char kListening[] = "Listening ";
constexpr char kClosed[] = "Closed    ";

// The errors of the traffic files for a socket that was never entered there: they tell that the call
// was made.
constexpr char kSendHeard[] = "_Log_Buffer_Send Error 2\n";
constexpr char kReceiveHeard[] = "_Log_Buffer Error 2\n";
constexpr char kCloseHeard[] = "_Log_Buffer_Close Error\n";

class BookkeepingTest : public testing::Test {
 protected:
  BookkeepingTest() {
    // The traffic files assert when no socket was ever entered.
    constexpr zvSocket kAnySocket = 9999;
    _Log_Buffer_Open(kAnySocket);
    _Log_Buffer_Close(kAnySocket);
    mLog.Clear();
    mLog.SpoilErrno(kSpoilt);
  }

  // Takes the sockets of the test out of the table and of the traffic files, and closes them.
  ~BookkeepingTest() override {
    for (const int theSocket : mSockets) {
      zvSocketTracker_Remove(theSocket);
      _Log_Buffer_Close(theSocket);
      close(theSocket);
    }
  }

  void WantTable(bool afWant = true) { mLog.AnswerWillLog(4, kTracker, afWant); }

  void WantTraffic(bool afWantTCP = true, bool afWantTraffic = true) {
    mLog.AnswerWillLog(4, kTCP, afWantTCP);
    mLog.AnswerWillLog(4, kTraffic, afWantTraffic);
  }

  int Adopt(int aSocket) {
    mSockets.push_back(aSocket);
    return aSocket;
  }
  int Adopt(Socket aSocket) { return Adopt(aSocket.Release()); }

  // Adopted, and in the table; what that logged is forgotten.
  int Tracked(Socket aSocket) {
    const int theSocket = Adopt(std::move(aSocket));
    zvSocketTracker_Add(theSocket, 0, kLabel);
    mLog.Clear();
    return theSocket;
  }

  // What was logged, of the table's dumps the lines of this socket alone.
  std::vector<Message> Records(int aSocket) const {
    const std::string theMark = Format("ID=%5d ", aSocket);
    std::vector<Message> theRecords = mLog.Messages();
    const auto isOfOthers = [&](const Message &aMessage) {
      return aMessage.mModule == kTracker && aMessage.mText.find(theMark) == std::string::npos;
    };
    theRecords.erase(std::remove_if(theRecords.begin(), theRecords.end(), isOfOthers), theRecords.end());
    return theRecords;
  }

  // Whether something was entered; it is taken out.
  bool TakeOutOfTable(int aSocket) {
    mLog.SetLevel(kUpToDebug);
    mLog.Clear();
    zvSocketTracker_Remove(aSocket);
    return !Records(aSocket).empty();
  }
  bool TakeOutOfTraffic(int aSocket) {
    mLog.SetLevel(kUpToDebug);
    mLog.Clear();
    _Log_Buffer_Close(aSocket);
    return mLog.Messages().empty();
  }

  // The dump's line of a socket.
  std::string LineOf(int aSocket) {
    mLog.SetLevel(kUpToDebug);
    mLog.Clear();
    zvSocketTracker_Dump();
    const std::vector<Message> theRecords = Records(aSocket);
    return theRecords.size() == 1 ? theRecords[0].mText : std::string();
  }

  std::vector<int> mSockets;
  RecordingLog mLog;
};

inline std::string Line(char aMark, int aSocket, const char *aDirection, const char *aState, int aPort = 0,
                        int aRemotePort = 0, unsigned long aSent = 0, unsigned long aReceived = 0) {
  return Format("  %c ID=%5d  %s  S=%08lu  R=%08lu  P=%5d RP=%5d %s (%s) \n", aMark, aSocket, aDirection,
                aSent, aReceived, aPort, aRemotePort, aState, kLabel);
}

}  // namespace net
}  // namespace zvtest
