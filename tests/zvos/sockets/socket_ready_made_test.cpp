// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Sockets that come opened and bound: which port they get, what is tried how often, and the labels
// that tell the steps apart in a log.

#include "socket_ready_made_checks.h"

namespace {

using namespace zvtest::readymade;

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using namespace zvtest;

TEST(ReadyMadeRange, RandomPortsAreFrom50000To65000) {
  EXPECT_EQ(50000, kzvSocket_IANA_MinPortNumber);
  EXPECT_EQ(65000, kzvSocket_IANA_MaxPortNumber);
}

// ---- UDP ----

TEST_F(ReadyMade, UDPWithoutAPortPointerIsBoundOnceToAPortOfTheSystem) {
  const int theDraws = Draws();
  const Socket theSocket(zvSocket_GetUDPSocket(kAnyAddress, nullptr));
  ASSERT_GE(theSocket, 0);
  EXPECT_EQ(SOCK_DGRAM, OptionOf(theSocket, SO_TYPE));
  EXPECT_EQ(IPPROTO_UDP, OptionOf(theSocket, SO_PROTOCOL));
  ExpectAddress(kAnyAddress, theSocket);
  EXPECT_NE(0, PortOf(theSocket));
  EXPECT_EQ(theDraws, Draws());
  EXPECT_THAT(mLog.Messages(),
              ElementsAreArray(Created(theSocket, kUDPOpen) + Bound(theSocket, "0.0.0.0:0", kUDPBind)));
}

TEST_F(ReadyMade, TheBoundAddressIsAZeroFilledIPv4Address) {
  const Socket theSocket(zvSocket_GetUDPSocket(kLoopback, nullptr));
  ASSERT_EQ(1u, mBinds.size());
  const sockaddr_in theExpected = zvtest::net::Loopback();
  EXPECT_EQ(16, mBinds[0].mLength);
  EXPECT_EQ(0, memcmp(&theExpected, &mBinds[0].mAddress, sizeof(theExpected)));
}

TEST_F(ReadyMade, UDPWithAPortPointerGetsARandomPortWhateverItPointedTo) {
  for (const uint16 theEntry : {uint16{8000}, uint16{0}}) {
    uint16 thePort = theEntry;
    const Socket theSocket(zvSocket_GetUDPSocket(kAnyAddress, &thePort));
    ASSERT_GE(theSocket, 0);
    EXPECT_GE(thePort, kFirstPort);
    EXPECT_LE(thePort, kLastPort);
    EXPECT_EQ(thePort, PortOf(theSocket));
  }
}

TEST_F(ReadyMade, UDPIsBoundToTheAddressGivenInHostOrder) {
  const Drawn theDrawn({FreePort(zvtest::net::Datagram())});
  uint16 thePort = 0;
  const Socket theSocket(zvSocket_GetUDPSocket(kLoopback, &thePort));
  ASSERT_GE(theSocket, 0);
  ExpectAddress(kLoopback, theSocket);
  EXPECT_EQ(thePort, PortOf(theSocket));
  EXPECT_THAT(mLog.Messages(), ElementsAreArray(Created(theSocket, kUDPOpen) +
                                                Bound(theSocket, Format("127.0.0.1:%u", thePort), kUDPBind)));
}

TEST_F(ReadyMade, UDPDoesNotShareItsAddress) {
  uint16 thePort = 0;
  const int theOptions = CallsOf("setsockopt");
  const Socket theSocket(zvSocket_GetUDPSocket(kAnyAddress, &thePort));
  EXPECT_EQ(0, OptionOf(theSocket, SO_REUSEADDR));
  EXPECT_EQ(theOptions, CallsOf("setsockopt"));
}

TEST_F(ReadyMade, UDPThatMeetsATakenPortDrawsAgain) {
  const Socket theHolder = Holder(zvtest::net::Datagram());
  const uint16 theFreePort = FreePort(zvtest::net::Datagram());
  const Drawn theDrawn({PortOf(theHolder), theFreePort});
  uint16 thePort = 0;
  const Socket theSocket(zvSocket_GetUDPSocket(kAnyAddress, &thePort));
  ASSERT_GE(theSocket, 0);
  EXPECT_EQ(theFreePort, thePort);
  EXPECT_EQ(theFreePort, PortOf(theSocket));
  EXPECT_THAT(theDrawn.Ranges(),
              ElementsAre(std::make_pair(kFirstPort, kLastPort), std::make_pair(kFirstPort, kLastPort)));
  EXPECT_THAT(mLog.Messages(),
              ElementsAreArray(Created(theSocket, kUDPOpen) + BindFailed(theSocket, EADDRINUSE, kUDPBind) +
                               Bound(theSocket, Format("0.0.0.0:%u", theFreePort), kUDPBind)));
}

TEST_F(ReadyMade, UDPWithAForeignAddressIsTriedFiftyTimes) {
  uint16 thePort = 8000;
  const std::set<int> theDescriptors = zvtest::OpenDescriptors();
  const int theDraws = Draws();
  EXPECT_EQ(kzvSocketInvalid, zvSocket_GetUDPSocket(kForeignAddress, &thePort));
  EXPECT_EQ(EADDRNOTAVAIL, zvSocketGetLastError());
  EXPECT_EQ(8000, thePort);
  EXPECT_EQ(theDraws + kMaxAttempts, Draws());
  const int theSocket = FailedSocket();
  EXPECT_THAT(mLog.Messages(),
              ElementsAreArray(Created(theSocket, kUDPOpen) +
                               Times(kMaxAttempts, BindFailed(theSocket, EADDRNOTAVAIL, kUDPBind)) +
                               Closed(theSocket, kUDPClose)));
  EXPECT_EQ(theDescriptors, zvtest::OpenDescriptors());
}

TEST_F(ReadyMade, UDPIsTriedFiftyTimesAlsoWithoutAPortPointer) {
  const int theDraws = Draws();
  const auto theFault = FailBinds(EADDRINUSE, -1);
  EXPECT_EQ(kzvSocketInvalid, zvSocket_GetUDPSocket(kAnyAddress, nullptr));
  EXPECT_EQ(EADDRINUSE, zvSocketGetLastError());
  EXPECT_EQ(kMaxAttempts, theFault->Hits());
  EXPECT_EQ(theDraws, Draws());
  for (const BindCall &theCall : mBinds)
    EXPECT_EQ(0, theCall.mAddress.sin_port);
}

TEST_F(ReadyMade, UDPMaySucceedAtTheLastAttempt) {
  Fault theDraw("zvRand_MinMaxUInt16", 0, 0, -1);
  theDraw.Returning(FreePort(zvtest::net::Datagram()));
  uint16 thePort = 0;
  const auto theFault = FailBinds(EADDRINUSE, kMaxAttempts - 1);
  const Socket theSocket(zvSocket_GetUDPSocket(kAnyAddress, &thePort));
  ASSERT_GE(theSocket, 0);
  EXPECT_EQ(thePort, PortOf(theSocket));
}

// ---- Failures that all share ----

struct Maker {
  const char *mName;
  GetSocket mGetSocket;
  int32 mAddress;
  uint16 mPort;
  const char *mOpenLabel;
  const char *mCloseLabel;
};

const Maker kMakers[] = {
    {"UDP", zvSocket_GetUDPSocket, kAnyAddress, 8000, kUDPOpen, kUDPClose},
    {"TCP with a port", zvSocket_GetTCPSocket, kAnyAddress, 8080, kTCPOpen, kTCPClose},
    {"TCP with any address", zvSocket_GetTCPSocket, kAnyAddress, 0, kTCPOpen, kTCPClose},
    {"TCP with an address", zvSocket_GetTCPSocket, kLoopback, 0, kTCPOpen, kTCPClose},
};

TEST_F(ReadyMade, WithoutASocketNothingElseIsTried) {
  for (const Maker &theMaker : kMakers) {
    SCOPED_TRACE(theMaker.mName);
    mLog.Clear();
    uint16 thePort = theMaker.mPort;
    Fault theFault("socket", EMFILE);
    EXPECT_EQ(kzvSocketInvalid, theMaker.mGetSocket(theMaker.mAddress, &thePort));
    EXPECT_EQ(EMFILE, zvSocketGetLastError());
    EXPECT_EQ(theMaker.mPort, thePort);
    EXPECT_THAT(mBinds, IsEmpty());
    EXPECT_THAT(mLog.Messages(), ElementsAreArray(CreateFailed(EMFILE, theMaker.mOpenLabel)));
  }
}

TEST_F(ReadyMade, TheCauseSurvivesALogThatSpoilsErrno) {
  mLog.SpoilErrno(EDOM);
  for (const Maker &theMaker : kMakers) {
    SCOPED_TRACE(theMaker.mName);
    uint16 thePort = theMaker.mPort;
    const auto theFault = FailBinds(EADDRINUSE, -1);
    EXPECT_EQ(kzvSocketInvalid, theMaker.mGetSocket(theMaker.mAddress, &thePort));
    EXPECT_EQ(EADDRINUSE, zvSocketGetLastError());
  }
}

TEST_F(ReadyMade, AFailedCloseReplacesTheCause) {
  for (const Maker &theMaker : kMakers) {
    SCOPED_TRACE(theMaker.mName);
    mLog.Clear();
    mBinds.clear();
    uint16 thePort = theMaker.mPort;
    const auto theBindFault = FailBinds(EADDRINUSE, -1);
    Fault theCloseFault("close", EIO);
    EXPECT_EQ(kzvSocketInvalid, theMaker.mGetSocket(theMaker.mAddress, &thePort));
    EXPECT_EQ(EIO, zvSocketGetLastError());
    const int theSocket = FailedSocket();
    EXPECT_EQ(0, close(theSocket));
    ASSERT_FALSE(mLog.Messages().empty());
    EXPECT_THAT(mLog.Messages().back(), CloseFailed(theSocket, EIO, theMaker.mCloseLabel)[0]);
  }
}

TEST_F(ReadyMade, TheSocketTableKnowsThemByTheLabelOfTheOpen) {
  mLog.AnswerWillLog(zvtest::kDebugLevel, zvtest::net::kTracker, 1);
  for (const Maker &theMaker : kMakers) {
    SCOPED_TRACE(theMaker.mName);
    mLog.Clear();
    uint16 thePort = theMaker.mPort == 0 ? uint16{0} : FreePort(zvtest::net::Stream());
    const zvSocket theSocket = theMaker.mGetSocket(theMaker.mAddress, &thePort);
    ASSERT_GE(theSocket, 0);
    const std::string theLine =
        Format("  * ID=%5d  OUT  S=00000000  R=00000000  P=    0 RP=    0 Created    (%s) \n", theSocket,
               theMaker.mOpenLabel);
    EXPECT_THAT(mLog.Messages(), Contains(Debug(zvtest::net::kTracker, theLine)));
    EXPECT_EQ(0, zvSocketClose(theSocket, "test"));
  }
}

}  // namespace
