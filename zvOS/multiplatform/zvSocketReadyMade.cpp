// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Sockets that come opened and bound. The label of each step is what tells, in a field log, where one
// of them failed.

#include <zvOS/zvSocket.h>

#include "private/Failure.h"
#include "private/SocketAddress.h"

ZVLOG_WITH_MODULE_IF(TCP, 1)

namespace {

constexpr int kMaxBindAttempts = 50;

int BindTo(zvSocket aSocket, int32 anIPAddress, uint16 aPort, const char *aDebugContext) {
  sockaddr_in theAddress = zvos::SocketAddress(htonl(static_cast<uint32>(anIPAddress)), htons(aPort));
  return zvSocketBind_Debug(aSocket, zvos::Generic(&theAddress), sizeof(theAddress), aDebugContext);
}

// Tries ports until anAttempt(port) answers 0: random ones, or the system's choice. The last one tried
// is in *aPort.
template <typename Attempt>
bool FindPort(bool afRandom, uint16 *aPort, Attempt anAttempt) {
  for (int i = 0; i < kMaxBindAttempts; ++i) {
    *aPort = afRandom ? zvRand_MinMaxUInt16(kzvSocket_IANA_MinPortNumber, kzvSocket_IANA_MaxPortNumber)
                      : uint16{0};
    if (anAttempt(*aPort) == 0) return true;
  }
  return false;
}

// The caller finds the error of the bind that failed, or the error of a close that fails as well.
zvSocket GiveUp(zvSocket aSocket, const char *aDebugContext) {
  const int theError = zvSocketGetLastError();
  if (zvSocketClose_Debug(aSocket, aDebugContext, 0) == 0) zvSocketSetLastError(theError);
  return kzvSocketInvalid;
}

zvSocket GiveUpTCP(zvSocket aSocket) {
  return GiveUp(aSocket, "zvSocket_GetTCPSocket 10");
}

bool BindTCPToAnyAddress(zvSocket aSocket, bool afRandom, uint16 *aPort) {
  return FindPort(afRandom, aPort, [aSocket](uint16 aTriedPort) {
    const int theResult = zvSocketSetReuseAddress_Debug(aSocket, "zvSocket_GetTCPSocket 6");
    return theResult != 0 ? theResult : BindTo(aSocket, 0, aTriedPort, "zvSocket_GetTCPSocket 7");
  });
}

bool BindTCPToGivenAddress(zvSocket aSocket, int32 anIPAddress) {
  zvSocketSetReuseAddress_Debug(aSocket, "zvSocket_GetTCPSocket 4");
  if (BindTo(aSocket, anIPAddress, 0, "zvSocket_GetTCPSocket 5") == 0) return true;

  const zvos::ErrnoAtEnd theError;
  return ZVOS_FAIL(false, F("Error binding socket %d [zvSocket_GetTCPSocket 5]\n", aSocket));
}

}  // namespace

extern "C" zvSocket zvSocket_GetUDPSocket(int32 anIPAddress, uint16 *aPortNumber) {
  const zvSocket theSocket = zvSocketOpen_Debug(AF_INET, SOCK_DGRAM, 0, "zvSocket_GetUDPSocket 1", 0);
  if (theSocket == kzvSocketInvalid) return kzvSocketInvalid;

  uint16 thePort;
  const bool afBound = FindPort(aPortNumber != nullptr, &thePort, [=](uint16 aTriedPort) {
    return BindTo(theSocket, anIPAddress, aTriedPort, "zvSocket_GetUDPSocket");
  });
  if (!afBound) return GiveUp(theSocket, "zvSocket_GetUDPSocket 2");

  if (aPortNumber != nullptr) *aPortNumber = thePort;
  return theSocket;
}

extern "C" zvSocket zvSocket_GetTCPSocket(int32 anIPAddress, uint16 *aPortNumber) {
  const zvSocket theSocket = zvSocketOpen_Debug(AF_INET, SOCK_STREAM, 0, "zvSocket_GetTCPSocket 1", 0);
  if (theSocket == kzvSocketInvalid) return kzvSocketInvalid;

  if (aPortNumber != nullptr && *aPortNumber != 0) {
    zvSocketSetReuseAddress_Debug(theSocket, "zvSocket_GetTCPSocket 2");
    const int theResult = BindTo(theSocket, anIPAddress, *aPortNumber, "zvSocket_GetTCPSocket 3");
    return theResult == 0 ? theSocket : GiveUpTCP(theSocket);
  }

  // With a given address no port is drawn: callers get 0 and ask for the socket's name.
  uint16 thePort = 0;
  const bool afBound = anIPAddress == 0 ? BindTCPToAnyAddress(theSocket, aPortNumber != nullptr, &thePort)
                                        : BindTCPToGivenAddress(theSocket, anIPAddress);
  if (aPortNumber != nullptr) *aPortNumber = afBound ? thePort : uint16{0};
  return afBound ? theSocket : GiveUpTCP(theSocket);
}
