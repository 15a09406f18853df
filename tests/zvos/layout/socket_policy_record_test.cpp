// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The record behind a policy: its number, the user data and the functions, in this order.

#include "zvos/services/socket_policy_support.h"

using ::testing::IsEmpty;
using namespace zvtest::policy;

namespace {

struct Record {
  uint32 mNumber;
  void *mUserData;
  zvSocketAcceptConnectionFunc mAccept;
  zvSocketGetIPAddressListFunc mList;
  zvSocketMapLocalIPAddressToLoopBackFunc mMap;
  zvSocketIsValidIF mIsValid;
};

Record &RecordOf(const Policy &aPolicy) {
  return *reinterpret_cast<Record *>(aPolicy.get());
}

int Accept(zvSocketPolicy *, uint32, uint32) {
  return 0;
}
int GetList(zvSocketPolicy *, uint32 **, int) {
  return 0;
}
uint32 MapAddress(zvSocketPolicy *, uint32 anIPAddress) {
  return anIPAddress;
}

TEST_F(SocketPolicy, ANewPolicyHasItsNumberItsUserDataAndNothingElse) {
  int theData;
  const Policy thePolicy = NewPolicy(0xABCD1231, &theData);
  EXPECT_EQ(0xABCD1231, RecordOf(thePolicy).mNumber);
  EXPECT_EQ(&theData, RecordOf(thePolicy).mUserData);
  EXPECT_EQ(&theData, zvSocketPolicy_GetUserData(thePolicy.get()));
  EXPECT_EQ(nullptr, zvSocketPolicy_GetQOS(thePolicy.get()));
  EXPECT_EQ(1, zvSocketPolicy_IsValidIF(thePolicy.get(), "lo"));
  EXPECT_EQ(nullptr, zvSocketPolicy_GetUserData(NewPolicy(1).get()));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketPolicy, ChangingTheIPPolicyLeavesTheOtherBits) {
  const Policy thePolicy = NewPolicy(0xABCD1230 | kzvSocketPolicy_IP_All);
  const struct {
    int mNew;
    uint32 mLowBits;
  } kChanges[] = {{7, 3}, {4, 0}, {2, 2}, {-1, 3}, {1, 1}, {0, 0}};
  for (const auto &theChange : kChanges) {
    SCOPED_TRACE(theChange.mNew);
    zvSocketPolicy_ChangePolicy_IP(thePolicy.get(), theChange.mNew);
    EXPECT_EQ(0xABCD1230 | theChange.mLowBits, RecordOf(thePolicy).mNumber);
  }
}

TEST_F(SocketPolicy, TheFunctionsAreStoredAsGiven) {
  const Policy thePolicy = NewPolicy(kzvSocketPolicy_IP_All);
  const Record &theRecord = RecordOf(thePolicy);
  zvSocketPolicy_SetFunc(thePolicy.get(), Accept, GetList, MapAddress);
  EXPECT_EQ(Accept, theRecord.mAccept);
  EXPECT_EQ(GetList, theRecord.mList);
  EXPECT_EQ(MapAddress, theRecord.mMap);

  zvSocketPolicy_SetFunc(thePolicy.get(), nullptr, nullptr, nullptr);
  EXPECT_EQ(nullptr, theRecord.mAccept);
  EXPECT_EQ(nullptr, theRecord.mList);
  EXPECT_EQ(nullptr, theRecord.mMap);
  EXPECT_NE(nullptr, theRecord.mIsValid);
}

TEST_F(SocketPolicy, AnInterfaceFilterOfNullIsTheDefault) {
  const Machine theMachine;
  const Policy thePolicy = NewPolicy(kzvSocketPolicy_IP_All);
  Record &theRecord = RecordOf(thePolicy);
  theRecord.mAccept = nullptr;
  theRecord.mList = nullptr;
  theRecord.mMap = nullptr;
  theRecord.mIsValid = nullptr;
  EXPECT_EQ(1, zvSocketPolicy_IsValidIF(thePolicy.get(), "lo"));
  EXPECT_EQ((AddressVector{kLoopback, kFirstOwn, kSecondOwn}),
            ListOf(zvSocketPolicy_GetIPAddressList, thePolicy, 1));
}

}  // namespace
