// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Network.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "support/Bench.h"

namespace zvbench {
namespace {

constexpr char kLabel[] = "zvos_bench";

// Set by hand, and before there is a connection, so that the system does not change it while a row is
// measured.
constexpr int kSocketBuffer = 512 * 1024;

template <typename Query>
struct sockaddr_in Name(Query aQuery, zvSocket aSocket) {
  struct sockaddr_in theName = {};
  socklen_t theLength = sizeof(theName);
  if (aQuery(aSocket, Generic(&theName), &theLength) != 0) Fail("a socket has no name");
  return theName;
}

std::string FolderInMemory() {
  const char *theFolder = getenv("TMPDIR");
  if (theFolder != nullptr && *theFolder != '\0') return theFolder;
  return access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
}

void Remove(const std::string &aFolder) {
  std::error_code theError;
  std::filesystem::remove_all(aFolder, theError);
}

// The folders that there are. Those of a program that fails, which ends without releasing anything, are
// removed when it exits.
struct Folders {
  std::set<std::string> mPaths;

  ~Folders() {
    for (const std::string &thePath : mPaths)
      Remove(thePath);
  }
};

Folders sFolders;

}  // namespace

void SetOption(zvSocket aSocket, int aLevel, int aName, int aValue) {
  if (setsockopt(aSocket, aLevel, aName, &aValue, sizeof(aValue)) != 0) Fail("a socket refuses an option");
}

struct sockaddr_in LoopbackAddress(uint16 aPort) {
  struct sockaddr_in theAddress = {};
  theAddress.sin_family = AF_INET;
  theAddress.sin_port = htons(aPort);
  theAddress.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return theAddress;
}

zvSocket OpenSocket(int aType) {
  const zvSocket theSocket = zvSocketOpen(AF_INET, aType, 0, kLabel);
  if (theSocket == kzvSocketInvalid) Fail("zvSocketOpen failed");
  for (int theOption : {SO_SNDBUF, SO_RCVBUF})
    SetOption(theSocket, SOL_SOCKET, theOption, kSocketBuffer);
  return theSocket;
}

Socket::~Socket() {
  zvSocketClose(mSocket, kLabel);
}

struct sockaddr_in Socket::Address() const {
  return Name(getsockname, mSocket);
}

struct sockaddr_in Socket::PeerAddress() const {
  return Name(getpeername, mSocket);
}

BoundSocket::BoundSocket(int aType) : Socket(OpenSocket(aType)) {
  struct sockaddr_in theAddress = LoopbackAddress(0);
  if (zvSocketBind(Get(), Generic(&theAddress), sizeof(theAddress), kLabel) != 0) Fail("zvSocketBind failed");
}

Listener::Listener() : BoundSocket(SOCK_STREAM) {
  // Accepted sockets have it from here.
  const struct linger theLinger = {1, 0};
  if (setsockopt(Get(), SOL_SOCKET, SO_LINGER, &theLinger, sizeof(theLinger)) != 0 ||
      zvSocketListen(Get(), 8, kLabel) != 0) {
    Fail("cannot listen");
  }
}

ScratchFolder::ScratchFolder() : mPath(FolderInMemory() + "/zvos_bench.XXXXXX") {
  if (mkdtemp(&mPath[0]) == nullptr) Fail("cannot make a temporary folder");
  sFolders.mPaths.insert(mPath);
}

ScratchFolder::~ScratchFolder() {
  Remove(mPath);
  sFolders.mPaths.erase(mPath);
}

}  // namespace zvbench
