// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Where records go. A sink may be changed while other threads write to it.
#pragma once

#include <zvLog/zvLog.h>

namespace zvlog {

enum class Sink { StandardError, File, Syslog };

Sink CurrentSink();

// Writes one record in one piece: a line for standard error and files, a message of the system log
// otherwise. False when nothing of it could be written. Safe in a handler of a fatal signal.
bool WriteTo(Sink aSink, const char *aRecord, size_t aLength);

}  // namespace zvlog
