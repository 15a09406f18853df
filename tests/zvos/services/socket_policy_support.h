// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of policies share: a machine with three interfaces, policies that are deleted at the end.
#pragma once

#include <zvOS/zvSocketAddress.h>
#include <zvOS/zvSocketPolicy.h>
#include <zvOS/zvSocketQOS.h>

#include <zvLog/zvConfigFile.h>

#include "support/HandleChecks.h"
#include "zvos/sockets/socket_service_checks.h"

#include <ifaddrs.h>
#include <net/if.h>

#include <list>
#include <memory>

namespace zvtest {
namespace policy {

constexpr const char *kNullPolicy = "aSocketPolicy != NULL";
constexpr uint32 kNowhere = 0;

// Network byte order, as everywhere here.
inline const uint32 kLoopback = inet_addr("127.0.0.1");
inline const uint32 kFirstOwn = inet_addr("10.1.2.3");
inline const uint32 kSecondOwn = inet_addr("10.1.2.4");
inline const uint32 kForeign = inet_addr("192.0.2.1");

// A machine with three interfaces.
class Machine {
 public:
  Machine() : mList("getifaddrs", 0, 0, -1), mFree("freeifaddrs", 0, 0, -1) {
    Add("lo", kLoopback, IFF_UP | IFF_LOOPBACK);
    Add("eth0", kFirstOwn, IFF_UP);
    Add("wlan0", kSecondOwn, IFF_UP);
    mList.Returning(0).Doing([this](const long long *anArguments) {
      *ArgumentAs<ifaddrs *>(anArguments[0]) = &mInterfaces.front().mEntry;
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
    mInterfaces.push_back({aName, net::Address(ntohl(anAddress), 0), net::Address(0xFFFFFF00, 0), ifaddrs{}});
    Interface &theInterface = mInterfaces.back();
    theInterface.mEntry.ifa_name = &theInterface.mName[0];
    theInterface.mEntry.ifa_flags = someFlags;
    theInterface.mEntry.ifa_addr = net::Generic(&theInterface.mAddress);
    theInterface.mEntry.ifa_netmask = net::Generic(&theInterface.mMask);
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

inline Policy NewPolicy(uint32 aPolicy, void *aUserData = nullptr) {
  return Policy(zvSocketPolicy_New(aPolicy, aUserData));
}

class SocketPolicy : public ::testing::Test {
 protected:
  // Configures from a file with these lines in the section "server".
  void Configure(const Policy &aPolicy, const std::string &someLines) {
    WriteWholeFile(mFolder.File("server.ini"),
                   "[other]\nQOSDisabled = 1\nexclude-if = lo\n[server]\n" + someLines);
    zvConfigFile_t *const theFile = zvConfigFile_Open(mFolder.File("server.ini").c_str());
    ASSERT_NE(nullptr, theFile);
    zvSocketPolicy_Configure(aPolicy.get(), theFile, "server");
    zvConfigFile_Close(theFile);
  }

  TempFolder mFolder;
  RecordingLog mLog;
};

using AddressVector = std::vector<uint32>;
using ListFunction = int (*)(zvSocketPolicy *, uint32 **, int);

inline AddressVector ListOf(ListFunction aFunction, const Policy &aPolicy, int afIncludeLocalhost) {
  uint32 *theList = nullptr;
  const int theCount = aFunction(aPolicy.get(), &theList, afIncludeLocalhost);
  const AddressVector theResult(theList, theList + theCount);
  free(theList);
  return theResult;
}

}  // namespace policy
}  // namespace zvtest
