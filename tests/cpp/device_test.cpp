// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include <zvOS/cpp/Device.hpp>
#include <zvOS/cpp/Thread.hpp>

#include "support/Faults.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <fcntl.h>
#include <unistd.h>

#include <string>

namespace {

using ::testing::Contains;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using namespace zvtest;

std::string PluginPath(const std::string &aName) {
  return BuiltLibrary("plugins/" + aName + ".so");
}

class CppPlugin : public testing::Test {
 protected:
  RecordingLog mLog;
  zv::Result<zv::Plugin> mPlugin = zv::Plugin::Load(PluginPath("zvtest_good").c_str());
};

TEST_F(CppPlugin, GivesSymbolsTheirTypes) {
  ASSERT_TRUE(mPlugin);
  const auto theDouble = mPlugin->Symbol<int(int)>("zvTestPlugin_Double");
  ASSERT_TRUE(theDouble);
  EXPECT_EQ(42, (*theDouble)(21));
  const auto theNumber = mPlugin->Symbol<const int>("zvTestPlugin_Number");
  ASSERT_TRUE(theNumber);
  EXPECT_EQ(4711, **theNumber);
}

TEST_F(CppPlugin, IsUnloadedWithItsOwner) {
  ASSERT_TRUE(mPlugin);
  int theFarewells = 0;
  **mPlugin->Symbol<int *>("zvTestPlugin_Farewells") = &theFarewells;
  mPlugin = zv::Error(-1, 0);
  EXPECT_EQ(1, theFarewells);
}

TEST_F(CppPlugin, ASymbolThatIsMissingIsAnError) {
  ASSERT_TRUE(mPlugin);
  const auto theSymbol = mPlugin->Symbol<void()>("zvTestPlugin_Missing");
  EXPECT_FALSE(theSymbol);
  EXPECT_EQ(-1, theSymbol.error().Status());
}

// An ENOENT of the caller would make the log speak of missing dependencies.
TEST_F(CppPlugin, ThatCannotBeLoadedIsLoggedAsWhatItIs) {
  mLog.Clear();
  errno = ENOENT;
  const auto thePlugin = zv::Plugin::Load(PluginPath("zvtest_unresolved").c_str());
  EXPECT_FALSE(thePlugin);
  EXPECT_THAT(mLog.Messages(), Contains(Field(&Message::mText, HasSubstr("undefined symbol"))));
}

// Reads to the end, waiting as long as there is nothing.
std::string OutputOf(zv::Process &aProcess, zv::Error *anError) {
  std::string theOutput;
  char theBuffer[4096];
  for (;;) {
    const auto theCount = aProcess.Read(theBuffer, sizeof(theBuffer));
    if (!theCount) {
      *anError = theCount.error();
      return theOutput;
    }
    if (*theCount == 0) zv::this_thread::sleep_for(std::chrono::milliseconds(1));
    theOutput.append(theBuffer, *theCount);
  }
}

TEST(CppProcess, IsReadToItsEnd) {
  auto theProcess = zv::Process::Open("echo one; echo two");
  ASSERT_TRUE(theProcess);
  zv::Error theError;
  errno = EPERM;
  EXPECT_EQ("one\ntwo\n", OutputOf(*theProcess, &theError));
  EXPECT_EQ(kzvProcessStatus_EOS, theError.Status());
  EXPECT_EQ(0, theError.Errno());
}

TEST(CppProcess, IsWrittenToAndWaitedFor) {
  const TempFolder theFolder;
  const std::string thePath = theFolder.File("file");
  auto theProcess = zv::Process::Open(("cat >" + thePath).c_str(), zvProcessOpenMode_Write);
  ASSERT_TRUE(theProcess);
  EXPECT_EQ(4u, theProcess->Write("text").value_or(0));
  EXPECT_TRUE(theProcess->Close());
  EXPECT_FALSE(*theProcess);
  EXPECT_EQ("text", ReadWholeFile(thePath));
}

TEST(CppProcess, ThatCannotBeStartedSaysWhy) {
  const Fault theFault("popen", EMFILE);
  const auto theProcess = zv::Process::Open("true");
  EXPECT_EQ(-1, theProcess.error().Status());
  EXPECT_EQ(EMFILE, theProcess.error().Errno());
  EXPECT_EQ(0, zv::Process().Write("text").error().Errno());
  EXPECT_EQ(kzvProcessStatus_InvalidFD, zv::Process().Read(nullptr, 1).error().Status());
}

class CppSingleInstance : public testing::Test {
 protected:
  CppSingleInstance() { setenv("TMPDIR", mFolder.Path().c_str(), 1); }
  ~CppSingleInstance() override { unsetenv("TMPDIR"); }

  RecordingLog mLog;
  TempFolder mFolder;
};

TEST_F(CppSingleInstance, HasTheNameUntilItsEnd) {
  {
    const auto theInstance = zv::SingleInstance::Take("name");
    ASSERT_TRUE(theInstance);
    InOwnProcess([] {
      const auto theOther = zv::SingleInstance::Take("name");
      EXPECT_EQ(zv::SingleInstance::kStatus_Taken, theOther.error().Status());
    });
  }
  InOwnProcess([] { EXPECT_TRUE(zv::SingleInstance::Take("name")); });
}

TEST_F(CppSingleInstance, ANameThatCannotBeTakenIsAnotherErrorThanOneThatIs) {
  EXPECT_EQ(zv::SingleInstance::kStatus_Error, zv::SingleInstance::Take("").error().Status());
  const Fault theFault("fcntl", ENOLCK);
  const auto theInstance = zv::SingleInstance::Take("name");
  EXPECT_EQ(zv::SingleInstance::kStatus_Error, theInstance.error().Status());
}

}  // namespace
