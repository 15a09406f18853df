// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Whether a link is protected, as a Wi-Fi supplicant tells it over its control socket.

#include "link_status_support.h"

#include <chrono>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;
using namespace zvtest::link_status;

constexpr size_t kLongestAnswer = 512;

auto Failed(const std::string &aText) {
  return Error(21, aText);
}
const auto kBindFailed = Failed("wpa_supplicant_connect Error: Socket failed to bind \n");
const auto kConnectFailed = Failed("wpa_supplicant_connect Error: Socket failed to connect \n");

// ---- What the supplicant says ----

TEST_F(LinkStatus, OnlyTheWordThatThereIsNoPairwiseCipherMakesALinkUnprotected) {
  OnWirelessHost([this] {
    const struct {
      std::string mAnswer;
      int mfProtected;
    } kCases[] = {{kOpenAnswer, 0},
                  {kOpen, 0},
                  {"pairwise_cipher=NONEXISTENT\n", 0},
                  {"last_" + kOpen, 0},
                  {"pairwise_cipher=CCMP\n" + kOpenAnswer, 0},
                  {kProtectedAnswer, 1},
                  {"pairwise_cipher=TKIP\n", 1},
                  {"pairwise_cipher=none\n", 1},
                  {"pairwise_cipher= NONE\n", 1},
                  {"pairwise_cipher=NON", 1},
                  {"group_cipher=NONE\n", 1},
                  {"UNKNOWN COMMAND\n", 1},
                  {"\n", 1},
                  {"", 1}};
    Supplicant theSupplicant("eth0");
    for (const auto &theCase : kCases) {
      theSupplicant.SetAnswer(theCase.mAnswer);
      EXPECT_EQ(theCase.mfProtected, Query()) << theCase.mAnswer;
    }
    EXPECT_EQ(sizeof(kCases) / sizeof(kCases[0]), theSupplicant.Requests().size());
    EXPECT_THAT(mLog.Calls(), IsEmpty());
  });
}

TEST_F(LinkStatus, AnAnswerIsSearchedAsFarAsItWasReceived) {
  OnWirelessHost([this] {
    const std::string theFiller(kLongestAnswer, 'x');
    Supplicant theSupplicant("eth0");
    // Where the pattern begins; the answer ends with the pattern.
    const struct {
      size_t mBegin;
      int mfProtected;
    } kCases[] = {{kLongestAnswer - kOpen.size(), 0},
                  {kLongestAnswer - kOpen.size() - 1, 0},
                  {kLongestAnswer - kOpen.size() + 1, 1},
                  {kLongestAnswer - 1, 1},
                  {kLongestAnswer, 1}};
    for (const auto &theCase : kCases) {
      theSupplicant.SetAnswer(theFiller.substr(0, theCase.mBegin) + kOpen);
      EXPECT_EQ(theCase.mfProtected, Query()) << theCase.mBegin;
    }
    theSupplicant.SetAnswer(theFiller.substr(0, kLongestAnswer - kOpen.size() + 1) +
                            kOpen.substr(0, kOpen.size() - 1));
    EXPECT_EQ(1, Query()) << "filled to the last byte with the beginning of the pattern";
    EXPECT_THAT(mLog.Calls(), IsEmpty());
  });
}

TEST_F(LinkStatus, AnAnswerIsForgottenBeforeTheNext) {
  OnWirelessHost([] {
    Supplicant theSupplicant("eth0");
    EXPECT_EQ(0, Query());
    theSupplicant.SetAnswer("pair");
    EXPECT_EQ(1, Query());
  });
}

TEST_F(LinkStatus, TheRequestIsOneDatagramFromTheFixedAddress) {
  OnWirelessHost([] {
    Supplicant theSupplicant("eth0");
    EXPECT_EQ(0, Query());
    EXPECT_THAT(theSupplicant.Requests(), ElementsAre("STATUS_VERBOSE"));
    EXPECT_EQ(kOwnSocket, theSupplicant.Client());
  });
}

TEST_F(LinkStatus, BothAddressesArePassedInFullLength) {
  OnWirelessHost([] {
    const Supplicant theSupplicant("eth0");
    std::vector<std::string> thePaths;
    const auto theAction = [&](const long long *anArguments) {
      const auto *theAddress = ArgumentAs<const sockaddr_un>(anArguments[1]);
      EXPECT_EQ(AF_UNIX, theAddress->sun_family);
      EXPECT_EQ(110, anArguments[2]);
      thePaths.emplace_back(theAddress->sun_path);
    };
    Fault theBind("bind", 0);
    theBind.PassingThrough().Doing(theAction);
    Fault theConnect("connect", 0);
    theConnect.PassingThrough().Doing(theAction);
    EXPECT_EQ(0, Query());
    EXPECT_THAT(thePaths, ElementsAre(kOwnSocket, std::string(kControlFolder) + "/eth0"));
  });
}

TEST_F(LinkStatus, TheInterfaceWithTheAddressIsAsked) {
  OnWirelessHost([] {
    Ip({"addr add 10.9.1.7/24 dev eth1"});
    const Supplicant theSupplicant("eth0", kProtectedAnswer);
    const Supplicant theOther("eth1", kOpenAnswer);
    EXPECT_EQ(1, Query(kAddress));
    EXPECT_EQ(0, Query(kOtherAddress));
    EXPECT_EQ(0, Query("10.9.1.7")) << "the second address of an interface";
    EXPECT_EQ(1u, theSupplicant.Requests().size());
    EXPECT_EQ(2u, theOther.Requests().size());
  });
}

// ---- No answer ----

TEST_F(LinkStatus, ASupplicantThatKeepsQuietIsWaitedForTwoSeconds) {
  OnWirelessHost([this] {
    Supplicant theSupplicant("eth0");
    theSupplicant.KeepQuiet();
    Fault theFault("select", 0);
    theFault.Returning(0).Doing([](const long long *anArguments) {
      const auto *theTime = ArgumentAs<timeval>(anArguments[4]);
      EXPECT_EQ(2, theTime->tv_sec);
      EXPECT_EQ(0, theTime->tv_usec);
      FD_ZERO(ArgumentAs<fd_set>(anArguments[1]));
    });
    const int theReceived = CallsOf("recv");
    EXPECT_EQ(1, Query());
    EXPECT_EQ(1, theFault.Hits());
    EXPECT_EQ(theReceived, CallsOf("recv"));
    EXPECT_THAT(mLog.Calls(), IsEmpty());
  });
}

TEST_F(LinkStatus, AnAnswerAfterTwoSecondsIsTooLate) {
  OnWirelessHost([this] {
    Supplicant theSupplicant("eth0");
    theSupplicant.KeepQuiet();
    Fault theFault("select", 0);  // really waits; the answer comes right after
    theFault.PassingThrough().Doing([&](const long long *) { theSupplicant.AnswerNow(); });
    const auto theStart = std::chrono::steady_clock::now();
    EXPECT_EQ(1, Query());
    const std::chrono::duration<double> theTime = std::chrono::steady_clock::now() - theStart;
    EXPECT_GE(theTime.count(), 1.99);
    EXPECT_LT(theTime.count(), 10);
    EXPECT_THAT(mLog.Calls(), IsEmpty());
  });
}

// ---- Nobody to ask ----

TEST_F(LinkStatus, AnAddressOfNoUsableInterfaceIsProtectedWithoutASocketFile) {
  OnWirelessHost([this] {
    Ip({"link set eth1 down", "addr add 10.9.9.9/32 dev lo"});
    const Supplicant theSupplicant("eth0");
    const Supplicant theOther("eth1");
    const Supplicant theLoopback("lo");
    for (const char *theAddress :
         {"10.9.0.2", kOtherAddress, "127.0.0.1", "10.9.9.9", "0.0.0.0", "1.0.9.10"}) {
      const int theSockets = CallsOf("socket");
      const int theBinds = CallsOf("bind");
      EXPECT_EQ(1, Query(theAddress)) << theAddress;
      EXPECT_EQ(theSockets + 1, CallsOf("socket")) << theAddress;
      EXPECT_EQ(theBinds, CallsOf("bind")) << theAddress;
    }
    EXPECT_THAT(mLog.Calls(), IsEmpty());
  });
}

TEST_F(LinkStatus, TheLoopbackAddressIsPassedOverOnAnyInterface) {
  OnWirelessHost([] {
    Ip({"addr del 127.0.0.1/8 dev lo", "addr add 127.0.0.1/32 dev eth0"});
    const Supplicant theSupplicant("eth0");
    EXPECT_EQ(1, Query("127.0.0.1"));
    EXPECT_THAT(theSupplicant.Requests(), IsEmpty());
  });
}

TEST_F(LinkStatus, AWiredLinkIsProtected) {
  OnWirelessHost([this] {
    EXPECT_EQ(1, Query()) << "there is no folder of control sockets";
    {
      const Supplicant theSupplicant("eth1");
      EXPECT_EQ(1, Query()) << "another interface has a supplicant";
    }
    EXPECT_THAT(mLog.Messages(), ElementsAre(kConnectFailed, kConnectFailed));
  });
}

TEST_F(LinkStatus, AStaleSocketMakesEveryAnswerProtectedUntilItIsRemoved) {
  OnWirelessHost([this] {
    const Supplicant theSupplicant("eth0");
    zvtest::WriteWholeFile(kOwnSocket, "");
    EXPECT_EQ(1, Query());
    EXPECT_EQ(1, Query());
    EXPECT_THAT(mLog.Messages(), ElementsAre(kBindFailed, kBindFailed));
    EXPECT_THAT(theSupplicant.Requests(), IsEmpty());

    mLog.Clear();
    ASSERT_EQ(0, unlink(kOwnSocket));
    EXPECT_EQ(0, Query());
    EXPECT_THAT(mLog.Calls(), IsEmpty());
  });
}

TEST_F(LinkStatus, ASecondQueryDuringTheFirstIsProtected) {
  OnWirelessHost([this] {
    Supplicant theSupplicant("eth0");
    int theSecond = -1;
    theSupplicant.OnRequest([&] { theSecond = Query(); });
    EXPECT_EQ(0, Query());
    EXPECT_EQ(1, theSecond);
    EXPECT_EQ(1u, theSupplicant.Requests().size());
    EXPECT_THAT(mLog.Messages(), ElementsAre(kBindFailed));
  });
}

// ---- Failures ----

TEST_F(LinkStatus, AFailureOfTheExchangeIsLoggedProtectedAndLeaksTheAnswer) {
  OnWirelessHost([this] {
    const struct {
      const char *mCall;
      int mSkip;
      int mAllocations;
      const char *mMessage;
    } kCases[] = {{"socket", 1, 0, "wpa_supplicant_connect Error: Socket failed to open \n"},
                  {"bind", 0, 0, "wpa_supplicant_connect Error: Socket failed to bind \n"},
                  {"connect", 0, 0, "wpa_supplicant_connect Error: Socket failed to connect \n"},
                  {"send", 0, 1, "wpa_supplicant_get_req send failed \n"},
                  {"select", 0, 1, "wpa_supplicant_get_req select failed\n"},
                  {"recv", 0, 1, "wpa_supplicant_get_req recv failed\n"}};
    const Supplicant theSupplicant("eth0");
    for (const auto &theCase : kCases) {
      mLog.Clear();
      mLog.SpoilErrno(EDOM);
      // The memory for the answer, of which the failures let go without releasing it.
      char theMemory[1024] = "";
      zvtest::ReleaseWatch theWatch;
      theWatch.Watch(theMemory);
      Fault theAllocation("calloc", 0, 1);  // after the list of interfaces
      theAllocation.Returning(AsArgument(theMemory));

      Fault theFault(theCase.mCall, EIO, theCase.mSkip);
      EXPECT_EQ(1, Query()) << theCase.mCall;
      EXPECT_EQ(1, theFault.Hits()) << theCase.mCall;
      EXPECT_EQ(theCase.mAllocations, theAllocation.Hits()) << theCase.mCall;
      EXPECT_EQ(0, theWatch.ReleasesOf(theMemory)) << theCase.mCall;
      EXPECT_THAT(mLog.Messages(), ElementsAre(Failed(theCase.mMessage))) << theCase.mCall;
    }
    EXPECT_EQ(0, Query()) << "nothing is left in the way";
  });
}

TEST_F(LinkStatus, AFailureToFindTheInterfaceIsLoggedAndProtected) {
  OnWirelessHost([this] {
    const Supplicant theSupplicant("eth0");
    const struct {
      const char *mCall;
      const char *mMessage;
    } kCases[] = {{"socket", "Error creating a socket [zvSocketGetIPAddressList]\n"},
                  {"ioctl", "Error calling ioctl [zvSocketGetIPAddressList]\n"}};
    for (const auto &theCase : kCases) {
      mLog.Clear();
      const Fault theFault(theCase.mCall, EIO);
      EXPECT_EQ(1, Query()) << theCase.mCall;
      EXPECT_THAT(mLog.Messages(), ElementsAre(Failed(theCase.mMessage))) << theCase.mCall;
    }
    EXPECT_THAT(theSupplicant.Requests(), IsEmpty());
  });
}

TEST_F(LinkStatus, AnInterfaceThatHidesItsFlagsIsLoggedAndPassedOver) {
  OnWirelessHost([this] {
    const auto theMessage = Failed("Error calling ioctl: Cannot get flags [zvSocketGetIPAddressList]\n");
    const Supplicant theSupplicant("eth0");
    const Supplicant theOther("eth1");
    {
      const Fault theFault("ioctl", EIO, 2);  // after the list and loopback
      EXPECT_EQ(0, Query(kOtherAddress));
      EXPECT_THAT(mLog.Messages(), ElementsAre(theMessage));
      EXPECT_THAT(theOther.Requests(), ElementsAre("STATUS_VERBOSE"));
    }
    mLog.Clear();
    const Fault theFault("ioctl", EIO, 2);
    EXPECT_EQ(1, Query(kAddress));
    EXPECT_THAT(mLog.Messages(), ElementsAre(theMessage));
    EXPECT_THAT(theSupplicant.Requests(), IsEmpty());
  });
}

TEST_F(LinkStatus, WithoutMemoryForTheAnswerTheLinkIsProtected) {
  OnWirelessHost([this] {
    const Supplicant theSupplicant("eth0");
    Fault theFault("calloc", ENOMEM, 1);  // after the list of interfaces
    EXPECT_EQ(1, Query());
    EXPECT_EQ(1, theFault.Hits());
    EXPECT_THAT(theSupplicant.Requests(), IsEmpty());
    EXPECT_THAT(mLog.Calls(), IsEmpty());
  });
}

}  // namespace
