// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Options of sockets: what the system is told, how wide, and how failures are reported. Keep-alive and
// time-outs: socket_keep_alive_test.cpp.

#include <zvOS/zvSocket.h>

#include "support/Support.h"
#include "socket_support.h"

#include <fcntl.h>
#include <netinet/tcp.h>

#include <climits>
#include <cstring>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace zvtest;
using namespace zvtest::net;

using Plain = int (*)(zvSocket);
using Logging = int (*)(zvSocket);

constexpr MacroCase kMacros[] = {
    {ZVTEST_EXPANDED(zvSocketSetReuseAddress(x, y)), "zvSocketSetReuseAddress_Debug(x, y)"},
    {ZVTEST_EXPANDED(zvSocketSetBroadcast(x, y)), "zvSocketSetBroadcast_Debug(x, y)"},
    {ZVTEST_EXPANDED(zvSocketIOCtlSetBlock(x, y, z)), "zvSocketIOCtlSetBlock_Debug(x, y, z)"},
    {ZVTEST_EXPANDED(zvSocketSetLinger(x, y, z)), "zvSocketSetLinger_Debug(x, y, z)"},
    {ZVTEST_EXPANDED(zvSocketSetTCPKeepAlive(x, y, z, w, v)), "zvSocketSetTCPKeepAlive_Debug(x, y, z, w, v)"},
    {ZVTEST_EXPANDED(zvSocketSetTCPNoDelay(x, y, z)), "zvSocketSetTCPNoDelay_Debug(x, y, z)"},
    {ZVTEST_EXPANDED(zvSocketSetTimeOut(x, y, z, w, v)), "zvSocketSetTimeOut_Debug(x, y, z, w, v)"},
    {ZVTEST_EXPANDED(zvSocketSetSendBuffer(x, y, z)), "zvSocketSetSendBuffer_Debug(x, y, z)"},
    {ZVTEST_EXPANDED(zvSocketSetRecvBuffer(x, y, z)), "zvSocketSetRecvBuffer_Debug(x, y, z)"},
    {ZVTEST_EXPANDED(zvSocketSetIPHeader(x, y, z)), "zvSocketSetIPHeader_Debug(x, y, z)"},
    {ZVTEST_EXPANDED(zvSocketSetTTL(x, y, z)), "zvSocketSetTTL_Debug(x, y, z)"},
    {ZVTEST_EXPANDED(zvSocketGetTTL(x, y, z)), "zvSocketGetTTL_Debug(x, y, z)"},
};

TEST_F(SocketOptions, ThePlainNamesStandForTheLoggingTwins) {
  for (const MacroCase &theCase : kMacros) {
    EXPECT_EQ(WithoutBlanks(theCase.mExpected), WithoutBlanks(theCase.mExpansion));
  }
}

//
// Options with one value
//

struct OptionCase {
  const char *mName;
  Plain mPlain;
  Logging mDebug;
  int mLevel;
  int mOption;
  int mValue;
  size_t mWidth;         // of the option value, in bytes
  const char *mFailure;  // see Fill
};

constexpr size_t kInt = 4;
constexpr size_t kByte = 1;

constexpr const char *kNoDelayFailure0 =
    "Cannot set TCP no delay to 0 for socket {socket}: error = {error} [{label}]\n";
constexpr const char *kNoDelayFailure1 =
    "Cannot set TCP no delay to 1 for socket {socket}: error = {error} [{label}]\n";
constexpr const char *kIPHeaderFailure =
    "Error setting IP Header for socket {socket}, Error = {error} [{label}]\n";

// clang-format off
const OptionCase kOptions[] = {
    {"address reuse",
     [](zvSocket aSocket) { return zvSocketSetReuseAddress_NoDebug(aSocket); },
     [](zvSocket aSocket) { return zvSocketSetReuseAddress(aSocket, kLabel); },
     SOL_SOCKET, SO_REUSEADDR, 1, kInt, nullptr},
    {"broadcast",
     [](zvSocket aSocket) { return zvSocketSetBroadcast_NoDebug(aSocket); },
     [](zvSocket aSocket) { return zvSocketSetBroadcast(aSocket, kLabel); },
     SOL_SOCKET, SO_BROADCAST, 1, kInt, nullptr},
    {"no delay",
     [](zvSocket aSocket) { return zvSocketSetTCPNoDelay_NoDebug(aSocket, 1); },
     [](zvSocket aSocket) { return zvSocketSetTCPNoDelay(aSocket, 1, kLabel); },
     IPPROTO_TCP, TCP_NODELAY, 1, kInt, kNoDelayFailure1},
    {"no delay, by another flag than 1",
     [](zvSocket aSocket) { return zvSocketSetTCPNoDelay_NoDebug(aSocket, 0x100); },
     [](zvSocket aSocket) { return zvSocketSetTCPNoDelay(aSocket, 0x100, kLabel); },
     IPPROTO_TCP, TCP_NODELAY, 1, kInt, nullptr},
    {"delay",
     [](zvSocket aSocket) { return zvSocketSetTCPNoDelay_NoDebug(aSocket, 0); },
     [](zvSocket aSocket) { return zvSocketSetTCPNoDelay(aSocket, 0, kLabel); },
     IPPROTO_TCP, TCP_NODELAY, 0, kInt, kNoDelayFailure0},
    {"keep alive",
     [](zvSocket aSocket) { return zvSocketSetTCPKeepAlive_NoDebug(aSocket, 1, 0, 0); },
     [](zvSocket aSocket) { return zvSocketSetTCPKeepAlive(aSocket, 1, 0, 0, kLabel); },
     SOL_SOCKET, SO_KEEPALIVE, 1, kInt,
     "Cannot set TCP keep alive to 1 for socket {socket}: error = {error} [{label}]\n"},
    {"keep alive, by another flag than 1",
     [](zvSocket aSocket) { return zvSocketSetTCPKeepAlive_NoDebug(aSocket, 0x100, 0, 0); },
     [](zvSocket aSocket) { return zvSocketSetTCPKeepAlive(aSocket, 0x100, 0, 0, kLabel); },
     SOL_SOCKET, SO_KEEPALIVE, 1, kInt, nullptr},
    {"no keep alive",
     [](zvSocket aSocket) { return zvSocketSetTCPKeepAlive_NoDebug(aSocket, 0, 5000, 5000); },
     [](zvSocket aSocket) { return zvSocketSetTCPKeepAlive(aSocket, 0, 5000, 5000, kLabel); },
     SOL_SOCKET, SO_KEEPALIVE, 0, kInt,
     "Cannot set TCP keep alive to 0 for socket {socket}: error = {error} [{label}]\n"},
    {"sending time-out",
     [](zvSocket aSocket) { return zvSocketSetTimeOut_NoDebug(aSocket, 5, 1, 0); },
     [](zvSocket aSocket) { return zvSocketSetTimeOut(aSocket, 5, 1, 0, kLabel); },
     SOL_SOCKET, SO_SNDTIMEO, 5000, kInt,
     "Cannot set timeout for socket {socket}: error = {error} [{label}]\n"},
    {"receiving time-out",
     [](zvSocket aSocket) { return zvSocketSetTimeOut_NoDebug(aSocket, 7, 0, 1); },
     [](zvSocket aSocket) { return zvSocketSetTimeOut(aSocket, 7, 0, 1, kLabel); },
     SOL_SOCKET, SO_RCVTIMEO, 7000, kInt,
     "Cannot set timeout for socket {socket}: error = {error} [{label}]\n"},
    {"sending buffer",
     [](zvSocket aSocket) { return zvSocketSetSendBuffer_NoDebug(aSocket, 30000); },
     [](zvSocket aSocket) { return zvSocketSetSendBuffer(aSocket, 30000, kLabel); },
     SOL_SOCKET, SO_SNDBUF, 30000, kInt,
     "Cannot set send buffer for socket {socket}: error = {error} [{label}]\n"},
    {"receiving buffer",
     [](zvSocket aSocket) { return zvSocketSetRecvBuffer_NoDebug(aSocket, 20000); },
     [](zvSocket aSocket) { return zvSocketSetRecvBuffer(aSocket, 20000, kLabel); },
     SOL_SOCKET, SO_RCVBUF, 20000, kInt,
     "Cannot set receive buffer for socket {socket}: error = {error} [{label}]\n"},
    {"own IP header",
     [](zvSocket aSocket) { return zvSocketSetIPHeader_NoDebug(aSocket, 0x100); },
     [](zvSocket aSocket) { return zvSocketSetIPHeader(aSocket, 0x100, kLabel); },
     IPPROTO_IP, IP_HDRINCL, 1, kInt, kIPHeaderFailure},
    {"the system's IP header",
     [](zvSocket aSocket) { return zvSocketSetIPHeader_NoDebug(aSocket, 0); },
     [](zvSocket aSocket) { return zvSocketSetIPHeader(aSocket, 0, kLabel); },
     IPPROTO_IP, IP_HDRINCL, 0, kInt, kIPHeaderFailure},
    {"time to live",
     [](zvSocket aSocket) { return zvSocketSetTTL_NoDebug(aSocket, 200); },
     [](zvSocket aSocket) { return zvSocketSetTTL(aSocket, 200, kLabel); },
     IPPROTO_IP, IP_TTL, 200, kByte,
     "Error setting TTL to '200' for socket {socket}, Error = {error} [{label}]\n"},
    {"time to live of multicast",
     [](zvSocket aSocket) { return zvSocketMulticastSetTTL_NoDebug(aSocket, 250); },
     [](zvSocket aSocket) { return zvSocketMulticastSetTTL(aSocket, 250, kLabel); },
     IPPROTO_IP, IP_MULTICAST_TTL, 250, kByte,
     "Error setting TTL to '250' for UDP socket {socket}, Error = {error} [{label}]\n"},
    {"multicast heard by the sender",
     [](zvSocket aSocket) { return zvSocketMulticastSetLoop_NoDebug(aSocket, 0x100); },
     [](zvSocket aSocket) { return zvSocketMulticastSetLoop(aSocket, 0x100, kLabel); },
     IPPROTO_IP, IP_MULTICAST_LOOP, 1, kByte,
     "Error setting multicast loopback to '256' for UDP socket {socket}, Error = {error} [{label}]\n"},
    {"multicast not heard by the sender",
     [](zvSocket aSocket) { return zvSocketMulticastSetLoop_NoDebug(aSocket, 0); },
     [](zvSocket aSocket) { return zvSocketMulticastSetLoop(aSocket, 0, kLabel); },
     IPPROTO_IP, IP_MULTICAST_LOOP, 0, kByte,
     "Error setting multicast loopback to '0' for UDP socket {socket}, Error = {error} [{label}]\n"},
};
// clang-format on

TEST_F(SocketOptions, EachOptionGoesToTheSystemOnceWithItsWidth) {
  for (const OptionCase &theCase : kOptions) {
    for (const auto &theTwin : {theCase.mPlain, theCase.mDebug}) {
      SCOPED_TRACE(theCase.mName);
      mLog.Clear();
      Arguments theArguments;
      int theValue = 0;
      Fault theFault("setsockopt", 0, 0, -1);
      theFault.Returning(0).Doing([&](const long long *anArguments) {
        CopyInto(&theArguments, 5)(anArguments);
        memcpy(&theValue, ArgumentAs<const void>(anArguments[3]), theCase.mWidth);
      });
      EXPECT_EQ(Outcome(0, kStale), Call([&] { return theTwin(77); }));
      ASSERT_EQ(1, theFault.Hits());
      EXPECT_THAT(theArguments, ElementsAre(77, theCase.mLevel, theCase.mOption, testing::_,
                                            static_cast<long long>(theCase.mWidth)));
      EXPECT_EQ(theCase.mValue, theValue);
      EXPECT_THAT(mLog.Calls(), IsEmpty());
    }
  }
}

TEST_F(SocketOptions, TheSystemTakesEachOption) {
  for (const OptionCase &theCase : kOptions) {
    // What is never taken, and what only raw sockets take, has tests of its own.
    if (theCase.mOption == SO_SNDTIMEO || theCase.mOption == SO_RCVTIMEO) continue;
    if (theCase.mLevel == IPPROTO_IP && theCase.mOption == IP_HDRINCL) continue;
    const bool afStream = theCase.mLevel == IPPROTO_TCP;
    // Linux doubles the sizes of buffers, to have room for its own bookkeeping.
    const bool afBuffer =
        theCase.mLevel == SOL_SOCKET && (theCase.mOption == SO_SNDBUF || theCase.mOption == SO_RCVBUF);
    for (const auto &theTwin : {theCase.mPlain, theCase.mDebug}) {
      SCOPED_TRACE(theCase.mName);
      const Socket theSocket = afStream ? Stream() : Datagram();
      EXPECT_EQ(Outcome(0, kStale), Call([&] { return theTwin(theSocket); }));
      EXPECT_EQ(theCase.mValue * (afBuffer ? 2 : 1), IntOption(theSocket, theCase.mLevel, theCase.mOption));
    }
  }
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketOptions, AFailureIsLoggedWithTheLastErrorWhichIsKept) {
  if (zvtest::IsEmulated())
    GTEST_SKIP() << "the emulator looks at the length of a time-out before it looks at the socket";
  for (const OptionCase &theCase : kOptions) {
    if (theCase.mFailure == nullptr) continue;
    for (const zvSocket theSocket : {kzvSocketInvalid, ClosedDescriptor()}) {
      SCOPED_TRACE(Format("%s, socket %d", theCase.mName, theSocket));
      mLog.Clear();
      EXPECT_EQ(Outcome(-1, EBADF), Call([&] { return theCase.mDebug(theSocket); }));
      EXPECT_THAT(mLog.Messages(), ElementsAre(Error(kTCP, Fill(theCase.mFailure, theSocket, EBADF))));
      mLog.Clear();
      EXPECT_EQ(Outcome(-1, EBADF), Call([&] { return theCase.mPlain(theSocket); }));
      EXPECT_THAT(mLog.Calls(), IsEmpty());
    }
  }
}

TEST_F(SocketOptions, TheOwnIPHeaderIsForRawSockets) {
  const Socket theSocket(socket(AF_INET, SOCK_RAW, IPPROTO_UDP));
  if (theSocket < 0) GTEST_SKIP() << "raw sockets need a privilege: " << strerror(errno);
  EXPECT_EQ(0, zvSocketSetIPHeader(theSocket, 1, kLabel));
  EXPECT_EQ(1, IntOption(theSocket, IPPROTO_IP, IP_HDRINCL));
  EXPECT_EQ(0, zvSocketSetIPHeader(theSocket, 0, kLabel));
  EXPECT_EQ(0, IntOption(theSocket, IPPROTO_IP, IP_HDRINCL));
}

//
// Time to live, read back
//

TEST_F(SocketOptions, TheTimeToLiveIsReadIntoOneByte) {
  if (zvtest::IsEmulated()) GTEST_SKIP() << "the emulator reads options as four bytes";
  const Socket theSocket = Stream();
  for (const int theTTL : {1, 17, 128, 255}) {
    ASSERT_EQ(0, setsockopt(theSocket, IPPROTO_IP, IP_TTL, &theTTL, sizeof(theTTL)));
    for (const bool afDebug : {false, true}) {
      unsigned char theBytes[] = {0xA5, 0, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5};
      EXPECT_EQ(Outcome(0, kStale), Call([&] {
                  return afDebug ? zvSocketGetTTL(theSocket, theBytes + 1, kLabel)
                                 : zvSocketGetTTL_NoDebug(theSocket, theBytes + 1);
                }));
      EXPECT_THAT(theBytes, ElementsAre(0xA5, theTTL, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5));
    }
  }
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketOptions, TheTimeToLiveIsAskedForWithALengthOfOne) {
  Arguments theArguments;
  socklen_t theLength = 0;
  Fault theFault("getsockopt", EPERM);
  theFault.Doing([&](const long long *anArguments) {
    CopyInto(&theArguments, 4)(anArguments);
    theLength = *ArgumentAs<const socklen_t>(anArguments[4]);
  });
  unsigned char theTTL = 0;
  EXPECT_EQ(-1, zvSocketGetTTL_NoDebug(77, &theTTL));
  EXPECT_THAT(theArguments, ElementsAre(77, IPPROTO_IP, IP_TTL, AsArgument(&theTTL)));
  EXPECT_EQ(1u, theLength);
}

TEST_F(SocketOptions, TheFailureToReadTheTimeToLiveKeepsItsStrayQuote) {
  unsigned char theTTL = 0;
  EXPECT_EQ(Outcome(-1, EBADF), Call([&] { return zvSocketGetTTL(kzvSocketInvalid, &theTTL, kLabel); }));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(kTCP, Format("Error getting TTL from 'socket -1, Error = 9 [%s]\n", kLabel))));
}

TEST_F(SocketOptions, ATimeToLiveOfNothingIsRefused) {
  const Socket theSocket = Datagram();
  EXPECT_EQ(Outcome(-1, EINVAL), Call([&] { return zvSocketSetTTL(theSocket, 0, kLabel); }));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(kTCP, Format("Error setting TTL to '0' for socket %d, Error = 22 [%s]\n",
                                             int(theSocket), kLabel))));
}

//
// Options whose twins look at the handle, log the result, and leave the last error to the log
//

struct WarningCase {
  const char *mName;
  Logging mDebug;
  int mResult;
  const char *mWarning;
  const char *mFailure;
};

const WarningCase kWarnings[] = {
    {"address reuse", [](zvSocket aSocket) { return zvSocketSetReuseAddress(aSocket, kLabel); }, -1,
     "About to perform setsockopt(SO_REUSEADDR) on an invalid socket [{label}]\n",
     "setsockopt(SO_REUSEADDR) error = -1 for socket {socket} [{label}]\n"},
    {"broadcast", [](zvSocket aSocket) { return zvSocketSetBroadcast(aSocket, kLabel); }, -1,
     "About to perform setsockopt(SO_BROADCAST) on an invalid socket [{label}]\n",
     "setsockopt(SO_BROADCAST) error = -1 for socket {socket} [{label}]\n"},
    {"blocking", [](zvSocket aSocket) { return zvSocketIOCtlSetBlock(aSocket, 1, kLabel); }, EBADF,
     "About to perform an ioctl(SETBLOCKING = 1) on an invalid socket [{label}]\n",
     "ioctl(SETBLOCKING = 1) error = 9 for socket {socket} [{label}]\n"},
    {"blocking, by another flag than 1",
     [](zvSocket aSocket) { return zvSocketIOCtlSetBlock(aSocket, 0x100, kLabel); }, EBADF,
     "About to perform an ioctl(SETBLOCKING = 1) on an invalid socket [{label}]\n",
     "ioctl(SETBLOCKING = 1) error = 9 for socket {socket} [{label}]\n"},
    {"not blocking", [](zvSocket aSocket) { return zvSocketIOCtlSetBlock(aSocket, 0, kLabel); }, EBADF,
     "About to perform an ioctl(SETBLOCKING = 0) on an invalid socket [{label}]\n",
     "ioctl(SETBLOCKING = 0) error = 9 for socket {socket} [{label}]\n"},
};

TEST_F(SocketOptions, TheSecondKindLogsItsResultAndLeavesTheLastErrorToTheLog) {
  for (const WarningCase &theCase : kWarnings) {
    SCOPED_TRACE(theCase.mName);
    mLog.Clear();
    const Outcome theExpected(theCase.mResult, kSpoilt);
    EXPECT_EQ(theExpected, Call([&] { return theCase.mDebug(kzvSocketInvalid); }));
    EXPECT_THAT(mLog.Messages(), ElementsAre(Error(kTCP, Fill(theCase.mWarning, kzvSocketInvalid)),
                                             Error(kTCP, Fill(theCase.mFailure, kzvSocketInvalid))));
    mLog.Clear();
    const int theClosed = ClosedDescriptor();
    EXPECT_EQ(theExpected, Call([&] { return theCase.mDebug(theClosed); }));
    EXPECT_THAT(mLog.Messages(), ElementsAre(Error(kTCP, Fill(theCase.mFailure, theClosed))));
  }
}

TEST_F(SocketOptions, ALogThatKeepsErrnoShowsTheErrorOfTheSecondKind) {
  mLog.SpoilErrno(0);
  for (const WarningCase &theCase : kWarnings) {
    EXPECT_EQ(Outcome(theCase.mResult, EBADF), Call([&] { return theCase.mDebug(kzvSocketInvalid); }));
  }
}

TEST_F(SocketOptions, LingerIsNotApplied) {
  const Socket theSocket = Stream();
  const int theCalls = CallsOf("setsockopt");
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketSetLinger(theSocket, 5, kLabel); }));
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketSetLinger_NoDebug(theSocket, 5); }));
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketSetLinger_NoDebug(kzvSocketInvalid, 5); }));
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketSetLinger(ClosedDescriptor(), 5, kLabel); }));
  EXPECT_EQ(theCalls, CallsOf("setsockopt"));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketOptions, LingerOnTheInvalidSocketIsReportedAndSucceeds) {
  EXPECT_EQ(Outcome(0, kSpoilt), Call([&] { return zvSocketSetLinger(kzvSocketInvalid, 5, kLabel); }));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(kTCP, Format("About to perform SO_LINGER on an invalid socket [%s]\n", kLabel))));
}

//
// Blocking
//

TEST_F(SocketOptions, BlockingIsSwitchedAndOtherFlagsAreKept) {
  const Socket theSocket = Stream();
  const int theFlags = fcntl(theSocket, F_GETFL) | O_APPEND;
  ASSERT_EQ(0, fcntl(theSocket, F_SETFL, theFlags));
  for (const int afBlock : {0, 0, 1, 1, 0, 0x100}) {
    EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketIOCtlSetBlock(theSocket, afBlock, kLabel); }));
    EXPECT_EQ(afBlock != 0 ? theFlags : theFlags | O_NONBLOCK, fcntl(theSocket, F_GETFL));
    EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketIOCtlSetBlock_NoDebug(theSocket, !afBlock); }));
    EXPECT_EQ(afBlock == 0 ? theFlags : theFlags | O_NONBLOCK, fcntl(theSocket, F_GETFL));
  }
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketOptions, FlagsThatCannotBeReadGiveTheErrorNumberItself) {
  EXPECT_EQ(Outcome(EBADF, EBADF), Call([] { return zvSocketIOCtlSetBlock_NoDebug(ClosedDescriptor(), 1); }));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketOptions, FlagsThatCannotBeWrittenGiveTheResultOfTheCall) {
  const Socket theSocket = Stream();
  Fault theFault("fcntl", EPERM, 1, 1);
  EXPECT_EQ(-1, zvSocketIOCtlSetBlock(theSocket, 0, kLabel));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(kTCP, Format("ioctl(SETBLOCKING = 0) error = -1 for socket %d [%s]\n",
                                             int(theSocket), kLabel))));
}

}  // namespace
