// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The live table of sockets: fixed storage, a linear search, one mutex held for a whole operation, so
// that the lines of a table are never mixed with those of another.

#include <zvOS/zvMutex.h>
#include <zvOS/zvSocketAddress.h>
#include <zvOS/zvSocketTracker.h>

#include "private/LockAnnotations.h"
#include "private/Message.h"
#include "private/SocketAddress.h"

#include <atomic>
#include <cstring>

ZVLOG_WITH_MODULE_IF(SOCKETTRACKER, 1)

namespace {

constexpr int kSocketTrackerMax = 50;

// A slot whose socket is this one is free; descriptor 0 can therefore not be tracked.
constexpr zvSocket kFreeSlot = 0;

// No socket: a table in which no line is marked.
constexpr zvSocket kNoSocket = -1;

enum {
  kSocket_NotInited = 0,
  kSocket_Created = 1,
  kSocket_Connected = 2,
  kSocket_Listening = 3,
  kSocket_Closed = 4
};

// By state, all of one width.
const char *const kSocketStateString[] = {"Not Inited", "Created   ", "Connected ", "Listening ",
                                          "Closed    "};

struct zvSocketTrackerData {
  zvSocket ID;
  const char *context;
  uint32 sent;
  uint32 received;
  int32 state;
  int32 fIn;
  uint16 port;  // this and the next in host byte order, 0 while unknown
  uint16 remotePort;
};

using zvAtomic_int = std::atomic<int>;

// Made with the table. Without a mutex it cannot be acquired, and nothing is tracked.
class ZVOS_LOCK TableMutex {
 public:
  void Make() { mMutex = zvMutex_New(); }
  bool Acquire() ZVOS_ACQUIRES_WHEN(true) {
    return mMutex != nullptr && zvMutex_Lock(mMutex) == zvMutex_Status_NoError;
  }
  void Release() ZVOS_RELEASES() { zvMutex_Unlock(mMutex); }

 private:
  zvOSMutex *mMutex = nullptr;
};

TableMutex sMutex;
zvSocketTrackerData sInfo[kSocketTrackerMax] ZVOS_GUARDED_BY(sMutex);
zvAtomic_int sInfoInitValue{0};
zvAtomic_int sfInited{0};

// The first caller prepares the table; the others wait for it without a pause, once in the life of
// the process.
void zvSocketTracker_Init() {
  while (sfInited.load(std::memory_order_acquire) == 0) {
    if (sInfoInitValue.fetch_add(1, std::memory_order_relaxed) != 0) continue;
    memset(sInfo, 0, sizeof(sInfo));
    sMutex.Make();
    sfInited.store(1, std::memory_order_release);
  }
}

template <typename Action>
void WhileLocked(Action anAction) {
  zvSocketTracker_Init();
  if (!sMutex.Acquire()) return;
  anAction();
  sMutex.Release();
}

void zvSocketTracker_S_Dump(zvSocket aSocketID) ZVOS_REQUIRES(sMutex) {
  int theCount = 0;
  for (const zvSocketTrackerData &theInfo : sInfo) {
    if (theInfo.ID != kFreeSlot) ++theCount;
  }
  ZV_DEBUG(F("SOCKETS STATUS: %d in use\n", theCount));

  for (const zvSocketTrackerData &theInfo : sInfo) {
    if (theInfo.ID == kFreeSlot) continue;
    ZV_DEBUG(F("  %c ID=%5d  %s  S=%08lu  R=%08lu  P=%5u RP=%5u %s (%s) \n",
               theInfo.ID == aSocketID ? '*' : ' ', theInfo.ID, theInfo.fIn != 0 ? " IN" : "OUT",
               static_cast<unsigned long>(theInfo.sent), static_cast<unsigned long>(theInfo.received),
               theInfo.port, theInfo.remotePort, kSocketStateString[theInfo.state], theInfo.context));
  }
}

// Stores a port that is not known yet. A failure leaves it unknown, so it is asked for again.
template <typename Query>
void FetchPort(Query aQuery, zvSocket aSocketID, uint16 *aPort) {
  if (*aPort != 0) return;
  sockaddr_in theName = {};
  socklen_t theLength = sizeof(theName);
  if (aQuery(aSocketID, zvos::Generic(&theName), &theLength) == 0) *aPort = zvSocket_ntohs(theName.sin_port);
}

void zvSocketTracker_S_FetchInfo(zvSocketTrackerData *anInfo) {
  FetchPort(getsockname, anInfo->ID, &anInfo->port);
  FetchPort(getpeername, anInfo->ID, &anInfo->remotePort);
}

// The first slot with that socket, or NULL.
zvSocketTrackerData *Find(zvSocket aSocketID) ZVOS_REQUIRES(sMutex) {
  for (zvSocketTrackerData &theInfo : sInfo) {
    if (theInfo.ID == aSocketID) return &theInfo;
  }
  return nullptr;
}

void EnterState(zvSocket aSocketID, int32 aState) {
  WhileLocked([=]() ZVOS_REQUIRES(sMutex) {
    zvSocketTrackerData *const theInfo = Find(aSocketID);
    if (theInfo == nullptr) return;
    theInfo->state = aState;
    zvSocketTracker_S_FetchInfo(theInfo);
    zvSocketTracker_S_Dump(aSocketID);
  });
}

void Count(zvSocket aSocketID, int aCount, uint32 zvSocketTrackerData::*aCounter) {
  WhileLocked([=]() ZVOS_REQUIRES(sMutex) {
    for (zvSocketTrackerData &theInfo : sInfo) {
      if (theInfo.ID != aSocketID) continue;
      zvSocketTracker_S_FetchInfo(&theInfo);
      theInfo.*aCounter += static_cast<uint32>(aCount);
    }
  });
}

}  // namespace

extern "C" void zvSocketTracker_Add(zvSocket aSocketID, int afIn, const char *aDebugContext) {
  WhileLocked([=]() ZVOS_REQUIRES(sMutex) {
    for (int i = 0; i < kSocketTrackerMax; ++i)
      zvAssert(sInfo[i].ID != aSocketID);

    zvSocketTrackerData *const theInfo = Find(kFreeSlot);
    if (theInfo == nullptr) return;
    *theInfo = {aSocketID, aDebugContext, 0, 0, kSocket_Created, afIn, 0, 0};
    zvSocketTracker_S_Dump(aSocketID);
  });
}

extern "C" void zvSocketTracker_Connect(zvSocket aSocketID) {
  EnterState(aSocketID, kSocket_Connected);
}

extern "C" void zvSocketTracker_Listen(zvSocket aSocketID) {
  EnterState(aSocketID, kSocket_Listening);
}

extern "C" void zvSocketTracker_Remove(zvSocket aSocketID) {
  WhileLocked([=]() ZVOS_REQUIRES(sMutex) {
    zvSocketTrackerData *const theInfo = Find(aSocketID);
    if (theInfo == nullptr) return;
    theInfo->state = kSocket_Closed;
    zvSocketTracker_S_Dump(aSocketID);
    theInfo->ID = kFreeSlot;
  });
}

extern "C" void zvSocketTracker_Send(zvSocket aSocketID, int aCount) {
  Count(aSocketID, aCount, &zvSocketTrackerData::sent);
}

extern "C" void zvSocketTracker_Recv(zvSocket aSocketID, int aCount) {
  Count(aSocketID, aCount, &zvSocketTrackerData::received);
}

extern "C" void zvSocketTracker_Dump(void) {
  WhileLocked([]() ZVOS_REQUIRES(sMutex) { zvSocketTracker_S_Dump(kNoSocket); });
}
