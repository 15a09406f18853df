// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Sockets used by many threads at once, with the socket table and the traffic files on.

#include <zvOS/zvSocket.h>
#include <zvOS/zvSocketTracker.h>

#include "support/Threads.h"
#include "zvos/services/socket_traffic_checks.h"

#include <thread>

namespace {

using ::testing::Each;
using ::testing::IsEmpty;
using namespace zvtest;
using zvtest::net::Generic;
using zvtest::net::kAddressLength;
using zvtest::net::kTracker;
using zvtest::net::PortOf;

constexpr int kThreads = 6;
constexpr int kRounds = 12;
constexpr int32 kLoopback = 0x7F000001;

// Numbers of sockets that are not open.
constexpr int kFirst = 20001;

// A listening socket, and both ends of a connection to it.
struct Party {
  zvSocket mListener = kzvSocketInvalid;
  zvSocket mClient = kzvSocketInvalid;
  zvSocket mServer = kzvSocketInvalid;

  void Meet() {
    mListener = zvSocket_GetTCPSocket(kLoopback, nullptr);
    ASSERT_EQ(0, zvSocketListen(mListener, 1, "listener"));
    mClient = zvSocketOpen(AF_INET, SOCK_STREAM, 0, "client");
    sockaddr_in theAddress = zvtest::OwnAddressOf(mListener);
    ASSERT_EQ(0, zvSocketConnect(mClient, Generic(&theAddress), kAddressLength, "client"));
    mServer = zvSocketAccept(mListener, nullptr, nullptr, "server");
    ASSERT_NE(kzvSocketInvalid, mServer);
  }

  void Talk(const std::string &aQuestion, const std::string &anAnswer) const {
    Transfer(mClient, mServer, aQuestion);
    Transfer(mServer, mClient, anAnswer);
  }

  void Part() const {
    EXPECT_EQ(0, zvSocketShutdown(mClient, "client"));
    for (const zvSocket theSocket : {mClient, mServer, mListener})
      EXPECT_EQ(0, zvSocketClose(theSocket, "end"));
  }

  static void Transfer(zvSocket aSender, zvSocket aReceiver, const std::string &aText) {
    char theBuffer[256] = "";
    const int theLength = static_cast<int>(aText.size());
    EXPECT_EQ(theLength, zvSocketSend(aSender, aText.data(), theLength, 0, "send"));
    EXPECT_EQ(theLength, zvSocketRecv(aReceiver, theBuffer, theLength, MSG_WAITALL, "receive"));
    EXPECT_EQ(aText, theBuffer);
  }
};

class SocketThreads : public ::testing::Test {
 protected:
  SocketThreads() : mDescriptors(OpenDescriptors()) {
    AdmitTraffic(mLog);
    mLog.AnswerWillLog(kDebugLevel, kTracker, 1);
    zvSocketTracker_Dump();
    mTable = mLog.Messages();
    mLog.Clear();
  }

  // Nothing went wrong.
  void ExpectNoErrors() {
    EXPECT_THAT(mLog.Assertions(), IsEmpty());
    EXPECT_THAT(mLog.Messages(), Each(::testing::Field("mLevel", &Message::mLevel, kDebugLevel)));
  }

  // Nothing was left behind.
  void ExpectAllEnded() {
    EXPECT_EQ(mDescriptors, OpenDescriptors());
    mLog.Clear();
    zvSocketTracker_Dump();
    ASSERT_EQ(mTable.size(), mLog.Messages().size());
    for (size_t i = 0; i < mTable.size(); ++i)
      EXPECT_EQ(mTable[i].mText, mLog.Messages()[i].mText);
  }

  // Each table is a heading and as many lines as it says.
  void ExpectWholeTables() {
    int theLinesToCome = 0;
    for (const Message &theMessage : MessagesOf(mLog, kTracker)) {
      if (theLinesToCome == 0) {
        ASSERT_EQ(1, sscanf(theMessage.mText.c_str(), "SOCKETS STATUS: %d in use", &theLinesToCome))
            << theMessage.mText;
      } else {
        ASSERT_EQ(" ID=", theMessage.mText.substr(3, 4)) << theMessage.mText;
        --theLinesToCome;
      }
    }
    EXPECT_EQ(0, theLinesToCome);
  }

  const std::set<int> mDescriptors;
  zvtest::RecordingLog mLog;
  std::vector<Message> mTable;
};

TEST_F(SocketThreads, ConnectionsOfManyThreadsComeAndGoWithoutATrace) {
  {
    const zvtest::TrafficFolder theFolder;
    InThreads(kThreads, [](int aThread) {
      for (int i = 0; i < kRounds; ++i) {
        Party theParty;
        theParty.Meet();
        if (::testing::Test::HasFatalFailure()) return;
        // Half of the threads have traffic files.
        if (aThread % 2 == 0) {
          WriteWholeFile(TrafficFileOf(theParty.mClient, PortOf(theParty.mListener)), "");
          WriteWholeFile(TrafficFileOf(theParty.mServer, PortOf(theParty.mClient)), "");
        }
        theParty.Talk(Format("question %d of %d", i, aThread), Format("answer %d for %d", i, aThread));
        theParty.Part();
      }
    });
  }
  ExpectNoErrors();
  ExpectWholeTables();
  ExpectAllEnded();
}

TEST_F(SocketThreads, EveryTrafficFileHoldsTheBytesOfItsSocketInOrder) {
  {
    const zvtest::TrafficFolder theFolder;
    // All descriptors are different as long as nobody closes.
    Meeting theMeeting(kThreads);
    InThreads(kThreads, [&](int aThread) {
      Party theParty;
      theParty.Meet();
      const std::string theClientsFile = TrafficFileOf(theParty.mClient, PortOf(theParty.mListener));
      const std::string theServersFile = TrafficFileOf(theParty.mServer, PortOf(theParty.mClient));
      WriteWholeFile(theClientsFile, "");
      WriteWholeFile(theServersFile, "");
      std::string theText;
      for (int i = 0; i < kRounds; ++i) {
        const std::string theQuestion = Format("<question %d of %d>", i, aThread);
        const std::string theAnswer = Format("<answer %d for %d>", i, aThread);
        theParty.Talk(theQuestion, theAnswer);
        theText += theQuestion + theAnswer;
      }
      theMeeting.Arrive();
      EXPECT_EQ(theText, ReadWholeFile(theClientsFile));
      EXPECT_EQ(theText, ReadWholeFile(theServersFile));
      theParty.Part();
      EXPECT_EQ(theText + kClosed, ReadWholeFile(theClientsFile));
      EXPECT_EQ(theText + kClosed, ReadWholeFile(theServersFile));
    });
  }
  ExpectNoErrors();
  ExpectWholeTables();
  ExpectAllEnded();
}

TEST_F(SocketThreads, NoTransferIsLostInTheTable) {
  constexpr int kTransfers = 500;
  zvSocketTracker_Add(kFirst, 0, "counted");
  InThreads(kThreads, [](int) {
    for (int i = 0; i < kTransfers; ++i) {
      zvSocketTracker_Send(kFirst, 1);
      zvSocketTracker_Recv(kFirst, 2);
    }
  });
  mLog.Clear();
  zvSocketTracker_Remove(kFirst);
  const std::string theLine =
      Format("  * ID=%5d  OUT  S=%08d  R=%08d  P=    0 RP=    0 Closed     (counted) \n", kFirst,
             kThreads * kTransfers, kThreads * kTransfers * 2);
  EXPECT_THAT(mLog.Messages(), ::testing::Contains(zvtest::Debug(kTracker, theLine)));
  ExpectAllEnded();
}

TEST_F(SocketThreads, RandomPortsAreGivenToOneThreadEach) {
  std::mutex theLock;
  std::multiset<int> thePorts;
  std::vector<zvSocket> theSockets;
  InThreads(kThreads, [&](int) {
    for (int i = 0; i < kRounds; ++i) {
      uint16 thePort = 0;
      const zvSocket theSocket = zvSocket_GetUDPSocket(kLoopback, &thePort);
      EXPECT_EQ(thePort, PortOf(theSocket));
      const std::lock_guard<std::mutex> theGuard(theLock);
      thePorts.insert(thePort);
      theSockets.push_back(theSocket);
    }
  });
  EXPECT_EQ(static_cast<size_t>(kThreads * kRounds), std::set<int>(thePorts.begin(), thePorts.end()).size());
  for (const zvSocket theSocket : theSockets)
    EXPECT_EQ(0, zvSocketClose(theSocket, "end"));
  // A port that two threads drew is an error of one of them, which draws again.
  for (const Message &theMessage : mLog.Messages()) {
    if (theMessage.mLevel == kDebugLevel) continue;
    EXPECT_THAT(theMessage.mText, ::testing::StartsWith("Cannot bind socket "));
    EXPECT_THAT(theMessage.mText,
                ::testing::EndsWith(Format(": error = %d [zvSocket_GetUDPSocket]\n", EADDRINUSE)));
  }
  ExpectAllEnded();
}

// ---- The first calls of a process ----

class SocketThreadsAtTheStart : public ::testing::Test {
 protected:
  zvtest::RecordingLog mLog;
};

TEST_F(SocketThreadsAtTheStart, TheSocketTableIsPreparedOnce) {
  zvtest::InFreshProcess([this] {
    Fault theMutexes("pthread_mutex_init", 0, 0, -1);
    theMutexes.PassingThrough().AnyThread();
    InThreads(kThreads, [](int aThread) { zvSocketTracker_Add(kFirst + aThread, 0, "thread"); });
    EXPECT_EQ(1, theMutexes.Hits());
    mLog.Clear();
    zvSocketTracker_Dump();
    ASSERT_EQ(1u + kThreads, mLog.Messages().size());
    EXPECT_EQ(Format("SOCKETS STATUS: %d in use\n", kThreads), mLog.Messages()[0].mText);
  });
}

TEST_F(SocketThreadsAtTheStart, TheTrafficTableIsPreparedOnce) {
  constexpr int kEach = 100 / 5;
  zvtest::InFreshProcess([this] {
    InThreads(5, [](int aThread) {
      for (int i = 0; i < kEach; ++i)
        _Log_Buffer_Open(kFirst + aThread * kEach + i);
    });
    EXPECT_THAT(mLog.Messages(), IsEmpty());
    for (int i = 0; i < 5 * kEach; ++i)
      _Log_Buffer_Close(kFirst + i);
    EXPECT_THAT(mLog.Messages(), IsEmpty());
  });
}

}  // namespace
