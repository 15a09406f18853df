// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// `zvos demo`: the tour of the library, act by act.

#include "commands/commands.h"
#include "demo/acts.h"
#include "shared/files.h"
#include "shared/library_log.h"
#include "shared/options.h"
#include "shared/terminal.h"

namespace tool {

namespace {

int RunDemo(const Arguments &anArguments) {
  Arguments theFiles;
  if (!TakeOperands(kCommand_Demo, anArguments, theFiles)) return kStatus_BadInput;
  if (theFiles.size() > 1) {
    Complain("demo: one FILE at most, see 'zvos help demo'");
    return kStatus_BadInput;
  }
  // Looked up here, while there is only one thread.
  const std::string theOwnFile = OwnExecutable();
  const std::string theFile = theFiles.empty() ? theOwnFile : theFiles[0];
  if (!IsReadable(theFile)) return kStatus_BadInput;
  const std::string thePath = AbsolutePath(theFile);

  bool afGood = ReadFileTwice(thePath);
  afGood = ReadStamps() && afGood;
  afGood = CrashAndReport() && afGood;
  KeepNetworkQuiet();
  afGood = WakeUpWait() && afGood;
  afGood = ServeFile(theOwnFile) && afGood;
  KeepModulesQuiet({ZVLOG_M_PLUGIN, ZVLOG_M_DIR});
  afGood = HandOverToWorker() && afGood;
  afGood = LoadPlugin() && afGood;
  afGood = WalkFolder(theOwnFile) && afGood;
  Print(afGood ? "All checks held.\n" : "Not every check held.\n");
  return afGood ? kStatus_Good : kStatus_CheckFailed;
}

}  // namespace

const Command kCommand_Demo = {
    "demo",
    "[FILE]",
    "a tour of the library on a real file",
    "Shows on a file, or on the program's own executable when none is given, what the library does:\n"
    "- a pool of threads reads the file through a queue with a lock, conditions and a semaphore;\n"
    "  size, CRC-32, time and throughput are shown, and a second reading in one thread has to\n"
    "  give the same checksum;\n"
    "- the revision stamps of the program and of its libraries are read;\n"
    "- a thread of a child process crashes on purpose, and the report that an engineer in the field\n"
    "  would get is shown: log, back-trace and the back-trace file, which is kept in /tmp, and the\n"
    "  crash file beside it with the lines of the source that it leads to;\n"
    "- a thread that waits for sockets is woken up;\n"
    "- a child process serves the program's own executable to this machine only, and it is fetched;\n"
    "  the server's table of sockets and the begin of its traffic file are shown, and the socket\n"
    "  policy has to refuse a connection that comes through another address;\n"
    "- a supervisor process, of which there can be one only, takes a connection and hands it through\n"
    "  a named pipe to a worker process, which serves it;\n"
    "- a plug-in, here the library itself, is loaded and called;\n"
    "- the folder of the program is walked through.\n"
    "\n"
    "Exit status: 0 every check held, 1 a check failed, 2 FILE is missing or unreadable.\n"
    "\n"
    "Examples:\n"
    "  zvos demo\n"
    "  zvos demo /var/log/syslog\n"
    "  ZVLOG=debug,to=file:/tmp/zv.log zvos demo    with all that the library logs\n",
    RunDemo,
};

}  // namespace tool
