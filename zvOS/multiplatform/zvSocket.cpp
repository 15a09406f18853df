// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Socket primitives in twins.
//
// A `_Debug` twin reads errno once, right after the call, and decides then what its caller finds,
// whatever the log, the socket table and the traffic file do to it: send and receive leave that
// value, the others the error or, when they succeed, 0. A message that holds an address is several
// records, the address alone in one of them.

#include <zvOS/zvSocket.h>
#include <zvOS/zvSocketLog.h>
#include <zvOS/zvSocketTracker.h>

#include "private/Failure.h"

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <cerrno>

ZVLOG_WITH_MODULE_IF(TCP, 1)

using zvos::ErrnoAtEnd;
using zvos::IsTracing;

namespace {

// Traces of the two hot twins, kept out of their code.

ZV_COLD void TraceSend(zvSocket aSocket, const char *aBuffer, int aLength, int aResult,
                       const char *aDebugContext) {
  const ErrnoAtEnd theError;
  if (aResult == -1) {
    ZVLOG_DEBUG(TCPRW, F("Sent %d bytes on socket %d [%s], Error = %d\n", aResult, aSocket, aDebugContext,
                         theError.Value()));
    return;
  }
  ZVLOG_DEBUG(TCPRW, F("Sent %d bytes on socket %d [%s]\n", aResult, aSocket, aDebugContext));
  LOG_BUFFER_SEND(aSocket, aBuffer, static_cast<uint32>(aResult));
  // The table counts what callers asked for, the traffic file holds what was moved.
  SOCKETTRACKER_SEND(aSocket, aLength);
}

ZV_COLD void TraceRecv(zvSocket aSocket, const char *aBuffer, int aLength, int aResult,
                       const char *aDebugContext) {
  const ErrnoAtEnd theError;
  if (aResult == -1) {
    ZVLOG_DEBUG(TCPRW, F("Received %d bytes on socket %d, error = %d [%s]\n", aResult, aSocket,
                         theError.Value(), aDebugContext));
    return;
  }
  ZVLOG_DEBUG(TCPRW, F("Received %d bytes on socket %d [%s]\n", aResult, aSocket, aDebugContext));
  LOG_BUFFER(aSocket, aBuffer, static_cast<uint32>(aResult));
  // Asked for, not moved, as for sends: the end of a stream adds the whole length.
  SOCKETTRACKER_RECV(aSocket, aLength);
}

}  // namespace

extern "C" int zvSocketGetLastError(void) {
  return errno;
}

extern "C" void zvSocketSetLastError(int anError) {
  errno = anError;
}

extern "C" int zvSocketLastErrorIsWouldBlock(void) {
  return errno == EAGAIN ? 1 : 0;
}

extern "C" int zvSocketLastErrorIsConnectionReset(void) {
  return errno == ECONNRESET ? 1 : 0;
}

extern "C" zvSocket zvSocketOpen_NoDebug(int anAF, int aType, int aProtocol) {
  zvAssert((aType == SOCK_STREAM) || (aType == SOCK_DGRAM) || (aType == SOCK_RAW));

  // Raw sockets get UDP as well: callers that want another protocol name it.
  const int theDefaultProtocol = aType == SOCK_STREAM ? IPPROTO_TCP : IPPROTO_UDP;
  return socket(anAF, aType | SOCK_CLOEXEC, aProtocol != 0 ? aProtocol : theDefaultProtocol);
}

extern "C" zvSocket zvSocketOpen_Debug(int anAF, int aType, int aProtocol, const char *aDebugContext,
                                       int afNoDebug) {
  const zvSocket theSocket = zvSocketOpen_NoDebug(anAF, aType, aProtocol);
  const ErrnoAtEnd theError(theSocket == kzvSocketInvalid ? errno : 0);
  if (theSocket == kzvSocketInvalid) {
    ZV_ERR(F("Cannot create socket: error = %d [%s]\n", theError.Value(), aDebugContext));
  } else if (afNoDebug == 0 && IsTracing()) {
    ZV_DEBUG(F("Created socket %d [%s]\n", theSocket, aDebugContext));
    LOG_BUFFER_OPEN(theSocket);
    SOCKETTRACKER_ADD(theSocket, 0, aDebugContext);
  }
  return theSocket;
}

extern "C" int zvSocketBind_NoDebug(zvSocket aSocket, sockaddr *aSockAddr, socklen_t anAddrLen) {
  return bind(aSocket, aSockAddr, anAddrLen);
}

extern "C" int zvSocketBind_Debug(zvSocket aSocket, sockaddr *aSockAddr, socklen_t anAddrLen,
                                  const char *aDebugContext) {
  if (aSocket == kzvSocketInvalid) ZV_ERR(F("About to bind an invalid socket [%s]\n", aDebugContext));

  const int theResult = zvSocketBind_NoDebug(aSocket, aSockAddr, anAddrLen);
  const ErrnoAtEnd theError(theResult < 0 ? errno : 0);
  if (theResult < 0) {
    ZV_ERR(F("Cannot bind socket %d: error = %d [%s]\n", aSocket, theError.Value(), aDebugContext));
  } else if (IsTracing()) {
    ZV_DEBUG(F("Socket %d bound to ", aSocket));
    ZV_DEBUG(sockaddr(aSockAddr));
    ZV_DEBUG(F(" [%s]\n", aDebugContext));
  }
  return theResult;
}

extern "C" int zvSocketListen_NoDebug(zvSocket aSocket, int aBackLog) {
  return listen(aSocket, aBackLog);
}

extern "C" int zvSocketListen_Debug(zvSocket aSocket, int aBackLog, const char *aDebugContext) {
  if (aSocket == kzvSocketInvalid) ZV_ERR(F("About to listen on an invalid socket [%s]\n", aDebugContext));

  const int theResult = zvSocketListen_NoDebug(aSocket, aBackLog);
  const ErrnoAtEnd theError(theResult != 0 ? errno : 0);
  if (theResult != 0) {
    ZV_ERR(F("Error listening on socket %d: backlog = %d, error = %d [%s]\n", aSocket, aBackLog,
             theError.Value(), aDebugContext));
  }
  if (IsTracing()) {
    if (theResult == 0) {
      ZV_DEBUG(F("Listening on socket %d, backlog = %d [%s]\n", aSocket, aBackLog, aDebugContext));
    }
    // The table shows the attempt, also one that failed.
    SOCKETTRACKER_LISTEN(aSocket);
  }
  return theResult;
}

extern "C" zvSocket zvSocketAccept_NoDebug(zvSocket aSocket, sockaddr *aSockAddr, socklen_t *anAddrLen) {
  return accept4(aSocket, aSockAddr, anAddrLen, SOCK_CLOEXEC);
}

extern "C" zvSocket zvSocketAccept_Debug(zvSocket aSocket, sockaddr *aSockAddr, socklen_t *anAddrLen,
                                         const char *aDebugContext) {
  if (aSocket == kzvSocketInvalid) ZV_ERR(F("About to accept on an invalid socket [%s]\n", aDebugContext));

  const zvSocket theSocket = zvSocketAccept_NoDebug(aSocket, aSockAddr, anAddrLen);
  const ErrnoAtEnd theError(theSocket == kzvSocketInvalid ? errno : 0);
  if (theSocket == kzvSocketInvalid) {
    if (theError.Value() != EAGAIN) {
      ZV_ERR(F("Cannot accept from socket %d: error = %d [%s]\n", aSocket, theError.Value(), aDebugContext));
    }
  } else if (IsTracing()) {
    ZV_DEBUG(F("Accepted from socket %d, new socket = %d [%s]\n", aSocket, theSocket, aDebugContext));
    ZV_DEBUG(F("    remote IP address = '"));
    ZV_DEBUG(sockaddr(aSockAddr));
    ZV_DEBUG(F("'\n"));
    LOG_BUFFER_OPEN(theSocket);
    SOCKETTRACKER_ADD(theSocket, 1, aDebugContext);
    SOCKETTRACKER_CONNECT(theSocket);
  }
  return theSocket;
}

extern "C" int zvSocketConnect_NoDebug(zvSocket aSocket, sockaddr *aSockAddr, socklen_t anAddrLen) {
  const int theResult = connect(aSocket, aSockAddr, anAddrLen);
  return theResult != 0 && errno == EINPROGRESS ? 0 : theResult;
}

extern "C" int zvSocketConnect_Debug(zvSocket aSocket, sockaddr *aSockAddr, socklen_t anAddrLen,
                                     const char *aDebugContext) {
  {
    const ErrnoAtEnd theErrorOfCaller;
    ZV_DEBUG(F("Trying to connect to '"));
    ZV_DEBUG(sockaddr(aSockAddr));
    ZV_DEBUG(F("' [%s]\n", aDebugContext));
  }

  const int theResult = zvSocketConnect_NoDebug(aSocket, aSockAddr, anAddrLen);
  // A connect that succeeds leaves errno alone: an EAGAIN from before the call still counts as would-block,
  // and stays the last error.
  const bool afWouldBlock = zvSocketLastErrorIsWouldBlock() != 0;
  const ErrnoAtEnd theError(afWouldBlock || theResult != 0 ? errno : 0);
  // The level may have changed while the connect waited: each record goes by what it is by then.
  if (!afWouldBlock && theResult != 0) {
    ZV_ERR(F("   Cannot connect socket %d: error = %d [%s]\n", aSocket, theError.Value(), aDebugContext));
  }
  // A connection in progress is called connected, too.
  if (theResult == 0) ZV_DEBUG(F("   Connected\n"));
  // The table shows the attempt, also one that failed.
  SOCKETTRACKER_CONNECT(aSocket);
  return theResult;
}

extern "C" int zvSocketConnectUnreachable_NoDebug(zvSocket, sockaddr *, socklen_t) {
  return 0;
}

extern "C" int zvSocketSend_NoDebug(zvSocket aSocket, const char *aBuffer, int aLength, int aFlags) {
  return static_cast<int>(send(aSocket, aBuffer, static_cast<size_t>(aLength), aFlags | MSG_NOSIGNAL));
}

extern "C" int zvSocketSend_Debug(zvSocket aSocket, const char *aBuffer, int aLength, int aFlags,
                                  const char *aDebugContext) {
  const int theResult = zvSocketSend_NoDebug(aSocket, aBuffer, aLength, aFlags);
  if (IsTracing()) TraceSend(aSocket, aBuffer, aLength, theResult, aDebugContext);
  return theResult;
}

extern "C" int zvSocketRecv_NoDebug(zvSocket aSocket, char *aBuffer, int aLength, int aFlags) {
  return static_cast<int>(recv(aSocket, aBuffer, static_cast<size_t>(aLength), aFlags));
}

extern "C" int zvSocketRecv_Debug(zvSocket aSocket, char *aBuffer, int aLength, int aFlags,
                                  const char *aDebugContext) {
  const int theResult = zvSocketRecv_NoDebug(aSocket, aBuffer, aLength, aFlags);
  if (IsTracing()) TraceRecv(aSocket, aBuffer, aLength, theResult, aDebugContext);
  return theResult;
}

extern "C" int zvSocketRecvAvailable_NoDebug(zvSocket aSocket, int *anAvailableBytes) {
  return ioctl(aSocket, FIONREAD, anAvailableBytes);
}

extern "C" int zvSocketRecvAvailable_Debug(zvSocket aSocket, int *anAvailableBytes, const char *) {
  return zvSocketRecvAvailable_NoDebug(aSocket, anAvailableBytes);
}

extern "C" int zvSocketShutdown_NoDebug(zvSocket aSocket) {
  return shutdown(aSocket, SHUT_RDWR);
}

extern "C" int zvSocketShutdown_Debug(zvSocket aSocket, const char *aDebugContext) {
  if (aSocket == kzvSocketInvalid) ZV_ERR(F("About to shutdown an invalid socket [%s]\n", aDebugContext));

  const int theResult = zvSocketShutdown_NoDebug(aSocket);
  const ErrnoAtEnd theError(theResult != 0 ? errno : 0);
  if (theResult != 0) {
    ZV_ERR(F("Cannot shutdown socket %d: error = %d [%s]\n", aSocket, theError.Value(), aDebugContext));
  }
  return theResult;
}

extern "C" int zvSocketClose_NoDebug(zvSocket aSocket) {
  return close(aSocket);
}

extern "C" int zvSocketClose_Debug(zvSocket aSocket, const char *aDebugContext, int afRunChain) {
  const bool afTracing = IsTracing();
  if (aSocket == kzvSocketInvalid) {
    ZV_ERR(F("About to close an invalid socket [%s]\n", aDebugContext));
  } else if (afTracing) {
    // Before the close: afterwards the descriptor may be another thread's new socket.
    SOCKETTRACKER_REMOVE(aSocket);
  }

  const int theResult = zvSocketClose_NoDebug(aSocket);
  const ErrnoAtEnd theError(theResult != 0 ? errno : 0);
  if (theResult != 0) {
    ZV_ERR(F("Cannot close socket %d: error = %d [%s]\n", aSocket, theError.Value(), aDebugContext));
    LOG_BUFFER_CLOSE(aSocket);
  } else if (afTracing && afRunChain == 0) {
    ZV_DEBUG(F("Closed socket %d [%s]\n", aSocket, aDebugContext));
    LOG_BUFFER_CLOSE(aSocket);
  }
  return theResult;
}
