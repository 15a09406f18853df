// Back-traces of the calling thread.
//
// Every step may run in the handler of a fatal signal, see private/CrashReport.h: files and
// standard output are written without the C library's streams, and what can break is guarded.

#include <zvOS/zvDebug.h>
#include <zvOS/zvLogFunctions.h>

#include "private/CrashReport.h"

#include <execinfo.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>

using zvos::RunGuarded;

namespace {

constexpr char FILE_BACKTRACE_NAME[] = "/tmp/backtrace_%d.txt";
constexpr size_t kFileNameSize = 128;
constexpr size_t kLineSize = 1000;
constexpr int kTraceDepth = 64;
constexpr int kShortestSoundTrace = 6;
constexpr int kStackWordCount = 256;
constexpr int kBufferTraceDepth = 1024;
constexpr int kPatience = 1000;  // ms, for a reader of standard output that does not keep up

// Off the stack, which may be damaged.
void *sBackTraceBuf[kTraceDepth];

// The first back-trace of a process loads the unwinder, which allocates: too late in a crash.
__attribute__((constructor)) void LoadUnwinder() {
  void *theAddress;
  backtrace(&theAddress, 1);
}

void WriteWhole(int aDescriptor, const char *aText, size_t aLength) {
  while (aLength > 0) {
    const ssize_t theCount = write(aDescriptor, aText, aLength);
    if (theCount < 0 && errno == EINTR) continue;
    if (theCount < 0 && errno == EAGAIN) {
      pollfd theRoom = {aDescriptor, POLLOUT, 0};
      if (poll(&theRoom, 1, kPatience) > 0) continue;
      return;
    }
    if (theCount <= 0) return;
    aText += theCount;
    aLength -= static_cast<size_t>(theCount);
  }
}

void WriteText(int aDescriptor, const char *aText) {
  WriteWhole(aDescriptor, aText, strlen(aText));
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
  RunGuarded(zvos::kCrashOutlet_Output, [=] { WriteText(STDOUT_FILENO, aLine); });
}

// The file of a trace: what is written is in it at once, whatever becomes of the process.
class TraceFile {
 public:
  TraceFile() {
    snprintf(mName, sizeof(mName), FILE_BACKTRACE_NAME, static_cast<int>(getpid()));
    // The name can be guessed by anybody who may write to /tmp: a link is not followed.
    RunGuarded(zvos::kCrashOutlet_File, [this] {
      mDescriptor = open(mName, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0666);
      if (mDescriptor < 0 || mDescriptor > STDERR_FILENO) return;
      // A program without standard streams: what is printed must not end up in the file.
      const int theLowDescriptor = mDescriptor;
      mDescriptor = fcntl(theLowDescriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
      close(theLowDescriptor);
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
    WriteText(STDOUT_FILENO, theNumber);
    WriteText(STDOUT_FILENO, aSymbol);
    WriteText(STDOUT_FILENO, "\n");
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

// Reads the stack beyond the variable at aStart on purpose, towards the callers.
__attribute__((noinline, no_sanitize("address", "undefined"))) void CopyStackWords(
    const volatile uint32 *aStart, void **aWords) {
  for (int i = 0; i < kStackWordCount; ++i)
    aWords[i] = reinterpret_cast<void *>(static_cast<uintptr_t>(aStart[i]));
}

}  // namespace

extern "C" __attribute__((no_sanitize("address"))) void zvDebug_BackTraceCurrent(int afMemoryIsCorrupted) {
  volatile int theDepth = 0;
  RunGuarded(zvos::kCrashOutlet_Unwinder, [&theDepth] { theDepth = backtrace(sBackTraceBuf, kTraceDepth); });
  const int theFrameCount = theDepth;

  TraceFile theFile;
  if (theFile.IsOpen()) {
    const char *const theName = theFile.Name();
    RunGuarded(zvos::kCrashOutlet_Log,
               [=] { Log_Info("Backtracing in %s afMemoryIsCorrupted %d\n", theName, afMemoryIsCorrupted); });
    theFile.Write("log\n");
  }

  if (afMemoryIsCorrupted == 0) {
    FlushOutput();
    {
      Symbols theSymbols(sBackTraceBuf, theFrameCount);
      char theLine[kLineSize];
      snprintf(theLine, sizeof(theLine), "Backtracing this thread (pid=%d, depth=%d):\n",
               static_cast<int>(getpid()), theFrameCount);
      LogAndPrint(theLine);
      TraceAddresses(theFile, sBackTraceBuf, theFrameCount, theSymbols);
    }

    if (theFrameCount < kShortestSoundTrace) {
      LogAndPrint("Here is a stack dump, try to find something on your own:\n");
      void *theWords[kStackWordCount] = {};
      RunGuarded(zvos::kCrashOutlet_Stack, [&theWords, &theDepth] {
        CopyStackWords(reinterpret_cast<const volatile uint32 *>(&theDepth), theWords);
      });
      {
        Symbols theSymbols(theWords, kStackWordCount);
        TraceAddresses(theFile, theWords, kStackWordCount, theSymbols);
      }
      RunGuarded(zvos::kCrashOutlet_Log,
                 [] { Log_Error("[End of stack dump (4*%d bytes)\n", kStackWordCount); });
    }
  }

  if (theFile.IsOpen()) {
    const char *const theName = theFile.Name();
    RunGuarded(zvos::kCrashOutlet_Log, [=] { Log_Info("The file %s is closed\n", theName); });
    theFile.Write("\nlog end\n");
  }
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
