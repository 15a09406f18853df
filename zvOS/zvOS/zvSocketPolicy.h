// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Which addresses and interfaces a service uses, and which connections it accepts.
//
//   zvSocketPolicy *thePolicy = zvSocketPolicy_New(kzvSocketPolicy_IP_AllExceptLocalHost, NULL);
//   zvSocketPolicy_Configure(thePolicy, theConfigFile, "server");
//   ...
//   if (!zvSocketPolicy_AcceptConnection(thePolicy, thePeerAddress, theOwnAddress)) zvSocketClose(...);
//   zvSocketQOS_SetPriority(zvSocketPolicy_GetQOS(thePolicy), theSocket, kzvSocket_QOS_AUDIO_VIDEO, NULL);
//
// Addresses are in network byte order. A NULL policy restricts nothing. A configured policy may be
// read by several threads; changing it while others use it is up to the caller. Messages go to module
// TCP (21).
#ifndef zvOS_zvSocketPolicy_h
#define zvOS_zvSocketPolicy_h

#include <zvOS/zvSocketTypes.h>

// The IP policy: the two low bits of the policy's number.
enum {
  kzvSocketPolicy_IP_Other = 0x00,               // no restriction of its own
  kzvSocketPolicy_IP_All = 0x01,                 // all addresses
  kzvSocketPolicy_IP_AllExceptLocalHost = 0x02,  // all but loopback
  kzvSocketPolicy_IP_LocalHostOnly = 0x03,       // loopback only
  kzvSocketPolicy_IP_Mask = 0x03
};

// Decisions that a service can replace, see zvSocketPolicy_SetFunc. They answer as the functions of
// the same purpose below.
typedef int (*zvSocketAcceptConnectionFunc)(zvSocketPolicy *aSocketPolicy, uint32 aSourceIPAddress,
                                            uint32 aReceivedIPAddress);
typedef int (*zvSocketGetIPAddressListFunc)(zvSocketPolicy *aSocketPolicy, uint32 **anIPAddressList,
                                            int afIncludeLocalhost);
typedef uint32 (*zvSocketMapLocalIPAddressToLoopBackFunc)(zvSocketPolicy *aSocketPolicy, uint32 anIPAddress);
typedef int (*zvSocketIsValidIF)(zvSocketPolicy *aSocketPolicy, const char *anIFName);

// A policy with the default decisions, no QoS and no excluded interface; the caller releases it with
// zvSocketPolicy_Delete. The other bits of aPolicy are kept and not interpreted. NULL when there is
// no memory.
ZVOS_API zvSocketPolicy *zvSocketPolicy_New(uint32 aPolicy, void *aUserData);

// Releases the policy and what it owns; NULL is ignored.
ZVOS_API void zvSocketPolicy_Delete(zvSocketPolicy *aSocketPolicy);

// Reads two keys of a section: "QOSDisabled" (0, the default, gives the policy a QoS object) and
// "exclude-if" (names or patterns of interfaces that are not used, separated by blanks or commas,
// in double quotes where needed). Call it once: a second call replaces, and leaks, what the first made.
ZVOS_API void zvSocketPolicy_Configure(zvSocketPolicy *aSocketPolicy, zvConfigFile_t *aConfigFile,
                                       const char *aSection);

// Replaces the two low bits of the policy's number.
ZVOS_API void zvSocketPolicy_ChangePolicy_IP(zvSocketPolicy *aSocketPolicy, int aNewIPPolicy);

// Replaces decisions. The functions are stored as they are given; where one is NULL, the policy decides by
// the default. The interface filter cannot be replaced.
ZVOS_API void zvSocketPolicy_SetFunc(
    zvSocketPolicy *aSocketPolicy, zvSocketAcceptConnectionFunc anAcceptConnectionFunc,
    zvSocketGetIPAddressListFunc aGetIPAddressListFunc,
    zvSocketMapLocalIPAddressToLoopBackFunc aMapLocalIPAddressToLoopBackFunc);

// Non-zero when a connection from the one address, received on the other, is to be accepted. When the
// decision refuses and the policy is loopback only, a connection whose two addresses map to the same
// address is accepted all the same.
ZVOS_API int zvSocketPolicy_AcceptConnection(zvSocketPolicy *aSocketPolicy, uint32 aSourceIPAddress,
                                             uint32 aReceivedIPAddress);

// Lists the addresses to use; the caller releases the list with free(). Returns the count.
ZVOS_API int zvSocketPolicy_GetIPAddressList(zvSocketPolicy *aSocketPolicy, uint32 **anIPAddressList,
                                             int afIncludeLocalhost);

// 127.0.0.1 for an address of this machine when the policy is loopback only, else the address.
ZVOS_API uint32 zvSocketPolicy_MapLocalIPAddressToLoopBack(zvSocketPolicy *aSocketPolicy, uint32 anIPAddress);

// Non-zero when the interface is not excluded.
ZVOS_API int zvSocketPolicy_IsValidIF(zvSocketPolicy *aSocketPolicy, const char *anIFName);

// The value given to zvSocketPolicy_New. A NULL policy asserts.
ZVOS_API void *zvSocketPolicy_GetUserData(zvSocketPolicy *aSocketPolicy);

// The policy's QoS object, which belongs to the policy; NULL when it has none. A NULL policy asserts.
ZVOS_API zvSocketQOS zvSocketPolicy_GetQOS(zvSocketPolicy *aSocketPolicy);

// The default decisions, for replacements to fall back on. Accept: when the address the connection was
// received on is 0 or in the default address list, loopback included; the source is not looked at.
ZVOS_API int zvSocketPolicy_Default_AcceptConnection(zvSocketPolicy *aSocketPolicy, uint32 aSourceIPAddress,
                                                     uint32 aReceivedIPAddress);
ZVOS_API int zvSocketPolicy_Default_GetIPAddressList(zvSocketPolicy *aSocketPolicy, uint32 **anIPAddressList,
                                                     int afIncludeLocalhost);
ZVOS_API uint32 zvSocketPolicy_Default_MapLocalIPAddressToLoopBack(zvSocketPolicy *aSocketPolicy,
                                                                   uint32 anIPAddress);

#endif
