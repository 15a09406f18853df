// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Child processes that go on in this program.
#pragma once

#include "shared/signals.h"

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace tool {

// Runs a function in a child process, whose exit status it returns; -1 when there is none. Should this
// process die, the child gets the signal aSignalAtDeath; what the child itself has started does not. No
// other thread may be running.
pid_t Fork(const std::function<int()> &aBody, int aSignalAtDeath);

// Waits for the end of a child; the status as waitpid gives it.
int WaitForEnd(pid_t aProcess);

// The path of a program that the shell would find by its name, or an empty text.
std::string FindProgram(const std::string &aName);

// Runs a program without a shell and without input, and takes what it prints; its complaints go nowhere.
// False when it cannot be run, or does not end with status 0.
bool ReadFromProgram(const std::vector<std::string> &someWords, std::string &anOutput);

// A child that this process waits for as a shell does: a signal of those held back that reaches only this
// process is passed on to the child. Signals are held back until the object ends.
class ChildProcess {
 public:
  ChildProcess(const std::function<int()> &aBody, int aSignalAtDeath);
  ChildProcess(const ChildProcess &) = delete;
  ChildProcess &operator=(const ChildProcess &) = delete;

  pid_t Pid() const { return mPid; }  // -1 when there is none

  // Waits for the end; the status as waitpid gives it.
  int Wait();

 private:
  HeldSignals mSignals;
  pid_t mPid;
};

// The status of a process as a shell tells it: its own, or 128 and the number of a signal.
int ShellStatus(int aWaitStatus);

}  // namespace tool
