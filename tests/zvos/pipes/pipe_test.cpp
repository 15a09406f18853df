// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "pipe_support.h"

#include <sys/ioctl.h>
#include <linux/sockios.h>
#include <pthread.h>

#include <atomic>
#include <thread>

namespace {

using namespace zvtest::pipes;

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;
namespace net = zvtest::net;

struct PairCase {
  const char *mName;
  int mFlags;
  const char *mArrow;
  bool mfWrites[2];  // whether an end may write
};

const PairCase kPairs[] = {
    {"NoFlags", ZVPIPE_NOFLAGS, "<->", {true, true}},
    {"ReadAndWrite", ZVPIPE_RDWR, "<->", {true, true}},
    {"Read", ZVPIPE_RD, "<-", {false, true}},
    {"Write", ZVPIPE_WR, "->", {true, false}},
    {"Messages", ZVPIPE_MSG, "<->", {true, true}},
    {"ReadMessages", ZVPIPE_MSG | ZVPIPE_RD, "<-", {false, true}},
    {"WriteMessages", ZVPIPE_MSG | ZVPIPE_WR, "->", {true, false}},
    {"NonBlocking", ZVPIPE_NONBLOCKING, "<->", {true, true}},
    {"NonBlockingRead", ZVPIPE_NONBLOCKING | ZVPIPE_RD, "<-", {false, true}},
    {"NonBlockingWriteMessages", ZVPIPE_NONBLOCKING | ZVPIPE_MSG | ZVPIPE_WR, "->", {true, false}},
};

class PipePairTest : public ::testing::TestWithParam<PairCase> {};

TEST_P(PipePairTest, IsOfTheKindThatTheFlagsSayAndIsLoggedWithItsArrow) {
  InOwnProcess([] {
    RecordingLog theLog;
    const Pair thePair(GetParam().mFlags);
    EXPECT_THAT(theLog.Messages(),
                ElementsAre(Info(kModule, Format("zvPipe_Pair: pair created [%d %s %d]\n", thePair[0],
                                                 GetParam().mArrow, thePair[1]))));
    for (const int theEnd : {thePair[0], thePair[1]}) {
      EXPECT_EQ((GetParam().mFlags & ZVPIPE_MSG) != 0 ? SOCK_SEQPACKET : SOCK_STREAM, TypeOf(theEnd));
      EXPECT_EQ((GetParam().mFlags & ZVPIPE_NONBLOCKING) != 0, IsNonBlocking(theEnd));
    }
  });
}

TEST_P(PipePairTest, CarriesDataInTheDirectionsOfItsFlagsAndRefusesTheOthers) {
  InOwnProcess([] {
    const Pair thePair(GetParam().mFlags);
    for (const int theWriter : {0, 1}) {
      SCOPED_TRACE(theWriter);
      RecordingLog theLog;
      const int theReader = 1 - theWriter;
      if (GetParam().mfWrites[theWriter]) {
        EXPECT_EQ(5, Write(thePair[theWriter], "hello"));
        EXPECT_EQ("hello", Read(thePair[theReader], 5));
        EXPECT_THAT(theLog.Calls(), IsEmpty());
      } else {
        EXPECT_EQ(-EPIPE, Write(thePair[theWriter], "hello"));
        EXPECT_EQ("", Read(thePair[theReader], 5));
        EXPECT_THAT(theLog.Messages(), ElementsAre(Failed("zvPipe_Write", "send", EPIPE), EndOfStream()));
      }
    }
  });
}

INSTANTIATE_TEST_SUITE_P(Flags, PipePairTest, ::testing::ValuesIn(kPairs),
                         [](const auto &anInfo) { return anInfo.param.mName; });

TEST(PipeTest, APairWithMessagesKeepsThemWholeAndCutsWhatTheReaderHasNoRoomFor) {
  InOwnProcess([] {
    const Pair thePair(ZVPIPE_MSG);
    for (const char *theMessage : {"one", "twelve", "a long message", "end"})
      EXPECT_EQ(static_cast<int>(strlen(theMessage)), Write(thePair[0], theMessage));
    EXPECT_EQ("one", Read(thePair[1], 100));
    EXPECT_EQ("twelve", Read(thePair[1], 6));
    EXPECT_EQ("a long", Read(thePair[1], 6));
    EXPECT_EQ("end", Read(thePair[1], 100));
  });
}

TEST(PipeTest, APairWithoutMessagesJoinsWhatWasWritten) {
  InOwnProcess([] {
    const Pair thePair(ZVPIPE_DEFAULT);
    EXPECT_EQ(3, Write(thePair[0], "one"));
    EXPECT_EQ(3, Write(thePair[0], "two"));
    EXPECT_EQ("on", Read(thePair[1], 2));
    EXPECT_EQ("etwo", Read(thePair[1], 4));
  });
}

TEST(PipeTest, APairConnectsTwoProcesses) {
  InOwnProcess([] {
    Pair thePair(ZVPIPE_DEFAULT);
    Peer thePeer([&] {
      thePair.Close(0);
      EXPECT_EQ("question", Read(thePair[1], 8));
      EXPECT_EQ(6, Write(thePair[1], "answer"));
    });
    thePair.Close(1);
    EXPECT_EQ(8, Write(thePair[0], "question"));
    EXPECT_EQ("answer", Read(thePair[0], 100));
    EXPECT_EQ("", Read(thePair[0], 100));
  });
}

TEST(PipeTest, AReadWaitsUntilAllHasArrived) {
  InOwnProcess([] {
    const Pair thePair(ZVPIPE_DEFAULT);
    std::thread theReader([&] { EXPECT_EQ("onetwosix", Read(thePair[1], 9)); });
    for (const char *thePart : {"one", "two", "six"}) {
      EXPECT_EQ(3, Write(thePair[0], thePart));
      // The reader has taken the part, and waits for more.
      EXPECT_TRUE(WaitUntil([&] {
        int theUnread = -1;
        return ioctl(thePair[0], SIOCOUTQ, &theUnread) == 0 && theUnread == 0;
      }));
    }
    theReader.join();
  });
}

TEST(PipeTest, AReadEndsShortWhenThePeerCloses) {
  InOwnProcess([] {
    RecordingLog theLog;
    Pair thePair(ZVPIPE_DEFAULT);
    EXPECT_EQ(3, Write(thePair[0], "one"));
    thePair.Close(0);
    theLog.Clear();
    EXPECT_EQ("one", Read(thePair[1], 9));
    EXPECT_THAT(theLog.Calls(), IsEmpty());
    EXPECT_EQ("", Read(thePair[1], 9));
    EXPECT_EQ("", Read(thePair[1], 9));
    EXPECT_THAT(theLog.Messages(), ElementsAre(EndOfStream(), EndOfStream()));
  });
}

// Reads while signals that interrupt calls arrive.
std::string ReadUnderSignals(int aPipe, size_t aLength) {
  const net::SignalCount theSignals(SIGUSR1);
  std::string theText;
  std::atomic<bool> theReaderIsDone{false};
  const pthread_t theReader = pthread_self();
  std::thread theSender([&] {
    while (!theReaderIsDone) {
      pthread_kill(theReader, SIGUSR1);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  });
  theText = Read(aPipe, aLength);
  theReaderIsDone = true;
  theSender.join();
  return theText;
}

TEST(PipeTest, ASignalEndsAReadWithWhatHasArrived) {
  InOwnProcess([] {
    RecordingLog theLog;
    const Pair thePair(ZVPIPE_DEFAULT);
    EXPECT_EQ(3, Write(thePair[0], "one"));
    theLog.Clear();
    EXPECT_EQ("one", ReadUnderSignals(thePair[1], 9));
    EXPECT_THAT(theLog.Calls(), IsEmpty());
  });
}

TEST(PipeTest, ASignalEndsAReadThatHasNothingYetWithAnError) {
  InOwnProcess([] {
    RecordingLog theLog;
    const Pair thePair(ZVPIPE_DEFAULT);
    theLog.Clear();
    EXPECT_EQ(Format("error %d", EINTR), ReadUnderSignals(thePair[1], 9));
    EXPECT_THAT(theLog.Messages(), ElementsAre(Failed("zvPipe_Read", "send", EINTR)));
  });
}

TEST(PipeTest, ReadsAndWritesAreOneCallThatRaisesNoSignal) {
  InOwnProcess([] {
    const Pair thePair(ZVPIPE_DEFAULT);
    const char theText[] = "hello";
    Arguments theSend;
    Fault theSendFault("send", 0);
    theSendFault.PassingThrough().Doing(CopyInto(&theSend, 4));
    EXPECT_EQ(5, zvPipe_Write(thePair[0], theText, 5));
    EXPECT_THAT(theSend, ElementsAre(thePair[0], AsArgument(theText), 5, MSG_NOSIGNAL));

    char theBuffer[5];
    Arguments theRecv;
    Fault theRecvFault("recv", 0);
    theRecvFault.PassingThrough().Doing(CopyInto(&theRecv, 4));
    EXPECT_EQ(5, zvPipe_Read(thePair[1], theBuffer, sizeof(theBuffer)));
    EXPECT_THAT(theRecv, ElementsAre(thePair[1], AsArgument(theBuffer), 5, MSG_NOSIGNAL | MSG_WAITALL));
  });
}

class PipeKindTest : public ::testing::TestWithParam<int> {};

TEST_P(PipeKindTest, ANonBlockingEndAnswersWouldBlockWhichIsLoggedAsInformation) {
  InOwnProcess([] {
    RecordingLog theLog;
    const Pair thePair(GetParam() | ZVPIPE_NONBLOCKING);
    theLog.Clear();
    EXPECT_EQ("error 11", Read(thePair[0], 9));
    EXPECT_THAT(theLog.Messages(), ElementsAre(WouldBlock("zvPipe_Read", "send")));

    theLog.Clear();
    const std::string theBlock(1000, 'x');
    int theCount;
    while ((theCount = Write(thePair[0], theBlock)) > 0)
      EXPECT_THAT(theLog.Calls(), IsEmpty());
    EXPECT_EQ(-EWOULDBLOCK, theCount);
    EXPECT_THAT(theLog.Messages(), ElementsAre(WouldBlock("zvPipe_Write", "send")));
    EXPECT_EQ(theBlock, Read(thePair[1], theBlock.size()));
  });
}

TEST_P(PipeKindTest, AReadOfNothingLooksLikeTheEndOfTheStream) {
  InOwnProcess([] {
    const Pair thePair(GetParam());
    EXPECT_EQ(3, Write(thePair[0], "one"));
    EXPECT_EQ(3, Write(thePair[0], "two"));
    char theByte = 'x';
    RecordingLog theLog;
    EXPECT_EQ(0, zvPipe_Read(thePair[1], &theByte, 0));
    EXPECT_THAT(theLog.Messages(), ElementsAre(EndOfStream()));
    EXPECT_EQ('x', theByte);
    // A stream is still as it was; of a message that is all.
    EXPECT_EQ(GetParam() == ZVPIPE_MSG ? "two" : "one", Read(thePair[1], 3));
  });
}

// Fills a pipe whose reader does not read, until writing fails; returns the result.
int WriteUntilFailure(int aPipe) {
  const std::string theBlock(100, 'x');
  int theCount;
  do {
    theCount = Write(aPipe, theBlock);
  } while (theCount > 0);
  return theCount;
}

TEST_P(PipeKindTest, AReaderThatIsKilledEndsTheBlockedWriterWithAnErrorAndNoSignal) {
  InOwnProcess([] {
    Pair thePair(GetParam());
    Peer theReader([&] {
      thePair.Close(0);
      for (;;)
        pause();
    });
    thePair.Close(1);
    const net::SignalCount theSignals(SIGPIPE);
    RecordingLog theLog;
    int theResult = 0;
    std::thread theWriter([&] { theResult = WriteUntilFailure(thePair[0]); });
    // Of all that was written, more and more waits for the reader, until the writer waits as well.
    int theLast = -1;
    EXPECT_TRUE(WaitUntil([&] {
      int theUnread = 0;
      ioctl(thePair[0], SIOCOUTQ, &theUnread);
      return std::exchange(theLast, theUnread) == theUnread && theUnread > 0;
    }));
    theReader.Kill();
    theWriter.join();
    // Which of the two depends on whether the writer was in the call.
    EXPECT_THAT(theResult, AnyOf(-EPIPE, -ECONNRESET));
    EXPECT_THAT(theLog.Messages(), ElementsAre(Failed("zvPipe_Write", "send", -theResult)));
    EXPECT_EQ(0, theSignals.Count());
  });
}

TEST_P(PipeKindTest, WhatAKilledWriterHadWrittenArrivesBeforeTheEnd) {
  InOwnProcess([] {
    Pair thePair(GetParam());
    Pair theSync(ZVPIPE_DEFAULT);
    Peer theWriter([&] {
      EXPECT_EQ(3, Write(thePair[1], "one"));
      EXPECT_EQ(4, Write(theSync[1], "done"));
      for (;;)
        pause();
    });
    thePair.Close(1);
    EXPECT_EQ("done", Read(theSync[0], 4));
    theWriter.Kill();
    RecordingLog theLog;
    EXPECT_EQ("one", Read(thePair[0], 100));
    EXPECT_EQ("", Read(thePair[0], 100));
    EXPECT_THAT(theLog.Messages(), ElementsAre(EndOfStream()));
  });
}

INSTANTIATE_TEST_SUITE_P(Kinds, PipeKindTest, ::testing::Values(ZVPIPE_DEFAULT, ZVPIPE_MSG),
                         [](const auto &anInfo) {
                           return anInfo.param == ZVPIPE_MSG ? "Messages" : "Stream";
                         });

TEST(PipeTest, AWriteMayBeShort) {
  InOwnProcess([] {
    const Pair thePair(ZVPIPE_NONBLOCKING);
    const std::string theText(8 * 1024 * 1024, 'x');
    const int theCount = Write(thePair[0], theText);
    EXPECT_GT(theCount, 0);
    EXPECT_LT(theCount, static_cast<int>(theText.size()));
  });
}

TEST(PipeTest, NonBlockingKeepsTheOtherStatusFlags) {
  InOwnProcess([] {
    Fault theStatus("fcntl", 0);
    theStatus.Returning(O_RDWR | O_APPEND);
    const Pair thePair(ZVPIPE_NONBLOCKING);
    EXPECT_EQ(O_APPEND | O_NONBLOCK, fcntl(thePair[0], F_GETFL) & (O_APPEND | O_NONBLOCK));
    EXPECT_EQ(O_NONBLOCK, fcntl(thePair[1], F_GETFL) & (O_APPEND | O_NONBLOCK));
  });
}

TEST(PipeTest, AnEndWhoseStatusCannotBeReadStaysBlocking) {
  InOwnProcess([] {
    Fault theStatus("fcntl", EBADF, 0, -1);
    const Pair thePair(ZVPIPE_NONBLOCKING);
    EXPECT_EQ(2, theStatus.Hits());
    EXPECT_FALSE(IsNonBlocking(thePair[0]));
    EXPECT_FALSE(IsNonBlocking(thePair[1]));
  });
}

TEST(PipeTest, CloseEndsThePipeForHoldersOfCopiesAsWell) {
  InOwnProcess([] {
    int theEnds[2] = {-1, -1};
    ASSERT_EQ(0, zvPipe_Pair(theEnds, ZVPIPE_DEFAULT));
    const net::Socket theOther(theEnds[1]);
    const net::Socket theCopy(dup(theEnds[0]));
    RecordingLog theLog;
    EXPECT_EQ(0, zvPipe_Close(theEnds[0], 1));
    EXPECT_FALSE(IsOpen(theEnds[0]));
    EXPECT_THAT(theLog.Messages(),
                ElementsAre(Info(kModule, Format("zvPipe_Close: Closed (%d)\n", theEnds[0]))));
    EXPECT_EQ("", Read(theOther, 1));
    EXPECT_EQ(-EPIPE, Write(theOther, "x"));
    EXPECT_EQ(-EPIPE, Write(theCopy, "x"));
  });
}

TEST(PipeTest, CloseDoesNotCareWhetherItIsCleanNorWhetherItCouldShutDown) {
  InOwnProcess([] {
    SettleOn(Names::kAbstract);
    for (const int theClean : {0, 1, -1}) {
      RecordingLog theLog;
      const int theFile = open("/dev/null", O_RDWR);  // is not a socket
      EXPECT_EQ(0, zvPipe_Close(theFile, theClean));
      EXPECT_FALSE(IsOpen(theFile));
      EXPECT_THAT(theLog.Messages(),
                  ElementsAre(Info(kModule, Format("zvPipe_Close: Closed (%d)\n", theFile))));
    }
  });
}

}  // namespace
