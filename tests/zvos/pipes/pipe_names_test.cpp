// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "pipe_support.h"

#include <sys/stat.h>

namespace {

using namespace zvtest::pipes;

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;
namespace net = zvtest::net;

constexpr size_t kLongestName = 107;

int Listener(const std::string &aName, int someFlags = ZVPIPE_DEFAULT) {
  return zvPipe_Listener(aName.c_str(), someFlags);
}

int Connect(const std::string &aName, int someFlags = ZVPIPE_DEFAULT) {
  return zvPipe_Connect(aName.c_str(), someFlags);
}

bool IsSocketFile(const std::string &aPath) {
  struct stat theStatus;
  return lstat(aPath.c_str(), &theStatus) == 0 && S_ISSOCK(theStatus.st_mode);
}

std::string NameOfLength(const TempFolder &aFolder, size_t aLength) {
  std::string theName = aFolder.Path() + "/";
  EXPECT_LT(theName.size(), kLongestName) << "the temporary folder has too long a name";
  theName.resize(aLength, 'n');
  return theName;
}

// The messages of a listener that could not be made: they name no call.
auto NoListener(int anError) {
  return Failed("zvPipe_Listener", "", anError);
}

class PipeNameTest : public ::testing::TestWithParam<Names> {};

TEST_P(PipeNameTest, ProcessesMeetUnderAName) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    const std::string theName = theFolder.File("player");
    RecordingLog theLog;
    const int theListener = Listener(theName);
    ASSERT_GE(theListener, 0);
    EXPECT_EQ(GetParam() == Names::kFiles, IsSocketFile(theName));
    const Peer theClient([&] {
      theLog.Clear();
      const int thePipe = Connect(theName);
      EXPECT_THAT(theLog.Messages(),
                  ElementsAre(Info(kModule, Format("zvPipe_Connect: Connected to '%s' (%d)\n",
                                                   theName.c_str(), thePipe))));
      EXPECT_EQ(8, Write(thePipe, "question"));
      EXPECT_EQ("answer", Read(thePipe, 6));
      EXPECT_EQ(0, zvPipe_Close(thePipe, 1));
    });
    const int thePipe = zvPipe_Accept(theListener, ZVPIPE_DEFAULT);
    EXPECT_EQ("question", Read(thePipe, 8));
    EXPECT_EQ(6, Write(thePipe, "answer"));
    EXPECT_EQ("", Read(thePipe, 1));
    EXPECT_EQ(0, zvPipe_Close(thePipe, 1));
    EXPECT_EQ(0, zvPipe_Close(theListener, 1));
    EXPECT_THAT(theLog.Messages(),
                ElementsAre(Info(kModule, Format("zvPipe_Listener: Created (%d)\n", theListener)),
                            Info(kModule, Format("zvPipe_Accept: Accepted (%d)\n", thePipe)), EndOfStream(),
                            Info(kModule, Format("zvPipe_Close: Closed (%d)\n", thePipe)),
                            Info(kModule, Format("zvPipe_Close: Closed (%d)\n", theListener))));
    EXPECT_FALSE(Exists(theName));
  });
}

TEST_P(PipeNameTest, ANameIsCutTo107Bytes) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    for (const size_t theLength : {size_t{40}, size_t{106}, size_t{107}, size_t{108}, size_t{300}}) {
      SCOPED_TRACE(theLength);
      const std::string theName = NameOfLength(theFolder, theLength);
      const std::string theCutName = theName.substr(0, kLongestName);
      const bool afFiles = GetParam() == Names::kFiles;

      NativeAddress theBound = {};
      Fault theBind("bind", 0);
      theBind.PassingThrough().Doing(
          [&](const long long *someArguments) { theBound = AddressFrom(someArguments); });
      const int theListener = Listener(theName);
      EXPECT_GE(theListener, 0);
      if (afFiles) {
        EXPECT_EQ(110u, theBound.mLength);
        EXPECT_EQ(theCutName + std::string(108 - theCutName.size(), '\0'), theBound.mPath);
        EXPECT_TRUE(IsSocketFile(theCutName));
      } else {
        EXPECT_EQ(2 + 1 + theCutName.size(), theBound.mLength);
        EXPECT_EQ('\0' + theCutName, theBound.mPath);
        EXPECT_FALSE(Exists(theCutName));
      }

      NativeAddress theSought = {};
      Fault theConnect("connect", 0);
      theConnect.PassingThrough().Doing(
          [&](const long long *someArguments) { theSought = AddressFrom(someArguments); });
      RecordingLog theLog;
      const net::Socket theClient(Connect(theName));
      EXPECT_EQ(theBound.mPath, theSought.mPath);
      EXPECT_EQ(theBound.mLength, theSought.mLength);
      // The message has the name as it came.
      EXPECT_THAT(theLog.Messages(),
                  ElementsAre(Info(kModule, Format("zvPipe_Connect: Connected to '%s' (%d)\n",
                                                   theName.c_str(), static_cast<int>(theClient)))));

      EXPECT_EQ(0, zvPipe_Close(theListener, 1));
      EXPECT_FALSE(Exists(theCutName));
    }
  });
}

// The system takes both for names without a file: addresses whose path begins with NUL.
TEST_P(PipeNameTest, TheEmptyNameIsANameToo) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    EXPECT_EQ(0, chdir(theFolder.Path().c_str()));
    NativeAddress theBound = {};
    Fault theBind("bind", 0, 0, -1);
    theBind.PassingThrough().Doing(
        [&](const long long *someArguments) { theBound = AddressFrom(someArguments); });
    int theListener = -1;
    // A test of another build may hold it for a moment.
    EXPECT_TRUE(zvtest::WaitUntil([&] { return (theListener = Listener("")) != -EADDRINUSE; }));
    const size_t theLength = GetParam() == Names::kFiles ? 108 : 1;
    EXPECT_EQ(2 + theLength, theBound.mLength);
    EXPECT_EQ(std::string(theLength, '\0'), theBound.mPath);

    const net::Socket theClient(Connect(""));
    const net::Socket theServer(zvPipe_Accept(theListener, ZVPIPE_DEFAULT));
    EXPECT_EQ(5, Write(theClient, "hello"));
    EXPECT_EQ("hello", Read(theServer, 5));
    EXPECT_TRUE(std::filesystem::is_empty(theFolder.Path()));
    EXPECT_EQ(0, zvPipe_Close(theListener, 1));
  });
}

TEST_P(PipeNameTest, NamesThatDifferWithin107BytesAreDifferent) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    const std::string theName = NameOfLength(theFolder, kLongestName);
    const net::Socket theListener(Listener(theName));
    RecordingLog theLog;
    EXPECT_GE(net::Socket(Connect(theName + "more")), 0);
    theLog.Clear();
    const int theError = GetParam() == Names::kFiles ? ENOENT : ECONNREFUSED;
    EXPECT_EQ(-theError, Connect(theName.substr(0, kLongestName - 1)));
    EXPECT_EQ(-theError, Connect(theName.substr(0, kLongestName - 1) + "m"));
    EXPECT_THAT(theLog.Calls(), IsEmpty());
  });
}

TEST_P(PipeNameTest, AConnectionThatIsRefusedIsNotLoggedAndLeavesNothingOpen) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    const auto theOpenOnes = OpenDescriptors();
    RecordingLog theLog;
    EXPECT_EQ(GetParam() == Names::kFiles ? -ENOENT : -ECONNREFUSED, Connect(theFolder.File("nobody")));
    EXPECT_THAT(theLog.Calls(), IsEmpty());
    EXPECT_EQ(theOpenOnes, OpenDescriptors());
  });
}

TEST_P(PipeNameTest, AClientOfAMessageListenerIsRefused) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    const std::string theName = theFolder.File("player");
    const net::Socket theListener(Listener(theName, ZVPIPE_MSG));
    EXPECT_EQ(SOCK_SEQPACKET, TypeOf(theListener));
    RecordingLog theLog;
    for (const int theFlags : {ZVPIPE_DEFAULT, ZVPIPE_MSG}) {
      // The kernel looks abstract names up among those of the same type.
      EXPECT_THAT(Connect(theName, theFlags), AnyOf(-EPROTOTYPE, -ECONNREFUSED));
    }
    EXPECT_THAT(theLog.Calls(), IsEmpty());
  });
}

TEST_P(PipeNameTest, AClientIsAStreamWhateverItsFlags) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    const net::Socket theListener(Listener(theFolder.File("player")));
    const net::Socket theClient(Connect(theFolder.File("player"), ZVPIPE_MSG));
    EXPECT_EQ(SOCK_STREAM, TypeOf(theClient));
  });
}

TEST_P(PipeNameTest, AMessageListenerKeepsTheMessagesOfNativeClientsWhole) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    const net::Socket theListener(Listener(theFolder.File("player"), ZVPIPE_MSG));
    sockaddr_un theAddress = {};
    socklen_t theLength = sizeof(theAddress);
    EXPECT_EQ(0, getsockname(theListener, reinterpret_cast<sockaddr *>(&theAddress), &theLength));
    const net::Socket theClient(socket(AF_UNIX, SOCK_SEQPACKET, 0));
    EXPECT_EQ(0, connect(theClient, reinterpret_cast<sockaddr *>(&theAddress), theLength));
    const net::Socket thePipe(zvPipe_Accept(theListener, ZVPIPE_DEFAULT));
    EXPECT_EQ(3, Write(theClient, "one"));
    EXPECT_EQ(3, Write(theClient, "two"));
    EXPECT_EQ("one", Read(thePipe, 100));
    EXPECT_EQ("two", Read(thePipe, 100));
  });
}

struct EndCase {
  int mFlags;
  bool mfReads;
  bool mfWrites;
};

// What the flags let an end do, with the other end open in both directions.
void ExpectDirections(const EndCase &aCase, int anEnd, int anOther) {
  EXPECT_EQ(aCase.mfWrites ? 1 : -EPIPE, Write(anEnd, "x"));
  EXPECT_EQ(aCase.mfWrites ? "x" : "", Read(anOther, 1));
  EXPECT_EQ(aCase.mfReads ? 1 : -EPIPE, Write(anOther, "y"));
  EXPECT_EQ(aCase.mfReads ? "y" : "", Read(anEnd, 1));
}

TEST_P(PipeNameTest, BothEndsKeepToTheirFlags) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    const std::string theName = theFolder.File("player");
    const net::Socket theListener(Listener(theName));
    const EndCase theCases[] = {
        {ZVPIPE_DEFAULT, true, true},     {ZVPIPE_RDWR, true, true},
        {ZVPIPE_RD, true, false},         {ZVPIPE_WR, false, true},
        {ZVPIPE_NONBLOCKING, true, true}, {ZVPIPE_NONBLOCKING | ZVPIPE_RD, true, false}};
    for (const EndCase &theCase : theCases) {
      SCOPED_TRACE(theCase.mFlags);
      const bool afNonBlocking = (theCase.mFlags & ZVPIPE_NONBLOCKING) != 0;
      {
        const net::Socket theClient(Connect(theName, theCase.mFlags));
        const net::Socket theServer(zvPipe_Accept(theListener, ZVPIPE_DEFAULT));
        ExpectDirections(theCase, theClient, theServer);
        EXPECT_EQ(afNonBlocking, IsNonBlocking(theClient));
        EXPECT_FALSE(IsNonBlocking(theServer));
      }
      const net::Socket theClient(Connect(theName, ZVPIPE_DEFAULT));
      const net::Socket theServer(zvPipe_Accept(theListener, theCase.mFlags));
      ExpectDirections(theCase, theServer, theClient);
      EXPECT_EQ(afNonBlocking, IsNonBlocking(theServer));
      EXPECT_FALSE(IsNonBlocking(theClient));
    }
  });
}

TEST_P(PipeNameTest, TheDirectionOfAListenerIsThatOfTheListenerItself) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    {
      // Nothing can be written on a listener anyway.
      const net::Socket theListener(Listener(theFolder.File("reader"), ZVPIPE_RD));
      const net::Socket theClient(Connect(theFolder.File("reader")));
      const net::Socket theServer(zvPipe_Accept(theListener, ZVPIPE_DEFAULT));
      ExpectDirections({ZVPIPE_DEFAULT, true, true}, theServer, theClient);
    }
    // Connections are read from a listener.
    const net::Socket theListener(Listener(theFolder.File("writer"), ZVPIPE_WR));
    EXPECT_GE(theListener, 0);
    EXPECT_EQ(-ECONNREFUSED, Connect(theFolder.File("writer")));
    RecordingLog theLog;
    EXPECT_EQ(-EINVAL, zvPipe_Accept(theListener, ZVPIPE_DEFAULT));
    EXPECT_THAT(theLog.Messages(), ElementsAre(Failed("zvPipe_Accept", "accept", EINVAL)));
  });
}

TEST_P(PipeNameTest, ANonBlockingListenerDoesNotWaitForClients) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    const net::Socket theListener(Listener(theFolder.File("player"), ZVPIPE_NONBLOCKING));
    EXPECT_TRUE(IsNonBlocking(theListener));
    RecordingLog theLog;
    EXPECT_EQ(-EWOULDBLOCK, zvPipe_Accept(theListener, ZVPIPE_DEFAULT));
    EXPECT_THAT(theLog.Messages(), ElementsAre(WouldBlock("zvPipe_Accept", "accept")));
    const net::Socket theClient(Connect(theFolder.File("player")));
    const net::Socket theServer(zvPipe_Accept(theListener, ZVPIPE_DEFAULT));
    EXPECT_FALSE(IsNonBlocking(theServer));
  });
}

TEST_P(PipeNameTest, OneClientWaitsBesideTheOneThatIsNext) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    Arguments theListen;
    Fault theListenFault("listen", 0);
    theListenFault.PassingThrough().Doing(CopyInto(&theListen, 2));
    const net::Socket theListener(Listener(theFolder.File("player")));
    EXPECT_THAT(theListen, ElementsAre(int{theListener}, 1));
    sockaddr_un theAddress = {};
    socklen_t theLength = sizeof(theAddress);
    EXPECT_EQ(0, getsockname(theListener, reinterpret_cast<sockaddr *>(&theAddress), &theLength));
    const net::Socket theClients[] = {net::Socket(Connect(theFolder.File("player"))),
                                      net::Socket(Connect(theFolder.File("player"))),
                                      net::Socket(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0))};
    EXPECT_EQ(-1, connect(theClients[2], reinterpret_cast<sockaddr *>(&theAddress), theLength));
    EXPECT_EQ(EAGAIN, errno);
  });
}

TEST_P(PipeNameTest, ACloseOfTheListenerFreesTheName) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    const std::string theName = theFolder.File("player");
    const int theListener = Listener(theName);
    EXPECT_EQ(0, zvPipe_Close(theListener, 0));
    EXPECT_FALSE(Exists(theName));
    EXPECT_LT(Connect(theName), 0);
    EXPECT_EQ(0, zvPipe_Close(Listener(theName), 1));
  });
}

TEST_P(PipeNameTest, AKilledListenerLeavesNothingInTheWayOfTheNext) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    const std::string theName = theFolder.File("player");
    const Pair theSync(ZVPIPE_DEFAULT);
    Peer theOld([&] {
      EXPECT_GE(Listener(theName), 0);
      EXPECT_EQ(4, Write(theSync[1], "made"));
      for (;;)
        pause();
    });
    EXPECT_EQ("made", Read(theSync[0], 4));
    theOld.Kill();
    EXPECT_EQ(GetParam() == Names::kFiles, IsSocketFile(theName));
    EXPECT_EQ(-ECONNREFUSED, Connect(theName));
    const net::Socket theListener(Listener(theName));
    EXPECT_GE(theListener, 0);
    EXPECT_GE(net::Socket(Connect(theName)), 0);
  });
}

INSTANTIATE_TEST_SUITE_P(Forms, PipeNameTest, ::testing::Values(Names::kAbstract, Names::kFiles), NameOfForm);

TEST(AbstractPipeNameTest, ANameInUseIsRefusedAndTheLineNamesNoCall) {
  WithNames(Names::kAbstract, [] {
    const TempFolder theFolder;
    const net::Socket theListener(Listener(theFolder.File("player")));
    const auto theOpenOnes = OpenDescriptors();
    RecordingLog theLog;
    theLog.SpoilErrno(EDOM);
    EXPECT_EQ(-EADDRINUSE, Listener(theFolder.File("player")));
    EXPECT_THAT(theLog.Messages(), ElementsAre(NoListener(EADDRINUSE)));
    EXPECT_EQ(theOpenOnes, OpenDescriptors());
  });
}

TEST(AbstractPipeNameTest, AnyFileOfTheNameIsLeftAlone) {
  WithNames(Names::kAbstract, [] {
    const TempFolder theFolder;
    zvtest::WriteWholeFile(theFolder.File("player"), "text");
    EXPECT_EQ(0, zvPipe_Close(Listener(theFolder.File("player")), 1));
    EXPECT_EQ("text", zvtest::ReadWholeFile(theFolder.File("player")));
  });
}

TEST(FilePipeNameTest, AFileThatIsNoSocketIsRefusedAndLeftAlone) {
  WithNames(Names::kFiles, [] {
    const TempFolder theFolder;
    zvtest::WriteWholeFile(theFolder.File("regular"), "text");
    EXPECT_EQ(0, mkdir(theFolder.File("folder").c_str(), 0700));
    EXPECT_EQ(0, mkfifo(theFolder.File("fifo").c_str(), 0600));
    for (const char *theName : {"regular", "folder", "fifo"}) {
      SCOPED_TRACE(theName);
      const auto theOpenOnes = OpenDescriptors();
      RecordingLog theLog;
      theLog.SpoilErrno(EDOM);
      EXPECT_EQ(-EADDRINUSE, Listener(theFolder.File(theName)));
      EXPECT_THAT(theLog.Messages(), ElementsAre(NoListener(EADDRINUSE)));
      EXPECT_TRUE(Exists(theFolder.File(theName)));
      EXPECT_EQ(theOpenOnes, OpenDescriptors());
    }
    EXPECT_EQ("text", zvtest::ReadWholeFile(theFolder.File("regular")));
  });
}

TEST(FilePipeNameTest, AFolderThatIsNotThereIsRefused) {
  WithNames(Names::kFiles, [] {
    const TempFolder theFolder;
    RecordingLog theLog;
    EXPECT_EQ(-ENOENT, Listener(theFolder.File("missing/player")));
    EXPECT_THAT(theLog.Messages(), ElementsAre(NoListener(ENOENT)));
  });
}

TEST(FilePipeNameTest, ALaterListenerTakesTheNameOfALiveOne) {
  WithNames(Names::kFiles, [] {
    const TempFolder theFolder;
    const std::string theName = theFolder.File("player");
    const net::Socket theFirst(Listener(theName, ZVPIPE_NONBLOCKING));
    const net::Socket theSecond(Listener(theName, ZVPIPE_NONBLOCKING));
    const net::Socket theClient(Connect(theName));
    EXPECT_EQ(-EWOULDBLOCK, zvPipe_Accept(theFirst, ZVPIPE_DEFAULT));
    EXPECT_GE(net::Socket(zvPipe_Accept(theSecond, ZVPIPE_DEFAULT)), 0);
  });
}

TEST(FilePipeNameTest, TheCloseOfAnAcceptedPipeRemovesTheFileAndThatOfAClientDoesNot) {
  WithNames(Names::kFiles, [] {
    const TempFolder theFolder;
    const std::string theName = theFolder.File("player");
    const net::Socket theListener(Listener(theName));
    const int theClient = Connect(theName);
    const int theServer = zvPipe_Accept(theListener, ZVPIPE_DEFAULT);
    EXPECT_EQ(0, zvPipe_Close(theClient, 1));
    EXPECT_TRUE(IsSocketFile(theName));
    EXPECT_EQ(0, zvPipe_Close(theServer, 1));
    EXPECT_FALSE(Exists(theName));
  });
}

TEST(FilePipeNameTest, AFileWhoseNameCannotBeAskedForStays) {
  WithNames(Names::kFiles, [] {
    const TempFolder theFolder;
    const int theListener = Listener(theFolder.File("player"));
    long long theLength = -1;
    Fault theFault("getsockname", ENOBUFS);
    theFault.Doing(
        [&](const long long *someArguments) { theLength = *ArgumentAs<const socklen_t>(someArguments[2]); });
    RecordingLog theLog;
    EXPECT_EQ(0, zvPipe_Close(theListener, 1));
    EXPECT_EQ(110, theLength);
    EXPECT_THAT(theLog.Messages(),
                ElementsAre(Info(kModule, Format("zvPipe_Close: Closed (%d)\n", theListener))));
    EXPECT_TRUE(IsSocketFile(theFolder.File("player")));
  });
}

}  // namespace
