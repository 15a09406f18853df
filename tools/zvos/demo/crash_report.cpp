#include "demo/crash_report.h"

#include "shared/owners.h"
#include "shared/terminal.h"

#include <zvLog/zvLogSettings.h>
#include <zvOS/zvTime.h>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

// A pointer that the compiler knows nothing of.
static int *volatile sNowhere = nullptr;

extern "C" __attribute__((noinline, no_sanitize("address,undefined,thread"))) void zvos_CrashOnPurpose(void) {
  *const_cast<volatile int *>(sNowhere) = 1;
}

namespace tool {

namespace {

// The library promises that a crashing process is dead within 10 s.
constexpr uint32 kDeadline = 15 * 1000;
constexpr int kSurvived = 3;

struct Pipe {
  int mRead;
  int mWrite;

  Pipe() : mRead(-1), mWrite(-1) {}
  ~Pipe() {
    CloseEnd(mRead);
    CloseEnd(mWrite);
  }
  Pipe(const Pipe &) = delete;
  Pipe &operator=(const Pipe &) = delete;

  bool Open() {
    int theEnds[2];
    if (pipe2(theEnds, O_CLOEXEC) == -1) return false;
    mRead = theEnds[0];
    mWrite = theEnds[1];
    return true;
  }
  static void CloseEnd(int &anEnd) {
    if (anEnd != -1) close(anEnd);
    anEnd = -1;
  }
};

// The report is to be seen here whatever the settings of the log are.
void LogToStandardError() {
  zvLog_SetSinkStandardError();
  zvLog_SetLevel(kzvLogLevel_Info);
  zvLog_ResetModuleLevel(0);  // the module of the crash report
  zvLog_ResetModuleLevel(7);  // the module of threads
}

void Work(void *) {
  zvos_CrashOnPurpose();
  _exit(kSurvived);
}

[[noreturn]] void RunChild(const Pipe &anOutput, const Pipe &aLog) {
  if (dup2(anOutput.mWrite, STDOUT_FILENO) == -1 || dup2(aLog.mWrite, STDERR_FILENO) == -1) _exit(kSurvived);

  // The parent's caller may have signals blocked, and nobody wants a core file of a demonstration.
  sigset_t theNone;
  sigemptyset(&theNone);
  pthread_sigmask(SIG_SETMASK, &theNone, nullptr);
  const struct rlimit theLimit = {0, 0};
  setrlimit(RLIMIT_CORE, &theLimit);

  LogToStandardError();
  StartThread(Work, nullptr);
  _exit(kSurvived);
}

// Appends what there is to read; closes the pipe at its end.
void Collect(Pipe &aPipe, std::string &aText) {
  char theBuffer[4096];
  const ssize_t theCount = read(aPipe.mRead, theBuffer, sizeof(theBuffer));
  if (theCount == -1 && errno == EINTR) return;
  if (theCount > 0) {
    aText.append(theBuffer, static_cast<size_t>(theCount));
  } else {
    Pipe::CloseEnd(aPipe.mRead);
  }
}

// Reads both pipes until the child has closed them, which it does by dying. False when the time is
// over before.
bool CollectAll(Pipe &anOutput, Pipe &aLog, CrashReport &aReport) {
  const uint32 theStart = zvTime_GetTickCount();
  while (anOutput.mRead != -1 || aLog.mRead != -1) {
    const uint32 thePassed = zvTime_GetTickCount() - theStart;
    if (thePassed >= kDeadline) return false;
    struct pollfd thePolls[] = {{anOutput.mRead, POLLIN, 0}, {aLog.mRead, POLLIN, 0}};
    if (poll(thePolls, 2, static_cast<int>(kDeadline - thePassed)) == -1 && errno != EINTR) return false;
    if (thePolls[0].revents != 0) Collect(anOutput, aReport.mOutput);
    if (thePolls[1].revents != 0) Collect(aLog, aReport.mLog);
  }
  return true;
}

}  // namespace

CrashReport CrashInChild() {
  CrashReport theReport = {};
  Pipe theOutput;
  Pipe theLog;
  if (!theOutput.Open() || !theLog.Open()) {
    theReport.mProblem = std::string("no pipe: ") + strerror(errno);
    return theReport;
  }
  // Otherwise the child's end could not be asked for, when the caller ignores ends of children.
  signal(SIGCHLD, SIG_DFL);

  FlushOutput();
  theReport.mPid = fork();
  if (theReport.mPid == -1) {
    theReport.mProblem = std::string("no child process: ") + strerror(errno);
    return theReport;
  }
  if (theReport.mPid == 0) RunChild(theOutput, theLog);

  Pipe::CloseEnd(theOutput.mWrite);
  Pipe::CloseEnd(theLog.mWrite);
  theReport.mfTookTooLong = !CollectAll(theOutput, theLog, theReport);
  if (theReport.mfTookTooLong) kill(theReport.mPid, SIGKILL);
  while (waitpid(theReport.mPid, &theReport.mWaitStatus, 0) == -1 && errno == EINTR) {
  }
  theReport.mTraceFile = "/tmp/backtrace_" + std::to_string(theReport.mPid) + ".txt";
  return theReport;
}

}  // namespace tool
