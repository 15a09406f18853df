// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Which addresses and interfaces a service uses, and which connections it accepts. Every decision is a
// function in the record that a service may replace; the defaults ask the machine's interfaces.

#include <zvOS/zvSocketInterfaces.h>
#include <zvOS/zvSocketPolicy.h>
#include <zvOS/zvSocketQOS.h>

#include "private/Failure.h"
#include "private/Owner.h"
#include "private/Record.h"
#include "private/SocketAddress.h"

#include <cstring>

ZVLOG_WITH_MODULE_IF(TCP, 1)

using zvos::Owner;

namespace {

int zvSocketPolicy_Default_IsValidIF(zvSocketPolicy *aSocketPolicy, const char *anIFName);

// As they stand they are those of a new policy, and of no policy.
struct Decisions {
  zvSocketAcceptConnectionFunc mAcceptConnectionFunc = zvSocketPolicy_Default_AcceptConnection;
  zvSocketGetIPAddressListFunc mGetIPAddressListFunc = zvSocketPolicy_Default_GetIPAddressList;
  zvSocketMapLocalIPAddressToLoopBackFunc mMapLocalIPAddressToLoopBackFunc =
      zvSocketPolicy_Default_MapLocalIPAddressToLoopBack;
  zvSocketIsValidIF mIsValidIFFunc = zvSocketPolicy_Default_IsValidIF;
};
constexpr Decisions kDefaultDecisions;

}  // namespace

struct zvSocketPolicy_t {
  uint32 mPolicy = kzvSocketPolicy_IP_Other;
  void *mUserData = nullptr;
  Decisions mDecisions;
  Owner<char> mExcludeIFStr;
  Owner<zvCStringParser_TokenList, zvCStringParser_Delete> mExcludeIF;  // its tokens point into mExcludeIFStr
  Owner<zvSocketQOS_t, zvSocketQOS_Delete> mSocketQOS;
};

namespace {

bool IsPolicy(const zvSocketPolicy *aSocketPolicy, uint32 anIPPolicy) {
  return (aSocketPolicy->mPolicy & kzvSocketPolicy_IP_Mask) == anIPPolicy;
}

const zvCStringParser_Token *FirstExcluded(const zvSocketPolicy *aSocketPolicy) {
  return aSocketPolicy->mExcludeIF != nullptr ? aSocketPolicy->mExcludeIF->mFirstToken : nullptr;
}

int zvSocketPolicy_Default_IsValidIF(zvSocketPolicy *aSocketPolicy, const char *anIFName) {
  if (aSocketPolicy == nullptr) return 1;
  for (const zvCStringParser_Token *theToken = FirstExcluded(aSocketPolicy); theToken != nullptr;
       theToken = theToken->mNextToken) {
    if (zvCStringParser_Match(theToken->mData, anIFName) != 0) return 0;
  }
  return 1;
}

// What a policy decides by: its own function, or the default without a policy or a function.
template <typename Function>
Function Decision(const zvSocketPolicy *aSocketPolicy, Function Decisions::*aFunction) {
  const Function theOwn = aSocketPolicy != nullptr ? aSocketPolicy->mDecisions.*aFunction : nullptr;
  return theOwn != nullptr ? theOwn : kDefaultDecisions.*aFunction;
}

// What the owner has is not released: a policy is configured once.
template <typename Owning>
void Replace(Owning &anOwner, typename Owning::pointer aResource) {
  static_cast<void>(anOwner.release());
  anOwner.reset(aResource);
}

void LogExcluded(const zvSocketPolicy *aSocketPolicy) {
  const zvCStringParser_Token *const theFirst = FirstExcluded(aSocketPolicy);
  ZV_INFO(F("zvSocketPolicy: Excluded interfaces:%s", theFirst != nullptr ? "" : "None"));
  for (const zvCStringParser_Token *theToken = theFirst; theToken != nullptr;
       theToken = theToken->mNextToken) {
    const Owner<char> theName(zvStrndup(theToken->mData, theToken->mDataLength));
    ZV_INFO(F(" '%s'", zvos::TextOrNull(theName.get())));
  }
  ZV_INFO(F("\n"));
}

}  // namespace

extern "C" zvSocketPolicy *zvSocketPolicy_New(uint32 aPolicy, void *aUserData) {
  zvSocketPolicy *const thePolicy = zvos::NewRecord<zvSocketPolicy, zvMallocZeroed>();
  if (thePolicy == nullptr) return nullptr;

  thePolicy->mPolicy = aPolicy;
  thePolicy->mUserData = aUserData;
  return thePolicy;
}

extern "C" void zvSocketPolicy_Delete(zvSocketPolicy *aSocketPolicy) {
  if (aSocketPolicy != nullptr) zvos::DeleteRecord(aSocketPolicy);
}

extern "C" void zvSocketPolicy_Configure(zvSocketPolicy *aSocketPolicy, zvConfigFile_t *aConfigFile,
                                         const char *aSection) {
  zvAssert(aSocketPolicy != NULL);
  if (aSocketPolicy == nullptr) return;

  if (zvConfigFile_GetUInt32(aConfigFile, aSection, "QOSDisabled", 0) == 0) {
    Replace(aSocketPolicy->mSocketQOS, zvSocketQOS_New());
  } else {
    ZV_WARN(F("zvSocketPolicy: QOS support is disabled\n"));
  }

  const char *const theNames = zvConfigFile_GetString(aConfigFile, aSection, "exclude-if", nullptr);
  if (theNames == nullptr || theNames[0] == '\0') return;
  char *const theCopy = zvStrdup(theNames);
  Replace(aSocketPolicy->mExcludeIFStr, theCopy);
  Replace(aSocketPolicy->mExcludeIF,
          theCopy != nullptr ? zvCStringParser_TokenizeQuotedList(theCopy, 0, strlen(theCopy)) : nullptr);
  LogExcluded(aSocketPolicy);
}

extern "C" void zvSocketPolicy_ChangePolicy_IP(zvSocketPolicy *aSocketPolicy, int aNewIPPolicy) {
  zvAssert(aSocketPolicy != NULL);
  if (aSocketPolicy == nullptr) return;
  constexpr uint32 kMask = kzvSocketPolicy_IP_Mask;
  aSocketPolicy->mPolicy = (aSocketPolicy->mPolicy & ~kMask) | (static_cast<uint32>(aNewIPPolicy) & kMask);
}

extern "C" void zvSocketPolicy_SetFunc(
    zvSocketPolicy *aSocketPolicy, zvSocketAcceptConnectionFunc anAcceptConnectionFunc,
    zvSocketGetIPAddressListFunc aGetIPAddressListFunc,
    zvSocketMapLocalIPAddressToLoopBackFunc aMapLocalIPAddressToLoopBackFunc) {
  zvAssert(aSocketPolicy != NULL);
  if (aSocketPolicy == nullptr) return;

  aSocketPolicy->mDecisions.mAcceptConnectionFunc = anAcceptConnectionFunc;
  aSocketPolicy->mDecisions.mGetIPAddressListFunc = aGetIPAddressListFunc;
  aSocketPolicy->mDecisions.mMapLocalIPAddressToLoopBackFunc = aMapLocalIPAddressToLoopBackFunc;
}

extern "C" int zvSocketPolicy_AcceptConnection(zvSocketPolicy *aSocketPolicy, uint32 aSourceIPAddress,
                                               uint32 aReceivedIPAddress) {
  if (aSocketPolicy == nullptr) return 1;
  const int theAnswer = Decision(aSocketPolicy, &Decisions::mAcceptConnectionFunc)(
      aSocketPolicy, aSourceIPAddress, aReceivedIPAddress);
  if (theAnswer != 0 || !IsPolicy(aSocketPolicy, kzvSocketPolicy_IP_LocalHostOnly)) return theAnswer;

  // The machine that talks to itself through one of its own addresses is the local host, too.
  return zvSocketPolicy_MapLocalIPAddressToLoopBack(aSocketPolicy, aSourceIPAddress) ==
                 zvSocketPolicy_MapLocalIPAddressToLoopBack(aSocketPolicy, aReceivedIPAddress)
             ? 1
             : 0;
}

extern "C" int zvSocketPolicy_GetIPAddressList(zvSocketPolicy *aSocketPolicy, uint32 **anIPAddressList,
                                               int afIncludeLocalhost) {
  return Decision(aSocketPolicy, &Decisions::mGetIPAddressListFunc)(aSocketPolicy, anIPAddressList,
                                                                    afIncludeLocalhost);
}

extern "C" uint32 zvSocketPolicy_MapLocalIPAddressToLoopBack(zvSocketPolicy *aSocketPolicy,
                                                             uint32 anIPAddress) {
  return Decision(aSocketPolicy, &Decisions::mMapLocalIPAddressToLoopBackFunc)(aSocketPolicy, anIPAddress);
}

extern "C" int zvSocketPolicy_IsValidIF(zvSocketPolicy *aSocketPolicy, const char *anIFName) {
  return Decision(aSocketPolicy, &Decisions::mIsValidIFFunc)(aSocketPolicy, anIFName);
}

extern "C" void *zvSocketPolicy_GetUserData(zvSocketPolicy *aSocketPolicy) {
  zvAssert(aSocketPolicy != NULL);
  return aSocketPolicy != nullptr ? aSocketPolicy->mUserData : nullptr;
}

extern "C" zvSocketQOS zvSocketPolicy_GetQOS(zvSocketPolicy *aSocketPolicy) {
  zvAssert(aSocketPolicy != NULL);
  return aSocketPolicy != nullptr ? aSocketPolicy->mSocketQOS.get() : nullptr;
}

// ---- Defaults ----

extern "C" int zvSocketPolicy_Default_AcceptConnection(zvSocketPolicy *aSocketPolicy, uint32,
                                                       uint32 aReceivedIPAddress) {
  if (aReceivedIPAddress == 0) return 1;
  return zvos::IsListed(aReceivedIPAddress, [=](uint32 **aList) {
    return zvSocketPolicy_Default_GetIPAddressList(aSocketPolicy, aList, 1);
  });
}

extern "C" int zvSocketPolicy_Default_GetIPAddressList(zvSocketPolicy *aSocketPolicy,
                                                       uint32 **anIPAddressList, int afIncludeLocalhost) {
  if (aSocketPolicy != nullptr) {
    if (IsPolicy(aSocketPolicy, kzvSocketPolicy_IP_LocalHostOnly))
      return zvSocketGetLocalHostIPAddressList(aSocketPolicy, anIPAddressList);
    if (IsPolicy(aSocketPolicy, kzvSocketPolicy_IP_AllExceptLocalHost)) afIncludeLocalhost = 0;
  }
  return zvSocketGetIPAddressList(aSocketPolicy, anIPAddressList, afIncludeLocalhost);
}

extern "C" uint32 zvSocketPolicy_Default_MapLocalIPAddressToLoopBack(zvSocketPolicy *aSocketPolicy,
                                                                     uint32 anIPAddress) {
  return aSocketPolicy != nullptr && IsPolicy(aSocketPolicy, kzvSocketPolicy_IP_LocalHostOnly)
             ? zvSocketMapLocalIPAddressToLoopBack(aSocketPolicy, anIPAddress)
             : anIPAddress;
}
