// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The link status as the real daemons tell it: wpa_supplicant at our end of a cable, hostapd as the
// authenticator at the other. Installed daemons are not part of the build, hence only on demand:
//
//   ZVOS_TEST_REAL_SUPPLICANT=1 zvos_tests --gtest_filter='RealSupplicant.*'

#include <zvOS/zvSocket.h>

#include "zvos/sockets/socket_support.h"
#include "support/Network.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <poll.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using namespace zvtest;
using zvtest::net::Socket;

constexpr char kControlSocket[] = "/var/run/wpa_supplicant/eth0";
constexpr char kSupplicantLog[] = "/tmp/supplicant.log";
constexpr char kAuthenticatorLog[] = "/tmp/authenticator.log";

const std::string kControlFolder = "ctrl_interface=/var/run/wpa_supplicant\nap_scan=0\n";

// The daemon's answer to the request that the library makes, asked without the library; empty when the
// daemon is not there yet.
std::string Status() {
  constexpr char kOwnSocket[] = "/tmp/status-of-the-test";
  constexpr char kRequest[] = "STATUS_VERBOSE";
  const Socket theSocket(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const sockaddr_un theOwnAddress = zvtest::net::LocalAddress(kOwnSocket);
  const sockaddr_un theAddress = zvtest::net::LocalAddress(kControlSocket);
  unlink(kOwnSocket);
  EXPECT_EQ(0, bind(theSocket, reinterpret_cast<const sockaddr *>(&theOwnAddress), sizeof(theOwnAddress)));
  if (connect(theSocket, reinterpret_cast<const sockaddr *>(&theAddress), sizeof(theAddress)) != 0) return {};
  if (send(theSocket, kRequest, sizeof(kRequest) - 1, MSG_NOSIGNAL) < 0) return {};

  pollfd theEvent = {theSocket, POLLIN, 0};
  if (poll(&theEvent, 1, 5 * 1000) != 1) return {};
  char theText[4096];
  const ssize_t theLength = recv(theSocket, theText, sizeof(theText), 0);
  return std::string(theText, theLength > 0 ? static_cast<size_t>(theLength) : 0);
}

bool IsInStatus(const std::string &aText) {
  return Status().find(aText) != std::string::npos;
}

std::unique_ptr<Daemon> Start(const std::vector<std::string> &aCommand, const char *aLog) {
  return std::make_unique<Daemon>(aCommand, aLog);
}

std::unique_ptr<Daemon> StartSupplicant(const std::string &aConfiguration) {
  WriteWholeFile("/tmp/supplicant.conf", kControlFolder + aConfiguration);
  return Start({"wpa_supplicant", "-D", "wired", "-i", "eth0", "-c", "/tmp/supplicant.conf"}, kSupplicantLog);
}

std::unique_ptr<Daemon> StartAuthenticator() {
  WriteWholeFile("/tmp/users", "\"player\" MD5 \"secret\"\n");
  WriteWholeFile("/tmp/authenticator.conf",
                 "interface=eth0\ndriver=wired\nieee8021x=1\neap_server=1\neap_user_file=/tmp/users\n"
                 "use_pae_group_addr=1\n");
  return Start({"hostapd", "/tmp/authenticator.conf"}, kAuthenticatorLog);
}

class RealSupplicant : public ::testing::Test {
 protected:
  void SetUp() override {
    const char *theWish = getenv("ZVOS_TEST_REAL_SUPPLICANT");
    if (theWish == nullptr || std::string(theWish) != "1") {
      GTEST_SKIP() << "needs wpasupplicant and hostapd: runs with ZVOS_TEST_REAL_SUPPLICANT=1 only";
    }
  }

  zvtest::RecordingLog mLog;
};

TEST_F(RealSupplicant, AWiredLinkThatIsAuthenticatedButNotEncryptedIsUnprotected) {
  OnOwnHost([this] {
    const Neighbour theNeighbour;
    std::unique_ptr<Daemon> theAuthenticator;
    theNeighbour.Run([&] { theAuthenticator = StartAuthenticator(); });
    const std::unique_ptr<Daemon> theSupplicant = StartSupplicant(
        "network={\nkey_mgmt=IEEE8021X\neap=MD5\nidentity=\"player\"\npassword=\"secret\"\neapol_flags=0\n}"
        "\n");
    ASSERT_TRUE(WaitUntil([] { return IsInStatus("suppPortStatus=Authorized"); }, 30))
        << Status() << ReadWholeFile(kSupplicantLog) << ReadWholeFile(kAuthenticatorLog);

    EXPECT_THAT(Status(), HasSubstr("pairwise_cipher=NONE"));
    EXPECT_EQ(0, _zvSocket_IsLinkProtected(Address(Neighbour::kHere)));
    EXPECT_EQ(0, zvSocket_IsLinkProtected(static_cast<int32>(Address(Neighbour::kHere))));
    EXPECT_EQ(1, _zvSocket_IsLinkProtected(Address(Neighbour::kThere))) << "no address of this host";
    EXPECT_FALSE(Exists("/tmp/wpa_ctrl"));
    EXPECT_THAT(mLog.Calls(), IsEmpty());
  });
}

TEST_F(RealSupplicant, ALinkWithoutANetworkIsProtectedBecauseNoCipherIsNamed) {
  OnOwnHost([this] {
    const Neighbour theNeighbour;
    const std::unique_ptr<Daemon> theSupplicant = StartSupplicant("");
    ASSERT_TRUE(WaitUntil([] { return IsInStatus("wpa_state="); }, 30)) << ReadWholeFile(kSupplicantLog);

    EXPECT_THAT(Status(), Not(HasSubstr("pairwise_cipher")));
    EXPECT_EQ(1, _zvSocket_IsLinkProtected(Address(Neighbour::kHere)));
    EXPECT_FALSE(Exists("/tmp/wpa_ctrl"));
    EXPECT_THAT(mLog.Calls(), IsEmpty()) << "the daemon did answer";
  });
}

TEST_F(RealSupplicant, ADaemonThatHangsCountsAsProtected) {
  OnOwnHost([this] {
    const Neighbour theNeighbour;
    const std::unique_ptr<Daemon> theSupplicant = StartSupplicant("");
    ASSERT_TRUE(WaitUntil([] { return IsInStatus("wpa_state="); }, 30)) << ReadWholeFile(kSupplicantLog);
    theSupplicant->Freeze();
    EXPECT_EQ(1, _zvSocket_IsLinkProtected(Address(Neighbour::kHere)));
    EXPECT_FALSE(Exists("/tmp/wpa_ctrl"));
    EXPECT_THAT(mLog.Calls(), IsEmpty());
  });
}

TEST_F(RealSupplicant, ADaemonThatDiedIsNotReached) {
  OnOwnHost([this] {
    const Neighbour theNeighbour;
    {
      const std::unique_ptr<Daemon> theSupplicant = StartSupplicant("");
      ASSERT_TRUE(WaitUntil([] { return IsInStatus("wpa_state="); }, 30)) << ReadWholeFile(kSupplicantLog);
    }
    EXPECT_TRUE(Exists(kControlSocket)) << "it left its socket behind";
    EXPECT_EQ(1, _zvSocket_IsLinkProtected(Address(Neighbour::kHere)));
    EXPECT_FALSE(Exists("/tmp/wpa_ctrl"));
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(zvtest::Error(21, "wpa_supplicant_connect Error: Socket failed to connect \n")));
  });
}

}  // namespace
