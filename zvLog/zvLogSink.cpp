// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The sinks: standard error, a file, the system log.
//
// A descriptor once opened here is never closed, only made to refer to another file: a thread that
// has just read its number can always write to it. Standard error is written by its number, so that
// a program may redirect it.
//
// The system log is written as datagrams to its socket. The C library's syslog() takes a lock, and so
// does the time zone code that it calls; a thread that crashed inside either would never get its last
// words out.

#include "private/Sink.h"

#include <zvLog/zvLogSettings.h>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <cstring>

namespace {

using zvlog::FinishedRecord;
using zvlog::kHeaderRoom;

enum class Sink { StandardError, File, Syslog };

constexpr char kSystemLogPath[] = "/dev/log";
constexpr int kPatienceMilliseconds = 1000;  // with a reader that does not keep up
constexpr int kLowestOwnDescriptor = 64;     // small numbers are left to the program
constexpr int kNoDescriptor = -1;

// Addresses of log sockets are never released: a thread may be about to send to one. Few programs
// use more than one.
struct SocketAddress {
  sockaddr_un mAddress;
  SocketAddress *mNext;
};

std::atomic<Sink> sSink{Sink::StandardError};
std::atomic<int> sFile{kNoDescriptor};
std::atomic<int> sSocket{kNoDescriptor};
std::atomic<const SocketAddress *> sSocketAddress{nullptr};
SocketAddress *sSocketAddresses = nullptr;  // guarded by sSetters, as the making of descriptors
pthread_mutex_t sSetters = PTHREAD_MUTEX_INITIALIZER;

class SettersLock {
 public:
  SettersLock() { pthread_mutex_lock(&sSetters); }
  ~SettersLock() { pthread_mutex_unlock(&sSetters); }
  SettersLock(const SettersLock &) = delete;
  SettersLock &operator=(const SettersLock &) = delete;
};

void CloseKeepingErrno(int aDescriptor) {
  const int theError = errno;
  close(aDescriptor);
  errno = theError;
}

int DuplicateHigh(int aDescriptor) {
  const int theHigh = fcntl(aDescriptor, F_DUPFD_CLOEXEC, kLowestOwnDescriptor);
  if (theHigh >= 0 || errno != EINVAL) return theHigh;
  return fcntl(aDescriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);  // the limit is that low
}

// Moves aDescriptor to the lasting number kept in aPlace, or makes it the lasting one.
bool Install(std::atomic<int> *aPlace, int aDescriptor) {
  const int theLasting = aPlace->load();
  if (theLasting == kNoDescriptor) {
    const int theNew = DuplicateHigh(aDescriptor);
    CloseKeepingErrno(aDescriptor);
    if (theNew < 0) return false;
    aPlace->store(theNew);
    return true;
  }
  int theResult;
  do {
    theResult = dup3(aDescriptor, theLasting, O_CLOEXEC);
  } while (theResult < 0 && (errno == EINTR || errno == EBUSY));
  CloseKeepingErrno(aDescriptor);
  return theResult >= 0;
}

bool WriteLine(int aDescriptor, const char *aLine, size_t aLength) {
  size_t theDone = 0;
  bool afWaited = false;
  while (theDone < aLength) {
    const ssize_t theCount = write(aDescriptor, aLine + theDone, aLength - theDone);
    if (theCount > 0) {
      theDone += static_cast<size_t>(theCount);
      continue;
    }
    const int theError = theCount < 0 ? errno : ENOSPC;
    if (theError == EINTR) continue;
    if (theError != EAGAIN || afWaited) return theDone > 0;
    afWaited = true;
    pollfd thePoll = {aDescriptor, POLLOUT, 0};
    poll(&thePoll, 1, kPatienceMilliseconds);
  }
  return true;
}

// The socket gives up by itself when the system log does not read.
bool SendMessage(const char *aMessage, size_t aLength) {
  const SocketAddress *theAddress = sSocketAddress.load(std::memory_order_acquire);
  ssize_t theCount;
  do {
    theCount = sendto(sSocket.load(std::memory_order_relaxed), aMessage, aLength, MSG_NOSIGNAL,
                      reinterpret_cast<const sockaddr *>(&theAddress->mAddress), sizeof(sockaddr_un));
  } while (theCount < 0 && errno == EINTR);
  return theCount >= 0;
}

const SocketAddress *FindOrAddAddress(const char *aPath) {
  for (SocketAddress *theEntry = sSocketAddresses; theEntry != nullptr; theEntry = theEntry->mNext) {
    if (strcmp(theEntry->mAddress.sun_path, aPath) == 0) return theEntry;
  }
  SocketAddress *theNew = static_cast<SocketAddress *>(calloc(1, sizeof(SocketAddress)));
  if (theNew == nullptr) return nullptr;
  theNew->mAddress.sun_family = AF_UNIX;
  memcpy(theNew->mAddress.sun_path, aPath, strlen(aPath) + 1);
  theNew->mNext = sSocketAddresses;
  sSocketAddresses = theNew;
  return theNew;
}

// A datagram socket, proven to reach the log.
int OpenSocketReaching(const SocketAddress *anAddress) {
  const int theSocket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (theSocket < 0) return kNoDescriptor;

  const timeval thePatience = {kPatienceMilliseconds / 1000, 0};
  const sockaddr theNobody = {AF_UNSPEC, {}};
  const bool afReady =
      setsockopt(theSocket, SOL_SOCKET, SO_SNDTIMEO, &thePatience, sizeof thePatience) == 0 &&
      connect(theSocket, reinterpret_cast<const sockaddr *>(&anAddress->mAddress), sizeof(sockaddr_un)) ==
          0 &&
      // Unconnected again, so that the socket finds the log after it was started anew.
      connect(theSocket, &theNobody, sizeof theNobody) == 0;
  if (afReady) return theSocket;
  CloseKeepingErrno(theSocket);
  return kNoDescriptor;
}

// False when nothing of it could be written.
bool WriteTo(Sink aSink, const FinishedRecord &aRecord) {
  char theHeader[kHeaderRoom];
  const bool afMessage = aSink == Sink::Syslog;
  const size_t theHeaderLength =
      afMessage ? WriteSyslogHeader(aRecord, theHeader) : WriteLineHeader(aRecord, theHeader);
  char *theBegin = aRecord.mText - theHeaderLength;
  memcpy(theBegin, theHeader, theHeaderLength);
  const size_t theLength = theHeaderLength + aRecord.mLength;
  if (afMessage) return SendMessage(theBegin, theLength - 1);  // it is no line
  const bool afFile = aSink == Sink::File;
  return WriteLine(afFile ? sFile.load(std::memory_order_relaxed) : STDERR_FILENO, theBegin, theLength);
}

}  // namespace

namespace zvlog {

void Deliver(const FinishedRecord &aRecord) {
  const Sink theSink = sSink.load(std::memory_order_acquire);
  if (WriteTo(theSink, aRecord) || theSink == Sink::StandardError) return;
  WriteTo(Sink::StandardError, aRecord);
}

}  // namespace zvlog

extern "C" void zvLog_SetSinkStandardError(void) {
  const SettersLock theLock;
  sSink.store(Sink::StandardError, std::memory_order_release);
  if (sFile.load() == kNoDescriptor) return;
  // Releases the file; a thread that is about to write to it writes to standard error instead.
  int theOther = DuplicateHigh(STDERR_FILENO);
  if (theOther < 0) theOther = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (theOther >= 0) Install(&sFile, theOther);
}

extern "C" int zvLog_SetSinkFile(const char *aPath) {
  if (aPath == nullptr) {
    errno = EINVAL;
    return 0;
  }
  const int theFile = open(aPath, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0644);
  if (theFile < 0) return 0;

  const SettersLock theLock;
  if (!Install(&sFile, theFile)) return 0;
  sSink.store(Sink::File, std::memory_order_release);
  return 1;
}

extern "C" int zvLog_SetSinkSyslog(const char *aSocketPath) {
  const char *thePath = aSocketPath != nullptr ? aSocketPath : kSystemLogPath;
  if (*thePath == '\0' || strlen(thePath) >= sizeof(sockaddr_un::sun_path)) {
    errno = *thePath == '\0' ? EINVAL : ENAMETOOLONG;
    return 0;
  }
  const SettersLock theLock;
  const SocketAddress *theAddress = FindOrAddAddress(thePath);
  if (theAddress == nullptr) return 0;
  const int theSocket = OpenSocketReaching(theAddress);
  if (theSocket < 0) return 0;
  if (!Install(&sSocket, theSocket)) return 0;
  sSocketAddress.store(theAddress, std::memory_order_release);
  sSink.store(Sink::Syslog, std::memory_order_release);
  return 1;
}
