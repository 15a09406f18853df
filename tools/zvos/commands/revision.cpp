// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// `zvos revision`: the stamps of files.

#include "commands/commands.h"
#include "shared/files.h"
#include "shared/options.h"
#include "shared/stamp.h"
#include "shared/terminal.h"

#include <algorithm>

namespace tool {

namespace {

int ShowRevision(const std::string &aFile) {
  if (!IsReadable(aFile)) return kStatus_BadInput;
  const Stamp theStamp = ReadStamp(AbsolutePath(aFile));
  Print("%s: %s\n", aFile.c_str(), theStamp.mText.c_str());
  return theStamp.mfFound ? kStatus_Good : kStatus_CheckFailed;
}

int RunRevision(const Arguments &anArguments) {
  Arguments theFiles;
  if (!TakeOperands(kCommand_Revision, anArguments, theFiles)) return kStatus_BadInput;
  if (theFiles.empty()) {
    Complain("revision: no FILE given, see 'zvos help revision'");
    return kStatus_BadInput;
  }
  int theStatus = kStatus_Good;
  for (const std::string &theFile : theFiles)
    theStatus = std::max(theStatus, ShowRevision(theFile));
  return theStatus;
}

}  // namespace

const Command kCommand_Revision = {
    "revision",
    "FILE...",
    "show the revision stamps of programs and libraries",
    "Reads the revision stamp that every program and library of the product carries, and\n"
    "prints a line per file: the revision and, in brackets, the repository and branch.\n"
    "\n"
    "Exit status: 0 every file has a stamp, 1 a file has none, 2 a file is missing or unreadable.\n"
    "\n"
    "Examples:\n"
    "  zvos revision /usr/lib/libzvOS.so\n"
    "  zvos revision /opt/device/bin/*\n",
    RunRevision,
};

}  // namespace tool
