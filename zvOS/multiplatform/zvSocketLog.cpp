// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Traffic files. A file is opened, written and closed for each transfer, so that it is complete at any
// moment, even when the process dies; one lock keeps the table and the order of the bytes.

#include <zvOS/zvSocketDatagram.h>
#include <zvOS/zvSocketLog.h>

#include "private/LockAnnotations.h"
#include "private/Message.h"
#include "private/Owner.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>
#include <cerrno>

ZVLOG_WITH_MODULE_IF(SOCKETTRAFFIC, 1)

namespace {

constexpr int kzvLogBufferMaxSocket = 100;
constexpr size_t kzvLogFileNameMaxLength = 40;

constexpr char kErrorMark[] = "\r\nERROR";
constexpr char kCloseMark[] = "\r\n*** CLOSED ***\r\n";

// Stands for a transfer that failed.
constexpr uint32 kErrorLength = static_cast<uint32>(-1);

// Recursive: a log provider may send its messages over sockets that are logged themselves.
struct ZVOS_LOCK RecursiveLock {
  pthread_mutex_t mMutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
};
RecursiveLock sLock;

// By slot. A socket of 0 marks a free one; descriptor 0 can therefore not be logged.
zvSocket sSocket[kzvLogBufferMaxSocket] ZVOS_GUARDED_BY(sLock);
int sID[kzvLogBufferMaxSocket] ZVOS_GUARDED_BY(sLock);
int sUsed[kzvLogBufferMaxSocket] ZVOS_GUARDED_BY(sLock);
char sFileName[kzvLogBufferMaxSocket][kzvLogFileNameMaxLength] ZVOS_GUARDED_BY(sLock);

int sInited ZVOS_GUARDED_BY(sLock) = 0;
int sIndex ZVOS_GUARDED_BY(sLock) = 1;
int sCount ZVOS_GUARDED_BY(sLock) = 0;  // for a debugger: slots in use

class ZVOS_SCOPED_LOCK TableLock {
 public:
  TableLock() ZVOS_ACQUIRES(sLock) { pthread_mutex_lock(&sLock.mMutex); }
  ~TableLock() ZVOS_RELEASES() { pthread_mutex_unlock(&sLock.mMutex); }
  TableLock(const TableLock &) = delete;
  TableLock &operator=(const TableLock &) = delete;
};

constexpr int kNoSlot = -1;

// The first slot with that socket, or kNoSlot.
int Find(zvSocket aSocket) ZVOS_REQUIRES(sLock) {
  for (int i = 0; i < kzvLogBufferMaxSocket; ++i) {
    if (sSocket[i] == aSocket) return i;
  }
  return kNoSlot;
}

void SetSlot(int aSlot, zvSocket aSocket, int anID) ZVOS_REQUIRES(sLock) {
  sSocket[aSlot] = aSocket;
  sID[aSlot] = anID;
  sUsed[aSlot] = 0;
  sFileName[aSlot][0] = '\0';
}

// Leaves the name empty while the socket has no peer. Names that are too long are cut.
void _Log_Buffer_GetFileName(zvSocket aSocket, char *aFileName) {
  long theAddress;
  unsigned short thePort;
  if (zvSocketGetPeerName_Debug(aSocket, &theAddress, &thePort, "_Log_Buffer_GetFileName") != 0) return;

  const auto theByte = [theAddress](int aShift) {
    return static_cast<unsigned long>(theAddress) >> aShift & 0xFF;
  };
  zv_snprintf(aFileName, kzvLogFileNameMaxLength, "socket/%lu.%lu.%lu.%lu-%u-[%u].txt", theByte(24),
              theByte(16), theByte(8), theByte(0), static_cast<unsigned>(thePort),
              static_cast<unsigned>(aSocket));
}

// Pipes have no offset, nor have terminals.
bool MayBePipe(int aDescriptor) {
  return lseek(aDescriptor, 0, SEEK_CUR) == -1;
}

// Not through zvFile: that counts paths from the program's folder and logs what fails, while a file
// that is not there, or cannot be written, is none of our business here.
void AppendToFile(const char *aFileName, const void *aBuffer, uint32 aLength) {
  // For reading, too: a named pipe then has a reader for as long as we write, whose end would otherwise end
  // the process (SIGPIPE). A pipe that may only be written is therefore left alone. A terminal that is opened
  // for reading must not become that of the process. Nothing waits.
  constexpr int kFlags = O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  int theDescriptor = open(aFileName, O_RDWR | kFlags);
  const bool afWriteOnly = theDescriptor == -1 && errno == EACCES;
  if (afWriteOnly) theDescriptor = open(aFileName, O_WRONLY | kFlags);
  const zvos::Descriptor theFile(theDescriptor);
  if (!theFile || (afWriteOnly && MayBePipe(theFile.get()))) return;

  const char *theRest = static_cast<const char *>(aBuffer);
  size_t theLength = aLength;
  while (theLength > 0) {
    const ssize_t theCount = TEMP_FAILURE_RETRY(write(theFile.get(), theRest, theLength));
    if (theCount <= 0) return;
    theRest += theCount;
    theLength -= static_cast<size_t>(theCount);
  }
}

// What a transfer says when its socket has no place in the table, or one that was never opened.
struct TransferErrors {
  void (*mNoSlot)();
  void (*mNoID)();
};

const TransferErrors kSendErrors = {[] { ZV_ERR(F("_Log_Buffer_Send Error 2\n")); },
                                    [] { ZV_ERR(F("_Log_Buffer_Send Error 1\n")); }};
const TransferErrors kDataErrors = {[] { ZV_ERR(F("_Log_Buffer Error 2\n")); },
                                    [] { ZV_ERR(F("_Log_Buffer Error 1\n")); }};

void LogTransfer(zvSocket aSocket, const void *aBuffer, uint32 aLength, const TransferErrors &anErrors) {
  const TableLock theLock;
  zvAssert(sInited == 1);
  if (aLength == kErrorLength) {
    aBuffer = kErrorMark;
    aLength = sizeof(kErrorMark) - 1;
  }

  const int theSlot = Find(aSocket);
  if (theSlot == kNoSlot) {
    anErrors.mNoSlot();
    return;
  }
  if (sID[theSlot] == 0) anErrors.mNoID();

  sUsed[theSlot] = 1;
  char *const theFileName = sFileName[theSlot];
  if (theFileName[0] == '\0') _Log_Buffer_GetFileName(aSocket, theFileName);
  if (theFileName[0] != '\0') AppendToFile(theFileName, aBuffer, aLength);
}

}  // namespace

extern "C" void _Log_Buffer_Open(zvSocket aSocket) {
  const TableLock theLock;
  if (sInited == 0) {
    for (int i = 0; i < kzvLogBufferMaxSocket; ++i)
      SetSlot(i, 0, 0);
    sInited = 1;
  }

  const int theSlot = Find(0);
  if (theSlot == kNoSlot) {
    ZV_ERR(F("_Log_Buffer_Open Error\n"));
    return;
  }
  SetSlot(theSlot, aSocket, sIndex);
  ++sIndex;
  ++sCount;
}

extern "C" void _Log_Buffer_Send(zvSocket aSocket, const void *aBuffer, uint32 aLength) {
  LogTransfer(aSocket, aBuffer, aLength, kSendErrors);
}

extern "C" void _Log_Buffer_Data(zvSocket aSocket, const void *aBuffer, uint32 aLength) {
  LogTransfer(aSocket, aBuffer, aLength, kDataErrors);
}

extern "C" void _Log_Buffer_Close(zvSocket aSocket) {
  const TableLock theLock;
  zvAssert(sInited == 1);
  if (aSocket == kzvSocketInvalid) return;

  const int theSlot = Find(aSocket);
  if (theSlot == kNoSlot) {
    ZV_ERR(F("_Log_Buffer_Close Error\n"));
    return;
  }
  if (sUsed[theSlot] != 0) LOG_BUFFER(aSocket, kCloseMark, sizeof(kCloseMark) - 1);
  SetSlot(theSlot, 0, 0);
  --sCount;
}
