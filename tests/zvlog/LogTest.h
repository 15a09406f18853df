// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of records share: a log in its default state, the log call as callers make it,
// standard error caught write by write, and records taken apart.
#pragma once

#include <gtest/gtest.h>

#include <zvLog/zvLog.h>
#include <zvLog/zvLogSettings.h>

#include <string>
#include <vector>

namespace zvlogtest {

// Default settings before and after each test.
class LogTest : public ::testing::Test {
 protected:
  LogTest();
  ~LogTest() override;
};

// Logs as callers do: the gate first, then the record. The place is player.c:7.
void Log(zvLogLevel aLevel, zvLogModule aModule, const std::string &aText);

// Catches what is written to standard error, one entry per write.
class CaughtStandardError {
 public:
  CaughtStandardError();
  ~CaughtStandardError();
  CaughtStandardError(const CaughtStandardError &) = delete;
  CaughtStandardError &operator=(const CaughtStandardError &) = delete;

  // Takes what was written since the last call.
  std::vector<std::string> Writes();

 private:
  int mSaved;
  int mReader;
};

struct Line {
  bool mfWellFormed = false;
  double mTime = 0;  // seconds since 1970
  std::string mLevel;
  std::string mModule;
  long mProcess = 0;
  long mThread = 0;
  std::string mThreadName;
  std::string mPlace;
  std::string mText;  // without the line feed
};

// Takes one line apart, which must end in its only line feed.
Line Parse(const std::string &aLine);

// The same for the lines of a text; also reports the last one if it has no end.
std::vector<Line> ParseAll(const std::string &aText);

std::vector<std::string> TextsOf(const std::vector<std::string> &aLines);
std::vector<std::string> TextsOf(const std::vector<Line> &aLines);

// The texts of the records among the lines; an emulator may add lines of its own.
std::vector<std::string> TextsOfRecords(const std::vector<Line> &aLines);

class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder &) = delete;
  TempFolder &operator=(const TempFolder &) = delete;
  std::string File(const std::string &aName) const { return mPath + "/" + aName; }

 private:
  std::string mPath;
};

std::string ReadFile(const std::string &aPath);
void WriteFile(const std::string &aPath, const std::string &aText);

}  // namespace zvlogtest
