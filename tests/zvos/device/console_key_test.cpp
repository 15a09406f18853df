// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "console_support.h"

#include <sys/resource.h>
#include <sys/select.h>

namespace {

using ::testing::IsEmpty;
using namespace zvtest;
using zvtest::console::Input;
using zvtest::console::Stream;
using zvtest::console::StreamOf;
namespace net = zvtest::net;

TEST(ConsoleKeyTest, EveryByteIsReadAsAnUnsignedValue) {
  const RecordingLog theLog;
  const Input theInput;
  for (int theByte = 0; theByte < 256; ++theByte) {
    theInput.Type(std::string(1, static_cast<char>(theByte)));
    EXPECT_EQ(1, zvConsolePlatform_IsCharAvailable(theInput));
    EXPECT_EQ(theByte, zvConsolePlatform_GetChar(theInput));
  }
  EXPECT_EQ(0, zvConsolePlatform_IsCharAvailable(theInput));
  EXPECT_THAT(theLog.Calls(), IsEmpty());
}

TEST(ConsoleKeyTest, TheEndOfTheInputReadsLikeANulByteAndIsAvailable) {
  Input theInput;
  theInput.Type(std::string("\0x", 2));
  theInput.mWriter.Close();
  EXPECT_EQ(0, zvConsolePlatform_GetChar(theInput));
  EXPECT_EQ('x', zvConsolePlatform_GetChar(theInput));
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(1, zvConsolePlatform_IsCharAvailable(theInput));
    EXPECT_EQ(0, zvConsolePlatform_GetChar(theInput));
  }
}

TEST(ConsoleKeyTest, AKeyIsReadPastTheBufferOfTheStream) {
  const Input theInput;
  theInput.Type("abc");
  EXPECT_EQ('a', fgetc(theInput));
  EXPECT_EQ(0, zvConsolePlatform_IsCharAvailable(theInput));
  theInput.Type("z");
  EXPECT_EQ(1, zvConsolePlatform_IsCharAvailable(theInput));
  EXPECT_EQ('z', zvConsolePlatform_GetChar(theInput));
  EXPECT_EQ('b', fgetc(theInput));
}

TEST(ConsoleKeyTest, AReadThatFailsGives0AndIsNotLogged) {
  const RecordingLog theLog;
  const Input theInput;
  theInput.Type("x");
  for (const int theError : {EIO, EINTR, EAGAIN}) {
    Fault theFault("read", theError);
    EXPECT_EQ(0, zvConsolePlatform_GetChar(theInput));
    EXPECT_EQ(1, theFault.Hits());
  }
  EXPECT_EQ('x', zvConsolePlatform_GetChar(theInput));
  const Stream theOutput = StreamOf(open("/dev/null", O_WRONLY), "w");
  EXPECT_EQ(0, zvConsolePlatform_GetChar(theOutput.get()));
  EXPECT_THAT(theLog.Calls(), IsEmpty());
}

TEST(ConsoleKeyTest, AvailabilityIsAskedForWithoutWaiting) {
  const Input theInput;
  timeval theTime = {-1, -1};
  Fault theSelect("select", 0);
  theSelect.PassingThrough().Doing([&](const long long *someArguments) {
    EXPECT_EQ(fileno(theInput) + 1, someArguments[0]);
    EXPECT_EQ(0, someArguments[2]);
    EXPECT_EQ(0, someArguments[3]);
    theTime = *ArgumentAs<const timeval>(someArguments[4]);
  });
  EXPECT_EQ(0, zvConsolePlatform_IsCharAvailable(theInput));
  EXPECT_EQ(0, theTime.tv_sec);
  EXPECT_EQ(0, theTime.tv_usec);
}

TEST(ConsoleKeyTest, NothingIsAvailableWhereItCannotBeFoundOut) {
  const RecordingLog theLog;
  const Input theInput;
  theInput.Type("x");
  {
    Fault theFault("select", EINTR);
    EXPECT_EQ(0, zvConsolePlatform_IsCharAvailable(theInput));
    EXPECT_EQ(1, theFault.Hits());
  }
  {
    // Ready, but not for reading.
    Fault theFault("select", 0);
    theFault.Returning(1).Doing(
        [](const long long *someArguments) { FD_ZERO(ArgumentAs<fd_set>(someArguments[1])); });
    EXPECT_EQ(0, zvConsolePlatform_IsCharAvailable(theInput));
  }
  EXPECT_EQ(1, zvConsolePlatform_IsCharAvailable(theInput));
  EXPECT_THAT(theLog.Calls(), IsEmpty());
}

TEST(ConsoleKeyTest, NothingIsAvailableOnADescriptorThatNoSetCanHold) {
  InOwnProcess([] {
    rlimit theLimit = {};
    EXPECT_EQ(0, getrlimit(RLIMIT_NOFILE, &theLimit));
    if (theLimit.rlim_cur <= FD_SETSIZE) {
      theLimit.rlim_cur = FD_SETSIZE + 100;
      ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &theLimit)) << "no descriptors of this size: " << strerror(errno);
    }
    const Input theInput;
    theInput.Type("xy");
    for (const int theDescriptor : {FD_SETSIZE, FD_SETSIZE + 50}) {
      ASSERT_EQ(theDescriptor, dup2(fileno(theInput), theDescriptor));
      const Stream theHighInput = StreamOf(theDescriptor);
      EXPECT_EQ(0, zvConsolePlatform_IsCharAvailable(theHighInput.get()));
      EXPECT_NE(0, zvConsolePlatform_GetChar(theHighInput.get()));
    }
  });
}

TEST(ConsoleKeyTest, FlushHandsOnWhatWasWrittenToThatStream) {
  const RecordingLog theLog;
  const TempFolder theFolder;
  const Stream theFile(fopen(theFolder.File("file").c_str(), "w"), &fclose);
  const Stream theOther(fopen(theFolder.File("other").c_str(), "w"), &fclose);
  EXPECT_GE(fputs("text", theFile.get()), 0);
  EXPECT_GE(fputs("text", theOther.get()), 0);
  EXPECT_EQ("", zvtest::ReadWholeFile(theFolder.File("file")));
  zvConsolePlatform_Flush(theFile.get());
  EXPECT_EQ("text", zvtest::ReadWholeFile(theFolder.File("file")));
  EXPECT_EQ("", zvtest::ReadWholeFile(theFolder.File("other")));
  EXPECT_THAT(theLog.Calls(), IsEmpty());
}

}  // namespace
