// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The environment, and programs started in the background.

#include <zvOS/zvPlatform.h>

#include "support/HandleChecks.h"
#include "support/Support.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;

constexpr zvLogModule kModule = 7;
constexpr char kVariable[] = "ZVTEST_PLATFORM";

auto Unset(const std::string &aName, const std::string &aValue, int anError) {
  return zvtest::Error(kModule,
                       Format("zvPlatform: Unable to set environment variable '%s' to '%s'. Error = %d\n",
                              aName.c_str(), aValue.c_str(), anError));
}

class PlatformTest : public ::testing::Test {
 protected:
  PlatformTest() { unsetenv(kVariable); }
  ~PlatformTest() override { unsetenv(kVariable); }

  zvtest::RecordingLog mLog;
};

//
// Environment
//

TEST_F(PlatformTest, AnUnsetVariableHasNoValue) {
  EXPECT_EQ(nullptr, zvPlatform_getenv(kVariable));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(PlatformTest, AnEmptyVariableHasAnEmptyValue) {
  setenv(kVariable, "", 1);
  EXPECT_EQ("", Take(zvPlatform_getenv(kVariable)));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(PlatformTest, AValueComesWholeAndUnchanged) {
  for (const std::string &theValue :
       {std::string("x"), std::string("a=b=c"), std::string(" \t\n%s '\" "), std::string(100000, 'v')}) {
    setenv(kVariable, theValue.c_str(), 1);
    EXPECT_EQ(theValue, Take(zvPlatform_getenv(kVariable)));
  }
}

TEST_F(PlatformTest, AValueIsACopyOfTheCallers) {
  setenv(kVariable, "first", 1);
  char *const theValue = zvPlatform_getenv(kVariable);
  ASSERT_STREQ("first", theValue);
  EXPECT_NE(getenv(kVariable), theValue);
  setenv(kVariable, "second", 1);
  EXPECT_STREQ("first", theValue);
  theValue[0] = 'F';
  EXPECT_STREQ("second", getenv(kVariable));
  free(theValue);
}

TEST_F(PlatformTest, AValueThatCannotBeCopiedIsMissing) {
  setenv(kVariable, "value", 1);
  Fault theFault("zvStrdup", ENOMEM);
  EXPECT_EQ(nullptr, zvPlatform_getenv(kVariable));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(PlatformTest, AVariableCanBeSetAndReadBack) {
  EXPECT_EQ(0, zvPlatform_setenv(kVariable, "some value"));
  EXPECT_STREQ("some value", getenv(kVariable));
  EXPECT_EQ("some value", Take(zvPlatform_getenv(kVariable)));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(PlatformTest, SettingReplacesTheFormerValue) {
  setenv(kVariable, "former", 1);
  EXPECT_EQ(0, zvPlatform_setenv(kVariable, "latter"));
  EXPECT_STREQ("latter", getenv(kVariable));
  EXPECT_EQ(0, zvPlatform_setenv(kVariable, ""));
  EXPECT_STREQ("", getenv(kVariable));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(PlatformTest, AChildInheritsWhatWasSet) {
  EXPECT_EQ(0, zvPlatform_setenv(kVariable, "for children"));
  const auto theResult = zvtest::RunInChild([] { return system("echo \"$ZVTEST_PLATFORM\""); });
  EXPECT_EQ("for children\n", theResult.mOutput);
}

TEST_F(PlatformTest, ANameThatCannotBeAVariableIsRefused) {
  for (const char *theName : {"", "=", "a=b"}) {
    mLog.Clear();
    EXPECT_EQ(-1, zvPlatform_setenv(theName, "value"));
    EXPECT_THAT(mLog.Messages(), ElementsAre(Unset(theName, "value", EINVAL)));
  }
}

TEST_F(PlatformTest, NothingIsNoNameAndNoValue) {
  EXPECT_EQ(nullptr, zvPlatform_getenv(nullptr));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
  EXPECT_EQ(-1, zvPlatform_setenv(nullptr, "value"));
  EXPECT_EQ(-1, zvPlatform_setenv(kVariable, nullptr));
  EXPECT_EQ(nullptr, getenv(kVariable));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Unset("(null)", "value", EINVAL), Unset(kVariable, "(null)", EINVAL)));
}

TEST_F(PlatformTest, AVariableThatCannotBeSetIsLoggedAndKeepsItsValue) {
  setenv(kVariable, "former", 1);
  mLog.SpoilErrno(EDOM);
  Fault theFault("setenv", ENOMEM);
  EXPECT_EQ(-1, zvPlatform_setenv(kVariable, "latter"));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Unset(kVariable, "latter", ENOMEM)));
  EXPECT_STREQ("former", getenv(kVariable));
}

//
// Launching
//

struct Command {
  const char *mPath;
  const char *mParameter;
  const char *mCommand;
};

constexpr Command kCommands[] = {
    {"/bin/prog", nullptr, "\"/bin/prog\"  &"},
    {"/bin/prog", "", "\"/bin/prog\"  &"},
    {"/bin/prog", "-a", "\"/bin/prog\" -a &"},
    {"/opt/my player/player", "file 'a b' $HOME", "\"/opt/my player/player\" file 'a b' $HOME &"},
    {"prog", "\"quoted\" %d %s", "\"prog\" \"quoted\" %d %s &"},
    {"/odd\"name", nullptr, "\"/odd\"name\"  &"},
    {"", nullptr, "\"\"  &"},
};

// Makes system() answer without a command being run.
class System {
 public:
  System(int aResult, int anError) : mFault("system", anError) {
    mFault.Returning(aResult).Doing(
        [this](const long long *anArguments) { mCommand = ArgumentAs<const char>(anArguments[0]); });
  }

  const std::string &CommandLine() const { return mCommand; }

 private:
  std::string mCommand = kNoText;
  Fault mFault;
};

TEST_F(PlatformTest, TheCommandHasTheQuotedPathAndTheParameterAsItStands) {
  for (const Command &theCase : kCommands) {
    mLog.Clear();
    const System theSystem(0, 0);
    EXPECT_EQ(0, zvPlatform_Launch(theCase.mPath, theCase.mParameter));
    EXPECT_EQ(theCase.mCommand, theSystem.CommandLine());
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(zvtest::Debug(
                    kModule, Format("Command executed successfully: '%s'\n", theCase.mCommand))));
  }
}

TEST_F(PlatformTest, ALongCommandIsNotCut) {
  const std::string thePath(5000, 'p');
  const std::string theParameter(50000, 'q');
  const System theSystem(0, 0);
  EXPECT_EQ(0, zvPlatform_Launch(thePath.c_str(), theParameter.c_str()));
  EXPECT_EQ("\"" + thePath + "\" " + theParameter + " &", theSystem.CommandLine());
}

TEST_F(PlatformTest, AFailedLaunchIsLoggedWithResultAndErrno) {
  struct Case {
    int mResult;
    int mError;
  };
  mLog.SpoilErrno(EDOM);
  for (const Case &theCase : {Case{-1, EAGAIN}, Case{-1, ENOMEM}, Case{127 << 8, ENOENT}, Case{9, ECHILD}}) {
    mLog.Clear();
    const System theSystem(theCase.mResult, theCase.mError);
    EXPECT_EQ(theCase.mResult, zvPlatform_Launch("/bin/prog", "-x"));
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(zvtest::Error(
                    kModule, Format("Unable to launch '\"/bin/prog\" -x &' (Error = %d / errno = %d)\n",
                                    theCase.mResult, theCase.mError))));
  }
}

TEST_F(PlatformTest, SuccessIsLoggedAtDebugLevelOnly) {
  mLog.SetLevel(4);
  const System theSystem(0, 0);
  EXPECT_EQ(0, zvPlatform_Launch("/bin/prog", nullptr));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(PlatformTest, ALaunchWithoutMemoryForTheCommandRunsNothing) {
  const int theCalls = CallsOf("system");
  Fault theFault("zv_mnprintf", ENOMEM);
  EXPECT_EQ(-1, zvPlatform_Launch("/bin/prog", nullptr));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_EQ(theCalls, CallsOf("system"));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(zvtest::Error(
                  kModule, Format("Unable to launch '/bin/prog' (Error = -1 / errno = %d)\n", ENOMEM))));
}

TEST_F(PlatformTest, ALaunchOfNothingRunsNothing) {
  const int theCalls = CallsOf("system");
  EXPECT_EQ(-1, zvPlatform_Launch(nullptr, "-x"));
  EXPECT_EQ(theCalls, CallsOf("system"));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(zvtest::Error(
                  kModule, Format("Unable to launch '(null)' (Error = -1 / errno = %d)\n", EINVAL))));
}

// A folder with a program of the given name, a shell script.
class Program {
 public:
  Program(const std::string &aName, const std::string &aScript) : mPath(mFolder.File(aName)) {
    zvtest::WriteWholeFile(mPath, "#!/bin/sh\n" + aScript);
    chmod(mPath.c_str(), 0700);
  }

  const std::string &Path() const { return mPath; }
  std::string File(const std::string &aName) const { return mFolder.File(aName); }

  // Waits until the file is there and whole: a program moves it there when it has written it.
  std::string Awaited(const std::string &aName) const {
    const std::string theFile = File(aName);
    struct stat theStatus;
    EXPECT_TRUE(zvtest::WaitUntil([&] { return stat(theFile.c_str(), &theStatus) == 0; })) << aName;
    return zvtest::ReadWholeFile(theFile);
  }

 private:
  zvtest::TempFolder mFolder;
  std::string mPath;
};

TEST_F(PlatformTest, TheShellSplitsTheParameterButNotThePath) {
  const Program theProgram("a program",
                           "cd \"${0%/*}\"\n"
                           "for theWord in \"$@\"; do echo \"[$theWord]\"; done > words.part\n"
                           "mv words.part words\n");
  EXPECT_EQ(0, zvPlatform_Launch(theProgram.Path().c_str(), "one  'two three' \"\""));
  EXPECT_EQ("[one]\n[two three]\n[]\n", theProgram.Awaited("words"));
}

TEST_F(PlatformTest, LaunchDoesNotWaitForTheProgram) {
  const Program theProgram("program",
                           "cd \"${0%/*}\"\n"
                           "read theOrder < orders\n"
                           "echo \"$theOrder\" > answer.part\n"
                           "mv answer.part answer\n");
  ASSERT_EQ(0, mkfifo(theProgram.File("orders").c_str(), 0600));
  EXPECT_EQ(0, zvPlatform_Launch(theProgram.Path().c_str(), nullptr));
  // Only now does the program get what it waits for.
  std::ofstream(theProgram.File("orders")) << "go\n";
  EXPECT_EQ("go\n", theProgram.Awaited("answer"));
}

TEST_F(PlatformTest, AMissingProgramIsTheAffairOfTheShell) {
  const auto theResult =
      zvtest::RunInChild([] { return zvPlatform_Launch("/nonexistent/program", nullptr); });
  EXPECT_FALSE(theResult.mfSignaled);
  EXPECT_EQ(0, theResult.mStatus);
}

TEST_F(PlatformTest, AQuoteInThePathIsNotEscaped) {
  // The shell misses the other quote and answers with its status for bad syntax.
  const auto theResult = zvtest::RunInChild([this] {
    int theError = -1;
    Fault theFault("system", 0);
    theFault.PassingThrough().Doing([&](const long long *) { theError = errno; });
    const int theAnswer = zvPlatform_Launch("/odd\"name", nullptr);
    if (theAnswer == 0) return 1;
    const auto theMessages = mLog.Messages();
    const std::string theText =
        Format("Unable to launch '\"/odd\"name\"  &' (Error = %d / errno = %d)\n", theAnswer, theError);
    return theMessages.size() == 1 && theMessages[0].mText == theText ? 0 : 2;
  });
  EXPECT_FALSE(theResult.mfSignaled);
  EXPECT_EQ(0, theResult.mStatus);
}

}  // namespace
