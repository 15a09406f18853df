// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// An object of priority classes with a socket, for the tests of both.
#pragma once

#include <zvOS/zvSocketQOS.h>

#include "support/HandleChecks.h"
#include "zvos/sockets/socket_service_checks.h"

namespace zvtest {

class SocketQOS : public ::testing::Test {
 protected:
  SocketQOS() : mQOS(zvSocketQOS_New()), mSocket(net::Datagram()) {}
  ~SocketQOS() override { zvSocketQOS_Delete(mQOS); }

  int Set(int aClass) { return zvSocketQOS_SetPriority(mQOS, mSocket, aClass, nullptr); }

  RecordingLog mLog;
  zvSocketQOS mQOS;
  net::Socket mSocket;
};

}  // namespace zvtest
