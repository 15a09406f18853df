// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "console_support.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <climits>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;
using zvtest::console::Stream;
using zvtest::console::StreamOf;
using zvtest::pipes::Peer;
namespace net = zvtest::net;

constexpr int kKeys = ICANON | ECHO;

// The keyboard and screen of a terminal, and the device that programs use.
class Terminal {
 public:
  Terminal() : mKeyboard(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    char theName[PATH_MAX] = "";
    mfUsable = mKeyboard >= 0 && grantpt(mKeyboard) == 0 && unlockpt(mKeyboard) == 0 &&
               ptsname_r(mKeyboard, theName, sizeof(theName)) == 0;
    if (mfUsable) mDevice = net::Socket(open(theName, O_RDWR | O_NOCTTY | O_CLOEXEC));
    mfUsable = mfUsable && mDevice >= 0;
  }

  bool IsUsable() const { return mfUsable; }
  int Device() const { return mDevice; }

  void Type(const std::string &someKeys) const {
    EXPECT_EQ(static_cast<ssize_t>(someKeys.size()), write(mKeyboard, someKeys.data(), someKeys.size()));
  }

  // Waits until as much as this appears on the screen, and tells what does.
  std::string Shown(size_t aLength) const {
    std::string theText;
    pollfd theScreen = {mKeyboard, POLLIN, 0};
    while (theText.size() < aLength && poll(&theScreen, 1, 10000) == 1) {
      char theBuffer[100];
      const ssize_t theCount = read(mKeyboard, theBuffer, sizeof(theBuffer));
      if (theCount <= 0) break;
      theText.append(theBuffer, static_cast<size_t>(theCount));
    }
    return theText;
  }

  termios Settings() const {
    termios theSettings = {};
    EXPECT_EQ(0, tcgetattr(mDevice, &theSettings));
    return theSettings;
  }
  void SetTo(const termios &someSettings) const { EXPECT_EQ(0, tcsetattr(mDevice, TCSANOW, &someSettings)); }

  tcflag_t LocalMode() const { return Settings().c_lflag; }

  void Unplug() {
    mDevice.Close();
    mKeyboard.Close();
  }

 private:
  net::Socket mKeyboard;
  net::Socket mDevice{-1};
  bool mfUsable;
};

std::string WhyNoTerminal() {
  errno = 0;
  if (Terminal().IsUsable()) return {};
  return std::string("needs pseudo-terminals under /dev/pts: ") + strerror(errno);
}

// Tells the console program how far the test is, and the other way round.
class Signpost {
 public:
  Signpost() { EXPECT_EQ(0, pipe2(mEnds, O_CLOEXEC)); }
  ~Signpost() {
    close(mEnds[0]);
    close(mEnds[1]);
  }
  Signpost(const Signpost &) = delete;
  Signpost &operator=(const Signpost &) = delete;

  void Pass() const { EXPECT_EQ(1, write(mEnds[1], "!", 1)); }
  void WaitForPass() const {
    char theByte;
    pollfd theEvent = {mEnds[0], POLLIN, 0};
    ASSERT_EQ(1, poll(&theEvent, 1, 10000)) << "the other side did not come so far";
    EXPECT_EQ(1, read(mEnds[0], &theByte, 1));
  }

 private:
  int mEnds[2] = {-1, -1};
};

// A program whose controlling terminal, standard input and standard output are the terminal. It logs
// nothing.
class Console {
 public:
  Console(const Terminal &aTerminal, const std::function<void()> &aBody)
      : mPeer([&] {
          EXPECT_NE(-1, setsid()) << strerror(errno);
          EXPECT_EQ(0, ioctl(aTerminal.Device(), TIOCSCTTY, 0)) << strerror(errno);
          EXPECT_EQ(STDIN_FILENO, dup2(aTerminal.Device(), STDIN_FILENO));
          EXPECT_EQ(getpid(), tcgetpgrp(STDIN_FILENO));
          const RecordingLog theLog;
          aBody();
          EXPECT_THAT(theLog.Calls(), IsEmpty());
        }) {}

  void Join() { mPeer.Join(); }

 private:
  Peer mPeer;
};

#define NEEDS_TERMINAL() \
  if (!WhyNoTerminal().empty()) GTEST_SKIP() << WhyNoTerminal()

TEST(ConsoleTest, KeysComeWithoutEnterAndAreNotShown) {
  NEEDS_TERMINAL();
  InOwnProcess([] {
    const Terminal theTerminal;
    const Signpost theStart;
    Console theConsole(theTerminal, [&] {
      zvConsolePlatform_Disable(kKeys);
      theStart.Pass();
      EXPECT_EQ('k', zvConsolePlatform_GetChar(stdin));
      EXPECT_EQ('\n', zvConsolePlatform_GetChar(stdin));
      EXPECT_EQ(0xFF, zvConsolePlatform_GetChar(stdin));
      EXPECT_EQ(4, write(theTerminal.Device(), "done", 4));
    });
    theStart.WaitForPass();
    theTerminal.Type("k");
    theTerminal.Type("\n\xFF");
    // What was typed would have been shown before.
    EXPECT_EQ("done", theTerminal.Shown(4));
    theConsole.Join();
  });
}

TEST(ConsoleTest, EnablingTheSameBitsRestoresLineInputAndEcho) {
  NEEDS_TERMINAL();
  InOwnProcess([] {
    const Terminal theTerminal;
    const Signpost theStart;
    const Signpost theKey;
    const Signpost theAnswer;
    Console theConsole(theTerminal, [&] {
      zvConsolePlatform_Disable(kKeys);
      zvConsolePlatform_Enable(kKeys);
      theStart.Pass();
      theKey.WaitForPass();
      EXPECT_EQ(0, zvConsolePlatform_IsCharAvailable(stdin));
      theAnswer.Pass();
      EXPECT_EQ('k', zvConsolePlatform_GetChar(stdin));
      EXPECT_EQ(1, zvConsolePlatform_IsCharAvailable(stdin));
      EXPECT_EQ('\n', zvConsolePlatform_GetChar(stdin));
    });
    theStart.WaitForPass();
    theTerminal.Type("k");
    EXPECT_EQ("k", theTerminal.Shown(1));
    theKey.Pass();
    theAnswer.WaitForPass();
    theTerminal.Type("\n");
    EXPECT_EQ("\r\n", theTerminal.Shown(2));
    theConsole.Join();
  });
}

TEST(ConsoleTest, OnlyTheBitsOfTheCallAndTheRuleOfReadingChange) {
  NEEDS_TERMINAL();
  InOwnProcess([] {
    const int theValues[] = {0, ICANON, ECHO, kKeys, ISIG, IEXTEN | ECHOCTL, kKeys | ISIG};
    for (const int theValue : theValues) {
      for (const bool afEnable : {false, true}) {
        SCOPED_TRACE(::testing::Message() << (afEnable ? "enable " : "disable ") << theValue);
        const Terminal theTerminal;
        termios theExpected = theTerminal.Settings();
        theExpected.c_lflag = afEnable ? 0 : static_cast<tcflag_t>(kKeys | ISIG | IEXTEN | ECHOCTL | ECHOE);
        theExpected.c_cc[VMIN] = 7;
        theExpected.c_cc[VTIME] = 5;
        theTerminal.SetTo(theExpected);
        Console(theTerminal, [&] {
          if (afEnable) {
            zvConsolePlatform_Enable(theValue);
          } else {
            zvConsolePlatform_Disable(theValue);
          }
        }).Join();
        if (afEnable) {
          theExpected.c_lflag |= static_cast<tcflag_t>(theValue);
        } else {
          theExpected.c_lflag &= ~static_cast<tcflag_t>(theValue);
        }
        theExpected.c_cc[VMIN] = 1;
        theExpected.c_cc[VTIME] = 0;
        const termios theActual = theTerminal.Settings();
        EXPECT_EQ(theExpected.c_lflag, theActual.c_lflag);
        EXPECT_EQ(theExpected.c_iflag, theActual.c_iflag);
        EXPECT_EQ(theExpected.c_oflag, theActual.c_oflag);
        EXPECT_EQ(theExpected.c_cflag, theActual.c_cflag);
        EXPECT_EQ(0, memcmp(theExpected.c_cc, theActual.c_cc, sizeof(theExpected.c_cc)));
      }
    }
  });
}

TEST(ConsoleTest, KeysThatWaitAreKeptWhenTheModeChanges) {
  NEEDS_TERMINAL();
  InOwnProcess([] {
    const Terminal theTerminal;
    const Signpost theStart;
    Console theConsole(theTerminal, [&] {
      zvConsolePlatform_Disable(kKeys);
      theStart.Pass();
      EXPECT_EQ('a', zvConsolePlatform_GetChar(stdin));
      zvConsolePlatform_Enable(ISIG);
      zvConsolePlatform_Disable(ISIG);
      EXPECT_EQ('b', zvConsolePlatform_GetChar(stdin));
    });
    theStart.WaitForPass();
    theTerminal.Type("ab");
    theConsole.Join();
  });
}

TEST(ConsoleTest, TheSettingsAreAppliedAtOnceAndAFailureIsIgnored) {
  NEEDS_TERMINAL();
  InOwnProcess([] {
    const Terminal theTerminal;
    const tcflag_t theOldMode = theTerminal.LocalMode();
    Console(theTerminal, [&] {
      Arguments theArguments;
      Fault theFault("tcsetattr", EIO, 0, -1);
      theFault.Doing(CopyInto(&theArguments, 2));
      zvConsolePlatform_Disable(kKeys);
      EXPECT_THAT(theArguments, ElementsAre(STDIN_FILENO, TCSANOW));
      zvConsolePlatform_Enable(kKeys);
      EXPECT_THAT(theArguments, ElementsAre(STDIN_FILENO, TCSANOW));
      EXPECT_EQ(2, theFault.Hits());
    }).Join();
    EXPECT_EQ(theOldMode, theTerminal.LocalMode());
  });
}

TEST(ConsoleTest, AStandardInputThatIsNoTerminalIsLeftAlone) {
  InOwnProcess([] {
    const RecordingLog theLog;
    const net::Socket theNull(open("/dev/null", O_RDWR));
    EXPECT_EQ(STDIN_FILENO, dup2(theNull, STDIN_FILENO));
    zvConsolePlatform_Disable(kKeys);
    zvConsolePlatform_Enable(kKeys);
    close(STDIN_FILENO);
    zvConsolePlatform_Disable(kKeys);
    zvConsolePlatform_Enable(kKeys);
    EXPECT_THAT(theLog.Calls(), IsEmpty());
  });
}

TEST(ConsoleTest, TheModeIsThatOfStandardInputAlsoWhenKeysComeFromElsewhere) {
  NEEDS_TERMINAL();
  InOwnProcess([] {
    const Terminal theTerminal;
    const Terminal theOther;
    const tcflag_t theOldMode = theTerminal.LocalMode();
    const Signpost theStart;
    const Signpost theLine;
    const Signpost theEnd;
    Console theConsole(theTerminal, [&] {
      const Stream theInput = StreamOf(dup(theOther.Device()));
      zvConsolePlatform_Disable(kKeys);
      theStart.Pass();
      theLine.WaitForPass();
      EXPECT_EQ(0, zvConsolePlatform_IsCharAvailable(stdin));
      EXPECT_EQ('x', zvConsolePlatform_GetChar(theInput.get()));
      zvConsolePlatform_Enable(kKeys);
    });
    theStart.WaitForPass();
    EXPECT_EQ(theOldMode & ~static_cast<tcflag_t>(kKeys), theTerminal.LocalMode());
    EXPECT_EQ(theOldMode, theOther.LocalMode());
    theOther.Type("x\n");
    EXPECT_EQ("x\r\n", theOther.Shown(3));
    theLine.Pass();
    theConsole.Join();
    EXPECT_EQ(theOldMode, theTerminal.LocalMode());
    EXPECT_EQ(theOldMode, theOther.LocalMode());
  });
}

TEST(ConsoleTest, AKeyIsAvailableOnceItWasTypedAndUntilItIsRead) {
  NEEDS_TERMINAL();
  InOwnProcess([] {
    const Terminal theTerminal;
    const Signpost theStart;
    Console theConsole(theTerminal, [&] {
      zvConsolePlatform_Disable(ICANON);
      EXPECT_EQ(0, zvConsolePlatform_IsCharAvailable(stdin));
      theStart.Pass();
      EXPECT_TRUE(zvtest::WaitUntil([] { return zvConsolePlatform_IsCharAvailable(stdin) == 1; }));
      EXPECT_EQ(1, zvConsolePlatform_IsCharAvailable(stdin));
      EXPECT_EQ('k', zvConsolePlatform_GetChar(stdin));
      EXPECT_EQ(0, zvConsolePlatform_IsCharAvailable(stdin));
    });
    theStart.WaitForPass();
    theTerminal.Type("k");
    theConsole.Join();
  });
}

TEST(ConsoleTest, TheKeyForTheEndOfTheInputGives0) {
  NEEDS_TERMINAL();
  InOwnProcess([] {
    const Terminal theTerminal;
    Console theConsole(theTerminal, [] {
      EXPECT_EQ(0, zvConsolePlatform_GetChar(stdin));
      EXPECT_EQ('x', zvConsolePlatform_GetChar(stdin));
    });
    theTerminal.Type("\x04");
    theTerminal.Type("x\n");
    theConsole.Join();
  });
}

TEST(ConsoleTest, ATerminalThatIsUnpluggedGives0AndIsAvailable) {
  NEEDS_TERMINAL();
  InOwnProcess([] {
    Terminal theTerminal;
    const Signpost theStart;
    Console theConsole(theTerminal, [&] {
      signal(SIGHUP, SIG_IGN);
      zvConsolePlatform_Disable(kKeys);
      // The console's own copy of the keyboard would keep the terminal in use.
      theTerminal.Unplug();
      theStart.Pass();
      EXPECT_EQ(0, zvConsolePlatform_GetChar(stdin));
      EXPECT_EQ(1, zvConsolePlatform_IsCharAvailable(stdin));
      EXPECT_EQ(0, zvConsolePlatform_GetChar(stdin));
    });
    theStart.WaitForPass();
    theTerminal.Unplug();
    theConsole.Join();
  });
}

TEST(ConsoleTest, OpenConsoleDoesNothingInAnyMode) {
  NEEDS_TERMINAL();
  InOwnProcess([] {
    const Terminal theTerminal;
    const termios theOldSettings = theTerminal.Settings();
    Console(theTerminal, [] {
      for (int theMode = -1; theMode <= kzvConsoleMode_NoConsoleForGUI + 1; ++theMode)
        zvConsolePlatform_OpenConsole(theMode);
    }).Join();
    const termios theSettings = theTerminal.Settings();
    EXPECT_EQ(theOldSettings.c_lflag, theSettings.c_lflag);
    EXPECT_EQ(0, memcmp(theOldSettings.c_cc, theSettings.c_cc, sizeof(theSettings.c_cc)));
  });
}

TEST(ConsoleTest, ModesHaveTheirValues) {
  EXPECT_EQ(0, kzvConsoleMode_Default);
  EXPECT_EQ(1, kzvConsoleMode_NoPassThrough);
  EXPECT_EQ(2, kzvConsoleMode_NoConsoleForGUI);
}

}  // namespace
