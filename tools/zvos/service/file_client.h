// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The client of the file service.
#pragma once

#include "shared/network.h"
#include "shared/terminal.h"

#include <zvOS/zvSocketSelect.h>

#include <functional>

namespace tool {

struct FetchSettings {
  Endpoint mServer;
  std::string mName;  // below the folder of the server
  std::string mFile;  // where it is stored
  uint32 mIdleTime;   // milliseconds to wait for the server, each time
  bool mfTrace;
};

struct Fetching {
  MaybeProblem mProblem;  // why the file is not there
  uint64 mBytes;
  uint32 mChecksum;
  int64 mMilliseconds;
  std::string mTrafficFile;  // when there is a trace
};

// Fetches one file, and checks its length and checksum, before it appears under its name. Whoever
// wants it to end early makes afStopped() true and triggers the select object.
Fetching FetchFile(const FetchSettings &aSettings, zvSocketSelect *aSelect,
                   const std::function<bool()> &afStopped, Step &aStep);

}  // namespace tool
