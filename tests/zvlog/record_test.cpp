// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Records: their form, nesting, length, and what callers may rely on while they build them.

#include "Allocation.h"
#include "Child.h"
#include "Interposed.h"
#include "LogTest.h"

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>
#include <cerrno>
#include <chrono>
#include <map>
#include <thread>

namespace {

using namespace zvlogtest;
using Texts = std::vector<std::string>;

constexpr int kDepth = 5;
constexpr size_t kTextRoom = 1240;

class Record : public LogTest {
 protected:
  CaughtStandardError mError;

  Line OnlyLine() {
    const Texts theWrites = mError.Writes();
    EXPECT_EQ(1u, theWrites.size());
    return theWrites.empty() ? Line() : Parse(theWrites[0]);
  }
};

double Now() {
  timeval theTime;
  gettimeofday(&theTime, nullptr);
  return static_cast<double>(theTime.tv_sec) + static_cast<double>(theTime.tv_usec) / 1e6;
}

TEST_F(Record, CarriesTimeLevelModuleThreadPlaceAndText) {
  const double theBegin = Now();
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Warning, 122);
  ASSERT_NE(nullptr, theData);
  EXPECT_EQ(kzvLogLevel_Warning, theData->mLevel);
  EXPECT_EQ(122, theData->mModule);
  theData->mFile = "player/Playlist.c";
  theData->mLine = 4294967295u;
  zvLog_Append_F("%s has %d of %u entries", "list", -1, 7u);
  zvLog_Append_F(" at %zu\n", size_t{12});
  zvLog_End(theData);
  const double theEnd = Now();

  const Line theLine = OnlyLine();
  EXPECT_TRUE(theLine.mfWellFormed);
  EXPECT_GE(theLine.mTime, theBegin - 1e-5);
  EXPECT_LE(theLine.mTime, theEnd + 1e-5);
  EXPECT_EQ("warning", theLine.mLevel);
  EXPECT_EQ("TCP_QOS", theLine.mModule);
  EXPECT_EQ(getpid(), theLine.mProcess);
  EXPECT_EQ(syscall(SYS_gettid), theLine.mThread);
  EXPECT_EQ("", theLine.mThreadName);
  EXPECT_EQ("player/Playlist.c:4294967295", theLine.mPlace);
  EXPECT_EQ("list has -1 of 7 entries at 12", theLine.mText);
}

TEST_F(Record, EveryKnownModuleIsPrintedByItsName) {
  const std::map<zvLogModule, std::string> theNames = {
      {0, "DEFAULT"},        {7, "ZVOS"},           {21, "TCP"},  {22, "TCPRW"},
      {25, "SELECT"},        {29, "PLUGIN"},        {42, "FILE"}, {43, "DIR"},
      {53, "SOCKETTRACKER"}, {55, "SOCKETTRAFFIC"}, {57, "PATH"}, {122, "TCP_QOS"}};
  for (const auto &[theModule, theName] : theNames) {
    Log(kzvLogLevel_Error, theModule, "x\n");
    EXPECT_EQ(theName, OnlyLine().mModule);
  }
}

TEST_F(Record, EveryKnownLevelIsPrintedByItsName) {
  zvLog_SetLevel(100);
  const std::map<zvLogLevel, std::string> theNames = {
      {0, "none"}, {1, "error"}, {2, "warning"}, {3, "info"}, {4, "debug"}};
  for (const auto &[theLevel, theName] : theNames) {
    Log(theLevel, 0, "x\n");
    EXPECT_EQ(theName, OnlyLine().mLevel);
  }
}

TEST_F(Record, UnknownLevelsAndModulesArePrintedAsNumbers) {
  zvLog_SetLevel(100);
  Log(99, 65535, "x\n");
  const Line theLine = OnlyLine();
  EXPECT_EQ("99", theLine.mLevel);
  EXPECT_EQ("65535", theLine.mModule);
}

TEST_F(Record, WithoutPlaceShowsAQuestionMark) {
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
  zvLog_Append_F("x\n");
  zvLog_End(theData);
  EXPECT_EQ("?:0", OnlyLine().mPlace);
}

TEST_F(Record, OfALongFileNameShowsItsEnd) {
  const std::string theFile = std::string(300, 'd') + "/file.c";
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
  theData->mFile = theFile.c_str();
  theData->mLine = 12;
  zvLog_End(theData);
  EXPECT_EQ("..." + std::string(89, 'd') + "/file.c:12", OnlyLine().mPlace);
}

TEST_F(Record, TextWithoutLineFeedGetsOneAndTextWithOneKeepsIt) {
  Log(kzvLogLevel_Error, 0, "without");
  Log(kzvLogLevel_Error, 0, "with\n");
  Log(kzvLogLevel_Error, 0, "");
  const Texts theWrites = mError.Writes();
  ASSERT_EQ(3u, theWrites.size());
  for (const std::string &theWrite : theWrites)
    EXPECT_TRUE(Parse(theWrite).mfWellFormed) << theWrite;
  EXPECT_EQ((Texts{"without", "with", ""}), TextsOf(theWrites));
}

TEST_F(Record, LineEndsAndNulInsideTheTextBecomeSpaces) {
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
  zvLog_Append_F("one\ntwo\r\nthree%cfour\n\n", '\0');
  zvLog_End(theData);
  const Line theLine = OnlyLine();
  EXPECT_TRUE(theLine.mfWellFormed);
  EXPECT_EQ("one two  three four ", theLine.mText);
}

TEST_F(Record, ThatJustFitsIsWhole) {
  const std::string theText(kTextRoom, 'x');
  Log(kzvLogLevel_Error, 0, theText);
  EXPECT_EQ(theText, OnlyLine().mText);
  Log(kzvLogLevel_Error, 0, std::string(kTextRoom - 1, 'x') + "\n");
  EXPECT_EQ(std::string(kTextRoom - 1, 'x'), OnlyLine().mText);
}

constexpr size_t kHeadRoom = 1008;
constexpr size_t kTailRoom = 200;

// What is left of a text that is too long.
std::string Shortened(const std::string &aText) {
  const size_t theMissing = aText.size() - kHeadRoom - kTailRoom;
  return aText.substr(0, kHeadRoom) + " [... " + std::to_string(theMissing) + " bytes ...] " +
         aText.substr(aText.size() - kTailRoom);
}

std::string Numbers(size_t aLength) {
  std::string theText;
  for (int theNumber = 0; theText.size() < aLength; ++theNumber)
    theText += std::to_string(theNumber) + ",";
  return theText.substr(0, aLength);
}

TEST_F(Record, ThatIsTooLongKeepsItsHeadAndItsEndAndSaysHowMuchIsMissing) {
  for (const size_t theLength : {kTextRoom + 1, kTextRoom + 2, size_t{1300}, size_t{1500}, size_t{70000}}) {
    Log(kzvLogLevel_Error, 0, Numbers(theLength));
    const Line theLine = OnlyLine();
    EXPECT_TRUE(theLine.mfWellFormed);
    EXPECT_EQ(Shortened(Numbers(theLength)), theLine.mText);
  }
}

// However the text is parted into appends.
TEST_F(Record, ThatIsTooLongGoesOnWithWhateverIsAppended) {
  const std::string theText = Numbers(9000);
  for (const size_t thePart : {size_t{1}, size_t{7}, size_t{31}, size_t{33}, size_t{199}, size_t{200},
                               size_t{201}, size_t{600}, size_t{1241}, size_t{5000}}) {
    zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
    for (size_t theBegin = 0; theBegin < theText.size(); theBegin += thePart)
      zvLog_Append_F("%s", theText.substr(theBegin, thePart).c_str());
    zvLog_End(theData);
    EXPECT_EQ(Shortened(theText), OnlyLine().mText) << thePart;
  }
}

TEST_F(Record, ThatIsTooLongKeepsTheErrorAtItsEnd) {
  const std::string thePath(3000, 'p');
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
  zvLog_Append_F("Cannot open '%s' (error = %d)\n", thePath.c_str(), ENOENT);
  zvLog_End(theData);
  const std::string theText = OnlyLine().mText;
  EXPECT_EQ("Cannot open 'ppp", theText.substr(0, 16));
  const std::string theEnd = "ppp' (error = 2)";
  EXPECT_EQ(theEnd, theText.substr(theText.size() - theEnd.size()));
}

// Some conversions are left to the C library.
TEST_F(Record, ThatIsTooLongKeepsTheErrorAtItsEndWhateverTheConversions) {
  const std::string thePath(3000, 'p');
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
  zvLog_Append_F("Cannot open '%s' (after %+d s, %.1f%%, error = %d)\n", thePath.c_str(), 1, 2.5, ENOENT);
  zvLog_Append_F("%+d", 7);
  zvLog_End(theData);
  EXPECT_EQ(Shortened("Cannot open '" + thePath + "' (after +1 s, 2.5%, error = 2) +7"), OnlyLine().mText);
}

TEST_F(Record, WithoutMemoryForItsEndSaysHowMuchIsMissing) {
  const std::string theHuge((size_t{1} << 20) + 1, 'x');
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
  zvLog_Append_F("%s%+d", theHuge.c_str(), 1);
  zvLog_Append_F("(error = %d)", 5);
  zvLog_End(theData);
  EXPECT_EQ(std::string(kHeadRoom, 'x') + " [... " + std::to_string(theHuge.size() + 2 - kHeadRoom) +
                " bytes ...] (error = 5)",
            OnlyLine().mText);
}

TEST_F(Record, AfterACutOneIsWholeAgain) {
  Log(kzvLogLevel_Error, 0, std::string(5000, 'x'));
  mError.Writes();
  Log(kzvLogLevel_Error, 0, "short\n");
  EXPECT_EQ("short", OnlyLine().mText);
}

TEST_F(Record, NestsAndAppendsGoToTheInnermost) {
  zvLogData *theOuter = zvLog_Begin(kzvLogLevel_Error, 7);
  theOuter->mFile = "outer.c";
  zvLog_Append_F("outer begins, ");
  zvLogData *theInner = zvLog_Begin(kzvLogLevel_Warning, 42);
  theInner->mFile = "inner.c";
  zvLog_Append_F("inner\n");
  zvLog_End(theInner);
  zvLog_Append_F("outer ends\n");
  zvLog_End(theOuter);

  const Texts theWrites = mError.Writes();
  ASSERT_EQ((Texts{"inner", "outer begins, outer ends"}), TextsOf(theWrites));
  EXPECT_EQ("inner.c:0", Parse(theWrites[0]).mPlace);
  EXPECT_EQ("FILE", Parse(theWrites[0]).mModule);
  EXPECT_EQ("outer.c:0", Parse(theWrites[1]).mPlace);
  EXPECT_EQ("ZVOS", Parse(theWrites[1]).mModule);
}

TEST_F(Record, BeyondTheNestingDepthIsRefused) {
  std::vector<zvLogData *> theOpen;
  Texts theExpected;
  for (int theIndex = 0; theIndex < kDepth; ++theIndex) {
    theOpen.push_back(zvLog_Begin(kzvLogLevel_Error, 0));
    ASSERT_NE(nullptr, theOpen.back());
    zvLog_Append_F("%d", theIndex);
    theExpected.insert(theExpected.begin(), std::to_string(theIndex));
  }
  EXPECT_EQ(nullptr, zvLog_Begin(kzvLogLevel_Error, 0));
  while (!theOpen.empty()) {
    zvLog_End(theOpen.back());
    theOpen.pop_back();
  }
  EXPECT_EQ(theExpected, TextsOf(mError.Writes()));
  Log(kzvLogLevel_Error, 0, "again");
  EXPECT_EQ("again", OnlyLine().mText);
}

TEST_F(Record, AppendsWithoutAnOpenRecordAreIgnored) {
  zvLog_Append_F("lost %d", 1);
  Log(kzvLogLevel_Error, 0, "kept");
  zvLog_Append_F("lost %d", 2);
  EXPECT_EQ("kept", OnlyLine().mText);
}

TEST_F(Record, EndIgnoresWhatIsNoOpenRecord) {
  zvLogData theForeign = {kzvLogLevel_Error, 0, "x", 1};
  zvLog_End(nullptr);
  zvLog_End(&theForeign);
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
  zvLog_Append_F("once");
  zvLog_End(theData);
  zvLog_End(theData);
  EXPECT_EQ("once", OnlyLine().mText);
}

TEST_F(Record, OfAnotherThreadCannotBeEnded) {
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
  zvLog_Append_F("mine");
  std::thread([theData] {
    zvLog_Append_F("not mine");
    zvLog_End(theData);
  }).join();
  EXPECT_TRUE(mError.Writes().empty());
  zvLog_End(theData);
  EXPECT_EQ("mine", OnlyLine().mText);
}

TEST_F(Record, EndOfAnOuterOneDropsWhatWasBegunInIt) {
  zvLogData *theOuter = zvLog_Begin(kzvLogLevel_Error, 0);
  zvLog_Append_F("outer");
  zvLogData *theAbandoned = zvLog_Begin(kzvLogLevel_Error, 0);
  zvLog_Append_F("abandoned");
  zvLog_End(theOuter);
  zvLog_End(theAbandoned);
  EXPECT_EQ("outer", OnlyLine().mText);
}

void AppendList(const char *aFormat, ...) ZVLOG_PRINTF(1, 2);
void AppendList(const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
  zvLog_Append_VF(aFormat, theArguments);
  va_end(theArguments);
}

TEST_F(Record, TakesArgumentListsToo) {
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
  AppendList("%s=%lu,", "a", 5ul);
  AppendList("%p", reinterpret_cast<void *>(0x10));
  zvLog_End(theData);
  EXPECT_EQ("a=5,0x10", OnlyLine().mText);
}

TEST_F(Record, NullFormatAppendsNothing) {
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
  zvLog_Append_F("text");
  AppendList(nullptr);
  zvLog_End(theData);
  EXPECT_EQ("text", OnlyLine().mText);
}

// A call that fails in every place where it may, and each time sets errno.
TEST_F(Record, EveryCallKeepsErrno) {
  const WriteHook theHook([](int, const void *, size_t) -> ssize_t {
    errno = EIO;
    return -1;
  });
  errno = 4711;
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
  EXPECT_EQ(4711, errno);
  zvLog_Append_F("%ls", L"\x7fffffff");  // cannot be converted
  EXPECT_EQ(4711, errno);
  zvLog_End(theData);
  EXPECT_EQ(4711, errno);
  zvLog_WillLog(kzvLogLevel_Error, 0);
  EXPECT_EQ(4711, errno);
  _zvAssert("false", "x.c", 1);
  EXPECT_EQ(4711, errno);
}

// As a kernel before 4.14 does, in a process that has not asked yet.
TEST_F(Record, EveryCallKeepsErrnoWhereAChildCannotBeTold) {
  const Ending theEnding = RunInChild([] {
    const MadviseHook theHook([](void *, size_t, int) {
      errno = EINVAL;
      return -1;
    });
    zvLogData *theOuter = zvLog_Begin(kzvLogLevel_Error, 0);
    errno = 77;
    zvLog_WillLog(kzvLogLevel_Error, 0);
    if (errno != 77) return errno;
    zvLogData *theInner = zvLog_Begin(kzvLogLevel_Error, 0);
    if (errno != 77) return errno;
    zvLog_End(theInner);
    zvLog_End(theOuter);
    return errno;
  });
  EXPECT_EQ(77, theEnding.mStatus);
}

TEST_F(Record, TextThatCannotBeFormattedIsMarkedAsCut) {
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
  zvLog_Append_F("before ");
  zvLog_Append_F("%ls", L"\x7fffffff");
  zvLog_End(theData);
  EXPECT_EQ("before  [cut]", OnlyLine().mText);
}

TEST_F(Record, GoesOnBehindTextThatCannotBeFormatted) {
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
  zvLog_Append_F("before ");
  zvLog_Append_F("%ls", L"\x7fffffff");
  zvLog_Append_F(" (error = %d)", 2);
  zvLog_End(theData);
  EXPECT_EQ("before  [cut] (error = 2)", OnlyLine().mText);
}

int gAllocationCount = 0;

TEST_F(Record, NeedsNoMemoryFromTheHeap) {
  Log(kzvLogLevel_Error, 0, "warm\n");
  gAllocationCount = 0;
  {
    const AllocationWatch theWatch([] { ++gAllocationCount; });
    zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
    zvLog_Append_F("%s %d %u %p %zu %lu %c %x", "text", -1, 1u, static_cast<void *>(theData), size_t{1}, 1ul,
                   'c', 255u);
    zvLog_Append_F("%01300d", 0);
    zvLog_End(theData);
    zvLog_WillLog(kzvLogLevel_Error, 0);
    _zvAssert("false", "x.c", 1);
  }
  EXPECT_EQ(0, gAllocationCount);
  {
    const AllocationWatch theWatch([] { ++gAllocationCount; });
    free(zvMalloc(1));
  }
  EXPECT_EQ(1, gAllocationCount) << "the watch does not see allocations";
}

TEST_F(Record, InterruptedWritesAreRepeated) {
  int theInterrupts = 0;
  const WriteHook theHook([&theInterrupts](int aDescriptor, const void *aData, size_t aSize) -> ssize_t {
    if (++theInterrupts <= 3) {
      errno = EINTR;
      return -1;
    }
    return RealWrite(aDescriptor, aData, aSize);
  });
  Log(kzvLogLevel_Error, 0, "text");
  EXPECT_EQ(4, theInterrupts);
  EXPECT_EQ("text", OnlyLine().mText);
}

TEST_F(Record, ShortWritesAreContinued) {
  std::string theWritten;
  {
    const WriteHook theHook([&theWritten](int, const void *aData, size_t aSize) -> ssize_t {
      const size_t theCount = std::min<size_t>(aSize, 7);
      theWritten.append(static_cast<const char *>(aData), theCount);
      return static_cast<ssize_t>(theCount);
    });
    Log(kzvLogLevel_Error, 0, "a text that takes several writes");
  }
  EXPECT_TRUE(Parse(theWritten).mfWellFormed) << theWritten;
  EXPECT_EQ("a text that takes several writes", Parse(theWritten).mText);
}

TEST_F(Record, OfASinkThatStaysFullIsGivenUp) {
  int theCalls = 0;
  const auto theBegin = std::chrono::steady_clock::now();
  const WriteHook theHook([&theCalls](int, const void *, size_t) -> ssize_t {
    ++theCalls;
    errno = EAGAIN;
    return -1;
  });
  Log(kzvLogLevel_Error, 0, "text");
  EXPECT_LE(2, theCalls) << "tries again before it gives up";
  EXPECT_GE(std::chrono::steady_clock::now() - theBegin, std::chrono::milliseconds(190));
  EXPECT_LT(std::chrono::steady_clock::now() - theBegin, std::chrono::milliseconds(900));

  theCalls = 0;
  Log(kzvLogLevel_Error, 0, "text");
  EXPECT_EQ(1, theCalls) << "does not wait again";
}

TEST_F(Record, OfASinkThatIsFullForAMomentComesOut) {
  bool mfFull = true;
  const WriteHook theHook([&mfFull](int aDescriptor, const void *aData, size_t aSize) -> ssize_t {
    if (!mfFull) return RealWrite(aDescriptor, aData, aSize);
    mfFull = false;
    errno = EAGAIN;
    return -1;
  });
  Log(kzvLogLevel_Error, 0, "text");
  EXPECT_EQ("text", OnlyLine().mText);
}

}  // namespace
