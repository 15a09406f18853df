// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the table of sockets and the traffic files hear of a socket, and in which order.

#include <zvOS/zvSocket.h>

#include "socket_bookkeeping.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using namespace zvtest;
using namespace zvtest::net;

class SocketBookkeeping : public BookkeepingTest {};

//
// What is heard, and its place among the records
//

TEST_F(SocketBookkeeping, AnOpenedSocketIsEnteredAfterItsRecord) {
  WantTable();
  WantTraffic();
  const int theSocket = Adopt(zvSocketOpen(AF_INET, SOCK_STREAM, 0, kLabel));
  EXPECT_THAT(Records(theSocket),
              ElementsAre(Debug(kTCP, Format("Created socket %d [%s]\n", theSocket, kLabel)),
                          Debug(kTracker, Line('*', theSocket, "OUT", kCreated))));
  EXPECT_TRUE(TakeOutOfTraffic(theSocket));
}

TEST_F(SocketBookkeeping, ASocketOpenedWithoutDebugIsNotEntered) {
  WantTable();
  WantTraffic();
  const int theSocket = Adopt(zvSocketOpen_Debug(AF_INET, SOCK_STREAM, 0, kLabel, 1));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
  EXPECT_FALSE(TakeOutOfTable(theSocket));
  EXPECT_FALSE(TakeOutOfTraffic(theSocket));
}

TEST_F(SocketBookkeeping, ASocketThatCouldNotBeOpenedIsNotEntered) {
  WantTable();
  WantTraffic();
  EXPECT_EQ(kzvSocketInvalid, zvSocketOpen(AF_MAX + 1, SOCK_STREAM, 0, kLabel));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(kTCP, Format("Cannot create socket: error = 97 [%s]\n", kLabel))));
  EXPECT_FALSE(TakeOutOfTable(kzvSocketInvalid));
}

TEST_F(SocketBookkeeping, AnAcceptedSocketIsEnteredAndConnectedAfterItsRecords) {
  WantTable();
  WantTraffic();
  const Socket theListener = Listener();
  const Socket theClient = Bound(Stream());
  ConnectTo(theClient, PortOf(theListener));
  const int theSocket = Adopt(zvSocketAccept(theListener, nullptr, nullptr, kLabel));
  ASSERT_GE(theSocket, 0);
  EXPECT_THAT(Records(theSocket),
              ElementsAre(Debug(kTCP, Format("Accepted from socket %d, new socket = %d [%s]\n",
                                             int(theListener), theSocket, kLabel)),
                          Debug(kTCP, "    remote IP address = '"), Debug(kTCP, "NULL:NULL"),
                          Debug(kTCP, "'\n"), Debug(kTracker, Line('*', theSocket, " IN", kCreated)),
                          Debug(kTracker, Line('*', theSocket, " IN", kConnected, PortOf(theListener),
                                               PortOf(theClient)))));
  EXPECT_TRUE(TakeOutOfTraffic(theSocket));
}

TEST_F(SocketBookkeeping, TheTrafficFilesHearOfAnAcceptedSocketBeforeTheTable) {
  // At the first line of the table about the socket, it can be taken out of the traffic files.
  WantTable();
  WantTraffic();
  struct Watch {
    bool mfDone;
    int mSocket;
  } theWatch = {false, -1};
  mLog.OnMessage(
      [](const Message &aMessage, void *aContext) {
        auto *theHookWatch = static_cast<Watch *>(aContext);
        if (theHookWatch->mfDone || aMessage.mText.compare(0, 8, "  * ID= ") != 0) return;
        theHookWatch->mfDone = true;
        theHookWatch->mSocket = std::stoi(aMessage.mText.substr(7));
        _Log_Buffer_Close(theHookWatch->mSocket);
      },
      &theWatch);
  const Socket theListener = Listener();
  const Socket theClient = Stream();
  ConnectTo(theClient, PortOf(theListener));
  const int theSocket = Adopt(zvSocketAccept(theListener, nullptr, nullptr, kLabel));
  mLog.OnMessage(nullptr, nullptr);
  EXPECT_EQ(theSocket, theWatch.mSocket);
  EXPECT_THAT(mLog.Messages(), Not(Contains(Error(kTraffic, kCloseHeard))));
}

TEST_F(SocketBookkeeping, AnAcceptThatFailsEntersNothing) {
  WantTable();
  WantTraffic();
  const Socket theListener = Listener(SOCK_NONBLOCK);
  EXPECT_EQ(Outcome(kzvSocketInvalid, EAGAIN),
            Call([&] { return zvSocketAccept(theListener, nullptr, nullptr, kLabel); }));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

struct ConnectCase {
  const char *mName;
  int mError;  // of the system's call, 0 for a real success
  Outcome mOutcome;
  bool mfConnects;  // by its records
};

const ConnectCase kConnects[] = {
    {"success", 0, {0, 0}, true},
    {"in progress", EINPROGRESS, {0, 0}, true},
    {"refused", ECONNREFUSED, {-1, ECONNREFUSED}, false},
    {"would block", EAGAIN, {-1, EAGAIN}, false},
};

TEST_F(SocketBookkeeping, TheTableHearsOfEveryConnectAfterItsRecords) {
  WantTable();
  for (const ConnectCase &theCase : kConnects) {
    SCOPED_TRACE(theCase.mName);
    const Socket theListener = Listener();
    const int thePort = PortOf(theListener);
    const int theSocket = Tracked(Bound(Stream()));
    sockaddr_in theAddress = Loopback(thePort);
    Fault theFault("connect", theCase.mError, 0, theCase.mError != 0 ? 1 : 0);
    EXPECT_EQ(theCase.mOutcome,
              Call([&] { return zvSocketConnect(theSocket, Generic(&theAddress), kAddressLength, kLabel); }));

    std::vector<testing::Matcher<const Message &>> theExpected = {
        Debug(kTCP, "Trying to connect to '"), Debug(kTCP, Format("127.0.0.1:%d", thePort)),
        Debug(kTCP, Format("' [%s]\n", kLabel))};
    if (theCase.mfConnects) theExpected.push_back(Debug(kTCP, "   Connected\n"));
    if (theCase.mError == ECONNREFUSED) {
      theExpected.push_back(
          Error(kTCP, Format("   Cannot connect socket %d: error = 111 [%s]\n", theSocket, kLabel)));
    }
    theExpected.push_back(Debug(kTracker, Line('*', theSocket, "OUT", kConnected, PortOf(theSocket),
                                               theCase.mError == 0 ? thePort : 0)));
    EXPECT_THAT(Records(theSocket), ElementsAreArray(theExpected));
  }
}

TEST_F(SocketBookkeeping, TheTableHearsOfEveryListenAfterItsRecord) {
  WantTable();
  const int theSocket = Tracked(Bound(Stream()));
  EXPECT_EQ(Outcome(0, 0), Call([&] { return zvSocketListen(theSocket, 3, kLabel); }));
  EXPECT_THAT(
      Records(theSocket),
      ElementsAre(Debug(kTCP, Format("Listening on socket %d, backlog = 3 [%s]\n", theSocket, kLabel)),
                  Debug(kTracker, Line('*', theSocket, "OUT", kListening, PortOf(theSocket)))));

  const int theDeaf = Tracked(Bound(Datagram()));
  EXPECT_EQ(Outcome(-1, EOPNOTSUPP), Call([&] { return zvSocketListen(theDeaf, 3, kLabel); }));
  EXPECT_THAT(Records(theDeaf),
              ElementsAre(Error(kTCP, Format("Error listening on socket %d: backlog = 3, error = 95 [%s]\n",
                                             theDeaf, kLabel)),
                          Debug(kTracker, Line('*', theDeaf, "OUT", kListening, PortOf(theDeaf)))));
}

TEST_F(SocketBookkeeping, BindingShuttingDownAndCountingAreNotHeardOf) {
  WantTable();
  WantTraffic();
  Connection theConnection;
  const int theSocket = Tracked(std::move(theConnection.mNear));
  sockaddr_in theAddress = Loopback();
  int theCount;
  EXPECT_EQ(-1, zvSocketBind(theSocket, Generic(&theAddress), kAddressLength, kLabel));
  EXPECT_EQ(0, zvSocketRecvAvailable(theSocket, &theCount, kLabel));
  EXPECT_EQ(0, zvSocketShutdown(theSocket, kLabel));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(kTCP, Format("Cannot bind socket %d: error = 22 [%s]\n", theSocket, kLabel))));
  EXPECT_EQ(Line(' ', theSocket, "OUT", kCreated), LineOf(theSocket));
}

//
// Closing
//

TEST_F(SocketBookkeeping, TheTableForgetsASocketBeforeItIsClosed) {
  WantTable();
  WantTraffic();
  for (const int afRunChain : {0, 1}) {
    const int theSocket = Tracked(Stream());
    std::vector<Message> theRecordsAtClose;
    Fault theFault("close", 0);
    theFault.PassingThrough().Doing([&](const long long *) { theRecordsAtClose = Records(theSocket); });
    EXPECT_EQ(Outcome(0, 0), Call([&] { return zvSocketClose_Debug(theSocket, kLabel, afRunChain); }));
    mSockets.clear();
    EXPECT_THAT(theRecordsAtClose, ElementsAre(Debug(kTracker, Line('*', theSocket, "OUT", kClosed))));
    EXPECT_FALSE(TakeOutOfTable(theSocket));
  }
}

TEST_F(SocketBookkeeping, TheTrafficFileEndsAfterTheRecordOfTheClose) {
  WantTraffic();
  const int theSocket = Stream().Release();
  EXPECT_EQ(Outcome(0, 0), Call([&] { return zvSocketClose(theSocket, kLabel); }));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Debug(kTCP, Format("Closed socket %d [%s]\n", theSocket, kLabel)),
                                           Error(kTraffic, kCloseHeard)));
}

TEST_F(SocketBookkeeping, TheTrafficFileEndsAlsoWhenTheCloseFails) {
  WantTraffic();
  for (const int afRunChain : {0, 1}) {
    mLog.Clear();
    const int theSocket = ClosedDescriptor();
    EXPECT_EQ(Outcome(-1, EBADF), Call([&] { return zvSocketClose_Debug(theSocket, kLabel, afRunChain); }));
    EXPECT_THAT(
        mLog.Messages(),
        ElementsAre(Error(kTCP, Format("Cannot close socket %d: error = 9 [%s]\n", theSocket, kLabel)),
                    Error(kTraffic, kCloseHeard)));
  }
}

TEST_F(SocketBookkeeping, TheTrafficFileStaysOpenWithinAChain) {
  WantTraffic();
  const int theSocket = Stream().Release();
  _Log_Buffer_Open(theSocket);
  EXPECT_EQ(Outcome(0, 0), Call([&] { return zvSocketClose_Debug(theSocket, kLabel, 1); }));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
  EXPECT_TRUE(TakeOutOfTraffic(theSocket));
}

TEST_F(SocketBookkeeping, TheTableHearsNothingOfTheInvalidSocket) {
  // The table is asked under its lock.
  WantTable();
  const auto Locks = [&](zvSocket aSocket) {
    const int theLocks = CallsOf("pthread_mutex_lock");
    EXPECT_EQ(-1, zvSocketClose(aSocket, kLabel));
    return CallsOf("pthread_mutex_lock") - theLocks;
  };
  EXPECT_EQ(1, Locks(ClosedDescriptor()));
  EXPECT_EQ(0, Locks(kzvSocketInvalid));
}

}  // namespace
