// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// `zvos run`: shows what a shell command prints, as it prints it.

#include "commands/commands.h"
#include "shared/clock.h"
#include "shared/descriptor.h"
#include "shared/files.h"
#include "shared/options.h"
#include "shared/owners.h"
#include "shared/signals.h"
#include "shared/terminal.h"

#include <zvOS/zvProcess.h>

#include <sys/prctl.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>

namespace tool {

namespace {

constexpr int64 kPause = 10;        // milliseconds between two looks at the output
constexpr int64 kTimeToEnd = 2000;  // for a command that was asked to end
constexpr uint32 kPieceSize = 65536;

// The process that started another one, or 0.
pid_t ParentOf(const char *aProcess) {
  const Descriptor theFile(open((std::string("/proc/") + aProcess + "/stat").c_str(), O_RDONLY | O_CLOEXEC));
  char theText[512];
  const ssize_t theLength = theFile.IsOpen() ? read(theFile.Get(), theText, sizeof(theText) - 1) : 0;
  if (theLength <= 0) return 0;
  theText[theLength] = '\0';
  // "4711 (name, which may contain anything) S 4242 ..."
  const char *theEnd = strrchr(theText, ')');
  return theEnd == nullptr || strlen(theEnd) < 4 ? 0 : static_cast<pid_t>(atoi(theEnd + 4));
}

// Every process that descends from this one. The library does not tell which process a command is.
std::set<pid_t> Descendants() {
  std::vector<std::pair<pid_t, pid_t>> theProcesses;  // with their parents
  // Should the walk break off, what it has seen has to do.
  (void)WalkThrough("/proc", "[1-9]*", zvDIR_DIRS, [&theProcesses](const zvDirEntry &anEntry) {
    theProcesses.push_back({static_cast<pid_t>(atoi(anEntry.mName)), ParentOf(anEntry.mName)});
  });
  std::set<pid_t> theFamily = {getpid()};
  for (size_t theSize = 0; theSize != theFamily.size();) {
    theSize = theFamily.size();
    for (const auto &theProcess : theProcesses) {
      if (theFamily.count(theProcess.second) != 0) theFamily.insert(theProcess.first);
    }
  }
  theFamily.erase(getpid());
  return theFamily;
}

void SignalCommand(int aSignal) {
  for (const pid_t theProcess : Descendants())
    kill(theProcess, aSignal);
}

// Shows the output until it ends, and waits for the command, which may go on without any. A signal lets
// the command end, and what it still says is shown.
class Stream {
 public:
  explicit Stream(zvProcessFD aProcess)
      : mProcess(aProcess),
        mBuffer(kPieceSize),
        mStatus(kStatus_Good),
        mSignal(0),
        mDeadline(0),
        mfClosed(false) {}

  // Returns the exit status.
  int Show();

 private:
  static void WaitForCommand(void *aStream);

  bool ShowPiece(int &aCount);
  void Stop(int aSignal, bool afTell);
  bool Heed(int64 aPause);
  void Close();

  const zvProcessFD mProcess;
  const HeldSignals mSignals;
  std::vector<char> mBuffer;
  int mStatus;
  int mSignal;      // the first that came, or 0
  int64 mDeadline;  // 0 as long as the command may run
  std::atomic<bool> mfClosed;
};

// False when there is no more to show.
bool Stream::ShowPiece(int &aCount) {
  aCount = zvProcess_Read(mProcess, mBuffer.data(), kPieceSize);
  if (aCount == kzvProcessStatus_EOS) return false;
  if (aCount < 0) {
    Complain("run: the output of the command cannot be read");
    SignalCommand(SIGKILL);
    mStatus = kStatus_CheckFailed;
    return false;
  }
  if (aCount > 0 && mStatus == kStatus_Good && !WriteOutput(mBuffer.data(), static_cast<size_t>(aCount))) {
    mStatus = kStatus_CheckFailed;
    Stop(SIGTERM, true);
  }
  return true;
}

void Stream::Stop(int aSignal, bool afTell) {
  if (afTell) SignalCommand(aSignal);
  if (mDeadline == 0) mDeadline = Milliseconds() + kTimeToEnd;
}

// Takes the signal that comes within a pause. False when the time to end is over, and all are killed.
bool Stream::Heed(int64 aPause) {
  bool afFromTerminal = false;
  const int theSignal = mSignals.Wait(aPause, afFromTerminal);
  if (theSignal != 0) {
    if (mSignal == 0) mSignal = theSignal;
    Stop(theSignal, !afFromTerminal);
  }
  if (mDeadline == 0 || Milliseconds() < mDeadline) return true;
  SignalCommand(SIGKILL);
  return false;
}

void Stream::WaitForCommand(void *aStream) {
  Stream &theSelf = *static_cast<Stream *>(aStream);
  zvProcess_Close(theSelf.mProcess);
  theSelf.mfClosed.store(true);
}

// The end of the output need not be that of the command. Its end is waited for by the library as it
// closes the process: in a thread, so that signals still reach the command meanwhile.
void Stream::Close() {
  const ThreadOwner theThread = StartThread(WaitForCommand, this);
  if (!theThread) WaitForCommand(this);
  for (bool afClosed = false; !afClosed;) {
    // Once more after the end: the signal that brought it about may be the one to be told.
    afClosed = mfClosed.load();
    Heed(afClosed ? 0 : kPause);
  }
}

int Stream::Show() {
  int theCount = 0;
  while (ShowPiece(theCount) && Heed(theCount == 0 ? kPause : 0)) {
  }
  Close();
  return mSignal != 0 ? 128 + mSignal : mStatus;
}

int RunRun(const Arguments &anArguments) {
  Arguments theOperands;
  if (!TakeOperands(kCommand_Run, anArguments, theOperands)) return kStatus_BadInput;
  if (theOperands.size() != 1) {
    Complain("run: one COMMAND, in quotes, see 'zvos help run'");
    return kStatus_BadInput;
  }
  // Otherwise the end of the command could not be waited for, when the caller ignores ends of children.
  signal(SIGCHLD, SIG_DFL);
  // What the command leaves behind stays a descendant, and can be ended with it.
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  FlushOutput();
  // The library never releases the record of a process: kept in reach, it is not taken for a leak.
  static zvProcessFD sProcess = nullptr;
  if (zvProcess_Open(theOperands[0].c_str(), zvProcessOpenMode_Read, &sProcess) != 0) {
    Complain("run: the command cannot be started: %s", strerror(errno));
    return kStatus_CheckFailed;
  }
  return Stream(sProcess).Show();
}

}  // namespace

const Command kCommand_Run = {
    "run",
    "COMMAND",
    "show what a shell command prints, as it prints it",
    "Has the shell run COMMAND, a text in quotes, and shows what it prints, whatever bytes these are,\n"
    "until it ends. Ctrl-C ends the command; what it still says is shown, and after two seconds it is\n"
    "killed. SIGINT, SIGQUIT, SIGTERM and SIGHUP do the same: they are passed on to the command and to\n"
    "all that it has started. Other signals are not.\n"
    "\n"
    "Exit status: 0 shown to the end, 1 it could not be started or shown, 2 wrong usage, 128 and the\n"
    "number of a signal that ended it. The library does not tell the command's own status.\n"
    "\n"
    "Examples:\n"
    "  zvos run 'ping -c 3 127.0.0.1'\n"
    "  zvos run 'dmesg | tail'\n",
    RunRun,
};

}  // namespace tool
