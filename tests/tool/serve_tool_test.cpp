// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The command `serve` as its clients and the person who runs it see it.

#include "Serving.h"
#include "support/Support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>

namespace {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;
using namespace zvtest;

class Serve : public zvtest::Serving {};

// Beginning and end

TEST_F(Serve, FirstLineNamesFolderAddressAndPort) {
  const auto theServer = Start();
  ASSERT_NE(0, theServer->Port());
  EXPECT_EQ("serving " + ServedFolder() + " on 127.0.0.1:" + std::to_string(theServer->Port()) + "\n",
            theServer->Output());
  ExpectServing(*theServer);
}

TEST_F(Serve, WithoutAddressAndPortTheLibraryDrawsThePort) {
  RunningZvos theServer({"serve", "--policy", "local", ServedFolder()});
  EXPECT_GE(theServer.Port(), 50000);
  EXPECT_LE(theServer.Port(), 65000);
  EXPECT_THAT(theServer.Output(), StartsWith("serving " + ServedFolder() + " on 0.0.0.0:"));
  ExpectServing(theServer);
}

TEST_F(Serve, GivenPortIsUsedAndRefusedWhenItIsTaken) {
  const auto theServer = Start();
  const std::string thePort = std::to_string(theServer->Port());
  const ChildResult theResult = Zvos({"serve", "--bind", "127.0.0.1", "--port", thePort, ServedFolder()});
  EXPECT_EQ(2, theResult.mStatus);
  EXPECT_EQ("zvos: serve: cannot listen on 127.0.0.1:" + thePort + ": Address already in use\n",
            theResult.mError);
  theServer->Kill(SIGTERM);
  theServer->Wait();

  const auto theNextServer = Start({"--port=" + thePort});
  EXPECT_EQ(thePort, std::to_string(theNextServer->Port()));
  ExpectServing(*theNextServer);
}

TEST_F(Serve, SignalsEndItWithASummary) {
  const std::pair<int, const char *> kSignals[] = {
      {SIGINT, "Ctrl-C"}, {SIGTERM, "SIGTERM"}, {SIGHUP, "SIGHUP"}};
  for (const auto &[theSignal, theName] : kSignals) {
    const auto theServer = Start({}, [theSignal = theSignal] { signal(theSignal, SIG_DFL); });
    ExpectServing(*theServer);
    EXPECT_EQ(2, Get(*theServer, "none").mStatus);
    theServer->Kill(theSignal);
    EXPECT_EQ(0, theServer->Wait()) << theName;
    EXPECT_EQ("", theServer->Error());
    EXPECT_THAT(theServer->Output(), EndsWith(std::string("\nended by ") + theName +
                                              ": sent 1 (10 bytes), refused 1, broken off 0\n"));
  }
}

TEST_F(Serve, SignalThatTheCallerIgnoresStaysIgnored) {
  const auto theServer = Start({}, [] { signal(SIGINT, SIG_IGN); });
  ASSERT_NE(0, theServer->Port());
  theServer->Kill(SIGINT);
  ExpectServing(*theServer);
  theServer->Kill(SIGTERM);
  EXPECT_EQ(0, theServer->Wait());
}

TEST_F(Serve, OpenConnectionsAreToldAtTheEnd) {
  WriteWholeFile(Served("big"), SomeBytes(kBigSize));
  const auto theServer = Start();
  RawClient theSilentOne(theServer->Port());
  RawClient theReader(theServer->Port());
  EXPECT_EQ(kReady, theSilentOne.Line());
  EXPECT_EQ(kReady, theReader.Line());
  theReader.Send("get big\n");
  EXPECT_EQ("data " + std::to_string(kBigSize) + "\n", theReader.Line());
  theServer->Kill(SIGTERM);
  EXPECT_EQ(0, theServer->Wait());
  EXPECT_THAT(theServer->Output(), AllOf(HasSubstr("  -  broken off: the server ends\n"),
                                         ContainsRegex("  big  broken off after [0-9]+ of "),
                                         EndsWith("refused 0, broken off 2\n")));
}

TEST_F(Serve, ReaderOfTheFirstLineMayGoAway) {
  const auto theServer = Start();
  ASSERT_NE(0, theServer->Port());
  theServer->CloseOutput();
  ExpectServing(*theServer);
  ExpectServing(*theServer);
  theServer->Kill(SIGTERM);
  EXPECT_EQ(1, WEXITSTATUS(theServer->Wait()));
  EXPECT_EQ("zvos: cannot write standard output: Broken pipe\n", theServer->Error());
}

// Names

TEST_F(Serve, NamesThatLeadOutOfTheFolderAreRefused) {
  WriteWholeFile(mFolder.File("secret"), "secret");
  mkdir(mFolder.File("served2").c_str(), 0755);
  WriteWholeFile(mFolder.File("served2/secret"), "secret");
  mkdir(Served("inside").c_str(), 0755);
  ASSERT_EQ(0, symlink("../secret", Served("link").c_str()));
  ASSERT_EQ(0, symlink(mFolder.File("secret").c_str(), Served("absolute-link").c_str()));
  ASSERT_EQ(0, symlink("..", Served("folder-link").c_str()));
  ASSERT_EQ(0, symlink("../served2", Served("neighbour-link").c_str()));
  const auto theServer = Start();
  for (const std::string &theName :
       {std::string("../secret"), std::string("inside/../../secret"), std::string(".."),
        mFolder.File("secret"), std::string("/etc/passwd"), Served("small"), std::string("link"),
        std::string("absolute-link"), std::string("folder-link/secret"), std::string("neighbour-link/secret"),
        std::string("folder-link")}) {
    const ChildResult theResult = Get(*theServer, theName);
    EXPECT_EQ(2, theResult.mStatus) << theName;
    EXPECT_EQ("zvos: get: '" + theName + "' on 127.0.0.1:" + std::to_string(theServer->Port()) +
                  ": the name leads out of the folder\n",
              theResult.mError);
    EXPECT_EQ("", theResult.mOutput);
  }
  EXPECT_THAT(NamesIn(mFolder.Path()), ElementsAre("secret", "served", "served2"));
}

TEST_F(Serve, LinkThatStaysInsideIsFollowed) {
  mkdir(Served("inside").c_str(), 0755);
  ASSERT_EQ(0, symlink("../small", Served("inside/link").c_str()));
  const auto theServer = Start();
  EXPECT_EQ(0, Get(*theServer, "inside/link").mStatus);
  EXPECT_EQ("some text\n", ReadWholeFile(mFolder.File("fetched")));
}

TEST_F(Serve, WhatIsNoFileIsRefused) {
  mkdir(Served("folder").c_str(), 0755);
  ASSERT_EQ(0, mkfifo(Served("pipe").c_str(), 0600));
  const auto theServer = Start();
  EXPECT_EQ("missing No such file or directory\n", Answer(*theServer, "get none\n"));
  EXPECT_EQ("missing Not a directory\n", Answer(*theServer, "get small/x\n"));
  EXPECT_EQ("missing is a directory\n", Answer(*theServer, "get folder\n"));
  EXPECT_EQ("missing is a directory\n", Answer(*theServer, "get .\n"));
  EXPECT_EQ("missing is not a regular file\n", Answer(*theServer, "get pipe\n"));
  EXPECT_EQ("missing File name too long\n", Answer(*theServer, "get " + std::string(3000, 'x') + "\n"));
}

TEST_F(Serve, WhatIsNoRequestIsRefused) {
  const auto theServer = Start();
  const std::string theRefusal = "refused the request is not understood\n";
  for (const char *theRequest :
       {"\n", "get\n", "get \n", "nonsense\n", "GET small\n", "getsmall\n", "get a b\n", "get a\tb\n",
        "get \xff\n", "get small\r\n", "get %\n", "get %4\n", "get %zz\n", "get %6d%\n", "get small%00\n"}) {
    EXPECT_EQ(theRefusal, Answer(*theServer, theRequest)) << theRequest;
  }
  EXPECT_EQ("refused the request is too long\n", Answer(*theServer, std::string(8192, 'x')));
  ExpectServing(*theServer);
}

TEST_F(Serve, NameOfAClientCannotControlTheTerminal) {
  const auto theServer = Start();
  EXPECT_EQ("missing No such file or directory\n", Answer(*theServer, "get %1B[31m%0Aserving\n"));
  EXPECT_TRUE(theServer->WaitForOutput("  %1B[31m%0Aserving  refused: No such file or directory\n"));
}

// Clients that misbehave

TEST_F(Serve, ClientThatDiesHarmsNobody) {
  WriteWholeFile(Served("big"), SomeBytes(kBigSize));
  const auto theServer = Start();
  RawClient theSurvivor(theServer->Port());
  EXPECT_EQ(kReady, theSurvivor.Line());
  theSurvivor.Send("get big\n");
  for (int i = 0; i < 5; ++i) {
    RawClient theClient(theServer->Port());
    EXPECT_EQ(kReady, theClient.Line());
    theClient.Send("get big\n");
    EXPECT_EQ(100000u, theClient.Bytes(100000).size());
    theClient.Break();
  }
  EXPECT_EQ("data " + std::to_string(kBigSize) + "\n", theSurvivor.Line());
  EXPECT_EQ(SomeBytes(kBigSize), theSurvivor.Bytes(kBigSize));
  EXPECT_THAT(theSurvivor.Rest(), MatchesRegex("crc32 [0-9a-f]+\n"));
  ExpectServing(*theServer);
  theServer->Kill(SIGTERM);
  EXPECT_EQ(0, theServer->Wait());
  EXPECT_THAT(
      theServer->Output(),
      AllOf(ContainsRegex("  big  broken off after [0-9]+ of "),
            ContainsRegex("\nended by SIGTERM: sent 2 \\([0-9]+ bytes\\), refused 0, broken off 5\n$")));
}

TEST_F(Serve, ClientsThatDoNotReadDelayNobody) {
  WriteWholeFile(Served("big"), SomeBytes(kBigSize));
  const auto theServer = Start();
  std::vector<std::unique_ptr<RawClient>> theStuckOnes;
  for (int i = 0; i < 20; ++i) {
    theStuckOnes.push_back(std::make_unique<RawClient>(theServer->Port()));
    EXPECT_EQ(kReady, theStuckOnes.back()->Line());
    theStuckOnes.back()->Send(i % 2 == 0 ? "get big\n" : "get half a request");
  }
  EXPECT_EQ("data " + std::to_string(kBigSize) + "\n", theStuckOnes[0]->Line());
  ExpectServing(*theServer);
}

TEST_F(Serve, ClientsThatGetNowhereAreGivenUp) {
  WriteWholeFile(Served("big"), SomeBytes(kBigSize));
  const auto theServer = Start({"--idle", "1"});
  RawClient theSilentOne(theServer->Port());
  RawClient theSlowWriter(theServer->Port());
  RawClient theStuckReader(theServer->Port());
  theSlowWriter.Send("ge");
  theStuckReader.Send("get big\n");
  EXPECT_EQ(kReady, theSilentOne.Rest());
  EXPECT_EQ(kReady, theSlowWriter.Rest());
  EXPECT_TRUE(theServer->WaitForOutput("bytes: too slow\n"));
  ExpectServing(*theServer);
  theServer->Kill(SIGTERM);
  EXPECT_EQ(0, theServer->Wait());
  EXPECT_THAT(theServer->Output(), EndsWith(", refused 0, broken off 3\n"));
}

TEST_F(Serve, FileThatBecomesShorterBreaksTheTransferOff) {
  WriteWholeFile(Served("big"), SomeBytes(kBigSize));
  const auto theServer = Start();
  RawClient theClient(theServer->Port());
  EXPECT_EQ(kReady, theClient.Line());
  theClient.Send("get big\n");
  EXPECT_EQ("data " + std::to_string(kBigSize) + "\n", theClient.Line());
  ASSERT_EQ(0, truncate(Served("big").c_str(), 1));
  EXPECT_LT(theClient.Rest().size(), kBigSize);
  EXPECT_TRUE(theServer->WaitForOutput("bytes: the file became shorter\n"));
}

// Many clients

TEST_F(Serve, ManyClientsAtATimeAreAllServed) {
  const std::string theContents = SomeBytes(300001);
  WriteWholeFile(Served("file"), theContents);
  const auto theServer = Start();
  const uint16_t thePort = theServer->Port();
  std::vector<std::unique_ptr<RawClient>> theClients;
  for (int i = 0; i < 200; ++i)
    theClients.push_back(std::make_unique<RawClient>(thePort));
  for (const auto &theClient : theClients)
    theClient->Send("get file\n");
  int theGoodOnes = 0;
  for (const auto &theClient : theClients) {
    theGoodOnes += theClient->Line() == kReady && theClient->Line() == "data 300001\n" &&
                   theClient->Bytes(theContents.size()) == theContents;
  }
  EXPECT_EQ(200, theGoodOnes);
}

TEST_F(Serve, OneClientTooManyIsToldThatTheServerIsBusy) {
  const auto theServer = Start({"--clients", "1"});
  const std::string theAddress = "127.0.0.1:" + std::to_string(theServer->Port());
  {
    RawClient theClient(theServer->Port());
    EXPECT_EQ(kReady, theClient.Line());
    const ChildResult theResult = Get(*theServer, "small");
    EXPECT_EQ(1, theResult.mStatus);
    EXPECT_EQ("zvos: get: " + theAddress + " is busy: too many clients\n", theResult.mError);
    EXPECT_EQ("", theResult.mOutput);
  }
  EXPECT_TRUE(theServer->WaitForOutput("broken off: left without a request\n"));
  // Each is gone for the server when it has ended for its caller.
  for (int i = 0; i < 10; ++i)
    ExpectServing(*theServer);
}

TEST_F(Serve, WithoutDescriptorsClientsAreToldThatTheServerIsBusy) {
  const auto theServer = Start({}, [] {
    const rlimit theLimit = {60, 60};
    setrlimit(RLIMIT_NOFILE, &theLimit);
  });
  {
    const auto theClients = ClientsUntilBusy(theServer->Port(), 60);
    EXPECT_GT(theClients.size(), 20u);
    EXPECT_TRUE(ClientsUntilBusy(theServer->Port(), 1).empty());
    // There is no descriptor for the file either.
    theClients[0]->Send("get small\n");
    EXPECT_EQ("busy too many open files\n", theClients[0]->Rest());
  }
  ASSERT_TRUE(zvtest::WaitUntil([&] {
    RawClient theClient(theServer->Port());
    theClient.Send("get small\n");
    return theClient.Rest() == std::string(kReady) + "data 10\nsome text\ncrc32 192ce6bc\n";
  })) << theServer->Output();
}

TEST_F(Serve, AsManyClientsAsFitIntoAnFdSetAreServedAndTheOthersTurnedAway) {
  rlimit theLimit = {};
  ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &theLimit));
  if (theLimit.rlim_max < 4096) GTEST_SKIP() << "at most " << theLimit.rlim_max << " descriptors may be had";
  const rlim_t theLimitBefore = theLimit.rlim_cur;
  theLimit.rlim_cur = 4096;
  ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &theLimit));
  const auto theServer = Start();
  {
    const auto theClients = ClientsUntilBusy(theServer->Port(), FD_SETSIZE);
    EXPECT_GT(theClients.size(), FD_SETSIZE - 32u);
    for (const auto &theClient : theClients)
      theClient->Send("get small\n");
    size_t theGoodOnes = 0;
    for (const auto &theClient : theClients)
      theGoodOnes += theClient->Line() == "data 10\n" && theClient->Bytes(10) == "some text\n";
    EXPECT_EQ(theClients.size(), theGoodOnes);
  }
  ExpectServing(*theServer);
  theLimit.rlim_cur = theLimitBefore;
  setrlimit(RLIMIT_NOFILE, &theLimit);
}

}  // namespace
