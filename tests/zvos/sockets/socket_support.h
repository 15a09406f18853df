// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of sockets share: sockets that close themselves, addresses of the loopback interface,
// and calls together with the last error they leave.
#pragma once

#include "support/Faults.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

// The text of what a macro call becomes, for example "zvSocketClose_Debug(x, y, 0)".
#define ZVTEST_TEXT_OF(...)  #__VA_ARGS__
#define ZVTEST_EXPANDED(...) ZVTEST_TEXT_OF(__VA_ARGS__)

namespace zvtest {
namespace net {

constexpr zvLogModule kTCP = 21;
constexpr zvLogModule kTCPRW = 22;
constexpr zvLogModule kTracker = 53;
constexpr zvLogModule kTraffic = 55;

// What the level of the log lets through.
constexpr zvLogLevel kNothing = 0;
constexpr zvLogLevel kBelowErrors = 1;
constexpr zvLogLevel kUpToErrors = 2;
constexpr zvLogLevel kUpToInformation = 4;
constexpr zvLogLevel kUpToDebug = 5;

// The socket table keeps the pointer to a label.
constexpr char kLabel[] = "Player control 3";

// What errno holds before a call, and what the log puts there; no call under test ends with these.
constexpr int kStale = ERANGE;
constexpr int kSpoilt = EDOM;

// A result and the last error that came with it.
struct Outcome {
  Outcome(long long aResult, int anError) : mResult(aResult), mError(anError) {}
  bool operator==(const Outcome &another) const {
    return mResult == another.mResult && mError == another.mError;
  }
  long long mResult;
  int mError;
};

inline void PrintTo(const Outcome &anOutcome, std::ostream *aStream) {
  *aStream << "result " << anOutcome.mResult << " with last error " << anOutcome.mError;
}

template <typename Function>
Outcome Call(Function aFunction, int anErrorBefore = kStale) {
  errno = anErrorBefore;
  const long long theResult = aFunction();
  const int theError = errno;
  return {theResult, theError};
}

// Owns a descriptor; the library has no part in its end.
class Socket {
 public:
  explicit Socket(int aDescriptor) : mDescriptor(aDescriptor) {}
  Socket(Socket &&another) noexcept : mDescriptor(another.Release()) {}
  Socket &operator=(Socket &&another) noexcept {
    std::swap(mDescriptor, another.mDescriptor);
    return *this;
  }
  ~Socket() { Close(); }

  operator int() const { return mDescriptor; }
  int Release() { return std::exchange(mDescriptor, -1); }
  void Close() {
    if (mDescriptor >= 0) close(Release());
  }

 private:
  int mDescriptor;
};

// No wait on these lasts longer than a failing test may.
inline Socket NewSocket(int aType) {
  Socket theSocket(socket(AF_INET, aType, 0));
  const timeval theLongestWait = {20, 0};
  EXPECT_EQ(0, setsockopt(theSocket, SOL_SOCKET, SO_RCVTIMEO, &theLongestWait, sizeof(theLongestWait)));
  return theSocket;
}

inline Socket Stream(int someFlags = 0) {
  return NewSocket(SOCK_STREAM | someFlags);
}

inline Socket Datagram(int someFlags = 0) {
  return NewSocket(SOCK_DGRAM | someFlags);
}

// A descriptor that is not open.
inline int ClosedDescriptor() {
  return Stream();
}

// An address in host byte order.
inline sockaddr_in Address(uint32 anIPAddress, uint16 aPort) {
  sockaddr_in theAddress = {};
  theAddress.sin_family = AF_INET;
  theAddress.sin_addr.s_addr = htonl(anIPAddress);
  theAddress.sin_port = htons(aPort);
  return theAddress;
}

inline sockaddr_in Loopback(int aPort = 0) {
  return Address(INADDR_LOOPBACK, static_cast<uint16>(aPort));
}

// The address of a socket file.
inline sockaddr_un LocalAddress(const std::string &aPath) {
  sockaddr_un theAddress = {};
  theAddress.sun_family = AF_UNIX;
  aPath.copy(theAddress.sun_path, sizeof(theAddress.sun_path) - 1);
  return theAddress;
}

inline sockaddr *Generic(sockaddr_in *anAddress) {
  return reinterpret_cast<sockaddr *>(anAddress);
}

constexpr socklen_t kAddressLength = sizeof(sockaddr_in);

inline int PortOf(int aSocket) {
  sockaddr_in theAddress = {};
  socklen_t theLength = kAddressLength;
  EXPECT_EQ(0, getsockname(aSocket, Generic(&theAddress), &theLength));
  return ntohs(theAddress.sin_port);
}

// Binds to a port of the loopback interface that the system chooses.
inline Socket Bound(Socket aSocket) {
  sockaddr_in theAddress = Loopback();
  EXPECT_EQ(0, bind(aSocket, Generic(&theAddress), kAddressLength));
  return aSocket;
}

inline Socket Listener(int someFlags = 0) {
  Socket theSocket = Bound(Stream(someFlags));
  EXPECT_EQ(0, listen(theSocket, 5));
  return theSocket;
}

inline void ConnectTo(int aSocket, int aPort) {
  sockaddr_in theAddress = Loopback(aPort);
  EXPECT_EQ(0, connect(aSocket, Generic(&theAddress), kAddressLength));
}

// Two sockets connected over the loopback interface.
struct Connection {
  Connection() : mNear(Stream()), mFar(-1) {
    const Socket theListener = Listener();
    ConnectTo(mNear, PortOf(theListener));
    mFar = Socket(accept(theListener, nullptr, nullptr));
  }
  Socket mNear;
  Socket mFar;
};

inline int IntOption(int aSocket, int aLevel, int anOption) {
  int theValue = -1;
  socklen_t theLength = sizeof(theValue);
  EXPECT_EQ(0, getsockopt(aSocket, aLevel, anOption, &theValue, &theLength));
  return theValue;
}

// Counts a signal in place of what it usually does.
class SignalCount {
 public:
  explicit SignalCount(int aSignal) : mSignal(aSignal) {
    sCount = 0;
    struct sigaction theAction = {};
    theAction.sa_handler = [](int) { sCount = sCount + 1; };
    sigaction(mSignal, &theAction, &mFormerAction);
  }
  ~SignalCount() { sigaction(mSignal, &mFormerAction, nullptr); }
  SignalCount(const SignalCount &) = delete;
  SignalCount &operator=(const SignalCount &) = delete;

  int Count() const { return sCount; }

 private:
  inline static volatile sig_atomic_t sCount = 0;
  int mSignal;
  struct sigaction mFormerAction;
};

// A text with its places filled in: "{socket}", "{error}", "{label}" (which is kLabel).
inline std::string Fill(std::string aText, int aSocket, int anError = 0) {
  const std::pair<std::string, std::string> thePlaces[] = {
      {"{socket}", std::to_string(aSocket)}, {"{error}", std::to_string(anError)}, {"{label}", kLabel}};
  for (const auto &thePlace : thePlaces) {
    const size_t theStart = aText.find(thePlace.first);
    if (theStart != std::string::npos) aText.replace(theStart, thePlace.first.size(), thePlace.second);
  }
  return aText;
}

// A macro call's expansion and what it must be.
struct MacroCase {
  const char *mExpansion;
  const char *mExpected;
};

// Every call of the log spoils errno: what a twin leaves there never comes from the log.
class SpoilingLog : public testing::Test {
 protected:
  SpoilingLog() { mLog.SpoilErrno(kSpoilt); }

  RecordingLog mLog;
};

class SocketPrimitives : public SpoilingLog {};
class SocketOptions : public SpoilingLog {};

}  // namespace net
}  // namespace zvtest
