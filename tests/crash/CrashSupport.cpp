// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "CrashSupport.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <sstream>

using ::testing::Contains;
using ::testing::EndsWith;
using ::testing::StartsWith;

namespace zvtest {

namespace {

constexpr int kShortestSoundTrace = 6;

// Sanitizers shall leave the signals to the library.
[[maybe_unused]] const char kSanitizerOptions[] =
    "handle_segv=0:handle_sigfpe=0:handle_sigbus=0:handle_sigill=0:handle_abort=0:allow_user_segv_handler=1:"
    "detect_leaks=0:use_sigaltstack=0:report_bugs=0";

std::vector<std::string> Environment(const std::string &aLogSettings, const std::string &aFolder) {
  std::vector<std::string> theVariables = {"ZVLOG=" + aLogSettings, "ZVOS_CRASH_DIR=" + aFolder};
#if defined(__SANITIZE_ADDRESS__)
  theVariables.push_back(std::string("ASAN_OPTIONS=") + strstr(kSanitizerOptions, "handle_segv"));
#elif defined(__SANITIZE_THREAD__)
  theVariables.push_back(std::string("TSAN_OPTIONS=") + kSanitizerOptions);
#endif
  return theVariables;
}

// The emulator has a line of its own to say about the death of its program.
std::string WithoutLinesOfTheEmulator(const std::string &aText) {
  if (!IsEmulated()) return aText;
  std::string theText = aText;
  for (size_t theStart; (theStart = theText.find("qemu: uncaught target signal")) != std::string::npos;)
    theText.erase(theStart, theText.find('\n', theStart) + 1 - theStart);
  return theText;
}

}  // namespace

std::string Crash::All() const {
  std::string theText = "--- trace\n" + mTrace + "--- log\n";
  for (const LogLine &theLine : mLog)
    theText += theLine.mThread + " " + theLine.mText + "\n";
  return theText + "--- standard error\n" + mChild.mError;
}

bool Crash::Logged(const std::string &aText) const {
  for (const LogLine &theLine : mLog) {
    if (theLine.mText == aText) return true;
  }
  return false;
}

std::string Crash::TraceFileName() const {
  return "/tmp/backtrace_" + std::to_string(mChild.mPid) + ".txt";
}

std::string Crash::CrashFileName(int aNumber) const {
  return "zvos_crash_" + std::to_string(mChild.mPid) + (aNumber > 1 ? "_" + std::to_string(aNumber) : "") +
         ".txt";
}

std::string Crash::CrashFile(int aNumber) const {
  const auto theFile = mCrashFiles.find(CrashFileName(aNumber));
  return theFile != mCrashFiles.end() ? theFile->second : "";
}

std::vector<LogLine> ParseLog(const std::string &aText) {
  std::vector<LogLine> theLines;
  std::istringstream theStream(aText);
  for (std::string theLine; std::getline(theStream, theLine);) {
    std::istringstream theWords(theLine);
    std::string theTime, theLevel, theModule, theThread, thePlace;
    theWords >> theTime >> theLevel >> theModule;
    std::getline(theWords >> std::ws, theThread, ']');  // its name may have blanks
    theWords >> thePlace;
    if (!theWords || theThread.front() != '[' || thePlace.back() != ':' || theWords.get() != ' ') {
      ADD_FAILURE() << "no line of a log: " << theLine;
      continue;
    }
    std::string theText;
    std::getline(theWords, theText);
    theLines.push_back({theThread + ']', theLevel + " " + theModule, theText});
  }
  return theLines;
}

Crash RunCrash(const std::string &aMode, const std::string &aProgram, const std::string &anArgument,
               LogTo aLogTo, const std::string &aFolderOfCrashFiles) {
  const TempFolder theFolder;
  const TempFolder theCrashFiles;
  const std::string theLogFile = theFolder.File("log");
  const std::string theSettings = aLogTo == LogTo::File ? "debug,to=file:" + theLogFile : "debug";
  Crash theCrash;
  theCrash.mChild = RunProgram(
      BuiltProgram(aProgram), {aMode, anArgument},
      Environment(theSettings, aFolderOfCrashFiles.empty() ? theCrashFiles.Path() : aFolderOfCrashFiles), 60);
  theCrash.mChild.mError = WithoutLinesOfTheEmulator(theCrash.mChild.mError);
  theCrash.mLog = ParseLog(aLogTo == LogTo::File ? ReadWholeFile(theLogFile) : theCrash.mChild.mError);
  const std::string theTraceFile = theCrash.TraceFileName();
  struct stat theStatus;
  theCrash.mfTraceExists = stat(theTraceFile.c_str(), &theStatus) == 0 && S_ISREG(theStatus.st_mode);
  if (theCrash.mfTraceExists) theCrash.mTrace = ReadWholeFile(theTraceFile);
  unlink(theTraceFile.c_str());
  for (const auto &theFile : std::filesystem::directory_iterator(theCrashFiles.Path())) {
    if (theFile.is_regular_file())
      theCrash.mCrashFiles[theFile.path().filename().string()] = ReadWholeFile(theFile.path().string());
  }
  return theCrash;
}

void ExpectDeathBy(const Crash &aCrash, std::initializer_list<int> aSignals) {
  EXPECT_FALSE(aCrash.mChild.mfTimedOut);
  EXPECT_LT(aCrash.mChild.mSeconds, kLongestDeath);
  ASSERT_TRUE(aCrash.mChild.mfSignaled) << "exit status " << aCrash.mChild.mStatus << "\n" << aCrash.All();
  EXPECT_THAT(std::vector<int>(aSignals), Contains(aCrash.mChild.mSignal)) << aCrash.All();
}

std::vector<std::string> FramesOfCompleteFile(const Crash &aCrash) {
  const std::string theStart = "log\n";
  const std::string theEnd = "\nlog end\n";
  const std::string &theTrace = aCrash.mTrace;
  EXPECT_THAT(theTrace, StartsWith(theStart)) << aCrash.All();
  EXPECT_THAT(theTrace, EndsWith("\n" + theEnd)) << aCrash.All();
  std::vector<std::string> theFrames;
  if (theTrace.size() < theStart.size() + theEnd.size()) return theFrames;

  std::istringstream theStream(
      theTrace.substr(theStart.size(), theTrace.size() - theStart.size() - theEnd.size()));
  for (std::string theLine; std::getline(theStream, theLine);)
    theFrames.push_back(theLine);

  size_t theNumber = 0;
  const size_t theWords = theFrames.size() < kStackWords ? theFrames.size() : theFrames.size() - kStackWords;
  for (const std::string &theFrame : theFrames) {
    char theStartOfLine[16];
    const bool fWord = theWords < static_cast<size_t>(kShortestSoundTrace) && theNumber >= theWords;
    snprintf(theStartOfLine, sizeof(theStartOfLine), "%02zu: ", fWord ? theNumber - theWords : theNumber);
    EXPECT_THAT(theFrame, StartsWith(theStartOfLine)) << aCrash.All();
    ++theNumber;
  }
  return theFrames;
}

std::vector<std::string> ThroughSystemLibrary([[maybe_unused]] const std::vector<std::string> &aNames) {
#if defined(__arm__)
  return {};
#else
  return aNames;
#endif
}

void ExpectFramesName(const Crash &aCrash, const std::vector<std::string> &aFrames,
                      const std::vector<std::string> &aNames) {
  size_t theFrame = 0;
  for (const std::string &theName : aNames) {
    while (theFrame < aFrames.size() && aFrames[theFrame].find("(" + theName + "+") == std::string::npos)
      ++theFrame;
    EXPECT_LT(theFrame, aFrames.size()) << theName << " is not in its place in the trace\n" << aCrash.All();
  }
}

void ExpectCompleteLog(const Crash &aCrash, int aSignal, const std::vector<std::string> &aFrames) {
  const std::string theAnnouncement = "zvOSThread: Received fatal signal: " + std::to_string(aSignal);
  std::string theThread;
  std::vector<std::string> theTexts;
  for (const LogLine &theLine : aCrash.mLog) {
    if (theThread.empty() && theLine.mText == theAnnouncement) {
      theThread = theLine.mThread;
      EXPECT_EQ("error DEFAULT", theLine.mLevelAndModule);
    }
    if (theLine.mThread == theThread) theTexts.push_back(theLine.mText);
  }
  ASSERT_FALSE(theTexts.empty()) << aCrash.All();

  const std::string theFile = aCrash.TraceFileName();
  const bool fShort = aFrames.size() >= kStackWords;
  const size_t theDepth = fShort ? aFrames.size() - kStackWords : aFrames.size();
  std::vector<std::string> theExpected = {
      theAnnouncement, "Backtracing in " + theFile + " afMemoryIsCorrupted 0",
      "Backtracing this thread (pid=" + std::to_string(aCrash.mChild.mPid) +
          ", depth=" + std::to_string(theDepth) + "):"};
  for (size_t i = 0; i < aFrames.size(); ++i) {
    if (fShort && i == theDepth) {
      theExpected.push_back("Here is a stack dump, try to find something on your own:");
    }
    theExpected.push_back(aFrames[i]);
  }
  if (fShort) theExpected.push_back("[End of stack dump (4*256 bytes)");
  theExpected.push_back("The file " + theFile + " is closed");
  theExpected.push_back("zvOSThread: Defaulting to default signal handler");
  EXPECT_EQ(theExpected, theTexts) << aCrash.All();
}

void ExpectCompleteReport(const Crash &aCrash, int aSignal, const std::vector<std::string> &aNames) {
  ExpectDeathBy(aCrash, {aSignal});
  const std::vector<std::string> theFrames = FramesOfCompleteFile(aCrash);
  ExpectFramesName(aCrash, theFrames, aNames);
  ExpectCompleteLog(aCrash, aSignal, theFrames);
}

}  // namespace zvtest
