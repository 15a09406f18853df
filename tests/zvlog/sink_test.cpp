// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Standard error and files as sinks, alone and while they change.

#include "Interposed.h"
#include "LogTest.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <set>
#include <thread>

namespace {

using namespace zvlogtest;
using Texts = std::vector<std::string>;

class Sink : public LogTest {
 protected:
  TempFolder mFolder;

  Texts TextsOfFile(const std::string &aName) {
    const std::vector<Line> theLines = ParseAll(ReadFile(mFolder.File(aName)));
    for (const Line &theLine : theLines)
      EXPECT_TRUE(theLine.mfWellFormed);
    return TextsOf(theLines);
  }
};

std::set<std::string> OpenFiles() {
  std::set<std::string> theFiles;
  for (const auto &theEntry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code theError;
    theFiles.insert(std::filesystem::read_symlink(theEntry, theError).string());
  }
  return theFiles;
}

int DescriptorOf(const std::string &aPath) {
  for (const auto &theEntry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code theError;
    if (std::filesystem::read_symlink(theEntry, theError) == aPath)
      return std::stoi(theEntry.path().filename());
  }
  return -1;
}

TEST_F(Sink, EachRecordIsOneWrite) {
  CaughtStandardError theError;
  Log(kzvLogLevel_Error, 0, "one\n");
  Log(kzvLogLevel_Error, 0, "two\n");
  EXPECT_EQ((Texts{"one", "two"}), TextsOf(theError.Writes()));

  ASSERT_EQ(1, zvLog_SetSinkFile(mFolder.File("log").c_str()));
  int theCount = 0;
  const WriteHook theHook([&theCount](int aDescriptor, const void *aData, size_t aSize) {
    ++theCount;
    return RealWrite(aDescriptor, aData, aSize);
  });
  Log(kzvLogLevel_Error, 0, "three\n");
  EXPECT_EQ(1, theCount);
  EXPECT_EQ(Texts{"three"}, TextsOfFile("log"));
}

TEST_F(Sink, FileIsCreatedAndAppendedTo) {
  CaughtStandardError theError;
  ASSERT_EQ(1, zvLog_SetSinkFile(mFolder.File("log").c_str()));
  Log(kzvLogLevel_Error, 0, "one\n");
  zvLog_SetSinkStandardError();
  ASSERT_EQ(1, zvLog_SetSinkFile(mFolder.File("log").c_str()));
  Log(kzvLogLevel_Error, 0, "two\n");
  EXPECT_EQ((Texts{"one", "two"}), TextsOfFile("log"));
  EXPECT_TRUE(theError.Writes().empty());
}

TEST_F(Sink, FileIsOpenedForAppendingAndNotInherited) {
  const std::string thePath = mFolder.File("log");
  ASSERT_EQ(1, zvLog_SetSinkFile(thePath.c_str()));
  const int theDescriptor = DescriptorOf(thePath);
  ASSERT_GE(theDescriptor, 0);
  EXPECT_EQ(FD_CLOEXEC, fcntl(theDescriptor, F_GETFD) & FD_CLOEXEC);
  EXPECT_EQ(O_APPEND, fcntl(theDescriptor, F_GETFL) & O_APPEND);

  ASSERT_EQ(1, zvLog_SetSinkFile(mFolder.File("other").c_str()));
  EXPECT_EQ(-1, DescriptorOf(thePath)) << "the former file is closed";
  EXPECT_EQ(FD_CLOEXEC, fcntl(theDescriptor, F_GETFD) & FD_CLOEXEC);
  ASSERT_EQ(1, zvLog_SetSinkFile(mFolder.File("third").c_str()));
  EXPECT_EQ(theDescriptor, DescriptorOf(mFolder.File("third"))) << "the number lasts";
  EXPECT_EQ(FD_CLOEXEC, fcntl(theDescriptor, F_GETFD) & FD_CLOEXEC);
}

TEST_F(Sink, FileIsClosedWhenStandardErrorIsTheSinkAgain) {
  ASSERT_EQ(1, zvLog_SetSinkFile(mFolder.File("log").c_str()));
  EXPECT_EQ(1u, OpenFiles().count(mFolder.File("log")));
  zvLog_SetSinkStandardError();
  EXPECT_EQ(0u, OpenFiles().count(mFolder.File("log")));
}

TEST_F(Sink, ThatCannotBeOpenedLeavesTheFormerOne) {
  ASSERT_EQ(1, zvLog_SetSinkFile(mFolder.File("log").c_str()));
  errno = 0;
  EXPECT_EQ(0, zvLog_SetSinkFile(mFolder.File("no/such/folder").c_str()));
  EXPECT_EQ(ENOENT, errno);
  EXPECT_EQ(0, zvLog_SetSinkFile("/"));
  EXPECT_EQ(EISDIR, errno);
  EXPECT_EQ(0, zvLog_SetSinkFile(nullptr));
  EXPECT_EQ(EINVAL, errno);
  Log(kzvLogLevel_Error, 0, "still here\n");
  EXPECT_EQ(Texts{"still here"}, TextsOfFile("log"));
}

TEST_F(Sink, FileThatTakesNothingSendsTheRecordToStandardError) {
  CaughtStandardError theError;
  ASSERT_EQ(1, zvLog_SetSinkFile(mFolder.File("log").c_str()));
  const WriteHook theHook([](int aDescriptor, const void *aData, size_t aSize) -> ssize_t {
    if (aDescriptor == STDERR_FILENO) return RealWrite(aDescriptor, aData, aSize);
    errno = ENOSPC;
    return -1;
  });
  Log(kzvLogLevel_Error, 0, "text\n");
  EXPECT_EQ(Texts{"text"}, TextsOf(theError.Writes()));
}

TEST_F(Sink, StandardErrorMayBeRedirected) {
  ASSERT_EQ(1, zvLog_SetSinkFile(mFolder.File("log").c_str()));
  zvLog_SetSinkStandardError();
  CaughtStandardError theError;
  Log(kzvLogLevel_Error, 0, "text\n");
  EXPECT_EQ(Texts{"text"}, TextsOf(theError.Writes()));
}

constexpr int kThreads = 8;

// The text of a record tells its thread, its number and its length.
std::string NumberedText(int aThread, int aNumber) {
  const size_t theLength = static_cast<size_t>(aNumber * 37 % 900);
  return std::to_string(aThread) + "/" + std::to_string(aNumber) + " " +
         std::string(theLength, static_cast<char>('a' + aThread));
}

void LogNumbered(int aThread, int aCount) {
  for (int theNumber = 0; theNumber < aCount; ++theNumber) {
    Log(kzvLogLevel_Error, 0, NumberedText(aThread, theNumber) + "\n");
  }
}

TEST_F(Sink, RecordsOfManyThreadsAreWholeLinesAndInTheOrderOfEachThread) {
  constexpr int kCount = 2000;
  ASSERT_EQ(1, zvLog_SetSinkFile(mFolder.File("log").c_str()));
  std::vector<std::thread> theThreads;
  for (int theIndex = 0; theIndex < kThreads; ++theIndex)
    theThreads.emplace_back(LogNumbered, theIndex, kCount);
  for (std::thread &theThread : theThreads)
    theThread.join();

  std::vector<int> theNext(kThreads, 0);
  const Texts theTexts = TextsOfFile("log");
  ASSERT_EQ(size_t{kThreads} * kCount, theTexts.size());
  for (const std::string &theText : theTexts) {
    const int theThread = theText[0] - '0';
    ASSERT_TRUE(theThread >= 0 && theThread < kThreads) << theText;
    ASSERT_EQ(NumberedText(theThread, theNext[static_cast<size_t>(theThread)]++), theText);
  }
}

TEST_F(Sink, MayChangeWhileManyThreadsLogAndNothingIsLost) {
  constexpr int kCount = 1500;
  // Standard error is a file too, so that all three can be read afterwards.
  const int theSaved = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
  const int theFile = open(mFolder.File("stderr").c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(theFile, 0);
  dup2(theFile, STDERR_FILENO);
  close(theFile);

  std::atomic<int> theRunning{kThreads};
  std::vector<std::thread> theThreads;
  for (int theIndex = 0; theIndex < kThreads; ++theIndex) {
    theThreads.emplace_back([theIndex, &theRunning] {
      LogNumbered(theIndex, kCount);
      --theRunning;
    });
  }
  int theSwitches = 0;
  while (theRunning > 0) {
    EXPECT_EQ(1, zvLog_SetSinkFile(mFolder.File("a").c_str()));
    EXPECT_EQ(1, zvLog_SetSinkFile(mFolder.File("b").c_str()));
    zvLog_SetSinkStandardError();
    theSwitches += 3;
  }
  for (std::thread &theThread : theThreads)
    theThread.join();
  dup2(theSaved, STDERR_FILENO);
  close(theSaved);

  Texts theTexts;
  for (const char *theName : {"a", "b", "stderr"}) {
    const Texts thePart = TextsOfFile(theName);
    theTexts.insert(theTexts.end(), thePart.begin(), thePart.end());
  }
  Texts theExpected;
  for (int theThread = 0; theThread < kThreads; ++theThread) {
    for (int theNumber = 0; theNumber < kCount; ++theNumber)
      theExpected.push_back(NumberedText(theThread, theNumber));
  }
  std::sort(theTexts.begin(), theTexts.end());
  std::sort(theExpected.begin(), theExpected.end());
  EXPECT_TRUE(theExpected == theTexts) << theTexts.size() << " of " << theExpected.size();
  EXPECT_GT(theSwitches, 3);
}

}  // namespace
