// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The system log.
#pragma once

#include "FinishedRecord.h"

#include <sys/un.h>

namespace zvlog {

// Addresses of log sockets are never released: a thread may be about to send to one. Few programs use more
// than one.
struct SocketAddress {
  sockaddr_un mAddress;
  SocketAddress *mNext;
};

// For setters, one at a time. Proves that the log can be reached; NULL with errno. A NULL path means the
// system's own socket.
const SocketAddress *OpenSystemLog(const char *aSocketPath);

// It is no sink any more. The socket is kept.
void ForgetSystemLog();

// 0, or the error that kept the record from being sent.
int SendToSystemLog(const SocketAddress *anAddress, const FinishedRecord &aRecord);

}  // namespace zvlog
