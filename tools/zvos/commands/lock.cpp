// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// `zvos lock`: runs a command while this process holds a name.

#include "commands/commands.h"
#include "shared/child_process.h"
#include "shared/descriptor.h"
#include "shared/files.h"
#include "shared/library_log.h"
#include "shared/options.h"
#include "shared/owners.h"
#include "shared/terminal.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace tool {

namespace {

constexpr int kStatus_CannotRun = 126;
constexpr int kStatus_NotFound = 127;

// Says why the name could not be had. The file is opened for what the library does not tell.
int Refuse(const std::string &aName) {
  const std::string theFile = TemporaryFolder() + "/" + aName;
  const Descriptor theDescriptor(open(theFile.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
  if (!theDescriptor.IsOpen()) {
    const int theError = errno;
    Complain("lock: cannot take '%s': %s: %s", aName.c_str(), theFile.c_str(), strerror(theError));
    return kStatus_BadInput;
  }
  struct flock theLock = {};
  theLock.l_type = F_WRLCK;
  theLock.l_whence = SEEK_SET;
  theLock.l_len = 1;
  if (fcntl(theDescriptor.Get(), F_GETLK, &theLock) == 0 && theLock.l_type != F_UNLCK && theLock.l_pid > 0) {
    Complain("lock: '%s' is held by process %d", aName.c_str(), static_cast<int>(theLock.l_pid));
  } else {
    Complain("lock: '%s' is held by another process", aName.c_str());
  }
  return kStatus_NameTaken;
}

int Execute(Arguments aCommand) {
  std::vector<char *> theWords;
  for (std::string &theWord : aCommand)
    theWords.push_back(&theWord[0]);
  theWords.push_back(nullptr);
  execvp(theWords[0], theWords.data());
  const int theError = errno;
  Complain("lock: cannot run '%s': %s", aCommand[0].c_str(), strerror(theError));
  return theError == ENOENT ? kStatus_NotFound : kStatus_CannotRun;
}

int RunLock(const Arguments &anArguments) {
  const auto theMark = std::find(anArguments.begin(), anArguments.end(), "--");
  Arguments theOperands;
  if (!TakeOperands(kCommand_Lock, Arguments(anArguments.begin(), theMark), theOperands)) {
    return kStatus_BadInput;
  }
  const Arguments theCommand(theMark == anArguments.end() ? theMark : theMark + 1, anArguments.end());
  if (theOperands.size() != 1 || theOperands[0].empty() || theCommand.empty()) {
    Complain("lock: one NAME, '--' and a COMMAND, see 'zvos help lock'");
    return kStatus_BadInput;
  }
  const std::string &theName = theOperands[0];
  KeepModulesQuiet({ZVLOG_M_DEFAULT, ZVLOG_M_DIR});
  CheckerOwner theChecker(zvSingleInstanceChecker_New(theName.c_str()));
  if (!theChecker) {
    Complain("lock: there is no folder '%s' for temporary files", TemporaryFolder().c_str());
    return kStatus_BadInput;
  }
  if (zvSingleInstanceChecker_Exists(theChecker.get()) != 0) {
    theChecker.reset();
    return Refuse(theName);
  }
  // The lock is this process's own: the command runs beside it, and its process does not outlive it.
  // What that one has started does, without anybody holding the name for it.
  ChildProcess theChild([&theCommand] { return Execute(theCommand); }, SIGKILL);
  if (theChild.Pid() == -1) {
    Complain("lock: no process for the command: %s", strerror(errno));
    return kStatus_CannotRun;
  }
  return ShellStatus(theChild.Wait());
}

}  // namespace

const Command kCommand_Lock = {
    "lock",
    "NAME -- COMMAND [ARGUMENT...]",
    "run a command while holding a name",
    "Takes NAME, runs COMMAND, and gives NAME up when COMMAND has ended. Does not wait when another\n"
    "process has the name. Names are those of the library's single-instance check: a program of the\n"
    "device that checks for NAME finds it taken, and the other way round. The name is a lock file in\n"
    "the folder for temporary files (TMPDIR, else /tmp), which stays; its holder cannot leave it\n"
    "locked, however it ends.\n"
    "\n"
    "Should this program be killed, NAME is free. The process of COMMAND is killed then, unless it runs\n"
    "with rights that its caller does not have (as sudo does); what it has started lives on.\n"
    "\n"
    "Exit status: that of COMMAND, or 128 and the number of the signal that ended it; 75 another\n"
    "process has NAME; 126 COMMAND cannot be run, 127 it is not there; 2 wrong usage, or the lock file\n"
    "cannot be used.\n"
    "\n"
    "Examples:\n"
    "  zvos lock backup -- rsync -a /media /mnt/backup\n"
    "  zvos lock media-server -- sh -c 'echo nobody else can start the media server now; read x'\n",
    RunLock,
};

}  // namespace tool
