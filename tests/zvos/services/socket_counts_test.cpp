// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The bytes that the table of sockets and the traffic files count, and what lets them hear of a socket.

#include <zvOS/zvSocket.h>

#include "socket_bookkeeping.h"
#include "socket_traffic_checks.h"
#include "support/Support.h"

#include <atomic>
#include <filesystem>
#include <thread>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace zvtest;
using namespace zvtest::net;

class SocketCounts : public BookkeepingTest {};

//
// Bytes
//

TEST_F(SocketCounts, OfASendTheTableCountsTheRequestAndTheFileGetsWhatMoved) {
  WantTable();
  WantTraffic();
  Connection theConnection;
  constexpr int kLittle = 4096;
  setsockopt(theConnection.mNear, SOL_SOCKET, SO_SNDBUF, &kLittle, sizeof(kLittle));
  const int theSocket = Tracked(std::move(theConnection.mNear));
  _Log_Buffer_Open(theSocket);
  const zvtest::TrafficFolder theFolder;
  const std::string theFile = zvtest::TrafficFileOf(theSocket, PortOf(theConnection.mFar));
  zvtest::WriteWholeFile(theFile, "");

  const std::string theBytes(16 * 1024 * 1024, 'z');
  const int theCount =
      zvSocketSend(theSocket, theBytes.data(), static_cast<int>(theBytes.size()), MSG_DONTWAIT, kLabel);
  ASSERT_GT(theCount, 0);
  ASSERT_LT(theCount, static_cast<int>(theBytes.size()));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Debug(kTCPRW, Format("Sent %d bytes on socket %d [%s]\n", theCount, theSocket, kLabel))));
  EXPECT_EQ(
      Line(' ', theSocket, "OUT", kCreated, PortOf(theSocket), PortOf(theConnection.mFar), theBytes.size()),
      LineOf(theSocket));
  EXPECT_TRUE(std::string(static_cast<size_t>(theCount), 'z') == zvtest::ReadWholeFile(theFile));
}

TEST_F(SocketCounts, OfAReceiveTheTableCountsTheRequestAndTheFileGetsWhatMoved) {
  WantTable();
  WantTraffic();
  Connection theConnection;
  const int theSocket = Tracked(std::move(theConnection.mNear));
  _Log_Buffer_Open(theSocket);
  const int thePeerPort = PortOf(theConnection.mFar);
  const zvtest::TrafficFolder theFolder;
  const std::string theFile = zvtest::TrafficFileOf(theSocket, thePeerPort);
  zvtest::WriteWholeFile(theFile, "");

  ASSERT_EQ(5, send(theConnection.mFar, "hello", 5, 0));
  theConnection.mFar.Close();
  char theBytes[100];
  EXPECT_EQ(5, zvSocketRecv(theSocket, theBytes, 100, 0, kLabel));
  EXPECT_EQ(Line(' ', theSocket, "OUT", kCreated, PortOf(theSocket), thePeerPort, 0, 100), LineOf(theSocket));
  // The end of the connection counts the whole request as well.
  EXPECT_EQ(0, zvSocketRecv(theSocket, theBytes, 100, 0, kLabel));
  EXPECT_EQ(Line(' ', theSocket, "OUT", kCreated, PortOf(theSocket), thePeerPort, 0, 200), LineOf(theSocket));
  EXPECT_EQ("hello", zvtest::ReadWholeFile(theFile));
}

TEST_F(SocketCounts, TransfersAreHeardOfAfterTheirRecords) {
  WantTraffic();
  Connection theConnection;
  const int theSocket = theConnection.mNear;
  char theBytes[8];
  ASSERT_EQ(5, send(theConnection.mFar, "hello", 5, 0));
  EXPECT_EQ(Outcome(3, kStale), Call([&] { return zvSocketSend(theSocket, "abc", 3, 0, kLabel); }));
  EXPECT_EQ(Outcome(5, kStale), Call([&] { return zvSocketRecv(theSocket, theBytes, 8, 0, kLabel); }));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Debug(kTCPRW, Format("Sent 3 bytes on socket %d [%s]\n", theSocket, kLabel)),
                          Error(kTraffic, kSendHeard),
                          Debug(kTCPRW, Format("Received 5 bytes on socket %d [%s]\n", theSocket, kLabel)),
                          Error(kTraffic, kReceiveHeard)));
}

TEST_F(SocketCounts, FailingTransfersAreNotHeardOf) {
  WantTable();
  WantTraffic();
  const int theSocket = Tracked(Stream());
  char theByte = 'x';
  EXPECT_EQ(Outcome(-1, EPIPE), Call([&] { return zvSocketSend(theSocket, &theByte, 1, 0, kLabel); }));
  EXPECT_EQ(Outcome(-1, ENOTCONN), Call([&] { return zvSocketRecv(theSocket, &theByte, 1, 0, kLabel); }));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(
          Debug(kTCPRW, Format("Sent -1 bytes on socket %d [%s], Error = 32\n", theSocket, kLabel)),
          Debug(kTCPRW, Format("Received -1 bytes on socket %d, error = 107 [%s]\n", theSocket, kLabel))));
  EXPECT_EQ(Line(' ', theSocket, "OUT", kCreated), LineOf(theSocket));
}

//
// The gates
//

TEST_F(SocketCounts, TheLogDecidesWhoHearsOfASocket) {
  for (int theBits = 0; theBits < 16; ++theBits) {
    const bool afTCP = (theBits & 1) != 0;
    const bool afTraffic = (theBits & 2) != 0;
    const bool afTracker = (theBits & 4) != 0;
    const bool afDebug = (theBits & 8) != 0;
    SCOPED_TRACE(
        Format("TCP %d, traffic %d, table %d, debug level %d", afTCP, afTraffic, afTracker, afDebug));
    const bool afFileHears = afDebug && afTCP && afTraffic;
    const bool afTableHears = afDebug && afTracker;
    WantTraffic(afTCP, afTraffic);
    WantTable(afTracker);
    const auto SetLevel = [&] {
      mLog.SetLevel(afDebug ? kUpToDebug : kUpToInformation);
      mLog.Clear();
    };
    const auto FileHeard = [&](const char *aText) {
      const std::vector<Message> theMessages = mLog.Messages();
      return std::any_of(theMessages.begin(), theMessages.end(),
                         [&](const Message &aMessage) { return aMessage.mText == aText; });
    };

    SetLevel();
    const Socket theOpened(zvSocketOpen(AF_INET, SOCK_STREAM, 0, kLabel));
    EXPECT_EQ(afTableHears, TakeOutOfTable(theOpened));
    EXPECT_EQ(afFileHears, TakeOutOfTraffic(theOpened));

    Socket theListener = Bound(Stream());
    zvSocketTracker_Add(theListener, 0, kLabel);
    SetLevel();
    EXPECT_EQ(0, zvSocketListen(theListener, 5, kLabel));
    EXPECT_EQ(afTableHears ? Line(' ', theListener, "OUT", kListening, PortOf(theListener))
                           : Line(' ', theListener, "OUT", kCreated),
              LineOf(theListener));
    EXPECT_TRUE(TakeOutOfTable(theListener));

    Socket theClient = Bound(Stream());
    sockaddr_in theAddress = Loopback(PortOf(theListener));
    zvSocketTracker_Add(theClient, 0, kLabel);
    SetLevel();
    EXPECT_EQ(0, zvSocketConnect(theClient, Generic(&theAddress), kAddressLength, kLabel));
    const int theClientPort = PortOf(theClient);
    EXPECT_EQ(afTableHears ? Line(' ', theClient, "OUT", kConnected, theClientPort, PortOf(theListener))
                           : Line(' ', theClient, "OUT", kCreated),
              LineOf(theClient));

    SetLevel();
    const Socket theAccepted(zvSocketAccept(theListener, nullptr, nullptr, kLabel));
    EXPECT_EQ(afTableHears, TakeOutOfTable(theAccepted));
    EXPECT_EQ(afFileHears, TakeOutOfTraffic(theAccepted));

    SetLevel();
    EXPECT_EQ(3, zvSocketSend(theClient, "abc", 3, 0, kLabel));
    EXPECT_EQ(afFileHears, FileHeard(kSendHeard));
    ASSERT_EQ(2, send(theAccepted, "de", 2, 0));
    char theBytes[4];
    SetLevel();
    EXPECT_EQ(2, zvSocketRecv(theClient, theBytes, 4, 0, kLabel));
    EXPECT_EQ(afFileHears, FileHeard(kReceiveHeard));
    EXPECT_EQ(afTableHears ? Line(' ', theClient, "OUT", kConnected, theClientPort, PortOf(theListener), 3, 4)
                           : Line(' ', theClient, "OUT", kCreated),
              LineOf(theClient));

    SetLevel();
    const int theClosed = theClient.Release();
    EXPECT_EQ(0, zvSocketClose(theClosed, kLabel));
    EXPECT_EQ(afFileHears, FileHeard(kCloseHeard));
    EXPECT_EQ(!afTableHears, TakeOutOfTable(theClosed));
  }
}

//
// With everybody listening
//

TEST_F(SocketCounts, NobodyWhoListensReachesTheLastError) {
  // Both ask for the names of sockets, and for those without a peer that fails.
  WantTable();
  WantTraffic();
  const int theSocket = Adopt(zvSocketOpen(AF_INET, SOCK_DGRAM, 0, kLabel));
  sockaddr_in theAddress = Loopback();
  EXPECT_EQ(Outcome(0, 0),
            Call([&] { return zvSocketBind(theSocket, Generic(&theAddress), kAddressLength, kLabel); }));
  sockaddr_in theTarget = Loopback(PortOf(theSocket));
  const Socket theOther = Datagram();
  ASSERT_EQ(1, sendto(theOther, "x", 1, 0, Generic(&theTarget), kAddressLength));
  for (const int theLogError : {0, EAGAIN, kSpoilt}) {
    mLog.SpoilErrno(theLogError);
    char theByte;
    EXPECT_EQ(Outcome(1, kStale),
              Call([&] { return zvSocketRecv(theSocket, &theByte, 1, MSG_PEEK, kLabel); }));
    EXPECT_EQ(Outcome(-1, EAGAIN),
              Call([&] { return zvSocketRecv(theSocket, &theByte, 1, MSG_ERRQUEUE, kLabel); }));
    EXPECT_EQ(Outcome(-1, EDESTADDRREQ), Call([&] { return zvSocketSend(theSocket, "x", 1, 0, kLabel); }));
    EXPECT_EQ(Outcome(-1, EOPNOTSUPP), Call([&] { return zvSocketListen(theSocket, 1, kLabel); }));
    EXPECT_EQ(Outcome(kzvSocketInvalid, EOPNOTSUPP),
              Call([&] { return zvSocketAccept(theSocket, nullptr, nullptr, kLabel); }));
    Fault theFault("send", 0);
    theFault.Returning(1);
    EXPECT_EQ(Outcome(1, kStale), Call([&] { return zvSocketSend(theSocket, "x", 1, 0, kLabel); }));
    Fault theConnectFault("connect", EAGAIN);
    EXPECT_EQ(Outcome(-1, EAGAIN),
              Call([&] { return zvSocketConnect(theSocket, Generic(&theTarget), kAddressLength, kLabel); }));
  }
  EXPECT_EQ(Outcome(0, 0), Call([&] { return zvSocketClose(theSocket, kLabel); }));
  mSockets.clear();
}

TEST_F(SocketCounts, ThreadsUseSocketsAtTheSameTime) {
  WantTable();
  WantTraffic();
  mLog.SpoilErrno(0);
  constexpr int kThreads = 4;
  constexpr int kRounds = 10;
  std::atomic<int> theFailures{0};
  const auto expectResult = [&](long long anExpected, long long aResult) {
    if (anExpected != aResult) ++theFailures;
  };
  const auto UseSockets = [&] {
    for (int i = 0; i < kRounds; ++i) {
      const zvSocket theListener = zvSocketOpen(AF_INET, SOCK_STREAM, 0, kLabel);
      sockaddr_in theAddress = Loopback();
      expectResult(0, zvSocketBind(theListener, Generic(&theAddress), kAddressLength, kLabel));
      expectResult(0, zvSocketListen(theListener, 1, kLabel));
      theAddress = Loopback(PortOf(theListener));
      const zvSocket theNear = zvSocketOpen(AF_INET, SOCK_STREAM, 0, kLabel);
      expectResult(0, zvSocketConnect(theNear, Generic(&theAddress), kAddressLength, kLabel));
      const zvSocket theFar = zvSocketAccept(theListener, nullptr, nullptr, kLabel);
      char theBytes[8] = "";
      expectResult(5, zvSocketSend(theNear, "hello", 5, 0, kLabel));
      expectResult(5, zvSocketRecv(theFar, theBytes, sizeof(theBytes), 0, kLabel));
      expectResult(-1, zvSocketRecv(theFar, theBytes, sizeof(theBytes), MSG_DONTWAIT, kLabel));
      expectResult(EAGAIN, zvSocketGetLastError());
      for (const zvSocket theSocket : {theNear, theFar, theListener})
        expectResult(0, zvSocketClose(theSocket, kLabel));
    }
  };
  std::vector<std::thread> theThreads;
  for (int i = 0; i < kThreads; ++i)
    theThreads.emplace_back(UseSockets);
  for (std::thread &theThread : theThreads)
    theThread.join();
  EXPECT_EQ(0, theFailures);
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
  for (const Message &theMessage : mLog.Messages())
    EXPECT_NE(1, theMessage.mLevel) << testing::PrintToString(theMessage);
}

}  // namespace
