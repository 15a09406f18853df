// A crash on purpose, in a child process, and what is left behind for an engineer in the field.
#pragma once

#include <sys/types.h>

#include <string>

namespace tool {

struct CrashReport {
  std::string mProblem;  // why there was no child; empty when there was one
  pid_t mPid;
  int mWaitStatus;         // as waitpid gives it
  bool mfTookTooLong;      // the child had to be killed
  std::string mLog;        // what it logged
  std::string mOutput;     // what it wrote to standard output
  std::string mTraceFile;  // path of its back-trace file
};

// Lets a thread of a child process crash and collects the report. It takes some seconds, as the
// crash handler gives the log time to drain. No other thread may be running: the child is forked
// and goes on in this program, which also works where programs cannot be started by their path.
CrashReport CrashInChild();

}  // namespace tool

// What the crashing thread runs; exported, so that back-traces name it.
extern "C" __attribute__((visibility("default"))) void zvos_CrashOnPurpose(void);
