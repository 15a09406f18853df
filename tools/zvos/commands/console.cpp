// `zvos console`: the monitor in a process of its own, and this one, which puts the terminal right
// however the monitor ends.

#include "shared/child_process.h"
#include "shared/command.h"
#include "commands/console_monitor.h"
#include "shared/terminal.h"

#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace tool {

namespace {

constexpr char kTraceMark[] = " debug SOCKETTRACKER ";

// What the library logged in the end, but for the table of sockets.
void ShowLog(const std::string &aLog) {
  for (size_t theStart = 0; theStart < aLog.size();) {
    const size_t theEnd = std::min(aLog.find('\n', theStart), aLog.size());
    const std::string theLine = aLog.substr(theStart, theEnd - theStart);
    if (theLine.find(kTraceMark) == std::string::npos) fprintf(stderr, "%s\n", theLine.c_str());
    theStart = theEnd + 1;
  }
}

int RunConsole(const Arguments &anArguments) {
  Arguments theOperands;
  if (!TakeOperands(kCommand_Console, anArguments, theOperands)) return kStatus_BadInput;
  if (!theOperands.empty()) {
    Complain("console: no operand is taken, see 'zvos help console'");
    return kStatus_BadInput;
  }
  struct termios theSettings;
  if (tcgetattr(STDIN_FILENO, &theSettings) != 0) {
    Complain("console: standard input is not a terminal");
    return kStatus_BadInput;
  }
  // A stopped monitor would leave the terminal raw to the shell.
  signal(SIGTSTP, SIG_IGN);
  LogCollection theLog;
  const std::string theProblem = theLog.Open();
  if (!theProblem.empty()) {
    Complain("console: %s", theProblem.c_str());
    return kStatus_CheckFailed;
  }
  // The monitor puts the terminal right itself when it is told to end.
  ChildProcess theMonitor([&theLog] { return MonitorSockets(theLog); }, SIGHUP);
  if (theMonitor.Pid() == -1) {
    Complain("console: no process for the monitor: %s", strerror(errno));
    return kStatus_CheckFailed;
  }
  const int theStatus = theMonitor.Wait();
  tcsetattr(STDIN_FILENO, TCSANOW, &theSettings);
  if (WIFSIGNALED(theStatus)) {
    ShowLog(theLog.Take());
    Complain("console: the monitor, process %d, died by signal %d (%s); the terminal is as it was",
             static_cast<int>(theMonitor.Pid()), WTERMSIG(theStatus), strsignal(WTERMSIG(theStatus)));
  }
  return ShellStatus(theStatus);
}

}  // namespace

const Command kCommand_Console = {
    "console",
    "",
    "watch a table of sockets, with single keys",
    "Shows the library's live table of sockets for a few sockets of its own on 127.0.0.1, and obeys\n"
    "single keys without Enter: o opens a connection to itself, s sends 100 bytes on the newest one,\n"
    "c closes it, r shows the table again, q quits, and so do Ctrl-C and Ctrl-D. Others may connect to\n"
    "the port shown.\n"
    "\n"
    "Not on the screen: ! crashes the monitor on purpose. The library's report of the crash is shown,\n"
    "a back-trace file stays in /tmp, and the terminal is put right, as it is whenever the monitor\n"
    "ends.\n"
    "\n"
    "Exit status: 0 ended by a key or a signal, 1 there is no table to be had, 2 wrong usage, or\n"
    "standard input is not a terminal, 128 and the number of the signal by which the monitor died.\n"
    "\n"
    "Example:\n"
    "  zvos console\n",
    RunConsole,
};

}  // namespace tool
