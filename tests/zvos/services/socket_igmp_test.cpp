// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// IGMP messages: their bytes, where they go, and what becomes of failures.

#include <zvOS/zvSocketIGMP.h>

#include "support/HandleChecks.h"
#include "zvos/sockets/socket_service_checks.h"
#include "support/Network.h"

#include <dlfcn.h>
#include <netinet/ip.h>
#include <sys/time.h>

#include <memory>

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using namespace zvtest;
using zvtest::net::kTCP;
using zvtest::net::kTCPRW;
using zvtest::net::Socket;

constexpr uint32 kGroup = 0xEFFFFFFA;       // 239.255.255.250
constexpr uint32 kAllRouters = 0xE0000002;  // 224.0.0.2
constexpr uint8 kReport = 0x16;
constexpr uint8 kLeave = 0x17;

using Bytes = std::vector<int>;
using SendIGMP = int (*)(uint32, uint32, uint8, uint8);

Bytes BytesOf(const void *aData, size_t aLength) {
  const auto *theBytes = static_cast<const unsigned char *>(aData);
  return Bytes(theBytes, theBytes + aLength);
}

// Stands between the library and the network: it gets an ordinary socket in place of a raw one, and
// its messages are kept here.
class Network {
 public:
  Network()
      : mDescriptor(zvtest::net::Datagram().Release()),
        mSocket("socket", 0),
        mSend(std::make_unique<Fault>("sendto", 0)) {
    mSocket.Returning(mDescriptor).Doing([this](const long long *anArguments) {
      mSocketArguments.assign(anArguments, anArguments + 3);
    });
    mSend->Returning(8).Doing(Keeper());
  }

  // Sending fails, or takes fewer bytes.
  void Answer(int aResult, int anError = 0) {
    mSend = std::make_unique<Fault>("sendto", anError);
    mSend->Returning(aResult).Doing(Keeper());
  }

  std::vector<long long> mSocketArguments;
  std::vector<long long> mSendArguments;
  Bytes mMessage;
  sockaddr_in mDestination = {};
  const int mDescriptor;

 private:
  std::function<void(const long long *)> Keeper() {
    return [this](const long long *anArguments) {
      mSendArguments.assign(anArguments, anArguments + 6);
      mMessage = BytesOf(ArgumentAs<void>(anArguments[1]), static_cast<size_t>(anArguments[2]));
      memcpy(&mDestination, ArgumentAs<sockaddr_in>(anArguments[4]), sizeof(mDestination));
    };
  }

  Fault mSocket;
  std::unique_ptr<Fault> mSend;
};

class SocketIGMP : public ::testing::Test {
 protected:
  // The three messages of a message that was sent.
  void ExpectSentMessages(int aSocket, int aCount = 8) {
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(Debug(kTCP, Format("Created socket %d [SendIGMPPacket]\n", aSocket)),
                            Debug(kTCPRW, Format("Sent %d bytes on UDP socket %d [SendIGMPPacket]\n", aCount,
                                                 aSocket)),
                            Debug(kTCP, Format("Closed socket %d [SendIGMPPacket]\n", aSocket))));
  }

  zvtest::RecordingLog mLog;
};

#define EXPECT_SENT_TO(address, network)                                                \
  do {                                                                                  \
    const sockaddr_in theExpected_ = zvtest::net::Address((address), 0);                \
    EXPECT_EQ(0, memcmp(&theExpected_, &(network).mDestination, sizeof(theExpected_))); \
    EXPECT_EQ(16, (network).mSendArguments[5]);                                         \
  } while (0)

// ---- The messages ----

TEST_F(SocketIGMP, AReportGoesToItsGroup) {
  Network theNetwork;
  EXPECT_EQ(0, zvSocketIGMP_JoinGroup(kGroup));
  EXPECT_THAT(theNetwork.mMessage, ElementsAre(0x16, 0, 0, 0, 0xEF, 0xFF, 0xFF, 0xFA));
  EXPECT_SENT_TO(kGroup, theNetwork);
  ExpectSentMessages(theNetwork.mDescriptor);
}

TEST_F(SocketIGMP, ALeaveGoesToAllRouters) {
  Network theNetwork;
  zvSocketIGMP_LeaveGroup(kGroup);
  EXPECT_THAT(theNetwork.mMessage, ElementsAre(0x17, 0, 0, 0, 0xEF, 0xFF, 0xFF, 0xFA));
  EXPECT_SENT_TO(kAllRouters, theNetwork);
  ExpectSentMessages(theNetwork.mDescriptor);
}

TEST_F(SocketIGMP, AnyTypeCodeAndDestinationCanBeSent) {
  Network theNetwork;
  EXPECT_EQ(8, zvSocketSendIGMP(0x0A010203, 0x01020304, 0x11, 0xFF));
  EXPECT_THAT(theNetwork.mMessage, ElementsAre(0x11, 0xFF, 0, 0, 1, 2, 3, 4));
  EXPECT_SENT_TO(0x0A010203u, theNetwork);
}

TEST_F(SocketIGMP, TheSocketIsARawIGMPSocketWithoutFlagsOrOptions) {
  Network theNetwork;
  const int theOptions = CallsOf("setsockopt");
  EXPECT_EQ(8, zvSocketSendIGMP(kGroup, kGroup, kReport, 0));
  EXPECT_THAT(theNetwork.mSocketArguments, ElementsAre(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_IGMP));
  EXPECT_EQ(theNetwork.mDescriptor, theNetwork.mSendArguments[0]);
  EXPECT_EQ(8, theNetwork.mSendArguments[2]);
  EXPECT_EQ(0, theNetwork.mSendArguments[3]);
  EXPECT_EQ(theOptions, CallsOf("setsockopt"));
}

TEST_F(SocketIGMP, EveryMessageHasASocketAndMemoryOfItsOwnThatAreReleased) {
  void *const theMessage = malloc(64);
  memset(theMessage, 0xA5, 64);
  zvtest::ReleaseWatch theWatch;
  theWatch.Watch(theMessage);
  Fault theMalloc("zvMalloc", 0);
  theMalloc.Returning(AsArgument(theMessage));
  Network theNetwork;
  EXPECT_EQ(8, zvSocketSendIGMP(kGroup, kGroup, kReport, 0));
  EXPECT_THAT(theNetwork.mMessage, ElementsAre(0x16, 0, 0, 0, 0xEF, 0xFF, 0xFF, 0xFA));
  EXPECT_EQ(1, theMalloc.Hits());
  EXPECT_EQ(1, theWatch.ReleasesOf(theMessage));
  EXPECT_EQ(-1, fcntl(theNetwork.mDescriptor, F_GETFD));
}

TEST_F(SocketIGMP, TheSocketTableSeesTheMessagesSocket) {
  mLog.AnswerWillLog(zvtest::kDebugLevel, zvtest::net::kTracker, 1);
  Network theNetwork;
  EXPECT_EQ(0, zvSocketIGMP_JoinGroup(kGroup));
  const auto theLine = [&](const char *aState) {
    return Debug(zvtest::net::kTracker,
                 Format("  * ID=%5d  OUT  S=00000000  R=00000000  P=    0 RP=    0 %s (SendIGMPPacket) \n",
                        theNetwork.mDescriptor, aState));
  };
  EXPECT_THAT(mLog.Messages(), Contains(theLine("Created   ")));
  EXPECT_THAT(mLog.Messages(), Contains(theLine("Closed    ")));
}

// ---- Failures ----

TEST_F(SocketIGMP, WithoutARawSocketNothingIsSent) {
  const int theSends = CallsOf("sendto");
  Fault theFault("socket", EPERM, 0, -1);
  EXPECT_EQ(-1, zvSocketSendIGMP(kGroup, kGroup, kReport, 0));
  EXPECT_EQ(theSends, CallsOf("sendto"));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(kTCP, Format("Cannot create socket: error = %d [SendIGMPPacket]\n", EPERM)),
                          Debug(kTCP, "Failed to create RAW socket\n")));
  EXPECT_EQ(0, zvSocketIGMP_JoinGroup(kGroup));
  zvSocketIGMP_LeaveGroup(kGroup);
  EXPECT_EQ(3, theFault.Hits());
}

TEST_F(SocketIGMP, AnUnprivilegedProcessSendsNothingAndJoinsAllTheSame) {
  zvtest::InOwnProcess([this] {
    constexpr uid_t kNobody = 65534;
    if (geteuid() == 0) {
      ASSERT_EQ(0, setuid(kNobody));
    }
    EXPECT_EQ(-1, zvSocketSendIGMP(kGroup, kGroup, kReport, 0));
    EXPECT_EQ(0, zvSocketIGMP_JoinGroup(kGroup));
    EXPECT_THAT(mLog.Messages(),
                Contains(Error(kTCP, Format("Cannot create socket: error = %d [SendIGMPPacket]\n", EPERM))));
  });
}

TEST_F(SocketIGMP, AFailedSendIsLoggedAsThatOfAReportAndReleasesAll) {
  for (const bool afJoin : {true, false}) {
    SCOPED_TRACE(afJoin);
    mLog.Clear();
    Network theNetwork;
    theNetwork.Answer(-1, ENETUNREACH);
    if (afJoin) {
      EXPECT_EQ(0, zvSocketIGMP_JoinGroup(kGroup));
    } else {
      zvSocketIGMP_LeaveGroup(kGroup);
    }
    const int theSocket = theNetwork.mDescriptor;
    EXPECT_THAT(
        mLog.Messages(),
        ElementsAre(Debug(kTCP, Format("Created socket %d [SendIGMPPacket]\n", theSocket)),
                    Debug(kTCPRW, Format("Sent -1 bytes on UDP socket %d [SendIGMPPacket], Error = %d\n",
                                         theSocket, ENETUNREACH)),
                    Debug(kTCP, "Failed to send IGMP join group\n"),
                    Debug(kTCP, Format("Closed socket %d [SendIGMPPacket]\n", theSocket))));
    EXPECT_EQ(-1, fcntl(theSocket, F_GETFD));
  }
}

TEST_F(SocketIGMP, TheResultIsThatOfTheSend) {
  for (const int theResult : {-1, 0, 5, 8}) {
    Network theNetwork;
    theNetwork.Answer(theResult, theResult < 0 ? EPERM : 0);
    EXPECT_EQ(theResult, zvSocketSendIGMP(kGroup, kGroup, kReport, 0));
  }
}

TEST_F(SocketIGMP, WithoutMemoryNothingIsSentAndTheSocketIsClosed) {
  Network theNetwork;
  const int theSends = CallsOf("sendto");
  Fault theFault("zvMalloc", ENOMEM);
  EXPECT_EQ(-1, zvSocketSendIGMP(kGroup, kGroup, kReport, 0));
  EXPECT_EQ(theSends, CallsOf("sendto"));
  EXPECT_EQ(-1, fcntl(theNetwork.mDescriptor, F_GETFD));
}

// ---- The variant with a checksum ----

class Library {
 public:
  explicit Library(const std::string &aName)
      : mHandle(dlopen(zvtest::BuiltLibrary(aName).c_str(), RTLD_NOW | RTLD_LOCAL)) {
    EXPECT_NE(nullptr, mHandle) << dlerror();
  }
  ~Library() {
    if (mHandle != nullptr) dlclose(mHandle);
  }
  Library(const Library &) = delete;
  Library &operator=(const Library &) = delete;

  template <typename Function>
  Function Symbol(const char *aName) const {
    return mHandle != nullptr ? reinterpret_cast<Function>(dlsym(mHandle, aName)) : nullptr;
  }

 private:
  void *mHandle;
};

// All words of a message with a right checksum add up to this.
int SumOf(const Bytes &aMessage) {
  int theSum = 0;
  for (size_t i = 0; i + 1 < aMessage.size(); i += 2)
    theSum += aMessage[i] * 256 + aMessage[i + 1];
  while (theSum > 0xFFFF)
    theSum = (theSum & 0xFFFF) + (theSum >> 16);
  return theSum;
}

struct ChecksumCase {
  uint32 mGroup;
  uint8 mType;
  uint8 mCode;
  int mHigh;
  int mLow;
};

const ChecksumCase kChecksums[] = {
    {kGroup, kReport, 0, 0xFA, 0x04},     {kGroup, kLeave, 0, 0xF9, 0x04},
    {0xE0000001, kReport, 0, 0x09, 0xFE}, {0, 0, 0, 0xFF, 0xFF},
    {0xFFFFFFFF, 0xFF, 0xFF, 0x00, 0x00}, {0xEA000000, kReport, 1, 0xFF, 0xFD},
};

TEST_F(SocketIGMP, TheVariantWithAChecksumSendsTheInternetChecksum) {
  const Library theLibrary("libzvos_igmp_checksum.so");
  const auto theSend = theLibrary.Symbol<SendIGMP>("zvSocketSendIGMP");
  ASSERT_NE(nullptr, theSend);
  ASSERT_NE(&zvSocketSendIGMP, theSend);
  for (const ChecksumCase &theCase : kChecksums) {
    SCOPED_TRACE(Format("group %08x type %02x code %02x", theCase.mGroup, theCase.mType, theCase.mCode));
    Network theNetwork;
    EXPECT_EQ(8, theSend(kAllRouters, theCase.mGroup, theCase.mType, theCase.mCode));
    ASSERT_EQ(8u, theNetwork.mMessage.size());
    EXPECT_EQ(theCase.mHigh, theNetwork.mMessage[2]);
    EXPECT_EQ(theCase.mLow, theNetwork.mMessage[3]);
    EXPECT_EQ(0xFFFF, SumOf(theNetwork.mMessage));

    // The rest is as without it.
    Network thePlain;
    zvSocketSendIGMP(kAllRouters, theCase.mGroup, theCase.mType, theCase.mCode);
    Bytes theMessage = theNetwork.mMessage;
    theMessage[2] = theMessage[3] = 0;
    EXPECT_EQ(thePlain.mMessage, theMessage);
  }
}

// ---- On a real network ----

// A raw socket that gets the IGMP packets to a group.
class Listener {
 public:
  explicit Listener(uint32 aGroup) : mSocket(socket(AF_INET, SOCK_RAW, IPPROTO_IGMP)) {
    const ip_mreq theMembership = {{htonl(aGroup)}, {htonl(INADDR_LOOPBACK)}};
    EXPECT_EQ(0, setsockopt(mSocket, IPPROTO_IP, IP_ADD_MEMBERSHIP, &theMembership, sizeof(theMembership)));
    timeval theLimit = {10, 0};
    EXPECT_EQ(0, setsockopt(mSocket, SOL_SOCKET, SO_RCVTIMEO, &theLimit, sizeof(theLimit)));
  }

  // The next packet; empty when none came.
  Bytes Receive() {
    unsigned char theBuffer[256];
    const ssize_t theLength = recv(mSocket, theBuffer, sizeof(theBuffer), 0);
    return BytesOf(theBuffer, theLength > 0 ? static_cast<size_t>(theLength) : 0);
  }

 private:
  Socket mSocket;
};

// Expects a packet of 28 bytes: an IP header without options, then the message.
void ExpectPacket(const Bytes &aPacket, const Bytes &aDestination, const Bytes &aMessage) {
  ASSERT_EQ(28u, aPacket.size());
  EXPECT_EQ(0x45, aPacket[0]);
  EXPECT_EQ(1, aPacket[8]) << "time to live";
  EXPECT_EQ(IPPROTO_IGMP, aPacket[9]);
  EXPECT_EQ(aDestination, Bytes(aPacket.begin() + 16, aPacket.begin() + 20));
  EXPECT_EQ(aMessage, Bytes(aPacket.begin() + 20, aPacket.end()));
}

void OnHostWithMulticastRoute(const std::function<void()> &aBody) {
  zvtest::OnOwnHost([&] {
    zvtest::Ip({"link set lo up", "route add 224.0.0.0/4 dev lo"});
    aBody();
  });
}

TEST(SocketIGMPOnTheWire, AReportIsReceived) {
  OnHostWithMulticastRoute([] {
    Listener theListener(kGroup);
    EXPECT_EQ(8, zvSocketSendIGMP(kGroup, kGroup, kReport, 0));
    ExpectPacket(theListener.Receive(), {239, 255, 255, 250}, {0x16, 0, 0, 0, 0xEF, 0xFF, 0xFF, 0xFA});
  });
}

TEST(SocketIGMPOnTheWire, ALeaveIsReceived) {
  OnHostWithMulticastRoute([] {
    Listener theListener(kAllRouters);
    zvSocketIGMP_LeaveGroup(kGroup);
    ExpectPacket(theListener.Receive(), {224, 0, 0, 2}, {0x17, 0, 0, 0, 0xEF, 0xFF, 0xFF, 0xFA});
  });
}

TEST(SocketIGMPOnTheWire, WithoutARouteNothingIsSentAndJoiningAnswersZero) {
  zvtest::OnOwnHost([] {
    zvtest::RecordingLog theLog;
    EXPECT_EQ(-1, zvSocketSendIGMP(kGroup, kGroup, kReport, 0));
    EXPECT_EQ(0, zvSocketIGMP_JoinGroup(kGroup));
    EXPECT_THAT(theLog.Messages(), Contains(Debug(kTCP, "Failed to send IGMP join group\n")));
  });
}

}  // namespace
