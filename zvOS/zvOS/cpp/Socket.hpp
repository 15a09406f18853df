// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Sockets with a label, addresses, policies: zvSocket.h and what it includes, zvSocketPolicy.h,
// zvSocketQOS.h.
#ifndef zvOS_cpp_Socket_hpp
#define zvOS_cpp_Socket_hpp

#include <zvOS/cpp/Label.hpp>
#include <zvOS/cpp/Owner.hpp>
#include <zvOS/zvSocket.h>
#include <zvOS/zvSocketPolicy.h>
#include <zvOS/zvSocketQOS.h>

#include <arpa/inet.h>
#include <netdb.h>

namespace zv {

// An IPv4 address and a port; 0.0.0.0 and 0 stand for any.
class Address {
 public:
  // Any address, any port.
  Address() : Address(0, 0) {}
  // The address in network byte order, the port in host byte order.
  Address(uint32 anIPAddress, uint16 aPort) {
    zvSocket_InitSockAddr(Generic(), sizeof(mAddress), AF_INET);
    mAddress.sin_addr.s_addr = anIPAddress;
    mAddress.sin_port = zvSocket_htons(aPort);
  }
  // The limited broadcast is one, too; a text that is no address, and NULL, is an error of status -1.
  static Result<Address> DotForm(const char *aText, uint16 aPort) {
    in_addr theAddress = {zvSocketGetAddressFromDotForm(aText)};
    // The flat function answers 0 for 0.0.0.0, for 255.255.255.255 and for what is no address.
    if (theAddress.s_addr == 0 && (aText == nullptr || inet_aton(aText, &theAddress) == 0))
      return Error(-1, 0);
    return Address(theAddress.s_addr, aPort);
  }
  // The address of every interface: 0.0.0.0.
  static Address Any(uint16 aPort = 0) { return {0, aPort}; }
  // The address of the host itself: 127.0.0.1.
  static Address Loopback(uint16 aPort = 0) { return {zvSocket_htonl(INADDR_LOOPBACK), aPort}; }

  // May wait for name servers. The status of an error is the resolver's code, EAI_NONAME also for a host that
  // has no IPv4 address.
  static Result<Address> Resolve(const char *aName, uint16 aPort, Label aLabel = Label::Here()) {
    uint32 theIPAddress = 0;
    const int theCode = zvSocketGetAddressInfo_Debug(aName, &theIPAddress, aLabel.c_str());
    if (theCode != 0) return Error(theCode, 0);
    if (theIPAddress == 0 && !DotForm(aName, aPort)) return Error(EAI_NONAME, 0);
    return Address(theIPAddress, aPort);
  }

  // The address, in network byte order.
  uint32 IPAddress() const { return mAddress.sin_addr.s_addr; }
  // The port, in host byte order.
  uint16 Port() const { return zvSocket_ntohs(mAddress.sin_port); }
  // What the flat functions take.
  struct sockaddr *Generic() {
    return reinterpret_cast<struct sockaddr *>(&mAddress);
  }
  // How large that is.
  static constexpr socklen_t Size() { return sizeof(sockaddr_in); }

  // As a text: "192.0.2.1:80".
  Text AsText() const {
    const uint32 theBytes = zvSocket_ntohl(IPAddress());
    const auto theByte = [=](int aShift) { return static_cast<unsigned>(theBytes >> aShift & 0xFF); };
    return Text(zv_mnprintf("%u.%u.%u.%u:%u", theByte(24), theByte(16), theByte(8), theByte(0),
                            static_cast<unsigned>(Port())));
  }

  // Whether address and port are the same.
  friend bool operator==(const Address &anAddress, const Address &anOther) {
    return anAddress.IPAddress() == anOther.IPAddress() && anAddress.Port() == anOther.Port();
  }
  // Whether address or port differ.
  friend bool operator!=(const Address &anAddress, const Address &anOther) { return !(anAddress == anOther); }

 private:
  sockaddr_in mAddress;
};

// No socket: kzvSocketInvalid.
constexpr zvSocket kNoSocket = -1;

// A socket, which goes by the label that it was made with, in all that it does and when it is closed. What it
// sends and receives can be labelled at its own place.
//
// The status of an error is what the flat function answered, and its errno says why.
class Socket {
 public:
  // No socket.
  Socket() = default;
  // Takes over what the flat interface has made.
  explicit Socket(zvSocket aSocket, Label aLabel = Label::Here()) : mSocket(aSocket), mLabel(aLabel) {}
  ~Socket() {
    if (*this) zvSocketClose_Debug(mSocket, Name(), 0);
  }
  // Takes over the socket of the other, with its label.
  Socket(Socket &&anOther) noexcept : mSocket(anOther.Release()), mLabel(anOther.mLabel) {}
  // Takes over the socket of the other, and closes the one that was here.
  Socket &operator=(Socket &&anOther) noexcept {
    Socket theFormer(std::move(anOther));
    swap(theFormer);
    return *this;
  }
  Socket(const Socket &) = delete;
  Socket &operator=(const Socket &) = delete;

  // Whether there is a socket.
  explicit operator bool() const { return mSocket != kNoSocket; }
  // What the flat functions take; still owned.
  zvSocket Descriptor() const { return mSocket; }
  // Hands it over: from now on it is the caller's.
  [[nodiscard]] zvSocket Release() { return std::exchange(mSocket, kNoSocket); }
  // Each has the socket and the label that the other had.
  void swap(Socket &anOther) noexcept {
    std::swap(mSocket, anOther.mSocket);
    std::swap(mLabel, anOther.mLabel);
  }

  // ---- Making one ----

  static Result<Socket> Open(int aType = SOCK_STREAM, int aProtocol = 0, Label aLabel = Label::Here()) {
    return Made(zvSocketOpen_Debug(AF_INET, aType, aProtocol, aLabel.c_str(), 0), aLabel);
  }
  // The address is in host byte order, and the ports are drawn as zvSocket.h says. Until it is made it goes
  // by labels of the flat function, whose first one stays in the socket table.
  static Result<Socket> GetTCPSocket(int32 anIPAddress, uint16 *aPort, Label aLabel = Label::Here()) {
    return Made(zvSocket_GetTCPSocket(anIPAddress, aPort), aLabel);
  }
  static Result<Socket> GetUDPSocket(int32 anIPAddress, uint16 *aPort, Label aLabel = Label::Here()) {
    return Made(zvSocket_GetUDPSocket(anIPAddress, aPort), aLabel);
  }
  // Bound and listening; the system chooses a port in place of 0, and OwnAddress() tells it.
  static Result<Socket> Listening(const Address &anAddress, int aBackLog = 16, Label aLabel = Label::Here()) {
    return After(Open(SOCK_STREAM, 0, aLabel), [&](Socket &aSocket) {
      Result<void> theResult = aSocket.SetReuseAddress();
      if (theResult) theResult = aSocket.Bind(anAddress);
      if (theResult) theResult = aSocket.Listen(aBackLog);
      return theResult;
    });
  }
  // Connected to the peer.
  static Result<Socket> Connected(const Address &anAddress, Label aLabel = Label::Here()) {
    return After(Open(SOCK_STREAM, 0, aLabel), [&](Socket &aSocket) { return aSocket.Connect(anAddress); });
  }

  // ---- Connections ----

  Result<void> Bind(Address anAddress) {
    return Done(zvSocketBind_Debug(mSocket, anAddress.Generic(), Address::Size(), Name()));
  }
  Result<void> Listen(int aBackLog) { return Done(zvSocketListen_Debug(mSocket, aBackLog, Name())); }
  Result<void> Connect(Address anAddress) {
    return Done(zvSocketConnect_Debug(mSocket, anAddress.Generic(), Address::Size(), Name()));
  }
  // Takes the next connection, which has the label of the listener.
  Result<Socket> Accept(Address *aPeer = nullptr) { return Accept(aPeer, mLabel); }
  Result<Socket> Accept(Address *aPeer, Label aLabel) {
    Address thePeer;
    socklen_t theSize = Address::Size();
    const zvSocket theSocket = zvSocketAccept_Debug(mSocket, thePeer.Generic(), &theSize, aLabel.c_str());
    if (aPeer != nullptr) *aPeer = thePeer;
    return Made(theSocket, aLabel);
  }
  Result<void> Shutdown() { return Done(zvSocketShutdown_Debug(mSocket, Name())); }
  // Says what the destructor keeps to itself.
  Result<void> Close() { return Done(zvSocketClose_Debug(Release(), Name(), 0)); }

  // ---- Bytes: their count, which may be less than wanted; received, 0 when the peer has closed ----

  Result<size_t> Send(const void *aBuffer, size_t aSize, int someFlags = 0) {
    return Send(aBuffer, aSize, someFlags, mLabel);
  }
  Result<size_t> Send(const void *aBuffer, size_t aSize, int someFlags, Label aLabel) {
    return detail::CountOf(zvSocketSend_Debug(mSocket, static_cast<const char *>(aBuffer),
                                              detail::Length(aSize), someFlags, aLabel.c_str()));
  }
  Result<size_t> Send(std::string_view aText) { return Send(aText.data(), aText.size()); }
  Result<size_t> Recv(void *aBuffer, size_t aSize, int someFlags = 0) {
    return Recv(aBuffer, aSize, someFlags, mLabel);
  }
  Result<size_t> Recv(void *aBuffer, size_t aSize, int someFlags, Label aLabel) {
    return detail::CountOf(zvSocketRecv_Debug(mSocket, static_cast<char *>(aBuffer), detail::Length(aSize),
                                              someFlags, aLabel.c_str()));
  }
  Result<size_t> RecvAvailable() const {
    int theCount = 0;
    const int theStatus = zvSocketRecvAvailable_Debug(mSocket, &theCount, Name());
    if (theStatus != 0) return Error::Last(theStatus);
    return static_cast<size_t>(theCount);
  }

  // ---- Datagrams ----

  Result<size_t> SendUDP(Address aPeer, const void *aBuffer, size_t aSize, int someFlags = 0) {
    return detail::CountOf(zvSocketSendUDP_Debug(mSocket, aPeer.Generic(), Address::Size(),
                                                 static_cast<const char *>(aBuffer), detail::Length(aSize),
                                                 someFlags, Name()));
  }
  Result<size_t> RecvUDP(Address *aPeer, void *aBuffer, size_t aSize, int someFlags = 0) {
    Address thePeer;
    socklen_t theSize = Address::Size();
    const int theCount = zvSocketRecvUDP_Debug(mSocket, static_cast<char *>(aBuffer), detail::Length(aSize),
                                               someFlags, thePeer.Generic(), &theSize, Name());
    if (aPeer != nullptr) *aPeer = thePeer;
    return detail::CountOf(theCount);
  }
  Result<void> MulticastAdd(const char *aGroup, uint32 anIPAddress) {
    return Done(zvSocketMulticastAdd_Debug(mSocket, aGroup, anIPAddress, Name()));
  }
  Result<void> MulticastDrop(const char *aGroup, uint32 anIPAddress) {
    return Done(zvSocketMulticastDrop_Debug(mSocket, aGroup, anIPAddress, Name()));
  }
  Result<void> SetMulticast(uint32 anIPAddress) {
    return Done(zvSocketSetMulticast_Debug(mSocket, anIPAddress, Name()));
  }
  Result<void> MulticastSetTTL(uint8 aTTL) {
    return Done(zvSocketMulticastSetTTL_Debug(mSocket, aTTL, Name()));
  }
  Result<void> MulticastSetLoop(bool afLoop) {
    return Done(zvSocketMulticastSetLoop_Debug(mSocket, afLoop ? 1 : 0, Name()));
  }

  // ---- Names and options ----

  Result<Address> PeerAddress() const { return NameBy(zvSocketGetPeerName_Debug); }
  Result<Address> OwnAddress() const { return NameBy(zvSocketGetSockName_Debug); }

  Result<void> SetBlocking(bool afBlock) {
    const int theAnswer = zvSocketIOCtlSetBlock_Debug(mSocket, afBlock ? 1 : 0, Name());
    if (theAnswer > 0) return Error(theAnswer, theAnswer);
    return Done(theAnswer);
  }
  Result<void> SetReuseAddress() { return Done(zvSocketSetReuseAddress_Debug(mSocket, Name())); }
  Result<void> SetBroadcast() { return Done(zvSocketSetBroadcast_Debug(mSocket, Name())); }
  Result<void> SetTCPNoDelay(bool afNoDelay) {
    return Done(zvSocketSetTCPNoDelay_Debug(mSocket, afNoDelay ? 1 : 0, Name()));
  }
  // Times in milliseconds.
  Result<void> SetTCPKeepAlive(bool afKeepAlive, int aTime = kzvSocket_SuggestedKeepAliveTime,
                               int anInterval = kzvSocket_SuggestedKeepAliveInterval) {
    return Done(zvSocketSetTCPKeepAlive_Debug(mSocket, afKeepAlive ? 1 : 0, aTime, anInterval, Name()));
  }
  Result<void> SetSendBuffer(size_t aSize) {
    return Done(zvSocketSetSendBuffer_Debug(mSocket, aSize, Name()));
  }
  Result<void> SetRecvBuffer(size_t aSize) {
    return Done(zvSocketSetRecvBuffer_Debug(mSocket, aSize, Name()));
  }
  Result<void> SetTTL(uint8 aTTL) { return Done(zvSocketSetTTL_Debug(mSocket, aTTL, Name())); }

 private:
  const char *Name() const { return mLabel.c_str(); }

  static Result<void> Done(int aStatus) { return detail::ResultOf(aStatus); }

  static Result<Socket> Made(zvSocket aSocket, Label aLabel) {
    if (aSocket == kNoSocket) return Error::Last(kNoSocket);
    return Socket(aSocket, aLabel);
  }

  // The socket when the step succeeds, too.
  template <typename Step>
  static Result<Socket> After(Result<Socket> aSocket, Step aStep) {
    if (!aSocket) return aSocket;
    const Result<void> theResult = aStep(*aSocket);
    if (!theResult) return theResult.error();
    return aSocket;
  }

  template <typename Call>
  Result<Address> NameBy(Call aCall) const {
    long theIPAddress = 0;
    unsigned short thePort = 0;
    const int theStatus = aCall(mSocket, &theIPAddress, &thePort, Name());
    if (theStatus != 0) return Error::Last(theStatus);
    return Address(zvSocket_htonl(static_cast<uint32>(theIPAddress)), thePort);
  }

  zvSocket mSocket = kNoSocket;
  Label mLabel = "";
};

// Who may connect, and how traffic is marked.
class Policy : public Owner<zvSocketPolicy, zvSocketPolicy_Delete> {
 public:
  // A kzvSocketPolicy_IP_....
  explicit Policy(uint32 aPolicy, void *aUserData = nullptr)
      : Owner(zvSocketPolicy_New(aPolicy, aUserData)) {}
  // Takes over what the flat interface has made.
  explicit Policy(zvSocketPolicy *aHandle) : Owner(aHandle) {}

  // Once.
  void Configure(zvConfigFile_t *aConfigFile, const char *aSection) {
    zvSocketPolicy_Configure(Handle(), aConfigFile, aSection);
  }

  // Whether the connection is to be accepted; one whose ends cannot be told is not.
  bool AcceptConnection(const Socket &aSocket) const {
    const auto thePeer = aSocket.PeerAddress();
    const auto theOwn = aSocket.OwnAddress();
    return thePeer && theOwn && AcceptConnection(thePeer->IPAddress(), theOwn->IPAddress());
  }
  bool AcceptConnection(uint32 aSourceIPAddress, uint32 aReceivedIPAddress) const {
    return zvSocketPolicy_AcceptConnection(Handle(), aSourceIPAddress, aReceivedIPAddress) != 0;
  }
  uint32 MapLocalIPAddressToLoopBack(uint32 anIPAddress) const {
    return zvSocketPolicy_MapLocalIPAddressToLoopBack(Handle(), anIPAddress);
  }
  bool IsValidIF(const char *aName) const { return zvSocketPolicy_IsValidIF(Handle(), aName) != 0; }

  // The addresses to use, in network byte order.
  List<uint32> IPAddressList(bool afIncludeLocalhost) const {
    uint32 *theAddresses = nullptr;
    const int theCount = zvSocketPolicy_GetIPAddressList(Handle(), &theAddresses, afIncludeLocalhost ? 1 : 0);
    return {theAddresses, theCount};
  }

  // Marks what the socket sends, when the policy was configured to: kzvSocket_QOS_....
  Result<void> SetPriority(const Socket &aSocket, int aPriority) const {
    errno = 0;
    return detail::ResultOf(
        zvSocketQOS_SetPriority(zvSocketPolicy_GetQOS(Handle()), aSocket.Descriptor(), aPriority, nullptr));
  }
};

}  // namespace zv

#endif
