// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The server behind `zvos serve`.
#pragma once

#include "shared/network.h"

namespace tool {

struct ServerSettings {
  std::string mFolder;
  Endpoint mAddress;                // port 0: the library chooses one
  int mPolicy;                      // kzvSocketPolicy_IP_...
  std::string mExcludedInterfaces;  // as the policy's key "exclude-if"; may be empty
  int mQOSClass;                    // kzvSocket_QOS_..., or kNoQOSClass
  uint32 mMostClients;
  uint32 mIdleTime;  // milliseconds after which a client that gets nowhere is given up
  bool mfTrace;
};

constexpr int kNoQOSClass = -1;

// Serves the files of a folder until a signal says stop, unless there is a problem. No other thread may be
// running, and broken pipes are ignored from now on.
MaybeProblem ServeFiles(ServerSettings aSettings);

}  // namespace tool
