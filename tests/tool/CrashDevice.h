// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A "device" whose program crashes, for the tests of `zvos crash`.
#pragma once

#include "ToolSupport.h"

#include <gtest/gtest.h>

#include <string>

// Skips a test where no program shows lines, and says so.
#define NEEDS_LINE_READER() \
  if (LineReaders().empty()) GTEST_SKIP() << "no addr2line is installed"

namespace zvtest {

// What a command of the shell writes.
std::string Output(const std::string &aCommand);

// "Build ID" of a file, as the path of its debug information.
std::string BuildIdPath(const std::string &aFile);

// The crashing program and its libraries in a folder as on a device, stripped, and their debug information in
// another one.
class Device {
 public:
  Device();

  std::string DebugFolder() const { return mFolder.File("debug"); }
  std::string File(const std::string &aName) const { return mFolder.File(aName); }

  // Lets the program crash, and gives the path of its crash file.
  std::string Crash(const std::string &aMode);
  const std::string &Trace() const { return mTrace; }

  // Puts the program as it was built, with its lines, in place of the stripped one, and gives its path.
  std::string InstallLines() const;

  // The report goes to another machine, where there is no device.
  void Remove() const;

 private:
  void Install(const std::string &aFile, const std::string &aName) const;

  const TempFolder mFolder;
  ChildResult mChild;
  std::string mTrace;
};

}  // namespace zvtest
