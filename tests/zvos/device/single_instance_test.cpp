// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// One instance per name: a record lock that lives as long as its process.

#include "single_instance_support.h"

#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>

namespace {

using namespace zvtest::single_instance;
using ::testing::ElementsAre;
using namespace zvtest;

// Another process, which makes a checker at once and then does as it is told.
class OtherProcess {
 public:
  OtherProcess() {
    int theOrders[2];
    int theAnswers[2];
    if (pipe2(theOrders, O_CLOEXEC) != 0 || pipe2(theAnswers, O_CLOEXEC) != 0) abort();
    mPid = fork();
    if (mPid == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      close(theOrders[1]);
      Obey(theOrders[0], theAnswers[1]);
    }
    close(theOrders[0]);
    close(theAnswers[1]);
    mOrders = theOrders[1];
    mAnswers = theAnswers[0];
    mState = Answer();
  }
  ~OtherProcess() {
    if (mPid > 0) End();
    close(mOrders);
    close(mAnswers);
  }
  OtherProcess(const OtherProcess &) = delete;
  OtherProcess &operator=(const OtherProcess &) = delete;

  int Pid() const { return mPid; }

  // What its checker said first.
  const std::string &State() const { return mState; }

  void DeleteItsChecker() {
    EXPECT_EQ(1, write(mOrders, "d", 1));
    EXPECT_EQ("deleted", Answer());
  }

  // It leaves without a Delete.
  void End() {
    EXPECT_EQ(1, write(mOrders, "e", 1));
    Reap();
  }

  void Kill() {
    kill(mPid, SIGKILL);
    Reap();
  }

 private:
  [[noreturn]] static void Obey(int someOrders, int someAnswers) {
    Checker theChecker;
    Reply(someAnswers, theChecker.State());
    char theOrder;
    while (read(someOrders, &theOrder, 1) == 1 && theOrder == 'd') {
      theChecker.Delete();
      Reply(someAnswers, "deleted");
    }
    _exit(0);
  }

  static void Reply(int someAnswers, const std::string &aText) {
    if (write(someAnswers, aText.c_str(), aText.size() + 1) < 0) _exit(1);
  }

  std::string Answer() const {
    std::string theText;
    char theByte = 'x';
    while (read(mAnswers, &theByte, 1) == 1 && theByte != '\0')
      theText += theByte;
    return theByte == '\0' ? theText : "died";
  }

  void Reap() {
    int theStatus;
    EXPECT_EQ(mPid, waitpid(mPid, &theStatus, 0));
    mPid = -1;
  }

  int mPid = -1;
  int mOrders = -1;
  int mAnswers = -1;
  std::string mState;
};

//
// The name and its holder
//

TEST_F(SingleInstanceTest, TheFirstOneHasTheName) {
  const Checker theChecker;
  EXPECT_EQ("free", theChecker.State());
  EXPECT_THAT(mLog.Messages(), ElementsAre(Owned()));
  EXPECT_TRUE(IsOpen(theChecker.Descriptor()));
}

TEST_F(SingleInstanceTest, ASecondProcessLearnsThatTheNameIsTaken) {
  const OtherProcess theHolder;
  ASSERT_EQ("free", theHolder.State());
  const Checker theChecker;
  EXPECT_EQ("taken", theChecker.State());
  EXPECT_THAT(mLog.Messages(), ElementsAre(Locked()));
}

TEST_F(SingleInstanceTest, ItsDescriptorStaysOpenUntilTheDeleteAlthoughTheNameIsTaken) {
  const OtherProcess theHolder;
  Checker theChecker;
  const int theDescriptor = theChecker.Descriptor();
  EXPECT_TRUE(IsOpen(theDescriptor));
  theChecker.Delete();
  EXPECT_FALSE(IsOpen(theDescriptor));
}

TEST_F(SingleInstanceTest, TheHoldersDeleteGivesTheNameUp) {
  OtherProcess theHolder;
  EXPECT_EQ("taken", Checker().State());
  theHolder.DeleteItsChecker();
  EXPECT_EQ("free", Checker().State());
}

TEST_F(SingleInstanceTest, TheHoldersEndGivesTheNameUp) {
  OtherProcess theHolder;
  EXPECT_EQ("taken", Checker().State());
  theHolder.End();
  EXPECT_EQ("free", Checker().State());
}

TEST_F(SingleInstanceTest, TheHoldersCrashGivesTheNameUp) {
  OtherProcess theHolder;
  EXPECT_EQ("taken", Checker().State());
  theHolder.Kill();
  EXPECT_EQ("free", Checker().State());
  EXPECT_THAT(mLog.Messages(), ElementsAre(Locked(), Owned()));
}

TEST_F(SingleInstanceTest, AnAnswerIsNotTriedAgain) {
  OtherProcess theHolder;
  const Checker theChecker;
  theHolder.End();
  EXPECT_EQ("taken", theChecker.State());
  EXPECT_EQ("free", OtherProcess().State());
}

TEST_F(SingleInstanceTest, DeletingTheCheckerOfATakenNameLeavesItTaken) {
  const OtherProcess theHolder;
  Checker().Delete();
  EXPECT_EQ("taken", Checker().State());
}

TEST_F(SingleInstanceTest, TwoCheckersOfOneProcessBothHaveTheName) {
  const Checker theFirst;
  const Checker theSecond;
  EXPECT_EQ("free", theFirst.State());
  EXPECT_EQ("free", theSecond.State());
  EXPECT_EQ("taken", OtherProcess().State());
}

// The lock is the process's, and goes with the first descriptor of the file that is closed.
TEST_F(SingleInstanceTest, OfTwoCheckersOfOneProcessTheFirstDeleteGivesTheNameUp) {
  Checker theFirst;
  const Checker theSecond;
  theFirst.Delete();
  EXPECT_EQ("free", OtherProcess().State());
  EXPECT_EQ("free", theSecond.State());
}

TEST_F(SingleInstanceTest, DifferentNamesDoNotMeet) {
  const OtherProcess theHolder;
  EXPECT_EQ("free", Checker("another").State());
}

TEST_F(SingleInstanceTest, OfManyProcessesAtOnceOneHasTheName) {
  constexpr int kProcesses = 8;
  int theStart[2];
  int theAnswers[2];
  int theEnd[2];
  ASSERT_EQ(0, pipe(theStart));
  ASSERT_EQ(0, pipe(theAnswers));
  ASSERT_EQ(0, pipe(theEnd));
  for (int i = 0; i < kProcesses; ++i) {
    if (fork() != 0) continue;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    close(theStart[1]);
    close(theEnd[1]);
    char theByte;
    if (read(theStart[0], &theByte, 1) != 0) _exit(1);
    const Checker theChecker;
    const std::string theState = theChecker.State();
    if (write(theAnswers[1], theState == "free" ? "f" : theState == "taken" ? "t" : "?", 1) != 1) _exit(1);
    _exit(read(theEnd[0], &theByte, 1) == 0 ? 0 : 1);  // nobody leaves before all have answered
  }
  close(theStart[1]);
  close(theAnswers[1]);
  std::string theStates;
  char theByte;
  while (theStates.size() < kProcesses && read(theAnswers[0], &theByte, 1) == 1)
    theStates += theByte;
  std::sort(theStates.begin(), theStates.end());
  EXPECT_EQ("f" + std::string(kProcesses - 1, 't'), theStates);
  close(theEnd[1]);
  for (int i = 0; i < kProcesses; ++i)
    wait(nullptr);
  for (const int theDescriptor : {theStart[0], theAnswers[0], theEnd[0]})
    close(theDescriptor);
}

//
// The lock and its file
//

// The lock that keeps another process from locking this part of the file: "free", or holder, start and
// length.
std::string LockOn(const std::string &aFile, off_t aStart, off_t aLength) {
  const auto theResult = zvtest::RunInChild([&] {
    const int theFile = open(aFile.c_str(), O_WRONLY | O_CLOEXEC);
    struct flock theLock = {};
    theLock.l_type = F_WRLCK;
    theLock.l_whence = SEEK_SET;
    theLock.l_start = aStart;
    theLock.l_len = aLength;
    if (fcntl(theFile, F_GETLK, &theLock) != 0) return 1;
    if (theLock.l_type == F_UNLCK) {
      printf("free");
    } else {
      printf("%s of %d from %lld, %lld bytes", theLock.l_type == F_WRLCK ? "write lock" : "read lock",
             static_cast<int>(theLock.l_pid), static_cast<long long>(theLock.l_start),
             static_cast<long long>(theLock.l_len));
    }
    return 0;
  });
  EXPECT_EQ(0, theResult.mStatus);
  return theResult.mOutput;
}

TEST_F(SingleInstanceTest, ExactlyTheFirstByteIsLocked) {
  constexpr off_t kToTheEnd = 0;
  Checker theChecker;
  const std::string theLock = Format("write lock of %d from 0, 1 bytes", getpid());
  EXPECT_EQ(theLock, LockOn(LockFile(), 0, 1));
  EXPECT_EQ(theLock, LockOn(LockFile(), 0, kToTheEnd));
  EXPECT_EQ("free", LockOn(LockFile(), 1, kToTheEnd));
  theChecker.Delete();
  EXPECT_EQ("free", LockOn(LockFile(), 0, kToTheEnd));
}

TEST_F(SingleInstanceTest, TheLockIsTriedForAndNotWaitedFor) {
  Arguments theArguments;
  struct flock theLock = {};
  Fault theFault("fcntl", 0);
  theFault.PassingThrough().Doing([&](const long long *anArguments) {
    theArguments.assign(anArguments, anArguments + 2);
    theLock = *ArgumentAs<struct flock>(anArguments[2]);
  });
  const Checker theChecker;
  EXPECT_THAT(theArguments, ElementsAre(theChecker.Descriptor(), F_SETLK));
  EXPECT_EQ(F_WRLCK, theLock.l_type);
  EXPECT_EQ(SEEK_SET, theLock.l_whence);
  EXPECT_EQ(0, theLock.l_start);
  EXPECT_EQ(1, theLock.l_len);
}

TEST_F(SingleInstanceTest, TheFileIsOpenedForWritingAndMadeWhenMissing) {
  std::string thePath;
  Arguments theArguments;
  Fault theFault("open", 0);
  theFault.PassingThrough().Doing([&](const long long *anArguments) {
    thePath = ArgumentAs<const char>(anArguments[0]);
    theArguments.assign(anArguments + 1, anArguments + 3);
  });
  const Checker theChecker;
  EXPECT_EQ(LockFile(), thePath);
  ASSERT_EQ(2u, theArguments.size());
  EXPECT_EQ(O_WRONLY | O_CREAT | O_CLOEXEC, theArguments[0] & ~O_LARGEFILE);
  EXPECT_EQ(0666, theArguments[1]);
}

TEST_F(SingleInstanceTest, TheNewFileIsEmptyAndOpenToAllThatTheMaskAllows) {
  for (const mode_t theMask : {mode_t{0}, mode_t{022}, mode_t{077}}) {
    const mode_t theFormerMask = umask(theMask);
    Checker().Delete();
    umask(theFormerMask);
    struct stat theStatus = {};
    ASSERT_EQ(0, stat(LockFile().c_str(), &theStatus));
    EXPECT_EQ(S_IFREG | (0666u & ~theMask), theStatus.st_mode);
    EXPECT_EQ(0, theStatus.st_size);
    unlink(LockFile().c_str());
  }
}

TEST_F(SingleInstanceTest, TheFileStaysWithItsContents) {
  zvtest::WriteWholeFile(LockFile(), "not ours");
  Checker theChecker;
  EXPECT_EQ("free", theChecker.State());
  EXPECT_EQ("not ours", zvtest::ReadWholeFile(LockFile()));
  theChecker.Delete();
  EXPECT_EQ("not ours", zvtest::ReadWholeFile(LockFile()));
}

TEST_F(SingleInstanceTest, AFileThatItMadeStaysToo) {
  Checker().Delete();
  EXPECT_TRUE(LockFileExists());
}

TEST_F(SingleInstanceTest, ANameMayHaveFoldersInIt) {
  mkdir(mFolder.File("x").c_str(), 0700);
  EXPECT_EQ("free", Checker("x/y").State());
  EXPECT_TRUE(Exists(mFolder.File("x/y")));
  EXPECT_EQ("free", Checker("x/../z").State());
  EXPECT_TRUE(Exists(mFolder.File("z")));
}

TEST_F(SingleInstanceTest, ANameIsUsedAsGiven) {
  for (const char *theName : {"with blank", "percent %s %n", ".hidden", "back\\slash"}) {
    EXPECT_EQ("free", Checker(theName).State());
    EXPECT_TRUE(Exists(mFolder.File(theName))) << theName;
  }
}

}  // namespace
