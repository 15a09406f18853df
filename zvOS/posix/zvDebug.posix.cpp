// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Back-traces of the calling thread.
//
// Every step may run in the handler of a fatal signal, see posix/CrashReport.h: files and
// standard output are written without the C library's streams, and what can break is guarded.

#include <zvOS/zvDebug.h>
#include <zvOS/zvLogFunctions.h>

#include "posix/BackTrace.h"
#include "posix/CrashReport.h"
#include "posix/CrashSteps.h"
#include "private/Failure.h"
#include "private/SignalFrame.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

using zvos::CrashReport;
using zvos::kShortestSoundTrace;
using zvos::kTraceDepth;
using zvos::RunGuarded;

namespace {

constexpr char FILE_BACKTRACE_NAME[] = "/tmp/backtrace_%d.txt";
constexpr size_t kFileNameSize = 128;
constexpr size_t kLineSize = 1000;
constexpr int kStackWordCount = 256;
constexpr int kBufferTraceDepth = 1024;

// Off the stack, which may be damaged.
void *sBackTraceBuf[kTraceDepth];
int sBackTraceDepth;

std::atomic<bool> sfUnwinderWasCalled;

void WriteText(int aDescriptor, const char *aText) {
  zvos::WriteWhole(aDescriptor, aText, strlen(aText));
}

void Print(const char *aText) {
  if (zvos::WriteWhole(STDOUT_FILENO, aText, strlen(aText))) return;
  if (CrashReport *const theReport = CrashReport::Writing()) theReport->GiveUp(zvos::kCrashOutlet_Output);
}

// Prints what the program has printed so far, so that the trace comes behind it. Another thread may
// hold the stream for ever, so it is only tried.
void FlushOutput() {
  RunGuarded(zvos::kCrashOutlet_OutputBuffer, [] {
    if (ftrylockfile(stdout) != 0) return;
    fflush(stdout);
    funlockfile(stdout);
  });
}

// The same line to the log and to standard output.
void LogAndPrint(const char *aLine) {
  RunGuarded(zvos::kCrashOutlet_Log, [=] { Log_Error("%s", aLine); });
  RunGuarded(zvos::kCrashOutlet_Output, [=] { Print(aLine); });
}

// The file of a trace: what is written is in it at once, whatever becomes of the process.
class TraceFile {
 public:
  TraceFile() {
    snprintf(mName, sizeof(mName), FILE_BACKTRACE_NAME, static_cast<int>(getpid()));
    // The name can be guessed by anybody who may write to /tmp: a link is not followed.
    RunGuarded(zvos::kCrashOutlet_File, [this] {
      mDescriptor =
          zvos::AboveStandardStreams(open(mName, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0666));
    });
  }
  ~TraceFile() {
    if (IsOpen()) close(mDescriptor);
  }
  TraceFile(const TraceFile &) = delete;
  TraceFile &operator=(const TraceFile &) = delete;

  bool IsOpen() const { return mDescriptor != -1; }
  const char *Name() const { return mName; }

  void Write(const char *aText) {
    if (!IsOpen()) return;
    RunGuarded(zvos::kCrashOutlet_File, [=] { WriteText(mDescriptor, aText); });
  }

 private:
  char mName[kFileNameSize];
  int mDescriptor = -1;
};

// The texts of addresses. When the allocator is broken, which is how many crashes begin, they are
// made one by one without memory of its.
class Symbols {
 public:
  Symbols(void *const *anAddresses, int aCount) : mAddresses(anAddresses) {
    mfAllocated =
        RunGuarded(zvos::kCrashOutlet_Allocator, [=] { mTexts = backtrace_symbols(anAddresses, aCount); });
  }
  ~Symbols() {
    if (!mfAllocated) return;
    RunGuarded(zvos::kCrashOutlet_Allocator, [=] { free(mTexts); });
  }
  Symbols(const Symbols &) = delete;
  Symbols &operator=(const Symbols &) = delete;

  // The text of one address, valid until the next call, or NULL when there is none.
  const char *Text(int anIndex) {
    if (!mfAllocated) return TextWithoutMemory(mAddresses[anIndex]);
    return mTexts != nullptr ? mTexts[anIndex] : nullptr;
  }

 private:
  const char *TextWithoutMemory(void *anAddress) {
    mText[0] = '\0';
    RunGuarded(zvos::kCrashOutlet_Loader, [&] {
      int thePipe[2];
      if (pipe2(thePipe, O_CLOEXEC | O_NONBLOCK) != 0) return;
      backtrace_symbols_fd(&anAddress, 1, thePipe[1]);
      const ssize_t theLength = read(thePipe[0], mText, sizeof(mText) - 1);
      close(thePipe[0]);
      close(thePipe[1]);
      mText[theLength > 0 ? theLength : 0] = '\0';
      mText[strcspn(mText, "\n")] = '\0';
    });
    return mText[0] != '\0' ? mText : nullptr;
  }

  void *const *mAddresses;
  char **mTexts = nullptr;
  bool mfAllocated;
  char mText[kLineSize];
};

void TraceSymbol(TraceFile &aFile, int aNumber, const char *aSymbol) {
  char theLine[kLineSize];
  const int theLength = snprintf(theLine, sizeof(theLine), "%02d: %s\n", aNumber, aSymbol);

  // A symbol that no line can hold goes to the file as it is, without number and newline.
  aFile.Write(strlen(aSymbol) >= sizeof(theLine) ? aSymbol : theLine);
  if (theLength < static_cast<int>(sizeof(theLine))) {
    LogAndPrint(theLine);
    return;
  }
  RunGuarded(zvos::kCrashOutlet_Log, [=] { Log_Error("%02d: %s\n", aNumber, aSymbol); });
  RunGuarded(zvos::kCrashOutlet_Output, [=] {
    char theNumber[16];
    snprintf(theNumber, sizeof(theNumber), "%02d: ", aNumber);
    Print(theNumber);
    Print(aSymbol);
    Print("\n");
  });
}

void TraceAddresses(TraceFile &aFile, void *const *anAddresses, int aCount, Symbols &aSymbols) {
  for (int i = 0; i < aCount; ++i) {
    const char *const theSymbol = aSymbols.Text(i);
    if (theSymbol != nullptr) {
      TraceSymbol(aFile, i, theSymbol);
    } else {
      char theLine[kLineSize];
      snprintf(theLine, sizeof(theLine), "%02d: [0x%p]\n", i, anAddresses[i]);
      LogAndPrint(theLine);
    }
  }
}

// --- calls that lead nowhere --------------------------------------------------------------------

// Whether a module that is loaded at aBase, with its headers, has code at the address.
bool HasCodeAt(const void *aBase, uintptr_t anAddress) {
  const uintptr_t theBase = reinterpret_cast<uintptr_t>(aBase);
  const auto *const theHeader = static_cast<const ElfW(Ehdr) *>(aBase);
  const auto *const theSegments = reinterpret_cast<const ElfW(Phdr) *>(theBase + theHeader->e_phoff);
  const uintptr_t theBias = theHeader->e_type == ET_EXEC ? 0 : theBase;
  for (int i = 0; i < theHeader->e_phnum; ++i) {
    const ElfW(Phdr) &theSegment = theSegments[i];
    if (theSegment.p_type == PT_LOAD && (theSegment.p_flags & PF_X) != 0 &&
        anAddress - theBias - theSegment.p_vaddr < theSegment.p_memsz)
      return true;
  }
  return false;
}

bool IsCode(uintptr_t anAddress) {
  bool afCode = false;
  RunGuarded(zvos::kCrashOutlet_Loader, [=, &afCode] {
    Dl_info theInfo;
    afCode =
        dladdr(reinterpret_cast<void *>(anAddress), &theInfo) != 0 && HasCodeAt(theInfo.dli_fbase, anAddress);
  });
  return afCode;
}

// How many addresses the unwinder had found when it was given up.
int CountFound() {
  int theCount = kTraceDepth;
  while (theCount > 0 && sBackTraceBuf[theCount - 1] == nullptr)
    --theCount;
  return theCount;
}

int FindFrame(uintptr_t anAddress, int aDepth) {
  int theFrame = 0;
  while (theFrame < aDepth && reinterpret_cast<uintptr_t>(sBackTraceBuf[theFrame]) != anAddress)
    ++theFrame;
  return theFrame;
}

// A call to an address that is nobody's code, which no unwinder gets beyond. The registers that the signal
// has saved are changed, as if the call had returned, and put back.
struct StrayCall {
  uintptr_t mAddress;
  uintptr_t mStackPointer;
  uintptr_t mCallSite;
};
StrayCall sStrayCall;

ucontext_t *Interrupted() {
  const CrashReport *const theReport = CrashReport::Writing();
  return theReport != nullptr ? theReport->Interrupted() : nullptr;
}

// Whether the signal has interrupted such a call; a new trace then begins at the call site.
bool LeaveStrayCall() {
  ucontext_t *const theContext = Interrupted();
  if (theContext == nullptr) return false;
  sStrayCall = {zvos::ProgramCounter(*theContext), zvos::StackPointer(*theContext), 0};
  if (IsCode(sStrayCall.mAddress)) return false;
  RunGuarded(zvos::kCrashOutlet_Stack, [=] { sStrayCall.mCallSite = zvos::ReturnAddress(*theContext); });
  if (!IsCode(sStrayCall.mCallSite)) return false;
  zvos::SetPlace(theContext, sStrayCall.mCallSite, sStrayCall.mStackPointer + zvos::kReturnSize);
  memset(sBackTraceBuf, 0, sizeof(sBackTraceBuf));
  return true;
}

// The stray address is shown in front of its call site; gives the depth with it.
int ReturnToStrayCall() {
  zvos::SetPlace(Interrupted(), sStrayCall.mAddress, sStrayCall.mStackPointer);
  const int theDepth = CountFound();
  const int theFrame = FindFrame(sStrayCall.mCallSite, theDepth);
  if (theFrame == kTraceDepth) return theDepth;
  memmove(sBackTraceBuf + theFrame + 1, sBackTraceBuf + theFrame,
          sizeof(sBackTraceBuf[0]) * static_cast<size_t>(kTraceDepth - theFrame - 1));
  sBackTraceBuf[theFrame] = reinterpret_cast<void *>(sStrayCall.mAddress);
  return theDepth < kTraceDepth ? theDepth + 1 : kTraceDepth;
}

// --- the stack dump -----------------------------------------------------------------------------

// Reads the stack beyond the variable at aStart on purpose, towards the callers, as far as there is one.
// Behind the registers that a signal has saved it goes on where the interrupted code had its stack.
__attribute__((noinline, no_sanitize("address", "undefined"))) void CopyStackWords(
    const volatile uint32 *aStart, const ucontext_t *anInterrupted, void **aWords) {
  zvos::PageGuard theGuard;
  for (int i = 0; i < kStackWordCount; ++i, ++aStart) {
    if (anInterrupted != nullptr &&
        static_cast<const volatile void *>(aStart) == &anInterrupted->uc_sigmask) {
      aStart = reinterpret_cast<const volatile uint32 *>(zvos::StackPointer(*anInterrupted));
    }
    if (!theGuard.MayRead(aStart)) return;
    aWords[i] = reinterpret_cast<void *>(static_cast<uintptr_t>(*aStart));
  }
}

__attribute__((noinline)) void DumpStack(TraceFile &aFile, const volatile int *aStart) {
  LogAndPrint("Here is a stack dump, try to find something on your own:\n");
  const ucontext_t *const theInterrupted = Interrupted();
  void *theWords[kStackWordCount] = {};
  RunGuarded(zvos::kCrashOutlet_Stack, [=, &theWords] {
    CopyStackWords(reinterpret_cast<const volatile uint32 *>(aStart), theInterrupted, theWords);
  });
  Symbols theSymbols(theWords, kStackWordCount);
  TraceAddresses(aFile, theWords, kStackWordCount, theSymbols);
  RunGuarded(zvos::kCrashOutlet_Log, [] { Log_Error("[End of stack dump (4*%d bytes)\n", kStackWordCount); });
}

// --- the trace ----------------------------------------------------------------------------------

void TellFrames(TraceFile &aFile, int aDepth) {
  Symbols theSymbols(sBackTraceBuf, aDepth);
  char theLine[kLineSize];
  snprintf(theLine, sizeof(theLine), "Backtracing this thread (pid=%d, depth=%d):\n",
           static_cast<int>(getpid()), aDepth);
  LogAndPrint(theLine);
  TraceAddresses(aFile, sBackTraceBuf, aDepth, theSymbols);
}

// Everything behind the capture: aDepth is in the frame of the function that the trace begins with.
__attribute__((noinline)) void TellTrace(const volatile int *aDepth, int afMemoryIsCorrupted) {
  sBackTraceDepth = *aDepth;
  TraceFile theFile;
  if (theFile.IsOpen()) {
    const char *const theName = theFile.Name();
    RunGuarded(zvos::kCrashOutlet_Log,
               [=] { Log_Info("Backtracing in %s afMemoryIsCorrupted %d\n", theName, afMemoryIsCorrupted); });
    theFile.Write("log\n");
  }

  if (afMemoryIsCorrupted == 0) {
    FlushOutput();
    TellFrames(theFile, *aDepth);
    if (*aDepth < kShortestSoundTrace) DumpStack(theFile, aDepth);
  }

  if (theFile.IsOpen()) {
    const char *const theName = theFile.Name();
    RunGuarded(zvos::kCrashOutlet_Log, [=] { Log_Info("The file %s is closed\n", theName); });
    theFile.Write("\nlog end\n");
  }
}

}  // namespace

zvos::BackTrace zvos::LatestBackTrace() {
  return {sBackTraceBuf, sBackTraceDepth};
}

void zvos::LoadUnwinder() {
  if (sfUnwinderWasCalled.load(std::memory_order_acquire)) return;
  const ErrnoAtEnd theError;
  void *theAddress;
  backtrace(&theAddress, 1);
  sfUnwinderWasCalled.store(true, std::memory_order_release);
}

// The unwinder and the words of a stack dump begin in the frame of this function, which therefore holds
// nothing but the depth and calls the unwinder itself.
extern "C" __attribute__((no_sanitize("address"))) void zvDebug_BackTraceCurrent(int afMemoryIsCorrupted) {
  volatile int theDepth = 0;
  memset(sBackTraceBuf, 0, sizeof(sBackTraceBuf));
  ZVOS_RUN_GUARDED_HERE(zvos::kCrashOutlet_Unwinder, theDepth = backtrace(sBackTraceBuf, kTraceDepth));
  if (theDepth == 0) theDepth = CountFound();
  if (LeaveStrayCall()) {
    ZVOS_RUN_GUARDED_HERE(zvos::kCrashOutlet_CallSite, backtrace(sBackTraceBuf, kTraceDepth));
    theDepth = ReturnToStrayCall();
  }
  TellTrace(&theDepth, afMemoryIsCorrupted);
}

extern "C" int zvDebug_GetBackTrace(char *anOutputBuffer, unsigned int anOutputBufferLen) {
  void *theAddresses[kBufferTraceDepth];
  const int theDepth = backtrace(theAddresses, kBufferTraceDepth);
  char **const theTexts = backtrace_symbols(theAddresses, theDepth);
  if (theTexts == nullptr) return 0;

  unsigned theOffset = 0;
  for (int i = 0; i < theDepth; ++i) {
    const int theLength =
        snprintf(anOutputBuffer + theOffset, anOutputBufferLen - theOffset, "%02d: %s\n", i, theTexts[i]);
    if (theLength < 0) break;
    theOffset += static_cast<unsigned>(theLength);
    if (theOffset >= anOutputBufferLen) break;
  }
  free(theTexts);
  return static_cast<int>(theOffset);
}
