// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// `zvos crash`: from the report of a crash to lines of the source.

#include "commands/commands.h"
#include "postmortem/presentation.h"
#include "shared/files.h"
#include "shared/json.h"
#include "shared/library_log.h"
#include "shared/options.h"
#include "shared/terminal.h"
#include "shared/text.h"

namespace tool {

namespace {

constexpr size_t kLargestText = 256 * 1024 * 1024;

void PrintFacts(const CrashReportText &aReport) {
  for (const auto &theFact : aReport.mFacts)
    Print("%-17s %s\n", (Printable(theFact.first) + ":").c_str(), Printable(theFact.second).c_str());
  if (!aReport.mfComplete) Print("The %s is not complete.\n", NameOf(aReport.mKind));
  if (aReport.mKind != CrashReportText::Kind::CrashFile) {
    Print(
        "A %s has no build ids: what is found by the paths in it may be of another build, and is marked as\n"
        "unproven. The file zvos_crash_PID.txt of the same crash has them.\n",
        NameOf(aReport.mKind));
  }
}

void PrintForPeople(const Resolution &aResolution) {
  PrintFacts(aResolution.mReport);
  Print("%s", FramesForPeople(aResolution).c_str());
  Print("modules:\n%s", ModulesForPeople(aResolution).c_str());
  if (!aResolution.mMissing.empty()) Print("MISSING: %s\n", aResolution.mMissing.c_str());
}

// The library logs folders that cannot be read, of which there may be some below those that are searched.
bool AreFolders(const Arguments &someFolders) {
  for (const std::string &theFolder : someFolders) {
    if (const MaybeProblem theProblem = WhyNoFolder(AbsolutePath(theFolder))) {
      Complain("crash: --debug '%s': %s", theFolder.c_str(), theProblem->mText.c_str());
      return false;
    }
  }
  return true;
}

int RunCrash(const Arguments &anArguments) {
  bool afJson = false;
  Arguments theFolders;
  Arguments theFiles;
  if (!TakeOptions(kCommand_Crash, anArguments,
                   {{"--json", &afJson, nullptr}, {"--debug", nullptr, nullptr, &theFolders}}, theFiles)) {
    return kStatus_BadInput;
  }
  if (theFiles.size() != 1) {
    Complain("crash: one FILE, see 'zvos help crash'");
    return kStatus_BadInput;
  }
  if (!IsReadable(theFiles[0]) || !AreFolders(theFolders)) return kStatus_BadInput;
  const std::vector<CrashReportText> theReports =
      ReadCrashReports(ReadFile(AbsolutePath(theFiles[0]), kLargestText));
  if (theReports.empty()) {
    Complain("crash: there is no report of a crash in '%s'", theFiles[0].c_str());
    return kStatus_BadInput;
  }
  KeepModulesQuiet({ZVLOG_M_DIR, ZVLOG_M_FILE});
  for (std::string &theFolder : theFolders)
    theFolder = AbsolutePath(theFolder);
  DebugFiles theDebugFiles(theFolders);
  bool afGood = false;
  std::vector<std::string> theObjects;
  // A log may have thousands of reports: people see each as soon as its lines are found.
  for (size_t i = 0; i < theReports.size(); ++i) {
    const Resolution theResolution = Resolve(theReports[i], theDebugFiles);
    if (theResolution.HasLines()) afGood = true;
    if (afJson) {
      theObjects.push_back(ForScripts(theResolution, 4));
    } else {
      if (i > 0) Print("\n");
      PrintForPeople(theResolution);
    }
  }
  if (afJson) Print("{\n  \"reports\": %s\n}\n", JsonList(theObjects).c_str());
  return afGood ? kStatus_Good : kStatus_CheckFailed;
}

}  // namespace

const Command kCommand_Crash = {
    "crash",
    "FILE [--debug DIR]... [--json]",
    "from the report of a crash to lines of the source",
    "Reads what a crash has left behind - a file zvos_crash_PID.txt, a file backtrace_PID.txt, or a log in "
    "which\n"
    "the report stands - on whatever machine and from whatever device, and shows where the program crashed\n"
    "and who had called: function, file and line, with the functions that were inlined. The debug\n"
    "information of each module is found by its build id:\n"
    "- DIR/.build-id/ab/cdef.debug, also in DIR/lib/debug and DIR/usr/lib/debug;\n"
    "- lib/debug/.build-id beside the folder that the module was in, and /usr/lib/debug/.build-id;\n"
    "- a file of the module's name anywhere below DIR, and the module at its path.\n"
    "A file that is of another build is refused. A trace file and a log have no build ids: what the paths "
    "in\n"
    "them lead to is shown, and marked as unproven.\n"
    "\n"
    "  --debug DIR        look there, too; may be given repeatedly\n"
    "  --json             the same as one JSON object\n"
    "\n"
    "The lines are looked up by eu-addr2line (package elfutils) or addr2line (package binutils; for\n"
    "reports of ARM devices binutils-arm-linux-gnueabihf).\n"
    "\n"
    "Exit status: 0 a line was found, 1 none was, 2 wrong usage, or FILE is missing or holds no report.\n"
    "\n"
    "Examples:\n"
    "  zvos crash zvos_crash_4711.txt --debug zvos-debug-1.1.0\n"
    "  zvos crash zvos_crash_4711.txt --json | jq -r '.reports[].frames[] | select(.role == \"crash\")'\n",
    RunCrash,
};

}  // namespace tool
