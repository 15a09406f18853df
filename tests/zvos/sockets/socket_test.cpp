// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The primitives of sockets: the system call behind each operation, its message, the last error it leaves.

#include <zvOS/zvSocket.h>

#include "socket_support.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <thread>
#include <type_traits>

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using namespace zvtest;
using namespace zvtest::net;

static_assert(sizeof(zvSocket) == 4 && std::is_signed<zvSocket>::value, "a descriptor");
static_assert(kzvSocketInvalid == -1, "what the system answers when it fails");

//
// The last error
//

TEST_F(SocketPrimitives, TheLastErrorIsErrno) {
  errno = ECONNREFUSED;
  EXPECT_EQ(ECONNREFUSED, zvSocketGetLastError());
  zvSocketSetLastError(EPIPE);
  EXPECT_EQ(EPIPE, errno);
  zvSocketSetLastError(0);
  EXPECT_EQ(0, errno);
}

TEST_F(SocketPrimitives, EachThreadHasItsOwnLastError) {
  zvSocketSetLastError(EPIPE);
  int theOtherError = -1;
  std::thread([&] {
    errno = 0;
    theOtherError = zvSocketGetLastError();
    zvSocketSetLastError(ECONNRESET);
  }).join();
  EXPECT_EQ(0, theOtherError);
  EXPECT_EQ(EPIPE, zvSocketGetLastError());
}

TEST_F(SocketPrimitives, TwoErrorsHaveQuestionsOfTheirOwn) {
  for (int theError = 0; theError <= EHWPOISON; ++theError) {
    EXPECT_EQ(Outcome(theError == EAGAIN ? 1 : 0, theError), Call(zvSocketLastErrorIsWouldBlock, theError));
    EXPECT_EQ(Outcome(theError == ECONNRESET ? 1 : 0, theError),
              Call(zvSocketLastErrorIsConnectionReset, theError));
  }
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

//
// The two forms of an operation
//

constexpr MacroCase kMacros[] = {
    {ZVTEST_EXPANDED(zvSocketOpen(x, y, z, w)), "zvSocketOpen_Debug(x, y, z, w, 0)"},
    {ZVTEST_EXPANDED(zvSocketBind(x, y, z, w)), "zvSocketBind_Debug(x, y, z, w)"},
    {ZVTEST_EXPANDED(zvSocketListen(x, y, z)), "zvSocketListen_Debug(x, y, z)"},
    {ZVTEST_EXPANDED(zvSocketAccept(x, y, z, w)), "zvSocketAccept_Debug(x, y, z, w)"},
    {ZVTEST_EXPANDED(zvSocketConnect(x, y, z, w)), "zvSocketConnect_Debug(x, y, z, w)"},
    {ZVTEST_EXPANDED(zvSocketConnectUnreachable(x, y, z, w)), "zvSocketConnectUnreachable_NoDebug(x, y, z)"},
    {ZVTEST_EXPANDED(zvSocketSend(x, y, z, w, v)), "zvSocketSend_Debug(x, y, z, w, v)"},
    {ZVTEST_EXPANDED(zvSocketRecv(x, y, z, w, v)), "zvSocketRecv_Debug(x, y, z, w, v)"},
    {ZVTEST_EXPANDED(zvSocketRecvAvailable(x, y, z)), "zvSocketRecvAvailable_Debug(x, y, z)"},
    {ZVTEST_EXPANDED(zvSocketShutdown(x, y)), "zvSocketShutdown_Debug(x, y)"},
    {ZVTEST_EXPANDED(zvSocketClose(x, y)), "zvSocketClose_Debug(x, y, 0)"},
    {ZVTEST_EXPANDED(zvSocketGetHostName(x, y, z)), "zvSocket_GetHostName_Debug(x, y, z)"},
};

TEST_F(SocketPrimitives, ThePlainNamesStandForTheLoggingTwins) {
  for (const MacroCase &theCase : kMacros) {
    EXPECT_EQ(WithoutBlanks(theCase.mExpected), WithoutBlanks(theCase.mExpansion));
  }
}

TEST_F(SocketPrimitives, OnlyTheUnreachableConnectHasNoLoggingTwin) {
  for (const char *theName : {"Open", "Bind", "Listen", "Accept", "Connect", "ConnectUnreachable", "Send",
                              "Recv", "RecvAvailable", "Shutdown", "Close"}) {
    const bool afHasTwin = std::string(theName) != "ConnectUnreachable";
    EXPECT_NE(nullptr, dlsym(RTLD_DEFAULT, Format("zvSocket%s_NoDebug", theName).c_str())) << theName;
    EXPECT_EQ(afHasTwin, dlsym(RTLD_DEFAULT, Format("zvSocket%s_Debug", theName).c_str()) != nullptr)
        << theName;
  }
}

// One operation on socket 77, and what the system gets from both of its twins.
struct SystemCall {
  const char *mFunction;
  Arguments mArguments;
  std::function<long long()> mPlain;
  std::function<long long()> mDebug;
};

TEST_F(SocketPrimitives, BothTwinsGiveTheSystemTheSameArguments) {
  sockaddr_in theAddress = Loopback(1);
  sockaddr *const thePeer = Generic(&theAddress);
  socklen_t theLength = 16;
  int theCount = 0;
  char theBytes[8] = "";
  const long long thePeerArgument = AsArgument(thePeer);
  const long long theBytesArgument = AsArgument(theBytes);
  const SystemCall kCalls[] = {
      {"bind",
       {77, thePeerArgument, 16},
       [&] { return zvSocketBind_NoDebug(77, thePeer, 16); },
       [&] { return zvSocketBind(77, thePeer, 16, kLabel); }},
      {"listen",
       {77, 19},
       [&] { return zvSocketListen_NoDebug(77, 19); },
       [&] { return zvSocketListen(77, 19, kLabel); }},
      {"accept4",
       {77, thePeerArgument, AsArgument(&theLength), SOCK_CLOEXEC},
       [&] { return zvSocketAccept_NoDebug(77, thePeer, &theLength); },
       [&] { return zvSocketAccept(77, thePeer, &theLength, kLabel); }},
      {"connect",
       {77, thePeerArgument, 16},
       [&] { return zvSocketConnect_NoDebug(77, thePeer, 16); },
       [&] { return zvSocketConnect(77, thePeer, 16, kLabel); }},
      {"send",
       {77, theBytesArgument, 8, 0x4000},
       [&] { return zvSocketSend_NoDebug(77, theBytes, 8, 0); },
       [&] { return zvSocketSend(77, theBytes, 8, 0, kLabel); }},
      {"send",
       {77, theBytesArgument, 8, 0x4000 | MSG_OOB | MSG_DONTWAIT},
       [&] { return zvSocketSend_NoDebug(77, theBytes, 8, MSG_OOB | MSG_DONTWAIT); },
       [&] { return zvSocketSend(77, theBytes, 8, MSG_OOB | MSG_DONTWAIT, kLabel); }},
      {"recv",
       {77, theBytesArgument, 8, 0},
       [&] { return zvSocketRecv_NoDebug(77, theBytes, 8, 0); },
       [&] { return zvSocketRecv(77, theBytes, 8, 0, kLabel); }},
      {"recv",
       {77, theBytesArgument, 8, MSG_PEEK},
       [&] { return zvSocketRecv_NoDebug(77, theBytes, 8, MSG_PEEK); },
       [&] { return zvSocketRecv(77, theBytes, 8, MSG_PEEK, kLabel); }},
      {"ioctl",
       {77, FIONREAD, AsArgument(&theCount)},
       [&] { return zvSocketRecvAvailable_NoDebug(77, &theCount); },
       [&] { return zvSocketRecvAvailable(77, &theCount, kLabel); }},
      {"shutdown",
       {77, SHUT_RDWR},
       [&] { return zvSocketShutdown_NoDebug(77); },
       [&] { return zvSocketShutdown(77, kLabel); }},
      {"close", {77}, [&] { return zvSocketClose_NoDebug(77); }, [&] { return zvSocketClose(77, kLabel); }},
  };
  for (const SystemCall &theCall : kCalls) {
    for (const auto &theTwin : {theCall.mPlain, theCall.mDebug}) {
      SCOPED_TRACE(theCall.mFunction);
      Arguments theArguments;
      Fault theFault(theCall.mFunction, EPERM);
      theFault.Doing(CopyInto(&theArguments, theCall.mArguments.size()));
      EXPECT_EQ(Outcome(-1, EPERM), Call(theTwin));
      EXPECT_THAT(theArguments, ElementsAreArray(theCall.mArguments));
      EXPECT_EQ(1, theFault.Hits());
    }
  }
}

// What is logged when the handle is not one: the warning of those that look at it, then the failure.
struct Misuse {
  const char *mName;
  std::function<long long(zvSocket)> mPlain;
  std::function<long long(zvSocket)> mDebug;
  const char *mWarning;            // nullptr: none
  std::vector<Message> mFailures;  // texts with places, see Fill
};

std::vector<Misuse> Misuses(sockaddr_in *anAddress, socklen_t *aLength) {
  static char sBytes[8];
  static int sCount;
  sockaddr *const theAddress = Generic(anAddress);
  const auto TcpError = [](const char *aText) { return Message{1, kTCP, aText, "", 0}; };
  const auto TcpDebug = [](const char *aText) { return Message{4, kTCP, aText, "", 0}; };
  const auto Transfer = [](const char *aText) { return Message{4, kTCPRW, aText, "", 0}; };
  return {
      {"bind",
       [=](zvSocket aSocket) { return zvSocketBind_NoDebug(aSocket, theAddress, 16); },
       [=](zvSocket aSocket) { return zvSocketBind(aSocket, theAddress, 16, kLabel); },
       "About to bind an invalid socket [{label}]\n",
       {TcpError("Cannot bind socket {socket}: error = {error} [{label}]\n")}},
      {"listen",
       [=](zvSocket aSocket) { return zvSocketListen_NoDebug(aSocket, 19); },
       [=](zvSocket aSocket) { return zvSocketListen(aSocket, 19, kLabel); },
       "About to listen on an invalid socket [{label}]\n",
       {TcpError("Error listening on socket {socket}: backlog = 19, error = {error} [{label}]\n")}},
      {"accept4",
       [=](zvSocket aSocket) { return zvSocketAccept_NoDebug(aSocket, theAddress, aLength); },
       [=](zvSocket aSocket) { return zvSocketAccept(aSocket, theAddress, aLength, kLabel); },
       "About to accept on an invalid socket [{label}]\n",
       {TcpError("Cannot accept from socket {socket}: error = {error} [{label}]\n")}},
      {"connect",
       [=](zvSocket aSocket) { return zvSocketConnect_NoDebug(aSocket, theAddress, 16); },
       [=](zvSocket aSocket) { return zvSocketConnect(aSocket, theAddress, 16, kLabel); },
       nullptr,
       {TcpDebug("Trying to connect to '"), TcpDebug("127.0.0.1:9"), TcpDebug("' [{label}]\n"),
        TcpError("   Cannot connect socket {socket}: error = {error} [{label}]\n")}},
      {"send",
       [=](zvSocket aSocket) { return zvSocketSend_NoDebug(aSocket, sBytes, 8, 0); },
       [=](zvSocket aSocket) { return zvSocketSend(aSocket, sBytes, 8, 0, kLabel); },
       nullptr,
       {Transfer("Sent -1 bytes on socket {socket} [{label}], Error = {error}\n")}},
      {"receive",
       [=](zvSocket aSocket) { return zvSocketRecv_NoDebug(aSocket, sBytes, 8, 0); },
       [=](zvSocket aSocket) { return zvSocketRecv(aSocket, sBytes, 8, 0, kLabel); },
       nullptr,
       {Transfer("Received -1 bytes on socket {socket}, error = {error} [{label}]\n")}},
      {"count what can be received",
       [=](zvSocket aSocket) { return zvSocketRecvAvailable_NoDebug(aSocket, &sCount); },
       [=](zvSocket aSocket) { return zvSocketRecvAvailable(aSocket, &sCount, kLabel); },
       nullptr,
       {}},
      {"shut down",
       [=](zvSocket aSocket) { return zvSocketShutdown_NoDebug(aSocket); },
       [=](zvSocket aSocket) { return zvSocketShutdown(aSocket, kLabel); },
       "About to shutdown an invalid socket [{label}]\n",
       {TcpError("Cannot shutdown socket {socket}: error = {error} [{label}]\n")}},
      {"close",
       [=](zvSocket aSocket) { return zvSocketClose_NoDebug(aSocket); },
       [=](zvSocket aSocket) { return zvSocketClose(aSocket, kLabel); },
       "About to close an invalid socket [{label}]\n",
       {TcpError("Cannot close socket {socket}: error = {error} [{label}]\n")}},
  };
}

TEST_F(SocketPrimitives, MisuseIsReportedAndLeftToTheSystemToRefuse) {
  sockaddr_in theAddress = Loopback(9);
  socklen_t theLength = kAddressLength;
  for (const zvSocket theSocket : {kzvSocketInvalid, ClosedDescriptor()}) {
    for (const Misuse &theMisuse : Misuses(&theAddress, &theLength)) {
      SCOPED_TRACE(Format("%s, socket %d", theMisuse.mName, theSocket));
      std::vector<testing::Matcher<const Message &>> theExpected;
      if (theSocket == kzvSocketInvalid && theMisuse.mWarning != nullptr) {
        theExpected.push_back(Error(kTCP, Fill(theMisuse.mWarning, theSocket)));
      }
      for (const Message &theFailure : theMisuse.mFailures) {
        theExpected.push_back(
            zvtest::Logged(theFailure.mLevel, theFailure.mModule, Fill(theFailure.mText, theSocket, EBADF)));
      }
      mLog.Clear();
      EXPECT_EQ(Outcome(-1, EBADF), Call([&] { return theMisuse.mDebug(theSocket); }));
      EXPECT_THAT(mLog.Messages(), ElementsAreArray(theExpected));
      mLog.Clear();
      EXPECT_EQ(Outcome(-1, EBADF), Call([&] { return theMisuse.mPlain(theSocket); }));
      EXPECT_THAT(mLog.Calls(), IsEmpty());
    }
  }
}

TEST_F(SocketPrimitives, TheWarningComesBeforeTheCall) {
  std::vector<Message> theWarnings;
  Fault theFault("close", EBADF);
  theFault.Doing([&](const long long *) { theWarnings = mLog.Messages(); });
  EXPECT_EQ(-1, zvSocketClose(kzvSocketInvalid, kLabel));
  EXPECT_THAT(theWarnings, ElementsAre(Error(kTCP, "About to close an invalid socket [Player control 3]\n")));
}

TEST_F(SocketPrimitives, MessagesNameTheirPlaceInTheSource) {
  zvSocketClose(kzvSocketInvalid, kLabel);
  ASSERT_THAT(mLog.Messages(), SizeIs(2));
  for (const Message &theMessage : mLog.Messages()) {
    EXPECT_THAT(theMessage.mFile, HasSubstr("zvSocket"));
    EXPECT_GT(theMessage.mLine, 1u);
  }
}

}  // namespace
