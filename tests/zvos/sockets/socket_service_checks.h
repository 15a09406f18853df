// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of selects, of ready-made sockets and of the services around sockets have in common.
#pragma once

#include "socket_support.h"
#include "support/Alone.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <fcntl.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace zvtest {

constexpr zvLogModule kModuleOfSelects = 25;
constexpr zvLogModule kModuleOfQOS = 122;
constexpr zvLogLevel kDebugLevel = 4;

inline sockaddr_in OwnAddressOf(int aSocket) {
  sockaddr_in theAddress = {};
  socklen_t theLength = sizeof(theAddress);
  EXPECT_EQ(0, getsockname(aSocket, net::Generic(&theAddress), &theLength));
  return theAddress;
}

// The messages of one module.
inline std::vector<Message> MessagesOf(const RecordingLog &aLog, zvLogModule aModule) {
  std::vector<Message> theResult = aLog.Messages();
  const auto isForeign = [&](const Message &aMessage) { return aMessage.mModule != aModule; };
  theResult.erase(std::remove_if(theResult.begin(), theResult.end(), isForeign), theResult.end());
  return theResult;
}

// Runs the body of the current test in a process in which the library under test was not called
// before.
inline void InFreshProcess(const std::function<void()> &aBody) {
  if (IsAlone()) aBody();
}

}  // namespace zvtest
