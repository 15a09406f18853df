// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Traffic files: which file the bytes of a socket go to, and when nothing is written.

#include "socket_log_checks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;
using zvtest::net::kTCP;
using zvtest::net::kTraffic;
using zvtest::net::PortOf;
using zvtest::net::Socket;

constexpr int kSlots = 100;
constexpr uint32 kFailedTransfer = 0xFFFFFFFF;

// Numbers of sockets that are not open.
constexpr int kFirst = 20001;

auto TrafficError(const std::string &aText) {
  return Error(kTraffic, aText);
}

auto NoPeer(int aSocket, int anError) {
  return Error(kTCP, Format("Cannot get peer name for socket %d: error = %d [_Log_Buffer_GetFileName]\n",
                            aSocket, anError));
}

using Transfer = void (*)(zvSocket, const void *, uint32);

struct Direction {
  const char *mName;
  Transfer mTransfer;
  const char *mErrorPrefix;
};

const Direction kDirections[] = {
    {"send", _Log_Buffer_Send, "_Log_Buffer_Send"},
    {"receive", _Log_Buffer_Data, "_Log_Buffer"},
};

// ---- What is written ----

TEST_F(SocketLog, BothDirectionsAreAppendedInTheOrderOfTheCalls) {
  WriteWholeFile(mFile, "before|");
  Send(mSocket, "GET /");
  Receive(mSocket, std::string("200\0OK", 6));
  Receive(mSocket, "\r\n");
  Send(mSocket, "more");
  EXPECT_EQ(std::string("before|GET /200\0OK\r\nmore", 24), ReadWholeFile(mFile));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SocketLog, AFailedTransferLeavesAMark) {
  for (const Direction &theDirection : kDirections) {
    SCOPED_TRACE(theDirection.mName);
    WriteWholeFile(mFile, "x");
    theDirection.mTransfer(mSocket, nullptr, kFailedTransfer);
    EXPECT_EQ("x\r\nERROR", ReadWholeFile(mFile));
  }
}

TEST_F(SocketLog, EachTransferOpensWritesAndClosesTheFileOnce) {
  Send(mSocket, "first");
  const int theOpens = CallsOf("open");
  const int theWrites = CallsOf("write");
  const int theCloses = CallsOf("close");
  Send(mSocket, "second");
  EXPECT_EQ(theOpens + 1, CallsOf("open"));
  EXPECT_EQ(theWrites + 1, CallsOf("write"));
  EXPECT_EQ(theCloses + 1, CallsOf("close"));
}

TEST_F(SocketLog, EverySocketHasAFileOfItsOwn) {
  const int thePeer = mConnection.mFar;
  const std::string thePeersFile = TrafficFileOf(thePeer, PortOf(mSocket));
  WriteWholeFile(thePeersFile, "");
  Enter(thePeer);
  Send(mSocket, "to");
  Receive(thePeer, "from");
  EXPECT_EQ("to", ReadWholeFile(mFile));
  EXPECT_EQ("from", ReadWholeFile(thePeersFile));
}

TEST_F(SocketLog, TheFileIsLookedForInTheWorkingDirectoryOfTheMoment) {
  Send(mSocket, "here");
  {
    const zvtest::TrafficFolder theOther;
    WriteWholeFile(mFile, "");
    Send(mSocket, "there");
    EXPECT_EQ("there", ReadWholeFile(mFile));
  }
  EXPECT_EQ("here", ReadWholeFile(mFile));
}

// ---- What is dropped without a word ----

TEST_F(SocketLog, AMissingFileIsNotMade) {
  unlink(mFile.c_str());
  Send(mSocket, "lost");
  EXPECT_EQ(1, mFolder.Count());
  EXPECT_THAT(mLog.Messages(), IsEmpty());

  WriteWholeFile(mFile, "");
  Send(mSocket, "kept");
  EXPECT_EQ("kept", ReadWholeFile(mFile));
}

TEST_F(SocketLog, AMissingFolderIsNotMade) {
  unlink(mFile.c_str());
  rmdir("socket");
  Send(mSocket, "lost");
  EXPECT_EQ(0, mFolder.Count());
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SocketLog, WhatCannotBeOpenedIsLeftAlone) {
  unlink(mFile.c_str());
  std::filesystem::create_directory(mFile);
  Send(mSocket, "lost");
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SocketLog, AFileThatTheSystemDoesNotOpenIsLeftAlone) {
  for (const int theError : {EACCES, EMFILE, EROFS}) {
    SCOPED_TRACE(theError);
    Fault theFault("open", theError, 0, -1);
    Send(mSocket, "lost");
    EXPECT_EQ("", ReadWholeFile(mFile));
    EXPECT_THAT(mLog.Messages(), IsEmpty());
  }
}

TEST_F(SocketLog, ANamedPipeIsNotWaitedFor) {
  unlink(mFile.c_str());
  ASSERT_EQ(0, mkfifo(mFile.c_str(), 0600));
  Send(mSocket, "lost");
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SocketLog, AFileThatMayOnlyBeWrittenIsWritten) {
  Fault theFault("open", EACCES);
  Send(mSocket, "data");
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_EQ("data", ReadWholeFile(mFile));
}

TEST_F(SocketLog, ATransferThatTheFileTakesInPiecesIsWrittenWhole) {
  Fault theFault("write", EINTR);
  Send(mSocket, "data");
  EXPECT_EQ("data", ReadWholeFile(mFile));
  EXPECT_EQ(1, theFault.Hits());
}

TEST_F(SocketLog, AFailedWriteLeavesNoDescriptorBehind) {
  const auto theDescriptors = OpenDescriptors();
  {
    Fault theFault("write", ENOSPC, 0, -1);
    Send(mSocket, "lost");
    EXPECT_GE(theFault.Hits(), 1);
  }
  EXPECT_EQ(theDescriptors, OpenDescriptors());
  Send(mSocket, "kept");
  EXPECT_EQ("kept", ReadWholeFile(mFile));
}

TEST_F(SocketLog, ASocketWithoutAPeerIsAskedForItAtEveryTransfer) {
  const Socket theSocket = zvtest::net::Bound(zvtest::net::Datagram());
  Enter(theSocket);
  Send(theSocket, "lost");
  Receive(theSocket, "lost");
  EXPECT_THAT(mLog.Messages(), ElementsAre(NoPeer(theSocket, ENOTCONN), NoPeer(theSocket, ENOTCONN)));
  EXPECT_EQ(2, mFolder.Count());

  const std::string theFile = TrafficFileOf(theSocket, PortOf(theSocket));
  WriteWholeFile(theFile, "");
  zvtest::net::ConnectTo(theSocket, PortOf(theSocket));
  Send(theSocket, "kept");
  EXPECT_EQ("kept", ReadWholeFile(theFile));
}

TEST_F(SocketLog, AKnownPeerIsNotAskedForAgain) {
  Send(mSocket, "a");
  const int theQueries = CallsOf("getpeername");
  Send(mSocket, "b");
  Receive(mSocket, "c");
  EXPECT_EQ(theQueries, CallsOf("getpeername"));
}

// ---- Names ----

struct NameCase {
  int mSocket;
  uint32 mAddress;
  uint16 mPort;
  const char *mName;
};

const NameCase kNames[] = {
    {17, 0xC0A80114, 8080, "socket/192.168.1.20-8080-[17].txt"},
    {1, 0x01020304, 1, "socket/1.2.3.4-1-[1].txt"},
    {9999, 0xFFFFFFFF, 65535, "socket/255.255.255.255-65535-[9999].txt"},
    // Cut where it would not fit.
    {10000, 0xFFFFFFFF, 65535, "socket/255.255.255.255-65535-[10000].tx"},
    {2147483647, 0xFFFFFFFF, 65535, "socket/255.255.255.255-65535-[214748364"},
    {2147483647, 0x01020304, 80, "socket/1.2.3.4-80-[2147483647].txt"},
};

TEST_F(SocketLog, TheNameIsMadeOfPeerAndDescriptorAndHasAtMost39Characters) {
  for (const NameCase &theCase : kNames) {
    SCOPED_TRACE(theCase.mName);
    EXPECT_LE(strlen(theCase.mName), 39u);
    WriteWholeFile(theCase.mName, "");
    Fault theFault("getpeername", 0);
    theFault.Returning(0).Doing([&](const long long *anArguments) {
      EXPECT_EQ(theCase.mSocket, anArguments[0]);
      *ArgumentAs<sockaddr_in>(anArguments[1]) = zvtest::net::Address(theCase.mAddress, theCase.mPort);
    });
    // Only one of them has a place, so that the first with that number is the one.
    _Log_Buffer_Close(theCase.mSocket);
    _Log_Buffer_Open(theCase.mSocket);
    mLog.Clear();
    Send(theCase.mSocket, "data");
    EXPECT_EQ("data", ReadWholeFile(theCase.mName));
    EXPECT_THAT(mLog.Messages(), IsEmpty());
    _Log_Buffer_Close(theCase.mSocket);
  }
  // Nothing was written beyond the name of a slot.
  Send(mSocket, "own");
  EXPECT_EQ("own", ReadWholeFile(mFile));
}

TEST_F(SocketLog, ADescriptorOfFiveDigitsHasAFileAsWell) {
  constexpr int kDescriptor = 12345;
  const Socket theSocket(dup2(mSocket, kDescriptor));
  if (theSocket < 0) GTEST_SKIP() << "the limit of open descriptors is below " << kDescriptor;
  const std::string theFile = TrafficFileOf(kDescriptor, PortOf(mConnection.mFar));
  WriteWholeFile(theFile, "");
  Enter(kDescriptor);
  Send(kDescriptor, "data");
  EXPECT_EQ("data", ReadWholeFile(theFile));
}

// ---- Places in the table ----

TEST_F(SocketLog, AnUnknownSocketIsAnErrorOfEachFunction) {
  for (const Direction &theDirection : kDirections) {
    SCOPED_TRACE(theDirection.mName);
    mLog.Clear();
    theDirection.mTransfer(kFirst, "x", 1);
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(TrafficError(Format("%s Error 2\n", theDirection.mErrorPrefix))));
  }
  mLog.Clear();
  _Log_Buffer_Close(kFirst);
  EXPECT_THAT(mLog.Messages(), ElementsAre(TrafficError("_Log_Buffer_Close Error\n")));
}

TEST_F(SocketLog, DescriptorZeroIsAFreePlace) {
  zvtest::InOwnProcess([this] {
    ASSERT_EQ(0, dup2(open("/dev/null", O_RDONLY), 0));
    for (const Direction &theDirection : kDirections) {
      SCOPED_TRACE(theDirection.mName);
      mLog.Clear();
      theDirection.mTransfer(0, "x", 1);
      EXPECT_THAT(
          mLog.Messages(),
          ElementsAre(TrafficError(Format("%s Error 1\n", theDirection.mErrorPrefix)), NoPeer(0, ENOTSOCK)));
    }
  });
}

TEST_F(SocketLog, ThePlaceOfDescriptorZeroIsTakenByTheNextSocket) {
  const int thePeer = mConnection.mFar;
  const std::string thePeersFile = TrafficFileOf(thePeer, PortOf(mSocket));
  WriteWholeFile(thePeersFile, "");
  _Log_Buffer_Open(0);
  Enter(thePeer);
  Send(thePeer, "data");
  EXPECT_EQ("data", ReadWholeFile(thePeersFile));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SocketLog, TheHundredAndFirstSocketIsRefused) {
  zvtest::InFreshProcess([this] {
    // The one of the test is the first.
    for (int i = 1; i < kSlots; ++i)
      _Log_Buffer_Open(kFirst + i);
    EXPECT_THAT(mLog.Messages(), IsEmpty());
    _Log_Buffer_Open(kFirst + kSlots);
    EXPECT_THAT(mLog.Messages(), ElementsAre(TrafficError("_Log_Buffer_Open Error\n")));
    mLog.Clear();
    Send(kFirst + kSlots, "x");
    EXPECT_THAT(mLog.Messages(), ElementsAre(TrafficError("_Log_Buffer_Send Error 2\n")));

    mLog.Clear();
    _Log_Buffer_Close(kFirst + 50);
    _Log_Buffer_Open(kFirst + kSlots);
    EXPECT_THAT(mLog.Messages(), IsEmpty());
  });
}

TEST_F(SocketLog, ASocketThatIsEnteredTwiceWritesOnceAndIsClosedTwice) {
  Enter(mSocket);
  Send(mSocket, "once");
  EXPECT_EQ("once", ReadWholeFile(mFile));
  _Log_Buffer_Close(mSocket);
  EXPECT_EQ(std::string("once") + kClosed, ReadWholeFile(mFile));
  Send(mSocket, "again");
  EXPECT_EQ(std::string("once") + kClosed + "again", ReadWholeFile(mFile));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

class SocketLogBeforeAnyOpen : public ::testing::Test {
 protected:
  zvtest::RecordingLog mLog;
};

TEST_F(SocketLogBeforeAnyOpen, EveryOtherFunctionAsserts) {
  zvtest::InFreshProcess([this] {
    Send(kFirst, "x");
    EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("sInited == 1")));
    Receive(kFirst, "x");
    _Log_Buffer_Close(kFirst);
    _Log_Buffer_Close(kzvSocketInvalid);
    EXPECT_EQ(4u, mLog.Assertions().size());
    EXPECT_THAT(mLog.Assertions(), Each(Asserted("sInited == 1")));
    _Log_Buffer_Open(kFirst);
    Send(kFirst, "x");
    EXPECT_EQ(4u, mLog.Assertions().size());
  });
}

// ---- The end ----

TEST_F(SocketLog, ASocketThatLoggedDataEndsWithAMark) {
  EXPECT_EQ(18u, strlen(kClosed));
  Send(mSocket, "data");
  _Log_Buffer_Close(mSocket);
  EXPECT_EQ(std::string("data") + kClosed, ReadWholeFile(mFile));

  mLog.Clear();
  Send(mSocket, "late");
  EXPECT_THAT(mLog.Messages(), ElementsAre(TrafficError("_Log_Buffer_Send Error 2\n")));
}

TEST_F(SocketLog, ASocketThatLoggedNothingEndsWithoutAMark) {
  _Log_Buffer_Close(mSocket);
  EXPECT_EQ("", ReadWholeFile(mFile));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SocketLog, ATransferOfNoBytesCountsAsData) {
  Receive(mSocket, "");
  EXPECT_EQ("", ReadWholeFile(mFile));
  _Log_Buffer_Close(mSocket);
  EXPECT_EQ(kClosed, ReadWholeFile(mFile));
}

TEST_F(SocketLog, TheMarkIsWrittenOnlyWhileTrafficIsWanted) {
  for (const bool afTCP : {false, true}) {
    Send(mSocket, "x");
    AdmitTraffic(mLog, afTCP, !afTCP);
    _Log_Buffer_Close(mSocket);
    Enter(mSocket);
  }
  EXPECT_EQ("xx", ReadWholeFile(mFile));
}

TEST_F(SocketLog, TheEndOfNoSocketIsIgnored) {
  Send(mSocket, "data");
  _Log_Buffer_Close(kzvSocketInvalid);
  EXPECT_EQ("data", ReadWholeFile(mFile));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SocketLog, AReusedPlaceKeepsNothingOfItsFormerSocket) {
  Send(mSocket, "former");
  _Log_Buffer_Close(mSocket);
  const std::string theFormerText = ReadWholeFile(mFile);

  // Another connection under the same descriptor.
  const zvtest::net::Connection theConnection;
  ASSERT_EQ(mSocket, dup2(theConnection.mNear, mSocket));
  const std::string theFile = TrafficFileOf(mSocket, PortOf(theConnection.mFar));
  ASSERT_NE(mFile, theFile);
  WriteWholeFile(theFile, "");
  Enter(mSocket);
  _Log_Buffer_Close(mSocket);
  EXPECT_EQ("", ReadWholeFile(theFile));
  Enter(mSocket);
  Send(mSocket, "new");
  EXPECT_EQ("new", ReadWholeFile(theFile));
  EXPECT_EQ(theFormerText, ReadWholeFile(mFile));
}

}  // namespace
