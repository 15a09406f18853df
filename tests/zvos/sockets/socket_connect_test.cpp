// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The logging connect: what counts as would-block, and a log level that changes while the system waits.

#include <zvOS/zvSocket.h>

#include "support/Support.h"
#include "socket_support.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace zvtest;
using namespace zvtest::net;

class SocketConnect : public testing::Test {
 protected:
  // What a twin leaves in errno never comes from the log.
  SocketConnect() : mListener(Listener(SOCK_NONBLOCK)), mAddress(Loopback(PortOf(mListener))) {
    mLog.SpoilErrno(kSpoilt);
  }

  // Connects a new socket, with anErrorBefore in errno.
  Outcome Connect(int anErrorBefore) {
    const Socket theSocket = Stream();
    mSocket = theSocket;
    const Outcome theOutcome =
        Call([&] { return zvSocketConnect(theSocket, Generic(&mAddress), kAddressLength, kLabel); },
             anErrorBefore);
    // Who is connected makes room for the next.
    const Socket theAccepted(accept(mListener, nullptr, nullptr));
    return theOutcome;
  }

  RecordingLog mLog;
  Socket mListener;
  sockaddr_in mAddress;
  int mSocket = -1;
};

TEST_F(SocketConnect, ASuccessLeavesZeroWhateverWasInErrno) {
  for (const zvLogLevel theLevel : {kNothing, kUpToInformation, kUpToDebug}) {
    SCOPED_TRACE(theLevel);
    mLog.SetLevel(theLevel);
    for (const int theStale : {0, EINPROGRESS, ECONNREFUSED, kStale})
      EXPECT_EQ(Outcome(0, 0), Connect(theStale)) << theStale;
  }
}

// Nothing clears errno before the connect, and the connect that succeeds does not either.
TEST_F(SocketConnect, AStaleWouldBlockStaysTheLastErrorOfASuccessAtEveryLevel) {
  for (const zvLogLevel theLevel : {kNothing, kUpToInformation, kUpToDebug}) {
    SCOPED_TRACE(theLevel);
    mLog.Clear();
    mLog.SetLevel(theLevel);
    EXPECT_EQ(Outcome(0, EAGAIN), Connect(EAGAIN));
    if (theLevel < kUpToDebug) {
      EXPECT_THAT(mLog.Messages(), IsEmpty());
      continue;
    }
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(Debug(kTCP, "Trying to connect to '"),
                            Debug(kTCP, Format("127.0.0.1:%d", ntohs(mAddress.sin_port))),
                            Debug(kTCP, Format("' [%s]\n", kLabel)), Debug(kTCP, "   Connected\n")));
  }
}

TEST_F(SocketConnect, AStaleWouldBlockIsNoneWhenTheConnectFailsOtherwiseOrIsInProgress) {
  {
    Fault theFault("connect", ECONNREFUSED);
    EXPECT_EQ(Outcome(-1, ECONNREFUSED), Connect(EAGAIN));
  }
  Fault theFault("connect", EINPROGRESS);
  mLog.Clear();
  EXPECT_EQ(Outcome(0, 0), Connect(EAGAIN));
  EXPECT_EQ("   Connected\n", mLog.Messages().back().mText);
}

// A log that spoils errno with EAGAIN before the connect must not make a success a would-block.
TEST_F(SocketConnect, TheLogHasNoPartInWhatCountsAsWouldBlock) {
  mLog.SpoilErrno(EAGAIN);
  EXPECT_EQ(Outcome(0, 0), Connect(kStale));
  EXPECT_EQ("   Connected\n", mLog.Messages().back().mText);
}

TEST_F(SocketConnect, EachRecordGoesByTheLevelThatHoldsWhenItIsMade) {
  mLog.AnswerWillLog(4, kTracker, 1);
  for (const int theError : {0, ECONNREFUSED}) {
    SCOPED_TRACE(theError);
    // Raised while the connect waits.
    mLog.Clear();
    mLog.SetLevel(kNothing);
    {
      Fault theFault("connect", theError);
      if (theError == 0) theFault.PassingThrough();
      theFault.Doing([this](const long long *) { mLog.SetLevel(kUpToDebug); });
      EXPECT_EQ(Outcome(theError == 0 ? 0 : -1, theError), Connect(kStale));
    }
    const auto theMessages = mLog.Messages();
    ASSERT_FALSE(theMessages.empty());
    if (theError == 0) {
      EXPECT_THAT(theMessages[0], Debug(kTCP, "   Connected\n"));
    } else {
      EXPECT_THAT(theMessages[0],
                  Error(kTCP, Format("   Cannot connect socket %d: error = 111 [%s]\n", mSocket, kLabel)));
    }
    // The table is told as well; it does not know the socket.
    EXPECT_THAT(mLog.Calls(), testing::Contains("WillLog 4 53"));

    // Lowered while the connect waits.
    mLog.Clear();
    mLog.SetLevel(kUpToDebug);
    {
      Fault theFault("connect", theError);
      if (theError == 0) theFault.PassingThrough();
      theFault.Doing([this](const long long *) { mLog.SetLevel(kNothing); });
      EXPECT_EQ(Outcome(theError == 0 ? 0 : -1, theError), Connect(kStale));
    }
    EXPECT_THAT(mLog.Messages(), ElementsAre(Debug(kTCP, "Trying to connect to '"),
                                             Debug(kTCP, Format("127.0.0.1:%d", ntohs(mAddress.sin_port))),
                                             Debug(kTCP, Format("' [%s]\n", kLabel))));
  }
}

}  // namespace
