// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of commands share: processes that are closed at the end, and commands that wait.
#pragma once

#include <zvOS/zvProcess.h>

#include "support/HandleChecks.h"
#include "support/Support.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <thread>

namespace zvtest {
namespace process {

class ProcessTest : public ::testing::Test {
 protected:
  // Whatever happens, nothing is logged.
  ~ProcessTest() override { EXPECT_THAT(mLog.Calls(), ::testing::IsEmpty()); }

  RecordingLog mLog;
};

// A process that is closed at the end of the test.
class Process {
 public:
  Process(const std::string &aCommand, zvProcessOpenMode aMode) {
    const std::set<int> theFormer = OpenDescriptors();
    EXPECT_EQ(0, zvProcess_Open(aCommand.c_str(), aMode, &mProcess)) << aCommand;
    const std::set<int> theOpened = DescriptorsBesides(theFormer);
    if (theOpened.size() == 1) mDescriptor = *theOpened.begin();
  }
  ~Process() { Close(); }
  Process(const Process &) = delete;
  Process &operator=(const Process &) = delete;

  zvProcessFD Handle() const { return mProcess; }

  // Our end of its pipe.
  int Descriptor() const {
    EXPECT_NE(-1, mDescriptor) << "the library opened none, or several";
    return mDescriptor;
  }

  // Waits until a read gets something, or the end.
  void Await() const {
    pollfd theEvent = {Descriptor(), POLLIN, 0};
    EXPECT_EQ(1, poll(&theEvent, 1, 20000));
  }

  int Read(void *aBuffer, uint32 aCount) const {
    Await();
    return zvProcess_Read(mProcess, aBuffer, aCount);
  }

  // All that the command prints until its end, in pieces of at most aCount bytes.
  std::string ReadAll(uint32 aCount = 4096) const {
    std::string theText;
    std::string thePiece(aCount, '\0');
    int theCount;
    while ((theCount = Read(&thePiece[0], aCount)) > 0)
      theText.append(thePiece, 0, static_cast<size_t>(theCount));
    EXPECT_EQ(kzvProcessStatus_EOS, theCount);
    return theText;
  }

  int Write(const std::string &aText) const {
    return zvProcess_Write(mProcess, aText.data(), static_cast<uint32>(aText.size()));
  }

  // Close keeps the record, which is given back here.
  void Close() {
    if (mProcess == nullptr) return;
    EXPECT_EQ(0, zvProcess_Close(mProcess));
    free(mProcess);
    mProcess = nullptr;
  }

 private:
  zvProcessFD mProcess = nullptr;
  int mDescriptor = -1;
};

// A folder with a named pipe, at which commands wait for a line.
class Gate {
 public:
  Gate() { EXPECT_EQ(0, mkfifo(Path().c_str(), 0600)); }

  std::string Path() const { return mFolder.File("gate"); }
  std::string File(const std::string &aName) const { return mFolder.File(aName); }
  // The shell command that waits.
  std::string Wait() const { return "read theLine < " + Path(); }
  void Open() const { std::ofstream(Path()) << "go\n"; }

 private:
  TempFolder mFolder;
};

}  // namespace process
}  // namespace zvtest
