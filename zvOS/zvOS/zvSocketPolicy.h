// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_socketpolicy Policies
/// Which addresses and interfaces a service uses, and which connections it accepts.
///
/// ```c
/// zvSocketPolicy *thePolicy = zvSocketPolicy_New(kzvSocketPolicy_IP_AllExceptLocalHost, NULL);
/// zvSocketPolicy_Configure(thePolicy, theConfigFile, "server");
/// // with a connection:
/// if (!zvSocketPolicy_AcceptConnection(thePolicy, thePeerAddress, theOwnAddress)) Refuse(theSocket);
/// zvSocketQOS_SetPriority(zvSocketPolicy_GetQOS(thePolicy), theSocket, kzvSocket_QOS_AUDIO_VIDEO, NULL);
/// ```
///
/// Addresses are in network byte order. A NULL policy restricts nothing.
///
/// @threads a configured policy may be read by several threads; changing it while others use it is up to the
///   caller
/// @signals no
/// @fork yes; the child has a policy of its own
/// @errno says nothing
/// @logs nothing
/// @since 1.0.0
/// @{
#ifndef zvOS_zvSocketPolicy_h
#define zvOS_zvSocketPolicy_h

#include <zvOS/zvSocketTypes.h>

/// The IP policy: the two low bits of the policy's number.
enum {
  kzvSocketPolicy_IP_Other = 0x00,               ///< no restriction of its own
  kzvSocketPolicy_IP_All = 0x01,                 ///< all addresses
  kzvSocketPolicy_IP_AllExceptLocalHost = 0x02,  ///< all but loopback
  kzvSocketPolicy_IP_LocalHostOnly = 0x03,       ///< loopback only
  kzvSocketPolicy_IP_Mask = 0x03
};

/// A decision that a service can replace, see zvSocketPolicy_SetFunc: answers as
/// zvSocketPolicy_AcceptConnection.
typedef int (*zvSocketAcceptConnectionFunc)(zvSocketPolicy *aSocketPolicy, uint32 aSourceIPAddress,
                                            uint32 aReceivedIPAddress);

/// A decision that a service can replace: answers as zvSocketPolicy_GetIPAddressList.
typedef int (*zvSocketGetIPAddressListFunc)(zvSocketPolicy *aSocketPolicy, uint32 **anIPAddressList,
                                            int afIncludeLocalhost);

/// A decision that a service can replace: answers as zvSocketPolicy_MapLocalIPAddressToLoopBack.
typedef uint32 (*zvSocketMapLocalIPAddressToLoopBackFunc)(zvSocketPolicy *aSocketPolicy, uint32 anIPAddress);

/// A decision on interfaces: answers as zvSocketPolicy_IsValidIF. It cannot be replaced.
typedef int (*zvSocketIsValidIF)(zvSocketPolicy *aSocketPolicy, const char *anIFName);

/// A policy with the default decisions, no QoS and no excluded interface.
/// @param aPolicy a kzvSocketPolicy_IP_ value; the other bits are kept and not interpreted
/// @param aUserData for zvSocketPolicy_GetUserData; stays the caller's
/// @return the policy, which the caller releases with zvSocketPolicy_Delete; NULL when there is no memory
ZVOS_API zvSocketPolicy *zvSocketPolicy_New(uint32 aPolicy, void *aUserData);

/// Releases the policy and what it owns.
/// @param aSocketPolicy the policy; NULL is ignored
ZVOS_API void zvSocketPolicy_Delete(zvSocketPolicy *aSocketPolicy);

/// Reads the settings of a policy. They are two keys of a section: "QOSDisabled" (0, the default, gives the
/// policy a QoS object) and "exclude-if" (names or patterns of interfaces that are not used, separated by
/// blanks or commas, in double quotes where needed). Call it once: a second call replaces, and leaks, what
/// the first made.
/// @param aSocketPolicy the policy; NULL asserts
/// @param aConfigFile the file (zvConfigFile_Open), needed during the call only; NULL stands for an empty one
/// @param aSection the section
/// @logs in module TCP (21): a warning when QoS is disabled, the excluded interfaces as information
ZVOS_API void zvSocketPolicy_Configure(zvSocketPolicy *aSocketPolicy, zvConfigFile_t *aConfigFile,
                                       const char *aSection);

/// Replaces the two low bits of the policy's number.
/// @param aSocketPolicy the policy; NULL asserts
/// @param aNewIPPolicy a kzvSocketPolicy_IP_ value
ZVOS_API void zvSocketPolicy_ChangePolicy_IP(zvSocketPolicy *aSocketPolicy, int aNewIPPolicy);

/// Replaces decisions. The functions are stored as they are given; where one is NULL, the policy decides by
/// the default. The interface filter cannot be replaced.
/// @param aSocketPolicy the policy; NULL asserts
/// @param anAcceptConnectionFunc what zvSocketPolicy_AcceptConnection asks
/// @param aGetIPAddressListFunc what zvSocketPolicy_GetIPAddressList asks
/// @param aMapLocalIPAddressToLoopBackFunc what zvSocketPolicy_MapLocalIPAddressToLoopBack asks
ZVOS_API void zvSocketPolicy_SetFunc(
    zvSocketPolicy *aSocketPolicy, zvSocketAcceptConnectionFunc anAcceptConnectionFunc,
    zvSocketGetIPAddressListFunc aGetIPAddressListFunc,
    zvSocketMapLocalIPAddressToLoopBackFunc aMapLocalIPAddressToLoopBackFunc);

/// Whether a connection is to be accepted. When the decision refuses and the policy is loopback only, a
/// connection whose two addresses map to the same address is accepted all the same.
/// @param aSocketPolicy the policy; NULL accepts everything
/// @param aSourceIPAddress where it comes from, in network byte order
/// @param aReceivedIPAddress the address of this machine that it was received on, in network byte order; 0
///   when that is not known
/// @return non-zero when it is, else 0
ZVOS_API int zvSocketPolicy_AcceptConnection(zvSocketPolicy *aSocketPolicy, uint32 aSourceIPAddress,
                                             uint32 aReceivedIPAddress);

/// Lists the addresses to use.
/// @param aSocketPolicy the policy; NULL restricts nothing
/// @param anIPAddressList a new list is stored here, in network byte order, which the caller releases with
///   free(); set it to NULL before
/// @param afIncludeLocalhost non-zero: loopback is listed, too, if the policy admits it
/// @return the count, 0 when the interfaces cannot be listed
ZVOS_API int zvSocketPolicy_GetIPAddressList(zvSocketPolicy *aSocketPolicy, uint32 **anIPAddressList,
                                             int afIncludeLocalhost);

/// The loopback address for an address of this machine, when the policy is loopback only.
/// @param aSocketPolicy the policy; NULL changes nothing
/// @param anIPAddress the address in network byte order
/// @return 127.0.0.1 or the address, in network byte order
ZVOS_API uint32 zvSocketPolicy_MapLocalIPAddressToLoopBack(zvSocketPolicy *aSocketPolicy, uint32 anIPAddress);

/// Whether an interface is not excluded.
/// @param aSocketPolicy the policy; NULL excludes none
/// @param anIFName the name of the interface ("eth0")
/// @return non-zero when it is not, else 0
ZVOS_API int zvSocketPolicy_IsValidIF(zvSocketPolicy *aSocketPolicy, const char *anIFName);

/// The value given to zvSocketPolicy_New.
/// @param aSocketPolicy the policy; NULL asserts
/// @return the value, which belongs to who gave it; NULL for a NULL policy
ZVOS_API void *zvSocketPolicy_GetUserData(zvSocketPolicy *aSocketPolicy);

/// The policy's QoS object.
/// @param aSocketPolicy the policy; NULL asserts
/// @return the object, which belongs to the policy; NULL when it has none
ZVOS_API zvSocketQOS zvSocketPolicy_GetQOS(zvSocketPolicy *aSocketPolicy);

/// Decides as a new policy does about a connection, for replacements to fall back on. It accepts when the
/// address the connection was received on is 0 or in the default address list, loopback included; the source
/// is not looked at.
/// @param aSocketPolicy the policy; NULL restricts nothing
/// @param aSourceIPAddress not looked at
/// @param aReceivedIPAddress the address of this machine, in network byte order
/// @return 1 when it accepts, else 0
ZVOS_API int zvSocketPolicy_Default_AcceptConnection(zvSocketPolicy *aSocketPolicy, uint32 aSourceIPAddress,
                                                     uint32 aReceivedIPAddress);

/// Lists addresses as a new policy does, for replacements to fall back on. They are 127.0.0.1 alone when the
/// policy is loopback only, else the addresses of the interfaces that are not excluded.
/// @param aSocketPolicy the policy; NULL restricts nothing
/// @param anIPAddressList a new list is stored here, in network byte order, which the caller releases with
///   free(); set it to NULL before
/// @param afIncludeLocalhost non-zero: loopback is listed, too, unless the policy is all but loopback
/// @return the count, 0 when the interfaces cannot be listed
ZVOS_API int zvSocketPolicy_Default_GetIPAddressList(zvSocketPolicy *aSocketPolicy, uint32 **anIPAddressList,
                                                     int afIncludeLocalhost);

/// Maps an address as a new policy does, for replacements to fall back on. It becomes 127.0.0.1 for an
/// address of this machine when the policy is loopback only.
/// @param aSocketPolicy the policy; NULL changes nothing
/// @param anIPAddress the address in network byte order
/// @return 127.0.0.1 or the address, in network byte order
ZVOS_API uint32 zvSocketPolicy_Default_MapLocalIPAddressToLoopBack(zvSocketPolicy *aSocketPolicy,
                                                                   uint32 anIPAddress);

/// @}

#endif
