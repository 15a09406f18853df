// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The command console, and run with Ctrl-C, on terminals of the tests' own.

#include "ToolSupport.h"
#include "support/Support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using namespace zvtest;

using Clock = std::chrono::steady_clock;

constexpr char kCtrlC[] = "\003";
constexpr char kCtrlD[] = "\004";

bool IsSame(const termios &aTermios, const termios &anOther) {
  return aTermios.c_iflag == anOther.c_iflag && aTermios.c_oflag == anOther.c_oflag &&
         aTermios.c_cflag == anOther.c_cflag && aTermios.c_lflag == anOther.c_lflag &&
         memcmp(aTermios.c_cc, anOther.c_cc, sizeof(aTermios.c_cc)) == 0;
}

// Whether a child of a process has died and was not waited for.
bool HasDeadChild(pid_t aProcess) {
  std::error_code theError;
  for (const auto &theEntry : std::filesystem::directory_iterator("/proc", theError)) {
    // "4711 (name) Z 4242 ..."; empty for what is no process, or none any more.
    std::string theStatus;
    std::ifstream theFile(theEntry.path().string() + "/stat");
    std::getline(theFile, theStatus);
    const size_t thePlace = theStatus.rfind(") Z ");
    if (thePlace != std::string::npos && atoi(theStatus.c_str() + thePlace + 4) == aProcess) return true;
  }
  return false;
}

// The program on a terminal as a shell starts it: a child of the session's leader, which lives on, and
// alone in the foreground. Were it the leader itself, the system would keep ^Z from it, and would tell
// its children of its end. The test keeps both ends of the terminal open.
class OnTerminal : public ::testing::Test {
 protected:
  OnTerminal() : mMaster(-1), mTerminal(-1), mLeader(-1), mReports(-1), mPid(-1), mBefore() {}

  ~OnTerminal() override {
    End();
    CloseMaster();
    if (mTerminal >= 0) close(mTerminal);
    RemoveTraceFile();
  }

  void SetUp() override {
    if (openpty(&mMaster, &mTerminal, nullptr, nullptr, nullptr) != 0) {
      GTEST_SKIP() << "no pseudo-terminal to be had (errno " << errno << ")";
    }
    mBefore = Settings();
  }

  void Start(const std::vector<std::string> &anArguments) {
    End();
    int theReports[2];
    ASSERT_EQ(0, pipe2(theReports, O_CLOEXEC));
    fflush(nullptr);
    mLeader = fork();
    if (mLeader == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      close(mMaster);
      Lead(anArguments, theReports[1]);
    }
    close(theReports[1]);
    mReports = theReports[0];
    ASSERT_GT(mLeader, 0);
    ASSERT_TRUE(TakeReport(mPid));
  }

  // The terminal is gone with it.
  void CloseMaster() {
    if (mMaster >= 0) close(mMaster);
    mMaster = -1;
  }

  // For a child that has the terminal as its input and nothing more.
  void ConnectInput() const {
    close(mMaster);
    dup2(mTerminal, STDIN_FILENO);
  }

  termios Settings() const {
    termios theSettings = {};
    EXPECT_EQ(0, tcgetattr(mTerminal, &theSettings));
    return theSettings;
  }

  bool IsRaw() const { return (Settings().c_lflag & (ICANON | ECHO)) == 0; }

  void Type(const std::string &aText) const {
    EXPECT_EQ(static_cast<ssize_t>(aText.size()), write(mMaster, aText.data(), aText.size()));
  }

  // Waits for a text behind what was waited for before.
  bool WaitFor(const std::string &aText) {
    const Clock::time_point theEnd = Clock::now() + std::chrono::seconds(kPatience);
    for (;;) {
      const size_t thePlace = mOutput.find(aText, mSeen);
      if (thePlace != std::string::npos) {
        mSeen = thePlace + aText.size();
        return true;
      }
      if (Clock::now() >= theEnd) {
        ADD_FAILURE() << "'" << aText << "' did not come: " << mOutput;
        return false;
      }
      Read(100);
    }
  }

  // Waits for the end, or until the program is stopped; the status as waitpid gives it.
  int Wait() {
    const Clock::time_point theEnd = Clock::now() + std::chrono::seconds(kPatience);
    pollfd theReport = {mReports, POLLIN, 0};
    while (poll(&theReport, 1, 0) == 0) {
      if (Clock::now() >= theEnd) {
        ADD_FAILURE() << "the program did not end: " << mOutput;
        return -1;
      }
      Read(5);
    }
    int theStatus = -1;
    EXPECT_TRUE(TakeReport(theStatus));
    return theStatus;
  }

  pid_t Pid() const { return mPid; }
  const std::string &Output() const { return mOutput; }
  int Terminal() const { return mTerminal; }
  const termios &Before() const { return mBefore; }

  void StartConsole() {
    Start({"console"});
    ASSERT_TRUE(WaitFor("SOCKETS STATUS: 1 in use"));
    ASSERT_TRUE(WaitFor("listening on 127.0.0.1:"));
    EXPECT_TRUE(IsRaw());
  }

 private:
  // The leader: starts the program, reports its process, then its stops and its end, and lives on.
  [[noreturn]] void Lead(const std::vector<std::string> &anArguments, int aReports) const {
    setenv("TERM", "dumb", 1);
    if (login_tty(mTerminal) != 0) _exit(126);
    const pid_t theProgram = fork();
    if (theProgram == 0) {
      setpgid(0, 0);
      zvtest::ResetSignals();
      signal(SIGTTOU, SIG_IGN);  // it puts itself into the foreground from the background
      tcsetpgrp(STDIN_FILENO, getpid());
      signal(SIGTTOU, SIG_DFL);
      _exit(ExecZvos(anArguments));
    }
    int theStatus = -1;
    if (write(aReports, &theProgram, sizeof(theProgram)) != sizeof(theProgram)) _exit(126);
    while (waitpid(theProgram, &theStatus, WUNTRACED) == theProgram) {
      if (write(aReports, &theStatus, sizeof(theStatus)) != sizeof(theStatus)) _exit(126);
    }
    for (;;)
      pause();
  }

  // Waits for it; false when the leader has died.
  bool TakeReport(int &aReport) const {
    return read(mReports, &aReport, sizeof(aReport)) == static_cast<ssize_t>(sizeof(aReport));
  }

  // The leader, and what is left of the program.
  void End() {
    if (mPid > 0) kill(-mPid, SIGKILL);
    if (mLeader > 0) {
      kill(mLeader, SIGKILL);
      waitpid(mLeader, nullptr, 0);
    }
    if (mReports >= 0) close(mReports);
    mPid = mLeader = mReports = -1;
  }

  bool Read(int aMilliseconds) {
    pollfd thePoll = {mMaster, POLLIN, 0};
    if (poll(&thePoll, 1, aMilliseconds) <= 0) return false;
    char theBuffer[4096];
    const ssize_t theCount = read(mMaster, theBuffer, sizeof(theBuffer));
    if (theCount > 0) mOutput.append(theBuffer, static_cast<size_t>(theCount));
    return theCount > 0;
  }

  // That of a monitor that crashed on purpose.
  void RemoveTraceFile() const {
    const std::string theMark = "the monitor, process ";
    const size_t thePlace = mOutput.find(theMark);
    if (thePlace == std::string::npos) return;
    const int theProcess = atoi(mOutput.c_str() + thePlace + theMark.size());
    zvtest::RemoveCrashFiles(theProcess);
  }

  int mMaster;
  int mTerminal;
  pid_t mLeader;
  int mReports;
  pid_t mPid;
  termios mBefore;
  std::string mOutput;
  size_t mSeen = 0;
};

TEST_F(OnTerminal, KeysAreObeyedWithoutEnterAndTheTableFollows) {
  StartConsole();
  Type("o");
  ASSERT_TRUE(WaitFor("SOCKETS STATUS: 3 in use"));
  ASSERT_TRUE(WaitFor("(monitor: opened)"));
  Type("s");
  ASSERT_TRUE(WaitFor("S=00000100"));
  ASSERT_TRUE(WaitFor("R=00000100"));
  Type("c");
  ASSERT_TRUE(WaitFor("closed a connection"));
  ASSERT_TRUE(WaitFor("SOCKETS STATUS: 1 in use"));
  Type("x");
  ASSERT_TRUE(WaitFor("nothing is done on 'x'"));
  Type("q");
  EXPECT_EQ(0, Wait());
  EXPECT_TRUE(IsSame(Before(), Settings()));
}

TEST_F(OnTerminal, KeysAreExplainedOnTheScreen) {
  StartConsole();
  EXPECT_THAT(Output(), HasSubstr("zvos console: keys without Enter, and the live table of sockets\r\n"
                                  "  o  open a connection          s  send 100 bytes on the newest one\r\n"
                                  "  c  close the newest one       r  show again      q  quit\r\n"));
}

TEST_F(OnTerminal, KeyOfTheByteZeroIsAKeyLikeOthers) {
  StartConsole();
  Type(std::string(1, '\0'));  // Ctrl-@
  ASSERT_TRUE(WaitFor("nothing is done on '?'"));
  Type("r");
  EXPECT_TRUE(WaitFor("shown again"));
}

TEST_F(OnTerminal, ConsoleEndsWhenItsTerminalIsGone) {
  // Not its controlling terminal: no signal tells.
  RunningZvos theZvos({"console"}, "/", [this] { ConnectInput(); });
  ASSERT_TRUE(theZvos.WaitForOutput("listening on 127.0.0.1:"));
  CloseMaster();
  EXPECT_EQ(0, theZvos.Wait());
  EXPECT_THAT(theZvos.Output(), EndsWith("\nbye\n"));
}

TEST_F(OnTerminal, KeysThatHaveNothingToDoSaySo) {
  StartConsole();
  for (const char *theKey : {"s", "c"}) {
    Type(theKey);
    EXPECT_TRUE(WaitFor("there is no connection: press o"));
  }
}

TEST_F(OnTerminal, ConnectionsOfOthersAreInTheTable) {
  StartConsole();
  ASSERT_TRUE(WaitFor(","));
  const size_t theEnd = Output().rfind(',');
  const size_t theColon = Output().rfind("127.0.0.1:", theEnd) + strlen("127.0.0.1:");
  {
    const RawClient theClient(static_cast<uint16_t>(atoi(Output().c_str() + theColon)));
    ASSERT_TRUE(theClient.IsConnected());
    ASSERT_TRUE(WaitFor("SOCKETS STATUS: 2 in use"));
    theClient.Send("hello");
    ASSERT_TRUE(WaitFor("R=00000005"));
  }
  EXPECT_TRUE(WaitFor("SOCKETS STATUS: 1 in use"));
}

TEST_F(OnTerminal, ConsoleRestoresTheTerminalHoweverItIsQuit) {
  for (const char *theKey : {"q", kCtrlC, kCtrlD}) {
    StartConsole();
    Type(theKey);
    EXPECT_EQ(0, Wait());
    EXPECT_TRUE(IsSame(Before(), Settings()));
  }
  for (const int theSignal : {SIGTERM, SIGHUP, SIGINT}) {
    StartConsole();
    kill(Pid(), theSignal);
    EXPECT_EQ(0, Wait());
    EXPECT_TRUE(IsSame(Before(), Settings()));
  }
}

// The monitor gets Ctrl-C as well, and may have ended before the program looks.
TEST_F(OnTerminal, CtrlCEndsTheConsoleWellThoughTheMonitorIsFaster) {
  StartConsole();
  kill(Pid(), SIGSTOP);
  ASSERT_TRUE(WIFSTOPPED(Wait()));
  Type(kCtrlC);
  ASSERT_TRUE(zvtest::WaitUntil([this] { return HasDeadChild(Pid()); }));
  kill(Pid(), SIGCONT);
  EXPECT_EQ(0, Wait());
  EXPECT_TRUE(IsSame(Before(), Settings()));
}

TEST_F(OnTerminal, UnusualSettingsAreRestoredAsTheyWere) {
  termios theSettings = Before();
  theSettings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  theSettings.c_cc[VMIN] = 7;
  theSettings.c_cc[VTIME] = 3;
  ASSERT_EQ(0, tcsetattr(Terminal(), TCSANOW, &theSettings));
  StartConsole();
  Type("q");
  EXPECT_EQ(0, Wait());
  EXPECT_TRUE(IsSame(theSettings, Settings()));
}

TEST_F(OnTerminal, CrashOfTheMonitorIsReportedAndTheTerminalRestored) {
  StartConsole();
  Type("!");
  const int theStatus = Wait();
  EXPECT_EQ(128 + SIGSEGV, WEXITSTATUS(theStatus));
  EXPECT_TRUE(IsSame(Before(), Settings()));
  EXPECT_TRUE(WaitFor("died by signal 11 (Segmentation fault); the terminal is as it was\r\n"));
  EXPECT_THAT(Output(),
              AllOf(HasSubstr("zvOSThread: Received fatal signal: 11"), HasSubstr("zvos_CrashOnPurpose")));
}

TEST_F(OnTerminal, TerminalIsRestoredByTheMonitorWhenItsParentIsKilled) {
  if (zvtest::IsEmulated())
    GTEST_SKIP() << "the signal does not reach an emulated program that another one has started";
  StartConsole();
  kill(Pid(), SIGKILL);
  EXPECT_TRUE(WIFSIGNALED(Wait()));
  EXPECT_TRUE(WaitUntil([this] { return (Settings().c_lflag & (ICANON | ECHO)) == (ICANON | ECHO); }));
}

// A stopped one would leave the terminal raw to the shell.
TEST_F(OnTerminal, CtrlZDoesNotStopTheConsole) {
  StartConsole();
  Type("\032");
  Type("r");
  EXPECT_TRUE(WaitFor("shown again"));
  Type("q");
  EXPECT_EQ(0, Wait());
}

TEST_F(OnTerminal, CtrlCEndsARunningCommandCleanly) {
  Start({"run", "sleep 30 & trap 'echo last words; kill '$!'; exit' INT; echo up; wait"});
  ASSERT_TRUE(WaitFor("up\r\n"));
  Type(kCtrlC);
  const int theStatus = Wait();
  EXPECT_TRUE(WIFEXITED(theStatus));
  EXPECT_EQ(128 + SIGINT, WEXITSTATUS(theStatus));
  EXPECT_TRUE(WaitFor("last words\r\n"));
}

TEST_F(OnTerminal, CtrlCEndsALockedCommandCleanly) {
  Start({"lock", "zvos-test-" + std::to_string(getpid()), "--", "sh", "-c",
         "sleep 30 & trap 'echo last words; kill '$!'; exit 9' INT; echo up; wait"});
  ASSERT_TRUE(WaitFor("up\r\n"));
  Type(kCtrlC);
  const int theStatus = Wait();
  unlink(("/tmp/zvos-test-" + std::to_string(getpid())).c_str());
  EXPECT_EQ(9, WEXITSTATUS(theStatus));
  EXPECT_TRUE(WaitFor("last words\r\n"));
}

TEST(Console, StandardInputHasToBeATerminal) {
  const zvtest::ChildResult theResult = zvtest::RunInChild([] {
    dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    return ExecZvos({"console"});
  });
  EXPECT_EQ(2, theResult.mStatus);
  EXPECT_EQ("zvos: console: standard input is not a terminal\n", theResult.mError);
}

TEST(Console, TakesNoOperand) {
  const zvtest::ChildResult theResult = zvtest::RunInChild([] { return ExecZvos({"console", "x"}); });
  EXPECT_EQ(2, theResult.mStatus);
  EXPECT_EQ("zvos: console: no operand is taken, see 'zvos help console'\n", theResult.mError);
}

}  // namespace
