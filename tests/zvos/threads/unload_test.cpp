// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The library stays where it is when the last user of it is unloaded: handlers of fatal signals are
// functions of it.

#include "support/RecordingLog.h"
#include "support/Support.h"

#include <unistd.h>

namespace {

using ::testing::HasSubstr;

TEST(Unload, LeavesTheHandlersOfFatalSignalsInPlace) {
  const auto theChild = zvtest::RunProgram(zvtest::BuiltProgram("unload_child"),
                                           {zvtest::BuiltLibrary("libzvOS.so")}, {"ZVLOG=info"});
  EXPECT_FALSE(theChild.mfTimedOut);
  EXPECT_THAT(theChild.mOutput, HasSubstr("sThread_S_SignalHandler\n")) << theChild.mError;
  EXPECT_THAT(theChild.mError, HasSubstr("zvOSThread: Received fatal signal: 8"));
  EXPECT_THAT(theChild.mError, HasSubstr("Backtracing this thread"));
  zvtest::RemoveCrashFiles(theChild.mPid);
}

}  // namespace
