#include "commands/conversation.h"

#include "shared/command.h"
#include "shared/terminal.h"

#include <zvOS/zvPipe.h>

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace tool {

namespace {

constexpr size_t kPieceSize = 16384;
constexpr size_t kMostUnsent = 4 * kPieceSize;

// With a descriptor comes one byte, 0.
constexpr char kDescriptorMark = '\0';

}  // namespace

PipeOwner::~PipeOwner() {
  if (IsOpen()) zvPipe_Close(mPipe, 1);
}

Conversation::Conversation(int aPipe)
    : mPipe(aPipe), mfInput(true), mfPeer(true), mfFirst(true), mfGone(false), mfEndIsKnown(false) {}

int Conversation::Hold() {
  while (mfPeer || (!mUnsent.empty() && !mfGone) || (mfInput && !mfGone)) {
    const bool afInput = mfInput && !mfGone && mUnsent.size() < kMostUnsent;
    const bool afSend = !mUnsent.empty() && !mfGone;
    struct pollfd thePolls[] = {
        {afInput ? STDIN_FILENO : -1, POLLIN, 0},
        {mPipe, static_cast<short>((mfPeer ? POLLIN : 0) | (afSend ? POLLOUT : 0)), 0}};
    if (poll(thePolls, 2, -1) == -1) continue;
    if (thePolls[0].revents != 0 && !TakeInput()) return kStatus_CheckFailed;
    if (afSend && (thePolls[1].revents & POLLOUT) != 0 && !Send()) return kStatus_CheckFailed;
    EndInput();
    if (mfPeer && (thePolls[1].revents & (POLLIN | POLLHUP | POLLERR)) != 0 && !Receive())
      return kStatus_CheckFailed;
    if (!mfPeer && (thePolls[1].revents & (POLLHUP | POLLERR)) != 0) mfGone = true;
  }
  if (mUnsent.empty()) return kStatus_Good;
  Complain("pipe: the peer has gone without taking everything");
  return kStatus_CheckFailed;
}

bool Conversation::TakeInput() {
  char thePiece[kPieceSize];
  const ssize_t theCount = read(STDIN_FILENO, thePiece, sizeof(thePiece));
  const int theError = errno;
  if (theCount > 0) mUnsent.append(thePiece, static_cast<size_t>(theCount));
  if (theCount == 0) mfInput = false;
  if (theCount >= 0 || theError == EINTR || theError == EAGAIN) return true;
  // A standard input that is closed has nothing to say.
  mfInput = false;
  if (theError == EBADF) return true;
  Complain("pipe: cannot read standard input: %s", strerror(theError));
  return false;
}

bool Conversation::Send() {
  const int theCount = zvPipe_Write(mPipe, mUnsent.data(), mUnsent.size());
  if (theCount >= 0) {
    mUnsent.erase(0, static_cast<size_t>(theCount));
  } else if (theCount == -EPIPE || theCount == -ECONNRESET) {
    mfGone = true;
  } else if (theCount != -EAGAIN && theCount != -EINTR) {
    Complain("pipe: cannot send: %s", strerror(-theCount));
    return false;
  }
  return true;
}

// Only this direction ends; the peer may go on.
void Conversation::EndInput() {
  if (mfInput || !mUnsent.empty() || mfEndIsKnown) return;
  mfEndIsKnown = true;
  shutdown(mPipe, SHUT_WR);
}

bool Conversation::Receive() {
  if (mfFirst) return ReceiveFirst();
  char thePiece[kPieceSize];
  const int theCount = zvPipe_Read(mPipe, thePiece, sizeof(thePiece));
  // A peer that has not taken all that was sent resets the pipe as it goes.
  if (theCount == 0 || theCount == -ECONNRESET) mfPeer = false;
  if (theCount > 0) return WriteOutput(thePiece, static_cast<size_t>(theCount));
  if (theCount == 0 || theCount == -ECONNRESET || theCount == -EAGAIN || theCount == -EINTR) return true;
  Complain("pipe: cannot receive: %s", strerror(-theCount));
  return false;
}

// Looks, without taking it, whether the first byte is one that comes with a descriptor.
bool Conversation::ReceiveFirst() {
  char theByte = 1;
  const ssize_t theCount = recv(mPipe, &theByte, 1, MSG_PEEK | MSG_DONTWAIT);
  if (theCount == -1 && (errno == EAGAIN || errno == EINTR)) return true;
  mfFirst = false;
  if (theCount != 1 || theByte != kDescriptorMark) return Receive();
  const int theDescriptor = zvPipe_RecvFD(mPipe);
  if (theDescriptor >= 0) return ShowDescriptor(theDescriptor);
  // The text of the peer begins with that byte, which was taken.
  if (theDescriptor == -EBADMSG) return WriteOutput(&kDescriptorMark, 1);
  Complain("pipe: cannot receive a descriptor: %s", strerror(-theDescriptor));
  return false;
}

// Nothing else is exchanged with a peer that passes a descriptor.
bool Conversation::ShowDescriptor(int aDescriptor) {
  const Descriptor theDescriptor(aDescriptor);
  mfInput = mfPeer = false;
  mUnsent.clear();
  char thePiece[kPieceSize];
  for (;;) {
    const ssize_t theCount = read(theDescriptor.Get(), thePiece, sizeof(thePiece));
    const int theError = errno;
    if (theCount == 0) return true;
    if (theCount > 0 && !WriteOutput(thePiece, static_cast<size_t>(theCount))) return false;
    if (theCount > 0 || theError == EINTR) continue;
    Complain("pipe: cannot read what was passed: %s", strerror(theError));
    return false;
  }
}

}  // namespace tool
