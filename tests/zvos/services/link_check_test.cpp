// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The registered check of links, a variable that programs may also set themselves.

#include <zvOS/zvSocketAddress.h>

#include "support/Support.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

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

}  // namespace
