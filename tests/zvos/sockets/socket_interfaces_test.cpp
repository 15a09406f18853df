// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The machine's own interfaces and addresses: what is listed, and what counts as local.

#include <zvOS/zvSocket.h>
#include <zvOS/zvSocketPolicy.h>

#include "support/HandleChecks.h"
#include "support/Network.h"
#include "support/Support.h"

#include <zvLog/zvConfigFile.h>

#include <net/if.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <list>
#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;

const char *const kLoopback = "127.0.0.1";

std::string DottedForm(uint32 anAddress) {
  return zvtest::Format("%u.%u.%u.%u", zvSocket_IPPrintf(anAddress));
}

// One interface address as the system lists it.
struct Interface {
  const char *mName;
  unsigned mFlags;
  int mFamily;  // AF_UNSPEC: no address
  const char *mAddress;
  const char *mMask;
};

const Interface kLo = {"lo", IFF_UP | IFF_LOOPBACK, AF_INET, kLoopback, "255.0.0.0"};
const Interface kEth0 = {"eth0", IFF_UP, AF_INET, "10.1.2.3", "255.255.255.0"};
const Interface kEth1 = {"eth1", IFF_UP, AF_INET, "172.16.31.7", "255.255.240.0"};
const Interface kEth1Again = {"eth1", IFF_UP, AF_INET, "192.168.0.9", "255.255.255.252"};
const Interface kDown = {"eth2", 0, AF_INET, "10.2.2.3", "255.255.255.0"};
const Interface kIPv6 = {"eth0", IFF_UP, AF_INET6, "10.3.2.3", "255.255.255.0"};
const Interface kBare = {"tap0", IFF_UP, AF_UNSPEC, "0.0.0.0", "0.0.0.0"};

// A list as getifaddrs makes it.
class InterfaceList {
 public:
  explicit InterfaceList(const std::vector<Interface> &someInterfaces) {
    for (const Interface &theInterface : someInterfaces)
      Append(theInterface);
  }

  ifaddrs *First() { return mEntries.empty() ? nullptr : &mEntries.front(); }

 private:
  void Append(const Interface &anInterface) {
    ifaddrs theEntry = {};
    mNames.emplace_back(anInterface.mName);
    theEntry.ifa_name = &mNames.back()[0];
    theEntry.ifa_flags = anInterface.mFlags;
    if (anInterface.mFamily != AF_UNSPEC) {
      theEntry.ifa_addr = NewAddress(anInterface.mFamily, anInterface.mAddress);
      theEntry.ifa_netmask = NewAddress(anInterface.mFamily, anInterface.mMask);
    }
    if (!mEntries.empty()) {
      mEntries.push_back(theEntry);
      std::prev(mEntries.end(), 2)->ifa_next = &mEntries.back();
    } else {
      mEntries.push_back(theEntry);
    }
  }

  sockaddr *NewAddress(int aFamily, const char *aText) {
    sockaddr_in theAddress = {};
    theAddress.sin_family = static_cast<sa_family_t>(aFamily);
    theAddress.sin_addr.s_addr = Address(aText);
    mAddresses.push_back(theAddress);
    return reinterpret_cast<sockaddr *>(&mAddresses.back());
  }

  std::list<ifaddrs> mEntries;
  std::list<std::string> mNames;
  std::list<sockaddr_in> mAddresses;
};

// Lets the system list these interfaces to the library.
class FakeSystem {
 public:
  explicit FakeSystem(const std::vector<Interface> &someInterfaces)
      : mList(someInterfaces), mQuestion("getifaddrs", 0, 0, -1), mRelease("freeifaddrs", 0, 0, -1) {
    mQuestion.Returning(0).Doing(
        [this](const long long *anArguments) { *ArgumentAs<ifaddrs *>(anArguments[0]) = mList.First(); });
    mRelease.Doing([this](const long long *anArguments) {
      EXPECT_EQ(mList.First(), ArgumentAs<ifaddrs>(anArguments[0]));
    });
  }
  ~FakeSystem() { EXPECT_EQ(mQuestion.Hits(), mRelease.Hits()) << "every list is released once"; }
  FakeSystem(const FakeSystem &) = delete;
  FakeSystem &operator=(const FakeSystem &) = delete;

  int Questions() const { return mQuestion.Hits(); }

 private:
  InterfaceList mList;
  Fault mQuestion;
  Fault mRelease;
};

// A policy that excludes interfaces, as it comes out of a configuration file.
class Policy {
 public:
  explicit Policy(const std::string &anExclusion) : mPolicy(zvSocketPolicy_New(0, nullptr)) {
    const zvtest::TempFolder theFolder;
    zvtest::WriteWholeFile(theFolder.File("config"),
                           "[server]\nQOSDisabled = 1\nexclude-if = " + anExclusion + "\n");
    zvConfigFile_t *const theConfigFile = zvConfigFile_Open(theFolder.File("config").c_str());
    zvSocketPolicy_Configure(mPolicy, theConfigFile, "server");
    zvConfigFile_Close(theConfigFile);
  }
  ~Policy() { zvSocketPolicy_Delete(mPolicy); }
  Policy(const Policy &) = delete;
  Policy &operator=(const Policy &) = delete;

  operator zvSocketPolicy *() const { return mPolicy; }

 private:
  zvSocketPolicy *mPolicy;
};

// All lists of one question, as texts: "eth0 10.1.2.3 255.255.255.0 10.1.2.0".
std::vector<std::string> Infos(zvSocketPolicy *aPolicy, int afIncludeLocalhost) {
  uint32 *theAddresses = nullptr;
  uint32 *theMasks = nullptr;
  uint32 *theNetworks = nullptr;
  char **theNames = nullptr;
  const int theCount = zvSocketGetInterfacesInfos(aPolicy, &theAddresses, &theMasks, &theNetworks, &theNames,
                                                  afIncludeLocalhost);
  std::vector<std::string> theInfos;
  for (int i = 0; i < theCount; ++i) {
    theInfos.push_back(theNames[i] + (" " + DottedForm(theAddresses[i])) + " " + DottedForm(theMasks[i]) +
                       " " + DottedForm(theNetworks[i]));
    free(theNames[i]);
  }
  EXPECT_TRUE(theAddresses != nullptr && theMasks != nullptr && theNetworks != nullptr &&
              theNames != nullptr);
  free(theAddresses);
  free(theMasks);
  free(theNetworks);
  free(theNames);
  return theInfos;
}

std::vector<std::string> Addresses(zvSocketPolicy *aPolicy, int afIncludeLocalhost) {
  uint32 *theList = nullptr;
  const int theCount = zvSocketGetIPAddressList(aPolicy, &theList, afIncludeLocalhost);
  EXPECT_NE(nullptr, theList);
  std::vector<std::string> theAddresses;
  for (int i = 0; i < theCount; ++i)
    theAddresses.push_back(DottedForm(theList[i]));
  free(theList);
  return theAddresses;
}

class SocketInterfaces : public ::testing::Test {
 protected:
  zvtest::RecordingLog mLog;
};

// ---- Which interfaces are used ----

TEST_F(SocketInterfaces, AnInterfaceIsUsedWhenItIsUpAndHasAnIPv4Address) {
  const struct {
    Interface mInterface;
    int mfMatching;
    int mfMatchingWithLocalhost;
  } kCases[] = {{kEth0, 1, 1}, {kLo, 0, 1},   {kDown, 0, 0},
                {kIPv6, 0, 0}, {kBare, 0, 0}, {{"lo", IFF_LOOPBACK, AF_INET, kLoopback, "255.0.0.0"}, 0, 0}};
  for (const auto &theCase : kCases) {
    InterfaceList theList({theCase.mInterface});
    EXPECT_EQ(theCase.mfMatching, zvSocketIsInterfaceMatching(nullptr, theList.First(), 0))
        << theCase.mInterface.mName;
    for (const int theFlag : {1, -1}) {
      EXPECT_EQ(theCase.mfMatchingWithLocalhost,
                zvSocketIsInterfaceMatching(nullptr, theList.First(), theFlag))
          << theCase.mInterface.mName;
    }
  }
}

TEST_F(SocketInterfaces, AnInterfaceThatThePolicyExcludesIsNotUsed) {
  const Policy thePolicy("eth1 lo");
  for (const auto &[theInterface, theAnswer] :
       {std::pair(kEth0, 1), std::pair(kEth1, 0), std::pair(kLo, 0)}) {
    InterfaceList theList({theInterface});
    EXPECT_EQ(theAnswer, zvSocketIsInterfaceMatching(thePolicy, theList.First(), 1)) << theInterface.mName;
  }
}

// ---- Lists ----

TEST_F(SocketInterfaces, AllListsAreInTheOrderOfTheSystem) {
  const FakeSystem theSystem({kBare, kEth1, kLo, kDown, kEth1Again, kIPv6, kEth0});
  EXPECT_THAT(Infos(nullptr, 0), ElementsAre("eth1 172.16.31.7 255.255.240.0 172.16.16.0",
                                             "eth1 192.168.0.9 255.255.255.252 192.168.0.8",
                                             "eth0 10.1.2.3 255.255.255.0 10.1.2.0"));
  EXPECT_THAT(Addresses(nullptr, 1), ElementsAre("172.16.31.7", kLoopback, "192.168.0.9", "10.1.2.3"));
  EXPECT_EQ(2, theSystem.Questions());
}

TEST_F(SocketInterfaces, ThePolicyFiltersTheLists) {
  const Policy thePolicy("eth1");
  const FakeSystem theSystem({kLo, kEth0, kEth1, kEth1Again});
  EXPECT_THAT(Infos(thePolicy, 1),
              ElementsAre("lo 127.0.0.1 255.0.0.0 127.0.0.0", "eth0 10.1.2.3 255.255.255.0 10.1.2.0"));
  EXPECT_THAT(Addresses(thePolicy, 0), ElementsAre("10.1.2.3"));
}

TEST_F(SocketInterfaces, ListsThatAreNotWantedAreNotMade) {
  const FakeSystem theSystem({kEth0, kLo, kEth1});
  uint32 *theAddresses = nullptr;
  uint32 *theMasks = nullptr;
  uint32 *theNetworks = nullptr;
  char **theNames = nullptr;
  EXPECT_EQ(2, zvSocketGetInterfacesInfos(nullptr, nullptr, nullptr, nullptr, nullptr, 0));

  EXPECT_EQ(2, zvSocketGetInterfacesInfos(nullptr, nullptr, &theMasks, nullptr, nullptr, 0));
  EXPECT_EQ(Address("255.255.240.0"), theMasks[1]);
  free(theMasks);

  EXPECT_EQ(2, zvSocketGetInterfacesInfos(nullptr, &theAddresses, nullptr, &theNetworks, nullptr, 0));
  EXPECT_EQ(Address("172.16.31.7"), theAddresses[1]);
  EXPECT_EQ(Address("172.16.16.0"), theNetworks[1]);
  free(theAddresses);
  free(theNetworks);

  EXPECT_EQ(2, zvSocketGetInterfacesInfos(nullptr, nullptr, nullptr, nullptr, &theNames, 0));
  EXPECT_STREQ("eth1", theNames[1]);
  free(theNames[0]);
  free(theNames[1]);
  free(theNames);
}

TEST_F(SocketInterfaces, AddressesAndMasksComeWithoutNames) {
  const FakeSystem theSystem({kLo, kEth0});
  uint32 *theAddresses = nullptr;
  uint32 *theMasks = nullptr;
  uint32 *theNetworks = nullptr;
  ASSERT_EQ(2, zvSocketGetIPAddressListAndMask(nullptr, &theAddresses, &theMasks, &theNetworks, 1));
  EXPECT_EQ(Address(kLoopback), theAddresses[0]);
  EXPECT_EQ(Address("10.1.2.3"), theAddresses[1]);
  EXPECT_EQ(Address("255.255.255.0"), theMasks[1]);
  EXPECT_EQ(Address("10.1.2.0"), theNetworks[1]);
  free(theAddresses);
  free(theMasks);
  free(theNetworks);
}

TEST_F(SocketInterfaces, AnEmptyListIsStillAList) {
  const FakeSystem theSystem({kDown, kBare});
  EXPECT_THAT(Infos(nullptr, 1), IsEmpty());
  EXPECT_THAT(Addresses(nullptr, 1), IsEmpty());
}

TEST_F(SocketInterfaces, ASystemThatRefusesToListLeavesTheListsAlone) {
  const Fault theFault("getifaddrs", EMFILE, 0, -1);
  const Fault theRelease("freeifaddrs", 0, 0, -1);
  uint32 theMark = 0;
  char *theNameMark = nullptr;
  uint32 *theAddresses = &theMark;
  uint32 *theMasks = &theMark;
  uint32 *theNetworks = &theMark;
  char **theNames = &theNameMark;
  EXPECT_EQ(0, zvSocketGetInterfacesInfos(nullptr, &theAddresses, &theMasks, &theNetworks, &theNames, 1));
  EXPECT_EQ(0, zvSocketGetIPAddressListAndMask(nullptr, &theAddresses, &theMasks, &theNetworks, 1));
  EXPECT_EQ(0, zvSocketGetIPAddressList(nullptr, &theAddresses, 1));
  EXPECT_EQ(&theMark, theAddresses);
  EXPECT_EQ(&theMark, theMasks);
  EXPECT_EQ(&theMark, theNetworks);
  EXPECT_EQ(&theNameMark, theNames);
  EXPECT_EQ(0, theRelease.Hits());
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

// Each allocation fails once: the four lists, and the three names.
TEST_F(SocketInterfaces, WithoutMemoryForAListOrANameNoListIsMadeAndNothingLeaks) {
  const FakeSystem theSystem({kEth0, kLo, kEth1});
  const std::pair<const char *, int> kAllocations[] = {{"zvMalloc", 4}, {"zvStrdup", 3}};
  for (const auto &[theFunction, theCount] : kAllocations) {
    for (int theSkip = 0; theSkip < theCount; ++theSkip) {
      SCOPED_TRACE(zvtest::Format("%s %d", theFunction, theSkip));
      uint32 theMark = 0;
      char *theNameMark = nullptr;
      uint32 *theAddresses = &theMark;
      uint32 *theMasks = &theMark;
      uint32 *theNetworks = &theMark;
      char **theNames = &theNameMark;
      Fault theFault(theFunction, ENOMEM, theSkip);
      EXPECT_EQ(0, zvSocketGetInterfacesInfos(nullptr, &theAddresses, &theMasks, &theNetworks, &theNames, 1));
      EXPECT_EQ(1, theFault.Hits());
      EXPECT_EQ(&theMark, theAddresses);
      EXPECT_EQ(&theMark, theMasks);
      EXPECT_EQ(&theMark, theNetworks);
      EXPECT_EQ(&theNameMark, theNames);
    }
  }
  EXPECT_EQ(3U, Infos(nullptr, 1).size());
}

TEST_F(SocketInterfaces, TheListOfTheLocalHostIsLoopbackWhateverThePolicy) {
  const Policy thePolicy("lo");
  const int theQuestions = CallsOf("getifaddrs");
  for (zvSocketPolicy *const aPolicy :
       {static_cast<zvSocketPolicy *>(nullptr), static_cast<zvSocketPolicy *>(thePolicy)}) {
    uint32 *theList = nullptr;
    ASSERT_EQ(1, zvSocketGetLocalHostIPAddressList(aPolicy, &theList));
    EXPECT_EQ(Address(kLoopback), theList[0]);
    free(theList);
  }
  EXPECT_EQ(theQuestions, CallsOf("getifaddrs"));
}

// ---- Local addresses ----

TEST_F(SocketInterfaces, TheLoopbackAndTheBroadcastAddressAreDecidedWithoutLooking) {
  const FakeSystem theSystem({{"eth0", IFF_UP, AF_INET, "255.255.255.255", "255.0.0.0"}});
  EXPECT_EQ(1, zvSocketIsLocalIPAddress(Address(kLoopback)));
  EXPECT_EQ(0, zvSocketIsLocalIPAddress(Address("255.255.255.255")));
  EXPECT_EQ(0, theSystem.Questions());
}

TEST_F(SocketInterfaces, AnAddressIsLocalWhenAnInterfaceThatIsUpHasIt) {
  const FakeSystem theSystem({kLo,
                              {"lo", IFF_UP | IFF_LOOPBACK, AF_INET, "10.7.7.7", "255.0.0.0"},
                              kEth0,
                              kDown,
                              kEth1,
                              kEth1Again});
  const struct {
    const char *mAddress;
    int mfLocal;
  } kCases[] = {{"10.1.2.3", 1},  {"172.16.31.7", 1}, {"192.168.0.9", 1}, {"10.2.2.3", 0}, {"10.1.2.4", 0},
                {"127.0.0.2", 0}, {"10.7.7.7", 0},    {"10.1.2.0", 0},    {"0.0.0.0", 0}};
  for (const auto &theCase : kCases) {
    EXPECT_EQ(theCase.mfLocal, zvSocketIsLocalIPAddress(Address(theCase.mAddress))) << theCase.mAddress;
  }
}

TEST_F(SocketInterfaces, NoAddressIsLocalWhenTheSystemRefusesToList) {
  const Fault theFault("getifaddrs", EMFILE, 0, -1);
  EXPECT_EQ(0, zvSocketIsLocalIPAddress(Address("10.1.2.3")));
  EXPECT_EQ(Address("10.1.2.3"), zvSocketMapLocalIPAddressToLoopBack(nullptr, Address("10.1.2.3")));
  EXPECT_EQ(2, theFault.Hits());
}

TEST_F(SocketInterfaces, OwnAddressesMapToLoopbackAndOthersStay) {
  const Policy thePolicy("eth1");
  const FakeSystem theSystem({kLo, kEth0, kDown, kEth1, kEth1Again});
  const struct {
    zvSocketPolicy *mPolicy;
    const char *mAddress;
    const char *mMapped;
  } kCases[] = {{nullptr, "10.1.2.3", kLoopback},   {nullptr, "192.168.0.9", kLoopback},
                {nullptr, "10.1.2.4", "10.1.2.4"},  {nullptr, "10.2.2.3", "10.2.2.3"},
                {nullptr, kLoopback, kLoopback},    {nullptr, "127.0.0.2", "127.0.0.2"},
                {thePolicy, "10.1.2.3", kLoopback}, {thePolicy, "192.168.0.9", "192.168.0.9"},
                {nullptr, "0.0.0.0", "0.0.0.0"}};
  for (const auto &theCase : kCases) {
    EXPECT_EQ(theCase.mMapped,
              DottedForm(zvSocketMapLocalIPAddressToLoopBack(theCase.mPolicy, Address(theCase.mAddress))))
        << theCase.mAddress;
  }
}

// ---- Start ----

TEST_F(SocketInterfaces, AMissingLoopbackIsLoggedAndDoesNotFailTheStart) {
  const FakeSystem theSystem({kEth0, {"lo", IFF_LOOPBACK, AF_INET, kLoopback, "255.0.0.0"}});
  const auto theMessage = Error(21, "Error, loopback interface is not up! \n");
  zvSocket_LoopBackCheck();
  EXPECT_THAT(mLog.Messages(), ElementsAre(theMessage));
  mLog.Clear();
  EXPECT_EQ(0, zvSocket_Init());
  EXPECT_THAT(mLog.Messages(), ElementsAre(theMessage));
  EXPECT_EQ(2, theSystem.Questions());
}

TEST_F(SocketInterfaces, AMissingLoopbackIsLoggedWhenTheSystemRefusesToList) {
  const Fault theFault("getifaddrs", EMFILE);
  EXPECT_EQ(0, zvSocket_Init());
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(21, "Error, loopback interface is not up! \n")));
}

TEST_F(SocketInterfaces, ALoopbackThatIsUpIsNotMentioned) {
  const FakeSystem theSystem({kEth0, kLo});
  EXPECT_EQ(0, zvSocket_Init());
  zvSocket_LoopBackCheck();
  zvSocket_UnInit();
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

// ---- The real system ----

TEST_F(SocketInterfaces, AHostWithOnlyLoopbackHasNoAddressButLoopback) {
  OnOwnHost([this] {
    EXPECT_THAT(Addresses(nullptr, 0), IsEmpty());
    EXPECT_THAT(Addresses(nullptr, 1), IsEmpty()) << "the interface is still down";
    zvSocket_LoopBackCheck();
    EXPECT_THAT(mLog.Messages(), ElementsAre(Error(21, "Error, loopback interface is not up! \n")));
    EXPECT_EQ(1, zvSocketIsLocalIPAddress(Address(kLoopback)));

    Ip({"link set lo up"});
    mLog.Clear();
    EXPECT_THAT(Addresses(nullptr, 0), IsEmpty());
    EXPECT_THAT(Infos(nullptr, 1), ElementsAre("lo 127.0.0.1 255.0.0.0 127.0.0.0"));
    zvSocket_LoopBackCheck();
    EXPECT_THAT(mLog.Calls(), IsEmpty());
  });
}

TEST_F(SocketInterfaces, ALoopbackInterfaceWithoutItsAddressIsReportedAsMissing) {
  OnOwnHost([this] {
    Ip({"link set lo up", "addr del 127.0.0.1/8 dev lo", "addr add 127.0.0.5/8 dev lo"});
    EXPECT_THAT(Addresses(nullptr, 1), ElementsAre("127.0.0.5"));
    EXPECT_EQ(0, zvSocket_Init());
    EXPECT_THAT(mLog.Messages(), ElementsAre(Error(21, "Error, loopback interface is not up! \n")));
  });
}

TEST_F(SocketInterfaces, TheAddressesOfRealInterfacesAreListed) {
  const Policy thePolicy("eth1");
  OnOwnHost([&thePolicy] {
    // The other ends of the cables are up and have no address; eth2 stays down.
    Ip({"link set lo up", "link add eth0 type veth peer name end0", "link add eth1 type veth peer name end1",
        "link add eth2 type veth peer name end2", "addr add 10.1.2.3/24 dev eth0",
        "addr add fd00::1/64 dev eth0", "addr add 172.16.31.7/20 dev eth1",
        "addr add 192.168.0.9/30 dev eth1", "addr add 10.2.2.3/24 dev eth2", "link set eth0 up",
        "link set eth1 up", "link set end0 up", "link set end1 up"});
    EXPECT_THAT(Infos(nullptr, 1),
                ElementsAre("lo 127.0.0.1 255.0.0.0 127.0.0.0", "eth0 10.1.2.3 255.255.255.0 10.1.2.0",
                            "eth1 172.16.31.7 255.255.240.0 172.16.16.0",
                            "eth1 192.168.0.9 255.255.255.252 192.168.0.8"));
    EXPECT_THAT(Addresses(thePolicy, 0), ElementsAre("10.1.2.3"));
    EXPECT_EQ(1, zvSocketIsLocalIPAddress(Address("192.168.0.9")));
    EXPECT_EQ(0, zvSocketIsLocalIPAddress(Address("10.2.2.3")));
    EXPECT_EQ(Address(kLoopback), zvSocketMapLocalIPAddressToLoopBack(nullptr, Address("10.1.2.3")));
    EXPECT_EQ(Address("172.16.31.7"), zvSocketMapLocalIPAddressToLoopBack(thePolicy, Address("172.16.31.7")));
  });
}

}  // namespace
