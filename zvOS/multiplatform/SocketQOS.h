// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The QoS object, and the entries that it has room for and does not keep yet.
#pragma once

#include <zvOS/zvSocketTypes.h>

#include <cstdlib>
#include <cstring>

struct zvSocketQOS_t {
  void *mSocketArray;    // entries of sockets, each beginning with its socket; none are kept
  int mfQWaveSupported;  // 1 leaves the marking to the system; nothing sets it here
  int mfQOSInitialized;
};

namespace zvos {

// 1 when both entries are of the same socket, else 0.
inline int zvSocketQOS_Search(const void *anEntry, const void *anotherEntry) {
  return memcmp(anEntry, anotherEntry, sizeof(uint32)) == 0 ? 1 : 0;
}

// Releases an entry; NULL is ignored.
inline void zvSocket_FreeSocketQOSProperties(void *anEntry) {
  free(anEntry);
}

}  // namespace zvos
