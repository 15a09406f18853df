// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Small helpers of the tests: temporary folders, child processes, waiting for events.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace zvtest {

// A folder of its own under the temporary directory, removed with all its contents at the end.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder &) = delete;
  TempFolder &operator=(const TempFolder &) = delete;

  const std::string &Path() const { return mPath; }  // absolute, no '/' at the end
  std::string File(const std::string &aName) const { return mPath + "/" + aName; }

 private:
  std::string mPath;
};

std::string ReadWholeFile(const std::string &aPath);
void WriteWholeFile(const std::string &aPath, const std::string &aText);

// Whether there is anything of that name, a dangling link too.
bool Exists(const std::string &aPath);

// The text that the library handed over, which is released; kNoText without one.
constexpr char kNoText[] = "(no text)";
std::string Take(char *aText);

std::string WithoutBlanks(std::string aText);

// What became of a child process.
struct ChildResult {
  bool mfSignaled;  // died by a signal
  int mSignal;      // which
  int mStatus;      // exit status otherwise
  double mSeconds;  // from start to end
  bool mfTimedOut;  // had to be killed by us
  int mPid;
  std::string mOutput;  // standard output
  std::string mError;   // standard error
};

// Forks, runs aBody in the child (which then exits with its result) and waits at most
// aSeconds. Standard output and error are collected.
ChildResult RunInChild(const std::function<int()> &aBody, double aSeconds = 30);

// Runs a part of the current test in a child process, which may change its folder, its user and what the
// library keeps. Expectations that fail there, memory that leaks there under the leak checker, and more
// than aSeconds, fail the test.
void InOwnProcess(const std::function<void()> &aBody, double aSeconds = 30);

// The two steps of it, for those that look at the result themselves. The child's status is 0, or 1 when
// something failed or leaked there.
ChildResult RunPartInChild(const std::function<void()> &aBody, double aSeconds);
void ExpectPassed(const ChildResult &aResult);

// Runs a program of the build (through the emulator when the tests themselves run in one) with
// arguments and additional environment "NAME=value" and waits at most aSeconds.
ChildResult RunProgram(const std::string &aPath, const std::vector<std::string> &anArguments,
                       const std::vector<std::string> &anEnvironment = {}, double aSeconds = 60);

// Path of a program of the build, for example BuiltProgram("zvos").
std::string BuiltProgram(const std::string &aName);
// Path of a library of the build, for example BuiltLibrary("libzvOS.so").
std::string BuiltLibrary(const std::string &aName);

// Whether the tests run under an emulator of the processor, whose system calls are not all complete.
bool IsEmulated();

// In a child: the superuser, whom no permission stops, becomes somebody else; others stay who they are.
// False, with errno, when that is not possible.
[[nodiscard]] bool BecomeNobody();

bool IsOpen(int aDescriptor);

// Removes the trace and the crash files that a process has left in their usual folder.
void RemoveCrashFiles(int aProcess);

// The descriptors that this process has open.
std::set<int> OpenDescriptors();
// Those that were not among these.
std::set<int> DescriptorsBesides(const std::set<int> &someFormer);

// Repeats a cheap test until it holds or the time is over; for conditions without an event.
bool WaitUntil(const std::function<bool()> &aTest, double aSeconds = 10);

}  // namespace zvtest
