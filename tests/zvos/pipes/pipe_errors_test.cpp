// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "pipe_support.h"

#include <atomic>
#include <thread>

namespace {

using namespace zvtest::pipes;

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;
namespace net = zvtest::net;

// A call of the library that fails because a call of the system does.
struct FailingCall {
  const char *mOperation;
  const char *mFaulted;  // the system's function
  const char *mLogged;   // its name in the message; NULL: nothing is logged
  std::function<int()> mCall;
};

std::string OwnName() {
  return Format("zvtest-pipe-%d", static_cast<int>(getpid()));
}

// All calls that can fail, on a pipe of a pair.
std::vector<FailingCall> FailingCalls(int aPipe) {
  static char sByte;
  static int sEnds[2];
  const auto theListener = [] { return zvPipe_Listener(OwnName().c_str(), ZVPIPE_DEFAULT); };
  const auto theConnection = [] { return zvPipe_Connect(OwnName().c_str(), ZVPIPE_DEFAULT); };
  return {
      {"zvPipe_Pair", "socketpair", "socketpair", [] { return zvPipe_Pair(sEnds, ZVPIPE_DEFAULT); }},
      {"zvPipe_Listener", "socket", "socket", theListener},
      {"zvPipe_Listener", "bind", "", theListener},
      {"zvPipe_Listener", "listen", "", theListener},
      {"zvPipe_Accept", "accept4", "accept", [=] { return zvPipe_Accept(aPipe, ZVPIPE_DEFAULT); }},
      {"zvPipe_Connect", "socket", "socket", theConnection},
      {"zvPipe_Connect", "connect", nullptr, theConnection},
      {"zvPipe_SendFD", "sendmsg", "sendmsg", [=] { return zvPipe_SendFD(aPipe, STDOUT_FILENO); }},
      {"zvPipe_RecvFD", "recvmsg", "recvmsg", [=] { return zvPipe_RecvFD(aPipe); }},
      {"zvPipe_Write", "send", "send", [=] { return zvPipe_Write(aPipe, &sByte, 1); }},
      {"zvPipe_Read", "recv", "send", [=] { return zvPipe_Read(aPipe, &sByte, 1); }},
      {"zvPipe_Close", "close", "close", [=] { return zvPipe_Close(aPipe, 1); }},
  };
}

struct ErrorCase {
  int mError;
  zvLogLevel mLevel;    // 0: nothing is logged
  const char *mEnding;  // of the message
};

const ErrorCase kErrors[] = {
    {EWOULDBLOCK, 3, "errno=11 'EWOULDBLOCK'\n"},
    {EINPROGRESS, 3, "errno=115 'EINPROGRESS'\n"},
    {EACCES, 1, "errno=13\n"},
    {EMFILE, 1, "errno=24\n"},
    {EINTR, 1, "errno=4\n"},
    {0, 0, ""},
};

TEST(PipeErrorTest, EveryFailureIsReturnedAndLoggedUnderTheNameOfItsCallAndLeavesNothingOpen) {
  InOwnProcess([] {
    SettleOn(Names::kAbstract);
    const Pair thePair(ZVPIPE_DEFAULT);
    for (const FailingCall &theCall : FailingCalls(thePair[0])) {
      for (const ErrorCase &theError : kErrors) {
        SCOPED_TRACE(Format("%s, %s, error %d", theCall.mOperation, theCall.mFaulted, theError.mError));
        const auto theOpenOnes = OpenDescriptors();
        RecordingLog theLog;
        theLog.SpoilErrno(EDOM);
        Fault theFault(theCall.mFaulted, theError.mError);
        EXPECT_EQ(-theError.mError, theCall.mCall());
        EXPECT_EQ(1, theFault.Hits());
        if (theCall.mLogged == nullptr || theError.mLevel == 0) {
          EXPECT_THAT(theLog.Calls(), IsEmpty());
        } else {
          EXPECT_THAT(theLog.Messages(), ElementsAre(Logged(theError.mLevel, kModule,
                                                            Format("%s: %s() %s", theCall.mOperation,
                                                                   theCall.mLogged, theError.mEnding))));
        }
        EXPECT_EQ(theOpenOnes, OpenDescriptors());
      }
    }
  });
}

TEST(PipeErrorTest, AFailureIsReturnedAlsoWhenTheCloseAfterItFails) {
  InOwnProcess([] {
    SettleOn(Names::kAbstract);
    int theCount = 0;
    for (const FailingCall &theCall : FailingCalls(-1)) {
      const std::string theFaulted = theCall.mFaulted;
      if (theFaulted != "bind" && theFaulted != "listen" && theFaulted != "connect") continue;
      SCOPED_TRACE(theFaulted);
      const auto theOpenOnes = OpenDescriptors();
      RecordingLog theLog;
      theLog.SpoilErrno(EDOM);
      Fault theFault(theCall.mFaulted, EACCES);
      Fault theClose("close", EIO);
      theClose.Doing([](const long long *someArguments) { close(static_cast<int>(someArguments[0])); });
      EXPECT_EQ(-EACCES, theCall.mCall());
      EXPECT_EQ(1, theFault.Hits());
      EXPECT_EQ(1, theClose.Hits());
      if (theCall.mLogged == nullptr) {
        EXPECT_THAT(theLog.Calls(), IsEmpty());
      } else {
        EXPECT_THAT(theLog.Messages(), ElementsAre(Failed(theCall.mOperation, theCall.mLogged, EACCES)));
      }
      EXPECT_EQ(theOpenOnes, OpenDescriptors());
      ++theCount;
    }
    EXPECT_EQ(3, theCount);
  });
}

TEST(PipeErrorTest, NoNameIsAnInvalidArgumentAndTheLineNamesNoCall) {
  for (const Names theForm : {Names::kAbstract, Names::kFiles}) {
    WithNames(theForm, [] {
      const int theSockets = CallsOf("socket");
      RecordingLog theLog;
      theLog.SpoilErrno(EDOM);
      EXPECT_EQ(-EINVAL, zvPipe_Listener(nullptr, ZVPIPE_DEFAULT));
      EXPECT_EQ(-EINVAL, zvPipe_Connect(nullptr, ZVPIPE_DEFAULT));
      EXPECT_THAT(theLog.Messages(), ElementsAre(Error(kModule, "zvPipe_Listener: () errno=22\n"),
                                                 Error(kModule, "zvPipe_Connect: () errno=22\n")));
      EXPECT_EQ(theSockets, CallsOf("socket"));
    });
  }
}

TEST(PipeErrorTest, WhatIsNoPipeIsRefusedByTheSystemAndLogged) {
  InOwnProcess([] {
    SettleOn(Names::kAbstract);
    const net::Socket theFile(open("/dev/null", O_RDWR));
    RecordingLog theLog;
    EXPECT_EQ(-ENOTSOCK, Write(theFile, "x"));
    EXPECT_EQ("error 88", Read(theFile, 1));
    EXPECT_EQ(-ENOTSOCK, zvPipe_Accept(theFile, ZVPIPE_DEFAULT));
    EXPECT_EQ(-EBADF, zvPipe_Close(-1, 1));
    EXPECT_THAT(
        theLog.Messages(),
        ElementsAre(Failed("zvPipe_Write", "send", ENOTSOCK), Failed("zvPipe_Read", "send", ENOTSOCK),
                    Failed("zvPipe_Accept", "accept", ENOTSOCK), Failed("zvPipe_Close", "close", EBADF)));
  });
}

// The address of such a socket is no path.
TEST(PipeErrorTest, TheCloseOfASocketOfAnotherFamilyRemovesNoFile) {
  WithNames(Names::kFiles, [] {
    const int theSocket = net::Bound(net::Stream()).Release();
    Fault theAddress("getsockname", 0);
    theAddress.PassingThrough();
    Fault theUnlink("unlink", EPERM, 0, -1);
    RecordingLog theLog;
    EXPECT_EQ(0, zvPipe_Close(theSocket, 1));
    EXPECT_EQ(1, theAddress.Hits());
    EXPECT_EQ(0, theUnlink.Hits());
    EXPECT_FALSE(IsOpen(theSocket));
    EXPECT_THAT(theLog.Messages(),
                ElementsAre(Info(kModule, Format("zvPipe_Close: Closed (%d)\n", theSocket))));
  });
}

// What a first pipe may come from; the descriptor is closed by the caller.
struct FirstPipe {
  const char *mName;
  std::function<int()> mMake;
};

// A listener made without the library.
int NativeListener() {
  sockaddr_un theAddress = {};
  theAddress.sun_family = AF_UNIX;
  const std::string theName = OwnName();
  theName.copy(theAddress.sun_path + 1, sizeof(theAddress.sun_path) - 1);
  const int theSocket = socket(AF_UNIX, SOCK_STREAM, 0);
  const auto theLength = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + theName.size());
  EXPECT_EQ(0, bind(theSocket, reinterpret_cast<const sockaddr *>(&theAddress), theLength));
  EXPECT_EQ(0, listen(theSocket, 5));
  return theSocket;
}

int AcceptOneOfOurOwn() {
  const net::Socket theListener(NativeListener());
  const std::string theName = OwnName();
  const Peer theClient([&] { EXPECT_GE(zvPipe_Connect(theName.c_str(), ZVPIPE_DEFAULT), 0); });
  const int thePipe = zvPipe_Accept(theListener, ZVPIPE_DEFAULT);
  return thePipe;
}

const FirstPipe kFirstPipes[] = {
    {"Pair",
     [] {
       int theEnds[2] = {-1, -1};
       EXPECT_EQ(0, zvPipe_Pair(theEnds, ZVPIPE_DEFAULT));
       close(theEnds[1]);
       return theEnds[0];
     }},
    {"Listener", [] { return zvPipe_Listener(OwnName().c_str(), ZVPIPE_DEFAULT); }},
    {"Accept", AcceptOneOfOurOwn},
    {"Connect",
     [] {
       const net::Socket theListener(NativeListener());
       return zvPipe_Connect(OwnName().c_str(), ZVPIPE_DEFAULT);
     }},
};

class FirstPipeTest : public ::testing::TestWithParam<FirstPipe> {};

TEST_P(FirstPipeTest, MakesTheProcessIgnoreBrokenPipesOnceAndForAll) {
  InOwnProcess([] {
    signal(SIGPIPE, SIG_DFL);
    long long theSignal = -1;
    struct sigaction theAction = {};
    Fault theSigaction("sigaction", 0, 0, -1);
    theSigaction.PassingThrough().Doing([&](const long long *someArguments) {
      theSignal = someArguments[0];
      theAction = *ArgumentAs<const struct sigaction>(someArguments[1]);
    });
    const int thePipe = GetParam().mMake();
    EXPECT_GE(thePipe, 0);
    EXPECT_EQ(SIGPIPE, theSignal);
    EXPECT_EQ(SIG_IGN, theAction.sa_handler);
    EXPECT_EQ(0, theAction.sa_flags);
    for (const int theOther : {SIGINT, SIGTERM, SIGPIPE, SIGUSR1})
      EXPECT_EQ(0, sigismember(&theAction.sa_mask, theOther));
    EXPECT_EQ(0, zvPipe_Close(thePipe, 1));
    EXPECT_EQ(SIG_IGN, signal(SIGPIPE, SIG_DFL));

    const Pair theSecond(ZVPIPE_DEFAULT);
    EXPECT_EQ(SIG_DFL, signal(SIGPIPE, SIG_DFL)) << "a later pipe changed it again";
    EXPECT_EQ(1, theSigaction.Hits());
  });
}

INSTANTIATE_TEST_SUITE_P(Makers, FirstPipeTest, ::testing::ValuesIn(kFirstPipes),
                         [](const auto &anInfo) { return anInfo.param.mName; });

// What a thread would lose is its process, at the first plain write to a closed peer.
TEST(PipeErrorTest, NoThreadHasItsPipeBeforeBrokenPipesAreIgnored) {
  InOwnProcess([] {
    std::atomic<bool> theFirstIsAtIt{false};
    std::atomic<bool> theSecondHasItsPipe{false};
    Fault theSigaction("sigaction", 0, 0, -1);
    theSigaction.Returning(0)
        .Doing([&](const long long *) {
          theFirstIsAtIt = true;
          // There is no event to wait for when all is well: the other thread waits for this one.
          EXPECT_FALSE(zvtest::WaitUntil([&] { return theSecondHasItsPipe.load(); }, 0.1));
        })
        .AnyThread();
    std::thread theFirst([] { const Pair thePair(ZVPIPE_DEFAULT); });
    while (!theFirstIsAtIt)
      std::this_thread::yield();
    const Pair thePair(ZVPIPE_DEFAULT);
    theSecondHasItsPipe = true;
    theFirst.join();
    EXPECT_EQ(1, theSigaction.Hits());
  });
}

TEST(PipeErrorTest, WhatMakesNoPipeLeavesBrokenPipesAlone) {
  InOwnProcess([] {
    signal(SIGPIPE, SIG_DFL);
    free(zvPipe_GenerateUniqueName("zvtest"));
    EXPECT_LT(zvPipe_Connect("zvtest-nobody-listens-here", ZVPIPE_DEFAULT), 0);
    EXPECT_EQ(-EBADF, zvPipe_Accept(-1, ZVPIPE_DEFAULT));
    EXPECT_EQ(-EBADF, zvPipe_Close(-1, 1));
    Fault theListen("listen", ENOBUFS);
    EXPECT_EQ(-ENOBUFS, zvPipe_Listener(OwnName().c_str(), ZVPIPE_DEFAULT));
    Fault thePair("socketpair", EMFILE);
    int theEnds[2];
    EXPECT_EQ(-EMFILE, zvPipe_Pair(theEnds, ZVPIPE_DEFAULT));
    EXPECT_EQ(SIG_DFL, signal(SIGPIPE, SIG_DFL));
  });
}

TEST(PipeErrorTest, AWriteToAClosedPeerRaisesNoSignalWhateverTheDisposition) {
  InOwnProcess([] {
    Pair thePair(ZVPIPE_DEFAULT);
    const net::SignalCount theSignals(SIGPIPE);
    thePair.Close(1);
    RecordingLog theLog;
    EXPECT_EQ(-EPIPE, Write(thePair[0], "x"));
    EXPECT_THAT(theLog.Messages(), ElementsAre(Failed("zvPipe_Write", "send", EPIPE)));
    EXPECT_EQ(0, theSignals.Count());
  });
}

}  // namespace
