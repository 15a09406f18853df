// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The program `zvos`: finds the command, helps, and makes sure that the output was really written.

#include "commands/commands.h"
#include "shared/files.h"
#include "shared/stamp.h"
#include "shared/terminal.h"

#include <new>

namespace {

using namespace tool;

const Command *const kCommands[] = {
    &kCommand_Demo,   &kCommand_Revision, &kCommand_Net,   &kCommand_Serve, &kCommand_Get,
    &kCommand_IGMP,   &kCommand_List,     &kCommand_Lock,  &kCommand_Run,   &kCommand_Pipe,
    &kCommand_Plugin, &kCommand_Console,  &kCommand_Crash,
};

const Command *FindCommand(const std::string &aName) {
  for (const Command *theCommand : kCommands) {
    if (aName == theCommand->mName) return theCommand;
  }
  return nullptr;
}

int HelpOnProgram() {
  Print(
      "usage: zvos COMMAND [ARGUMENT...]\n"
      "       zvos help [COMMAND]\n"
      "       zvos --version\n"
      "\n"
      "Shows what libzvOS does on this machine.\n"
      "\n"
      "Commands:\n");
  for (const Command *theCommand : kCommands)
    Print("  %-10s %s\n", theCommand->mName, theCommand->mSummary);
  Print(
      "  %-10s %s\n"
      "\n"
      "Examples:\n"
      "  zvos demo                        a tour of the library on its own executable\n"
      "  zvos revision /usr/lib/lib*.so   which builds are these?\n"
      "  zvos net                         what does the library see of the network?\n"
      "  zvos serve /var/log              let other machines fetch these files ...\n"
      "  zvos get device:53211 syslog     ... like this\n"
      "  zvos lock backup -- rsync ...    run a command that nobody else runs at the same time\n"
      "  zvos pipe listen radio           talk to another process of this machine\n"
      "  zvos crash zvos_crash_4711.txt   where in the source was that?\n"
      "  zvos help demo                   more about one command\n"
      "\n"
      "Exit status: 0 all well, 1 a check failed or the output could not be written,\n"
      "2 wrong usage or a file that is missing or unreadable. Some commands have further\n"
      "ones, which the help on them names.\n"
      "\n"
      "Environment:\n"
      "  ZVLOG      what the library logs, and where to: a level (none, error, warning, info,\n"
      "             debug), MODULE=level, to=stderr, to=file:PATH or to=syslog, with commas\n"
      "             between them. Example: ZVLOG=debug,FILE=error,to=file:/tmp/zv.log\n"
      "  NO_COLOR   when set, no colours; there are none either unless the output is a terminal\n",
      "help", "explain the program or a command");
  return kStatus_Good;
}

int HelpOn(const Command &aCommand) {
  const char *theBlank = aCommand.mOperands[0] != '\0' ? " " : "";
  Print("usage: zvos %s%s%s\n\n%s", aCommand.mName, theBlank, aCommand.mOperands, aCommand.mHelp);
  return kStatus_Good;
}

int UnknownCommand(const std::string &aName) {
  Complain("unknown command '%s', see 'zvos --help'", aName.c_str());
  return kStatus_BadInput;
}

int Help(const Arguments &anArguments) {
  if (anArguments.empty()) return HelpOnProgram();
  if (anArguments.size() > 1) {
    Complain("help: one COMMAND at a time, see 'zvos --help'");
    return kStatus_BadInput;
  }
  const Command *theCommand = FindCommand(anArguments[0]);
  return theCommand != nullptr ? HelpOn(*theCommand) : UnknownCommand(anArguments[0]);
}

int Version() {
  Print("zvos %s, %s\n", ZVOS_VERSION, ReadStamp(OwnExecutable()).mText.c_str());
  return kStatus_Good;
}

int RunOption(const std::string &anOption, bool afAlone) {
  const bool afHelp = anOption == "--help" || anOption == "-h";
  if (!afHelp && anOption != "--version") {
    Complain("unknown option '%s', see 'zvos --help'", anOption.c_str());
    return kStatus_BadInput;
  }
  if (!afAlone) {
    Complain("%s takes no argument, see 'zvos --help'", anOption.c_str());
    return kStatus_BadInput;
  }
  return afHelp ? HelpOnProgram() : Version();
}

bool AsksForHelp(const Arguments &anArguments) {
  for (const std::string &theArgument : anArguments) {
    if (theArgument == "--") return false;
    if (theArgument == "--help" || theArgument == "-h") return true;
  }
  return false;
}

int Run(const Arguments &anArguments) {
  if (anArguments.empty()) {
    Complain("no command given, see 'zvos --help'");
    return kStatus_BadInput;
  }
  const std::string &theName = anArguments[0];
  const Arguments theRest(anArguments.begin() + 1, anArguments.end());
  if (!theName.empty() && theName[0] == '-') return RunOption(theName, theRest.empty());
  if (theName == "help") return Help(theRest);

  const Command *theCommand = FindCommand(theName);
  if (theCommand == nullptr) return UnknownCommand(theName);
  if (AsksForHelp(theRest)) return HelpOn(*theCommand);
  return theCommand->mRun(theRest);
}

}  // namespace

int main(int aCount, char **anArguments) {
  PrepareStandardStreams();
  try {
    return FinishOutput(Run(Arguments(anArguments + (aCount > 0 ? 1 : 0), anArguments + aCount)));
  } catch (const std::bad_alloc &) {
    Complain("out of memory");
    return FinishOutput(kStatus_CheckFailed);
  }
}
