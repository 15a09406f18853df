// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// `zvos ls`: the entries of a folder, as the library tells them apart.

#include "commands/commands.h"
#include "shared/files.h"
#include "shared/library_log.h"
#include "shared/options.h"
#include "shared/owners.h"
#include "shared/terminal.h"
#include "shared/text.h"

#include <dirent.h>

#include <algorithm>
#include <cstring>

namespace tool {

namespace {

struct Entry {
  std::string mName;
  bool mfDir;
  bool mfHidden;
};

// The folder as the library takes it: absolute, and the root by a longer name, for "/" gives no entry.
std::string FolderFor(const std::string &aFolder) {
  std::string theFolder = AbsolutePath(aFolder);
  while (theFolder.size() > 1 && theFolder.back() == '/')
    theFolder.pop_back();
  return theFolder == "/" ? "/." : theFolder;
}

// Asked before the library is, to which a missing folder is an empty one.
MaybeProblem WhyNotListed(const std::string &aFolder) {
  if (Contains(aFolder, "\\")) return BadInput("its path has a backslash, which the library takes for '/'");
  const Owner<DIR, closedir> theStream(opendir(aFolder.c_str()));
  if (!theStream) return BadInput(strerror(errno));
  if (aFolder[0] != '/') return BadInput("the current folder is not known");
  return {};
}

int RunList(const Arguments &anArguments) {
  bool afFiles = false;
  bool afDirs = false;
  bool afNoHidden = false;
  bool afDots = false;
  Arguments theOperands;
  if (!TakeOptions(kCommand_List, anArguments,
                   {{"--files", &afFiles, nullptr},
                    {"--dirs", &afDirs, nullptr},
                    {"--no-hidden", &afNoHidden, nullptr},
                    {"--dots", &afDots, nullptr}},
                   theOperands)) {
    return kStatus_BadInput;
  }
  if (theOperands.empty() || theOperands.size() > 2) {
    Complain("ls: one DIR and one PATTERN at most, see 'zvos help ls'");
    return kStatus_BadInput;
  }
  KeepModulesQuiet({ZVLOG_M_DIR, ZVLOG_M_FILE});
  const std::string theFolder = FolderFor(theOperands[0]);
  if (const MaybeProblem theProblem = WhyNotListed(theFolder)) {
    Complain("cannot list '%s': %s", theOperands[0].c_str(), theProblem->mText.c_str());
    return theProblem->mStatus;
  }
  const bool afBoth = afFiles == afDirs;
  const int theFlags = (afBoth || afFiles ? zvDIR_FILES : 0) | (afBoth || afDirs ? zvDIR_DIRS : 0) |
                       (afNoHidden ? 0 : zvDIR_HIDDEN) | (afDots ? zvDIR_DOTDOT : 0);
  std::vector<Entry> theEntries;
  const MaybeProblem theEnd =
      WalkThrough(theFolder, theOperands.size() > 1 ? theOperands[1] : "*", theFlags,
                  [&theEntries](const zvDirEntry &anEntry) {
                    theEntries.push_back({anEntry.mName, anEntry.mfDir != 0, anEntry.mfHidden != 0});
                  });
  std::sort(theEntries.begin(), theEntries.end(),
            [](const Entry &anEntry, const Entry &anOther) { return anEntry.mName < anOther.mName; });
  for (const Entry &theEntry : theEntries) {
    Print("%-4s  %-6s  %s\n", theEntry.mfDir ? "dir" : "file", theEntry.mfHidden ? "hidden" : "-",
          Printable(theEntry.mName).c_str());
  }
  if (theEnd) Complain("cannot list '%s' to its end", theOperands[0].c_str());
  return theEnd ? theEnd->mStatus : kStatus_Good;
}

}  // namespace

const Command kCommand_List = {
    "ls",
    "[--files] [--dirs] [--no-hidden] [--dots] DIR [PATTERN]",
    "list a folder as the library sees it",
    "Lists the entries of DIR whose names match the shell pattern PATTERN, all without one: a line\n"
    "per entry with its kind (file or dir), whether it is hidden, and its name, sorted by the bytes\n"
    "of the names. A link counts as what it points to. What is neither a file nor a folder is left\n"
    "out, as are links that lead nowhere and links to a folder above them. Names that begin with a\n"
    "dot are hidden. Control characters in names are shown as %XX.\n"
    "\n"
    "  --files            files only\n"
    "  --dirs             folders only\n"
    "  --no-hidden        without what is hidden\n"
    "  --dots             with '.' and '..', where folders are listed\n"
    "\n"
    "Exit status: 0 listed, 1 DIR could not be read to its end, 2 wrong usage, or DIR is missing or\n"
    "cannot be read.\n"
    "\n"
    "Examples:\n"
    "  zvos ls /media\n"
    "  zvos ls --files --no-hidden /media '*.mp3'\n",
    RunList,
};

}  // namespace tool
