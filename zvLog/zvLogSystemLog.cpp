// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The system log, written as datagrams to its socket. The C library's syslog() takes a lock, and so does the
// time zone code that it calls; a thread that crashed inside either would never get its last words out.

#include "private/SystemLog.h"

#include "private/LastingDescriptor.h"
#include "private/Outlet.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

using zvlog::SocketAddress;

constexpr char kSystemLogPath[] = "/dev/log";
constexpr int kPatienceMicroseconds = zvlog::kPatienceMilliseconds * 1000;

SocketAddress *sAddresses = nullptr;
zvlog::Outlet sOutlet;

zvlog::LastingDescriptor *Socket() {
  return &zvlog::gDescriptors[zvlog::kSocketOfSystemLog];
}

SocketAddress *FindOrAddAddress(const char *aPath) {
  for (SocketAddress *theEntry = sAddresses; theEntry != nullptr; theEntry = theEntry->mNext) {
    if (strcmp(theEntry->mAddress.sun_path, aPath) == 0) return theEntry;
  }
  SocketAddress *theNew = static_cast<SocketAddress *>(calloc(1, sizeof(SocketAddress)));
  if (theNew == nullptr) return nullptr;
  theNew->mAddress.sun_family = AF_UNIX;
  memcpy(theNew->mAddress.sun_path, aPath, strlen(aPath) + 1);
  theNew->mNext = sAddresses;
  sAddresses = theNew;
  return theNew;
}

// A datagram socket that gives up by itself when the log does not read.
int MakeSocket() {
  const int theSocket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (theSocket < 0) return zvlog::kNoDescriptor;
  const timeval thePatience = {0, kPatienceMicroseconds};
  if (setsockopt(theSocket, SOL_SOCKET, SO_SNDTIMEO, &thePatience, sizeof(thePatience)) == 0)
    return theSocket;
  zvlog::CloseKeepingErrno(theSocket);
  return zvlog::kNoDescriptor;
}

// A socket that is proven to reach the log.
int MakeSocketReaching(const SocketAddress *anAddress) {
  const int theSocket = MakeSocket();
  if (theSocket < 0) return zvlog::kNoDescriptor;
  const sockaddr theNobody = {AF_UNSPEC, {}};
  const bool afReady = connect(theSocket, reinterpret_cast<const sockaddr *>(&anAddress->mAddress),
                               sizeof(sockaddr_un)) == 0 &&
                       // Unconnected again, so that the socket finds the log after it was started anew.
                       connect(theSocket, &theNobody, sizeof(theNobody)) == 0;
  if (afReady) return theSocket;
  zvlog::CloseKeepingErrno(theSocket);
  return zvlog::kNoDescriptor;
}

}  // namespace

namespace zvlog {

const SocketAddress *OpenSystemLog(const char *aSocketPath) {
  const char *thePath = aSocketPath != nullptr ? aSocketPath : kSystemLogPath;
  if (*thePath == '\0' || strlen(thePath) >= sizeof(sockaddr_un::sun_path)) {
    errno = *thePath == '\0' ? EINVAL : ENAMETOOLONG;
    return nullptr;
  }
  const SocketAddress *theAddress = FindOrAddAddress(thePath);
  if (theAddress == nullptr) return nullptr;
  const int theSocket = MakeSocketReaching(theAddress);
  return theSocket >= 0 && Socket()->Install(theSocket) ? theAddress : nullptr;
}

void ForgetSystemLog() {
  sOutlet.Forget();
}

int SendToSystemLog(const SocketAddress *anAddress, const FinishedRecord &aRecord) {
  int theSocket = Socket()->Number();
  if (theSocket == kNoDescriptor) {
    // The program has closed it.
    const int theNew = MakeSocket();
    if (theNew < 0 || !Socket()->Install(theNew)) return errno;
    theSocket = Socket()->Number();
  }
  return sOutlet.Write({theSocket, Medium::Socket, false, false, &anAddress->mAddress}, aRecord);
}

}  // namespace zvlog
