// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of sinks that could end, hold or fool their process share. What may end a process happens in
// a child.
#pragma once

#include "Child.h"
#include "LogTest.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <vector>

namespace zvlogtest {

using Texts = std::vector<std::string>;

inline void LogError(const std::string &aText) {
  Log(kzvLogLevel_Error, 0, aText + "\n");
}

inline std::string LossText(int aCount, int anError) {
  return std::to_string(aCount) + (aCount == 1 ? " record" : " records") +
         " could not be written here (error = " + std::to_string(anError) + ")";
}

inline std::chrono::milliseconds TimeOf(const std::function<void()> &aBody) {
  const auto theBegin = std::chrono::steady_clock::now();
  aBody();
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - theBegin);
}

// Takes the place of standard error while it lives.
class AsStandardError {
 public:
  explicit AsStandardError(int aDescriptor) : mSaved(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100)) {
    dup2(aDescriptor, STDERR_FILENO);
  }
  ~AsStandardError() {
    dup2(mSaved, STDERR_FILENO);
    close(mSaved);
  }
  AsStandardError(const AsStandardError &) = delete;
  AsStandardError &operator=(const AsStandardError &) = delete;

 private:
  const int mSaved;
};

class Pipe {
 public:
  Pipe() {
    if (pipe2(mEnds, O_CLOEXEC) != 0) abort();
  }
  ~Pipe() {
    CloseReader();
    close(mEnds[1]);
  }
  Pipe(const Pipe &) = delete;
  Pipe &operator=(const Pipe &) = delete;

  int Reader() const { return mEnds[0]; }
  int Writer() const { return mEnds[1]; }
  void CloseReader() {
    if (mEnds[0] >= 0) close(mEnds[0]);
    mEnds[0] = -1;
  }
  // Through a description of its own, so that the flags of the writer stay.
  void Fill() const {
    const int theOwn =
        open(("/proc/self/fd/" + std::to_string(mEnds[1])).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    while (write(theOwn, std::string(4096, 'x').c_str(), 4096) > 0) {
    }
    close(theOwn);
  }
  std::string Drain() const {
    std::string theText;
    char theBlock[4096];
    pollfd thePoll = {mEnds[0], POLLIN, 0};
    while (poll(&thePoll, 1, 0) > 0) {
      const ssize_t theCount = read(mEnds[0], theBlock, sizeof(theBlock));
      if (theCount <= 0) break;
      theText.append(theBlock, static_cast<size_t>(theCount));
    }
    return theText;
  }

 private:
  int mEnds[2];
};

class Harm : public LogTest {
 protected:
  TempFolder mFolder;

  std::string Path() const { return mFolder.File("log"); }
  Texts TextsOfFile() const { return TextsOf(ParseAll(ReadFile(Path()))); }

  // Runs in a child that must end by itself with 0.
  static void ExpectSurvival(const std::function<int()> &aBody) {
    const Ending theEnding = RunInChild(aBody);
    EXPECT_FALSE(theEnding.mfTimedOut);
    EXPECT_EQ(0, theEnding.mSignal);
    EXPECT_EQ(0, theEnding.mStatus) << theEnding.mError;
  }
};

}  // namespace zvlogtest
