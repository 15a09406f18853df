// What the library logs while a command runs that says in its own words what fails.
#pragma once

#include <zvOS/zvDefines.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace tool {

// The modules log nothing, unless the environment variable ZVLOG asks for messages.
void KeepModulesQuiet(std::initializer_list<zvLogModule> someModules);

// KeepModulesQuiet for the modules that take part in the network commands.
void KeepNetworkQuiet();

// The socket tables in a log, the oldest first, without what the log puts before their lines.
std::vector<std::string> SocketTablesIn(const std::string &aLog);

// The log of the library in a file without a name: what one process logs, another can read.
class LogCollection {
 public:
  LogCollection();
  ~LogCollection();
  LogCollection(const LogCollection &) = delete;
  LogCollection &operator=(const LogCollection &) = delete;

  // Lets the library log there from now on, in children as well. Empty, or why that is not possible.
  std::string Open();

  // All that was logged since the last call.
  std::string Take();

 private:
  std::string mPath;  // as long as the file has a name
  int mFile;
};

}  // namespace tool
