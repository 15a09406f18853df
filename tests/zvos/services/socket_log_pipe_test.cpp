// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Traffic files that are named pipes, and terminals.

#include "socket_log_checks.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <utility>

namespace {

using ::testing::IsEmpty;
using namespace zvtest;

volatile sig_atomic_t sfBrokenPipe;

// A named pipe in the place of the file, with a reader.
class PipeLog : public SocketLog {
 protected:
  PipeLog() {
    unlink(mFile.c_str());
    EXPECT_EQ(0, mkfifo(mFile.c_str(), 0600));
    StartReading();
    sfBrokenPipe = 0;
    struct sigaction theAction = {};
    theAction.sa_handler = [](int) { sfBrokenPipe = 1; };
    sigaction(SIGPIPE, &theAction, &mFormerAction);
  }
  ~PipeLog() override {
    sigaction(SIGPIPE, &mFormerAction, nullptr);
    StopReading();
  }

  void StartReading() { mReader = open(mFile.c_str(), O_RDONLY | O_NONBLOCK); }
  void StopReading() {
    if (mReader >= 0) close(std::exchange(mReader, -1));
  }
  std::string WhatHasCome() const {
    std::string theBytes(1024 * 1024, '\0');
    const ssize_t theCount = read(mReader, theBytes.data(), theBytes.size());
    EXPECT_GE(theCount, 0) << strerror(errno);
    theBytes.resize(static_cast<size_t>(std::max<ssize_t>(theCount, 0)));
    return theBytes;
  }

  int mReader = -1;
  struct sigaction mFormerAction;
};

TEST_F(PipeLog, GetsWhatAFileGets) {
  Send(mSocket, "GET /");
  Receive(mSocket, "200 OK");
  EXPECT_EQ("GET /200 OK", WhatHasCome());
}

TEST_F(PipeLog, AReaderThatLeavesMeanwhileEndsNoProcess) {
  Fault theFault("open", 0);
  theFault.PassingThrough().Doing([this](const long long *) { StopReading(); });
  Send(mSocket, "lost");
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_FALSE(sfBrokenPipe);
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(PipeLog, WithoutAReaderKeepsNothing) {
  StopReading();
  Send(mSocket, "lost");
  StartReading();
  EXPECT_EQ("", WhatHasCome());
}

TEST_F(PipeLog, WhatDoesNotFitIsNotWaitedFor) {
  const std::string theText(200000, 'x');
  Send(mSocket, theText);
  const std::string theBytes = WhatHasCome();
  EXPECT_LT(0u, theBytes.size());
  EXPECT_GT(theText.size(), theBytes.size());
  Send(mSocket, "kept");
  EXPECT_EQ("kept", WhatHasCome());
}

// Nothing would keep its last reader's end from ending the process.
TEST_F(PipeLog, ThatMayOnlyBeWrittenIsLeftAlone) {
  const auto theDescriptors = OpenDescriptors();
  Fault theFault("open", EACCES);
  Send(mSocket, "lost");
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_EQ("", WhatHasCome());
  EXPECT_THAT(mLog.Messages(), IsEmpty());
  EXPECT_EQ(theDescriptors, OpenDescriptors());
}

// A service without a terminal would have one from then on, whose keys and end reach it as signals.
TEST_F(SocketLog, ThatIsATerminalDoesNotBecomeThatOfTheProcess) {
  const net::Socket theScreen(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  char theDevice[PATH_MAX] = "";
  if (theScreen < 0 || grantpt(theScreen) != 0 || unlockpt(theScreen) != 0 ||
      ptsname_r(theScreen, theDevice, sizeof(theDevice)) != 0)
    GTEST_SKIP() << "no pseudo-terminal is to be had here";
  unlink(mFile.c_str());
  ASSERT_EQ(0, symlink(theDevice, mFile.c_str()));
  // A process that leads no group may begin a session.
  InOwnProcess([&] {
    const pid_t theService = fork();
    if (theService == 0) {
      const bool afAlone = setsid() != -1;
      Send(mSocket, "GET /");
      const int theTerminal = open("/dev/tty", O_RDWR | O_CLOEXEC);
      _exit(afAlone && theTerminal == -1 && errno == ENXIO ? 0 : 1);
    }
    int theStatus = -1;
    EXPECT_EQ(theService, waitpid(theService, &theStatus, 0));
    EXPECT_EQ(0, theStatus) << "the process has a terminal";
    char theBytes[16] = "";
    EXPECT_EQ(5, read(theScreen, theBytes, sizeof(theBytes)));
    EXPECT_STREQ("GET /", theBytes);
  });
}

}  // namespace
