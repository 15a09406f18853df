// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The first look at where the program lives, by several threads at once, and while the process is forked.

#include "paths_support.h"
#include "support/Threads.h"

#include <zvOS/zvFile.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::SizeIs;
using namespace zvtest;

constexpr int kThreads = 8;

// What aCall gives each of the threads, which begin together.
std::vector<std::string> AnswersInThreads(const std::function<std::string()> &aCall) {
  std::vector<std::string> theAnswers(kThreads);
  zvtest::InThreads(kThreads, [&](int aThread) { theAnswers[static_cast<size_t>(aThread)] = aCall(); });
  return theAnswers;
}

auto CannotRead(int anError) {
  return zvtest::Error(57, Format("Cannot get application file name (error = %d)\n", anError));
}

TEST(PathThreads, AllThatNeedTheProgramFirstAtTheSameTimeGetItsPath) {
  if (!IsAlone()) return;
  const std::string theProgram = OwnProgram();
  // A child of a process that has not looked yet looks for itself.
  for (int i = 0; i < 60; ++i) {
    const auto theChild = RunInChild([&] {
      const auto theAnswers = AnswersInThreads([] { return Take(zvPath_GetApplicationFullPath()); });
      for (const std::string &theAnswer : theAnswers) {
        if (theAnswer != theProgram) return 1;
      }
      return 0;
    });
    ASSERT_FALSE(theChild.mfSignaled) << theChild.mError;
    ASSERT_EQ(0, theChild.mStatus) << "in process " << i << ": " << theChild.mError;
  }
}

TEST(PathThreads, AllThatOpenAFileBesideTheProgramFirstFindIt) {
  if (!IsAlone()) return;
  const std::string theName = std::filesystem::path(OwnProgram()).filename();
  for (int i = 0; i < 20; ++i) {
    const auto theChild = RunInChild([&] {
      const auto theAnswers = AnswersInThreads([&] {
        zvFileFD theFile = kzvFileFDInvalid;
        const int theResult = zvFile_Open(theName.c_str(), zvFileOpenMode_Read, 0, &theFile);
        if (theResult == 0) zvFile_Close(theFile);
        return std::to_string(theResult);
      });
      for (const std::string &theAnswer : theAnswers) {
        if (theAnswer != "0") return 1;
      }
      return 0;
    });
    ASSERT_EQ(0, theChild.mStatus) << "in process " << i << ": " << theChild.mError;
  }
}

TEST(PathThreads, TheLinkIsReadOnceForAllOfThem) {
  if (!IsAlone()) return;
  Fault theLink("readlink", 0, 0, -1);
  theLink.PassingThrough().AnyThread();
  EXPECT_THAT(AnswersInThreads([] { return Take(zvPath_GetApplicationFullPath()); }), Each(OwnProgram()));
  EXPECT_EQ(1, theLink.Hits());
}

TEST(PathThreads, AReadingThatFailedFailedForAllOfThemAndIsToldOnce) {
  if (!IsAlone()) return;
  RecordingLog theLog;
  Fault theLink("readlink", EACCES);
  theLink.AnyThread();
  EXPECT_THAT(AnswersInThreads([] { return Take(zvPath_GetApplicationFullPath()); }), Each(""));
  EXPECT_EQ("", Take(zvPath_GetApplicationFullPath()));
  EXPECT_THAT(theLog.Messages(), ElementsAre(CannotRead(EACCES)));
}

TEST(PathThreads, AChildForkedDuringTheFirstLookLooksForItself) {
  if (!IsAlone()) return;
  const std::string theProgram = OwnProgram();
  std::atomic<bool> theReading{false};
  std::atomic<bool> theForked{false};
  Fault theLink("readlink", 0);
  theLink.Returning(static_cast<long long>(theProgram.size()))
      .Doing([&](const long long *anArguments) {
        theReading = true;
        while (!theForked)
          std::this_thread::yield();
        memcpy(zvtest::ArgumentAs<void>(anArguments[1]), theProgram.data(), theProgram.size());
      })
      .AnyThread();
  std::thread theReader([&] { EXPECT_EQ(theProgram, Take(zvPath_GetApplicationFullPath())); });
  while (!theReading)
    std::this_thread::yield();
  const auto theChild = RunInChild(
      [&] {
        if (Take(zvPath_GetApplicationFullPath()) != theProgram) return 1;
        return Take(zvPath_GetApplicationFullPath()) == theProgram ? 0 : 2;
      },
      10);
  theForked = true;
  theReader.join();
  EXPECT_FALSE(theChild.mfTimedOut) << "the child waits for a thread that it does not have";
  EXPECT_EQ(0, theChild.mStatus) << theChild.mError;
}

// A log that keeps its file beside the program.
TEST(PathThreads, TheLogMayAskForTheProgramWhenItIsToldOfTheFailure) {
  if (!IsAlone()) return;
  RecordingLog theLog;
  std::vector<std::string> theAnswers;
  theLog.OnMessage(
      [](const zvtest::Message &, void *someAnswers) {
        static_cast<std::vector<std::string> *>(someAnswers)
            ->push_back(Take(zvPath_GetApplicationFullPath()));
      },
      &theAnswers);
  Fault theLink("readlink", EACCES);
  EXPECT_EQ("", Take(zvPath_GetApplicationFullPath()));
  EXPECT_THAT(theAnswers, ElementsAre(""));
  EXPECT_THAT(theLog.Messages(), SizeIs(1));
}

}  // namespace
