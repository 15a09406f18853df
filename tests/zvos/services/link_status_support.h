// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A Wi-Fi supplicant that is the test itself: it answers at the moment when the library has sent its request.
#pragma once

#include <zvOS/zvSocket.h>

#include "support/HandleChecks.h"
#include "support/Network.h"
#include "support/Support.h"
#include "zvos/sockets/socket_support.h"

#include <fcntl.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace zvtest {
namespace link_status {

constexpr char kControlFolder[] = "/var/run/wpa_supplicant";
constexpr char kOwnSocket[] = "/tmp/wpa_ctrl";

inline const char *const kAddress = "10.9.0.1";
inline const char *const kOtherAddress = "10.9.1.1";

inline const std::string kOpen = "pairwise_cipher=NONE";
inline const std::string kOpenAnswer = "wpa_state=COMPLETED\npairwise_cipher=NONE\ngroup_cipher=NONE\n";
inline const std::string kProtectedAnswer = "wpa_state=COMPLETED\npairwise_cipher=CCMP\ngroup_cipher=NONE\n";

// The supplicant of one interface.
class Supplicant {
 public:
  explicit Supplicant(const char *anInterface, const std::string &anAnswer = kOpenAnswer)
      : mSocket(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)), mAnswer(anAnswer), mSend("send", 0, 0, -1) {
    mkdir(kControlFolder, 0700);
    mPath = std::string(kControlFolder) + "/" + anInterface;
    const sockaddr_un theAddress = net::LocalAddress(mPath);
    EXPECT_EQ(0, bind(mSocket, reinterpret_cast<const sockaddr *>(&theAddress), sizeof(theAddress)));
    sSupplicants.push_back(this);
    mSend.PassingThrough().Doing([](const long long *) {  // of several the newest sees the request
      for (Supplicant *const theSupplicant : sSupplicants)
        theSupplicant->Work();
    });
  }
  ~Supplicant() {
    sSupplicants.pop_back();
    close(mSocket);
    unlink(mPath.c_str());
  }
  Supplicant(const Supplicant &) = delete;
  Supplicant &operator=(const Supplicant &) = delete;

  void SetAnswer(const std::string &anAnswer) { mAnswer = anAnswer; }
  // Runs when a request has come, before the answer.
  void OnRequest(const std::function<void()> &aHook) { mHook = aHook; }
  // From now on requests are only received.
  void KeepQuiet() { mfQuiet = true; }
  void AnswerNow() const {
    EXPECT_EQ(static_cast<ssize_t>(mAnswer.size()),
              sendto(mSocket, mAnswer.data(), mAnswer.size(), MSG_DONTWAIT,
                     reinterpret_cast<const sockaddr *>(&mClient), mClientLength));
  }

  const std::vector<std::string> &Requests() const { return mRequests; }
  std::string Client() const { return mClient.sun_path; }

 private:
  void Work() {
    char theRequest[256];
    mClient = {};
    mClientLength = sizeof(mClient);
    const ssize_t theLength = recvfrom(mSocket, theRequest, sizeof(theRequest), MSG_DONTWAIT,
                                       reinterpret_cast<sockaddr *>(&mClient), &mClientLength);
    if (theLength < 0) return;  // it went to another one
    mRequests.emplace_back(theRequest, static_cast<size_t>(theLength));
    if (mHook) mHook();
    if (!mfQuiet) AnswerNow();
  }

  inline static std::vector<Supplicant *> sSupplicants;

  int mSocket;
  std::string mPath;
  std::string mAnswer;
  std::function<void()> mHook;
  bool mfQuiet = false;
  sockaddr_un mClient = {};
  socklen_t mClientLength = 0;
  std::vector<std::string> mRequests;
  Fault mSend;
};

// One more than the descriptors in use, as long as none below is free.
inline int FirstFreeDescriptor() {
  const int theDescriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(theDescriptor);
  return theDescriptor;
}

class LinkStatus : public ::testing::Test {
 protected:
  // Runs the body on a host with two interfaces, eth0 and eth1.
  void OnWirelessHost(const std::function<void()> &aBody) {
    OnOwnHost([&] {
      Ip({"link set lo up", "link add eth0 type veth peer name end0",
          "link add eth1 type veth peer name end1", std::string("addr add ") + kAddress + "/24 dev eth0",
          std::string("addr add ") + kOtherAddress + "/24 dev eth1", "link set eth0 up", "link set eth1 up"});
      aBody();
    });
  }

  // A query that must leave no descriptor open, and its own socket as it was.
  static int Query(const char *anAddress = kAddress) {
    const int theDescriptor = FirstFreeDescriptor();
    const bool theExisted = Exists(kOwnSocket);
    const int theAnswer = _zvSocket_IsLinkProtected(Address(anAddress));
    EXPECT_EQ(theDescriptor, FirstFreeDescriptor());
    EXPECT_EQ(theExisted, Exists(kOwnSocket));
    return theAnswer;
  }

  RecordingLog mLog;
};

}  // namespace link_status
}  // namespace zvtest
