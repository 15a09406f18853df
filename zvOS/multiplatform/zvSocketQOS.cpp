// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Priority classes of sockets.

#include <zvOS/zvSocketQOS.h>

#include "multiplatform/SocketQOS.h"
#include "private/Failure.h"
#include "private/Record.h"

ZVLOG_WITH_MODULE_IF(TCP_QOS, 1)

namespace {

// The IP precedence in the three high bits of the type-of-service byte is the socket's priority.
struct Marking {
  int mTypeOfService;
  int mPriority;
};

constexpr Marking kMarkings[] = {
    {0x00, 0},  // kzvSocket_QOS_NONE
    {0x00, 0},  // kzvSocket_QOS_BEST_EFFORT
    {0x20, 1},  // kzvSocket_QOS_BACKGROUND
    {0x60, 3},  // kzvSocket_QOS_EXCELLENT_EFFORT
    {0xA0, 5},  // kzvSocket_QOS_AUDIO_VIDEO
    {0xC0, 6},  // kzvSocket_QOS_VOICE
    {0xE0, 7},  // kzvSocket_QOS_CONTROL
};

Marking MarkingOf(int aPriority) {
  // As unsigned, so that negative classes are out of range, too.
  const uint32 theClass = static_cast<uint32>(aPriority);
  return theClass <= kzvSocket_QOS_LAST ? kMarkings[theClass] : kMarkings[kzvSocket_QOS_NONE];
}

}  // namespace

extern "C" zvSocketQOS zvSocketQOS_New(void) {
  const zvSocketQOS theSocketQOS = zvos::NewRecord<zvSocketQOS_t, zvMallocZeroed>();
  if (theSocketQOS != nullptr) theSocketQOS->mfQOSInitialized = 1;
  return theSocketQOS;
}

extern "C" void zvSocketQOS_Delete(zvSocketQOS aSocketQOS) {
  free(aSocketQOS);
}

extern "C" int zvSocketQOS_SetPriority(zvSocketQOS aSocketQOS, zvSocket aSocket, int aPriority,
                                       const sockaddr *) {
  if (aSocketQOS == nullptr) return 0;
  if (aSocket == kzvSocketInvalid)
    return ZVOS_FAIL(kzvSocketQOSInvalidSocket, F("SetPriority: invalid socket\n"));
  const Marking theMarking = MarkingOf(aPriority);
  if (aSocketQOS->mfQWaveSupported == 1) return 0;

  const int theServiceResult =
      setsockopt(aSocket, IPPROTO_IP, IP_TOS, &theMarking.mTypeOfService, sizeof(theMarking.mTypeOfService));
  if (theServiceResult != 0) ZV_ERR(F("Error calling setsockopt (IP_TOS): %d\n", theServiceResult));

  // Only this result is the caller's: a queue that knows the priority does without the byte.
  const int theResult =
      setsockopt(aSocket, SOL_SOCKET, SO_PRIORITY, &theMarking.mPriority, sizeof(theMarking.mPriority));
  if (theResult != 0) ZV_ERR(F("Error calling setsockopt (SO_PRIORITY): %d\n", theResult));
  return theResult;
}

extern "C" void zvSocketQOS_UnsetPriority(zvSocketQOS, zvSocket) {}
