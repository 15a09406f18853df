#include "demo/network_report.h"

#include "shared/checksum.h"
#include "shared/command.h"
#include "shared/input.h"
#include "shared/library_log.h"

#include <zvLog/zvLogSettings.h>
#include <zvOS/zvMonoliticTime.h>

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>

namespace tool {

namespace {

constexpr uint32 kDeadline = 10 * 1000;
constexpr uint32 kTimeToFallAsleep = 20;
constexpr char kLogName[] = "log";
constexpr char kTrafficFolder[] = "socket";

int64 Microseconds() {
  zvtimeval theTime = {};
  zvMonoliticTime_GetTime(&theTime);
  return static_cast<int64>(theTime.tv_sec) * 1000000 + theTime.tv_usec;
}

// ---- Wake-up ----

struct Waiter {
  zvSocketSelect *mSelect;
  zvOSSemaphore *mStarted;
  int mCount;
  int mfTriggered;
  int64 mAwake;
};

void WaitForTrigger(void *aWaiter) {
  Waiter &theWaiter = *static_cast<Waiter *>(aWaiter);
  struct timeval theTimeOut = {kDeadline / 1000, 0};
  zvSemaphore_Post(theWaiter.mStarted);
  theWaiter.mCount = zvSocketSelect_Select(theWaiter.mSelect, nullptr, nullptr, nullptr, 0, &theTimeOut,
                                           &theWaiter.mfTriggered);
  theWaiter.mAwake = Microseconds();
}

// ---- Files ----

class WorkingFolder {
 public:
  WorkingFolder() {
    const char *theParent = getenv("TMPDIR");
    mPath =
        std::string(theParent != nullptr && *theParent != '\0' ? theParent : "/tmp") + "/zvos-demo-XXXXXX";
    if (mkdtemp(&mPath[0]) == nullptr) mPath.clear();
  }
  ~WorkingFolder() {
    if (!mPath.empty()) nftw(mPath.c_str(), Remove, 4, FTW_DEPTH | FTW_PHYS);
  }
  WorkingFolder(const WorkingFolder &) = delete;
  WorkingFolder &operator=(const WorkingFolder &) = delete;

  bool IsThere() const { return !mPath.empty(); }
  std::string File(const std::string &aName) const { return AbsolutePath(mPath + "/" + aName); }
  const std::string &Path() const { return mPath; }

 private:
  static int Remove(const char *aPath, const struct stat *, int, struct FTW *) { return remove(aPath); }

  std::string mPath;
};

std::string Contents(const std::string &aPath, size_t aLimit = SIZE_MAX) {
  std::string theText;
  char theBuffer[4096];
  const InputFile theFile(aPath.c_str());
  while (theFile.IsOpen() && theText.size() < aLimit) {
    const int theCount = zvFile_Read(theFile.FD(), theBuffer, sizeof(theBuffer));
    if (theCount <= 0) break;
    theText.append(theBuffer, static_cast<size_t>(theCount));
  }
  return theText;
}

bool IsSameFile(const std::string &aPath, const Fetching &aFetching) {
  const std::string theContents = Contents(aPath);
  return theContents.size() == aFetching.mBytes &&
         ContinueChecksum(0, theContents.data(), theContents.size()) == aFetching.mChecksum;
}

// ---- The server's process ----

// Its output comes through a pipe, until it ends.
class ServerProcess {
 public:
  ServerProcess(const std::string &aFolder, const WorkingFolder &aWorkingFolder);
  ~ServerProcess();
  ServerProcess(const ServerProcess &) = delete;
  ServerProcess &operator=(const ServerProcess &) = delete;

  pid_t Pid() const { return mPid; }
  const std::string &Output() const { return mOutput; }

  // Waits for the first line, and reads the port that it names.
  bool WaitForPort(uint16 &aPort);

  // Ends it, and returns its status as waitpid gives it.
  int End();

 private:
  [[noreturn]] static void Run(const std::string &aFolder, const WorkingFolder &aWorkingFolder, int anOutput);
  bool ReadOutput(int64 anEnd);

  pid_t mPid;  // 0 when it has ended, -1 when there was none
  int mPipe;
  std::string mOutput;
};

ServerProcess::ServerProcess(const std::string &aFolder, const WorkingFolder &aWorkingFolder)
    : mPid(-1), mPipe(-1) {
  int theEnds[2];
  if (pipe2(theEnds, O_CLOEXEC) == -1) return;
  mPipe = theEnds[0];
  FlushOutput();
  mPid = fork();
  if (mPid == 0) Run(aFolder, aWorkingFolder, theEnds[1]);
  close(theEnds[1]);
}

ServerProcess::~ServerProcess() {
  End();
  if (mPipe != -1) close(mPipe);
}

void ServerProcess::Run(const std::string &aFolder, const WorkingFolder &aWorkingFolder, int anOutput) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  // A signal that the caller ignores would stay ignored, and this one is to end the server.
  signal(SIGTERM, SIG_DFL);
  if (dup2(anOutput, STDOUT_FILENO) == -1 || dup2(anOutput, STDERR_FILENO) == -1 ||
      chdir(aWorkingFolder.Path().c_str()) == -1 || zvLog_SetSinkFile(kLogName) == 0) {
    _exit(kStatus_CheckFailed);
  }
  const int theStatus = kCommand_Serve.mRun({"--policy", "local", "--trace", "--", aFolder});
  FlushOutput();
  _exit(theStatus);
}

// False at the end of the output, and when the time is over.
bool ServerProcess::ReadOutput(int64 anEnd) {
  const int64 theRest = anEnd - Milliseconds();
  struct pollfd thePoll = {mPipe, POLLIN, 0};
  if (theRest <= 0) return false;
  const int theCount = poll(&thePoll, 1, static_cast<int>(theRest));
  if (theCount <= 0) return theCount == -1 && errno == EINTR;
  char theBuffer[4096];
  const ssize_t theLength = read(mPipe, theBuffer, sizeof(theBuffer));
  if (theLength > 0) mOutput.append(theBuffer, static_cast<size_t>(theLength));
  return theLength > 0 || (theLength == -1 && errno == EINTR);
}

bool ServerProcess::WaitForPort(uint16 &aPort) {
  const int64 theEnd = Milliseconds() + kDeadline;
  while (mPid > 0 && mOutput.find('\n') == std::string::npos) {
    if (!ReadOutput(theEnd)) return false;
  }
  const std::string theLine = mOutput.substr(0, mOutput.find('\n'));
  const size_t theColon = theLine.rfind(':');
  if (mPid <= 0 || theLine.compare(0, 8, "serving ") != 0 || theColon == std::string::npos) return false;
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
  int theStatus = 0;
  while (waitpid(mPid, &theStatus, 0) == -1 && errno == EINTR) {
  }
  mPid = 0;
  return theStatus;
}

// ---- What the server leaves behind ----

// The table in which an accepted socket is shown closed; the last one when there is none.
std::string TableOfClosedClient(const std::string &aLog) {
  const std::vector<std::string> theTables = SocketTablesIn(aLog);
  for (const std::string &theTable : theTables) {
    if (theTable.find("   IN  ") != std::string::npos && theTable.find(" Closed ") != std::string::npos)
      return theTable;
  }
  return theTables.empty() ? "" : theTables.back();
}

// The port from which a file was fetched, as the server's output tells: "127.0.0.1:41810  zvos  sent".
std::string PortOfClient(const std::string &anOutput) {
  const size_t theEnd = anOutput.find("  sent, ");
  const size_t theLine = anOutput.rfind('\n', theEnd);
  if (theEnd == std::string::npos || theLine == std::string::npos) return "";
  const size_t theColon = anOutput.find(':', theLine);
  return anOutput.substr(theColon + 1, anOutput.find(' ', theColon) - theColon - 1);
}

std::string TrafficFileOf(const std::string &aFolder, const std::string &aPort) {
  const std::string theStart = "127.0.0.1-" + aPort + "-[";
  std::string theResult;
  DIR *theFolder = opendir(aFolder.c_str());
  if (theFolder == nullptr) return "";
  while (const struct dirent *theEntry = readdir(theFolder)) {
    if (strncmp(theEntry->d_name, theStart.c_str(), theStart.size()) == 0) theResult = theEntry->d_name;
  }
  closedir(theFolder);
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

}  // namespace

bool HasLoopback() {
  uint32 *theAddresses = nullptr;
  const int theCount = zvSocketGetIPAddressList(nullptr, &theAddresses, 1);
  const bool afThere = theCount > 0 && std::find(theAddresses, theAddresses + theCount,
                                                 zvSocket_htonl(INADDR_LOOPBACK)) != theAddresses + theCount;
  free(theAddresses);
  return afThere;
}

WakeUp WakeSelect() {
  WakeUp theResult = {};
  const SelectOwner theSelect(zvSocketSelect_New());
  const SemaphoreOwner theStarted(zvSemaphore_New(0));
  Waiter theWaiter = {theSelect.get(), theStarted.get(), -1, 0, 0};
  int64 theTrigger = 0;
  {
    const ThreadOwner theThread = theSelect && theStarted ? StartThread(WaitForTrigger, &theWaiter) : nullptr;
    if (!theThread) {
      theResult.mProblem = "no thread that waits could be made";
      return theResult;
    }
    zvSemaphore_Wait(theStarted.get());
    zvThread_Sleep(kTimeToFallAsleep);
    theTrigger = Microseconds();
    zvSocketSelect_Trigger(theSelect.get());
  }
  theResult.mMicroseconds = theWaiter.mAwake - theTrigger;
  if (theWaiter.mCount != 1 || theWaiter.mfTriggered != 1)
    theResult.mProblem = "the wait did not end by the trigger";
  return theResult;
}

NetworkReport ServeAndFetch(const std::string &aFile) {
  NetworkReport theReport = {};
  const WorkingFolder theFolder;
  const SelectOwner theSelect(zvSocketSelect_New());
  if (!theFolder.IsThere() || !theSelect) {
    theReport.mProblem = "no temporary folder or no select object could be made";
    return theReport;
  }
  const size_t theSlash = aFile.rfind('/');
  ServerProcess theServer(aFile.substr(0, theSlash + 1), theFolder);
  theReport.mServer = theServer.Pid();
  uint16 thePort = 0;
  if (!theServer.WaitForPort(thePort)) {
    theServer.End();
    theReport.mProblem = "the server did not start: " + Printable(theServer.Output());
    return theReport;
  }
  theReport.mAddress = {zvSocket_htonl(INADDR_LOOPBACK), thePort};
  FetchSettings theSettings = {theReport.mAddress, aFile.substr(theSlash + 1), theFolder.File("fetched"),
                               kDeadline, false};
  const auto fnNever = [] { return false; };
  {
    Step theStep("File service");
    theReport.mAdmitted = FileClient(theSettings, theSelect.get(), fnNever).Fetch(theStep);
    theSettings.mServer.mAddress = zvSocket_htonl(INADDR_LOOPBACK + 1);
    theSettings.mFile = theFolder.File("refused");
    theReport.mRefused = FileClient(theSettings, theSelect.get(), fnNever).Fetch(theStep);
    theStep.Withdraw();
  }
  theReport.mServerStatus = theServer.End();
  theReport.mServerOutput = theServer.Output();
  theReport.mfSameFile =
      IsSameFile(theFolder.File("fetched"), theReport.mAdmitted) && IsSameFile(aFile, theReport.mAdmitted);
  theReport.mSocketTable = TableOfClosedClient(Contents(theFolder.File(kLogName)));
  const std::string theTrafficFolder = theFolder.File(kTrafficFolder);
  const std::string theTrafficFile = TrafficFileOf(theTrafficFolder, PortOfClient(theReport.mServerOutput));
  theReport.mTrafficFile = std::string(kTrafficFolder) + "/" + theTrafficFile;
  theReport.mTrafficOpening = OpeningOf(Contents(theTrafficFolder + "/" + theTrafficFile, 1));
  return theReport;
}

}  // namespace tool
