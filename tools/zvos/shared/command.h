// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What a command of the program is, and how the program may end.
#pragma once

#include <string>
#include <vector>

namespace tool {

using Arguments = std::vector<std::string>;

// Exit statuses of the program. Some commands have more of their own.
enum {
  kStatus_Good = 0,
  kStatus_CheckFailed = 1,  // something was tested and did not hold, or the output was not written
  kStatus_BadInput = 2,     // wrong usage, or a file that is missing or unreadable
  kStatus_NameTaken = 75    // another process holds the name; it may be tried again
};

struct Command {
  const char *mName;
  const char *mOperands;                      // as in the usage line; empty when there are none
  const char *mSummary;                       // one line
  const char *mHelp;                          // what it does, and examples; lines end in a newline
  int (*mRun)(const Arguments &anArguments);  // returns the exit status
};

}  // namespace tool
