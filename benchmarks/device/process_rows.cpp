// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Running a command and reading what it prints.

#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <stdio.h>
#include <unistd.h>

#include <zvOS/zvProcess.h>

#include "support/Rows.h"

namespace zvbench {
namespace {

constexpr char kCommand[] = "echo done";  // the shell does it itself
constexpr int kOutputLength = 5;

// Reads return at once, also when there is nothing yet: then the processor, which both share, is left to
// the command.
template <typename Read>
int ReadToEnd(Read aRead) {
  char theBuffer[512];
  int theTotal = 0;
  for (;;) {
    const int theCount = aRead(theBuffer, sizeof(theBuffer));
    if (theCount == kzvProcessStatus_EOS) return theTotal;
    if (theCount < 0) return -1;
    theTotal += theCount;
    if (theCount == 0) sched_yield();
  }
}

int RunBare() {
  FILE *theStream = popen(kCommand, "r");
  if (theStream == nullptr) return 1;
  fcntl(fileno(theStream), F_SETFL, O_NONBLOCK);
  const int theLength = ReadToEnd([theStream](char *aBuffer, uint32 aSize) {
    const ssize_t theCount = read(fileno(theStream), aBuffer, aSize);
    if (theCount == 0) return static_cast<int>(kzvProcessStatus_EOS);
    if (theCount > 0) return static_cast<int>(theCount);
    return errno == EAGAIN ? 0 : static_cast<int>(kzvProcessStatus_InvalidFD);
  });
  return pclose(theStream) | (theLength != kOutputLength);
}

int RunOurs() {
  zvProcessFD theProcess = nullptr;
  if (zvProcess_Open(kCommand, zvProcessOpenMode_Read, &theProcess) != 0) return 1;
  const int theLength = ReadToEnd(
      [theProcess](char *aBuffer, uint32 aSize) { return zvProcess_Read(theProcess, aBuffer, aSize); });
  return zvProcess_Close(theProcess) | (theLength != kOutputLength);
}

// What the simplest program does: it waits in the read.
int RunWaiting() {
  FILE *theStream = popen(kCommand, "r");
  if (theStream == nullptr) return 1;
  char theBuffer[512];
  ssize_t theLength = 0;
  ssize_t theCount;
  while ((theCount = read(fileno(theStream), theBuffer, sizeof(theBuffer))) > 0)
    theLength += theCount;
  return pclose(theStream) | (theCount != 0) | (theLength != kOutputLength);
}

Sides Running() {
  return {Repeat(RunBare), Repeat(RunOurs), {}};
}

Sides RunningWithoutWaiting() {
  return {Repeat(RunWaiting), Repeat(RunOurs), {}};
}

constexpr char kOurs[] =
    "zvProcess_Open, zvProcess_Read to the end, sched_yield while there is nothing, zvProcess_Close";

}  // namespace

std::vector<Row> ProcessRows() {
  return {
      {"process open+read+close", "popen, fcntl, read to the end, sched_yield while there is nothing, pclose",
       kOurs, NoTarget(), Running},
      {"process, bare reads wait", "popen, read to the end, pclose", kOurs, NoTarget(),
       RunningWithoutWaiting},
  };
}

}  // namespace zvbench
