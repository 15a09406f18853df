// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What a record costs that is wanted, beside the least that a line in a file can cost: the time, one snprintf
// of the whole line and one write.

#include <fcntl.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "log/LogLine.h"
#include "support/Rows.h"

namespace zvbench {
namespace {

struct BareFile {
  const std::shared_ptr<LogFile> mFile = std::make_shared<LogFile>();
  const int mDescriptor = open(mFile->Path(), O_WRONLY | O_APPEND | O_CLOEXEC);
  BareFile() {
    if (mDescriptor < 0) Fail("cannot open a file in memory");
  }
  ~BareFile() { close(mDescriptor); }
  BareFile(const BareFile &) = delete;
  BareFile &operator=(const BareFile &) = delete;
};

// The calendar is not computed: a program that takes the trouble does so once a second.
void WriteLines(int aDescriptor, uint32 aCount) {
  const int theThread = static_cast<int>(syscall(SYS_gettid));
  for (uint32 theIndex = 0; theIndex < aCount; ++theIndex) {
    struct timespec theTime = {};
    clock_gettime(CLOCK_REALTIME, &theTime);
    char theLine[512];
    const int theLength = snprintf(
        theLine, sizeof(theLine),
        "2026-11-22T10:11:%02d.%06ldZ error FILE [%d:%d] %s:%d: zvFile: cannot open '%s' (error = %d)\n",
        static_cast<int>(theTime.tv_sec % 60), static_cast<long>(theTime.tv_nsec / 1000), theThread,
        theThread, __FILE__, __LINE__, kLogPath, kLogError);
    if (write(aDescriptor, theLine, static_cast<size_t>(theLength)) != theLength) Fail("cannot write a line");
  }
}

Sides BesideWrite(Threads aThreads) {
  const auto theFile = std::make_shared<BareFile>();
  const int theDescriptor = theFile->mDescriptor;
  return BesideOurLog(
      aThreads, theFile->mFile, [theDescriptor](uint32 aCount) { WriteLines(theDescriptor, aCount); },
      theFile);
}

Sides OneThread() {
  return BesideWrite(Threads::One);
}

Sides FourThreads() {
  return BesideWrite(Threads::Four);
}

}  // namespace

std::vector<Row> LogRecordRows() {
  return {
      {"log record", "clock_gettime, snprintf, write", "a record to a file", RatioAtMost(1.3), OneThread},
      {"log record, four threads", "clock_gettime, snprintf, write", "a record to a file", NoTarget(),
       FourThreads},
  };
}

}  // namespace zvbench
