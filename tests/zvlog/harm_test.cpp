// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Sinks whose reader is gone, and files at the limit of size: no signal reaches the process.

#include "HarmTest.h"

#include <pthread.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <atomic>
#include <cerrno>

namespace {

using namespace zvlogtest;

bool IsPending(int aSignal) {
  sigset_t theSet;
  sigpending(&theSet);
  return sigismember(&theSet, aSignal) == 1;
}

void Block(int aSignal) {
  sigset_t theSet;
  sigemptyset(&theSet);
  sigaddset(&theSet, aSignal);
  pthread_sigmask(SIG_BLOCK, &theSet, nullptr);
}

std::atomic<int> sCaught{0};

void CountCaught(int) {
  ++sCaught;
}

// How often the signal is delivered when it is let through.
int DeliveriesOf(int aSignal) {
  sCaught = 0;
  signal(aSignal, CountCaught);
  sigset_t theSet;
  sigemptyset(&theSet);
  sigaddset(&theSet, aSignal);
  pthread_sigmask(SIG_UNBLOCK, &theSet, nullptr);
  return sCaught;
}

TEST_F(Harm, PipeWithoutAReaderLosesTheRecord) {
  ExpectSurvival([] {
    signal(SIGPIPE, SIG_DFL);
    Pipe thePipe;
    thePipe.CloseReader();
    const AsStandardError theError(thePipe.Writer());
    LogError("lost");
    return IsPending(SIGPIPE) ? 1 : 0;
  });
}

TEST_F(Harm, SocketWithoutAReaderLosesTheRecord) {
  ExpectSurvival([] {
    signal(SIGPIPE, SIG_DFL);
    int theEnds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, theEnds) != 0) return 1;
    close(theEnds[0]);
    const AsStandardError theError(theEnds[1]);
    LogError("lost");
    return 0;
  });
}

TEST_F(Harm, HandlerOfACrashSurvivesAPipeWithoutAReader) {
  const Ending theEnding = RunInChild([] {
    signal(SIGPIPE, SIG_DFL);
    struct sigaction theAction = {};
    theAction.sa_handler = [](int aSignal) {
      LogError("Caught a signal");
      signal(aSignal, SIG_DFL);
      raise(aSignal);
    };
    sigaction(SIGSEGV, &theAction, nullptr);
    Pipe thePipe;
    thePipe.CloseReader();
    const AsStandardError theError(thePipe.Writer());
    raise(SIGSEGV);
    return 1;
  });
  EXPECT_EQ(SIGSEGV, theEnding.mSignal);
}

TEST_F(Harm, PendingSignalOfThePipeStaysPendingOnce) {
  for (const bool afForThread : {true, false}) {
    ExpectSurvival([afForThread] {
      Block(SIGPIPE);
      if (afForThread) {
        pthread_kill(pthread_self(), SIGPIPE);
      } else {
        kill(getpid(), SIGPIPE);
      }
      Pipe thePipe;
      thePipe.CloseReader();
      {
        const AsStandardError theError(thePipe.Writer());
        LogError("lost");
        LogError("lost");
      }
      return DeliveriesOf(SIGPIPE) == 1 ? 0 : 1;
    });
  }
}

TEST_F(Harm, DispositionOfTheSignalAndMaskStay) {
  ExpectSurvival([] {
    signal(SIGPIPE, CountCaught);
    Pipe thePipe;
    thePipe.CloseReader();
    {
      const AsStandardError theError(thePipe.Writer());
      LogError("lost");
    }
    sigset_t theMask;
    pthread_sigmask(SIG_SETMASK, nullptr, &theMask);
    struct sigaction theAction;
    sigaction(SIGPIPE, nullptr, &theAction);
    return sCaught == 0 && theAction.sa_handler == CountCaught && !sigismember(&theMask, SIGPIPE) ? 0 : 1;
  });
}

void LimitFileSize(rlim_t aLimit) {
  const rlimit theLimit = {aLimit, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &theLimit);
}

TEST_F(Harm, FileAtTheLimitOfSizeLosesTheRecordAndSaysSoLater) {
  const std::string thePath = Path();
  WriteFile(thePath, "");
  ExpectSurvival([thePath] {
    signal(SIGXFSZ, SIG_DFL);
    zvLog_SetSinkFile(thePath.c_str());
    LimitFileSize(0);
    LogError("lost");
    LogError("lost, too");
    LimitFileSize(RLIM_INFINITY);
    LogError("back");
    return 0;
  });
  EXPECT_EQ((Texts{LossText(2, EFBIG), "back"}), TextsOfFile());
}

TEST_F(Harm, StandardErrorAtTheLimitOfSizeLosesTheRecord) {
  const std::string thePath = Path();
  ExpectSurvival([thePath] {
    signal(SIGXFSZ, SIG_DFL);
    const AsStandardError theError(open(thePath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600));
    LogError("one");
    LimitFileSize(10);
    LogError("lost");
    LimitFileSize(RLIM_INFINITY);
    LogError("back");
    return 0;
  });
  EXPECT_EQ((Texts{"one", LossText(1, EFBIG), "back"}), TextsOfFile());
}

// In 32 bits the system call shows such a limit as none, and a description that appends is at 0 before its
// first write, whatever the size.
TEST_F(Harm, StandardErrorAtALimitOf5GiBLosesTheRecord) {
  const std::string thePath = Path();
  const rlim_t theLimit = rlim_t{5} << 30;
  WriteFile(thePath, "");
  if (truncate(thePath.c_str(), static_cast<off_t>(theLimit)) != 0) GTEST_SKIP() << "no file may be so large";
  ExpectSurvival([thePath, theLimit] {
    signal(SIGXFSZ, SIG_DFL);
    const AsStandardError theError(open(thePath.c_str(), O_WRONLY | O_APPEND));
    LimitFileSize(theLimit);
    LogError("lost");
    return 0;
  });
  struct stat theStatus;
  ASSERT_EQ(0, stat(thePath.c_str(), &theStatus));
  EXPECT_EQ(static_cast<off_t>(theLimit), theStatus.st_size);
}

TEST_F(Harm, PendingSignalOfTheLimitStaysPendingOnce) {
  const std::string thePath = Path();
  ExpectSurvival([thePath] {
    zvLog_SetSinkFile(thePath.c_str());
    Block(SIGXFSZ);
    raise(SIGXFSZ);
    LimitFileSize(0);
    LogError("lost");
    return DeliveriesOf(SIGXFSZ) == 1 ? 0 : 1;
  });
}

TEST_F(Harm, LineTornAtTheLimitIsEndedBeforeTheNext) {
  const std::string thePath = Path();
  WriteFile(thePath, "");
  ExpectSurvival([thePath] {
    zvLog_SetSinkFile(thePath.c_str());
    LimitFileSize(10);
    LogError("torn");
    LimitFileSize(RLIM_INFINITY);
    LogError("whole");
    return 0;
  });
  const std::string theText = ReadFile(thePath);
  ASSERT_GT(theText.size(), 11u);
  EXPECT_EQ('\n', theText[10]);
  EXPECT_EQ((Texts{LossText(1, EFBIG), "whole"}), TextsOf(ParseAll(theText.substr(11))));
}

}  // namespace
