// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The bare calls of the system, as a program without a library makes them.

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <semaphore.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/BareMutex.h"
#include "Contest.h"

namespace zvbench {
namespace {

Entry LockPair(const Arena &) {
  auto theMutex = std::make_shared<BareMutex>();
  return {RepeatPair<pthread_mutex_lock, pthread_mutex_unlock>(&theMutex->mMutex), theMutex};
}

Entry SemaphorePair(const Arena &) {
  auto theSemaphore = std::make_shared<sem_t>();
  if (sem_init(theSemaphore.get(), 0, 0) != 0) Fail("cannot make a bare semaphore");
  return {RepeatPair<sem_post, sem_wait>(theSemaphore.get()), theSemaphore};
}

Entry ThreadLife(const Arena &) {
  return {Repeat([] {
            pthread_t theThread;
            int theRuns = 0;
            const auto theStart = [](void *aCount) -> void * {
              ++*static_cast<int *>(aCount);
              return nullptr;
            };
            int theFailures = pthread_create(&theThread, nullptr, theStart, &theRuns);
            theFailures |= pthread_join(theThread, nullptr);
            return theFailures | (theRuns != 1);
          }),
          nullptr};
}

class Wake {
 public:
  Wake() {
    if (pipe(mPipe) != 0 || fcntl(mPipe[0], F_SETFL, O_NONBLOCK) != 0) Fail("cannot make a pipe");
  }
  ~Wake() {
    close(mPipe[0]);
    close(mPipe[1]);
  }
  Wake(const Wake &) = delete;
  Wake &operator=(const Wake &) = delete;

  int Turn() {
    if (write(mPipe[1], " ", 1) != 1) return 1;
    fd_set theSet;
    FD_ZERO(&theSet);
    FD_SET(mPipe[0], &theSet);
    if (select(mPipe[0] + 1, &theSet, nullptr, nullptr, nullptr) != 1) return 1;
    char theBytes[256];
    return read(mPipe[0], theBytes, sizeof(theBytes)) != 1;
  }

 private:
  int mPipe[2];
};

struct Transfer {
  const TcpPair mPair;
  char mBuffer[kTransferSize] = {};

  int Turn() {
    if (send(mPair.Left(), mBuffer, kTransferSize, MSG_NOSIGNAL) != int{kTransferSize}) return 1;
    return recv(mPair.Right(), mBuffer, kTransferSize, 0) != int{kTransferSize};
  }
};

struct File {
  const int mFile;
  char mBuffer[kReadSize];

  explicit File(const Arena &anArena) : mFile(open(anArena.mFile, O_RDONLY | O_CLOEXEC)) {
    if (mFile < 0) Fail("cannot open the file");
  }
  ~File() { close(mFile); }
  File(const File &) = delete;
  File &operator=(const File &) = delete;

  int Turn() {
    if (lseek(mFile, 0, SEEK_SET) != 0) return 1;
    return read(mFile, mBuffer, kReadSize) != int{kReadSize};
  }
};

Entry Walk(const Arena &anArena) {
  return {Repeat([thePath = anArena.mFolder] {
            DIR *theFolder = opendir(thePath);
            if (theFolder == nullptr) return 1;
            uint32 theCount = 0;
            while (const dirent *theEntry = readdir(theFolder))
              theCount += theEntry->d_type == DT_REG && fnmatch(kPattern, theEntry->d_name, 0) == 0;
            closedir(theFolder);
            return static_cast<int>(theCount != kWalkedFiles);
          }),
          nullptr};
}

}  // namespace

TcpPair::TcpPair() {
  const int theListener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in theAddress = {};
  theAddress.sin_family = AF_INET;
  theAddress.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto *const theGeneric = reinterpret_cast<sockaddr *>(&theAddress);
  socklen_t theLength = sizeof(theAddress);
  const int theNoDelay = 1;
  if (bind(theListener, theGeneric, theLength) != 0 || listen(theListener, 1) != 0 ||
      getsockname(theListener, theGeneric, &theLength) != 0 ||
      (mLeft = socket(AF_INET, SOCK_STREAM, 0)) < 0 || connect(mLeft, theGeneric, theLength) != 0 ||
      (mRight = accept(theListener, nullptr, nullptr)) < 0 ||
      setsockopt(mLeft, IPPROTO_TCP, TCP_NODELAY, &theNoDelay, sizeof(theNoDelay)) != 0) {
    Fail("cannot connect two sockets");
  }
  close(theListener);
}

TcpPair::~TcpPair() {
  close(mLeft);
  close(mRight);
}

const Contestant kBare = {
    "bare", "", {LockPair, SemaphorePair, ThreadLife, Play<Wake>, Play<Transfer>, Play<File>, Walk}};

}  // namespace zvbench
