// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Names to addresses by several threads at once: the call of the C library has one result for all of them.

#include <zvOS/zvSocketAddress.h>

#include "socket_support.h"
#include "support/Network.h"
#include "support/Support.h"

#include <netdb.h>
#include <sys/mount.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

namespace {

using namespace zvtest;

constexpr int kThreads = 4;
constexpr int kRounds = 200;

// A resolver as the C library's: whoever asks gets the same record, filled in anew. "host N" has the
// address N. Filling it in takes a while.
class CommonResult {
 public:
  CommonResult() : mResolver("gethostbyname", 0, 0, -1) {
    mHost.h_addrtype = AF_INET;
    mHost.h_length = sizeof(mAddress);
    mHost.h_addr_list = mList;
    mResolver.Returning(AsArgument(&mHost))
        .Doing([this](const long long *anArguments) {
          const char *const theName = ArgumentAs<const char>(anArguments[0]);
          const auto theEnd = std::chrono::steady_clock::now() + std::chrono::microseconds(50);
          do {
            *static_cast<volatile uint32 *>(&mAddress) = static_cast<uint32>(atoi(theName + strlen("host ")));
          } while (std::chrono::steady_clock::now() < theEnd);
        })
        .AnyThread();
  }

 private:
  uint32 mAddress = 0;
  char *mList[2] = {reinterpret_cast<char *>(&mAddress), nullptr};
  hostent mHost = {};
  Fault mResolver;
};

TEST(SocketResolver, EachThreadGetsTheAddressThatItAskedFor) {
  CommonResult theResult;
  std::atomic<int> theForeign{0};
  std::vector<std::thread> theThreads;
  for (int theThread = 1; theThread <= kThreads; ++theThread) {
    theThreads.emplace_back([&, theThread] {
      for (int i = 0; i < kRounds; ++i) {
        const int theNumber = theThread * 1000 + i;
        const std::string theName = "host " + std::to_string(theNumber);
        if (zvSocketGetAddressByName(theName.c_str()) != static_cast<uint32>(theNumber)) ++theForeign;
      }
    });
  }
  for (std::thread &theThread : theThreads)
    theThread.join();
  EXPECT_EQ(0, theForeign);
}

// A host whose name server says nothing until it is told to. Within OnOwnHost only.
class SilentServer {
 public:
  SilentServer() : mSocket(zvtest::net::Datagram()) {
    zvtest::Ip({"link set lo up"});
    Replace("/etc/nsswitch.conf", "hosts: files dns\n");
    Replace("/etc/hosts", "127.0.0.1 localhost\n");
    Replace("/etc/resolv.conf", "nameserver 127.0.0.1\n");
    sockaddr_in theAddress = zvtest::net::Loopback(53);
    EXPECT_EQ(0, bind(mSocket, zvtest::net::Generic(&theAddress), sizeof(theAddress))) << strerror(errno);
  }

  // Why there can be none.
  static std::string WhyNone() {
    for (const char *theFile : {"/etc/nsswitch.conf", "/etc/hosts", "/etc/resolv.conf"}) {
      if (access(theFile, F_OK) != 0) return std::string("there is no ") + theFile + " to be replaced";
    }
    return "";
  }

  void WaitForQuery() {
    socklen_t theLength = sizeof(mAsker);
    mCount = recvfrom(mSocket, mQuery, sizeof(mQuery), 0, zvtest::net::Generic(&mAsker), &theLength);
    ASSERT_GT(mCount, 4);
  }

  // There is no such name.
  void Answer() {
    mQuery[2] = static_cast<char>(0x81);
    mQuery[3] = static_cast<char>(0x83);
    EXPECT_EQ(mCount, sendto(mSocket, mQuery, static_cast<size_t>(mCount), 0, zvtest::net::Generic(&mAsker),
                             sizeof(mAsker)));
  }

 private:
  static void Replace(const char *aFile, const std::string &aText) {
    const std::string theNew = "/tmp/" + std::filesystem::path(aFile).filename().string();
    zvtest::WriteWholeFile(theNew, aText);
    EXPECT_EQ(0, mount(theNew.c_str(), aFile, nullptr, MS_BIND, nullptr)) << aFile << ": " << strerror(errno);
  }

  zvtest::net::Socket mSocket;
  char mQuery[512];
  ssize_t mCount = 0;
  sockaddr_in mAsker = {};
};

// The C library holds a lock of its own for the time of a look-up, which stays locked in such a child.
TEST(SocketResolver, AChildForkedDuringALookUpCanLookUpNames) {
  if (!SilentServer::WhyNone().empty()) GTEST_SKIP() << SilentServer::WhyNone();
  zvtest::OnOwnHost([] {
    SilentServer theServer;
    std::thread theAsker([] { EXPECT_EQ(0u, zvSocketGetAddressByName("zvtest-player.")); });
    theServer.WaitForQuery();
    const auto theChild = RunInChild(
        [] {
          // Whoever asks, and how often.
          for (int i = 0; i < 2; ++i) {
            if (zvSocketGetAddressByName("localhost") != Address("127.0.0.1")) return 1;
          }
          return zvSocketGetAddressByName("10.1.2.3") == Address("10.1.2.3") ? 0 : 2;
        },
        3);
    EXPECT_FALSE(theChild.mfTimedOut) << "the child waits for a thread that it does not have";
    EXPECT_EQ(0, theChild.mStatus) << theChild.mError;
    theServer.Answer();
    theAsker.join();
    EXPECT_EQ(Address("127.0.0.1"), zvSocketGetAddressByName("localhost"));
  });
}

TEST(SocketResolver, AChildForkedBetweenLookUpsGoesOnWithTheSameCall) {
  Fault theResolver("gethostbyname", 0, 0, -1);
  EXPECT_EQ(0u, zvSocketGetAddressByName("zvtest-player"));
  const auto theChild = RunInChild([] {
    const int theCalls = CallsOf("gethostbyname");
    zvSocketGetAddressByName("zvtest-player");
    return CallsOf("gethostbyname") == theCalls + 1 ? 0 : 1;
  });
  EXPECT_EQ(0, theChild.mStatus) << theChild.mError;
}

}  // namespace
