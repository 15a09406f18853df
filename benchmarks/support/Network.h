// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the rows of the network share: sockets on loopback, a scratch folder, the library's tracing.
#pragma once

#include <netinet/in.h>

#include <string>

#include <zvOS/zvSocket.h>

namespace zvbench {

struct sockaddr_in LoopbackAddress(uint16 aPort);

inline struct sockaddr *Generic(struct sockaddr_in *anAddress) {
  return reinterpret_cast<struct sockaddr *>(anAddress);
}

void SetOption(zvSocket aSocket, int aLevel, int aName, int aValue);

// A new socket with room for several of the largest transfers.
zvSocket OpenSocket(int aType);

// Owns a socket. The `_Debug` twins open and close it, so that the socket table and the traffic files
// know it while they are on.
class Socket {
 public:
  explicit Socket(zvSocket aSocket) : mSocket(aSocket) {}
  ~Socket();
  Socket(const Socket &) = delete;
  Socket &operator=(const Socket &) = delete;

  zvSocket Get() const { return mSocket; }
  struct sockaddr_in Address() const;
  struct sockaddr_in PeerAddress() const;

 private:
  const zvSocket mSocket;
};

// A socket of that type with a port of its own on loopback.
class BoundSocket : public Socket {
 public:
  explicit BoundSocket(int aType);
};

// Waits for connections. What it accepts is closed without lingering: no address stays occupied, and
// the system does not have more to do with every connection.
class Listener : public BoundSocket {
 public:
  Listener();
};

// A folder of our own, in memory where the system has room for files there; removed at the end with
// all that is in it.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder &) = delete;
  ScratchFolder &operator=(const ScratchFolder &) = delete;

  const std::string &Path() const { return mPath; }
  std::string operator/(const char *aName) const { return mPath + "/" + aName; }

 private:
  std::string mPath;
};

}  // namespace zvbench
