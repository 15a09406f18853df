// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Running the program zvos beside a test, and talking to it over sockets of the test's own.
#pragma once

#include "support/Support.h"

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace zvtest {

constexpr bool kSixtyFourBits = sizeof(void *) == 8;

// How long a test waits for what it expects, in seconds.
constexpr int kPatience = 20;

// What the file service says first.
inline constexpr char kReady[] = "zvos-files 1 ready\n";

// A program with what it takes to run it here.
std::vector<std::string> WordsToRun(const std::string &aProgram);

// The program zvos with what it takes to run it here, and its arguments.
std::vector<std::string> ZvosWords(const std::vector<std::string> &anArguments);

// The program ready to replace a process. Nothing is allocated then, which in a child of a process with
// more threads might never end.
class ZvosImage {
 public:
  explicit ZvosImage(const std::vector<std::string> &anArguments);
  int Exec() const;  // returns only on failure

 private:
  std::vector<std::string> mWords;
  std::vector<char *> mPointers;
};

// Replaces the process by the program; returns only on failure.
int ExecZvos(const std::vector<std::string> &anArguments);

// In a child: nothing is ignored and nothing blocked, whatever the tests themselves were started with.
void ResetSignals();

// The program run to its end. The trace file of a crash on purpose is removed.
ChildResult Zvos(const std::vector<std::string> &anArguments,
                 const std::vector<std::string> &anEnvironment = {});

// The program, or another path to it, with what it takes to run it here, for a shell.
std::string ZvosCommand(const std::string &aProgram = BuiltProgram("zvos"));

// Replaces the process by a shell; returns only on failure.
int Shell(const std::string &aCommand);

// A shell command run to its end, as above.
ChildResult RunShell(const std::string &aCommand);

// The first match of an extended regular expression and its groups; none when there is no match.
std::vector<std::string> Search(const std::string &aText, const std::string &aPattern);

// Removes the trace file that an output names, if it does, and the crash files beside it.
void RemoveTraceFile(const std::string &anOutput);

// The paths of the installed programs that tell lines of the programs of this build.
std::vector<std::string> LineReaders();

// How the program ended by itself, and what it said.
void ExpectOutcome(const ChildResult &aResult, int aStatus, const std::string &anOutput,
                   const std::string &anError);

// One line on the standard error, nothing on the standard output, and the status of wrong usage.
void ExpectRefusal(const ChildResult &aResult, const std::string &aLine);

// A process that has died has no command line any more, even while it has not been waited for.
bool IsAlive(pid_t aProcess);

// The names in a folder, sorted.
std::vector<std::string> NamesIn(const std::string &aFolder);

// A file's worth of bytes, the same every time.
std::string SomeBytes(size_t aLength);

// The program running in a child process, killed at the end.
class RunningZvos {
 public:
  // aSetup runs in the child, before the program.
  explicit RunningZvos(const std::vector<std::string> &anArguments, const std::string &aFolder = "/",
                       const std::function<void()> &aSetup = nullptr);
  ~RunningZvos();
  RunningZvos(const RunningZvos &) = delete;
  RunningZvos &operator=(const RunningZvos &) = delete;

  // Waits until the standard output contains a text; false, and a failure, when it does not come.
  bool WaitForOutput(const std::string &aText);

  // The port in the first line, "serving DIR on ADDRESS:PORT".
  uint16_t Port();

  pid_t Pid() const { return mPid; }
  void Kill(int aSignal) const;

  // Waits for the end; the status as waitpid gives it. Output and error are complete then.
  int Wait();

  // Ends the reading of the standard output.
  void CloseOutput();

  const std::string &Output() const { return mOutput; }
  const std::string &Error() const { return mError; }

 private:
  bool Read(int aMilliseconds);

  pid_t mPid;
  int mOutputPipe;
  int mErrorPipe;
  std::string mOutput;
  std::string mError;
};

// A TCP connection to this machine that does what a test wants.
class RawClient {
 public:
  explicit RawClient(uint16_t aPort, const char *anAddress = "127.0.0.1");
  explicit RawClient(int aDescriptor) : mDescriptor(aDescriptor) {}
  ~RawClient();
  RawClient(const RawClient &) = delete;
  RawClient &operator=(const RawClient &) = delete;

  bool IsConnected() const { return mDescriptor >= 0; }
  int Descriptor() const { return mDescriptor; }
  void Send(const std::string &aText) const;
  std::string Line();                 // with its end; what there was when the connection ends before
  std::string Bytes(size_t aLength);  // less when the connection ends before
  std::string Rest();                 // until the connection ends
  void Break();                       // closes it so that the other side gets a reset

 private:
  int mDescriptor;
};

// A server that accepts one connection and does what a test wants.
class FakeServer {
 public:
  explicit FakeServer(const std::function<void(RawClient &)> &aTalk);
  ~FakeServer();
  FakeServer(const FakeServer &) = delete;
  FakeServer &operator=(const FakeServer &) = delete;

  std::string Address() const;

 private:
  int mListener;
  uint16_t mPort;
  std::thread mThread;
};

}  // namespace zvtest
