// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A crash on purpose, in a child process, and what is left behind for an engineer in the field.

#include "demo/acts.h"
#include "demo/details.h"
#include "postmortem/presentation.h"
#include "shared/child_process.h"
#include "shared/clock.h"
#include "shared/crash.h"
#include "shared/files.h"

#include <zvLog/zvLogSettings.h>

#include <poll.h>
#include <pthread.h>
#include <sys/wait.h>

#include <cstring>

namespace tool {

namespace {

// The library promises that a crashing process is dead within 10 s.
constexpr int64 kDeadline = 15000;  // milliseconds

struct CrashReport {
  pid_t mPid;
  int mWaitStatus;         // as waitpid gives it
  bool mfTookTooLong;      // the child had to be killed
  std::string mLog;        // what it logged
  std::string mOutput;     // what it wrote to standard output
  std::string mTraceFile;  // path of its back-trace file
  std::string mCrashFile;  // and of its crash file
};

// The report is to be seen here whatever the settings of the log are.
void LogToStandardError() {
  zvLog_SetSinkStandardError();
  zvLog_SetLevel(kzvLogLevel_Info);
  zvLog_ResetModuleLevel(0);  // the module of the crash report
  zvLog_ResetModuleLevel(7);  // the module of threads
}

int RunChild(const PipeEnds &anOutput, const PipeEnds &aLog) {
  if (dup2(anOutput.mWrite.Get(), STDOUT_FILENO) == -1 || dup2(aLog.mWrite.Get(), STDERR_FILENO) == -1)
    return kStatus_CheckFailed;

  // The parent's caller may have signals blocked.
  sigset_t theNone;
  sigemptyset(&theNone);
  pthread_sigmask(SIG_SETMASK, &theNone, nullptr);

  LogToStandardError();
  CrashInThread();
  return kStatus_Good;
}

// Reads both pipes until the child has closed them, which it does by dying. False when the time is
// over before.
bool CollectAll(Descriptor &anOutput, Descriptor &aLog, CrashReport &aReport) {
  const int64 theEnd = Milliseconds() + kDeadline;
  while (anOutput.IsOpen() || aLog.IsOpen()) {
    const int64 theRest = theEnd - Milliseconds();
    if (theRest <= 0) return false;
    struct pollfd thePolls[] = {{anOutput.Get(), POLLIN, 0}, {aLog.Get(), POLLIN, 0}};
    if (poll(thePolls, 2, static_cast<int>(theRest)) == -1 && errno != EINTR) return false;
    if (thePolls[0].revents != 0 && !anOutput.ReadPiece(aReport.mOutput)) anOutput.Reset();
    if (thePolls[1].revents != 0 && !aLog.ReadPiece(aReport.mLog)) aLog.Reset();
  }
  return true;
}

// Lets a thread of a child process crash and collects the report. It takes some seconds, as the crash
// handler gives the log time to drain.
MaybeProblem CrashInChild(CrashReport &aReport) {
  PipeEnds theOutput;
  PipeEnds theLog;
  if (!theOutput.Open() || !theLog.Open()) return Problem(std::string("no pipe: ") + strerror(errno));
  // Otherwise the child's end could not be asked for, when the caller ignores ends of children.
  signal(SIGCHLD, SIG_DFL);
  aReport.mPid = Fork([&] { return RunChild(theOutput, theLog); }, SIGKILL);
  if (aReport.mPid == -1) return Problem(std::string("no child process: ") + strerror(errno));

  theOutput.mWrite.Reset();
  theLog.mWrite.Reset();
  aReport.mfTookTooLong = !CollectAll(theOutput.mRead, theLog.mRead, aReport);
  if (aReport.mfTookTooLong) kill(aReport.mPid, SIGKILL);
  aReport.mWaitStatus = WaitForEnd(aReport.mPid);
  aReport.mTraceFile = "/tmp/backtrace_" + std::to_string(aReport.mPid) + ".txt";
  const char *const theFolder = getenv("ZVOS_CRASH_DIR");
  aReport.mCrashFile = std::string(theFolder != nullptr && *theFolder != '\0' ? theFolder : "/tmp") +
                       "/zvos_crash_" + std::to_string(aReport.mPid) + ".txt";
  return {};
}

bool IsCompleteTrace(const std::string &aText) {
  const std::string theFirst = "log\n";
  const std::string theLast = "\nlog end\n";
  return aText.size() > theFirst.size() + theLast.size() && BeginsWith(aText, theFirst) &&
         aText.compare(aText.size() - theLast.size(), theLast.size(), theLast) == 0;
}

std::vector<CrashReportText> ReadCrashFileOf(const CrashReport &aReport) {
  return ReadCrashReports(ReadFile(AbsolutePath(aReport.mCrashFile)));
}

MaybeProblem WhatIsWrongWithCrashFile(const CrashReport &aReport) {
  if (const MaybeProblem theProblem = WhyUnreadable(AbsolutePath(aReport.mCrashFile)))
    return Problem(aReport.mCrashFile + ": " + theProblem->mText);
  const std::vector<CrashReportText> theReports = ReadCrashFileOf(aReport);
  if (theReports.size() != 1 || !theReports[0].mfComplete)
    return Problem(aReport.mCrashFile + " is not complete");
  return {};
}

// None when the report is what it has to be.
MaybeProblem WhatIsWrongWith(const CrashReport &aReport) {
  if (aReport.mfTookTooLong) return Problem("the child hung and had to be killed");
  if (!WIFSIGNALED(aReport.mWaitStatus)) return Problem("the child did not die by a signal");
  if (WTERMSIG(aReport.mWaitStatus) != SIGSEGV) {
    return Problem("the child died by signal " + std::to_string(WTERMSIG(aReport.mWaitStatus)) +
                   " instead of SIGSEGV");
  }
  const std::string theExpected[] = {
      "zvOSThread: Received fatal signal: " + std::to_string(SIGSEGV),
      "Backtracing this thread (pid=" + std::to_string(aReport.mPid) + ",",
      "zvos_CrashOnPurpose",
      "zvOSThread: Defaulting to default signal handler",
  };
  for (const std::string &theText : theExpected) {
    if (!Contains(aReport.mLog, theText)) return Problem("the log lacks '" + theText + "'");
  }
  if (const MaybeProblem theProblem = WhyUnreadable(aReport.mTraceFile))
    return Problem(aReport.mTraceFile + ": " + theProblem->mText);
  const std::string theTrace = ReadFile(aReport.mTraceFile);
  if (!IsCompleteTrace(theTrace)) return Problem(aReport.mTraceFile + " is not complete");
  if (!Contains(theTrace, "zvos_CrashOnPurpose"))
    return Problem(aReport.mTraceFile + " lacks the function that crashed");
  return WhatIsWrongWithCrashFile(aReport);
}

// Standard output repeats the trace of the log; what it does not repeat is shown.
void PrintOutputOfChild(const CrashReport &aReport) {
  std::string theOthers;
  int theRepeated = 0;
  for (const std::string &theLine : LinesOf(aReport.mOutput)) {
    if (Contains(aReport.mLog, theLine)) {
      ++theRepeated;
    } else {
      theOthers += theLine + "\n";
    }
  }
  Print("%sits standard output: %d lines of the above%s\n", kIndent, theRepeated,
        theOthers.empty() ? "" : ", and");
  PrintIndented(theOthers);
}

// What `zvos crash` makes of the crash file. Without debug information or a program that reads it there is
// nothing wrong with the report.
void PrintLines(const CrashReport &aReport) {
  Print("%sits crash file: %s, and what 'zvos crash' reads in it:\n", kIndent, aReport.mCrashFile.c_str());
  DebugFiles theFiles({});
  for (const CrashReportText &theText : ReadCrashFileOf(aReport)) {
    const Resolution theResolution = Resolve(theText, theFiles);
    PrintIndented(FramesForPeople(theResolution));
    if (!theResolution.mMissing.empty()) {
      Print("%sno lines: %s\n", kIndent, theResolution.mMissing.c_str());
    } else if (!theResolution.HasLines()) {
      Print("%sno lines: the program has no debug information here\n", kIndent);
    }
  }
}

}  // namespace

bool CrashAndReport() {
  Step theStep("Crash report");
  CrashReport theReport = {};
  if (const MaybeProblem theProblem = CrashInChild(theReport)) return theStep.Failed(*theProblem);
  const MaybeProblem theProblem = WhatIsWrongWith(theReport);
  const bool afGood =
      theProblem ? theStep.Failed(*theProblem)
                 : theStep.Passed("a worker crashed on purpose in child process %d, which died by SIGSEGV",
                                  static_cast<int>(theReport.mPid));
  Print("%sits log:\n", kIndent);
  PrintIndented(theReport.mLog);
  PrintOutputOfChild(theReport);
  Print("%sits back-trace file: %s\n", kIndent, theReport.mTraceFile.c_str());
  PrintLines(theReport);
  return afGood;
}

}  // namespace tool
