// What a command of the program is. Each has a file of its own that defines it; main.cpp holds the
// table of them. To add one: a file, a line here, a line in the table.
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

extern const Command kCommand_Console;
extern const Command kCommand_Demo;
extern const Command kCommand_Get;
extern const Command kCommand_IGMP;
extern const Command kCommand_List;
extern const Command kCommand_Lock;
extern const Command kCommand_Net;
extern const Command kCommand_Pipe;
extern const Command kCommand_Plugin;
extern const Command kCommand_Revision;
extern const Command kCommand_Run;
extern const Command kCommand_Serve;

// Takes the operands of a command that has no options of its own; "--" ends the options. Complains
// and returns false when there is an option all the same. For commands with options: options.h.
bool TakeOperands(const Command &aCommand, const Arguments &anArguments, Arguments &anOperands);

}  // namespace tool
