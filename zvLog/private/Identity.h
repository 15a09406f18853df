// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Who makes a record: process, thread and the thread's name.
#pragma once

#include <zvLog/zvLogTypes.h>

#include <sys/types.h>

namespace zvlog {

constexpr size_t kThreadNameRoom = 16;  // with its terminator: what the kernel keeps

struct Identity {
  pid_t mProcess;
  pid_t mThread;
  char mName[kThreadNameRoom];  // empty when the thread has no name of its own
};

// Of the calling thread. Kept from the first call on: later ones make no system call. Safe in a signal
// handler, and right in a child process from its first call on.
const Identity &OwnIdentity();

// A positive number of 31 bits that no process has from which this one was forked.
uint32 ProcessMark();

}  // namespace zvlog
