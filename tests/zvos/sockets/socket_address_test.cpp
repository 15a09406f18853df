// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Addresses and names: texts, the resolver, printing, byte order. No name leaves this machine.

#include <zvOS/zvSocket.h>

#include "support/HandleChecks.h"
#include "support/Network.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/utsname.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;

class SocketAddress : public ::testing::Test {
 protected:
  // What is appended between the begin and the end of one record.
  template <typename Append>
  std::string Printed(Append anAppend) {
    mLog.Clear();
    zvLogData *const theRecord = zvLog_Begin(ZVLOGLEVEL_INFO, ZVLOG_M_TCP);
    anAppend();
    zvLog_End(theRecord);
    return mLog.Messages().size() == 1 ? mLog.Messages()[0].mText : std::string("(no record)");
  }

  zvtest::RecordingLog mLog;
};

// ---- Texts ----

TEST_F(SocketAddress, TheDottedFormBecomesAnAddressInNetworkOrder) {
  EXPECT_EQ(htonl(0x0A000001), zvSocketGetAddressFromDotForm("10.0.0.1"));
  EXPECT_EQ(htonl(0x7F000001), zvSocketGetAddressFromDotForm("127.0.0.1"));
  EXPECT_EQ(htonl(0xFFFFFFFE), zvSocketGetAddressFromDotForm("255.255.255.254"));
}

TEST_F(SocketAddress, TheDottedFormIsReadAsTheSystemReadsIt) {
  for (const char *theText : {"10.1", "0x7f.1", "010.0.0.1", "16909060", "1.2.3.4 tail"}) {
    EXPECT_EQ(inet_addr(theText), zvSocketGetAddressFromDotForm(theText)) << theText;
    EXPECT_NE(0u, zvSocketGetAddressFromDotForm(theText)) << theText;
  }
}

TEST_F(SocketAddress, WhatIsNoDottedFormGivesNoAddress) {
  for (const char *theText :
       {"bad", "", "1.2.3.256", "1.2.3.4.5", "1.2.3.4x", "0.0.0.0", "255.255.255.255"}) {
    EXPECT_EQ(0u, zvSocketGetAddressFromDotForm(theText)) << theText;
  }
}

TEST_F(SocketAddress, MulticastIsDecidedByTheFirstThreeCharacters) {
  const struct {
    const char *mText;
    int mfMulticast;
  } kCases[] = {{"224.0.0.1", 1}, {"239.255.255.250", 1}, {"230.1.1.1", 1}, {"223.255.255.255", 0},
                {"240.0.0.1", 0}, {"22.1.1.1", 0},        {"2.2.4.1", 0},   {"2240", 1},
                {"224", 1},       {"2399.0.0.1", 1},      {"24", 0},        {"-22", 0},
                {"", 0},          {"224.x", 1},           {"text", 0},      {"1224.0.0.1", 0},
                {"x224", 0},      {"255.255.255.255", 0}};
  for (const auto &theCase : kCases) {
    EXPECT_EQ(theCase.mfMulticast, zvSocketIsMulticastIPAddress(theCase.mText)) << theCase.mText;
  }
}

TEST_F(SocketAddress, ADottedHostNameIsDigitsAndThreeDots) {
  const struct {
    const char *mText;
    int mfDotted;
  } kCases[] = {{"1.2.3.4", 1},     {"1.2.3", 0},    {"1.2.3.4.5", 0}, {"1.2.3.a", 0},    {"", 0},
                {"...", 1},         {"....", 0},     {"..", 0},        {"999.1.1.1", 1},  {"1.2.3.4 ", 0},
                {" 1.2.3.4", 0},    {"1.2.3.-4", 0}, {"1.2.3.+4", 0},  {"12345", 0},      {"1.2.3.4\n", 0},
                {"host.a.b.c", 0},  {"1.2.3./", 0},  {"1.2.3.:", 0},   {"\xB1.2.3.4", 0}, {"1.2.3.\xFF", 0},
                {"0000001.2.3.", 1}};
  for (const auto &theCase : kCases) {
    EXPECT_EQ(theCase.mfDotted, zvSocketIsHostNameInIPDotForm(theCase.mText)) << theCase.mText;
  }
}

// ---- Names to addresses ----

TEST_F(SocketAddress, ADottedFormIsNotLookedUp) {
  Fault theResolver("gethostbyname", 0, 0, -1);
  EXPECT_EQ(Address("10.0.0.1"), zvSocketGetAddressByName("10.0.0.1"));
  EXPECT_EQ(0, theResolver.Hits());
}

TEST_F(SocketAddress, ANameGivesItsFirstAddress) {
  uint32 theAddresses[] = {Address("10.1.2.3"), Address("10.4.5.6")};
  char *theList[] = {reinterpret_cast<char *>(&theAddresses[0]), reinterpret_cast<char *>(&theAddresses[1]),
                     nullptr};
  hostent theHost = {};
  theHost.h_addrtype = AF_INET;
  theHost.h_length = sizeof(theAddresses[0]);
  theHost.h_addr_list = theList;
  std::string theName;
  Fault theResolver("gethostbyname", 0);
  theResolver.Returning(AsArgument(&theHost)).Doing([&](const long long *anArguments) {
    theName = ArgumentAs<const char>(anArguments[0]);
  });
  EXPECT_EQ(theAddresses[0], zvSocketGetAddressByName("player.example"));
  EXPECT_EQ("player.example", theName);
  EXPECT_EQ(1, theResolver.Hits());
}

TEST_F(SocketAddress, ANameThatCannotBeResolvedGivesNoAddress) {
  Fault theResolver("gethostbyname", 0);
  EXPECT_EQ(0u, zvSocketGetAddressByName("player.example"));
  EXPECT_EQ(1, theResolver.Hits());
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketAddress, TheBroadcastAddressIsNoDottedFormButTheResolverReadsIt) {
  EXPECT_EQ(0xFFFFFFFFu, zvSocketGetAddressByName("255.255.255.255"));
}

TEST_F(SocketAddress, AddressInfoOfADottedFormIsItsAddress) {
  uint32 theAddress = 1;
  EXPECT_EQ(0, zvSocketGetAddressInfo_NoDebug("10.0.0.1", &theAddress));
  EXPECT_EQ(Address("10.0.0.1"), theAddress);
  theAddress = 1;
  EXPECT_EQ(0, zvSocketGetAddressInfo_Debug("10.0.0.2", &theAddress, "Test"));
  EXPECT_EQ(Address("10.0.0.2"), theAddress);
  theAddress = 1;
  EXPECT_EQ(0, zvSocketGetAddressInfo("10.0.0.3", &theAddress, "Test"));
  EXPECT_EQ(Address("10.0.0.3"), theAddress);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketAddress, AddressInfoOfAHostWithoutIPv4IsZeroAndNoFailure) {
  uint32 theAddress = 1;
  EXPECT_EQ(0, zvSocketGetAddressInfo_NoDebug("::1", &theAddress));
  EXPECT_EQ(0u, theAddress);
}

TEST_F(SocketAddress, AddressInfoAsksForStreamsOfAnyFamily) {
  Fault theResolver("getaddrinfo", 0);
  theResolver.Returning(EAI_FAIL).Doing([&](const long long *anArguments) {
    addrinfo theExpected = {};
    theExpected.ai_family = AF_UNSPEC;
    theExpected.ai_socktype = SOCK_STREAM;
    EXPECT_STREQ("player.example", ArgumentAs<const char>(anArguments[0]));
    EXPECT_EQ(0, anArguments[1]);
    ASSERT_NE(0, anArguments[2]);
    EXPECT_EQ(0, memcmp(ArgumentAs<addrinfo>(anArguments[2]), &theExpected, sizeof(theExpected)));
  });
  uint32 theAddress = 1;
  EXPECT_EQ(EAI_FAIL, zvSocketGetAddressInfo_NoDebug("player.example", &theAddress));
  EXPECT_EQ(1, theResolver.Hits());
}

// A resolver that answers a list of the test's own.
class FakeResolver {
 public:
  FakeResolver() : mResolve("getaddrinfo", 0), mRelease("freeaddrinfo", 0) {
    mResolve.Returning(0).Doing(
        [this](const long long *anArguments) { *ArgumentAs<addrinfo *>(anArguments[3]) = mEntries.data(); });
    mRelease.Doing([this](const long long *anArguments) {
      EXPECT_EQ(mEntries.data(), ArgumentAs<addrinfo>(anArguments[0]));
    });
  }
  ~FakeResolver() {
    EXPECT_EQ(1, mResolve.Hits());
    EXPECT_EQ(1, mRelease.Hits()) << "the list is released once";
  }

  void Answer(int aFamily, socklen_t aLength, const char *anAddress) {
    sockaddr_in theAddress = {};
    theAddress.sin_family = static_cast<sa_family_t>(aFamily);
    theAddress.sin_addr.s_addr = Address(anAddress);
    mAddresses.push_back(theAddress);
    addrinfo theEntry = {};
    theEntry.ai_family = aFamily;
    theEntry.ai_addrlen = aLength;
    mEntries.push_back(theEntry);
    for (size_t i = 0; i < mEntries.size(); ++i) {
      mEntries[i].ai_addr = reinterpret_cast<sockaddr *>(&mAddresses[i]);
      mEntries[i].ai_next = i + 1 < mEntries.size() ? &mEntries[i + 1] : nullptr;
    }
  }

 private:
  std::vector<sockaddr_in> mAddresses;
  std::vector<addrinfo> mEntries;
  Fault mResolve;
  Fault mRelease;
};

TEST_F(SocketAddress, AddressInfoTakesTheFirstIPv4Entry) {
  FakeResolver theResolver;
  theResolver.Answer(AF_INET6, sizeof(sockaddr_in6), "10.0.0.1");
  theResolver.Answer(AF_INET, 3, "10.0.0.2");
  theResolver.Answer(AF_INET, sizeof(sockaddr_in), "10.0.0.3");
  theResolver.Answer(AF_INET, sizeof(sockaddr_in), "10.0.0.4");
  uint32 theAddress = 1;
  EXPECT_EQ(0, zvSocketGetAddressInfo_NoDebug("player.example", &theAddress));
  EXPECT_EQ(Address("10.0.0.3"), theAddress);
}

TEST_F(SocketAddress, AFailedAddressInfoReturnsTheResolversCodeAndNoAddress) {
  Fault theRelease("freeaddrinfo", 0, 0, -1);
  for (const int theCode : {EAI_NONAME, EAI_AGAIN, EAI_SYSTEM}) {
    Fault theResolver("getaddrinfo", 0);
    theResolver.Returning(theCode);
    uint32 theAddress = 1;
    EXPECT_EQ(theCode, zvSocketGetAddressInfo_NoDebug("player.example", &theAddress));
    EXPECT_EQ(0u, theAddress);
  }
  EXPECT_EQ(0, theRelease.Hits());
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketAddress, AFailedAddressInfoIsLoggedAndItsCodeBecomesTheLastError) {
  mLog.SpoilErrno(EDOM);
  Fault theResolver("getaddrinfo", 0);
  theResolver.Returning(EAI_NONAME);
  uint32 theAddress = 1;
  EXPECT_EQ(EAI_NONAME, zvSocketGetAddressInfo("player.example", &theAddress, "Test"));
  EXPECT_EQ(EAI_NONAME, zvSocketGetLastError());
  EXPECT_EQ(0u, theAddress);
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(Error(21, Format("Error getting address for 'player.example', Error = %d [Test]\n",
                                           EAI_NONAME))));
}

// ---- Printing ----

TEST_F(SocketAddress, AnAddressIsPrintedInItsDottedForm) {
  for (const char *theText : {"10.1.2.3", "127.0.0.1", "192.168.255.254", "255.255.255.255", "0.0.0.0"}) {
    const auto theAddress = static_cast<int32>(Address(theText));  // long values below 0 are among them
    EXPECT_EQ(theText, Printed([&] { zvLog_Append_IPAddress(theAddress); }));
    EXPECT_THAT(mLog.Calls(), ElementsAre("Begin 3 21", "Append", "End"));
  }
}

TEST_F(SocketAddress, ASocketAddressIsPrintedWithItsPort) {
  sockaddr_in theAddress = {};
  theAddress.sin_family = AF_INET;
  theAddress.sin_port = htons(65000);
  theAddress.sin_addr.s_addr = Address("192.168.255.254");
  EXPECT_EQ("192.168.255.254:65000",
            Printed([&] { zvLog_Append_sockaddr(reinterpret_cast<sockaddr *>(&theAddress)); }));
  EXPECT_THAT(mLog.Calls(), ElementsAre("Begin 3 21", "Append", "End"));
}

TEST_F(SocketAddress, ASocketAddressThatIsMissingIsPrintedAsNull) {
  EXPECT_EQ("NULL:NULL", Printed([] { zvLog_Append_sockaddr(nullptr); }));
}

TEST_F(SocketAddress, ASocketAddressOfAnotherFamilyIsPrintedAsUnknown) {
  for (const int theFamily : {AF_UNSPEC, AF_INET6, AF_MAX}) {
    sockaddr_in6 theAddress = {};
    theAddress.sin6_family = static_cast<sa_family_t>(theFamily);
    EXPECT_EQ("*UNKNOWN*:*UNKNOWN*",
              Printed([&] { zvLog_Append_sockaddr(reinterpret_cast<sockaddr *>(&theAddress)); }));
  }
}

TEST_F(SocketAddress, TheSystemIsAskedForNumbersAndItsResultIsNotLookedAt) {
  Fault theFault("getnameinfo", EAI_OVERFLOW);
  theFault.Doing([](const long long *anArguments) {
    EXPECT_EQ(16, anArguments[1]);
    EXPECT_EQ(128, anArguments[3]);
    EXPECT_EQ(16, anArguments[5]);
    EXPECT_EQ(NI_NUMERICHOST | NI_NUMERICSERV, anArguments[6]);
    EXPECT_STREQ("*UNKNOWN*", ArgumentAs<const char>(anArguments[2]));
    EXPECT_STREQ("*UNKNOWN*", ArgumentAs<const char>(anArguments[4]));
    strcpy(ArgumentAs<char>(anArguments[2]), "a host");
  });
  sockaddr_in theAddress = {};
  EXPECT_EQ("a host:*UNKNOWN*",
            Printed([&] { zvLog_Append_sockaddr(reinterpret_cast<sockaddr *>(&theAddress)); }));
  EXPECT_EQ(1, theFault.Hits());
}

// ---- The host's name ----

TEST_F(SocketAddress, TheHostNameIsTheSystems) {
  utsname theSystem = {};
  ASSERT_EQ(0, uname(&theSystem));
  char theName[sizeof(theSystem.nodename) + 1] = "junk";
  EXPECT_EQ(0, zvSocket_GetHostName_NoDebug(theName, sizeof(theName)));
  EXPECT_STREQ(theSystem.nodename, theName);
  strcpy(theName, "junk");
  EXPECT_EQ(0, zvSocket_GetHostName_Debug(theName, sizeof(theName), "Test"));
  EXPECT_STREQ(theSystem.nodename, theName);
  strcpy(theName, "junk");
  EXPECT_EQ(0, zvSocketGetHostName(theName, sizeof(theName), "Test"));
  EXPECT_STREQ(theSystem.nodename, theName);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(SocketAddress, TheSystemIsOfferedAnEmptyTextAndAllButTheLastByte) {
  Fault theFault("gethostname", 0);
  theFault.Returning(0).Doing([](const long long *anArguments) {
    EXPECT_STREQ("", ArgumentAs<const char>(anArguments[0]));
    EXPECT_EQ(7, anArguments[1]);
    memcpy(ArgumentAs<char>(anArguments[0]), "1234567", 7);  // POSIX allows a name that is not terminated
  });
  char theName[] = "xxxxxxxx|";
  EXPECT_EQ(0, zvSocket_GetHostName_NoDebug(theName, 8));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_STREQ("1234567", theName);
  EXPECT_EQ('|', theName[8]);
}

TEST_F(SocketAddress, AHostNameThatDoesNotFitIsStillTerminated) {
  zvtest::OnOwnHost([] {  // the host is called "zvtest"
    for (const size_t theSize : {1u, 2u, 6u}) {
      std::string theName(theSize, 'x');
      theName += '|';
      EXPECT_EQ(-1, zvSocket_GetHostName_NoDebug(&theName[0], theSize)) << theSize;
      EXPECT_LT(strnlen(theName.c_str(), theSize), theSize) << theSize;
      EXPECT_EQ('|', theName[theSize]) << theSize;
    }
    char theName[8] = "";
    EXPECT_EQ(0, zvSocket_GetHostName_NoDebug(theName, sizeof(theName)));
    EXPECT_STREQ("zvtest", theName);
  });
}

TEST_F(SocketAddress, AFailedHostNameIsEmptyAndLogged) {
  mLog.SpoilErrno(EDOM);
  char theName[8] = "junk";
  Fault theFault("gethostname", EPERM, 0, 2);
  EXPECT_EQ(-1, zvSocket_GetHostName_NoDebug(theName, sizeof(theName)));
  EXPECT_STREQ("", theName);
  EXPECT_THAT(mLog.Calls(), IsEmpty());

  strcpy(theName, "junk");
  EXPECT_EQ(-1, zvSocketGetHostName(theName, sizeof(theName), "Test"));
  EXPECT_EQ(EPERM, zvSocketGetLastError());
  EXPECT_STREQ("", theName);
  EXPECT_THAT(mLog.Messages(), ElementsAre(Error(21, "Error calling gethostname: Error = 1 [Test]\n")));
}

// ---- Structures and byte order ----

TEST_F(SocketAddress, InitSockAddrClearsTheWholeLengthAndNoMore) {
  for (const socklen_t theLength : {16u, 28u, 110u}) {
    alignas(sockaddr) unsigned char theMemory[128];
    memset(theMemory, 0xA5, sizeof(theMemory));
    auto *theAddress = static_cast<sockaddr *>(static_cast<void *>(theMemory));
    zvSocket_InitSockAddr(theAddress, theLength, AF_INET6);
    EXPECT_EQ(AF_INET6, theAddress->sa_family);
    const std::vector<int> theBytes(theMemory, theMemory + sizeof(theMemory));
    const auto theData = theBytes.begin() + sizeof(theAddress->sa_family);
    const auto theEnd = theBytes.begin() + static_cast<ptrdiff_t>(theLength);
    EXPECT_THAT(std::vector<int>(theData, theEnd), Each(0));
    EXPECT_THAT(std::vector<int>(theEnd, theBytes.end()), Each(0xA5));
  }
}

TEST_F(SocketAddress, ByteOrdersAreThoseOfTheSystem) {
  for (const uint32 theValue : {0u, 1u, 0x01020304u, 0xFFFEFDFCu, 0x80000000u}) {
    EXPECT_EQ(htonl(theValue), zvSocket_htonl(theValue));
    EXPECT_EQ(ntohl(theValue), zvSocket_ntohl(theValue));
  }
  for (const int theValue : {0, 1, 0x0102, 0xFFFE, 0x8000}) {
    const auto theShort = static_cast<uint16>(theValue);
    EXPECT_EQ(htons(theShort), zvSocket_htons(theShort));
    EXPECT_EQ(ntohs(theShort), zvSocket_ntohs(theShort));
  }
  const uint32 theNetworkOrder = zvSocket_htonl(0x01020304);
  EXPECT_EQ(0, memcmp("\1\2\3\4", &theNetworkOrder, 4));
}

TEST_F(SocketAddress, MacrosTakeAnAddressAndItsBytesApart) {
  sockaddr_in theAddress = {};
  theAddress.sin_addr.s_addr = Address("1.2.253.254");
  const uint32 theNumber = zvSocket_GetIPAddress(theAddress);
  EXPECT_EQ(Address("1.2.253.254"), theNumber);
  EXPECT_EQ("1.2.253.254", Format("%u.%u.%u.%u", zvSocket_IPPrintf(theNumber)));
}

extern "C" int ZvTestPrintAddressesFromC(char *aText, size_t aSize);

TEST_F(SocketAddress, AnyAddressThatLiesInMemoryCanBePrinted) {
  const std::string theText = "1.2.253.254";
  const auto theExpected = [&](const std::string &aText) { EXPECT_EQ(theText, aText); };
  uint32 theVariable = Address(theText.c_str());
  const uint32 theConstant = theVariable;
  const uint32 theArray[] = {0, theVariable};
  struct {
    uint32 mAddress;
  } theRecord = {theVariable};
  struct [[gnu::packed]] {
    char mByte;
    uint32 mAddress;
  } thePackedRecord = {1, theVariable};
  const std::vector<uint32> theList = {theVariable};
  uint32 &theReference = theVariable;
  const uint32 *const thePointer = &theConstant;
  theExpected(Format("%u.%u.%u.%u", zvSocket_IPPrintf(theVariable)));
  theExpected(Format("%u.%u.%u.%u", zvSocket_IPPrintf(theConstant)));
  theExpected(Format("%u.%u.%u.%u", zvSocket_IPPrintf(theArray[1])));
  theExpected(Format("%u.%u.%u.%u", zvSocket_IPPrintf(theRecord.mAddress)));
  theExpected(Format("%u.%u.%u.%u", zvSocket_IPPrintf(thePackedRecord.mAddress)));
  theExpected(Format("%u.%u.%u.%u", zvSocket_IPPrintf(theList.front())));
  theExpected(Format("%u.%u.%u.%u", zvSocket_IPPrintf(theReference)));
  theExpected(Format("%u.%u.%u.%u", zvSocket_IPPrintf(*thePointer)));

  char theTextOfC[200];
  EXPECT_EQ(6, ZvTestPrintAddressesFromC(theTextOfC, sizeof(theTextOfC)));
  EXPECT_STREQ("1.2.253.254 1.2.253.254 1.2.253.254 1.2.253.254 1.2.253.254 1.2.253.254 ", theTextOfC);
}

}  // namespace
