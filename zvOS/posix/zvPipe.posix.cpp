// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Local pipes over Unix-domain sockets, named in the abstract namespace or, where the kernel has none,
// by socket files. Failures come back as negated error numbers.

#include <zvOS/zvPipe.h>
#include <zvOS/zvThread.h>
#include <zvOS/zvTime.h>

#include "private/LateTime.h"
#include "private/Lock.h"
#include "private/Message.h"
#include "private/Owner.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>

ZVLOG_WITH_MODULE_IF(ZVOS, 1)

using zvos::Descriptor;
using zvos::ForkAwareHold;
using zvos::ForkAwareLock;

namespace {

constexpr int kDirectionMask = ZVPIPE_RDWR;
constexpr int kBacklog = 1;
constexpr size_t kNameSize = sizeof(sockaddr_un::sun_path);

// Logs why a call of an operation failed. Returns the negated error.
int _ZVPIPE_ERRNO(const char *aCall, const char *anOperation, int anError) {
  switch (anError) {
    case EWOULDBLOCK:
      ZV_INFO(F("%s: %s() errno=%d 'EWOULDBLOCK'\n", anOperation, aCall, anError));
      break;
    case EINPROGRESS:
      ZV_INFO(F("%s: %s() errno=%d 'EINPROGRESS'\n", anOperation, aCall, anError));
      break;
    case 0:
      break;
    default:
      ZV_ERR(F("%s: %s() errno=%d\n", anOperation, aCall, anError));
  }
  return -anError;
}

// In an exported function: the operation is the function's own name.
#define ZVPIPE_ERRNO(call)         _ZVPIPE_ERRNO(call, __func__, errno)
#define ZVPIPE_ERRNO_IS(call, err) _ZVPIPE_ERRNO(call, __func__, err)

struct Address {
  sockaddr_un mAddress;
  socklen_t mLength;

  const sockaddr *Generic() const { return reinterpret_cast<const sockaddr *>(&mAddress); }
};

Address InitAbstractAddr(const char *anId) {
  Address theAddress = {};
  sockaddr_un &theName = theAddress.mAddress;
  theName.sun_family = AF_UNIX;
  const size_t theLength = strnlen(anId, kNameSize - 1);
  memcpy(theName.sun_path + 1, anId, theLength);
  theAddress.mLength = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + theLength);
  return theAddress;
}

Address InitNonAbstractAddr(const char *anId) {
  Address theAddress = {};
  theAddress.mAddress.sun_family = AF_UNIX;
  memcpy(theAddress.mAddress.sun_path, anId, strnlen(anId, kNameSize - 1));
  theAddress.mLength = sizeof(theAddress.mAddress);
  return theAddress;
}

// Found out once in a process; threads that find it out at the same time find the same.
bool HaveAbstractNameSupport() {
  enum { kUnknown = 0, kSupported = 1, kNotSupported = 2 };
  static std::atomic<int> sSupport{kUnknown};

  int theSupport = sSupport.load(std::memory_order_relaxed);
  if (theSupport == kUnknown) {
    const Address theAddress = InitAbstractAddr("/tmp/zvPipeAbstractTest");
    const Descriptor theSocket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    // A name that another process holds is a name.
    const bool afSupported =
        bind(theSocket.get(), theAddress.Generic(), theAddress.mLength) == 0 || errno == EADDRINUSE;
    theSupport = afSupported ? kSupported : kNotSupported;
    sSupport.store(theSupport, std::memory_order_relaxed);
  }
  return theSupport == kSupported;
}

Address InitAddr(const char *anId) {
  return HaveAbstractNameSupport() ? InitAbstractAddr(anId) : InitNonAbstractAddr(anId);
}

int SocketType(int aFlags) {
  return (aFlags & ZVPIPE_MSG) != 0 ? SOCK_SEQPACKET : SOCK_STREAM;
}

void ShutDownUnused(int aFd, int aFlags) {
  switch (aFlags & kDirectionMask) {
    case ZVPIPE_RD:
      shutdown(aFd, SHUT_WR);
      break;
    case ZVPIPE_WR:
      shutdown(aFd, SHUT_RD);
      break;
    default:
      break;
  }
}

// Writes to a closed peer return an error instead of ending the process. Set once, so that what the caller
// sets later stays, and before any thread has its pipe.
void IgnoreBrokenPipes() {
  static std::atomic<bool> sfDone;
  static ForkAwareLock sLock;
  if (sfDone.load(std::memory_order_acquire)) return;
  const ForkAwareHold theHold(sLock);
  if (sfDone.load(std::memory_order_relaxed)) return;
  struct sigaction theAction = {};
  theAction.sa_handler = SIG_IGN;
  sigemptyset(&theAction.sa_mask);
  sigaction(SIGPIPE, &theAction, nullptr);
  sfDone.store(true, std::memory_order_release);
}

int PrepareForUser(int aFd, int aFlags) {
  IgnoreBrokenPipes();
  if ((aFlags & ZVPIPE_NONBLOCKING) != 0) {
    const int theFlags = fcntl(aFd, F_GETFL);
    if (theFlags != -1) fcntl(aFd, F_SETFL, theFlags | O_NONBLOCK);
  }
  ShutDownUnused(aFd, aFlags);
  return aFd;
}

// A socket file of an earlier listener; files of other kinds are left, and make the bind fail.
void RemoveStaleSocketFile(const char *aPath) {
  struct stat theStatus;
  if (zvos::Stat(aPath, &theStatus) == 0 && S_ISSOCK(theStatus.st_mode)) unlink(aPath);
}

void RemoveOwnSocketFile(int aPipe) {
  // One byte more than the system fills, which ends the name.
  struct {
    sockaddr_un mAddress;
    char mEnd;
  } theName = {};
  socklen_t theLength = sizeof(theName.mAddress);
  // The bytes of an internet address are no path.
  if (getsockname(aPipe, reinterpret_cast<sockaddr *>(&theName.mAddress), &theLength) == 0 &&
      theName.mAddress.sun_family == AF_UNIX) {
    unlink(theName.mAddress.sun_path);
  }
}

// Room for a control message with one descriptor, and for no second one.
struct DescriptorMessage {
  DescriptorMessage() {
    mData = {&mByte, sizeof(mByte)};
    mMessage.msg_iov = &mData;
    mMessage.msg_iovlen = 1;
    mMessage.msg_control = mControl;
    mMessage.msg_controllen = CMSG_LEN(sizeof(int));
  }
  DescriptorMessage(const DescriptorMessage &) = delete;
  DescriptorMessage &operator=(const DescriptorMessage &) = delete;

  char mByte = 0;
  iovec mData = {};
  alignas(cmsghdr) char mControl[CMSG_SPACE(sizeof(int))] = {};
  msghdr mMessage = {};
};

// Brings a descriptor of the sender's process, to a receiver that asked the system for it.
#ifdef SCM_PIDFD
constexpr int kProcessDescriptorMessage = SCM_PIDFD;
#else
constexpr int kProcessDescriptorMessage = 0x04;
#endif

// The descriptor in a message that was received, or -1; one that the sender did not pass is closed.
int DescriptorIn(msghdr *aMessage) {
  const cmsghdr *const theHeader = CMSG_FIRSTHDR(aMessage);
  if (theHeader == nullptr || theHeader->cmsg_level != SOL_SOCKET ||
      theHeader->cmsg_len < CMSG_LEN(sizeof(int))) {
    return -1;
  }
  int theDescriptor;
  memcpy(&theDescriptor, CMSG_DATA(theHeader), sizeof(theDescriptor));
  if (theHeader->cmsg_type == SCM_RIGHTS) return theDescriptor;
  if (theHeader->cmsg_type == kProcessDescriptorMessage && theDescriptor >= 0) close(theDescriptor);
  return -1;
}

}  // namespace

extern "C" int zvPipe_Pair(int aPipes[2], int aFlags) {
  // Without SOCK_CLOEXEC: one end is meant for a program that the caller starts.
  if (socketpair(AF_UNIX, SocketType(aFlags), 0, aPipes) != 0) return ZVPIPE_ERRNO("socketpair");

  const char *theArrow = "<->";
  if ((aFlags & kDirectionMask) == ZVPIPE_RD) {
    theArrow = "<-";
    ShutDownUnused(aPipes[0], ZVPIPE_RD);
    ShutDownUnused(aPipes[1], ZVPIPE_WR);
  } else if ((aFlags & kDirectionMask) == ZVPIPE_WR) {
    theArrow = "->";
    ShutDownUnused(aPipes[1], ZVPIPE_RD);
    ShutDownUnused(aPipes[0], ZVPIPE_WR);
  }
  PrepareForUser(aPipes[0], aFlags & ~kDirectionMask);
  PrepareForUser(aPipes[1], aFlags & ~kDirectionMask);
  ZV_INFO(F("%s: pair created [%d %s %d]\n", __func__, aPipes[0], theArrow, aPipes[1]));
  return 0;
}

extern "C" int zvPipe_Listener(const char *anId, int aFlags) {
  if (anId == nullptr) return ZVPIPE_ERRNO_IS("", EINVAL);
  Descriptor theSocket(socket(AF_UNIX, SocketType(aFlags) | SOCK_CLOEXEC, 0));
  if (!theSocket) return ZVPIPE_ERRNO("socket");

  const Address theAddress = InitAddr(anId);
  if (!HaveAbstractNameSupport()) RemoveStaleSocketFile(theAddress.mAddress.sun_path);
  if (bind(theSocket.get(), theAddress.Generic(), theAddress.mLength) != 0 ||
      listen(theSocket.get(), kBacklog) != 0) {
    // No call is named: field logs are searched for the line as it is.
    return ZVPIPE_ERRNO_IS("", errno);
  }
  ZV_INFO(F("%s: Created (%d)\n", __func__, theSocket.get()));
  return PrepareForUser(theSocket.release(), aFlags);
}

extern "C" int zvPipe_Accept(int aListener, int aFlags) {
  const int thePipe = accept4(aListener, nullptr, nullptr, SOCK_CLOEXEC);
  if (thePipe < 0) return ZVPIPE_ERRNO("accept");
  ZV_INFO(F("%s: Accepted (%d)\n", __func__, thePipe));
  return PrepareForUser(thePipe, aFlags);
}

extern "C" int zvPipe_Connect(const char *anId, int aFlags) {
  if (anId == nullptr) return ZVPIPE_ERRNO_IS("", EINVAL);
  // A stream whatever the flags say: clients of message listeners are refused by the system.
  Descriptor theSocket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!theSocket) return ZVPIPE_ERRNO("socket");

  const Address theAddress = InitAddr(anId);
  // Not logged: clients try until there is a listener.
  if (connect(theSocket.get(), theAddress.Generic(), theAddress.mLength) != 0) return -errno;
  ShutDownUnused(theSocket.get(), aFlags);
  ZV_INFO(F("%s: Connected to '%s' (%d)\n", __func__, anId, theSocket.get()));
  return PrepareForUser(theSocket.release(), aFlags);
}

extern "C" int zvPipe_SendFD(int aPipe, int aFd) {
  DescriptorMessage theMessage;
  cmsghdr *const theHeader = CMSG_FIRSTHDR(&theMessage.mMessage);
  theHeader->cmsg_level = SOL_SOCKET;
  theHeader->cmsg_type = SCM_RIGHTS;
  theHeader->cmsg_len = CMSG_LEN(sizeof(aFd));
  memcpy(CMSG_DATA(theHeader), &aFd, sizeof(aFd));

  if (sendmsg(aPipe, &theMessage.mMessage, 0) != 1) return ZVPIPE_ERRNO("sendmsg");
  close(aFd);
  return 0;
}

extern "C" int zvPipe_RecvFD(int aPipe) {
  DescriptorMessage theMessage;
  const ssize_t theCount = recvmsg(aPipe, &theMessage.mMessage, MSG_CMSG_CLOEXEC);
  if (theCount < 0) return ZVPIPE_ERRNO("recvmsg");

  // A message without data may carry a descriptor all the same, which is not kept.
  Descriptor theDescriptor(DescriptorIn(&theMessage.mMessage));
  if (theCount == 0) return ZVPIPE_ERRNO_IS("recvmsg", EPIPE);
  if (!theDescriptor) return ZVPIPE_ERRNO_IS("recvmsg", EBADMSG);
  return theDescriptor.release();
}

extern "C" int zvPipe_Write(int aFd, const void *aBuffer, size_t aLen) {
  const ssize_t theCount = send(aFd, aBuffer, aLen, MSG_NOSIGNAL);
  return theCount < 0 ? ZVPIPE_ERRNO("send") : static_cast<int>(theCount);
}

extern "C" int zvPipe_Read(int aFd, void *aBuffer, size_t aLen) {
  const ssize_t theCount = recv(aFd, aBuffer, aLen, MSG_NOSIGNAL | MSG_WAITALL);
  // Reads fail under the name of the write: that is how field logs read.
  if (theCount < 0) return ZVPIPE_ERRNO("send");
  if (theCount == 0) ZV_INFO(F("%s: end-of-stream\n", __func__));
  return static_cast<int>(theCount);
}

extern "C" int zvPipe_Close(int aPipe, int) {
  if (!HaveAbstractNameSupport()) RemoveOwnSocketFile(aPipe);
  shutdown(aPipe, SHUT_RDWR);
  if (close(aPipe) != 0) return ZVPIPE_ERRNO("close");
  ZV_INFO(F("%s: Closed (%d)\n", __func__, aPipe));
  return 0;
}

extern "C" char *zvPipe_GenerateUniqueName(const char *aPrefix) {
  const uint32 theProcess = zvThread_GetPID();
  const uint32 theThread = zvThread_GetCurrentThreadID();
  const Descriptor theSocket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));

  char theName[kNameSize];
  Address theAddress;
  // Without a bound: what makes the name unique is the time, which goes on.
  do {
    zvtimeval theTime;
    zvTime_GetTimeOfDay(&theTime);
    zv_snprintf(theName, sizeof(theName), "%s%x%x%x%x", aPrefix != nullptr ? aPrefix : "",
                static_cast<unsigned>(theTime.tv_sec), static_cast<unsigned>(theTime.tv_usec), theProcess,
                theThread);
    theAddress = InitAddr(theName);
  } while (bind(theSocket.get(), theAddress.Generic(), theAddress.mLength) != 0);
  return strdup(theName);
}
