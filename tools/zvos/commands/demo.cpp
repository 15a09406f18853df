// The tour of the library: reads a file with a pool of threads, reads revision stamps, shows what a
// crash leaves behind, sends a file from one process to another, hands a connection from process to
// process, loads a plug-in and walks through a folder. Each step says what it found and checks it.

#include "shared/command.h"
#include "demo/crash_report.h"
#include "demo/file_reading.h"
#include "demo/hand_over.h"
#include "shared/input.h"
#include "shared/library_log.h"
#include "demo/network_report.h"
#include "shared/owners.h"
#include "shared/stamp.h"
#include "shared/terminal.h"

#include <zvLog/zvLog.h>
#include <zvOS/zvDirTraverser.h>
#include <zvOS/zvPath.h>
#include <zvOS/zvPlugin.h>

#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>

namespace tool {

namespace {

constexpr char kIndent[] = "            ";

// Takes a text apart into lines; false when there is none left.
bool NextLine(const std::string &aText, size_t &aPosition, std::string &aLine) {
  if (aPosition >= aText.size()) return false;
  const size_t theEnd = std::min(aText.find('\n', aPosition), aText.size());
  aLine = aText.substr(aPosition, theEnd - aPosition);
  aPosition = theEnd + 1;
  return true;
}

void PrintIndented(const std::string &aText) {
  std::string theLine;
  for (size_t thePosition = 0; NextLine(aText, thePosition, theLine);) {
    Print("%s| %s\n", kIndent, theLine.c_str());
  }
}

// "0.012345 s, 95.3 MB/s"
std::string TimeAndSpeed(const Reading &aReading) {
  char theText[80];
  const double theSeconds = static_cast<double>(aReading.mMicroseconds) / 1e6;
  if (aReading.mMicroseconds > 0 && aReading.mBytes > 0) {
    zv_snprintf(theText, sizeof(theText), "%.6f s, %.1f MB/s", theSeconds,
                static_cast<double>(aReading.mBytes) / 1e6 / theSeconds);
  } else {
    zv_snprintf(theText, sizeof(theText), "%.6f s", theSeconds);
  }
  return theText;
}

bool LookAtFile(const std::string &aPath, uint64 &aSize) {
  Step theStep("File");
  const InputFile theFile(aPath.c_str());
  zvFileOffset theSize = kzvFileOffsetInvalid;
  if (!theFile.IsOpen() || zvFile_GetSize(theFile.FD(), &theSize) != 0) {
    return theStep.Failed("%s: its size could not be read", aPath.c_str());
  }
  aSize = static_cast<uint64>(theSize);
  return theStep.Passed("%s, %" PRIu64 " bytes", aPath.c_str(), aSize);
}

bool FailedToRead(const Reading &aReading, uint64 aSize, Step &aStep) {
  if (aReading.mProblem != nullptr) {
    aStep.Failed("%s", aReading.mProblem);
  } else if (aReading.mBytes != aSize) {
    aStep.Failed("read %" PRIu64 " bytes instead of %" PRIu64, aReading.mBytes, aSize);
  } else if (aReading.mMostReads > kMostReads) {
    aStep.Failed("%d reads at a time where the semaphore admits %d", aReading.mMostReads, kMostReads);
  } else {
    return false;
  }
  return true;
}

bool ReadTwice(const std::string &aPath, uint64 aSize) {
  Step theParallelStep("Parallel read");
  const Reading theParallel = ReadInParallel(aPath, aSize, theParallelStep);
  if (FailedToRead(theParallel, aSize, theParallelStep)) return false;
  theParallelStep.Passed("CRC-32 %08" PRIx32 ", %s (%d threads, %" PRIu32
                         " chunks, %d of %d reads at a time)",
                         theParallel.mChecksum, TimeAndSpeed(theParallel).c_str(), kWorkerCount,
                         theParallel.mChunks, theParallel.mMostReads, kMostReads);

  Step theSingleStep("Sequential read");
  const Reading theSingle = ReadInOneThread(aPath, aSize, theSingleStep);
  if (FailedToRead(theSingle, aSize, theSingleStep)) return false;
  theSingleStep.Passed("CRC-32 %08" PRIx32 ", %s", theSingle.mChecksum, TimeAndSpeed(theSingle).c_str());

  Step theComparison("Same checksum");
  if (theParallel.mChecksum != theSingle.mChecksum) {
    return theComparison.Failed("%08" PRIx32 " and %08" PRIx32 ": the file changed, or one reading is wrong",
                                theParallel.mChecksum, theSingle.mChecksum);
  }
  return theComparison.Passed("both readings agree on %08" PRIx32, theSingle.mChecksum);
}

// The file that a function of a library was loaded from. The answer of the library may count from
// the current folder, when the loader's search path does.
template <typename Function>
std::string LibraryOf(Function *aFunction) {
  const auto theFunction = reinterpret_cast<zvDefaultFunctionPtr>(aFunction);
  return AbsolutePath(TakeText(zvPath_GetFunctionSharedLibraryPath(theFunction)));
}

bool ReadStamps() {
  Step theStep("Revision stamps");
  const std::string theFiles[] = {OwnExecutable(), LibraryOf(&zvPath_GetFunctionSharedLibraryPath),
                                  LibraryOf(&zvLog_Begin)};
  std::string theLines;
  bool afAll = true;
  for (const std::string &theFile : theFiles) {
    const Stamp theStamp = ReadStamp(theFile);
    theLines += (theStamp.mfFound ? theStamp.mText : theStamp.mWhyNot) + "  " + theFile + "\n";
    afAll = afAll && theStamp.mfFound;
  }
  const bool afSixtyFourBits = sizeof(void *) == 8;
  const bool afGood = afSixtyFourBits
                          ? theStep.NotPossible("this is a 64-bit build, and only 32-bit files are read")
                      : afAll ? theStep.Passed("the program and its libraries")
                              : theStep.Failed("a file has no stamp that could be read");
  PrintIndented(theLines);
  return afGood;
}

std::string ReadWholeFile(const std::string &aPath) {
  const InputFile theFile(aPath.c_str());
  std::string theText;
  char theBuffer[4096];
  int theCount = 0;
  while (theFile.IsOpen() && (theCount = zvFile_Read(theFile.FD(), theBuffer, sizeof(theBuffer))) > 0) {
    theText.append(theBuffer, static_cast<size_t>(theCount));
  }
  return theText;
}

bool Contains(const std::string &aText, const std::string &aPart) {
  return aText.find(aPart) != std::string::npos;
}

bool IsCompleteTrace(const std::string &aText) {
  const std::string theFirst = "log\n";
  const std::string theLast = "\nlog end\n";
  return aText.size() > theFirst.size() + theLast.size() &&
         aText.compare(0, theFirst.size(), theFirst) == 0 &&
         aText.compare(aText.size() - theLast.size(), theLast.size(), theLast) == 0;
}

// Empty when the report is what it has to be, otherwise what is wrong with it.
std::string WhatIsWrongWith(const CrashReport &aReport) {
  if (!aReport.mProblem.empty()) return aReport.mProblem;
  if (aReport.mfTookTooLong) return "the child hung and had to be killed";
  if (!WIFSIGNALED(aReport.mWaitStatus)) return "the child did not die by a signal";
  if (WTERMSIG(aReport.mWaitStatus) != SIGSEGV) {
    return "the child died by signal " + std::to_string(WTERMSIG(aReport.mWaitStatus)) +
           " instead of SIGSEGV";
  }
  const std::string theExpected[] = {
      "zvOSThread: Received fatal signal: " + std::to_string(SIGSEGV),
      "Backtracing this thread (pid=" + std::to_string(aReport.mPid) + ",",
      "zvos_CrashOnPurpose",
      "zvOSThread: Defaulting to default signal handler",
  };
  for (const std::string &theText : theExpected) {
    if (!Contains(aReport.mLog, theText)) return "the log lacks '" + theText + "'";
  }
  const std::string theReason = WhyUnreadable(aReport.mTraceFile);
  if (!theReason.empty()) return aReport.mTraceFile + ": " + theReason;
  const std::string theTrace = ReadWholeFile(aReport.mTraceFile);
  if (!IsCompleteTrace(theTrace)) return aReport.mTraceFile + " is not complete";
  if (!Contains(theTrace, "zvos_CrashOnPurpose"))
    return aReport.mTraceFile + " lacks the function that crashed";
  return "";
}

// Standard output repeats the trace of the log; what it does not repeat is shown.
void PrintOutputOfChild(const CrashReport &aReport) {
  std::string theOthers;
  std::string theLine;
  int theRepeated = 0;
  for (size_t thePosition = 0; NextLine(aReport.mOutput, thePosition, theLine);) {
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

bool CrashAndReport() {
  Step theStep("Crash report");
  const CrashReport theReport = CrashInChild();
  const std::string theFault = WhatIsWrongWith(theReport);
  const bool afGood =
      theFault.empty()
          ? theStep.Passed("a worker crashed on purpose in child process %d, which died by SIGSEGV",
                           static_cast<int>(theReport.mPid))
          : theStep.Failed("%s", theFault.c_str());
  if (!theReport.mProblem.empty()) return afGood;
  Print("%sits log:\n", kIndent);
  PrintIndented(theReport.mLog);
  PrintOutputOfChild(theReport);
  Print("%sits back-trace file: %s\n", kIndent, theReport.mTraceFile.c_str());
  return afGood;
}

bool WakeUpWait() {
  Step theStep("Wake-up");
  const WakeUp theWakeUp = WakeSelect();
  if (!theWakeUp.mProblem.empty()) return theStep.Failed("%s", theWakeUp.mProblem.c_str());
  return theStep.Passed("a wait for sockets ended %" PRId64 " us after another thread triggered it",
                        theWakeUp.mMicroseconds);
}

// Empty when the service did what it has to do, otherwise what is wrong.
std::string WhatIsWrongWith(const NetworkReport &aReport) {
  if (!aReport.mProblem.empty()) return aReport.mProblem;
  if (aReport.mAdmitted.mStatus != kStatus_Good) return aReport.mAdmitted.mProblem;
  if (!aReport.mfSameFile) return "what was fetched is not the file";
  if (!WIFEXITED(aReport.mServerStatus) || WEXITSTATUS(aReport.mServerStatus) != kStatus_Good) {
    return "the server did not end as it should";
  }
  if (!Contains(aReport.mSocketTable, " Listening ") || !Contains(aReport.mSocketTable, " Closed ")) {
    return "the log of the server lacks the table of its sockets";
  }
  const std::string theTraffic = "data " + std::to_string(aReport.mAdmitted.mBytes) + "\n";
  if (!Contains(aReport.mTrafficOpening, theTraffic)) return "the traffic file lacks '" + theTraffic + "'";
  return "";
}

bool ServeFile(const std::string &aFile) {
  if (!HasLoopback()) {
    return Step("File service").NotPossible("the loopback interface is down");
  }
  const NetworkReport theReport = ServeAndFetch(aFile);
  const std::string theFault = WhatIsWrongWith(theReport);
  if (!theFault.empty()) return Step("File service").Failed("%s", theFault.c_str());
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
  return Contains(theReport.mRefused.mProblem, " refuses: ")
             ? thePolicyStep.Passed("'local' admitted 127.0.0.1; %s", theReport.mRefused.mProblem.c_str())
             : thePolicyStep.Failed("'local' did not refuse 127.0.0.2: %s",
                                    theReport.mRefused.mProblem.c_str());
}

bool HandOverToWorker() {
  Step theStep("Hand-over");
  if (!HasLoopback()) return theStep.NotPossible("the loopback interface is down");
  const HandOver theHandOver = HandOverConnection();
  if (!theHandOver.mProblem.empty()) return theStep.Failed("%s", theHandOver.mProblem.c_str());
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

// The library itself is a shared object that is there wherever the program runs.
bool LoadPlugin() {
  Step theStep("Plug-in");
  const std::string theFile = LibraryOf(&zvPlugin_Load);
  const zvOSPluginHandle thePlugin = zvPlugin_Load(theFile.c_str());
  if (thePlugin == nullptr) return theStep.Failed("%s cannot be loaded", theFile.c_str());
  const zvOSPluginSymbol theSymbol = zvPlugin_GetSymbol(thePlugin, "zvPlugin_GetExtension");
  using Function = const char *(*)();
  const Function theFunction = reinterpret_cast<Function>(theSymbol);
  const std::string theAnswer(theFunction != nullptr ? theFunction() : "");
  const bool afMissing = zvPlugin_GetSymbol(thePlugin, "zvPlugin_IsNotThere") == nullptr;
  zvPlugin_Unload(thePlugin);
  if (!afMissing) return theStep.Failed("a symbol was found that is not there");
  if (theAnswer != zvPlugin_GetExtension())
    return theStep.Failed("its function answers '%s'", theAnswer.c_str());
  return theStep.Passed("%s: zvPlugin_GetExtension, found at %p, answers '%s'", theFile.c_str(), theSymbol,
                        theAnswer.c_str());
}

// Empty when the walk came to its end, otherwise what is wrong.
std::string CountEntries(const std::string &aFolder, const std::string &aName, int &aFileCount,
                         int &aDirCount) {
  zvDirTraverser *theTraverser = zvDirTraverser_New(aFolder.c_str());
  if (theTraverser == nullptr) return "there is no memory";
  int theStatus = kzvDirTraverserStatus_NoError;
  bool afSeen = false;
  errno = 0;
  for (zvDirEntry *theEntry = zvDirTraverser_GetFirst(theTraverser, "*", zvDIR_DEFAULT, &theStatus);
       theEntry != nullptr; theEntry = zvDirTraverser_GetNext(theTraverser, &theStatus)) {
    (theEntry->mfDir != 0 ? aDirCount : aFileCount)++;
    afSeen = afSeen || (theEntry->mfDir == 0 && aName == theEntry->mName);
    errno = 0;
  }
  zvDirTraverser_Delete(theTraverser);
  if (theStatus != kzvDirTraverserStatus_NoError) return "it cannot be read to its end";
  return afSeen ? "" : "'" + aName + "' is not in it";
}

bool WalkFolder(const std::string &aFile) {
  Step theStep("Directory");
  const size_t theSlash = aFile.rfind('/');
  const std::string theFolder = aFile.substr(0, theSlash + 1);
  const std::string theName = aFile.substr(theSlash + 1);
  int theFileCount = 0;
  int theDirCount = 0;
  const std::string theProblem = CountEntries(theFolder, theName, theFileCount, theDirCount);
  if (!theProblem.empty()) return theStep.Failed("%s: %s", theFolder.c_str(), theProblem.c_str());
  return theStep.Passed("%s: %d files, '%s' among them, and %d folders", theFolder.c_str(), theFileCount,
                        theName.c_str(), theDirCount);
}

int RunDemo(const Arguments &anArguments) {
  Arguments theFiles;
  if (!TakeOperands(kCommand_Demo, anArguments, theFiles)) return kStatus_BadInput;
  if (theFiles.size() > 1) {
    Complain("demo: one FILE at most, see 'zvos help demo'");
    return kStatus_BadInput;
  }
  // Looked up here, while there is only one thread.
  const std::string theOwnFile = OwnExecutable();
  const std::string theFile = theFiles.empty() ? theOwnFile : theFiles[0];
  if (!IsReadable(theFile)) return kStatus_BadInput;
  const std::string thePath = AbsolutePath(theFile);

  uint64 theSize = 0;
  bool afGood = LookAtFile(thePath, theSize) && ReadTwice(thePath, theSize);
  afGood = ReadStamps() && afGood;
  afGood = CrashAndReport() && afGood;
  KeepNetworkQuiet();
  afGood = WakeUpWait() && afGood;
  afGood = ServeFile(theOwnFile) && afGood;
  KeepModulesQuiet({ZVLOG_M_PLUGIN, ZVLOG_M_DIR});
  afGood = HandOverToWorker() && afGood;
  afGood = LoadPlugin() && afGood;
  afGood = WalkFolder(theOwnFile) && afGood;
  Print(afGood ? "All checks held.\n" : "Not every check held.\n");
  return afGood ? kStatus_Good : kStatus_CheckFailed;
}

}  // namespace

const Command kCommand_Demo = {
    "demo",
    "[FILE]",
    "a tour of the library on a real file",
    "Shows on a file, or on the program's own executable when none is given, what the library does:\n"
    "- a pool of threads reads the file through a queue with a lock, conditions and a semaphore;\n"
    "  size, CRC-32, time and throughput are shown, and a second reading in one thread has to\n"
    "  give the same checksum;\n"
    "- the revision stamps of the program and of its libraries are read;\n"
    "- a thread of a child process crashes on purpose, and the report that an engineer in the field\n"
    "  would get is shown: log, back-trace and the back-trace file, which is kept in /tmp;\n"
    "- a thread that waits for sockets is woken up;\n"
    "- a child process serves the program's own executable to this machine only, and it is fetched;\n"
    "  the server's table of sockets and the begin of its traffic file are shown, and the socket\n"
    "  policy has to refuse a connection that comes through another address;\n"
    "- a supervisor process, of which there can be one only, takes a connection and hands it through\n"
    "  a named pipe to a worker process, which serves it;\n"
    "- a plug-in, here the library itself, is loaded and called;\n"
    "- the folder of the program is walked through.\n"
    "\n"
    "Exit status: 0 every check held, 1 a check failed, 2 FILE is missing or unreadable.\n"
    "\n"
    "Examples:\n"
    "  zvos demo\n"
    "  zvos demo /var/log/syslog\n"
    "  ZVLOG=debug,to=file:/tmp/zv.log zvos demo    with all that the library logs\n",
    RunDemo,
};

}  // namespace tool
