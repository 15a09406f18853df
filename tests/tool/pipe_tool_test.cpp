// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The command pipe: two programs, or the program and a socket of the test's own.

#include "ToolSupport.h"
#include "support/Support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

namespace {

using namespace zvtest;

class Pipe : public ::testing::Test {
 protected:
  Pipe() : mName("zvos-test" + mFolder.Path()) {}

  // The program with a file as its standard input, and the name behind its arguments.
  std::unique_ptr<RunningZvos> Start(std::vector<std::string> someArguments,
                                     const std::string &anInput = "/dev/null") const {
    someArguments.push_back(mName);
    return StartWith(someArguments, anInput);
  }

  std::unique_ptr<RunningZvos> StartWith(const std::vector<std::string> &anArguments,
                                         const std::string &anInput = "/dev/null") const {
    std::vector<std::string> theArguments = {"pipe"};
    theArguments.insert(theArguments.end(), anArguments.begin(), anArguments.end());
    return std::make_unique<RunningZvos>(theArguments, "/", [anInput] {
      const int theInput = open(anInput.c_str(), O_RDWR);
      dup2(theInput, STDIN_FILENO);
      close(theInput);
    });
  }

  std::string FileWith(const std::string &aName, const std::string &aText) const {
    WriteWholeFile(mFolder.File(aName), aText);
    return mFolder.File(aName);
  }

  sockaddr_un Address(socklen_t &aLength) const {
    sockaddr_un theAddress = {};
    theAddress.sun_family = AF_UNIX;
    memcpy(theAddress.sun_path + 1, mName.data(), mName.size());
    aLength = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + mName.size());
    return theAddress;
  }

  // A listening socket of the test's own under the name.
  int Listen() const {
    socklen_t theLength = 0;
    const sockaddr_un theAddress = Address(theLength);
    const int theSocket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(0, bind(theSocket, reinterpret_cast<const sockaddr *>(&theAddress), theLength));
    EXPECT_EQ(0, listen(theSocket, 1));
    return theSocket;
  }

  // Waits until the program listens, and connects to it.
  int Connect() const {
    socklen_t theLength = 0;
    const sockaddr_un theAddress = Address(theLength);
    const int theSocket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_TRUE(zvtest::WaitUntil(
        [&] { return connect(theSocket, reinterpret_cast<const sockaddr *>(&theAddress), theLength) == 0; }));
    return theSocket;
  }

  // Until the program listens.
  void WaitForListener() const {
    // A failing connection attempt is not seen by the listener, a made one would be its peer.
    EXPECT_TRUE(zvtest::WaitUntil([this] {
      return zvtest::ReadWholeFile("/proc/net/unix").find("@" + mName + "\n") != std::string::npos;
    }));
  }

  const TempFolder mFolder;
  const std::string mName;
};

TEST_F(Pipe, TextGoesBothWays) {
  const auto theListener = Start({"listen"}, FileWith("a", "from the listener\n"));
  WaitForListener();
  const auto theClient = Start({"connect"}, FileWith("b", "from the client\n"));
  EXPECT_EQ(0, theClient->Wait());
  EXPECT_EQ(0, theListener->Wait());
  EXPECT_EQ("from the client\n", theListener->Output());
  EXPECT_EQ("from the listener\n", theClient->Output());
  EXPECT_EQ("zvos: pipe: waiting for a peer under '" + mName + "'\n", theListener->Error());
  EXPECT_EQ("", theClient->Error());
}

TEST_F(Pipe, AnyBytesOfAnyLengthArrive) {
  const std::string theBytes = SomeBytes(1000000);
  const auto theListener = Start({"listen"}, FileWith("a", std::string("\0starts like a descriptor", 25)));
  WaitForListener();
  const auto theClient = Start({"connect"}, FileWith("b", theBytes));
  EXPECT_EQ(0, theListener->Wait());
  EXPECT_EQ(0, theClient->Wait());
  EXPECT_TRUE(theBytes == theListener->Output());
  EXPECT_EQ(std::string("\0starts like a descriptor", 25), theClient->Output());
}

TEST_F(Pipe, OneDirectionGoesOnWhenTheOtherHasEnded) {
  const auto theListener = Start({"listen"});
  RawClient thePeer(Connect());
  EXPECT_EQ("", thePeer.Rest());  // nothing to say there, and the end of it
  thePeer.Send("still heard\n");
  EXPECT_TRUE(theListener->WaitForOutput("still heard\n"));
  shutdown(thePeer.Descriptor(), SHUT_WR);
  EXPECT_EQ(0, theListener->Wait());
}

TEST_F(Pipe, InputGoesOnWhenThePeerHasNothingMoreToSay) {
  int theInput[2];
  ASSERT_EQ(0, pipe2(theInput, O_CLOEXEC));
  const std::string thePath = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(theInput[0]);
  // Opened for reading and writing by the program, so its input does not end by itself.
  const auto theListener = Start({"listen"}, thePath);
  RawClient thePeer(Connect());
  shutdown(thePeer.Descriptor(), SHUT_WR);
  ASSERT_EQ(6, write(theInput[1], "later\n", 6));
  EXPECT_EQ("later\n", thePeer.Line());
  // It ends when the peer is gone, though its input does not.
  shutdown(thePeer.Descriptor(), SHUT_RDWR);
  thePeer.Break();
  EXPECT_EQ(0, theListener->Wait());
  close(theInput[0]);
  close(theInput[1]);
}

TEST_F(Pipe, PeerThatDoesNotTakeEverythingIsReported) {
  const int theListener = Listen();
  const auto theClient = Start({"connect"}, FileWith("b", SomeBytes(5000000)));
  close(accept(theListener, nullptr, nullptr));
  close(theListener);
  const int theStatus = theClient->Wait();
  EXPECT_EQ(1, WEXITSTATUS(theStatus));
  EXPECT_EQ("zvos: pipe: the peer has gone without taking everything\n", theClient->Error());
}

TEST_F(Pipe, DescriptorIsPassedAndItsContentsAreShownAtTheOtherEnd) {
  const std::string theContents = SomeBytes(200000);
  const std::string theFile = FileWith("passed", theContents);
  for (const bool afListenerPasses : {true, false}) {
    const std::vector<std::string> thePass = {"--pass", theFile};
    std::vector<std::string> theListen = {"listen"};
    std::vector<std::string> theConnect = {"connect"};
    std::vector<std::string> &thePasser = afListenerPasses ? theListen : theConnect;
    thePasser.insert(thePasser.begin(), thePass.begin(), thePass.end());
    const auto theListener = Start(theListen);
    WaitForListener();
    // The file need not have its name any more.
    const auto theClient = Start(theConnect);
    EXPECT_EQ(0, theListener->Wait());
    EXPECT_EQ(0, theClient->Wait());
    const RunningZvos &thePassing = afListenerPasses ? *theListener : *theClient;
    const RunningZvos &theReceiving = afListenerPasses ? *theClient : *theListener;
    EXPECT_TRUE(theContents == theReceiving.Output());
    EXPECT_EQ("passed a descriptor of " + theFile + "\n", thePassing.Output());
  }
}

TEST_F(Pipe, OptionMayFollowTheName) {
  const std::string theFile = FileWith("passed", "contents\n");
  for (const bool afListenerPasses : {true, false}) {
    std::vector<std::string> theListen = {"listen", mName};
    std::vector<std::string> theConnect = {"connect", mName};
    std::vector<std::string> &thePasser = afListenerPasses ? theListen : theConnect;
    thePasser.insert(thePasser.end(), {"--pass", theFile});
    const auto theListener = StartWith(theListen);
    WaitForListener();
    const auto theClient = StartWith(theConnect);
    EXPECT_EQ(0, theListener->Wait());
    EXPECT_EQ(0, theClient->Wait());
    const std::string thePassed = "passed a descriptor of " + theFile + "\n";
    EXPECT_EQ(afListenerPasses ? thePassed : "contents\n", theListener->Output());
    EXPECT_EQ(afListenerPasses ? "contents\n" : thePassed, theClient->Output());
  }
}

TEST_F(Pipe, NamedPipeIsNotWaitedFor) {
  const std::string theFifo = mFolder.File("fifo");
  ASSERT_EQ(0, mkfifo(theFifo.c_str(), 0600));
  for (const char *theEnd : {"listen", "connect"}) {
    ExpectRefusal(Zvos({"pipe", theEnd, mName, "--pass", theFifo}),
                  "zvos: cannot read '" + theFifo + "': it is a named pipe\n");
  }
}

TEST_F(Pipe, DeviceIsNotPassed) {
  ExpectRefusal(Zvos({"pipe", "connect", mName, "--pass", "/dev/zero"}),
                "zvos: cannot read '/dev/zero': it is not a regular file\n");
}

TEST_F(Pipe, FileThatIsGoneByThenIsPassedAllTheSame) {
  const std::string theFile = FileWith("passed", "kept open\n");
  const auto theListener = Start({"--pass", theFile, "listen"});
  WaitForListener();
  ASSERT_EQ(0, unlink(theFile.c_str()));
  const auto theClient = Start({"connect"});
  EXPECT_EQ(0, theClient->Wait());
  EXPECT_EQ("kept open\n", theClient->Output());
  EXPECT_EQ(0, theListener->Wait());
}

TEST_F(Pipe, MissingListenerIsOneLine) {
  ExpectRefusal(Zvos({"pipe", "connect", mName}), "zvos: pipe: nobody listens under '" + mName + "'\n");
}

TEST_F(Pipe, NameInUseIsOneLine) {
  const int theListener = Listen();
  ExpectRefusal(Zvos({"pipe", "listen", mName}),
                "zvos: pipe: cannot listen under '" + mName + "': another process does\n");
  close(theListener);
}

TEST_F(Pipe, WrongUsageIsOneLine) {
  const std::string theUsage = "zvos: pipe: listen or connect, and one NAME, see 'zvos help pipe'\n";
  ExpectRefusal(Zvos({"pipe"}), theUsage);
  ExpectRefusal(Zvos({"pipe", "listen"}), theUsage);
  ExpectRefusal(Zvos({"pipe", "talk", "name"}), theUsage);
  ExpectRefusal(Zvos({"pipe", "listen", ""}), "zvos: pipe: a NAME has 1 to 107 bytes\n");
  ExpectRefusal(Zvos({"pipe", "connect", std::string(108, 'x')}), "zvos: pipe: a NAME has 1 to 107 bytes\n");
  ExpectRefusal(Zvos({"pipe", "listen", "--pass", "/nonexistent", mName}),
                "zvos: cannot read '/nonexistent': No such file or directory\n");
  ExpectRefusal(Zvos({"pipe", "connect", "--pass", "/tmp", mName}),
                "zvos: cannot read '/tmp': it is a directory\n");
}

}  // namespace
