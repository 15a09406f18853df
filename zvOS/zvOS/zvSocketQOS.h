// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Marks what a socket sends with a priority class: the type-of-service byte of the IP header and the
// system's own queueing priority. Messages go to module TCP_QOS (122).
#ifndef zvOS_zvSocketQOS_h
#define zvOS_zvSocketQOS_h

#include <zvOS/zvSocketTypes.h>

// Priority classes, with the type-of-service byte and the socket priority that they write. Any other
// value writes 0x00 and 0.
enum {
  kzvSocket_QOS_NONE = 0,              // 0x00, 0
  kzvSocket_QOS_BEST_EFFORT = 1,       // 0x00, 0
  kzvSocket_QOS_BACKGROUND = 2,        // 0x20, 1
  kzvSocket_QOS_EXCELLENT_EFFORT = 3,  // 0x60, 3
  kzvSocket_QOS_AUDIO_VIDEO = 4,       // 0xA0, 5
  kzvSocket_QOS_VOICE = 5,             // 0xC0, 6
  kzvSocket_QOS_CONTROL = 6,           // 0xE0, 7
  kzvSocket_QOS_FIRST = kzvSocket_QOS_NONE,
  kzvSocket_QOS_LAST = kzvSocket_QOS_CONTROL
};

// The four DLNA levels.
enum {
  kzvSocket_DLNAQOS_0 = kzvSocket_QOS_BACKGROUND,
  kzvSocket_DLNAQOS_1 = kzvSocket_QOS_NONE,
  kzvSocket_DLNAQOS_2 = kzvSocket_QOS_AUDIO_VIDEO,
  kzvSocket_DLNAQOS_3 = kzvSocket_QOS_CONTROL
};

enum {
  kzvSocketQOSInvalidSocket = -1,
  kzvSocketQOSNotSupported = -2  // for callers; nothing here returns it
};

// An object, which the caller releases with zvSocketQOS_Delete, or NULL when there is no memory.
ZVOS_API zvSocketQOS zvSocketQOS_New(void);

// Releases it; NULL is ignored.
ZVOS_API void zvSocketQOS_Delete(zvSocketQOS aSocketQOS);

// Marks a socket. anAddress is not used. Returns 0, kzvSocketQOSInvalidSocket for socket -1 (logged),
// or -1 when the socket priority cannot be set (logged); a type-of-service byte that cannot be set is
// only logged. A NULL object does nothing and returns 0. Any thread may call it.
ZVOS_API int zvSocketQOS_SetPriority(zvSocketQOS aSocketQOS, zvSocket aSocket, int aPriority,
                                     const struct sockaddr *anAddress);

// Does nothing: the marking stays on the socket.
ZVOS_API void zvSocketQOS_UnsetPriority(zvSocketQOS aSocketQOS, zvSocket aSocket);

#endif
