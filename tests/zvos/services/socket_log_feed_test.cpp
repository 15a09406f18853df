// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Traffic files of sockets that are used through the logged calls of the socket layer.

#include <zvOS/zvSocket.h>

#include "socket_traffic_checks.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;
using zvtest::net::Generic;
using zvtest::net::kAddressLength;
using zvtest::net::kTraffic;
using zvtest::net::PortOf;
using zvtest::net::Socket;

// A client of the library's making, connected to a socket of the system's calls.
class SocketLogFeed : public ::testing::Test {
 protected:
  SocketLogFeed() {
    zvtest::ForgetTrafficOfOtherTests();
    AdmitTraffic(mLog);
    Connect(zvSocketOpen(AF_INET, SOCK_STREAM, 0, "open"));
  }
  ~SocketLogFeed() override {
    mLog.SetLevel(kDebugLevel + 1);
    AdmitTraffic(mLog);
    if (mClient >= 0) zvSocketClose(mClient, "end of test");
  }

  void Connect(zvSocket aSocket) {
    mClient = aSocket;
    ASSERT_GE(mClient, 0);
    const Socket theListener = zvtest::net::Listener();
    sockaddr_in theAddress = OwnAddressOf(theListener);
    EXPECT_EQ(0, zvSocketConnect(mClient, Generic(&theAddress), kAddressLength, "connect"));
    mFar = Socket(accept(theListener, nullptr, nullptr));
    mFile = TrafficFileOf(mClient, PortOf(mFar));
    WriteWholeFile(mFile, "");
    mLog.Clear();
  }

  // Closes through aClose and forgets the client.
  int Close(int afRunChain = 0) {
    const int theSocket = mClient;
    mClient = -1;
    return zvSocketClose_Debug(theSocket, "close", afRunChain);
  }

  zvtest::RecordingLog mLog;
  zvtest::TrafficFolder mFolder;
  zvSocket mClient = -1;
  Socket mFar{-1};
  std::string mFile;
  char mBuffer[64] = "";
};

TEST_F(SocketLogFeed, WhatWasReallySentAndReceivedIsInTheFile) {
  {
    Fault theFault("send", 0);
    theFault.Returning(3);
    EXPECT_EQ(3, zvSocketSend(mClient, "GET /all", 8, 0, "send"));
  }
  EXPECT_EQ(5, zvSocketSend(mClient, " /all", 5, 0, "send"));
  ASSERT_EQ(6, send(mFar, "200 OK", 6, 0));
  EXPECT_EQ(6, zvSocketRecv(mClient, mBuffer, sizeof(mBuffer), 0, "receive"));
  EXPECT_EQ("GET /all200 OK", ReadWholeFile(mFile));
  EXPECT_EQ(0, Close());
  EXPECT_EQ(std::string("GET /all200 OK") + kClosed, ReadWholeFile(mFile));
}

TEST_F(SocketLogFeed, TheEndOfTheStreamAddsNothing) {
  mFar.Close();
  EXPECT_EQ(0, zvSocketRecv(mClient, mBuffer, sizeof(mBuffer), 0, "receive"));
  EXPECT_EQ("", ReadWholeFile(mFile));
}

TEST_F(SocketLogFeed, FailedTransfersAreNotInTheFile) {
  Fault theSend("send", ECONNRESET);
  Fault theRecv("recv", ECONNRESET);
  EXPECT_EQ(-1, zvSocketSend(mClient, "x", 1, 0, "send"));
  EXPECT_EQ(-1, zvSocketRecv(mClient, mBuffer, sizeof(mBuffer), 0, "receive"));
  EXPECT_EQ(0, Close());
  EXPECT_EQ("", ReadWholeFile(mFile));
}

TEST_F(SocketLogFeed, AnAcceptedSocketHasAFileToo) {
  uint16 thePort = 0;
  const zvSocket theListener = zvSocket_GetTCPSocket(0x7F000001, &thePort);
  ASSERT_EQ(0, zvSocketListen(theListener, 5, "listen"));
  const Socket theClient = zvtest::net::Stream();
  zvtest::net::ConnectTo(theClient, PortOf(theListener));
  const zvSocket theServer = zvSocketAccept(theListener, nullptr, nullptr, "accept");
  ASSERT_GE(theServer, 0);
  const std::string theFile = TrafficFileOf(theServer, PortOf(theClient));
  WriteWholeFile(theFile, "");
  EXPECT_EQ(7, zvSocketSend(theServer, "welcome", 7, 0, "send"));
  EXPECT_EQ(0, zvSocketClose(theServer, "close"));
  EXPECT_EQ(0, zvSocketClose(theListener, "close"));
  EXPECT_EQ(std::string("welcome") + kClosed, ReadWholeFile(theFile));
  EXPECT_THAT(MessagesOf(mLog, kTraffic), IsEmpty());
}

TEST_F(SocketLogFeed, AFailedCloseEndsTheFile) {
  zvSocketSend(mClient, "data", 4, 0, "send");
  const Socket theLeftOver(mClient);
  Fault theFault("close", EIO, 0, 1);
  EXPECT_EQ(-1, Close());
  EXPECT_EQ(std::string("data") + kClosed, ReadWholeFile(mFile));
}

TEST_F(SocketLogFeed, ACloseInAChainLeavesTheFileAndThePlace) {
  const zvSocket theSocket = mClient;
  zvSocketSend(mClient, "data", 4, 0, "send");
  EXPECT_EQ(0, Close(1));
  EXPECT_EQ("data", ReadWholeFile(mFile));
  _Log_Buffer_Close(theSocket);
  EXPECT_EQ(std::string("data") + kClosed, ReadWholeFile(mFile));
  EXPECT_THAT(MessagesOf(mLog, kTraffic), IsEmpty());
}

TEST_F(SocketLogFeed, ASocketOpenedQuietlyHasNoPlaceAndItsTransfersSaySo) {
  Close();
  Connect(zvSocketOpen_Debug(AF_INET, SOCK_STREAM, 0, "quiet", 1));
  EXPECT_EQ(1, zvSocketSend(mClient, "x", 1, 0, "send"));
  EXPECT_THAT(MessagesOf(mLog, kTraffic), ElementsAre(Error(kTraffic, "_Log_Buffer_Send Error 2\n")));
  ASSERT_EQ(1, send(mFar, "y", 1, 0));
  mLog.Clear();
  EXPECT_EQ(1, zvSocketRecv(mClient, mBuffer, sizeof(mBuffer), 0, "receive"));
  EXPECT_THAT(MessagesOf(mLog, kTraffic), ElementsAre(Error(kTraffic, "_Log_Buffer Error 2\n")));
  mLog.Clear();
  EXPECT_EQ(0, Close());
  EXPECT_THAT(MessagesOf(mLog, kTraffic), ElementsAre(Error(kTraffic, "_Log_Buffer_Close Error\n")));
  EXPECT_EQ("", ReadWholeFile(mFile));
}

TEST_F(SocketLogFeed, ASocketThatNeverHadAPeerIsStillAskedForItAfterItsEnd) {
  uint16 thePort = 0;
  const zvSocket theSocket = zvSocket_GetUDPSocket(INADDR_LOOPBACK, &thePort);
  sockaddr_in theAddress = zvtest::net::Loopback(thePort);
  ASSERT_EQ(1, sendto(zvtest::net::Datagram(), "x", 1, 0, Generic(&theAddress), kAddressLength));
  const auto theQuestion = [=](int anError) {
    return Error(zvtest::net::kTCP,
                 zvtest::Format("Cannot get peer name for socket %d: error = %d [_Log_Buffer_GetFileName]\n",
                                theSocket, anError));
  };
  mLog.Clear();
  EXPECT_EQ(1, zvSocketRecv(theSocket, mBuffer, sizeof(mBuffer), 0, "receive"));
  EXPECT_THAT(mLog.Messages(), ::testing::Contains(theQuestion(ENOTCONN)));
  EXPECT_EQ(0, zvSocketClose(theSocket, "close"));
  EXPECT_THAT(mLog.Messages(), ::testing::Contains(theQuestion(EBADF)));
  EXPECT_THAT(MessagesOf(mLog, kTraffic), IsEmpty());
}

TEST_F(SocketLogFeed, TheQuietTwinsWriteNothing) {
  EXPECT_EQ(1, zvSocketSend_NoDebug(mClient, "x", 1, 0));
  EXPECT_EQ("", ReadWholeFile(mFile));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SocketLogFeed, DatagramsAreNotWritten) {
  const Socket theReceiver = zvtest::net::Bound(zvtest::net::Datagram());
  sockaddr_in theAddress = OwnAddressOf(theReceiver);
  const zvSocket theSocket = zvSocketOpen(AF_INET, SOCK_DGRAM, 0, "open");
  EXPECT_EQ(0, zvSocketConnect(theSocket, Generic(&theAddress), kAddressLength, "connect"));
  const std::string theFile = TrafficFileOf(theSocket, PortOf(theReceiver));
  WriteWholeFile(theFile, "");
  EXPECT_EQ(1, zvSocketSendUDP(theSocket, nullptr, 0, "x", 1, 0, "send"));
  EXPECT_EQ("", ReadWholeFile(theFile));
  EXPECT_EQ(0, zvSocketClose(theSocket, "close"));
}

// ---- When traffic is wanted ----

TEST_F(SocketLogFeed, BothModulesMustWantDebugMessages) {
  for (const bool afTCP : {false, true}) {
    AdmitTraffic(mLog, afTCP, !afTCP);
    EXPECT_EQ(1, zvSocketSend(mClient, "x", 1, 0, "send"));
  }
  EXPECT_EQ("", ReadWholeFile(mFile));
  AdmitTraffic(mLog);
  mLog.SetLevel(kDebugLevel);
  EXPECT_EQ(1, zvSocketSend(mClient, "x", 1, 0, "send"));
  EXPECT_EQ("", ReadWholeFile(mFile));
  mLog.SetLevel(kDebugLevel + 1);
  EXPECT_EQ(1, zvSocketSend(mClient, "y", 1, 0, "send"));
  EXPECT_EQ("y", ReadWholeFile(mFile));
}

TEST_F(SocketLogFeed, TheMacrosAskBothModulesInTurn) {
  EXPECT_NE(0, LOG_BUFFER_WILLLOG(kDebugLevel));
  EXPECT_THAT(mLog.Calls(), ElementsAre("WillLog 4 21", "WillLog 4 55"));
  AdmitTraffic(mLog, false, true);
  mLog.Clear();
  EXPECT_EQ(0, LOG_BUFFER_WILLLOG(kDebugLevel));
  EXPECT_THAT(mLog.Calls(), ElementsAre("WillLog 4 21"));
  mLog.SetLevel(kDebugLevel);
  mLog.Clear();
  EXPECT_EQ(0, LOG_BUFFER_WILLLOG(kDebugLevel));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketLogFeed, TheMacrosStandForTheFunctions) {
  AdmitTraffic(mLog, true, false);
  LOG_BUFFER_SEND(mClient, "lost", 4);
  LOG_BUFFER(mClient, "lost", 4);
  LOG_BUFFER_CLOSE(mClient);
  EXPECT_EQ("", ReadWholeFile(mFile));

  AdmitTraffic(mLog);
  LOG_BUFFER_SEND(mClient, "sent", 4);
  LOG_BUFFER(mClient, "received", 8);
  LOG_BUFFER_CLOSE(mClient);
  EXPECT_EQ(std::string("sentreceived") + kClosed, ReadWholeFile(mFile));
  LOG_BUFFER_OPEN(mClient);
  LOG_BUFFER_SEND(mClient, "again", 5);
  EXPECT_EQ(std::string("sentreceived") + kClosed + "again", ReadWholeFile(mFile));
  EXPECT_THAT(MessagesOf(mLog, kTraffic), IsEmpty());
}

}  // namespace
