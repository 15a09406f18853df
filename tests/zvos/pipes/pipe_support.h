// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of local pipes share. Where names live and what becomes of SIGPIPE is settled once in a
// process, so the pipes of a test live in a process of its own, and those of others in a Peer.
#pragma once

#include "zvos/sockets/socket_support.h"
#include "support/Support.h"

#include <zvOS/zvPipe.h>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>

namespace zvtest {
namespace pipes {

constexpr zvLogModule kModule = 7;

enum class Names { kAbstract, kFiles };

inline std::string NameOfForm(const ::testing::TestParamInfo<Names> &anInfo) {
  return anInfo.param == Names::kFiles ? "SocketFiles" : "AbstractNames";
}

// Lets the library find out, in a new process, that names live there.
inline void SettleOn(Names aForm) {
  const int theBinds = CallsOf("bind");
  if (aForm == Names::kFiles) {
    Fault theProbe("bind", EINVAL);
    EXPECT_EQ(-EBADF, zvPipe_Close(-1, 0));
    EXPECT_EQ(1, theProbe.Hits());
  } else {
    EXPECT_EQ(-EBADF, zvPipe_Close(-1, 0));
  }
  EXPECT_EQ(theBinds + 1, CallsOf("bind")) << "the library knew already where names live";
}

inline void WithNames(Names aForm, const std::function<void()> &aBody) {
  InOwnProcess([&] {
    SettleOn(aForm);
    aBody();
  });
}

// Another process. Expectations that fail there fail the test.
class Peer {
 public:
  explicit Peer(const std::function<void()> &aBody) {
    fflush(nullptr);
    mPid = fork();
    EXPECT_NE(-1, mPid) << strerror(errno);
    if (mPid != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    aBody();
    fflush(nullptr);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  ~Peer() { Join(); }
  Peer(const Peer &) = delete;
  Peer &operator=(const Peer &) = delete;

  // Waits until it has come to its end.
  void Join() {
    if (mPid <= 0) return;
    const int theStatus = Wait();
    EXPECT_TRUE(WIFEXITED(theStatus)) << "the peer was ended by signal " << WTERMSIG(theStatus);
    EXPECT_EQ(0, WEXITSTATUS(theStatus)) << "expectations failed in the peer";
  }

  void Kill() {
    kill(mPid, SIGKILL);
    EXPECT_TRUE(WIFSIGNALED(Wait())) << "the peer had ended before it was killed";
  }

 private:
  int Wait() {
    int theStatus = -1;
    EXPECT_EQ(mPid, waitpid(mPid, &theStatus, 0));
    mPid = -1;
    return theStatus;
  }

  pid_t mPid;
};

// Both ends of a pair; the library has no part in their end.
class Pair {
 public:
  explicit Pair(int someFlags) : mEnds{net::Socket(-1), net::Socket(-1)} {
    int theEnds[2] = {-1, -1};
    EXPECT_EQ(0, zvPipe_Pair(theEnds, someFlags));
    mEnds[0] = net::Socket(theEnds[0]);
    mEnds[1] = net::Socket(theEnds[1]);
  }
  int operator[](int anEnd) const { return mEnds[anEnd]; }
  void Close(int anEnd) { mEnds[anEnd].Close(); }

 private:
  net::Socket mEnds[2];
};

inline bool IsNonBlocking(int aDescriptor) {
  return (fcntl(aDescriptor, F_GETFL) & O_NONBLOCK) != 0;
}

inline int TypeOf(int aSocket) {
  return net::IntOption(aSocket, SOL_SOCKET, SO_TYPE);
}

inline int Write(int aPipe, const std::string &aText) {
  return zvPipe_Write(aPipe, aText.data(), aText.size());
}

// What a read of up to aLength bytes gives; "error N" when it fails.
inline std::string Read(int aPipe, size_t aLength) {
  std::string theText(aLength, '\0');
  const int theCount = zvPipe_Read(aPipe, &theText[0], aLength);
  if (theCount < 0) return "error " + std::to_string(-theCount);
  return theText.substr(0, static_cast<size_t>(theCount));
}

// The messages of a failed call.
inline ::testing::Matcher<const Message &> Failed(const std::string &anOperation, const std::string &aCall,
                                                  int anError) {
  return Error(kModule, Format("%s: %s() errno=%d\n", anOperation.c_str(), aCall.c_str(), anError));
}
inline ::testing::Matcher<const Message &> WouldBlock(const std::string &anOperation,
                                                      const std::string &aCall) {
  return Info(kModule, Format("%s: %s() errno=11 'EWOULDBLOCK'\n", anOperation.c_str(), aCall.c_str()));
}
inline ::testing::Matcher<const Message &> EndOfStream() {
  return Info(kModule, "zvPipe_Read: end-of-stream\n");
}

// The path field of an address as the system was given it, and the length.
struct NativeAddress {
  std::string mPath;  // all of the field
  socklen_t mLength;
};

inline NativeAddress AddressFrom(const long long *someArguments) {
  const auto *theAddress = ArgumentAs<const sockaddr_un>(someArguments[1]);
  EXPECT_EQ(AF_UNIX, theAddress->sun_family);
  const auto theLength = static_cast<socklen_t>(someArguments[2]);
  return {std::string(theAddress->sun_path, theLength - offsetof(sockaddr_un, sun_path)), theLength};
}

}  // namespace pipes
}  // namespace zvtest
