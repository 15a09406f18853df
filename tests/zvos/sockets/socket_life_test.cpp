// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The life of a socket from its opening to its close: what is done, logged, and left as the last error.

#include <zvOS/zvSocket.h>

#include "socket_support.h"

#include <fcntl.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using namespace zvtest;
using namespace zvtest::net;

namespace {

//
// Opening
//

struct ProtocolCase {
  int mType;
  int mProtocol;
  int mExpected;
};

constexpr ProtocolCase kProtocols[] = {
    {SOCK_STREAM, 0, 6},
    {SOCK_DGRAM, 0, 17},
    {SOCK_RAW, 0, 17},
    {SOCK_SEQPACKET, 0, 17},
    {SOCK_STREAM, 132, 132},
    {SOCK_STREAM, 6, 6},
    {SOCK_DGRAM, 1, 1},
    {SOCK_DGRAM, 6, 6},
    {SOCK_RAW, 2, 2},
    {SOCK_RAW, 255, 255},
    {SOCK_STREAM | SOCK_NONBLOCK, 0, 17},
};

TEST_F(SocketPrimitives, OpenChoosesTheProtocolWhenNoneIsGiven) {
  for (const ProtocolCase &theCase : kProtocols) {
    SCOPED_TRACE(Format("type %d, protocol %d", theCase.mType, theCase.mProtocol));
    for (const bool afDebug : {false, true}) {
      Arguments theArguments;
      Fault theFault("socket", EPERM);
      theFault.Doing(CopyInto(&theArguments, 3));
      const auto Open = [&] {
        return afDebug ? zvSocketOpen(AF_INET, theCase.mType, theCase.mProtocol, kLabel)
                       : zvSocketOpen_NoDebug(AF_INET, theCase.mType, theCase.mProtocol);
      };
      EXPECT_EQ(Outcome(kzvSocketInvalid, EPERM), Call(Open));
      EXPECT_THAT(theArguments, ElementsAre(AF_INET, theCase.mType | SOCK_CLOEXEC, theCase.mExpected));
    }
  }
}

TEST_F(SocketPrimitives, OpenAssertsTheTypeAndTriesAnyOther) {
  for (const bool afDebug : {false, true}) {
    mLog.Clear();
    Fault theFault("socket", 0);
    theFault.Returning(77);
    const zvSocket theSocket = afDebug ? zvSocketOpen(AF_UNIX, SOCK_SEQPACKET, 0, kLabel)
                                       : zvSocketOpen_NoDebug(AF_UNIX, SOCK_SEQPACKET, 0);
    EXPECT_EQ(77, theSocket);
    EXPECT_THAT(mLog.Assertions(),
                ElementsAre(zvtest::Asserted("(aType == SOCK_STREAM) || (aType == SOCK_DGRAM) || "
                                             "(aType == SOCK_RAW)")));
  }
}

TEST_F(SocketPrimitives, OpenOfAnOrderlyTypeAssertsNothing) {
  for (const int theType : {SOCK_STREAM, SOCK_DGRAM, SOCK_RAW}) {
    Fault theFault("socket", EPERM);
    EXPECT_EQ(kzvSocketInvalid, zvSocketOpen(AF_INET, theType, 0, kLabel));
  }
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
}

TEST_F(SocketPrimitives, OpenMakesASocketLogsItAndClearsTheLastError) {
  for (const int theType : {SOCK_STREAM, SOCK_DGRAM}) {
    mLog.Clear();
    zvSocket theSocket = kzvSocketInvalid;
    const Outcome theOutcome = Call([&] { return theSocket = zvSocketOpen(AF_INET, theType, 0, kLabel); });
    const Socket theOwner(theSocket);
    ASSERT_GE(theSocket, 0);
    EXPECT_EQ(Outcome(theSocket, 0), theOutcome);
    EXPECT_EQ(theType, IntOption(theSocket, SOL_SOCKET, SO_TYPE));
    EXPECT_EQ(theType == SOCK_STREAM ? 6 : 17, IntOption(theSocket, SOL_SOCKET, SO_PROTOCOL));
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(Debug(kTCP, Format("Created socket %d [%s]\n", theSocket, kLabel))));
  }
}

TEST_F(SocketPrimitives, OpenWithoutDebugLogsNoSuccess) {
  zvSocket theSocket = kzvSocketInvalid;
  const Outcome theOutcome =
      Call([&] { return theSocket = zvSocketOpen_Debug(AF_INET, SOCK_STREAM, 0, kLabel, 1); });
  const Socket theOwner(theSocket);
  ASSERT_GE(theSocket, 0);
  EXPECT_EQ(Outcome(theSocket, 0), theOutcome);
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SocketPrimitives, AFailingOpenIsLoggedAlsoWithoutDebug) {
  constexpr int kNoFamily = AF_MAX + 1;
  for (const int afNoDebug : {0, 1}) {
    mLog.Clear();
    EXPECT_EQ(Outcome(kzvSocketInvalid, EAFNOSUPPORT),
              Call([&] { return zvSocketOpen_Debug(kNoFamily, SOCK_STREAM, 0, kLabel, afNoDebug); }));
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(Error(kTCP, Format("Cannot create socket: error = 97 [%s]\n", kLabel))));
  }
}

//
// Binding and listening
//

TEST_F(SocketPrimitives, BindLogsTheAddressInARecordOfItsOwn) {
  const Socket theSocket = Stream();
  sockaddr_in theAddress = Loopback();
  EXPECT_EQ(Outcome(0, 0),
            Call([&] { return zvSocketBind(theSocket, Generic(&theAddress), kAddressLength, kLabel); }));
  EXPECT_NE(0, PortOf(theSocket));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Debug(kTCP, Format("Socket %d bound to ", int(theSocket))),
                          Debug(kTCP, "127.0.0.1:0"), Debug(kTCP, Format(" [%s]\n", kLabel))));
}

TEST_F(SocketPrimitives, BindToAPortInUseFails) {
  const Socket theOther = Listener();
  const Socket theSocket = Stream();
  sockaddr_in theAddress = Loopback(PortOf(theOther));
  EXPECT_EQ(Outcome(-1, EADDRINUSE),
            Call([&] { return zvSocketBind(theSocket, Generic(&theAddress), kAddressLength, kLabel); }));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(kTCP, Format("Cannot bind socket %d: error = 98 [%s]\n", int(theSocket), kLabel))));
}

TEST_F(SocketPrimitives, OnlyANegativeResultOfBindIsAFailure) {
  sockaddr_in theAddress = Loopback(80);
  Fault theFault("bind", ENOBUFS);
  theFault.Returning(1);
  EXPECT_EQ(Outcome(1, 0), Call([&] { return zvSocketBind(77, Generic(&theAddress), 16, kLabel); }));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Debug(kTCP, "Socket 77 bound to "), Debug(kTCP, "127.0.0.1:80"),
                                           Debug(kTCP, Format(" [%s]\n", kLabel))));
}

TEST_F(SocketPrimitives, ListenLetsOthersConnect) {
  const Socket theSocket = Bound(Stream());
  EXPECT_EQ(Outcome(0, 0), Call([&] { return zvSocketListen(theSocket, 3, kLabel); }));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Debug(kTCP, Format("Listening on socket %d, backlog = 3 [%s]\n", int(theSocket), kLabel))));
  const Socket theClient = Stream();
  ConnectTo(theClient, PortOf(theSocket));
}

TEST_F(SocketPrimitives, ListenOnADatagramSocketFails) {
  const Socket theSocket = Datagram();
  EXPECT_EQ(Outcome(-1, EOPNOTSUPP), Call([&] { return zvSocketListen(theSocket, 3, kLabel); }));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(kTCP, Format("Error listening on socket %d: backlog = 3, error = 95 [%s]\n",
                                             int(theSocket), kLabel))));
}

//
// Accepting
//

TEST_F(SocketPrimitives, AcceptLogsBothSocketsAndThePeer) {
  const Socket theListener = Listener();
  const Socket theClient = Bound(Stream());
  ConnectTo(theClient, PortOf(theListener));
  sockaddr_in thePeer = {};
  socklen_t theLength = kAddressLength;
  zvSocket theSocket = kzvSocketInvalid;
  const Outcome theOutcome =
      Call([&] { return theSocket = zvSocketAccept(theListener, Generic(&thePeer), &theLength, kLabel); });
  const Socket theOwner(theSocket);
  ASSERT_GE(theSocket, 0);
  EXPECT_EQ(Outcome(theSocket, 0), theOutcome);
  EXPECT_EQ(kAddressLength, theLength);
  EXPECT_EQ(PortOf(theClient), ntohs(thePeer.sin_port));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Debug(kTCP, Format("Accepted from socket %d, new socket = %d [%s]\n",
                                             int(theListener), theSocket, kLabel)),
                          Debug(kTCP, "    remote IP address = '"),
                          Debug(kTCP, Format("127.0.0.1:%d", PortOf(theClient))), Debug(kTCP, "'\n")));
}

TEST_F(SocketPrimitives, AcceptWithoutRoomForThePeerLogsNoAddress) {
  const Socket theListener = Listener();
  const Socket theClient = Stream();
  ConnectTo(theClient, PortOf(theListener));
  const Socket theSocket(zvSocketAccept(theListener, nullptr, nullptr, kLabel));
  ASSERT_GE(theSocket, 0);
  ASSERT_THAT(mLog.Messages(), SizeIs(4));
  EXPECT_THAT(mLog.Messages()[2], Debug(kTCP, "NULL:NULL"));
}

TEST_F(SocketPrimitives, AcceptWithNothingToAcceptIsSilent) {
  const Socket theListener = Listener(SOCK_NONBLOCK);
  EXPECT_EQ(Outcome(kzvSocketInvalid, EAGAIN),
            Call([&] { return zvSocketAccept(theListener, nullptr, nullptr, kLabel); }));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SocketPrimitives, AcceptFromASocketThatDoesNotListenFails) {
  const Socket theSocket = Stream();
  EXPECT_EQ(Outcome(kzvSocketInvalid, EINVAL),
            Call([&] { return zvSocketAccept(theSocket, nullptr, nullptr, kLabel); }));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(
                  kTCP, Format("Cannot accept from socket %d: error = 22 [%s]\n", int(theSocket), kLabel))));
}

//
// Ending
//

TEST_F(SocketPrimitives, ShutdownEndsBothDirectionsSilently) {
  Connection theConnection;
  EXPECT_EQ(Outcome(0, 0), Call([&] { return zvSocketShutdown(theConnection.mNear, kLabel); }));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
  char theByte;
  EXPECT_EQ(0, recv(theConnection.mFar, &theByte, 1, 0));
  EXPECT_EQ(0, recv(theConnection.mNear, &theByte, 1, 0));
  EXPECT_EQ(-1, send(theConnection.mNear, "x", 1, MSG_NOSIGNAL));
}

TEST_F(SocketPrimitives, ShutdownWithoutAConnectionFails) {
  const Socket theSocket = Stream();
  EXPECT_EQ(Outcome(-1, ENOTCONN), Call([&] { return zvSocketShutdown(theSocket, kLabel); }));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(kTCP, Format("Cannot shutdown socket %d: error = 107 [%s]\n",
                                                              int(theSocket), kLabel))));
}

TEST_F(SocketPrimitives, CloseReleasesTheDescriptor) {
  const int theSocket = Stream().Release();
  EXPECT_EQ(Outcome(0, 0), Call([&] { return zvSocketClose(theSocket, kLabel); }));
  EXPECT_EQ(Outcome(-1, EBADF), Call([&] { return fcntl(theSocket, F_GETFD); }));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Debug(kTCP, Format("Closed socket %d [%s]\n", theSocket, kLabel))));
}

TEST_F(SocketPrimitives, CloseWithinAChainLogsOnlyItsFailure) {
  const int theSocket = Stream().Release();
  EXPECT_EQ(Outcome(0, 0), Call([&] { return zvSocketClose_Debug(theSocket, kLabel, 1); }));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
  EXPECT_EQ(Outcome(-1, EBADF), Call([&] { return zvSocketClose_Debug(theSocket, kLabel, 1); }));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(kTCP, Format("Cannot close socket %d: error = 9 [%s]\n", theSocket, kLabel))));
}

}  // namespace
