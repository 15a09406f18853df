// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include <zvOS/cpp/Socket.hpp>

#include "support/Faults.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <netdb.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string>

namespace {

using ::testing::Contains;

using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using namespace zvtest;

// A listener, and both ends of a connection to it.
struct Connection {
  zv::Socket mListener;
  zv::Socket mClient;
  zv::Socket mServer;
};

void Connect(Connection &aConnection) {
  auto theListener = zv::Socket::Listening(zv::Address::Loopback(), 1, "listener");
  ASSERT_TRUE(theListener);
  aConnection.mListener = *std::move(theListener);
  const auto theAddress = aConnection.mListener.OwnAddress();
  ASSERT_TRUE(theAddress);
  auto theClient = zv::Socket::Connected(*theAddress, "client");
  ASSERT_TRUE(theClient);
  aConnection.mClient = *std::move(theClient);
  auto theServer = aConnection.mListener.Accept();
  ASSERT_TRUE(theServer);
  aConnection.mServer = *std::move(theServer);
}

class CppSocket : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NO_FATAL_FAILURE(Connect(mConnection)); }

  // A message of a place of that label.
  static auto Labelled(const std::string &aLabel) {
    return Contains(Field(&Message::mText, HasSubstr("[" + aLabel + "]")));
  }

  RecordingLog mLog;
  Connection mConnection;
  char mBuffer[8] = "";
};

TEST(CppAddress, KeepsTheByteOrdersApart) {
  const zv::Address theAddress = *zv::Address::DotForm("192.0.2.1", 8080);
  const auto *const theBytes = reinterpret_cast<const unsigned char *>("\xC0\x00\x02\x01");
  uint32 theExpected;
  memcpy(&theExpected, theBytes, sizeof(theExpected));
  EXPECT_EQ(theExpected, theAddress.IPAddress());
  EXPECT_EQ(8080, theAddress.Port());
  EXPECT_STREQ("192.0.2.1:8080", theAddress.AsText().c_str());
  EXPECT_TRUE(theAddress == zv::Address(theExpected, 8080));
  EXPECT_TRUE(theAddress != zv::Address(theExpected, 8081));
  EXPECT_STREQ("127.0.0.1:1", zv::Address::Loopback(1).AsText().c_str());
  EXPECT_STREQ("0.0.0.0:0", zv::Address().AsText().c_str());
}

// The flat function answers 0 for both ends of the range, as for what is no address.
TEST(CppAddress, OfADottedFormIsOneOrAnError) {
  for (const char *theText : {"0.0.0.0", "255.255.255.255", "10.0.0.1"}) {
    const auto theAddress = zv::Address::DotForm(theText, 7);
    ASSERT_TRUE(theAddress) << theText;
    EXPECT_EQ(std::string(theText) + ":7", theAddress->AsText().c_str());
  }
  EXPECT_STREQ("10.0.0.1:0", zv::Address::DotForm("10.1", 0)->AsText().c_str());
  for (const char *theText : {"127.0.0.l", "", "1.2.3.256", "1.2.3.4.5", "localhost", "0.0.0.0x"}) {
    errno = EPERM;
    const auto theAddress = zv::Address::DotForm(theText, 0);
    ASSERT_FALSE(theAddress) << theText;
    EXPECT_EQ(-1, theAddress.error().Status());
    EXPECT_EQ(0, theAddress.error().Errno());
  }
  EXPECT_FALSE(zv::Address::DotForm(nullptr, 0));
}

TEST(CppAddress, IsFoundByNameOrSaysWhyNot) {
  const RecordingLog theLog;
  auto theAddress = zv::Address::Resolve("127.0.0.1", 80);
  ASSERT_TRUE(theAddress);
  EXPECT_TRUE(*theAddress == zv::Address::Loopback(80));
  // Any address is one; but nobody is asked there who has only others.
  EXPECT_TRUE(zv::Address::Resolve("0.0.0.0", 80));
  EXPECT_EQ(EAI_NONAME, zv::Address::Resolve("2001:db8::1", 80).error().Status());
  const Fault theFault("getaddrinfo", EAI_NONAME);
  const auto theNone = zv::Address::Resolve("nobody.invalid", 80);
  EXPECT_EQ(EAI_NONAME, theNone.error().Status());
}

TEST_F(CppSocket, SendsAndReceives) {
  EXPECT_EQ(4u, mConnection.mClient.Send("text").value_or(0));
  EXPECT_EQ(4u, mConnection.mServer.Recv(mBuffer, sizeof(mBuffer)).value_or(0));
  EXPECT_STREQ("text", mBuffer);
  EXPECT_EQ(2u, mConnection.mServer.Send("go", 2).value_or(0));
  EXPECT_TRUE(WaitUntil([&] { return mConnection.mClient.RecvAvailable().value_or(0) == 2; }));
  EXPECT_TRUE(mConnection.mServer.Close());
  EXPECT_FALSE(mConnection.mServer);
  EXPECT_EQ(2u, mConnection.mClient.Recv(mBuffer, sizeof(mBuffer)).value_or(0));
  EXPECT_EQ(0u, mConnection.mClient.Recv(mBuffer, sizeof(mBuffer)).value_or(1));
}

TEST_F(CppSocket, TellsBothOfItsAddresses) {
  zv::Address thePeer;
  auto theListenerAddress = mConnection.mListener.OwnAddress();
  auto theClient = zv::Socket::Connected(*theListenerAddress);
  ASSERT_TRUE(theClient);
  const auto theServer = mConnection.mListener.Accept(&thePeer);
  ASSERT_TRUE(theServer);
  EXPECT_TRUE(thePeer == *theClient->OwnAddress());
  EXPECT_TRUE(thePeer == *theServer->PeerAddress());
  EXPECT_TRUE(*theListenerAddress == *theClient->PeerAddress());
}

TEST_F(CppSocket, GoesByTheLabelThatItWasMadeWith) {
  mLog.Clear();
  EXPECT_TRUE(mConnection.mClient.Close());
  EXPECT_THAT(mLog.Messages(), Labelled("client"));
  mLog.Clear();
  mConnection.mServer = zv::Socket();
  EXPECT_THAT(mLog.Messages(), Labelled("listener"));
}

// In the table of sockets, too, and when it cannot be had: two listeners are told apart by it.
TEST_F(CppSocket, AListenerGoesByItsLabelFromTheBeginning) {
  const auto Saying = [](const std::string &aText) {
    return Contains(Field(&Message::mText, HasSubstr(aText)));
  };
  mLog.Clear();
  mLog.AnswerWillLog(ZVLOGLEVEL_DEBUG, ZVLOG_M_SOCKETTRACKER, 1);
  const auto theListener = zv::Socket::Listening(zv::Address::Loopback(), 1, "music");
  ASSERT_TRUE(theListener);
  EXPECT_THAT(mLog.Messages(), Saying("Listening  (music)"));
  EXPECT_THAT(mLog.Messages(), Not(Saying("(zvSocket")));
  EXPECT_THAT(mLog.Messages(), Not(Saying("[zvSocket")));
  mLog.Clear();
  EXPECT_EQ(EADDRINUSE, zv::Socket::Listening(*theListener->OwnAddress(), 1, "late").error().Errno());
  EXPECT_THAT(mLog.Messages(), Labelled("late"));
  EXPECT_THAT(mLog.Messages(), Not(Saying("[zvSocket")));
}

TEST_F(CppSocket, APlaceCanHaveALabelOfItsOwn) {
  mLog.Clear();
  const Fault theFault("send", EPIPE);
  const auto theCount = mConnection.mClient.Send("text", 4, 0, "greeting");
  EXPECT_EQ(EPIPE, theCount.error().Errno());
  EXPECT_EQ(-1, theCount.error().Status());
  EXPECT_THAT(mLog.Messages(), Labelled("greeting"));
}

// The file of this test stands in the default argument of a function that another one calls.
TEST_F(CppSocket, WithoutALabelGoesByTheFileThatMadeIt) {
  mLog.Clear();
  auto theSocket = zv::Socket::Open();
  ASSERT_TRUE(theSocket);
  EXPECT_THAT(mLog.Messages(), Labelled(__FILE__));
  const zv::Socket theAdopted(theSocket->Release());
  EXPECT_STREQ(__FILE__, zv::Label::Here().c_str());
}

TEST_F(CppSocket, ThatDoesNotWaitSaysSo) {
  EXPECT_TRUE(mConnection.mServer.SetBlocking(false));
  const auto theCount = mConnection.mServer.Recv(mBuffer, sizeof(mBuffer));
  EXPECT_TRUE(theCount.error().WouldBlock());
  EXPECT_TRUE(mConnection.mListener.SetBlocking(false));
  const auto theSocket = mConnection.mListener.Accept();
  EXPECT_TRUE(theSocket.error().WouldBlock());
}

TEST_F(CppSocket, OptionsAreSetOrSayWhyNot) {
  zv::Socket &theSocket = mConnection.mClient;
  EXPECT_TRUE(theSocket.SetTCPNoDelay(true));
  EXPECT_TRUE(theSocket.SetTCPKeepAlive(true));
  EXPECT_TRUE(theSocket.SetReuseAddress());
  EXPECT_TRUE(theSocket.SetSendBuffer(4096));
  EXPECT_TRUE(theSocket.SetRecvBuffer(4096));
  EXPECT_TRUE(theSocket.SetTTL(3));
  int theValue = 0;
  socklen_t theSize = sizeof(theValue);
  EXPECT_EQ(0, getsockopt(theSocket.Descriptor(), IPPROTO_IP, IP_TTL, &theValue, &theSize));
  EXPECT_EQ(3, theValue);
  const zv::Socket theNone;
  EXPECT_EQ(EBADF, zv::Socket().SetTCPNoDelay(true).error().Errno());
  // The flat function answers the error number itself when the flags cannot be read.
  EXPECT_EQ(EBADF, zv::Socket().SetBlocking(true).error().Errno());
}

TEST_F(CppSocket, IsShutDownAndClosedOnce) {
  EXPECT_TRUE(mConnection.mClient.Shutdown());
  EXPECT_EQ(0u, mConnection.mServer.Recv(mBuffer, sizeof(mBuffer)).value_or(1));
  const int theDescriptor = mConnection.mClient.Release();
  EXPECT_FALSE(mConnection.mClient);
  EXPECT_TRUE(IsOpen(theDescriptor));
  { const zv::Socket theSocket(theDescriptor, "again"); }
  EXPECT_FALSE(IsOpen(theDescriptor));
}

TEST_F(CppSocket, WhatCannotBeConnectedOrBoundIsClosed) {
  const auto theAddress = mConnection.mListener.OwnAddress();
  mConnection.mListener = zv::Socket();
  const std::set<int> theFormer = OpenDescriptors();
  const auto theSocket = zv::Socket::Connected(*theAddress);
  EXPECT_EQ(ECONNREFUSED, theSocket.error().Errno());
  const Fault theFault("listen", EADDRINUSE);
  const auto theListener = zv::Socket::Listening(zv::Address::Loopback());
  EXPECT_EQ(EADDRINUSE, theListener.error().Errno());
  EXPECT_THAT(DescriptorsBesides(theFormer), IsEmpty());
}

TEST_F(CppSocket, ListensOnTheGivenPortOrOnOneThatTheSystemChooses) {
  const auto theAddress = mConnection.mListener.OwnAddress();
  EXPECT_NE(0, theAddress->Port());
  EXPECT_EQ(EADDRINUSE, zv::Socket::Listening(*theAddress).error().Errno());
  const auto theOther = zv::Socket::Listening(zv::Address::Any());
  ASSERT_TRUE(theOther);
  EXPECT_NE(0, theOther->OwnAddress()->Port());
}

TEST(CppSocketDatagrams, ComeWithTheirSender) {
  const RecordingLog theLog;
  uint16 thePort = 0;
  auto theReceiver = zv::Socket::GetUDPSocket(INADDR_LOOPBACK, &thePort, "receiver");
  ASSERT_TRUE(theReceiver);
  EXPECT_GE(thePort, kzvSocket_IANA_MinPortNumber);
  auto theSender = zv::Socket::Open(SOCK_DGRAM);
  ASSERT_TRUE(theSender);
  EXPECT_TRUE(theSender->Bind(zv::Address::Loopback()));
  EXPECT_EQ(3u, theSender->SendUDP(zv::Address::Loopback(thePort), "abc", 3).value_or(0));
  char theBuffer[8] = "";
  zv::Address theSource;
  EXPECT_EQ(3u, theReceiver->RecvUDP(&theSource, theBuffer, sizeof(theBuffer)).value_or(0));
  EXPECT_STREQ("abc", theBuffer);
  EXPECT_TRUE(theSource == *theSender->OwnAddress());
  EXPECT_TRUE(theSender->SetBroadcast());
  EXPECT_TRUE(theSender->MulticastSetTTL(2));
  EXPECT_TRUE(theSender->MulticastSetLoop(false));
  // User-mode emulation does not know the option.
  EXPECT_TRUE(theSender->SetMulticast(zv::Address::Loopback().IPAddress()) || IsEmulated());
  EXPECT_EQ(EINVAL, theSender->MulticastAdd("192.0.2.1", 0).error().Errno());
  EXPECT_FALSE(theSender->MulticastDrop("239.1.2.3", 0));
}

TEST_F(CppSocket, APolicySaysWhoMayConnect) {
  const zv::Policy theLocal(kzvSocketPolicy_IP_LocalHostOnly);
  EXPECT_TRUE(theLocal.AcceptConnection(mConnection.mServer));
  const zv::Policy theOthers(kzvSocketPolicy_IP_AllExceptLocalHost);
  EXPECT_TRUE(theOthers);
  // What is not connected has no peer to judge.
  EXPECT_FALSE(theLocal.AcceptConnection(zv::Socket()));
  EXPECT_TRUE(theLocal.IsValidIF("lo"));
  EXPECT_TRUE(theLocal.SetPriority(mConnection.mServer, kzvSocket_QOS_AUDIO_VIDEO));
  const uint32 theLoopback = zv::Address::Loopback().IPAddress();
  EXPECT_EQ(theLoopback, theLocal.MapLocalIPAddressToLoopBack(theLoopback));
  EXPECT_THAT(theLocal.IPAddressList(true), ::testing::ElementsAre(theLoopback));
}

// A decision of the program sees the addresses as the library gives them.
TEST_F(CppSocket, APolicyIsGivenTheAddressesInNetworkByteOrder) {
  static uint32 sSource;
  static uint32 sReceived;
  const zv::Policy thePolicy(kzvSocketPolicy_IP_All);
  zvSocketPolicy_SetFunc(
      thePolicy.Handle(),
      [](zvSocketPolicy *, uint32 aSource, uint32 aReceived) {
        sSource = aSource;
        sReceived = aReceived;
        return 0;
      },
      nullptr, nullptr);
  EXPECT_FALSE(thePolicy.AcceptConnection(mConnection.mServer));
  EXPECT_EQ(zv::Address::Loopback().IPAddress(), sSource);
  EXPECT_EQ(zv::Address::Loopback().IPAddress(), sReceived);
}

}  // namespace
