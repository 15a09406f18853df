// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Sinks that nobody reads, and terminals: they hold their process shortly, and show what they are given.

#include "HarmTest.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <termios.h>
#include <cerrno>
#include <thread>

namespace {

using namespace zvlogtest;

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
    EXPECT_LT(0, read(thePipe.Reader(), theBlock, sizeof(theBlock)));
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
      if (read(theReader, theBlock, sizeof(theBlock)) <= 0) return 3;
      LogError("back");
      const ssize_t theCount = read(theReader, theBlock, sizeof(theBlock));
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
    EXPECT_LT(0, read(thePipe.Reader(), theBlock, sizeof(theBlock)));
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
      const ssize_t theCount = read(mMaster, theBlock, sizeof(theBlock));
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

}  // namespace
