// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Datagrams, multicast groups and the two addresses of a socket, in twins.

#include <zvOS/zvSocketAddress.h>
#include <zvOS/zvSocketDatagram.h>

#include "private/Failure.h"
#include "private/SocketAddress.h"

#include <cerrno>

ZVLOG_WITH_MODULE_IF(TCP, 1)

using zvos::ErrnoAtEnd;
using zvos::ErrorOf;
using zvos::IsTracing;
using zvos::ReportingFailure;
using zvos::TextOrNull;

namespace {

int ChangeMembership(zvSocket aSocket, int aName, const char *anIPGroup, uint32 anIPAddress) {
  ip_mreq theRequest = {};
  theRequest.imr_multiaddr.s_addr = anIPGroup != nullptr ? inet_addr(anIPGroup) : INADDR_NONE;
  theRequest.imr_interface.s_addr = anIPAddress;
  return setsockopt(aSocket, IPPROTO_IP, aName, &theRequest, sizeof(theRequest));
}

// Multicast options take one byte or four; one is what every system takes.
int SetByteOption(zvSocket aSocket, int aName, unsigned char aValue) {
  return setsockopt(aSocket, IPPROTO_IP, aName, &aValue, sizeof(aValue));
}

template <typename Query>
int GetName(Query aQuery, zvSocket aSocket, long *anIPAddress, unsigned short *aPort) {
  sockaddr_in theName = {};
  socklen_t theLength = sizeof(theName);
  const int theResult = aQuery(aSocket, zvos::Generic(&theName), &theLength);
  if (theResult != 0) return theResult;

  if (anIPAddress != nullptr) *anIPAddress = static_cast<long>(ntohl(theName.sin_addr.s_addr));
  if (aPort != nullptr) *aPort = ntohs(theName.sin_port);
  return 0;
}

// One text for both names: field logs do not tell them apart either.
int ReportingNoName(int aResult, zvSocket aSocket, const char *aDebugContext) {
  return ReportingFailure(aResult, [=](int anError) {
    ZV_ERR(F("Cannot get peer name for socket %d: error = %d [%s]\n", aSocket, anError, aDebugContext));
  });
}

// Traces of the hot twins, kept out of their code.

ZV_COLD void TraceSendUDP(zvSocket aSocket, int aResult, const char *aDebugContext) {
  const ErrnoAtEnd theError;
  if (aResult == -1) {
    ZVLOG_DEBUG(TCPRW, F("Sent %d bytes on UDP socket %d [%s], Error = %d\n", aResult, aSocket, aDebugContext,
                         theError.Value()));
  } else {
    ZVLOG_DEBUG(TCPRW, F("Sent %d bytes on UDP socket %d [%s]\n", aResult, aSocket, aDebugContext));
  }
}

ZV_COLD void TraceRecvUDP(zvSocket aSocket, int aResult, const char *aDebugContext) {
  const ErrnoAtEnd theError;
  if (aResult == -1) {
    ZVLOG_DEBUG(TCPRW, F("Received %d bytes on UDP socket %d, Error = %d [%s]\n", aResult, aSocket,
                         theError.Value(), aDebugContext));
  } else {
    ZVLOG_DEBUG(TCPRW, F("Received %d bytes on UDP socket %d [%s]\n", aResult, aSocket, aDebugContext));
  }
}

}  // namespace

extern "C" int zvSocketSendUDP_NoDebug(zvSocket aSocket, sockaddr *aDestAddress, socklen_t aDestAddressLen,
                                       const char *aBuffer, int aLength, int aFlags) {
  return static_cast<int>(
      sendto(aSocket, aBuffer, static_cast<size_t>(aLength), aFlags, aDestAddress, aDestAddressLen));
}

extern "C" int zvSocketSendUDP_Debug(zvSocket aSocket, sockaddr *aDestAddress, socklen_t aDestAddressLen,
                                     const char *aBuffer, int aLength, int aFlags,
                                     const char *aDebugContext) {
  const int theResult =
      zvSocketSendUDP_NoDebug(aSocket, aDestAddress, aDestAddressLen, aBuffer, aLength, aFlags);
  if (IsTracing()) TraceSendUDP(aSocket, theResult, aDebugContext);
  return theResult;
}

extern "C" int zvSocketRecvUDP_NoDebug(zvSocket aSocket, char *aBuffer, int aLength, int aFlags,
                                       sockaddr *aSourceAddress, socklen_t *aSourceAddressLen) {
  return static_cast<int>(
      recvfrom(aSocket, aBuffer, static_cast<size_t>(aLength), aFlags, aSourceAddress, aSourceAddressLen));
}

extern "C" int zvSocketRecvUDP_Debug(zvSocket aSocket, char *aBuffer, int aLength, int aFlags,
                                     sockaddr *aSourceAddress, socklen_t *aSourceAddressLen,
                                     const char *aDebugContext) {
  const int theResult =
      zvSocketRecvUDP_NoDebug(aSocket, aBuffer, aLength, aFlags, aSourceAddress, aSourceAddressLen);
  if (IsTracing()) TraceRecvUDP(aSocket, theResult, aDebugContext);
  return theResult;
}

extern "C" int zvSocketSetMulticast_NoDebug(zvSocket aSocket, uint32 anIPAddress) {
  in_addr theInterface = {};
  theInterface.s_addr = anIPAddress;
  return setsockopt(aSocket, IPPROTO_IP, IP_MULTICAST_IF, &theInterface, sizeof(theInterface));
}

// The error is not given back: what the log leaves in errno is what callers find.
extern "C" int zvSocketSetMulticast_Debug(zvSocket aSocket, uint32 anIPAddress, const char *aDebugContext) {
  const int theResult = zvSocketSetMulticast_NoDebug(aSocket, anIPAddress);
  if (const int theError = ErrorOf(theResult)) {
    ZV_ERR(F("Error setting multicast for socket %d: IP address = '", aSocket));
    ZV_ERR(IPAddress(static_cast<long>(anIPAddress)));
    ZV_ERR(F("' error = %d [%s]\n", theError, aDebugContext));
  }
  return theResult;
}

extern "C" int zvSocketMulticastAdd_NoDebug(zvSocket aSocket, const char *anIPGroup, uint32 anIPAddress) {
  return ChangeMembership(aSocket, IP_ADD_MEMBERSHIP, anIPGroup, anIPAddress);
}

extern "C" int zvSocketMulticastAdd_Debug(zvSocket aSocket, const char *anIPGroup, uint32 anIPAddress,
                                          const char *aDebugContext) {
  return ReportingFailure(zvSocketMulticastAdd_NoDebug(aSocket, anIPGroup, anIPAddress), [=](int anError) {
    ZV_ERR(F("Error adding IP address %lu to group '%s' for UDP socket %d, Error = %d [%s]\n",
             static_cast<unsigned long>(anIPAddress), TextOrNull(anIPGroup), aSocket, anError,
             aDebugContext));
  });
}

extern "C" int zvSocketMulticastDrop_NoDebug(zvSocket aSocket, const char *anIPGroup, uint32 anIPAddress) {
  return ChangeMembership(aSocket, IP_DROP_MEMBERSHIP, anIPGroup, anIPAddress);
}

extern "C" int zvSocketMulticastDrop_Debug(zvSocket aSocket, const char *anIPGroup, uint32 anIPAddress,
                                           const char *aDebugContext) {
  return ReportingFailure(zvSocketMulticastDrop_NoDebug(aSocket, anIPGroup, anIPAddress), [=](int anError) {
    ZV_ERR(F("Error dropping IP address %lu from group '%s' for UDP socket %d, Error = %d [%s]\n",
             static_cast<unsigned long>(anIPAddress), TextOrNull(anIPGroup), aSocket, anError,
             aDebugContext));
  });
}

extern "C" int zvSocketMulticastSetTTL_NoDebug(zvSocket aSocket, unsigned char aTTL) {
  return SetByteOption(aSocket, IP_MULTICAST_TTL, aTTL);
}

extern "C" int zvSocketMulticastSetTTL_Debug(zvSocket aSocket, unsigned char aTTL,
                                             const char *aDebugContext) {
  return ReportingFailure(zvSocketMulticastSetTTL_NoDebug(aSocket, aTTL), [=](int anError) {
    ZV_ERR(F("Error setting TTL to '%lu' for UDP socket %d, Error = %d [%s]\n",
             static_cast<unsigned long>(aTTL), aSocket, anError, aDebugContext));
  });
}

extern "C" int zvSocketMulticastSetLoop_NoDebug(zvSocket aSocket, int afLoop) {
  return SetByteOption(aSocket, IP_MULTICAST_LOOP, afLoop != 0 ? 1 : 0);
}

extern "C" int zvSocketMulticastSetLoop_Debug(zvSocket aSocket, int afLoop, const char *aDebugContext) {
  return ReportingFailure(zvSocketMulticastSetLoop_NoDebug(aSocket, afLoop), [=](int anError) {
    ZV_ERR(F("Error setting multicast loopback to '%lu' for UDP socket %d, Error = %d [%s]\n",
             static_cast<unsigned long>(static_cast<uint32>(afLoop)), aSocket, anError, aDebugContext));
  });
}

extern "C" int zvSocketGetPeerName_NoDebug(zvSocket aSocket, long *anIPAddress, unsigned short *aPort) {
  return GetName(getpeername, aSocket, anIPAddress, aPort);
}

extern "C" int zvSocketGetPeerName_Debug(zvSocket aSocket, long *anIPAddress, unsigned short *aPort,
                                         const char *aDebugContext) {
  return ReportingNoName(zvSocketGetPeerName_NoDebug(aSocket, anIPAddress, aPort), aSocket, aDebugContext);
}

extern "C" int zvSocketGetSockName_NoDebug(zvSocket aSocket, long *anIPAddress, unsigned short *aPort) {
  return GetName(getsockname, aSocket, anIPAddress, aPort);
}

extern "C" int zvSocketGetSockName_Debug(zvSocket aSocket, long *anIPAddress, unsigned short *aPort,
                                         const char *aDebugContext) {
  return ReportingNoName(zvSocketGetSockName_NoDebug(aSocket, anIPAddress, aPort), aSocket, aDebugContext);
}
