// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Messages to the user of the device, and what the program is called.

#include <zvOS/zvPath.h>
#include <zvOS/zvUI.h>

#include "fuzz/ElfImage.h"
#include "support/Alone.h"
#include "support/Faults.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;

constexpr zvLogModule kModule = 0;

// What a call prints that really reaches the system: the child leaves without flushing anything.
template <typename Call>
std::string PrintedBy(Call aCall) {
  const auto theResult = zvtest::RunInChild([&]() -> int {
    aCall();
    _exit(0);
  });
  EXPECT_FALSE(theResult.mfSignaled);
  EXPECT_EQ("", theResult.mError);
  return theResult.mOutput;
}

class UITest : public ::testing::Test {
 protected:
  zvtest::RecordingLog mLog;
};

//
// Messages
//

// A call that is made in the test itself prints there: the output is caught and dropped.
class Quiet {
 public:
  Quiet() { ::testing::internal::CaptureStdout(); }
  ~Quiet() { ::testing::internal::GetCapturedStdout(); }
  Quiet(const Quiet &) = delete;
  Quiet &operator=(const Quiet &) = delete;
};

struct Text {
  const char *mTitle;
  const char *mMessage;
};

constexpr Text kTexts[] = {{"Title", "a message"}, {"", ""}, {"100%s", "%n %d"}, {"two\nlines", "ends\n"}};

TEST_F(UITest, AMessageIsPrintedAtOnce) {
  for (const Text &theText : kTexts) {
    EXPECT_EQ(Format("%s: %s\n", theText.mTitle, theText.mMessage),
              PrintedBy([&] { zvUI_DisplayToEndUser(theText.mTitle, theText.mMessage); }));
  }
}

TEST_F(UITest, AMessageIsLoggedAndAnsweredWithZero) {
  for (const Text &theText : kTexts) {
    const Quiet theQuiet;
    mLog.Clear();
    EXPECT_EQ(0, zvUI_DisplayToEndUser(theText.mTitle, theText.mMessage));
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(zvtest::Info(kModule, Format("%s: %s\n", theText.mTitle, theText.mMessage))));
  }
}

TEST_F(UITest, NothingIsShownAsNull) {
  EXPECT_EQ("(null): (null)\n", PrintedBy([] { zvUI_DisplayToEndUser(nullptr, nullptr); }));
  EXPECT_EQ("(null): (null) (returning Yes)\n",
            PrintedBy([] { zvUI_AskToEndUserYesNo(nullptr, nullptr, kzvUIAskToEndUser_Yes); }));
  const Quiet theQuiet;
  zvUI_DisplayToEndUser(nullptr, nullptr);
  zvUI_AskToEndUserYesNo(nullptr, nullptr, kzvUIAskToEndUser_Yes);
  EXPECT_THAT(mLog.Messages(), ElementsAre(zvtest::Info(kModule, "(null): (null)\n"),
                                           zvtest::Info(kModule, "(null): (null) (returning Yes)\n")));
}

TEST_F(UITest, AVeryLongMessageIsNotCut) {
  const std::string theMessage(100000, 'm');
  EXPECT_EQ("Title: " + theMessage + "\n",
            PrintedBy([&] { zvUI_DisplayToEndUser("Title", theMessage.c_str()); }));
}

struct Question {
  int mDefault;
  const char *mWord;
};

constexpr Question kQuestions[] = {
    {kzvUIAskToEndUser_Yes, "Yes"}, {kzvUIAskToEndUser_No, "No"}, {2, "No"}, {-1, "No"}, {1 << 30, "No"}};

TEST_F(UITest, AQuestionIsPrintedAtOnceWithTheAnswer) {
  for (const Question &theQuestion : kQuestions) {
    EXPECT_EQ(Format("Title: erase %%s? (returning %s)\n", theQuestion.mWord),
              PrintedBy([&] { zvUI_AskToEndUserYesNo("Title", "erase %s?", theQuestion.mDefault); }));
  }
}

TEST_F(UITest, AQuestionIsLoggedAndAnsweredWithTheDefault) {
  for (const Question &theQuestion : kQuestions) {
    const Quiet theQuiet;
    mLog.Clear();
    EXPECT_EQ(theQuestion.mDefault, zvUI_AskToEndUserYesNo("Title", "erase?", theQuestion.mDefault));
    EXPECT_THAT(mLog.Messages(), ElementsAre(zvtest::Info(
                                     kModule, Format("Title: erase? (returning %s)\n", theQuestion.mWord))));
  }
}

TEST_F(UITest, TheLogComesFirst) {
  const auto Say = [](const zvtest::Message &, void *) {
    if (write(STDOUT_FILENO, "logged, ", 8) != 8) _exit(1);
  };
  mLog.OnMessage(Say, nullptr);
  EXPECT_EQ("logged, a: b\n", PrintedBy([] { zvUI_DisplayToEndUser("a", "b"); }));
  EXPECT_EQ("logged, a: b (returning No)\n", PrintedBy([] { zvUI_AskToEndUserYesNo("a", "b", 1); }));
}

TEST_F(UITest, WhatTheLogDoesNotWantIsPrintedAllTheSame) {
  mLog.SetLevel(3);
  EXPECT_EQ("a: b\n", PrintedBy([] { zvUI_DisplayToEndUser("a", "b"); }));
  EXPECT_EQ("a: b (returning Yes)\n", PrintedBy([] { zvUI_AskToEndUserYesNo("a", "b", 0); }));
  const Quiet theQuiet;
  zvUI_DisplayToEndUser("a", "b");
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(UITest, OutputThatCannotBeFlushedIsNoFailure) {
  const Quiet theQuiet;
  for (int i = 0; i < 2; ++i) {
    long long theStream = 0;
    Fault theFault("fflush", EIO);
    theFault.Doing([&](const long long *anArguments) { theStream = anArguments[0]; });
    if (i == 0)
      EXPECT_EQ(0, zvUI_DisplayToEndUser("a", "b"));
    else
      EXPECT_EQ(7, zvUI_AskToEndUserYesNo("a", "b", 7));
    EXPECT_EQ(AsArgument(stdout), theStream);
  }
}

//
// The program. Its path is looked up once in the life of a process, so these tests run the test program
// again, each for itself.
//

class UIProgramTest : public UITest {
 protected:
  // Lets the system say that this is the program's file.
  static void Pretend(const std::string &aPath) {
    Fault theFault("readlink", 0);
    theFault.Returning(static_cast<long long>(aPath.size())).Doing([&](const long long *anArguments) {
      memcpy(reinterpret_cast<void *>(static_cast<uintptr_t>(anArguments[1])), aPath.data(), aPath.size());
    });
    EXPECT_EQ(aPath, Take(zvPath_GetApplicationFullPath()));
    EXPECT_EQ(1, theFault.Hits());
  }
};

std::string ProgramWith(const std::string &aStamp) {
  return ElfImage({{".zevo.version", SHT_PROGBITS, aStamp}}, ElfLayout::kHeadersLast).Bytes();
}

TEST_F(UIProgramTest, TheDisplayNameIsTheNameOfTheFile) {
  EXPECT_EQ(zvtest::OwnProgramName(), Take(zvUI_GetApplicationDisplayName()));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(UIProgramTest, TheDisplayNameKeepsItsExtension) {
  if (!zvtest::IsAlone()) return;
  Pretend("/opt/zv/media player.bin");
  EXPECT_EQ("media player.bin", Take(zvUI_GetApplicationDisplayName()));
}

TEST_F(UIProgramTest, WithoutAPathThereIsNoDisplayName) {
  if (!zvtest::IsAlone()) return;
  Pretend("");
  EXPECT_EQ(nullptr, zvUI_GetApplicationDisplayName());
}

TEST_F(UIProgramTest, WithoutMemoryThereIsNoDisplayName) {
  Fault theFault("zvStrdup", ENOMEM, 0, -1);
  EXPECT_EQ(nullptr, zvUI_GetApplicationDisplayName());
  EXPECT_GE(theFault.Hits(), 1);
}

TEST_F(UIProgramTest, TheVersionIsTheRevisionOfTheStamp) {
  if (!zvtest::IsAlone()) return;
  const zvtest::TempFolder theFolder;
  const std::string thePath = theFolder.File("player");
  Pretend(thePath);
  for (const char *theRevision : {"1", "1234", "2147483647"}) {
    zvtest::WriteWholeFile(thePath, ProgramWith(std::string(theRevision) + "\nzvOS/branches/main\n"));
    EXPECT_EQ(theRevision, Take(zvUI_GetApplicationVersion()));
  }
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(UIProgramTest, WithoutAStampOrWithRevisionZeroThereIsNoVersion) {
  if (!zvtest::IsAlone()) return;
  const zvtest::TempFolder theFolder;
  const std::string thePath = theFolder.File("player");
  Pretend(thePath);
  EXPECT_EQ(nullptr, zvUI_GetApplicationVersion()) << "no file";
  for (const std::string &theFile :
       {std::string(), std::string("no program"), ProgramWith("0\nzvOS/branches/main\n"),
        ElfImage({{".text", SHT_PROGBITS, "1234\n"}}, ElfLayout::kHeadersLast).Bytes()}) {
    zvtest::WriteWholeFile(thePath, theFile);
    EXPECT_EQ(nullptr, zvUI_GetApplicationVersion()) << theFile.size() << " bytes";
  }
}

TEST_F(UIProgramTest, TheVersionOfTheTestsIsTheirOwn) {
  const int theRevision = zvPath_GetBinaryRevision(zvtest::OwnProgram().c_str(), nullptr);
  EXPECT_EQ(theRevision != 0 ? std::to_string(theRevision) : kNoText, Take(zvUI_GetApplicationVersion()));
}

TEST_F(UIProgramTest, WithoutMemoryThereIsNoVersion) {
  if (!zvtest::IsAlone()) return;
  const zvtest::TempFolder theFolder;
  const std::string thePath = theFolder.File("player");
  zvtest::WriteWholeFile(thePath, ProgramWith("1234\nzvOS/branches/main\n"));
  Pretend(thePath);
  for (const char *theFunction : {"zvMalloc", "zvStrdup"}) {
    int theFailures = 0;
    for (;; ++theFailures) {
      Fault theFault(theFunction, ENOMEM, theFailures);
      const std::string theVersion = Take(zvUI_GetApplicationVersion());
      EXPECT_EQ(theFault.Hits() != 0 ? kNoText : "1234", theVersion) << theFunction << " " << theFailures;
      if (theFault.Hits() == 0) break;
    }
    EXPECT_GE(theFailures, 1) << theFunction;
  }
}

TEST_F(UIProgramTest, TheVersionHasThirtyTwoBytesOfTheLogLibrarysMemory) {
  if (!zvtest::IsAlone()) return;
  const zvtest::TempFolder theFolder;
  const std::string thePath = theFolder.File("player");
  zvtest::WriteWholeFile(thePath, ProgramWith("1234\nzvOS/branches/main\n"));
  Pretend(thePath);
  long long theSize = 0;
  Fault theFault("zvMalloc", 0, 0, -1);
  theFault.PassingThrough().Doing([&](const long long *anArguments) { theSize = anArguments[0]; });
  EXPECT_EQ("1234", Take(zvUI_GetApplicationVersion()));
  EXPECT_EQ(32, theSize);
}

}  // namespace
