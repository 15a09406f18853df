// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Policies: their life and their configuration. What they decide: socket_policy_accept_test.cpp.

#include "socket_policy_support.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;
using zvtest::net::kTCP;
using namespace zvtest::policy;

namespace {

TEST(SocketPolicyConstants, TheIPPolicyIsInTheTwoLowBits) {
  EXPECT_EQ(0, kzvSocketPolicy_IP_Other);
  EXPECT_EQ(1, kzvSocketPolicy_IP_All);
  EXPECT_EQ(2, kzvSocketPolicy_IP_AllExceptLocalHost);
  EXPECT_EQ(3, kzvSocketPolicy_IP_LocalHostOnly);
  EXPECT_EQ(3, kzvSocketPolicy_IP_Mask);
}

// ---- Life ----

TEST_F(SocketPolicy, WithoutMemoryThereIsNoPolicy) {
  Fault theFault("zvMallocZeroed", ENOMEM);
  EXPECT_EQ(nullptr, zvSocketPolicy_New(kzvSocketPolicy_IP_All, nullptr));
  EXPECT_EQ(1, theFault.Hits());
}

TEST_F(SocketPolicy, DeleteOfNullDoesNothing) {
  zvSocketPolicy_Delete(nullptr);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketPolicy, DeleteReleasesThePolicyAndWhatItOwns) {
  char *theCopy = nullptr;
  Policy thePolicy = NewPolicy(kzvSocketPolicy_IP_All);
  {
    Fault theFault("zvStrdup", 0);
    theFault.Returning(AsArgument(theCopy = strdup("eth0, eth1")));
    Configure(thePolicy, "exclude-if = eth0, eth1\n");
    EXPECT_EQ(1, theFault.Hits());
  }
  void *const theQOS = zvSocketPolicy_GetQOS(thePolicy.get());
  zvtest::ReleaseWatch theWatch;
  theWatch.Watch(thePolicy.get());
  theWatch.Watch(theQOS);
  theWatch.Watch(theCopy);
  void *const theRecord = thePolicy.get();
  thePolicy.reset();
  EXPECT_EQ(1, theWatch.ReleasesOf(theRecord));
  EXPECT_EQ(1, theWatch.ReleasesOf(theQOS));
  EXPECT_EQ(1, theWatch.ReleasesOf(theCopy));
}

TEST_F(SocketPolicy, ANullPolicyAssertsWhereThereMustBeOne) {
  EXPECT_TRUE(LeftAtAssertion([] { zvSocketPolicy_SetFunc(nullptr, nullptr, nullptr, nullptr); }));
  EXPECT_TRUE(LeftAtAssertion([] { zvSocketPolicy_GetUserData(nullptr); }));
  EXPECT_TRUE(LeftAtAssertion([] { zvSocketPolicy_GetQOS(nullptr); }));
  EXPECT_THAT(mLog.Assertions(),
              ElementsAre(Asserted(kNullPolicy), Asserted(kNullPolicy), Asserted(kNullPolicy)));
}

// ---- Configuration ----

TEST_F(SocketPolicy, AConfiguredPolicyHasQOS) {
  for (const char *theLines : {"", "QOSDisabled = 0\n"}) {
    SCOPED_TRACE(theLines);
    const Policy thePolicy = NewPolicy(kzvSocketPolicy_IP_All);
    Configure(thePolicy, theLines);
    const zvSocketQOS theQOS = zvSocketPolicy_GetQOS(thePolicy.get());
    EXPECT_NE(nullptr, theQOS);
    // It marks sockets.
    EXPECT_EQ(-1, zvSocketQOS_SetPriority(theQOS, kzvSocketInvalid, kzvSocket_QOS_NONE, nullptr));
    EXPECT_THAT(MessagesOf(mLog, kTCP), IsEmpty());
  }
}

TEST_F(SocketPolicy, ADisabledQOSIsNoneAndLogged) {
  for (const char *theLines : {"QOSDisabled = 1\n", "QOSDisabled = 7\n", "QOSDisabled = 0x80000000\n"}) {
    SCOPED_TRACE(theLines);
    mLog.Clear();
    const Policy thePolicy = NewPolicy(kzvSocketPolicy_IP_All);
    Configure(thePolicy, theLines);
    EXPECT_EQ(nullptr, zvSocketPolicy_GetQOS(thePolicy.get()));
    EXPECT_THAT(mLog.Messages(), ElementsAre(Warning(kTCP, "zvSocketPolicy: QOS support is disabled\n")));
  }
}

TEST_F(SocketPolicy, WithoutAConfigurationFileTheDefaultsHold) {
  const Policy thePolicy = NewPolicy(kzvSocketPolicy_IP_All);
  zvSocketPolicy_Configure(thePolicy.get(), nullptr, "server");
  EXPECT_NE(nullptr, zvSocketPolicy_GetQOS(thePolicy.get()));
  EXPECT_EQ(1, zvSocketPolicy_IsValidIF(thePolicy.get(), "lo"));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SocketPolicy, ExcludedInterfacesAreLoggedInRecordsOfTheirOwn) {
  const Policy thePolicy = NewPolicy(kzvSocketPolicy_IP_All);
  Configure(thePolicy, "exclude-if = eth0, \"my bridge,1\"  wl*\n");
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Info(kTCP, "zvSocketPolicy: Excluded interfaces:"), Info(kTCP, " 'eth0'"),
                          Info(kTCP, " 'my bridge,1'"), Info(kTCP, " 'wl*'"), Info(kTCP, "\n")));
}

TEST_F(SocketPolicy, ExcludedInterfacesAreInvalidAndTheOthersValid) {
  const Policy thePolicy = NewPolicy(kzvSocketPolicy_IP_All);
  Configure(thePolicy, "exclude-if = eth0, \"my bridge,1\"  wl*\n");
  for (const char *theName : {"eth0", "my bridge,1", "wlan0", "wl"})
    EXPECT_EQ(0, zvSocketPolicy_IsValidIF(thePolicy.get(), theName)) << theName;
  for (const char *theName : {"lo", "eth1", "eth01", "eth", "", "my", "bridge", "1"})
    EXPECT_NE(0, zvSocketPolicy_IsValidIF(thePolicy.get(), theName)) << theName;
}

TEST_F(SocketPolicy, OnlySeparatorsExcludeNoneAndSaySo) {
  const Policy thePolicy = NewPolicy(kzvSocketPolicy_IP_All);
  Configure(thePolicy, "exclude-if = , ,,\n");
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Info(kTCP, "zvSocketPolicy: Excluded interfaces:None"), Info(kTCP, "\n")));
  EXPECT_EQ(1, zvSocketPolicy_IsValidIF(thePolicy.get(), "eth0"));
}

TEST_F(SocketPolicy, AnEmptyExclusionIsNone) {
  const Policy thePolicy = NewPolicy(kzvSocketPolicy_IP_All);
  Configure(thePolicy, "exclude-if =\n");
  EXPECT_EQ(1, zvSocketPolicy_IsValidIF(thePolicy.get(), "eth0"));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(SocketPolicy, WithoutMemoryForTheExclusionNothingIsExcluded) {
  const Policy thePolicy = NewPolicy(kzvSocketPolicy_IP_All);
  Fault theFault("zvStrdup", ENOMEM);
  Configure(thePolicy, "exclude-if = eth0\n");
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_EQ(1, zvSocketPolicy_IsValidIF(thePolicy.get(), "eth0"));
}

TEST_F(SocketPolicy, ASecondConfigurationReplacesTheFirstWithoutReleasingIt) {
  // In a process of its own, for what it leaks.
  zvtest::InOwnProcess([this] {
    const Policy thePolicy = NewPolicy(kzvSocketPolicy_IP_All);
    Configure(thePolicy, "exclude-if = eth0\n");
    const zvSocketQOS theFirst = zvSocketPolicy_GetQOS(thePolicy.get());
    zvtest::ReleaseWatch theWatch;
    theWatch.Watch(theFirst);
    Configure(thePolicy, "exclude-if = eth1\n");
    EXPECT_EQ(0, theWatch.ReleasesOf(theFirst));
    EXPECT_NE(theFirst, zvSocketPolicy_GetQOS(thePolicy.get()));
    EXPECT_EQ(1, zvSocketPolicy_IsValidIF(thePolicy.get(), "eth0"));
    EXPECT_EQ(0, zvSocketPolicy_IsValidIF(thePolicy.get(), "eth1"));
    Configure(thePolicy, "QOSDisabled = 1\n");
    EXPECT_EQ(0, zvSocketPolicy_IsValidIF(thePolicy.get(), "eth1"));
  });
}

}  // namespace
