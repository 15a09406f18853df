// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The command `get`: what is stored, and what is not.

#include "ToolSupport.h"
#include "support/Support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <netdb.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>

namespace {

using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using namespace zvtest;

ChildResult Get(const std::vector<std::string> &anArguments) {
  std::vector<std::string> theWords = {"get"};
  theWords.insert(theWords.end(), anArguments.begin(), anArguments.end());
  return RunProgram(BuiltProgram("zvos"), theWords);
}

std::string Status(const std::string &aPath) {
  struct stat theStatus = {};
  if (stat(aPath.c_str(), &theStatus) != 0) return "missing";
  return S_ISREG(theStatus.st_mode) ? "file" : S_ISCHR(theStatus.st_mode) ? "device" : "other";
}

// A server that answers a request with a text, whatever was asked for.
std::function<void(RawClient &)> Answering(const std::string &anAnswer) {
  return [anAnswer](RawClient &aClient) {
    aClient.Send(kReady);
    aClient.Line();
    aClient.Send(anAnswer);
  };
}

// Good files

TEST(Get, StoresExactlyTheServedFile) {
  const TempFolder theServed;
  const TempFolder theFolder;
  mkdir(theServed.File("sub folder").c_str(), 0755);
  RunningZvos theServer({"serve", "--bind", "127.0.0.1", theServed.Path()});
  const std::string theAddress = "127.0.0.1:" + std::to_string(theServer.Port());
  const std::pair<const char *, size_t> kFiles[] = {{"empty", 0},
                                                    {"one", 1},
                                                    {"piece", 65536},
                                                    {"piece and one", 65537},
                                                    {"sub folder/100%", 3000001},
                                                    {"\xc3\xa4\n\x01", 12}};
  for (const auto &[theName, theSize] : kFiles) {
    WriteWholeFile(theServed.File(theName), SomeBytes(theSize));
    const ChildResult theResult = Get({theAddress, theName, "-o", theFolder.File("fetched")});
    EXPECT_EQ(0, theResult.mStatus);
    EXPECT_EQ("", theResult.mError);
    EXPECT_THAT(theResult.mOutput, MatchesRegex("ok      .* " + std::to_string(theSize) +
                                                " bytes, CRC-32 [0-9a-f]+, [0-9]+ ms, stored in '" +
                                                theFolder.File("fetched") + "'\n"));
    EXPECT_EQ(SomeBytes(theSize), ReadWholeFile(theFolder.File("fetched"))) << theName;
  }
  EXPECT_THAT(NamesIn(theFolder.Path()), ElementsAre("fetched"));
}

TEST(Get, WithoutAFileTheNameIsTheLastPartOfTheServedOne) {
  const TempFolder theFolder;
  const FakeServer theServer(Answering("data 5\nhelloCRC"));
  const FakeServer theGoodServer(
      Answering("data 5\nhello"
                "crc32 3610a686\n"));
  RunningZvos theFailing({"get", theServer.Address(), "a/b/name"}, theFolder.Path());
  EXPECT_EQ(1, WEXITSTATUS(theFailing.Wait()));
  RunningZvos theGood({"get", theGoodServer.Address(), "a/b/name"}, theFolder.Path());
  EXPECT_EQ(0, theGood.Wait()) << theGood.Error();
  EXPECT_THAT(NamesIn(theFolder.Path()), ElementsAre("name"));
  EXPECT_EQ("hello", ReadWholeFile(theFolder.File("name")));
}

TEST(Get, FileThatIsThereIsReplacedAlsoBehindALink) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("file"), "before");
  ASSERT_EQ(0, symlink("file", theFolder.File("link").c_str()));
  const FakeServer theServer(Answering("data 5\nhellocrc32 3610a686\n"));
  EXPECT_EQ(0, Get({theServer.Address(), "x", "-o", theFolder.File("link")}).mStatus);
  EXPECT_EQ("hello", ReadWholeFile(theFolder.File("file")));
  EXPECT_THAT(NamesIn(theFolder.Path()), ElementsAre("file", "link"));
  struct stat theStatus = {};
  ASSERT_EQ(0, lstat(theFolder.File("link").c_str(), &theStatus));
  EXPECT_TRUE(S_ISLNK(theStatus.st_mode));
}

TEST(Get, NewFileHasThePermissionsThatTheCallerWants) {
  const TempFolder theFolder;
  const FakeServer theServer(Answering("data 5\nhellocrc32 3610a686\n"));
  RunningZvos theGet({"get", theServer.Address(), "x"}, theFolder.Path(), [] { umask(027); });
  EXPECT_EQ(0, theGet.Wait()) << theGet.Error();
  struct stat theStatus = {};
  ASSERT_EQ(0, stat(theFolder.File("x").c_str(), &theStatus));
  EXPECT_EQ(0640u, theStatus.st_mode & 07777u);
}

TEST(Get, HostNameIsResolved) {
  if (gethostbyname("localhost") == nullptr) {
    GTEST_SKIP() << "this machine does not know the name localhost (no /etc/hosts?)";
  }
  const TempFolder theFolder;
  const FakeServer theServer(Answering("data 5\nhellocrc32 3610a686\n"));
  const std::string thePort = theServer.Address().substr(theServer.Address().find(':'));
  const ChildResult theResult = Get({"localhost" + thePort, "x", "-o", theFolder.File("x")});
  EXPECT_EQ(0, theResult.mStatus) << theResult.mError;
}

TEST(Get, TraceShowsTheSocketTableAndWritesTheTraffic) {
  const TempFolder theFolder;
  const FakeServer theServer(Answering("data 5\nhellocrc32 3610a686\n"));
  RunningZvos theGet({"get", "--trace", theServer.Address(), "x"}, theFolder.Path());
  EXPECT_EQ(0, theGet.Wait());
  EXPECT_THAT(theGet.Error(),
              ContainsRegex("\\* ID=[ 0-9]+  OUT  S=00000006  R=[0-9]+ .* Closed     \\(zvos get\\)"));
  const std::vector<std::string> theFiles = NamesIn(theFolder.File("socket"));
  ASSERT_EQ(1u, theFiles.size());
  EXPECT_THAT(theFiles[0],
              MatchesRegex("127\\.0\\.0\\.1-" + theServer.Address().substr(10) + "-\\[[0-9]+\\]\\.txt"));
  EXPECT_EQ(std::string(kReady) + "get x\ndata 5\nhellocrc32 3610a686\n\r\n*** CLOSED ***\r\n",
            ReadWholeFile(theFolder.File("socket/" + theFiles[0])));
  EXPECT_THAT(theGet.Output(), HasSubstr("traffic in 'socket/" + theFiles[0] + "'\n"));
}

// Servers that misbehave

struct BadServer {
  const char *mWhat;
  std::string mGreeting;
  std::string mAnswer;
  int mStatus;
  std::string mComplaint;  // %S is the server
};

TEST(Get, WhatIsNotRightLeavesNothingAndIsOneLine) {
  const std::string theForeign = "%S is no server of 'zvos serve'";
  const BadServer kServers[] = {
      {"wrong checksum", kReady, "data 5\nhellocrc32 3610a687\n", 1,
       "wrong data: its CRC-32 is 3610a686, the server says 3610a687"},
      {"wrong data", kReady, "data 5\nhallocrc32 3610a686\n", 1,
       "wrong data: its CRC-32 is b97231d1, the server says 3610a686"},
      {"no checksum", kReady, "data 5\nhello", 1, "the server closed the connection"},
      {"something else than the checksum", kReady, "data 5\nhello world\n", 1, theForeign},
      {"too short", kReady, "data 10\nhel", 1, "the server closed the connection after 3 of 10 bytes"},
      {"nothing", "", "", 1, "the server closed the connection"},
      {"half a greeting", "zvos-files 1 re", "", 1, "the server closed the connection"},
      {"no answer", kReady, "", 1, "the server closed the connection"},
      {"another service", "220 mail.example ready\n", "", 1, theForeign},
      {"another version", "zvos-files 2 ready\n", "", 1, theForeign},
      {"endless line", std::string(100000, 'x'), "", 1, theForeign},
      {"no number", kReady, "data five\nhello", 1, theForeign},
      {"negative number", kReady, "data -5\nhello", 1, theForeign},
      {"number that is too large", kReady, "data 9223372036854775808\nhello", 1, theForeign},
      {"busy", "zvos-files 1 busy come back later\n", "", 1, "%S is busy: come back later"},
      {"busy with files", kReady, "busy too many open files\n", 1, "%S is busy: too many open files"},
      {"denied", "zvos-files 1 denied not you\n", "", 1, "%S refuses: not you"},
      {"refused", kReady, "refused \033[31mred\n", 1, "%S refuses: %1B[31mred"},
      {"missing", kReady, "missing gone\n", 2, "'x' on %S: gone"},
  };
  for (const BadServer &theCase : kServers) {
    SCOPED_TRACE(theCase.mWhat);
    const TempFolder theFolder;
    WriteWholeFile(theFolder.File("x"), "before");
    const FakeServer theServer([&theCase](RawClient &aClient) {
      aClient.Send(theCase.mGreeting);
      if (theCase.mGreeting == kReady) aClient.Line();
      aClient.Send(theCase.mAnswer);
    });
    std::string theComplaint = theCase.mComplaint;
    const size_t thePlace = theComplaint.find("%S");
    if (thePlace != std::string::npos) theComplaint.replace(thePlace, 2, theServer.Address());
    const ChildResult theResult = Get({theServer.Address(), "x", "-o", theFolder.File("x")});
    EXPECT_EQ(theCase.mStatus, theResult.mStatus);
    EXPECT_EQ("zvos: get: " + theComplaint + "\n", theResult.mError);
    EXPECT_EQ("", theResult.mOutput);
    EXPECT_THAT(NamesIn(theFolder.Path()), ElementsAre("x"));
    EXPECT_EQ("before", ReadWholeFile(theFolder.File("x")));
  }
}

TEST(Get, ServerThatDoesNotCloseIsNotWaitedForAsLongAsASilentOne) {
  const TempFolder theFolder;
  const FakeServer theServer([](RawClient &aClient) {
    aClient.Send(std::string(kReady) + "data 5\nhellocrc32 3610a686\n");
    aClient.Rest();
  });
  const auto theStart = std::chrono::steady_clock::now();
  const ChildResult theResult =
      Get({"--idle", std::to_string(kPatience), theServer.Address(), "x", "-o", theFolder.File("x")});
  EXPECT_LT(std::chrono::steady_clock::now() - theStart, std::chrono::seconds(kPatience / 2));
  EXPECT_EQ(0, theResult.mStatus) << theResult.mError;
  EXPECT_EQ("hello", ReadWholeFile(theFolder.File("x")));
}

TEST(Get, SilentServerIsGivenUp) {
  const TempFolder theFolder;
  const FakeServer theServer([](RawClient &aClient) {
    aClient.Send(std::string(kReady) + "data 10\nhel");
    aClient.Rest();
  });
  const ChildResult theResult = Get({"--idle", "1", theServer.Address(), "x", "-o", theFolder.File("x")});
  EXPECT_EQ(1, theResult.mStatus);
  EXPECT_EQ("zvos: get: no answer for 1 s after 3 of 10 bytes\n", theResult.mError);
  EXPECT_THAT(NamesIn(theFolder.Path()), ElementsAre());
}

TEST(Get, NoServerIsOneLine) {
  uint16_t thePort = 0;
  {
    thePort = static_cast<uint16_t>(atoi(FakeServer([](RawClient &) {}).Address().substr(10).c_str()));
  }
  const std::string theAddress = "127.0.0.1:" + std::to_string(thePort);
  const TempFolder theFolder;
  const ChildResult theResult = Get({theAddress, "x", "-o", theFolder.File("x")});
  EXPECT_EQ(2, theResult.mStatus);
  EXPECT_EQ("zvos: get: cannot connect to " + theAddress + ": Connection refused\n", theResult.mError);
  EXPECT_EQ("", theResult.mOutput);
  EXPECT_THAT(NamesIn(theFolder.Path()), ElementsAre());
}

TEST(Get, SignalLeavesNothingAndIsPassedOn) {
  for (const int theSignal : {SIGINT, SIGTERM, SIGHUP}) {
    const TempFolder theFolder;
    const FakeServer theServer([](RawClient &aClient) {
      aClient.Send(std::string(kReady) + "data 10\nhel");
      aClient.Rest();
    });
    RunningZvos theGet({"get", theServer.Address(), "x"}, theFolder.Path(),
                       [theSignal] { signal(theSignal, SIG_DFL); });
    ASSERT_TRUE(zvtest::WaitUntil([&] {
      const std::vector<std::string> theNames = NamesIn(theFolder.Path());
      return theNames.size() == 1 && ReadWholeFile(theFolder.File(theNames[0])) == "hel";
    }));
    theGet.Kill(theSignal);
    const int theStatus = theGet.Wait();
    EXPECT_TRUE(WIFSIGNALED(theStatus));
    EXPECT_EQ(theSignal, WTERMSIG(theStatus));
    EXPECT_EQ("zvos: get: stopped after 3 of 10 bytes\n", theGet.Error());
    EXPECT_THAT(NamesIn(theFolder.Path()), ElementsAre());
  }
}

// What cannot be stored

TEST(Get, FileThatCannotBeWrittenIsOneLine) {
  const TempFolder theFolder;
  mkdir(theFolder.File("folder").c_str(), 0755);
  ASSERT_EQ(0, mkfifo(theFolder.File("pipe").c_str(), 0600));
  const FakeServer theServer([](RawClient &) {});
  const std::pair<std::string, std::string> kFiles[] = {
      {theFolder.File("folder"), "it is a directory"},
      {theFolder.File("folder/"), "it is a directory"},
      {theFolder.File("pipe"), "it is not a regular file"},
      {"/dev/null", "it is not a regular file"},
      {"", "it has no name"},
  };
  for (const auto &[theFile, theReason] : kFiles) {
    const ChildResult theResult = Get({theServer.Address(), "x", "-o", theFile});
    EXPECT_EQ(2, theResult.mStatus);
    EXPECT_EQ("zvos: get: cannot write '" + theFile + "': " + theReason + "\n", theResult.mError);
  }
  EXPECT_EQ("device", Status("/dev/null"));
}

TEST(Get, MissingFolderIsOneLine) {
  const FakeServer theServer(Answering("data 5\nhellocrc32 3610a686\n"));
  const ChildResult theResult = Get({theServer.Address(), "x", "-o", "/nonexistent/x"});
  EXPECT_EQ(1, theResult.mStatus);
  EXPECT_EQ("zvos: get: cannot write '/nonexistent/x': No such file or directory\n", theResult.mError);
}

TEST(Get, FileThatDoesNotFitLeavesNothing) {
  const TempFolder theFolder;
  const FakeServer theServer(Answering("data 200000\n" + std::string(200000, 'x')));
  RunningZvos theGet({"get", theServer.Address(), "x"}, theFolder.Path(), [] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit theLimit = {100000, 100000};
    setrlimit(RLIMIT_FSIZE, &theLimit);
  });
  EXPECT_EQ(1, WEXITSTATUS(theGet.Wait()));
  EXPECT_EQ("zvos: get: cannot write 'x': File too large\n", theGet.Error());
  EXPECT_THAT(NamesIn(theFolder.Path()), ElementsAre());
}

// What is shown on a terminal

std::string OnTerminal(const std::vector<std::string> &anArguments, int *aStatus,
                       const std::function<void(const std::string &)> &aWatch) {
  int theTerminal = -1;
  const zvtest::ZvosImage theProgram(anArguments);
  setenv("TERM", "xterm", 1);
  const pid_t theChild = forkpty(&theTerminal, nullptr, nullptr, nullptr);
  if (theChild == 0) _exit(theProgram.Exec());
  std::string theOutput;
  char theBuffer[4096];
  ssize_t theCount = 0;
  while ((theCount = read(theTerminal, theBuffer, sizeof(theBuffer))) > 0) {
    theOutput.append(theBuffer, static_cast<size_t>(theCount));
    aWatch(theOutput);
  }
  close(theTerminal);
  waitpid(theChild, aStatus, 0);
  return theOutput;
}

#define NEEDS_TERMINAL()                                                                         \
  const int theTerminalToTry = posix_openpt(O_RDWR | O_NOCTTY);                                  \
  if (theTerminalToTry < 0) GTEST_SKIP() << "no pseudo-terminal to be had: " << strerror(errno); \
  close(theTerminalToTry)

// Sends one byte after the other, slowly, until it is told that the progress was seen.
void SendSlowly(RawClient &aClient, const std::atomic<bool> &afSeen, const std::string &anEnd) {
  aClient.Send(kReady);
  aClient.Line();
  aClient.Send("data 1000\n");
  int theCount = 0;
  for (; theCount < 1000 && !afSeen; ++theCount) {
    aClient.Send("x");
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  aClient.Send(std::string(static_cast<size_t>(1000 - theCount), 'x') + anEnd);
}

TEST(Get, ProgressIsShownOnATerminal) {
  NEEDS_TERMINAL();
  const TempFolder theFolder;
  std::atomic<bool> afSeen(false);
  const FakeServer theServer([&](RawClient &aClient) { SendSlowly(aClient, afSeen, "crc32 3b41c9e6\n"); });
  int theStatus = -1;
  const std::string theOutput =
      OnTerminal({"get", theServer.Address(), "x", "-o", theFolder.File("x")}, &theStatus,
                 [&](const std::string &anOutput) { afSeen = anOutput.find(" %   x") != std::string::npos; });
  EXPECT_EQ(0, theStatus) << theOutput;
  EXPECT_TRUE(afSeen) << theOutput;
  EXPECT_THAT(theOutput, HasSubstr("\r\033[K"));
}

TEST(Get, FailureOnATerminalIsALineOfItsOwn) {
  NEEDS_TERMINAL();
  const TempFolder theFolder;
  std::atomic<bool> afSeen(false);
  const FakeServer theServer([&](RawClient &aClient) { SendSlowly(aClient, afSeen, "crc32 00000000\n"); });
  int theStatus = -1;
  const std::string theOutput =
      OnTerminal({"get", theServer.Address(), "x", "-o", theFolder.File("x")}, &theStatus,
                 [&](const std::string &anOutput) { afSeen = anOutput.find(" %   x") != std::string::npos; });
  EXPECT_EQ(1, WEXITSTATUS(theStatus));
  EXPECT_THAT(theOutput,
              ::testing::EndsWith("\r\033[Kzvos: get: wrong data: its CRC-32 is 3b41c9e6, the server "
                                  "says 00000000\r\n"));
}

// Usage

TEST(Get, WrongUsageIsOneLine) {
  const std::string theHelp = ", see 'zvos help get'\n";
  const std::pair<std::vector<std::string>, std::string> kCases[] = {
      {{}, "HOST:PORT and one NAME" + theHelp},
      {{"a:1"}, "HOST:PORT and one NAME" + theHelp},
      {{"a:1", "b", "c"}, "HOST:PORT and one NAME" + theHelp},
      {{"a:1", "b", "-x"}, "unknown option '-x'" + theHelp},
      {{"a:1", "b", "-o"}, "a value is missing behind option '-o'" + theHelp},
      {{"a:1", "b", "--idle", "0"}, "--idle takes a number from 1 to 86400, not '0'\n"},
      {{"a:1", ""}, "the NAME is empty\n"},
      {{"a:1", "b/"}, "cannot write '': it has no name\n"},
      {{"a", "b"}, "'a' is not of the form HOST:PORT\n"},
      {{":1", "b"}, "':1' is not of the form HOST:PORT\n"},
      {{"a:0", "b"}, "'a:0' is not of the form HOST:PORT\n"},
      {{"a:65536", "b"}, "'a:65536' is not of the form HOST:PORT\n"},
      {{"a:", "b"}, "'a:' is not of the form HOST:PORT\n"},
      {{"a..b:1", "b"}, "cannot find 'a..b': Name or service not known\n"},
  };
  for (const auto &[theArguments, theComplaint] : kCases) {
    const ChildResult theResult = Get(theArguments);
    EXPECT_EQ(2, theResult.mStatus) << theComplaint;
    EXPECT_EQ("zvos: get: " + theComplaint, theResult.mError);
    EXPECT_EQ("", theResult.mOutput);
  }
}

}  // namespace
