// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The record behind an object of priority classes, and the entries that it has room for.

#include "multiplatform/SocketQOS.h"

#include "zvos/services/socket_qos_support.h"

#include <cstddef>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;

namespace {

TEST_F(SocketQOS, ANewObjectIsInitializedAndOtherwiseZero) {
  EXPECT_EQ(nullptr, mQOS->mSocketArray);
  EXPECT_EQ(0, mQOS->mfQWaveSupported);
  EXPECT_EQ(1, mQOS->mfQOSInitialized);
  EXPECT_EQ(0u, offsetof(zvSocketQOS_t, mSocketArray));
  EXPECT_EQ(sizeof(void *), offsetof(zvSocketQOS_t, mfQWaveSupported));
  EXPECT_EQ(sizeof(void *) + 4, offsetof(zvSocketQOS_t, mfQOSInitialized));
}

TEST_F(SocketQOS, DeleteReleasesTheObjectAndNotTheEntries) {
  void *const theEntries = malloc(16);
  const zvSocketQOS theQOS = zvSocketQOS_New();
  theQOS->mSocketArray = theEntries;
  {
    zvtest::ReleaseWatch theWatch;
    theWatch.Watch(theQOS);
    theWatch.Watch(theEntries);
    zvSocketQOS_Delete(theQOS);
    EXPECT_EQ(1, theWatch.ReleasesOf(theQOS));
    EXPECT_EQ(0, theWatch.ReleasesOf(theEntries));
  }
  free(theEntries);
}

TEST_F(SocketQOS, WhatTheSystemMarksItselfIsLeftAlone) {
  const int theOptions = CallsOf("setsockopt");
  mQOS->mfQWaveSupported = 1;
  EXPECT_EQ(0, Set(kzvSocket_QOS_AUDIO_VIDEO));
  EXPECT_EQ(theOptions, CallsOf("setsockopt"));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
  EXPECT_EQ(-1, zvSocketQOS_SetPriority(mQOS, kzvSocketInvalid, kzvSocket_QOS_AUDIO_VIDEO, nullptr));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(kModuleOfQOS, "SetPriority: invalid socket\n")));
}

TEST(SocketQOSEntries, EntriesOfTheSameSocketAreEqual) {
  const uint32 theEntry[] = {5, 1};
  const uint32 theSame[] = {5, 2};
  const uint32 theOther[] = {0x01000005, 1};
  EXPECT_EQ(1, zvos::zvSocketQOS_Search(theEntry, theEntry));
  EXPECT_EQ(1, zvos::zvSocketQOS_Search(theEntry, theSame));
  EXPECT_EQ(0, zvos::zvSocketQOS_Search(theEntry, theOther));
  EXPECT_EQ(0, zvos::zvSocketQOS_Search(theOther, theEntry));
}

TEST(SocketQOSEntries, AnEntryIsReleasedAndNullIsIgnored) {
  zvos::zvSocket_FreeSocketQOSProperties(malloc(16));
  zvos::zvSocket_FreeSocketQOSProperties(nullptr);
}

}  // namespace
