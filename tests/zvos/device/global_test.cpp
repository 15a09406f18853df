// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Named pointers in the environment. Set decorates the name, Get does not.

#include <zvOS/zvGlobal.h>
#include <zvOS/zvPlatform.h>

#include "support/Faults.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;

constexpr zvLogModule kDefaultModule = 0;
constexpr zvLogModule kSystemModule = 7;

constexpr char kName[] = "ZVTEST_GLOBAL";

// What a variable is called in the environment when this process stores it.
std::string Decorated(const std::string &aName) {
  return aName + Format(".%lu.zvGlobal", static_cast<unsigned long>(getpid()));
}

auto Missing(const std::string &aName) {
  return zvtest::Warning(
      kDefaultModule,
      Format("zvGlobal_GetVariable: Cannot get global variable '%s' (cannot get environment '%s')\n",
             aName.c_str(), Decorated(aName).c_str()));
}

auto NotStored(const std::string &aName, const std::string &aVariable) {
  return zvtest::Error(
      kDefaultModule,
      Format("zvGlobal_SetVariable: Cannot store global variable '%s' (cannot set environment '%s')\n",
             aName.c_str(), aVariable.c_str()));
}

std::string PointerText(const void *aPointer) {
  return Format("%p", aPointer);
}

void *Pointer(uintptr_t aNumber) {
  return reinterpret_cast<void *>(aNumber);
}

class GlobalTest : public ::testing::Test {
 protected:
  GlobalTest() { Forget(); }
  ~GlobalTest() override { Forget(); }

  static void Forget() {
    unsetenv(kName);
    unsetenv(Decorated(kName).c_str());
  }

  zvtest::RecordingLog mLog;
  int mObject = 0;
};

TEST_F(GlobalTest, TheSuffixHasNineCharactersAndBeginsWithADot) {
  EXPECT_EQ(9u, strlen(kzvGlobalVariableSuffix));
  EXPECT_EQ('.', kzvGlobalVariableSuffix[0]);
}

TEST_F(GlobalTest, SetStoresThePointerUnderTheNameOfThisProcess) {
  zvGlobal_SetPtr(kName, &mObject);
  const char *const theText = getenv(Decorated(kName).c_str());
  ASSERT_NE(nullptr, theText);
  EXPECT_EQ(PointerText(&mObject), theText);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(GlobalTest, SetLeavesThePlainNameAlone) {
  setenv(kName, "plain", 1);
  zvGlobal_SetPtr(kName, &mObject);
  EXPECT_STREQ("plain", getenv(kName));
}

TEST_F(GlobalTest, SetReplacesTheFormerPointer) {
  zvGlobal_SetPtr(kName, &mObject);
  zvGlobal_SetPtr(kName, Pointer(0x10));
  EXPECT_STREQ("0x10", getenv(Decorated(kName).c_str()));
  zvGlobal_SetPtr(kName, nullptr);
  EXPECT_EQ(PointerText(nullptr), getenv(Decorated(kName).c_str()));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(GlobalTest, EveryProcessStoresUnderItsOwnId) {
  zvGlobal_SetPtr(kName, Pointer(0x10));
  const auto theResult = zvtest::RunInChild([] {
    zvGlobal_SetPtr(kName, Pointer(0x20));
    printf("%s %s", Decorated(kName).c_str(), getenv(Decorated(kName).c_str()));
    return 0;
  });
  EXPECT_EQ(Format("%s.%d.zvGlobal 0x20", kName, theResult.mPid), theResult.mOutput);
  EXPECT_STREQ("0x10", getenv(Decorated(kName).c_str()));
}

TEST_F(GlobalTest, TheProcessIdIsADecimalNumberWithoutSign) {
  for (const char *theId : {"1", "32768", "2147483647", "4294967295"}) {
    Fault theFault("getpid", 0);
    theFault.Returning(static_cast<int>(strtoul(theId, nullptr, 10)));
    zvGlobal_SetPtr(kName, Pointer(0x30));
    const std::string theVariable = Format("%s.%s.zvGlobal", kName, theId);
    EXPECT_STREQ("0x30", getenv(theVariable.c_str())) << theVariable;
    unsetenv(theVariable.c_str());
  }
}

TEST_F(GlobalTest, NamesOfAnyLengthAreStored) {
  for (const std::string &theName :
       {std::string(), std::string(5000, 'n'), std::string("with blank.and dot")}) {
    zvGlobal_SetPtr(theName.c_str(), Pointer(0x40));
    EXPECT_STREQ("0x40", getenv(Decorated(theName).c_str()));
    unsetenv(Decorated(theName).c_str());
  }
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(GlobalTest, GetReadsThePlainName) {
  for (void *const thePointer : {static_cast<void *>(&mObject), Pointer(1), Pointer(INTPTR_MAX),
                                 Pointer(UINTPTR_MAX), Pointer(UINTPTR_MAX / 2 + 1)}) {
    setenv(kName, PointerText(thePointer).c_str(), 1);
    EXPECT_EQ(thePointer, zvGlobal_GetPtr(kName));
  }
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(GlobalTest, GetFindsWhatThePlatformSetUnderThePlainName) {
  EXPECT_EQ(0, zvPlatform_setenv(kName, PointerText(&mObject).c_str()));
  EXPECT_EQ(&mObject, zvGlobal_GetPtr(kName));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(GlobalTest, AStoredNullIsFoundAndNotMissing) {
  setenv(kName, PointerText(nullptr).c_str(), 1);
  EXPECT_EQ(nullptr, zvGlobal_GetPtr(kName));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(GlobalTest, GetDoesNotFindWhatSetStored) {
  zvGlobal_SetPtr(kName, &mObject);
  EXPECT_EQ(nullptr, zvGlobal_GetPtr(kName));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Missing(kName)));
}

TEST_F(GlobalTest, GetOfTheDecoratedNameFindsWhatSetStored) {
  zvGlobal_SetPtr(kName, &mObject);
  EXPECT_EQ(&mObject, zvGlobal_GetPtr(Decorated(kName).c_str()));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(GlobalTest, ANameThatWasNeverSetIsMissing) {
  EXPECT_EQ(nullptr, zvGlobal_GetPtr(kName));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Missing(kName)));
}

TEST_F(GlobalTest, ATextThatIsNoPointerIsMissing) {
  for (const char *theText :
       {"", " ", "pointer", "12", "0x", "0xg", "0x10 ", "-0x10", "0x10000000000000000"}) {
    mLog.Clear();
    setenv(kName, theText, 1);
    EXPECT_EQ(nullptr, zvGlobal_GetPtr(kName)) << theText;
    EXPECT_THAT(mLog.Messages(), ElementsAre(Missing(kName))) << theText;
  }
}

TEST_F(GlobalTest, AMissingPointerIsAWarningOnly) {
  mLog.SetLevel(2);
  EXPECT_EQ(nullptr, zvGlobal_GetPtr(kName));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(GlobalTest, ANameThatTheEnvironmentRefusesIsLoggedTwice) {
  const std::string theVariable = Decorated("a=b");
  zvGlobal_SetPtr("a=b", Pointer(0x50));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(
          zvtest::Error(kSystemModule,
                        Format("zvPlatform: Unable to set environment variable '%s' to '0x50'. Error = %d\n",
                               theVariable.c_str(), EINVAL)),
          NotStored("a=b", theVariable)));
}

TEST_F(GlobalTest, NothingIsNoName) {
  zvGlobal_SetPtr(nullptr, Pointer(0x50));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(
          zvtest::Error(
              kSystemModule,
              Format("zvPlatform: Unable to set environment variable '(null)' to '0x50'. Error = %d\n",
                     EINVAL)),
          NotStored("(null)", "(null)")));
  mLog.Clear();
  EXPECT_EQ(nullptr, zvGlobal_GetPtr(nullptr));
  EXPECT_THAT(mLog.Messages(), ElementsAre(zvtest::Warning(
                                   kDefaultModule,
                                   "zvGlobal_GetVariable: Cannot get global variable '(null)' (cannot get "
                                   "environment '(null)')\n")));
}

TEST_F(GlobalTest, AFullEnvironmentKeepsTheFormerPointer) {
  zvGlobal_SetPtr(kName, Pointer(0x60));
  mLog.SpoilErrno(EDOM);
  Fault theFault("setenv", ENOMEM);
  zvGlobal_SetPtr(kName, Pointer(0x70));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(
          zvtest::Error(kSystemModule,
                        Format("zvPlatform: Unable to set environment variable '%s' to '0x70'. Error = %d\n",
                               Decorated(kName).c_str(), ENOMEM)),
          NotStored(kName, Decorated(kName))));
  EXPECT_STREQ("0x60", getenv(Decorated(kName).c_str()));
}

TEST_F(GlobalTest, WithoutMemoryForTheNameNothingIsStored) {
  Fault theFault("zvMalloc", ENOMEM);
  zvGlobal_SetPtr(kName, &mObject);
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(mLog.Messages(), Contains(NotStored(kName, "(null)")));
  EXPECT_EQ(nullptr, getenv(Decorated(kName).c_str()));
}

TEST_F(GlobalTest, WithoutMemoryForTheTextThePointerIsMissing) {
  setenv(kName, PointerText(&mObject).c_str(), 1);
  Fault theFault("zvStrdup", ENOMEM);
  EXPECT_EQ(nullptr, zvGlobal_GetPtr(kName));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Missing(kName)));
}

void SomeFunction() {}

TEST_F(GlobalTest, FunctionsAreStoredAsPointersAre) {
  zvGlobal_SetFunctionPtr(kName, &SomeFunction);
  const std::string theText = PointerText(reinterpret_cast<void *>(&SomeFunction));
  ASSERT_STREQ(theText.c_str(), getenv(Decorated(kName).c_str()));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
  EXPECT_EQ(nullptr, zvGlobal_GetFunctionPtr(kName));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Missing(kName)));
  setenv(kName, theText.c_str(), 1);
  EXPECT_EQ(&SomeFunction, zvGlobal_GetFunctionPtr(kName));
}

}  // namespace
