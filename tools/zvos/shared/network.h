// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Addresses as texts, and sockets.
#pragma once

#include "shared/problem.h"

#include <zvOS/zvSocket.h>

#include <string>

namespace tool {

struct Endpoint {
  uint32 mAddress;  // network byte order
  uint16 mPort;     // host byte order
};

std::string AddressText(uint32 anAddress);
std::string EndpointText(const Endpoint &anEndpoint);

// Between the library's form and the system's.
struct sockaddr_in SocketAddress(const Endpoint &anEndpoint);
Endpoint EndpointOf(const struct sockaddr_in &anAddress);

// The address of a host name or dotted form.
MaybeProblem FindAddress(const std::string &aHost, uint32 &anAddress);

// The socket's own address; all zero when the system does not tell.
Endpoint OwnEndpoint(zvSocket aSocket);

// Whether the loopback interface is up.
bool HasLoopback();

// A socket, closed at the end under its label, which stays valid.
class SocketOwner {
 public:
  explicit SocketOwner(const char *aLabel) : mSocket(kzvSocketInvalid), mLabel(aLabel) {}
  SocketOwner(zvSocket aSocket, const char *aLabel) : mSocket(aSocket), mLabel(aLabel) {}
  ~SocketOwner() { Reset(kzvSocketInvalid); }
  SocketOwner(const SocketOwner &) = delete;
  SocketOwner &operator=(const SocketOwner &) = delete;

  zvSocket Get() const { return mSocket; }
  bool IsOpen() const { return mSocket != kzvSocketInvalid; }
  void Reset(zvSocket aSocket);

  // As zvSocketConnect, whose error is left in the library.
  bool Connect(const Endpoint &aPeer) const;

 private:
  zvSocket mSocket;
  const char *mLabel;
};

}  // namespace tool
