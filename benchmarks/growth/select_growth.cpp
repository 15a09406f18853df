// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Waiting for one of many sockets, the last of which is ready.

#include <fcntl.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <zvOS/zvSocketSelect.h>

#include "growth/growth.h"

namespace zvbench {
namespace {

// The sockets of a wait, all but the last without anything to read.
class Sockets {
 public:
  explicit Sockets(uint32 aCount) : mSelect(zvSocketSelect_New()) {
    if (mSelect == nullptr) Fail("zvSocketSelect_New failed");
    FD_ZERO(&mSet);
    for (uint32 i = 0; i < aCount; ++i) {
      int thePair[2];
      if (socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, thePair) != 0) Fail("cannot make a socket");
      mReaders.push_back(thePair[0]);
      // The other ends go where the sets of select() do not reach.
      const int theWriter = fcntl(thePair[1], F_DUPFD_CLOEXEC, FD_SETSIZE);
      close(thePair[1]);
      if (theWriter < 0 || thePair[0] >= FD_SETSIZE) Fail("cannot open that many sockets");
      mWriters.push_back(theWriter);
      FD_SET(thePair[0], &mSet);
    }
    if (write(mWriters.back(), "x", 1) != 1) Fail("cannot write into a socket");
  }
  ~Sockets() {
    for (const int theSocket : mReaders)
      close(theSocket);
    for (const int theSocket : mWriters)
      close(theSocket);
    zvSocketSelect_Delete(mSelect);
  }
  Sockets(const Sockets &) = delete;
  Sockets &operator=(const Sockets &) = delete;

  int WaitBare() const {
    fd_set theSet = mSet;
    const int theCount = select(mReaders.back() + 1, &theSet, nullptr, nullptr, nullptr);
    return theCount != 1 || !FD_ISSET(mReaders.back(), &theSet);
  }
  int WaitOurs() const {
    fd_set theSet = mSet;
    int afTriggered = 0;
    const int theCount =
        zvSocketSelect_Select(mSelect, &theSet, nullptr, nullptr, mReaders.back(), nullptr, &afTriggered);
    return theCount != 1 || !FD_ISSET(mReaders.back(), &theSet);
  }

 private:
  zvSocketSelect *const mSelect;
  std::vector<int> mReaders;
  std::vector<int> mWriters;
  fd_set mSet;
};

std::optional<Trial> Waiting(uint32 aCount) {
  struct rlimit theLimit = {};
  getrlimit(RLIMIT_NOFILE, &theLimit);
  theLimit.rlim_cur = theLimit.rlim_max;
  if (setrlimit(RLIMIT_NOFILE, &theLimit) != 0 || theLimit.rlim_max < 2 * FD_SETSIZE) {
    fprintf(stderr, "zvos_growth: no row of select, for too few descriptors can be open\n");
    return std::nullopt;
  }
  const auto theSockets = std::make_shared<const Sockets>(aCount);
  return Trial{Repeat([aSockets = theSockets.get()] { return aSockets->WaitBare(); }),
               Repeat([aSockets = theSockets.get()] { return aSockets->WaitOurs(); }),
               static_cast<double>(aCount),
               {},
               {theSockets}};
}

}  // namespace

std::vector<GrowthRow> SelectGrowth() {
  return {{"select",
           "sockets",
           "for a socket of a wait that ends at once",
           nullptr,
           "select",
           "zvSocketSelect_Select",
           {10, 30, 100, 300, 1000},
           Waiting}};
}

}  // namespace zvbench
