// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "shared/child_process.h"

#include "shared/command.h"
#include "shared/descriptor.h"
#include "shared/file_status.h"
#include "shared/terminal.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <sstream>

namespace tool {

pid_t Fork(const std::function<int()> &aBody, int aSignalAtDeath) {
  FlushOutput();
  const pid_t theParent = getpid();
  const pid_t theChild = fork();
  if (theChild != 0) return theChild;

  prctl(PR_SET_PDEATHSIG, aSignalAtDeath);
  if (getppid() != theParent) _exit(kStatus_CheckFailed);
  const int theStatus = aBody();
  FlushOutput();
  _exit(theStatus);
}

int WaitForEnd(pid_t aProcess) {
  int theStatus = 0;
  while (waitpid(aProcess, &theStatus, 0) == -1 && errno == EINTR) {
  }
  return theStatus;
}

std::string FindProgram(const std::string &aName) {
  const char *const thePath = getenv("PATH");
  std::istringstream theFolders(thePath != nullptr ? thePath : "/usr/bin:/bin");
  for (std::string theFolder; std::getline(theFolders, theFolder, ':');) {
    std::string theFile = (theFolder.empty() ? "." : theFolder) + "/" + aName;
    FileStatus theStatus = {};
    if (GetStatus(theFile, theStatus) && S_ISREG(theStatus.mMode) && access(theFile.c_str(), X_OK) == 0)
      return theFile;
  }
  return "";
}

bool ReadFromProgram(const std::vector<std::string> &someWords, std::string &anOutput) {
  PipeEnds theOutput;
  if (!theOutput.Open()) return false;
  std::vector<std::string> theWords = someWords;
  std::vector<char *> thePointers;
  thePointers.reserve(theWords.size() + 1);
  for (std::string &theWord : theWords)
    thePointers.push_back(&theWord[0]);
  thePointers.push_back(nullptr);
  // Otherwise the program's end could not be asked for, when the caller ignores ends of children.
  signal(SIGCHLD, SIG_DFL);
  const auto fnBody = [&] {
    const int theNothing = open("/dev/null", O_RDWR);
    dup2(theNothing, STDIN_FILENO);
    dup2(theOutput.mWrite.Get(), STDOUT_FILENO);
    dup2(theNothing, STDERR_FILENO);
    execv(thePointers[0], thePointers.data());
    return 127;
  };
  const pid_t theProcess = Fork(fnBody, SIGKILL);
  if (theProcess == -1) return false;
  theOutput.mWrite.Reset();
  while (theOutput.mRead.ReadPiece(anOutput)) {
  }
  const int theStatus = WaitForEnd(theProcess);
  return WIFEXITED(theStatus) && WEXITSTATUS(theStatus) == 0;
}

ChildProcess::ChildProcess(const std::function<int()> &aBody, int aSignalAtDeath) : mPid(-1) {
  mSignals.AddEndOfChild();
  const auto fnBody = [this, &aBody] {
    pthread_sigmask(SIG_SETMASK, &mSignals.MaskBefore(), nullptr);
    return aBody();
  };
  mPid = Fork(fnBody, aSignalAtDeath);
}

int ChildProcess::Wait() {
  int theStatus = 0;
  for (;;) {
    const pid_t theResult = waitpid(mPid, &theStatus, WNOHANG);
    if (theResult == mPid) return theStatus;
    if (theResult == -1 && errno != EINTR) return -1;
    bool afFromTerminal = false;
    const int theSignal = mSignals.Wait(-1, afFromTerminal);
    if (theSignal != 0 && theSignal != SIGCHLD && !afFromTerminal) kill(mPid, theSignal);
  }
}

int ShellStatus(int aWaitStatus) {
  return WIFSIGNALED(aWaitStatus) ? 128 + WTERMSIG(aWaitStatus) : WEXITSTATUS(aWaitStatus);
}

}  // namespace tool
