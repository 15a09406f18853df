// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The registered check of links, a variable that programs may also set themselves.

#include "link_status_support.h"

#include <dlfcn.h>

namespace {

using namespace zvtest;
using namespace zvtest::link_status;

int32 sAskedFor;

int OneCheck(int32 anAddress) {
  sAskedFor = anAddress;
  return 42;
}

int AnotherCheck(int32) {
  return 43;
}

class LinkCheck : public ::testing::Test {
 protected:
  ~LinkCheck() override { g_zvSocket_IsLinkProtected = mAtTheStart; }

  int (*const mAtTheStart)(int32) = g_zvSocket_IsLinkProtected;
};

TEST_F(LinkCheck, TheVariableIsVisibleAndHoldsThePlatformsCheckAtTheStart) {
  void *const theLibrary = dlopen(zvtest::BuiltLibrary("libzvOS.so.1").c_str(), RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(nullptr, theLibrary) << dlerror();
  EXPECT_NE(nullptr, dlsym(theLibrary, "g_zvSocket_IsLinkProtected"));
  void *const thePlatformsCheck = dlsym(theLibrary, "_zvSocket_IsLinkProtected");
  ASSERT_NE(nullptr, thePlatformsCheck);
  EXPECT_EQ(thePlatformsCheck, reinterpret_cast<void *>(mAtTheStart));
  dlclose(theLibrary);
}

TEST_F(LinkCheck, WhatAProgramStoresIsAsked) {
  g_zvSocket_IsLinkProtected = OneCheck;
  EXPECT_EQ(42, zvSocket_IsLinkProtected(-1407188993));
  EXPECT_EQ(-1407188993, sAskedFor);
  g_zvSocket_IsLinkProtected = nullptr;
  EXPECT_EQ(0, zvSocket_IsLinkProtected(1));
}

TEST_F(LinkCheck, WhatTheSetterStoresIsSeenInTheVariable) {
  zvSocket_SetLinkProtectionCheckFunc(AnotherCheck);
  EXPECT_EQ(AnotherCheck, g_zvSocket_IsLinkProtected);
  EXPECT_EQ(43, zvSocket_IsLinkProtected(1));
  zvSocket_SetLinkProtectionCheckFunc(nullptr);
  EXPECT_EQ(nullptr, g_zvSocket_IsLinkProtected);
}

// ---- With a supplicant ----

int PlatformsCheck(int32 anAddress) {
  return _zvSocket_IsLinkProtected(static_cast<uint32>(anAddress));
}

TEST_F(LinkStatus, TheSupplicantIsAskedUnlessAnotherCheckIsRegistered) {
  OnWirelessHost([] {
    const auto theAddress = static_cast<int32>(Address(kAddress));
    Supplicant theSupplicant("eth0");
    EXPECT_EQ(0, zvSocket_IsLinkProtected(theAddress));
    theSupplicant.SetAnswer(kProtectedAnswer);
    EXPECT_EQ(1, zvSocket_IsLinkProtected(theAddress));
    EXPECT_EQ(2u, theSupplicant.Requests().size());

    zvSocket_SetLinkProtectionCheckFunc(OneCheck);
    EXPECT_EQ(42, zvSocket_IsLinkProtected(theAddress));
    EXPECT_EQ(2u, theSupplicant.Requests().size());
  });
}

TEST_F(LinkStatus, ARegisteredCheckGetsTheAddressAndGivesTheAnswer) {
  zvSocket_SetLinkProtectionCheckFunc(OneCheck);
  for (const char *theAddress : {"10.9.0.1", "192.168.0.200", "0.0.0.0"}) {
    EXPECT_EQ(42, zvSocket_IsLinkProtected(static_cast<int32>(Address(theAddress))));
    EXPECT_EQ(static_cast<int32>(Address(theAddress)), sAskedFor);
  }
  zvSocket_SetLinkProtectionCheckFunc(PlatformsCheck);
}

TEST_F(LinkStatus, WithoutACheckEveryLinkIsUnprotected) {
  zvSocket_SetLinkProtectionCheckFunc(nullptr);
  const int theSockets = CallsOf("socket");
  for (const char *theAddress : {"10.9.0.1", "127.0.0.1", "0.0.0.0"}) {
    EXPECT_EQ(0, zvSocket_IsLinkProtected(static_cast<int32>(Address(theAddress))));
  }
  EXPECT_EQ(theSockets, CallsOf("socket"));
  zvSocket_SetLinkProtectionCheckFunc(PlatformsCheck);
}

}  // namespace
