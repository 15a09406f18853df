// `zvos pipe`: one end of a named local pipe.

#include "shared/command.h"
#include "commands/conversation.h"
#include "shared/input.h"
#include "shared/library_log.h"
#include "shared/options.h"
#include "shared/terminal.h"

#include <zvOS/zvPipe.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace tool {

namespace {

// Longer names are cut.
constexpr size_t kMostNameBytes = 107;

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

// Empty, or why there is no regular file to be had.
std::string OpenRegular(const std::string &aPath, Descriptor &aFile) {
  // A named pipe would be waited for, until somebody writes to it.
  aFile.Reset(open(aPath.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!aFile.IsOpen()) return strerror(errno);
  struct stat theStatus = {};
  if (fstat(aFile.Get(), &theStatus) != 0) return strerror(errno);
  if (!S_ISREG(theStatus.st_mode)) return WhyNotRegular(theStatus.st_mode);
  fcntl(aFile.Get(), F_SETFL, 0);
  return "";
}

// Opened before there is a peer, so that nobody waits for a file that is not there.
bool OpenFile(const std::string &aPath, Descriptor &aFile) {
  const std::string theReason = OpenRegular(aPath, aFile);
  if (!theReason.empty()) Complain("cannot read '%s': %s", aPath.c_str(), theReason.c_str());
  return theReason.empty();
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
  if (afPass && !OpenFile(thePath, theFile)) return kStatus_BadInput;
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
