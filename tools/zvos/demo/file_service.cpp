// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A file that goes from one process to another: a child serves it to this machine only, and it is fetched.

#include "demo/acts.h"
#include "demo/details.h"
#include "service/file_client.h"
#include "service/file_server.h"
#include "service/traffic.h"
#include "shared/checksum.h"
#include "shared/child_process.h"
#include "shared/clock.h"
#include "shared/file_status.h"
#include "shared/files.h"
#include "shared/library_log.h"
#include "shared/owners.h"

#include <zvLog/zvLogSettings.h>
#include <zvOS/zvSocketPolicy.h>

#include <dirent.h>
#include <poll.h>
#include <sys/wait.h>

#include <cinttypes>

namespace tool {

namespace {

constexpr uint32 kDeadline = 10 * 1000;
constexpr char kLogName[] = "log";

struct Report {
  pid_t mServer;
  Endpoint mAddress;
  int mServerStatus;            // as waitpid gives it
  Fetching mAdmitted;           // through 127.0.0.1
  Fetching mRefused;            // through 127.0.0.2
  bool mfSameFile;              // what was fetched is the file
  std::string mSocketTable;     // the server's, when it closed the connection that fetched the file
  std::string mTrafficFile;     // of that connection, counted from the server's folder
  std::string mTrafficOpening;  // the lines before the data
};

// ---- Files ----

class WorkingFolder {
 public:
  WorkingFolder() : mPath(TemporaryPath("zvos-demo-XXXXXX")) {
    if (mkdtemp(&mPath[0]) == nullptr) mPath.clear();
  }
  ~WorkingFolder() {
    if (!mPath.empty()) RemoveFolder(mPath);
  }
  WorkingFolder(const WorkingFolder &) = delete;
  WorkingFolder &operator=(const WorkingFolder &) = delete;

  bool IsThere() const { return !mPath.empty(); }
  std::string File(const std::string &aName) const { return AbsolutePath(mPath + "/" + aName); }
  const std::string &Path() const { return mPath; }

 private:
  std::string mPath;
};

bool IsSameFile(const std::string &aPath, const Fetching &aFetching) {
  const std::string theContents = ReadFile(aPath);
  return theContents.size() == aFetching.mBytes &&
         ContinueChecksum(0, theContents.data(), theContents.size()) == aFetching.mChecksum;
}

// ---- The server's process ----

// Its output comes through a pipe, until it ends.
class ServerProcess {
 public:
  ServerProcess(const std::string &aFolder, const WorkingFolder &aWorkingFolder);
  ~ServerProcess() { End(); }
  ServerProcess(const ServerProcess &) = delete;
  ServerProcess &operator=(const ServerProcess &) = delete;

  pid_t Pid() const { return mPid; }
  const std::string &Output() const { return mOutput; }

  // Waits for the first line, and reads the port that it names.
  bool WaitForPort(uint16 &aPort);

  // Ends it, and returns its status as waitpid gives it.
  int End();

 private:
  int Run(const std::string &aFolder, const WorkingFolder &aWorkingFolder) const;
  bool ReadOutput(int64 anEnd);

  pid_t mPid = -1;  // 0 when it has ended, -1 when there was none
  PipeEnds mPipe;
  std::string mOutput;
};

ServerProcess::ServerProcess(const std::string &aFolder, const WorkingFolder &aWorkingFolder) {
  if (!mPipe.Open()) return;
  mPid = Fork([&] { return Run(aFolder, aWorkingFolder); }, SIGKILL);
  mPipe.mWrite.Reset();
}

int ServerProcess::Run(const std::string &aFolder, const WorkingFolder &aWorkingFolder) const {
  // A signal that the caller ignores would stay ignored, and this one is to end the server.
  signal(SIGTERM, SIG_DFL);
  if (dup2(mPipe.mWrite.Get(), STDOUT_FILENO) == -1 || dup2(mPipe.mWrite.Get(), STDERR_FILENO) == -1 ||
      chdir(aWorkingFolder.Path().c_str()) == -1 || zvLog_SetSinkFile(kLogName) == 0) {
    return kStatus_CheckFailed;
  }
  const MaybeProblem theProblem = ServeFiles(
      {aFolder, {INADDR_ANY, 0}, kzvSocketPolicy_IP_LocalHostOnly, "", kNoQOSClass, 1024, 30 * 1000, true});
  if (theProblem) Complain("serve: %s", theProblem->mText.c_str());
  return theProblem ? theProblem->mStatus : kStatus_Good;
}

// False at the end of the output, and when the time is over.
bool ServerProcess::ReadOutput(int64 anEnd) {
  const int64 theRest = anEnd - Milliseconds();
  struct pollfd thePoll = {mPipe.mRead.Get(), POLLIN, 0};
  if (theRest <= 0) return false;
  const int theCount = poll(&thePoll, 1, static_cast<int>(theRest));
  return theCount > 0 ? mPipe.mRead.ReadPiece(mOutput) : theCount == -1 && errno == EINTR;
}

bool ServerProcess::WaitForPort(uint16 &aPort) {
  const int64 theEnd = Milliseconds() + kDeadline;
  while (mPid > 0 && mOutput.find('\n') == std::string::npos) {
    if (!ReadOutput(theEnd)) return false;
  }
  const std::string theLine = mOutput.substr(0, mOutput.find('\n'));
  const size_t theColon = theLine.rfind(':');
  if (mPid <= 0 || !BeginsWith(theLine, "serving ") || theColon == std::string::npos) return false;
  aPort = static_cast<uint16>(atoi(theLine.c_str() + theColon + 1));
  return true;
}

int ServerProcess::End() {
  if (mPid <= 0) return -1;
  kill(mPid, SIGTERM);
  const int64 theEnd = Milliseconds() + kDeadline;
  while (ReadOutput(theEnd)) {
  }
  if (Milliseconds() >= theEnd) kill(mPid, SIGKILL);
  const int theStatus = WaitForEnd(mPid);
  mPid = 0;
  return theStatus;
}

// ---- What the server leaves behind ----

// The table in which an accepted socket is shown closed; the last one when there is none.
std::string TableOfClosedClient(const std::string &aLog) {
  const std::vector<std::string> theTables = SocketTablesIn(aLog);
  for (const std::string &theTable : theTables) {
    if (Contains(theTable, "   IN  ") && Contains(theTable, " Closed ")) return theTable;
  }
  return theTables.empty() ? "" : theTables.back();
}

// The port from which a file was fetched, as the server's output tells: "127.0.0.1:41810  zvos  sent"; or 0.
uint16 PortOfClient(const std::string &anOutput) {
  for (const std::string &theLine : LinesOf(anOutput)) {
    if (Contains(theLine, "  sent, "))
      return static_cast<uint16>(atoi(theLine.c_str() + theLine.find(':') + 1));
  }
  return 0;
}

// The traffic file of a client; its name has the number of the server's socket behind what is known here.
std::string TrafficFileOf(const std::string &aFolder, const Endpoint &aClient) {
  const std::string theStart = TrafficFileStart(aClient);
  std::string theResult;
  const Owner<DIR, closedir> theFolder(opendir(aFolder.c_str()));
  while (const struct dirent *theEntry = theFolder ? readdir(theFolder.get()) : nullptr) {
    if (BeginsWith(theEntry->d_name, theStart)) theResult = theEntry->d_name;
  }
  return theResult;
}

// The three lines that are spoken before the data.
std::string OpeningOf(const std::string &aTraffic) {
  size_t theEnd = 0;
  for (int i = 0; i < 3; ++i) {
    const size_t theNext = aTraffic.find('\n', theEnd);
    if (theNext == std::string::npos) return "";
    theEnd = theNext + 1;
  }
  return aTraffic.substr(0, theEnd);
}

// ---- The act ----

MaybeProblem ServeAndFetch(const std::string &aFile, Report &aReport) {
  const WorkingFolder theFolder;
  const SelectOwner theSelect(zvSocketSelect_New());
  if (!theFolder.IsThere() || !theSelect)
    return Problem("no temporary folder or no select object could be made");
  const PathParts theParts(aFile);
  ServerProcess theServer(theParts.mFolder, theFolder);
  aReport.mServer = theServer.Pid();
  uint16 thePort = 0;
  if (!theServer.WaitForPort(thePort)) {
    theServer.End();
    return Problem("the server did not start: " + Printable(theServer.Output()));
  }
  aReport.mAddress = {zvSocket_htonl(INADDR_LOOPBACK), thePort};
  FetchSettings theSettings = {aReport.mAddress, theParts.mName, theFolder.File("fetched"), kDeadline, false};
  const auto fnNever = [] { return false; };
  {
    Step theStep("File service");
    aReport.mAdmitted = FetchFile(theSettings, theSelect.get(), fnNever, theStep);
    theSettings.mServer.mAddress = zvSocket_htonl(INADDR_LOOPBACK + 1);
    theSettings.mFile = theFolder.File("refused");
    aReport.mRefused = FetchFile(theSettings, theSelect.get(), fnNever, theStep);
    theStep.Withdraw();
  }
  aReport.mServerStatus = theServer.End();
  aReport.mfSameFile =
      IsSameFile(theFolder.File("fetched"), aReport.mAdmitted) && IsSameFile(aFile, aReport.mAdmitted);
  aReport.mSocketTable = TableOfClosedClient(ReadFile(theFolder.File(kLogName)));
  const Endpoint theClient = {aReport.mAddress.mAddress, PortOfClient(theServer.Output())};
  const std::string theTrafficFolder = theFolder.File(kTrafficFolder);
  const std::string theTrafficFile = TrafficFileOf(theTrafficFolder, theClient);
  aReport.mTrafficFile = std::string(kTrafficFolder) + "/" + theTrafficFile;
  aReport.mTrafficOpening = OpeningOf(ReadFile(theTrafficFolder + "/" + theTrafficFile, 1));
  return {};
}

// None when the service did what it has to do.
MaybeProblem WhatIsWrongWith(const Report &aReport) {
  if (aReport.mAdmitted.mProblem) return aReport.mAdmitted.mProblem;
  if (!aReport.mfSameFile) return Problem("what was fetched is not the file");
  if (!WIFEXITED(aReport.mServerStatus) || WEXITSTATUS(aReport.mServerStatus) != kStatus_Good)
    return Problem("the server did not end as it should");
  if (!Contains(aReport.mSocketTable, " Listening ") || !Contains(aReport.mSocketTable, " Closed "))
    return Problem("the log of the server lacks the table of its sockets");
  const std::string theTraffic = "data " + std::to_string(aReport.mAdmitted.mBytes) + "\n";
  if (!Contains(aReport.mTrafficOpening, theTraffic))
    return Problem("the traffic file lacks '" + theTraffic + "'");
  return {};
}

}  // namespace

bool ServeFile(const std::string &aFile) {
  if (!HasLoopback()) return Step("File service").NotPossible("the loopback interface is down");
  Report theReport = {};
  MaybeProblem theProblem = ServeAndFetch(aFile, theReport);
  if (!theProblem) theProblem = WhatIsWrongWith(theReport);
  if (theProblem) return Step("File service").Failed(*theProblem);
  const Fetching &theFetching = theReport.mAdmitted;
  Step("File service")
      .Passed("%" PRIu64 " bytes, CRC-32 %08" PRIx32 ", in %" PRId64 " ms from process %d at %s",
              theFetching.mBytes, theFetching.mChecksum, theFetching.mMilliseconds,
              static_cast<int>(theReport.mServer), EndpointText(theReport.mAddress).c_str());
  Print("%sthe server's table of sockets, when it had sent the file:\n", kIndent);
  PrintIndented(theReport.mSocketTable);
  Print("%sits traffic file %s begins:\n", kIndent, theReport.mTrafficFile.c_str());
  PrintIndented(theReport.mTrafficOpening);

  Step thePolicyStep("Socket policy");
  const std::string theRefusal = theReport.mRefused.mProblem ? theReport.mRefused.mProblem->mText : "";
  return Contains(theRefusal, " refuses: ")
             ? thePolicyStep.Passed("'local' admitted 127.0.0.1; %s", theRefusal.c_str())
             : thePolicyStep.Failed("'local' did not refuse 127.0.0.2: %s", theRefusal.c_str());
}

}  // namespace tool
