// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Running code or programs in a process of their own, and seeing how it ends.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace zvlogtest {

struct Ending {
  bool mfTimedOut = false;  // it hung, and was killed for it
  int mSignal = 0;          // 0: it exited
  int mStatus = 0;
  std::string mOutput;  // standard output
  std::string mError;   // standard error
};

// Forks and runs aBody, whose result becomes the exit status.
Ending RunInChild(const std::function<int()> &aBody);

// Runs the probe, with additional environment variables "NAME=value".
Ending RunProbe(const std::vector<std::string> &anArguments, const std::vector<std::string> &anEnvironment);

}  // namespace zvlogtest
