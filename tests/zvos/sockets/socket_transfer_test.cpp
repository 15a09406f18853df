// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Connecting, sending and receiving: what counts as success, and what is left in the last error.

#include <zvOS/zvSocket.h>

#include "socket_support.h"

#include <poll.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace zvtest;
using namespace zvtest::net;

class SocketTransfer : public testing::Test {
 protected:
  SocketTransfer() { mLog.SpoilErrno(kSpoilt); }

  // A connect to the address, with all that it logs before the call checked and forgotten.
  Outcome Connect(int aSocket, sockaddr_in anAddress, int anErrorBefore = kStale) {
    mLog.Clear();
    return Call([&] { return zvSocketConnect(aSocket, Generic(&anAddress), kAddressLength, kLabel); },
                anErrorBefore);
  }

  // The messages of a connect to that port: the attempt, then the given end.
  template <typename... Ends>
  static auto Attempt(int aPort, Ends... someEnds) {
    return ElementsAre(Debug(kTCP, "Trying to connect to '"), Debug(kTCP, Format("127.0.0.1:%d", aPort)),
                       Debug(kTCP, Format("' [%s]\n", kLabel)), someEnds...);
  }

  RecordingLog mLog;
};

//
// Connecting
//

TEST_F(SocketTransfer, AConnectIsLoggedAndClearsTheLastError) {
  const Socket theListener = Listener();
  const Socket theSocket = Stream();
  const int thePort = PortOf(theListener);
  EXPECT_EQ(Outcome(0, 0), Connect(theSocket, Loopback(thePort)));
  EXPECT_THAT(mLog.Messages(), Attempt(thePort, Debug(kTCP, "   Connected\n")));
  EXPECT_GE(Socket(accept(theListener, nullptr, nullptr)), 0);
}

TEST_F(SocketTransfer, TheAttemptIsLoggedBeforeTheCall) {
  std::vector<Message> theMessages;
  Fault theFault("connect", ECONNREFUSED);
  theFault.Doing([&](const long long *) { theMessages = mLog.Messages(); });
  Connect(77, Loopback(9));
  EXPECT_THAT(theMessages, Attempt(9));
}

TEST_F(SocketTransfer, ARefusedConnectIsLogged) {
  const Socket theDeaf = Bound(Stream());
  const Socket theSocket = Stream();
  const int thePort = PortOf(theDeaf);
  EXPECT_EQ(Outcome(-1, ECONNREFUSED), Connect(theSocket, Loopback(thePort)));
  EXPECT_THAT(mLog.Messages(),
              Attempt(thePort, Error(kTCP, Format("   Cannot connect socket %d: error = 111 [%s]\n",
                                                  int(theSocket), kLabel))));
}

TEST_F(SocketTransfer, AConnectInProgressIsASuccess) {
  const Socket theListener = Listener();
  sockaddr_in theAddress = Loopback(PortOf(theListener));
  const Socket theProbe = Stream(SOCK_NONBLOCK);
  ASSERT_EQ(Outcome(-1, EINPROGRESS),
            Call([&] { return connect(theProbe, Generic(&theAddress), kAddressLength); }));

  const Socket theSocket = Stream(SOCK_NONBLOCK);
  EXPECT_EQ(Outcome(0, 0), Connect(theSocket, theAddress));
  EXPECT_THAT(mLog.Messages(), Attempt(PortOf(theListener), Debug(kTCP, "   Connected\n")));

  const Socket theOther = Stream(SOCK_NONBLOCK);
  EXPECT_EQ(Outcome(0, EINPROGRESS),
            Call([&] { return zvSocketConnect_NoDebug(theOther, Generic(&theAddress), kAddressLength); }));
}

// Only would-block is not told from one of the call's own, and stays the last error.
TEST_F(SocketTransfer, AnErrorFromBeforeTheConnectDoesNotMakeItFail) {
  const Socket theListener = Listener();
  sockaddr_in theAddress = Loopback(PortOf(theListener));
  for (const int theStaleError : {EAGAIN, EINPROGRESS, ECONNREFUSED}) {
    SCOPED_TRACE(theStaleError);
    const Socket theSocket = Stream();
    mLog.SpoilErrno(theStaleError);
    EXPECT_EQ(Outcome(0, theStaleError == EAGAIN ? EAGAIN : 0),
              Connect(theSocket, theAddress, theStaleError));
    EXPECT_THAT(mLog.Messages(), Attempt(PortOf(theListener), Debug(kTCP, "   Connected\n")));

    const Socket theOther = Stream();
    EXPECT_EQ(0, Call([&] { return zvSocketConnect_NoDebug(theOther, Generic(&theAddress), kAddressLength); },
                      theStaleError)
                     .mResult);
  }
}

TEST_F(SocketTransfer, AnErrorOfTheLogDoesNotTurnAFailedConnectIntoAnother) {
  const Socket theDeaf = Bound(Stream());
  for (const int theLogError : {EAGAIN, EINPROGRESS}) {
    const Socket theSocket = Stream();
    mLog.SpoilErrno(theLogError);
    EXPECT_EQ(Outcome(-1, ECONNREFUSED), Connect(theSocket, Loopback(PortOf(theDeaf))));
    EXPECT_THAT(mLog.Messages(),
                Attempt(PortOf(theDeaf), Error(kTCP, Format("   Cannot connect socket %d: error = 111 [%s]\n",
                                                            int(theSocket), kLabel))));
  }
}

TEST_F(SocketTransfer, AConnectThatWouldBlockFailsSilently) {
  Fault theFault("connect", EAGAIN, 0, 2);
  EXPECT_EQ(Outcome(-1, EAGAIN), Connect(77, Loopback(9)));
  EXPECT_THAT(mLog.Messages(), Attempt(9));
  sockaddr_in theAddress = Loopback(9);
  EXPECT_EQ(Outcome(-1, EAGAIN),
            Call([&] { return zvSocketConnect_NoDebug(77, Generic(&theAddress), kAddressLength); }));
  EXPECT_EQ(2, theFault.Hits());
}

TEST_F(SocketTransfer, AnUnreachableConnectDoesNothing) {
  const int theConnects = CallsOf("connect");
  EXPECT_EQ(Outcome(0, kStale),
            Call([] { return zvSocketConnectUnreachable(kzvSocketInvalid, nullptr, 0, kLabel); }));
  EXPECT_EQ(theConnects, CallsOf("connect"));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

//
// Sending
//

TEST_F(SocketTransfer, SendReturnsTheBytesTakenAndLeavesTheLastError) {
  Connection theConnection;
  EXPECT_EQ(Outcome(5, kStale),
            Call([&] { return zvSocketSend(theConnection.mNear, "hello", 5, 0, kLabel); }));
  char theBytes[8] = "";
  EXPECT_EQ(5, recv(theConnection.mFar, theBytes, sizeof(theBytes), 0));
  EXPECT_STREQ("hello", theBytes);
  EXPECT_THAT(mLog.Messages(), ElementsAre(Debug(kTCPRW, Format("Sent 5 bytes on socket %d [%s]\n",
                                                                int(theConnection.mNear), kLabel))));
}

TEST_F(SocketTransfer, SendOfNothingIsASuccess) {
  Connection theConnection;
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketSend(theConnection.mNear, "", 0, 0, kLabel); }));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Debug(kTCPRW, Format("Sent 0 bytes on socket %d [%s]\n",
                                                                int(theConnection.mNear), kLabel))));
}

TEST_F(SocketTransfer, SendToAPeerThatHasGoneGivesAnErrorAndNoSignal) {
  const SignalCount theSignals(SIGPIPE);
  Connection theConnection;
  theConnection.mFar.Close();
  // The first bytes make the peer say that nobody listens.
  ASSERT_EQ(1, send(theConnection.mNear, "x", 1, MSG_NOSIGNAL));
  pollfd theEvent = {theConnection.mNear, 0, 0};
  ASSERT_EQ(1, poll(&theEvent, 1, 30 * 1000));

  EXPECT_EQ(Outcome(-1, EPIPE), Call([&] { return zvSocketSend(theConnection.mNear, "x", 1, 0, kLabel); }));
  EXPECT_EQ(Outcome(-1, EPIPE), Call([&] { return zvSocketSend_NoDebug(theConnection.mNear, "x", 1, 0); }));
  EXPECT_EQ(0, theSignals.Count());
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Debug(kTCPRW, Format("Sent -1 bytes on socket %d [%s], Error = 32\n",
                                               int(theConnection.mNear), kLabel))));
}

//
// Receiving
//

TEST_F(SocketTransfer, ReceiveReturnsTheBytesThatCame) {
  Connection theConnection;
  ASSERT_EQ(5, send(theConnection.mFar, "hello", 5, 0));
  char theBytes[8] = "";
  EXPECT_EQ(Outcome(5, kStale),
            Call([&] { return zvSocketRecv(theConnection.mNear, theBytes, sizeof(theBytes), 0, kLabel); }));
  EXPECT_STREQ("hello", theBytes);
  EXPECT_THAT(mLog.Messages(), ElementsAre(Debug(kTCPRW, Format("Received 5 bytes on socket %d [%s]\n",
                                                                int(theConnection.mNear), kLabel))));
}

TEST_F(SocketTransfer, ReceiveAtTheEndIsASuccess) {
  Connection theConnection;
  theConnection.mFar.Close();
  char theByte;
  EXPECT_EQ(Outcome(0, kStale),
            Call([&] { return zvSocketRecv(theConnection.mNear, &theByte, 1, 0, kLabel); }));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Debug(kTCPRW, Format("Received 0 bytes on socket %d [%s]\n",
                                                                int(theConnection.mNear), kLabel))));
}

TEST_F(SocketTransfer, ReceiveLeavesWhatTheSystemLeftAlsoOnSuccess) {
  Fault theFault("recv", EINTR);
  theFault.Returning(5);
  char theBytes[8];
  EXPECT_EQ(Outcome(5, EINTR), Call([&] { return zvSocketRecv(77, theBytes, 8, 0, kLabel); }));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Debug(kTCPRW, Format("Received 5 bytes on socket 77 [%s]\n", kLabel))));
}

TEST_F(SocketTransfer, ReceiveLogsAlsoThatItWouldBlock) {
  Connection theConnection;
  char theByte;
  EXPECT_EQ(Outcome(-1, EAGAIN),
            Call([&] { return zvSocketRecv(theConnection.mNear, &theByte, 1, MSG_DONTWAIT, kLabel); }));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Debug(kTCPRW, Format("Received -1 bytes on socket %d, error = 11 [%s]\n",
                                               int(theConnection.mNear), kLabel))));
}

TEST_F(SocketTransfer, AConnectionThatWasResetIsToldByTheLastError) {
  Connection theConnection;
  const linger theHardEnd = {1, 0};
  ASSERT_EQ(0, setsockopt(theConnection.mFar, SOL_SOCKET, SO_LINGER, &theHardEnd, sizeof(theHardEnd)));
  theConnection.mFar.Close();
  char theByte;
  EXPECT_EQ(-1, zvSocketRecv(theConnection.mNear, &theByte, 1, 0, kLabel));
  EXPECT_EQ(1, zvSocketLastErrorIsConnectionReset());
}

TEST_F(SocketTransfer, TheBytesThatCanBeReceivedAreCountedSilently) {
  Connection theConnection;
  ASSERT_EQ(5, send(theConnection.mFar, "hello", 5, 0));
  pollfd theEvent = {theConnection.mNear, POLLIN, 0};
  ASSERT_EQ(1, poll(&theEvent, 1, 30 * 1000));
  int theCount = -1;
  EXPECT_EQ(Outcome(0, kStale),
            Call([&] { return zvSocketRecvAvailable(theConnection.mNear, &theCount, kLabel); }));
  EXPECT_EQ(5, theCount);
  theCount = -1;
  EXPECT_EQ(Outcome(0, kStale),
            Call([&] { return zvSocketRecvAvailable_NoDebug(theConnection.mNear, &theCount); }));
  EXPECT_EQ(5, theCount);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

}  // namespace
