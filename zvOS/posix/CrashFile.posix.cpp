// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The crash file: what happened, to whom, where, and what the machine was like. Its modules are in
// CrashModules.posix.cpp.

#include "posix/CrashFile.h"

#include "posix/BackTrace.h"
#include "posix/CrashSteps.h"
#include "private/LateTime.h"
#include "private/SignalFrame.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zvos {

namespace {

constexpr char kFolder[] = "/tmp";
constexpr char kFolderVariable[] = "ZVOS_CRASH_DIR";
constexpr int kMostFiles = 9;  // of one process
constexpr size_t kCommandLength = 200;
constexpr int kStackWordCount = 512;

// Off the stack, of which there may be little. Only the thread that writes a report uses them.
CrashFile sFile;
char sText[1024];

// Reports of this process so far; a forked one begins anew.
int sCount;
pid_t sProcess;

size_t ReadSome(const char *aPath, char *aText, size_t aSize) {
  const int theFile = open(aPath, O_RDONLY | O_CLOEXEC);
  if (theFile < 0) return 0;
  const ssize_t theLength = read(theFile, aText, aSize - 1);
  close(theFile);
  const size_t theEnd = theLength > 0 ? static_cast<size_t>(theLength) : 0;
  aText[theEnd] = '\0';
  return theEnd;
}

// Lest what the application has named pass for lines of ours.
void KeepOnOneLine(char *aText) {
  for (char *thePlace = aText; (thePlace = strchr(thePlace, '\n')) != nullptr;)
    *thePlace = '?';
}

// --- time ---------------------------------------------------------------------------------------

// The seconds of the time of day. False when the system does not tell them.
bool GetSeconds(int64 *aSeconds) {
  timespec theTime = {};
  WideTime theWideTime = {};
  const int theResult = clock_gettime(CLOCK_REALTIME, &theTime);
  const bool afLate = IsRefusedAsLate(theResult) && GetWideTimeOfDay(&theWideTime);
  *aSeconds = afLate ? theWideTime.mSeconds : theTime.tv_sec;
  return afLate || theResult == 0;
}

// The C library's conversions take the lock of its time zone. Days are counted from the first of March of a
// year that a cycle of 400 begins with.
void TellTime() {
  int64 theTime;
  if (!GetSeconds(&theTime)) return;
  constexpr uint32 kDay = 86400, kDaysOfCycle = 146097, kDaysUntil1970 = 719468;
  // One division of 64 bits, which takes a function; days need 32.
  const uint64 theSeconds = static_cast<uint64>(theTime);
  const uint32 theRest = static_cast<uint32>(theSeconds % kDay);
  const uint32 theDays = static_cast<uint32>(theSeconds / kDay) + kDaysUntil1970;
  const uint32 theDayOfCycle = theDays % kDaysOfCycle;
  const uint32 theYearOfCycle =
      (theDayOfCycle - theDayOfCycle / 1460 + theDayOfCycle / 36524 - theDayOfCycle / 146096) / 365;
  const uint32 theDayOfYear =
      theDayOfCycle - (365 * theYearOfCycle + theYearOfCycle / 4 - theYearOfCycle / 100);
  const uint32 theMarchMonth = (5 * theDayOfYear + 2) / 153;
  const uint32 theDay = theDayOfYear - (153 * theMarchMonth + 2) / 5 + 1;
  const uint32 theMonth = theMarchMonth < 10 ? theMarchMonth + 3 : theMarchMonth - 9;
  const uint32 theYear = theDays / kDaysOfCycle * 400 + theYearOfCycle + (theMonth <= 2 ? 1 : 0);
  sFile.Add("time: %04u-%02u-%02uT%02u:%02u:%02uZ\n", theYear, theMonth, theDay, theRest / 3600,
            theRest / 60 % 60, theRest % 60);
}

// --- who ----------------------------------------------------------------------------------------

void TellProgram() {
  const ssize_t theLength = readlink("/proc/self/exe", sText, sizeof(sText) - 1);
  sText[theLength > 0 ? theLength : 0] = '\0';
  KeepOnOneLine(sText);
  sFile.Add("program: %s\n", sText);
  const size_t theCommandLength = ReadSome("/proc/self/cmdline", sText, kCommandLength + 1);
  for (size_t i = 0; i + 1 < theCommandLength; ++i) {
    if (sText[i] == '\0') sText[i] = ' ';
  }
  KeepOnOneLine(sText);
  sFile.Add("command: %s\n", sText);
}

void TellThread() {
  char theName[17] = {};
  prctl(PR_GET_NAME, theName);
  KeepOnOneLine(theName);
  sFile.Add("process: %d\nthread: %d\nthread name: %s\n", static_cast<int>(getpid()),
            static_cast<int>(gettid()), theName);
}

// --- what ---------------------------------------------------------------------------------------

struct NumberName {
  int mSignal;  // 0: any
  int mNumber;
  const char *mName;
};

constexpr NumberName kSignalNames[] = {{0, SIGSEGV, "SIGSEGV"},
                                       {0, SIGILL, "SIGILL"},
                                       {0, SIGBUS, "SIGBUS"},
                                       {0, SIGABRT, "SIGABRT"},
                                       {0, SIGFPE, "SIGFPE"}};

#define CODE(signal, code) \
  { signal, code, #code }
constexpr NumberName kCodeNames[] = {
    CODE(SIGSEGV, SEGV_MAPERR),  CODE(SIGSEGV, SEGV_ACCERR),
    CODE(SIGSEGV, SEGV_BNDERR),  CODE(SIGSEGV, SEGV_PKUERR),
    CODE(SIGILL, ILL_ILLOPC),    CODE(SIGILL, ILL_ILLOPN),
    CODE(SIGILL, ILL_ILLADR),    CODE(SIGILL, ILL_ILLTRP),
    CODE(SIGILL, ILL_PRVOPC),    CODE(SIGILL, ILL_PRVREG),
    CODE(SIGILL, ILL_COPROC),    CODE(SIGILL, ILL_BADSTK),
    CODE(SIGBUS, BUS_ADRALN),    CODE(SIGBUS, BUS_ADRERR),
    CODE(SIGBUS, BUS_OBJERR),    CODE(SIGBUS, BUS_MCEERR_AR),
    CODE(SIGBUS, BUS_MCEERR_AO), CODE(SIGFPE, FPE_INTDIV),
    CODE(SIGFPE, FPE_INTOVF),    CODE(SIGFPE, FPE_FLTDIV),
    CODE(SIGFPE, FPE_FLTOVF),    CODE(SIGFPE, FPE_FLTUND),
    CODE(SIGFPE, FPE_FLTRES),    CODE(SIGFPE, FPE_FLTINV),
    CODE(SIGFPE, FPE_FLTSUB),    CODE(0, SI_USER),
    CODE(0, SI_TKILL),           CODE(0, SI_QUEUE),
    CODE(0, SI_KERNEL),          CODE(0, SI_TIMER),
    CODE(0, SI_MESGQ),           CODE(0, SI_ASYNCIO),
    CODE(0, SI_SIGIO),
};
#undef CODE

template <size_t kCount>
const char *NameOf(const NumberName (&aTable)[kCount], int aSignal, int aNumber) {
  for (const NumberName &theEntry : aTable) {
    if (theEntry.mNumber == aNumber && (theEntry.mSignal == 0 || theEntry.mSignal == aSignal))
      return theEntry.mName;
  }
  return "unknown";
}

// A fault of the processor has an address, unless the system does not know it; a signal that was sent has a
// sender.
void TellOrigin(int aSignal, const siginfo_t &anInfo) {
  sFile.Add("code: %d %s\n", anInfo.si_code, NameOf(kCodeNames, aSignal, anInfo.si_code));
  if (anInfo.si_code > 0 && anInfo.si_code != SI_KERNEL) {
    sFile.Add("fault address: 0x%" PRIxPTR "\n", reinterpret_cast<uintptr_t>(anInfo.si_addr));
  } else if (anInfo.si_code == SI_USER || anInfo.si_code == SI_TKILL || anInfo.si_code == SI_QUEUE) {
    sFile.Add("sender: process %d%s of user %u\n", static_cast<int>(anInfo.si_pid),
              anInfo.si_pid == getpid() ? " itself" : "", static_cast<unsigned>(anInfo.si_uid));
  }
}

void TellSignal(const CrashReport &aReport) {
  sFile.Add("signal: %d %s\n", aReport.Signal(), NameOf(kSignalNames, 0, aReport.Signal()));
  if (aReport.Info() != nullptr) TellOrigin(aReport.Signal(), *aReport.Info());
  sFile.Add("processor: %s\n", kProcessor);
  if (aReport.Interrupted() == nullptr) return;
  sFile.Add("registers:");
  for (const Register &theRegister : kRegisters)
    sFile.Add(" %s=0x%" PRIxPTR, theRegister.mName, ValueOf(theRegister, *aReport.Interrupted()));
  sFile.Add("\n");
}

// --- where --------------------------------------------------------------------------------------

void TellPlace(const char *aKey, uintptr_t anAddress) {
  if (const Module *const theModule = ModuleAt(anAddress)) {
    sFile.Add("%s: %s(+0x%" PRIxPTR ") [0x%" PRIxPTR "]\n", aKey, theModule->mPath,
              anAddress - theModule->mBias, anAddress);
  } else {
    sFile.Add("%s: [0x%" PRIxPTR "]\n", aKey, anAddress);
  }
}

// Like backtrace, this tells where calls return to; what was interrupted stands in front of its callers.
void TellFrames(const CrashReport &aReport) {
  if (aReport.Interrupted() != nullptr) TellPlace("crashed at", ProgramCounter(*aReport.Interrupted()));
  const BackTrace theTrace = LatestBackTrace();
  for (int i = 0; i < theTrace.mDepth; ++i) {
    char theKey[24];
    snprintf(theKey, sizeof(theKey), "frame %02d", i);
    TellPlace(theKey, reinterpret_cast<uintptr_t>(theTrace.mAddresses[i]));
  }
}

// Whether the trace was cut short, or ends in the very module that crashed: that one has no unwinding tables
// then, as the C library of some processors.
bool LacksCallers(const CrashReport &aReport) {
  const BackTrace theTrace = LatestBackTrace();
  if (aReport.Interrupted() == nullptr) return false;
  if (theTrace.mDepth < kShortestSoundTrace) return true;
  const Module *const theModule = ModuleAt(ProgramCounter(*aReport.Interrupted()));
  return theTrace.mDepth < kTraceDepth && theModule != nullptr &&
         theModule == ModuleAt(reinterpret_cast<uintptr_t>(theTrace.mAddresses[theTrace.mDepth - 1]));
}

// Words of the stack that may be where calls return to.
__attribute__((no_sanitize("address", "undefined"))) void TellStack(const ucontext_t &aContext) {
  PageGuard theGuard;
  const uintptr_t *thePlace =
      reinterpret_cast<const uintptr_t *>(StackPointer(aContext) & ~(sizeof(uintptr_t) - 1));
  for (int i = 0; i < kStackWordCount; ++i, ++thePlace) {
    if (!theGuard.MayRead(thePlace)) return;
    const Module *const theModule = ModuleAt(*thePlace);
    if (theModule == nullptr || !theModule->HasCodeAt(*thePlace)) continue;
    char theKey[24];
    snprintf(theKey, sizeof(theKey), "stack %03d", i);
    TellPlace(theKey, *thePlace & ~uintptr_t(1));
  }
}

// --- the machine --------------------------------------------------------------------------------

int CountDescriptors() {
  const int theFolder = open("/proc/self/fd", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (theFolder < 0) return -1;
  int theCount = -3;  // the folder itself, "." and ".."
  alignas(8) char theEntries[1024];
  for (;;) {
    const long theLength = syscall(SYS_getdents64, theFolder, theEntries, sizeof(theEntries));
    if (theLength <= 0) break;
    for (long thePlace = 0; thePlace < theLength; ++theCount) {
      constexpr long kPlaceOfLength = 16;  // behind the number of the file and the offset of the next entry
      uint16 theEntryLength;
      memcpy(&theEntryLength, theEntries + thePlace + kPlaceOfLength, sizeof(theEntryLength));
      if (theEntryLength == 0) break;
      thePlace += theEntryLength;
    }
  }
  close(theFolder);
  return theCount;
}

void TellMachine() {
  utsname theSystem;
  if (uname(&theSystem) == 0) {
    sFile.Add("kernel: %s %s %s\nmachine: %s\n", theSystem.sysname, theSystem.release, theSystem.version,
              theSystem.machine);
  }
  struct sysinfo theMemory;
  if (sysinfo(&theMemory) == 0) {
    constexpr uint64 kKilo = 1024;
    sFile.Add("free memory: %" PRIu64 " of %" PRIu64 " KiB\n",
              static_cast<uint64>(theMemory.freeram) * theMemory.mem_unit / kKilo,
              static_cast<uint64>(theMemory.totalram) * theMemory.mem_unit / kKilo);
  }
  rlimit theLimit;
  const int theCount = CountDescriptors();
  if (theCount >= 0 && getrlimit(RLIMIT_NOFILE, &theLimit) == 0) {
    // Without that of the crash file.
    sFile.Add("open descriptors: %d of %" PRIu64 "\n", theCount - 1, static_cast<uint64>(theLimit.rlim_cur));
  }
}

template <typename Step>
void Part(CrashOutlet anOutlet, Step aStep) {
  RunGuarded(anOutlet, aStep);
  RunGuarded(kCrashOutlet_CrashFile, [] { sFile.Write(); });
}

}  // namespace

// --- the file -----------------------------------------------------------------------------------

void CrashFile::Open() {
  mLength = 0;
  if (sProcess != getpid()) sCount = 0;
  sProcess = getpid();
  if (sCount == kMostFiles) return;
  ++sCount;

  const char *theFolder = nullptr;
  RunGuarded(kCrashOutlet_Environment, [&theFolder] {
    theFolder = secure_getenv(kFolderVariable);
    if (theFolder != nullptr && strnlen(theFolder, sizeof(sText)) > sizeof(sText) / 2) theFolder = nullptr;
  });
  if (theFolder == nullptr || *theFolder == '\0') theFolder = kFolder;
  RunGuarded(kCrashOutlet_CrashFile, [this, theFolder] {
    char theNumber[16] = "";
    if (sCount > 1) snprintf(theNumber, sizeof(theNumber), "_%d", sCount);
    snprintf(sText, sizeof(sText), "%s/zvos_crash_%d%s.txt", theFolder, static_cast<int>(getpid()),
             theNumber);
    // What stands there is of an earlier process, or a trap: a link is removed, not followed.
    unlink(sText);
    mDescriptor =
        AboveStandardStreams(open(sText, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
  });
}

void CrashFile::Close() {
  if (IsOpen()) close(mDescriptor);
  mDescriptor = 0;
}

void CrashFile::Add(const char *aFormat, ...) {
  if (mLength > sizeof(mText) / 2) Write();
  const size_t theRoom = sizeof(mText) - mLength;
  va_list theArguments;
  va_start(theArguments, aFormat);
  const int theLength = vsnprintf(mText + mLength, theRoom, aFormat, theArguments);
  va_end(theArguments);
  if (theLength <= 0) return;
  const size_t theEnd =
      static_cast<size_t>(theLength) < theRoom ? mLength + static_cast<size_t>(theLength) : sizeof(mText) - 1;
  for (; mLength < theEnd; ++mLength) {
    const unsigned char theByte = static_cast<unsigned char>(mText[mLength]);
    if ((theByte < ' ' && theByte != '\n') || theByte == 0x7f) mText[mLength] = '?';
  }
}

void CrashFile::Write() {
  WriteWhole(mDescriptor, mText, mLength);
  mLength = 0;
}

void WriteCrashFile(CrashReport &aReport) {
  const CrashReport::Addition theAddition(aReport);
  if (!theAddition.IsPossible()) return;
  sFile.Open();
  if (!sFile.IsOpen()) return;

  Part(kCrashOutlet_System, [] {
    sFile.Add("crash file: 1\n");
    TellTime();
    TellProgram();
    TellThread();
  });
  Part(kCrashOutlet_CrashFile, [&aReport] { TellSignal(aReport); });
  RunGuarded(kCrashOutlet_Modules, FindModules);
  Part(kCrashOutlet_CrashFile, [&aReport] { TellFrames(aReport); });
  Part(kCrashOutlet_Modules, [] { TellModules(sFile); });
  Part(kCrashOutlet_System, TellMachine);
  if (LacksCallers(aReport)) Part(kCrashOutlet_Modules, [&aReport] { TellStack(*aReport.Interrupted()); });
  Part(kCrashOutlet_Stamps, [] { TellStamps(sFile); });
  Part(kCrashOutlet_CrashFile, [] { sFile.Add("end: complete\n"); });
  sFile.Close();
}

}  // namespace zvos
