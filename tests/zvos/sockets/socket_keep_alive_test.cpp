// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Options of sockets: keep-alive and time-outs.

#include <zvOS/zvSocket.h>

#include "socket_support.h"

#include <netinet/tcp.h>

#include <climits>
#include <cstring>

using testing::ElementsAre;
using testing::IsEmpty;
using namespace zvtest;
using namespace zvtest::net;

namespace {

//
// Keep-alive
//

struct KeepAliveCase {
  int mfOn;
  int mTime;
  int mInterval;
  int mIdleSeconds;      // 0: the system's own
  int mIntervalSeconds;  // 0: the system's own
};

constexpr KeepAliveCase kKeepAlives[] = {
    {1, 10000, 100, 10, 1},
    {1, kzvSocket_SuggestedKeepAliveTime, kzvSocket_SuggestedKeepAliveInterval, 10, 1},
    {7, 1999, 59999, 1, 59},
    {1, 1, 999, 1, 1},
    {1, -5000, -1, 1, 1},
    {1, 0, 5000, 0, 0},
    {1, 5000, 0, 0, 0},
    {1, 0, 0, 0, 0},
    {0, 10000, 1000, 0, 0},
};

TEST_F(SocketOptions, KeepAliveTimesAreWholeSecondsAndSetOnlyTogether) {
  for (const KeepAliveCase &theCase : kKeepAlives) {
    SCOPED_TRACE(Format("on %d, time %d, interval %d", theCase.mfOn, theCase.mTime, theCase.mInterval));
    for (const bool afDebug : {false, true}) {
      const Socket theSocket = Stream();
      const int theIdle = IntOption(theSocket, IPPROTO_TCP, TCP_KEEPIDLE);
      const int theInterval = IntOption(theSocket, IPPROTO_TCP, TCP_KEEPINTVL);
      const int theCount = IntOption(theSocket, IPPROTO_TCP, TCP_KEEPCNT);
      const int theCalls = CallsOf("setsockopt");
      EXPECT_EQ(Outcome(0, kStale), Call([&] {
                  return afDebug ? zvSocketSetTCPKeepAlive(theSocket, theCase.mfOn, theCase.mTime,
                                                           theCase.mInterval, kLabel)
                                 : zvSocketSetTCPKeepAlive_NoDebug(theSocket, theCase.mfOn, theCase.mTime,
                                                                   theCase.mInterval);
                }));
      EXPECT_EQ(theCalls + (theCase.mIdleSeconds != 0 ? 3 : 1), CallsOf("setsockopt"));
      EXPECT_EQ(theCase.mfOn != 0 ? 1 : 0, IntOption(theSocket, SOL_SOCKET, SO_KEEPALIVE));
      EXPECT_EQ(theCase.mIdleSeconds != 0 ? theCase.mIdleSeconds : theIdle,
                IntOption(theSocket, IPPROTO_TCP, TCP_KEEPIDLE));
      EXPECT_EQ(theCase.mIntervalSeconds != 0 ? theCase.mIntervalSeconds : theInterval,
                IntOption(theSocket, IPPROTO_TCP, TCP_KEEPINTVL));
      EXPECT_EQ(theCount, IntOption(theSocket, IPPROTO_TCP, TCP_KEEPCNT));
    }
  }
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketOptions, KeepAliveTimesAreNotSetWhenItCannotBeSwitchedOn) {
  Fault theFault("setsockopt", ENOBUFS, 0, -1);
  theFault.Returning(-5);
  EXPECT_EQ(Outcome(-5, ENOBUFS), Call([] { return zvSocketSetTCPKeepAlive(77, 1, 5000, 5000, kLabel); }));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(
                  kTCP, Format("Cannot set TCP keep alive to 1 for socket 77: error = 105 [%s]\n", kLabel))));
}

TEST_F(SocketOptions, TheIntervalIsSetAlsoWhenTheIdleTimeIsRefused) {
  // The system takes at most 32767 seconds.
  const Socket theSocket = Stream();
  EXPECT_EQ(Outcome(-1, EINVAL),
            Call([&] { return zvSocketSetTCPKeepAlive(theSocket, 1, 40000000, 5000, kLabel); }));
  EXPECT_EQ(1, IntOption(theSocket, SOL_SOCKET, SO_KEEPALIVE));
  EXPECT_EQ(5, IntOption(theSocket, IPPROTO_TCP, TCP_KEEPINTVL));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(kTCP, Format("Cannot set TCP keep alive to 1 for socket %d: error = 22 [%s]\n",
                                     int(theSocket), kLabel))));
}

TEST_F(SocketOptions, TheIdleTimeStaysWhenTheIntervalIsRefused) {
  const Socket theSocket = Stream();
  EXPECT_EQ(Outcome(-1, EINVAL),
            Call([&] { return zvSocketSetTCPKeepAlive(theSocket, 1, 5000, 40000000, kLabel); }));
  EXPECT_EQ(5, IntOption(theSocket, IPPROTO_TCP, TCP_KEEPIDLE));
}

TEST_F(SocketOptions, TheFailureOfTheIdleTimeComesFirst) {
  const Socket theSocket = Stream();
  Fault theIntervalFault("setsockopt", EPERM);
  theIntervalFault.Returning(-8);
  Fault theIdleFault("setsockopt", EPERM, 1, 1);
  theIdleFault.Returning(-7);
  EXPECT_EQ(-7, zvSocketSetTCPKeepAlive_NoDebug(theSocket, 1, 5000, 5000));
  EXPECT_EQ(1, theIdleFault.Hits());
  EXPECT_EQ(1, theIntervalFault.Hits());

  Fault theOnlyFault("setsockopt", EPERM, 2, 1);
  theOnlyFault.Returning(-8);
  EXPECT_EQ(-8, zvSocketSetTCPKeepAlive_NoDebug(theSocket, 1, 5000, 5000));
}

//
// Time-outs
//

TEST_F(SocketOptions, TheSystemRefusesTheTimeOut) {
  const Socket theSocket = Stream();
  for (const long theTimeOut : {5L, 0L, -1L, 5000000L, LONG_MAX}) {
    mLog.Clear();
    const int theCalls = CallsOf("setsockopt");
    EXPECT_EQ(Outcome(-1, EINVAL),
              Call([&] { return zvSocketSetTimeOut(theSocket, theTimeOut, 1, 1, kLabel); }));
    // What is to be sent comes first; after its failure receiving is not tried.
    EXPECT_EQ(theCalls + 1, CallsOf("setsockopt"));
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(Error(kTCP, Format("Cannot set timeout for socket %d: error = 22 [%s]\n",
                                               int(theSocket), kLabel))));
    EXPECT_EQ(Outcome(-1, EINVAL),
              Call([&] { return zvSocketSetTimeOut_NoDebug(theSocket, theTimeOut, 0, 1); }));
  }
}

TEST_F(SocketOptions, ATimeOutForBothIsGivenTwice) {
  std::vector<long long> theOptions;
  std::vector<int> theValues;
  Fault theFault("setsockopt", 0, 0, -1);
  theFault.Returning(0).Doing([&](const long long *anArguments) {
    theOptions.push_back(anArguments[2]);
    theValues.push_back(*ArgumentAs<const int>(anArguments[3]));
  });
  EXPECT_EQ(0, zvSocketSetTimeOut(77, -3, 1, 1, kLabel));
  EXPECT_THAT(theOptions, ElementsAre(SO_SNDTIMEO, SO_RCVTIMEO));
  EXPECT_THAT(theValues, ElementsAre(-3000, -3000));
}

TEST_F(SocketOptions, ATimeOutForNothingCallsNothing) {
  const int theCalls = CallsOf("setsockopt");
  EXPECT_EQ(Outcome(0, kStale), Call([] { return zvSocketSetTimeOut(kzvSocketInvalid, 5, 0, 0, kLabel); }));
  EXPECT_EQ(Outcome(0, kStale), Call([] { return zvSocketSetTimeOut_NoDebug(kzvSocketInvalid, 5, 0, 0); }));
  EXPECT_EQ(theCalls, CallsOf("setsockopt"));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

}  // namespace
