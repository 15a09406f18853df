// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of ready-made sockets share: the messages of each step, and a view of every bind and
// of every port drawn.
#pragma once

#include <zvOS/zvSocket.h>

#include "socket_service_checks.h"

#include <memory>

namespace zvtest {
namespace readymade {

using net::kTCP;
using net::PortOf;
using net::Socket;

using MessageMatcher = ::testing::Matcher<const Message &>;
using Matchers = std::vector<MessageMatcher>;
using GetSocket = zvSocket (*)(int32, uint16 *);

constexpr int kMaxAttempts = 50;
constexpr uint16 kFirstPort = 50000;
constexpr uint16 kLastPort = 65000;

constexpr int32 kAnyAddress = 0;
constexpr int32 kLoopback = 0x7F000001;
// Reserved for documents: no machine has it.
constexpr int32 kForeignAddress = static_cast<int32>(0xC0000201);

constexpr const char *kUDPOpen = "zvSocket_GetUDPSocket 1";
constexpr const char *kUDPBind = "zvSocket_GetUDPSocket";
constexpr const char *kUDPClose = "zvSocket_GetUDPSocket 2";
constexpr const char *kTCPOpen = "zvSocket_GetTCPSocket 1";
constexpr const char *kFixedReuse = "zvSocket_GetTCPSocket 2";
constexpr const char *kFixedBind = "zvSocket_GetTCPSocket 3";
constexpr const char *kGivenReuse = "zvSocket_GetTCPSocket 4";
constexpr const char *kGivenBind = "zvSocket_GetTCPSocket 5";
constexpr const char *kAnyReuse = "zvSocket_GetTCPSocket 6";
constexpr const char *kAnyBind = "zvSocket_GetTCPSocket 7";
constexpr const char *kTCPClose = "zvSocket_GetTCPSocket 10";

// ---- The messages of each step, as its twin writes them ----

inline Matchers operator+(Matchers someMatchers, const Matchers &others) {
  someMatchers.insert(someMatchers.end(), others.begin(), others.end());
  return someMatchers;
}

inline Matchers Times(int aCount, const Matchers &someMatchers) {
  Matchers theResult;
  for (int i = 0; i < aCount; ++i)
    theResult = theResult + someMatchers;
  return theResult;
}

inline Matchers Traced(const std::string &aText) {
  return {Debug(kTCP, aText)};
}

inline Matchers Reported(const std::string &aText) {
  return {Error(kTCP, aText)};
}

inline Matchers Created(int aSocket, const char *aLabel) {
  return Traced(Format("Created socket %d [%s]\n", aSocket, aLabel));
}

inline Matchers CreateFailed(int anError, const char *aLabel) {
  return Reported(Format("Cannot create socket: error = %d [%s]\n", anError, aLabel));
}

inline Matchers Bound(int aSocket, const std::string &anAddress, const char *aLabel) {
  return Traced(Format("Socket %d bound to ", aSocket)) + Traced(anAddress) +
         Traced(Format(" [%s]\n", aLabel));
}

inline Matchers BindFailed(int aSocket, int anError, const char *aLabel) {
  return Reported(Format("Cannot bind socket %d: error = %d [%s]\n", aSocket, anError, aLabel));
}

inline Matchers ReuseFailed(int aSocket, const char *aLabel) {
  return Reported(Format("setsockopt(SO_REUSEADDR) error = -1 for socket %d [%s]\n", aSocket, aLabel));
}

inline Matchers Closed(int aSocket, const char *aLabel) {
  return Traced(Format("Closed socket %d [%s]\n", aSocket, aLabel));
}

inline Matchers CloseFailed(int aSocket, int anError, const char *aLabel) {
  return Reported(Format("Cannot close socket %d: error = %d [%s]\n", aSocket, anError, aLabel));
}

inline int OptionOf(int aSocket, int anOption) {
  return net::IntOption(aSocket, SOL_SOCKET, anOption);
}

// A port that nothing was bound to just now.
inline uint16 FreePort(const Socket &anUnboundSocket) {
  sockaddr_in theAddress = net::Address(INADDR_ANY, 0);
  EXPECT_EQ(0, bind(anUnboundSocket, net::Generic(&theAddress), sizeof(theAddress)));
  return static_cast<uint16>(PortOf(anUnboundSocket));
}

// A socket in the way of others.
inline Socket Holder(Socket aSocket) {
  FreePort(aSocket);
  return aSocket;
}

inline void ExpectAddress(int32 anIPAddress, int aSocket) {
  const sockaddr_in theAddress = OwnAddressOf(aSocket);
  EXPECT_EQ(AF_INET, theAddress.sin_family);
  EXPECT_EQ(htonl(static_cast<uint32>(anIPAddress)), theAddress.sin_addr.s_addr);
}

struct BindCall {
  int mSocket;
  sockaddr_in mAddress;
  long long mLength;
};

// Sees each bind and each draw of a port.
class ReadyMade : public ::testing::Test {
 protected:
  ReadyMade() : mBind("bind", 0, 0, -1) {
    mBind.PassingThrough().Doing([this](const long long *anArguments) { Record(anArguments); });
  }

  void Record(const long long *anArguments) {
    const BindCall theCall = {static_cast<int>(anArguments[0]), *ArgumentAs<sockaddr_in>(anArguments[1]),
                              anArguments[2]};
    mBinds.push_back(theCall);
  }

  // The next aCount binds fail with anError.
  std::unique_ptr<Fault> FailBinds(int anError, int aCount) {
    auto theFault = std::make_unique<Fault>("bind", anError, 0, aCount);
    theFault->Doing([this](const long long *anArguments) { Record(anArguments); });
    return theFault;
  }

  int FailedSocket() const { return mBinds.empty() ? -1 : mBinds[0].mSocket; }

  static int Draws() { return CallsOf("zvRand_MinMaxUInt16"); }

  std::vector<BindCall> mBinds;
  Fault mBind;
  RecordingLog mLog;
};

// Draws these ports, one after the other.
class Drawn {
 public:
  explicit Drawn(std::vector<int> somePorts) {
    // The newest fault answers first.
    for (auto thePort = somePorts.rbegin(); thePort != somePorts.rend(); ++thePort) {
      mFaults.push_back(std::make_unique<Fault>("zvRand_MinMaxUInt16", 0));
      mFaults.back()->Returning(*thePort).Doing(
          [this](const long long *anArguments) { mRanges.emplace_back(anArguments[0], anArguments[1]); });
    }
  }
  ~Drawn() {
    while (!mFaults.empty())
      mFaults.pop_back();
  }
  Drawn(const Drawn &) = delete;
  Drawn &operator=(const Drawn &) = delete;

  const std::vector<std::pair<long long, long long>> &Ranges() const { return mRanges; }

 private:
  std::vector<std::unique_ptr<Fault>> mFaults;
  std::vector<std::pair<long long, long long>> mRanges;
};

}  // namespace readymade
}  // namespace zvtest
