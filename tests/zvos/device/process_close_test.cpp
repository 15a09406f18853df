// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Shell commands with a pipe to or from them: the close, and what is no process.

#include "process_support.h"

using ::testing::IsEmpty;
using namespace zvtest;
using namespace zvtest::process;

namespace {

//
// Close and the rest
//

TEST_F(ProcessTest, CloseWaitsForTheEndOfTheCommand) {
  const Gate theGate;
  Process theProcess("cat > /dev/null; echo > " + theGate.File("ended"), zvProcessOpenMode_Write);
  EXPECT_FALSE(Exists(theGate.File("ended")));
  theProcess.Close();
  EXPECT_TRUE(Exists(theGate.File("ended")));
}

TEST_F(ProcessTest, CloseDropsTheStatusOfTheCommand) {
  for (const char *theCommand : {"exit 0", "exit 7", "kill -TERM $$", "/nonexistent/command 2> /dev/null"}) {
    zvProcessFD theProcess = nullptr;
    ASSERT_EQ(0, zvProcess_Open(theCommand, zvProcessOpenMode_Read, &theProcess));
    EXPECT_EQ(0, zvProcess_Close(theProcess)) << theCommand;
    free(theProcess);
  }
}

TEST_F(ProcessTest, CloseDropsItsOwnFailure) {
  Process theProcess("exit 0", zvProcessOpenMode_Read);
  Fault theFault("pclose", ECHILD);
  theFault.Doing([](const long long *anArguments) { pclose(ArgumentAs<FILE>(anArguments[0])); });
  theProcess.Close();
  EXPECT_EQ(1, theFault.Hits());
}

TEST_F(ProcessTest, CloseKeepsTheRecord) {
  zvProcessFD theProcess = nullptr;
  ASSERT_EQ(0, zvProcess_Open("exit 0", zvProcessOpenMode_Read, &theProcess));
  zvtest::ReleaseWatch theWatch;
  theWatch.Watch(theProcess);
  EXPECT_EQ(0, zvProcess_Close(theProcess));
  EXPECT_EQ(0, theWatch.ReleasesOf(theProcess));
  free(theProcess);
}

// The record is still there, its stream is not.
TEST_F(ProcessTest, AClosedProcessIsClosedForLaterCalls) {
  zvProcessFD theProcess = nullptr;
  ASSERT_EQ(0, zvProcess_Open("echo text", zvProcessOpenMode_Read, &theProcess));
  EXPECT_EQ(0, zvProcess_Close(theProcess));
  const int theCalls = zvtest::CallsOf("pclose");
  char theByte = 'x';
  EXPECT_EQ(kzvProcessStatus_InvalidFD, zvProcess_Read(theProcess, &theByte, 1));
  EXPECT_EQ(-1, zvProcess_Write(theProcess, &theByte, 1));
  EXPECT_EQ(0, zvProcess_Close(theProcess));
  EXPECT_EQ(theCalls, zvtest::CallsOf("pclose"));
  free(theProcess);
}

TEST_F(ProcessTest, NothingIsOpenedWithoutACommandOrAPlaceForIt) {
  const int theCalls = zvtest::CallsOf("popen");
  zvProcessFD theProcess = nullptr;
  EXPECT_EQ(-1, zvProcess_Open(nullptr, zvProcessOpenMode_Read, &theProcess));
  EXPECT_EQ(nullptr, theProcess);
  EXPECT_EQ(-1, zvProcess_Open("exit 0", zvProcessOpenMode_Read, nullptr));
  EXPECT_EQ(theCalls, zvtest::CallsOf("popen"));
}

TEST_F(ProcessTest, ReadingNothingCountsAsTheEnd) {
  const Process theProcess("cat; cat", zvProcessOpenMode_Read);
  char theByte = 'x';
  EXPECT_EQ(kzvProcessStatus_EOS, zvProcess_Read(theProcess.Handle(), &theByte, 0));
  EXPECT_EQ('x', theByte);
}

TEST_F(ProcessTest, NothingIsKnownAboutLife) {
  const Process theProcess("cat", zvProcessOpenMode_Write);
  EXPECT_EQ(0, zvProcess_IsAlive(theProcess.Handle()));
  EXPECT_EQ(0, zvProcess_IsAlive(nullptr));
}

TEST_F(ProcessTest, TwoProcessesDoNotMeet) {
  const Process theFirst("printf first", zvProcessOpenMode_Read);
  const Process theSecond("printf second", zvProcessOpenMode_Read);
  EXPECT_EQ("second", theSecond.ReadAll());
  EXPECT_EQ("first", theFirst.ReadAll());
}

TEST(ProcessByName, IsNotImplementedAndSaysSo) {
  for (int (*const theFunction)(const char *) : {&zvProcess_IsRunning, &zvProcess_Kill}) {
    for (const char *theName : {"/bin/sh", static_cast<const char *>(nullptr)}) {
      const zvtest::RecordingLog theLog;
      EXPECT_EQ(0, theFunction(theName));
      zvtest::ExpectOneAssertion(theLog, "Not yet implemented", "zvProcess.posix.cpp");
      EXPECT_THAT(theLog.Messages(), IsEmpty());
    }
  }
}

}  // namespace
