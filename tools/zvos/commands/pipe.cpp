// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// `zvos pipe`: one end of a named local pipe, and what goes on over it: text both ways, or a descriptor one
// way.

#include "commands/commands.h"
#include "shared/descriptor.h"
#include "shared/file_status.h"
#include "shared/files.h"
#include "shared/library_log.h"
#include "shared/options.h"
#include "shared/owners.h"
#include "shared/terminal.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <cstring>

namespace tool {

namespace {

// Longer names are cut.
constexpr size_t kMostNameBytes = 107;

constexpr size_t kPieceSize = 16384;
constexpr size_t kMostUnsent = 4 * kPieceSize;

// With a descriptor comes one byte, 0.
constexpr char kDescriptorMark = '\0';

// ---- The conversation ----

// Standard input goes to the peer, what comes from the peer to standard output, until both directions
// have ended or the peer is gone. When a descriptor comes first instead, its contents are shown.
class Conversation {
 public:
  // The pipe is one that does not wait.
  explicit Conversation(int aPipe) : mPipe(aPipe) {}

  // Returns the exit status; complains when something fails.
  int Hold();

 private:
  bool TakeInput();
  bool Send();
  bool Receive();
  bool ReceiveFirst();
  bool ShowDescriptor(int aDescriptor);
  void EndInput();

  const int mPipe;
  std::string mUnsent;
  bool mfInput = true;        // there may be more to send
  bool mfPeer = true;         // there may be more to receive
  bool mfFirst = true;        // nothing was received yet
  bool mfGone = false;        // the peer takes nothing any more
  bool mfEndIsKnown = false;  // the peer knows that nothing more is sent
};

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

// ---- The two ends ----

// Negative with the reason told when there is no peer.
int WaitForPeer(const std::string &aName) {
  const PipeOwner theListener(zvPipe_Listener(aName.c_str(), ZVPIPE_DEFAULT));
  if (!theListener.IsOpen()) {
    const bool afTaken = theListener.Error() == EADDRINUSE;
    Complain("pipe: cannot listen under '%s': %s", aName.c_str(),
             afTaken ? "another process does" : strerror(theListener.Error()));
    return -1;
  }
  Complain("pipe: waiting for a peer under '%s'", aName.c_str());
  const int thePipe = zvPipe_Accept(theListener.Get(), ZVPIPE_NONBLOCKING);
  if (thePipe < 0) Complain("pipe: cannot accept a peer: %s", strerror(-thePipe));
  return thePipe;
}

int ConnectToPeer(const std::string &aName) {
  const int thePipe = zvPipe_Connect(aName.c_str(), ZVPIPE_NONBLOCKING);
  if (thePipe == -ECONNREFUSED || thePipe == -ENOENT) {
    Complain("pipe: nobody listens under '%s'", aName.c_str());
  } else if (thePipe < 0) {
    Complain("pipe: cannot connect to '%s': %s", aName.c_str(), strerror(-thePipe));
  }
  return thePipe;
}

// A regular file, opened before there is a peer, so that nobody waits for a file that is not there.
MaybeProblem OpenRegular(const std::string &aPath, Descriptor &aFile) {
  // A named pipe would be waited for, until somebody writes to it.
  aFile.Reset(open(aPath.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  FileStatus theStatus = {};
  if (!aFile.IsOpen() || !GetStatus(aFile.Get(), theStatus)) return BadInput(strerror(errno));
  if (!S_ISREG(theStatus.mMode)) return BadInput(WhyNotRegular(theStatus.mMode));
  fcntl(aFile.Get(), F_SETFL, 0);
  return {};
}

int PassDescriptor(int aPipe, Descriptor &aFile, const std::string &aPath) {
  const int theError = -zvPipe_SendFD(aPipe, aFile.Get());
  if (theError != 0) {
    Complain("pipe: cannot pass '%s': %s", aPath.c_str(), strerror(theError));
    return kStatus_CheckFailed;
  }
  // It is closed already: it was given away.
  aFile.Release();
  Print("passed a descriptor of %s\n", aPath.c_str());
  return kStatus_Good;
}

int RunPipe(const Arguments &anArguments) {
  bool afPass = false;
  std::string thePath;
  Arguments theOperands;
  if (!TakeOptions(kCommand_Pipe, anArguments, {{"--pass", &afPass, &thePath}}, theOperands)) {
    return kStatus_BadInput;
  }
  if (theOperands.size() != 2 || (theOperands[0] != "listen" && theOperands[0] != "connect")) {
    Complain("pipe: listen or connect, and one NAME, see 'zvos help pipe'");
    return kStatus_BadInput;
  }
  const std::string &theName = theOperands[1];
  if (theName.empty() || theName.size() > kMostNameBytes) {
    Complain("pipe: a NAME has 1 to %d bytes", static_cast<int>(kMostNameBytes));
    return kStatus_BadInput;
  }
  Descriptor theFile;
  if (afPass) {
    if (const MaybeProblem theProblem = OpenRegular(thePath, theFile)) {
      Complain("cannot read '%s': %s", thePath.c_str(), theProblem->mText.c_str());
      return theProblem->mStatus;
    }
  }
  KeepModulesQuiet({ZVLOG_M_ZVOS});
  const PipeOwner thePipe(theOperands[0] == "listen" ? WaitForPeer(theName) : ConnectToPeer(theName));
  if (!thePipe.IsOpen()) return kStatus_BadInput;
  return afPass ? PassDescriptor(thePipe.Get(), theFile, thePath) : Conversation(thePipe.Get()).Hold();
}

}  // namespace

const Command kCommand_Pipe = {
    "pipe",
    "[--pass FILE] listen|connect NAME",
    "talk to another process over a named local pipe",
    "One process listens under NAME and takes one peer, the other connects. Standard input goes to\n"
    "the peer, and what the peer sends to standard output, whatever bytes these are. Each direction\n"
    "ends by itself; the command ends with the second, or when the peer is gone. Any program of the\n"
    "device that uses the library's pipes can be the other end.\n"
    "\n"
    "  --pass FILE        instead of text, pass an open descriptor of FILE, a regular file, and end;\n"
    "                     the other end notices, and prints what it reads from it: the peer need not\n"
    "                     be able to open FILE itself\n"
    "\n"
    "Exit status: 0 ended as it should; 1 the pipe failed, or the peer did not take everything; 2\n"
    "wrong usage, NAME is taken or nobody listens under it, or FILE cannot be read.\n"
    "\n"
    "Examples:\n"
    "  zvos pipe listen radio                       in one terminal ...\n"
    "  echo volume up | zvos pipe connect radio     ... and in another\n"
    "  zvos pipe listen --pass /etc/shadow guarded\n",
    RunPipe,
};

}  // namespace tool
