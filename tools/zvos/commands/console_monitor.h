// The monitor behind `zvos console`: a few sockets of its own, their live table, and keys.
#pragma once

#include "shared/library_log.h"

namespace tool {

// Runs until it is told to end; returns the exit status. The terminal on standard input is raw
// meanwhile; who starts it puts the terminal right when it crashes.
int MonitorSockets(LogCollection &aLog);

}  // namespace tool
