// What the network commands share: addresses as texts, owners of the library's network objects,
// and what the library logs meanwhile.
#pragma once

#include "shared/owners.h"

#include <zvOS/zvSocket.h>
#include <zvOS/zvSocketPolicy.h>
#include <zvOS/zvSocketSelect.h>

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

// The address of a host name or dotted form; false with the reason in aProblem when there is none.
bool FindAddress(const std::string &aHost, uint32 &anAddress, std::string &aProblem);

// The socket's own address; all zero when the system does not tell.
Endpoint OwnEndpoint(zvSocket aSocket);

// Milliseconds of a clock that is never set back.
int64 Milliseconds();

// Text of others, fit to be shown: control characters become %XX.
std::string Printable(const std::string &aText);

using SelectOwner = Owner<zvSocketSelect, zvSocketSelect_Delete>;
using PolicyOwner = Owner<zvSocketPolicy, zvSocketPolicy_Delete>;

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

 private:
  zvSocket mSocket;
  const char *mLabel;
};

// ---- What the library logs ----

// Switches the library's live table of sockets and its traffic files on.
void SwitchTraceOn();

// The traffic file of a connection, as the library names it, counted from the current folder.
std::string TrafficFile(const Endpoint &aPeer, zvSocket aSocket);

// Makes the folder of the traffic files; empty, or why it could not be made.
std::string MakeTrafficFolder();

// Makes an empty traffic file where there is none yet: the library writes into existing ones only.
bool MakeTrafficFile(const Endpoint &aPeer, zvSocket aSocket);

}  // namespace tool
