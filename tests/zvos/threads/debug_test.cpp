// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Back-traces into the log, to standard output and into the file. Into a buffer: debug_text_test.cpp.

#include "debug_support.h"

#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <ucontext.h>

using namespace zvtest;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using namespace zvtest::debug;

namespace {

constexpr int kStackDumpWords = 256;

// Everything that one or more traces of a child process left behind.
struct Trace {
  ChildResult mChild;
  std::string mLog;  // "level module text" of every message, joined
  std::string mFile;
  bool mfFileExists;

  std::string FileName() const { return Format("/tmp/backtrace_%d.txt", mChild.mPid); }
  std::string Opened(int afCorrupted = 0) const {
    return "3 0 Backtracing in " + FileName() + Format(" afMemoryIsCorrupted %d\n", afCorrupted);
  }
  std::string Closed() const { return "3 0 The file " + FileName() + " is closed\n"; }
  std::string Headline(int aDepth) const {
    return Format("Backtracing this thread (pid=%d, depth=%d):\n", mChild.mPid, aDepth);
  }
};

// Runs aBody in a child of this process and collects its traces.
Trace TraceInChild(const std::function<void()> &aBody) {
  const TempFolder theFolder;
  Trace theTrace;
  theTrace.mChild = RunInChild([&] {
    RecordingLog theLog;
    aBody();
    fflush(stdout);
    std::string theText;
    for (const Message &theMessage : theLog.Messages()) {
      theText += Format("%d %d ", theMessage.mLevel, theMessage.mModule) + theMessage.mText;
    }
    WriteWholeFile(theFolder.File("log"), theText);
    return 0;
  });
  theTrace.mLog = ReadWholeFile(theFolder.File("log"));
  theTrace.mfFileExists = access(theTrace.FileName().c_str(), F_OK) == 0;
  if (theTrace.mfFileExists) theTrace.mFile = ReadWholeFile(theTrace.FileName());
  remove(theTrace.FileName().c_str());
  EXPECT_FALSE(theTrace.mChild.mfTimedOut);
  EXPECT_FALSE(theTrace.mChild.mfSignaled) << "signal " << theTrace.mChild.mSignal << theTrace.mChild.mError;
  EXPECT_EQ(0, theTrace.mChild.mStatus) << theTrace.mChild.mError;
  return theTrace;
}

// A block as backtrace_symbols returns it: released with one free().
char **NewSymbols(const std::vector<std::string> &aTexts) {
  size_t theSize = aTexts.size() * sizeof(char *);
  for (const std::string &theText : aTexts)
    theSize += theText.size() + 1;
  char **theSymbols = static_cast<char **>(malloc(theSize));
  char *theEnd = reinterpret_cast<char *>(theSymbols + aTexts.size());
  for (size_t i = 0; i < aTexts.size(); ++i) {
    theSymbols[i] = theEnd;
    memcpy(theEnd, aTexts[i].c_str(), aTexts[i].size() + 1);
    theEnd += aTexts[i].size() + 1;
  }
  return theSymbols;
}

}  // namespace

// Is on the stack meanwhile, and has a name that traces show.
extern "C" __attribute__((visibility("default"), noinline)) void CallBackTraceCurrent();
extern "C" void CallBackTraceCurrent() {
  zvDebug_BackTraceCurrent(0);
  asm volatile("");  // the call is not the function's last
}

namespace {

// --- zvDebug_BackTraceCurrent -----------------------------------------------------------------

TEST(BackTraceCurrent, TellsTheStackToLogOutputAndFile) {
  const Trace theTrace = TraceInChild([] { zvDebug_BackTraceCurrent(0); });

  ASSERT_THAT(theTrace.mFile, StartsWith("log\n"));
  ASSERT_THAT(theTrace.mFile, EndsWith("\n\nlog end\n"));
  const std::string theFrames = theTrace.mFile.substr(4, theTrace.mFile.size() - 4 - strlen("\nlog end\n"));
  const std::vector<std::string> theLines = Lines(theFrames);
  const int theDepth = static_cast<int>(theLines.size());
  ASSERT_GE(theDepth, 6) << theTrace.mFile;
  ASSERT_LE(theDepth, 64);
  for (int i = 0; i < theDepth; ++i)
    EXPECT_THAT(theLines[static_cast<size_t>(i)], StartsWith(Format("%02d: ", i)));
  EXPECT_THAT(theFrames, HasSubstr("libzvOS.so"));
  EXPECT_THAT(theFrames, HasSubstr(OwnProgramName()));

  EXPECT_EQ(theTrace.Headline(theDepth) + theFrames, theTrace.mChild.mOutput);
  EXPECT_EQ(
      theTrace.Opened() + "1 0 " + theTrace.Headline(theDepth) + Joined(theLines, "1 0 ") + theTrace.Closed(),
      theTrace.mLog);
}

TEST(BackTraceCurrent, WritesEveryFrameAsTheSystemNamesIt) {
  const std::vector<void *> theAddresses = SomeAddresses(64);
  const std::vector<std::string> theLines = FrameLines(theAddresses);
  const Trace theTrace = TraceInChild([&] {
    const CapturedAddresses theCapture(theAddresses);
    zvDebug_BackTraceCurrent(0);
    if (theCapture.Capacity() != 64) abort();
  });
  EXPECT_EQ("log\n" + Joined(theLines) + "\nlog end\n", theTrace.mFile);
  EXPECT_EQ(theTrace.Headline(64) + Joined(theLines), theTrace.mChild.mOutput);
  EXPECT_EQ(theTrace.Opened() + "1 0 " + theTrace.Headline(64) + Joined(theLines, "1 0 ") + theTrace.Closed(),
            theTrace.mLog);
}

TEST(BackTraceCurrent, SixFramesAreEnough) {
  const std::vector<void *> theAddresses = SomeAddresses(6);
  const std::vector<std::string> theLines = FrameLines(theAddresses);
  const Trace theTrace = TraceInChild([&] {
    const CapturedAddresses theCapture(theAddresses);
    zvDebug_BackTraceCurrent(0);
  });
  EXPECT_EQ("log\n" + Joined(theLines) + "\nlog end\n", theTrace.mFile);
}

void ExpectStackDump(const Trace &aTrace, const std::vector<std::string> &aFrames) {
  const int theDepth = static_cast<int>(aFrames.size());
  const std::string theAnnouncement = "Here is a stack dump, try to find something on your own:\n";
  const std::string theEnd = "[End of stack dump (4*256 bytes)\n";
  const std::string theFileStart = "log\n" + Joined(aFrames);
  const std::string theFileEnd = "\nlog end\n";
  ASSERT_THAT(aTrace.mFile, StartsWith(theFileStart));
  ASSERT_THAT(aTrace.mFile, EndsWith(theFileEnd));
  const std::string theDump =
      aTrace.mFile.substr(theFileStart.size(), aTrace.mFile.size() - theFileStart.size() - theFileEnd.size());
  const std::vector<std::string> theWords = Lines(theDump);
  ASSERT_EQ(static_cast<size_t>(kStackDumpWords), theWords.size()) << aTrace.mFile;
  for (int i = 0; i < kStackDumpWords; ++i) {
    EXPECT_THAT(theWords[static_cast<size_t>(i)], StartsWith(Format("%02d: ", i)));
  }
  EXPECT_EQ(aTrace.Headline(theDepth) + Joined(aFrames) + theAnnouncement + theDump, aTrace.mChild.mOutput);
  EXPECT_EQ(aTrace.Opened() + "1 0 " + aTrace.Headline(theDepth) + Joined(aFrames, "1 0 ") + "1 0 " +
                theAnnouncement + Joined(theWords, "1 0 ") + "1 0 " + theEnd + aTrace.Closed(),
            aTrace.mLog);
}

class ShortStack : public ::testing::TestWithParam<size_t> {};

TEST_P(ShortStack, IsFollowedByWordsOfIt) {
  const std::vector<void *> theAddresses = SomeAddresses(GetParam());
  const std::vector<std::string> theLines = FrameLines(theAddresses);
  const Trace theTrace = TraceInChild([&] {
    const CapturedAddresses theCapture(theAddresses);
    zvDebug_BackTraceCurrent(0);
  });
  ExpectStackDump(theTrace, theLines);
}

INSTANTIATE_TEST_SUITE_P(Depths, ShortStack, ::testing::Values(0u, 1u, 5u));

TEST(BackTraceCurrent, BeginsWithItselfAndItsCaller) {
  const Trace theTrace = TraceInChild([] { CallBackTraceCurrent(); });
  const std::vector<std::string> theLines = Lines(theTrace.mFile);
  ASSERT_GT(theLines.size(), 3u);
  EXPECT_THAT(theLines[1], HasSubstr("(zvDebug_BackTraceCurrent+"));
  EXPECT_THAT(theLines[2], HasSubstr("(CallBackTraceCurrent+"));
}

TEST(BackTraceCurrent, DumpsTheStackOfItsCallers) {
  if (sizeof(void *) != 4) GTEST_SKIP() << "a word of the dump is half an address here";
  const std::vector<void *> theAddresses = SomeAddresses(3);
  const Trace theTrace = TraceInChild([&] {
    const CapturedAddresses theCapture(theAddresses);
    CallBackTraceCurrent();
  });
  const std::vector<std::string> theLines = Lines(theTrace.mFile);
  ASSERT_GT(theLines.size(), 4u + kStackDumpWords);
  // Its own frame holds little more than the depth and where it returns to.
  const std::string theStart = Joined({theLines.begin() + 4, theLines.begin() + 4 + 64});
  EXPECT_THAT(theStart, HasSubstr("(CallBackTraceCurrent+"));
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // which know nothing of such stacks
ucontext_t sCaller;

TEST(BackTraceCurrent, DumpEndsWhereTheStackEnds) {
  const Trace theTrace = TraceInChild([&] {
    constexpr size_t kSize = 64 * 1024;
    char *const theStack =
        static_cast<char *>(mmap(nullptr, kSize + 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (mprotect(theStack, kSize, PROT_READ | PROT_WRITE) != 0) abort();
    ucontext_t theRoutine;
    getcontext(&theRoutine);
    theRoutine.uc_stack = {theStack, 0, kSize};
    theRoutine.uc_link = &sCaller;
    makecontext(&theRoutine, CallBackTraceCurrent, 0);
    const CapturedAddresses theCapture(SomeAddresses(3));
    swapcontext(&sCaller, &theRoutine);
  });
  const std::vector<std::string> theLines = Lines(theTrace.mFile);
  ASSERT_GT(theLines.size(), 4u + kStackDumpWords - 1);
  EXPECT_EQ("00: [0x3]\n", theLines[4]);
  EXPECT_EQ("255: [(nil)]\n", theLines[4 + kStackDumpWords - 1]);
}
#endif

TEST(BackTraceCurrent, DumpsTheStackFromItsDepthCounterOn) {
  // The first word of the dump is the depth counter itself: an odd depth shows as an address.
  const std::vector<void *> theAddresses = SomeAddresses(3);
  const Trace theTrace = TraceInChild([&] {
    const CapturedAddresses theCapture(theAddresses);
    zvDebug_BackTraceCurrent(0);
  });
  const std::vector<std::string> theLines = Lines(theTrace.mFile);
  ASSERT_GT(theLines.size(), 4u);
  EXPECT_EQ("00: [0x3]\n", theLines[4]);
}

TEST(BackTraceCurrent, ShortStackAtTheStartOfAThreadIsDumpedWithoutLeavingIt) {
  const std::vector<void *> theAddresses = SomeAddresses(2);
  const Trace theTrace = TraceInChild([&] {
    const std::function<void()> theBody = [&] {
      const CapturedAddresses theCapture(theAddresses);
      zvDebug_BackTraceCurrent(0);
    };
    pthread_t theThread;
    const auto theStart = [](void *anArgument) -> void * {
      (*static_cast<const std::function<void()> *>(anArgument))();
      return nullptr;
    };
    if (pthread_create(&theThread, nullptr, theStart, const_cast<std::function<void()> *>(&theBody)) != 0)
      abort();
    pthread_join(theThread, nullptr);
  });
  ExpectStackDump(theTrace, FrameLines(theAddresses));
}

TEST(BackTraceCurrent, FallsBackToRawAddressesWithoutSymbols) {
  const std::vector<void *> theAddresses = SomeAddresses(7);
  std::vector<std::string> theLines;
  for (size_t i = 0; i < theAddresses.size(); ++i) {
    theLines.push_back(Format("%02d: [0x%p]\n", static_cast<int>(i), theAddresses[i]));
  }
  const Trace theTrace = TraceInChild([&] {
    const CapturedAddresses theCapture(theAddresses);
    const Fault theFault("backtrace_symbols", ENOMEM);
    zvDebug_BackTraceCurrent(0);
    if (theFault.Hits() != 1) abort();
  });
  EXPECT_EQ("log\n\nlog end\n", theTrace.mFile);
  EXPECT_EQ(theTrace.Headline(7) + Joined(theLines), theTrace.mChild.mOutput);
  EXPECT_EQ(theTrace.Opened() + "1 0 " + theTrace.Headline(7) + Joined(theLines, "1 0 ") + theTrace.Closed(),
            theTrace.mLog);
}

TEST(BackTraceCurrent, WritesAVeryLongSymbolAsItIs) {
  const std::string theLongest(994, 'f');  // with number and newline it just fits
  const std::string theLong(1000, 'l');
  const std::string theHuge(5000, 'h');
  const std::vector<std::string> theTexts = {"a", theLong, "b", theLongest, theHuge, "c"};
  const Trace theTrace = TraceInChild([&] {
    const CapturedAddresses theCapture(SomeAddresses(theTexts.size()));
    Fault theFault("backtrace_symbols", 0);
    theFault.Returning(reinterpret_cast<intptr_t>(NewSymbols(theTexts)));
    zvDebug_BackTraceCurrent(0);
    if (theFault.Hits() != 1) abort();
  });
  EXPECT_EQ("log\n00: a\n" + theLong + "02: b\n03: " + theLongest + "\n" + theHuge + "05: c\n\nlog end\n",
            theTrace.mFile);
  std::vector<std::string> theLines;
  for (size_t i = 0; i < theTexts.size(); ++i) {
    theLines.push_back(Format("%02d: ", static_cast<int>(i)) + theTexts[i] + "\n");
  }
  EXPECT_EQ(theTrace.Headline(6) + Joined(theLines), theTrace.mChild.mOutput);
  EXPECT_THAT(theTrace.mLog, HasSubstr("1 0 01: " + theLong + "\n"));
  EXPECT_THAT(theTrace.mLog, HasSubstr("1 0 04: " + theHuge + "\n"));
}

TEST(BackTraceCurrent, SymbolsAtTheLimitOfTheLineDoNotDisturbTheFile) {
  for (size_t theLength = 994; theLength <= 1001; ++theLength) {
    const std::vector<std::string> theTexts = {"a", "b", "c", "d", "e", std::string(theLength, 'x')};
    const Trace theTrace = TraceInChild([&] {
      const CapturedAddresses theCapture(SomeAddresses(theTexts.size()));
      Fault theFault("backtrace_symbols", 0);
      theFault.Returning(reinterpret_cast<intptr_t>(NewSymbols(theTexts)));
      zvDebug_BackTraceCurrent(0);
    });
    EXPECT_THAT(theTrace.mFile, StartsWith("log\n00: a\n01: b\n02: c\n03: d\n04: e\n")) << theLength;
    EXPECT_THAT(theTrace.mFile, HasSubstr(std::string(900, 'x'))) << theLength;
    EXPECT_THAT(theTrace.mFile, EndsWith("\nlog end\n")) << theLength;
  }
}

TEST(BackTraceCurrent, OfCorruptedMemoryMakesNoSymbolsAndWritesOnlyTheFrameOfTheFile) {
  const Trace theTrace = TraceInChild([] {
    const int theAllocations = CallsOf("malloc");
    const int theSymbols = CallsOf("backtrace_symbols");
    zvDebug_BackTraceCurrent(1);
    if (CallsOf("malloc") != theAllocations) abort();
    if (CallsOf("backtrace_symbols") != theSymbols) abort();
  });
  EXPECT_EQ("log\n\nlog end\n", theTrace.mFile);
  EXPECT_EQ("", theTrace.mChild.mOutput);
  EXPECT_EQ(theTrace.Opened(1) + theTrace.Closed(), theTrace.mLog);
}

TEST(BackTraceCurrent, LogsTheFlagAsGiven) {
  const Trace theTrace = TraceInChild([] { zvDebug_BackTraceCurrent(-3); });
  EXPECT_EQ(theTrace.Opened(-3) + theTrace.Closed(), theTrace.mLog);
}

TEST(BackTraceCurrent, GoesOnWithoutAFileThatCannotBeOpened) {
  const std::vector<void *> theAddresses = SomeAddresses(8);
  const std::vector<std::string> theLines = FrameLines(theAddresses);
  const auto theBody = [&](int afCorrupted) {
    const CapturedAddresses theCapture(theAddresses);
    if (mkdir(Format("/tmp/backtrace_%d.txt", getpid()).c_str(), 0700) != 0) abort();
    zvDebug_BackTraceCurrent(afCorrupted);
    if (rmdir(Format("/tmp/backtrace_%d.txt", getpid()).c_str()) != 0) abort();
  };
  const Trace theTrace = TraceInChild([&] { theBody(0); });
  EXPECT_EQ(theTrace.Headline(8) + Joined(theLines), theTrace.mChild.mOutput);
  EXPECT_EQ("1 0 " + theTrace.Headline(8) + Joined(theLines, "1 0 "), theTrace.mLog);

  const Trace theCorrupted = TraceInChild([&] { theBody(1); });
  EXPECT_EQ("", theCorrupted.mChild.mOutput);
  EXPECT_EQ("", theCorrupted.mLog);
}

TEST(BackTraceCurrent, DoesNotFollowALinkUnderTheNameOfItsFile) {
  const zvtest::TempFolder theFolder;
  const std::string theTarget = theFolder.File("target");
  zvtest::WriteWholeFile(theTarget, "kept");
  const Trace theTrace = TraceInChild([&] {
    const std::string theName = Format("/tmp/backtrace_%d.txt", getpid());
    if (symlink(theTarget.c_str(), theName.c_str()) != 0) abort();
    zvDebug_BackTraceCurrent(1);
    if (unlink(theName.c_str()) != 0) abort();
  });
  EXPECT_EQ("", theTrace.mLog);
  EXPECT_EQ("kept", zvtest::ReadWholeFile(theTarget));
}

TEST(BackTraceCurrent, SecondTraceReplacesTheFile) {
  const std::vector<void *> theMany = SomeAddresses(40);
  const std::vector<void *> theFew = SomeAddresses(6);
  const std::vector<std::string> theLines = FrameLines(theFew);
  const Trace theTrace = TraceInChild([&] {
    {
      const CapturedAddresses theCapture(theMany);
      zvDebug_BackTraceCurrent(0);
    }
    const CapturedAddresses theCapture(theFew);
    zvDebug_BackTraceCurrent(0);
  });
  EXPECT_EQ("log\n" + Joined(theLines) + "\nlog end\n", theTrace.mFile);
}

TEST(BackTraceCurrent, LeavesNoDescriptorOpen) {
  const Trace theTrace = TraceInChild([] {
    zvDebug_BackTraceCurrent(0);
    const int theNextBefore = dup(0);
    close(theNextBefore);
    zvDebug_BackTraceCurrent(0);
    zvDebug_BackTraceCurrent(1);
    const int theNextAfter = dup(0);
    if (theNextAfter != theNextBefore) abort();
    close(theNextAfter);
  });
  EXPECT_TRUE(theTrace.mfFileExists);
}

}  // namespace
