// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The life of a select object: what it is made of, and what is left when it cannot be made.

#include "socket_select_checks.h"

#include <sys/resource.h>

namespace {

using namespace zvtest::selects;

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;
using zvtest::net::Socket;

TEST_F(SocketSelect, TheReadEndIsNonBlockingAndTheWriteEndIsBlocking) {
  const std::set<int> theBefore = OpenDescriptors();
  zvSocketSelect *const theSelect = zvSocketSelect_New();
  ASSERT_NE(nullptr, theSelect);
  std::set<int> theEnds = zvtest::DescriptorsBesides(theBefore);
  ASSERT_EQ(2u, theEnds.size());

  Set theReadSet;
  const int theReader = zvSocketSelect_Prepare(theSelect, &theReadSet);
  ASSERT_EQ(1u, theEnds.erase(theReader));
  const int theWriter = *theEnds.begin();
  EXPECT_EQ(O_RDONLY | O_NONBLOCK, fcntl(theReader, F_GETFL) & (O_ACCMODE | O_NONBLOCK));
  EXPECT_EQ(O_WRONLY, fcntl(theWriter, F_GETFL) & (O_ACCMODE | O_NONBLOCK));
  zvSocketSelect_Delete(theSelect);
  EXPECT_EQ(theBefore, OpenDescriptors());
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketSelect, DeleteReleasesTheRecordByFree) {
  void *const theRecord = calloc(1, 512);
  memset(theRecord, 0xA5, 512);
  zvtest::ReleaseWatch theWatch;
  theWatch.Watch(theRecord);
  Fault theMalloc("zvMalloc", 0);
  theMalloc.Returning(AsArgument(theRecord));
  zvSocketSelect *const theSelect = zvSocketSelect_New();
  ASSERT_EQ(theRecord, theSelect);
  EXPECT_EQ(0, theWatch.ReleasesOf(theRecord));
  zvSocketSelect_Delete(theSelect);
  EXPECT_EQ(1, theWatch.ReleasesOf(theRecord));
}

TEST_F(SocketSelect, DeleteOfNullDoesNothing) {
  const std::set<int> theDescriptors = OpenDescriptors();
  zvSocketSelect_Delete(nullptr);
  EXPECT_EQ(theDescriptors, OpenDescriptors());
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketSelect, APendingTriggerDoesNotKeepTheObject) {
  const std::set<int> theBefore = OpenDescriptors();
  zvSocketSelect *const theSelect = zvSocketSelect_New();
  zvSocketSelect_Trigger(theSelect);
  zvSocketSelect_Delete(theSelect);
  EXPECT_EQ(theBefore, OpenDescriptors());
}

TEST_F(SocketSelect, WithoutMemoryThereIsNoObject) {
  const std::set<int> theDescriptors = OpenDescriptors();
  Fault theFault("zvMalloc", ENOMEM);
  EXPECT_EQ(nullptr, zvSocketSelect_New());
  EXPECT_EQ(theDescriptors, OpenDescriptors());
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SocketSelect, WithoutAMutexThereIsNoObjectAndTheRecordIsNotReleased) {
  const std::set<int> theDescriptors = OpenDescriptors();
  void *const theRecord = malloc(512);
  {
    zvtest::ReleaseWatch theWatch;
    theWatch.Watch(theRecord);
    Fault theMalloc("zvMalloc", 0);
    theMalloc.Returning(AsArgument(theRecord));
    Fault theFault("pthread_mutex_init", EAGAIN);
    EXPECT_EQ(nullptr, zvSocketSelect_New());
    EXPECT_EQ(0, theWatch.ReleasesOf(theRecord));
  }
  free(theRecord);
  EXPECT_EQ(theDescriptors, OpenDescriptors());
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(7, Format("zvOSMutex: pthread_mutex_init failed (error = %d)\n", EAGAIN)),
                          Error(kModuleOfSelects, "zvSocketSelect_New: Failed to create a semaphore\n")));
}

// Lowers the limit of open descriptors to those that are open.
class NoMoreDescriptors {
 public:
  NoMoreDescriptors() {
    getrlimit(RLIMIT_NOFILE, &mFormer);
    rlimit theLimit = mFormer;
    theLimit.rlim_cur = 0;
    setrlimit(RLIMIT_NOFILE, &theLimit);
  }
  ~NoMoreDescriptors() { setrlimit(RLIMIT_NOFILE, &mFormer); }
  NoMoreDescriptors(const NoMoreDescriptors &) = delete;
  NoMoreDescriptors &operator=(const NoMoreDescriptors &) = delete;

 private:
  rlimit mFormer;
};

TEST_F(SocketSelect, WithoutAPipeThereIsNoObject) {
  const std::set<int> theDescriptors = OpenDescriptors();
  {
    const NoMoreDescriptors theLimit;
    EXPECT_EQ(nullptr, zvSocketSelect_New());
  }
  EXPECT_EQ(theDescriptors, OpenDescriptors());
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(Error(kModuleOfSelects, "zvSocketSelect_New: error creating pipe = -1 (FD0=0 / FD1=0)\n")));
}

// The message of a pipe that was made and cannot be used.
auto Unusable(int aReader, int aWriter) {
  return Error(kModuleOfSelects,
               Format("zvSocketSelect_New: error creating pipe = 0 (FD0=%d / FD1=%d)\n", aReader, aWriter));
}

TEST_F(SocketSelect, APipeThatCannotBePreparedLeavesNothingBehind) {
  const struct {
    const char *mCall;
    int mSkipped;
  } kSteps[] = {{"fcntl", 0}, {"fcntl", 1}, {"fdopen", 0}, {"fdopen", 1}};
  const std::set<int> theDescriptors = OpenDescriptors();
  for (const auto &theStep : kSteps) {
    SCOPED_TRACE(Format("%s %d", theStep.mCall, theStep.mSkipped));
    mLog.Clear();
    int thePipe[2] = {-1, -1};
    Fault theObserver("pipe2", 0);
    theObserver.PassingThrough().Doing([&](const long long *anArguments) {
      memcpy(thePipe, ArgumentAs<int>(anArguments[0]), sizeof(thePipe));
    });
    Fault theFault(theStep.mCall, ENOMEM, theStep.mSkipped);
    EXPECT_EQ(nullptr, zvSocketSelect_New());
    EXPECT_EQ(1, theFault.Hits());
    EXPECT_EQ(theDescriptors, OpenDescriptors());
    EXPECT_THAT(mLog.Messages(), ElementsAre(Unusable(thePipe[0], thePipe[1])));
  }
}

// Takes all descriptors below aLimit.
class Occupied {
 public:
  explicit Occupied(int aLimit) {
    int theDescriptor;
    while ((theDescriptor = open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0 && theDescriptor < aLimit)
      mDescriptors.emplace_back(theDescriptor);
    EXPECT_EQ(aLimit, theDescriptor) << "limit of open descriptors is too low";
    close(theDescriptor);
  }

 private:
  std::vector<Socket> mDescriptors;
};

TEST_F(SocketSelect, APipeThatDoesNotFitIntoASetIsRefused) {
  const Occupied theOccupied(FD_SETSIZE);
  const std::set<int> theDescriptors = OpenDescriptors();
  EXPECT_EQ(nullptr, zvSocketSelect_New());
  EXPECT_EQ(theDescriptors, OpenDescriptors());
  EXPECT_THAT(mLog.Messages(), ElementsAre(Unusable(1024, 1025)));
}

TEST_F(SocketSelect, TheLastDescriptorOfASetIsGoodForTheReadEnd) {
  const Occupied theOccupied(FD_SETSIZE - 1);
  zvSocketSelect *const theSelect = zvSocketSelect_New();
  ASSERT_NE(nullptr, theSelect);
  zvSocketSelect_Trigger(theSelect);
  EXPECT_EQ(1, zvSocketSelect_Select(theSelect, nullptr, nullptr, nullptr, kNoSockets, &mLong, &mfTriggered));
  EXPECT_EQ(1, mfTriggered);
  zvSocketSelect_Delete(theSelect);
}

}  // namespace
