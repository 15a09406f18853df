// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What programs that the process starts have of its descriptors: the ends of pairs, and what they are
// given deliberately. Whatever else the library has open stays with the process.

#include <zvOS/zvDirTraverser.h>
#include <zvOS/zvFile.h>
#include <zvOS/zvMACAddress.h>
#include <zvOS/zvPipe.h>
#include <zvOS/zvPlatform.h>
#include <zvOS/zvProcess.h>
#include <zvOS/zvSingleInstanceChecker.h>
#include <zvOS/zvSocket.h>
#include <zvOS/zvSocketSelect.h>

#include "zvos/sockets/socket_support.h"
#include "support/Network.h"
#include "support/Support.h"

#include <fcntl.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <list>
#include <map>
#include <set>
#include <sstream>

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::SizeIs;
using ::testing::Truly;
using namespace zvtest;
using zvtest::net::Generic;
using zvtest::net::kAddressLength;

constexpr int32 kLoopback = INADDR_LOOPBACK;

std::string OwnName(const char *aPurpose) {
  return Format("zvtest-%s-%d", aPurpose, static_cast<int>(getpid()));
}

// Those of the descriptors that other programs get.
std::set<int> Inheritable(const std::set<int> &someDescriptors) {
  std::set<int> theResult;
  for (const int theDescriptor : someDescriptors) {
    if ((fcntl(theDescriptor, F_GETFD) & FD_CLOEXEC) == 0) theResult.insert(theDescriptor);
  }
  return theResult;
}

std::set<int> Numbers(const std::string &aText) {
  std::istringstream theText(aText);
  return {std::istream_iterator<int>(theText), std::istream_iterator<int>()};
}

// A shell prints the descriptors that it has. What it opens to find out is gone by then.
constexpr char kShowDescriptors[] = "for f in /proc/$$/fd/*; do [ -h $f ] && echo ${f##*/}; done";

std::string ReadAll(zvProcessFD aProcess) {
  std::string theText;
  char theBuffer[256];
  int theCount = 0;
  const bool afEnded = WaitUntil([&] {
    while ((theCount = zvProcess_Read(aProcess, theBuffer, sizeof(theBuffer))) > 0)
      theText.append(theBuffer, static_cast<size_t>(theCount));
    return theCount == kzvProcessStatus_EOS;
  });
  EXPECT_TRUE(afEnded) << "the command does not end: " << theText;
  return theText;
}

std::string OutputOf(const char *aCommand) {
  zvProcessFD theProcess = nullptr;
  if (zvProcess_Open(aCommand, zvProcessOpenMode_Read, &theProcess) != 0) return "(not started)";
  const std::string theText = ReadAll(theProcess);
  zvProcess_Close(theProcess);
  free(theProcess);
  return theText;
}

// Has a shell run a script in the background; its output is in the file when that is there.
void Launch(const std::string &aScript, const std::string &anOutput) {
  const std::string theNew = anOutput + ".new";
  const std::string theParameter =
      "-c '" + aScript + "; mv " + theNew + " " + anOutput + "; exec sleep 60' > " + theNew;
  EXPECT_EQ(0, zvPlatform_Launch("/bin/sh", theParameter.c_str()));
}

// A program in the background, from construction to destruction.
class Helper {
 public:
  // What the script prints is there when the constructor is done.
  explicit Helper(const std::string &aScript = ":") {
    Launch("echo $$; " + aScript, Output());
    EXPECT_TRUE(WaitUntil([&] { return Exists(Output()); }));
    std::istringstream theText(zvtest::ReadWholeFile(Output()));
    theText >> mPid;
    EXPECT_GT(mPid, 1);
    mPrinted.assign(std::istreambuf_iterator<char>(theText), {});
  }
  ~Helper() {
    if (mPid > 1) kill(mPid, SIGKILL);
  }
  Helper(const Helper &) = delete;
  Helper &operator=(const Helper &) = delete;

  const std::string &Printed() const { return mPrinted; }
  bool IsAlive() const { return kill(mPid, 0) == 0; }
  // It lives on.
  int Release() { return std::exchange(mPid, -1); }

 private:
  std::string Output() const { return mFolder.File("output"); }

  TempFolder mFolder;
  int mPid = -1;
  std::string mPrinted;
};

sockaddr_in NameOf(int aSocket) {
  sockaddr_in theName = {};
  socklen_t theLength = sizeof(theName);
  EXPECT_EQ(0, getsockname(aSocket, Generic(&theName), &theLength));
  return theName;
}

// One of everything that the library opens and keeps open, for a process of its own: sockets and pipes end
// with that.
struct Everything {
  explicit Everything(const TempFolder &aFolder) {
    OpenSockets();
    OpenPipes();
    zvtest::WriteWholeFile(aFolder.File("file"), "text");
    zvFileFD theFile = kzvFileFDInvalid;
    EXPECT_EQ(0, zvFile_Open(aFolder.File("file").c_str(), zvFileOpenMode_Read, 0, &theFile));
    mSelect = zvSocketSelect_New();
    EXPECT_NE(nullptr, mSelect);
    setenv("TMPDIR", aFolder.Path().c_str(), 1);
    mChecker = zvSingleInstanceChecker_New("name");
    EXPECT_EQ(0, zvSingleInstanceChecker_Exists(mChecker));
    int theError = 0;
    mTraverser = zvDirTraverser_New(aFolder.Path().c_str());
    EXPECT_NE(nullptr, zvDirTraverser_GetFirst(mTraverser, "*", zvDIR_FILES, &theError));
    EXPECT_EQ(0, zvProcess_Open("exec cat /dev/null", zvProcessOpenMode_Read, &mReading));
    EXPECT_EQ(0, zvProcess_Open("exec cat", zvProcessOpenMode_Write, &mWriting));
  }

  ~Everything() {
    zvProcess_Close(mWriting);
    zvProcess_Close(mReading);
    free(mWriting);
    free(mReading);
    zvDirTraverser_Delete(mTraverser);
    zvSingleInstanceChecker_Delete(mChecker);
    zvSocketSelect_Delete(mSelect);
  }
  Everything(const Everything &) = delete;
  Everything &operator=(const Everything &) = delete;

  void OpenSockets() {
    for (const bool afDebug : {false, true}) {
      const zvSocket theListener = zvSocket_GetTCPSocket(kLoopback, nullptr);
      EXPECT_EQ(0, zvSocketListen(theListener, 1, "listener"));
      sockaddr_in theAddress = NameOf(theListener);
      const zvSocket theClient = afDebug ? zvSocketOpen(AF_INET, SOCK_STREAM, 0, "client")
                                         : zvSocketOpen_NoDebug(AF_INET, SOCK_STREAM, 0);
      EXPECT_EQ(0, zvSocketConnect(theClient, Generic(&theAddress), kAddressLength, "client"));
      mAccepted = afDebug ? zvSocketAccept(theListener, nullptr, nullptr, "server")
                          : zvSocketAccept_NoDebug(theListener, nullptr, nullptr);
      EXPECT_GE(mAccepted, 0);
    }
    EXPECT_GE(zvSocket_GetUDPSocket(0, nullptr), 0);
  }

  void OpenPipes() {
    const int theListener = zvPipe_Listener(OwnName("listener").c_str(), ZVPIPE_DEFAULT);
    EXPECT_GE(theListener, 0);
    const int thePipe = zvPipe_Connect(OwnName("listener").c_str(), ZVPIPE_NONBLOCKING);
    EXPECT_GE(thePipe, 0);
    const int theServer = zvPipe_Accept(theListener, ZVPIPE_DEFAULT);
    EXPECT_GE(theServer, 0);
    EXPECT_EQ(0, zvPipe_Pair(mPair, ZVPIPE_DEFAULT));
    EXPECT_EQ(0, zvPipe_SendFD(theServer, open("/dev/null", O_RDONLY)));
    EXPECT_GE(zvPipe_RecvFD(thePipe), 0);
  }

  int mAccepted = -1;
  int mPair[2] = {-1, -1};
  zvSocketSelect *mSelect = nullptr;
  zvOSSingleInstanceChecker *mChecker = nullptr;
  zvDirTraverser *mTraverser = nullptr;
  zvProcessFD mReading = nullptr;
  zvProcessFD mWriting = nullptr;
};

// Sockets: listener, client and server, twice; one for datagrams. Pipes: listener, client, server, the two
// of a pair, a received descriptor. A file, the two of a select object, a lock file, a folder, two commands.
constexpr size_t kCountOfEverything = 7 + 6 + 7;

TEST(Descriptors, StayWithTheProcessExceptForTheEndsOfPairs) {
  InOwnProcess([] {
    const TempFolder theFolder;
    const std::set<int> theOthers = OpenDescriptors();
    const Everything theEverything(theFolder);
    std::set<int> theOwn;
    for (const int theDescriptor : OpenDescriptors()) {
      if (theOthers.count(theDescriptor) == 0) theOwn.insert(theDescriptor);
    }
    EXPECT_THAT(theOwn, SizeIs(kCountOfEverything));
    EXPECT_EQ(std::set<int>(theEverything.mPair, theEverything.mPair + 2), Inheritable(theOwn));
  });
}

TEST(Descriptors, ArriveInNoCommandAndNoProgramInTheBackground) {
  InOwnProcess([] {
    const TempFolder theFolder;
    std::set<int> theExpected = Inheritable(OpenDescriptors());
    const Everything theEverything(theFolder);
    theExpected.insert(theEverything.mPair, theEverything.mPair + 2);
    EXPECT_EQ(theExpected, Numbers(OutputOf(kShowDescriptors)));
    EXPECT_EQ(theExpected, Numbers(Helper(kShowDescriptors).Printed()));
  });
}

TEST(Descriptors, ArriveWhereTheyAreHandedOnDeliberately) {
  InOwnProcess([] {
    const TempFolder theFolder;
    std::set<int> theExpected = Inheritable(OpenDescriptors());
    const Everything theEverything(theFolder);
    theExpected.insert(theEverything.mPair, theEverything.mPair + 2);
    theExpected.insert(theEverything.mAccepted);
    EXPECT_EQ(0, fcntl(theEverything.mAccepted, F_SETFD, 0));
    EXPECT_EQ(theExpected, Numbers(OutputOf(kShowDescriptors)));
    EXPECT_EQ(theExpected, Numbers(Helper(kShowDescriptors).Printed()));
  });
}

// A fork of another thread comes between no two calls: what makes the descriptor keeps it from programs.
TEST(Descriptors, ThatAreOpenForTheTimeOfACallAreMadeSo) {
  InOwnProcess([] {
    std::vector<long long> theTypes;
    Fault theSockets("socket", 0, 0, -1);
    theSockets.PassingThrough().Doing(
        [&](const long long *anArguments) { theTypes.push_back(anArguments[1]); });
    uint8 theHardwareAddress[6];
    zvMACAddress_Get(0, theHardwareAddress);
    free(zvPipe_GenerateUniqueName("zvtest-"));  // finds out where names live, and tries one
    EXPECT_THAT(theTypes, SizeIs(3));
    EXPECT_THAT(theTypes, Each(Truly([](long long aType) { return (aType & SOCK_CLOEXEC) != 0; })));

    std::string theMode;
    Fault theTable("fopen", ENOENT);
    theTable.Doing([&](const long long *anArguments) { theMode = ArgumentAs<const char>(anArguments[1]); });
    sockaddr_in theAddress = zvtest::net::Loopback();
    size_t theLength = sizeof(theHardwareAddress);
    EXPECT_EQ(-1, zvSocket_QueryARP(Generic(&theAddress), theHardwareAddress, &theLength));
    EXPECT_EQ("re", theMode);
  });
}

// The flag by which a call keeps the descriptor that it makes from programs.
struct MakingCall {
  const char *mName;
  size_t mArgument;
  long long mFlag;
};

TEST(Descriptors, AreKeptFromProgramsByTheCallsThatMakeThem) {
  InOwnProcess([] {
    const TempFolder theFolder;
    std::map<std::string, std::vector<bool>> theFlags;
    std::vector<std::string> theModes;
    std::list<Fault> theCalls;
    for (const MakingCall theCall : {MakingCall{"socket", 1, SOCK_CLOEXEC},
                                     {"accept4", 3, SOCK_CLOEXEC},
                                     {"recvmsg", 2, MSG_CMSG_CLOEXEC},
                                     {"pipe2", 1, O_CLOEXEC},
                                     {"open", 1, O_CLOEXEC}}) {
      theCalls.emplace_back(theCall.mName, 0, 0, -1)
          .PassingThrough()
          .Doing([&theFlags, theCall](const long long *anArguments) {
            theFlags[theCall.mName].push_back((anArguments[theCall.mArgument] & theCall.mFlag) != 0);
          });
    }
    theCalls.emplace_back("popen", 0, 0, -1).PassingThrough().Doing([&](const long long *anArguments) {
      theModes.emplace_back(ArgumentAs<const char>(anArguments[1]));
    });
    const Everything theEverything(theFolder);
    EXPECT_THAT(theModes, ElementsAre("re", "we"));
    EXPECT_THAT(theFlags, SizeIs(5)) << "a call was not made";
    for (const auto &theFlagsOfCall : theFlags)
      EXPECT_THAT(theFlagsOfCall.second, Each(true)) << theFlagsOfCall.first;
  });
}

TEST(Descriptors, OfALinkQueryAreMadeSo) {
  zvtest::OnOwnHost([] {
    const zvtest::Neighbour theNeighbour;
    std::vector<long long> theTypes;
    Fault theSockets("socket", 0, 0, -1);
    theSockets.PassingThrough().Doing(
        [&](const long long *anArguments) { theTypes.push_back(anArguments[1]); });
    EXPECT_EQ(1, zvSocket_IsLinkProtected(static_cast<int32>(Address(zvtest::Neighbour::kHere))));
    EXPECT_THAT(theTypes, SizeIs(2));
    EXPECT_THAT(theTypes, Each(Truly([](long long aType) { return (aType & SOCK_CLOEXEC) != 0; })));
  });
}

// A listening program. Returns 0 when it listens.
int Listen(uint16 aPort, const std::string &aName) {
  uint16 thePort = aPort;
  const zvSocket theListener = zvSocket_GetTCPSocket(kLoopback, &thePort);
  if (theListener == kzvSocketInvalid || zvSocketListen(theListener, 1, "listener") != 0) return 1;
  return zvPipe_Listener(aName.c_str(), ZVPIPE_DEFAULT) >= 0 ? 0 : 2;
}

TEST(Descriptors, OfAListeningProgramThatDiedAreNotHeldByItsHelper) {
  const TempFolder theFolder;
  uint16 thePort = ntohs(NameOf(zvtest::net::Socket(zvSocket_GetTCPSocket(kLoopback, nullptr))).sin_port);
  const std::string theName = OwnName("restart");
  const auto theFirst = zvtest::RunInChild([&] {
    if (Listen(thePort, theName) != 0) return 1;
    Helper theHelper;
    zvtest::WriteWholeFile(theFolder.File("pid"), std::to_string(theHelper.Release()));
    return 0;
  });
  ASSERT_EQ(0, theFirst.mStatus) << theFirst.mError;
  const int theHelper = std::stoi(zvtest::ReadWholeFile(theFolder.File("pid")));
  const auto theSecond = zvtest::RunInChild([&] { return Listen(thePort, theName); });
  EXPECT_EQ(0, theSecond.mStatus) << "1: the port is taken; 2: the name is";
  EXPECT_EQ(0, kill(theHelper, SIGKILL)) << "the helper was gone";
}

TEST(Descriptors, OfACommandAreNotHeldByAProgramInTheBackground) {
  InOwnProcess(
      [] {
        const TempFolder theFolder;
        zvProcessFD theProcess = nullptr;
        ASSERT_EQ(0, zvProcess_Open(("exec cat > " + theFolder.File("copy")).c_str(), zvProcessOpenMode_Write,
                                    &theProcess));
        const Helper theHelper;
        EXPECT_EQ(4, zvProcess_Write(theProcess, "text", 4));
        // Waits for the command, which waits for the end of its input.
        EXPECT_EQ(0, zvProcess_Close(theProcess));
        free(theProcess);
        EXPECT_TRUE(theHelper.IsAlive());
        EXPECT_EQ("text", zvtest::ReadWholeFile(theFolder.File("copy")));
      },
      10);
}

// A disposition to ignore a signal is inherited by programs.
TEST(Descriptors, OfPipesLeaveProgramsWithBrokenPipesIgnored) {
  InOwnProcess([] {
    const auto fIgnored = [](const std::string &aText) {
      const size_t theMask = aText.find("SigIgn:");
      if (theMask == std::string::npos) return -1;
      return (strtoull(aText.c_str() + theMask + strlen("SigIgn:"), nullptr, 16) >> (SIGPIPE - 1) & 1) != 0
                 ? 1
                 : 0;
    };
    constexpr char kStatus[] = "cat /proc/self/status";
    EXPECT_EQ(0, fIgnored(OutputOf(kStatus)));
    int thePair[2];
    ASSERT_EQ(0, zvPipe_Pair(thePair, ZVPIPE_DEFAULT));
    EXPECT_EQ(1, fIgnored(OutputOf(kStatus)));
    EXPECT_EQ(1, fIgnored(Helper(kStatus).Printed()));
    close(thePair[0]);
    close(thePair[1]);
  });
}

}  // namespace
