// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Twins that nobody listens to: with the log below debug level they neither ask the log, nor format,
// nor allocate, nor lock; and with any log at all they answer what the plain twins answer.

#include <zvOS/zvSocket.h>

#include "support/Support.h"
#include "socket_support.h"

#include <algorithm>
#include <cstring>
#include <map>

namespace {

using testing::AnyOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using namespace zvtest;
using namespace zvtest::net;

// What memory, locks, tables and files would cost.
constexpr const char *kCosts[] = {"malloc",
                                  "calloc",
                                  "realloc",
                                  "free",
                                  "zvMalloc",
                                  "zvMallocZeroed",
                                  "zvFree",
                                  "zvStrdup",
                                  "zvStrndup",
                                  "pthread_mutex_lock",
                                  "pthread_mutex_init",
                                  "open",
                                  "write"};

std::map<std::string, int> Costs() {
  std::map<std::string, int> theCosts;
  for (const char *theFunction : kCosts)
    theCosts[theFunction] = CallsOf(theFunction);
  return theCosts;
}

class SocketSilence : public testing::Test {
 protected:
  // The log would take everything, if only its level let us ask.
  SocketSilence() {
    mLog.SpoilErrno(kSpoilt);
    for (const zvLogModule theModule : {kTCP, kTCPRW, kTracker, kTraffic})
      mLog.AnswerWillLog(4, theModule, 1);
  }

  RecordingLog mLog;
};

// Every operation on a socket, in both forms, with arguments that suit any socket.
struct Operation {
  const char *mName;
  long long (*mPlain)(zvSocket);
  long long (*mDebug)(zvSocket);
  bool mfLogsErrors;      // its failures are messages of error level
  bool mfKeepsLastError;  // its failures leave the system's error, whatever the log does
};

sockaddr_in sAddress = Loopback();
sockaddr *const kAddress = Generic(&sAddress);
char sBytes[8];
int sCount;
long sName;
unsigned short sPort;
unsigned char sTTL;

// clang-format off
#define ZVTEST_OPERATION(name, fLogsErrors, fKeepsLastError, ...)                       \
  {#name, [](zvSocket s) -> long long { return zvSocket##name##_NoDebug(__VA_ARGS__); }, \
   [](zvSocket s) -> long long { return zvSocket##name(__VA_ARGS__, kLabel); }, fLogsErrors, fKeepsLastError}

const Operation kOperations[] = {
    ZVTEST_OPERATION(Bind, true, true, s, kAddress, kAddressLength),
    ZVTEST_OPERATION(Listen, true, true, s, 5),
    ZVTEST_OPERATION(Accept, true, true, s, nullptr, nullptr),
    ZVTEST_OPERATION(Connect, true, true, s, kAddress, kAddressLength),
    ZVTEST_OPERATION(Send, false, true, s, sBytes, 8, 0),
    ZVTEST_OPERATION(Recv, false, true, s, sBytes, 8, 0),
    ZVTEST_OPERATION(RecvAvailable, false, true, s, &sCount),
    ZVTEST_OPERATION(Shutdown, true, true, s),
    ZVTEST_OPERATION(SetReuseAddress, true, false, s),
    ZVTEST_OPERATION(SetBroadcast, true, false, s),
    ZVTEST_OPERATION(IOCtlSetBlock, true, false, s, 1),
    ZVTEST_OPERATION(SetTCPKeepAlive, true, true, s, 1, 5000, 5000),
    ZVTEST_OPERATION(SetTCPNoDelay, true, true, s, 1),
    ZVTEST_OPERATION(SetTimeOut, true, true, s, 5, 1, 1),
    ZVTEST_OPERATION(SetSendBuffer, true, true, s, 10000),
    ZVTEST_OPERATION(SetRecvBuffer, true, true, s, 10000),
    ZVTEST_OPERATION(SetIPHeader, true, true, s, 1),
    ZVTEST_OPERATION(SetTTL, true, true, s, 9),
    ZVTEST_OPERATION(GetTTL, true, true, s, &sTTL),
    ZVTEST_OPERATION(SendUDP, false, true, s, kAddress, kAddressLength, sBytes, 8, 0),
    ZVTEST_OPERATION(RecvUDP, false, true, s, sBytes, 8, 0, nullptr, nullptr),
    ZVTEST_OPERATION(SetMulticast, true, false, s, htonl(INADDR_LOOPBACK)),
    ZVTEST_OPERATION(MulticastAdd, true, true, s, "239.1.2.3", htonl(INADDR_LOOPBACK)),
    ZVTEST_OPERATION(MulticastDrop, true, true, s, "239.1.2.3", htonl(INADDR_LOOPBACK)),
    ZVTEST_OPERATION(MulticastSetTTL, true, true, s, 9),
    ZVTEST_OPERATION(MulticastSetLoop, true, true, s, 0),
    ZVTEST_OPERATION(GetPeerName, true, true, s, &sName, &sPort),
    ZVTEST_OPERATION(GetSockName, true, true, s, &sName, &sPort),
    // Last: the descriptor is gone afterwards.
    ZVTEST_OPERATION(Close, true, true, s),
};
#undef ZVTEST_OPERATION
// clang-format on

//
// Success
//

// Uses every operation with success: a socket that listens, a connection to it, datagrams.
void UseEveryOperation() {
  const zvSocket theListener = zvSocketOpen(AF_INET, SOCK_STREAM, 0, kLabel);
  sockaddr_in theAddress = Loopback();
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketSetReuseAddress(theListener, kLabel); }));
  EXPECT_EQ(Outcome(0, 0),
            Call([&] { return zvSocketBind(theListener, Generic(&theAddress), kAddressLength, kLabel); }));
  EXPECT_EQ(Outcome(0, 0), Call([&] { return zvSocketListen(theListener, 5, kLabel); }));
  EXPECT_EQ(Outcome(0, kStale),
            Call([&] { return zvSocketGetSockName(theListener, &sName, &sPort, kLabel); }));
  theAddress = Loopback(sPort);

  const zvSocket theNear = zvSocketOpen(AF_INET, SOCK_STREAM, 0, kLabel);
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketSetTCPNoDelay(theNear, 1, kLabel); }));
  EXPECT_EQ(Outcome(0, kStale),
            Call([&] { return zvSocketSetTCPKeepAlive(theNear, 1, 5000, 5000, kLabel); }));
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketSetTimeOut(theNear, 5, 0, 0, kLabel); }));
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketSetLinger(theNear, 5, kLabel); }));
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketSetSendBuffer(theNear, 10000, kLabel); }));
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketSetRecvBuffer(theNear, 10000, kLabel); }));
  ASSERT_EQ(Outcome(0, 0),
            Call([&] { return zvSocketConnect(theNear, Generic(&theAddress), kAddressLength, kLabel); }));
  zvSocket theFar = kzvSocketInvalid;
  socklen_t theLength = kAddressLength;
  Call([&] { return theFar = zvSocketAccept(theListener, Generic(&theAddress), &theLength, kLabel); });
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketGetPeerName(theFar, &sName, &sPort, kLabel); }));
  EXPECT_EQ(Outcome(8, kStale), Call([&] { return zvSocketSend(theNear, sBytes, 8, 0, kLabel); }));
  EXPECT_EQ(Outcome(8, kStale), Call([&] { return zvSocketRecv(theFar, sBytes, 8, 0, kLabel); }));
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketRecvAvailable(theFar, &sCount, kLabel); }));
  EXPECT_EQ(Outcome(0, 0), Call([&] { return zvSocketShutdown(theFar, kLabel); }));
  for (const zvSocket theSocket : {theNear, theFar, theListener})
    EXPECT_EQ(Outcome(0, 0), Call([&] { return zvSocketClose(theSocket, kLabel); }));

  const zvSocket theDatagrams = zvSocketOpen(AF_INET, SOCK_DGRAM, 0, kLabel);
  const uint32 theLoopback = htonl(INADDR_LOOPBACK);
  theAddress = Loopback();
  EXPECT_EQ(0, zvSocketBind(theDatagrams, Generic(&theAddress), kAddressLength, kLabel));
  EXPECT_EQ(0, zvSocketGetSockName(theDatagrams, &sName, &sPort, kLabel));
  theAddress = Loopback(sPort);
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketSetBroadcast(theDatagrams, kLabel); }));
  EXPECT_EQ(Outcome(0, kStale),
            Call([&] { return zvSocketSetMulticast(theDatagrams, theLoopback, kLabel); }));
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketMulticastSetTTL(theDatagrams, 1, kLabel); }));
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketMulticastSetLoop(theDatagrams, 1, kLabel); }));
  EXPECT_EQ(Outcome(0, kStale),
            Call([&] { return zvSocketMulticastAdd(theDatagrams, "239.1.2.3", theLoopback, kLabel); }));
  EXPECT_EQ(Outcome(0, kStale),
            Call([&] { return zvSocketMulticastDrop(theDatagrams, "239.1.2.3", theLoopback, kLabel); }));
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketSetTTL(theDatagrams, 9, kLabel); }));
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketGetTTL(theDatagrams, &sTTL, kLabel); }));
  EXPECT_EQ(9, sTTL);
  ASSERT_EQ(Outcome(8, kStale), Call([&] {
              return zvSocketSendUDP(theDatagrams, Generic(&theAddress), kAddressLength, sBytes, 8, 0,
                                     kLabel);
            }));
  EXPECT_EQ(Outcome(8, kStale),
            Call([&] { return zvSocketRecvUDP(theDatagrams, sBytes, 8, 0, nullptr, nullptr, kLabel); }));
  EXPECT_EQ(Outcome(0, kStale), Call([&] { return zvSocketIOCtlSetBlock(theDatagrams, 0, kLabel); }));
  EXPECT_EQ(Outcome(0, 0), Call([&] { return zvSocketClose(theDatagrams, kLabel); }));
}

TEST_F(SocketSilence, SuccessBelowDebugLevelAsksNobodyAndCostsNothing) {
  if (zvtest::IsEmulated()) GTEST_SKIP() << "the emulator does not know all of the options";
  for (zvLogLevel theLevel = kNothing; theLevel <= kUpToInformation; ++theLevel) {
    SCOPED_TRACE(theLevel);
    mLog.SetLevel(theLevel);
    const auto theCosts = Costs();
    UseEveryOperation();
    EXPECT_THAT(mLog.Calls(), IsEmpty());
    EXPECT_EQ(theCosts, Costs());
  }
}

TEST_F(SocketSilence, SuccessAtDebugLevelAllocatesAndLocksNothingEither) {
  if (zvtest::IsEmulated()) GTEST_SKIP() << "the emulator does not know all of the options";
  // Without the table and the traffic files, which have locks of their own.
  for (const zvLogModule theModule : {kTCP, kTracker, kTraffic})
    mLog.AnswerWillLog(4, theModule, 0);
  const auto theCosts = Costs();
  UseEveryOperation();
  EXPECT_THAT(mLog.Messages(), Not(IsEmpty()));
  EXPECT_EQ(theCosts, Costs());
}

TEST_F(SocketSilence, OneSystemCallIsMadeAndNoMore) {
  // The table and the traffic files would ask for the names of the socket.
  mLog.SetLevel(kUpToInformation);
  Connection theConnection;
  const int theNames = CallsOf("getsockname") + CallsOf("getpeername");
  const int theTransfers = CallsOf("send") + CallsOf("recv");
  EXPECT_EQ(8, zvSocketSend(theConnection.mNear, sBytes, 8, 0, kLabel));
  EXPECT_EQ(8, zvSocketRecv(theConnection.mFar, sBytes, 8, 0, kLabel));
  EXPECT_EQ(0, zvSocketClose(theConnection.mNear.Release(), kLabel));
  EXPECT_EQ(theNames, CallsOf("getsockname") + CallsOf("getpeername"));
  EXPECT_EQ(theTransfers + 2, CallsOf("send") + CallsOf("recv"));
}

//
// Failure
//

TEST_F(SocketSilence, FailureWithTheLogClosedAsksNobodyAndAnswersLikeThePlainTwin) {
  if (zvtest::IsEmulated()) GTEST_SKIP() << "the emulator does not know all of the options";
  const zvSocket theClosed = ClosedDescriptor();
  for (const zvLogLevel theLevel : {kNothing, kBelowErrors}) {
    mLog.SetLevel(theLevel);
    for (const Operation &theOperation : kOperations) {
      for (const zvSocket theSocket : {kzvSocketInvalid, theClosed}) {
        SCOPED_TRACE(Format("%s, socket %d, level %d", theOperation.mName, theSocket, theLevel));
        const auto theCosts = Costs();
        const Outcome thePlain = Call([&] { return theOperation.mPlain(theSocket); });
        EXPECT_EQ(EBADF, thePlain.mError);
        EXPECT_EQ(thePlain, Call([&] { return theOperation.mDebug(theSocket); }));
        EXPECT_EQ(theCosts, Costs());
      }
    }
  }
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketSilence, FailureBelowDebugLevelLogsItsErrorsOnly) {
  const zvSocket theClosed = ClosedDescriptor();
  for (const zvLogLevel theLevel : {kUpToErrors, kUpToInformation}) {
    mLog.SetLevel(theLevel);
    for (const Operation &theOperation : kOperations) {
      SCOPED_TRACE(Format("%s, level %d", theOperation.mName, theLevel));
      mLog.Clear();
      const auto theCosts = Costs();
      theOperation.mDebug(theClosed);
      EXPECT_EQ(theCosts, Costs());
      EXPECT_EQ(theOperation.mfLogsErrors, !mLog.Calls().empty());
      EXPECT_THAT(mLog.Calls(), Each(AnyOf("Begin 1 21", "Append", "End")));
    }
  }
}

TEST_F(SocketSilence, AFailedConnectBelowDebugLevelIsOneRecord) {
  mLog.SetLevel(kUpToInformation);
  const Socket theDeaf = Bound(Stream());
  const Socket theSocket = Stream();
  sockaddr_in theAddress = Loopback(PortOf(theDeaf));
  EXPECT_EQ(Outcome(-1, ECONNREFUSED),
            Call([&] { return zvSocketConnect(theSocket, Generic(&theAddress), kAddressLength, kLabel); }));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(
                  kTCP, Format("   Cannot connect socket %d: error = 111 [%s]\n", int(theSocket), kLabel))));
}

TEST_F(SocketSilence, WouldBlockStaysTheLastErrorAtEveryLevel) {
  const Socket theListener = Listener(SOCK_NONBLOCK);
  for (zvLogLevel theLevel = kNothing; theLevel <= kUpToInformation + 1; ++theLevel) {
    SCOPED_TRACE(theLevel);
    mLog.SetLevel(theLevel);
    Fault theFault("connect", EAGAIN);
    EXPECT_EQ(Outcome(-1, EAGAIN),
              Call([&] { return zvSocketConnect(77, kAddress, kAddressLength, kLabel); }));
    EXPECT_EQ(Outcome(kzvSocketInvalid, EAGAIN),
              Call([&] { return zvSocketAccept(theListener, nullptr, nullptr, kLabel); }));
  }
}

//
// Logs that misbehave
//

TEST_F(SocketSilence, WhatTheLogLeavesInErrnoReachesOnlyTheCallersThatWereTold) {
  if (zvtest::IsEmulated()) GTEST_SKIP() << "the emulator does not know all of the options";
  const zvSocket theClosed = ClosedDescriptor();
  for (const int theLogError : {EDOM, EAGAIN, EINPROGRESS, ECONNRESET}) {
    mLog.SpoilErrno(theLogError);
    for (const Operation &theOperation : kOperations) {
      for (const zvSocket theSocket : {kzvSocketInvalid, theClosed}) {
        SCOPED_TRACE(Format("%s, socket %d, log error %d", theOperation.mName, theSocket, theLogError));
        const Outcome thePlain = Call([&] { return theOperation.mPlain(theSocket); });
        const Outcome theExpected(thePlain.mResult, theOperation.mfKeepsLastError ? EBADF : theLogError);
        EXPECT_EQ(theExpected, Call([&] { return theOperation.mDebug(theSocket); }));
      }
    }
  }
}

TEST_F(SocketSilence, SuccessIsUntouchedByWhatTheLogLeavesInErrno) {
  if (zvtest::IsEmulated()) GTEST_SKIP() << "the emulator does not know all of the options";
  for (const int theLogError : {EAGAIN, EINPROGRESS, ECONNRESET}) {
    mLog.SpoilErrno(theLogError);
    UseEveryOperation();
  }
}

TEST_F(SocketSilence, ALogThatRefusesItsRecordsGetsNoText) {
  if (zvtest::IsEmulated()) GTEST_SKIP() << "the emulator does not know all of the options";
  mLog.RefuseRecords();
  UseEveryOperation();
  for (const Operation &theOperation : kOperations) {
    SCOPED_TRACE(theOperation.mName);
    const Outcome thePlain = Call([&] { return theOperation.mPlain(kzvSocketInvalid); });
    const Outcome theExpected(thePlain.mResult, theOperation.mfKeepsLastError ? EBADF : kSpoilt);
    EXPECT_EQ(theExpected, Call([&] { return theOperation.mDebug(kzvSocketInvalid); }));
  }
  EXPECT_THAT(mLog.Calls(), Not(IsEmpty()));
  EXPECT_THAT(mLog.Calls(), Each(AnyOf(StartsWith("Begin "), StartsWith("WillLog "))));
}

TEST_F(SocketSilence, ThePlainTwinsNeverLog) {
  if (zvtest::IsEmulated()) GTEST_SKIP() << "the emulator does not know all of the options";
  const zvSocket theClosed = ClosedDescriptor();
  for (const Operation &theOperation : kOperations) {
    SCOPED_TRACE(theOperation.mName);
    for (const zvSocket theSocket : {kzvSocketInvalid, theClosed}) {
      EXPECT_EQ(EBADF, Call([&] { return theOperation.mPlain(theSocket); }).mError);
    }
    Socket theSocket = Datagram(SOCK_NONBLOCK);
    theOperation.mPlain(theSocket);
    if (theOperation.mName == std::string("Close")) theSocket.Release();
  }
  const Socket theOpened(zvSocketOpen_NoDebug(AF_INET, SOCK_STREAM, 0));
  EXPECT_GE(theOpened, 0);
  EXPECT_EQ(kzvSocketInvalid, zvSocketOpen_NoDebug(AF_MAX + 1, SOCK_STREAM, 0));
  EXPECT_EQ(0, zvSocketSetLinger_NoDebug(kzvSocketInvalid, 1));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

}  // namespace
