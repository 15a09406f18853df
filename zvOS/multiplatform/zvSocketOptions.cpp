// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Socket options in twins. A `_Debug` twin is of one of two kinds: most report the error and give it
// back to the caller; the first four check the handle, report the function's result, and leave errno
// as the log left it.

#include <zvOS/zvSocketOptions.h>

#include "private/Failure.h"

#include <fcntl.h>
#include <netinet/tcp.h>
#include <cerrno>

ZVLOG_WITH_MODULE_IF(TCP, 1)

using zvos::ReportingFailure;

namespace {

constexpr int kMillisecondsPerSecond = 1000;

template <typename Value>
int SetOption(zvSocket aSocket, int aLevel, int aName, Value aValue) {
  return setsockopt(aSocket, aLevel, aName, &aValue, sizeof(aValue));
}

int WholeSeconds(int aMilliseconds) {
  const int theSeconds = aMilliseconds / kMillisecondsPerSecond;
  return theSeconds < 1 ? 1 : theSeconds;
}

}  // namespace

// ---- Twins that report the result and do not give the error back ----

extern "C" int zvSocketSetReuseAddress_NoDebug(zvSocket aSocket) {
  return SetOption(aSocket, SOL_SOCKET, SO_REUSEADDR, 1);
}

extern "C" int zvSocketSetReuseAddress_Debug(zvSocket aSocket, const char *aDebugContext) {
  if (aSocket == kzvSocketInvalid) {
    ZV_ERR(F("About to perform setsockopt(SO_REUSEADDR) on an invalid socket [%s]\n", aDebugContext));
  }
  if (const int theResult = zvSocketSetReuseAddress_NoDebug(aSocket))
    return ZVOS_FAIL(theResult, F("setsockopt(SO_REUSEADDR) error = %d for socket %d [%s]\n", theResult,
                                  aSocket, aDebugContext));
  return 0;
}

extern "C" int zvSocketSetBroadcast_NoDebug(zvSocket aSocket) {
  return SetOption(aSocket, SOL_SOCKET, SO_BROADCAST, 1);
}

extern "C" int zvSocketSetBroadcast_Debug(zvSocket aSocket, const char *aDebugContext) {
  if (aSocket == kzvSocketInvalid) {
    ZV_ERR(F("About to perform setsockopt(SO_BROADCAST) on an invalid socket [%s]\n", aDebugContext));
  }
  if (const int theResult = zvSocketSetBroadcast_NoDebug(aSocket))
    return ZVOS_FAIL(theResult, F("setsockopt(SO_BROADCAST) error = %d for socket %d [%s]\n", theResult,
                                  aSocket, aDebugContext));
  return 0;
}

extern "C" int zvSocketIOCtlSetBlock_NoDebug(zvSocket aSocket, int afBlock) {
  const int theFlags = fcntl(aSocket, F_GETFL);
  // The error number itself: callers test for non-zero, not for -1.
  if (theFlags == -1) return errno;
  return fcntl(aSocket, F_SETFL, afBlock != 0 ? theFlags & ~O_NONBLOCK : theFlags | O_NONBLOCK);
}

extern "C" int zvSocketIOCtlSetBlock_Debug(zvSocket aSocket, int afBlock, const char *aDebugContext) {
  const int theFlag = afBlock != 0 ? 1 : 0;
  if (aSocket == kzvSocketInvalid) {
    ZV_ERR(
        F("About to perform an ioctl(SETBLOCKING = %d) on an invalid socket [%s]\n", theFlag, aDebugContext));
  }
  if (const int theResult = zvSocketIOCtlSetBlock_NoDebug(aSocket, afBlock))
    return ZVOS_FAIL(theResult, F("ioctl(SETBLOCKING = %d) error = %d for socket %d [%s]\n", theFlag,
                                  theResult, aSocket, aDebugContext));
  return 0;
}

extern "C" int zvSocketSetLinger_NoDebug(zvSocket, int) {
  return 0;
}

extern "C" int zvSocketSetLinger_Debug(zvSocket aSocket, int aDuration, const char *aDebugContext) {
  if (aSocket == kzvSocketInvalid) {
    ZV_ERR(F("About to perform SO_LINGER on an invalid socket [%s]\n", aDebugContext));
  }
  // Not reached while linger is not applied.
  if (const int theResult = zvSocketSetLinger_NoDebug(aSocket, aDuration))
    return ZVOS_FAIL(theResult, F("Error using SO_LINGER for socket %d: error = %d [%s]\n", aSocket, errno,
                                  aDebugContext));
  return 0;
}

// ---- Twins that report the error and give it back ----

extern "C" int zvSocketSetTCPKeepAlive_NoDebug(zvSocket aSocket, int afTCPKeepAlive, int aKeepAliveTime,
                                               int aKeepAliveInterval) {
  const int theResult = SetOption(aSocket, SOL_SOCKET, SO_KEEPALIVE, afTCPKeepAlive != 0 ? 1 : 0);
  if (theResult != 0 || afTCPKeepAlive == 0 || aKeepAliveTime == 0 || aKeepAliveInterval == 0)
    return theResult;

  const int theIdleResult = SetOption(aSocket, IPPROTO_TCP, TCP_KEEPIDLE, WholeSeconds(aKeepAliveTime));
  const int theIntervalResult =
      SetOption(aSocket, IPPROTO_TCP, TCP_KEEPINTVL, WholeSeconds(aKeepAliveInterval));
  return theIdleResult != 0 ? theIdleResult : theIntervalResult;
}

extern "C" int zvSocketSetTCPKeepAlive_Debug(zvSocket aSocket, int afTCPKeepAlive, int aKeepAliveTime,
                                             int aKeepAliveInterval, const char *aDebugContext) {
  return ReportingFailure(
      zvSocketSetTCPKeepAlive_NoDebug(aSocket, afTCPKeepAlive, aKeepAliveTime, aKeepAliveInterval),
      [=](int anError) {
        ZV_ERR(F("Cannot set TCP keep alive to %d for socket %d: error = %d [%s]\n", afTCPKeepAlive, aSocket,
                 anError, aDebugContext));
      });
}

extern "C" int zvSocketSetTCPNoDelay_NoDebug(zvSocket aSocket, int afTCPNoDelay) {
  return SetOption(aSocket, IPPROTO_TCP, TCP_NODELAY, afTCPNoDelay != 0 ? 1 : 0);
}

extern "C" int zvSocketSetTCPNoDelay_Debug(zvSocket aSocket, int afTCPNoDelay, const char *aDebugContext) {
  return ReportingFailure(zvSocketSetTCPNoDelay_NoDebug(aSocket, afTCPNoDelay), [=](int anError) {
    ZV_ERR(F("Cannot set TCP no delay to %d for socket %d: error = %d [%s]\n", afTCPNoDelay, aSocket, anError,
             aDebugContext));
  });
}

extern "C" int zvSocketSetTimeOut_NoDebug(zvSocket aSocket, long aTimeOut, int afSetSend, int afSetReceive) {
  // A bare number of 4 bytes, no timeval: Linux refuses it, and callers count on getting no time-out.
  const uint32 theValue = static_cast<uint32>(aTimeOut) * 1000U;
  int theResult = 0;
  if (afSetSend != 0) theResult = SetOption(aSocket, SOL_SOCKET, SO_SNDTIMEO, theValue);
  if (theResult == 0 && afSetReceive != 0) {
    theResult = SetOption(aSocket, SOL_SOCKET, SO_RCVTIMEO, theValue);
  }
  return theResult;
}

extern "C" int zvSocketSetTimeOut_Debug(zvSocket aSocket, long aTimeOut, int afSetSend, int afSetReceive,
                                        const char *aDebugContext) {
  return ReportingFailure(
      zvSocketSetTimeOut_NoDebug(aSocket, aTimeOut, afSetSend, afSetReceive), [=](int anError) {
        ZV_ERR(F("Cannot set timeout for socket %d: error = %d [%s]\n", aSocket, anError, aDebugContext));
      });
}

extern "C" int zvSocketSetSendBuffer_NoDebug(zvSocket aSocket, size_t aSendBufferSize) {
  return SetOption(aSocket, SOL_SOCKET, SO_SNDBUF, static_cast<int>(aSendBufferSize));
}

extern "C" int zvSocketSetSendBuffer_Debug(zvSocket aSocket, size_t aSendBufferSize,
                                           const char *aDebugContext) {
  return ReportingFailure(zvSocketSetSendBuffer_NoDebug(aSocket, aSendBufferSize), [=](int anError) {
    ZV_ERR(F("Cannot set send buffer for socket %d: error = %d [%s]\n", aSocket, anError, aDebugContext));
  });
}

extern "C" int zvSocketSetRecvBuffer_NoDebug(zvSocket aSocket, size_t aReceiveBufferSize) {
  return SetOption(aSocket, SOL_SOCKET, SO_RCVBUF, static_cast<int>(aReceiveBufferSize));
}

extern "C" int zvSocketSetRecvBuffer_Debug(zvSocket aSocket, size_t aReceiveBufferSize,
                                           const char *aDebugContext) {
  return ReportingFailure(zvSocketSetRecvBuffer_NoDebug(aSocket, aReceiveBufferSize), [=](int anError) {
    ZV_ERR(F("Cannot set receive buffer for socket %d: error = %d [%s]\n", aSocket, anError, aDebugContext));
  });
}

extern "C" int zvSocketSetIPHeader_NoDebug(zvSocket aSocket, int afSet) {
  return SetOption(aSocket, IPPROTO_IP, IP_HDRINCL, afSet != 0 ? 1 : 0);
}

extern "C" int zvSocketSetIPHeader_Debug(zvSocket aSocket, int afSet, const char *aDebugContext) {
  return ReportingFailure(zvSocketSetIPHeader_NoDebug(aSocket, afSet), [=](int anError) {
    ZV_ERR(F("Error setting IP Header for socket %d, Error = %d [%s]\n", aSocket, anError, aDebugContext));
  });
}

extern "C" int zvSocketSetTTL_NoDebug(zvSocket aSocket, unsigned char aTTL) {
  return SetOption(aSocket, IPPROTO_IP, IP_TTL, aTTL);
}

extern "C" int zvSocketSetTTL_Debug(zvSocket aSocket, unsigned char aTTL, const char *aDebugContext) {
  return ReportingFailure(zvSocketSetTTL_NoDebug(aSocket, aTTL), [=](int anError) {
    ZV_ERR(F("Error setting TTL to '%lu' for socket %d, Error = %d [%s]\n", static_cast<unsigned long>(aTTL),
             aSocket, anError, aDebugContext));
  });
}

extern "C" int zvSocketGetTTL_NoDebug(zvSocket aSocket, unsigned char *aTTL) {
  socklen_t theLength = sizeof(*aTTL);
  return getsockopt(aSocket, IPPROTO_IP, IP_TTL, aTTL, &theLength);
}

extern "C" int zvSocketGetTTL_Debug(zvSocket aSocket, unsigned char *aTTL, const char *aDebugContext) {
  return ReportingFailure(zvSocketGetTTL_NoDebug(aSocket, aTTL), [=](int anError) {
    // The stray quote is part of the text that field logs are searched for.
    ZV_ERR(F("Error getting TTL from 'socket %d, Error = %d [%s]\n", aSocket, anError, aDebugContext));
  });
}
