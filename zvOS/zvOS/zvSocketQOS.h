// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_socketqos Quality of service
/// Marks what a socket sends with a priority class: the type-of-service byte of the IP header and the
/// system's own queueing priority.
///
/// ```c
/// zvSocketQOS theQOS = zvSocketQOS_New();  // or that of a policy, zvSocketPolicy_GetQOS
/// zvSocketQOS_SetPriority(theQOS, theSocket, kzvSocket_QOS_AUDIO_VIDEO, NULL);
/// zvSocketQOS_Delete(theQOS);
/// ```
///
/// @threads any thread may call any function; Delete is the last call on an object
/// @signals no
/// @fork yes
/// @errno after a failed system call what the system said
/// @logs failures, as errors of module TCP_QOS (122)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvSocketQOS_h
#define zvOS_zvSocketQOS_h

#include <zvOS/zvSocketTypes.h>

/// Priority classes, with the type-of-service byte and the socket priority that they write. Any other value
/// writes 0x00 and 0.
enum {
  kzvSocket_QOS_NONE = 0,              ///< 0x00, 0
  kzvSocket_QOS_BEST_EFFORT = 1,       ///< 0x00, 0
  kzvSocket_QOS_BACKGROUND = 2,        ///< 0x20, 1
  kzvSocket_QOS_EXCELLENT_EFFORT = 3,  ///< 0x60, 3
  kzvSocket_QOS_AUDIO_VIDEO = 4,       ///< 0xA0, 5
  kzvSocket_QOS_VOICE = 5,             ///< 0xC0, 6
  kzvSocket_QOS_CONTROL = 6,           ///< 0xE0, 7
  kzvSocket_QOS_FIRST = kzvSocket_QOS_NONE,
  kzvSocket_QOS_LAST = kzvSocket_QOS_CONTROL
};

/// The four DLNA levels.
enum {
  kzvSocket_DLNAQOS_0 = kzvSocket_QOS_BACKGROUND,
  kzvSocket_DLNAQOS_1 = kzvSocket_QOS_NONE,
  kzvSocket_DLNAQOS_2 = kzvSocket_QOS_AUDIO_VIDEO,
  kzvSocket_DLNAQOS_3 = kzvSocket_QOS_CONTROL
};

/// What zvSocketQOS_SetPriority answers, besides 0 and -1.
enum {
  kzvSocketQOSInvalidSocket = -1,
  kzvSocketQOSNotSupported = -2  ///< for callers; nothing here returns it
};

/// Makes an object.
/// @return the object, which the caller releases with zvSocketQOS_Delete; NULL when there is no memory
/// @logs nothing
ZVOS_API zvSocketQOS zvSocketQOS_New(void);

/// Releases an object. Sockets stay marked.
/// @param aSocketQOS the object; NULL is ignored
/// @logs nothing
ZVOS_API void zvSocketQOS_Delete(zvSocketQOS aSocketQOS);

/// Marks a socket. A type-of-service byte that cannot be set is only logged.
/// @param aSocketQOS the object; NULL does nothing
/// @param aSocket the socket
/// @param aPriority a kzvSocket_QOS_ value
/// @param anAddress not used
/// @return 0; kzvSocketQOSInvalidSocket for socket -1 (logged); -1 when the socket priority cannot be set
///   (logged), with EPERM for the classes of priority 7 without the privilege CAP_NET_ADMIN
ZVOS_API int zvSocketQOS_SetPriority(zvSocketQOS aSocketQOS, zvSocket aSocket, int aPriority,
                                     const struct sockaddr *anAddress);

/// Does nothing: the marking stays on the socket.
/// @param aSocketQOS not looked at
/// @param aSocket not looked at
/// @signals yes
/// @logs nothing
ZVOS_API void zvSocketQOS_UnsetPriority(zvSocketQOS aSocketQOS, zvSocket aSocket);

/// @}

#endif
