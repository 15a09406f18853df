// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A connection that goes from one process to another: a supervisor, of which there is one only, takes it
// and hands it to a worker.

#include "demo/acts.h"
#include "demo/details.h"
#include "shared/child_process.h"
#include "shared/files.h"
#include "shared/library_log.h"
#include "shared/network.h"

#include <pthread.h>

#include <algorithm>
#include <cstring>

namespace tool {

namespace {

struct HandOver {
  std::string mLock;  // the name that the supervisor held
  std::string mPipe;  // the name of the pipe
  pid_t mSupervisor;
  pid_t mWorker;
  Endpoint mAddress;    // where the supervisor took the connection
  std::string mAnswer;  // what the worker said on it
};

constexpr char kGreeting[] = "hello\n";
constexpr size_t kGreetingLength = sizeof(kGreeting) - 1;
constexpr unsigned kMostSeconds = 10;

// What the supervisor says when it is ready.
struct Ready {
  pid_t mWorker;
  uint16 mPort;
};

// Both processes end in time, whatever happens.
void LimitLife() {
  sigset_t theNone;
  sigemptyset(&theNone);
  signal(SIGALRM, SIG_DFL);
  pthread_sigmask(SIG_SETMASK, &theNone, nullptr);
  alarm(kMostSeconds);
}

std::string AnswerOf(pid_t aWorker) {
  return "process " + std::to_string(aWorker) + " at your service\n";
}

// A text of a known length, or less when the connection ends before.
std::string ReceiveText(zvSocket aSocket, size_t aLength, const char *aLabel) {
  std::string theText;
  char theBuffer[64];
  while (theText.size() < aLength) {
    const int theCount =
        zvSocketRecv(aSocket, theBuffer,
                     static_cast<int>(std::min(sizeof(theBuffer), aLength - theText.size())), 0, aLabel);
    if (theCount <= 0) break;
    theText.append(theBuffer, static_cast<size_t>(theCount));
  }
  return theText;
}

bool SendText(zvSocket aSocket, const std::string &aText, const char *aLabel) {
  const int theLength = static_cast<int>(aText.size());
  return zvSocketSend(aSocket, aText.data(), theLength, 0, aLabel) == theLength;
}

int RunWorker(const std::string &aPipe) {
  LimitLife();
  const char *const kLabel = "zvos demo: worker";
  const PipeOwner thePipe(zvPipe_Connect(aPipe.c_str(), ZVPIPE_DEFAULT));
  if (!thePipe.IsOpen()) return kStatus_CheckFailed;
  const SocketOwner theSocket(zvPipe_RecvFD(thePipe.Get()), kLabel);
  if (theSocket.Get() < 0) _exit(kStatus_CheckFailed);
  const bool afGreeted = ReceiveText(theSocket.Get(), kGreetingLength, kLabel) == kGreeting;
  return afGreeted && SendText(theSocket.Get(), AnswerOf(getpid()), kLabel) ? kStatus_Good
                                                                            : kStatus_CheckFailed;
}

int RunSupervisor(const HandOver &aHandOver, int aReport) {
  LimitLife();
  const char *const kLabel = "zvos demo: supervisor";
  const CheckerOwner theChecker(zvSingleInstanceChecker_New(aHandOver.mLock.c_str()));
  if (!theChecker || zvSingleInstanceChecker_Exists(theChecker.get()) != 0) return kStatus_NameTaken;

  Ready theReady = {};
  const SocketOwner theListener(zvSocket_GetTCPSocket(INADDR_LOOPBACK, &theReady.mPort), kLabel);
  const PipeOwner thePipeListener(zvPipe_Listener(aHandOver.mPipe.c_str(), ZVPIPE_DEFAULT));
  if (!theListener.IsOpen() || zvSocketListen(theListener.Get(), 1, kLabel) != 0 || !thePipeListener.IsOpen())
    return kStatus_CheckFailed;

  ChildProcess theWorker([&aHandOver] { return RunWorker(aHandOver.mPipe); }, SIGKILL);
  const PipeOwner thePipe(zvPipe_Accept(thePipeListener.Get(), ZVPIPE_DEFAULT));
  theReady.mWorker = theWorker.Pid();
  theReady.mPort = OwnEndpoint(theListener.Get()).mPort;
  if (!thePipe.IsOpen() || zvPipe_Write(aReport, &theReady, sizeof(theReady)) != sizeof(theReady))
    return kStatus_CheckFailed;

  SocketOwner theConnection(zvSocketAccept(theListener.Get(), nullptr, nullptr, kLabel), kLabel);
  if (!theConnection.IsOpen()) return kStatus_CheckFailed;
  const int theCopy = dup(theConnection.Get());
  if (zvPipe_SendFD(thePipe.Get(), theCopy) != 0) return kStatus_CheckFailed;
  theConnection.Reset(kzvSocketInvalid);
  return ShellStatus(theWorker.Wait());
}

MaybeProblem TalkToWorker(HandOver &aHandOver, int aReport) {
  const char *const kLabel = "zvos demo: client";
  Ready theReady = {};
  if (zvPipe_Read(aReport, &theReady, sizeof(theReady)) != sizeof(theReady))
    return Problem("the supervisor did not start");
  aHandOver.mWorker = theReady.mWorker;
  aHandOver.mAddress = {zvSocket_htonl(INADDR_LOOPBACK), theReady.mPort};

  const CheckerOwner theSecond(zvSingleInstanceChecker_New(aHandOver.mLock.c_str()));
  if (!theSecond || zvSingleInstanceChecker_Exists(theSecond.get()) != 1 ||
      zvSingleInstanceChecker_Error(theSecond.get()) != 0) {
    return Problem("the supervisor's name is not taken");
  }
  const SocketOwner theSocket(zvSocketOpen(AF_INET, SOCK_STREAM, 0, kLabel), kLabel);
  if (!theSocket.IsOpen() || !theSocket.Connect(aHandOver.mAddress))
    return Problem("the supervisor cannot be reached");
  if (!SendText(theSocket.Get(), kGreeting, kLabel)) return Problem("the worker does not listen");
  const std::string theExpected = AnswerOf(aHandOver.mWorker);
  aHandOver.mAnswer = ReceiveText(theSocket.Get(), theExpected.size(), kLabel);
  if (aHandOver.mAnswer == theExpected) return {};
  return Problem("the worker said '" + Printable(aHandOver.mAnswer) + "'");
}

// A name that its holder gave up can be taken. The lock file, which stays, is removed.
bool IsFree(const std::string &aLock) {
  const CheckerOwner theChecker(zvSingleInstanceChecker_New(aLock.c_str()));
  const bool afFree = theChecker && zvSingleInstanceChecker_Exists(theChecker.get()) == 0;
  unlink((TemporaryFolder() + "/" + aLock).c_str());
  return afFree;
}

// Starts both processes, connects, and talks to the worker.
MaybeProblem HandOverConnection(HandOver &aHandOver) {
  aHandOver.mLock = "zvos-demo-" + std::to_string(getpid());
  aHandOver.mPipe = TakeText(zvPipe_GenerateUniqueName("zvos-demo-"));
  int theEnds[2];
  if (zvPipe_Pair(theEnds, ZVPIPE_RD) != 0) return Problem("no pipe could be made");
  const PipeOwner theReport(theEnds[0]);
  MaybeProblem theProblem;
  int theStatus = 0;
  {
    ChildProcess theSupervisor([&aHandOver, &theEnds] { return RunSupervisor(aHandOver, theEnds[1]); },
                               SIGKILL);
    close(theEnds[1]);
    aHandOver.mSupervisor = theSupervisor.Pid();
    if (theSupervisor.Pid() == -1)
      return Problem(std::string("no process for the supervisor: ") + strerror(errno));
    theProblem = TalkToWorker(aHandOver, theReport.Get());
    theStatus = theSupervisor.Wait();
  }
  const bool afFree = IsFree(aHandOver.mLock);
  if (theProblem) return theProblem;
  if (ShellStatus(theStatus) != kStatus_Good) return Problem("the supervisor did not end as it should");
  if (!afFree) return Problem("the name stayed taken when its holder had ended");
  return {};
}

}  // namespace

bool HandOverToWorker() {
  Step theStep("Hand-over");
  if (!HasLoopback()) return theStep.NotPossible("the loopback interface is down");
  KeepModulesQuiet({ZVLOG_M_DEFAULT, ZVLOG_M_ZVOS, ZVLOG_M_DIR});
  HandOver theHandOver = {};
  if (const MaybeProblem theProblem = HandOverConnection(theHandOver)) return theStep.Failed(*theProblem);
  theStep.Passed("a connection went from process %d to process %d, which served it",
                 static_cast<int>(theHandOver.mSupervisor), static_cast<int>(theHandOver.mWorker));
  Print("%sthe supervisor held the name %s, which nobody else could take until it ended,\n", kIndent,
        theHandOver.mLock.c_str());
  Print("%stook the connection at %s and passed it through the pipe %s\n", kIndent,
        EndpointText(theHandOver.mAddress).c_str(), theHandOver.mPipe.c_str());
  Print("%sthe worker said on it:\n", kIndent);
  PrintIndented(theHandOver.mAnswer);
  return true;
}

}  // namespace tool
