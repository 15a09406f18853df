// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Datagrams, multicast groups, and the two names of a socket.

#include <zvOS/zvSocket.h>
#include <zvOS/zvSocketTracker.h>

#include "support/Support.h"
#include "socket_support.h"

#include <cstring>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace zvtest;
using namespace zvtest::net;

class SocketDatagram : public testing::Test {
 protected:
  SocketDatagram() { mLog.SpoilErrno(kSpoilt); }

  RecordingLog mLog;
};

class SocketMulticast : public SocketDatagram {};
class SocketNames : public SocketDatagram {};

constexpr MacroCase kMacros[] = {
    {ZVTEST_EXPANDED(zvSocketSendUDP(s, x, y, z, w, v, u)), "zvSocketSendUDP_Debug(s, x, y, z, w, v, u)"},
    {ZVTEST_EXPANDED(zvSocketRecvUDP(s, x, y, z, w, v, u)), "zvSocketRecvUDP_Debug(s, x, y, z, w, v, u)"},
    {ZVTEST_EXPANDED(zvSocketSetMulticast(x, y, z)), "zvSocketSetMulticast_Debug(x, y, z)"},
    {ZVTEST_EXPANDED(zvSocketMulticastAdd(x, y, z, w)), "zvSocketMulticastAdd_Debug(x, y, z, w)"},
    {ZVTEST_EXPANDED(zvSocketMulticastDrop(x, y, z, w)), "zvSocketMulticastDrop_Debug(x, y, z, w)"},
    {ZVTEST_EXPANDED(zvSocketMulticastSetTTL(x, y, z)), "zvSocketMulticastSetTTL_Debug(x, y, z)"},
    {ZVTEST_EXPANDED(zvSocketMulticastSetLoop(x, y, z)), "zvSocketMulticastSetLoop_Debug(x, y, z)"},
    {ZVTEST_EXPANDED(zvSocketGetPeerName(x, y, z, w)), "zvSocketGetPeerName_Debug(x, y, z, w)"},
    {ZVTEST_EXPANDED(zvSocketGetSockName(x, y, z, w)), "zvSocketGetSockName_Debug(x, y, z, w)"},
};

TEST_F(SocketDatagram, ThePlainNamesStandForTheLoggingTwins) {
  for (const MacroCase &theCase : kMacros) {
    EXPECT_EQ(WithoutBlanks(theCase.mExpected), WithoutBlanks(theCase.mExpansion));
  }
}

//
// Datagrams
//

TEST_F(SocketDatagram, BothTwinsGiveTheSystemTheSameArguments) {
  sockaddr_in theAddress = Loopback(9);
  sockaddr *const thePeer = Generic(&theAddress);
  socklen_t theLength = kAddressLength;
  char theBytes[8] = "";
  for (const int theFlags : {0, MSG_DONTWAIT | MSG_OOB}) {
    for (const bool afDebug : {false, true}) {
      Arguments theSent;
      Arguments theReceived;
      Fault theSendFault("sendto", EPERM);
      theSendFault.Doing(CopyInto(&theSent, 6));
      Fault theReceiveFault("recvfrom", EPERM);
      theReceiveFault.Doing(CopyInto(&theReceived, 6));
      EXPECT_EQ(Outcome(-1, EPERM), Call([&] {
                  return afDebug ? zvSocketSendUDP(77, thePeer, 16, theBytes, 8, theFlags, kLabel)
                                 : zvSocketSendUDP_NoDebug(77, thePeer, 16, theBytes, 8, theFlags);
                }));
      EXPECT_EQ(Outcome(-1, EPERM), Call([&] {
                  return afDebug ? zvSocketRecvUDP(77, theBytes, 8, theFlags, thePeer, &theLength, kLabel)
                                 : zvSocketRecvUDP_NoDebug(77, theBytes, 8, theFlags, thePeer, &theLength);
                }));
      EXPECT_THAT(theSent, ElementsAre(77, AsArgument(theBytes), 8, theFlags, AsArgument(thePeer), 16));
      EXPECT_THAT(theReceived, ElementsAre(77, AsArgument(theBytes), 8, theFlags, AsArgument(thePeer),
                                           AsArgument(&theLength)));
    }
  }
}

TEST_F(SocketDatagram, ADatagramArrivesWithItsSender) {
  const Socket theSender = Bound(Datagram());
  const Socket theReceiver = Bound(Datagram());
  sockaddr_in theTarget = Loopback(PortOf(theReceiver));
  EXPECT_EQ(Outcome(5, kStale), Call([&] {
              return zvSocketSendUDP(theSender, Generic(&theTarget), kAddressLength, "hello", 5, 0, kLabel);
            }));

  char theBytes[8] = "";
  sockaddr_in theSource = {};
  socklen_t theLength = kAddressLength;
  EXPECT_EQ(Outcome(5, kStale), Call([&] {
              return zvSocketRecvUDP(theReceiver, theBytes, sizeof(theBytes), 0, Generic(&theSource),
                                     &theLength, kLabel);
            }));
  EXPECT_STREQ("hello", theBytes);
  EXPECT_EQ(kAddressLength, theLength);
  EXPECT_EQ(htonl(INADDR_LOOPBACK), theSource.sin_addr.s_addr);
  EXPECT_EQ(PortOf(theSender), ntohs(theSource.sin_port));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(
          Debug(kTCPRW, Format("Sent 5 bytes on UDP socket %d [%s]\n", int(theSender), kLabel)),
          Debug(kTCPRW, Format("Received 5 bytes on UDP socket %d [%s]\n", int(theReceiver), kLabel))));
}

TEST_F(SocketDatagram, AnEmptyDatagramIsASuccessAtBothEnds) {
  const Socket theSocket = Bound(Datagram());
  sockaddr_in theTarget = Loopback(PortOf(theSocket));
  char theByte;
  EXPECT_EQ(Outcome(0, kStale), Call([&] {
              return zvSocketSendUDP(theSocket, Generic(&theTarget), kAddressLength, "", 0, 0, kLabel);
            }));
  EXPECT_EQ(Outcome(0, kStale),
            Call([&] { return zvSocketRecvUDP(theSocket, &theByte, 1, 0, nullptr, nullptr, kLabel); }));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Debug(kTCPRW, Format("Sent 0 bytes on UDP socket %d [%s]\n", int(theSocket), kLabel)),
                  Debug(kTCPRW, Format("Received 0 bytes on UDP socket %d [%s]\n", int(theSocket), kLabel))));
}

TEST_F(SocketDatagram, FailuresAreLoggedAtDebugLevelAndKeepTheLastError) {
  sockaddr_in theAddress = Loopback(9);
  char theByte = 0;
  for (const zvSocket theSocket : {kzvSocketInvalid, ClosedDescriptor()}) {
    mLog.Clear();
    EXPECT_EQ(Outcome(-1, EBADF), Call([&] {
                return zvSocketSendUDP(theSocket, Generic(&theAddress), 16, &theByte, 1, 0, kLabel);
              }));
    EXPECT_EQ(Outcome(-1, EBADF),
              Call([&] { return zvSocketRecvUDP(theSocket, &theByte, 1, 0, nullptr, nullptr, kLabel); }));
    EXPECT_THAT(
        mLog.Messages(),
        ElementsAre(
            Debug(kTCPRW, Format("Sent -1 bytes on UDP socket %d [%s], Error = 9\n", theSocket, kLabel)),
            Debug(kTCPRW,
                  Format("Received -1 bytes on UDP socket %d, Error = 9 [%s]\n", theSocket, kLabel))));
  }
}

TEST_F(SocketDatagram, ReceiveLogsAlsoThatItWouldBlock) {
  const Socket theSocket = Bound(Datagram());
  char theByte;
  EXPECT_EQ(Outcome(-1, EAGAIN), Call([&] {
              return zvSocketRecvUDP(theSocket, &theByte, 1, MSG_DONTWAIT, nullptr, nullptr, kLabel);
            }));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Debug(kTCPRW, Format("Received -1 bytes on UDP socket %d, Error = 11 [%s]\n",
                                               int(theSocket), kLabel))));
}

TEST_F(SocketDatagram, ReceiveLeavesWhatTheSystemLeftAlsoOnSuccess) {
  Fault theFault("recvfrom", EINTR);
  theFault.Returning(5);
  char theBytes[8];
  EXPECT_EQ(Outcome(5, EINTR),
            Call([&] { return zvSocketRecvUDP(77, theBytes, 8, 0, nullptr, nullptr, kLabel); }));
}

TEST_F(SocketDatagram, SendDoesNotHoldBackTheSignalOfABrokenConnection) {
  Connection theConnection;
  ASSERT_EQ(0, shutdown(theConnection.mNear, SHUT_WR));
  const SignalCount theSignals(SIGPIPE);
  EXPECT_EQ(Outcome(-1, EPIPE),
            Call([&] { return zvSocketSendUDP(theConnection.mNear, nullptr, 0, "x", 1, 0, kLabel); }));
  EXPECT_EQ(1, theSignals.Count());
}

TEST_F(SocketDatagram, ThePlainTwinsLogNothing) {
  const Socket theSocket = Bound(Datagram());
  sockaddr_in theTarget = Loopback(PortOf(theSocket));
  char theByte = 'x';
  EXPECT_EQ(Outcome(1, kStale), Call([&] {
              return zvSocketSendUDP_NoDebug(theSocket, Generic(&theTarget), kAddressLength, &theByte, 1, 0);
            }));
  EXPECT_EQ(Outcome(1, kStale),
            Call([&] { return zvSocketRecvUDP_NoDebug(theSocket, &theByte, 1, 0, nullptr, nullptr); }));
  EXPECT_EQ(Outcome(-1, EAGAIN), Call([&] {
              return zvSocketRecvUDP_NoDebug(theSocket, &theByte, 1, MSG_DONTWAIT, nullptr, nullptr);
            }));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketDatagram, NeitherTheSocketTableNorATrafficFileHearsOfDatagrams) {
  const Socket theSocket = Bound(Datagram());
  sockaddr_in theTarget = Loopback(PortOf(theSocket));
  mLog.AnswerWillLog(4, kTCP, 1);
  mLog.AnswerWillLog(4, kTraffic, 1);
  mLog.AnswerWillLog(4, kTracker, 1);
  zvSocketTracker_Add(theSocket, 0, kLabel);
  mLog.Clear();

  char theByte = 'x';
  EXPECT_EQ(1, zvSocketSendUDP(theSocket, Generic(&theTarget), kAddressLength, &theByte, 1, 0, kLabel));
  EXPECT_EQ(1, zvSocketRecvUDP(theSocket, &theByte, 1, 0, nullptr, nullptr, kLabel));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Debug(kTCPRW, Format("Sent 1 bytes on UDP socket %d [%s]\n", int(theSocket), kLabel)),
                  Debug(kTCPRW, Format("Received 1 bytes on UDP socket %d [%s]\n", int(theSocket), kLabel))));
  EXPECT_THAT(mLog.Assertions(), IsEmpty());

  mLog.Clear();
  zvSocketTracker_Dump();
  EXPECT_THAT(
      mLog.Messages(),
      testing::Contains(Debug(kTracker, Format("    ID=%5d  OUT  S=00000000  R=00000000  P=    0 RP=    0 "
                                               "Created    (%s) \n",
                                               int(theSocket), kLabel))));
  zvSocketTracker_Remove(theSocket);
}

//
// Multicast. Groups exist on the loopback interface only.
//

const uint32 kLoopbackAddress = htonl(INADDR_LOOPBACK);

// An address for documentation, which no interface has.
const uint32 kForeignAddress = htonl(0xC63364FE);
constexpr const char *kForeignText = "198.51.100.254";

TEST_F(SocketMulticast, TheOutgoingInterfaceIsGivenInNetworkOrder) {
  if (zvtest::IsEmulated()) GTEST_SKIP() << "the emulator does not know IP_MULTICAST_IF";
  for (const bool afDebug : {false, true}) {
    const Socket theSocket = Datagram();
    EXPECT_EQ(Outcome(0, kStale), Call([&] {
                return afDebug ? zvSocketSetMulticast(theSocket, kLoopbackAddress, kLabel)
                               : zvSocketSetMulticast_NoDebug(theSocket, kLoopbackAddress);
              }));
    EXPECT_EQ(kLoopbackAddress, static_cast<uint32>(IntOption(theSocket, IPPROTO_IP, IP_MULTICAST_IF)));
  }
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketMulticast, TheOutgoingInterfaceIsAnAddressOfFourBytes) {
  for (const bool afDebug : {false, true}) {
    Arguments theArguments;
    in_addr theAddress = {};
    Fault theFault("setsockopt", 0);
    theFault.Returning(0).Doing([&](const long long *anArguments) {
      CopyInto(&theArguments, 5)(anArguments);
      theAddress = *ArgumentAs<const in_addr>(anArguments[3]);
    });
    EXPECT_EQ(0, afDebug ? zvSocketSetMulticast(77, kForeignAddress, kLabel)
                         : zvSocketSetMulticast_NoDebug(77, kForeignAddress));
    EXPECT_THAT(theArguments, ElementsAre(77, IPPROTO_IP, IP_MULTICAST_IF, testing::_, 4));
    EXPECT_EQ(kForeignAddress, theAddress.s_addr);
  }
}

TEST_F(SocketMulticast, AnInterfaceThatIsNotThereIsLoggedInThreeRecords) {
  if (zvtest::IsEmulated()) GTEST_SKIP() << "the emulator does not know IP_MULTICAST_IF";
  const Socket theSocket = Datagram();
  const auto Set = [&] { return zvSocketSetMulticast(theSocket, kForeignAddress, kLabel); };
  EXPECT_EQ(Outcome(-1, kSpoilt), Call(Set));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(kTCP, Format("Error setting multicast for socket %d: IP address = '",
                                             int(theSocket))),
                          Error(kTCP, kForeignText), Error(kTCP, Format("' error = 99 [%s]\n", kLabel))));
  // The last error is left to the log.
  mLog.SpoilErrno(0);
  EXPECT_EQ(Outcome(-1, EADDRNOTAVAIL), Call(Set));
}

TEST_F(SocketMulticast, TheOutgoingInterfaceOfTheInvalidSocketIsNotWarnedOf) {
  if (zvtest::IsEmulated()) GTEST_SKIP() << "the emulator does not know IP_MULTICAST_IF";
  EXPECT_EQ(-1, zvSocketSetMulticast(kzvSocketInvalid, kLoopbackAddress, kLabel));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(kTCP, "Error setting multicast for socket -1: IP address = '"),
                          Error(kTCP, "127.0.0.1"), Error(kTCP, Format("' error = 9 [%s]\n", kLabel))));
}

// Joining and leaving differ in the name of the option and in the message.
struct MembershipCase {
  int (*mPlain)(zvSocket, const char *, uint32);
  int (*mDebug)(zvSocket, const char *, uint32, const char *);
  int mOption;
  int mUnknownInterface;  // the system's error for an interface that is not there
  std::string (*mFailure)(unsigned long, const char *, int, int);
};

const MembershipCase kMemberships[] = {
    {zvSocketMulticastAdd_NoDebug, zvSocketMulticastAdd_Debug, IP_ADD_MEMBERSHIP, ENODEV,
     [](unsigned long anAddress, const char *aGroup, int aSocket, int anError) {
       return Format("Error adding IP address %lu to group '%s' for UDP socket %d, Error = %d [%s]\n",
                     anAddress, aGroup, aSocket, anError, kLabel);
     }},
    {zvSocketMulticastDrop_NoDebug, zvSocketMulticastDrop_Debug, IP_DROP_MEMBERSHIP, EADDRNOTAVAIL,
     [](unsigned long anAddress, const char *aGroup, int aSocket, int anError) {
       return Format("Error dropping IP address %lu from group '%s' for UDP socket %d, Error = %d [%s]\n",
                     anAddress, aGroup, aSocket, anError, kLabel);
     }},
};

TEST_F(SocketMulticast, AMembershipIsAGroupAndAnInterface) {
  for (const MembershipCase &theCase : kMemberships) {
    for (const bool afDebug : {false, true}) {
      Arguments theArguments;
      ip_mreq theRequest = {};
      Fault theFault("setsockopt", 0);
      theFault.Returning(0).Doing([&](const long long *anArguments) {
        CopyInto(&theArguments, 5)(anArguments);
        theRequest = *ArgumentAs<const ip_mreq>(anArguments[3]);
      });
      EXPECT_EQ(Outcome(0, kStale), Call([&] {
                  return afDebug ? theCase.mDebug(77, "239.1.2.3", kForeignAddress, kLabel)
                                 : theCase.mPlain(77, "239.1.2.3", kForeignAddress);
                }));
      EXPECT_THAT(theArguments, ElementsAre(77, IPPROTO_IP, theCase.mOption, testing::_, 8));
      EXPECT_EQ(inet_addr("239.1.2.3"), theRequest.imr_multiaddr.s_addr);
      EXPECT_EQ(kForeignAddress, theRequest.imr_interface.s_addr);
    }
  }
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketMulticast, AFailingMembershipIsLoggedWithTheInterfaceAsANumber) {
  // The number is that of the bytes as they lie, and not negative.
  for (const MembershipCase &theCase : kMemberships) {
    mLog.Clear();
    const Socket theSocket = Datagram();
    EXPECT_EQ(Outcome(-1, theCase.mUnknownInterface),
              Call([&] { return theCase.mDebug(theSocket, "239.1.2.3", kForeignAddress, kLabel); }));
    EXPECT_EQ(Outcome(-1, EBADF),
              Call([&] { return theCase.mDebug(kzvSocketInvalid, "any group", 0, kLabel); }));
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(Error(kTCP, theCase.mFailure(kForeignAddress, "239.1.2.3", theSocket,
                                                         theCase.mUnknownInterface)),
                            Error(kTCP, theCase.mFailure(0, "any group", -1, EBADF))));
    mLog.Clear();
    EXPECT_EQ(Outcome(-1, theCase.mUnknownInterface),
              Call([&] { return theCase.mPlain(theSocket, "239.1.2.3", kForeignAddress); }));
    EXPECT_THAT(mLog.Calls(), IsEmpty());
  }
}

TEST_F(SocketMulticast, AnAddressThatIsNoGroupCannotBeJoined) {
  const Socket theSocket = Datagram();
  for (const char *theGroup : {"10.0.0.1", "no address"}) {
    mLog.Clear();
    EXPECT_EQ(Outcome(-1, EINVAL),
              Call([&] { return zvSocketMulticastAdd(theSocket, theGroup, kLoopbackAddress, kLabel); }));
    EXPECT_THAT(
        mLog.Messages(),
        ElementsAre(Error(kTCP, kMemberships[0].mFailure(kLoopbackAddress, theGroup, theSocket, EINVAL))));
  }
}

TEST_F(SocketMulticast, AGroupIsHeardFromJoiningToLeaving) {
  if (zvtest::IsEmulated()) GTEST_SKIP() << "the emulator does not know IP_MULTICAST_IF";
  // A group of this process: a member elsewhere on the machine would keep it alive.
  const std::string theGroup = Format("239.255.%d.%d", getpid() >> 8 & 0xFF, getpid() & 0xFF);
  const Socket theReceiver = Datagram();
  sockaddr_in theAny = Address(INADDR_ANY, 0);
  ASSERT_EQ(0, bind(theReceiver, Generic(&theAny), kAddressLength));
  sockaddr_in theTarget = Loopback(PortOf(theReceiver));
  sockaddr_in theGroupTarget = theTarget;
  theGroupTarget.sin_addr.s_addr = inet_addr(theGroup.c_str());
  const Socket theSender = Datagram();
  ASSERT_EQ(0, zvSocketSetMulticast(theSender, kLoopbackAddress, kLabel));
  // What the receiver hears first when one datagram goes to the group and then one to it alone.
  const auto FirstHeard = [&] {
    sendto(theSender, "group", 6, 0, Generic(&theGroupTarget), kAddressLength);
    sendto(theSender, "alone", 6, 0, Generic(&theTarget), kAddressLength);
    char theText[8] = "";
    EXPECT_EQ(6, recv(theReceiver, theText, sizeof(theText), 0));
    return std::string(theText);
  };

  EXPECT_EQ("alone", FirstHeard());
  EXPECT_EQ(Outcome(0, kStale), Call([&] {
              return zvSocketMulticastAdd(theReceiver, theGroup.c_str(), kLoopbackAddress, kLabel);
            }));
  EXPECT_EQ("group", FirstHeard());
  char theText[8] = "";
  EXPECT_EQ(6, recv(theReceiver, theText, sizeof(theText), 0));
  EXPECT_STREQ("alone", theText);
  EXPECT_EQ(Outcome(0, kStale), Call([&] {
              return zvSocketMulticastDrop(theReceiver, theGroup.c_str(), kLoopbackAddress, kLabel);
            }));
  EXPECT_EQ("alone", FirstHeard());
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

//
// The two names of a socket
//

struct NameCase {
  const char *mFunction;
  int (*mPlain)(zvSocket, long *, unsigned short *);
  int (*mDebug)(zvSocket, long *, unsigned short *, const char *);
};

const NameCase kNames[] = {
    {"getpeername", zvSocketGetPeerName_NoDebug, zvSocketGetPeerName_Debug},
    {"getsockname", zvSocketGetSockName_NoDebug, zvSocketGetSockName_Debug},
};

constexpr long kUntouchedAddress = 0x12345678;
constexpr unsigned short kUntouchedPort = 0x4321;

TEST_F(SocketNames, ThePortThatTheSystemChoseIsToldInHostOrder) {
  const Socket theSocket = Bound(Stream());
  long theAddress = kUntouchedAddress;
  unsigned short thePort = kUntouchedPort;
  EXPECT_EQ(Outcome(0, kStale),
            Call([&] { return zvSocketGetSockName(theSocket, &theAddress, &thePort, kLabel); }));
  EXPECT_EQ(0x7F000001, theAddress);
  EXPECT_EQ(PortOf(theSocket), thePort);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketNames, ThePeersNameIsTheOtherEndsOwn) {
  Connection theConnection;
  long theAddress = kUntouchedAddress;
  unsigned short thePort = kUntouchedPort;
  EXPECT_EQ(Outcome(0, kStale),
            Call([&] { return zvSocketGetPeerName(theConnection.mNear, &theAddress, &thePort, kLabel); }));
  EXPECT_EQ(0x7F000001, theAddress);
  EXPECT_EQ(PortOf(theConnection.mFar), thePort);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketNames, HighAddressesAndPortsKeepAllTheirBits) {
  for (const NameCase &theCase : kNames) {
    for (const bool afDebug : {false, true}) {
      SCOPED_TRACE(theCase.mFunction);
      socklen_t theLength = 0;
      Fault theFault(theCase.mFunction, 0);
      theFault.Returning(0).Doing([&](const long long *anArguments) {
        EXPECT_EQ(77, anArguments[0]);
        theLength = *ArgumentAs<const socklen_t>(anArguments[2]);
        *ArgumentAs<sockaddr_in>(anArguments[1]) = Address(0xFEDCBA98, 0xFEDC);
      });
      long theAddress = kUntouchedAddress;
      unsigned short thePort = kUntouchedPort;
      EXPECT_EQ(0, afDebug ? theCase.mDebug(77, &theAddress, &thePort, kLabel)
                           : theCase.mPlain(77, &theAddress, &thePort));
      EXPECT_EQ(16u, theLength);
      EXPECT_EQ(0xFEDCBA98u, static_cast<uint32>(theAddress));
      EXPECT_EQ(0xFEDC, thePort);
    }
  }
}

TEST_F(SocketNames, AFailureTouchesNothingAndIsLoggedAlikeForBothNames) {
  for (const NameCase &theCase : kNames) {
    SCOPED_TRACE(theCase.mFunction);
    mLog.Clear();
    long theAddress = kUntouchedAddress;
    unsigned short thePort = kUntouchedPort;
    EXPECT_EQ(Outcome(-1, EBADF),
              Call([&] { return theCase.mPlain(kzvSocketInvalid, &theAddress, &thePort); }));
    EXPECT_THAT(mLog.Calls(), IsEmpty());
    EXPECT_EQ(Outcome(-1, EBADF),
              Call([&] { return theCase.mDebug(kzvSocketInvalid, &theAddress, &thePort, kLabel); }));
    EXPECT_EQ(kUntouchedAddress, theAddress);
    EXPECT_EQ(kUntouchedPort, thePort);
    EXPECT_THAT(
        mLog.Messages(),
        ElementsAre(Error(kTCP, Format("Cannot get peer name for socket -1: error = 9 [%s]\n", kLabel))));
  }
}

TEST_F(SocketNames, ASocketWithoutAPeerHasNoPeersName) {
  const Socket theSocket = Stream();
  long theAddress = kUntouchedAddress;
  unsigned short thePort = kUntouchedPort;
  EXPECT_EQ(Outcome(-1, ENOTCONN),
            Call([&] { return zvSocketGetPeerName(theSocket, &theAddress, &thePort, kLabel); }));
  EXPECT_EQ(kUntouchedAddress, theAddress);
  EXPECT_EQ(kUntouchedPort, thePort);
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(kTCP, Format("Cannot get peer name for socket %d: error = 107 [%s]\n",
                                             int(theSocket), kLabel))));
}

}  // namespace
