// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "pipe_support.h"

#include <sys/resource.h>
#include <sys/stat.h>

namespace {

using namespace zvtest::pipes;

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;
namespace net = zvtest::net;

// Older headers do not have them: what asks for handles of the sender's process, and what brings one.
constexpr int kPassPidFD = 76;
constexpr int kProcessHandleMessage = 0x04;

int OpenFile(const std::string &aPath, int someFlags = O_RDWR | O_CREAT) {
  const int theFile = open(aPath.c_str(), someFlags, 0600);
  EXPECT_GE(theFile, 0) << aPath;
  return theFile;
}

// Whether two descriptors, also of different processes at different times, mean the same open thing.
bool IsSameFile(int aDescriptor, const struct stat &anotherStatus) {
  struct stat theStatus;
  EXPECT_EQ(0, fstat(aDescriptor, &theStatus));
  return theStatus.st_dev == anotherStatus.st_dev && theStatus.st_ino == anotherStatus.st_ino;
}

struct stat StatusOf(int aDescriptor) {
  struct stat theStatus = {};
  EXPECT_EQ(0, fstat(aDescriptor, &theStatus));
  return theStatus;
}

// Sends a message as a peer of another make may: any data, any descriptors.
void SendNative(int aSocket, const std::string &aData, const std::vector<int> &someDescriptors) {
  std::string theData = aData;
  iovec theVector = {&theData[0], theData.size()};
  const size_t theSize = someDescriptors.size() * sizeof(int);
  std::vector<cmsghdr> theControl(CMSG_SPACE(theSize) / sizeof(cmsghdr) + 1);
  msghdr theMessage = {};
  theMessage.msg_iov = &theVector;
  theMessage.msg_iovlen = 1;
  if (theSize > 0) {
    theMessage.msg_control = theControl.data();
    theMessage.msg_controllen = CMSG_SPACE(theSize);
    cmsghdr *const theHeader = CMSG_FIRSTHDR(&theMessage);
    theHeader->cmsg_level = SOL_SOCKET;
    theHeader->cmsg_type = SCM_RIGHTS;
    theHeader->cmsg_len = CMSG_LEN(theSize);
    memcpy(CMSG_DATA(theHeader), someDescriptors.data(), theSize);
  }
  EXPECT_EQ(static_cast<ssize_t>(aData.size()), sendmsg(aSocket, &theMessage, 0)) << strerror(errno);
}

void Enable(int aSocket, int anOption) {
  const int theOne = 1;
  EXPECT_EQ(0, setsockopt(aSocket, SOL_SOCKET, anOption, &theOne, sizeof(theOne))) << strerror(errno);
}

// Receives, and expects that nothing is open afterwards but what came back. It is closed.
int ReceiveWithoutLeak(int aPipe) {
  auto theOpenOnes = OpenDescriptors();
  const int theResult = zvPipe_RecvFD(aPipe);
  if (theResult >= 0) {
    EXPECT_TRUE(theOpenOnes.insert(theResult).second) << theResult << " was open before";
  }
  EXPECT_EQ(theOpenOnes, OpenDescriptors());
  if (theResult >= 0) close(theResult);
  return theResult;
}

class PipeDescriptorTest : public ::testing::TestWithParam<int> {};

TEST_P(PipeDescriptorTest, AFileIsGivenAwayAndStaysTheSameOpenFile) {
  InOwnProcess([] {
    const TempFolder theFolder;
    zvtest::WriteWholeFile(theFolder.File("file"), "0123456789");
    const Pair thePair(GetParam());
    const int theFile = OpenFile(theFolder.File("file"));
    EXPECT_EQ(4, lseek(theFile, 4, SEEK_SET));
    RecordingLog theLog;
    EXPECT_EQ(0, zvPipe_SendFD(thePair[0], theFile));
    EXPECT_FALSE(IsOpen(theFile));
    const net::Socket theReceived(zvPipe_RecvFD(thePair[1]));
    EXPECT_THAT(theLog.Calls(), IsEmpty());
    char theText[3] = "";
    EXPECT_EQ(2, read(theReceived, theText, 2));
    EXPECT_STREQ("45", theText);
    EXPECT_EQ(FD_CLOEXEC, fcntl(theReceived, F_GETFD)) << "another program would inherit it";
  });
}

TEST_P(PipeDescriptorTest, DescriptorsOfEveryKindArriveInAnotherProcess) {
  InOwnProcess([] {
    const TempFolder theFolder;
    Pair thePair(GetParam());
    Peer theSender([&] {
      thePair.Close(0);
      const int theFile = OpenFile(theFolder.File("file"));
      EXPECT_EQ(4, write(theFile, "file", 4));
      EXPECT_EQ(0, zvPipe_SendFD(thePair[1], theFile));

      int thePlain[2];
      EXPECT_EQ(0, pipe(thePlain));
      EXPECT_EQ(0, zvPipe_SendFD(thePair[1], thePlain[0]));
      EXPECT_EQ(5, write(thePlain[1], "plain", 5));

      int theEnds[2];
      EXPECT_EQ(0, zvPipe_Pair(theEnds, ZVPIPE_DEFAULT));
      EXPECT_EQ(0, zvPipe_SendFD(thePair[1], theEnds[0]));
      EXPECT_EQ("there?", Read(theEnds[1], 6));
      EXPECT_EQ(3, Write(theEnds[1], "yes"));

      net::Socket theListener = net::Listener();
      EXPECT_EQ(0, zvPipe_SendFD(thePair[1], theListener.Release()));
    });
    thePair.Close(1);

    const net::Socket theFile(zvPipe_RecvFD(thePair[0]));
    char theBuffer[10] = "";
    EXPECT_EQ(4, pread(theFile, theBuffer, sizeof(theBuffer), 0));
    EXPECT_STREQ("file", theBuffer);

    const net::Socket thePlain(zvPipe_RecvFD(thePair[0]));
    EXPECT_EQ(5, read(thePlain, theBuffer, sizeof(theBuffer)));
    EXPECT_STREQ("plain", theBuffer);

    const net::Socket theEnd(zvPipe_RecvFD(thePair[0]));
    EXPECT_EQ(6, Write(theEnd, "there?"));
    EXPECT_EQ("yes", Read(theEnd, 100));

    const net::Socket theListener(zvPipe_RecvFD(thePair[0]));
    const net::Socket theClient = net::Stream();
    net::ConnectTo(theClient, net::PortOf(theListener));
    EXPECT_GE(net::Socket(accept(theListener, nullptr, nullptr)), 0);

    EXPECT_EQ(-EPIPE, ReceiveWithoutLeak(thePair[0]));
  });
}

TEST_P(PipeDescriptorTest, OneByteThatIs0CarriesTheDescriptor) {
  InOwnProcess([] {
    const Pair thePair(GetParam());
    const int theSent = OpenFile("/dev/null");
    const struct stat theStatus = StatusOf(theSent);
    long long theFlags = -1;
    Fault theSendmsg("sendmsg", 0);
    theSendmsg.PassingThrough().Doing([&](const long long *someArguments) { theFlags = someArguments[2]; });
    EXPECT_EQ(0, zvPipe_SendFD(thePair[0], theSent));
    EXPECT_EQ(0, theFlags);

    char theData[8] = "xxxxxxx";
    iovec theVector = {theData, sizeof(theData)};
    alignas(cmsghdr) char theControl[8 * sizeof(cmsghdr)] = {};
    msghdr theMessage = {};
    theMessage.msg_iov = &theVector;
    theMessage.msg_iovlen = 1;
    theMessage.msg_control = theControl;
    theMessage.msg_controllen = sizeof(theControl);
    EXPECT_EQ(1, recvmsg(thePair[1], &theMessage, 0));
    EXPECT_EQ('\0', theData[0]);
    const cmsghdr *const theHeader = CMSG_FIRSTHDR(&theMessage);
    ASSERT_NE(nullptr, theHeader);
    EXPECT_EQ(SOL_SOCKET, theHeader->cmsg_level);
    EXPECT_EQ(SCM_RIGHTS, theHeader->cmsg_type);
    EXPECT_EQ(CMSG_LEN(sizeof(int)), theHeader->cmsg_len);
    int theDescriptor = -1;
    memcpy(&theDescriptor, CMSG_DATA(theHeader), sizeof(theDescriptor));
    const net::Socket theReceived(theDescriptor);
    EXPECT_TRUE(IsSameFile(theReceived, theStatus));
  });
}

TEST_P(PipeDescriptorTest, DescriptorsArriveInOrderBetweenTheDataAroundThem) {
  InOwnProcess([] {
    const TempFolder theFolder;
    const Pair thePair(GetParam());
    std::vector<struct stat> theSent;
    for (const char *theName : {"one", "two", "six"}) {
      const int theFile = OpenFile(theFolder.File(theName));
      theSent.push_back(StatusOf(theFile));
      EXPECT_EQ(3, Write(thePair[0], theName));
      EXPECT_EQ(0, zvPipe_SendFD(thePair[0], theFile));
    }
    const char *const theNames[] = {"one", "two", "six"};
    for (size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(theNames[i], Read(thePair[1], 3));
      const net::Socket theReceived(zvPipe_RecvFD(thePair[1]));
      EXPECT_TRUE(IsSameFile(theReceived, theSent[i]));
    }
  });
}

TEST_P(PipeDescriptorTest, WhatAKilledSenderHadSentArrives) {
  InOwnProcess([] {
    Pair thePair(GetParam());
    const Pair theSync(ZVPIPE_DEFAULT);
    Peer theSender([&] {
      thePair.Close(0);
      EXPECT_EQ(0, zvPipe_SendFD(thePair[1], OpenFile("/dev/null")));
      EXPECT_EQ(4, Write(theSync[1], "sent"));
      for (;;)
        pause();
    });
    thePair.Close(1);
    EXPECT_EQ("sent", Read(theSync[0], 4));
    theSender.Kill();
    RecordingLog theLog;
    EXPECT_GE(ReceiveWithoutLeak(thePair[0]), 0);
    EXPECT_EQ(-EPIPE, ReceiveWithoutLeak(thePair[0]));
    EXPECT_THAT(theLog.Messages(), ElementsAre(Failed("zvPipe_RecvFD", "recvmsg", EPIPE)));
  });
}

TEST_P(PipeDescriptorTest, TheEndOfTheStreamIsABrokenPipeWhateverTheLastErrorWas) {
  InOwnProcess([] {
    Pair thePair(GetParam());
    thePair.Close(0);
    for (const int theLastError : {0, EDOM}) {
      RecordingLog theLog;
      errno = theLastError;
      EXPECT_EQ(-EPIPE, zvPipe_RecvFD(thePair[1]));
      EXPECT_THAT(theLog.Messages(), ElementsAre(Failed("zvPipe_RecvFD", "recvmsg", EPIPE)));
    }
  });
}

TEST_P(PipeDescriptorTest, AnEmptyNonBlockingPipeWouldBlock) {
  InOwnProcess([] {
    const Pair thePair(GetParam() | ZVPIPE_NONBLOCKING);
    RecordingLog theLog;
    EXPECT_EQ(-EWOULDBLOCK, zvPipe_RecvFD(thePair[1]));
    EXPECT_THAT(theLog.Messages(), ElementsAre(WouldBlock("zvPipe_RecvFD", "recvmsg")));
  });
}

TEST_P(PipeDescriptorTest, AFullNonBlockingPipeWouldBlockAndTheDescriptorStays) {
  InOwnProcess([] {
    const Pair thePair(GetParam() | ZVPIPE_NONBLOCKING);
    while (Write(thePair[0], "x") > 0) {
    }
    const net::Socket theFile(OpenFile("/dev/null"));
    RecordingLog theLog;
    EXPECT_EQ(-EWOULDBLOCK, zvPipe_SendFD(thePair[0], theFile));
    EXPECT_TRUE(IsOpen(theFile));
    EXPECT_THAT(theLog.Messages(), ElementsAre(WouldBlock("zvPipe_SendFD", "sendmsg")));
  });
}

TEST_P(PipeDescriptorTest, WhatCannotBeSentStaysWithTheSender) {
  InOwnProcess([] {
    Pair thePair(GetParam());
    const net::Socket theFile(OpenFile("/dev/null"));
    RecordingLog theLog;
    EXPECT_EQ(-EBADF, zvPipe_SendFD(thePair[0], -1));
    EXPECT_EQ(-EBADF, zvPipe_SendFD(thePair[0], net::ClosedDescriptor()));
    EXPECT_EQ(-ENOTSOCK, zvPipe_SendFD(theFile, theFile));
    thePair.Close(1);
    EXPECT_EQ(-EPIPE, zvPipe_SendFD(thePair[0], theFile));
    EXPECT_TRUE(IsOpen(theFile));
    EXPECT_THAT(
        theLog.Messages(),
        ElementsAre(Failed("zvPipe_SendFD", "sendmsg", EBADF), Failed("zvPipe_SendFD", "sendmsg", EBADF),
                    Failed("zvPipe_SendFD", "sendmsg", ENOTSOCK), Failed("zvPipe_SendFD", "sendmsg", EPIPE)));
  });
}

TEST_P(PipeDescriptorTest, AMessageOfWhichNothingWasSentIsAFailure) {
  InOwnProcess([] {
    const Pair thePair(GetParam());
    const net::Socket theFile(OpenFile("/dev/null"));
    RecordingLog theLog;
    Fault theSendmsg("sendmsg", ENOBUFS);
    theSendmsg.Returning(0);
    EXPECT_EQ(-ENOBUFS, zvPipe_SendFD(thePair[0], theFile));
    EXPECT_TRUE(IsOpen(theFile));
    EXPECT_THAT(theLog.Messages(), ElementsAre(Failed("zvPipe_SendFD", "sendmsg", ENOBUFS)));
  });
}

TEST_P(PipeDescriptorTest, TheSendersCloseMayFail) {
  InOwnProcess([] {
    const Pair thePair(GetParam());
    const net::Socket theFile(OpenFile("/dev/null"));
    RecordingLog theLog;
    Fault theClose("close", EIO);
    EXPECT_EQ(0, zvPipe_SendFD(thePair[0], theFile));
    EXPECT_EQ(1, theClose.Hits());
    EXPECT_THAT(theLog.Calls(), IsEmpty());
  });
}

// Messages of which the receiver gets no descriptor.
void ExpectBadMessage(int aPipe) {
  RecordingLog theLog;
  theLog.SpoilErrno(EDOM);
  EXPECT_EQ(-EBADMSG, ReceiveWithoutLeak(aPipe));
  EXPECT_THAT(theLog.Messages(), ElementsAre(Failed("zvPipe_RecvFD", "recvmsg", EBADMSG)));
}

TEST_P(PipeDescriptorTest, DataWithoutADescriptorIsABadMessageOfWhichOneByteIsTaken) {
  InOwnProcess([] {
    const Pair thePair(GetParam());
    EXPECT_EQ(3, Write(thePair[0], "abc"));
    EXPECT_EQ(4, Write(thePair[0], "next"));
    ExpectBadMessage(thePair[1]);
    // The rest of a message is lost, that of a stream is not.
    if (GetParam() == ZVPIPE_DEFAULT) {
      EXPECT_EQ("bc", Read(thePair[1], 2));
    }
    EXPECT_EQ("next", Read(thePair[1], 4));
  });
}

TEST_P(PipeDescriptorTest, CredentialsAloneAreABadMessage) {
  InOwnProcess([] {
    const Pair thePair(GetParam());
    Enable(thePair[1], SO_PASSCRED);
    EXPECT_EQ(1, Write(thePair[0], "x"));
    ExpectBadMessage(thePair[1]);
  });
}

TEST_P(PipeDescriptorTest, CredentialsLeaveNoRoomForADescriptorWhichIsNotLeaked) {
  InOwnProcess([] {
    const Pair thePair(GetParam());
    Enable(thePair[1], SO_PASSCRED);
    EXPECT_EQ(0, zvPipe_SendFD(thePair[0], OpenFile("/dev/null")));
    ExpectBadMessage(thePair[1]);
  });
}

// Why a receiver cannot have handles of the sender's process; empty when it can.
std::string WhyNoHandles() {
  const net::Socket theSocket(socket(AF_UNIX, SOCK_STREAM, 0));
  const int theOne = 1;
  if (setsockopt(theSocket, SOL_SOCKET, kPassPidFD, &theOne, sizeof(theOne)) == 0) return {};
  return Format("needs a kernel, and an emulator if there is one, with SO_PASSPIDFD: %s", strerror(errno));
}

TEST_P(PipeDescriptorTest, AHandleOfTheSendersProcessAloneIsABadMessageAndIsNotLeaked) {
  if (!WhyNoHandles().empty()) GTEST_SKIP() << WhyNoHandles();
  InOwnProcess([] {
    const Pair thePair(GetParam());
    Enable(thePair[1], kPassPidFD);
    EXPECT_EQ(1, Write(thePair[0], "x"));
    int theType = -1;
    Fault theRecvmsg("recvmsg", 0);
    theRecvmsg.PassingThrough().Doing([&](const long long *someArguments) {
      auto *const theMessage = ArgumentAs<msghdr>(someArguments[1]);
      const cmsghdr *const theHeader = CMSG_FIRSTHDR(theMessage);
      if (theHeader != nullptr) theType = theHeader->cmsg_type;
    });
    ExpectBadMessage(thePair[1]);
    EXPECT_EQ(kProcessHandleMessage, theType) << "no handle came";
  });
}

// It comes behind the descriptor, for which alone there is room whatever the size of a control header.
TEST_P(PipeDescriptorTest, ADescriptorArrivesBeforeTheHandleOfTheSendersProcess) {
  if (!WhyNoHandles().empty()) GTEST_SKIP() << WhyNoHandles();
  InOwnProcess([] {
    const TempFolder theFolder;
    const Pair thePair(GetParam());
    Enable(thePair[1], kPassPidFD);
    const int theSent = OpenFile(theFolder.File("file"));
    const struct stat theStatus = StatusOf(theSent);
    EXPECT_EQ(0, zvPipe_SendFD(thePair[0], theSent));
    auto theOpenOnes = OpenDescriptors();
    RecordingLog theLog;
    const net::Socket theReceived(zvPipe_RecvFD(thePair[1]));
    ASSERT_GE(theReceived, 0);
    EXPECT_TRUE(IsSameFile(theReceived, theStatus));
    theOpenOnes.insert(theReceived);
    EXPECT_EQ(theOpenOnes, OpenDescriptors());
    EXPECT_THAT(theLog.Calls(), IsEmpty());
  });
}

TEST_P(PipeDescriptorTest, OfTwoDescriptorsInAMessageTheFirstArrivesAndNoneIsLeaked) {
  if (zvtest::IsEmulated()) GTEST_SKIP() << "the emulator makes more room for descriptors than it hands on";
  InOwnProcess([] {
    const TempFolder theFolder;
    const Pair thePair(GetParam());
    const net::Socket theFirst(OpenFile(theFolder.File("first")));
    const net::Socket theSecond(OpenFile(theFolder.File("second")));
    const auto theOpenOnes = OpenDescriptors();
    for (const std::vector<int> &theSent : {std::vector<int>{theFirst, theSecond},
                                            std::vector<int>{theFirst, theSecond, theFirst, theSecond}}) {
      SendNative(thePair[0], "x", theSent);
      {
        const net::Socket theReceived(zvPipe_RecvFD(thePair[1]));
        ASSERT_GE(theReceived, 0);
        EXPECT_TRUE(IsSameFile(theReceived, StatusOf(theFirst)));
        EXPECT_EQ(theOpenOnes.size() + 1, OpenDescriptors().size());
      }
      EXPECT_EQ(theOpenOnes, OpenDescriptors());
    }
  });
}

TEST(PipeDescriptorMessageTest, ADescriptorInAMessageWithoutDataIsNotLeaked) {
  InOwnProcess([] {
    const Pair thePair(ZVPIPE_MSG);
    const net::Socket theFile(OpenFile("/dev/null"));
    SendNative(thePair[0], "", {theFile});
    RecordingLog theLog;
    EXPECT_EQ(-EPIPE, ReceiveWithoutLeak(thePair[1]));
    EXPECT_THAT(theLog.Messages(), ElementsAre(Failed("zvPipe_RecvFD", "recvmsg", EPIPE)));
  });
}

TEST_P(PipeDescriptorTest, AProcessWithoutRoomForTheDescriptorGetsABadMessage) {
  InOwnProcess([] {
    const Pair thePair(GetParam());
    EXPECT_EQ(0, zvPipe_SendFD(thePair[0], OpenFile("/dev/null")));
    rlimit theOldLimit;
    EXPECT_EQ(0, getrlimit(RLIMIT_NOFILE, &theOldLimit));
    const rlimit theLimit = {static_cast<rlim_t>(*OpenDescriptors().rbegin() + 1), theOldLimit.rlim_max};
    EXPECT_EQ(0, setrlimit(RLIMIT_NOFILE, &theLimit));
    std::vector<net::Socket> theFillers;
    for (int theFiller; (theFiller = dup(STDIN_FILENO)) >= 0;)
      theFillers.emplace_back(theFiller);
    RecordingLog theLog;
    const int theResult = zvPipe_RecvFD(thePair[1]);
    // Expectations may need descriptors themselves.
    EXPECT_EQ(0, setrlimit(RLIMIT_NOFILE, &theOldLimit));
    EXPECT_EQ(-EBADMSG, theResult);
    EXPECT_THAT(theLog.Messages(), ElementsAre(Failed("zvPipe_RecvFD", "recvmsg", EBADMSG)));
  });
}

INSTANTIATE_TEST_SUITE_P(Kinds, PipeDescriptorTest, ::testing::Values(ZVPIPE_DEFAULT, ZVPIPE_MSG),
                         [](const auto &anInfo) {
                           return anInfo.param == ZVPIPE_MSG ? "Messages" : "Stream";
                         });

}  // namespace
