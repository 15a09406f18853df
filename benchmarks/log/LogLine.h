// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the rows about log records share: the message that every side writes, files in memory to write it to,
// our side, and four threads that write at the same time.
#pragma once

#include <string>

#include "support/Bench.h"

namespace zvbench {

constexpr char kLogMessage[] = "zvFile: cannot open '%s' (error = %d)";
constexpr char kLogPath[] = "/var/lib/player/lists/evening.m3u";
constexpr int kLogError = 13;

// A file in memory, with its name as long as the object lives.
class LogFile {
 public:
  LogFile();
  ~LogFile();
  LogFile(const LogFile &) = delete;
  LogFile &operator=(const LogFile &) = delete;
  const char *Path() const { return mPath.c_str(); }

 private:
  std::string mPath;
};

enum class Threads { One, Four };

// The sides of a row: another way to write the message, and ours, each to its own file, which is emptied
// before every round or the memory would run full. Four threads share the records of a round, on all
// processors. aKeep is what the other loop uses.
Sides BesideOurLog(Threads aThreads, const std::shared_ptr<LogFile> &aFile, const Loop &aLoop,
                   const std::shared_ptr<const void> &aKeep);

}  // namespace zvbench
