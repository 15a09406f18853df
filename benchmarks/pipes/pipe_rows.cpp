// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Local pipes. One thread plays both ends, and both sides of a row use the same pair, so that only the
// calls differ.

#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <zvOS/zvPipe.h>

#include "support/Network.h"
#include "support/Rows.h"

namespace zvbench {
namespace {

constexpr size_t kSmall = 64;
constexpr size_t kLarge = 64 * 1024;

class PipePair {
 public:
  PipePair() : mBuffer(kLarge, 'x') {
    if (zvPipe_Pair(mPipes, ZVPIPE_WR) != 0) Fail("zvPipe_Pair failed");
    // Room for several of the largest transfers: nobody reads while one is written.
    SetOption(Writer(), SOL_SOCKET, SO_SNDBUF, 8 * kLarge);
  }
  ~PipePair() {
    for (int thePipe : mPipes)
      zvPipe_Close(thePipe, 1);
  }
  PipePair(const PipePair &) = delete;
  PipePair &operator=(const PipePair &) = delete;

  int Writer() const { return mPipes[0]; }
  int Reader() const { return mPipes[1]; }
  char *Buffer() { return mBuffer.data(); }

 private:
  int mPipes[2];
  std::vector<char> mBuffer;
};

// With the flags that the library adds.
struct BareCalls {
  static int Write(int aPipe, const void *aBuffer, size_t aLength) {
    return static_cast<int>(send(aPipe, aBuffer, aLength, MSG_NOSIGNAL));
  }
  static int Read(int aPipe, void *aBuffer, size_t aLength) {
    return static_cast<int>(recv(aPipe, aBuffer, aLength, MSG_NOSIGNAL | MSG_WAITALL));
  }
};

struct OurCalls {
  static int Write(int aPipe, const void *aBuffer, size_t aLength) {
    return zvPipe_Write(aPipe, aBuffer, aLength);
  }
  static int Read(int aPipe, void *aBuffer, size_t aLength) { return zvPipe_Read(aPipe, aBuffer, aLength); }
};

template <typename Calls, size_t kLength>
auto Transfer(PipePair &aPair) {
  return [theWriter = aPair.Writer(), theReader = aPair.Reader(), theBuffer = aPair.Buffer()] {
    const int theWritten = Calls::Write(theWriter, theBuffer, kLength);
    return (theWritten != static_cast<int>(kLength)) |
           (Calls::Read(theReader, theBuffer, kLength) != static_cast<int>(kLength));
  };
}

template <size_t kLength>
Sides Transferring() {
  auto thePair = std::make_shared<PipePair>();
  return {Repeat(Transfer<BareCalls, kLength>(*thePair)),
          Repeat(Transfer<OurCalls, kLength>(*thePair)),
          {thePair}};
}

// ---- Descriptors ----

// A byte with room for one descriptor.
struct Message {
  char mByte = 0;
  struct iovec mData = {&mByte, 1};
  alignas(struct cmsghdr) char mControl[CMSG_SPACE(sizeof(int))];
  struct msghdr mHeader = {nullptr, 0, &mData, 1, mControl, CMSG_LEN(sizeof(int)), 0};

  Message() = default;
  Message(const Message &) = delete;
  Message &operator=(const Message &) = delete;
};

int SendBare(int aPipe, int aDescriptor) {
  Message theMessage;
  struct cmsghdr *theControl = CMSG_FIRSTHDR(&theMessage.mHeader);
  *theControl = {CMSG_LEN(sizeof(int)), SOL_SOCKET, SCM_RIGHTS};
  memcpy(CMSG_DATA(theControl), &aDescriptor, sizeof(aDescriptor));
  if (sendmsg(aPipe, &theMessage.mHeader, 0) != 1) return 1;
  return close(aDescriptor);
}

int ReceiveBare(int aPipe) {
  Message theMessage;
  if (recvmsg(aPipe, &theMessage.mHeader, 0) != 1) return -1;
  const struct cmsghdr *theControl = CMSG_FIRSTHDR(&theMessage.mHeader);
  if (theControl == nullptr || theControl->cmsg_type != SCM_RIGHTS) return -1;
  int theDescriptor;
  memcpy(&theDescriptor, CMSG_DATA(theControl), sizeof(theDescriptor));
  return theDescriptor;
}

// A descriptor that goes round: what is received is what is sent next.
struct Passing {
  PipePair mPair;
  int mDescriptor = dup(STDIN_FILENO);

  Passing() {
    if (mDescriptor < 0) Fail("no descriptor to be passed");
  }
  ~Passing() { close(mDescriptor); }
  Passing(const Passing &) = delete;
  Passing &operator=(const Passing &) = delete;

  int PassBare() {
    const int theFailures = SendBare(mPair.Writer(), mDescriptor);
    mDescriptor = ReceiveBare(mPair.Reader());
    return theFailures | (mDescriptor < 0);
  }
  int PassOurs() {
    const int theFailures = zvPipe_SendFD(mPair.Writer(), mDescriptor);
    mDescriptor = zvPipe_RecvFD(mPair.Reader());
    return theFailures | (mDescriptor < 0);
  }
};

Sides PassingDescriptors() {
  auto thePassing = std::make_shared<Passing>();
  return {Repeat([aPassing = thePassing.get()] { return aPassing->PassBare(); }),
          Repeat([aPassing = thePassing.get()] { return aPassing->PassOurs(); }),
          {thePassing}};
}

constexpr char kTransfer[] = "send with MSG_NOSIGNAL, recv with MSG_NOSIGNAL and MSG_WAITALL";

}  // namespace

std::vector<Row> PipeRows() {
  return {
      {"pipe 64 B", kTransfer, "zvPipe_Write, zvPipe_Read", NoTarget(), Transferring<kSmall>},
      {"pipe 64 KiB", kTransfer, "zvPipe_Write, zvPipe_Read", NoTarget(), Transferring<kLarge>},
      {"pipe: pass a descriptor", "sendmsg, close, recvmsg", "zvPipe_SendFD, zvPipe_RecvFD", NoTarget(),
       PassingDescriptors},
  };
}

}  // namespace zvbench
