// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Where the figures come from, and keeping that place quiet and the same for every row.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace zvbench {

// Names and values, in the order of printing.
using Facts = std::vector<std::pair<std::string, std::string>>;

// Keeps the program, and every thread it starts, on one processor. Returns it, or -1.
int PinToOneProcessor();

Facts DescribeMachine(int aProcessor);

// The load averages of the system, to tell a calm run from a disturbed one.
std::string LoadAverages();

// A thread that sleeps as long as the object lives. With it the process has more than one thread
// in every row: the C library takes short cuts in a process that has only ever had one.
class SleepingThread {
 public:
  SleepingThread();
  ~SleepingThread();
  SleepingThread(const SleepingThread &) = delete;
  SleepingThread &operator=(const SleepingThread &) = delete;

 private:
  struct State;
  State *mState;
};

}  // namespace zvbench
