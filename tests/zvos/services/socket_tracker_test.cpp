// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The live table of sockets: what is entered, what the lines say, and what feeds it.

#include <zvOS/zvPipe.h>
#include <zvOS/zvSocket.h>
#include <zvOS/zvSocketTracker.h>

#include "zvos/sockets/socket_service_checks.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <climits>

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using namespace zvtest;
using zvtest::net::kTracker;
using zvtest::net::PortOf;
using zvtest::net::Socket;

constexpr int kPlaces = 50;
constexpr int kOut = 0;
constexpr int kIn = 1;
constexpr const char *kDuplicate = "sInfo[i].ID != aSocketID";

// Numbers of sockets that are not open, so that there are no ports to find.
constexpr int kFirst = 20001;
constexpr int kSecond = 20002;
constexpr int kThird = 20003;

auto Heading(int aCount) {
  return Debug(kTracker, Format("SOCKETS STATUS: %d in use\n", aCount));
}

// What a line says besides marker, socket and label.
struct Line {
  const char *mDirection = "OUT";
  unsigned mSent = 0;
  unsigned mReceived = 0;
  int mPort = 0;
  int mRemotePort = 0;
  const char *mState = "Created   ";
};

auto Row(char aMarker, int aSocket, const Line &aLine = {}, const char *aLabel = "label") {
  return Debug(kTracker, Format("  %c ID=%5d  %s  S=%08u  R=%08u  P=%5d RP=%5d %s (%s) \n", aMarker, aSocket,
                                aLine.mDirection, aLine.mSent, aLine.mReceived, aLine.mPort,
                                aLine.mRemotePort, aLine.mState, aLabel));
}

Line InState(const char *aState) {
  Line theLine;
  theLine.mState = aState;
  return theLine;
}

class SocketTracker : public ::testing::Test {
 protected:
  // What earlier tests of the process have left is taken out.
  SocketTracker() {
    zvSocketTracker_Dump();
    for (const Message &theMessage : mLog.Messages()) {
      int theSocket;
      if (sscanf(theMessage.mText.c_str(), "    ID=%d", &theSocket) == 1) zvSocketTracker_Remove(theSocket);
    }
    mLog.Clear();
  }
  ~SocketTracker() override {
    for (const int theSocket : mAdded)
      zvSocketTracker_Remove(theSocket);
  }

  void Add(int aSocket, int afIn = kOut, const char *aLabel = "label") {
    zvSocketTracker_Add(aSocket, afIn, aLabel);
    mAdded.push_back(aSocket);
  }

  // The table, without a mark.
  std::vector<Message> Dump() {
    mLog.Clear();
    zvSocketTracker_Dump();
    return mLog.Messages();
  }

  // The messages since the last look.
  std::vector<Message> News() {
    const std::vector<Message> theMessages = MessagesOf(mLog, kTracker);
    mLog.Clear();
    return theMessages;
  }

  void AdmitTracker() { mLog.AnswerWillLog(kDebugLevel, kTracker, 1); }

  zvtest::RecordingLog mLog;
  std::vector<int> mAdded;
};

// ---- The table ----

TEST_F(SocketTracker, AnEmptyTableIsAHeading) {
  EXPECT_THAT(Dump(), ElementsAre(Heading(0)));
}

TEST_F(SocketTracker, AnAddedSocketIsCreatedAndMarked) {
  Add(kFirst, kOut, "Player control");
  EXPECT_THAT(mLog.Messages(), ElementsAre(Heading(1), Row('*', kFirst, {}, "Player control")));
}

TEST_F(SocketTracker, TheLinesAreOfFixedWidth) {
  Add(7, kIn, "x");
  ASSERT_EQ(2u, mLog.Messages().size());
  EXPECT_EQ("  * ID=    7   IN  S=00000000  R=00000000  P=    0 RP=    0 Created    (x) \n",
            mLog.Messages()[1].mText);
  EXPECT_EQ("SOCKETS STATUS: 1 in use\n", mLog.Messages()[0].mText);
}

TEST_F(SocketTracker, AnyNonZeroDirectionIsIn) {
  Line theLine;
  theLine.mDirection = " IN";
  Add(kFirst, kIn);
  Add(kSecond, -5);
  EXPECT_THAT(Dump(), ElementsAre(Heading(2), Row(' ', kFirst, theLine), Row(' ', kSecond, theLine)));
}

TEST_F(SocketTracker, TheMarkIsOnTheLineOfTheSocketThatChanged) {
  Add(kFirst);
  Add(kSecond);
  Add(kThird);
  mLog.Clear();
  zvSocketTracker_Listen(kSecond);
  EXPECT_THAT(mLog.Messages(), ElementsAre(Heading(3), Row(' ', kFirst),
                                           Row('*', kSecond, InState("Listening ")), Row(' ', kThird)));
  EXPECT_THAT(Dump(), ElementsAre(Heading(3), Row(' ', kFirst), Row(' ', kSecond, InState("Listening ")),
                                  Row(' ', kThird)));
}

TEST_F(SocketTracker, StatesFollowTheCallsInAnyOrder) {
  Add(kFirst);
  mLog.Clear();
  for (int i = 0; i < 2; ++i) {
    zvSocketTracker_Connect(kFirst);
    EXPECT_THAT(News(), ElementsAre(Heading(1), Row('*', kFirst, InState("Connected "))));
    zvSocketTracker_Listen(kFirst);
    EXPECT_THAT(News(), ElementsAre(Heading(1), Row('*', kFirst, InState("Listening "))));
  }
}

TEST_F(SocketTracker, ARemovedSocketIsShownClosedAndStillCounted) {
  Add(kFirst);
  Add(kSecond);
  mLog.Clear();
  zvSocketTracker_Remove(kFirst);
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Heading(2), Row('*', kFirst, InState("Closed    ")), Row(' ', kSecond)));
  EXPECT_THAT(Dump(), ElementsAre(Heading(1), Row(' ', kSecond)));
}

TEST_F(SocketTracker, AReusedPlaceKeepsNothingOfItsFormerSocket) {
  const zvtest::net::Connection theConnection;
  Add(theConnection.mNear, kIn, "former");
  zvSocketTracker_Connect(theConnection.mNear);
  zvSocketTracker_Send(theConnection.mNear, 10);
  zvSocketTracker_Recv(theConnection.mNear, 20);
  zvSocketTracker_Remove(theConnection.mNear);
  mLog.Clear();
  Add(kFirst);
  EXPECT_THAT(mLog.Messages(), ElementsAre(Heading(1), Row('*', kFirst)));
}

TEST_F(SocketTracker, TheLabelIsKeptAsAPointer) {
  static char theLabel[] = "before";
  Add(kFirst, kOut, theLabel);
  memcpy(theLabel, "after!", sizeof(theLabel));
  EXPECT_THAT(Dump(), ElementsAre(Heading(1), Row(' ', kFirst, {}, "after!")));
}

TEST_F(SocketTracker, UnknownSocketsAreIgnored) {
  Add(kFirst);
  mLog.Clear();
  zvSocketTracker_Connect(kSecond);
  zvSocketTracker_Listen(kSecond);
  zvSocketTracker_Send(kSecond, 1);
  zvSocketTracker_Recv(kSecond, 1);
  zvSocketTracker_Remove(kSecond);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
  EXPECT_THAT(Dump(), ElementsAre(Heading(1), Row(' ', kFirst)));
}

// ---- Its limits ----

TEST_F(SocketTracker, ASocketBeyondFiftyIsNotEnteredAndNotLogged) {
  for (int i = 0; i < kPlaces; ++i)
    Add(kFirst + i);
  mLog.Clear();
  Add(kFirst + kPlaces);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
  const std::vector<Message> theTable = Dump();
  ASSERT_EQ(1u + kPlaces, theTable.size());
  EXPECT_THAT(theTable[0], Heading(kPlaces));
  EXPECT_THAT(theTable[kPlaces], Row(' ', kFirst + kPlaces - 1));
}

TEST_F(SocketTracker, TheLowestFreePlaceIsTaken) {
  for (int i = 0; i < kPlaces; ++i)
    Add(kFirst + i);
  zvSocketTracker_Remove(kFirst + 30);
  zvSocketTracker_Remove(kFirst + 10);
  Add(kFirst + kPlaces);
  const std::vector<Message> theTable = Dump();
  ASSERT_EQ(1u + kPlaces - 1, theTable.size());
  EXPECT_THAT(theTable[1 + 10], Row(' ', kFirst + kPlaces));
  EXPECT_THAT(theTable[1 + 30], Row(' ', kFirst + 31));
}

TEST_F(SocketTracker, DescriptorZeroAssertsForEveryFreePlaceAndCannotBeTracked) {
  Add(kFirst);
  mLog.Clear();
  zvSocketTracker_Add(0, kOut, "zero");
  EXPECT_THAT(mLog.Assertions(), ElementsAreArray(std::vector<::testing::Matcher<const zvtest::Assertion &>>(
                                     kPlaces - 1, Asserted(kDuplicate))));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Heading(1), Row(' ', kFirst)));

  // Its place is as free as before.
  mLog.Clear();
  Add(kSecond);
  EXPECT_THAT(mLog.Messages(), ElementsAre(Heading(2), Row(' ', kFirst), Row('*', kSecond)));
}

TEST_F(SocketTracker, ASocketThatIsTrackedAlreadyAssertsAndIsEnteredAgain) {
  Add(kFirst, kOut, "once");
  Add(kFirst, kOut, "twice");
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted(kDuplicate)));
  mLog.Clear();
  Add(kFirst, kOut, "again");
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted(kDuplicate), Asserted(kDuplicate)));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Heading(3), Row('*', kFirst, {}, "once"),
                                           Row('*', kFirst, {}, "twice"), Row('*', kFirst, {}, "again")));
}

TEST_F(SocketTracker, ASocketThatIsSentAwayStaysUntilItIsTakenOut) {
  int thePipes[2] = {-1, -1};
  ASSERT_EQ(0, zvPipe_Pair(thePipes, ZVPIPE_DEFAULT));
  const Socket theSender(thePipes[0]);
  const Socket theReceiver(thePipes[1]);
  const int theSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  Add(theSocket);
  EXPECT_EQ(0, zvPipe_SendFD(theSender, theSocket));
  EXPECT_EQ(-1, fcntl(theSocket, F_GETFD));
  EXPECT_THAT(Dump(), ElementsAre(Heading(1), Row(' ', theSocket)));
}

TEST_F(SocketTracker, OfEqualSocketsAllCountAndTheFirstChanges) {
  Add(kFirst, kOut, "once");
  Add(kFirst, kOut, "twice");
  zvSocketTracker_Send(kFirst, 3);
  zvSocketTracker_Recv(kFirst, 4);
  mLog.Clear();
  Line theLine;
  theLine.mSent = 3;
  theLine.mReceived = 4;
  Line theClosed = theLine;
  theClosed.mState = "Closed    ";
  zvSocketTracker_Remove(kFirst);
  EXPECT_THAT(mLog.Messages(), ElementsAre(Heading(2), Row('*', kFirst, theClosed, "once"),
                                           Row('*', kFirst, theLine, "twice")));
  EXPECT_THAT(Dump(), ElementsAre(Heading(1), Row(' ', kFirst, theLine, "twice")));
}

// ---- Counters ----

TEST_F(SocketTracker, TransfersAreCountedWithoutATable) {
  Add(kFirst);
  mLog.Clear();
  zvSocketTracker_Send(kFirst, 100);
  zvSocketTracker_Send(kFirst, 23);
  zvSocketTracker_Recv(kFirst, 4096);
  zvSocketTracker_Recv(kFirst, 0);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
  Line theLine;
  theLine.mSent = 123;
  theLine.mReceived = 4096;
  EXPECT_THAT(Dump(), ElementsAre(Heading(1), Row(' ', kFirst, theLine)));
}

TEST_F(SocketTracker, CountersWrapAt32Bits) {
  Add(kFirst);
  zvSocketTracker_Send(kFirst, INT_MAX);
  zvSocketTracker_Send(kFirst, INT_MAX);
  zvSocketTracker_Send(kFirst, 1);
  zvSocketTracker_Recv(kFirst, -1);
  Line theLine;
  theLine.mSent = 4294967295u;
  theLine.mReceived = 4294967295u;
  EXPECT_THAT(Dump(), ElementsAre(Heading(1), Row(' ', kFirst, theLine)));

  zvSocketTracker_Send(kFirst, 1);
  zvSocketTracker_Recv(kFirst, 8);
  theLine.mSent = 0;
  theLine.mReceived = 7;
  EXPECT_THAT(Dump(), ElementsAre(Heading(1), Row(' ', kFirst, theLine)));
}

// ---- Ports ----

int RemotePortOf(int aSocket) {
  sockaddr_in theAddress = {};
  socklen_t theLength = sizeof(theAddress);
  EXPECT_EQ(0, getpeername(aSocket, zvtest::net::Generic(&theAddress), &theLength));
  return ntohs(theAddress.sin_port);
}

Line WithPortsOf(int aSocket, const char *aState) {
  Line theLine = InState(aState);
  theLine.mPort = PortOf(aSocket);
  theLine.mRemotePort = RemotePortOf(aSocket);
  return theLine;
}

struct Fetch {
  const char *mName;
  void (*mCall)(zvSocket);
  const char *mState;
};

const Fetch kFetches[] = {
    {"connect", zvSocketTracker_Connect, "Connected "},
    {"listen", zvSocketTracker_Listen, "Listening "},
    {"send", [](zvSocket aSocket) { zvSocketTracker_Send(aSocket, 0); }, "Created   "},
    {"receive", [](zvSocket aSocket) { zvSocketTracker_Recv(aSocket, 0); }, "Created   "},
};

TEST_F(SocketTracker, EveryCallForASocketLooksUpItsPortsAddExcepted) {
  const zvtest::net::Connection theConnection;
  const int theSocket = theConnection.mNear;
  for (const Fetch &theFetch : kFetches) {
    SCOPED_TRACE(theFetch.mName);
    Add(theSocket);
    EXPECT_THAT(Dump(), ElementsAre(Heading(1), Row(' ', theSocket)));
    theFetch.mCall(theSocket);
    EXPECT_THAT(Dump(),
                ElementsAre(Heading(1), Row(' ', theSocket, WithPortsOf(theSocket, theFetch.mState))));
    zvSocketTracker_Remove(theSocket);
  }
}

TEST_F(SocketTracker, KnownPortsAreNotLookedUpAgain) {
  const zvtest::net::Connection theConnection;
  Add(theConnection.mNear);
  zvSocketTracker_Connect(theConnection.mNear);
  const int theOwnQueries = CallsOf("getsockname");
  const int thePeerQueries = CallsOf("getpeername");
  for (const Fetch &theFetch : kFetches)
    theFetch.mCall(theConnection.mNear);
  EXPECT_EQ(theOwnQueries, CallsOf("getsockname"));
  EXPECT_EQ(thePeerQueries, CallsOf("getpeername"));
}

TEST_F(SocketTracker, AnUnconnectedSocketIsAskedForItsPeerAgainAtEveryTransfer) {
  const Socket theSocket = zvtest::net::Bound(zvtest::net::Datagram());
  Add(theSocket);
  const int theOwnQueries = CallsOf("getsockname");
  const int thePeerQueries = CallsOf("getpeername");
  for (int i = 0; i < 3; ++i) {
    zvSocketTracker_Send(theSocket, 1);
    zvSocketTracker_Recv(theSocket, 2);
  }
  EXPECT_EQ(theOwnQueries + 1, CallsOf("getsockname"));
  EXPECT_EQ(thePeerQueries + 6, CallsOf("getpeername"));
  Line theLine;
  theLine.mSent = 3;
  theLine.mReceived = 6;
  theLine.mPort = PortOf(theSocket);
  EXPECT_THAT(Dump(), ElementsAre(Heading(1), Row(' ', theSocket, theLine)));
}

TEST_F(SocketTracker, QueriesAskForAnIPv4AddressOfSixteenBytes) {
  const zvtest::net::Connection theConnection;
  Add(theConnection.mNear);
  const auto theCheck = [&](const long long *anArguments) {
    EXPECT_EQ(theConnection.mNear, anArguments[0]);
    EXPECT_EQ(16u, *ArgumentAs<socklen_t>(anArguments[2]));
  };
  Fault theOwn("getsockname", ENOBUFS);
  theOwn.Doing(theCheck);
  Fault thePeer("getpeername", ENOBUFS);
  thePeer.Doing(theCheck);
  zvSocketTracker_Send(theConnection.mNear, 0);
  EXPECT_EQ(1, theOwn.Hits());
  EXPECT_EQ(1, thePeer.Hits());
}

TEST_F(SocketTracker, AFailedQueryIsSilentAndRepeated) {
  const zvtest::net::Connection theConnection;
  const int theSocket = theConnection.mNear;
  Add(theSocket);
  mLog.Clear();
  {
    Fault theOwn("getsockname", ENOBUFS);
    Fault thePeer("getpeername", ENOBUFS);
    zvSocketTracker_Connect(theSocket);
    EXPECT_THAT(mLog.Messages(), ElementsAre(Heading(1), Row('*', theSocket, InState("Connected "))));
  }
  zvSocketTracker_Send(theSocket, 0);
  EXPECT_THAT(Dump(), ElementsAre(Heading(1), Row(' ', theSocket, WithPortsOf(theSocket, "Connected "))));
}

// ---- What feeds it ----

TEST_F(SocketTracker, AConnectionMadeWithLoggedCallsIsShownFromBothEnds) {
  AdmitTracker();
  const zvSocket theListener = zvSocket_GetTCPSocket(INADDR_LOOPBACK, nullptr);
  ASSERT_EQ(0, zvSocketListen(theListener, 1, "listen"));
  const zvSocket theClient = zvSocketOpen(AF_INET, SOCK_STREAM, 0, "client");
  sockaddr_in theAddress = zvtest::OwnAddressOf(theListener);
  ASSERT_EQ(0, zvSocketConnect(theClient, zvtest::net::Generic(&theAddress), sizeof(theAddress), "connect"));
  const zvSocket theServer = zvSocketAccept(theListener, nullptr, nullptr, "server");
  EXPECT_EQ(5, zvSocketSend(theClient, "hello", 5, 0, "send"));
  char theBuffer[64];
  EXPECT_EQ(5, zvSocketRecv(theServer, theBuffer, sizeof(theBuffer), 0, "receive"));
  EXPECT_EQ(0, zvSocketShutdown(theClient, "shutdown"));
  EXPECT_EQ(0, zvSocketRecv(theServer, theBuffer, sizeof(theBuffer), 0, "end of stream"));

  const int thePort = PortOf(theListener);
  const int theClientsPort = PortOf(theClient);
  // What was asked for is counted, also at the end of the stream.
  const std::vector<Message> theTable = Dump();
  EXPECT_THAT(
      theTable,
      ElementsAre(Heading(3),
                  Row(' ', theListener, {"OUT", 0, 0, thePort, 0, "Listening "}, "zvSocket_GetTCPSocket 1"),
                  Row(' ', theClient, {"OUT", 5, 0, theClientsPort, thePort, "Connected "}, "client"),
                  Row(' ', theServer, {" IN", 0, 128, thePort, theClientsPort, "Connected "}, "server")));
  for (const zvSocket theSocket : {theServer, theClient, theListener})
    EXPECT_EQ(0, zvSocketClose(theSocket, "close"));
  EXPECT_THAT(Dump(), ElementsAre(Heading(0)));
}

TEST_F(SocketTracker, ASocketOpenedWhileTheTableIsNotWantedIsNeverEntered) {
  const zvSocket theSocket = zvSocketOpen(AF_INET, SOCK_STREAM, 0, "open");
  AdmitTracker();
  zvSocketListen(theSocket, 1, "listen");
  zvSocketClose(theSocket, "close");
  EXPECT_THAT(News(), IsEmpty());
}

TEST_F(SocketTracker, TheMacrosCallNothingUnlessTheTableIsWanted) {
  SOCKETTRACKER_ADD(kFirst, kOut, "label");
  SOCKETTRACKER_DUMP();
  EXPECT_THAT(mLog.Calls(), ElementsAre("WillLog 4 53", "WillLog 4 53"));
  mLog.SetLevel(kDebugLevel);
  mLog.Clear();
  SOCKETTRACKER_ADD(kFirst, kOut, "label");
  EXPECT_THAT(mLog.Calls(), IsEmpty());
  mLog.SetLevel(kDebugLevel + 1);
  EXPECT_THAT(Dump(), ElementsAre(Heading(0)));
}

TEST_F(SocketTracker, TheMacrosStandForTheFunctions) {
  AdmitTracker();
  SOCKETTRACKER_ADD(kFirst, kIn, "label");
  SOCKETTRACKER_SEND(kFirst, 5);
  SOCKETTRACKER_RECV(kFirst, 6);
  SOCKETTRACKER_CONNECT(kFirst);
  Line theLine = {" IN", 5, 6, 0, 0, "Connected "};
  mLog.Clear();
  SOCKETTRACKER_DUMP();
  EXPECT_THAT(mLog.Messages(), ElementsAre(Heading(1), Row(' ', kFirst, theLine)));
  mLog.Clear();
  SOCKETTRACKER_LISTEN(kFirst);
  theLine.mState = "Listening ";
  EXPECT_THAT(mLog.Messages(), ElementsAre(Heading(1), Row('*', kFirst, theLine)));
  mLog.Clear();
  SOCKETTRACKER_REMOVE(kFirst);
  theLine.mState = "Closed    ";
  EXPECT_THAT(mLog.Messages(), ElementsAre(Heading(1), Row('*', kFirst, theLine)));
}

}  // namespace
