// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Datagrams between two hosts: multicast groups, time to live, type of service, and the messages that
// announce membership, all as the other host receives them.

#include <zvOS/zvSocket.h>
#include <zvOS/zvSocketIGMP.h>
#include <zvOS/zvSocketQOS.h>

#include "zvos/sockets/socket_support.h"
#include "support/Network.h"

#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netinet/ip.h>
#include <poll.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using ::testing::IsEmpty;
using namespace zvtest;
using zvtest::net::Generic;
using zvtest::net::Socket;

constexpr uint16 kPort = 4000;
constexpr int kPatience = 10 * 1000;
constexpr char kGroup[] = "239.1.2.3";
constexpr char kOtherGroup[] = "239.1.2.4";
constexpr char kLabel[] = "Discovery";

sockaddr_in Destination(const char *anAddress) {
  sockaddr_in theAddress = zvtest::net::Address(0, kPort);
  theAddress.sin_addr.s_addr = Address(anAddress);
  return theAddress;
}

void Send(int aSocket, const char *aDestination, const std::string &aText) {
  sockaddr_in theAddress = Destination(aDestination);
  const auto theLength = static_cast<int>(aText.size());
  EXPECT_EQ(theLength, zvSocketSendUDP_NoDebug(aSocket, Generic(&theAddress), sizeof(theAddress),
                                               aText.data(), theLength, 0))
      << strerror(errno);
}

// A socket that sends to groups over the cable, which is the system's own choice here.
Socket Sender() {
  return Socket(zvSocketOpen_NoDebug(AF_INET, SOCK_DGRAM, 0));
}

// A socket that receives everything that the current host gets on the port, with the fields of the IP
// header that it came with.
class Receiver {
 public:
  Receiver() : mSocket(zvSocketOpen_NoDebug(AF_INET, SOCK_DGRAM, 0)) {
    EXPECT_EQ(0, zvSocketSetReuseAddress_NoDebug(mSocket));
    sockaddr_in theAddress = zvtest::net::Address(INADDR_ANY, kPort);
    EXPECT_EQ(0, zvSocketBind_NoDebug(mSocket, Generic(&theAddress), sizeof(theAddress)));
    const int theOn = 1;
    EXPECT_EQ(0, setsockopt(mSocket, IPPROTO_IP, IP_RECVTTL, &theOn, sizeof(theOn)));
    EXPECT_EQ(0, setsockopt(mSocket, IPPROTO_IP, IP_RECVTOS, &theOn, sizeof(theOn)));
  }

  int Get() const { return mSocket; }

  // The text of the next datagram; "nothing" when none comes.
  std::string Next() {
    pollfd theEvent = {mSocket, POLLIN, 0};
    if (poll(&theEvent, 1, kPatience) != 1) return "nothing";

    char theText[256];
    alignas(cmsghdr) char theFields[256];
    sockaddr_in theSource = {};
    iovec thePart = {theText, sizeof(theText)};
    msghdr theMessage = {};
    theMessage.msg_name = &theSource;
    theMessage.msg_namelen = sizeof(theSource);
    theMessage.msg_iov = &thePart;
    theMessage.msg_iovlen = 1;
    theMessage.msg_control = theFields;
    theMessage.msg_controllen = sizeof(theFields);
    const ssize_t theLength = recvmsg(mSocket, &theMessage, 0);
    if (theLength < 0) return "nothing";
    mSource = theSource.sin_addr.s_addr;
    for (cmsghdr *theField = CMSG_FIRSTHDR(&theMessage); theField != nullptr;
         theField = CMSG_NXTHDR(&theMessage, theField)) {
      if (theField->cmsg_type == IP_TTL) memcpy(&mTTL, CMSG_DATA(theField), sizeof(mTTL));
      if (theField->cmsg_type == IP_TOS) mTypeOfService = *CMSG_DATA(theField);
    }
    return std::string(theText, static_cast<size_t>(theLength));
  }

  // Of the last datagram.
  uint32 Source() const { return mSource; }
  int TTL() const { return mTTL; }
  int TypeOfService() const { return mTypeOfService; }

 private:
  Socket mSocket;
  uint32 mSource = 0;
  int mTTL = -1;
  int mTypeOfService = -1;
};

// The two hosts of a test; each receives.
struct Hosts {
  Hosts() {
    mNeighbour.Run([this] { mThere = std::make_unique<Receiver>(); });
  }

  Neighbour mNeighbour;
  Receiver mHere;
  std::unique_ptr<Receiver> mThere;
};

class MulticastHosts : public ::testing::Test {
 protected:
  zvtest::RecordingLog mLog;
};

// ---- Groups ----

TEST_F(MulticastHosts, AGroupIsReceivedWhileItIsJoined) {
  OnOwnHost([this] {
    Hosts theHosts;
    const Socket theSender = Sender();
    Receiver &theReceiver = *theHosts.mThere;
    const uint32 theInterface = Address(Neighbour::kThere);
    Send(theSender, kGroup, "before");
    EXPECT_EQ(0, zvSocketMulticastAdd(theReceiver.Get(), kGroup, theInterface, kLabel));
    Send(theSender, kGroup, "joined");
    Send(theSender, kOtherGroup, "to another group");
    EXPECT_EQ(0, zvSocketMulticastDrop(theReceiver.Get(), kGroup, theInterface, kLabel));
    Send(theSender, kGroup, "after");
    Send(theSender, Neighbour::kThere, "end");

    EXPECT_EQ("joined", theReceiver.Next());
    EXPECT_EQ(Address(Neighbour::kHere), theReceiver.Source());
    EXPECT_EQ("end", theReceiver.Next());
    EXPECT_THAT(mLog.Calls(), IsEmpty());
  });
}

TEST_F(MulticastHosts, AGroupIsJoinedOnTheInterfaceWithTheGivenAddress) {
  OnOwnHost([] {
    Hosts theHosts;
    const Socket theSender = Sender();
    Receiver &theReceiver = *theHosts.mThere;
    EXPECT_EQ(0, zvSocketMulticastAdd_NoDebug(theReceiver.Get(), kGroup, Address("127.0.0.1")));
    Send(theSender, kGroup, "not for the loopback interface");
    EXPECT_EQ(0, zvSocketMulticastAdd_NoDebug(theReceiver.Get(), kOtherGroup, 0));
    Send(theSender, kOtherGroup, "where the system chose");
    EXPECT_EQ("where the system chose", theReceiver.Next());
  });
}

// Emulators of processors pass on the socket options that they know.
bool EmulatorLacksOutgoingInterface() {
  const Socket theSocket = Sender();
  const in_addr theAddress = {INADDR_ANY};
  return !std::string(ZVTEST_EMULATOR).empty() &&
         setsockopt(theSocket, IPPROTO_IP, IP_MULTICAST_IF, &theAddress, sizeof(theAddress)) != 0;
}

TEST_F(MulticastHosts, TheOutgoingInterfaceIsTheOneWithTheGivenAddress) {
  if (EmulatorLacksOutgoingInterface()) GTEST_SKIP() << "the emulator does not know IP_MULTICAST_IF";
  OnOwnHost([] {
    Hosts theHosts;
    EXPECT_EQ(0, zvSocketMulticastAdd_NoDebug(theHosts.mThere->Get(), kGroup, 0));
    const Socket theSender = Sender();
    EXPECT_EQ(0, zvSocketSetMulticast_NoDebug(theSender, Address("127.0.0.1")));
    Send(theSender, kGroup, "into the loopback interface");
    EXPECT_EQ(0, zvSocketSetMulticast_NoDebug(theSender, Address(Neighbour::kHere)));
    Send(theSender, kGroup, "over the cable");
    EXPECT_EQ("over the cable", theHosts.mThere->Next());
  });
}

TEST_F(MulticastHosts, TheSendingHostReceivesItsOwnMulticastAsLongAsItLoops) {
  OnOwnHost([] {
    Hosts theHosts;
    const Socket theSender = Sender();
    EXPECT_EQ(0, zvSocketMulticastAdd_NoDebug(theHosts.mHere.Get(), kGroup, Address(Neighbour::kHere)));
    EXPECT_EQ(0, zvSocketMulticastAdd_NoDebug(theHosts.mThere->Get(), kGroup, Address(Neighbour::kThere)));
    EXPECT_EQ(0, zvSocketMulticastSetLoop_NoDebug(theSender, 0));
    Send(theSender, kGroup, "not looped");
    EXPECT_EQ(0, zvSocketMulticastSetLoop_NoDebug(theSender, 256));
    Send(theSender, kGroup, "looped");

    EXPECT_EQ("looped", theHosts.mHere.Next());
    EXPECT_EQ("not looped", theHosts.mThere->Next());
    EXPECT_EQ("looped", theHosts.mThere->Next());
  });
}

// ---- Time to live ----

TEST_F(MulticastHosts, TheTimeToLiveOfGroupsArrivesAsItWasSet) {
  OnOwnHost([] {
    Hosts theHosts;
    Receiver &theReceiver = *theHosts.mThere;
    EXPECT_EQ(0, zvSocketMulticastAdd_NoDebug(theReceiver.Get(), kGroup, Address(Neighbour::kThere)));
    const Socket theSender = Sender();
    Send(theSender, kGroup, "default");
    EXPECT_EQ("default", theReceiver.Next());
    EXPECT_EQ(1, theReceiver.TTL());
    for (const int theTTL : {2, 127, 128, 255}) {
      EXPECT_EQ(0, zvSocketMulticastSetTTL_NoDebug(theSender, static_cast<unsigned char>(theTTL)));
      Send(theSender, kGroup, std::to_string(theTTL));
      EXPECT_EQ(std::to_string(theTTL), theReceiver.Next());
      EXPECT_EQ(theTTL, theReceiver.TTL());
    }
  });
}

TEST_F(MulticastHosts, WithATimeToLiveOfZeroAGroupStaysOnTheHost) {
  OnOwnHost([] {
    Hosts theHosts;
    EXPECT_EQ(0, zvSocketMulticastAdd_NoDebug(theHosts.mHere.Get(), kGroup, Address(Neighbour::kHere)));
    EXPECT_EQ(0, zvSocketMulticastAdd_NoDebug(theHosts.mThere->Get(), kGroup, Address(Neighbour::kThere)));
    const Socket theSender = Sender();
    EXPECT_EQ(0, zvSocketMulticastSetTTL_NoDebug(theSender, 0));
    Send(theSender, kGroup, "stays");
    EXPECT_EQ(0, zvSocketMulticastSetTTL_NoDebug(theSender, 1));
    Send(theSender, kGroup, "leaves");
    EXPECT_EQ("stays", theHosts.mHere.Next());
    EXPECT_EQ("leaves", theHosts.mHere.Next());
    EXPECT_EQ("leaves", theHosts.mThere->Next());
  });
}

TEST_F(MulticastHosts, TimesToLiveOfGroupsAndOfSingleHostsAreApart) {
  OnOwnHost([] {
    Hosts theHosts;
    Receiver &theReceiver = *theHosts.mThere;
    EXPECT_EQ(0, zvSocketMulticastAdd_NoDebug(theReceiver.Get(), kGroup, Address(Neighbour::kThere)));
    const Socket theSender = Sender();
    EXPECT_EQ(0, zvSocketMulticastSetTTL_NoDebug(theSender, 5));
    EXPECT_EQ(0, zvSocketSetTTL_NoDebug(theSender, 200));
    Send(theSender, kGroup, "group");
    EXPECT_EQ("group", theReceiver.Next());
    EXPECT_EQ(5, theReceiver.TTL());
    Send(theSender, Neighbour::kThere, "host");
    EXPECT_EQ("host", theReceiver.Next());
    EXPECT_EQ(200, theReceiver.TTL());
  });
}

TEST_F(MulticastHosts, BroadcastsArriveOnceTheyAreAllowed) {
  OnOwnHost([] {
    Hosts theHosts;
    const Socket theSender = Sender();
    sockaddr_in theAddress = Destination("10.9.0.255");
    EXPECT_EQ(-1, zvSocketSendUDP_NoDebug(theSender, Generic(&theAddress), sizeof(theAddress), "no", 2, 0));
    EXPECT_EQ(EACCES, zvSocketGetLastError());
    EXPECT_EQ(0, zvSocketSetBroadcast_NoDebug(theSender));
    Send(theSender, "10.9.0.255", "to all");
    EXPECT_EQ("to all", theHosts.mThere->Next());
  });
}

// ---- Type of service ----

TEST_F(MulticastHosts, ThePriorityClassArrivesAsTheTypeOfService) {
  OnOwnHost([this] {
    Hosts theHosts;
    Receiver &theReceiver = *theHosts.mThere;
    const zvSocketQOS theQOS = zvSocketQOS_New();
    const struct {
      int mClass;
      int mTypeOfService;
      int mPriority;
    } kCases[] = {{kzvSocket_QOS_CONTROL, 0xE0, 7},     {kzvSocket_QOS_NONE, 0x00, 0},
                  {kzvSocket_QOS_AUDIO_VIDEO, 0xA0, 5}, {kzvSocket_QOS_BEST_EFFORT, 0x00, 0},
                  {kzvSocket_QOS_BACKGROUND, 0x20, 1},  {kzvSocket_QOS_EXCELLENT_EFFORT, 0x60, 3},
                  {kzvSocket_QOS_VOICE, 0xC0, 6},       {7, 0x00, 0},
                  {kzvSocket_QOS_CONTROL, 0xE0, 7},     {-1, 0x00, 0}};
    const Socket theSender = Sender();
    for (const auto &theCase : kCases) {
      EXPECT_EQ(0, zvSocketQOS_SetPriority(theQOS, theSender, theCase.mClass, nullptr)) << theCase.mClass;
      Send(theSender, Neighbour::kThere, "marked");
      EXPECT_EQ("marked", theReceiver.Next());
      EXPECT_EQ(theCase.mTypeOfService, theReceiver.TypeOfService()) << theCase.mClass;
      EXPECT_EQ(theCase.mPriority, zvtest::net::IntOption(theSender, SOL_SOCKET, SO_PRIORITY))
          << theCase.mClass;
    }
    EXPECT_THAT(mLog.Calls(), IsEmpty());
    zvSocketQOS_Delete(theQOS);
  });
}

TEST_F(MulticastHosts, TheMarkOfAPriorityClassStays) {
  OnOwnHost([] {
    Hosts theHosts;
    Receiver &theReceiver = *theHosts.mThere;
    const Socket theSender = Sender();
    const zvSocketQOS theQOS = zvSocketQOS_New();
    EXPECT_EQ(0, zvSocketQOS_SetPriority(theQOS, theSender, kzvSocket_QOS_AUDIO_VIDEO, nullptr));
    zvSocketQOS_UnsetPriority(theQOS, theSender);
    EXPECT_EQ(0, zvSocketQOS_SetPriority(nullptr, theSender, kzvSocket_QOS_CONTROL, nullptr));
    zvSocketQOS_Delete(theQOS);
    EXPECT_EQ(0, zvSocketMulticastAdd_NoDebug(theReceiver.Get(), kGroup, Address(Neighbour::kThere)));
    Send(theSender, kGroup, "to a group as well");
    EXPECT_EQ("to a group as well", theReceiver.Next());
    EXPECT_EQ(0xA0, theReceiver.TypeOfService());
  });
}

// ---- Announced membership ----

// Sees the IGMP packets that come in over the cable, IP header included, whatever groups the host
// itself has joined.
class IGMPWatch {
 public:
  IGMPWatch() : mSocket(socket(AF_PACKET, SOCK_DGRAM, htons(ETH_P_IP))) {
    sockaddr_ll theAddress = {};
    theAddress.sll_family = AF_PACKET;
    theAddress.sll_protocol = htons(ETH_P_IP);
    theAddress.sll_ifindex = static_cast<int>(if_nametoindex("eth0"));
    EXPECT_EQ(0, bind(mSocket, reinterpret_cast<const sockaddr *>(&theAddress), sizeof(theAddress)));
  }

  // The next message of version 2, as "source > destination ttl: payload"; the system's own reports
  // are of version 3.
  std::string Next() const {
    for (;;) {
      pollfd theEvent = {mSocket, POLLIN, 0};
      if (poll(&theEvent, 1, kPatience) != 1) return "nothing";
      uint8 thePacket[256];
      const ssize_t theLength = recv(mSocket, thePacket, sizeof(thePacket), 0);
      iphdr theHeader = {};
      if (theLength < static_cast<ssize_t>(sizeof(theHeader))) return "a packet that is too short";
      memcpy(&theHeader, thePacket, sizeof(theHeader));
      const size_t theBegin = theHeader.ihl * size_t{4};
      if (theHeader.protocol != IPPROTO_IGMP || thePacket[theBegin] == 0x22) continue;
      return Describe(theHeader) + Hexadecimal(thePacket + theBegin, ntohs(theHeader.tot_len) - theBegin);
    }
  }

 private:
  static std::string Describe(const iphdr &aHeader) {
    return zvtest::Format("%u.%u.%u.%u > %u.%u.%u.%u, header %d, ttl %d:", zvSocket_IPPrintf(aHeader.saddr),
                          zvSocket_IPPrintf(aHeader.daddr), aHeader.ihl * 4, aHeader.ttl);
  }

  static std::string Hexadecimal(const uint8 *someBytes, size_t aCount) {
    std::string theText;
    for (size_t i = 0; i < aCount; ++i)
      theText += zvtest::Format(" %02x", someBytes[i]);
    return theText;
  }

  Socket mSocket;
};

// The bytes that hold the checksum: of the message in which they are still 0.
#ifdef ZVOS_IGMP_CHECKSUM
#define CHECKSUM(high, low) " " #high " " #low
#else
#define CHECKSUM(high, low) " 00 00"
#endif

TEST_F(MulticastHosts, AJoinIsAReportToTheGroupAndALeaveGoesToAllRouters) {
  OnOwnHost([] {
    const Neighbour theNeighbour;
    std::unique_ptr<IGMPWatch> theWatch;
    theNeighbour.Run([&] { theWatch = std::make_unique<IGMPWatch>(); });

    EXPECT_EQ(0, zvSocketIGMP_JoinGroup(0xEFFFFFFA));
    EXPECT_EQ("10.9.0.1 > 239.255.255.250, header 20, ttl 1: 16 00" CHECKSUM(fa, 04) " ef ff ff fa",
              theWatch->Next());
    zvSocketIGMP_LeaveGroup(0xEFFFFFFA);
    EXPECT_EQ("10.9.0.1 > 224.0.0.2, header 20, ttl 1: 17 00" CHECKSUM(f9, 04) " ef ff ff fa",
              theWatch->Next());
  });
}

TEST_F(MulticastHosts, AnyIGMPMessageCanBeSentToAnyHost) {
  OnOwnHost([] {
    const Neighbour theNeighbour;
    std::unique_ptr<IGMPWatch> theWatch;
    theNeighbour.Run([&] { theWatch = std::make_unique<IGMPWatch>(); });
    EXPECT_EQ(8, zvSocketSendIGMP(0x0A090002, 0xE0010203, 0x11, 0x64));
    EXPECT_EQ("10.9.0.1 > 10.9.0.2, header 20, ttl 64: 11 64" CHECKSUM(0c, 97) " e0 01 02 03",
              theWatch->Next());
  });
}

TEST_F(MulticastHosts, TheHostThatListensToTheGroupReceivesTheReport) {
  OnOwnHost([] {
    const Neighbour theNeighbour;
    Socket theRouter(-1);
    theNeighbour.Run([&] {
      theRouter = Socket(zvSocketOpen_NoDebug(AF_INET, SOCK_RAW, IPPROTO_IGMP));
      EXPECT_EQ(0, zvSocketMulticastAdd_NoDebug(theRouter, kGroup, Address(Neighbour::kThere)));
    });
    EXPECT_EQ(0, zvSocketIGMP_JoinGroup(ntohl(Address(kGroup))));
    pollfd theEvent = {theRouter, POLLIN, 0};
    ASSERT_EQ(1, poll(&theEvent, 1, kPatience));
    char thePacket[256];
    EXPECT_EQ(20 + 8, recv(theRouter, thePacket, sizeof(thePacket), 0));
    EXPECT_EQ(0x16, thePacket[20]);
    EXPECT_EQ(0, memcmp("\xEF\1\2\3", thePacket + 24, 4));
  });
}

}  // namespace
