// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Policies: which connections are accepted, which addresses listed, and how both are replaced.

#include "socket_policy_support.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using zvtest::Fault;
using namespace zvtest::policy;

namespace {

// What the replaced decisions were asked and what they answer.
struct Decisions {
  int mAccept = 0;
  std::vector<std::vector<uint32>> mAccepted;
  std::vector<uint32> mMapped;
  zvSocketPolicy *mPolicy = nullptr;
} sDecisions;

int Accept(zvSocketPolicy *aPolicy, uint32 aSource, uint32 aReceived) {
  sDecisions.mPolicy = aPolicy;
  sDecisions.mAccepted.push_back({aSource, aReceived});
  return sDecisions.mAccept;
}

int GetList(zvSocketPolicy *aPolicy, uint32 **anIPAddressList, int afIncludeLocalhost) {
  sDecisions.mPolicy = aPolicy;
  *anIPAddressList = static_cast<uint32 *>(malloc(sizeof(uint32)));
  **anIPAddressList = kForeign;
  return afIncludeLocalhost == 5 ? 1 : 0;
}

// All odd addresses are one.
uint32 MapAddress(zvSocketPolicy *aPolicy, uint32 anIPAddress) {
  sDecisions.mPolicy = aPolicy;
  sDecisions.mMapped.push_back(anIPAddress);
  return anIPAddress % 2 != 0 ? 1 : anIPAddress;
}

class SocketPolicyDecisions : public SocketPolicy {
 protected:
  SocketPolicyDecisions() { sDecisions = Decisions(); }

  static Policy Replaced(uint32 aPolicy) {
    Policy thePolicy = NewPolicy(aPolicy);
    zvSocketPolicy_SetFunc(thePolicy.get(), Accept, GetList, MapAddress);
    return thePolicy;
  }

  Machine mMachine;
};

constexpr uint32 kIPPolicies[] = {kzvSocketPolicy_IP_Other, kzvSocketPolicy_IP_All,
                                  kzvSocketPolicy_IP_AllExceptLocalHost, kzvSocketPolicy_IP_LocalHostOnly};

TEST_F(SocketPolicyDecisions, NoPolicyAcceptsEverything) {
  EXPECT_EQ(1, zvSocketPolicy_AcceptConnection(nullptr, kForeign, kForeign));
  EXPECT_EQ(0, mMachine.Hits());
}

TEST_F(SocketPolicyDecisions, TheReplacedDecisionIsAskedAndItsConsentReturnedAsItIs) {
  for (const uint32 theIPPolicy : kIPPolicies) {
    const Policy thePolicy = Replaced(theIPPolicy);
    for (const int theAnswer : {1, 42, -1}) {
      sDecisions = Decisions();
      sDecisions.mAccept = theAnswer;
      EXPECT_EQ(theAnswer, zvSocketPolicy_AcceptConnection(thePolicy.get(), 11, 22));
      EXPECT_EQ(thePolicy.get(), sDecisions.mPolicy);
      EXPECT_THAT(sDecisions.mAccepted, ElementsAre(ElementsAre(11, 22)));
      EXPECT_THAT(sDecisions.mMapped, IsEmpty());
    }
  }
}

TEST_F(SocketPolicyDecisions, ARefusalIsRevisedOnlyForTheLocalHost) {
  for (const uint32 theIPPolicy : kIPPolicies) {
    SCOPED_TRACE(theIPPolicy);
    const bool afRevised = theIPPolicy == kzvSocketPolicy_IP_LocalHostOnly;
    sDecisions = Decisions();
    // The other bits of the number do not matter.
    EXPECT_EQ(afRevised ? 1 : 0,
              zvSocketPolicy_AcceptConnection(Replaced(0xFFFFFFF0 | theIPPolicy).get(), 11, 33));
    EXPECT_EQ(afRevised ? 2u : 0u, sDecisions.mMapped.size());
  }
}

TEST_F(SocketPolicyDecisions, ARefusalStandsForAddressesThatMapToDifferentOnes) {
  const Policy thePolicy = Replaced(kzvSocketPolicy_IP_LocalHostOnly);
  EXPECT_EQ(0, zvSocketPolicy_AcceptConnection(thePolicy.get(), 11, 22));
  EXPECT_THAT(sDecisions.mMapped, ::testing::UnorderedElementsAre(11, 22));
}

TEST_F(SocketPolicyDecisions, ALocalHostPolicyAcceptsTheMachineTalkingToItself) {
  const Policy thePolicy = NewPolicy(kzvSocketPolicy_IP_LocalHostOnly);
  EXPECT_EQ(1, zvSocketPolicy_AcceptConnection(thePolicy.get(), kFirstOwn, kFirstOwn));
  EXPECT_EQ(1, zvSocketPolicy_AcceptConnection(thePolicy.get(), kFirstOwn, kSecondOwn));
  EXPECT_EQ(1, zvSocketPolicy_AcceptConnection(thePolicy.get(), kLoopback, kFirstOwn));
  EXPECT_EQ(0, zvSocketPolicy_AcceptConnection(thePolicy.get(), kForeign, kFirstOwn));
  // What arrived on loopback is not asked where it came from.
  EXPECT_EQ(1, zvSocketPolicy_AcceptConnection(thePolicy.get(), kForeign, kLoopback));
}

TEST_F(SocketPolicyDecisions, TheReplacedFunctionsAreForwardedTo) {
  const Policy thePolicy = Replaced(kzvSocketPolicy_IP_All);
  EXPECT_EQ(AddressVector{kForeign}, ListOf(zvSocketPolicy_GetIPAddressList, thePolicy, 5));
  EXPECT_EQ(AddressVector{}, ListOf(zvSocketPolicy_GetIPAddressList, thePolicy, 1));
  EXPECT_EQ(thePolicy.get(), sDecisions.mPolicy);
  sDecisions.mPolicy = nullptr;
  EXPECT_EQ(1u, zvSocketPolicy_MapLocalIPAddressToLoopBack(thePolicy.get(), 11));
  EXPECT_EQ(thePolicy.get(), sDecisions.mPolicy);
}

TEST_F(SocketPolicyDecisions, NullCountsAsTheDefault) {
  const Policy thePolicy = Replaced(kzvSocketPolicy_IP_LocalHostOnly);
  zvSocketPolicy_SetFunc(thePolicy.get(), nullptr, GetList, MapAddress);
  EXPECT_EQ(1, zvSocketPolicy_AcceptConnection(thePolicy.get(), kForeign, kNowhere));
  EXPECT_THAT(sDecisions.mAccepted, IsEmpty());

  zvSocketPolicy_SetFunc(thePolicy.get(), Accept, nullptr, MapAddress);
  EXPECT_EQ(AddressVector{kLoopback}, ListOf(zvSocketPolicy_GetIPAddressList, thePolicy, 5));

  zvSocketPolicy_SetFunc(thePolicy.get(), Accept, GetList, nullptr);
  EXPECT_EQ(kLoopback, zvSocketPolicy_MapLocalIPAddressToLoopBack(thePolicy.get(), kFirstOwn));
}

// ---- The defaults ----

TEST_F(SocketPolicyDecisions, ByDefaultAnAddressOfZeroIsAcceptedFromAnywhere) {
  for (const uint32 theIPPolicy : kIPPolicies) {
    const Policy thePolicy = NewPolicy(theIPPolicy);
    for (const uint32 theSource : {kNowhere, kForeign, kLoopback}) {
      EXPECT_EQ(1, zvSocketPolicy_Default_AcceptConnection(thePolicy.get(), theSource, kNowhere));
      EXPECT_EQ(1, zvSocketPolicy_AcceptConnection(thePolicy.get(), theSource, kNowhere));
    }
  }
  EXPECT_EQ(0, mMachine.Hits());
}

struct DefaultCase {
  uint32 mIPPolicy;
  AddressVector mWithLocalhost;
  AddressVector mWithout;
  uint32 mMappedOwn;
};

std::vector<DefaultCase> DefaultCases() {
  const AddressVector theOthers = {kFirstOwn, kSecondOwn};
  const AddressVector theAll = {kLoopback, kFirstOwn, kSecondOwn};
  return {{kzvSocketPolicy_IP_Other, theAll, theOthers, kFirstOwn},
          {kzvSocketPolicy_IP_All, theAll, theOthers, kFirstOwn},
          {kzvSocketPolicy_IP_AllExceptLocalHost, theOthers, theOthers, kFirstOwn},
          {kzvSocketPolicy_IP_LocalHostOnly, {kLoopback}, {kLoopback}, kLoopback}};
}

bool Holds(const AddressVector &aList, uint32 anAddress) {
  return std::find(aList.begin(), aList.end(), anAddress) != aList.end();
}

TEST_F(SocketPolicyDecisions, TheIPPolicyDecidesWhichAddressesAreListed) {
  for (const DefaultCase &theCase : DefaultCases()) {
    SCOPED_TRACE(theCase.mIPPolicy);
    const Policy thePolicy = NewPolicy(0xFFFFFFF0 | theCase.mIPPolicy);
    for (const ListFunction theFunction :
         {zvSocketPolicy_Default_GetIPAddressList, zvSocketPolicy_GetIPAddressList}) {
      EXPECT_EQ(theCase.mWithLocalhost, ListOf(theFunction, thePolicy, 1));
      EXPECT_EQ(theCase.mWithout, ListOf(theFunction, thePolicy, 0));
    }
  }
}

TEST_F(SocketPolicyDecisions, TheIPPolicyDecidesWhichConnectionsAreAcceptedByDefault) {
  for (const DefaultCase &theCase : DefaultCases()) {
    SCOPED_TRACE(theCase.mIPPolicy);
    const Policy thePolicy = NewPolicy(theCase.mIPPolicy);
    for (const uint32 theReceived : {kLoopback, kFirstOwn, kSecondOwn, kForeign}) {
      // Whether the source is the same does not matter.
      for (const uint32 theSource : {kForeign, theReceived}) {
        EXPECT_EQ(Holds(theCase.mWithLocalhost, theReceived) ? 1 : 0,
                  zvSocketPolicy_Default_AcceptConnection(thePolicy.get(), theSource, theReceived));
      }
    }
  }
}

TEST_F(SocketPolicyDecisions, TheDefaultDecisionUsesTheDefaultList) {
  const Policy thePolicy = Replaced(kzvSocketPolicy_IP_All);
  EXPECT_EQ(0, zvSocketPolicy_Default_AcceptConnection(thePolicy.get(), kForeign, kForeign));
  EXPECT_EQ(1, zvSocketPolicy_Default_AcceptConnection(thePolicy.get(), kForeign, kFirstOwn));
}

TEST_F(SocketPolicyDecisions, WhenTheInterfacesCannotBeListedOnlyZeroIsAccepted) {
  const Policy thePolicy = NewPolicy(kzvSocketPolicy_IP_All);
  Fault theFault("getifaddrs", EMFILE, 0, -1);
  EXPECT_EQ(0, zvSocketPolicy_AcceptConnection(thePolicy.get(), kFirstOwn, kFirstOwn));
  EXPECT_EQ(1, zvSocketPolicy_AcceptConnection(thePolicy.get(), kFirstOwn, kNowhere));
}

TEST_F(SocketPolicyDecisions, OnlyForTheLocalHostAreOwnAddressesMapped) {
  for (const DefaultCase &theCase : DefaultCases()) {
    SCOPED_TRACE(theCase.mIPPolicy);
    const Policy thePolicy = NewPolicy(theCase.mIPPolicy);
    for (const auto theFunction :
         {zvSocketPolicy_Default_MapLocalIPAddressToLoopBack, zvSocketPolicy_MapLocalIPAddressToLoopBack}) {
      EXPECT_EQ(theCase.mMappedOwn, theFunction(thePolicy.get(), kFirstOwn));
      EXPECT_EQ(kForeign, theFunction(thePolicy.get(), kForeign));
      EXPECT_EQ(kLoopback, theFunction(thePolicy.get(), kLoopback));
    }
  }
}

TEST_F(SocketPolicyDecisions, WithoutAPolicyTheDefaultsRestrictNothing) {
  const Policy theNone;
  const AddressVector theOthers = {kFirstOwn, kSecondOwn};
  const AddressVector theAll = {kLoopback, kFirstOwn, kSecondOwn};
  for (const ListFunction theFunction :
       {zvSocketPolicy_Default_GetIPAddressList, zvSocketPolicy_GetIPAddressList}) {
    EXPECT_EQ(theAll, ListOf(theFunction, theNone, 1));
    EXPECT_EQ(theOthers, ListOf(theFunction, theNone, 0));
  }
  EXPECT_EQ(kFirstOwn, zvSocketPolicy_Default_MapLocalIPAddressToLoopBack(nullptr, kFirstOwn));
  EXPECT_EQ(kFirstOwn, zvSocketPolicy_MapLocalIPAddressToLoopBack(nullptr, kFirstOwn));
  EXPECT_EQ(1, zvSocketPolicy_IsValidIF(nullptr, "eth0"));
  EXPECT_EQ(1, zvSocketPolicy_Default_AcceptConnection(nullptr, kForeign, kLoopback));
  EXPECT_EQ(0, zvSocketPolicy_Default_AcceptConnection(nullptr, kLoopback, kForeign));
}

TEST_F(SocketPolicyDecisions, ExcludedInterfacesAreNeitherListedNorAcceptedNorMapped) {
  const Policy thePolicy = NewPolicy(kzvSocketPolicy_IP_All);
  Configure(thePolicy, "exclude-if = eth0\n");
  EXPECT_EQ((AddressVector{kLoopback, kSecondOwn}), ListOf(zvSocketPolicy_GetIPAddressList, thePolicy, 1));
  EXPECT_EQ(0, zvSocketPolicy_AcceptConnection(thePolicy.get(), kForeign, kFirstOwn));
  EXPECT_EQ(1, zvSocketPolicy_AcceptConnection(thePolicy.get(), kForeign, kSecondOwn));
  zvSocketPolicy_ChangePolicy_IP(thePolicy.get(), kzvSocketPolicy_IP_LocalHostOnly);
  EXPECT_EQ(kFirstOwn, zvSocketPolicy_MapLocalIPAddressToLoopBack(thePolicy.get(), kFirstOwn));
  EXPECT_EQ(kLoopback, zvSocketPolicy_MapLocalIPAddressToLoopBack(thePolicy.get(), kSecondOwn));
}

}  // namespace
