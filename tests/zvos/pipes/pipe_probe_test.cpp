// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "pipe_support.h"

#include <zvOS/zvThread.h>

#include <memory>
#include <thread>

namespace {

using namespace zvtest::pipes;

using ::testing::IsEmpty;
using ::testing::StartsWith;
using namespace zvtest;
namespace net = zvtest::net;

constexpr char kProbeName[] = "/tmp/zvPipeAbstractTest";

// Where the library makes names live, seen from outside. Its first use of one in a new process probes.
Names FormInUse() {
  const TempFolder theFolder;
  const net::Socket theListener(zvPipe_Listener(theFolder.File("player").c_str(), ZVPIPE_DEFAULT));
  EXPECT_GE(theListener, 0);
  return Exists(theFolder.File("player")) ? Names::kFiles : Names::kAbstract;
}

TEST(PipeProbeTest, NamesAreAbstractWhereSuchANameCanBeBound) {
  InOwnProcess([] {
    NativeAddress theAddress = {};
    int theType = -1;
    int theSocket = -1;
    Fault theBind("bind", 0);
    theBind.PassingThrough().Doing([&](const long long *someArguments) {
      theAddress = AddressFrom(someArguments);
      theSocket = static_cast<int>(someArguments[0]);
      theType = TypeOf(theSocket);
    });
    const auto theOpenOnes = OpenDescriptors();
    RecordingLog theLog;
    EXPECT_EQ(-ECONNREFUSED, zvPipe_Connect("zvtest-nobody-listens-here", ZVPIPE_DEFAULT));
    EXPECT_EQ(std::string(1, '\0') + kProbeName, theAddress.mPath);
    EXPECT_EQ(2 + 1 + strlen(kProbeName), theAddress.mLength);
    EXPECT_EQ(SOCK_STREAM, theType);
    EXPECT_EQ(theOpenOnes, OpenDescriptors());
    EXPECT_THAT(theLog.Calls(), IsEmpty());
    EXPECT_EQ(Names::kAbstract, FormInUse());
    EXPECT_FALSE(Exists(kProbeName));
  });
}

TEST(PipeProbeTest, NamesAreAbstractWhereTheProbesNameIsTaken) {
  InOwnProcess([] {
    sockaddr_un theAddress = {};
    theAddress.sun_family = AF_UNIX;
    memcpy(theAddress.sun_path + 1, kProbeName, strlen(kProbeName));
    const net::Socket theHolder(socket(AF_UNIX, SOCK_STREAM, 0));
    const auto theLength = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + strlen(kProbeName));
    // Another test's probe may hold it for a moment.
    EXPECT_TRUE(zvtest::WaitUntil(
        [&] { return bind(theHolder, reinterpret_cast<const sockaddr *>(&theAddress), theLength) == 0; }));
    int theError = 0;
    Fault theBind("bind", 0);
    theBind.PassingThrough().Doing([&](const long long *) { theError = errno; });
    EXPECT_EQ(Names::kAbstract, FormInUse());
    EXPECT_EQ(EADDRINUSE, theError);
  });
}

TEST(PipeProbeTest, NamesAreFilesWhereTheBindFailsOtherwise) {
  for (const int theError : {EINVAL, ENOENT, EACCES, EAFNOSUPPORT, ENOMEM}) {
    SCOPED_TRACE(theError);
    InOwnProcess([&] {
      const auto theOpenOnes = OpenDescriptors();
      Fault theBind("bind", theError);
      EXPECT_EQ(Names::kFiles, FormInUse());
      EXPECT_EQ(1, theBind.Hits());
      EXPECT_EQ(theOpenOnes, OpenDescriptors());
    });
  }
}

TEST(PipeProbeTest, NamesAreFilesWhereTheProbeGetsNoSocket) {
  InOwnProcess([] {
    Fault theSocket("socket", EMFILE);
    EXPECT_EQ(-EBADF, zvPipe_Close(-1, 1));
    EXPECT_EQ(1, theSocket.Hits());
    EXPECT_EQ(Names::kFiles, FormInUse());
  });
}

TEST(PipeProbeTest, TheAnswerIsFoundOnce) {
  for (const Names theForm : {Names::kAbstract, Names::kFiles}) {
    WithNames(theForm, [&] {
      EXPECT_EQ(theForm, FormInUse());
      const int theBinds = CallsOf("bind");
      Fault theBind("bind", theForm == Names::kFiles ? 0 : EINVAL);
      EXPECT_EQ(-EBADF, zvPipe_Close(-1, 1));
      EXPECT_LT(zvPipe_Connect("zvtest-nobody-listens-here", ZVPIPE_DEFAULT), 0);
      EXPECT_EQ(theBinds, CallsOf("bind"));
    });
  }
}

TEST(PipeProbeTest, ThreadsThatProbeAtTheSameTimeFindTheSame) {
  InOwnProcess([] {
    std::vector<std::thread> theThreads;
    for (int i = 0; i < 8; ++i)
      theThreads.emplace_back([] { EXPECT_EQ(Names::kAbstract, FormInUse()); });
    for (std::thread &theThread : theThreads)
      theThread.join();
  });
}

using Text = std::unique_ptr<char, decltype(&free)>;

std::string UniqueName(const char *aPrefix) {
  const Text theName(zvPipe_GenerateUniqueName(aPrefix), &free);
  return theName == nullptr ? "NULL" : theName.get();
}

// The times of day that the library is told, one after the other; the last one stays.
class Times {
 public:
  explicit Times(std::vector<timeval> someTimes)
      : mTimes(std::move(someTimes)), mFault("gettimeofday", 0, 0, -1) {
    mFault.Returning(0).Doing([this](const long long *someArguments) {
      *ArgumentAs<timeval>(someArguments[0]) = mTimes.at(mNext);
      if (mNext + 1 < mTimes.size()) ++mNext;
    });
  }
  int Asked() const { return mFault.Hits(); }

 private:
  std::vector<timeval> mTimes;
  size_t mNext = 0;
  Fault mFault;
};

// Process and thread, as they end a name.
std::string Ending() {
  return Format("%x%x", static_cast<unsigned>(getpid()), zvThread_GetCurrentThreadID());
}

class UniqueNameTest : public ::testing::TestWithParam<Names> {};

TEST_P(UniqueNameTest, ConsistsOfPrefixTimeProcessAndThreadInHexadecimal) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    EXPECT_EQ(0, chdir(theFolder.Path().c_str()));
    RecordingLog theLog;
    const Times theTimes({{0x5A0B0C0D, 0xF}, {0x12345678, 0xABCD}, {0, 0}, {0x7FFFFFFF, 999999}});
    EXPECT_EQ("player-5a0b0c0df" + Ending(), UniqueName("player-"));
    EXPECT_EQ("12345678abcd" + Ending(), UniqueName(nullptr));
    EXPECT_EQ("00" + Ending(), UniqueName(""));
    EXPECT_EQ("%s%n7ffffffff423f" + Ending(), UniqueName("%s%n"));
    EXPECT_EQ(4, theTimes.Asked());
    EXPECT_THAT(theLog.Calls(), IsEmpty());
  });
}

TEST_P(UniqueNameTest, EndsWithTheThreadThatAsks) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    EXPECT_EQ(0, chdir(theFolder.Path().c_str()));
    const std::string theOwnEnding = Ending();
    std::thread([&] {
      const Times theTimes({{1, 2}});
      EXPECT_EQ("name12" + Ending(), UniqueName("name"));
      EXPECT_NE(theOwnEnding, Ending());
    }).join();
  });
}

TEST_P(UniqueNameTest, ANameThatIsTakenIsTriedAgainWithTheNextTimeOnTheSameSocket) {
  for (const int theError : {EADDRINUSE, EACCES}) {
    SCOPED_TRACE(theError);
    WithNames(GetParam(), [&] {
      const TempFolder theFolder;
      EXPECT_EQ(0, chdir(theFolder.Path().c_str()));
      const auto theOpenOnes = OpenDescriptors();
      const int theSockets = CallsOf("socket");
      const int theBinds = CallsOf("bind");
      Fault theBind("bind", theError, 0, 5);
      const Times theTimes({{1, 1}, {1, 2}, {1, 3}, {1, 4}, {1, 5}, {1, 6}, {1, 7}});
      RecordingLog theLog;
      EXPECT_EQ("name16" + Ending(), UniqueName("name"));
      EXPECT_EQ(6, theTimes.Asked());
      EXPECT_EQ(theBinds + 6, CallsOf("bind"));
      EXPECT_EQ(theSockets + 1, CallsOf("socket"));
      EXPECT_EQ(theOpenOnes, OpenDescriptors());
      EXPECT_THAT(theLog.Calls(), IsEmpty());
    });
  }
}

// How often a name is tried where there is no bound: enough to meet any that somebody might think of.
constexpr int kFailures = 100000;

// Expects a name of the time after so many failures.
void ExpectNameAfterFailures(int anError) {
  std::vector<timeval> theEveryMicrosecond;
  for (int i = 0; i < kFailures + 10; ++i)
    theEveryMicrosecond.push_back({1, i});
  const Times theTimes(std::move(theEveryMicrosecond));
  Fault theSuccess("bind", 0);
  theSuccess.Returning(0);
  Fault theFailure("bind", anError, 0, kFailures);
  RecordingLog theLog;
  EXPECT_EQ(Format("name1%x", kFailures) + Ending(), UniqueName("name"));
  EXPECT_EQ(kFailures + 1, theTimes.Asked());
  EXPECT_EQ(kFailures, theFailure.Hits());
  EXPECT_EQ(1, theSuccess.Hits());
  EXPECT_THAT(theLog.Calls(), IsEmpty());
}

TEST_P(UniqueNameTest, IsTriedWithoutABound) {
  WithNames(GetParam(), [] { ExpectNameAfterFailures(EACCES); });
}

TEST_P(UniqueNameTest, IsTriedWithoutABoundAlsoWhereThereIsNoSocket) {
  WithNames(GetParam(), [] {
    Fault theSocket("socket", EMFILE, 0, -1);
    ExpectNameAfterFailures(EBADF);
    EXPECT_EQ(1, theSocket.Hits());
  });
}

TEST_P(UniqueNameTest, WithoutMemoryThereIsNone) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    const auto theOpenOnes = OpenDescriptors();
    RecordingLog theLog;
    Fault theCopy("strdup", ENOMEM);
    EXPECT_EQ(nullptr, zvPipe_GenerateUniqueName(theFolder.File("name").c_str()));
    EXPECT_EQ(1, theCopy.Hits());
    EXPECT_EQ(theOpenOnes, OpenDescriptors());
    EXPECT_THAT(theLog.Calls(), IsEmpty());
  });
}

TEST_P(UniqueNameTest, ANameThatAListenerHoldsIsNotGivenAgain) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    const std::string thePrefix = theFolder.File("name");
    const Times theTimes({{1, 1}, {1, 1}, {1, 1}, {1, 2}});
    const std::string theFirst = UniqueName(thePrefix.c_str());
    const net::Socket theListener(zvPipe_Listener(theFirst.c_str(), ZVPIPE_DEFAULT));
    EXPECT_EQ(thePrefix + "11" + Ending(), theFirst);
    EXPECT_EQ(thePrefix + "12" + Ending(), UniqueName(thePrefix.c_str()));
    EXPECT_EQ(4, theTimes.Asked());
  });
}

TEST_P(UniqueNameTest, AListenerCanHaveTheNameAtOnce) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    const std::string theName = UniqueName(theFolder.File("name").c_str());
    EXPECT_THAT(theName, StartsWith(theFolder.File("name")));
    EXPECT_EQ(GetParam() == Names::kFiles, Exists(theName));
    const int theListener = zvPipe_Listener(theName.c_str(), ZVPIPE_DEFAULT);
    EXPECT_GE(net::Socket(zvPipe_Connect(theName.c_str(), ZVPIPE_DEFAULT)), 0);
    EXPECT_EQ(0, zvPipe_Close(theListener, 1));
    EXPECT_FALSE(Exists(theName));
  });
}

TEST_P(UniqueNameTest, IsCutTo107BytesWithALongPrefix) {
  WithNames(GetParam(), [] {
    const TempFolder theFolder;
    const std::string thePrefix = theFolder.Path() + "/" + std::string(300, 'p');
    EXPECT_EQ(thePrefix.substr(0, 107), UniqueName(thePrefix.c_str()));
    const std::string theShorter = thePrefix.substr(0, 105);
    const Times theTimes({{0x12, 0x34}});
    EXPECT_EQ(theShorter + "12", UniqueName(theShorter.c_str()));
  });
}

INSTANTIATE_TEST_SUITE_P(Forms, UniqueNameTest, ::testing::Values(Names::kAbstract, Names::kFiles),
                         NameOfForm);

TEST(AbstractUniqueNameTest, IsFreeAgainAndMayBeGivenTwiceInAMicrosecond) {
  WithNames(Names::kAbstract, [] {
    const Times theTimes({{1, 1}});
    EXPECT_EQ(UniqueName("zvtest"), UniqueName("zvtest"));
  });
}

TEST(FileUniqueNameTest, IsNotGivenTwiceBecauseItsFileStays) {
  WithNames(Names::kFiles, [] {
    const TempFolder theFolder;
    const std::string thePrefix = theFolder.File("name");
    const Times theTimes({{1, 1}, {1, 1}, {1, 1}, {1, 2}});
    EXPECT_EQ(thePrefix + "11" + Ending(), UniqueName(thePrefix.c_str()));
    EXPECT_EQ(thePrefix + "12" + Ending(), UniqueName(thePrefix.c_str()));
    EXPECT_TRUE(Exists(thePrefix + "11" + Ending()));
    EXPECT_TRUE(Exists(thePrefix + "12" + Ending()));
  });
}

}  // namespace
