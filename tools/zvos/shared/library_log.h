// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the library logs while a command runs that says in its own words what fails.
#pragma once

#include "shared/descriptor.h"
#include "shared/problem.h"

#include <zvOS/zvDefines.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace tool {

// The modules log nothing, unless the environment variable ZVLOG asks for messages.
void KeepModulesQuiet(std::initializer_list<zvLogModule> someModules);

// KeepModulesQuiet for the modules that take part in the network commands.
void KeepNetworkQuiet();

// What a line of the table of sockets has in a log.
constexpr char kSocketTableMark[] = " debug SOCKETTRACKER ";

// The socket tables in a log, the oldest first, without what the log puts before their lines.
std::vector<std::string> SocketTablesIn(const std::string &aLog);

// The log of the library in a file without a name: what one process logs, another can read.
class LogCollection {
 public:
  // Lets the library log there from now on, in children as well.
  MaybeProblem Open();

  // All that was logged since the last call.
  std::string Take();

 private:
  Descriptor mFile;
};

}  // namespace tool
