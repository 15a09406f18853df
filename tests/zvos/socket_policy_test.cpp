// Policies: which addresses and interfaces a service uses, and which connections it accepts.

#include <zvOS/zvSocketAddress.h>
#include <zvOS/zvSocketPolicy.h>
#include <zvOS/zvSocketQOS.h>

#include <zvLog/zvConfigFile.h>

#include "handle_checks.h"
#include "socket_service_checks.h"

#include <ifaddrs.h>
#include <net/if.h>

#include <list>
#include <memory>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using zvtest::Asserted;
using zvtest::Fault;
using zvtest::Info;
using zvtest::LeftAtAssertion;
using zvtest::Warning;
using zvtest::net::AsArgument;
using zvtest::net::kTCP;

constexpr const char *kNullPolicy = "aSocketPolicy != NULL";
constexpr uint32 kNowhere = 0;

// Network byte order, as everywhere here.
const uint32 kLoopback = inet_addr("127.0.0.1");
const uint32 kFirstOwn = inet_addr("10.1.2.3");
const uint32 kSecondOwn = inet_addr("10.1.2.4");
const uint32 kForeign = inet_addr("192.0.2.1");

// A machine with three interfaces.
class Machine {
 public:
  Machine() : mList("getifaddrs", 0, 0, -1), mFree("freeifaddrs", 0, 0, -1) {
    Add("lo", kLoopback, IFF_UP | IFF_LOOPBACK);
    Add("eth0", kFirstOwn, IFF_UP);
    Add("wlan0", kSecondOwn, IFF_UP);
    mList.Returning(0).Doing([this](const long long *anArguments) {
      *zvtest::net::Pointer<ifaddrs *>(anArguments[0]) = &mInterfaces.front().mEntry;
    });
  }

  // How often the interfaces were listed.
  int Hits() const { return mList.Hits(); }

 private:
  struct Interface {
    std::string mName;
    sockaddr_in mAddress;
    sockaddr_in mMask;
    ifaddrs mEntry;
  };

  void Add(const char *aName, uint32 anAddress, unsigned someFlags) {
    mInterfaces.push_back(
        {aName, zvtest::net::Address(ntohl(anAddress), 0), zvtest::net::Address(0xFFFFFF00, 0), ifaddrs{}});
    Interface &theInterface = mInterfaces.back();
    theInterface.mEntry.ifa_name = &theInterface.mName[0];
    theInterface.mEntry.ifa_flags = someFlags;
    theInterface.mEntry.ifa_addr = zvtest::net::Generic(&theInterface.mAddress);
    theInterface.mEntry.ifa_netmask = zvtest::net::Generic(&theInterface.mMask);
    if (mInterfaces.size() > 1) std::prev(mInterfaces.end(), 2)->mEntry.ifa_next = &theInterface.mEntry;
  }

  std::list<Interface> mInterfaces;
  Fault mList;
  Fault mFree;
};

struct PolicyDeleter {
  void operator()(zvSocketPolicy *aPolicy) const { zvSocketPolicy_Delete(aPolicy); }
};
using Policy = std::unique_ptr<zvSocketPolicy, PolicyDeleter>;

Policy NewPolicy(uint32 aPolicy, void *aUserData = nullptr) {
  return Policy(zvSocketPolicy_New(aPolicy, aUserData));
}

// The number that the record begins with.
uint32 NumberOf(const Policy &aPolicy) {
  uint32 theNumber;
  memcpy(&theNumber, aPolicy.get(), sizeof theNumber);
  return theNumber;
}

class SocketPolicy : public ::testing::Test {
 protected:
  // Configures from a file with these lines in the section "server".
  void Configure(const Policy &aPolicy, const std::string &someLines) {
    zvtest::WriteWholeFile(mFolder.File("server.ini"),
                           "[other]\nQOSDisabled = 1\nexclude-if = lo\n[server]\n" + someLines);
    zvConfigFile_t *const theFile = zvConfigFile_Open(mFolder.File("server.ini").c_str());
    ASSERT_NE(nullptr, theFile);
    zvSocketPolicy_Configure(aPolicy.get(), theFile, "server");
    zvConfigFile_Close(theFile);
  }

  zvtest::TempFolder mFolder;
  zvtest::RecordingLog mLog;
};

using AddressVector = std::vector<uint32>;
using ListFunction = int (*)(zvSocketPolicy *, uint32 **, int);

AddressVector ListOf(ListFunction aFunction, const Policy &aPolicy, int afIncludeLocalhost) {
  uint32 *theList = nullptr;
  const int theCount = aFunction(aPolicy.get(), &theList, afIncludeLocalhost);
  const AddressVector theResult(theList, theList + theCount);
  free(theList);
  return theResult;
}

TEST(SocketPolicyConstants, TheIPPolicyIsInTheTwoLowBits) {
  EXPECT_EQ(0, kzvSocketPolicy_IP_Other);
  EXPECT_EQ(1, kzvSocketPolicy_IP_All);
  EXPECT_EQ(2, kzvSocketPolicy_IP_AllExceptLocalHost);
  EXPECT_EQ(3, kzvSocketPolicy_IP_LocalHostOnly);
  EXPECT_EQ(3, kzvSocketPolicy_IP_Mask);
}

// ---- Life ----

TEST_F(SocketPolicy, ANewPolicyHasItsNumberItsUserDataAndNothingElse) {
  int theData;
  const Policy thePolicy = NewPolicy(0xABCD1231, &theData);
  EXPECT_EQ(0xABCD1231, NumberOf(thePolicy));
  EXPECT_EQ(&theData, zvSocketPolicy_GetUserData(thePolicy.get()));
  EXPECT_EQ(nullptr, zvSocketPolicy_GetQOS(thePolicy.get()));
  EXPECT_EQ(1, zvSocketPolicy_IsValidIF(thePolicy.get(), "lo"));
  EXPECT_EQ(nullptr, zvSocketPolicy_GetUserData(NewPolicy(1).get()));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

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

TEST_F(SocketPolicy, ChangingTheIPPolicyLeavesTheOtherBits) {
  const Policy thePolicy = NewPolicy(0xABCD1230 | kzvSocketPolicy_IP_All);
  const struct {
    int mNew;
    uint32 mLowBits;
  } kChanges[] = {{7, 3}, {4, 0}, {2, 2}, {-1, 3}, {1, 1}, {0, 0}};
  for (const auto &theChange : kChanges) {
    SCOPED_TRACE(theChange.mNew);
    zvSocketPolicy_ChangePolicy_IP(thePolicy.get(), theChange.mNew);
    EXPECT_EQ(0xABCD1230 | theChange.mLowBits, NumberOf(thePolicy));
  }
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
  zvtest::InChild([this] {
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

// ---- Accepting ----

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

// The functions as the record holds them.
struct Functions {
  zvSocketAcceptConnectionFunc mAccept;
  zvSocketGetIPAddressListFunc mList;
  zvSocketMapLocalIPAddressToLoopBackFunc mMap;
  zvSocketIsValidIF mIsValid;
};
constexpr size_t kOffsetOfFunctions = 2 * sizeof(void *);  // behind the number and the user data

TEST_F(SocketPolicyDecisions, TheFunctionsAreStoredAsGiven) {
  const Policy thePolicy = Replaced(kzvSocketPolicy_IP_All);
  Functions theFunctions;
  zvSocketPolicy_SetFunc(thePolicy.get(), nullptr, nullptr, nullptr);
  memcpy(&theFunctions, reinterpret_cast<char *>(thePolicy.get()) + kOffsetOfFunctions, sizeof theFunctions);
  EXPECT_EQ(nullptr, theFunctions.mAccept);
  EXPECT_EQ(nullptr, theFunctions.mList);
  EXPECT_EQ(nullptr, theFunctions.mMap);
  EXPECT_NE(nullptr, theFunctions.mIsValid);

  zvSocketPolicy_SetFunc(thePolicy.get(), Accept, GetList, MapAddress);
  memcpy(&theFunctions, reinterpret_cast<char *>(thePolicy.get()) + kOffsetOfFunctions, sizeof theFunctions);
  EXPECT_EQ(Accept, theFunctions.mAccept);
  EXPECT_EQ(GetList, theFunctions.mList);
  EXPECT_EQ(MapAddress, theFunctions.mMap);
}

TEST_F(SocketPolicyDecisions, AnInterfaceFilterOfNullIsTheDefault) {
  const Policy thePolicy = Replaced(kzvSocketPolicy_IP_All);
  const Functions kNone = {};
  memcpy(reinterpret_cast<char *>(thePolicy.get()) + kOffsetOfFunctions, &kNone, sizeof kNone);
  EXPECT_EQ(1, zvSocketPolicy_IsValidIF(thePolicy.get(), "lo"));
  EXPECT_EQ((AddressVector{kLoopback, kFirstOwn, kSecondOwn}),
            ListOf(zvSocketPolicy_GetIPAddressList, thePolicy, 1));
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
