// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Back-traces into a buffer, the library's own revision in the log, hooks of other platforms.

#include "debug_support.h"

using namespace zvtest;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using namespace zvtest::debug;

namespace {

// --- zvDebug_GetBackTrace ---------------------------------------------------------------------

class GetBackTrace : public ::testing::Test {
 protected:
  // Asks for the text of nine known frames in a buffer of aSize bytes that is guarded behind.
  int Get(unsigned aSize) {
    const CapturedAddresses theCapture(mAddresses);
    mBuffer.assign(aSize + kGuard, '#');
    const int theResult = zvDebug_GetBackTrace(mBuffer.data(), aSize);
    mCapacity = theCapture.Capacity();
    return theResult;
  }
  bool GuardIsIntact(size_t aSize) const {
    return std::string(mBuffer.begin() + static_cast<std::ptrdiff_t>(aSize), mBuffer.end()) ==
           std::string(mBuffer.size() - aSize, '#');
  }

  static constexpr size_t kGuard = 64;
  const std::vector<void *> mAddresses = SomeAddresses(9);
  const std::vector<std::string> mLines = FrameLines(mAddresses);
  const std::string mText = Joined(mLines);
  std::vector<char> mBuffer;
  int mCapacity = 0;
  RecordingLog mLog;
};

TEST_F(GetBackTrace, FormatsEveryFrameAndReturnsTheLength) {
  EXPECT_EQ(static_cast<int>(mText.size()), Get(65536));
  EXPECT_EQ(mText, mBuffer.data());
  EXPECT_EQ(1024, mCapacity);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(GetBackTrace, FitsExactly) {
  const unsigned theSize = static_cast<unsigned>(mText.size() + 1);
  EXPECT_EQ(static_cast<int>(mText.size()), Get(theSize));
  EXPECT_EQ(mText, mBuffer.data());
  EXPECT_TRUE(GuardIsIntact(theSize));
}

TEST_F(GetBackTrace, OneByteTooSmallIsCut) {
  const unsigned theSize = static_cast<unsigned>(mText.size());
  EXPECT_EQ(static_cast<int>(mText.size()), Get(theSize));
  EXPECT_EQ(mText.substr(0, theSize - 1), mBuffer.data());
  EXPECT_TRUE(GuardIsIntact(theSize));
}

TEST_F(GetBackTrace, TenBytesHoldACutFirstLine) {
  EXPECT_EQ(static_cast<int>(mLines[0].size()), Get(10));
  EXPECT_EQ(mLines[0].substr(0, 9), mBuffer.data());
  EXPECT_TRUE(GuardIsIntact(10));
}

TEST_F(GetBackTrace, OneByteHoldsTheTerminator) {
  EXPECT_EQ(static_cast<int>(mLines[0].size()), Get(1));
  EXPECT_EQ('\0', mBuffer[0]);
  EXPECT_TRUE(GuardIsIntact(1));
}

TEST_F(GetBackTrace, NoByteIsWrittenIntoAnEmptyBuffer) {
  EXPECT_EQ(static_cast<int>(mLines[0].size()), Get(0));
  EXPECT_TRUE(GuardIsIntact(0));
}

TEST_F(GetBackTrace, EveryCutTellsTheLengthOfTheLastLineInFull) {
  size_t theLine = 0;
  size_t theOffset = 0;
  for (unsigned theSize = 1; theSize <= mText.size(); ++theSize) {
    while (theOffset + mLines[theLine].size() < theSize)
      theOffset += mLines[theLine++].size();
    ASSERT_EQ(static_cast<int>(theOffset + mLines[theLine].size()), Get(theSize)) << theSize;
    ASSERT_EQ(mText.substr(0, theSize - 1), mBuffer.data()) << theSize;
    ASSERT_TRUE(GuardIsIntact(theSize)) << theSize;
  }
}

TEST_F(GetBackTrace, WithoutSymbolsLeavesTheBufferAlone) {
  const Fault theFault("backtrace_symbols", ENOMEM);
  EXPECT_EQ(0, Get(100));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_TRUE(GuardIsIntact(0));
}

TEST_F(GetBackTrace, WithoutFramesProducesNothing) {
  const CapturedAddresses theCapture({});
  char theBuffer[8] = "before";
  EXPECT_EQ(0, zvDebug_GetBackTrace(theBuffer, sizeof(theBuffer)));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(GetBackTrace, TellsTheRealStack) {
  std::vector<char> theBuffer(65536);
  const int theLength = zvDebug_GetBackTrace(theBuffer.data(), static_cast<unsigned>(theBuffer.size()));
  EXPECT_EQ(strlen(theBuffer.data()), static_cast<size_t>(theLength));
  const std::vector<std::string> theLines = Lines(theBuffer.data());
  EXPECT_GE(theLines.size(), 6u) << theBuffer.data();
  for (size_t i = 0; i < theLines.size(); ++i) {
    EXPECT_THAT(theLines[i], StartsWith(Format("%02d: ", static_cast<int>(i))));
  }
  EXPECT_THAT(theLines[0], HasSubstr("libzvOS.so"));
  EXPECT_THAT(theBuffer.data(), HasSubstr(OwnProgramName()));
}

TEST_F(GetBackTrace, FormatsUpToThousandAndTwentyFourFrames) {
  const std::vector<void *> theAddresses = SomeAddresses(1024);
  const CapturedAddresses theCapture(theAddresses);
  std::vector<char> theBuffer(1024 * 1024);
  const int theLength = zvDebug_GetBackTrace(theBuffer.data(), static_cast<unsigned>(theBuffer.size()));
  EXPECT_EQ(Joined(FrameLines(theAddresses)), theBuffer.data());
  EXPECT_EQ(strlen(theBuffer.data()), static_cast<size_t>(theLength));
}

// --- zvDebug_LogLibraryInfo -------------------------------------------------------------------

TEST(LogLibraryInfo, TellsRevisionAndPathOfTheLibraryOfAFunction) {
  RecordingLog theLog;
  char *thePath =
      zvPath_GetFunctionSharedLibraryPath(reinterpret_cast<zvDefaultFunctionPtr>(&zvDebug_LogLibraryInfo));
  ASSERT_NE(nullptr, thePath);
  EXPECT_THAT(thePath, HasSubstr("libzvOS.so"));
  const std::string theExpected = Format(
      "Library version: r%d (%s)\n", static_cast<int>(zvPath_GetBinaryRevision(thePath, nullptr)), thePath);
  free(thePath);
  theLog.Clear();

  zvDebug_LogLibraryInfo(reinterpret_cast<void *>(&zvDebug_LogLibraryInfo));
  EXPECT_THAT(theLog.Messages(), ElementsAre(Info(0, theExpected)));
}

TEST(LogLibraryInfo, SaysSoWhenNoLibraryHoldsTheFunction) {
  RecordingLog theLog;
  int theLocal = 0;
  zvDebug_LogLibraryInfo(&theLocal);
  zvDebug_LogLibraryInfo(nullptr);
  const auto theUnknown = Info(0, "Library version: Unknown (Unable to find library path)\n");
  EXPECT_THAT(theLog.Messages(), ElementsAre(theUnknown, theUnknown));
}

// --- hooks of other platforms -------------------------------------------------------------------

TEST(DebugHooks, DoNothing) {
  RecordingLog theLog;
  zvDebug_SetThreadName("worker");
  zvDebug_SetThreadName(nullptr);
  zvDebug_Break("message");
  zvDebug_Break(nullptr);
  EXPECT_THAT(theLog.Calls(), IsEmpty());
  EXPECT_THAT(theLog.Assertions(), IsEmpty());
}

}  // namespace
