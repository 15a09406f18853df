// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The level of the log, which anybody may change at any time: what reads it are the callers' own builds,
// in C and C++, and the library. A wrong reading shows under ThreadSanitizer.

#include <zvOS/zvSocket.h>

#include "support/RecordingLog.h"

#include <atomic>
#include <thread>

extern "C" int zvtest_LogFromC(int aNumber);

ZVLOG_WITH_MODULE_IF(FILE, 1)

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using zvtest::RecordingLog;

constexpr int kChanges = 2000;

// Logs in each way until the level has changed often enough.
void LogWhile(const std::atomic<int> &aChanges, const std::function<void()> &aMessage) {
  while (aChanges < kChanges)
    aMessage();
}

TEST(LogLevel, MayChangeWhileOtherThreadsLog) {
  RecordingLog theLog;
  theLog.RefuseRecords();
  std::atomic<int> theChanges{0};
  std::thread theCCaller([&] { LogWhile(theChanges, [] { zvtest_LogFromC(1); }); });
  std::thread theCallers([&] {
    LogWhile(theChanges, [] {
      ZV_ERR(F("from C++\n"));
      if (ZVLOG_WILL_LOG(ZVLOGLEVEL_DEBUG, ZVLOG_M_FILE) != 0) ADD_FAILURE() << "the log wants it";
    });
  });
  std::thread theLibrary([&] {
    char theByte = 0;
    LogWhile(theChanges, [&] {
      zvSocketSend(kzvSocketInvalid, &theByte, 1, 0, "a hot twin");
      zvSocketClose(kzvSocketInvalid, "a primitive");
    });
  });
  for (; theChanges < kChanges; ++theChanges) {
    theLog.SetLevel(static_cast<zvLogLevel>(theChanges % 6));
    std::this_thread::yield();
  }
  for (std::thread *theThread : {&theCCaller, &theCallers, &theLibrary})
    theThread->join();
}

TEST(LogLevel, DecidesForCallersInC) {
  RecordingLog theLog;
  theLog.AnswerWillLog(ZVLOGLEVEL_DEBUG, ZVLOG_M_FILE, 7);
  theLog.SetLevel(2);
  EXPECT_EQ(0, zvtest_LogFromC(2));
  EXPECT_THAT(theLog.Calls(), IsEmpty());
  theLog.SetLevel(3);
  EXPECT_EQ(0, zvtest_LogFromC(3));
  EXPECT_THAT(theLog.Messages(), ElementsAre(zvtest::Warning(42, "from C: 3\n")));
  theLog.SetLevel(5);
  EXPECT_EQ(7, zvtest_LogFromC(5));
}

}  // namespace
