// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Configuration files.

#include "Allocation.h"
#include "Child.h"
#include "LogTest.h"

#include <zvLog/zvConfigFile.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace zvlogtest;
using Texts = std::vector<std::string>;

class ConfigFile : public LogTest {
 protected:
  ~ConfigFile() override { zvConfigFile_Close(mFile); }

  void Open(const std::string &aText) {
    zvConfigFile_Close(mFile);
    WriteFile(mPath, aText);
    mFile = zvConfigFile_Open(mPath.c_str());
  }

  std::string Get(const char *aSection, const char *aKey) {
    return zvConfigFile_GetString(mFile, aSection, aKey, "(default)");
  }

  uint32 GetNumber(const std::string &aText) {
    Open("[s]\nk = " + aText + "\n");
    return zvConfigFile_GetUInt32(mFile, "s", "k", 4711);
  }

  TempFolder mFolder;
  const std::string mPath = mFolder.File("test.ini");
  CaughtStandardError mError;
  zvConfigFile_t *mFile = nullptr;
};

TEST_F(ConfigFile, GivesTheValuesOfItsKeys) {
  Open(
      "; a comment\n"
      "before = the first section\n"
      "\n"
      "[network]\n"
      "exclude-if = \"eth 0\", wlan*\n"
      "# another comment\n"
      "  key with blanks  =   value with blanks \t\n"
      "empty =\n"
      "equal=a=b ; kept\n"
      "\n"
      "[other] ; behind a section\n"
      "exclude-if = lo\n"
      "last = without line end");
  ASSERT_NE(nullptr, mFile);
  EXPECT_EQ("the first section", Get(nullptr, "before"));
  EXPECT_EQ("the first section", Get("", "before"));
  EXPECT_EQ("\"eth 0\", wlan*", Get("network", "exclude-if"));
  EXPECT_EQ("value with blanks", Get("network", "key with blanks"));
  EXPECT_EQ("", Get("network", "empty"));
  EXPECT_EQ("a=b ; kept", Get("network", "equal"));
  EXPECT_EQ("lo", Get("other", "exclude-if"));
  EXPECT_EQ("without line end", Get("other", "last"));
  EXPECT_TRUE(mError.Writes().empty());
}

TEST_F(ConfigFile, GivesTheDefaultForWhatItHasNot) {
  Open("[s]\nk=v\n");
  EXPECT_EQ("(default)", Get("s", "other"));
  EXPECT_EQ("(default)", Get("other", "k"));
  EXPECT_EQ("(default)", Get(nullptr, "k"));
  EXPECT_EQ("(default)", Get("s", nullptr));
  EXPECT_EQ(nullptr, zvConfigFile_GetString(mFile, "s", "other", nullptr));
  EXPECT_EQ(5u, zvConfigFile_GetUInt32(mFile, "s", "other", 5));
  EXPECT_TRUE(mError.Writes().empty());
}

TEST_F(ConfigFile, NullFileGivesTheDefault) {
  EXPECT_STREQ("d", zvConfigFile_GetString(nullptr, "s", "k", "d"));
  EXPECT_EQ(5u, zvConfigFile_GetUInt32(nullptr, "s", "k", 5));
  zvConfigFile_Close(nullptr);
}

TEST_F(ConfigFile, DoesNotDistinguishCaseAndTheLastOfEqualKeysHolds) {
  Open("[Section]\nKey=1\nKEY=2\n[SECTION]\nother=3\n");
  EXPECT_EQ("2", Get("section", "key"));
  EXPECT_EQ("3", Get("Section", "OTHER"));
}

TEST_F(ConfigFile, TakesEveryKindOfLineEndAndAByteOrderMark) {
  for (const char *theEnd : {"\n", "\r\n", "\r"}) {
    Open(std::string("\xEF\xBB\xBF[s]") + theEnd + "a=1" + theEnd + theEnd + "b=2" + theEnd);
    ASSERT_NE(nullptr, mFile);
    EXPECT_EQ("1", Get("s", "a"));
    EXPECT_EQ("2", Get("s", "b"));
  }
}

TEST_F(ConfigFile, MayBeEmptyOrOnlyComments) {
  for (const char *theText : {"", "\n\n", "; comment", "# comment\n\n", "\xEF\xBB\xBF"}) {
    Open(theText);
    ASSERT_NE(nullptr, mFile) << theText;
    EXPECT_EQ("(default)", Get("s", "k"));
  }
}

TEST_F(ConfigFile, KeepsItsTextsUntilItIsClosed) {
  Open("[s]\na=1\nb=2\n");
  const char *theText = zvConfigFile_GetString(mFile, "s", "a", nullptr);
  zvConfigFile_GetString(mFile, "s", "b", nullptr);
  zvConfigFile_GetString(mFile, "s", "c", nullptr);
  EXPECT_STREQ("1", theText);
  EXPECT_EQ(theText, zvConfigFile_GetString(mFile, "s", "a", nullptr));
}

TEST_F(ConfigFile, LargeOnesAreReadWhole) {
  std::string theText = "[s]\n";
  for (int theIndex = 0; theIndex < 5000; ++theIndex) {
    theText += "key" + std::to_string(theIndex) + "=" + std::to_string(theIndex * 3) + "\n";
  }
  Open(theText);
  ASSERT_NE(nullptr, mFile);
  EXPECT_EQ("0", Get("s", "key0"));
  EXPECT_EQ("14997", Get("s", "key4999"));
}

TEST_F(ConfigFile, MalformedLineIsReportedWithFileAndNumber) {
  const std::vector<std::pair<std::string, std::string>> theCases = {
      {"nonsense", "nonsense"},
      {"[unclosed", "[unclosed"},
      {"[unclosed=1", "[unclosed=1"},
      {"[]", "[]"},
      {"[ ]", "[ ]"},
      {"[section] junk", "[section] junk"},
      {"=value", "=value"},
      {"  = value", "  = value"},
      {std::string("k=a\0b", 5), "k=a"},
  };
  for (const auto &[theLine, theShown] : theCases) {
    Open("; first\n[good]\nk=v\n" + theLine + "\nother=1\n");
    EXPECT_EQ(nullptr, mFile) << theLine;
    const Texts theWrites = mError.Writes();
    ASSERT_EQ(1u, theWrites.size()) << theLine;
    const zvlogtest::Line theRecord = Parse(theWrites[0]);
    EXPECT_EQ("error", theRecord.mLevel);
    EXPECT_EQ("FILE", theRecord.mModule);
    EXPECT_EQ("zvConfigFile: " + mPath + ":4: malformed line '" + theShown + "'", theRecord.mText);
  }
}

TEST_F(ConfigFile, ThatCannotBeReadIsReported) {
  EXPECT_EQ(nullptr, zvConfigFile_Open(mFolder.File("none").c_str()));
  EXPECT_EQ(nullptr, zvConfigFile_Open(mFolder.File("").c_str()));
  EXPECT_EQ(nullptr, zvConfigFile_Open(nullptr));
  EXPECT_EQ((Texts{"zvConfigFile: cannot read '" + mFolder.File("none") + "' (error = 2)",
                   "zvConfigFile: cannot read '" + mFolder.File("") + "' (error = 21)",
                   "zvConfigFile: no file name"}),
            TextsOf(mError.Writes()));
}

TEST_F(ConfigFile, ThatIsNoRegularFileIsRefusedAndNotWaitedFor) {
  const std::string theFifo = mFolder.File("fifo");
  const std::string theLink = mFolder.File("link");
  ASSERT_EQ(0, mkfifo(theFifo.c_str(), 0600));
  ASSERT_EQ(0, symlink("/dev/zero", theLink.c_str()));
  for (const std::string &thePath : {theFifo, theLink, std::string("/dev/zero"), std::string("/dev/tty")}) {
    const Ending theEnding =
        RunInChild([&] { return zvConfigFile_Open(thePath.c_str()) == nullptr ? 0 : 1; });
    EXPECT_FALSE(theEnding.mfTimedOut) << thePath;
    EXPECT_EQ(0, theEnding.mSignal) << thePath;
    EXPECT_EQ(0, theEnding.mStatus) << thePath;
    EXPECT_EQ((Texts{"zvConfigFile: cannot read '" + thePath + "' (it is no regular file)"}),
              TextsOf(ParseAll(theEnding.mError)));
  }
}

TEST_F(ConfigFile, ThatAWriterKeepsFillingIsRefused) {
  const std::string theFifo = mFolder.File("fifo");
  ASSERT_EQ(0, mkfifo(theFifo.c_str(), 0600));
  const int theWriter = open(theFifo.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  ASSERT_LE(0, theWriter);
  ASSERT_EQ(4, write(theWriter, "k=v\n", 4));
  EXPECT_EQ(nullptr, zvConfigFile_Open(theFifo.c_str()));
  EXPECT_EQ((Texts{"zvConfigFile: cannot read '" + theFifo + "' (it is no regular file)"}),
            TextsOf(mError.Writes()));
  char theRead[4];
  EXPECT_EQ(4, read(theWriter, theRead, sizeof(theRead))) << "something was taken out of the pipe";
  close(theWriter);
}

TEST_F(ConfigFile, HasAtMostOneMebibyte) {
  const size_t theMaximum = 1024 * 1024;
  const std::string theKey = "\nk=v";
  Open(";" + std::string(theMaximum - 1 - theKey.size(), '-') + theKey);
  ASSERT_NE(nullptr, mFile);
  EXPECT_EQ("v", Get("", "k"));
  EXPECT_TRUE(mError.Writes().empty());

  Open(";" + std::string(theMaximum - theKey.size(), '-') + theKey);
  EXPECT_EQ(nullptr, mFile);
  EXPECT_EQ((Texts{"zvConfigFile: cannot read '" + mPath + "' (it has more than 1048576 bytes)"}),
            TextsOf(mError.Writes()));
}

TEST_F(ConfigFile, OfOneGibibyteIsNotRead) {
  WriteFile(mPath, "k=v\n");
  ASSERT_EQ(0, truncate(mPath.c_str(), 1 << 30));
  EXPECT_EQ(nullptr, zvConfigFile_Open(mPath.c_str()));
  EXPECT_EQ((Texts{"zvConfigFile: cannot read '" + mPath + "' (it has more than 1048576 bytes)"}),
            TextsOf(mError.Writes()));
}

// A regular file of the kernel, which says that it is empty and has some 10 MiB.
TEST_F(ConfigFile, OfUnknownSizeIsReadUpToTheLimit) {
  const char *thePath = "/proc/kallsyms";
  if (ReadFile(thePath).size() <= 1024 * 1024) GTEST_SKIP() << "this kernel has no large " << thePath;
  EXPECT_EQ(nullptr, zvConfigFile_Open(thePath));
  EXPECT_EQ(
      (Texts{std::string("zvConfigFile: cannot read '") + thePath + "' (it has more than 1048576 bytes)"}),
      TextsOf(mError.Writes()));
}

TEST_F(ConfigFile, NumbersAreDecimalOrHexadecimal) {
  EXPECT_EQ(0u, GetNumber("0"));
  EXPECT_EQ(1234567890u, GetNumber("1234567890"));
  EXPECT_EQ(4294967295u, GetNumber("4294967295"));
  EXPECT_EQ(10u, GetNumber("010"));
  EXPECT_EQ(0xabcdefu, GetNumber("0xABCdef"));
  EXPECT_EQ(0xffffffffu, GetNumber("0Xffffffff"));
  EXPECT_TRUE(mError.Writes().empty());
}

TEST_F(ConfigFile, WhatIsNoNumberIsReportedAndGivesTheDefault) {
  for (const char *theText : {"", "x", "1x", "-1", "+1", "1.5", "0x", "4294967296", "0x100000000", "1 2"}) {
    EXPECT_EQ(4711u, GetNumber(theText)) << theText;
    EXPECT_EQ(
        Texts{"zvConfigFile: " + mPath + ": [s] k: '" + theText + "' is no number from 0 to 4294967295"},
        TextsOf(mError.Writes()));
  }
}

TEST_F(ConfigFile, SurvivesEveryFailedAllocation) {
  if (!CanFailAllocations()) GTEST_SKIP() << "allocations cannot be made to fail under a sanitizer";
  const std::string theLongText(300, 'x');
  std::string theText = "; comment\n[" + theLongText + "]\n" + theLongText + "=1\n[b]\nk=2\n";
  for (int theIndex = 0; theIndex < 1000; ++theIndex)
    theText += "; " + theLongText + "\n";
  WriteFile(mPath, theText);
  int theFailures = 0;
  for (;; ++theFailures) {
    ASSERT_LT(theFailures, 1000);
    const long theAllocations = LiveAllocations();
    const FailingAllocation theFailure(theFailures);
    mFile = zvConfigFile_Open(mPath.c_str());
    if (!theFailure.HasFailed()) break;
    ASSERT_EQ(theAllocations, LiveAllocations()) << theFailures;
    ASSERT_EQ(nullptr, mFile);
    ASSERT_EQ((Texts{"zvConfigFile: cannot read '" + mPath + "' (error = 12)"}), TextsOf(mError.Writes()));
  }
  EXPECT_GT(theFailures, 5);
  ASSERT_NE(nullptr, mFile);
  EXPECT_EQ("2", Get("b", "k"));
}

}  // namespace
