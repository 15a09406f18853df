// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Ready-made TCP sockets: with a given port, with any address, with a given address.

#include "socket_ready_made_checks.h"

namespace {

using namespace zvtest::readymade;

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using namespace zvtest;

// ---- TCP with a port ----

TEST_F(ReadyMade, TCPWithAPortIsBoundToItWithReuseAndDoesNotListen) {
  const uint16 theFixedPort = FreePort(zvtest::net::Stream());
  uint16 thePort = theFixedPort;
  const int theDraws = Draws();
  const Socket theSocket(zvSocket_GetTCPSocket(kAnyAddress, &thePort));
  ASSERT_GE(theSocket, 0);
  EXPECT_EQ(theFixedPort, thePort);
  EXPECT_EQ(theFixedPort, PortOf(theSocket));
  ExpectAddress(kAnyAddress, theSocket);
  EXPECT_EQ(SOCK_STREAM, OptionOf(theSocket, SO_TYPE));
  EXPECT_EQ(IPPROTO_TCP, OptionOf(theSocket, SO_PROTOCOL));
  EXPECT_NE(0, OptionOf(theSocket, SO_REUSEADDR));
  EXPECT_EQ(0, OptionOf(theSocket, SO_ACCEPTCONN));
  EXPECT_EQ(theDraws, Draws());
  EXPECT_THAT(mLog.Messages(),
              ElementsAreArray(Created(theSocket, kTCPOpen) +
                               Bound(theSocket, Format("0.0.0.0:%u", theFixedPort), kFixedBind)));
}

TEST_F(ReadyMade, TCPWithAPortAndAnAddressIsBoundToBoth) {
  const uint16 theFixedPort = FreePort(zvtest::net::Stream());
  uint16 thePort = theFixedPort;
  const Socket theSocket(zvSocket_GetTCPSocket(kLoopback, &thePort));
  ASSERT_GE(theSocket, 0);
  ExpectAddress(kLoopback, theSocket);
  EXPECT_EQ(theFixedPort, PortOf(theSocket));
  EXPECT_EQ(theFixedPort, thePort);
}

TEST_F(ReadyMade, TCPWithATakenPortGivesUpAtOnce) {
  const Socket theHolder = Holder(zvtest::net::Stream());
  const uint16 theTakenPort = static_cast<uint16>(PortOf(theHolder));
  const std::set<int> theDescriptors = zvtest::OpenDescriptors();
  uint16 thePort = theTakenPort;
  EXPECT_EQ(kzvSocketInvalid, zvSocket_GetTCPSocket(kAnyAddress, &thePort));
  EXPECT_EQ(EADDRINUSE, zvSocketGetLastError());
  EXPECT_EQ(theTakenPort, thePort);
  const int theSocket = FailedSocket();
  EXPECT_THAT(mLog.Messages(),
              ElementsAreArray(Created(theSocket, kTCPOpen) + BindFailed(theSocket, EADDRINUSE, kFixedBind) +
                               Closed(theSocket, kTCPClose)));
  EXPECT_EQ(theDescriptors, zvtest::OpenDescriptors());
}

TEST_F(ReadyMade, TCPWithAPortIsBoundAlsoWhenReuseIsRefused) {
  uint16 thePort = FreePort(zvtest::net::Stream());
  Fault theFault("setsockopt", ENOPROTOOPT);
  const Socket theSocket(zvSocket_GetTCPSocket(kAnyAddress, &thePort));
  ASSERT_GE(theSocket, 0);
  EXPECT_THAT(mLog.Messages(),
              ElementsAreArray(Created(theSocket, kTCPOpen) + ReuseFailed(theSocket, kFixedReuse) +
                               Bound(theSocket, Format("0.0.0.0:%u", thePort), kFixedBind)));
}

// ---- TCP with any address ----

TEST_F(ReadyMade, TCPWithoutAPortPointerIsBoundOnceToAPortOfTheSystem) {
  const int theDraws = Draws();
  const Socket theSocket(zvSocket_GetTCPSocket(kAnyAddress, nullptr));
  ASSERT_GE(theSocket, 0);
  ExpectAddress(kAnyAddress, theSocket);
  EXPECT_NE(0, PortOf(theSocket));
  EXPECT_NE(0, OptionOf(theSocket, SO_REUSEADDR));
  EXPECT_EQ(theDraws, Draws());
  EXPECT_THAT(mLog.Messages(),
              ElementsAreArray(Created(theSocket, kTCPOpen) + Bound(theSocket, "0.0.0.0:0", kAnyBind)));
}

TEST_F(ReadyMade, TCPThatAsksForAPortGetsARandomOne) {
  uint16 thePort = 0;
  const Socket theSocket(zvSocket_GetTCPSocket(kAnyAddress, &thePort));
  ASSERT_GE(theSocket, 0);
  EXPECT_GE(thePort, kFirstPort);
  EXPECT_LE(thePort, kLastPort);
  EXPECT_EQ(thePort, PortOf(theSocket));
  EXPECT_NE(0, OptionOf(theSocket, SO_REUSEADDR));
}

TEST_F(ReadyMade, TCPDrawsFromTheWholeRangeForEachAttempt) {
  const Socket theHolder = Holder(zvtest::net::Stream());
  const uint16 theFreePort = FreePort(zvtest::net::Stream());
  const Drawn theDrawn({PortOf(theHolder), theFreePort});
  uint16 thePort = 0;
  const Socket theSocket(zvSocket_GetTCPSocket(kAnyAddress, &thePort));
  ASSERT_GE(theSocket, 0);
  EXPECT_EQ(theFreePort, thePort);
  EXPECT_THAT(theDrawn.Ranges(),
              ElementsAre(std::make_pair(kFirstPort, kLastPort), std::make_pair(kFirstPort, kLastPort)));
  EXPECT_THAT(mLog.Messages(),
              ElementsAreArray(Created(theSocket, kTCPOpen) + BindFailed(theSocket, EADDRINUSE, kAnyBind) +
                               Bound(theSocket, Format("0.0.0.0:%u", theFreePort), kAnyBind)));
}

TEST_F(ReadyMade, ARefusedReuseIsAFailedAttemptWithoutABind) {
  const uint16 theFreePort = FreePort(zvtest::net::Stream());
  const Drawn theDrawn({50001, theFreePort});
  Fault theFault("setsockopt", ENOPROTOOPT);
  uint16 thePort = 0;
  const Socket theSocket(zvSocket_GetTCPSocket(kAnyAddress, &thePort));
  ASSERT_GE(theSocket, 0);
  EXPECT_EQ(theFreePort, thePort);
  EXPECT_THAT(mLog.Messages(),
              ElementsAreArray(Created(theSocket, kTCPOpen) + ReuseFailed(theSocket, kAnyReuse) +
                               Bound(theSocket, Format("0.0.0.0:%u", theFreePort), kAnyBind)));
}

TEST_F(ReadyMade, TCPWithAnyAddressGivesUpAfterFiftyBinds) {
  uint16 thePort = 0;
  const int theDraws = Draws();
  const auto theFault = FailBinds(EACCES, -1);
  EXPECT_EQ(kzvSocketInvalid, zvSocket_GetTCPSocket(kAnyAddress, &thePort));
  EXPECT_EQ(EACCES, zvSocketGetLastError());
  EXPECT_EQ(0, thePort);
  EXPECT_EQ(theDraws + kMaxAttempts, Draws());
  const int theSocket = FailedSocket();
  EXPECT_THAT(mLog.Messages(), ElementsAreArray(Created(theSocket, kTCPOpen) +
                                                Times(kMaxAttempts, BindFailed(theSocket, EACCES, kAnyBind)) +
                                                Closed(theSocket, kTCPClose)));
}

TEST_F(ReadyMade, TCPWithAnyAddressGivesUpAfterFiftyRefusedReuses) {
  uint16 thePort = 0;
  int theSocket = -1;
  Fault theFault("setsockopt", ENOPROTOOPT, 0, -1);
  theFault.Doing([&](const long long *anArguments) { theSocket = static_cast<int>(anArguments[0]); });
  EXPECT_EQ(kzvSocketInvalid, zvSocket_GetTCPSocket(kAnyAddress, &thePort));
  EXPECT_EQ(ENOPROTOOPT, zvSocketGetLastError());
  EXPECT_EQ(0, thePort);
  EXPECT_THAT(mBinds, IsEmpty());
  EXPECT_THAT(mLog.Messages(), ElementsAreArray(Created(theSocket, kTCPOpen) +
                                                Times(kMaxAttempts, ReuseFailed(theSocket, kAnyReuse)) +
                                                Closed(theSocket, kTCPClose)));
}

TEST_F(ReadyMade, TCPMaySucceedAtTheLastAttempt) {
  Fault theDraw("zvRand_MinMaxUInt16", 0, 0, -1);
  theDraw.Returning(FreePort(zvtest::net::Stream()));
  const auto theFault = FailBinds(EADDRINUSE, kMaxAttempts - 1);
  uint16 thePort = 0;
  const Socket theSocket(zvSocket_GetTCPSocket(kAnyAddress, &thePort));
  ASSERT_GE(theSocket, 0);
  EXPECT_EQ(thePort, PortOf(theSocket));
}

TEST_F(ReadyMade, TCPWithoutAPortPointerAlsoGivesUpAfterFiftyBinds) {
  const int theDraws = Draws();
  const auto theFault = FailBinds(EADDRINUSE, -1);
  EXPECT_EQ(kzvSocketInvalid, zvSocket_GetTCPSocket(kAnyAddress, nullptr));
  EXPECT_EQ(kMaxAttempts, theFault->Hits());
  EXPECT_EQ(theDraws, Draws());
}

// ---- TCP with an address and no port ----

TEST_F(ReadyMade, TCPWithAnAddressGetsAPortOfTheSystemAndReportsZero) {
  uint16 thePort = 0;
  const int theDraws = Draws();
  const Socket theSocket(zvSocket_GetTCPSocket(kLoopback, &thePort));
  ASSERT_GE(theSocket, 0);
  EXPECT_EQ(0, thePort);
  ExpectAddress(kLoopback, theSocket);
  EXPECT_NE(0, PortOf(theSocket));
  EXPECT_NE(0, OptionOf(theSocket, SO_REUSEADDR));
  EXPECT_EQ(theDraws, Draws());
  EXPECT_THAT(mLog.Messages(),
              ElementsAreArray(Created(theSocket, kTCPOpen) + Bound(theSocket, "127.0.0.1:0", kGivenBind)));
}

TEST_F(ReadyMade, TCPWithAnAddressNeedsNoPortPointer) {
  const Socket theSocket(zvSocket_GetTCPSocket(kLoopback, nullptr));
  ASSERT_GE(theSocket, 0);
  ExpectAddress(kLoopback, theSocket);
}

TEST_F(ReadyMade, TCPWithAnAddressIsBoundAlsoWhenReuseIsRefused) {
  Fault theFault("setsockopt", ENOPROTOOPT);
  const Socket theSocket(zvSocket_GetTCPSocket(kLoopback, nullptr));
  ASSERT_GE(theSocket, 0);
  EXPECT_THAT(mLog.Messages(),
              ElementsAreArray(Created(theSocket, kTCPOpen) + ReuseFailed(theSocket, kGivenReuse) +
                               Bound(theSocket, "127.0.0.1:0", kGivenBind)));
}

TEST_F(ReadyMade, TCPWithAForeignAddressGivesUpAtOnceWithAMessageOfItsOwn) {
  const std::set<int> theDescriptors = zvtest::OpenDescriptors();
  uint16 thePort = 0;
  EXPECT_EQ(kzvSocketInvalid, zvSocket_GetTCPSocket(kForeignAddress, &thePort));
  EXPECT_EQ(EADDRNOTAVAIL, zvSocketGetLastError());
  EXPECT_EQ(0, thePort);
  const int theSocket = FailedSocket();
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAreArray(Created(theSocket, kTCPOpen) + BindFailed(theSocket, EADDRNOTAVAIL, kGivenBind) +
                       Reported(Format("Error binding socket %d [zvSocket_GetTCPSocket 5]\n", theSocket)) +
                       Closed(theSocket, kTCPClose)));
  EXPECT_EQ(theDescriptors, zvtest::OpenDescriptors());
}

}  // namespace
