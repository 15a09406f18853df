// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Priority classes: what is written to a socket for each, and which failures reach the caller.
// The record: layout/socket_qos_record_test.cpp.

#include "socket_qos_support.h"

#include <climits>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;
using zvtest::net::IntOption;
using zvtest::net::Socket;

struct Class {
  int mClass;
  int mTypeOfService;
  int mPriority;
};

const Class kClasses[] = {
    {kzvSocket_QOS_NONE, 0x00, 0},
    {kzvSocket_QOS_BEST_EFFORT, 0x00, 0},
    {kzvSocket_QOS_BACKGROUND, 0x20, 1},
    {kzvSocket_QOS_EXCELLENT_EFFORT, 0x60, 3},
    {kzvSocket_QOS_AUDIO_VIDEO, 0xA0, 5},
    {kzvSocket_QOS_VOICE, 0xC0, 6},
    {kzvSocket_QOS_CONTROL, 0xE0, 7},
    {7, 0x00, 0},
    {-1, 0x00, 0},
    {INT_MAX, 0x00, 0},
    {INT_MIN, 0x00, 0},
};

struct Option {
  int mSocket;
  int mLevel;
  int mName;
  int mValue;
  int mLength;
  bool operator==(const Option &another) const {
    return mSocket == another.mSocket && mLevel == another.mLevel && mName == another.mName &&
           mValue == another.mValue && mLength == another.mLength;
  }
};

void PrintTo(const Option &anOption, std::ostream *aStream) {
  *aStream << "option " << anOption.mLevel << "/" << anOption.mName << " = " << anOption.mValue << " ("
           << anOption.mLength << " bytes) of socket " << anOption.mSocket;
}

TEST(SocketQOSConstants, TheClassesAreNumberedFromNoneToControl) {
  EXPECT_EQ(0, kzvSocket_QOS_NONE);
  EXPECT_EQ(1, kzvSocket_QOS_BEST_EFFORT);
  EXPECT_EQ(2, kzvSocket_QOS_BACKGROUND);
  EXPECT_EQ(3, kzvSocket_QOS_EXCELLENT_EFFORT);
  EXPECT_EQ(4, kzvSocket_QOS_AUDIO_VIDEO);
  EXPECT_EQ(5, kzvSocket_QOS_VOICE);
  EXPECT_EQ(6, kzvSocket_QOS_CONTROL);
  EXPECT_EQ(0, kzvSocket_QOS_FIRST);
  EXPECT_EQ(6, kzvSocket_QOS_LAST);
}

TEST(SocketQOSConstants, TheDLNALevelsAreClasses) {
  EXPECT_EQ(2, kzvSocket_DLNAQOS_0);
  EXPECT_EQ(0, kzvSocket_DLNAQOS_1);
  EXPECT_EQ(4, kzvSocket_DLNAQOS_2);
  EXPECT_EQ(6, kzvSocket_DLNAQOS_3);
}

TEST(SocketQOSConstants, TheResultsAreNegative) {
  EXPECT_EQ(-1, kzvSocketQOSInvalidSocket);
  EXPECT_EQ(-2, kzvSocketQOSNotSupported);
}

// ---- Life ----

TEST_F(SocketQOS, WithoutMemoryThereIsNoObject) {
  Fault theFault("zvMallocZeroed", ENOMEM);
  EXPECT_EQ(nullptr, zvSocketQOS_New());
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketQOS, DeleteOfNullDoesNothing) {
  zvSocketQOS_Delete(nullptr);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

// ---- Marking ----

TEST_F(SocketQOS, EveryClassWritesItsByteAndThenItsPriorityAsFourBytes) {
  const int theSocket = mSocket;
  for (const Class &theClass : kClasses) {
    SCOPED_TRACE(theClass.mClass);
    std::vector<Option> theOptions;
    Fault theFault("setsockopt", 0, 0, -1);
    theFault.Returning(0).Doing([&](const long long *anArguments) {
      theOptions.push_back({static_cast<int>(anArguments[0]), static_cast<int>(anArguments[1]),
                            static_cast<int>(anArguments[2]), *ArgumentAs<int>(anArguments[3]),
                            static_cast<int>(anArguments[4])});
    });
    EXPECT_EQ(0, Set(theClass.mClass));
    EXPECT_THAT(theOptions, ElementsAre(Option{theSocket, IPPROTO_IP, IP_TOS, theClass.mTypeOfService, 4},
                                        Option{theSocket, SOL_SOCKET, SO_PRIORITY, theClass.mPriority, 4}));
  }
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketQOS, EveryClassIsOnTheSocketAfterwards) {
  // Only a privileged process may give a socket the priority of the highest class.
  const int theHighest = 7;
  const bool afPrivileged =
      setsockopt(mSocket, SOL_SOCKET, SO_PRIORITY, &theHighest, sizeof(theHighest)) == 0;
  for (const int theType : {SOCK_DGRAM, SOCK_STREAM}) {
    const Socket theSocket(socket(AF_INET, theType, 0));
    for (const Class &theClass : kClasses) {
      if (theClass.mPriority == theHighest && !afPrivileged) continue;
      SCOPED_TRACE(theClass.mClass);
      EXPECT_EQ(0, zvSocketQOS_SetPriority(mQOS, theSocket, theClass.mClass, nullptr));
      EXPECT_EQ(theClass.mTypeOfService, IntOption(theSocket, IPPROTO_IP, IP_TOS));
      EXPECT_EQ(theClass.mPriority, IntOption(theSocket, SOL_SOCKET, SO_PRIORITY));
    }
  }
  if (!afPrivileged) GTEST_SKIP() << "setting socket priority 7 needs the privilege CAP_NET_ADMIN";
}

TEST_F(SocketQOS, TheAddressDoesNotMatter) {
  sockaddr_in theAddress = zvtest::net::Loopback(80);
  EXPECT_EQ(
      0, zvSocketQOS_SetPriority(mQOS, mSocket, kzvSocket_QOS_BACKGROUND, zvtest::net::Generic(&theAddress)));
  EXPECT_EQ(0x20, IntOption(mSocket, IPPROTO_IP, IP_TOS));
}

TEST_F(SocketQOS, UnsetLeavesTheMarking) {
  Set(kzvSocket_QOS_AUDIO_VIDEO);
  zvSocketQOS_UnsetPriority(mQOS, mSocket);
  zvSocketQOS_UnsetPriority(nullptr, mSocket);
  zvSocketQOS_UnsetPriority(mQOS, kzvSocketInvalid);
  EXPECT_EQ(0xA0, IntOption(mSocket, IPPROTO_IP, IP_TOS));
  EXPECT_EQ(5, IntOption(mSocket, SOL_SOCKET, SO_PRIORITY));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketQOS, NoObjectMarksNothing) {
  const int theOptions = CallsOf("setsockopt");
  for (const int theSocket : {int{mSocket}, -1, 20001})
    EXPECT_EQ(0, zvSocketQOS_SetPriority(nullptr, theSocket, kzvSocket_QOS_CONTROL, nullptr));
  EXPECT_EQ(theOptions, CallsOf("setsockopt"));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketQOS, AnInvalidSocketIsRefused) {
  const int theOptions = CallsOf("setsockopt");
  EXPECT_EQ(kzvSocketQOSInvalidSocket,
            zvSocketQOS_SetPriority(mQOS, kzvSocketInvalid, kzvSocket_QOS_BACKGROUND, nullptr));
  EXPECT_EQ(theOptions, CallsOf("setsockopt"));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(kModuleOfQOS, "SetPriority: invalid socket\n")));
}

// ---- Failures ----

constexpr const char *kByteFailed = "Error calling setsockopt (IP_TOS): -1\n";
constexpr const char *kPriorityFailed = "Error calling setsockopt (SO_PRIORITY): -1\n";

TEST_F(SocketQOS, OnAClosedDescriptorBothOptionsFail) {
  EXPECT_EQ(
      -1, zvSocketQOS_SetPriority(mQOS, zvtest::net::ClosedDescriptor(), kzvSocket_QOS_BACKGROUND, nullptr));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(kModuleOfQOS, kByteFailed), Error(kModuleOfQOS, kPriorityFailed)));
}

TEST_F(SocketQOS, AByteThatCannotBeSetIsOnlyLogged) {
  // A socket of the local family has a priority and no IP header.
  const Socket theSocket(socket(AF_UNIX, SOCK_DGRAM, 0));
  EXPECT_EQ(0, zvSocketQOS_SetPriority(mQOS, theSocket, kzvSocket_QOS_BACKGROUND, nullptr));
  EXPECT_EQ(1, IntOption(theSocket, SOL_SOCKET, SO_PRIORITY));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(kModuleOfQOS, kByteFailed)));
}

TEST_F(SocketQOS, APriorityThatCannotBeSetReachesTheCaller) {
  Fault theFault("setsockopt", EPERM, 1);
  EXPECT_EQ(-1, Set(kzvSocket_QOS_BACKGROUND));
  EXPECT_EQ(0x20, IntOption(mSocket, IPPROTO_IP, IP_TOS));
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(kModuleOfQOS, kPriorityFailed)));
}

}  // namespace
