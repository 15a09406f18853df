// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// `zvos console`: the monitor in a process of its own, and this one, which puts the terminal right
// however the monitor ends.

#include "commands/commands.h"
#include "shared/child_process.h"
#include "shared/crash.h"
#include "shared/library_log.h"
#include "shared/network.h"
#include "shared/options.h"
#include "shared/owners.h"
#include "shared/signals.h"
#include "shared/terminal.h"
#include "shared/text.h"

#include <zvLog/zvLogSettings.h>
#include <zvOS/zvConsolePlatform.h>
#include <zvOS/zvSocketTracker.h>

#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace tool {

namespace {

// ---- The monitor, in its process ----

constexpr char kListenerLabel[] = "monitor: listener";
constexpr char kOpenedLabel[] = "monitor: opened";
constexpr char kAcceptedLabel[] = "monitor: accepted";

constexpr int kRawFlags = ICANON | ECHO;
constexpr char kEndOfTransmission = 4;  // Ctrl-D
constexpr size_t kMostConnections = 20;
constexpr int kMessageLength = 100;

// The terminal is raw from the begin to the end.
class RawTerminal {
 public:
  RawTerminal() { zvConsolePlatform_Disable(kRawFlags); }
  ~RawTerminal() { zvConsolePlatform_Enable(kRawFlags); }
  RawTerminal(const RawTerminal &) = delete;
  RawTerminal &operator=(const RawTerminal &) = delete;
};

// The last table in a log.
std::string LastTable(const std::string &aLog) {
  const std::vector<std::string> theTables = SocketTablesIn(aLog);
  return theTables.empty() ? "" : theTables.back();
}

// A key, or false when the terminal is gone. The library answers 0 for the end as well as for the key
// Ctrl-@; before an end there is nothing to be read, and a failure has an error.
bool ReadKey(uint8 &aKey) {
  int theCount = 0;
  if (ioctl(STDIN_FILENO, FIONREAD, &theCount) != 0 || theCount <= 0) return false;
  errno = 0;
  aKey = zvConsolePlatform_GetChar(stdin);
  return aKey != 0 || errno == 0;
}

bool CanClearScreen() {
  const char *theType = getenv("TERM");
  return isatty(STDOUT_FILENO) && theType != nullptr && strcmp(theType, "dumb") != 0;
}

// False at the end. The table counts what is asked for, so that much is asked for as there is.
bool TakeWhatCame(zvSocket aSocket) {
  char theBuffer[4096];
  int theCount = 0;
  zvSocketRecvAvailable(aSocket, &theCount, kAcceptedLabel);
  theCount = std::clamp(theCount, 1, static_cast<int>(sizeof(theBuffer)));
  return zvSocketRecv(aSocket, theBuffer, theCount, 0, kAcceptedLabel) > 0;
}

class Monitor {
 public:
  explicit Monitor(LogCollection &aLog) : mLog(aLog), mListener(kListenerLabel) {}

  MaybeProblem Open();

  // Runs until it is told to end.
  MaybeProblem Run();

 private:
  using Connection = std::unique_ptr<SocketOwner>;

  void Show();
  int FillSet(fd_set &aSet) const;
  void TakeKey();
  void OpenConnection();
  void SendOnConnection();
  void CloseConnection();
  void CrashOnPurpose();
  void TakeConnection();
  void Receive(const fd_set &aSet);

  LogCollection &mLog;
  SelectOwner mSelect;
  SocketOwner mListener;
  Endpoint mAddress;
  std::vector<Connection> mOpened;
  std::vector<Connection> mAccepted;
  std::string mMessage;
  bool mfEnded = false;
};

MaybeProblem Monitor::Open() {
  mSelect.reset(zvSocketSelect_New());
  if (!mSelect) return Problem("no select object could be made");
  zvLog_SetModuleLevel(ZVLOG_M_SOCKETTRACKER, kzvLogLevel_Debug);
  uint16 thePort = 0;
  mListener.Reset(zvSocket_GetTCPSocket(INADDR_LOOPBACK, &thePort));
  if (!mListener.IsOpen() || zvSocketListen(mListener.Get(), SOMAXCONN, kListenerLabel) != 0) {
    return Problem(std::string("cannot listen on 127.0.0.1: ") + strerror(zvSocketGetLastError()));
  }
  mAddress = OwnEndpoint(mListener.Get());
  mMessage = "listening on " + EndpointText(mAddress) + ", for connections of others, too";
  return {};
}

MaybeProblem Monitor::Run() {
  const RawTerminal theTerminal;
  const StopSignals theSignals(mSelect.get());
  if (!theSignals.AreWatched()) return Problem("signals cannot be waited for");
  while (!mfEnded && theSignals.First() == 0) {
    Show();
    fd_set theSet;
    const int theHighest = FillSet(theSet);
    int afTriggered = 0;
    if (zvSocketSelect_Select(mSelect.get(), &theSet, nullptr, nullptr, theHighest, nullptr, &afTriggered) <
        0) {
      if (errno == EINTR) continue;
      return Problem(strerror(errno));
    }
    if (FD_ISSET(mListener.Get(), &theSet)) TakeConnection();
    Receive(theSet);
    if (zvConsolePlatform_IsCharAvailable(stdin) != 0) TakeKey();
  }
  Print("bye\n");
  return {};
}

void Monitor::Show() {
  SOCKETTRACKER_DUMP();
  Print(
      "%szvos console: keys without Enter, and the live table of sockets\n"
      "  o  open a connection          s  send %d bytes on the newest one\n"
      "  c  close the newest one       r  show again      q  quit\n"
      "\n"
      "%s\n"
      "%s\n",
      CanClearScreen() ? "\033[H\033[2J" : "\n", kMessageLength, LastTable(mLog.Take()).c_str(),
      mMessage.c_str());
  FlushOutput();
  zvConsolePlatform_Flush(stdout);
}

int Monitor::FillSet(fd_set &aSet) const {
  FD_ZERO(&aSet);
  FD_SET(STDIN_FILENO, &aSet);
  FD_SET(mListener.Get(), &aSet);
  int theHighest = mListener.Get();
  for (const auto *theConnections : {&mOpened, &mAccepted}) {
    for (const Connection &theConnection : *theConnections) {
      FD_SET(theConnection->Get(), &aSet);
      theHighest = std::max(theHighest, static_cast<int>(theConnection->Get()));
    }
  }
  return theHighest;
}

void Monitor::TakeKey() {
  uint8 theKey = 0;
  if (!ReadKey(theKey)) {
    mfEnded = true;
    return;
  }
  switch (theKey) {
    case 'o':
      return OpenConnection();
    case 's':
      return SendOnConnection();
    case 'c':
      return CloseConnection();
    case 'r':
      mMessage = "shown again";
      return;
    case '!':
      return CrashOnPurpose();
    case 'q':
    case kEndOfTransmission:
      mfEnded = true;
      return;
    default:
      mMessage = std::string("nothing is done on '") +
                 (theKey < 0x20 || theKey >= 0x7f ? "?" : std::string(1, static_cast<char>(theKey))) + "'";
  }
}

void Monitor::OpenConnection() {
  if (mOpened.size() >= kMostConnections) {
    mMessage = "there are enough connections";
    return;
  }
  auto theSocket =
      std::make_unique<SocketOwner>(zvSocketOpen(AF_INET, SOCK_STREAM, 0, kOpenedLabel), kOpenedLabel);
  if (!theSocket->IsOpen() || !theSocket->Connect(mAddress)) {
    mMessage = std::string("no connection: ") + strerror(zvSocketGetLastError());
    return;
  }
  mMessage = "opened a connection from " + EndpointText(OwnEndpoint(theSocket->Get()));
  mOpened.push_back(std::move(theSocket));
}

void Monitor::SendOnConnection() {
  if (mOpened.empty()) {
    mMessage = "there is no connection: press o";
    return;
  }
  const std::string theText(kMessageLength, '.');
  const int theCount = zvSocketSend(mOpened.back()->Get(), theText.data(), kMessageLength, 0, kOpenedLabel);
  mMessage = theCount == kMessageLength ? "sent 100 bytes"
                                        : std::string("cannot send: ") + strerror(zvSocketGetLastError());
}

void Monitor::CloseConnection() {
  mMessage = mOpened.empty() ? "there is no connection: press o" : "closed a connection";
  if (!mOpened.empty()) mOpened.pop_back();
}

void Monitor::CrashOnPurpose() {
  Print("crashing on purpose\n");
  FlushOutput();
  CrashInThread();
}

void Monitor::TakeConnection() {
  struct sockaddr_in thePeer = {};
  socklen_t theLength = sizeof(thePeer);
  auto theSocket = std::make_unique<SocketOwner>(
      zvSocketAccept(mListener.Get(), reinterpret_cast<struct sockaddr *>(&thePeer), &theLength,
                     kAcceptedLabel),
      kAcceptedLabel);
  // One above the limit is closed at once.
  if (theSocket->IsOpen() && mAccepted.size() < kMostConnections) mAccepted.push_back(std::move(theSocket));
}

void Monitor::Receive(const fd_set &aSet) {
  for (auto *theConnections : {&mOpened, &mAccepted}) {
    const auto fnEnded = [&aSet](const Connection &aConnection) {
      return FD_ISSET(aConnection->Get(), &aSet) && !TakeWhatCame(aConnection->Get());
    };
    theConnections->erase(std::remove_if(theConnections->begin(), theConnections->end(), fnEnded),
                          theConnections->end());
  }
}

// The terminal on standard input is raw meanwhile; who starts it puts the terminal right when it crashes.
int MonitorSockets(LogCollection &aLog) {
  Monitor theMonitor(aLog);
  MaybeProblem theProblem = theMonitor.Open();
  if (!theProblem) theProblem = theMonitor.Run();
  return theProblem ? ComplainOf(kCommand_Console, *theProblem) : kStatus_Good;
}

// ---- Around the monitor ----

// What the library logged in the end, but for the table of sockets.
void ShowLog(const std::string &aLog) {
  for (const std::string &theLine : LinesOf(aLog)) {
    if (!Contains(theLine, kSocketTableMark)) fprintf(stderr, "%s\n", theLine.c_str());
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
  if (const MaybeProblem theProblem = theLog.Open()) return ComplainOf(kCommand_Console, *theProblem);
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
