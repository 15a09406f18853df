// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Sinks that could end, hold or fool their process: readers that are gone or do not read, limits, full
// disks, closed descriptors, forks and terminals. What may end a process happens in a child.

#include "Child.h"
#include "LogTest.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

namespace {

using namespace zvlogtest;
using Clock = std::chrono::steady_clock;
using Texts = std::vector<std::string>;

void LogError(const std::string &aText) {
  Log(kzvLogLevel_Error, 0, aText + "\n");
}

std::string LossText(int aCount, int anError) {
  return std::to_string(aCount) + (aCount == 1 ? " record" : " records") +
         " could not be written here (error = " + std::to_string(anError) + ")";
}

std::chrono::milliseconds TimeOf(const std::function<void()> &aBody) {
  const auto theBegin = Clock::now();
  aBody();
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - theBegin);
}

// Takes the place of standard error while it lives.
class AsStandardError {
 public:
  explicit AsStandardError(int aDescriptor) : mSaved(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100)) {
    dup2(aDescriptor, STDERR_FILENO);
  }
  ~AsStandardError() {
    dup2(mSaved, STDERR_FILENO);
    close(mSaved);
  }
  AsStandardError(const AsStandardError &) = delete;
  AsStandardError &operator=(const AsStandardError &) = delete;

 private:
  const int mSaved;
};

class Pipe {
 public:
  Pipe() {
    if (pipe2(mEnds, O_CLOEXEC) != 0) abort();
  }
  ~Pipe() {
    CloseReader();
    close(mEnds[1]);
  }
  Pipe(const Pipe &) = delete;
  Pipe &operator=(const Pipe &) = delete;

  int Reader() const { return mEnds[0]; }
  int Writer() const { return mEnds[1]; }
  void CloseReader() {
    if (mEnds[0] >= 0) close(mEnds[0]);
    mEnds[0] = -1;
  }
  // Through a description of its own, so that the flags of the writer stay.
  void Fill() const {
    const int theOwn =
        open(("/proc/self/fd/" + std::to_string(mEnds[1])).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    while (write(theOwn, std::string(4096, 'x').c_str(), 4096) > 0) {
    }
    close(theOwn);
  }
  std::string Drain() const {
    std::string theText;
    char theBlock[4096];
    pollfd thePoll = {mEnds[0], POLLIN, 0};
    while (poll(&thePoll, 1, 0) > 0) {
      const ssize_t theCount = read(mEnds[0], theBlock, sizeof theBlock);
      if (theCount <= 0) break;
      theText.append(theBlock, static_cast<size_t>(theCount));
    }
    return theText;
  }

 private:
  int mEnds[2];
};

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

class Harm : public LogTest {
 protected:
  TempFolder mFolder;

  std::string Path() const { return mFolder.File("log"); }
  Texts TextsOfFile() const { return TextsOf(ParseAll(ReadFile(Path()))); }

  // Runs in a child that must end by itself with 0.
  static void ExpectSurvival(const std::function<int()> &aBody) {
    const Ending theEnding = RunInChild(aBody);
    EXPECT_FALSE(theEnding.mfTimedOut);
    EXPECT_EQ(0, theEnding.mSignal);
    EXPECT_EQ(0, theEnding.mStatus) << theEnding.mError;
  }
};

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

constexpr std::chrono::milliseconds kPatience{200};
constexpr std::chrono::milliseconds kLongTime{1500};  // on a machine that is busy

TEST_F(Harm, PipeThatNobodyReadsHoldsTheProgramOnceAndShortly) {
  Pipe thePipe;
  thePipe.Fill();
  Texts theTexts;
  {
    const AsStandardError theError(thePipe.Writer());
    const auto theFirst = TimeOf([] { LogError("lost"); });
    EXPECT_GE(theFirst, kPatience - std::chrono::milliseconds(20));
    EXPECT_LT(theFirst, kLongTime);
    EXPECT_LT(TimeOf([] {
                for (int theCount = 0; theCount < 20; ++theCount)
                  LogError("lost");
              }),
              kPatience * 5);
    EXPECT_EQ(0, fcntl(STDERR_FILENO, F_GETFL) & O_NONBLOCK);
    thePipe.Drain();
    LogError("back");
    theTexts = TextsOf(ParseAll(thePipe.Drain()));
  }
  EXPECT_EQ((Texts{LossText(21, EAGAIN), "back"}), theTexts);
}

TEST_F(Harm, PipeThatIsReadSlowlyLosesNothing) {
  Pipe thePipe;
  thePipe.Fill();
  std::thread theReader([&thePipe] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    char theBlock[8192];
    EXPECT_LT(0, read(thePipe.Reader(), theBlock, sizeof theBlock));
  });
  {
    const AsStandardError theError(thePipe.Writer());
    LogError("in time");
  }
  theReader.join();
  const std::string theText = thePipe.Drain();
  EXPECT_EQ("in time", Parse(theText.substr(theText.rfind('x') + 1)).mText);
}

// One that cannot be asked not to block by each write is opened again for that, where it may be.
TEST_F(Harm, NamedPipeAsStandardErrorThatNobodyReadsHoldsTheProgramShortly) {
  ASSERT_EQ(0, mkfifo(Path().c_str(), 0600));
  for (const bool afAsOther : {false, true}) {
    if (afAsOther && geteuid() != 0) GTEST_SKIP() << "needs the right to become another user";
    ExpectSurvival([this, afAsOther] {
      const int theReader = open(Path().c_str(), O_RDONLY | O_NONBLOCK);
      const int theWriter = open(Path().c_str(), O_WRONLY);
      const int theFiller = open(Path().c_str(), O_WRONLY | O_NONBLOCK);
      while (write(theFiller, std::string(4096, 'x').c_str(), 4096) > 0) {
      }
      if (afAsOther && setuid(65534) != 0) return 1;
      const AsStandardError theError(theWriter);
      if (TimeOf([] { LogError("lost"); }) > kLongTime) return 2;
      char theBlock[65536];
      if (read(theReader, theBlock, sizeof theBlock) <= 0) return 3;
      LogError("back");
      const ssize_t theCount = read(theReader, theBlock, sizeof theBlock);
      const Texts theExpected = {LossText(1, EAGAIN), "back"};
      const std::string theText(theBlock, static_cast<size_t>(theCount > 0 ? theCount : 0));
      return TextsOf(ParseAll(theText)) == theExpected ? 0 : 4;
    });
  }
}

// Between a poll and the write others may fill the pipe.
TEST_F(Harm, ManyThreadsOnAFullPipeAreAllHeldShortly) {
  Pipe thePipe;
  thePipe.Fill();
  const AsStandardError theError(thePipe.Writer());
  const auto theTime = TimeOf([&thePipe] {
    std::vector<std::thread> theThreads;
    for (int theIndex = 0; theIndex < 8; ++theIndex)
      theThreads.emplace_back([] { LogError(std::string(900, 'y')); });
    char theBlock[4096];  // room for four records
    EXPECT_LT(0, read(thePipe.Reader(), theBlock, sizeof theBlock));
    for (std::thread &theThread : theThreads)
      theThread.join();
  });
  EXPECT_LT(theTime, kLongTime);
}

TEST_F(Harm, SocketThatNobodyReadsHoldsTheProgramShortly) {
  int theEnds[2];
  ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, theEnds));
  while (send(theEnds[1], "xxxxxxxx", 8, MSG_DONTWAIT) > 0) {
  }
  {
    const AsStandardError theError(theEnds[1]);
    const auto theTime = TimeOf([] { LogError("lost"); });
    EXPECT_GE(theTime, kPatience - std::chrono::milliseconds(20));
    EXPECT_LT(theTime, kLongTime);
  }
  close(theEnds[0]);
  close(theEnds[1]);
}

class PseudoTerminal {
 public:
  PseudoTerminal() : mMaster(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (mMaster < 0 || grantpt(mMaster) != 0 || unlockpt(mMaster) != 0) return;
    mSlave = open(ptsname(mMaster), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios theModes = {};
    tcgetattr(mSlave, &theModes);
    cfmakeraw(&theModes);
    tcsetattr(mSlave, TCSANOW, &theModes);
  }
  ~PseudoTerminal() {
    close(mSlave);
    close(mMaster);
  }
  PseudoTerminal(const PseudoTerminal &) = delete;
  PseudoTerminal &operator=(const PseudoTerminal &) = delete;

  int Terminal() const { return mSlave; }
  std::string Shown() const {
    std::string theText;
    char theBlock[4096];
    pollfd thePoll = {mMaster, POLLIN, 0};
    while (poll(&thePoll, 1, 50) > 0) {
      const ssize_t theCount = read(mMaster, theBlock, sizeof theBlock);
      if (theCount <= 0) break;
      theText.append(theBlock, static_cast<size_t>(theCount));
    }
    return theText;
  }

 private:
  int mMaster;
  int mSlave = -1;
};

TEST_F(Harm, StoppedTerminalHoldsTheProgramShortly) {
  PseudoTerminal theTerminal;
  ASSERT_EQ(0, tcflow(theTerminal.Terminal(), TCOOFF));
  const AsStandardError theError(theTerminal.Terminal());
  EXPECT_LT(TimeOf([] { LogError("lost"); }), kLongTime);
  EXPECT_LT(TimeOf([] {
              for (int theCount = 0; theCount < 20; ++theCount)
                LogError("lost");
            }),
            kPatience * 5);
  ASSERT_EQ(0, tcflow(theTerminal.Terminal(), TCOON));
  LogError("back");
  EXPECT_EQ((Texts{LossText(21, EAGAIN), "back"}), TextsOf(ParseAll(theTerminal.Shown())));
}

TEST_F(Harm, TerminalThatNobodyReadsHoldsTheProgramShortly) {
  PseudoTerminal theTerminal;
  const AsStandardError theError(theTerminal.Terminal());
  EXPECT_LT(TimeOf([] {
              for (int theCount = 0; theCount < 200; ++theCount)
                LogError(std::string(1000, 'x'));
            }),
            kLongTime * 2);
}

TEST_F(Harm, TerminalShowsControlCharactersInsteadOfObeyingThem) {
  PseudoTerminal theTerminal;
  const AsStandardError theError(theTerminal.Terminal());
  LogError(
      "a\x1b]0;b\x07 \x9b"
      "31m \xc2\x9b"
      "1m \x7f \t tab, \xc3\xa9 \xe2\x82\xac \xc4\x9b \xff");
  EXPECT_EQ(
      (Texts{"a\\x1b]0;b\\x07 \\x9b31m \\xc2\\x9b1m \\x7f \t tab, \xc3\xa9 \xe2\x82\xac \xc4\x9b \xff"}),
      TextsOf(ParseAll(theTerminal.Shown())));
  LogError(std::string(1000, '\x01'));
  std::string theExpected;
  for (int theCount = 0; theCount < 1000; ++theCount)
    theExpected += "\\x01";
  EXPECT_EQ(Texts{theExpected}, TextsOf(ParseAll(theTerminal.Shown())));
}

TEST_F(Harm, FilesTakeControlCharactersAsTheyAre) {
  ASSERT_EQ(1, zvLog_SetSinkFile(Path().c_str()));
  LogError(
      "a\x1b[1m \xc2\x9b"
      "1m");
  EXPECT_EQ((Texts{"a\x1b[1m \xc2\x9b"
                   "1m"}),
            TextsOfFile());
}

TEST_F(Harm, NamedPipeWithoutAReaderIsRefusedAtOnce) {
  ASSERT_EQ(0, mkfifo(Path().c_str(), 0600));
  ExpectSurvival([this] { return zvLog_SetSinkFile(Path().c_str()) == 0 && errno == ENXIO ? 0 : 1; });

  const Ending theEnding = RunProbe({}, {"ZVLOG=none,to=file:" + Path()});
  EXPECT_FALSE(theEnding.mfTimedOut);
  EXPECT_EQ("zvLog: bad setting 'to=file:" + Path() + "': cannot open the file (No such device or address)\n",
            theEnding.mError);
}

TEST_F(Harm, NamedPipeWithAReaderIsWrittenAndItsReaderMayGo) {
  ASSERT_EQ(0, mkfifo(Path().c_str(), 0600));
  ExpectSurvival([this] {
    signal(SIGPIPE, SIG_DFL);
    const int theReader = open(Path().c_str(), O_RDONLY | O_NONBLOCK);
    if (zvLog_SetSinkFile(Path().c_str()) == 0) return 1;
    LogError("text");
    char theBlock[4096];
    const ssize_t theCount = read(theReader, theBlock, sizeof theBlock);
    if (theCount <= 0 || Parse(std::string(theBlock, static_cast<size_t>(theCount))).mText != "text")
      return 2;
    close(theReader);
    LogError("lost");
    return 0;
  });
}

void CloseAll() {
  for (int theNumber = 3; theNumber < 1024; ++theNumber)
    close(theNumber);
}

TEST_F(Harm, RecordsNeverLandInAFileThatGotTheNumberOfTheLog) {
  const std::string theOwn = mFolder.File("own");
  ExpectSurvival([this, theOwn] {
    if (zvLog_SetSinkFile(Path().c_str()) == 0) return 1;
    LogError("one");
    CloseAll();
    const int theFile = open(theOwn.c_str(), O_WRONLY | O_CREAT, 0600);
    for (int theNumber = 3; theNumber < 200; ++theNumber)
      dup2(theFile, theNumber);
    LogError("two");
    LogError("three");
    return 0;
  });
  EXPECT_EQ("", ReadFile(theOwn));
  EXPECT_EQ((Texts{"one", "two", "three"}), TextsOfFile());
}

TEST_F(Harm, ClosedFileIsOpenedAgainAlsoInAnotherFolder) {
  ExpectSurvival([this] {
    if (chdir(mFolder.File("").c_str()) != 0 || zvLog_SetSinkFile("log") == 0) return 1;
    if (chdir("/") != 0) return 1;
    CloseAll();
    LogError("text");
    return access("/log", F_OK) == 0 ? 1 : 0;
  });
  EXPECT_EQ(Texts{"text"}, TextsOfFile());
}

TEST_F(Harm, ManyThreadsLogOnWhenTheFileIsClosed) {
  constexpr int kThreads = 4;
  constexpr int kCount = 200;
  const Ending theEnding = RunInChild([this] {
    if (zvLog_SetSinkFile(Path().c_str()) == 0) return 1;
    CloseAll();
    std::vector<std::thread> theThreads;
    for (int theIndex = 0; theIndex < kThreads; ++theIndex) {
      theThreads.emplace_back([] {
        for (int theNumber = 0; theNumber < kCount; ++theNumber)
          LogError("text");
      });
    }
    for (std::thread &theThread : theThreads)
      theThread.join();
    return 0;
  });
  EXPECT_EQ("", theEnding.mError);
  EXPECT_EQ(size_t{kThreads * kCount}, TextsOfFile().size());
}

TEST_F(Harm, FullDiskIsToldWhenThereIsRoomAgain) {
  if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "this system has no /dev/full";
  ExpectSurvival([] {
    Pipe thePipe;
    const AsStandardError theError(open("/dev/full", O_WRONLY | O_CLOEXEC));
    LogError("lost");
    LogError("lost");
    dup2(thePipe.Writer(), STDERR_FILENO);
    LogError("back");
    return TextsOf(ParseAll(thePipe.Drain())) == Texts{LossText(2, ENOSPC), "back"} ? 0 : 1;
  });
}

TEST_F(Harm, ChildForkedWhileSinksChangeCanChangeThem) {
  std::atomic<bool> afStop{false};
  std::thread theSetter([this, &afStop] {
    while (!afStop) {
      zvLog_SetSinkFile(Path().c_str());
      zvLog_SetSinkStandardError();
    }
  });
  for (int theRound = 0; theRound < 200; ++theRound) {
    const pid_t theChild = fork();
    if (theChild == 0) {
      alarm(30);
      zvLog_SetSinkFile(Path().c_str());
      zvLog_SetSinkStandardError();
      _exit(0);
    }
    int theStatus = 0;
    waitpid(theChild, &theStatus, 0);
    EXPECT_EQ(0, theStatus);
    if (theStatus != 0) break;
  }
  afStop = true;
  theSetter.join();
}

size_t CountDescriptors() {
  size_t theCount = 0;
  for (const auto &theEntry : std::filesystem::directory_iterator("/proc/self/fd")) {
    (void)theEntry;
    ++theCount;
  }
  return theCount;
}

// Another copy of the library, which nobody else uses and which is therefore unloaded.
TEST_F(Harm, UnloadedLibraryLeavesNoDescriptor) {
  ExpectSurvival([this] {
    const std::string theCopy = mFolder.File("libcopy.so");
    std::filesystem::copy_file(ZV_LIBRARY, theCopy);
    const size_t theBefore = CountDescriptors();
    void *theLibrary = dlopen(theCopy.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (theLibrary == nullptr) return 1;
    using SetSink = int (*)(const char *);
    const auto theSetSinkFile = reinterpret_cast<SetSink>(dlsym(theLibrary, "zvLog_SetSinkFile"));
    if (theSetSinkFile(Path().c_str()) == 0 || CountDescriptors() == theBefore) return 2;
    dlclose(theLibrary);
    if (dlopen(theCopy.c_str(), RTLD_NOW | RTLD_NOLOAD) != nullptr) return 3;
    const pid_t theChild = fork();  // no handler is left behind either
    if (theChild == 0) _exit(0);
    int theStatus = 0;
    waitpid(theChild, &theStatus, 0);
    return CountDescriptors() == theBefore && theStatus == 0 ? 0 : 4;
  });
}

}  // namespace
