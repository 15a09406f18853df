// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The options of the command `serve`: who is admitted, how traffic is marked, what a trace shows.

#include "Serving.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <linux/filter.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

namespace {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;
using namespace zvtest;

class ServeOptions : public zvtest::Serving {};

// Policy and marking

struct PolicyCase {
  std::vector<std::string> mOptions;
  const char *mAddress;
  bool mfAdmitted;
};

TEST_F(ServeOptions, PolicySaysWhoIsAdmitted) {
  const PolicyCase kCases[] = {
      {{"--policy", "all"}, "127.0.0.1", true},
      {{"--policy", "local"}, "127.0.0.1", true},
      {{"--policy", "local"}, "127.0.0.2", false},
      {{"--policy", "not-local"}, "127.0.0.1", false},
      {{"--exclude-if", "lo"}, "127.0.0.1", false},
      {{"--exclude-if", "eth7, \"l*\""}, "127.0.0.1", false},
      {{"--exclude-if", "eth7 wlan*"}, "127.0.0.1", true},
      // Names that say in many ways what they match are known to be excluded.
      {{"--exclude-if", "[a-z]o"}, "127.0.0.1", false},
      {{"--exclude-if", "[[:alpha:]][!a]"}, "127.0.0.1", false},
      {{"--exclude-if", "l\\o"}, "127.0.0.1", false},
      {{"--exclude-if", "*"}, "127.0.0.1", false},
      {{"--exclude-if", "wl[an0 eth[[:digit:]]? \"a name\" \\[x] \"\" ]"}, "127.0.0.1", true},
      {{"--exclude-if", " , "}, "127.0.0.1", true},
  };
  for (const PolicyCase &theCase : kCases) {
    SCOPED_TRACE(theCase.mOptions[1] + " " + theCase.mAddress);
    RunningZvos theServer(
        Joined(Joined({"serve", "--bind", theCase.mAddress}, theCase.mOptions), {ServedFolder()}));
    const std::string theAddress = theCase.mAddress + (":" + std::to_string(theServer.Port()));
    const ChildResult theResult = Zvos({"get", theAddress, "small", "-o", mFolder.File("fetched")});
    EXPECT_EQ(theCase.mfAdmitted ? 0 : 1, theResult.mStatus);
    EXPECT_EQ(theCase.mfAdmitted ? ""
                                 : "zvos: get: " + theAddress +
                                       " refuses: the policy of the server does not admit this connection\n",
              theResult.mError);
  }
}

// A backslash with nothing behind it matches no name at all.
TEST_F(ServeOptions, ServesNobodyWhenThePolicyDoesNotExcludeAName) {
  for (const std::string theNames : {"lo\\", "eth7, \"wlan*\" lo\\"}) {
    const ChildResult theResult =
        Zvos({"serve", "--bind", "127.0.0.1", "--exclude-if", theNames, ServedFolder()});
    EXPECT_EQ(2, theResult.mStatus) << theNames;
    EXPECT_EQ("zvos: serve: the policy does not exclude 'lo\\'\n", theResult.mError);
    EXPECT_EQ("", theResult.mOutput);
  }
}

// Starts to watch. Other traffic of the machine would fill the room that there is for packets, hence the
// filter is there before the first of them.
bool WatchPacketsFrom(uint16_t aPort, int aSniffer) {
  sock_filter theProgram[] = {
      BPF_STMT(BPF_LDX | BPF_B | BPF_MSH, 0),            // the length of the IP header
      BPF_STMT(BPF_LD | BPF_H | BPF_IND, 0),             // the source port behind it
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, aPort, 0, 1),  //
      BPF_STMT(BPF_RET | BPF_K, 2048),                   // the packet
      BPF_STMT(BPF_RET | BPF_K, 0),                      // nothing of it
  };
  const sock_fprog theFilter = {sizeof(theProgram) / sizeof(theProgram[0]), theProgram};
  sockaddr_ll theAddress = {};
  theAddress.sll_family = AF_PACKET;
  theAddress.sll_protocol = htons(ETH_P_IP);
  return setsockopt(aSniffer, SOL_SOCKET, SO_ATTACH_FILTER, &theFilter, sizeof(theFilter)) == 0 &&
         bind(aSniffer, reinterpret_cast<sockaddr *>(&theAddress), sizeof(theAddress)) == 0;
}

TEST_F(ServeOptions, TrafficIsMarkedWithTheClass) {
  const int theSniffer = socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, 0);  // watches nothing yet
  if (theSniffer < 0) GTEST_SKIP() << "packets cannot be watched here: " << strerror(errno);
  const timeval thePatience = {10, 0};
  setsockopt(theSniffer, SOL_SOCKET, SO_RCVTIMEO, &thePatience, sizeof(thePatience));
  const auto theServer = Start({"--qos", "background"});
  const uint16_t thePort = theServer->Port();
  ASSERT_TRUE(WatchPacketsFrom(thePort, theSniffer)) << strerror(errno);
  RawClient theClient(thePort);
  EXPECT_EQ(kReady, theClient.Line());
  // The packet in which the greeting comes.
  for (;;) {
    unsigned char thePacket[2048];
    const ssize_t theCount = recv(theSniffer, thePacket, sizeof(thePacket), 0);
    ASSERT_GT(theCount, 0) << "the packet was not seen";
    const size_t theHeader = (thePacket[0] & 15u) * 4u;
    const std::string theText(thePacket, thePacket + theCount);
    if (thePacket[theHeader] * 256 + thePacket[theHeader + 1] != thePort) continue;
    if (theText.find(kReady) == std::string::npos) continue;
    EXPECT_EQ(0x20, thePacket[1]);
    break;
  }
  close(theSniffer);
}

TEST_F(ServeOptions, ClassThatTakesAPrivilegeIsRefusedWithoutIt) {
  ASSERT_EQ(0, chmod(mFolder.Path().c_str(), 0755));
  const ChildResult theResult = zvtest::RunInChild([this] {
    if (!zvtest::BecomeNobody()) return 127;
    return zvtest::ExecZvos({"serve", "--bind", "127.0.0.1", "--qos", "control", ServedFolder()});
  });
  if (theResult.mStatus == 127) GTEST_SKIP() << "an unprivileged user cannot run the program here";
  EXPECT_EQ(2, theResult.mStatus);
  EXPECT_EQ("zvos: serve: the system refuses that QoS class, which may take the privilege CAP_NET_ADMIN\n",
            theResult.mError);
}

// Trace

TEST_F(ServeOptions, TraceShowsTheSocketTableAndWritesTheTraffic) {
  const auto theServer = Start({"--trace"});
  ExpectServing(*theServer);
  RawClient theOpenOne(theServer->Port());
  EXPECT_EQ(kReady, theOpenOne.Line());
  theServer->Kill(SIGTERM);
  EXPECT_EQ(0, theServer->Wait());
  const std::string thePort = std::to_string(theServer->Port());
  EXPECT_THAT(
      theServer->Error(),
      AllOf(
          ContainsRegex("\\* ID=[ 0-9]+  OUT  S=00000000  R=00000000  P=" + thePort + " RP=    0 Listening"),
          ContainsRegex(" IN  S=[0-9]+  R=[0-9]+  P=" + thePort + " RP=[0-9]+ Closed "),
          // The table at the end, in which no line is marked.
          ContainsRegex("    ID=[ 0-9]+   IN  S=[0-9]+  R=[0-9]+  P=" + thePort + " RP=[0-9]+ Connected ")));
  const std::vector<std::string> theFiles = NamesIn(mFolder.File("socket"));
  ASSERT_EQ(2u, theFiles.size());
  std::vector<std::string> theTraffic;
  for (const std::string &theFile : theFiles) {
    EXPECT_THAT(theFile, MatchesRegex("127\\.0\\.0\\.1-[0-9]+-\\[[0-9]+\\]\\.txt"));
    theTraffic.push_back(ReadWholeFile(mFolder.File("socket/" + theFile)));
  }
  EXPECT_THAT(theTraffic, ::testing::UnorderedElementsAre(
                              std::string(kReady) +
                                  "get small\ndata 10\nsome text\ncrc32 192ce6bc\n\r\n*** CLOSED ***\r\n",
                              std::string(kReady) + "\r\n*** CLOSED ***\r\n"));
}

TEST_F(ServeOptions, WithoutTraceNothingIsLoggedOrWritten) {
  const auto theServer = Start();
  ExpectServing(*theServer);
  theServer->Kill(SIGTERM);
  EXPECT_EQ(0, theServer->Wait());
  EXPECT_EQ("", theServer->Error());
  EXPECT_THAT(NamesIn(mFolder.Path()), ElementsAre("checked", "served"));
}

TEST_F(ServeOptions, TraceServesFortyClients) {
  // The log is longer than a pipe that nobody reads.
  const auto theServer = Start({"--trace"}, [] { setenv("ZVLOG", "warning,to=file:log", 1); });
  EXPECT_EQ(40u, ClientsUntilBusy(theServer->Port(), 50).size());
}

// Usage

TEST_F(ServeOptions, WrongUsageIsOneLine) {
  const std::string theHelp = ", see 'zvos help serve'\n";
  const std::pair<std::vector<std::string>, std::string> kCases[] = {
      {{}, "one DIR" + theHelp},
      {{"a", "b"}, "one DIR" + theHelp},
      {{"--frobnicate", "a"}, "unknown option '--frobnicate'" + theHelp},
      {{"a", "--port"}, "a value is missing behind option '--port'" + theHelp},
      {{"--trace=1", "a"}, "no value is taken by option '--trace'" + theHelp},
      {{"--port", "65536", "a"}, "--port takes a number from 0 to 65535, not '65536'\n"},
      {{"--port", "", "a"}, "--port takes a number from 0 to 65535, not ''\n"},
      {{"--port=-1", "a"}, "--port takes a number from 0 to 65535, not '-1'\n"},
      {{"--port=99999999999999999999999", "a"},
       "--port takes a number from 0 to 65535, not '99999999999999999999999'\n"},
      {{"--clients", "0", "a"}, "--clients takes a number from 1 to 1024, not '0'\n"},
      {{"--idle", "x", "a"}, "--idle takes a number from 1 to 86400, not 'x'\n"},
      {{"--policy", "some", "a"}, "--policy takes one of all, not-local, local, not 'some'\n"},
      {{"--qos", "", "a"},
       "--qos takes one of none, best-effort, background, excellent-effort, audio-video, voice, control, not "
       "''\n"},
      {{"--exclude-if", "a\nb", "a"}, "--exclude-if takes names of interfaces, without control characters\n"},
      {{"--bind", "a..b", "a"}, "cannot find 'a..b': Name or service not known\n"},
      {{"/nonexistent"}, "'/nonexistent': No such file or directory\n"},
      {{Served("small")}, "'" + Served("small") + "': Not a directory\n"},
      {{"--bind", "192.0.2.77", ServedFolder()},
       "cannot listen on 192.0.2.77:0: Cannot assign requested address\n"},
  };
  for (const auto &[theArguments, theComplaint] : kCases) {
    const ChildResult theResult = Zvos(Joined({"serve"}, theArguments));
    EXPECT_EQ(2, theResult.mStatus) << theComplaint;
    EXPECT_EQ("zvos: serve: " + theComplaint, theResult.mError);
    EXPECT_EQ("", theResult.mOutput);
  }
}

}  // namespace
