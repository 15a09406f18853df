// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Shell commands with a pipe to or from them: opening, reading, writing. Closing: process_close_test.cpp.

#include "process_support.h"

using namespace zvtest;
using namespace zvtest::process;

namespace {

int sNoProcess;
const zvProcessFD kUntouched = reinterpret_cast<zvProcessFD>(&sNoProcess);

//
// Open
//

TEST_F(ProcessTest, OnlyExactlyWriteOpensForWriting) {
  struct Case {
    zvProcessOpenMode mMode;
    const char *mStreamMode;
  };
  // The "e" keeps our end of the pipe from other programs.
  for (const Case &theCase : {Case{zvProcessOpenMode_Read, "re"}, Case{zvProcessOpenMode_Write, "we"},
                              Case{zvProcessOpenMode_Read | zvProcessOpenMode_Write, "re"}, Case{0, "re"},
                              Case{4, "re"}, Case{6, "re"}, Case{-1, "re"}}) {
    std::string theCommand;
    std::string theMode;
    Fault theFault("popen", 0);
    theFault.PassingThrough().Doing([&](const long long *anArguments) {
      theCommand = ArgumentAs<const char>(anArguments[0]);
      theMode = ArgumentAs<const char>(anArguments[1]);
    });
    const Process theProcess("exit 3", theCase.mMode);
    EXPECT_EQ("exit 3", theCommand);
    EXPECT_EQ(theCase.mStreamMode, theMode) << theCase.mMode;
  }
}

TEST_F(ProcessTest, BothModesTogetherRead) {
  const Process theProcess("echo both", zvProcessOpenMode_Read | zvProcessOpenMode_Write);
  EXPECT_EQ("both\n", theProcess.ReadAll());
}

TEST_F(ProcessTest, TheStatusFlagsAreSetToNonBlockingAlone) {
  for (const zvProcessOpenMode theMode : {zvProcessOpenMode_Read, zvProcessOpenMode_Write}) {
    const int theCalls = CallsOf("fcntl");
    Arguments theArguments;
    Fault theFault("fcntl", 0);
    theFault.PassingThrough().Doing(CopyInto(&theArguments, 3));
    const Process theProcess("exit 0", theMode);
    EXPECT_THAT(theArguments, ::testing::ElementsAre(theProcess.Descriptor(), F_SETFL, O_NONBLOCK));
    EXPECT_EQ(theCalls + 1, CallsOf("fcntl"));
    EXPECT_NE(0, fcntl(theProcess.Descriptor(), F_GETFL) & O_NONBLOCK);
  }
}

TEST_F(ProcessTest, ACommandThatCannotBeStartedLeavesTheHandleAlone) {
  zvProcessFD theProcess = kUntouched;
  Fault theFault("popen", EMFILE);
  EXPECT_EQ(-1, zvProcess_Open("exit 0", zvProcessOpenMode_Read, &theProcess));
  EXPECT_EQ(kUntouched, theProcess);
}

TEST_F(ProcessTest, WithoutMemoryTheCommandIsEndedAndTheHandleLeftAlone) {
  zvProcessFD theProcess = kUntouched;
  const int theCalls = CallsOf("pclose");
  Fault theFault("zvMalloc", ENOMEM);
  EXPECT_EQ(-1, zvProcess_Open("exit 0", zvProcessOpenMode_Read, &theProcess));
  EXPECT_EQ(kUntouched, theProcess);
  EXPECT_EQ(theCalls + 1, CallsOf("pclose"));
}

TEST_F(ProcessTest, AnUnknownCommandIsTheAffairOfTheShell) {
  const Process theProcess("/nonexistent/command 2>&1", zvProcessOpenMode_Read);
  EXPECT_THAT(theProcess.ReadAll(), ::testing::HasSubstr("/nonexistent/command"));
}

TEST_F(ProcessTest, ACommandIsWhateverTheShellTakes) {
  const Process theProcess("for i in 1 2 3; do echo \"$i 'x'\"; done | tail -n 2", zvProcessOpenMode_Read);
  EXPECT_EQ("2 'x'\n3 'x'\n", theProcess.ReadAll());
}

//
// Read
//

TEST_F(ProcessTest, AReadWithNothingThereYetDoesNotWait) {
  const Gate theGate;
  const Process theProcess(theGate.Wait() + "; echo hello", zvProcessOpenMode_Read);
  char theBuffer[100];
  EXPECT_EQ(0, zvProcess_Read(theProcess.Handle(), theBuffer, sizeof(theBuffer)));
  EXPECT_EQ(0, zvProcess_Read(theProcess.Handle(), theBuffer, sizeof(theBuffer)));
  theGate.Open();
  ASSERT_EQ(6, theProcess.Read(theBuffer, sizeof(theBuffer)));
  EXPECT_EQ("hello\n", std::string(theBuffer, 6));
  EXPECT_EQ(kzvProcessStatus_EOS, theProcess.Read(theBuffer, sizeof(theBuffer)));
  EXPECT_EQ(kzvProcessStatus_EOS, theProcess.Read(theBuffer, sizeof(theBuffer)));
}

TEST_F(ProcessTest, AReadTakesNoMoreThanItIsAskedFor) {
  const Process theProcess("printf abcdef", zvProcessOpenMode_Read);
  char theBuffer[] = "........";
  ASSERT_EQ(4, theProcess.Read(theBuffer, 4));
  EXPECT_STREQ("abcd....", theBuffer);
  ASSERT_EQ(2, theProcess.Read(theBuffer, 4));
  EXPECT_STREQ("efcd....", theBuffer);
  EXPECT_EQ(kzvProcessStatus_EOS, theProcess.Read(theBuffer, 4));
}

TEST_F(ProcessTest, ALargeOutputComesWholeInPieces) {
  std::string theExpected;
  for (int i = 1; i <= 60000; ++i)
    theExpected += std::to_string(i) + "\n";
  for (const uint32 theCount : {777u, 1000000u}) {
    const Process theProcess("seq 1 60000", zvProcessOpenMode_Read);
    EXPECT_TRUE(theExpected == theProcess.ReadAll(theCount)) << theCount;
  }
}

TEST_F(ProcessTest, BinaryOutputIsNotChanged) {
  const Process theProcess("printf 'a\\000b\\377\\r\\n'", zvProcessOpenMode_Read);
  EXPECT_EQ(std::string("a\0b\377\r\n", 6), theProcess.ReadAll());
}

TEST_F(ProcessTest, AReadGoesToTheDescriptorPastTheStream) {
  const Process theProcess("exit 0", zvProcessOpenMode_Read);
  char theBuffer[100];
  Arguments theArguments;
  Fault theFault("read", 0);
  theFault.Returning(17).Doing(CopyInto(&theArguments, 3));
  EXPECT_EQ(17, zvProcess_Read(theProcess.Handle(), theBuffer, 100));
  EXPECT_THAT(theArguments, ::testing::ElementsAre(theProcess.Descriptor(), AsArgument(theBuffer), 100));
}

TEST_F(ProcessTest, AFailedReadIsAnInvalidProcess) {
  const Process theProcess("exit 0", zvProcessOpenMode_Read);
  for (const int theError : {EBADF, EINTR, EIO, EFAULT, EINVAL}) {
    char theBuffer[10];
    Fault theFault("read", theError);
    EXPECT_EQ(kzvProcessStatus_InvalidFD, zvProcess_Read(theProcess.Handle(), theBuffer, 10)) << theError;
  }
}

TEST_F(ProcessTest, WhatIsWrittenToCannotBeRead) {
  const Process theProcess("cat", zvProcessOpenMode_Write);
  char theBuffer[10];
  EXPECT_EQ(kzvProcessStatus_InvalidFD, zvProcess_Read(theProcess.Handle(), theBuffer, 10));
}

TEST_F(ProcessTest, TheEndOfTheOutputIsToldWhileTheCommandStillRuns) {
  const Gate theGate;
  Process theProcess("echo last; exec 1>&-; " + theGate.Wait() + "; echo > " + theGate.File("ended"),
                     zvProcessOpenMode_Read);
  EXPECT_EQ("last\n", theProcess.ReadAll());
  EXPECT_FALSE(Exists(theGate.File("ended")));
  theGate.Open();
  theProcess.Close();
  EXPECT_TRUE(Exists(theGate.File("ended")));
}

TEST_F(ProcessTest, ACommandThatIsKilledEndsItsOutput) {
  Process theProcess("echo last; kill -KILL $$", zvProcessOpenMode_Read);
  EXPECT_EQ("last\n", theProcess.ReadAll());
  theProcess.Close();
}

TEST_F(ProcessTest, ACommandThatPrintsNothingHasOnlyAnEnd) {
  const Process theProcess("exit 5", zvProcessOpenMode_Read);
  EXPECT_EQ("", theProcess.ReadAll());
}

//
// Write
//

TEST_F(ProcessTest, WrittenBytesReachTheCommandAtTheLatestWhenItIsClosed) {
  const Gate theGate;
  Process theProcess("cat > " + theGate.File("written"), zvProcessOpenMode_Write);
  const std::string theText("a\0b\n\377", 5);
  EXPECT_EQ(5, theProcess.Write(theText));
  EXPECT_EQ(3, theProcess.Write("end"));
  EXPECT_EQ("", zvtest::ReadWholeFile(theGate.File("written")));  // still in the stream's buffer
  theProcess.Close();
  EXPECT_EQ(theText + "end", zvtest::ReadWholeFile(theGate.File("written")));
}

TEST_F(ProcessTest, AWriteIsOneOfSingleBytesThroughTheStream) {
  const Process theProcess("cat", zvProcessOpenMode_Write);
  const std::string theText = "some bytes";
  Arguments theArguments;
  Fault theFault("fwrite", 0);
  theFault.Returning(4).Doing(CopyInto(&theArguments, 4));
  EXPECT_EQ(4, theProcess.Write(theText));
  ASSERT_EQ(4u, theArguments.size());
  EXPECT_EQ(theText.data(), ArgumentAs<const char>(theArguments[0]));
  EXPECT_EQ(1, theArguments[1]);
  EXPECT_EQ(10, theArguments[2]);
  EXPECT_EQ(theProcess.Descriptor(), fileno(ArgumentAs<FILE>(theArguments[3])));
}

TEST_F(ProcessTest, NothingWrittenIsNothing) {
  const Process theProcess("cat", zvProcessOpenMode_Write);
  EXPECT_EQ(0, theProcess.Write(""));
}

TEST_F(ProcessTest, AFullPipeTakesPartOfALargeWriteWithoutWaiting) {
  constexpr size_t kMore = 4 * 1024 * 1024;  // than any pipe and buffer hold
  const Gate theGate;
  Process theProcess(theGate.Wait() + "; cat > " + theGate.File("written"), zvProcessOpenMode_Write);
  std::string theText;
  while (theText.size() < kMore)
    theText += std::to_string(theText.size()) + "\n";
  const int theCount = theProcess.Write(theText);
  EXPECT_GT(theCount, 0);
  EXPECT_LT(theCount, static_cast<int>(kMore));
  theGate.Open();
  theProcess.Close();
  const std::string theWritten = zvtest::ReadWholeFile(theGate.File("written"));
  EXPECT_GT(theWritten.size(), 0u);
  EXPECT_TRUE(theText.compare(0, theWritten.size(), theWritten) == 0);
}

// The stream takes more than the full pipe does, and nobody waits until there is room.
TEST_F(ProcessTest, WhatTheStreamTookBehindAFullPipeIsLostAtTheClose) {
  const Gate theGate;
  Process theProcess(theGate.Wait() + "; cat > " + theGate.File("written"), zvProcessOpenMode_Write);
  const int theDescriptor = theProcess.Descriptor();
  const std::string thePipeful(static_cast<size_t>(fcntl(theDescriptor, F_GETPIPE_SZ)), 'p');
  ASSERT_EQ(static_cast<ssize_t>(thePipeful.size()),
            write(theDescriptor, thePipeful.data(), thePipeful.size()));
  EXPECT_EQ(100, theProcess.Write(std::string(100, 'x')));
  // The command waits until the close has emptied the stream, or tried to.
  std::thread theOpener([&] {
    EXPECT_TRUE(zvtest::WaitUntil([&] { return fcntl(theDescriptor, F_GETFD) == -1; }));
    theGate.Open();
  });
  theProcess.Close();
  theOpener.join();
  EXPECT_TRUE(thePipeful == zvtest::ReadWholeFile(theGate.File("written")));
}

TEST_F(ProcessTest, WhatIsReadFromCannotBeWrittenTo) {
  const Process theProcess("cat < /dev/null", zvProcessOpenMode_Read);
  EXPECT_EQ(0, theProcess.Write("text"));
}

// Waits until nobody can read what is written any more.
void AwaitDeath(const Process &aProcess) {
  pollfd theEvent = {aProcess.Descriptor(), 0, 0};
  EXPECT_EQ(1, poll(&theEvent, 1, 20000));
  EXPECT_NE(0, theEvent.revents & POLLERR);
}

// Writes to a command that has ended, more than is buffered; the status says what is wrong.
int WriteToTheDead() {
  Process theProcess("kill -KILL $$", zvProcessOpenMode_Write);
  AwaitDeath(theProcess);
  const std::string theText(1024 * 1024, 'x');
  const int theCount = theProcess.Write(theText);
  if (theCount < 0 || theCount >= static_cast<int>(theText.size())) return 1;
  theProcess.Close();
  return ::testing::Test::HasFailure() ? 2 : 0;
}

TEST_F(ProcessTest, AWriteToADeadCommandIsCutShortWhereTheSignalIsIgnored) {
  const auto theResult = zvtest::RunInChild([] {
    signal(SIGPIPE, SIG_IGN);
    return WriteToTheDead();
  });
  EXPECT_FALSE(theResult.mfSignaled);
  EXPECT_EQ(0, theResult.mStatus) << theResult.mOutput;
}

TEST_F(ProcessTest, AWriteToADeadCommandRaisesTheSignalOfBrokenPipes) {
  const auto theResult = zvtest::RunInChild([] {
    signal(SIGPIPE, SIG_DFL);
    return WriteToTheDead();
  });
  EXPECT_TRUE(theResult.mfSignaled) << theResult.mStatus << theResult.mOutput;
  EXPECT_EQ(SIGPIPE, theResult.mSignal);
}

}  // namespace
