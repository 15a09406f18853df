// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A process that crashed, as the tests find it: the signal it died by, when, the report in the log and the
// trace in its file.
#pragma once

#include "support/Support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

namespace zvtest {

constexpr double kLongestDeath = 10;
constexpr size_t kStackWords = 256;

// See Crash.h.
constexpr int kExitSurvived = 42;
constexpr int kExitDone = 47;
constexpr int kExitTimerGiven = 48;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kfOwnAllocator = false;
#else
constexpr bool kfOwnAllocator = true;
#endif

#define NEEDS_OWN_ALLOCATOR() \
  if (!zvtest::kfOwnAllocator) GTEST_SKIP() << "the sanitizer's allocator cannot be replaced"

#if defined(__SANITIZE_THREAD__)
constexpr bool kfSignalsOfTheSystem = false;
#else
constexpr bool kfSignalsOfTheSystem = true;
#endif

#define NEEDS_SIGNALS_OF_THE_SYSTEM() \
  if (!zvtest::kfSignalsOfTheSystem)  \
  GTEST_SKIP()                        \
      << "ThreadSanitizer calls handlers from a frame of its own and holds other signals back meanwhile"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t kFramesOfSanitizer = 1;  // it stands in for the C library's backtrace()
#else
constexpr size_t kFramesOfSanitizer = 0;
#endif

struct LogLine {
  std::string mThread;
  std::string mLevelAndModule;
  std::string mText;
};

struct Crash {
  ChildResult mChild;
  std::vector<LogLine> mLog;
  bool mfTraceExists;
  std::string mTrace;
  std::map<std::string, std::string> mCrashFiles;  // by their names

  std::string All() const;
  bool Logged(const std::string &aText) const;
  std::string TraceFileName() const;
  // Of the report that is the process's first, second and so on.
  std::string CrashFileName(int aNumber = 1) const;
  std::string CrashFile(int aNumber = 1) const;
};

// The lines of the companion library: time, level, module, [process:thread name], file:line: text.
std::vector<LogLine> ParseLog(const std::string &aText);

enum class LogTo { File, StandardError };

// Runs a program that crashes in the way that the mode names, and collects what is left. Crash files are
// written to a folder of their own, or to the one named, which then keeps them.
Crash RunCrash(const std::string &aMode, const std::string &aProgram = "crash_child",
               const std::string &anArgument = "", LogTo aLogTo = LogTo::File,
               const std::string &aFolderOfCrashFiles = "");

void ExpectDeathBy(const Crash &aCrash, std::initializer_list<int> aSignals);

// The frames in the trace file, which is complete from its first line to its last; without newlines.
// Words of the stack, if any, follow the frames.
std::vector<std::string> FramesOfCompleteFile(const Crash &aCrash);

// The names to expect when the crash is inside the system's C library, or none: on ARM that library
// has no unwinding tables, and a trace ends where it enters it.
std::vector<std::string> ThroughSystemLibrary(const std::vector<std::string> &aNames);

// The trace names these functions, in this order.
void ExpectFramesName(const Crash &aCrash, const std::vector<std::string> &aFrames,
                      const std::vector<std::string> &aNames);

// The first report in the log is whole: announced, with every frame of the file, and ended, all by
// one thread.
void ExpectCompleteLog(const Crash &aCrash, int aSignal, const std::vector<std::string> &aFrames);

// Died by the signal, in time, with a whole report that names these functions, innermost first.
void ExpectCompleteReport(const Crash &aCrash, int aSignal, const std::vector<std::string> &aNames);

}  // namespace zvtest
