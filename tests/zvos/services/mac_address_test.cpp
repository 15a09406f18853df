// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Hardware addresses: the device's own, and its neighbours' from the ARP table.

#include <zvOS/zvMACAddress.h>
#include <zvOS/zvSocket.h>

#include "support/HandleChecks.h"
#include "support/Network.h"
#include "support/Support.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;

std::string Hexadecimal(const uint8 *someBytes, size_t aCount) {
  std::string theText;
  for (size_t i = 0; i < aCount; ++i)
    theText += zvtest::Format(i == 0 ? "%02x" : ":%02x", someBytes[i]);
  return theText;
}

const char kNone[] = "-1 00:00:00:00:00:00";

// Result and output of one question for the device's address.
std::string Answer(int (*aFunction)(size_t, uint8 *), size_t aStartingIndex = 0) {
  uint8 theAddress[] = {1, 2, 3, 4, 5, 6, 0xA5};
  const int theResult = aFunction(aStartingIndex, theAddress);
  EXPECT_EQ(0xA5, theAddress[6]);
  return std::to_string(theResult) + " " + Hexadecimal(theAddress, 6);
}

class MACAddress : public ::testing::Test {
 protected:
  ~MACAddress() override { EXPECT_THAT(mLog.Calls(), IsEmpty()) << "nothing is logged"; }

  zvtest::RecordingLog mLog;
};

TEST_F(MACAddress, AHostWithOnlyLoopbackHasNone) {
  OnOwnHost([] {
    EXPECT_EQ(kNone, Answer(zvMACAddress_Get)) << "no interface has an address";
    Ip({"link set lo up"});
    EXPECT_EQ(kNone, Answer(zvMACAddress_Get)) << "loopback has an address, but no hardware address";
    EXPECT_EQ(kNone, Answer(zvSocket_GetMACAddress));
  });
}

TEST_F(MACAddress, TheFirstInterfaceWithAnIPv4AddressGivesItsOwn) {
  OnOwnHost([] {
    // Both ends of a cable are interfaces of this host; the system lists an "end" before its "eth".
    Ip({"link set lo up", "link add eth0 address 02:00:00:00:00:01 type veth peer name end0",
        "link add eth1 address 02:00:00:00:00:02 type veth peer name end1",
        "link add eth2 address 02:00:00:00:00:03 type veth peer name end2", "link set eth0 up",
        "link set eth1 up", "link set eth2 up", "addr add fd00::1/64 dev eth0",
        "addr add 10.0.3.1/24 dev eth2"});
    EXPECT_EQ("1 02:00:00:00:00:03", Answer(zvMACAddress_Get));
    Ip({"addr add 10.0.2.1/24 dev eth1"});
    EXPECT_EQ("1 02:00:00:00:00:02", Answer(zvMACAddress_Get));
    EXPECT_EQ("1 02:00:00:00:00:02", Answer(zvSocket_GetMACAddress));
    for (const size_t theIndex : {size_t{1}, size_t{2}, SIZE_MAX}) {
      EXPECT_EQ("1 02:00:00:00:00:02", Answer(zvMACAddress_Get, theIndex)) << "the index is ignored";
      EXPECT_EQ("1 02:00:00:00:00:02", Answer(zvSocket_GetMACAddress, theIndex));
    }
    Ip({"addr add 10.0.1.1/24 dev eth0", "link set eth0 down"});
    EXPECT_EQ("1 02:00:00:00:00:01", Answer(zvMACAddress_Get)) << "it need not be up";
  });
}

TEST_F(MACAddress, AnInterfaceThatHidesItsAddressIsPassedOver) {
  OnOwnHost([] {
    Ip({"link set lo up", "link add eth0 address 02:00:00:00:00:01 type veth peer name end0",
        "link add eth1 address 02:00:00:00:00:02 type veth peer name end1", "addr add 10.0.1.1/24 dev eth0",
        "addr add 10.0.2.1/24 dev eth1"});
    // The first three requests: the list, then loopback, then eth0.
    Fault theFault("ioctl", EPERM, 2);
    EXPECT_EQ("1 02:00:00:00:00:02", Answer(zvMACAddress_Get));
    EXPECT_EQ(1, theFault.Hits());
  });
}

TEST_F(MACAddress, AnAddressOfOneByteIsEnough) {
  OnOwnHost([] {
    Ip({"link add eth0 address 00:00:00:00:00:04 type veth peer name end0", "addr add 10.0.1.1/24 dev eth0"});
    EXPECT_EQ("1 00:00:00:00:00:04", Answer(zvMACAddress_Get));
  });
}

TEST_F(MACAddress, AnInterfaceIsFoundBehindAnyNumberOfAddresses) {
  OnOwnHost([] {
    std::vector<std::string> theCommands = {
        "link add eth0 address 02:00:00:00:00:01 type veth peer name end0", "addr add 10.0.1.1/24 dev eth0"};
    for (int i = 1; i <= 130; ++i)
      theCommands.push_back(zvtest::Format("addr add 127.1.0.%d/32 dev lo", i));
    Ip(theCommands);
    EXPECT_EQ("1 02:00:00:00:00:01", Answer(zvMACAddress_Get));
  });
}

TEST_F(MACAddress, ASystemThatRefusesGivesNone) {
  for (const char *theCall : {"socket", "ioctl"}) {
    const int theClosed = CallsOf("close");
    Fault theFault(theCall, EPERM, 0, -1);
    EXPECT_EQ(kNone, Answer(zvMACAddress_Get)) << theCall;
    EXPECT_EQ(1, theFault.Hits()) << theCall;
    EXPECT_EQ(theClosed + (strcmp(theCall, "socket") != 0), CallsOf("close")) << theCall;
  }
}

// ---- Neighbours ----

const char kHeading[] = "IP address       HW type     Flags       HW address            Mask     Device\n";

// The system's table with these lines below its heading.
class FakeTable {
 public:
  explicit FakeTable(const std::string &someLines, const std::string &aHeading = kHeading)
      : mText(aHeading + someLines), mOpen("fopen", 0), mClosed(CallsOf("fclose")) {
    FILE *const theFile = fmemopen(&mText[0], mText.size(), "r");
    mOpen.Returning(AsArgument(theFile)).Doing([](const long long *anArguments) {
      EXPECT_STREQ("/proc/net/arp", ArgumentAs<const char>(anArguments[0]));
      EXPECT_EQ('r', *ArgumentAs<const char>(anArguments[1]));
    });
  }
  ~FakeTable() {
    EXPECT_EQ(1, mOpen.Hits());
    EXPECT_EQ(mClosed + 1, CallsOf("fclose"));
  }
  FakeTable(const FakeTable &) = delete;
  FakeTable &operator=(const FakeTable &) = delete;

 private:
  std::string mText;
  Fault mOpen;
  int mClosed;
};

// Result, length and buffer of one question to the table: "0 6 02:00:00:00:00:01:ff:ff". Each
// question offers 8 bytes if not told otherwise.
std::string Query(const char *anAddress, size_t aLength = 8, int aFamily = AF_INET) {
  sockaddr_in theAddress = {};
  theAddress.sin_family = static_cast<sa_family_t>(aFamily);
  theAddress.sin_addr.s_addr = Address(anAddress);
  uint8 theBuffer[16];
  memset(theBuffer, 0xA5, sizeof(theBuffer));
  size_t theLength = aLength;
  const int theResult = zvSocket_QueryARP(reinterpret_cast<sockaddr *>(&theAddress), theBuffer, &theLength);
  for (size_t i = aLength; i < sizeof(theBuffer); ++i)
    EXPECT_EQ(0xA5, theBuffer[i]) << "byte " << i << " is behind the buffer";
  return zvtest::Format("%d %zu ", theResult, theLength) + Hexadecimal(theBuffer, aLength);
}

const char kUnknown[] = "0 8 ff:ff:ff:ff:ff:ff:ff:ff";

class ARP : public ::testing::Test {
 protected:
  zvtest::RecordingLog mLog;
};

TEST_F(ARP, TheEntryOfTheAddressGivesItsHardwareAddress) {
  const std::string theLines =
      "10.0.0.1         0x1         0x2         02:00:00:00:00:01     *        eth0\n"
      "10.0.0.12        0x1         0x6         fe:DC:0a:BC:10:ff     *        eth0\n"
      "10.0.0.3         0x1         0x2         2:0:0:0:0:3           *        eth1\n"
      "10.0.0.1         0x1         0x2         02:00:00:00:00:99     *        eth1\n"
      "10.0.0.4 0x1 0x0 02:00:00:00:00:04\n"
      "10.0.0.5         0x1         0x0         00:00:00:00:00:00     *        eth1\n";
  const struct {
    const char *mAddress;
    const char *mAnswer;
  } kCases[] = {{"10.0.0.1", "0 6 02:00:00:00:00:01:ff:ff"},
                {"10.0.0.12", "0 6 fe:dc:0a:bc:10:ff:ff:ff"},
                {"10.0.0.3", "0 6 02:00:00:00:00:03:ff:ff"},
                {"10.0.0.4", "0 6 02:00:00:00:00:04:ff:ff"},
                {"10.0.0.5", "0 6 00:00:00:00:00:00:ff:ff"},
                {"10.0.0.2", kUnknown},
                {"1.0.0.10", kUnknown},
                {"0.0.0.0", kUnknown}};
  for (const auto &theCase : kCases) {
    const FakeTable theTable(theLines);
    EXPECT_EQ(theCase.mAnswer, Query(theCase.mAddress)) << theCase.mAddress;
  }
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(ARP, TheLinesOfTheTableAreReadUntilOneIsNoEntry) {
  const std::string theEntry = "10.0.0.1 0x1 0x2 02:00:00:00:00:01 * eth0\n";
  const char kFound[] = "0 6 02:00:00:00:00:01:ff:ff";
  const struct {
    const char *mName;
    std::string mLines;
    const char *mAnswer;
  } kCases[] = {
      {"an empty table", "", kUnknown},
      {"without a line end", theEntry.substr(0, theEntry.size() - 1), kFound},
      {"an address that is none", "10.0.0.256 0x1 0x2 02:00:00:00:00:02 * eth0\n" + theEntry, kFound},
      {"a name in place of the address", "router 0x1 0x2 02:00:00:00:00:02 * eth0\n" + theEntry, kFound},
      {"an incomplete entry", "10.0.0.1 0x1 0x0 <incomplete> * eth0\n", kUnknown},
      {"an incomplete entry before", "10.0.0.1 0x1 0x0 <incomplete> * eth0\n" + theEntry, kFound},
      {"five parts before", "10.0.0.1 0x1 0x2 02:00:00:00:00 * eth0\n" + theEntry, kFound},
      {"a line of three fields before", "10.0.0.2 0x1 0x2\n" + theEntry, kUnknown},
      {"an empty line before", "\n" + theEntry, kUnknown},
      {"a number that is not hexadecimal before", "10.0.0.2 1 0x2 02:00:00:00:00:02 * eth0\n" + theEntry,
       kUnknown},
      {"a long address before", std::string(80, '1') + " 0x1 0x2 02:00:00:00:00:02 * eth0\n" + theEntry,
       kFound},
      {"a long hardware address before", "10.0.0.1 0x1 0x2 " + std::string(100, 'g') + " * eth0\n" + theEntry,
       kFound},
      {"a long mask before",
       "10.0.0.2 0x1 0x2 02:00:00:00:00:02 " + std::string(80, '*') + " eth0\n" + theEntry, kFound},
      {"a long device before",
       "10.0.0.2 0x1 0x2 02:00:00:00:00:02 * " + std::string(80, 'e') + "\n" + theEntry, kFound},
  };
  for (const auto &theCase : kCases) {
    const FakeTable theTable(theCase.mLines);
    EXPECT_EQ(theCase.mAnswer, Query("10.0.0.1")) << theCase.mName;
  }
}

TEST_F(ARP, TheFirstLineIsAHeadingWhateverItSays) {
  const FakeTable theTable("10.0.0.1 0x1 0x2 02:00:00:00:00:02 * eth0\n",
                           "10.0.0.1 0x1 0x2 02:00:00:00:00:01 * eth0\n");
  EXPECT_EQ("0 6 02:00:00:00:00:02:ff:ff", Query("10.0.0.1"));
}

TEST_F(ARP, ATableWithoutAHeadingIsEmpty) {
  const FakeTable theTable("", "\n");
  EXPECT_EQ(kUnknown, Query("10.0.0.1"));
}

TEST_F(ARP, SixBytesAreEnoughAndFewerAreRefused) {
  {
    const FakeTable theTable("10.0.0.1 0x1 0x2 02:00:00:00:00:01 * eth0\n");
    EXPECT_EQ("0 6 02:00:00:00:00:01", Query("10.0.0.1", 6));
  }
  Fault theFault("fopen", ENOENT, 0, -1);
  EXPECT_EQ("-1 5 ff:ff:ff:ff:ff", Query("10.0.0.1", 5));
  EXPECT_EQ("-1 4 ff:ff:ff:ff", Query("10.0.0.1", 4));
  EXPECT_EQ("-1 0 ", Query("10.0.0.1", 0));
  EXPECT_EQ(0, theFault.Hits());
}

TEST_F(ARP, ATableThatCannotBeOpenedIsAFailure) {
  Fault theFault("fopen", EACCES);
  EXPECT_EQ("-1 8 ff:ff:ff:ff:ff:ff:ff:ff", Query("10.0.0.1"));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(ARP, AnotherFamilyIsAssertedAndLookedUpAllTheSame) {
  {
    const FakeTable theTable("10.0.0.1 0x1 0x2 02:00:00:00:00:01 * eth0\n");
    EXPECT_EQ("0 6 02:00:00:00:00:01:ff:ff", Query("10.0.0.1", 8, AF_INET6));
  }
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("anAddr->sa_family == AF_INET")));
  mLog.Clear();
  EXPECT_EQ("-1 4 ff:ff:ff:ff", Query("10.0.0.1", 4, AF_INET6));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("anAddr->sa_family == AF_INET")));
}

// ---- The real table ----

// Sends a datagram to that address, to port 4000.
void Knock(zvSocket aSocket, const char *anAddress) {
  sockaddr_in theAddress = {};
  theAddress.sin_family = AF_INET;
  theAddress.sin_port = htons(4000);
  theAddress.sin_addr.s_addr = Address(anAddress);
  EXPECT_EQ(5, zvSocketSendUDP_NoDebug(aSocket, reinterpret_cast<sockaddr *>(&theAddress), sizeof(theAddress),
                                       "knock", 5, 0));
}

zvSocket Listener() {
  sockaddr_in theAddress = {};
  theAddress.sin_family = AF_INET;
  theAddress.sin_port = htons(4000);
  const zvSocket theSocket = zvSocketOpen_NoDebug(AF_INET, SOCK_DGRAM, 0);
  EXPECT_EQ(0,
            zvSocketBind_NoDebug(theSocket, reinterpret_cast<sockaddr *>(&theAddress), sizeof(theAddress)));
  return theSocket;
}

TEST_F(ARP, TrafficMakesANeighbourKnown) {
  OnOwnHost([] {
    const Neighbour theNeighbour;
    EXPECT_EQ(kUnknown, Query(Neighbour::kThere));

    zvSocket theReceiver = kzvSocketInvalid;
    theNeighbour.Run([&] { theReceiver = Listener(); });
    const zvSocket theSender = zvSocketOpen_NoDebug(AF_INET, SOCK_DGRAM, 0);
    Knock(theSender, Neighbour::kThere);
    pollfd theArrival = {theReceiver, POLLIN, 0};
    ASSERT_EQ(1, poll(&theArrival, 1, 10 * 1000));

    EXPECT_EQ(zvtest::Format("0 6 %s:ff:ff", Neighbour::kHardwareThere), Query(Neighbour::kThere));
    EXPECT_EQ(kUnknown, Query(Neighbour::kHere)) << "a host is not its own neighbour";
    zvSocketClose_NoDebug(theReceiver);
    zvSocketClose_NoDebug(theSender);
  });
}

TEST_F(ARP, ANeighbourThatDoesNotAnswerHasTheZerosOfTheTable) {
  OnOwnHost([] {
    const Neighbour theNeighbour;
    const zvSocket theSender = zvSocketOpen_NoDebug(AF_INET, SOCK_DGRAM, 0);
    Knock(theSender, "10.9.0.77");
    EXPECT_EQ("0 6 00:00:00:00:00:00:ff:ff", Query("10.9.0.77"));
    zvSocketClose_NoDebug(theSender);
  });
}

TEST_F(ARP, EntriesOfSeveralNeighboursAreToldApart) {
  OnOwnHost([] {
    Ip({"link add eth0 type veth peer name end0", "addr add 10.0.0.1/16 dev eth0", "link set eth0 up"});
    std::vector<std::string> theCommands;
    for (int i = 2; i < 100; ++i)
      theCommands.push_back(zvtest::Format("neigh add 10.0.%d.1 lladdr 02:00:00:00:00:%02x dev eth0", i, i));
    Ip(theCommands);
    for (const int theHost : {2, 50, 99}) {
      EXPECT_EQ(zvtest::Format("0 6 02:00:00:00:00:%02x:ff:ff", theHost),
                Query(zvtest::Format("10.0.%d.1", theHost).c_str()));
    }
    EXPECT_EQ(kUnknown, Query("10.0.1.2"));
  });
}

}  // namespace
