// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the library does once in the life of a process can be seen in a fresh one only: such a test runs
// the test program again, for itself alone.
//
//   TEST(Something, HappensOnce) {
//     if (!IsAlone()) return;
//     ...
//   }
#pragma once

#include "support/Support.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>

namespace zvtest {

constexpr char kAloneVariable[] = "ZVTEST_ALONE";

// The file of this test program.
inline std::string OwnProgram() {
  return std::filesystem::read_symlink("/proc/self/exe").string();
}

// Its name.
inline std::string OwnProgramName() {
  return std::filesystem::path(OwnProgram()).filename().string();
}

// Starts this program, or a copy of it, for the current test only, and checks that the test passes there.
inline void RunAlone(const std::string &aProgram) {
  const auto *theTest = ::testing::UnitTest::GetInstance()->current_test_info();
  const auto theResult = RunProgram(
      aProgram, {std::string("--gtest_filter=") + theTest->test_suite_name() + "." + theTest->name()},
      {std::string(kAloneVariable) + "=1"});
  const std::string theReport = theResult.mOutput + theResult.mError;
  EXPECT_FALSE(theResult.mfSignaled || theResult.mfTimedOut) << theReport;
  EXPECT_EQ(0, theResult.mStatus) << theReport;
  EXPECT_THAT(theResult.mOutput, ::testing::HasSubstr("[  PASSED  ] 1 test.")) << theReport;
}

// Whether this is the process of its own; otherwise starts it and checks that the test passes there.
inline bool IsAlone() {
  if (getenv(kAloneVariable) != nullptr) return true;
  RunAlone(OwnProgram());
  return false;
}

}  // namespace zvtest
