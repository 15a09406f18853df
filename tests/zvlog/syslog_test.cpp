// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The system log as sink, with a socket of the test in its place.

#include "Child.h"
#include "LogTest.h"

#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>

namespace {

using namespace zvlogtest;
using Texts = std::vector<std::string>;

class LogSocket {
 public:
  explicit LogSocket(const std::string &aPath)
      : mPath(aPath), mSocket(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un theAddress = {};
    theAddress.sun_family = AF_UNIX;
    aPath.copy(theAddress.sun_path, sizeof(theAddress.sun_path) - 1);
    mfBound = bind(mSocket, reinterpret_cast<const sockaddr *>(&theAddress), sizeof(theAddress)) == 0;
  }
  ~LogSocket() {
    close(mSocket);
    if (mfBound) unlink(mPath.c_str());
  }
  LogSocket(const LogSocket &) = delete;
  LogSocket &operator=(const LogSocket &) = delete;

  bool IsBound() const { return mfBound; }

  Texts Messages() {
    Texts theMessages;
    for (;;) {
      char theBuffer[8192];
      const ssize_t theCount = recv(mSocket, theBuffer, sizeof(theBuffer), MSG_DONTWAIT);
      if (theCount < 0) return theMessages;
      theMessages.emplace_back(theBuffer, static_cast<size_t>(theCount));
    }
  }

 private:
  std::string mPath;
  int mSocket;
  bool mfBound;
};

std::string Expected(int aPriority, const std::string &aRest) {
  return "<" + std::to_string(aPriority) + ">" + program_invocation_short_name + "[" +
         std::to_string(getpid()) + "]: " + aRest;
}

std::string Thread() {
  return "[" + std::to_string(getpid()) + ":" + std::to_string(syscall(SYS_gettid)) + "]";
}

class Syslog : public LogTest {
 protected:
  TempFolder mFolder;
  const std::string mPath = mFolder.File("log");
};

TEST_F(Syslog, EachRecordIsOneMessageWithThePriorityOfItsLevel) {
  LogSocket theSocket(mPath);
  CaughtStandardError theError;
  zvLog_SetLevel(100);
  ASSERT_EQ(1, zvLog_SetSinkSyslog(mPath.c_str()));
  for (zvLogLevel theLevel = 0; theLevel <= 5; ++theLevel)
    Log(theLevel, 21, "text\n");

  const std::string theRest = "TCP " + Thread() + " player.c:7: text";
  EXPECT_EQ((Texts{Expected(13, theRest), Expected(11, theRest), Expected(12, theRest), Expected(14, theRest),
                   Expected(15, theRest), Expected(15, theRest)}),
            theSocket.Messages());
  EXPECT_TRUE(theError.Writes().empty());
}

TEST_F(Syslog, AssertionsAndCutRecordsGoThereToo) {
  LogSocket theSocket(mPath);
  ASSERT_EQ(1, zvLog_SetSinkSyslog(mPath.c_str()));
  _zvAssert("false", "x.c", 3);
  Log(kzvLogLevel_Error, 0, std::string(3000, 'x'));
  const Texts theMessages = theSocket.Messages();
  ASSERT_EQ(2u, theMessages.size());
  EXPECT_EQ(Expected(11, "DEFAULT " + Thread() + " x.c:3: Assertion failed: false (x.c:3)"), theMessages[0]);
  EXPECT_EQ(Expected(11, "DEFAULT " + Thread() + " player.c:7: " + std::string(1008, 'x') +
                             " [... 1792 bytes ...] " + std::string(200, 'x')),
            theMessages[1]);
}

TEST_F(Syslog, ThatIsNotThereIsRefusedAndLeavesTheFormerSink) {
  CaughtStandardError theError;
  EXPECT_EQ(0, zvLog_SetSinkSyslog(mPath.c_str()));
  EXPECT_EQ(ENOENT, errno);
  EXPECT_EQ(0, zvLog_SetSinkSyslog(""));
  EXPECT_EQ(EINVAL, errno);
  EXPECT_EQ(0, zvLog_SetSinkSyslog(std::string(200, 'x').c_str()));
  EXPECT_EQ(ENAMETOOLONG, errno);
  Log(kzvLogLevel_Error, 0, "text\n");
  EXPECT_EQ(Texts{"text"}, TextsOf(theError.Writes()));
}

TEST_F(Syslog, ThatGoesAwaySendsRecordsToStandardErrorUntilItIsBack) {
  CaughtStandardError theError;
  {
    LogSocket theSocket(mPath);
    ASSERT_EQ(1, zvLog_SetSinkSyslog(mPath.c_str()));
    Log(kzvLogLevel_Error, 0, "one\n");
    EXPECT_EQ(1u, theSocket.Messages().size());
  }
  Log(kzvLogLevel_Error, 0, "two\n");
  const Texts theWrites = theError.Writes();
  ASSERT_EQ(1u, theWrites.size());
  EXPECT_TRUE(Parse(theWrites[0]).mfWellFormed) << theWrites[0];
  EXPECT_EQ("two", Parse(theWrites[0]).mText);

  LogSocket theNewSocket(mPath);
  Log(kzvLogLevel_Error, 0, "three\n");
  EXPECT_EQ(1u, theNewSocket.Messages().size());
  EXPECT_TRUE(theError.Writes().empty());
}

TEST_F(Syslog, ThatDoesNotReadCannotHoldTheProgramForLong) {
  LogSocket theSocket(mPath);
  CaughtStandardError theError;
  ASSERT_EQ(1, zvLog_SetSinkSyslog(mPath.c_str()));
  const auto theBegin = std::chrono::steady_clock::now();
  Texts theWrites;
  // Until the queue of the socket is full and the first record comes out elsewhere.
  for (int theNumber = 0; theNumber < 5000 && theWrites.empty(); ++theNumber) {
    Log(kzvLogLevel_Error, 0, "text\n");
    theWrites = theError.Writes();
  }
  EXPECT_EQ(Texts{"text"}, TextsOf(theWrites));
  EXPECT_LT(std::chrono::steady_clock::now() - theBegin, std::chrono::seconds(30));
}

void LogAndDie(int aSignal) {
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
  zvLog_Append_F("Caught signal %d\n", aSignal);
  zvLog_End(theData);
  signal(aSignal, SIG_DFL);
  raise(aSignal);
}

// The C library's syslog() would wait forever for the lock of the time zone.
TEST_F(Syslog, TakesTheLastWordsOfAThreadThatCrashedInTheTimeZoneCode) {
  LogSocket theSocket(mPath);
  const Ending theEnding = RunInChild([this] {
    zvLog_SetSinkSyslog(mPath.c_str());
    signal(SIGSEGV, LogAndDie);
    void *thePage = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    const time_t theTime = 0;
    localtime_r(&theTime, static_cast<tm *>(thePage));
    return 1;  // it did not crash
  });
  EXPECT_FALSE(theEnding.mfTimedOut) << "it hung";
  EXPECT_EQ(SIGSEGV, theEnding.mSignal);
  const Texts theMessages = theSocket.Messages();
  ASSERT_EQ(1u, theMessages.size());
  EXPECT_NE(std::string::npos, theMessages[0].find(": Caught signal " + std::to_string(SIGSEGV)));
}

TEST_F(Syslog, SocketMayChangeWhileOthersLog) {
  constexpr int kCount = 200;
  LogSocket theFirst(mPath);
  const std::string theOtherPath = mFolder.File("other");
  LogSocket theSecond(theOtherPath);
  ASSERT_EQ(1, zvLog_SetSinkSyslog(mPath.c_str()));
  std::thread theThread([] {
    for (int theNumber = 0; theNumber < kCount; ++theNumber)
      Log(kzvLogLevel_Error, 0, "text\n");
  });
  size_t theMessageCount = 0;
  for (int theRound = 0; theMessageCount < kCount; ++theRound) {
    EXPECT_EQ(1, zvLog_SetSinkSyslog(theRound % 2 == 0 ? theOtherPath.c_str() : mPath.c_str()));
    theMessageCount += theFirst.Messages().size() + theSecond.Messages().size();
  }
  theThread.join();
  EXPECT_EQ(size_t{kCount}, theMessageCount);
}

TEST_F(Syslog, DefaultIsTheSystemsLogSocket) {
  if (access("/dev/log", F_OK) == 0) GTEST_SKIP() << "this system has a log of its own at /dev/log";
  LogSocket theSocket("/dev/log");
  if (!theSocket.IsBound()) GTEST_SKIP() << "needs the right to create /dev/log";
  ASSERT_EQ(1, zvLog_SetSinkSyslog(nullptr));
  Log(kzvLogLevel_Error, 0, "text\n");
  EXPECT_EQ(Texts{Expected(11, "DEFAULT " + Thread() + " player.c:7: text")}, theSocket.Messages());
}

}  // namespace
