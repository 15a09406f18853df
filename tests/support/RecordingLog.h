// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The log provider of all tests: it stands in for the log library in the test program and records
// what the library under test does with it.
//
// The program defines the provider's symbols itself and exports them, so they take precedence over
// the companion library's. One RecordingLog lives at a time; messages of all threads are recorded,
// in the order in which they end.
//
//   RecordingLog theLog;
//   EXPECT_EQ(1, zvMutex_Unlock(theMutex));
//   EXPECT_THAT(theLog.Messages(), ElementsAre(Error(7, "zvOSMutex: unlock failed ...\n")));
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <zvLog/zvLog.h>

#include <functional>
#include <string>
#include <vector>

namespace zvtest {

struct Message {
  zvLogLevel mLevel;
  zvLogModule mModule;
  std::string mText;  // all appends joined
  std::string mFile;
  uint32 mLine;
};

struct Assertion {
  std::string mExpression;
  std::string mFile;
  uint32 mLine;
};

class RecordingLog {
 public:
  // Records from now on, with every level admitted.
  RecordingLog();
  // Stops recording; messages outside any RecordingLog are dropped.
  ~RecordingLog();
  RecordingLog(const RecordingLog &) = delete;
  RecordingLog &operator=(const RecordingLog &) = delete;

  std::vector<Message> Messages() const;
  std::vector<Assertion> Assertions() const;

  // Every call made to the provider, in order: "Begin 1 7", "Append", "End", "WillLog 4 53",
  // "Assert aMutex->mLockCount > 0".
  std::vector<std::string> Calls() const;

  // Forgets what was recorded.
  void Clear();

  // Sets `_zvLog_Level` until the object is gone.
  void SetLevel(zvLogLevel aLevel);

  // Lets zvLog_Begin return NULL.
  void RefuseRecords(bool afRefuse = true);

  // Scripted answer of zvLog_WillLog; unscripted pairs answer 0.
  void AnswerWillLog(zvLogLevel aLevel, zvLogModule aModule, int anAnswer);

  // Lets every call of the provider leave this value in errno, to prove that the library under
  // test does not rely on errno being preserved; 0 stops it.
  void SpoilErrno(int anError);

  // Called inside zvLog_End, before the record is stored; for tests that look at the world at the
  // moment of a message.
  void OnMessage(void (*aHook)(const Message &aMessage, void *aContext), void *aContext);

  // Called inside _zvAssert, after the assertion was recorded.
  void OnAssert(void (*aHook)(const Assertion &anAssertion, void *aContext), void *aContext);
};

// Runs a call that must fail an assertion and is left there, as if _zvAssert did not return: the way
// to hand out NULL handles, with which the library would go on to crash. Returns false when the body
// came to its end. The body has no locals with destructors.
bool LeftAtAssertion(const std::function<void()> &aBody);

// Matches a Message by level, module and whole text.
::testing::Matcher<const Message &> Logged(zvLogLevel aLevel, zvLogModule aModule, const std::string &aText);

inline ::testing::Matcher<const Message &> Error(zvLogModule aModule, const std::string &aText) {
  return Logged(1, aModule, aText);
}
inline ::testing::Matcher<const Message &> Warning(zvLogModule aModule, const std::string &aText) {
  return Logged(2, aModule, aText);
}
inline ::testing::Matcher<const Message &> Info(zvLogModule aModule, const std::string &aText) {
  return Logged(3, aModule, aText);
}
inline ::testing::Matcher<const Message &> Debug(zvLogModule aModule, const std::string &aText) {
  return Logged(4, aModule, aText);
}

// Matches an Assertion by its expression text.
::testing::Matcher<const Assertion &> Asserted(const std::string &anExpression);

// printf into a text, for expected messages.
std::string Format(const char *aFormat, ...) __attribute__((format(printf, 1, 2)));

void PrintTo(const Message &aMessage, std::ostream *aStream);
void PrintTo(const Assertion &anAssertion, std::ostream *aStream);

}  // namespace zvtest
