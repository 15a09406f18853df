// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The commands `net` and `igmp`, and the network part of the demonstration, in network namespaces of
// the tests' own where the outcome depends on the network.

#include "ToolSupport.h"
#include "support/Support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <net/route.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using namespace zvtest;

constexpr int kNotPossible = 99;

// Changes an interface of the child's own network; the name may be any.
bool Configure(unsigned long aRequest, ifreq &anInterface) {
  const int theSocket = socket(AF_INET, SOCK_DGRAM, 0);
  const bool afDone = theSocket >= 0 && ioctl(theSocket, aRequest, &anInterface) == 0;
  if (theSocket >= 0) close(theSocket);
  return afDone;
}

bool Rename(const char *aName, const char *aNewName) {
  ifreq theInterface = {};
  strncpy(theInterface.ifr_name, aName, IFNAMSIZ - 1);
  strncpy(theInterface.ifr_newname, aNewName, IFNAMSIZ - 1);
  return Configure(SIOCSIFNAME, theInterface);
}

bool SwitchOn(const char *aName) {
  ifreq theInterface = {};
  strncpy(theInterface.ifr_name, aName, IFNAMSIZ - 1);
  theInterface.ifr_flags = IFF_UP | IFF_RUNNING;
  return Configure(SIOCSIFFLAGS, theInterface);
}

// Everything for multicast groups through the loopback interface.
bool RouteGroupsThroughLoopback() {
  char theDevice[] = "lo";
  rtentry theRoute = {};
  auto fnSet = [](sockaddr &anAddress, const char *aText) {
    sockaddr_in theAddress = {};
    theAddress.sin_family = AF_INET;
    theAddress.sin_addr.s_addr = inet_addr(aText);
    memcpy(&anAddress, &theAddress, sizeof(theAddress));
  };
  fnSet(theRoute.rt_dst, "224.0.0.0");
  fnSet(theRoute.rt_genmask, "240.0.0.0");
  fnSet(theRoute.rt_gateway, "0.0.0.0");
  theRoute.rt_flags = RTF_UP;
  theRoute.rt_dev = theDevice;
  const int theSocket = socket(AF_INET, SOCK_DGRAM, 0);
  const bool afDone = theSocket >= 0 && ioctl(theSocket, SIOCADDRT, &theRoute) == 0;
  if (theSocket >= 0) close(theSocket);
  return afDone;
}

// Makes the system look for a neighbour, which takes it a while to give up.
bool AskForNeighbour(const char *anAddress) {
  sockaddr_in theAddress = {};
  theAddress.sin_family = AF_INET;
  theAddress.sin_port = htons(9);
  theAddress.sin_addr.s_addr = inet_addr(anAddress);
  const int theSocket = socket(AF_INET, SOCK_DGRAM, 0);
  const bool afDone =
      sendto(theSocket, "", 1, 0, reinterpret_cast<sockaddr *>(&theAddress), sizeof(theAddress)) == 1;
  close(theSocket);
  return afDone;
}

// Runs the program in a network of its own, in which all interfaces are down at first.
ChildResult ZvosInOwnNetwork(
    const std::vector<std::string> &anArguments, const std::function<bool()> &aSetup = [] { return true; }) {
  const ChildResult theResult = RunInChild([&] {
    if (unshare(CLONE_NEWNET | CLONE_NEWUTS) != 0 || !aSetup()) {
      dprintf(STDERR_FILENO, "%s", strerror(errno));
      return kNotPossible;
    }
    return ExecZvos(anArguments);
  });
  RemoveTraceFile(theResult.mOutput);
  return theResult;
}

#define SKIP_WHEN_NOT_POSSIBLE(result) \
  if ((result).mStatus == kNotPossible) GTEST_SKIP() << "no such network to be had here: " << (result).mError

// Follows a text through the grammar of JSON; npos when it does not follow it.
class JsonReader {
 public:
  static bool IsJson(const std::string &aText) {
    JsonReader theReader(aText);
    return theReader.Value() && (theReader.Blanks(), theReader.mPlace == aText.size());
  }

 private:
  explicit JsonReader(const std::string &aText) : mText(aText) {}

  char Next() const { return mPlace < mText.size() ? mText[mPlace] : '\0'; }
  void Blanks() {
    while (Next() != '\0' && strchr(" \t\r\n", Next()) != nullptr)
      ++mPlace;
  }
  bool Take(const std::string &aText) {
    Blanks();
    if (mText.compare(mPlace, aText.size(), aText) != 0) return false;
    mPlace += aText.size();
    return true;
  }
  bool Text() {
    if (!Take("\"")) return false;
    for (; Next() != '"'; ++mPlace) {
      if (static_cast<unsigned char>(Next()) < 0x20) return false;
      if (Next() != '\\') continue;
      ++mPlace;
      if (Next() == '\0' || strchr("\"\\/bfnrtu", Next()) == nullptr) return false;
      if (Next() != 'u') continue;
      for (int i = 0; i < 4; ++i)
        if (mPlace++, !isxdigit(static_cast<unsigned char>(Next()))) return false;
    }
    ++mPlace;
    return true;
  }
  bool Member() { return Text() && Take(":") && Value(); }
  bool Value() {
    if (Take("{")) return Take("}") || List([this] { return Member(); }, "}");
    if (Take("[")) return Take("]") || List([this] { return Value(); }, "]");
    return Take("null") || Take("true") || Take("false") || Text();
  }
  template <typename Element>
  bool List(Element anElement, const char *anEnd) {
    do {
      if (!anElement()) return false;
    } while (Take(","));
    return Take(anEnd);
  }

  const std::string &mText;
  size_t mPlace = 0;
};

// Help

TEST(NetHelp, CommandsAreListedAndExplained) {
  const std::string theHelp = Zvos({"help"}).mOutput;
  for (const std::string theCommand : {"net", "serve", "get", "igmp"}) {
    EXPECT_THAT(theHelp, HasSubstr("\n  " + theCommand + " "));
    const ChildResult theResult = Zvos({"help", theCommand});
    EXPECT_EQ(0, theResult.mStatus);
    EXPECT_THAT(theResult.mOutput, AllOf(::testing::StartsWith("usage: zvos " + theCommand + " "),
                                         HasSubstr("Exit status:"), HasSubstr("Examples:")));
    EXPECT_EQ(theResult.mOutput, Zvos({theCommand, "--help"}).mOutput);
  }
}

// net

TEST(Net, ShowsTheLoopbackInterfaceToPeople) {
  const ChildResult theResult =
      ZvosInOwnNetwork({"net"}, [] { return SwitchOn("lo") && sethostname("player", 6) == 0; });
  SKIP_WHEN_NOT_POSSIBLE(theResult);
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_EQ("", theResult.mError);
  EXPECT_EQ(
      "Host name   player\n"
      "Device MAC  -\n"
      "Loopback    up\n"
      "\n"
      "Interface  Address    Mask       MAC  Link\n"
      "lo         127.0.0.1  255.0.0.0  -    protected\n"
      "\n"
      "Neighbour  MAC  Interface\n"
      "none is known\n",
      theResult.mOutput);
}

TEST(Net, TellsThatTheLoopbackInterfaceIsDown) {
  const ChildResult theResult = ZvosInOwnNetwork({"net"});
  SKIP_WHEN_NOT_POSSIBLE(theResult);
  EXPECT_THAT(theResult.mOutput, AllOf(HasSubstr("\nLoopback    DOWN\n"), HasSubstr("Link\nnone is up\n")));
  const ChildResult theJson = ZvosInOwnNetwork({"net", "--json"});
  EXPECT_TRUE(JsonReader::IsJson(theJson.mOutput)) << theJson.mOutput;
  EXPECT_THAT(theJson.mOutput, AllOf(HasSubstr("\"loopbackUp\": false,"), HasSubstr("\"interfaces\": [],"),
                                     HasSubstr("\"neighbours\": []\n"), HasSubstr("\"deviceMac\": null,")));
}

TEST(Net, ShowsInterfacesAndNeighboursWithTheirHardwareAddresses) {
  const auto fnSetup = [] {
    return system(
               "exec 2>/dev/null; ip link add dev0 type veth peer name dev1 && "
               "ip link set dev0 address 02:00:00:00:00:01 && ip addr add 10.77.0.1/16 dev dev0 && "
               "ip link set dev0 up && ip link set dev1 up && "
               "ip neigh add 10.77.1.2 lladdr 02:00:00:00:00:0a dev dev0") == 0 &&
           AskForNeighbour("10.77.1.3");
  };
  const ChildResult theResult = ZvosInOwnNetwork({"net"}, fnSetup);
  SKIP_WHEN_NOT_POSSIBLE(theResult);
  EXPECT_THAT(theResult.mOutput,
              AllOf(HasSubstr("Device MAC  02:00:00:00:00:01\n"),
                    HasSubstr("dev0       10.77.0.1  255.255.0.0  02:00:00:00:00:01  protected\n"),
                    HasSubstr("10.77.1.2  02:00:00:00:00:0a  dev0\n"),
                    HasSubstr("10.77.1.3  no answer          dev0\n")));

  const ChildResult theJson = ZvosInOwnNetwork({"net", "--json"}, fnSetup);
  EXPECT_TRUE(JsonReader::IsJson(theJson.mOutput)) << theJson.mOutput;
  EXPECT_THAT(
      theJson.mOutput,
      AllOf(
          HasSubstr("\"deviceMac\": \"02:00:00:00:00:01\",\n"),
          HasSubstr("{\"name\": \"dev0\", \"address\": \"10.77.0.1\", \"mask\": \"255.255.0.0\", "
                    "\"mac\": \"02:00:00:00:00:01\", \"linkProtected\": true}"),
          HasSubstr("{\"address\": \"10.77.1.2\", \"mac\": \"02:00:00:00:00:0a\", \"interface\": \"dev0\"}"),
          HasSubstr("{\"address\": \"10.77.1.3\", \"mac\": null, \"interface\": \"dev0\"}")));
}

TEST(Net, JsonOfThisMachineIsJson) {
  const ChildResult theResult = Zvos({"net", "--json"});
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_EQ("", theResult.mError);
  EXPECT_TRUE(JsonReader::IsJson(theResult.mOutput)) << theResult.mOutput;
}

TEST(Net, JsonEscapesWhatNamesContain) {
  const ChildResult theResult = ZvosInOwnNetwork({"net", "--json"}, [] {
    const char kHostName[] = "a\"b\\\n\x01\x7f \xc3\xa4\xff\xe0\x80\x80\xf0\x9f\x98\x80";
    return Rename("lo", "q\"\\\xc3\xa4\xc3") && SwitchOn("q\"\\\xc3\xa4\xc3") &&
           sethostname(kHostName, sizeof(kHostName) - 1) == 0;
  });
  SKIP_WHEN_NOT_POSSIBLE(theResult);
  EXPECT_TRUE(JsonReader::IsJson(theResult.mOutput)) << theResult.mOutput;
  EXPECT_THAT(theResult.mOutput,
              AllOf(HasSubstr("\"hostName\": \"a\\\"b\\\\\\u000a\\u0001\\u007f "
                              "\xc3\xa4\\ufffd\\ufffd\\ufffd\\ufffd\xf0\x9f\x98\x80\",\n"),
                    HasSubstr("{\"name\": \"q\\\"\\\\\xc3\xa4\\ufffd\", \"address\": \"127.0.0.1\"")));
}

TEST(Net, WrongUsageIsOneLine) {
  EXPECT_EQ("zvos: net: no operand is taken, see 'zvos help net'\n", Zvos({"net", "x"}).mError);
  const ChildResult theResult = Zvos({"net", "--xml"});
  EXPECT_EQ("zvos: net: unknown option '--xml', see 'zvos help net'\n", theResult.mError);
  EXPECT_EQ(2, theResult.mStatus);
}

TEST(Net, JsonReaderOfTheTestsRefusesWhatIsNoJson) {
  EXPECT_TRUE(JsonReader::IsJson("{\"a\": [true, null, {\"b\": \"c\\u00e4\\\"\"}], \"d\": []}\n"));
  for (const char *theText :
       {"", "{", "{\"a\": }", "[\"a\",]", "[\"a\"]]", "[\"\n\"]", "[\"\\x\"]", "[\"\\u12\"]", "{'a': 1}"}) {
    EXPECT_FALSE(JsonReader::IsJson(theText)) << theText;
  }
}

// igmp

TEST(IGMP, WhatIsNoGroupIsRefused) {
  const std::pair<const char *, const char *> kGroups[] = {
      {"192.168.1.1", "is not a multicast group, which is from 224.0.0.0 to 239.255.255.255"},
      {"223.255.255.255", "is not a multicast group, which is from 224.0.0.0 to 239.255.255.255"},
      {"240.0.0.0", "is not a multicast group, which is from 224.0.0.0 to 239.255.255.255"},
      {"239", "is not an address"},
      {"239.1.1", "is not an address"},
      {"239.1.1.256", "is not an address"},
      {"239.1.1.1x", "is not an address"},
      {"", "is not an address"},
  };
  for (const auto &[theGroup, theReason] : kGroups) {
    const ChildResult theResult = Zvos({"igmp", "join", theGroup});
    EXPECT_EQ(2, theResult.mStatus);
    EXPECT_EQ(std::string("zvos: igmp: '") + theGroup + "' " + theReason + "\n", theResult.mError);
  }
}

TEST(IGMP, WrongUsageIsOneLine) {
  for (const std::vector<std::string> &theArguments : {std::vector<std::string>{"igmp"},
                                                       {"igmp", "join"},
                                                       {"igmp", "enter", "239.1.1.1"},
                                                       {"igmp", "join", "239.1.1.1", "239.1.1.2"}}) {
    const ChildResult theResult = Zvos(theArguments);
    EXPECT_EQ(2, theResult.mStatus);
    EXPECT_EQ("zvos: igmp: join or leave, and one GROUP, see 'zvos help igmp'\n", theResult.mError);
  }
}

TEST(IGMP, WithoutThePrivilegeItSaysSo) {
  const ChildResult theResult = RunInChild([] {
    if (!zvtest::BecomeNobody()) return kNotPossible;
    return ExecZvos({"igmp", "join", "239.1.1.1"});
  });
  if (theResult.mStatus == kNotPossible || theResult.mStatus == 127) {
    GTEST_SKIP() << "an unprivileged user cannot run the program here: " << theResult.mError;
  }
  EXPECT_EQ(1, theResult.mStatus);
  EXPECT_EQ("zvos: igmp: it takes the privilege CAP_NET_RAW; run it as root\n", theResult.mError);
  EXPECT_EQ("", theResult.mOutput);
}

TEST(IGMP, WithoutARouteItSaysThatNothingWasSent) {
  const ChildResult theResult = ZvosInOwnNetwork({"igmp", "leave", "239.1.1.1"});
  SKIP_WHEN_NOT_POSSIBLE(theResult);
  EXPECT_EQ(1, theResult.mStatus);
  EXPECT_EQ("zvos: igmp: the message to 224.0.0.2 could not be sent; is there a route to it?\n",
            theResult.mError);
}

// Runs the program in the network of the calling process, and prints the first IGMP packet behind its
// output: destination, and the message's bytes but the checksum.
int WatchZvos(const std::vector<std::string> &anArguments) {
  const int theSniffer = socket(AF_PACKET, SOCK_DGRAM, htons(ETH_P_IP));
  const timeval thePatience = {10, 0};
  if (theSniffer < 0 || !SwitchOn("lo") || !RouteGroupsThroughLoopback()) return kNotPossible;
  setsockopt(theSniffer, SOL_SOCKET, SO_RCVTIMEO, &thePatience, sizeof(thePatience));
  const pid_t theChild = fork();
  if (theChild == 0) _exit(ExecZvos(anArguments));
  int theStatus = -1;
  waitpid(theChild, &theStatus, 0);
  unsigned char thePacket[256];
  while (recv(theSniffer, thePacket, sizeof(thePacket), 0) >= 28) {
    if (thePacket[9] != IPPROTO_IGMP) continue;
    const unsigned char *theMessage = thePacket + (thePacket[0] & 15) * 4;
    printf("to %u.%u.%u.%u: %02x %02x, %02x %02x %02x %02x\n", thePacket[16], thePacket[17], thePacket[18],
           thePacket[19], theMessage[0], theMessage[1], theMessage[4], theMessage[5], theMessage[6],
           theMessage[7]);
    break;
  }
  return WEXITSTATUS(theStatus);
}

TEST(IGMP, SendsOneMessageAndSaysWhichOne) {
  const std::pair<const char *, const char *> kCases[] = {
      {"join",
       "join 239.255.255.250: sent an IGMPv2 membership report, 8 bytes, to 239.255.255.250\n"
       "to 239.255.255.250: 16 00, ef ff ff fa\n"},
      {"leave",
       "leave 239.255.255.250: sent an IGMPv2 leave message, 8 bytes, to 224.0.0.2\n"
       "to 224.0.0.2: 17 00, ef ff ff fa\n"},
  };
  for (const auto &[theVerb, theOutput] : kCases) {
    const ChildResult theResult = RunInChild([theVerb = theVerb] {
      return unshare(CLONE_NEWNET) != 0 ? kNotPossible : WatchZvos({"igmp", theVerb, "239.255.255.250"});
    });
    SKIP_WHEN_NOT_POSSIBLE(theResult);
    EXPECT_EQ(0, theResult.mStatus);
    EXPECT_EQ("", theResult.mError);
    EXPECT_EQ(theOutput, theResult.mOutput);
  }
}

// The demonstration

// One run for all, because a demonstration takes seconds.
class NetDemo : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    const zvtest::TempFolder theFolder;
    sResult = RunProgram(BuiltProgram("zvos"), {"demo"}, {"TMPDIR=" + theFolder.Path()});
    RemoveTraceFile(sResult.mOutput);
    sLeftFiles = zvtest::NamesIn(theFolder.Path());
  }

  static ChildResult sResult;
  static std::vector<std::string> sLeftFiles;
};

ChildResult NetDemo::sResult;
std::vector<std::string> NetDemo::sLeftFiles;

TEST_F(NetDemo, EveryCheckHolds) {
  EXPECT_EQ(0, sResult.mStatus);
  EXPECT_EQ("", sResult.mError);
  EXPECT_THAT(sResult.mOutput, EndsWith("All checks held.\n"));
}

TEST_F(NetDemo, WaitIsEndedByATrigger) {
  EXPECT_THAT(sResult.mOutput,
              ContainsRegex("\nok      Wake-up           a wait for sockets ended -?[0-9]+ us after "
                            "another thread triggered it\n"));
}

TEST_F(NetDemo, FileGoesFromProcessToProcess) {
  const std::string theSize = std::to_string(zvtest::ReadWholeFile(BuiltProgram("zvos")).size());
  EXPECT_THAT(
      sResult.mOutput,
      AllOf(ContainsRegex(
                "\nok      File service      " + theSize +
                " bytes, CRC-32 [0-9a-f]+, in [0-9]+ ms from process [0-9]+ at 127.0.0.1:[56][0-9]+\n"),
            ContainsRegex("\\| SOCKETS STATUS: 2 in use\n.* OUT .* Listening .*\n.*\\* .*  IN .* Closed "),
            ContainsRegex("traffic file socket/127\\.0\\.0\\.1-[0-9]+-\\[[0-9]+\\]\\.txt begins:\n"
                          " +\\| zvos-files 1 ready\n +\\| get zvos\n +\\| data " +
                          theSize + "\n")));
}

TEST_F(NetDemo, PolicyRefusesAnotherAddress) {
  EXPECT_THAT(sResult.mOutput,
              ContainsRegex("\nok      Socket policy     'local' admitted 127.0.0.1; "
                            "127.0.0.2:[0-9]+ refuses: the policy of the server does not admit "
                            "this connection\n"));
}

TEST_F(NetDemo, NoFilesAreLeftBehind) {
  EXPECT_THAT(sLeftFiles, ::testing::IsEmpty());
}

TEST_F(NetDemo, WithoutALoopbackInterfaceTheServiceIsNotPossible) {
  const ChildResult theResult = ZvosInOwnNetwork({"demo"});
  SKIP_WHEN_NOT_POSSIBLE(theResult);
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_THAT(theResult.mOutput,
              AllOf(HasSubstr("n/a     File service      the loopback interface is down\n"),
                    EndsWith("All checks held.\n")));
}

}  // namespace
